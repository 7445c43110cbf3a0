"""Helpers for every back end: the layout of lines, and files that are written only when they change."""

from __future__ import annotations

from collections.abc import Iterable
from pathlib import Path

INDENT = "    "


def indent(lines: Iterable[str], depth: int = 1) -> list[str]:
    """The lines moved to the right; empty ones stay empty."""
    return [INDENT * depth + line if line else line for line in lines]


def write_if_changed(path: Path, lines: Iterable[str]) -> bool:
    """Writes a file unless it holds these lines already, so that only what changed is compiled again."""
    text = "\n".join(lines).rstrip("\n") + "\n"
    if path.exists() and path.read_text() == text:
        return False
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    return True
