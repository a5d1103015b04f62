#!/usr/bin/env bash
# check.sh COMPILER SOURCE_DIR: the Mac's headers compile as C and as C++, and together with AppKit, whichever of the two
# comes first, as Objective-C++. The last is left out where the compiler has no AppKit.
set -euo pipefail
compiler=$1
source=$2
cd "$source/tests/macapi/headers"

compile=("$compiler" -Wall -Wextra -Werror -fsyntax-only -I"$source/macapi/include")

"${compile[@]}" -Wpedantic -x c -std=c99 headers.c
"${compile[@]}" -Wpedantic -x c -std=c11 headers.c
"${compile[@]}" -Wpedantic -x c++ -std=c++17 headers.c

# GNUstep's own headers are not ours to warn about.
read -ra flags < <(gnustep-config --objc-flags 2>/dev/null | sed 's/ -I/ -isystem /g; s/-MMD -MP//') || true
with_appkit=("${compile[@]}" -x objective-c++ -std=c++17 "${flags[@]}")
if ! "${with_appkit[@]}" - <<<'#include <AppKit/AppKit.h>' 2>/dev/null; then
    echo "there is no AppKit to include"
    exit 0
fi
for order in APPKIT_FIRST APPKIT_LAST; do
    "${with_appkit[@]}" -D"$order" headers.c
done
