#!/usr/bin/env bash
# Every public header compiles with the installed headers alone.
#
#   check.sh BUILD_DIR COMPILER CMAKE
#
# Installs the headers of BUILD_DIR into an empty folder and compiles each header by itself, as a game would include it.
# Fails when an installed header includes one that is not installed, and when a header that every game needs is missing.
set -euo pipefail
build=$1
compiler=$2
cmake=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

fail() {
    echo "FAILED: $*"
    exit 1
}

"$cmake" --install "$build" --prefix "$folder" --component development >/dev/null
cd "$folder" # where the compiler finds no header of the source tree
for header in core/memorymgr.h core/platform.h core/parser.h file/file.h logger/logger.h; do
    [ -e "include/$header" ] || fail "$header is not installed"
done
count=0
while read -r header; do
    [ "$header" != Cocoa/Cocoa.h ] || continue # includes AppKit alone, which not every compiler here has
    echo "#include <$header>" | "$compiler" -std=c++17 -Iinclude -Iinclude/macapi -fsyntax-only -x c++ - ||
        fail "<$header> does not compile with the installed headers alone"
    count=$((count + 1))
done < <(cd include && find . -name '*.h' | sed 's,^\./,,; s,^macapi/,,' | sort)
echo "$count headers compile with the installed headers alone"
