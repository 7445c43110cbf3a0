"""A command of the generator: its name, the paths that it takes, and the function that runs it."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass


@dataclass(frozen=True)
class Command:
    """One command; a path whose name ends in dots takes one or more, one that ends in a star any number."""

    name: str
    paths: tuple[str, ...]
    help: str
    run: Callable[..., str]  # takes the paths, and gives the text to print
