#!/usr/bin/env bash
# check.py finds each kind of change, and accepts the change with the right version.
#
#   changes.sh HOST SOURCE LIBRARY...
#
# Changes a copy of the last release's files instead of the library, so nothing is compiled.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
host=$1 source=$2
shift 2
libraries=("$@")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
failed=0

# try VERSION FAULT [FILE SED_COMMAND]...: changes the files, then compares as if this tree had VERSION. Expects FAULT in the
# output; an empty FAULT stands for no output.
try() {
    local version=$1 fault=$2 status=0
    shift 2
    rm -rf "$folder/abi"
    cp -r "$here" "$folder/abi"
    echo 1.2.0 >"$folder/abi/release"
    while [ $# -gt 0 ]; do
        sed -i "$2" "$folder/abi/$1"
        ! cmp -s "$here/$1" "$folder/abi/$1" || { echo "this changes nothing in $1: $2" && failed=1; }
        shift 2
    done
    "$folder/abi/check.py" "$host" "$version" "$source" "${libraries[@]}" >"$folder/said" 2>&1 || status=$?
    if [ -z "$fault" ] && [ $status -eq 0 ] && [ ! -s "$folder/said" ]; then
        return
    elif [ -z "$fault" ] || [ $status -ne 1 ] || ! grep -qF "$fault" "$folder/said"; then
        echo "version $version: expected \"${fault:-no fault}\", found status $status and:"
        cat "$folder/said"
        failed=1
    fi
}

# What the last release is to have: another place for a field, one more function, one function less.
field=("$host/core.abi" "/<class-decl name='MemoryBank_s'/,/<\/class-decl>/{s/='384'/='4160'/}")
lost=("$host/core.abi" "s/\b_Z8mt_srandj/_Z8mt_plantj/g; s/name='mt_srand'/name='mt_plant'/")
new=("$host/core.abi" "/<elf-symbol name='_Z8mt_srandj'/d; /<function-decl name='mt_srand'/,/<\/function-decl>/d")

breaks="breaks games that were compiled for 1.2.0"
more="has more than 1.2.0 has"
try 1.2.0 ""
try 1.3.0 "$breaks" "${field[@]}"
try 2.0.0 "" "${field[@]}"
try 1.3.0 "$breaks" "${lost[@]}"
try 2.0.0 "" "${lost[@]}"
try 1.2.1 "$more" "${new[@]}"
try 1.3.0 "" "${new[@]}"
try 1.3.0 "exports a new name: mt_srand(" core.names "/ mt_srand(/d"
try 2.0.0 "no longer exports mt_plant(" core.names '$a1.0.0 mt_plant(unsigned int)'
exit $failed
