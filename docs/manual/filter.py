#!/usr/bin/env python3
"""Prepares a header or a page for Doxygen, which calls `filter.py FILE` and reads the standard output.

A header's plain comments become Doxygen's: the comment at the top describes the file, a comment directly above a declaration
or at the end of its line describes the declaration. In a page, links between pages become Doxygen's references, and the page
of the examples gets their sources.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
EXAMPLES = ROOT / "examples"
LINK = re.compile(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)")


def slug(heading):
    return re.sub(r"[^a-z0-9]+", "_", heading.lower()).strip("_")


def page_id(path):
    return "examples" if path.parent == EXAMPLES else slug(path.stem)


def is_page(path):
    return path.exists() and (path.parent in (ROOT, ROOT / "docs") or path == EXAMPLES / "README.md")


def escaped(text):
    """Escapes what Doxygen would take for a command. In code between backticks, that is "%" before a word only."""
    def part(text):
        if text.startswith("`") and "\\" in text: # Doxygen would take a backslash at the end for one before a backtick
            return "<code>" + re.sub(r"([\\@<>#%\"*_])", r"\\\1", text[1:-1]) + "</code>"
        if text.startswith("`"):
            return re.sub(r"%(?=\w)", "%%", text)
        return re.sub(r"([\\@<>#])", r"\\\1", text)
    return "".join(part(text) for text in re.split(r"(`[^`]*`)", text))


# ---- Headers

def block(lines):
    """The text of a comment: drawings become code, which needs four more blanks."""
    drawing, previous = False, ""
    for line in lines:
        if line.startswith("   "):
            drawing = drawing or previous == ""
        elif line:
            drawing = False
        yield "    " + line if drawing else escaped(line)
        previous = line


def header(path, lines):
    out, comment = [], []
    indent = ""
    for number, line in enumerate(lines + [""]):
        found = re.match(r"(\s*)// ?(.*)$", line)
        if found:
            indent = found[1]
            comment.append(found[2])
            continue
        is_top = comment and number == len(comment)
        documents = is_top or (line.strip() and not line.startswith("#") and comment and not comment[0].startswith("----"))
        if is_top:
            out.append(f"/// @file {path.name}")
            out.append("///")
        for text in block(comment) if documents else comment:
            out.append(f"{indent}///{' ' + text if text else ''}" if documents else f"{indent}//")
        comment = []
        if re.match(r"class \w+.*{$", line) and not documents:
            out.append(f"/// @copydoc {path.name}") # the comment at the top of the header is also that of its class
        if re.match(r"\s*class \w+;", line): # its remark would go to the next declaration
            line = line.partition(" //")[0]
        code, mark, remark = line.partition(" // ")
        out.append(f"{code} ///< {escaped(remark)}" if mark and re.search(r"[;,)\w]\s*$", code) else line)
    return out


# ---- Pages

def target(path, link):
    """Doxygen's name for the target of a link; empty when the manual does not have it."""
    file, _, heading = link.partition("#")
    other = (path.parent / file).resolve() if file else path.resolve()
    if other.suffix in (".cpp", ".mm") and other.parent == EXAMPLES:
        return f"@ref examples_{other.stem}"
    if other.suffix == ".md" and is_page(other):
        name = page_id(other) + "_" + (slug(heading) if heading else "page")
        return "@ref " + ("index" if name == "readme_page" else name)
    return ""


def linked(path, text):
    def replace(found):
        picture, label, link = found.groups()
        if link.startswith("http"):
            return found[0]
        if picture:
            return f"![{label}]({pathlib.PurePath(link).name})"
        name = target(path, link)
        return f"[{label}]({name})" if name else label
    return LINK.sub(replace, text)


def page(path, lines):
    out, fenced, names = [], False, set()
    for line in lines:
        heading = re.match(r"(#+) (.*)$", line)
        if line.startswith("```") or line.lstrip().startswith("```"):
            fenced = not fenced
            out.append(line)
        elif fenced or line.startswith("    "):
            out.append(line)
        elif heading and len(heading[1]) == 1:
            out.append(line + (" {#mainpage}" if path == ROOT / "README.md" else f" {{#{page_id(path)}_page}}"))
        elif heading:
            name = f" {{#{page_id(path)}_{slug(heading[2])}}}"
            out.append(f"{heading[1]} {escaped(heading[2])}" + ("" if name in names else name))
            names.add(name) # the first heading of that text gets the links
        else:
            parts = re.split(r"(!?\[[^\]]*\]\([^)\s]+\))", line)
            out.append("".join(linked(path, part) if LINK.fullmatch(part) else escaped(part) for part in parts))
    if path.parent == EXAMPLES:
        for source in sorted([*path.parent.glob("*.cpp"), *path.parent.glob("*.mm")]):
            out += ["", f"## {source.stem} {{#examples_{source.stem}}}", "", f"@include {source.name}"]
    return out


def main():
    path = pathlib.Path(sys.argv[1]).resolve()
    lines = path.read_text(encoding="utf-8").split("\n")
    print("\n".join(page(path, lines) if path.suffix == ".md" else header(path, lines)))


if __name__ == "__main__":
    main()
