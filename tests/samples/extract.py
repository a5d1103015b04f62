#!/usr/bin/env python3
"""Takes the samples out of a header or a Markdown page, so that the tests compile and run them as they stand.

    extract.py PAGE OUT          writes the samples of PAGE to OUT, as C++
    extract.py --appkit PAGE OUT the same for those that send messages to AppKit, as Objective-C++
    extract.py --pages ROOT      lists the pages below ROOT that have samples

A sample of a header is a run of comment lines whose text is indented by five spaces. A sample of a Markdown page is a
block that opens with ```cpp. Samples that belong together stand in one comment block, or are the only ones of a page.

What becomes of a sample depends on how it begins:

    #include, class, struct, namespace,
    template, inline, static_assert       stands as it is
    int main                              becomes int programN()
    a quote, a semicolon or a bracket     is data: the text dataN
    anything else                         goes into void sampleN(), together with the other statements of its block

N counts from 1 and is the same for all samples of a block. Compilers report an error at its place in the page.
"""
import pathlib
import re
import sys

DECLARATION = re.compile(r"(#include|class|struct|namespace|template|inline|static_assert|int main)\b")
DATA = re.compile(r'["\[;]|// a comment')
MESSAGE = re.compile(r"\[NS")


def header_blocks(lines):
    """The comment blocks of a header: lists of samples, each a list of (line number, text)."""
    block, sample = [], []
    for number, line in enumerate(lines + [""], 1):
        comment = re.match(r"\s*//(.*)$", line)
        text = comment.group(1) if comment else ""
        if comment and text.startswith("     "):
            sample.append((number, text[5:]))
            continue
        if sample and not (comment and text == ""):
            block.append(sample)
            sample = []
        elif sample:
            sample.append((number, ""))
        if not comment and block:
            yield block
            block = []


def markdown_blocks(lines):
    sample = None
    for number, line in enumerate(lines, 1):
        if sample is None and line.startswith("```cpp"):
            sample = []
        elif sample is not None and line.startswith("```"):
            yield [sample]
            sample = None
        elif sample is not None:
            sample.append((number, line))


def paragraphs(sample):
    """A sample's parts: declarations end with a blank line or a brace at the line's beginning."""
    part = []
    for number, text in sample:
        part.append((number, text))
        if DECLARATION.match(part[0][1]) and (text.startswith("}") or text.startswith("#include")):
            yield part
            part = []
        elif not text and not DECLARATION.match(part[0][1]) and all(not line for _, line in part):
            part = []
    if part:
        yield part


def blocks_of(page):
    lines = page.read_text(encoding="utf-8").split("\n")
    return list(markdown_blocks(lines) if page.suffix == ".md" else header_blocks(lines))


def source(page, blocks, appkit):
    out = []
    for count, block in enumerate(blocks, 1):
        statements = []
        for sample in block:
            if appkit != any(MESSAGE.search(line) for _, line in sample):
                continue
            if DATA.match(sample[0][1]):
                text = "\n".join(line for _, line in sample).rstrip("\n") + "\n"
                out.append(f'static const char data{count}[] = R"sample({text})sample";')
                continue
            for part in paragraphs(sample):
                declares = DECLARATION.match(part[0][1])
                target = out if declares else statements
                target.append(f'#line {part[0][0]} "{page}"')
                target += [re.sub(r"^int main\(", f"int program{count}(", line) for _, line in part]
        if statements:
            out += [f"static void sample{count}()", "{"] + statements + ["}"]
    return "\n".join(out) + "\n"


def pages(root):
    folders = [root / "core", root / "file", root / "logger", root / "docs"]
    found = [page for folder in folders for page in sorted(folder.iterdir()) if page.suffix in (".h", ".md")]
    return [page for page in [root / "README.md", *found] if blocks_of(page)]


def main(arguments):
    if len(arguments) == 2 and arguments[0] == "--pages":
        root = pathlib.Path(arguments[1])
        print("\n".join(str(page.relative_to(root)) for page in pages(root)))
    elif len(arguments) == 2 or (len(arguments) == 3 and arguments[0] == "--appkit"):
        page, out = (pathlib.Path(argument) for argument in arguments[-2:])
        out.write_text(source(page, blocks_of(page), len(arguments) == 3), encoding="utf-8")
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
