"""Random calls over random texts for the model of the parser."""
from models.parser import BLANKS, Parser

SIZES = [0, 1, 4, 64]  # of ParamEqualsString
NUMBER = {"float": "429a0000"}  # the outputs before a call; for other types "77"


def line(parser, token):
    return parser.parse_line()


def reset(parser, token):
    parser.reset()
    return False


def mark(text):
    return lambda parser, token: parser.mark(text)


def boolean(parser, token):
    return parser.boolean()


def value_line(kind, required, count, expected):
    def call(parser, token, values):
        return parser.value_line(BLANKS, lambda place: parser.scan(kind, place, values, count) >= required, expected)
    return call, [NUMBER.get(kind, "77")] * count


def text_line(blanks, read, expected):
    def call(parser, token, values):
        return parser.value_line(blanks, lambda place: getattr(parser, read)(place, values), expected)
    return call, [b"*" * 63]


def current_line(kind, count, expected):
    def call(parser, token, values):
        return parser.expect(parser.scan(kind, parser.position, values, count) == count, expected)
    return call, [NUMBER.get(kind, "77")] * count


def named(kind, count, required, form):
    def call(parser, token, values):
        return parser.named_numbers(token, form, kind, values, required)
    return call, [NUMBER.get(kind, "77")] * count


# In the order of tests/support/parser_readers.h. A text: the delimiters of GetToken. None: GetString.
READERS = [
    line, line, b" ", None, b",", b"", b'\n="', mark(b"="), mark(b"{"), mark(b"}"), reset,
    text_line(BLANKS, "read_word", "string"), text_line(b"\t", "read_letter", "1 char"),
    text_line(b"\t", "read_utf8", "utf8 string"),
    value_line("int32", 1, 1, "1 integer"), value_line("int32", 2, 2, "2 integers"),
    value_line("int32", 1, 2, "1 or 2 integers"), value_line("int32", 3, 3, "3 integers"),
    value_line("float", 1, 1, "1 float"), value_line("float", 2, 2, "2 floats"),
    value_line("float", 1, 2, "1 or 2 floats"),
    current_line("float", 1, "1 floats"), current_line("float", 2, "2 floats"),
    current_line("int32", 1, "1 int"), current_line("int32", 2, "2 ints"), current_line("int32", 3, "3 ints"),
    boolean,
    named("int8", 1, 1, "int8"), named("int16", 1, 1, "int16"), named("int32", 1, 1, "int32"),
    named("uint32", 1, 1, "uint32"), named("int64", 1, 1, "int64"), named("float", 1, 1, "float32"),
    named("int32", 2, 2, "int32 int32"), named("int32", 2, 1, "int32"),
    named("float", 2, 2, "float32 float32"), named("float", 2, 1, "float32"),
    (lambda parser, token, values: parser.named_boolean(token, values), ["1"]),
    "ParamEqualsString",
]
LINE, TOKEN, STRING, EQUALS, OPEN, BOOLEAN = 0, 2, 3, 7, 8, 26
VALUE_LINES, CURRENT_LINES, NAMED = range(11, 21), range(21, 26), range(27, 39)
AFTER_NUMBERS = [TOKEN, STRING, BOOLEAN, *CURRENT_LINES]


