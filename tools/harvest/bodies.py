"""The types that a method's code refers to. A host's services name the type that the host is of, in full."""

from __future__ import annotations

from collections.abc import Iterator

from .errors import AssemblyError
from .metadata import Assembly
from .reader import Reader
from .signatures import SignatureReader, Term

#: The longest code that is looked at; services have a few instructions.
_LONGEST = 4096
_TYPE_REF, _TYPE_DEF, _TYPE_SPEC, _METHOD_SPEC = 0x01, 0x02, 0x1B, 0x2B

# The sizes of what stands behind an instruction, by its code; those that are not listed have nothing.
_SIZES = {
    **dict.fromkeys((*range(0x0E, 0x14), 0x1F, *range(0x2B, 0x38), 0xDE), 1),
    **dict.fromkeys((0x20, 0x22, 0x27, 0x28, 0x29, *range(0x38, 0x45), *range(0x6F, 0x76), 0x79, *range(0x7B, 0x82),
                     0x8C, 0x8D, 0x8F, 0xA3, 0xA4, 0xA5, 0xC2, 0xC6, 0xD0, 0xDD), 4),
    0x21: 8, 0x23: 8}
_SIZES_OF_LONG = {0x06: 4, 0x07: 4, **dict.fromkeys(range(0x09, 0x0F), 2), 0x12: 1, 0x15: 4, 0x16: 4, 0x19: 1, 0x1C: 4}
# Instructions with a token behind them.
_WITH_TOKEN = frozenset((0x27, 0x28, 0x6F, *range(0x70, 0x76), 0x79, *range(0x7B, 0x82), 0x8C, 0x8D, 0x8F, 0xA3, 0xA4,
                         0xA5, 0xC2, 0xC6, 0xD0)) - {0x72}
_LONG_WITH_TOKEN = frozenset((0x06, 0x07, 0x15, 0x16, 0x1C))
_SWITCH, _LONG = 0x45, 0xFE


def _tokens(code: Reader) -> Iterator[int]:
    while code.left:
        operation = code.u8()
        sizes, with_token = _SIZES, _WITH_TOKEN
        if operation == _LONG:
            operation, sizes, with_token = code.u8(), _SIZES_OF_LONG, _LONG_WITH_TOKEN
        elif operation == _SWITCH:
            code.take(4 * code.u32())
            continue
        if operation in with_token:
            yield code.u32()
        else:
            code.take(sizes.get(operation, 0))


def _named_in(term: Term) -> Iterator[str]:
    if term.kind == "named":
        yield term.name
    for part in term.parts:
        yield from _named_in(part)


def _of_token(assembly: Assembly, token: int) -> Iterator[str]:
    table, number = token >> 24, token & 0xFFFFFF
    tags = {_TYPE_DEF: 0, _TYPE_REF: 1, _TYPE_SPEC: 2}
    if table in tags:
        yield from _named_in(assembly.named(number << 2 | tags[table], False, 0))
    elif table == _METHOD_SPEC:
        blob = Reader(assembly.tables.heaps.blob(assembly.tables.value("MethodSpec", number, "instantiation")),
                      "an instantiation")
        if blob.u8() == 0x0A:
            count = blob.compressed()
            if count <= 16:
                reader = SignatureReader(blob.take(blob.left), assembly.named)
                for _ in range(count):
                    yield from _named_in(reader.type())


def types_named_in(assembly: Assembly, method: int) -> set[str]:
    """The full names of the types that the code of a method names; none where it has no code that can be read."""
    address = assembly.tables.value("MethodDef", method, "rva")
    if address == 0:
        return set()
    try:
        first = assembly.image.piece(address, 1, "the code of a method")[0]
        if first & 3 == 2:  # a short header: the size stands in it
            code = assembly.image.piece(address + 1, first >> 2, "the code of a method")
        else:
            header = Reader(assembly.image.piece(address, 12, "the code of a method"), "the header of a method", 4)
            size = header.u32()
            if size > _LONGEST:
                return set()
            code = assembly.image.piece(address + 12, size, "the code of a method")
        return {name for token in _tokens(Reader(code, "the code of a method"))
                for name in _of_token(assembly, token)}
    except AssemblyError:
        return set()  # evidence only: the metadata stands without it
