"""A second implementation of the reader of strings files, on the model of the parser."""
from models.parser import Parser


def expected(document):
    """The entries of a strings file, in the order of their keys and texts."""
    parser, found = Parser(document), []
    while parser.parse_line():
        key = parser.string()
        text = parser.string() if key is not None and parser.mark(b"=") else None
        if text is not None:
            found.append(parser.text_at(key)[:127] + b"\0" + parser.text_at(text) + b"\0")
    return b"".join(sorted(found))


# ---- Documents

INSIDE = b"\\\\abtnvfr'xyz ,.=/\x80\xff"


def any_text(dice, longest):
    return bytes(dice.choices(INSIDE, k=dice.randint(0, longest)))


def any_line(dice):
    kind = dice.randrange(16)
    if kind == 0:
        return b"//" + any_text(dice, 20)
    if kind == 1:
        return b"x" + any_text(dice, 20)
    if kind == 4:
        return b'"%s" =%s' % (any_text(dice, 12), dice.choice([b"", b"", b" ", b"\r"]))
    if kind == 5:
        return b'"%s"' % any_text(dice, 30)
    if kind == 6:
        return b"\n" * dice.randrange(7)
    key = any_text(dice, 200 if kind == 2 else 12)
    text = any_text(dice, 30)
    blanks = [dice.choice([b"", b" ", b"\t", b"  "]) for _ in range(2)]
    equals = dice.choice([b"= ", b"= ", b"= ", b"=  ", b"==", b"x ", b"=\t"])
    end = dice.choice([b"", b"", b"\r", b" ", b" // end"])
    close = b"" if kind == 3 else b'"'
    return b'%s"%s"%s%s"%s%s%s' % (blanks[0], key, blanks[1] + b" ", equals, text, close, end)


class Maker:
    def __init__(self, dice):
        self.dice = dice
        self.lines = [any_line(dice) for _ in range(5000)]

    def request(self):
        lines = b"\n".join(self.dice.choices(self.lines, k=self.dice.randint(1, 8)))
        return lines + self.dice.choice([b"", b"\n"]) or b"\n"  # setLanguage does not close an empty file
