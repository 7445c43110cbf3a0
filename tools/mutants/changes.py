"""The single changes that a C++ source offers: one operator, constant or branch each."""

from __future__ import annotations

import difflib
import re
from collections.abc import Iterator
from dataclasses import dataclass

from .structure import Scope, Structure, structure_of
from .tokens import Kind

# What only speaks to a developer, and is not tested: its arguments stay as they are.
_UNTESTED_CALLS = {"assert", "static_assert"}
_UNTESTED_SPACES = {"trace"}

_COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], ">": [">=", "<="], "<=": ["<", ">"], ">=": [">", "<"]}
_LOGIC = {"&&": "||", "||": "&&"}
_ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "<<": ">>"}
_STEPS = {"+=": "-=", "-=": "+=", "++": "--", "--": "++", "*=": "/=", "/=": "*=", "|=": "&=", "&=": "|=",
          "<<=": ">>=", ">>=": "<<="}
_ASSIGNMENTS = {"=", "^=", "%="} | _STEPS.keys() - {"++", "--"}
_WHOLE = re.compile(r"(0[xX]|0[bB]|)([\da-fA-F][\da-fA-F']*)([uUlLzZ]*)")
_FRACTION = re.compile(r"(?:\d+\.\d*|\.\d+)(?:[eE][+-]?\d+)?[fFlL]?|\d+[eE][+-]?\d+[fFlL]?")
_NO_EXPRESSION = {
    "alignas", "auto", "break", "case", "catch", "class", "const", "constexpr", "continue", "default", "delete", "do",
    "else", "enum", "for", "friend", "goto", "if", "inline", "namespace", "new", "operator", "return", "static",
    "struct", "switch", "template", "throw", "try", "typedef", "typename", "union", "using", "virtual", "void", "while"}
# The object in front of a call or an assignment: n is a name, t its template brackets, p a call, b an index.
_OBJECT = re.compile(r"\**:?n(?:t(?=[p:])|p|b|:n|\.n)*")


@dataclass(frozen=True)
class Change:
    """A stretch of a source and the text that takes its place; the stretch or the text can be empty."""

    path: str
    kind: str
    line: int
    start: int
    end: int
    replacement: str

    def apply(self, source: str) -> str:
        return source[:self.start] + self.replacement + source[self.end:]

    def describe(self, source: str) -> str:
        """Where it is and what it does, in one line."""
        old = " ".join(source[self.start:self.end].split())
        before = source[self.start:].split("\n", 1)[0].strip()
        what = (f"{old} -> {self.replacement or 'nothing'}" if old
                else f"{self.replacement.strip()} before {before}")
        return f"{self.path}:{self.line}: {self.kind}: {what}"

    def diff(self, source: str) -> str:
        return "".join(difflib.unified_diff(source.splitlines(keepends=True),
                                            self.apply(source).splitlines(keepends=True),
                                            f"a/{self.path}", f"b/{self.path}"))


def changes(path: str, source: str) -> list[Change]:
    """Every change that the source offers, in its order."""
    return _Finder(path, structure_of(source)).all()


