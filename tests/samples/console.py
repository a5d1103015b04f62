#!/usr/bin/env python3
"""Runs the commands of a page and compares their output with the page.

    console.py [--write] [--copy FOLDER] [--path FOLDER]... PAGE

A block of the page that opens with ```console has commands, each after "$ ", and below each command its output. All
commands run in one new folder, one after the other. --copy: the folder begins with a copy of FOLDER, under the same
name. --path: the shell finds programs in FOLDER. --write: writes the true output into the page.

Status 0: the page is right. 1: it isn't, the differences are printed.
"""
import argparse
import difflib
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile


def run(command, folder, environment):
    result = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=120)
    return result.stdout.decode("utf-8", "replace").splitlines()


def true_page(lines, folder, environment):
    """The page with the output that its commands have now."""
    page, inside = [], False
    for line in lines:
        if line.startswith("```"):
            inside = line == "```console"
            page.append(line)
        elif not inside:
            page.append(line)
        elif line.startswith("$ "):
            page += [line, *run(line[2:], folder, environment)]
    return page


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--copy")
    parser.add_argument("--path", action="append", default=[])
    parser.add_argument("page", type=pathlib.Path)
    options = parser.parse_args()
    lines = options.page.read_text(encoding="utf-8").splitlines()
    with tempfile.TemporaryDirectory(prefix="core-page-") as folder:
        if options.copy:
            shutil.copytree(options.copy, os.path.join(folder, os.path.basename(options.copy)))
        environment = {**os.environ, "PATH": os.pathsep.join([*options.path, os.environ["PATH"]]), "LC_ALL": "C.UTF-8",
                       "HOME": folder, "MACAPI_LIBRARY": folder, "MACAPI_USER_LIBRARY": folder}
        environment.pop("DISPLAY", None)
        page = true_page(lines, folder, environment)
    if options.write:
        options.page.write_text("\n".join(page) + "\n", encoding="utf-8")
    elif page != lines:
        print("\n".join(difflib.unified_diff(lines, page, "the page", "the true output", lineterm="")))
        sys.exit(1)


main()