def called(parser, byte, token):
    """Makes one call. Returns its reply, and the place of the text that it returns."""
    reader, place = READERS[byte % 64], None
    values = []
    if reader is None or isinstance(reader, bytes):
        place = parser.string() if reader is None else parser.token(reader)
        result = place is not None
    elif reader == "ParamEqualsString":
        values = [b"*" * 63 + b"\0"]
        result = parser.named_string(token(), values, SIZES[byte // 64])
    elif isinstance(reader, tuple):
        call, before = reader
        values = list(before)
        result = call(parser, token(), values)
    else:
        result = reader(parser, token())
    text = parser.text_at(place) + b"\0" if place is not None else b""
    described = b"".join((value if isinstance(value, bytes) else value.encode()) + b" " for value in values)
    messages, parser.messages = parser.messages.encode(), ""
    return b"%d" % result + text + described + messages + b"\n", place


def expected(request):
    """The reply that prove_differ must give."""
    count = request[0]
    parser = Parser(request[1 + count:])
    replies, last = [], None
    for byte in request[1:1 + count]:
        reply, place = called(parser, byte, lambda: b"name" if last is None else parser.text_at(last))
        replies.append(reply)
        last = place if place is not None and isinstance(READERS[byte % 64], bytes) else last
    return b"".join(replies) + bytes(parser.bytes[:parser.last])


# ---- Requests

WORDS = [b"a", b"B2", b"unit", b"name", b"Name", b"NAME", b"na", b"names", b"{", b"}", b"=", b"==", b"=5", b"true", b"False",
         b"tRue", b"yes", b"//", b"/", b"x//y", b"\xc3\xa9", b"\xff", b"\v", b"\f", b",", b"a,b,,c", b",,,abcd"]
STRINGS = [b'"', b'""', b'"text"', b'"a b"', b'"a\\nb"', b'"\\"in\\" quotes"', b'"\\\\"', b'"\\q\\x41"', b'"no end', b'"\\n\\n\\n"',
           b'"abcdefghij"', b'"tab\\tquote\\\'"', b'"a=b {c}"', b'"long ' + b"longer " * 12 + b'"']
ODD_NUMBERS = [b"-", b"+", b".", b"-.", b"1e", b"1e+", b"0x", b"0x.", b"0xg", b"inf", b"-INFINITY", b"infin", b"nan", b"NaN(12)",
               b"nan(", b"1,5", b"1.5.5", b"12abc", b"0x1p", b"0x1.8p3", b"-0x10", b"1e39", b"-1e-46", b"3.4028235e38",
               b"3.4028236e38", b"1.17549435e-38", b"7e-46", b"1.4e-45", b"16777217", b"16777219", b"9007199791611905",
               b"0.1", b".5", b"5.", b"-0", b"-0.0", b"2147483647", b"2147483648", b"-2147483649", b"4294967295", b"4294967296",
               b"9223372036854775807", b"9223372036854775808", b"-9223372036854775809", b"18446744073709551615",
               b"18446744073709551616", b"-18446744073709551615", b"99999999999999999999999", b"00012", b"+7", b"--7"]
BLANK = [b" ", b" ", b" ", b" ", b"  ", b"\t", b" \t ", b""]


def any_number(dice):
    kind = dice.randrange(5)
    if kind == 0:
        return dice.choice(ODD_NUMBERS)
    if kind == 1:
        return b"%d" % dice.randint(-300, 300)
    if kind == 2:
        return b"%d" % (dice.getrandbits(dice.randint(1, 70)) * dice.choice([-1, 1]))
    if kind == 3:
        return b"%.*f" % (dice.randint(0, 12), dice.uniform(-2000, 2000))
    return b"%.*e" % (dice.randint(0, 20), dice.uniform(-10, 10) * 10.0 ** dice.randint(-46, 39))


def any_words(dice):
    words = []
    for _ in range(dice.randrange(6)):
        kind = dice.randrange(4)
        words += [dice.choice(BLANK), dice.choice(WORDS) if kind < 2 else dice.choice(STRINGS) if kind == 2 else any_number(dice)]
    return b"".join(words)


def any_value(dice):
    kind = dice.randrange(12)
    if kind < 8:
        return dice.choice(BLANK).join(any_number(dice) for _ in range(dice.choice([1, 1, 2, 3])))
    return dice.choice((STRINGS, STRINGS, WORDS, [b"true", b"TRUE", b"False", b"true  "])[kind - 8])


def any_setting(dice):
    blank = dice.choice([b"", b"", b"", b"  ", b"\t"])
    name = dice.choice([b"name", b"name", b"Name", b"nAME", b"other"])
    equals = dice.choice([*[b" = "] * 9, b" =  ", b" =", b"= ", b"\t= ", b" "])
    return blank + name + equals + any_value(dice)


def any_line(dice):
    kind = dice.randrange(8)
    if kind < 3:
        return any_setting(dice)
    if kind == 3:
        return dice.choice([b"unit ", b"{ ", b"} ", b""]) + any_words(dice)
    if kind == 4:
        return dice.choice([b"//", b" // ", b"\t//"]) + any_words(dice)
    if kind == 5:
        return dice.choice([b"", b" ", b"\t", b"   ", b" \t "])
    return any_words(dice)


class Maker:
    """Makes requests. Lines come from a pool, because most of a request's time would else go into its random lines."""

    def __init__(self, dice):
        self.dice = dice
        self.lines = [any_line(dice) for _ in range(4000)]
        self.settings = [any_setting(dice) for _ in range(2000)]
        self.values = [any_value(dice) for _ in range(2000)]

    def lines_of(self, pool):
        """Lines from a pool, mostly with carriage returns."""
        end = self.dice.choice([b"\r\n", b"\r\n", b"\r\n", b"\n"])
        return end.join(self.dice.choices(pool, k=self.dice.randint(3, 7))) + self.dice.choice([b"", end])

    def text(self):
        dice = self.dice
        kind = dice.randrange(7)
        lines = dice.choices(self.lines, k=dice.randint(1, 6))
        if kind < 4:
            end = b"\r\n" if kind < 3 else b"\n"
            return end.join(lines) + dice.choice([b"", end, end, b"\n"])
        if kind == 4:
            return b"".join(part for text in lines for part in (text, dice.choice([b"\n", b"\r\n", b"\n\n", b"\r"])))
        empty = [0, 0, 1, 2, 3, 4, 5, 8, 15]
        return b"".join(part for text in lines for part in (b"\n" * dice.choice(empty), text, b"\n"))

    def request(self):
        dice = self.dice
        kind = dice.randrange(5)
        if kind == 0:
            calls = [call for _ in range(5) for call in (LINE, TOKEN, dice.choice(NAMED) + 64 * dice.randrange(4))]
        elif kind == 1:
            calls = dice.choices(VALUE_LINES, k=7)
        elif kind == 2:
            calls = [call for _ in range(4) for call in (LINE, dice.choice(CURRENT_LINES), dice.choice(AFTER_NUMBERS))]
        else:
            often = [LINE, TOKEN, TOKEN, STRING, EQUALS, OPEN, *(CURRENT_LINES if kind == 3 else range(len(READERS))), LINE]
            calls = [LINE, *dice.choices(often, k=10)]
        pools = {0: self.settings, 1: self.values, 2: self.values}
        text = self.lines_of(pools[kind]) if kind in pools and dice.randrange(4) else self.text()
        return bytes([len(calls), *calls]) + text
