#!/bin/sh
# GDB's view of a game: check.sh GDB GAME FOLDER, where FOLDER holds libcore and the printers beside it.
set -eu
"$1" -nx -batch -ex run -ex 'info program' /bin/true 2>&1 | grep -q 'exited normally' || {
    echo "GDB cannot run programs here"
    exit 77
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export MACAPI_LIBRARY="$folder" MACAPI_USER_LIBRARY="$folder"

"$1" -nx -batch -iex "add-auto-load-safe-path $3" -ex 'set print address off' -ex 'break stopHere' -ex run \
    -ex 'print *node' -ex 'print *((MemoryHeapNode_s*)fallback - 1)' \
    -ex 'print parser' -ex 'print units' -ex 'core banks' -ex 'core blocks level' -ex 'core block node + 1' \
    -ex 'core blocks nothing' "$2" >"$folder/shown" 2>&1 || true

failed=0
expect() {
    grep -q -- "$1" "$folder/shown" || { echo "not shown: $1"; failed=1; }
}
expect '^\$1 = a block of 128 bytes in use, from game/mesh:12'
expect '^\$2 = a fallback block of 1056 bytes in use, from game/map:56'
expect 'next = 0x[0-9a-f]'
expect 'the parser after line 1, rest of the line: "= 640"'
expect 'a hash table of 1 entries in 7 buckets'
expect '\[Footman\] = {hitPoints = 60}'
expect '^  1 level  *heap  *256  *1[0-9]*  *1[0-9]*  *1  *2$'
expect ': a fallback block of 544 bytes in use, from game/sound:34'
expect '^3 blocks in the heap bank "level"'
expect '^a block of 128 bytes in use, from game/mesh:12'
expect 'There is no bank "nothing"'
[ $failed -eq 0 ] || cat "$folder/shown"
exit $failed
