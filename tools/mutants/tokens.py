"""The tokens of a C++ source: as much of the language as is needed to tell code from comments, texts and directives.

Nothing is lost: the texts of all tokens, one behind the other, are the source.
"""

from __future__ import annotations

import re
from collections.abc import Iterator
from enum import Enum, auto
from typing import NamedTuple


class Kind(Enum):
    """What a token is."""

    SPACE = auto()
    COMMENT = auto()
    DIRECTIVE = auto()  # a line of the preprocessor, with the lines that continue it
    TEXT = auto()  # a string or a character
    NUMBER = auto()
    NAME = auto()  # an identifier or a keyword
    MARK = auto()  # an operator or another punctuation mark


class Token(NamedTuple):
    """A stretch of a source."""

    kind: Kind
    text: str
    start: int

    @property
    def end(self) -> int:
        return self.start + len(self.text)

    @property
    def is_code(self) -> bool:
        """Whether the compiler proper sees it."""
        return self.kind not in (Kind.SPACE, Kind.COMMENT, Kind.DIRECTIVE)


class NotUnderstood(Exception):
    """A place of a source that is no token."""


_COMMENT = r"//(?:\\\n|[^\n])*|/\*.*?\*/"
_PREFIX = r"(?:u8|[uUL])?"
_PATTERNS = [
    (Kind.SPACE, r"\s+"),
    (Kind.COMMENT, _COMMENT),
    # A raw text ends at its own delimiter only.
    (Kind.TEXT, _PREFIX + r'R"(?P<delimiter>[^()\\\s]*)\(.*?\)(?P=delimiter)"\w*'),
    (Kind.TEXT, _PREFIX + r'"(?:\\.|[^"\\\n])*"\w*'),
    (Kind.TEXT, _PREFIX + r"'(?:\\.|[^'\\\n])+'\w*"),
    (Kind.NUMBER, r"\.?\d(?:[eEpP][+-]|'?\w|\.)*"),
    (Kind.NAME, r"[A-Za-z_]\w*"),
    (Kind.MARK, r"<=>|<<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||[-+*/%&|^]="
                r"|[-+*/%&|^~!=<>?:;,.(){}\[\]\\@$]"),
]
# A shift to the right is put together by who asks: two closing angle brackets of templates look the same.
_TOKEN = re.compile("|".join(f"(?P<k{place}>{pattern})" for place, (_, pattern) in enumerate(_PATTERNS)), re.DOTALL)
_KINDS = {f"k{place}": kind for place, (kind, _) in enumerate(_PATTERNS)}
# A comment inside a directive can go on over several lines, and the directive with it.
_DIRECTIVE = re.compile(rf'#(?:{_COMMENT}|"(?:\\.|[^"\\\n])*"|\\\n|[^\n])*', re.DOTALL)


def tokens(source: str) -> Iterator[Token]:
    """The tokens of `source` in their order."""
    position = 0
    line_is_empty = True
    while position < len(source):
        if line_is_empty and source[position] == "#":
            match = _DIRECTIVE.match(source, position)
            kind = Kind.DIRECTIVE
        else:
            match = _TOKEN.match(source, position)
            kind = _KINDS[match.lastgroup or ""] if match else Kind.SPACE
        if match is None:
            line = source.count("\n", 0, position) + 1
            raise NotUnderstood(f"line {line}: no token begins with {source[position:position + 20]!r}")
        yield Token(kind, match.group(), position)
        position = match.end()
        if kind is Kind.SPACE:
            line_is_empty = line_is_empty or "\n" in match.group()
        elif kind is not Kind.COMMENT:
            line_is_empty = False
