#!/usr/bin/env bash
# Runs an example in an empty folder and compares what it writes with a file.
#
#   check.sh EXPECTED [EMULATOR...] PROGRAM
#
# EXPECTED has the lines of the standard output; after them the lines of the standard error stream, if there are any, and the
# exit status, if it is not 0. UPDATE=1 in the environment writes EXPECTED anew.
set -euo pipefail
expected=$1
shift

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset DISPLAY WAYLAND_DISPLAY CORE_LOG_LEVEL
export MACAPI_LIBRARY=$folder/Library MACAPI_USER_LIBRARY=$folder/UserLibrary
mkdir "$folder/run"
status=0
(cd "$folder/run" && "$@") >"$folder/output" 2>"$folder/errors" </dev/null || status=$?
cat "$folder/errors" >>"$folder/output"
[ $status -eq 0 ] || echo "status $status" >>"$folder/output"
[ -z "${UPDATE:-}" ] || cp "$folder/output" "$expected"
diff -u "$expected" "$folder/output"
