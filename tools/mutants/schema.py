"""Many changes in one text of a source: each is there beside the original, and is chosen when the program starts.

A change within a function gets the function's body a second time, changed, in front of the original:

    int twice(int x) {if (::zelmor_mutants::chosen(17)) {
        return x + 3;
    } else {
        return x + 2;
    }}

So the changed code is compiled exactly as if it stood alone. A constant outside of functions becomes the choice of two
constants. What is a constant expression has no choice to make, and needs a build of its own.
"""

from __future__ import annotations

from bisect import bisect
from collections.abc import Mapping
from dataclasses import dataclass, field

from .changes import Change
from .structure import Scope, Structure, structure_of
from .tokens import Kind

_HEAD = '#include "tools/mutants/selected.h"\n#line 1\n'
_COMPILED = ("constexpr", "consteval", "constinit")


@dataclass(frozen=True)
class Schema:
    """A source with changes in it."""

    text: str
    # The lines, as the compiler counts them, of the changed code by the number of the change, first and last.
    lines: Mapping[int, tuple[int, int]]
    in_functions: frozenset[int]
    alone: frozenset[int]  # the changes that are not in it


@dataclass
class _Edits:
    """Texts that take the place of others, from which the source is put together."""

    pieces: list[tuple[int, int, str, int | None]] = field(default_factory=list)  # start, end, text, change

    def apply(self, source: str) -> tuple[str, dict[int, tuple[int, int]]]:
        written, line, place = [], 1, 0
        lines: dict[int, tuple[int, int]] = {}
        for start, end, text, number in sorted(self.pieces, key=lambda piece: piece[0]):
            line += source.count("\n", place, start)
            after = line + text.count("\n")
            if number is not None:
                lines[number] = (line, after)
            written += [source[place:start], text]
            line, place = after, end
        return "".join([*written, source[place:]]), lines


def body_around(at: Structure, position: int) -> tuple[int, int] | None:
    """The outermost braces around a position that hold statements, by the indices of their tokens."""
    place = bisect(at.bodies, position, key=lambda body: at.code[body[0]].start) - 1
    if place >= 0 and position <= at.code[at.bodies[place][1]].start:
        return at.bodies[place]
    return None


def function_at(at: Structure, position: int) -> str:
    """The name of the function around a position, with the class that is written before it; nothing outside."""
    body = body_around(at, position)
    if body is None:
        return ""
    index = at.after_prelude(at.header(body[0]))
    while index < body[0] and not at.is_mark(index, "("):
        index += 1
    first = index
    while at.code[first - 1].kind is Kind.NAME or at.is_mark(first - 1, "::", "~"):
        if at.space_before(first):
            break
        first -= 1
    return "".join(token.text for token in at.code[first:index])


def schema(source: str, changes: Mapping[int, Change]) -> Schema:
    """The source with all of these changes, which are known by their numbers."""
    at = structure_of(source)
    edits = _Edits()
    bodies: dict[tuple[int, int], list[int]] = {}
    alone: set[int] = set()
    for number, change in changes.items():
        body = body_around(at, change.start)
        if body is None:
            if not _choose_constant(at, number, change, edits):
                alone.add(number)
        elif any(at.is_name(index, *_COMPILED) for index in range(at.header(body[0]), body[0])):
            alone.add(number)
        else:
            bodies.setdefault(body, []).append(number)
    for (opening, closing), numbers in bodies.items():
        begin, end = at.code[opening].end, at.code[closing].start
        for number in numbers:
            change = changes[number]
            changed = source[begin:change.start] + change.replacement + source[change.end:end]
            # Of the same place, these stand in the order in which they were put there.
            copied = f"if (::zelmor_mutants::chosen({number})) {{{changed}\n}} else "
            edits.pieces.append((begin, begin, copied, number))
        edits.pieces.append((begin, begin, "{", None))
        edits.pieces.append((end, end, "}", None))
    text, lines = edits.apply(source)
    in_functions = frozenset(number for numbers in bodies.values() for number in numbers)
    return Schema(_HEAD + text if edits.pieces else source, lines, in_functions, frozenset(alone))


def _choose_constant(at: Structure, number: int, change: Change, edits: _Edits) -> bool:
    """Puts in a change of a constant outside of functions; false where it is no value of an object."""
    index = next(place for place, token in enumerate(at.code) if token.start >= change.start)
    if change.kind not in ("constant", "truth") or at.code[index].end != change.end:
        return False
    begin = index
    while True:
        begin = at.header(begin)
        # Within a list of values or the parameters of a declaration, it is the declaration that counts.
        if begin == 0 or not at.is_mark(begin - 1, "{", "(", "[", ",") or at.scope[begin] is not Scope.VALUES:
            break
        begin -= 1
    words = range(at.after_prelude(begin), index)
    around = max((opening for opening, closing in at.partner.items() if opening < index < closing), default=None)
    if around is not None and any(at.is_name(place, "enum") for place in range(at.header(around), around)):
        return False
    if any(at.is_name(place, "static_assert", "template", "using", "typedef") for place in words):
        return False
    if at.is_mark(index - 1, "[", "<", ":") or at.is_mark(index + 1, ">", "]"):
        return False
    compiled = [place for place in words if at.is_name(place, *_COMPILED)]
    if any(at.is_mark(place, "(") and at.scope[place] is Scope.OUTSIDE for place in words) and compiled:
        return False
    old = at.text(index)
    choice = (f"::zelmor_mutants::either({number}, {change.replacement}, {old})"
              if at.is_mark(index - 1, "{", ",", "=") and at.is_mark(index + 1, "}", ",", ";")
              else f"(::zelmor_mutants::chosen({number}) ? {change.replacement} : {old})")
    if any(start == change.start for start, *_ in edits.pieces):
        return False  # a place has one choice only
    edits.pieces.append((change.start, change.end, choice, number))
    for place in compiled:
        token = at.code[place]
        piece = (token.start, token.end, "const" if token.text == "constexpr" else "", None)
        if piece not in edits.pieces:
            edits.pieces.append(piece)
    return True
