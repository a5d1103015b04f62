# Cross build for 32-bit x86. The programs run on a 64-bit x86 system as they are, with the libraries of the compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=/usr/i686-linux-gnu/lib/ld-linux.so.2 -Wl,-rpath,/usr/i686-linux-gnu/lib")
