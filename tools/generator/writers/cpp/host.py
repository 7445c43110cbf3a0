"""Prints the type host: the singleton table of delegates to one managed class, as the list of its entry points.

`pyshell/host_class.h` makes the class from the list. The built-in services are the same for all types of a kind, so
that their lists stand in the header that all sources share.
"""

from __future__ import annotations

from ...entry_points import EntryPoint, members_of, services_of
from ...model import Model, Type
from ..cpp_text import quoted
from .crossing import argument_name
from .words import slot_type


def host_name(entry: Type) -> str:
    """The class of a type's host."""
    return f"PyHost_cs_{entry.symbol}"


def host_of(entry: Type) -> str:
    """The expression for a type's host."""
    return f"{host_name(entry)}::get_instance()"


def _row(point: EntryPoint) -> str:
    arguments = (f"{slot_type(argument.slot)} {argument_name(argument)}" for argument in point.arguments)
    return f"entry({slot_type(point.returned)}, {point.name}, ({', '.join(arguments)}))"


def _list(name: str, rows: list[str]) -> list[str]:
    """The macro of that name that calls another for each entry point."""
    return [f"#define {name}(entry) \\", *(f"    {row} \\" for row in rows[:-1]), f"    {rows[-1]}", ""]


def _services(entry: Type) -> str:
    """The name of the list of a type's services."""
    parts = ["ZELMOR", entry.kind.replace(" ", "_")]
    if entry.width is not None:
        parts.append(entry.width.name)
    return "_".join([*parts, *(["casts", "from"] if entry.cast_from else []), "services"]).upper()


def write_services(model: Model) -> list[str]:
    """The lists of services that the types of an assembly have."""
    kinds = {_services(entry): entry for entry in model.types}
    lines: list[str] = []
    for name, entry in kinds.items():
        lines += _list(name, [_row(point) for point in services_of(entry)])
    return lines


def write_host(entry: Type) -> list[str]:
    """The class of a host, behind the list of the entry points that it has beside the services."""
    own = [_row(point) for point in members_of(entry)]
    services = _services(entry)
    entries = "ZELMOR_ENTRIES" if own else services
    lines = _list(entries, [*own, f"{services}(entry)"]) if own else []
    lines += [f"ZELMOR_TYPE_HOST({host_name(entry)}, {quoted(entry.host_class)}, {entries});"]
    return [*lines, *([f"#undef {entries}"] if own else []), ""]