class _Finder:
    def __init__(self, path: str, structure: Structure) -> None:
        self.path = path
        self.at = structure

    def all(self) -> list[Change]:
        untested = self._untested()
        found: list[Change] = []
        for index in range(len(self.at.code)):
            if index in untested:
                continue
            for kind, first, last, replacement in self._at(index):
                # Where first lies behind last, something is inserted before first.
                start = self.at.code[first].start
                end = start if first > last else self.at.code[last].end
                found.append(Change(self.path, kind, self.at.line(start), start, end, replacement))
        return found

    def _untested(self) -> set[int]:
        """The tokens in assertions, lines for the trace, and attributes."""
        at = self.at
        skipped: set[int] = set()
        for index in range(len(at.code)):
            last = None
            if at.is_name(index, *_UNTESTED_CALLS) and at.is_mark(index + 1, "("):
                last = at.partner[index + 1]
            elif at.is_name(index, *_UNTESTED_SPACES) and at.is_mark(index + 1, "::") and at.is_mark(index + 3, "("):
                last = at.partner[index + 3]
            elif at.is_mark(index, "[") and at.is_mark(index + 1, "["):
                last = at.partner[index]
            if last is not None:
                skipped.update(range(index, last + 1))
        return skipped

    def _at(self, index: int) -> Iterator[tuple[str, int, int, str]]:
        kind = self.at.code[index].kind
        if kind is Kind.MARK:
            yield from self._operators(index)
            yield from self._early_returns(index)
        elif kind is Kind.NUMBER:
            for replacement in self._neighbors(index):
                yield "constant", index, index, replacement
        elif kind is Kind.NAME:
            yield from self._names(index)
        if kind in (Kind.NAME, Kind.MARK):
            yield from self._removals(index)

    def _operators(self, index: int) -> Iterator[tuple[str, int, int, str]]:
        at = self.at
        text = at.text(index)
        if at.is_name(index - 1, "operator"):
            return
        if at.stands_apart(index):
            texts = at.code[index - 1].kind is Kind.TEXT or at.code[index + 1].kind is Kind.TEXT
            for replacement in _COMPARISONS.get(text, []):
                yield "comparison", index, index, replacement
            if text in _LOGIC:
                yield "logic", index, index, _LOGIC[text]
            if text in _ARITHMETIC and not texts:
                yield "arithmetic", index, index, _ARITHMETIC[text]
        if text in _STEPS:
            yield "arithmetic", index, index, _STEPS[text]
        elif text == "!":
            yield "logic", index, index, ""
        elif (text == ">" and at.is_mark(index + 1, ">") and not at.space_before(index + 1)
              and at.stands_apart(index, index + 1)):
            yield "arithmetic", index, index + 1, "<<"

    def _neighbors(self, index: int) -> Iterator[str]:
        at = self.at
        text = at.text(index)
        if (at.is_mark(index - 1, "=") and at.is_mark(index + 1, ";")
                and (at.is_mark(index - 2, ")") or at.is_name(index - 2, "const", "noexcept", "override"))):
            return  # no number: it marks a function without a body
        if _FRACTION.fullmatch(text):
            yield f"({text} + 1)"
            return
        match = _WHOLE.fullmatch(text)
        if match is None:
            return
        prefix, digits, suffix = match[1], match[2].replace("'", ""), match[3]
        if not prefix and len(digits) > 1 and digits[0] == "0":
            return
        base, form = {"x": (16, "X"), "b": (2, "b")}.get(prefix[1:].lower(), (10, "d"))
        value = int(digits, base)
        more = format(value + 1, form)
        if base == 10 or len(more) <= len(digits):  # a full mask stays within its type
            yield prefix + more.rjust(len(digits), "0") + suffix
        if value > 0:
            yield prefix + format(value - 1, form).rjust(len(digits) if prefix else 0, "0") + suffix

    def _names(self, index: int) -> Iterator[tuple[str, int, int, str]]:
        at = self.at
        text = at.text(index)
        if text in ("true", "false"):
            yield "truth", index, index, "false" if text == "true" else "true"
        elif text in ("if", "while") and at.is_mark(index + 1, "("):
            first, last = index + 2, at.partner[index + 1] - 1
            if self._can_be_negated(first, last):
                begin, end = at.code[first].start, at.code[last].end
                yield "condition", first, last, f"!({at.source[begin:end]})"
        elif text == "return" and at.scope[index] is Scope.STATEMENTS:
            last = self._end_of_statement(index) - 1
            plain = last == index + 1 and (at.code[last].kind is Kind.NUMBER
                                           or at.is_name(last, "true", "false", "nullptr"))
            if last > index and not plain and not at.is_mark(index + 1, "{"):
                yield "result", index + 1, last, "{}"

    def _can_be_negated(self, first: int, last: int) -> bool:
        """Whether it is a condition without a declaration, and its opposite is not reached by another change."""
        at = self.at
        outer = [at.text(index) for index in self._outer(first, last + 1) if at.code[index].kind is Kind.MARK]
        if not outer or {"=", ";"}.isdisjoint(outer):
            joined = not {"&&", "||"}.isdisjoint(outer)
            equal = sum(text in ("==", "!=") for text in outer)
            constant = first == last and at.is_name(first, "true", "false")
            return joined or not (at.is_mark(first, "!") or equal or constant)
        return False

    def _outer(self, first: int, end: int) -> Iterator[int]:
        """The indices of a stretch but for what its brackets enclose."""
        index = first
        while index < end:
            yield index
            index = self.at.partner[index] + 1 if self.at.is_mark(index, "(", "[", "{") else index + 1

    def _end_of_statement(self, index: int) -> int:
        for end in self._outer(index, len(self.at.code)):
            if self.at.is_mark(end, ";", ")", "]", "}"):
                return end
        return len(self.at.code)

    def _removals(self, index: int) -> Iterator[tuple[str, int, int, str]]:
        """A statement that only has an effect is kept as text, so that whatever it names stays in use."""
        at = self.at
        if (at.scope[index] is not Scope.STATEMENTS or at.text(index) in _NO_EXPRESSION
                or not at.is_mark(index - 1, ";", "{", "}")):
            return
        end = self._end_of_statement(index)
        if not at.is_mark(end, ";"):
            return
        shape, place = "", index
        while place < end and not at.is_mark(place, *_ASSIGNMENTS):
            after = at.after_template(place)
            if after > place:
                shape, place = shape + "t", after
                continue
            shape += self._shape(place)
            place = at.partner[place] + 1 if at.is_mark(place, "(", "[", "{") else place + 1
        if _OBJECT.fullmatch(shape) and (place < end or shape.endswith("p")):
            yield "removal", index, index - 1, "if (false) "

    def _shape(self, index: int) -> str:
        marks = {"::": ":", ".": ".", "->": ".", "(": "p", "[": "b", "*": "*"}
        token = self.at.code[index]
        if token.kind is Kind.NAME:
            return "n"
        return marks.get(token.text, "?") if token.kind is Kind.MARK else "?"

    def _early_returns(self, index: int) -> Iterator[tuple[str, int, int, str]]:
        at = self.at
        if (not at.is_mark(index, "{") or at.enclosed[index] is not Scope.STATEMENTS
                or at.scope[index] is not Scope.OUTSIDE or at.is_mark(index + 1, "}")
                or at.is_name(index + 1, "return", "if")):
            return
        begin = at.header(index)
        if any(at.is_name(place, "noreturn", "operator", "auto") or at.is_mark(place, "~")
               for place in range(begin, index)):
            return
        begin = at.after_prelude(begin)
        while at.is_name(begin, "static", "inline", "constexpr", "virtual", "friend", "explicit", "extern"):
            begin = at.after_prelude(begin + 1)
        # The type and the name, up to the parameters; the name alone is a constructor's.
        names, place, last_name = 0, begin, ""
        while place < index and not at.is_mark(place, "("):
            after = at.after_template(place)
            if after > place:
                place = after
                continue
            if at.is_name(place) and not at.is_mark(place - 1, "::"):
                names += 1
            last_name = at.text(place - 1) if at.is_name(place) else last_name
            place += 1
        if place == index or names < 2 or last_name == "&":
            return
        plain = at.is_name(begin, "void") and not at.is_mark(begin + 1, "*")
        yield "early return", index + 1, index, "if (true) return; " if plain else "if (true) return {}; "
