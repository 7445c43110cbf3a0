"""The entry points of a type: the calls that the managed class behind it offers, with all their arguments.

The order is the order in which a host binds them: constructors, methods, instance properties, static properties, and
last the built-in services, such as casts.
"""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from enum import Enum, auto

from .model import Overload, Param, Property, Type
from .wires import HANDLE, NO_RESULT, VARIANT, VOID, Form, Passing, Scalar, Slot, Wire


class Role(Enum):
    """The purpose of an entry point."""

    CTOR = auto()
    CALL = auto()
    STATIC_CALL = auto()
    GET = auto()
    SET = auto()
    GET_STATIC = auto()
    SET_STATIC = auto()
    SERVICE = auto()


@dataclass(frozen=True)
class Argument:
    """One argument of an entry point."""

    slot: Slot
    name: str  # behind the keyword, where there is one: `out` beside `x` is what the call gives back for `x`
    keyword: str = ""  # of the parameter, which can be any word


@dataclass(frozen=True)
class EntryPoint:
    """A call that a host binds by its name."""

    name: str
    role: Role
    member: str  # the managed name; of a constructor the type's
    returned: Slot
    arguments: tuple[Argument, ...]
    result: Wire = VOID
    params: Sequence[Param] = ()


_SELF = Argument(HANDLE, "handle")
_STATUS = Slot(Form.INT32)
_HANDLE_OUT = Slot(Form.HANDLE, Passing.OUT)


def _taken(param: Param) -> list[Argument]:
    *before, value = param.wire.taken
    arguments = [Argument(slot, "present", param.name) for slot in before] + [Argument(value, "", param.name)]
    if param.by_ref:
        assert isinstance(param.wire, Scalar)
        arguments.append(Argument(param.wire.by_reference, "out", param.name))
    return arguments


def _given(result: Wire) -> list[Argument]:
    slots = result.given
    return [Argument(slot, "present") for slot in slots[:-1]] + [Argument(slot, "result") for slot in slots[-1:]]


def of_overload(overload: Overload) -> EntryPoint:
    """The entry point of a method's overload or of a constructor."""
    params = [argument for param in overload.params for argument in _taken(param)]
    if not overload.python:
        return EntryPoint(overload.entry, Role.CTOR, overload.owner.name, HANDLE, tuple(params), VOID, overload.params)
    role = Role.STATIC_CALL if overload.static else Role.CALL
    own = [] if overload.static else [_SELF]
    return EntryPoint(overload.entry, role, overload.managed, overload.result.returned,
                      (*own, *params, *_given(overload.result)), overload.result, overload.params)


def of_getter(prop: Property) -> EntryPoint:
    """The entry point that reads a property."""
    name, role, own = ("getsa", Role.GET_STATIC, []) if prop.static else ("get", Role.GET, [_SELF])
    return EntryPoint(f"{name}_{prop.managed}", role, prop.managed, prop.wire.returned, (*own, *_given(prop.wire)),
                      prop.wire)


def of_setter(prop: Property) -> EntryPoint:
    """The entry point that writes a property."""
    name, role, own = ("setsa", Role.SET_STATIC, []) if prop.static else ("set", Role.SET, [_SELF])
    *before, value = prop.wire.taken
    taken = [*(Argument(slot, "valuepresent") for slot in before), Argument(value, "value")]
    return EntryPoint(f"{name}_{prop.managed}", role, prop.managed, NO_RESULT, (*own, *taken))


def of_service(entry: Type, service: str) -> EntryPoint:
    """The entry point of a built-in service."""
    made = Argument(entry.width.by_reference if entry.width is not None else _HANDLE_OUT, "out")
    value = Argument(entry.width.returned if entry.width is not None else NO_RESULT, "value")
    tested = VARIANT if entry.kind in ("struct", "interface") else HANDLE
    answer = Argument(_HANDLE_OUT, "out")
    arguments: dict[str, tuple[Argument, ...]] = {
        "TypeOf": (answer,), "CastTo": (Argument(VARIANT, "from"), made),
        "CastFrom": (_SELF, Argument(HANDLE, "type"), answer), "ReInterpretObj": (Argument(HANDLE, "object"), made),
        "AsUniEnum": (value, answer), "CastAs": (Argument(tested, "from"), made),
        "IsAssignable": (Argument(tested, "value"),), "GetType": (value, answer)}
    name = service.removeprefix("btp_")
    return EntryPoint(service, Role.SERVICE, name, _STATUS, arguments[name])


def declared_overloads(entry: Type) -> list[Overload]:
    """The constructors and the overloads that a type declares itself, in binding order."""
    return [*entry.constructors, *(overload for method in entry.methods for overload in method.own)]


def declared_properties(entry: Type) -> list[Property]:
    """The properties that a type declares itself, in binding order."""
    return [prop for static in (False, True) for prop in entry.properties
            if prop.static == static and prop.declared_by is entry]


def of_property(prop: Property) -> list[EntryPoint]:
    """The entry points of a property."""
    return [of_getter(prop), *([of_setter(prop)] if prop.writable else [])]


def members_of(entry: Type) -> list[EntryPoint]:
    """The entry points of a type's own members, in binding order."""
    points = [of_overload(overload) for overload in declared_overloads(entry)]
    return points + [point for prop in declared_properties(entry) for point in of_property(prop)]


def services_of(entry: Type) -> list[EntryPoint]:
    """The entry points of a type's built-in services, in binding order."""
    return [of_service(entry, service) for service in entry.services]


def entry_points(entry: Type) -> list[EntryPoint]:
    """All entry points of a type, in binding order."""
    return members_of(entry) + services_of(entry)
