"""The types of properties: what can be anything says why, and what the catalogue itself tells holds."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.__main__ import main
from tools.generator.builder import load
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.property_types import sources

Build = Callable[..., Model]
CATALOGUE = Path(__file__).parents[2] / "api" / "catalogue"

VALUE = """
class Tag
    ctor (name: string)
    {}
"""


def refusal(build: Build, line: str) -> tuple[int, str]:
    """The line and the reason of a refusal."""
    with pytest.raises(CatalogueError) as caught:
        build(VALUE.format(line))
    return caught.value.place.line, caught.value.reason


@pytest.mark.parametrize("line", ["get value Value object", "getset value Value object",
                                  "method find Find (key: string) -> object", "method put Put (value: object)"])
def test_a_property_of_type_object_gives_a_reason(build: Build, line: str) -> None:
    managed = line.split()[2]
    assert refusal(build, line) == (5, f"{managed} is of type object and does not say because of what")
    model = build(VALUE.format(f'{line} because "a tag has whatever it has"'))
    assert [prop.reason for prop in model.types[0].properties] in ([], ["a tag has whatever it has"])


def test_only_a_property_of_type_object_has_a_reason(build: Build) -> None:
    expected = (5, "only a member of type object has a reason")
    assert refusal(build, 'get value Value string because "it is text"') == expected
    assert refusal(build, 'method find Find (keys: object[]) because "they are many"') == expected


def test_a_reason_stands_where_the_member_is_declared(build: Build) -> None:
    text = """
interface IValue
    get value Value object because "nobody knows"
interface IOther implements IValue
    get value Value object from IValue{}
"""
    assert [prop.owner.name for prop in build(text.format("")).types[1].properties] == ["IOther"]
    with pytest.raises(CatalogueError) as caught:
        build(text.format(' because "nobody knows"'))
    assert (caught.value.place.line, caught.value.reason) == (6, "the reason stands at IValue")


@pytest.mark.parametrize("line", ['get value Value object because ""', 'get value Value object because "a" "b"',
                                  'get value Value object because "a" exception'])
def test_a_reason_is_text_between_quotes_at_the_end(build: Build, line: str) -> None:
    assert refusal(build, line) == (5, "cannot read this get line")


def test_a_property_has_the_type_that_its_constructor_and_its_setting_method_take(build: Build) -> None:
    assert refusal(build, "getset name Name bytes") == (
        5, "name is of type bytes, and a constructor takes string")
    assert refusal(build, "getset size Size bytes\n    method set_size SetSize (value: int32)") == (
        5, "size is of type bytes, and set_size takes int32")
    model = build(VALUE.format("getset name Name string\n    get size Size bytes"))
    assert [prop.wire.name for prop in model.types[0].properties] == ["string", "bytes"]


def test_a_collection_without_a_use_stops_the_build(
        build: Build, tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    build(VALUE.format("get sizes Sizes string"))
    (tmp_path / "collections.tab").write_text("11111111 int32 array iterator array-argument\n")
    assert main(["module", str(tmp_path), str(tmp_path / "out")]) == 1
    assert capsys.readouterr().err == f"{tmp_path}/collections.tab:1: no member has a use for the array of int32\n"
    source = tmp_path / "Acme.Pictures.cat"
    source.write_text(source.read_text().replace("Sizes string", "Sizes int32[]"))
    assert main(["module", str(tmp_path), str(tmp_path / "out")]) == 0


def test_no_writable_property_of_the_library_is_anything_but_the_value_of_a_tag() -> None:
    model = load(CATALOGUE)
    anything = {f"{entry.name}.{prop.python}" for entry in model.types for prop in entry.properties
                if prop.wire.kind == "object" and prop.writable}
    tags = {entry.name for entry in model.types
            if entry.name == "TiffDataType" or "TiffDataType" in [base.name for base in entry.bases()]}
    assert {name.split(".")[0] for name in anything} <= tags
    assert {name.split(".")[1] for name in anything} == {"value"}


def test_the_sources_of_types_can_be_listed(capsys: pytest.CaptureFixture[str]) -> None:
    assert main(["types", str(CATALOGUE)]) == 0
    listed = capsys.readouterr().out.splitlines()
    root = "Zelmor.Imaging"
    for row in (f"| {root}.StringFormat.tab_stops | array of float | the argument of the same name |",
                f"| {root}.IntRange.range | array of int32 | the argument of the same name |",
                f"| {root}.ImageOptions.TiffOptions.sample_format | "
                f"array of {root}.FileFormats.Tiff.Enums.TiffSampleFormats | "
                "nothing else has a use for this collection |",
                f"| {root}.FileFormats.Tiff.TiffDataType.value | object | a tag's value is of the tag's own type |",
                f"| {root}.Exif.ExifData.oecf | bytes | the format |",
                f"| {root}.FileFormats.Tga.TgaImage.author_name | string | as a rule |"):
        assert row in listed
    assert len(listed) == 2 + len(list(sources(load(CATALOGUE))))
