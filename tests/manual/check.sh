#!/usr/bin/env bash
# The HTML manual builds without a warning, and has a page for a class, for a page of docs/ and for an example.
#
#   check.sh SOURCE_DIR
set -euo pipefail
cd "$1"
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
{ cat docs/manual/Doxyfile && echo "OUTPUT_DIRECTORY = $folder"; } | doxygen -
grep -q 'Moves to the next line' "$folder/html/classParser.html"
grep -q 'memory_8md\|hello_memory' "$folder/html/memory_page.html"
grep -q 'What you learn: how to ask a bank' "$folder/html/examples_page.html"
