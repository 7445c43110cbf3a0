"""What an interface inherits: it has no base in Python, so all of it is listed again, as the declaring interface's."""

from __future__ import annotations

from .errors import CatalogueError
from .model import Overload, Property, Type


def check_inherited(entry: Type) -> None:
    """Refuses an interface that lacks a member of one that it extends, or lists it as its own."""
    if entry.kind != "interface":
        return
    overloads = {(overload.python, overload.signature): overload.owner
                 for method in entry.methods for overload in method.overloads}
    properties = {prop.python: prop.declared_by for prop in entry.properties}
    for base in entry.interfaces:
        if not isinstance(base, Type):
            continue
        for overload in [overload for method in base.methods for overload in method.overloads]:
            owner = overloads.get((overload.python, overload.signature))
            if owner is not overload.owner:
                _refuse(entry, overload.python, overload.owner, listed=owner is not None)
        for prop in base.properties:
            declared_by = properties.get(prop.python)
            if declared_by is not prop.declared_by:
                _refuse(entry, prop.python, prop.declared_by, listed=declared_by is not None)


def _refuse(entry: Type, python: str, owner: Type, listed: bool) -> None:
    members: list[Overload | Property] = [*entry.properties, *(o for m in entry.methods for o in m.overloads)]
    place = next((member.place for member in members if listed and member.python == python), entry.place)
    fault = "lists as its own" if listed else "does not list"
    raise CatalogueError(place, f"{entry.name} {fault} {python}, which it inherits: write `from {owner.name}`")
