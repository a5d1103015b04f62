#!/usr/bin/env python3
"""Writes the files of a Debian package that say which version of the package a program needs.

    symbols.py PACKAGE VERSION FOLDER LIBRARY...

FOLDER/symbols has each exported name and the version that brought it. FOLDER/shlibs has the libraries; it is for programs
that do not ask for single names. The versions come from tests/abi/*.names, the lists of the names that the libraries export. A name that is not in a list
is private and gets VERSION. dpkg-gensymbols finds the linker's form of each name.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

NAMES = pathlib.Path(__file__).resolve().parent.parent / "tests/abi"


def template(package, libraries):
    lines = []
    for library in libraries:
        name = re.match(r"lib(.*)\.so", library.name)[1]
        path = NAMES / f"{name}.names"
        if not path.exists():
            continue
        lines.append(f"lib{name}.so.{library.name.split('.')[2]} {package} #MINVER#")
        for line in path.read_text(encoding="utf-8").splitlines():
            match = re.fullmatch(r"(\S+) (.*?)(?: \[64-bit\])?", line)
            if line.startswith("#") or line.endswith("[32-bit]"):
                continue
            pattern = f'(c++|optional)"{match[2]}@Base"' if re.search(r"[ (:]", match[2]) else f"{match[2]}@Base"
            lines.append(f" {pattern} {match[1]}")
    return "\n".join(lines) + "\n"


def main(package, version, folder, *paths):
    libraries = [pathlib.Path(path) for path in paths]
    sonames = [re.match(r"(lib.*)\.so\.(\d+)", library.name).groups() for library in libraries]
    shlibs = "".join(f"{name} {number} {package} (>= {version})\n" for name, number in sonames)
    pathlib.Path(folder, "shlibs").write_text(shlibs, encoding="utf-8")
    with tempfile.TemporaryDirectory() as work:
        known = pathlib.Path(work) / "known"
        known.write_text(template(package, libraries), encoding="utf-8")
        subprocess.run(["dpkg-gensymbols", f"-p{package}", f"-v{version}", f"-I{known}", f"-O{folder}/symbols", "-c0",
                        *[f"-e{path}" for path in paths]], check=True, cwd=work, stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
