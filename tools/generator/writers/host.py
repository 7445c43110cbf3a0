"""Prints the type host: the singleton table of delegates to one managed class."""

from __future__ import annotations

from ..model import Overload, Property, Type
from ..wires import VOID
from . import crossing
from .text import block, quoted

Thunk = tuple[str, str, list[str], list[str]]  # entry point, result type, argument types, argument names


def overload_thunk(overload: Overload) -> Thunk:
    """The thunk of a method or constructor overload."""
    constructor = not overload.python
    instance = not overload.static and not constructor
    result = "void*" if constructor else crossing.result_type(overload.result)
    types = crossing.thunk_types(overload.params, VOID if constructor else overload.result, instance)
    names = crossing.thunk_names(overload.params, VOID if constructor else overload.result, instance)
    return overload.entry, result, types, names


def property_thunks(prop: Property) -> list[Thunk]:
    """The thunks of a property's getter and setter."""
    suffix = "sa" if prop.static else ""
    instance = not prop.static
    thunks: list[Thunk] = [(f"get{suffix}_{prop.managed}", crossing.result_type(prop.wire),
                            crossing.thunk_types([], prop.wire, instance),
                            crossing.thunk_names([], prop.wire, instance))]
    if prop.writable:
        types = (["void*"] if instance else []) + crossing.argument_types(prop.wire)
        names = (["handle"] if instance else []) + crossing.argument_names(prop.wire, "value")
        thunks.append((f"set{suffix}_{prop.managed}", "void", types, names))
    return thunks


def service_thunk(entry: Type, service: str) -> Thunk:
    """The thunk of a built-in service."""
    value = entry.width.scalar.cpp if entry.width is not None and entry.width.scalar is not None else ""
    out = f"{value}*" if entry.is_enum else "void**"
    variant = entry.kind in ("struct", "interface")
    shapes: dict[str, tuple[list[str], list[str]]] = {
        "btp_TypeOf": (["void**"], ["out"]),
        "btp_CastTo": (["const VariantArg*", out], ["from", "out"]),
        "btp_CastFrom": (["void*", "void*", "void**"], ["handle", "type", "out"]),
        "btp_ReInterpretObj": (["void*", out], ["object", "out"]),
        "btp_AsUniEnum": ([value, "void**"], ["value", "out"]),
        "btp_CastAs": (["const VariantArg*" if variant else "void*", out], ["from", "out"]),
        "btp_IsAssignable": (["const VariantArg*" if variant else "void*"], ["value"]),
        "btp_GetType": ([value, "void**"], ["value", "out"]),
    }
    types, names = shapes[service]
    return service, "int", types, names


def thunks(entry: Type) -> list[Thunk]:
    """All thunks of a type's host, in binding order."""
    rows = [overload_thunk(overload) for overload in entry.constructors]
    rows += [overload_thunk(o) for method in entry.methods for o in method.own]
    for static in (False, True):
        for prop in entry.properties:
            if prop.static == static and prop.declared_by is entry:
                rows += property_thunks(prop)
    return rows + [service_thunk(entry, service) for service in entry.services]


# The services that the cast family reads from the host as one record.
_CAST_SERVICES = ("btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs", "btp_IsAssignable")


def _casts(entry: Type) -> str:
    """The accessor of that record."""
    if entry.kind == "static class":
        record = "{.type_of = m_delegates.btp_TypeOf}"
    else:
        slots = (f"m_delegates.{name}" if name in entry.services else "nullptr" for name in _CAST_SERVICES)
        record = f"zelmor::cast_services({', '.join(slots)})"
    return f"zelmor::CastServices casts() const {{ return {record}; }}"


def write_host(entry: Type) -> list[str]:
    """The class definition of a host."""
    rows = thunks(entry)
    name = f"PyHost_cs_{entry.symbol}"
    public = [f"static constexpr const char* kManagedClass = {quoted(entry.host_class)};", "",
              f"{name}() {{ bind(kEntryPoints, reinterpret_cast<void**>(&m_delegates)); }}", ""]
    for method, result, types, names in rows:
        if method in _CAST_SERVICES and method != "btp_IsAssignable":
            continue
        params = ", ".join(f"{t} {n}" for t, n in zip(types, names))
        public.append(f"{result} {method}({params}) const {{ return m_delegates.{method}({', '.join(names)}); }}")
    public.append(_casts(entry))
    slots = [f"{result} (*{method})({', '.join(types)});" for method, result, types, _ in rows]
    private = [*block("struct Delegates", slots, "};"),
               f"static_assert(sizeof(Delegates) == {len(rows)} * sizeof(void*));", "",
               "static constexpr const char* kEntryPoints[] = {",
               *(f"    {quoted(method)}," for method, *_ in rows), "};", "", "Delegates m_delegates{};"]
    body = ["   public:", *(f"    {line}" if line else "" for line in public), "",
            "   private:", *(f"    {line}" if line else "" for line in private)]
    return [f"class {name} final : public zelmor::TypeHost<{name}> {{", *body, "};", ""]
