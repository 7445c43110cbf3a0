"""The machine type of an argument in an interop assembly, and whether a slot of the catalogue's wire fits it.

Several slots fit one machine type: a byte holds a number or a truth value, an integer of the width of a pointer holds
any handle. A slot contradicts the assembly only where the machine passes something else.
"""

from __future__ import annotations

from collections import Counter, defaultdict
from collections.abc import Callable, Iterable
from dataclasses import dataclass

from tools.generator.wires import Form, Passing, Slot
from tools.generator.writers.csharp.words import slot_type

from .signatures import Term

# The machine types of the primitives of .NET; C# names them.
_WORDS = {"Void": "void", "Boolean": "bool", "Char": "char", "SByte": "sbyte", "Byte": "byte", "Int16": "short",
          "UInt16": "ushort", "Int32": "int", "UInt32": "uint", "Int64": "long", "UInt64": "ulong", "Single": "float",
          "Double": "double", "IntPtr": "nint", "UIntPtr": "nint"}
PRIMITIVES = {f"System.{name}": word for name, word in _WORDS.items()}

# The words that fit a form, as a value or behind a pointer.
_FITTING = {
    Form.NOTHING: ("void",), Form.BOOL: ("byte", "bool"), Form.INT8: ("sbyte",), Form.UINT8: ("byte",),
    Form.INT16: ("short",), Form.UINT16: ("ushort", "char"), Form.INT32: ("int",), Form.UINT32: ("uint",),
    Form.INT64: ("long",), Form.UINT64: ("ulong",), Form.SINGLE: ("float",), Form.DOUBLE: ("double",),
    Form.HANDLE: ("nint",), Form.OBJECT: ("nint",), Form.DATE: ("long", "ulong"), Form.DECIMAL: ("uint", "int"),
    Form.UUID: ("byte", "sbyte", "Guid")}


@dataclass(frozen=True)
class Machine:
    """A machine type: a word, or a pointer to one. A record's word is its name without the namespace."""

    word: str
    is_pointer: bool = False
    is_record: bool = False

    def __str__(self) -> str:
        return f"{self.word}{'*' if self.is_pointer else ''}"

    @property
    def is_address(self) -> bool:
        """Whether it is as wide as an address and says nothing of what is there."""
        return not self.is_pointer and self.word == "nint"


ADDRESS = Machine("nint")


def machine_of(term: Term, underlying: Callable[[str], str | None]) -> Machine:
    """The machine type of a term; `underlying` finds the integer of an enumeration by its name."""
    if term.kind in ("pointer", "reference"):
        inner = machine_of(term.parts[0], underlying)
        # What a pointer to nothing or to a pointer leads to is not told.
        if inner.word == "void":
            return ADDRESS
        if inner.is_pointer:
            return Machine("nint", is_pointer=True)
        return Machine(inner.word, is_pointer=True, is_record=inner.is_record)
    if term.kind == "function":
        return ADDRESS
    if term.name in PRIMITIVES and not term.parts:
        return Machine(PRIMITIVES[term.name])
    if term.kind == "named" and term.is_value:
        integer = underlying(term.name)
        if integer is not None:
            return Machine(integer)
        return Machine(term.name.rpartition(".")[2], is_record=True)
    return Machine(str(term))  # a type that only a marshaller passes


class Records:
    """Which structure of the assembly is which record of the wire.

    The layouts of the records are fixed and their names are not. A structure with another name than the record's own
    is the record in the place of which the assembly has it most often.
    """

    def __init__(self) -> None:
        self._own = {slot_type(Slot(form)): form for form in (
            Form.TEXT, Form.BYTES, Form.VARIANT, Form.INSTANCE, Form.COLLECTION)}
        self._seen: dict[str, Counter[str]] = defaultdict(Counter)
        self._names: dict[str, str] = {}

    def learn(self, pairs: Iterable[tuple[Slot, Machine]]) -> None:
        """Counts the structures that stand where the catalogue has records."""
        for slot, machine in pairs:
            name = slot_type(slot).rstrip("*")
            if machine.is_record and slot.form in (*self._own.values(), Form.RECORD):
                self._seen[machine.word][name] += 1
        wire = {*self._own, "ShlPointFObject", "ShlColorObject"}
        self._names = {word: word if word in wire else counts.most_common(1)[0][0]
                       for word, counts in self._seen.items()}

    def record(self, word: str) -> str:
        """The record that a structure is."""
        return self._names.get(word, word)

    def fits(self, slot: Slot, machine: Machine) -> bool:
        """Whether a slot passes what the assembly takes."""
        is_pointer = slot.passing is not Passing.VALUE
        if is_pointer and machine.is_address:
            return True
        if slot.form in _FITTING:
            return machine.is_pointer == is_pointer and machine.word in _FITTING[slot.form]
        name = slot_type(slot).rstrip("*")
        return machine.is_record and machine.is_pointer == is_pointer and self.record(machine.word) == name
