"""Where the type of each property comes from, as far as the catalogue itself tells.

A listing of properties does not tell text, bytes, dates and collections apart: all of them leave the managed side
without a converter that a listing could name. What does tell them apart is, in this order, the method that sets the
property, the argument of the same name, the typed collection that nothing else has a use for, and the format that the
field is of. `disagreement` refuses what contradicts the first two; `sources` lists all of it for a reader.
"""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterator

from .errors import CatalogueError
from .model import Method, Model, Overload, Property, Type
from .wires import Wire

# The kinds of wires that a listing does not tell apart.
_UNTOLD = ("string", "bytes", "object", "collection", "words", "nullable")


def _overloads(entry: Type) -> list[Overload]:
    return [*entry.constructors, *(overload for method in entry.methods for overload in method.own)]


def _setters(prop: Property) -> list[Method]:
    found = [owner.method(f"set_{prop.python}") for owner in (prop.owner, *prop.owner.bases())]
    return [method for method in found if method is not None]


def _set_by(prop: Property) -> list[Wire]:
    """What the method that sets the property takes, where it takes one value."""
    return [overload.params[0].wire for method in _setters(prop) for overload in method.overloads
            if len(overload.params) == 1]


def _arguments(prop: Property, constructors: bool) -> list[Wire]:
    """The types of the arguments of the same name in the class and its bases."""
    owners = (prop.owner, *prop.owner.bases())
    overloads = [o for owner in owners for o in (owner.constructors if constructors else _overloads(owner))]
    return [param.wire for overload in overloads for param in overload.params if param.name == prop.python]


def disagreement(prop: Property) -> str | None:
    """What says that a writable property has another type; nothing where all agree."""
    if not prop.writable:
        return None
    for told, what in ((_set_by(prop), f"set_{prop.python}"), (_arguments(prop, True), "a constructor")):
        if told and prop.wire not in told:
            return f"{prop.python} is of type {prop.wire.name}, and {what} takes {told[0].name}"
    return None


def uses(model: Model) -> Counter[Wire]:
    """How many properties, results and arguments name each typed collection; one of arrays names the inner one too."""
    counts: Counter[Wire] = Counter()

    def count(wire: Wire) -> None:
        if wire.collection is not None:
            counts[wire] += 1
            count(wire.collection.element)

    for entry in model.types:
        for prop in entry.properties:
            if prop.declared_by is entry:
                count(prop.wire)
        for overload in _overloads(entry):
            for wire in (overload.result, *(param.wire for param in overload.params)):
                count(wire)
    return counts


def check_collections(model: Model) -> None:
    """A typed collection that no member names says that a member has the wrong type."""
    named = {(wire.collection.identifier, wire.name.split(" ")[0]) for wire in uses(model) if wire.collection}
    for row in model.collections:
        for kind in dict.fromkeys(kind.removesuffix("-argument") for kind in row.kinds):
            if kind != "iterator" and (row.identifier, kind) not in named:
                raise CatalogueError(row.place, f"no member has a use for the {kind} of {row.element.name}")


def _source(prop: Property, counts: Counter[Wire]) -> str:
    if prop.reason is not None:
        return prop.reason
    if prop.wire in _set_by(prop):
        return f"set_{prop.python}"
    if prop.wire in _arguments(prop, False):
        return "the argument of the same name"
    if prop.wire.collection is not None and counts[prop.wire] == 1:
        return "nothing else has a use for this collection"
    return "as a rule" if prop.wire.kind == "string" else "the format"


def sources(model: Model) -> Iterator[tuple[str, str, str]]:
    """The name, the type and the source of the type of each property that a listing does not tell."""
    counts = uses(model)
    for entry in model.types:
        for prop in entry.properties:
            told = prop.wire.kind not in _UNTOLD and prop.wire.name not in ("timedelta", "char")
            if prop.declared_by is entry and not told:
                yield f"{entry.full_name}.{prop.python}", prop.wire.name, _source(prop, counts)
