"""Helpers for printing C#: blocks with their brace on a line of its own, as .NET people write them."""

from __future__ import annotations

from collections.abc import Iterable

from ..text import indent

_KEYWORDS = frozenset("""abstract as base bool break byte case catch char checked class const continue decimal default
delegate do double else enum event explicit extern false finally fixed float for foreach goto if implicit in int
interface internal is lock long namespace new null object operator out override params private protected public readonly
ref return sbyte sealed short sizeof stackalloc static string struct switch this throw true try typeof uint ulong
unchecked unsafe ushort using virtual void volatile while""".split())


def block(head: str, body: Iterable[str]) -> list[str]:
    """`head`, and the body in braces."""
    return [head, "{", *indent(body), "}"]


def escaped(name: str) -> str:
    """A name that is no keyword."""
    return f"@{name}" if name in _KEYWORDS else name


def camel_case(keyword: str) -> str:
    """The C# name of an argument: `imageOptions` of `image_options`."""
    first, *rest = [part for part in keyword.split("_") if part]
    name = first + "".join(part[:1].upper() + part[1:] for part in rest)
    return name[:1].lower() + name[1:]


def member_name(name: str) -> str:
    """The C# name of a value of an enumeration: `Rotate90FlipNone` of `ROTATE_90_FLIP_NONE`."""
    words = (word if any(c.islower() for c in word) else word.lower() for word in name.split("_"))
    text = "".join(word[:1].upper() + word[1:] for word in words)
    return f"_{text}" if text[:1].isdigit() else text


def quoted(text: str) -> str:
    """A string literal."""
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def separated(groups: Iterable[list[str]]) -> list[str]:
    """The groups of lines with an empty line between two of them."""
    lines: list[str] = []
    for group in groups:
        if group:
            lines += ["", *group] if lines else group
    return lines
