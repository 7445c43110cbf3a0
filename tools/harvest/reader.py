"""Reads integers and pieces of a byte string. A place outside of it is an error of the file, never one of Python."""

from __future__ import annotations

from .errors import AssemblyError


class Reader:
    """A position in a piece of a file; `what` names the piece in errors."""

    def __init__(self, data: bytes, what: str, position: int = 0) -> None:
        self.data = data
        self.what = what
        self.position = position

    def at(self, position: int) -> Reader:
        """Another reader of the same piece."""
        return Reader(self.data, self.what, position)

    @property
    def left(self) -> int:
        """The number of bytes behind the position."""
        return len(self.data) - self.position

    def take(self, count: int) -> bytes:
        """The next bytes."""
        if count < 0 or not 0 <= self.position <= len(self.data) - count:
            raise AssemblyError(f"the file is damaged: {self.what} ends too early")
        piece = self.data[self.position:self.position + count]
        self.position += count
        return piece

    def unsigned(self, width: int) -> int:
        """A little-endian integer of some bytes."""
        return int.from_bytes(self.take(width), "little")

    def u8(self) -> int:
        """One byte."""
        return self.unsigned(1)

    def u16(self) -> int:
        """Two bytes."""
        return self.unsigned(2)

    def u32(self) -> int:
        """Four bytes."""
        return self.unsigned(4)

    def u64(self) -> int:
        """Eight bytes."""
        return self.unsigned(8)

    def compressed(self) -> int:
        """An integer in the compressed form of blobs: one, two or four bytes by its first bits."""
        first = self.u8()
        if first < 0x80:
            return first
        if first < 0xC0:
            return (first & 0x3F) << 8 | self.u8()
        if first < 0xE0:
            return (first & 0x1F) << 24 | int.from_bytes(self.take(3), "big")
        raise AssemblyError(f"the file is damaged: {self.what} has an integer of no valid length")

    def compressed_signed(self) -> int:
        """A signed integer in the compressed form: the sign is the lowest bit, rotated there."""
        start = self.position
        value = self.compressed()
        bits = {1: 6, 2: 13, 4: 28}[self.position - start]
        return (value >> 1) - (1 << bits) if value & 1 else value >> 1
