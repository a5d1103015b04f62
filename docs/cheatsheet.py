#!/usr/bin/env python3
"""Writes docs/cheatsheet.md: every public call in a line, taken from the public headers.

    docs/cheatsheet.py           writes the page
    docs/cheatsheet.py --check   writes nothing; shows the differences and ends with 1 when the page is out of date

The remark on a call is the comment in its line, or the first sentence of the comment above it. The script reads the form
that clang-format gives the headers: a declaration begins on a line of its own and ends with a line's last character.
"""
import difflib
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "cheatsheet.md"
HEADERS = ["core/memorymgr.h", "core/allocator.h", "core/mutex.h", "core/str.h", "core/parser.h", "core/commandline.h",
           "core/preferences.h", "core/stringtable.h", "core/hashtable.h", "core/platform.h", "core/version.h",
           "file/file.h", "logger/logger.h"]
LONGEST = 160  # characters of a remark; a longer one ends at its first colon
INTRODUCTION = """# Cheat sheet

Every public call in a line. The remark is the first sentence of the header's comment, and the header says the rest. A call of
a class is written with the class before it. This page is made by `docs/cheatsheet.py`; do not edit it.
"""
SCOPE = re.compile(r"(?:template <[^>]*> )?(?P<kind>namespace|class|struct|enum) (?P<name>\w+)")


def first_sentence(lines):
    text = " ".join(lines).split("  ")[0] # an empty line of the comment ends its first paragraph
    sentence = re.split(r"\. |\.$", text.lstrip("- "))[0]
    return sentence.split(": ")[0] if len(sentence) > LONGEST else sentence.rstrip(":")


def statements(lines):
    """Yields (declaration, remark): a piece of code that ends with ; { } or :, and the comment that belongs to it."""
    block, code, used = [], "", False
    for line in lines:
        line = line.strip()
        if line.startswith("//"):
            text = line[2:].removeprefix(" ")
            block = [text] if used else block + [text]
            used = False
            continue
        if not line or line.startswith("#"):
            block = block if code else []
            continue
        part, _, remark = line.partition(" //")
        code = f"{code} {part.strip()}".strip()
        if code[-1] in ";{}:":
            yield code, remark.strip().rstrip(".") or first_sentence(block)
            block = [] if code.endswith("{") else block
            code, used = "", True


def declaration(code):
    """Returns the call without its body, attributes and the words that matter only to compilers; None for no call."""
    code = re.sub(r" ?(__attribute__\(\(.*\)\)|\[\[noreturn\]\]|\bexplicit |\bvirtual |\binline |\bnoexcept\b)", " ", code)
    code = re.sub(r"^(static |template <[^>]*> )+", "", code.strip())
    code = re.sub(r" : \w+\(.*", "", code).split("{")[0].rstrip(" ;")
    code = re.sub(r" = 0$| override$", "", re.sub(r"\s+", " ", code).strip())
    unwanted = re.search(r"operator|~|= delete|= default|^(typedef|friend|using|extern|static_assert)\b|^constexpr", code)
    return code if re.search(r"\w\(", code) and not unwanted else None


def qualified(call, scope):
    name = re.search(r"~?\w+(?=\()", call)
    return call if not scope else f"{call[:name.start()]}{scope}::{call[name.start():]}"


def calls(header):
    scopes, access = [], ["public"]
    text = (ROOT / header).read_text(encoding="utf-8").split("// ---- The code of the templates")[0]
    for code, remark in statements(text.split("\n")):
        if code in ("public:", "protected:", "private:"):
            access[-1] = code[:-1]
            continue
        opens = code.count("{") - code.count("}")
        scope = SCOPE.match(code)
        call = None if scope and not code.endswith(";") else declaration(code)
        visible = all(item == "public" for item in access) and all(scopes)
        if call and visible:
            yield qualified(call, "::".join(scopes)), remark
        if opens > 0:
            scopes.append(scope["name"] if scope and scope["kind"] != "enum" else "")
            access.append("private" if scope and scope["kind"] == "class" else "public")
        elif opens < 0:
            scopes.pop()
            access.pop()


def page():
    lines = [INTRODUCTION]
    for header in HEADERS:
        lines += [f"## {header}", "", "| Call | |", "|---|---|"]
        above = ""
        for call, remark in calls(header):
            shown = "as above" if remark and remark == above else remark.replace("*", "\\*")
            lines.append(f"| `{call}` | {shown} |".replace("|  |", "| |"))
            above = remark
        lines.append("")
    return "\n".join(lines).rstrip("\n") + "\n"


def main(arguments):
    wanted = page()
    if arguments == ["--check"]:
        found = PAGE.read_text(encoding="utf-8") if PAGE.exists() else ""
        differences = "\n".join(difflib.unified_diff(found.split("\n"), wanted.split("\n"), "docs/cheatsheet.md",
                                                     "the headers", lineterm=""))
        sys.exit(f"{differences}\ndocs/cheatsheet.md is out of date: run docs/cheatsheet.py" if differences else 0)
    if arguments:
        sys.exit(__doc__)
    PAGE.write_text(wanted, encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1:])
