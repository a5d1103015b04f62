#!/usr/bin/env bash
# check.sh SOURCE_DIR COMPILER OPTION...: every case of cases.cpp compiles, or is refused, as its name says, in each version
# of the language from C++17 on that the compiler knows.
set -euo pipefail
source=$1
shift
compile=("$@" -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$source")
cases=$source/tests/core/new_expressions/cases.cpp

names=$(grep -oE '\b(COMPILES|REFUSED)_[A-Z0-9_]+' "$cases")
failed=0
for standard in c++17 c++20 c++23; do
    if ! "${compile[@]}" -std=$standard -x c++ /dev/null 2>/dev/null; then
        continue # a compiler from before that standard
    fi
    for name in $names; do
        if messages=$(LC_ALL=C "${compile[@]}" -std=$standard -D"$name" "$cases" 2>&1); then
            outcome=COMPILES
        elif grep -qE "error: .*(no bank promises this class's alignment|deleted.*operator new)" <<<"$messages"; then
            outcome=REFUSED
        else
            outcome=BROKEN
        fi
        if [[ $name != "$outcome"* ]]; then
            printf '%s, -std=%s: %s\n%s\n' "$name" "$standard" "$outcome" "$messages"
            failed=1
        fi
    done
done
exit $failed
