#!/usr/bin/env bash
# Records sessions of programs that took no part in the tuning of the heap.
#
#     recordings/record.sh RECORDER FOLDER
#     recordings/record.sh build/release/recordings/libsession_recorder.so /tmp/sessions
#     build/release/bench/memorymgr_bench "kept out" /tmp/sessions
#
# RECORDER is the library that records (recorder.cpp), in the build folder of the preset release. The sessions are
# written to FOLDER, as FOLDER/NAME.ctr. The programs work on the files of this tree, of its build and of Debian. A program that is not installed is left out, with a message.
# kept_out.tar.xz has the sessions of the first eight programs, recorded on Debian 12.
set -euo pipefail
recorder=$(realpath "$1")
build=$(dirname "$recorder")/..
mkdir -p "$2"
folder=$(realpath "$2")
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# record NAME COMMAND...: runs the command and records its session. The program's own exit status does not matter.
record() {
    local name=$1
    shift
    if ! command -v "$1" >/dev/null; then
        echo "$1 is not installed" >&2
        return
    fi
    env RECORDING="$folder/$name.ctr" LD_PRELOAD="$recorder" "$@" >/dev/null 2>&1 </dev/null || true
    echo "$name" >&2
}

record git-log git log --stat -n 60
record git-blame git blame CHANGELOG.md
record objdump objdump -d -l -C "$build/libcore.so"
record gdb gdb -nx -batch -ex 'info functions alloc' "$build/libcore.so"
record convert convert docs/demo.png -resize 150% -blur 0x2 -unsharp 0x1 -colors 64 "$scratch/demo.png"
record nvim nvim --headless -u NONE -n -c 'syntax on' -c '%s/the/The/g' -c 'undo' -c 'g/alloc/normal! ddp' -c 'sort' \
    -c 'qa!' core/memorymgr_heap.cpp
record xmllint xmllint --format docs/bench-all.svg
record ctags ctags -R -o /dev/null core

record cmake cmake -S . -B "$scratch/build"
record ninja ninja -C "$build" -n -t compdb
record apt-cache apt-cache show 'gcc*'
record perl perl -ne 'push @{$lines{lc $_}}, $. for /\w{3,}/g; END { print "$_ @{$lines{$_}}\n" for sort keys %lines }' \
    CHANGELOG.md docs/*.md
for language in de fr; do
    msgunfmt "/usr/share/locale/$language/LC_MESSAGES/coreutils.mo" -o "$scratch/$language.po" 2>/dev/null || true
done
record msgmerge msgmerge -q "$scratch/fr.po" "$scratch/de.po" -o /dev/null
