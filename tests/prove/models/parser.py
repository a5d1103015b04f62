"""A second implementation of the line parser: lines, tokens, strings and typed values.

It is written for reading. A text is an array of bytes with a NUL at its end, and a place is an index. To cut means to write
a NUL into the text. Numbers are read with all their digits and then rounded once.

Two rules go beyond what strtok and sscanf do:

- Empty lines. After three or more empty lines, the line that follows them is taken, and then its last characters are taken
  as a line again. That second line ends where the line ended before; the NULs in it do not end it.
- No place lies after the NUL that ends the text.
"""
import re
import struct
from fractions import Fraction

from models.escapes import unescaped

BLANKS = b" \t"
WORD = re.compile(rb"[ \t\n\v\f\r]*([^ \t\n\v\f\r\0]+)")
INTEGER = re.compile(rb"[ \t\n\v\f\r]*([+-]?[0-9]+)")
FLOAT = re.compile(rb"[ \t\n\v\f\r]*([+-]?)(?:(inf(?:inity)?)|(nan(?:\([a-z0-9_]*\))?)|"
                   rb"0x([0-9a-f]+\.?[0-9a-f]*|\.[0-9a-f]+)(?:p([+-]?[0-9]+))?|"
                   rb"([0-9]+\.?[0-9]*|\.[0-9]+)(?:e([+-]?[0-9]+))?)", re.IGNORECASE)
INTEGER_BITS = {"int8": 8, "int16": 16, "int32": 32, "int64": 64}
NO_BYTE_OF = {set_: re.compile(b"[^" + re.escape(set_) + b"]" if set_ else b"(?s:.)")
              for set_ in (b" ", b",", b"", b'\n="', b"\n", b" \t", b"\t")}
BYTE_OR_NUL = {set_: re.compile(b"[\\0" + re.escape(set_) + b"]") for set_ in (b" ", b",", b"", b'\n="', b"\n", b'"')}


def nearest_float(negative, number):
    """The bits of the float that is nearest to a fraction that is not negative; of two, the even one."""
    bits = 0
    if number:
        exponent = max(number.numerator.bit_length() - number.denominator.bit_length() - 1, -126) - 23
        while number >= Fraction(2) ** (exponent + 24):
            exponent += 1
        digits = round(number / Fraction(2) ** exponent)  # to even
        bits = digits + (exponent + 149 << 23)  # an overflow of the digits makes the exponent larger by one
        bits = min(bits, 0x7f800000)
    return f"{bits | negative << 31:08x}"


def power_of(base, digits):
    """A power with at most 3000 as its exponent: more makes any number of a text 0 or infinite."""
    return Fraction(base) ** max(-3000, min(int(digits or 0), 3000))


def float_of(match):
    sign, infinite, nan, hexadecimal, power, decimal, exponent = match.groups()
    negative = sign == b"-"
    if nan:
        return "nan"
    if infinite:
        return "ff800000" if negative else "7f800000"
    if hexadecimal:
        digits, _, decimals = hexadecimal.partition(b".")
        number = Fraction(int(digits + decimals, 16), 16 ** len(decimals)) * power_of(2, power)
    else:
        digits, _, decimals = decimal.partition(b".")
        number = Fraction(int(digits + decimals), 10 ** len(decimals)) * power_of(10, exponent)
    return nearest_float(negative, number)


def integer_of(kind, text):
    """An integer is read with 64 bits; beyond them it is the nearest one. The output gets the low bits."""
    number = int(text)
    if kind == "uint32":
        return str((number if abs(number) < 1 << 64 else -1) & 0xffffffff)
    number = max(-1 << 63, min(number, (1 << 63) - 1))
    bits = INTEGER_BITS[kind]
    return str((number + (1 << bits - 1)) % (1 << bits) - (1 << bits - 1))


