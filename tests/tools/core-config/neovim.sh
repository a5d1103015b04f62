#!/bin/sh
# Opens a file with faults in Neovim: neovim.sh NVIM PROGRAM SCHEMA
set -eu
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/Game"
printf 'unit\r\n{\r\n    name = "a"\r\n    title = "A"\r\n    helth = 5\r\n\r\n    damage=1 2\r\n    shape = "a"\r\n}\r\n' \
    >"$folder/Game/units.txt"
cd "$folder"
SHARED=$here/../shared HOME=$folder XDG_CACHE_HOME=$folder XDG_DATA_HOME=$folder PROGRAM=$2 SCHEMA=$3 \
    timeout 120 "$1" --headless -u NONE -i NONE -n -c "luafile $here/neovim.lua" </dev/null
