"""Files that count the bytes that are read from them, and that can be endless."""

from __future__ import annotations

import io
from typing import Any


class CountingFile(io.RawIOBase):
    """A file of the given bytes, followed by an endless filler if there is one. `read_bytes` counts the bytes that
    were read."""

    def __init__(self, data: bytes, filler: bytes = b"", can_seek: bool = True) -> None:
        super().__init__()
        self.data, self.filler, self.can_seek = data, filler, can_seek
        self.at, self.read_bytes, self.reads = 0, 0, 0

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return self.can_seek

    def tell(self) -> int:
        return self.at

    def seek(self, offset: int, whence: int = 0) -> int:
        if whence == 2 and self.filler:
            raise OSError("there is no end")
        self.at = offset + (0, self.at, len(self.data))[whence]
        return self.at

    def readinto(self, buffer: Any) -> int:
        buffer = memoryview(buffer)
        wanted = len(buffer)
        given = self.data[self.at:self.at + wanted]
        if self.filler and len(given) < wanted:
            missing = wanted - len(given)
            first = (self.at + len(given) - len(self.data)) % len(self.filler)
            given += (self.filler * (missing // len(self.filler) + 2))[first:first + missing]
        buffer[:len(given)] = given
        self.at += len(given)
        self.read_bytes += len(given)
        self.reads += 1
        return len(given)
