#!/usr/bin/env bash
# The loaders find a factory that the program defines, however the program was linked; and the parser calls the game's
# comparison of names. Games are linked here by hand, as "g++ game.cpp -lcore" does it: without CMake's targets, and
# without a word about symbols.
#
#   check.sh SOURCE_DIR LIBRARY_DIR FLAGS EMULATOR COMPILER...
#
# FLAGS are those that the library itself was built with and a program needs as well; EMULATOR runs the programs. Either
# may be empty. Linkers and compilers that the machine lacks are left out; the first compiler with its own linker has to
# be there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$1 library=$2
read -ra flags <<<"$3"
read -ra emulator <<<"$4"
shift 4

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
tried=0
failed=0

# expect STATUS WHAT PROGRAM [ARGUMENT...]
expect() {
    local expected=$1 what=$2 status=0
    shift 2
    "${emulator[@]}" "$@" >said 2>&1 </dev/null || status=$?
    tried=$((tried + 1))
    if [ $status -ne "$expected" ] || [ -s said ]; then
        echo "$what: expected status $expected without a word, found $status"
        cat said
        failed=$((failed + 1))
    fi
}

# link PROGRAM WORD...: with the library alone, as a game's author would.
link() {
    local program=$1
    shift
    "${build[@]}" "$@" -o "$program" -L"$library" -Wl,-rpath,"$library" -lcore -ldl
}

# games NAME: the programs that the words in `build` make, and what the loaders say to each.
games() {
    local name=$1
    "${build[@]}" -c "$here/game.cpp" -o game.o
    "${build[@]}" -c "$here/factories.cpp" -o factories.o
    "${build[@]}" -DFACTORIES_ELSEWHERE -c "$here/game.cpp" -o game_elsewhere.o
    rm -f libfactories.a
    ar rcs libfactories.a factories.o

    link whole game.o factories.o
    expect 0 "$name: factories in the program" ./whole
    link archived game_elsewhere.o libfactories.a
    expect 0 "$name: factories in an archive of the program" ./archived
    "${build[@]}" -fvisibility=hidden -c "$here/factories.cpp" -o hidden.o
    link hidden game.o hidden.o
    expect 1 "$name: factories that the program hides" ./hidden
    link none game.o
    expect 1 "$name: no factory at all" ./none
    expect 0 "$name: factories in a module loaded with RTLD_LOCAL" ./none ./module.so
}

# names: the parser calls the comparison of names that the dynamic linker has chosen, wherever that function is.
names() {
    "${build[@]}" -shared -fPIC "$here/anything_equal.cpp" -o libequal.so
    "${build[@]}" -c "$here/names.cpp" -o names.o
    link own names.o
    expect 0 "the file library's comparison" ./own
    link before names.o -L. -Wl,-rpath,"$PWD" -Wl,--no-as-needed -lequal
    expect 1 "a comparison in a library that the game links before core" ./before
    if [ ${#emulator[@]} -eq 0 ] && [[ "${flags[*]}" != *-fsanitize* ]]; then # a sanitizer must itself come first
        expect 1 "a preloaded comparison" env LD_PRELOAD="$PWD/libequal.so" ./own
    fi
}

canBuild() {
    echo 'int main() { return 0; }' >probe.cpp
    "$@" probe.cpp -o probe 2>/dev/null
}

for compiler; do
    command -v "$compiler" >/dev/null || continue
    common=("$compiler" -std=c++17 -Wno-unused-command-line-argument -I"$source" "${flags[@]}")
    "${common[@]}" -shared -fPIC "$here/factories.cpp" -o module.so
    build=("${common[@]}")
    [ $tried -gt 0 ] || names
    games "$compiler"
    build=("${common[@]}" -O2 -ffunction-sections -fdata-sections -Wl,--gc-sections -Wl,--as-needed -Wl,-O1 -s)
    games "$compiler, all that is unused taken out"
    for linker in bfd gold lld; do
        for position in "-fPIE -pie" "-fno-pie -no-pie"; do
            read -ra words <<<"$position -fuse-ld=$linker"
            build=("${common[@]}" "${words[@]}")
            canBuild "${build[@]}" || continue
            games "${build[*]}"
        done
    done
done
echo "$tried programs ran, $failed of them wrong"
[ $tried -gt 0 ] && [ $failed -eq 0 ]
