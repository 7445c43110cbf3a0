"""The whole tree of the module, for tests that cover every module, wrapper and enumeration."""

from __future__ import annotations

from collections.abc import Iterator
from types import ModuleType
from typing import Any

import zelmor.imaging

from tools.generator.builder import load

from .places import CATALOGUE

#: The catalogue that the module was generated from.
MODEL = load(CATALOGUE)
HOST_MARKER = "_zelmor_clr_host"
CASTABLE_MARKER = "_zelmor_clr_castable_obj"


def dotted(type_: type[Any]) -> str:
    """The full name of a wrapper or enumeration."""
    return f"{type_.__module__}.{type_.__qualname__}"


def modules(root: ModuleType = zelmor.imaging) -> Iterator[ModuleType]:
    """A module and all modules below it."""
    yield root
    for value in vars(root).values():
        if isinstance(value, ModuleType) and value.__name__.startswith(root.__name__ + "."):
            yield from modules(value)


MODULES = list(modules())
TYPES = [value for module in MODULES for value in vars(module).values() if isinstance(value, type)]
#: Every type with the host marker: classes, structs, interfaces, interop wrappers and typed collections.
WRAPPERS = [type_ for type_ in TYPES if HOST_MARKER in vars(type_)]
#: The types among them that belong to managed namespaces.
API_WRAPPERS = [type_ for type_ in WRAPPERS if "._wrpgen." not in dotted(type_)]
ENUMS = [type_ for type_ in TYPES if vars(type_).get(CASTABLE_MARKER, None) is Ellipsis]
