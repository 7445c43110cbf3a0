"""What is known of the size of an assembly: how many there are of its types, members, entry points and widths.

`totals.tab` has one row for each figure. The generator counts and refuses a catalogue that comes to another. A row that
begins with `unreached` is a figure of the real assembly that this catalogue does not come to, with the reason; the
generator leaves it alone, and a test says when it holds.
"""

from __future__ import annotations

import re
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

from .errors import CatalogueError, Place
from .model import Model
from .naming import snake_case
from .rows import read_optional_rows

_ROW = re.compile(r"(?P<unreached>unreached +)?(?P<number>\d+)(?P<least> or more)? +(?P<what>[^:]+?)"
                  r"(?: *: *(?P<reason>.+))?\Z")
_ROLES = ("get", "set", "call", "ctor", "getsa", "setsa")


@dataclass(frozen=True)
class Total:
    """One row."""

    place: Place
    number: int
    what: str
    least: bool  # there can be more
    unreached: str | None  # why the catalogue does not come to it

    def holds(self, counts: Counter[str]) -> bool:
        """Whether a count comes to the figure."""
        return counts[self.what] >= self.number if self.least else counts[self.what] == self.number


def read_totals(path: Path) -> list[Total]:
    """Reads `totals.tab`; an assembly without one has no known figures."""
    rows: list[Total] = []
    for place, text in read_optional_rows(path):
        match = _ROW.match(text.strip())
        if match is None or (match["unreached"] is None) != (match["reason"] is None):
            raise CatalogueError(place, "a row is a number and what there is of it; one that is unreached has a reason")
        if any(row.what == match["what"] for row in rows):
            raise CatalogueError(place, f"{match['what']} has a row already")
        rows.append(Total(place, int(match["number"]), match["what"], match["least"] is not None, match["reason"]))
    return rows


def count(model: Model) -> Counter[str]:
    """Everything that a row can be about."""
    counts: Counter[str] = Counter()
    wrappers = [entry for entry in model.types if not entry.is_enum]
    enums = [entry for entry in model.types if entry.is_enum]
    for entry in wrappers:
        counts[{"static class": "static classes", "class": "classes that have instances", "struct": "structs",
                "interface": "interfaces"}[entry.kind]] += 1
        counts["types without a public constructor"] += not entry.constructors
        counts["types with a post-initializer"] += any(prop.static for prop in entry.properties) or any(
            method.mixed for method in entry.methods)
        counts["method groups"] += sum(method.is_group for method in entry.methods)
        counts["mixed methods"] += sum(method.mixed for method in entry.methods)
        counts["types that convert themselves"] += entry.cast_from
    counts["types that are no enumerations"] = len(wrappers)
    counts["enumerations"] = len(enums)
    counts["members of enumerations"] = sum(len(entry.values) for entry in enums)
    counts["enumerations of flags"] = sum(entry.flags for entry in enums)
    counts.update(f"enumerations of {entry.width.name}" for entry in enums if entry.width is not None)
    names = {(overload.managed, overload.python) for entry in wrappers for method in entry.methods
             for overload in method.own}
    names |= {(prop.managed, prop.python) for entry in wrappers for prop in entry.properties if not prop.static}
    counts["pairs of a managed and a Python name"] = len(names)
    counts["pairs that break the rules of names"] = sum(snake_case(managed) != python for managed, python in names)
    points = model.entry_points()
    counts.update({f"entry points {role}_": points[role] for role in _ROLES})
    kinds = Counter(kind for row in model.collections for kind in row.kinds)
    for kind in ("array", "list", "ilist", "iterable", "iterator"):
        counts[f"typed collections of the kind {kind}"] = kinds[kind]
    counts["elements with typed callbacks"] = sum(row.slot is not None for row in model.collections)
    for module in model.modules:
        counts[f"types in {module.namespace}"] = len(module.wrappers)
        counts[f"enumerations in {module.namespace}"] = len(module.enums)
    counts["namespaces"] = len(model.modules)
    return counts


def check_totals(model: Model, rows: list[Total]) -> None:
    """Refuses a model that does not come to its figures, and a row about what nobody counts."""
    counts = count(model)
    for row in rows:
        if row.what not in counts:
            raise CatalogueError(row.place, f"'{row.what}' is nothing that is counted")
        if row.unreached is None and not row.holds(counts):
            least = "at least " if row.least else ""
            raise CatalogueError(row.place, f"{counts[row.what]} {row.what} instead of {least}{row.number}")
