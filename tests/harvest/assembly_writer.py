"""Writes assemblies for tests: metadata of a few tables in the smallest image that holds it, without a compiler.

It knows nothing of the reader, and lays tables out by the numbers of the standard.
"""

from __future__ import annotations

import struct
from dataclasses import dataclass, field
from pathlib import Path

PUBLIC_STATIC, PUBLIC_INSTANCE, STATIC_FIELD = 0x0096, 0x0086, 0x8056
CODES = {"void": 0x01, "bool": 0x02, "char": 0x03, "sbyte": 0x04, "byte": 0x05, "short": 0x06, "ushort": 0x07,
         "int": 0x08, "uint": 0x09, "long": 0x0A, "ulong": 0x0B, "float": 0x0C, "double": 0x0D, "string": 0x0E,
         "nint": 0x18, "nuint": 0x19, "object": 0x1C}


def compressed(value: int) -> bytes:
    """An integer as blobs have it."""
    if value < 0x80:
        return bytes([value])
    if value < 0x4000:
        return (value | 0x8000).to_bytes(2, "big")
    return (value | 0xC0000000).to_bytes(4, "big")


@dataclass
class MethodRow:
    """A method: types are words such as `int`, `VariantArg*` or `Acme.Pictures.Mode`."""

    name: str
    returned: str
    arguments: list[tuple[str, str]]  # type and name
    static: bool = True
    names_type: str = ""  # the type that its code loads the token of
    attributes: tuple[str, ...] = ()


@dataclass
class TypeRow:
    """A type; `values` makes it an enumeration, with the underlying integer as `base`."""

    namespace: str
    name: str
    methods: list[MethodRow] = field(default_factory=list)
    fields: list[tuple[str, str]] = field(default_factory=list)  # type and name
    properties: list[tuple[str, str]] = field(default_factory=list)  # type and name; the getter is a method get_<name>
    values: list[tuple[str, int]] | None = None
    base: str = ""
    is_value: bool = False
    attributes: tuple[str, ...] = ()

    @property
    def full_name(self) -> str:
        """The name with its namespace."""
        return f"{self.namespace}.{self.name}"


class _Heap:
    """A heap with each piece once."""

    def __init__(self) -> None:
        self.data = bytearray(b"\0")
        self._at: dict[bytes, int] = {b"": 0}

    def add(self, piece: bytes) -> int:
        """The offset of a piece."""
        if piece not in self._at:
            self._at[piece] = len(self.data)
            self.data += piece
        return self._at[piece]


