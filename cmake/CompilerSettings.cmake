# How everything in the project is compiled and linked.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_STANDARD 23)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

include(CheckPIESupported)
check_pie_supported()

add_library(kestrane_settings INTERFACE)
target_include_directories(kestrane_settings INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(kestrane_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align
    -Wnon-virtual-dtor -Woverloaded-virtual -Wnull-dereference -Wformat=2 -Wundef
    -fstack-protector-strong -ffunction-sections -fdata-sections -fvisibility=hidden)
# In debug builds, what looks into an empty optional or past the end of a text stops the program: otherwise a check that is
# missing could pass its tests by chance.
target_compile_definitions(kestrane_settings INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
# Designated initialisers leave members out on purpose: those keep the value that their record gives them.
target_compile_options(kestrane_settings INTERFACE -Wno-missing-field-initializers)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(kestrane_settings INTERFACE -Wno-missing-designated-field-initializers)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Takes a text in front of a string, in optimised code, for a copy onto itself (GCC bug 105651).
    target_compile_options(kestrane_settings INTERFACE -Wno-restrict)
endif()
if(KESTRANE_WARNINGS_AS_ERRORS)
    target_compile_options(kestrane_settings INTERFACE -Werror)
endif()

if(KESTRANE_SANITIZE)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_compile_options(${sanitizers})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # What the sanitizers add hides from g++ 12 that an empty optional is not looked into.
        target_compile_options(kestrane_settings INTERFACE -Wno-maybe-uninitialized)
    endif()
    add_link_options(${sanitizers})
else()
    # Fortification takes effect in optimised code alone.
    target_compile_options(kestrane_settings INTERFACE
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()

if(KESTRANE_COVERAGE)
    # The counters of all runs of a program lie in one file ("%m") that its processes have in memory ("%c"), so nothing is
    # lost where one ends by a signal or becomes another program. The name is built in, as tests empty the environment.
    target_compile_options(kestrane_settings INTERFACE
        -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%c%m.profraw -fcoverage-mapping
        "SHELL:-mllvm -runtime-counter-relocation")
    target_link_options(kestrane_settings INTERFACE -fprofile-instr-generate)
    # For tests that must not take what the counters do for what the host does.
    target_compile_definitions(kestrane_settings INTERFACE KESTRANE_COUNTS_COVERAGE)
endif()

if(KESTRANE_BUILD_FUZZERS)
    # Fuzzers are led by what they reach, also in the code under test.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(KESTRANE_PROFILE AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(FATAL_ERROR "KESTRANE_PROFILE is for g++ alone")
elseif(KESTRANE_PROFILE STREQUAL "generate")
    target_compile_options(kestrane_settings INTERFACE -fprofile-generate -fprofile-update=single)
    target_link_options(kestrane_settings INTERFACE -fprofile-generate)
elseif(KESTRANE_PROFILE STREQUAL "use")
    # What was never seen to run has no profile. Loops are short here: vectors and unrolling would only make them longer.
    # With what it inlines now, g++ 12 takes an empty string of Boost's for one that is written to.
    target_compile_options(kestrane_settings INTERFACE
        -fprofile-use -Wno-missing-profile -fno-tree-vectorize -fno-unroll-loops -Wno-stringop-overflow)
endif()

# What only the shipped executable needs.
add_library(kestrane_link_settings INTERFACE)
if(APPLE)
    target_link_options(kestrane_link_settings INTERFACE -Wl,-dead_strip)
else()
    target_link_options(kestrane_link_settings INTERFACE
        -Wl,--gc-sections -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)
    if(NOT KESTRANE_SANITIZE)
        # The C library stays dynamic: a static one cannot look up every user in the password database.
        target_link_options(kestrane_link_settings INTERFACE -static-libstdc++ -static-libgcc)
    endif()
endif()

# One static library for one folder of sources.
function(kestrane_add_room name)
    cmake_parse_arguments(PARSE_ARGV 1 room "" "" "SOURCES;USES")
    add_library(kestrane_${name} STATIC ${room_SOURCES})
    list(TRANSFORM room_USES PREPEND kestrane_)
    target_link_libraries(kestrane_${name} PUBLIC kestrane_settings ${room_USES})
endfunction()
