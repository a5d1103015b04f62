"""Random property lists, and what the program made of exchange.cpp must say about them.

describe(value) gives the same text as describe in exchange.cpp. dressed(data) writes a list of plistlib in another form that
means the same: with comments, blanks, references, CDATA, other tags and another prolog.
"""
import datetime
import plistlib
import random
import re
import struct
import subprocess

# Characters that XML cannot hold, and what stands for them behind a backslash.
pictures = {chr(0x2400 + c): chr(c) for c in range(1, 32) if c not in (9, 10, 13)}
pictures.update({'\ufffc': '\ufffe', '\ufffd': '\uffff'})
PICTURED = re.compile('(\\\\*)([%s])' % ''.join(pictures))


def meant(text):
    def unfold(match):
        slashes, picture = match.groups()
        return '\\' * (len(slashes) // 2) + (pictures[picture] if len(slashes) % 2 else picture)
    return PICTURED.sub(unfold, text)


def hexadecimal(text):
    return meant(text).encode().hex()


def describe(value):
    if isinstance(value, str):
        return 's' + hexadecimal(value)
    if isinstance(value, bool):
        return 't' if value else 'f'
    if isinstance(value, int):
        return 'i%d' % value
    if isinstance(value, float):
        return 'rnan' if value != value else 'r' + struct.pack('>d', value).hex()
    if isinstance(value, bytes):
        return 'd' + value.hex()
    if isinstance(value, datetime.datetime):
        return 'D%04d' % value.year + value.strftime('-%m-%dT%H:%M:%SZ')
    if isinstance(value, list):
        return '[' + ','.join(map(describe, value)) + ']'
    entries = sorted((bytes.fromhex(hexadecimal(key)), describe(entry)) for key, entry in value.items())
    return '{' + ','.join(key.hex() + ':' + entry for key, entry in entries) + '}'


def as_it_stands(value):
    """The value to the letter, backslashes and all."""
    if isinstance(value, dict):
        return {key: as_it_stands(value[key]) for key in sorted(value)}
    return list(map(as_it_stands, value)) if isinstance(value, list) else repr(value)


def framed(data):
    return b'%d\n' % len(data) + data


def frames(stream):
    start = 0
    while start < len(stream):
        line = stream.index(b'\n', start)
        end = line + 1 + int(stream[start:line])
        yield stream[line + 1:end]
        start = end


def answers(command, *arguments, stdin=b''):
    """What the program writes: pairs of a description and a list."""
    output = subprocess.run([*command, *arguments], input=stdin, stdout=subprocess.PIPE, check=True).stdout
    answer = list(frames(output))
    return list(zip(answer[::2], answer[1::2]))


# ---- Values

def make_character():
    kind = random.randrange(8)
    if kind == 0:
        return '\\'
    if kind == 1:
        return random.choice(list(pictures) + ['\u2409', '\u2400', '\u2420'])
    if kind == 2:
        return random.choice(' \t\n\r<>&\'"]\x7f\x85')
    if kind == 3:
        return chr(0x10000 * random.randrange(1, 17) + random.randrange(0x10000))
    if kind == 4:
        return chr(random.choice([random.randrange(32, 0xd800), random.randrange(0xe000, 0xfffe)]))
    return chr(random.randrange(32, 127))


def make_text():
    return ''.join(make_character() for _ in range(random.randrange(12)))


def make_real():
    if random.randrange(3):
        return struct.unpack('>d', random.getrandbits(64).to_bytes(8, 'big'))[0]
    return random.choice([0.0, -0.0, 0.1, 1e300, 5e-324, float('inf'), -float('inf'), float('nan')])


def make_integer():
    return random.choice([0, 1, -1, 2**31, 2**63 - 1, -2**63, 2**64 - 1, random.getrandbits(40), -random.getrandbits(62)])


def make_date():
    return datetime.datetime(random.randrange(1, 10000), random.randrange(1, 13), random.randrange(1, 29),
                             random.randrange(24), random.randrange(60), random.randrange(60))


def make_value(depth):
    kind = random.randrange(0 if depth else 7, 9 if depth < 5 else 7)
    most = 6 if depth else 12
    if kind < 2:
        return make_text()
    if kind < 6:
        return (make_integer, make_real, lambda: random.random() < 0.5, make_date)[kind - 2]()
    if kind == 6:
        return random.getrandbits(8 * 80).to_bytes(80, 'big')[:random.randrange(81)]
    if kind == 7:
        return [make_value(depth + 1) for _ in range(random.randrange(most))]
    return {make_text(): make_value(depth + 1) for _ in range(random.randrange(most))}


def make_list():
    """A list as plistlib writes it. One in thirty is deep: macapi reads up to 128 levels."""
    value = make_value(0)
    if random.randrange(30) == 0:
        for _ in range(random.randrange(121)):
            value = [value] if random.randrange(2) else {make_text(): value}
    return plistlib.dumps(value, fmt=plistlib.FMT_XML)


# ---- Other forms

TAG_OR_TEXT = re.compile(r'(<[^>]*>)([^<]*)')
PROLOG = re.compile(r'^.*?(?=<plist)', re.DOTALL)
BETWEEN = ['', '', ' ', '\n', '\r\n', '\t\t', '<!-- <string>no</string> & -->', '\n<!---->\n', '<?note a="1"?>']
PROLOGS = ['', '<?xml version="1.0"?>', "<?xml version='1.0' encoding='utf-8'?>\n", '\ufeff<?xml version="1.0" encoding="UTF-8" ?>',
           '<?xml version="1.0" encoding="US-ASCII" standalone="yes"?>', '\ufeff', '<!-- first -->\n']
DOCTYPES = ['', '<!DOCTYPE plist>', "<!DOCTYPE plist SYSTEM 'a>b'>", '<!DOCTYPE plist PUBLIC "-//x//y" "http://localhost/p.dtd">',
            '<!DOCTYPE plist [ <!-- ]> " --> <!ELEMENT key (#PCDATA)>\n<?note ]>?> ]>']
EMPTY = {'array', 'dict', 'string', 'true', 'false', 'data'}


def dressed_text(name, text):
    """Another form of what is inside an element."""
    kind = random.randrange(8)
    if name in ('integer', 'real', 'date', 'data'):
        if name == 'integer' and kind == 0 and text[0] != '-':
            return random.choice(['0x%x', '0X%X', '+%d', '000%d']) % int(text)
        return random.choice(['', ' ', '\n\t']) + text + random.choice(['', ' ', '\r\n']) if kind < 3 and name != 'date' else text
    if kind == 0:
        return text.replace('\n', '\r\n')
    characters = re.findall('&[a-z]+;|.', text, re.DOTALL)
    if kind > 3 or not characters:
        return text
    place = random.randrange(len(characters))
    character = {'&lt;': '<', '&gt;': '>', '&amp;': '&'}.get(characters[place], characters[place])
    characters[place] = ('<![CDATA[%s]]>' % character if kind == 1 else characters[place] + '<!-- - -->' if kind == 2 else
                         random.choice(['&#%d;', '&#x%x;', '&#x00%X;']) % ord(character))
    return ''.join(characters)


def dressed(data):
    body = PROLOG.sub('', data.decode())
    prolog = random.choice(PROLOGS)
    if 'US-ASCII' in prolog and not body.isascii():
        prolog = ''
    parts = [prolog, '' if not prolog or prolog == '\ufeff' else random.choice(BETWEEN), random.choice(DOCTYPES)]
    for tag, text in TAG_OR_TEXT.findall(body):
        name = tag.strip('</>').split()[0]
        isOpening = tag[1] != '/' and tag[-2] != '/'
        if isOpening and name not in ('plist', 'dict', 'array'):
            text = dressed_text(name, text) if text else text
        elif random.randrange(4) == 0:
            text = random.choice(BETWEEN)
        if tag[-2] == '/' and name in EMPTY and random.randrange(4) == 0:
            tag = '<%s></%s>' % (name, name)
        elif random.randrange(8) == 0:
            tag = tag.replace('>', random.choice([' >', '\n>']) if tag[-2] != '/' else '>').replace('/>', ' />')
        elif isOpening and random.randrange(16) == 0:
            tag = tag.replace('>', ' note="a &gt; b">')
        parts += [tag, text]
    return ''.join(parts).encode()


# ---- Comparisons. Each returns the first difference; None if both answers are the same.

def difference_of_ours(said, data):
    """A list that the program made, with its description."""
    seen = describe(plistlib.loads(data))
    return None if seen == said.decode() else 'ours, as it says: %r, as plistlib reads it: %r, %r' % (said, seen, data)


def difference_of_theirs(data, said, again):
    """A list, how the program describes it, and how the program writes it again."""
    value = plistlib.loads(data, fmt=plistlib.FMT_XML)
    if describe(value) != said.decode():
        return 'theirs: %r, as we read it: %r, %r' % (describe(value), said, data)
    if as_it_stands(plistlib.loads(again)) != as_it_stands(value):
        return 'theirs: %r, rewritten: %r' % (data, again)
    return None
