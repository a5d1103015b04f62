#!/usr/bin/env bash
# check.sh CLANG SOURCE_DIR: core on 32-bit Mac OS X, as far as a compiler can tell that knows its ABI but none of its
# headers. Its front end alone is asked: the records by static_assert, the order of the virtual tables by its dump of them,
# and whether every source compiles without a warning. The system's own headers are stood in for by those in darwin/, which
# declare what that system has and core uses, and the Mac's services by macapi's.
set -euo pipefail
clang=$1
source=$2
cd "$source"

doubts=$("$clang" --target=powerpc-apple-darwin8 -x c++ -fsyntax-only /dev/null 2>&1 || true)
if [[ $doubts = *"unknown target triple"* ]]; then
    echo "$("$clang" --version | head -n 1) doesn't know that system any more; version 17 is the last that does"
    exit 77 # skipped
fi

mac=("$clang" --target=powerpc-apple-darwin8 -ffreestanding -nostdinc++ -nostdlibinc
    -Wall -Wextra -Wpedantic -Wshadow -Werror -I. -Itests/layout/darwin -Imacapi/include)
layout=("${mac[@]}" -std=c++17 -fno-access-control tests/layout/layout.cpp)

"${layout[@]}" -fsyntax-only

# Laying out the tables takes a step behind the front end, which then finds that it makes no code for that system any more.
tables=$("${layout[@]}" -Xclang -fdump-vtable-layouts -S -emit-llvm -o /dev/null 2>/dev/null |
    sed -n '/^VTable indices/,/^$/p' | sed '/^$/d') || true
diff tests/layout/vtables.txt - <<<"$tables"

failed=0
for file in core/*.cpp; do
    "${mac[@]}" -std=c++17 -fsyntax-only "$file" || failed=1
done
if [ -f tests/layout/darwin/Cocoa/Cocoa.h ]; then
    for file in core/*.mm; do
        "${mac[@]}" -x objective-c++ -std=c++17 -fobjc-exceptions -fsyntax-only "$file" || failed=1
    done
fi
exit $failed
