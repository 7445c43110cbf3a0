"""Prints the type host: the singleton table of delegates to one managed class."""

from __future__ import annotations

from ...entry_points import entry_points
from ...model import Type
from ..cpp_text import block, quoted
from .crossing import argument_name
from .words import slot_type

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
    rows = [(point.name, slot_type(point.returned), [slot_type(argument.slot) for argument in point.arguments],
             [argument_name(argument) for argument in point.arguments]) for point in entry_points(entry)]
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
