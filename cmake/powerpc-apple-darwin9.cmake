# Cross build for Mac OS X 10.5 on 32-bit PowerPC. docs/mac.md says what it needs:
#
#   cmake -B build/mac --toolchain cmake/powerpc-apple-darwin9.cmake -DCORE_MAC_SDK=FOLDER [-DCORE_MAC_COMPILER=FILE]
set(darwin 9)
set(mac_system 10.5)
include(${CMAKE_CURRENT_LIST_DIR}/powerpc-apple-darwin.cmake)
