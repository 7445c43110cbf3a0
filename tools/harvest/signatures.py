"""Signatures: the types of fields, methods and properties, as blobs hold them.

A term is the name of a type with its parts. Its text is close to C#: `System.Int32`, `Acme.Point*`, `System.Byte[]`,
`System.Collections.Generic.List<System.Int32>`, `!0` for a parameter of a generic type and `!!0` for one of a method.
"""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass

from .errors import AssemblyError
from .reader import Reader

#: The deepest nesting of types, and the most parts of one signature, that are read.
_DEEPEST = 64
_MOST_PARTS = 8192

_PRIMITIVES = {0x01: "Void", 0x02: "Boolean", 0x03: "Char", 0x04: "SByte", 0x05: "Byte", 0x06: "Int16",
               0x07: "UInt16", 0x08: "Int32", 0x09: "UInt32", 0x0A: "Int64", 0x0B: "UInt64", 0x0C: "Single",
               0x0D: "Double", 0x0E: "String", 0x16: "TypedReference", 0x18: "IntPtr", 0x19: "UIntPtr", 0x1C: "Object"}
_POINTER, _REFERENCE, _VALUE, _CLASS, _TYPE_VARIABLE, _ARRAY, _GENERIC = 0x0F, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15
_FUNCTION, _VECTOR, _METHOD_VARIABLE, _REQUIRED, _OPTIONAL, _SENTINEL, _PINNED = (
    0x1B, 0x1D, 0x1E, 0x1F, 0x20, 0x41, 0x45)
_FIELD, _PROPERTY, _HAS_THIS, _EXPLICIT_THIS, _IS_GENERIC, _KIND = 0x06, 0x08, 0x20, 0x40, 0x10, 0x0F
# By their numbers: managed, then the unmanaged ones.
_CONVENTIONS = {0: "", 1: "cdecl ", 2: "stdcall ", 3: "thiscall ", 4: "fastcall ", 5: "vararg ", 9: "unmanaged "}


@dataclass(frozen=True)
class Term:
    """A type. `kind` is how it is made of its parts: a named type has none, a pointer the type that it points to."""

    kind: str  # named, pointer, reference, vector, array, generic, variable, function
    name: str = ""
    parts: tuple[Term, ...] = ()
    is_value: bool = False  # of a named type: whether it is a structure or an enumeration
    scope: str = ""  # of a named type: the assembly that has it, empty for this one

    def __str__(self) -> str:
        if self.kind == "generic":
            return f"{self.parts[0]}<{','.join(map(str, self.parts[1:]))}>"
        if self.kind == "function":
            return f"method {self.name}{self.parts[0]}({','.join(map(str, self.parts[1:]))})"
        return f"{self.parts[0]}{self.name}" if self.parts else self.name


@dataclass(frozen=True)
class MethodSignature:
    """The types of a method or property."""

    has_this: bool
    variables: int  # how many parameters of its own a generic method has
    returned: Term
    parameters: tuple[Term, ...]

    def __str__(self) -> str:
        variables = f"<{self.variables}>" if self.variables else ""
        instance = "instance " if self.has_this else ""
        return f"{instance}{self.returned}{variables}({','.join(map(str, self.parameters))})"


def primitive(name: str) -> Term:
    """A type that signatures have a code for."""
    return Term("named", f"System.{name}", is_value=name not in ("String", "Object"))


_TERMS = {code: primitive(name) for code, name in _PRIMITIVES.items()}


class SignatureReader:
    """Reads one blob; `named` finds the term of a coded index."""

    def __init__(self, blob: bytes, named: Callable[[int, bool, int], Term], depth: int = 0) -> None:
        self._reader = Reader(blob, "a signature")
        self._named = named
        self._parts = 0
        self._depth = depth

    def method(self) -> MethodSignature:
        """The signature of a method or property."""
        first = self._reader.u8()
        if first & _KIND not in (0, 5, _PROPERTY):
            raise AssemblyError("the file is damaged: a signature is of no method or property")
        variables = self._reader.compressed() if first & _IS_GENERIC else 0
        count = self._count()
        returned = self._type(0)
        parameters = []
        for _ in range(count):
            if self._reader.left and self._reader.data[self._reader.position] == _SENTINEL:
                self._reader.u8()
            parameters.append(self._type(0))
        return MethodSignature(bool(first & _HAS_THIS), variables, returned, tuple(parameters))

    def field(self) -> Term:
        """The signature of a field."""
        if self._reader.u8() & _KIND != _FIELD:
            raise AssemblyError("the file is damaged: a signature is of no field")
        return self._type(0)

    def type(self) -> Term:
        """The type alone, as a specification has it."""
        return self._type(0)

    def _count(self) -> int:
        count = self._reader.compressed()
        if count > self._reader.left:  # a part has one byte at least
            raise AssemblyError("the file is damaged: a signature ends too early")
        return count

    def _type(self, depth: int) -> Term:
        self._parts += 1
        if depth + self._depth > _DEEPEST or self._parts > _MOST_PARTS:
            raise AssemblyError("the file is damaged: a signature is nested too deeply or too long")
        code = self._reader.u8()
        while code in (_REQUIRED, _OPTIONAL, _PINNED):  # what a runtime needs to know beside the type
            if code != _PINNED:
                self._reader.compressed()
            code = self._reader.u8()
        if code in _TERMS:
            return _TERMS[code]
        if code in (_VALUE, _CLASS):
            return self._named(self._reader.compressed(), code == _VALUE, depth + self._depth)
        if code in (_POINTER, _REFERENCE, _VECTOR):
            kind, text = {_POINTER: ("pointer", "*"), _REFERENCE: ("reference", "&"), _VECTOR: ("vector", "[]")}[code]
            return Term(kind, text, (self._type(depth + 1),))
        if code in (_TYPE_VARIABLE, _METHOD_VARIABLE):
            return Term("variable", f"{'!' if code == _TYPE_VARIABLE else '!!'}{self._reader.compressed()}")
        if code == _GENERIC:
            head = self._type(depth + 1)
            count = self._count()
            return Term("generic", "", (head, *(self._type(depth + 1) for _ in range(count))))
        if code == _ARRAY:
            return self._array(depth)
        if code == _FUNCTION:
            return self._function(depth)
        raise AssemblyError(f"the file is damaged: a signature has the unknown code {code:#x}")

    def _array(self, depth: int) -> Term:
        element = self._type(depth + 1)
        rank = self._reader.compressed()
        if rank > 32:
            raise AssemblyError("the file is damaged: an array has more than 32 dimensions")
        for read in (self._reader.compressed, self._reader.compressed_signed):  # sizes, then lower bounds
            for _ in range(self._count()):
                read()
        return Term("array", f"[{',' * (rank - 1)}]", (element,))

    def _function(self, depth: int) -> Term:
        first = self._reader.u8()
        if first & _IS_GENERIC:
            self._reader.compressed()
        count = self._count()
        convention = _CONVENTIONS.get(first & _KIND)
        if convention is None:
            raise AssemblyError("the file is damaged: a pointer to a function has no known convention")
        returned = self._type(depth + 1)
        return Term("function", convention, (returned, *(self._type(depth + 1) for _ in range(count))))
