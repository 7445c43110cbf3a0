"""A minimal user-defined file: it implements what io.RawIOBase requires, and no more."""

from __future__ import annotations

import io
import sys
from typing import Any


class OwnFile(io.RawIOBase):
    """A file over bytes. `most` limits the number of bytes that one call reads or writes."""

    def __init__(self, data: bytes = b"", most: int = sys.maxsize) -> None:
        super().__init__()
        self.memory, self.most = io.BytesIO(data), most

    def readable(self) -> bool:
        return True

    def writable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def readinto(self, buffer: Any) -> int | None:
        return self.memory.readinto(memoryview(buffer)[:self.most])

    def write(self, data: Any) -> int | None:
        return self.memory.write(memoryview(data)[:self.most])

    def seek(self, offset: int, whence: int = 0) -> int:
        return self.memory.seek(offset, whence)

    def tell(self) -> int:
        return self.memory.tell()
