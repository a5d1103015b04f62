#!/usr/bin/env python3
"""Takes the place of a compiler for Mac OS X, so that the build for the Mac can be tested without one.

It compiles nothing: an object file is empty. As a linker it writes a Mach-O file for PowerPC with the install name of the
command line and the install names of the libraries on it. As a compiler that CMake asks about itself, it answers as g++ 12.
"""
import os
import sys

sys.dont_write_bytecode = True

import machowriter as mach

ANSWER = "".join(f"INFO:{name}[{value}]\0" for name, value in {
    "compiler": "GNU", "compiler_version": "00000012.00000002.00000000", "platform": "Darwin", "arch": "",
    "standard_default": "17", "extensions_default": "ON", "sizeof_dptr": "4", "byte_order": "BIG_ENDIAN", "abi": ""}.items())


def after(words, option):
    return words[words.index(option) + 1] if option in words else ""


def names_of(words):
    """The install names of the libraries on the command line."""
    import macho # the reader of core-bundle; this folder is in PYTHONPATH
    for place, word in enumerate(words):
        if word == "-framework":
            name = words[place + 1]
            yield f"/System/Library/Frameworks/{name}.framework/Versions/A/{name}"
        elif place and words[place - 1] not in ("-o", "-install_name", "-framework") and os.path.isfile(word) \
                and not word.endswith((".o", ".cxx", ".cpp", ".c", ".mm")) and macho.is_macho(word):
            yield macho.read_images(word)[0].own_name
    yield "/usr/lib/libSystem.B.dylib"


def main(words):
    if "-c" in words:
        for path in filter(None, (after(words, "-o"), after(words, "-MF"))):
            open(path, "w", encoding="ascii").close()
        return 0
    if "--help" in words or "--version" in words or "-E" in words:
        print("a stand-in for a compiler; it has the options -isysroot and -mmacosx-version-min")
        return 0
    own = after(words, "-install_name")
    kind = mach.LIBRARY if "-dynamiclib" in words else mach.PROGRAM
    libraries = list(dict.fromkeys(name for name in names_of(words[:]) if name and name != own))
    with open(after(words, "-o") or "a.out", "wb") as file:
        file.write(mach.image(kind, mach.PPC, own, libraries) + ANSWER.encode())
    with open(os.environ["MAC_COMMANDS"], "a", encoding="utf-8") as file:
        print(*words, file=file)
    return 0


sys.exit(main(sys.argv[1:]))
