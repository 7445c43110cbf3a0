"""Small helpers for printing C++."""

from __future__ import annotations

from collections.abc import Iterable
from pathlib import Path

INDENT = "    "


def indent(lines: Iterable[str], depth: int = 1) -> list[str]:
    """The lines moved to the right; empty ones stay empty."""
    return [INDENT * depth + line if line else line for line in lines]


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


def write_if_changed(path: Path, lines: Iterable[str]) -> bool:
    """Writes a file unless it holds these lines already, so that only what changed is compiled again."""
    text = "\n".join(lines).rstrip("\n") + "\n"
    if path.exists() and path.read_text() == text:
        return False
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    return True
