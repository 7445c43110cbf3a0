"""Which overload of a name in the catalogue is which of the assembly; the order is part of the entry points' names."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, field

from tools.generator.model import Overload

from .contract import Entry

Equal = Callable[[Overload, Entry], bool]


@dataclass
class Alignment:
    """Each entry point of the assembly with its overload of the catalogue, or None, in the assembly's order."""

    pairs: list[tuple[Overload | None, Entry]] = field(default_factory=list)
    removed: list[Overload] = field(default_factory=list)
    same: set[int] = field(default_factory=set)  # the positions of pairs that are equal
    moved: set[int] = field(default_factory=set)  # those that are equal and stand elsewhere in the catalogue


def _common(overloads: list[Overload], entries: list[Entry], equal: Equal) -> list[tuple[int, int]]:
    """The longest sequence of pairs that are equal, in the order of both."""
    rows, columns = len(overloads), len(entries)
    lengths = [[0] * (columns + 1) for _ in range(rows + 1)]
    is_equal = [[equal(overload, entry) for entry in entries] for overload in overloads]
    for row in reversed(range(rows)):
        for column in reversed(range(columns)):
            lengths[row][column] = (lengths[row + 1][column + 1] + 1 if is_equal[row][column]
                                    else max(lengths[row + 1][column], lengths[row][column + 1]))
    found, row, column = [], 0, 0
    while row < rows and column < columns:
        if is_equal[row][column]:
            found.append((row, column))
            row, column = row + 1, column + 1
        elif lengths[row + 1][column] >= lengths[row][column + 1]:
            row += 1
        else:
            column += 1
    return found


def align(overloads: list[Overload], entries: list[Entry], equal: Equal) -> Alignment:
    """Pairs equal ones, in order first; then, between these, those with as many arguments."""
    by_column: dict[int, Overload] = {}
    common = _common(overloads, entries, equal)
    found = Alignment()
    for row, column in common:
        by_column[column] = overloads[row]
        found.same.add(column)
    left = [overload for overload in overloads if overload not in by_column.values()]
    for column, entry in enumerate(entries):
        moved = next((overload for overload in left if column not in by_column and equal(overload, entry)), None)
        if moved is not None:
            by_column[column] = moved
            found.moved.add(column)
            left.remove(moved)
    anchors = [(-1, -1), *common, (len(overloads), len(entries))]
    for (row, column), (next_row, next_column) in zip(anchors, anchors[1:]):
        between = [overload for overload in overloads[row + 1:next_row] if overload in left]
        for at in range(column + 1, next_column):
            if at in by_column:
                continue
            count = len(entries[at].arguments)
            similar = next((overload for overload in between if _size(overload) == count), None)
            if similar is not None:
                by_column[at] = similar
                between.remove(similar)
                left.remove(similar)
    found.pairs = [(by_column.get(column), entry) for column, entry in enumerate(entries)]
    found.removed = left
    return found


def _size(overload: Overload) -> int:
    """The number of an overload's arguments on the wire."""
    taken = sum(len(param.wire.taken) + param.by_ref for param in overload.params)
    return taken + len(overload.result.given) + (not overload.static and bool(overload.python))
