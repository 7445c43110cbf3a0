"""Values that do something while they are read: what Python code does in the middle of a managed call."""

from __future__ import annotations

import datetime
from typing import Any

#: How the reading of a list fails that has lost the element.
LOST = "the list lost the element while it was read"


class Text(str):
    """A text that does something when it is asked what it is, which reading an element of any kind asks."""

    act: Any = None

    @property
    def __class__(self) -> Any:
        if self.act is not None:
            self.act()
        return str


def emptying(items: list[Any], *others: Any) -> list[Any]:
    """Puts a text that empties the list into it, and the others behind it."""
    text = Text("text")
    text.act = items.clear
    items[:] = [text, *others]
    return items


class Zone(datetime.tzinfo):
    """A zone that does something when it is asked for its offset, which reading a moment asks."""

    def __init__(self, act: Any) -> None:
        self.act = act

    def utcoffset(self, dt: datetime.datetime | None) -> datetime.timedelta:
        self.act()
        return datetime.timedelta(0)


def moment(act: Any) -> datetime.datetime:
    """A value whose reading does something."""
    return datetime.datetime(2000, 1, 1, tzinfo=Zone(act))
