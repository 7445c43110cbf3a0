"""What the harvest of an altered assembly lists, and that the catalogue is that of the assembly afterwards."""

from __future__ import annotations

import shutil
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.build_dotnet import ROOT
from tools.generator.builder import load
from tools.harvest.collection_changes import ELEMENTS, CollectionChanges

from .conftest import Alter, run, substitute, texts
from .model_writer import write_assemblies

Harvested = Callable[..., list[str]]


def _same(catalogue: Path, tmp_path: Path, *names: str) -> None:
    """The files of the changed catalogue are those of the altered one."""
    for name in names or ("Acme.Pictures.cat", "Acme.Pictures.Parts.cat", "identifiers.tab", "collections.tab",
                          "modules.tab"):
        assert (catalogue / name).read_text() == (tmp_path / "altered" / name).read_text()
    load(catalogue)  # it holds together, with what is pinned and counted


def _pictures(*pairs: tuple[str, str]) -> Alter:
    return lambda directory: substitute(directory, "Acme.Pictures.cat", *pairs)


@pytest.mark.parametrize("library", [True, False])
def test_on_its_own_assembly_there_is_no_difference(harvested: Harvested, catalogue: Path, library: bool) -> None:
    before = {path.name: path.read_bytes() for path in catalogue.iterdir()}
    assert harvested(lambda directory: None, library) == []
    assert {path.name: path.read_bytes() for path in catalogue.iterdir()} == before


@pytest.mark.parametrize("library", [True, False])
def test_another_identifier(harvested: Harvested, catalogue: Path, tmp_path: Path, library: bool) -> None:
    old = load(catalogue)
    size = next(entry for entry in old.types if entry.name == "Size")
    found = harvested(lambda directory: substitute(
        directory, "identifiers.tab", (size.managed_identifier, "0BADCAFE")), library)
    assert found[0] == (f"WRITTEN Acme.Pictures.Size: the identifier on the managed side is 0BADCAFE instead of "
                        f"{size.managed_identifier}")
    assert found[1].startswith("WRITTEN pinned.tab: 'host Acme.Pictures.Size WrpNs_Acme.WrpNs_Pictures.WrpCs_Size_0BAD")
    assert len(found) == 2
    _same(catalogue, tmp_path)


