"""Libraries that the package works with but does not need."""

from __future__ import annotations

from importlib import import_module
from typing import Any

_NAMES = {"numpy": ("NumPy", "python3-numpy", "numpy"), "PIL.Image": ("Pillow", "python3-pil", "pillow"),
          "IPython": ("IPython", "python3-ipython", "ipython")}


def optional(module: str, user: str) -> Any:
    """A module of an optional library, or an ImportError that says which function needs it and where to get it."""
    try:
        return import_module(module)
    except ModuleNotFoundError as error:
        if error.name is None or not (module + ".").startswith(error.name + "."):
            raise  # the library is there, and something that it needs is not
        library, debian, pip = _NAMES[module]
        raise ImportError(f"{user} needs {library}, which is not installed (Debian: {debian}; pip: {pip})",
                          name=error.name) from error
