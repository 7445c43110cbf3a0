"""The commands that print or complete parts of a catalogue: totals, sources of types, identifiers."""

from __future__ import annotations

from collections import Counter
from pathlib import Path

from .builder import load
from .catalogue import read_catalogue
from .collections import read_collections
from .command import Command
from .identifiers import Identifiers
from .model import Model
from .property_types import sources

ROLES = ("get", "set", "call", "ctor", "getsa", "setsa")


def summary(model: Model) -> str:
    """One line on the size of an assembly."""
    counts = model.entry_points()
    return f"{model.assembly}: {len(model.types)} types, " + ", ".join(f"{counts[role]} {role}_" for role in ROLES)


def count_by_module(model: Model) -> list[str]:
    """A table of types and entry points, one row for each module that has any."""
    rows = [["module", "classes", "enumerations", *(f"{role}_" for role in ROLES)]]
    for module in model.modules:
        counts = sum((entry.entry_points() for entry in module.types), Counter[str]())
        if module.types:
            rows.append([module.name, str(len(module.wrappers)), str(len(module.enums)),
                         *(str(counts[role]) for role in ROLES)])
    total = model.entry_points()
    rows.append(["all", str(sum(len(m.wrappers) for m in model.modules)), str(sum(len(m.enums) for m in model.modules)),
                 *(str(total[role]) for role in ROLES)])
    return ["| " + " | ".join(row) + " |" for row in rows[:1]] + ["|" + "---|" * len(rows[0])] + [
        "| " + " | ".join(row) + " |" for row in rows[1:]]


def _count(catalogue: Path) -> str:
    return "\n".join(count_by_module(load(catalogue)))


def _types(catalogue: Path) -> str:
    rows = [("property", "type", "source"), ("---", "---", "---"), *sources(load(catalogue))]
    return "\n".join(f"| {' | '.join(row)} |" for row in rows)


def _identifiers(catalogue: Path) -> str:
    table = Identifiers.read(catalogue / "identifiers.tab")
    types = read_catalogue(catalogue).types
    elements = {row.element: row.identifier for row in read_collections(catalogue / "collections.tab")}
    added = table.complete([f"{entry.namespace}.{entry.name}" for entry in types], elements)
    table.write()
    return f"{len(added)} rows added"


COMMANDS = (
    Command("identifiers", ("catalogue",), "add the rows that identifiers.tab lacks", _identifiers),
    Command("count", ("catalogue",), "print a table of types and entry points by module", _count),
    Command("types", ("catalogue",), "print where the type of each property comes from that is text, bytes, a date, a "
            "collection or anything", _types),
)
