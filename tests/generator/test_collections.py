"""The table of typed collections and what is written from it."""

from __future__ import annotations

import re
from collections import Counter
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.writers.cpp.typed_collections import write_collections, write_declarations, write_row
from tools.generator.writers.cpp.words import element_policy

ROOT = Path(__file__).parents[2]
TYPES = """
    class Thing
        ctor ()
    struct Spot
        ctor ()
    interface IThing
    enum Mood : uint16
        GOOD 1
"""


@pytest.fixture
def small(build: Callable[..., Model], tmp_path: Path) -> Callable[[str], Model]:
    """The model of a small catalogue with a table of collections."""

    def make(table: str) -> Model:
        (tmp_path / "collections.tab").write_text(table)
        return build(TYPES)

    return make


@pytest.fixture(scope="module", name="model")
def whole() -> Model:
    """The model of the whole catalogue."""
    return load(ROOT / "api" / "catalogue")


def test_the_slots_are_those_of_the_wire_in_their_order(model: Model) -> None:
    header = (ROOT / "exchange" / "wire" / "callback_tables.h").read_text()
    listed = re.findall(r'"([0-9A-F]{8})"', header[header.index("kGenericElements["):])
    assert [row.identifier for row in model.collections if row.slot is not None] == listed
    assert len(listed) == 57


def test_the_table_has_every_instantiation(model: Model) -> None:
    kinds = Counter(kind for row in model.collections for kind in row.kinds)
    assert kinds == {"iterator": 74, "array": 68, "list": 9, "ilist": 3, "iterable": 1, "array-argument": 55,
                     "list-argument": 6}
    lists = {row.identifier for row in model.collections if "list-argument" in row.kinds}
    assert lists == {"32726122", "35D0AC00", "793CE1A2", "A139325E", "A2718E40", "A4A29720"}
    alone = {row.identifier for row in model.collections if row.kinds == ("array-argument",)}
    assert alone == {"70438DFB", "AD4C5CC9", "AD9D9BA5", "F372CE9B"}


def test_each_element_has_a_file(model: Model) -> None:
    files = write_collections(model, "imaging")
    assert len(files) == 2 + len(model.collections)


def test_each_class_of_element_has_its_policy(small: Callable[[str], Model]) -> None:
    model = small("""
11111111 Acme.Pictures.Thing array iterator
22222222 Acme.Pictures.Spot array iterator array-argument
33333333 Acme.Pictures.IThing array iterator
44444444 Acme.Pictures.Mood array iterator
55555555 string array iterator
66666666 int32 array iterator array-argument
77777777 int32[] array iterator
88888888 drawing.PointF array iterator
""")
    found = [re.sub(r"[0-9A-F]{8}", "H", element_policy(row.element)) for row in model.collections]
    assert found == [
        "zelmor::ClassElement<&wrpPy_conv_py_to_clr_H_Thing, &wrpPy_conv_clr_to_py_H_Thing>",
        "zelmor::StructElement<&wrpPy_conv_py_to_clr_H_Spot, &wrpPy_conv_clr_to_py_H_Spot>",
        "zelmor::InterfaceElement<&wrpPy_conv_py_to_clr_H_IThing, &wrpPy_conv_clr_to_py_H_IThing>",
        "zelmor::EnumElement<unsigned short, &wrpPy_conv_py_to_clr_H_Mood, &wrpPy_conv_clr_to_py_H_Mood>",
        "zelmor::StringElement",
        "zelmor::Int32Element",
        "zelmor::ArrayElement<&wrpPygn_conv_py_to_clr_array_H, &wrpPygn_tyds_H_ArrayWrapper>",
        "zelmor::SiblingRecordElement<ShlPointFObject, &wrpPyl_convcaps_py_to_clr_H_PointF, "
        "&wrpPyl_convcaps_clr_to_py_H_PointF>"]


def test_an_element_of_a_missing_type_is_refused(small: Callable[[str], Model]) -> None:
    with pytest.raises(CatalogueError, match="collections.tab:1: there is no type Acme.Pictures.Missing"):
        small("11111111 Acme.Pictures.Missing array iterator")


def test_a_row_declares_what_its_kinds_have(small: Callable[[str], Model]) -> None:
    model = small("11111111 Acme.Pictures.Thing array list iterator array-argument")
    assert write_declarations(model)[1:-1] == [
        "extern PyTypeObject wrpPygn_tyds_11111111_ArrayWrapper;",
        "extern PyTypeObject wrpPygn_tyds_11111111_ListWrapper;",
        "extern PyTypeObject wrpPygn_tyds_11111111_IterWrapper;",
        "bool wrpPygn_bltp_11111111_array_is_not_valid(std::string& message);",
        "bool wrpPygn_bltp_11111111_list_is_not_valid(std::string& message);",
        "bool wrpPygn_bltp_11111111_iter_is_not_valid(std::string& message);",
        "int wrpPygn_conv_py_to_clr_array_11111111(PyObject* object, VariantArg* out);",
        "PyObject* wrpPygn_bltp_11111111_iterable_iter(PyObject* self);"]


def test_what_an_interface_list_inherits_carries_the_collections_name(small: Callable[[str], Model]) -> None:
    model = small("11111111 Acme.Pictures.Thing ilist iterator")
    text = "\n".join(write_row(model.collections[0], "acme", "acme.pictures._wrpgen._generic"))
    functions = re.findall(r"wrpPygn_bltp_11111111_icol_(\w+)\(", text)
    assert sorted(set(functions)) == ["append", "clear", "contains", "get_length", "remove", "sq_contains", "sq_length"]
    assert 'kManagedClass = "Zelmor.WrpGen.Generic.SiApiCntList_11111111"' in text
    assert 'kManagedClass = "Zelmor.WrpGen.Generic.SiApiCntCollection_11111111"' in text
    assert '.tp_name = "acme.pictures._wrpgen._generic._IListWrapper_11111111"' in text


def test_a_catalogue_without_the_table_has_no_files(build: Callable[..., Model]) -> None:
    assert write_collections(build(TYPES), "acme") == {}
