#!/usr/bin/env python3
"""Compares the interface of the built libraries with the interface of the last release.

    check.py [--update] HOST VERSION SOURCE LIBRARY...

HOST is x86_64 or powerpc, VERSION the version of this tree, SOURCE its folder. Each LIBRARY is a shared library with
debug information. For libcore.so two files say what the last release had:

    core.names      the exported names, with the version that brought each. It is the list for people.
    HOST/core.abi   functions, records and their layouts, as abidw of libabigail writes them

The file `release` holds the version of the last release. This check fails

- when the library exports a name that core.names does not have, or lacks one that it has;
- when a change breaks games that were compiled before, and VERSION has the first number of the last release;
- when calls are new, and VERSION has the first and the second number of the last release.

--update writes the files from the libraries. A new name gets VERSION.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
BITS = {"x86_64": "[64-bit]", "powerpc": "[32-bit]"}
OTHER_HOST = {"x86_64": "powerpc", "powerpc": "x86_64"}
ABIDIFF_ERROR = 1 | 2  # bits of abidiff's exit status: an error, a wrong command line


def numbers(version):
    return tuple(int(part) for part in version.split("."))


def exported(library):
    """Returns the names that the library exports for games, as C++ shows them."""
    out = subprocess.run(["nm", "-DC", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    names = set()
    for line in out.splitlines():
        kind, name = line.split(" ", 2)[1:]
        private = re.search(r"::_[a-z]", name) and not name.startswith("Parser::")
        private = private or name.startswith("__objc_")  # for the linker alone; a build without AppKit lacks it
        if kind in "TBDRV" and not private:  # not W: a template's function that the compiler chose to keep
            names.add(re.sub(r"@@.*", "", name))
    return names


def read_names(path):
    """Returns {name: (version, tag)}. The tag says which builds have the name; it is empty when all have it."""
    names = {}
    for line in path.read_text(encoding="utf-8").splitlines() if path.exists() else []:
        match = re.fullmatch(r"(\d+\.\d+\.\d+) (.*?)(?: (\[(?:32|64)-bit\]))?", line)
        if match:
            names[match[2]] = (match[1], match[3] or "")
        elif line and not line.startswith("#"):
            sys.exit(f"{path}: not understood: {line}")
    return names


def write_names(path, library, names):
    lines = [f"# The names that {library} exports, and the version that brought each."]
    lines += [f"{version} {name} {tag}".rstrip() for name, (version, tag) in sorted(names.items())]
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")


def updated_names(known, found, host, version):
    tag, other = BITS[host], BITS[OTHER_HOST[host]]
    names = {name: entry for name, entry in known.items() if name in found or entry[1] == other}
    for name in found:
        since, now = names.get(name, (version, tag))
        names[name] = (since, "" if now == other else now)
    for name, (since, now) in known.items():
        if name not in found and now == "":
            names[name] = (since, other)
    return names


def check_names(path, library, host):
    here = {name for name, (_, tag) in read_names(path).items() if tag in ("", BITS[host])}
    found = exported(library)
    faults = [f"{library.name} exports a new name: {name}" for name in sorted(found - here)]
    faults += [f"{library.name} no longer exports {name}" for name in sorted(here - found)]
    return [f"{fault} ({path.relative_to(HERE)})" for fault in faults]


def write_abi(library, source, out):
    out.parent.mkdir(exist_ok=True)
    folders = [source / "core", source / "file", source / "logger", source / "macapi/include"]
    subprocess.run(
        ["abidw", *[word for folder in folders for word in ("--headers-dir", folder)], "--drop-private-types",
         "--no-show-locs", "--no-comp-dir-path", "--no-corpus-path", "--no-parameter-names", "--no-elf-needed",
         "--type-id-style", "hash", "--exported-interfaces-only", "--drop-undefined-syms",
         "--suppressions", HERE / "private.suppr", "--out-file", out, library], check=True)


def differences(before, after, *options):
    """Returns abidiff's report; empty when there is nothing to report."""
    result = subprocess.run(["abidiff", *options, before, after], capture_output=True, text=True)
    if result.returncode & ABIDIFF_ERROR:
        sys.exit(f"abidiff failed:\n{result.stdout}{result.stderr}")
    return result.stdout if result.returncode else ""


def check_abi(path, library, source, version):
    release = (HERE / "release").read_text(encoding="utf-8").strip()
    here, then = numbers(version), numbers(release)
    with tempfile.TemporaryDirectory() as folder:
        now = pathlib.Path(folder) / path.name
        write_abi(library, source, now)
        breaks = differences(path, now, "--no-added-syms")
        more = differences(path, now)
    if breaks and here[0] == then[0]:
        return [f"{breaks}{library.name} breaks games that were compiled for {release}; the version is {version}"]
    if more and here[:2] == then[:2]:
        return [f"{more}{library.name} has more than {release} has; the version is {version}"]
    return []


def main(arguments):
    update = arguments[:1] == ["--update"]
    host, version, source, *libraries = arguments[update:]
    faults = []
    for library in map(pathlib.Path, libraries):
        name = library.name.removeprefix("lib").removesuffix(".so")
        names, abi = HERE / f"{name}.names", HERE / host / f"{name}.abi"
        if update:
            write_names(names, library.name, updated_names(read_names(names), exported(library), host, version))
            write_abi(library, pathlib.Path(source), abi)
            (HERE / "release").write_text(f"{version}\n", encoding="utf-8")
        else:
            faults += check_names(names, library, host) + check_abi(abi, library, pathlib.Path(source), version)
    if faults:
        print("\n".join(faults))
        print("If the change is meant: raise the version in CMakeLists.txt and core/version.h. CONTRIBUTING.md says how.")
    return bool(faults)


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1:]))
