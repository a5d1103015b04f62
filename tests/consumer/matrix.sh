#!/usr/bin/env bash
# Builds and runs a game outside this tree in each way that check.sh knows: with shared and with static libraries, on this
# host and on PowerPC, with g++ and clang++, as C++17, C++20 and C++23.
#
#   matrix.sh FOLDER
#
# Builds core in FOLDER, which keeps the object files for the next time.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$(dirname "$here")")
mkdir -p "$1"
folder=$(cd "$1" && pwd)
powerpc=$source/cmake/powerpc-linux-gnu.cmake
emulator="qemu-ppc -L /usr/powerpc-linux-gnu"

# build NAME ARGUMENT...: a build of core in the folder NAME.
build() {
    echo "consumers: $1"
    {
        cmake -S "$source" -B "$folder/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORE_TESTS=OFF -DCORE_BENCH=OFF \
            -DCORE_DEMO=OFF -DCORE_EXAMPLES=OFF -DCORE_TOOLS=OFF "${@:2}"
        cmake --build "$folder/$1"
    } >"$folder/$1.log" 2>&1 || { tail -n 40 "$folder/$1.log" && exit 1; }
}

# native NAME WAYS, cross NAME WAYS: the installed libraries in the ways WAYS, then the sources.
native() {
    "$here/check.sh" "$2 watch replaced appkit" "$source" "$folder/$1" "" "" "17 20 23" g++ clang++
    "$here/check.sh" "moved readme_sources subdirectory subdirectory_watch subdirectory_appkit read_only short_names" \
        "$source" "$folder/$1" "" "" 17 g++
    "$here/check.sh" subdirectory "$source" "$folder/$1" "" "" "20 23" clang++
}

cross() {
    "$here/check.sh" "$2 watch" "$source" "$folder/$1" "$powerpc" "$emulator" "17 20 23" powerpc-linux-gnu-g++
    "$here/check.sh" subdirectory "$source" "$folder/$1" "$powerpc" "$emulator" 17 powerpc-linux-gnu-g++
}

build native
native native "moved staged pkg_config plain readme"
build native-static -DBUILD_SHARED_LIBS=OFF
native native-static "moved staged pkg_config"
build powerpc -DCMAKE_TOOLCHAIN_FILE="$powerpc"
cross powerpc "moved staged pkg_config plain"
build powerpc-static -DCMAKE_TOOLCHAIN_FILE="$powerpc" -DBUILD_SHARED_LIBS=OFF
cross powerpc-static "moved staged pkg_config"
