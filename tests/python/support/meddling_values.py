"""Re-entrant values: converting them runs an action of the test in the middle of a managed call."""

from __future__ import annotations

import datetime
from typing import Any

#: The error of reading an element that its list no longer contains.
LOST = "the list lost the element while it was read"


class Text(str):
    """A text that runs an action when its class is requested, which every conversion of an element does."""

    act: Any = None

    @property
    def __class__(self) -> Any:
        if self.act is not None:
            self.act()
        return str


def emptying(items: list[Any], *others: Any) -> list[Any]:
    """Puts into the list a text that empties the list, followed by the others."""
    text = Text("text")
    text.act = items.clear
    items[:] = [text, *others]
    return items


class Zone(datetime.tzinfo):
    """A time zone that runs an action when its offset is requested, which converting a datetime does."""

    def __init__(self, act: Any) -> None:
        self.act = act

    def utcoffset(self, dt: datetime.datetime | None) -> datetime.timedelta:
        self.act()
        return datetime.timedelta(0)


def moment(act: Any) -> datetime.datetime:
    """A value whose conversion runs the action."""
    return datetime.datetime(2000, 1, 1, tzinfo=Zone(act))
