"""Assemblies that others made: other forms of the same wire, and what is no line of a catalogue."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load

from .assembly_writer import MethodRow, TypeRow
from .conftest import Alter, run, substitute, texts
from .model_writer import CORE, RECORDS, write_assemblies

Change = Callable[[list[TypeRow]], None]


def _words(change: Callable[[str], str]) -> Change:
    """Changes all machine types."""

    def run_over(types: list[TypeRow]) -> None:
        for entry in types:
            for method in entry.methods:
                method.returned = change(method.returned)
                method.arguments = [(change(word), name) for word, name in method.arguments]

    return run_over


def _host(types: list[TypeRow], prefix: str) -> TypeRow:
    return next(entry for entry in types if entry.name.startswith(f"WrpCs_{prefix}_"))


def _method(types: list[TypeRow], prefix: str, name: str) -> MethodRow:
    return next(method for method in _host(types, prefix).methods if method.name == name)


def _found(catalogue: Path, tmp_path: Path, change: Change, library: bool = True,
           structures: frozenset[str] = frozenset()) -> list[str]:
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly", library, change, structures)
    return texts(run(assembly, catalogue, tmp_path))


@pytest.mark.parametrize("change", [
    lambda word: "nint" if word.endswith("*") else word,  # addresses that tell nothing
    lambda word: "void*" if word.endswith("*") or word == "nint" else word,
    lambda word: f"ref {word[:-1]}" if word.endswith("*") else word,  # references in the place of pointers
    lambda word: word.replace("nint", "nuint"),
])
def test_the_same_wire_in_other_words(catalogue: Path, tmp_path: Path, change: Callable[[str], str]) -> None:
    assert _found(catalogue, tmp_path, _words(change)) == []


def test_records_are_known_by_their_places(catalogue: Path, tmp_path: Path) -> None:
    names = {f"{CORE}.{name}": f"Maker.Wire.R{number}" for number, name in enumerate(RECORDS)}

    def change(word: str) -> str:
        plain = word.rstrip("*")
        return names.get(plain, plain) + word[len(plain):]

    assert _found(catalogue, tmp_path, _words(change), structures=frozenset(names.values())) == []


def test_a_record_in_the_place_of_another_is_a_difference(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        _method(types, "Picture", "set_Name").arguments[1] = (f"{CORE}.PyBytesArg*", "value")

    found = _found(catalogue, tmp_path, change, library=False)
    assert found == ["WRITTEN Acme.Pictures.Picture.Name: the type is bytes instead of string"]


def test_services_that_are_not_there(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        exchange = next(entry for entry in types if entry.name == "ExchangeHost")
        exchange.methods = [method for method in exchange.methods if method.name != "BoxStcTarget"]
        types.remove(next(entry for entry in types if entry.name == "SiApiStream"))
        types.remove(next(entry for entry in types if entry.name == "SiApiEnumerator_11111111"))
        part = _host(types, "Part")
        part.methods = [method for method in part.methods if method.name != "btp_CastAs"]

    assert _found(catalogue, tmp_path, change) == [
        "LACKING Acme.Pictures.Parts.Part: there is no SiApiEnumerator of it; using one raises TypeError",
        "OPEN Zelmor.WrpGen.Interop.SiApiStream: the assembly lacks this class, and no module can use it",
        "OPEN Zelmor.WrpGen.Interop.ExchangeHost.BoxStcTarget: the assembly lacks this entry point",
        "OPEN Acme.Pictures.Parts.Part.btp_CastAs: the assembly lacks this service, and the type cannot be used"]


def test_another_kind_of_type_is_left_to_a_person(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        for name, at in (("btp_CastAs", 0), ("btp_IsAssignable", 0)):
            method = _method(types, "Part", name)
            method.arguments[at] = (f"{CORE}.VariantArg*", method.arguments[at][1])

    found = _found(catalogue, tmp_path, change)
    assert "OPEN Acme.Pictures.Parts.Part: it is of the kind 'struct' instead of 'class'" in found


def test_a_type_that_converts_itself(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        row = MethodRow("btp_CastFrom", "int", [("nint", "handle"), ("nint", "type"), ("nint*", "result")])
        _host(types, "Size").methods.insert(-3, row)

    assert _found(catalogue, tmp_path, change) == [
        "WRITTEN Acme.Pictures.Size: it converts itself to other types"]
    assert "struct Size converts\n" in (catalogue / "Acme.Pictures.cat").read_text()


def test_another_order_changes_nothing(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        methods = _host(types, "Picture").methods
        at = next(number for number, method in enumerate(methods) if method.name == "get_Mode")
        methods[at:at + 2] = reversed(methods[at:at + 2])

    assert _found(catalogue, tmp_path, change) == [
        "NOTED Acme.Pictures.Picture: the order is another: set_Mode stands in the place of get_Mode"]


def test_numbers_that_leave_one_out(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        _method(types, "Picture", "ctor_001_Picture").name = "ctor_002_Picture"

    assert _found(catalogue, tmp_path, change) == [
        "OPEN Acme.Pictures.Picture.Picture: its overloads are numbered 0, 2, which leaves some out"]


def test_an_overload_in_the_middle_that_nothing_tells(catalogue: Path, tmp_path: Path) -> None:
    before = (catalogue / "Acme.Pictures.cat").read_text()

    def change(types: list[TypeRow]) -> None:
        methods = _host(types, "Picture").methods
        _method(types, "Picture", "ctor_001_Picture").name = "ctor_002_Picture"
        methods.insert(1, MethodRow("ctor_001_Picture", "nint", [("nint", "a"), ("nint", "b"), ("nint", "c")]))

    assert _found(catalogue, tmp_path, change, library=False) == [
        "OPEN Acme.Pictures.Picture.ctor_001_Picture: the assembly passes (nint, nint, nint) -> nint, which does not "
        "tell the types; the overloads behind it have other numbers"]
    assert (catalogue / "Acme.Pictures.cat").read_text() == before


def test_members_of_unknown_types_are_listed(catalogue: Path, tmp_path: Path) -> None:
    def change(types: list[TypeRow]) -> None:
        part = _host(types, "Part").methods
        part[:0] = [MethodRow("call_000_Turn", "void", [("nint", "handle"), ("double", "angle")]),
                    MethodRow("get_Outer", "nint", [("nint", "handle")])]

    assert _found(catalogue, tmp_path, change, library=False)[:2] == [
        "EXTRA Acme.Pictures.Parts.Part.call_000_Turn: (nint, double) -> void, which does not tell the types",
        "EXTRA Acme.Pictures.Parts.Part.get_Outer: (nint) -> nint, which does not tell the type"]


def test_another_name_of_the_assembly(catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> None:
    other = altered(lambda directory: substitute(directory, "modules.tab", ("WrpInterop.Acme", "Interop.Other")))
    found = texts(run(write_assemblies(load(other), tmp_path / "assembly"), catalogue, tmp_path))
    assert found == ["WRITTEN modules.tab: the assembly is Interop.Other instead of WrpInterop.Acme"]
    assert "\nassembly Interop.Other\n" in (catalogue / "modules.tab").read_text()


def test_without_code_types_are_told_apart_by_their_members(
        catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> None:
    """Two names begin with the same eight letters, and all identifiers are others."""

    def alter(directory: Path) -> None:
        path = directory / "identifiers.tab"
        rows = [line.split() for line in path.read_text().splitlines() if not line.startswith("#")]
        path.write_text("".join(f"{row[0]} {row[1]} {number:08X}\n" for number, row in enumerate(rows, 0x2000)))

    substitute(catalogue, "Acme.Pictures.Parts.cat", ("get count Count int64", "get total Total int64"))

    def change(types: list[TypeRow]) -> None:
        for entry in types:
            for method in entry.methods:
                method.names_type = ""

    other = altered(alter)
    assembly = write_assemblies(load(other), tmp_path / "assembly", False, change)
    found = texts(run(assembly, catalogue, tmp_path))
    wanted = load(other)
    assert {entry.full_name: entry.managed_identifier for entry in load(catalogue).types} == {
        entry.full_name: entry.managed_identifier for entry in wanted.types}
    assert sum("the identifier on the managed side" in text for text in found) == len(wanted.types)
