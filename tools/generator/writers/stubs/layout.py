"""The layout of stubs: breaks lines that are longer than 120 columns.

A docstring breaks between words. Everything else breaks within its outermost brackets, one item on a line; a union of
types that has none is put into parentheses.
"""

from __future__ import annotations

import re
from collections.abc import Iterable

from ..text import INDENT

COLUMNS = 120
_ALIAS = re.compile(r"(\w+: \w+ = )(\w.*)")
_IGNORED = re.compile(r"(.*?)(  # type: ignore\[[\w, -]+\])")


def laid_out(lines: Iterable[str]) -> list[str]:
    """The lines, with those that are too long broken into several."""
    result: list[str] = []
    for line in lines:
        result += [line] if len(line) <= COLUMNS else _broken(line)
    return result


def _broken(line: str) -> list[str]:
    text = line.lstrip(" ")
    indentation = line[:len(line) - len(text)]
    alias, ignored = _ALIAS.fullmatch(text), _IGNORED.fullmatch(text)
    if alias is not None:
        parts = alias[2].split(" | ")
        return [f"{indentation}{alias[1]}(",
                *_filled([parts[0], *(f"| {part}" for part in parts[1:])], indentation + INDENT), f"{indentation})"]
    opening = re.search(r"[(\[]", text)
    if text.startswith('"""') or opening is None or not text.startswith(("def ", "from ")) and ": " not in text:
        return _filled(text.split(" "), indentation)
    comment = "" if ignored is None else ignored[2]
    statement = text if ignored is None else ignored[1]
    start = opening.end()
    end = _closing(statement, start - 1)
    items = [f"{indentation}{INDENT}{item}," for item in _items(statement[start:end])]
    return [f"{indentation}{statement[:start]}{comment}", *items, f"{indentation}{statement[end:]}"]


def _filled(words: list[str], indentation: str) -> list[str]:
    """The words in as few lines as it takes."""
    lines, current = [], indentation + words[0]
    for word in words[1:]:
        if len(current) + 1 + len(word) > COLUMNS:
            lines.append(current)
            current = indentation + word
        else:
            current += f" {word}"
    return [*lines, current]


def _closing(text: str, opening: int) -> int:
    """The place of the bracket that closes the one at a place."""
    depth = 0
    for place in range(opening, len(text)):
        depth += (text[place] in "([") - (text[place] in ")]")
        if depth == 0:
            return place
    raise ValueError(f"a bracket is open in {text}")


def _items(text: str) -> list[str]:
    """The parts between the commas outside of brackets."""
    depth, start, items = 0, 0, []
    for place, character in enumerate(text):
        depth += (character in "([") - (character in ")]")
        if character == "," and depth == 0:
            items.append(text[start:place].strip())
            start = place + 1
    return [*items, text[start:].strip()]
