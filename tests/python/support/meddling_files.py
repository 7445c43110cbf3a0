"""Re-entrant files: their methods run an action of the test before they do their work.

A `Trigger` is shared by all files of one attempt. It counts the calls of their methods, and runs its action once, in
the call with the chosen number.
"""

from __future__ import annotations

import threading
from collections.abc import Callable
from typing import Any

from support.own_file import OwnFile


class Trigger:
    """Runs `action` in the call number `at`, counted from 1."""

    def __init__(self, at: int = 0, in_thread: bool = False) -> None:
        self.at, self.calls, self.in_thread = at, 0, in_thread
        self.action: Callable[[], None] | None = None

    def pull(self) -> None:
        """Notes that a method of a file was called."""
        if self.action is None:
            return
        self.calls += 1
        if self.calls != self.at:
            return
        action, self.action = self.action, None
        if self.in_thread:
            other = threading.Thread(target=action)
            other.start()
            other.join()
        else:
            action()


class MeddlingFile(OwnFile):
    """A file over bytes whose methods notify the trigger before they do their work."""

    def __init__(self, trigger: Trigger, data: bytes = b"") -> None:
        super().__init__(data)
        self.trigger = trigger

    def readable(self) -> bool:
        self.trigger.pull()
        return super().readable()

    def writable(self) -> bool:
        self.trigger.pull()
        return super().writable()

    def seekable(self) -> bool:
        self.trigger.pull()
        return super().seekable()

    def readinto(self, buffer: Any) -> int | None:
        self.trigger.pull()
        return super().readinto(buffer)

    def write(self, data: Any) -> int | None:
        self.trigger.pull()
        return super().write(data)

    def seek(self, offset: int, whence: int = 0) -> int:
        self.trigger.pull()
        return super().seek(offset, whence)

    def tell(self) -> int:
        self.trigger.pull()
        return super().tell()

    def flush(self) -> None:
        self.trigger.pull()
        super().flush()
