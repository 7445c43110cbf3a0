"""The root of the metadata and its heaps: text, blobs and GUIDs that the tables refer to by offset or number."""

from __future__ import annotations

import uuid

from .errors import AssemblyError
from .reader import Reader

_SIGNATURE = 0x424A5342
_MOST_STREAMS = 64
#: The longest name that is read, in bytes. Runtimes refuse names of 1,024 bytes and more.
LONGEST_NAME = 1023


class Heaps:
    """The streams of the metadata by their names."""

    def __init__(self, metadata: bytes) -> None:
        root = Reader(metadata, "the metadata root")
        if root.u32() != _SIGNATURE:
            raise AssemblyError("the file is damaged: the metadata root has no signature")
        root.take(8)  # versions of the format, and a reserved word
        self.version = root.take(root.u32()).split(b"\0")[0].decode("utf-8", "replace")
        root.take(2)
        count = root.u16()
        if count > _MOST_STREAMS:
            raise AssemblyError(f"the file is damaged: the metadata has {count} streams")
        self.streams: dict[str, bytes] = {}
        for _ in range(count):
            offset, size = root.u32(), root.u32()
            name = b""
            while not name.endswith(b"\0"):  # padded to a multiple of four bytes
                name += root.take(4)
                if len(name) > 32:
                    raise AssemblyError("the file is damaged: the name of a stream does not end")
            found = name.split(b"\0")[0].decode("ascii", "replace")
            self.streams.setdefault(found, Reader(metadata, f"the stream {found}", offset).take(size))
        self._strings = self.streams.get("#Strings", b"")
        self._blobs = self.streams.get("#Blob", b"")
        self._guids = self.streams.get("#GUID", b"")

    def string(self, offset: int) -> str:
        """A name."""
        if offset == 0:
            return ""
        if offset >= len(self._strings):
            raise AssemblyError("the file is damaged: a name lies outside of #Strings")
        end = self._strings.find(b"\0", offset, offset + LONGEST_NAME + 1)
        if end < 0:
            raise AssemblyError("the file is damaged: a name has no end")
        try:
            return self._strings[offset:end].decode("utf-8")
        except UnicodeDecodeError:
            raise AssemblyError("the file is damaged: a name is no text") from None

    def blob(self, offset: int) -> bytes:
        """The bytes of a blob."""
        if offset == 0 and not self._blobs:
            return b""
        reader = Reader(self._blobs, "#Blob", offset)
        return reader.take(reader.compressed())

    def guid(self, number: int) -> uuid.UUID | None:
        """A GUID; the first has the number 1, and 0 is none."""
        if number == 0:
            return None
        return uuid.UUID(bytes_le=Reader(self._guids, "#GUID", 16 * (number - 1)).take(16))