class Parser:
    def __init__(self, text):
        self.bytes = bytearray(text + b"\0")
        self.last = len(text)  # the place of the NUL that ends the text
        self.messages = ""
        self.position = None  # where the next token of the line is looked for
        self.reset()

    def reset(self):
        self.cursor = 0
        self.number = 0  # of the line
        self.line = (0, 0)  # the first place of the line that was taken last, and the place after it

    def text_at(self, place):
        return bytes(self.bytes[place:self.bytes.index(0, place)])

    def without(self, blanks, place):
        return NO_BYTE_OF[blanks].search(self.bytes, place).start()

    def first_of(self, ends, place):
        return BYTE_OR_NUL[ends].search(self.bytes, place).start()

    def cut(self, place, delimiters):
        """strtok: returns the first place of the next part and the place after it; None at the end of the text."""
        start = self.without(delimiters, place)
        end = self.first_of(delimiters, start)
        self.bytes[end] = 0
        return (start, end) if start < end else None

    def trimmed(self, start, end, blanks=BLANKS):
        """Returns the place after the blanks; null if nothing is left."""
        start = self.without(blanks, start)
        if self.bytes[start] == 0:
            return None
        if self.bytes.startswith(b"//", start):
            self.bytes[start] = 0
            return start
        while end > start and self.bytes[end - 1] in b"\r\n":
            end -= 1
            self.bytes[end] = 0
        return start

    def parse_line(self):
        if self.cursor < self.line[1]:  # after three or more empty lines
            start = max(self.cursor, self.line[0])
            end = self.line[1]
            self.cursor += self.cursor < self.line[0]
        else:
            part = self.cut(self.cursor, b"\n")
            self.cursor += self.bytes[self.cursor] == 10
            if not part:
                self.position = None
                return False
            self.line = start, end = part
        self.cursor = min(self.cursor + end - start + 1, self.last)
        self.position = self.trimmed(start, end)
        self.number += 1
        return True

    def token(self, delimiters=b" "):
        """Returns the place of the next token; None at the end of the line."""
        if self.position is None:
            return None
        self.position = self.without(BLANKS, self.position)
        part = self.cut(self.position, delimiters) if self.bytes[self.position] else None
        if not part:
            return None
        self.position = min(self.position + part[1] - part[0] + 1, self.last)
        return part[0]

    def mark(self, mark):
        token = self.token()
        return token is not None and self.text_at(token) == mark

    def string(self):
        """Returns the place of the next text between quotes, decoded; None if the line has no further such text."""
        if self.position is None:
            return None
        self.position = self.first_of(b'"', self.position)
        if self.bytes[self.position] == 0:
            return None
        start = self.position + 1
        self.position = self.first_of(b'"', start)
        while self.bytes[self.position] and self.bytes[self.position - 1] == 92:  # a backslash
            self.position = self.first_of(b'"', self.position + 1)
        if self.bytes[self.position] == 0:
            return None
        decoded, _ = unescaped(bytes(self.bytes[start:self.position]))
        self.bytes[self.position] = 0
        self.bytes[start:start + len(decoded) + 1] = decoded + b"\0"
        self.position += 1
        return start

    # ---- Values. A reader stores into `values`, a list of the texts that describe them.

    def scan(self, kind, place, values, count):
        """sscanf: stores up to count numbers. Returns how many."""
        if place is None:
            return 0
        for index in range(count):
            match = (FLOAT if kind == "float" else INTEGER).match(self.bytes, place)
            if not match:
                return index
            values[index] = float_of(match) if kind == "float" else integer_of(kind, match.group(1))
            place = match.end()
        return count

    def complain(self, message):
        self.messages += f"3 {message}\f"

    def expect(self, complete, expected):
        if not complete:
            self.complain(f"Parser: expected {expected} on line {self.number}.")
        return complete

    def value_line(self, blanks, read, expected):
        """Cuts a line, and moves the cursor if read(place) finds all values in it."""
        part = self.cut(self.cursor, b"\n")
        place = self.trimmed(*part, blanks) if part else None
        self.number += 1
        complete = self.expect(place is not None and read(place), expected)
        if complete:
            self.cursor = min(self.cursor + len(self.text_at(place)) + 2, self.last)
        return complete

    def read_word(self, place, values):
        match = WORD.match(self.bytes, place)
        if match:
            values[0] = match.group(1)
        return match is not None

    def read_letter(self, place, values):
        if self.bytes[place]:
            values[0] = bytes(self.bytes[place:place + 1]) + values[0][1:]
        return self.bytes[place] != 0

    def read_utf8(self, place, values):
        if self.bytes[place] == 32:
            values[0] = b" "
            return True
        return self.read_word(place, values)

    def boolean(self):
        token = self.token()
        word = self.text_at(token).lower() if token is not None else None
        if word not in (b"true", b"false"):
            self.complain("...Expected: true or false")
        return word == b"true"

    def named(self, token, form, read):
        """read() returns true if it has read the value, and is called after "="."""
        if token.lower() != b"name":
            return False
        if not (self.mark(b"=") and read()):
            self.complain(f'...expected: "^C00FF00name = {form}^c"')
        return True

    def named_numbers(self, token, form, kind, values, required):
        def read():
            for index in range(len(values)):
                value = self.token()
                number = values[index:index + 1]
                if self.scan(kind, value, number, 1) == 0:
                    return index >= required
                values[index] = number[0]
            return True
        return self.named(token, form, read)

    def named_boolean(self, token, values):
        def read():
            values[0] = str(int(self.boolean()))
            return True
        return self.named(token, "bool", read)

    def named_string(self, token, values, size):
        if token.lower() != b"name":
            return False
        equals = self.mark(b"=")
        place = self.string() if equals else None
        if place is None:
            self.complain('...expected: "^C00FF00name = string^c"')
            return not equals
        if size:
            text = self.text_at(place)[:size - 1]
            values[0] = text + bytes(size - len(text)) + values[0][size:]
        return True
