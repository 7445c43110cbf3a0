"""Helpers for back ends that print C++."""

from __future__ import annotations

from collections.abc import Iterable

from .text import indent


def block(head: str, body: Iterable[str], tail: str = "}") -> list[str]:
    """`head {`, the indented body, and the closing brace."""
    return [f"{head} {{", *indent(body), tail]


def function(signature: str, body: Iterable[str]) -> list[str]:
    """A function with an empty line behind it."""
    return [*block(signature, body), ""]


def table(head: str, rows: Iterable[str]) -> list[str]:
    """A brace-enclosed table, one row a line, with an empty line behind it."""
    return [f"{head} = {{", *indent(f"{row}," for row in rows), "};", ""]


def guarded(name: str, body: Iterable[str]) -> list[str]:
    """A header's text within an include guard of that name."""
    return [f"#ifndef {name}", f"#define {name}", "", *body, "", f"#endif  // {name}"]


def quoted(text: str) -> str:
    """A C string literal."""
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'
