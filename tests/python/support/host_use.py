"""Reports of a child process about the hosts that it used: the entry points requested, and the errors of failed
uses."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from .control import control


def requests(type_name: str) -> list[str]:
    """The entry points requested of a class, in order."""
    return [entry["method"] for entry in control.order() if entry.get("type") == type_name]


def refusal(use: Callable[[], Any]) -> list[list[str]] | None:
    """The exceptions of a use, outermost first; None if there was none."""
    try:
        use()
    except Exception as raised:
        error: BaseException | None = raised
        found = []
        while error is not None:
            assert error.__cause__ is error.__context__
            found.append([type(error).__name__, str(error)])
            error = error.__cause__
        return found
    return None
