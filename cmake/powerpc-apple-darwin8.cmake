# Cross build for Mac OS X 10.4 on 32-bit PowerPC. docs/mac.md says what it needs:
#
#   cmake -B build/mac --toolchain cmake/powerpc-apple-darwin8.cmake -DCORE_MAC_SDK=FOLDER [-DCORE_MAC_COMPILER=FILE]
set(darwin 8)
set(mac_system 10.4)
include(${CMAKE_CURRENT_LIST_DIR}/powerpc-apple-darwin.cmake)
