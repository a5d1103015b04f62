#!/bin/sh
# What a compiler does not see: lint.sh form|tidy|tidy-tools|spelling. Silent when all is well.
#
# Other versions of these tools have other opinions, so a tool of another version than Debian 12's ends with 77: skipped.
set -eu

needs() { # TOOL VERSION
    "$1" --version 2>/dev/null | grep -qE "$2" || { echo "$1 here is not version $2"; exit 77; }
}

tidy() { # PATTERN...
    needs clang-tidy 14
    mkdir -p build/run/tidy
    python3 tests/lint_commands.py build/release/compile_commands.json build/run/tidy/compile_commands.json
    git ls-files "$@" |
        xargs -P "$(nproc)" -n 1 clang-tidy -p build/run/tidy --quiet 2>/dev/null |
        awk '/: (warning|error): / { print; found = 1 } END { exit found }'
}

case $1 in
form)
    needs clang-format 14
    git ls-files '*.h' '*.cpp' '*.mm' | xargs clang-format --dry-run -Werror
    ;;
tidy) # AppKit's headers belong to gcc, so Objective-C++ is left out.
    tidy 'core/*.cpp' 'file/*.cpp' 'logger/*.cpp' 'macapi/*.cpp' 'watch/*.cpp'
    ;;
tidy-tools)
    tidy 'tools/*.cpp'
    ;;
spelling)
    needs codespell 2.2
    codespell
    ;;
esac
