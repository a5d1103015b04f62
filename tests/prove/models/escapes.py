"""A second implementation of the ten escapes."""
import itertools
import re

LETTERS = dict(zip(b"abtnvfr\"'\\", b"\a\b\t\n\v\f\r\"'\\"))
ESCAPED = {bytes([byte]): b"\\" + bytes([letter]) for letter, byte in LETTERS.items()}
SPECIAL = re.compile(b"[" + re.escape(bytes(LETTERS.values())) + b"]")
BACKSLASH = ord("\\")


def escaped(text):
    return SPECIAL.sub(lambda match: ESCAPED[match.group()], text)


def unescaped(text):
    """Returns the decoded text, and if all its escapes are valid. The letter of an unknown escape is lost."""
    if BACKSLASH not in text:
        return text, True
    result, valid = bytearray(), True
    rest = iter(text)
    for byte in rest:
        if byte == BACKSLASH:
            letter = next(rest, None)
            valid = valid and letter in LETTERS
            byte = LETTERS.get(letter, BACKSLASH)
        result.append(byte)
    return bytes(result), valid


def expected_escaped(request):
    return b"".join(escaped(text) + b"\0" for text in request[:-1].split(b"\0"))


def expected_unescaped(request):
    return b"".join(b"%d%s\0" % (valid, text) for text, valid in map(unescaped, request[:-1].split(b"\0")))


# ---- Requests. A NUL ends each text.

TWO_BYTES = b"".join(bytes(pair) + b"\0" for pair in itertools.product(range(1, 256), repeat=2))
CHARACTERS = b"\\\\\\\\\\\\abtnvfr\"'xyz \a\b\t\n\v\f\r\x01\x7f\x80\xff\0\0"
TABLE = (CHARACTERS * 256)[:256]  # from a random byte to a character


class Maker:
    def __init__(self, dice):
        self.dice = dice

    def request(self):
        return self.dice.randbytes(20_000).translate(TABLE) + b"\0"
