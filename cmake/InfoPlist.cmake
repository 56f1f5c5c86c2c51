# kestrane_embed_info_plist(TARGET IDENTIFIER NAME): macOS: the executable carries a property list that says what it is; the
# name is for people. Elsewhere nothing.
function(kestrane_embed_info_plist target plist_identifier plist_name)
    if(NOT APPLE)
        return()
    endif()
    set(plist ${CMAKE_CURRENT_BINARY_DIR}/${target}.plist)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/macos/Info.plist.in ${plist} @ONLY)
    file(READ ${plist} plist_text)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/macos/info_plist.cpp.in ${target}_info_plist.cpp @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_info_plist.cpp)
endfunction()
