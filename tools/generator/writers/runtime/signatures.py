"""The signatures of entry points on the wire, as the runtime's tables state them.

A signature has one character for the return value and one for each argument, the handle of the instance and the places
for results included: `pT` is a constructor that takes text.
"""

from __future__ import annotations

from collections.abc import Iterator

from ...entry_points import (EntryPoint, declared_overloads, declared_properties, of_getter, of_overload, of_property,
                             of_service, of_setter)
from ...model import Overload, Property, Type
from ...wires import Wire
from .words import code, runtime_wire


def signature(point: EntryPoint) -> str:
    """The signature of an entry point."""
    return code(point.returned) + "".join(code(argument.slot) for argument in point.arguments)


def signature_of_overload(overload: Overload) -> str:
    """The signature of a method's overload or of a constructor."""
    return signature(of_overload(overload))


def signature_of_getter(prop: Property) -> str:
    """The signature of the entry point that reads a property."""
    return signature(of_getter(prop))


def signature_of_setter(prop: Property) -> str:
    """The signature of the entry point that writes a property."""
    return signature(of_setter(prop))


def signature_of_service(entry: Type, service: str) -> str:
    """The signature of a built-in service, such as `btp_CastTo`."""
    return signature(of_service(entry, service))


def _known(*wires: Wire) -> bool:
    """Whether the runtime knows how all of these cross."""
    return all(runtime_wire(wire) for wire in wires)


def overloads(entry: Type) -> list[Overload | None]:
    """The constructors and overloads that a type declares itself, in table order; None stands for one that the runtime
    does not offer."""
    return [overload if _known(overload.result, *(param.wire for param in overload.params)) else None
            for overload in declared_overloads(entry)]


def properties(entry: Type) -> list[Property]:
    """The properties that a type declares itself and that the runtime offers, in table order."""
    return [prop for prop in declared_properties(entry) if _known(prop.wire)]


def entries(entry: Type) -> Iterator[EntryPoint]:
    """All entry points of a type that the runtime offers, in table order."""
    yield from (of_overload(overload) for overload in overloads(entry) if overload is not None)
    for prop in properties(entry):
        yield from of_property(prop)
    yield from (of_service(entry, service) for service in entry.services)


def signatures(entry: Type) -> list[tuple[str, str]]:
    """The name and the signature of all these."""
    return [(point.name, signature(point)) for point in entries(entry)]
