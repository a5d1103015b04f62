#!/usr/bin/env bash
# check.sh CLANG SOURCE_DIR: the records and virtual tables of core on 32-bit Mac OS X, by the compiler's own account of
# that ABI. The front end alone is asked: the records by static_assert, the order of the tables by its dump of them.
set -euo pipefail
clang=$1
source=$2

mac=("$clang" --target=powerpc-apple-darwin8 -std=c++17 -ffreestanding -nostdinc++ -fno-access-control
    -nostdlibinc -Wall -Wextra -Werror -I"$source"
    -I"$source/tests/layout/darwin" -I"$source/macapi/include")

"${mac[@]}" -fsyntax-only "$source/tests/layout/layout.cpp"

# Laying out the tables takes a step behind the front end, which then finds that it makes no code for that system any more.
tables=$("${mac[@]}" -Xclang -fdump-vtable-layouts -S -emit-llvm -o /dev/null "$source/tests/layout/layout.cpp" 2>/dev/null |
    sed -n '/^VTable indices/,/^$/p' | sed '/^$/d') || true
diff "$source/tests/layout/vtables.txt" - <<<"$tables"
