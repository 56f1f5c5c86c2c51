# Builds for macOS on another system, with the clang of script/macos/toolchain. On a Mac the system's own compiler is used
# instead and this file is not.
#
# KESTRANE_MACOS_ARCHITECTURE: aarch64 or x86_64.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${KESTRANE_MACOS_ARCHITECTURE})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KESTRANE_MACOS_ARCHITECTURE)

get_filename_component(kestrane_root ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(kestrane_compiler ${kestrane_root}/build/macos-toolchain/compiler)
# For every other level of optimisation the compiler builds its C++ library once more when it links, a minute each: so
# also what CMake tries out is optimised like the release, and not linked where it can be helped.
foreach(language IN ITEMS C CXX OBJCXX)
    set(CMAKE_${language}_FLAGS_INIT "-target ${KESTRANE_MACOS_ARCHITECTURE}-macos.11.0 -O3 -s")
endforeach()
set(CMAKE_C_COMPILER ${kestrane_compiler} cc)
set(CMAKE_CXX_COMPILER ${kestrane_compiler} c++)
set(CMAKE_OBJCXX_COMPILER ${kestrane_compiler} c++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-19)
# These would ask for a Mac's developer tools; the target above says it all.
set(CMAKE_OSX_ARCHITECTURES "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "")
set(CMAKE_OSX_SYSROOT "")

# Of this system's headers only the libraries that consist of headers may be seen: script/macos/toolchain puts them apart.
set(Boost_NO_BOOST_CMAKE ON)
set(Boost_INCLUDE_DIR ${kestrane_root}/build/macos-toolchain/include)
set(CMAKE_FIND_ROOT_PATH ${kestrane_root}/build/macos-toolchain)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Apple's frameworks are not at hand: the launcher is checked against declarations of our own and linked to the
# Objective-C runtime by a stub of it.
set(KESTRANE_APPKIT_STUBS ${kestrane_root}/cmake/macos/stubs)
