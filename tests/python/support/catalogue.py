"""The classes of the module, as the catalogue lists them."""

from __future__ import annotations

from typing import Any

from .collections import MODEL, python_type


def every_class() -> list[Any]:
    """Every class and struct that the module publishes."""
    return [python_type(entry.dotted) for entry in MODEL.types if entry.kind in ("class", "struct")]
