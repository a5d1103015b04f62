#!/usr/bin/env bash
# `./run new-game FOLDER` writes a game that builds with the installed core and passes its own test. It refuses a folder that
# holds something, and a name that CMake would not take. The examples build with the installed core as well.
#
#   check.sh SOURCE_DIR BUILD_DIR COMPILER
set -euo pipefail
source=$1 build=$2 compiler=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
unset DISPLAY WAYLAND_DISPLAY
export MACAPI_LIBRARY=$folder/Library MACAPI_USER_LIBRARY=$folder/Library

# refuses STATUS FOLDER: new-game ends with this status and writes nothing.
refuses() {
    local status=0 before
    before=$(find . | sort)
    "$source/run" new-game "$2" 2>said || status=$?
    rm said
    [ $status -eq "$1" ] || { echo "new-game $2 ended with status $status" && exit 1; }
    [ "$before" = "$(find . | sort)" ] || { echo "new-game $2 wrote something" && exit 1; }
}
mkdir full && echo "my game" >full/notes
echo "a file" >file
refuses 1 full
refuses 1 file
refuses 2 "two words"
refuses 2 "$folder/-name"

"$source/run" new-game games/castle 2>/dev/null # relative to the working folder, whose parent is made
! grep -rn mygame games/castle || { echo "the template's name is left" && exit 1; }
cmake --install "$build" --prefix "$folder/core" >log
cmake -S games/castle -B built -G Ninja -DCMAKE_PREFIX_PATH="$folder/core" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_BUILD_TYPE=Debug >log 2>&1 && cmake --build built >log 2>&1 || { cat log && exit 1; }
ctest --test-dir built --output-on-failure --no-tests=error

# The folder of the examples builds elsewhere too.
cp -R "$source/examples" pages
cmake -S pages -B pages_built -G Ninja -DCMAKE_PREFIX_PATH="$folder/core" -DCMAKE_CXX_COMPILER="$compiler" \
    >log 2>&1 && cmake --build pages_built --target example_hello_memory >log 2>&1 ||
    { cat log && exit 1; }
pages_built/example_hello_memory | diff - "$source/tests/examples/expected/hello_memory.txt"

mv built/castle.app "$folder/moved.app" # a bundle runs from any place
moved.app/Contents/MacOS/castle >said
grep -qx 'Version 0.1.0' said && grep -qx 'Sieg nach 3 Runden!' said || { cat said && exit 1; }
