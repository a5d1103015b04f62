#!/usr/bin/env bash
# Builds a game against core in each way that the README shows, runs it, and compares its output.
#
#   check.sh WAYS SOURCE BUILD TOOLCHAIN EMULATOR STANDARDS COMPILER...
#
# WAYS are the names of functions below, from "moved" on. SOURCE is the tree of core, BUILD a build of it; the way "system"
# needs neither. TOOLCHAIN is a
# CMake toolchain file and EMULATOR a command that runs the programs; both may be empty. The game is compiled with each
# COMPILER for each of the STANDARDS, such as "17 20". A COMPILER that is not installed is left out, except the first.
#
# The first lines of a failed step are printed. The last line says how many games ran.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
read -ra ways <<<"$1"
source=$2 build=$3 toolchain=$4
read -ra emulator <<<"$5"
read -ra standards <<<"$6"
shift 6
compilers=("$1")
for compiler in "${@:2}"; do
    ! command -v "$compiler" >/dev/null || compilers+=("$compiler")
done

folder=$(mktemp -d)
trap 'chmod -R u+w "$folder" && rm -rf "$folder"' EXIT
unset DISPLAY WAYLAND_DISPLAY LD_LIBRARY_PATH
export MACAPI_LIBRARY=$folder/Library MACAPI_USER_LIBRARY=$folder/UserLibrary
mkdir "$MACAPI_LIBRARY" "$MACAPI_USER_LIBRARY"
ran=0

# step COMMAND...: runs a command. Shows its output and ends this script when it fails.
step() {
    "$@" >"$folder/said" 2>&1 </dev/null || {
        echo "FAILED in $way: $*"
        head -n 40 "$folder/said"
        exit 1
    }
}

# expect FILE PROGRAM: runs a program in an empty folder and compares its output with a file.
expect() {
    rm -rf "$folder/run"
    mkdir "$folder/run"
    (cd "$folder/run" && "${emulator[@]}" "$2") >"$folder/output" 2>&1 </dev/null || echo "status $?" >>"$folder/output"
    diff -u "$1" "$folder/output" || {
        echo "FAILED in $way: the game's output differs from $1"
        exit 1
    }
    ran=$((ran + 1))
}

# with_cmake WAY ARGUMENT...: configures and builds the game with CMake, for each compiler and each standard. Without debug
# information, which nothing here reads, the compiler takes a tenth less time.
with_cmake() {
    local game
    for compiler in "${compilers[@]}"; do
        for standard in "${standards[@]}"; do
            game=$folder/$way-$compiler-$standard
            step cmake -S "$here" -B "$game" -G Ninja -DCONSUMER_WAY="$1" -DCMAKE_CXX_STANDARD="$standard" \
                -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$toolchain"} -DCMAKE_CXX_COMPILER="$compiler" \
                "${@:2}"
            step cmake --build "$game" --target game
            expect "$here/expected.txt" "$game/game"
            rm -rf "$game"
        done
    done
}

# by_hand WORD...: compiles and links the game with one command, for each compiler and each standard.
by_hand() {
    for compiler in "${compilers[@]}"; do
        for standard in "${standards[@]}"; do
            step "$compiler" -std=c++"${standard/23/2b}" -Wall -Wextra -Werror "$here/game.cpp" -o "$folder/game" "$@"
            expect "$here/expected.txt" "$folder/game"
        done
    done
}

# packaged PREFIX [ARGUMENT...]: finds the installed package.
packaged() {
    if [ -n "$toolchain" ]; then # which limits the search to the other host's folders
        with_cmake find_package -Dcore_DIR="$1/lib/cmake/core" "${@:2}"
    else
        with_cmake find_package -DCMAKE_PREFIX_PATH="$1" "${@:2}"
    fi
}

# ---- The ways

# An installed tree may move. The ways below use it.
moved() {
    step cmake --install "$build" --prefix "$folder/first"
    mv "$folder/first" "$folder/second"
    packaged "$folder/second"
}

staged() {
    DESTDIR=$folder/stage step cmake --install "$build" --prefix /opt/core
    [ ! -e /opt/core ] || { echo "FAILED in staged: DESTDIR was not used" && exit 1; }
    packaged "$folder/stage/opt/core"
}

pkg_config() {
    local words
    words=$(PKG_CONFIG_LIBDIR="$folder/second/lib/pkgconfig" pkg-config --cflags --libs core)
    read -ra words <<<"$words"
    by_hand "${words[@]}" -Wl,-rpath,"$folder/second/lib"
}

plain() {
    local prefix=$folder/second
    by_hand -I"$prefix/include" -I"$prefix/include/macapi" -L"$prefix/lib" -lcore -lfile -llogger -lmacapi \
        -Wl,-rpath,"$prefix/lib"
}

# A game that defines one of the libraries' functions: core calls the game's function; static libraries do not link with it.
replaced() {
    local words
    words=$(PKG_CONFIG_LIBDIR="$folder/second/lib/pkgconfig" pkg-config --cflags --libs core)
    read -ra words <<<"$words"
    words=("${compilers[0]}" -std=c++17 "$here/replaced.cpp" -o "$folder/game" "${words[@]}" -Wl,-rpath,"$folder/second/lib")
    if [ -e "$folder/second/lib/libcore.a" ]; then
        ! "${words[@]}" >"$folder/said" 2>&1 || { echo "FAILED in replaced: the game links" && exit 1; }
        grep -q "multiple definition of .File::open" "$folder/said" || { cat "$folder/said" && exit 1; }
        return
    fi
    step "${words[@]}"
    printf '%s\n' "opens a strings file: rb" "opens a strings file: w" >"$folder/replaced.txt"
    CORE_LOG_LEVEL=0 expect "$folder/replaced.txt" "$folder/game"
}