class AssemblyWriter:
    """Collects the rows of one assembly. Indexes have two bytes: the assemblies are small."""

    def __init__(self, name: str, types: list[TypeRow], values: frozenset[str] = frozenset(),
                 references: dict[str, str] | None = None) -> None:
        self._name = name
        self._types = types
        self._own = {entry.full_name: number for number, entry in enumerate(types, 2)}
        self._values = values  # the names of types elsewhere that are structures or enumerations
        self._scopes = references or {}  # the assembly of each type that is not here, by name or namespace
        self._strings, self._blobs = _Heap(), _Heap()
        self._assemblies: list[str] = []
        self._refs: list[str] = []
        self._specs: list[bytes] = []
        self._code = bytearray()
        self._constants: list[tuple[int, int, int]] = []
        self._attributes: list[tuple[int, str]] = []
        self._members: list[str] = []

    # -- types ------------------------------------------------------------------------------------------------------

    def _scope(self, name: str) -> int:
        home = self._scopes.get(name, self._scopes.get(name.rpartition(".")[0], "System.Runtime"))
        if home not in self._assemblies:
            self._assemblies.append(home)
        return self._assemblies.index(home) + 1

    def _coded(self, name: str) -> int:
        if name in self._own:
            return self._own[name] << 2
        if name not in self._refs:
            self._refs.append(name)
            self._scope(name)
        return (self._refs.index(name) + 1) << 2 | 1

    def _type(self, word: str) -> bytes:
        if word.startswith("ref "):
            return b"\x10" + self._type(word[4:])
        if word.endswith("*"):
            return b"\x0f" + self._type(word[:-1])
        if word.endswith("[]"):
            return b"\x1d" + self._type(word[:-2])
        if word in CODES:
            return bytes([CODES[word]])
        if word.endswith(">"):
            head, _, inner = word[:-1].partition("<")
            is_value = head == "System.Nullable"
            return b"\x15" + bytes([0x11 if is_value else 0x12]) + compressed(
                self._coded(f"{head}`1")) + b"\x01" + self._type(inner)
        is_value = word in self._values or any(
            entry.full_name == word and (entry.is_value or entry.values is not None) for entry in self._types)
        return bytes([0x11 if is_value else 0x12]) + compressed(self._coded(word))

    def _blob(self, data: bytes) -> int:
        return self._blobs.add(compressed(len(data)) + data) if data else 0

    def _text(self, text: str) -> int:
        return self._strings.add(text.encode() + b"\0") if text else 0

    def _body(self, named: str) -> int:
        """The offset of code that loads the token of a type."""
        coded = self._coded(named)
        token = (0x02000000 if coded & 3 == 0 else 0x01000000) | coded >> 2
        while len(self._code) % 4:
            self._code.append(0)
        at = len(self._code)
        code = b"\xd0" + struct.pack("<I", token) + b"\x26\x2a"
        self._code += bytes([len(code) << 2 | 2]) + code
        return at + 1

    def _attribute(self, parent: int, name: str) -> None:
        self._coded(name)
        if name not in self._members:
            self._members.append(name)
        self._attributes.append((parent, name))

    # -- tables -----------------------------------------------------------------------------------------------------

    def _rows(self, code_address: int) -> dict[int, list[bytes]]:
        tables: dict[int, list[bytes]] = {number: [] for number in range(0x2D)}
        tables[0x00].append(struct.pack("<HHHHH", 0, self._text(f"{self._name}.dll"), 1, 0, 0))
        tables[0x02].append(struct.pack("<IHHHHH", 0, self._text("<Module>"), 0, 0, 1, 1))
        semantics: list[tuple[int, int, int]] = []
        for number, entry in enumerate(self._types, 2):
            base = self._coded("System.Enum" if entry.values is not None else "System.ValueType" if entry.is_value
                               else entry.base or "System.Object")
            flags = 0x00100001 | (0x100 if entry.values is not None else 0)
            tables[0x02].append(struct.pack("<IHHHHH", flags, self._text(entry.name), self._text(entry.namespace), base,
                                            len(tables[0x04]) + 1, len(tables[0x06]) + 1))
            for name in entry.attributes:
                self._attribute(number << 5 | 3, name)
            self._fields(tables, entry)
            at: dict[str, int] = {}
            for method in entry.methods:
                at[method.name] = self._method(tables, method, code_address)
            if entry.properties:
                tables[0x15].append(struct.pack("<HH", number, len(tables[0x17]) + 1))
            for word, name in entry.properties:
                signature = self._blob(b"\x28\x00" + self._type(word))
                tables[0x17].append(struct.pack("<HHH", 0, self._text(name), signature))
                for bit, prefix in ((2, "get_"), (1, "set_")):
                    if prefix + name in at:
                        semantics.append((bit, at[prefix + name], len(tables[0x17]) << 1 | 1))
        tables[0x0B] = [struct.pack("<BBHH", kind, 0, parent, value) for kind, parent, value in self._constants]
        tables[0x18] = [struct.pack("<HHH", *row) for row in semantics]
        for name in self._members:
            reference = (self._coded(name) >> 2) << 3 | 1
            tables[0x0A].append(struct.pack("<HHH", reference, self._text(".ctor"), self._blob(b"\x20\x00\x01")))
        for parent, name in sorted(self._attributes):
            kind = (self._members.index(name) + 1) << 3 | 3
            tables[0x0C].append(struct.pack("<HHH", parent, kind, self._blob(b"\x01\x00\x00\x00")))
        for name in self._refs:
            namespace, _, simple = name.rpartition(".")
            tables[0x01].append(struct.pack("<HHH", self._scope(name) << 2 | 2, self._text(simple),
                                            self._text(namespace)))
        tables[0x20].append(struct.pack("<IHHHHIHHH", 0x8004, 1, 0, 0, 0, 0, 0, self._text(self._name), 0))
        tables[0x23] = [struct.pack("<HHHHIHHHH", 8, 0, 0, 0, 0, 0, self._text(name), 0, 0)
                        for name in self._assemblies]
        return tables

    def _fields(self, tables: dict[int, list[bytes]], entry: TypeRow) -> None:
        rows = tables[0x04]
        if entry.values is not None:
            signature = self._blob(b"\x06" + self._type(entry.base))
            rows.append(struct.pack("<HHH", 0x0606, self._text("value__"), signature))
            form = {"byte": "<B", "sbyte": "<b", "short": "<h", "ushort": "<H", "int": "<i", "uint": "<I",
                    "long": "<q", "ulong": "<Q"}[entry.base]
            for name, value in entry.values:
                rows.append(struct.pack("<HHH", STATIC_FIELD, self._text(name),
                                        self._blob(b"\x06" + self._type(entry.full_name))))
                self._constants.append((CODES[entry.base], len(rows) << 2, self._blob(struct.pack(form, value))))
        for word, name in entry.fields:
            rows.append(struct.pack("<HHH", 0x0006, self._text(name), self._blob(b"\x06" + self._type(word))))

    def _method(self, tables: dict[int, list[bytes]], method: MethodRow, code_address: int) -> int:
        first = 0x00 if method.static else 0x20
        signature = bytes([first]) + compressed(len(method.arguments)) + self._type(method.returned)
        signature += b"".join(self._type(word) for word, _ in method.arguments)
        address = code_address + self._body(method.names_type) - 1 if method.names_type else 0
        tables[0x06].append(struct.pack("<IHHHHH", address, 0, PUBLIC_STATIC if method.static else PUBLIC_INSTANCE,
                                        self._text(method.name), self._blob(signature), len(tables[0x08]) + 1))
        for number, (_, name) in enumerate(method.arguments, 1):
            tables[0x08].append(struct.pack("<HHH", 0, number, self._text(name)))
        for name in method.attributes:
            self._attribute(len(tables[0x06]) << 5, name)
        return len(tables[0x06])

    def metadata(self, code_address: int) -> bytes:
        """The metadata root with its streams."""
        tables = self._rows(code_address)
        present = [number for number, rows in tables.items() if rows]
        stream = struct.pack("<IBBBBQQ", 0, 2, 0, 0, 1, sum(1 << number for number in present), 0)
        stream += b"".join(struct.pack("<I", len(tables[number])) for number in present)
        stream += b"".join(row for number in present for row in tables[number])
        streams = [(b"#~\0\0", stream), (b"#Strings\0\0\0\0", bytes(self._strings.data)),
                   (b"#Blob\0\0\0", bytes(self._blobs.data)), (b"#GUID\0\0\0", bytes(range(16)))]
        version = b"v4.0.30319\0\0"
        header = struct.pack("<IHHII", 0x424A5342, 1, 1, 0, len(version)) + version
        header += struct.pack("<HH", 0, len(streams))
        offset = len(header) + sum(8 + len(name) for name, _ in streams)
        body = b""
        for name, data in streams:
            data += bytes(-len(data) % 4)
            header += struct.pack("<II", offset + len(body), len(data)) + name
            body += data
        return header + body

    def image(self) -> bytes:
        """The whole file: one section with the CLI header, the code, and the metadata."""
        address, offset = 0x2000, 0x200
        AssemblyWriter.metadata(self, 0)  # collects the code
        room = len(self._code) + -len(self._code) % 4 + 64
        fresh = AssemblyWriter(self._name, self._types, self._values, self._scopes)
        metadata = fresh.metadata(address + 72)
        code = bytes(fresh._code) + bytes(room - len(fresh._code))
        cli = struct.pack("<IHHIIII", 72, 2, 5, address + 72 + room, len(metadata), 1, 0) + bytes(48)
        section = cli + code + metadata
        dos = b"MZ" + bytes(58) + struct.pack("<I", 0x80) + bytes(64)
        directories = bytearray(16 * 8)
        struct.pack_into("<II", directories, 14 * 8, address, 72)
        optional = struct.pack("<H", 0x10B) + bytes(90) + struct.pack("<I", 16) + bytes(directories)
        coff = struct.pack("<HHIIIHH", 0x14C, 1, 0, 0, 0, len(optional), 0x2102)
        table = struct.pack("<8sIIII", b".text", len(section), address, len(section), offset) + bytes(16)
        head = dos + b"PE\0\0" + coff + optional + table
        return head + bytes(offset - len(head)) + section

    def write(self, directory: Path) -> Path:
        """The file in a directory, under the assembly's name."""
        path = directory / f"{self._name}.dll"
        path.write_bytes(self.image())
        return path
