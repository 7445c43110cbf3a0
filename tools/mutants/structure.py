"""How the brackets of a C++ source nest, and which of its braces hold statements.

The sources are laid out by clang-format, and this relies on it: an operator with two operands stands between spaces,
the brackets of a template do not, and the braces of a list of values follow what they belong to without a space.
"""

from __future__ import annotations

from bisect import bisect
from enum import Enum, auto
from functools import cached_property, lru_cache

from .tokens import Kind, NotUnderstood, tokens

_CLOSING = {")": "(", "]": "[", "}": "{"}
_TYPES = {"class", "struct", "union", "enum", "namespace"}


class Scope(Enum):
    """What a bracket encloses."""

    OUTSIDE = auto()  # declarations: the file, a namespace or a type
    STATEMENTS = auto()  # the body of a function or a block in one
    VALUES = auto()  # arguments, conditions, indices and lists of values


class Structure:
    """The code of a source: its tokens without spaces, comments and directives, by their index."""

    def __init__(self, source: str) -> None:
        self.source = source
        self.code = [token for token in tokens(source) if token.is_code]
        self._line_ends = [place for place, character in enumerate(source) if character == "\n"]
        self.partner: dict[int, int] = {}
        self.scope: list[Scope] = []  # of each token; a bracket lies outside of what it encloses
        self.enclosed: dict[int, Scope] = {}  # by the index of the opening bracket
        opened: list[int] = []
        for index, token in enumerate(self.code):
            if token.text in _CLOSING:
                if not opened or self.code[opened[-1]].text != _CLOSING[token.text]:
                    raise NotUnderstood(f"line {self.line(token.start)}: {token.text} closes nothing")
                self.partner[index] = opened[-1]
                self.partner[opened.pop()] = index
            around = self.enclosed[opened[-1]] if opened else Scope.OUTSIDE
            self.scope.append(around)
            if token.text in ("(", "["):
                self.enclosed[index] = Scope.VALUES
                opened.append(index)
            elif token.text == "{":
                self.enclosed[index] = self._brace(index, around)
                opened.append(index)
        if opened:
            raise NotUnderstood(f"line {self.line(self.code[opened[-1]].start)}: nothing closes the bracket")

    @cached_property
    def bodies(self) -> list[tuple[int, int]]:
        """The outermost braces that hold statements, by the indices of both, in their order."""
        found: list[tuple[int, int]] = []
        for opening in sorted(self.enclosed):
            if self.enclosed[opening] is Scope.STATEMENTS and (not found or opening > found[-1][1]):
                found.append((opening, self.partner[opening]))
        return found

    def line(self, position: int) -> int:
        return bisect(self._line_ends, position - 1) + 1

    def text(self, index: int) -> str:
        """The text of a token, or nothing where there is none."""
        return self.code[index].text if 0 <= index < len(self.code) else ""

    def is_mark(self, index: int, *texts: str) -> bool:
        return 0 <= index < len(self.code) and self.code[index].kind is Kind.MARK and self.code[index].text in texts

    def is_name(self, index: int, *texts: str) -> bool:
        return (0 <= index < len(self.code) and self.code[index].kind is Kind.NAME
                and (not texts or self.code[index].text in texts))

    def space_before(self, index: int) -> bool:
        return index == 0 or self.code[index - 1].end < self.code[index].start

    def stands_apart(self, index: int, last: int | None = None) -> bool:
        """Whether there are spaces on both sides of a token, or of several up to the one named `last`."""
        after = (index if last is None else last) + 1
        return 0 < index and after < len(self.code) and self.space_before(index) and self.space_before(after)

    def header(self, brace: int) -> int:
        """Where the declaration or statement begins that an opening brace belongs to."""
        index = brace
        while index > 0:
            before = index - 1
            if self.is_mark(before, ")", "]"):
                index = self.partner[before]
            elif self.is_mark(before, "}") and self.enclosed[self.partner[before]] is Scope.VALUES:
                index = self.partner[before]
            elif self.is_mark(before, ";", "{", "}", "(", "[", ","):
                # A list of values begins the initializers of a constructor, of which the next follows a comma.
                if not (self.text(before) == "," and self.scope[brace] is Scope.OUTSIDE):
                    break
                index = before
            else:
                index = before
        return index

    def after_template(self, index: int) -> int:
        """The index behind a bracket of template parameters, if it begins at `index`."""
        if not self.is_mark(index, "<") or self.stands_apart(index):
            return index
        depth = 0
        while index < len(self.code):
            if self.is_mark(index, "(", "[", "{"):
                index = self.partner[index]
            elif self.is_mark(index, "<"):
                depth += 1
            elif self.is_mark(index, ">"):
                depth -= 1
            elif self.is_mark(index, ";", ")", "]", "}"):
                break
            index += 1
            if depth == 0:
                break
        return index

    def after_prelude(self, index: int) -> int:
        """The index behind `template <...>`, attributes, labels such as `public:` and macros that are declarations by
        themselves, at the start of a declaration."""
        while True:
            if self.is_name(index, "template") and self.is_mark(index + 1, "<"):
                depth, index = 1, index + 2
                while depth and index < len(self.code):
                    depth += {"<": 1, ">": -1}.get(self.text(index), 0)
                    index += 1
            elif self.is_mark(index, "[") and self.is_mark(index + 1, "["):
                index = self.partner[index] + 1
            elif self.is_name(index, "public", "private", "protected") and self.is_mark(index + 1, ":"):
                index += 2
            elif (self.is_name(index) and (self.text(index).isupper() or self.text(index) == "__attribute__")
                  and self.is_mark(index + 1, "(")):
                index = self.partner[index + 1] + 1
            else:
                return index

    def _brace(self, brace: int, around: Scope) -> Scope:
        if not self.space_before(brace) and not self.is_mark(brace - 1, "{"):
            return Scope.VALUES
        if self.is_mark(brace - 1, "=", ",", "(", "?", ":") and not self._ends_label(brace - 1):
            return Scope.VALUES
        if self.is_name(brace - 1, "return") or self.is_mark(brace - 1, "{") and around is Scope.VALUES:
            return Scope.VALUES
        begin = self.after_prelude(self.header(brace))
        if self.is_name(begin, "extern") and begin + 2 == brace:
            return Scope.OUTSIDE
        if around is not Scope.VALUES and not self.is_mark(brace - 1, ")"):
            while self.is_name(begin, "inline", "static", "constexpr", "const", "typedef", "friend"):
                begin += 1
            if self.is_name(begin, *_TYPES):
                return Scope.OUTSIDE
        return Scope.STATEMENTS

    def _ends_label(self, colon: int) -> bool:
        """Whether a colon ends `case x:` or `default:`."""
        index = colon - 1
        while index >= 0 and not self.is_mark(index, ";", "{", "}", "?", ":", "("):
            if self.is_name(index, "case", "default"):
                return True
            index = self.partner[index] - 1 if self.is_mark(index, ")") else index - 1
        return False


@lru_cache(maxsize=1)
def structure_of(source: str) -> Structure:
    """That of a source, which is kept until another one is asked for: a source is looked at several times in a row."""
    return Structure(source)
