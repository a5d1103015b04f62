"""One-token changes of C++ and Objective-C++ sources.

A change replaces one operator, one number, one character or one word, so that the line says something else. Comments,
texts, preprocessor lines and assertions are left alone: a release build has no assertions.
"""
import collections
import re

Change = collections.namedtuple("Change", "path line column old new before after")

# Operators with a blank on both sides, which clang-format gives to operators with two operands only.
OPERATORS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|", "<<": ">>", ">>": "<<", "+=": "-=", "-=": "+=",
    "|=": "&=", "&=": "|=",
}
WORDS = {"true": "false", "false": "true", "YES": "NO", "NO": "YES", "continue": "break", "break": "continue"}
TOKEN = re.compile(r"""
    (?P<text>"(?:\\.|[^"\\])*")
  | (?P<character>'(?:\\.|[^'\\])')
  | (?P<number>\b(?:0[xX][0-9a-fA-F]+|\d+)[uUlL]*\b)
  | (?P<step>\+\+|--)
  | (?P<not>!(?=[\w(*]))
  | (?P<operator>(?<=\ )(?:<<|>>|[<>=!]=|&&|\|\||[-+|&]=|[-<>+*/%&|^])(?=\ ))
  | (?P<word>\b[A-Za-z_]\w*\b)
""", re.VERBOSE)


def without_comments(text):
    """The same text, with blanks in the place of comments, texts of several lines and preprocessor lines."""
    def blank(match):
        return re.sub(r"[^\n]", " ", match.group()) if match.group()[0] == "/" else match.group()

    text = re.sub(r"""//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])'""", blank, text, flags=re.DOTALL)
    text = re.sub(r"^#(?:[^\n]*\\\n)*[^\n]*", lambda match: re.sub(r"[^\n]", " ", match.group()), text, flags=re.MULTILINE)
    return re.sub(r"\b(?:static_)?assert\((?:[^;\"]|\"[^\"]*\")*;", lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def replacement(kind, token):
    """Returns the token that takes this token's place; null when the token is not changed."""
    if kind == "operator":
        return OPERATORS.get(token)
    if kind == "word":
        return WORDS.get(token)
    if kind == "step":
        return "--" if token == "++" else "++"
    if kind == "not":
        return " "
    if kind == "number":
        digits = token.rstrip("uUlL")
        return f"{int(digits, 16 if digits[1:2] in 'xX' and len(digits) > 1 else 10) + 1}{token[len(digits):]}"
    if kind == "character":
        return "'\\1'" if token == "'\\0'" else "'\\0'"
    return None


def changes(path, text):
    """All one-token changes of a source, from its first line to its last."""
    lines = text.split("\n")
    result = []
    for number, line in enumerate(without_comments(text).split("\n")):
        for match in TOKEN.finditer(line):
            new = replacement(match.lastgroup, match.group())
            if new is not None:
                before = lines[number]
                after = before[:match.start()] + new + before[match.end():]
                result.append(Change(path, number + 1, match.start() + 1, match.group(), new, before, after))
    return result


def changed(text, change):
    lines = text.split("\n")
    lines[change.line - 1] = change.after
    return "\n".join(lines)
