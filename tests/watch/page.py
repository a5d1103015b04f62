#!/usr/bin/env python3
"""Runs the commands of a page, and compares what they print with the page.

page.py PAGE FOLDER...

A block that begins with ```console has commands, after "$ ", and their output. The blocks with "core-memory run" are run: the
others show games that take long. All commands run in one empty
folder and in order. FOLDERs are searched for programs; the last one has the games. A compiler may store the path of a
source in several forms, so what comes before "tests/" is left out.
"""
import os
import re
import subprocess
import sys
import tempfile


def commands_of(text):
    for block in re.findall(r"^```console\n(.*?)^```", text, re.M | re.S):
        if "core-memory run" not in block:
            continue
        for command, output in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.M):
            yield command, output


def main():
    page, *folders = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        commands = list(commands_of(file.read()))
    wrong = 0
    with tempfile.TemporaryDirectory(prefix="core-page-") as folder:
        environment = dict(os.environ, MACAPI_LIBRARY=folder, MACAPI_USER_LIBRARY=folder, LC_ALL="C.UTF-8",
                           PATH=":".join([folder, *folders, os.environ["PATH"]]))
        for name in ("growing", "planted"):
            os.symlink(os.path.join(folders[-1], name), os.path.join(folder, name))
        for command, wanted in commands:
            done = subprocess.run(["sh", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
            shown = re.sub(r"\(\S*/(tests/watch/)", r"(\1", done.stdout.decode(errors="replace"))
            if shown != wanted:
                wrong += 1
                print(f"$ {command}\n{shown}---- the page says:\n{wanted}")
    print(f"{len(commands)} commands, {wrong} of them print something else")
    return 1 if wrong or not commands else 0


if __name__ == "__main__":
    sys.exit(main())
