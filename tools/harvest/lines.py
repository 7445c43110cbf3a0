"""The text of catalogue lines, as people write them; a changed line differs from the old one in what changed only."""

from __future__ import annotations

from dataclasses import replace

from tools.generator.catalogue import PROPERTY_KINDS, MemberLine, TypeLine
from tools.generator.naming import snake_case, upper_snake_case


def member_text(line: MemberLine) -> str:
    """A member line, without the indentation."""
    if line.kind in ("shared", "items", "writer"):
        return f"{line.kind} {line.python}"
    names = f" {line.python} {line.managed}" if line.python else ""
    if line.kind in PROPERTY_KINDS:
        text = f"{line.kind}{names} {line.type}"
    else:
        params = ", ".join(f"{param.name}: {param.type}" for param in line.params)
        text = f"{line.kind}{names} ({params})" + (f" -> {line.type}" if line.type else "")
    if line.origin:
        text += f" from {line.origin}"
    if line.exception:
        text += " exception"
    return text + (f' because "{line.reason}"' if line.reason else "")


def type_text(line: TypeLine) -> str:
    """A type line."""
    text = f"{line.kind} {line.name}" + (f" : {line.base}" if line.base else "")
    text += (" disposable" if line.disposable else "") + (" converts" if line.converts else "")
    if line.interfaces:
        text += f" implements {', '.join(line.interfaces)}"
    return text + (f" stands for {', '.join(line.stands_for)}" if line.stands_for else "")


def renamed(line: MemberLine, managed: str) -> MemberLine:
    """The line with another managed name, and the Python name that follows from it."""
    rule = upper_snake_case if line.kind == "const" else snake_case
    return replace(line, managed=managed, python=rule(managed), exception=False)


def retyped(line: MemberLine, kind: str | None, params: list[str], result: str | None) -> MemberLine:
    """The line with other types; an `object` that comes in says why it is one."""
    changed = replace(line, kind=kind or line.kind, type=result,
                      params=tuple(replace(param, type=name) for param, name in zip(line.params, params)))
    types = [result, *params]
    if "object" not in types:
        return replace(changed, reason=None)
    return changed if line.reason or line.origin else replace(changed, reason="the assembly declares it so")
