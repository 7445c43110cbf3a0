"""The tables of the metadata, row by row. A row is a tuple of integers: what an index refers to is looked up later."""

from __future__ import annotations

import struct
from functools import cached_property

from .errors import AssemblyError
from .heaps import Heaps
from .reader import Reader
from .schema import CODED, COLUMNS, TABLES

_FORMATS = {1: "B", 2: "H", 4: "I"}
_EXTRA_DATA = 0x40  # a flag of the header: one more word stands behind the numbers of rows


def _tag_bits(tables: tuple[str, ...]) -> int:
    return (len(tables) - 1).bit_length()


class Table:
    """One table: its rows as tuples, and where each column stands in them."""

    def __init__(self, name: str, columns: dict[str, int], data: bytes, row: struct.Struct) -> None:
        self.name = name
        self.columns = columns
        self._data = data
        self._row = row

    @cached_property
    def rows(self) -> list[tuple[int, ...]]:
        """All rows; the first has the number 1 in the file."""
        return list(self._row.iter_unpack(self._data))

    def __len__(self) -> int:
        return len(self._data) // self._row.size if self._data else 0

    def column(self, name: str) -> list[int]:
        """All values of a column."""
        at = self.columns[name]
        return [row[at] for row in self.rows]


class Tables:
    """All tables of an assembly."""

    def __init__(self, heaps: Heaps) -> None:
        self.heaps = heaps
        stream = heaps.streams.get("#~", heaps.streams.get("#-"))
        if stream is None:
            raise AssemblyError("the file is damaged: the metadata has no tables")
        header = Reader(stream, "the header of the tables", 6)
        sizes = header.u8()
        header.take(1)
        valid = header.u64()
        header.take(8)  # which tables are sorted
        if valid >> len(TABLES):
            raise AssemblyError("the file is damaged: the metadata has tables that there are not")
        self._counts = {name: header.u32() if valid >> number & 1 else 0 for number, name in enumerate(TABLES)}
        if sizes & _EXTRA_DATA:
            header.take(4)
        self._heap_widths = {name: 4 if sizes >> bit & 1 else 2
                             for bit, name in enumerate(("string", "guid", "blob"))}
        self._tables: dict[str, Table] = {}
        reader = Reader(stream, "the tables", header.position)
        for name in TABLES:
            widths = {column: self._width(kind) for column, kind in COLUMNS[name]}
            row = struct.Struct("<" + "".join(_FORMATS[width] for width in widths.values()))
            data = reader.take(row.size * self._counts[name])
            self._tables[name] = Table(name, {column: at for at, column in enumerate(widths)}, data, row)

    def _width(self, kind: int | str) -> int:
        if isinstance(kind, int):
            return kind
        if kind in self._heap_widths:
            return self._heap_widths[kind]
        if kind in CODED:
            tables = CODED[kind]
            most = max(self._counts[name] for name in tables if name)
            return 2 if most < 1 << 16 - _tag_bits(tables) else 4
        return 2 if self._counts[kind] < 1 << 16 else 4

    def __getitem__(self, name: str) -> Table:
        return self._tables[name]

    def decode(self, kind: str, value: int) -> tuple[str, int]:
        """The table and the row number of a coded index; the number 0 is none."""
        tables = CODED[kind]
        bits = _tag_bits(tables)
        tag = value & (1 << bits) - 1
        if tag >= len(tables) or not tables[tag]:
            raise AssemblyError(f"the file is damaged: an index into {kind} names no table")
        return tables[tag], value >> bits

    def row(self, name: str, number: int) -> tuple[int, ...]:
        """A row by its number."""
        if not 0 < number <= len(self._tables[name]):
            raise AssemblyError(f"the file is damaged: there is no row {number} of {name}")
        return self._tables[name].rows[number - 1]

    def value(self, name: str, number: int, column: str) -> int:
        """One value of a row."""
        return self.row(name, number)[self._tables[name].columns[column]]

    def text(self, name: str, number: int, column: str = "name") -> str:
        """A name in a row."""
        return self.heaps.string(self.value(name, number, column))