# A game that checks its own banks.
watch() {
    local game=$folder/$way
    printf '%s\n' "blocks in use: 1" "damage: none" >"$folder/watched.txt"
    step cmake -S "$here" -B "$game" -G Ninja -DCONSUMER_WAY=find_package -Dcore_DIR="$folder/second/lib/cmake/core" \
        ${toolchain:+"-DCMAKE_TOOLCHAIN_FILE=$toolchain"} -DCMAKE_CXX_COMPILER="${compilers[0]}"
    step cmake --build "$game" --target watched
    expect "$folder/watched.txt" "$game/watched"
}

# The same with the sources.
subdirectory_watch() {
    local game=$folder/$way
    printf '%s\n' "blocks in use: 1" "damage: none" >"$folder/watched.txt"
    step cmake -S "$here" -B "$game" -G Ninja -DCONSUMER_WAY=add_subdirectory -DCONSUMER_CORE="$source" "${kind[@]}" \
        -DCMAKE_CXX_COMPILER="${compilers[0]}"
    step cmake --build "$game" --target watched
    expect "$folder/watched.txt" "$game/watched"
}

# Objective-C++, with AppKit.
with_appkit() {
    local game=$folder/$way
    step cmake -S "$here" -B "$game" -G Ninja -DCMAKE_CXX_COMPILER="$(command -v g++)" \
        -DCMAKE_OBJCXX_COMPILER="$(command -v g++)" "$@"
    step cmake --build "$game" --target window
    printf "NSView 640x480, window\nno window, core's window class: found\n" >"$folder/window.txt"
    expect "$folder/window.txt" "$game/window"
}

appkit() {
    with_appkit -DCONSUMER_WAY=find_package_appkit -DCMAKE_PREFIX_PATH="$folder/second"
}

subdirectory_appkit() {
    with_appkit -DCONSUMER_WAY=add_subdirectory_appkit -DCONSUMER_CORE="$source" "${kind[@]}"
}

# A folder that cannot be written, as a checked-out dependency should be: the build writes nothing there.
read_only() {
    local copy=$folder/source
    mkdir "$copy"
    git -C "$source" ls-files -z | (cd "$source" && xargs -0 cp --parents -t "$copy")
    chmod -R a-w "$copy"
    touch "$folder/before"
    with_cmake fetch_content -DCONSUMER_CORE="$copy" "${kind[@]}"
    [ -z "$(find "$copy" -newer "$folder/before")" ] || { echo "FAILED in read_only: the build wrote into it" && exit 1; }
}

subdirectory() {
    with_cmake add_subdirectory -DCONSUMER_CORE="$source" "${kind[@]}"
}

# The game's own targets have none of the short names.
short_names() {
    with_cmake short_names -DCONSUMER_CORE="$source" "${kind[@]}"
}

# readme_block WORD: prints the first block of the README's chapter "Use it in your game" that contains WORD.
readme_block() {
    awk -v word="$1" '/^## /{inside = /Use it in your game/} !inside{next}
        /^```$/{if (index(block, word)) {printf "%s", block; exit} open = 0}
        open{block = block $0 "\n"} /^```[a-z]/{open = 1; block = ""}' "$source/README.md"
}

# readme_game WORD: builds the game with the README's lines for CMake.
readme_game() {
    local game=$folder/readme
    rm -rf "$game"
    mkdir "$game"
    cp "$here/game.cpp" "$game"
    ln -s "$source" "$game/core"
    {
        printf 'cmake_minimum_required(VERSION 3.25)\nproject(game LANGUAGES CXX)\n'
        readme_block "$1" | sed "s,/path/to/core,$source,"
        readme_block "$1" | grep -q add_executable || readme_block find_package | tail -n 2
        readme_block copy_directory
    } >"$game/CMakeLists.txt"
    mkdir "$game/Game"
    touch "$game/Game/battle.txt"
    step cmake -S "$game" -B "$game/build" -G Ninja -DCMAKE_PREFIX_PATH="$folder/second" -DCMAKE_CXX_COMPILER="${compilers[0]}"
    step cmake --build "$game/build" --target game game_files
    expect "$here/expected.txt" "$game/build/game"
    step test -e "$game/build/Game/battle.txt"
}

# The README's lines for installed libraries, as they stand.
readme() {
    local word
    readme_game find_package
    for word in pkg-config -rpath; do
        readme_block "$word" | sed "s,/usr/local,$folder/second," >"$folder/lines.sh"
        grep -q g++ "$folder/lines.sh" || { echo "FAILED in readme: no lines with $word" && exit 1; }
        cp "$here/game.cpp" "$folder"
        (cd "$folder" && PKG_CONFIG_PATH=$folder/second/lib/pkgconfig LD_RUN_PATH=$folder/second/lib step bash -e lines.sh)
        expect "$here/expected.txt" "$folder/game"
    done
}

# The README's lines for the sources.
readme_sources() {
    readme_game add_subdirectory
    readme_game FetchContent
}

# Packages of the system: no path is named.
system() {
    local words
    with_cmake find_package
    read -ra words <<<"$(pkg-config --cflags --libs core)"
    by_hand "${words[@]}"
    by_hand -I/usr/include/macapi -lcore -lfile -llogger -lmacapi
}

kind=()
if [ -n "$build" ]; then # the game's own build of core makes the same kind of libraries as BUILD
    shared=$(sed -n 's/^BUILD_SHARED_LIBS:[A-Z]*=//p' "$build/CMakeCache.txt")
    [ -z "$shared" ] || kind=("-DBUILD_SHARED_LIBS=$shared")
fi
for way in "${ways[@]}"; do
    "$way"
done
echo "$ran games ran with the expected output"
