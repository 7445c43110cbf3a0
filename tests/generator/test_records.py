"""The layouts of records: what is read from their files, and which lines are refused."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.records import FAMILIES, Layouts, Step, read_layouts
from tools.generator.writers.runtime.record_tables import RecordTables

CATALOGUE = """
    class MetaObject
        ctor ()

    class Frame : MetaObject
        ctor ()
        getset size Size uint32

    class Line : Frame
        ctor ()
        getset count Count uint32
        getset widths Widths bytes
        getset inner Inner Inner

    class Inner : MetaObject
        ctor ()
        getset flags Flags uint16
        getset closed Closed bool
"""
HEAD = """family emf
records in Acme.Pictures
abstract MetaObject
frame Frame
    size u32 = size
"""
INNER = """object Inner
    flags u16
    closed bits flags 3
"""
LINE = """record Line 7
    count u32 = len(widths)
    widths bytes [count] if count > 0
    inner Inner at count + 8
"""


@pytest.fixture
def layouts(build: Callable[..., Model], tmp_path: Path) -> Callable[..., Layouts]:
    """Reads the text of one file."""
    def read(text: str) -> Layouts:
        model = build(CATALOGUE)
        folder = tmp_path / "records"
        folder.mkdir(exist_ok=True)
        (folder / "emf.txt").write_text(text)
        return read_layouts(folder, model)

    return read


def refusal(layouts: Callable[..., Layouts], text: str) -> str:
    """The reason for which a text is refused."""
    with pytest.raises(CatalogueError) as caught:
        layouts(text)
    return caught.value.reason


def test_a_record_has_the_items_of_its_frame_first(layouts: Callable[..., Layouts]) -> None:
    line = next(block for block in layouts(HEAD + INNER + LINE).blocks if block.name == "Line")
    assert [item.path.first for item in line.items if item.path is not None] == ["Size", "Count", "Widths", "Inner"]
    assert (line.number, line.family, line.kind) == (7, "emf", "record")


def test_an_expression_becomes_steps(layouts: Callable[..., Layouts]) -> None:
    line = next(block for block in layouts(HEAD + INNER + LINE).blocks if block.name == "Line")
    item = line.items[-1]
    assert [step.code for step in item.clauses["at"]] == ["kValue", "kConstant", "kAdd"]
    assert item.clauses["at"][1] == Step("kConstant", 8)


def test_the_tables_name_each_block(layouts: Callable[..., Layouts]) -> None:
    text = "\n".join(RecordTables(layouts(HEAD + INNER + LINE)).write())
    assert '"Acme.Pictures.Line", RecordFamily::kEmf, BlockKind::kRecord, 7' in text


@pytest.mark.parametrize("before, after, reason", [
    ("    inner Inner at count + 8\n", "", "Line.inner has no place in the layout"),
    ("count u32 = len(widths)", "number u32", "Line has no property number"),
    ("[count] if", "[counts] if", "Line has no property counts"),
    ("widths bytes [count] if count > 0", "widths bytes", "a field of form bytes needs its length in brackets"),
    ("count u32 =", "count u33 =", "'u33' is no form of a field, object or choice"),
    ("len(widths)", "size_of(widths)", "size_of() is no function of expressions"),
    ("if count > 0", "if count ** 2", "'count ** 2' cannot stand in an expression"),
    ("at count + 8", "at _gone", "_gone is not a field of this block"),
    ("record Line 7", "record Line seven", "'seven' is not a number"),
    ("record Line 7", "record Curve 7", "the catalogue has no class Curve in the namespaces of this file"),
    ("abstract MetaObject\n", "", "Acme.Pictures.MetaObject has no layout and is not abstract"),
    ("record Line 7", "records Line 7", "'records Line 7' is not a line of a layout"),
])
def test_refused(layouts: Callable[..., Layouts], before: str, after: str, reason: str) -> None:
    text = HEAD + INNER + LINE
    assert text.count(before) == 1
    assert refusal(layouts, text.replace(before, after)) == reason


def test_an_assembly_without_layouts_has_none(build: Callable[..., Model], tmp_path: Path) -> None:
    assert not read_layouts(tmp_path / "records", build(CATALOGUE)).blocks


def test_the_layouts_of_the_product_are_whole() -> None:
    """Every record that the formats number has one class, apart from those told apart by what is in them."""
    root = Path(__file__).resolve().parents[2] / "api"
    found = read_layouts(root / "records", load(root / "catalogue"))
    for family in FAMILIES:
        numbers = [block.number for block in found.blocks
                   if block.kind == "record" and block.family == family and not block.condition]
        assert len(numbers) == len(set(numbers)), family
        assert len(numbers) > 50, family
