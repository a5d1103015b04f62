#!/bin/sh
# Opens a strings file with a fault in Neovim: neovim.sh NVIM PROGRAM
set -eu
here=$(cd "$(dirname "$0")" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/locale/de" "$folder/locale/fr"
printf '"Quit" ="Beenden"\n"New game"   = "Neues Spiel"\n' >"$folder/locale/de/strings.utf8"
printf '"Quit" = "Quitter"\n"Load" = "Charger"\n"New game" = "Nouvelle partie"\n' >"$folder/locale/fr/strings.utf8"
cd "$folder"
SHARED=$here/../shared HOME=$folder XDG_CACHE_HOME=$folder XDG_DATA_HOME=$folder PROGRAM=$2 \
    timeout 120 "$1" --headless -u NONE -i NONE -n -c "luafile $here/neovim.lua" </dev/null
