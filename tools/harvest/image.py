"""Finds the metadata in the file of an assembly: the headers of the executable image, and the header of the CLI."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from .errors import AssemblyError
from .reader import Reader

#: The largest file that is read. Assemblies of a whole platform have a tenth of it.
LARGEST = 512 * 1024 * 1024
_CLI_DIRECTORY = 14  # the number of the data directory that tells where the CLI header is
_OPTIONAL_HEADERS = {0x10B: 96, 0x20B: 112}  # by the magic number: where the data directories begin
_CLI_HEADER = 72  # its smallest size


@dataclass(frozen=True)
class _Section:
    address: int  # in memory, from the beginning of the image
    size: int  # of what the file holds of it
    offset: int  # in the file


def read_file(path: Path) -> bytes:
    """The bytes of a file."""
    try:
        if not path.is_file():
            raise AssemblyError("there is no such file" if not path.exists() else "it is no file")
        if path.stat().st_size > LARGEST:
            raise AssemblyError(f"it is larger than {LARGEST // 1024 // 1024} MiB")
        return path.read_bytes()
    except OSError as error:
        raise AssemblyError(f"it cannot be read: {error.strerror}") from None


def _sections(headers: Reader, count: int) -> list[_Section]:
    sections = []
    for _ in range(count):
        headers.take(8)  # the name
        in_memory, address, in_file, offset = (headers.u32() for _ in range(4))
        headers.take(16)  # relocations, line numbers and characteristics
        sections.append(_Section(address, min(in_memory, in_file) or in_file, offset))
    return sections


class Image:
    """An executable image: pieces of the file by their addresses in memory."""

    def __init__(self, data: bytes) -> None:
        self._data = data
        headers = Reader(data, "the header of the image")
        if data[:2] != b"MZ":
            raise AssemblyError("it is no .NET assembly: it does not begin like an executable image")
        headers = headers.at(0x3C)
        headers = headers.at(headers.u32())
        if headers.take(4) != b"PE\0\0":
            raise AssemblyError("it is no .NET assembly: it has no header of an executable image")
        headers.take(2)  # the machine
        count = headers.u16()
        headers.take(12)
        size = headers.u16()
        headers.take(2)
        optional = headers.at(headers.position)
        self._sections = _sections(headers.at(headers.position + size), count)
        start = optional.position
        directories = _OPTIONAL_HEADERS.get(optional.u16())
        if directories is None:
            raise AssemblyError("it is no .NET assembly: its header is of no known kind")
        numbers = optional.at(start + directories - 4)
        entry = optional.at(start + directories + 8 * _CLI_DIRECTORY)
        if numbers.u32() <= _CLI_DIRECTORY:
            raise AssemblyError("it is no .NET assembly: it has no CLI header")
        address, length = entry.u32(), entry.u32()
        if address == 0:
            raise AssemblyError("it is no .NET assembly: it has no CLI header")
        self._cli = Reader(self.piece(address, max(length, _CLI_HEADER), "the CLI header"), "the CLI header")

    def piece(self, address: int, size: int, what: str) -> bytes:
        """The bytes at an address; they have to lie within one section."""
        for section in self._sections:
            start = address - section.address
            if 0 <= start and start + size <= section.size:
                return Reader(self._data, what, section.offset + start).take(size)
        raise AssemblyError(f"the file is damaged: {what} lies outside of all sections")

    def metadata(self) -> bytes:
        """The metadata of the assembly."""
        header = self._cli.at(8)  # behind the size and the version
        address, size = header.u32(), header.u32()
        return self.piece(address, size, "the metadata")
