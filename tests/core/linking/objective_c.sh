#!/usr/bin/env bash
# A game in Objective-C++ that names the class BKWindow links with the library alone and finds the class, whichever of
# the library and AppKit it links first.
#
#   objective_c.sh LIBRARY_DIR COMPILER APPKIT_LIBRARIES APPKIT_FLAG...
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
library=$1 compiler=$2
read -ra appkit <<<"$3"
shift 3

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
"$compiler" "$@" -O0 -fPIE -c "$here/game_window.mm" -o pie.o
"$compiler" "$@" -O0 -fno-pie -c "$here/game_window.mm" -o no-pie.o
core=(-L"$library" -Wl,-rpath,"$library" -lcore)
tried=0
failed=0

for linker in bfd gold lld; do
    "$compiler" -fuse-ld=$linker -Wl,--version >/dev/null 2>&1 || continue
    for position in pie no-pie; do
        for order in "${core[*]} ${appkit[*]}" "${appkit[*]} ${core[*]}" "-Wl,--as-needed ${appkit[*]} ${core[*]}"; do
            read -ra words <<<"$order"
            tried=$((tried + 1))
            if ! "$compiler" -fuse-ld=$linker -$position $position.o "${words[@]}" -o game || ! ./game; then
                echo "wrong: $linker, $position, $order"
                failed=$((failed + 1))
            fi
        done
    done
done
echo "$tried programs ran, $failed of them wrong"
[ $tried -gt 0 ] && [ $failed -eq 0 ]
