#!/usr/bin/env bash
# The README's commands work in every order in one clone: no command removes a file of another, or of the user.
#
#   check.sh SOURCE_DIR [RUN [all]]
#
# RUN is the script to check, SOURCE_DIR/run by default. The compilers, test programs and displays are stand-ins: they
# write files where the real ones do, and note their names.
#
# Each command runs alone in a clone of its own. In one more clone all commands run in the order of the README and then in
# the reverse order: so every command has run before and after every other. With "all", the commands also follow each first
# command in a clone of its own; this takes four times as long.
set -euo pipefail
source=$1
run=${2:-$source/run}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export STAND_INS=$folder/bin NOTED=$folder/noted FOLDERS=$folder/folders
unset DISPLAY

# ---- The stand-ins.
mkdir "$STAND_INS"
standIn() {
    cat >"$STAND_INS/$1"
    chmod +x "$STAND_INS/$1"
}
standIn cmake <<'END'
#!/bin/bash
case $1 in
--preset) tree=build/$2 ;;
-S) tree=$4 ;;
-E) mkdir -p "$3/packages" && tree=$3 ;; # cpack
*) tree=$2 ;;
esac
mapfile -t places < <(sed "s,^\.,$tree," "$FOLDERS")
if [ "$1" != --build ]; then
    mkdir -p "${places[@]/%//CMakeFiles}"
    touch "${places[@]/%//CMakeFiles/state}"
    printf '%s/CMakeFiles/state\n' "${places[@]}" >>"$NOTED"
    exit
fi
[ -e "$tree/CMakeFiles/state" ] || exit 1 # not configured
touch "${places[@]/%//made}"
printf '%s/made\n' "${places[@]}" >>"$NOTED"
for program in demo/core_demo bench/one_bench tests/core/memorymgr_model_test tests/soak/store_writer tests/tools/core-strings/core_strings_random_test tests/fuzz/fuzz_one tools/core-memory/core-memory watch/preload/libcorewatch.so; do
    cp "$STAND_INS/program" "$tree/$program"
    echo "$tree/$program" >>"$NOTED"
done
END
standIn program <<'END'
#!/bin/bash
case $0,$* in
*,*-help*) ;;
*core_demo,*) until [ -e over ]; do sleep 1; done ;;
*fuzz_one,*) touch "${@: -2:1}/learnt" ;;
esac
END
standIn ctest <<'END'
#!/bin/bash
mkdir -p "$2/Testing/Temporary"
touch "$2/Testing/Temporary/LastTest.log"
echo "$2/Testing/Temporary/LastTest.log" >>"$NOTED"
echo "100% tests passed, 0 tests failed out of 1"
END
standIn Xvfb <<'END'
#!/bin/bash
rm -f over
echo 99 >&3
exec /bin/sleep 60
END
standIn import <<'END'
#!/bin/bash
touch "${!#}"
[ "$(basename "${!#}")" != back.png ] || touch over
END
standIn sleep <<'END'
#!/bin/bash
exec /bin/sleep 0.01
END
standIn dpkg-query <<'END'
#!/bin/bash
printf 'installed %s\n' "${@:3}"
END
for program in openbox xdotool ninja; do
    standIn $program <<<'#!/bin/true'
done

# ---- A clone, as far as the script looks at it.
(cd "$source" && find . -path './build*' -prune -o -name CMakeLists.txt -printf '%h\n') >"$FOLDERS"
printf '%s\n' ./demo/Game ./tests/screenshots >>"$FOLDERS"
newClone() {
    rm -rf "$folder/clone"
    mkdir -p "$folder/clone/bench" "$folder/clone/tests/fuzz/corpus/one" "$folder/clone/tests/soak" \
        "$folder/clone/tests/consumer" "$folder/clone/packaging" "$folder/clone/tests/tools/core-memory" \
        "$folder/clone/tests/watch" "$folder/clone/tests/prove" "$folder/clone/tests/run"
    cd "$folder/clone"
    : >"$NOTED"
    cp "$run" run
    cp "$source/tests/fuzz/fuzzers.py" tests/fuzz
    touch tests/fuzz/fuzz_one.cpp
    printf '#!/bin/sh\ncat >"$1" && touch "$2"\n' >bench/table.py
    printf '#!/bin/sh\nexec "$1"\n' >tests/soak/soak.py
    printf '#!/bin/sh\n' | tee tests/lint.sh tests/consumer/matrix.sh packaging/check.sh tests/soak/two_users.py \
        tests/prove/coverage.py tests/run/check.sh tests/soak/long_game.py tests/watch/planted.py \
        tests/watch/other_machine_test.py >tests/tools/core-memory/page_test.py
    chmod +x tests/consumer/matrix.sh packaging/check.sh bench/table.py tests/soak/*.py tests/tools/core-memory/page_test.py \
        tests/watch/*.py tests/prove/coverage.py tests/run/check.sh tests/lint.sh
}

# ---- The commands, as the README has them.
mapfile -t commands < <(
    grep -oE '^(\./run|cmake) [^#]*' "$source/README.md" | sed 's/ *$//'
    grep -oE '`cmake -B [^`]*`' "$source/README.md" | tr -d '`'
)
if [ ${#commands[@]} -lt 8 ]; then
    echo "found ${#commands[@]} commands in README.md"
    exit 1
fi

fail() {
    echo "FAILED: $*"
    exit 1
}

# try COMMAND BEFORE: runs it and looks whether all noted files are still there. BEFORE is for the message.
try() {
    local places
    PATH=$STAND_INS:$PATH bash -c "$1" >"$folder/said" 2>&1 </dev/null || {
        cat "$folder/said"
        fail "$1, behind $2"
    }
    sort -u "$NOTED" | xargs -d '\n' stat -c '' >"$folder/said" 2>&1 ||
        fail "$1 has removed files, behind $2:"$'\n'"$(grep -v '^$' "$folder/said")"
    # A file of the user's in each folder.
    mapfile -t places < <(find build -type d)
    touch "${places[@]/%//mine}"
    printf '%s/mine\n' "${places[@]}" >>"$NOTED"
}

# What the script has written lies where no build writes.
checkPlaces() {
    local strays
    strays=$(comm -23 <(find build -type f | sort) <(sort -u "$NOTED") | grep -v '^build/run/' || true)
    [ -z "$strays" ] || fail "files of ./run's own among those of a build:"$'\n'"$strays"
}

# inOneClone COMMAND...: runs the commands in a new clone.
inOneClone() {
    local before=nothing command
    newClone
    for command in "$@"; do
        try "$command" "$before"
        before+=", $command"
    done
    checkPlaces
}

reversed=()
for command in "${commands[@]}"; do
    reversed=("$command" "${reversed[@]}")
done
inOneClone "${commands[@]}" "${reversed[@]}"
for first in "${commands[@]}"; do
    if [ "${3:-}" = all ]; then
        inOneClone "$first" "${commands[@]}"
    else
        inOneClone "$first"
    fi
done
echo "${#commands[@]} commands, each of them first in a clone, before all others and behind all others"
