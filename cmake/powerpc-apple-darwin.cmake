# What cmake/powerpc-apple-darwin8.cmake and cmake/powerpc-apple-darwin9.cmake share. They set darwin (8 or 9) and
# mac_system (10.4 or 10.5).
#
#   CORE_MAC_COMPILER   the C++ compiler; without it, powerpc-apple-darwinN-g++ from the search path. For clang, which
#                       compiles for many systems, the file also names the target.
#   CORE_MAC_SDK        the folder of the SDK, such as MacOSX10.4u.sdk. It has the system's headers and libraries.
#
# ar, ranlib and install_name_tool are taken from the folder of the compiler, with its prefix.
set(CORE_MAC_COMPILER powerpc-apple-darwin${darwin}-g++ CACHE FILEPATH "The C++ compiler for Mac OS X")
set(CORE_MAC_SDK "" CACHE PATH "The folder of the SDK for Mac OS X")
if(NOT IS_DIRECTORY "${CORE_MAC_SDK}")
    message(FATAL_ERROR "CORE_MAC_SDK is \"${CORE_MAC_SDK}\"; it must be the folder of an SDK for Mac OS X ${mac_system}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CORE_MAC_COMPILER CORE_MAC_SDK) # CMake's small builds need them too

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION ${darwin})
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_CXX_COMPILER ${CORE_MAC_COMPILER})
set(CMAKE_OBJCXX_COMPILER ${CORE_MAC_COMPILER})
if(CORE_MAC_COMPILER MATCHES "clang")
    set(CMAKE_CXX_COMPILER_TARGET powerpc-apple-darwin${darwin})
    set(CMAKE_OBJCXX_COMPILER_TARGET powerpc-apple-darwin${darwin})
endif()
set(CMAKE_OSX_SYSROOT ${CORE_MAC_SDK})
set(CMAKE_OSX_DEPLOYMENT_TARGET ${mac_system})
set(CMAKE_FIND_ROOT_PATH ${CORE_MAC_SDK})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
