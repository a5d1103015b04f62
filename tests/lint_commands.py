"""Writes the compile commands of the libraries and tools for clang-tidy: lint_commands.py IN OUT.

Leaves out the tests' commands, which compile some of the same sources again, and gcc's own options. Leaves out precompiled
headers as well, so clang-tidy reports a source that does not include what it uses.
"""
import json
import re
import sys

GCC_ONLY = re.compile(r" (-mstringop-strategy=\S+|-Wno-format-truncation|-Wno-maybe-uninitialized|-Winvalid-pch"
                      r"|-include \S*cmake_pch\.hxx)")

with open(sys.argv[1], encoding="utf-8") as commands:
    kept = [entry for entry in json.load(commands) if " -o tests/" not in entry["command"]]
for entry in kept:
    entry["command"] = GCC_ONLY.sub("", entry["command"])
with open(sys.argv[2], "w", encoding="utf-8") as commands:
    json.dump(kept, commands)
