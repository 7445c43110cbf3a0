"""The layout of printed C++: breaks lines that are longer than 120 columns, without a change to what they say.

A back end prints a statement, a signature or a row of a table as one line. A line that is too long is broken at the
commas or operators within its outermost brackets: below the opening bracket where that leaves room, otherwise on lines
of their own. A comment breaks between words, a literal of text into two that stand beside each other.
"""

from __future__ import annotations

import re
from collections.abc import Iterable

COLUMNS = 120
_STEP = 4
# A literal, a bracket (a comparison or an arrow is none), a comma or an operator.
_TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|[({\[)}\]]|(?<=\w)<|(?<!-)>|, | (?:\|\||&&|[?:=]) ')
# A whole body in one line: `head { statement; }`.
_BODY = re.compile(r"( *)(.*\)(?: const)?) \{ (.*;) \}(;?)")
_CLOSING = {"(": ")", "{": "}", "[": "]", "<": ">"}
_OPERATORS = (" || ", " && ", " ? ", " : ")


def laid_out(lines: Iterable[str]) -> list[str]:
    """The lines, with those that are too long broken into several."""
    result: list[str] = []
    for line in lines:
        if len(line) <= COLUMNS:
            result.append(line)
        else:
            result += _broken(line)
    return result


def _broken(line: str) -> list[str]:
    if line.endswith(" \\"):  # within a macro
        return [f"{part} \\" for part in _fitted(line[:-2], COLUMNS - 2)]
    if line.lstrip().startswith("//"):
        return _comment(line)
    body = _BODY.fullmatch(line)
    if body is not None:
        indentation, head, statement, end = body.groups()
        return laid_out([f"{indentation}{head} {{", f"{indentation}{' ' * _STEP}{statement}", f"{indentation}}}{end}"])
    return _fitted(line, COLUMNS)


def _comment(line: str) -> list[str]:
    head = line[:line.index("//") + 2]
    lines, current = [], head
    for word in line[len(head):].split():
        if len(current) + 1 + len(word) > COLUMNS:
            lines.append(current)
            current = head
        current += f" {word}"
    return [*lines, current]


class _Group:
    """A pair of brackets in a line, and the places where its content can break."""

    __slots__ = ("opening", "closing", "expected", "commas", "operators")

    def __init__(self, opening: int, bracket: str) -> None:
        self.opening = opening  # the place of the bracket
        self.closing = opening
        self.expected = _CLOSING[bracket]
        self.commas: list[int] = []  # where an item begins
        self.operators: list[int] = []  # where an operator begins


def _groups(line: str) -> tuple[list[_Group], int]:
    """The outermost brackets of a line, and the place behind an equals sign outside of them."""
    outer: list[_Group] = []
    stack: list[_Group] = []
    behind_equals = 0
    for match in _TOKEN.finditer(line):
        token = match[0]
        if token == ", ":
            if len(stack) == 1:
                stack[0].commas.append(match.end())
        elif token in _CLOSING:
            stack.append(_Group(match.start(), token))
            if len(stack) == 1:
                outer.append(stack[0])
        elif stack and token == stack[-1].expected:
            stack.pop().closing = match.start()
        elif token == " = ":
            if not stack and not behind_equals:
                behind_equals = match.end()
        elif token in _OPERATORS and len(stack) == 1:
            stack[0].operators.append(match.start() + 1)
    return outer, behind_equals


def _fitted(line: str, width: int) -> list[str]:
    """A line in as few lines as it takes, each within the width."""
    if len(line) <= width:
        return [line]
    if (simple := _signature(line, width)) is not None:
        return simple
    indentation = " " * (len(line) - len(line.lstrip(" ")))
    deeper = indentation + " " * (2 * _STEP if line.endswith(") {") else _STEP)
    groups, behind_equals = _groups(line)
    layouts: list[list[str]] = []
    if groups:
        # Small brackets in front of the one that holds most of the line stay as they are.
        group = max(groups, key=_size)
        start, end = group.opening + 1, group.closing
        if start < end and start <= width:
            places = [start, *(group.commas or group.operators), end]
            items = [line[first:last].strip() for first, last in zip(places, places[1:])]
            aligned = _packed(items, line[:start], " " * start, line[end:], width)
            if aligned is not None:
                layouts.append(aligned)
                if len(aligned) == 2:  # there is no shorter layout
                    return aligned
            layouts.append(_opened(line, group, items, deeper, indentation, width))
    if behind_equals:
        layouts.append([line[:behind_equals - 1], *_fitted(deeper + line[behind_equals:], width)])
    layouts = [layout for layout in layouts if max(map(len, layout)) <= width]
    return min(layouts, key=len) if layouts else _between_words(line, deeper, width)


def _signature(line: str, width: int) -> list[str] | None:
    """The layout in two lines of the most frequent case: one pair of brackets with commas alone, no literals."""
    opening, closing = line.find("("), line.rfind(")")
    if line.count("(") != 1 or line.count("{") != line.endswith(") {") or '"' in line or "<" in line or " = " in line:
        return None
    place = line.rfind(", ", opening, width + 1)
    if place < 0 or opening + 1 + len(line) - place - 2 > width or closing < place:
        return None
    return [line[:place + 1], " " * (opening + 1) + line[place + 2:]]


def _size(group: _Group) -> int:
    return group.closing - group.opening


def _opened(line: str, group: _Group, items: list[str], deeper: str, indentation: str, width: int) -> list[str]:
    """A line that breaks behind the opening bracket; the brace that closes an initializer has a line of its own."""
    head, tail = line[:group.opening + 1], line[group.closing:]
    own = head.endswith("{") and head.strip() != "{"
    inner = _packed(items, deeper, deeper, "" if own else tail, width)
    if inner is not None:
        return [head, *inner, *([indentation + tail] if own else [])]
    return [head, *(part for number, item in enumerate(items)
                    for part in _fitted(deeper + item + (tail if number == len(items) - 1 else ""), width))]


def _packed(items: list[str], first: str, following: str, tail: str, width: int) -> list[str] | None:
    """The items in as few lines as it takes; None if one of them is too long for a line."""
    lines, current, empty = [], first, True
    for number, item in enumerate(items):
        text = item + tail if number == len(items) - 1 else item
        joined = current + ("" if empty else " ") + text
        if len(joined) > width and not empty:
            lines.append(current)
            joined = following + text
        if len(joined) > width:
            return None
        current, empty = joined, False
    return [*lines, current]


def _between_words(line: str, deeper: str, width: int) -> list[str]:
    """The last resort: a break at a space outside of literals, in front of an arrow, or within a literal."""
    spaces = [match.start() for match in re.finditer(r'"(?:[^"\\]|\\.)*"| ', line)
              if match[0] == " " and len(deeper) <= match.start() <= width]
    indentation = len(line) - len(line.lstrip(" "))
    spaces = [place for place in spaces if place > indentation]
    if spaces:
        return [line[:spaces[-1]], *_fitted(deeper + line[spaces[-1] + 1:], width)]
    arrow = line.rfind("->", len(deeper), width)
    if arrow > 0:
        return [line[:arrow], *_fitted(deeper + line[arrow:], width)]
    literal = re.match(r' *"', line)
    if literal is None:
        raise ValueError(f"no place to break this line: {line}")
    # Not within an escape sequence.
    places = [match.end() for match in re.finditer(r"[^\\]|\\.", line[:width - 1])]
    place = max(place for place in places if place > literal.end())
    return [line[:place] + '"', *_fitted(" " * indentation + '"' + line[place:], width)]