def test_all_identifiers_are_others(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    """The names that the code tells pair types whose first eight letters are the same."""

    def alter(directory: Path) -> None:
        path = directory / "identifiers.tab"
        rows = [line.split() for line in path.read_text().splitlines() if not line.startswith("#")]
        width = max(len(row[0]) for row in rows)
        head = [line for line in path.read_text().splitlines() if line.startswith("#")]
        path.write_text("\n".join([*head, *(f"{row[0]:<{width}} {row[1]} {number:08X}"
                                            for number, row in enumerate(rows, 0x1000))]) + "\n")
        part = next(number for number, row in enumerate(rows, 0x1000) if row[0].endswith(".Part"))
        substitute(directory, "collections.tab", ("11111111", f"{part:08X}"))

    found = harvested(alter)
    assert sum("the identifier on the managed side" in text for text in found) == 11
    assert sum("the identifier of the element" in text for text in found) == 1
    _same(catalogue, tmp_path)


def test_a_renamed_class(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    def alter(directory: Path) -> None:
        substitute(directory, "Acme.Pictures.cat", ("class Picture ", "class Drawing "), ("-> Picture", "-> Drawing"))
        substitute(directory, "identifiers.tab", ("Acme.Pictures.Picture ", "Acme.Pictures.Drawing "))

    found = harvested(alter)
    assert found == ["WRITTEN Acme.Pictures.Picture: the name is Drawing instead of Picture"]
    _same(catalogue, tmp_path)
    assert "\nDrawing: What is seen.\n" in (catalogue / "Acme.Pictures.doc").read_text()


def test_a_renamed_class_that_others_refer_to(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    def alter(directory: Path) -> None:
        substitute(directory, "Acme.Pictures.cat", ("Part[]", "Piece[]"), ("First Part", "First Piece"))
        substitute(directory, "Acme.Pictures.Parts.cat", ("class Part\n", "class Piece\n"))
        substitute(directory, "identifiers.tab", ("Acme.Pictures.Parts.Part  ", "Acme.Pictures.Parts.Piece "))
        substitute(directory, "collections.tab", (".Part ", ".Piece "))

    assert harvested(alter) == ["WRITTEN Acme.Pictures.Parts.Part: the name is Piece instead of Part"]
    _same(catalogue, tmp_path)


@pytest.mark.parametrize("library", [True, False])
def test_another_width_of_an_enumeration(harvested: Harvested, catalogue: Path, tmp_path: Path, library: bool) -> None:
    found = harvested(_pictures(("Kind : int16", "Kind : uint32")), library)
    assert found == ["WRITTEN Acme.Pictures.Kind: the values are uint32 instead of int16"]
    _same(catalogue, tmp_path)


def test_other_values_of_an_enumeration(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    found = harvested(_pictures(("enum flags Mode", "enum Mode"), ("GOOD_2X 0x10", "GOOD_2X 0x11"),
                                ("SECOND_KIND 4", "OTHER_KIND 4")))
    assert found == [
        "WRITTEN Acme.Pictures.Mode: it is none of flags",
        "WRITTEN Acme.Pictures.Mode.GOOD_2X: the value is 17 instead of 16",
        "LACKING Acme.Pictures.Kind.SECOND_KIND: there is no such value; it stays in the catalogue",
        "EXTRA Acme.Pictures.Kind.OtherKind: a value, 4"]
    assert "enum Mode : uint8\n    FAST 1\n    GOOD_2X 0x11\n" in (catalogue / "Acme.Pictures.cat").read_text()


def test_a_member_less(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    found = harvested(_pictures(("    get price Price decimal\n", ""),
                                ("    static_getset limit Limit int32\n", "    static_get limit Limit int32\n"),
                                ("    ctor (width: int32, mode: Mode)\n", "")))
    assert found[:3] == [
        "LACKING Acme.Pictures.Picture.Picture: there is no overload (width: int32, mode: Mode); the line is removed",
        "LACKING Acme.Pictures.Picture.Price: there is no get_Price; the line is removed",
        "LACKING Acme.Pictures.Picture.Limit: there is no setter; it is read-only now"]
    assert [text.partition(":")[0] for text in found[3:]] == ["WRITTEN pinned.tab", "WRITTEN totals.tab"]
    _same(catalogue, tmp_path)
    text = (catalogue / "Acme.Pictures.doc").read_text()
    assert "price" not in text and "    -> The cut.\n  mode: How it is made.\n" in text


def test_a_member_more(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    found = harvested(_pictures(
        ("    get price Price decimal\n", "    get price Price decimal\n    getset first_part FirstPart Part\n"),
        ("    get owner Owner IOwner\n", "    getset owner Owner IOwner\n"),
        ("    ctor (path: string)\n", "    ctor (path: string)\n    ctor (sizes: ref int32, is_open: bool)\n"),
        ("    get tag Tag int64\n", "    get tag Tag int64\n    method note_it NoteIt (part: Part) -> bool\n")))
    assert [text for text in found if "totals" not in text] == [
        "EXTRA Acme.Pictures.Picture.Picture: an overload (sizes: ref int32, is_open: bool); the line is added",
        "EXTRA Acme.Pictures.Picture.Owner: it can be written",
        "EXTRA Acme.Pictures.Picture.FirstPart: a property of the type Part; the line is added",
        "EXTRA Acme.Pictures.IKeeper.NoteIt: an overload (part: Part) -> bool; the line is added"]
    _same(catalogue, tmp_path, "Acme.Pictures.Parts.cat", "identifiers.tab")
    wanted = load(tmp_path / "altered")
    assert _surface(load(catalogue)) == _surface(wanted)


def _surface(model: object) -> dict[str, set[str]]:
    from .model_writer import interop_types
    from tools.generator.model import Model
    assert isinstance(model, Model)
    return {row.full_name: {f"{method.name} {method.returned} {method.arguments}" for method in row.methods}
            for row in interop_types(model)}


def test_an_overload_more_in_the_middle_is_repeated_by_derived_classes(
        harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    new = "    method save Save (count: int32)\n"
    found = harvested(_pictures(
        ("    method save Save (path: string)\n", f"    method save Save (path: string)\n{new}"),
        ("    method save Save (path: string) from Base\n",
         "    method save Save (path: string) from Base\n    method save Save (count: int32) from Base\n")))
    assert found == ["EXTRA Acme.Pictures.Base.Save: an overload (count: int32); the line is added"]
    _same(catalogue, tmp_path)


def test_an_overload_less_is_repeated_no_more(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    found = harvested(_pictures(("    method save Save (path: string)\n", ""),
                                ("    method save Save (path: string) from Base\n", "")))
    assert found == ["LACKING Acme.Pictures.Base.Save: there is no overload (path: string); the line is removed"]
    _same(catalogue, tmp_path)


def test_overloads_in_another_order(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    first, second = "    ctor (width: int32, mode: Mode)\n", "    ctor (path: string)\n"
    found = harvested(_pictures((first + second, second + first)))
    assert found == ["WRITTEN Acme.Pictures.Picture.Picture: the overload (width: int32, mode: Mode) has the number 1 "
                     "instead of 0"]
    _same(catalogue, tmp_path)


@pytest.mark.parametrize("library", [True, False])
def test_a_renamed_member(harvested: Harvested, catalogue: Path, tmp_path: Path, library: bool) -> None:
    found = harvested(_pictures(("split Split", "cut_up CutUp"), ("rename Rename", "name_it NameIt"),
                                ("mode Mode Mode", "way Way Mode")), library)
    assert found[:3] == [
        "WRITTEN Acme.Pictures.Picture.Split: the name is CutUp instead of Split",
        "WRITTEN Acme.Pictures.Picture.Mode: the name is Way instead of Mode",
        "WRITTEN Acme.Pictures.IOwner.Rename: the name is NameIt instead of Rename"]
    assert len(found) == 4 and "call_000_Split" in found[3]  # which was pinned
    _same(catalogue, tmp_path)
    text = (catalogue / "Acme.Pictures.doc").read_text()
    assert "\n  cut_up: Cuts it.\n    packed: Both halves,\n" in text and "\n  way: How it is made.\n" in text


@pytest.mark.parametrize("library", [True, False])
def test_other_widths_on_the_wire(harvested: Harvested, catalogue: Path, tmp_path: Path, library: bool) -> None:
    found = harvested(_pictures(("Split (packed: int64, x: ref int32", "Split (packed: float, x: ref uint16"),
                                ("get tag Tag int64", "get tag Tag int8")), library)
    assert found[0] == ("WRITTEN Acme.Pictures.Picture.Split: the types are "
                        "(packed: float, x: ref uint16, handle: Size) -> int32 "
                        "instead of (packed: int64, x: ref int32, handle: Size) -> int32")
    assert found[1] == "WRITTEN Acme.Pictures.IKeeper.Tag: the type is int8 instead of int64"
    assert found[2].startswith("WRITTEN pinned.tab: 'entry Acme.Pictures.Picture call_000_Split' instead of")
    _same(catalogue, tmp_path)


def test_types_that_only_the_library_tells_apart(harvested: Harvested, catalogue: Path, tmp_path: Path) -> None:
    pairs = (("static_get first First Part", "static_get first First Base"), ("-> bool", "-> uint8"),
             ("price Price decimal", "price Price bool"), ("getset name Name string", "getset name Name bytes"),
             ("(packed: int64", "(packed: timedelta"))
    found = harvested(_pictures(*pairs))
    assert "WRITTEN Acme.Pictures.Helper.First: the type is Base instead of Part" in found
    assert "WRITTEN Acme.Pictures.Picture.Price: the type is bool instead of decimal" in found
    assert any("Rename: the types are (name: string) -> uint8 instead of (name: string) -> bool" in text
               for text in found)
    _same(catalogue, tmp_path)


def test_without_the_library_a_handle_tells_no_class(harvested: Harvested, catalogue: Path) -> None:
    before = (catalogue / "Acme.Pictures.cat").read_text()
    found = harvested(_pictures(("static_get first First Part", "static_get first First Base"),
                                ("get price Price decimal", "get price Price Part")), library=False)
    assert found == ["OPEN Acme.Pictures.Picture.Price: the type is decimal, and the assembly passes (nint) -> nint"]
    assert (catalogue / "Acme.Pictures.cat").read_text() == before


def test_types_that_one_side_lacks(harvested: Harvested, catalogue: Path) -> None:
    def alter(directory: Path) -> None:
        substitute(directory, "Acme.Pictures.cat", ("static class Helper", "static class Counters"), (
            "count Count (mode: Mode, kind: Kind) -> int32", "weigh_all WeighAll (path: string) -> double"), (
            "    static_get first First Part\n", ""))
        substitute(directory, "identifiers.tab", ("Acme.Pictures.Helper ", "Acme.Pictures.Counters "))
        path = directory / "identifiers.tab"
        lines = path.read_text().splitlines()
        path.write_text("\n".join(line[:-8] + "ABCDEF01" if ".Counters" in line else line for line in lines) + "\n")

    found = harvested(alter)
    assert found[0].startswith("LACKING Acme.Pictures.Helper: there is no class WrpNs_Acme.WrpNs_Pictures.WrpCs_Help")
    assert found[1:] == ["EXTRA Acme.Pictures.Counters: static class, identifier ABCDEF01",
                         "EXTRA Acme.Pictures.Counters.call_000_WeighAll: (PyStringArg*) -> double"]
    assert "static class Helper" in (catalogue / "Acme.Pictures.cat").read_text()


def test_a_second_run_finds_nothing_more(catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> None:
    other = altered(_pictures(("split Split", "cut_up CutUp"), ("Kind : int16", "Kind : int32"),
                              ("    get price Price decimal\n", ""), ("    ctor (path: string)\n", "")))
    assembly = write_assemblies(load(other), tmp_path / "assembly")
    assert texts(run(assembly, catalogue, tmp_path))
    assert texts(run(assembly, catalogue, tmp_path)) == []


def test_the_wires_list_of_elements_follows() -> None:
    """The elements with callbacks stand in a header that both halves are compiled with."""
    changed = CollectionChanges.listed({"4161C915": "0C01055E", "EEEEEEEE": "00000000"})
    assert changed == ELEMENTS.read_text().replace('"4161C915"', '"0C01055E"') != ELEMENTS.read_text()
    assert CollectionChanges.listed({"EEEEEEEE": "00000000"}) is None


def test_a_change_that_does_not_hold_together_is_written_and_told(
        catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> None:
    """Nothing has a use for arrays of parts any more."""
    other = altered(_pictures(("    getset parts Parts Part[]\n", ""), ("(parts: Part[])", "(parts: bytes)")))
    result = run(write_assemblies(load(other), tmp_path / "assembly"), catalogue, tmp_path)
    assert result.refused == "collections.tab:2: no member has a use for the array of Acme.Pictures.Parts.Part"
    assert (catalogue / "Acme.Pictures.cat").read_text() == (other / "Acme.Pictures.cat").read_text()


def test_a_layout_of_a_record_that_lacks_its_class_is_told(
        catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> None:
    records = catalogue.parent / "records"
    records.mkdir()
    shutil.copy(ROOT / "api" / "records" / "wmf.txt", records)
    result = run(write_assemblies(load(altered(lambda directory: None)), tmp_path / "assembly"), catalogue, tmp_path)
    assert result.refused is not None and f"{records}/wmf.txt:" in result.refused
