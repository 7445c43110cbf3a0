"""Prints the stubs of the cast family, which every wrapper type and every enumeration has."""

from __future__ import annotations

from .annotations import Scope
from .words import REFLECTION


def cast_family(scope: Scope, name: str, converts: bool, instantiable: bool, enum: bool = False,
                derived: bool = False) -> list[str]:
    """The members by which a value is cast to a type; what cannot have instances refuses to reinterpret."""
    static, managed_type = f"@{scope.builtin('staticmethod')}", scope.name(REFLECTION, "Type")
    result, anything = f"{scope.name('zelmor.pygc', 'CastResult')}", scope.builtin("object")
    source = managed_type if converts else anything
    # Most types take no notice of the argument.
    narrower = "  # type: ignore[override]" if converts and derived else ""
    view = name if instantiable else scope.typing("NoReturn")
    other = scope.support("ManagedObject")
    lines = [static, f"def _type_of() -> {managed_type}: ...",
             static, f"def _cast_to(value: {anything}, /) -> {result}[{name}]: ...",
             f"def _cast_from(self, type: {source}, /) -> {result}[{scope.name(REFLECTION, 'Object')}]: ..."
             + narrower,
             static, f"def _reinterpret_obj(value: {other}, /) -> {view}: ..."]
    if enum:
        lines.append(f"def _as_uni_enum(self) -> {scope.name(REFLECTION, 'Enum')}: ...")
    return [*lines, static, f"def _cast_as(value: {anything}, /) -> {result}[{name}]: ...",
            static, f"def _is_assignable(value: {anything}, /) -> {scope.builtin('bool')}: ..."]


def get_type(scope: Scope) -> str:
    """The member that tells the managed type of an instance."""
    return f"def get_type(self) -> {scope.name(REFLECTION, 'Type')}: ..."
