"""The documentation texts: how their files are read, where a text is found, and what the check of them refuses."""

from __future__ import annotations

import textwrap
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.__main__ import main
from tools.generator.builder import load
from tools.generator.documentation import Documentation, described_members
from tools.generator.errors import CatalogueError, Findings
from tools.generator.model import Model, Type
from tools.generator.words_check import check_words, only_repeats
from tools.generator.writers.cpp.commands import module_files

from .conftest import ROOT

API = Path(__file__).parents[2] / "api" / "catalogue"
CATALOGUE = """
class Base
    ctor ()
    method draw Draw (width: int32, pen: string) -> int32
    getset width Width int32
class Brush : Base
    ctor (width: int32, is_soft: bool)
    ctor (width: int32)
    method draw Draw (width: int32)
    method draw Draw (width: int32, pen: string) -> int32 from Base
    method fill Fill (area: int32)
    static_getset limit Limit int32
class Plain : Base
    method draw Draw (width: int32, pen: string) -> int32 from Base
interface IThing
    get size Size int32
interface IWide implements IThing
    get size Size int32 from IThing
enum Mode : int32
    NONE 0
    SOFT 1
"""

WORDS = """
# A comment; the number sign of #F0F8FF below is text.
module: Painting with tools of every kind.

Base: Something that leaves a mark. Its color
    is #F0F8FF.
  ctor: Makes one without ink.
  draw: Leaves a mark on
      the paper.
    pen: The brand, or None for
        the house's own.
    -> The number of pixels changed.
    ! ValueError: The pen is empty.
    ! OSError: The ink has dried.
  width: The width in pixels.
Brush: A soft tool.
  parameters:
    width: How far the bristles spread, in pixels.
    area: In square pixels.
  ctor: Makes a tool from bristles.
    is_soft: True for hair, False for nylon.
  draw: Paints a line.
  fill: Paints all over.
  limit: The most bristles that are allowed.
Plain: A tool of one sort.
IThing: Whatever can be measured.
  size: The length of the longer edge.
IWide: A thing beyond the usual.
Mode: How bristles are treated.
  NONE: Not at all.
  SOFT: They are washed.
"""


@pytest.fixture
def write(build: Callable[..., Model]) -> Callable[..., Model]:
    """Builds the small catalogue with texts beside it."""

    def make(words: str, catalogue: str = CATALOGUE, **parts: str) -> Model:
        """Further files of the namespace go by their part."""
        model = build(catalogue)
        (model.directory / f"{ROOT}.doc").write_text(textwrap.dedent(words))
        for part, text in parts.items():
            (model.directory / f"{ROOT}.{part}.doc").write_text(textwrap.dedent(text))
        return model

    return make


def entry_of(model: Model, name: str) -> Type:
    """A type of the model by its name."""
    return next(entry for entry in model.types if entry.name == name)


def faults_of(model: Model) -> list[str]:
    """The faults without the folder, the name of the file shortened."""
    return [line.replace(f"{model.directory}/{ROOT}", "A") for line in check_words(model, [])]


def test_texts_are_joined_over_continuation_lines(write: Callable[..., Model]) -> None:
    model = write(WORDS)
    words, base = Documentation.read(model.directory), entry_of(model, "Base")
    assert words.of_module(model.root) == "Painting with tools of every kind."
    assert words.of_type(base) == "Something that leaves a mark. Its color is #F0F8FF."
    assert words.of_member(base, "draw") == "Leaves a mark on the paper."
    assert words.of_result(base, "draw") == "The number of pixels changed."
    assert words.raises(base, "draw") == [("ValueError", "The pen is empty."), ("OSError", "The ink has dried.")]
    draw = base.method("draw")
    assert draw is not None
    assert words.of_parameter(base, draw.overloads[0], "pen") == "The brand, or None for the house's own."
    assert words.of_member(entry_of(model, "Mode"), "SOFT") == "They are washed."


def test_a_text_is_found_where_the_member_is_declared(write: Callable[..., Model]) -> None:
    model = write(WORDS)
    words = Documentation.read(model.directory)
    plain, brush = entry_of(model, "Plain"), entry_of(model, "Brush")
    assert words.of_member(plain, "draw") == "Leaves a mark on the paper."
    assert words.of_member(brush, "draw") == "Paints a line."
    assert words.of_member(entry_of(model, "IWide"), "size") == "The length of the longer edge."
    assert words.of_member(brush, "set_limit") == "The most bristles that are allowed."
    assert words.of_member(brush, "nothing") == ""


def test_a_parameter_has_its_own_text_or_the_shared_one_or_that_of_its_property(write: Callable[..., Model]) -> None:
    model = write(WORDS)
    words, brush = Documentation.read(model.directory), entry_of(model, "Brush")
    assert words.of_parameter(brush, brush.constructors[0], "is_soft") == "True for hair, False for nylon."
    assert words.of_parameter(brush, brush.constructors[1], "width") == "How far the bristles spread, in pixels."
    fill = brush.method("fill")
    assert fill is not None and words.of_parameter(brush, fill.overloads[0], "area") == "In square pixels."

    without = write(WORDS.replace("    width: How far the bristles spread, in pixels.\n", ""))
    words, brush = Documentation.read(without.directory), entry_of(without, "Brush")
    assert words.of_parameter(brush, brush.constructors[1], "width") == "The width in pixels."
    draw = brush.method("draw")
    assert draw is not None
    assert words.of_parameter(brush, draw.overloads[0], "width") == "", "a method does not take the text of a property"
    assert words.of_parameter(brush, draw.overloads[1], "pen") == "The brand, or None for the house's own."


def test_complete_texts_have_no_faults(write: Callable[..., Model]) -> None:
    assert faults_of(write(WORDS)) == []


def test_a_namespace_can_have_more_than_one_file(write: Callable[..., Model]) -> None:
    first, mark, second = WORDS.partition("Plain:")
    assert faults_of(write(first, part2=mark + second)) == []
    faults = faults_of(write(WORDS, part2="Mode: Once more, in another file.\n"))
    assert faults == ["A.part2.doc:1: Mode has a text already, at A.doc:29"]


def test_without_a_file_everything_is_missing(build: Callable[..., Model]) -> None:
    model = build(CATALOGUE)
    assert faults_of(model) == ["A.doc: missing: module"] + [
        f"A.doc: missing: {name} and all of its members" for name in
        ("Base", "Brush", "Plain", "IThing", "IWide", "Mode")]
    assert Documentation.read(model.directory).of_type(model.types[0]) == ""


@pytest.mark.parametrize("line, missing", [
    ("  NONE: Not at all.\n", "Mode.NONE"),
    ("  draw: Paints a line.\n", "Brush.draw"),
    ("  limit: The most bristles that are allowed.\n", "Brush.limit"),
    ("  size: The length of the longer edge.\n", "IThing.size"),
    ("    is_soft: True for hair, False for nylon.\n", "Brush.ctor parameter is_soft"),
    ("  ctor: Makes one without ink.\n", "Base.ctor"),
    ("module: Painting with tools of every kind.\n", "module"),
])
def test_each_missing_text_is_named(write: Callable[..., Model], line: str, missing: str) -> None:
    assert line in WORDS
    assert faults_of(write(WORDS.replace(line, ""))) == [f"A.doc: missing: {missing}"]


@pytest.mark.parametrize("found, instead, fault", [
    ("Plain: A tool of one sort.", "Plan: A tool of one sort.\nPlain: Unchanged by any of it.",
     "A.doc:25: unknown: Acme.Pictures has no type Plan"),
    ("  NONE: Not at all.", "  NONE: Not at all.\n  HARD: Not softly.",
     "A.doc:31: unknown: Mode has no member HARD of its own"),
    ("Plain: A tool of one sort.", "Plain: A tool of one sort.\n  draw: Draws twice over.",
     "A.doc:26: unknown: Plain inherits draw; its text stands at Acme.Pictures.Base"),
    ("  fill: Paints all over.", "  fill: Paints all over.\n    -> Nothing at all.",
     "A.doc:24: unknown: Brush.fill has no result to describe"),
    ("  fill: Paints all over.", "  fill: Paints all over.\n    aria: A song from far away.",
     "A.doc:24: unknown: Brush.fill has no parameter aria"),
    ("    area: In square pixels.", "    area: In square pixels.\n    aria: A song from far away.",
     "A.doc:20: unknown: no method or constructor of Brush has a parameter aria"),
    ("    ! OSError: The ink has dried.", "    ! InkError: The ink has dried.",
     "A.doc:14: unknown: there is no exception InkError in Python"),
    ("  limit: The most", "  set_limit: The most anybody wants.\n  limit: The most",
     "A.doc:24: unknown: Brush has no member set_limit of its own"),
    ("  fill: Paints all over.", "  fill: Paints all over.\n  fill: Paints again.",
     "A.doc:24: fill has a text already, at A.doc:23"),
    ("    area: In square pixels.", "    area: In square pixels.\n    area: In squares.",
     "A.doc:20: area has a text already, at A.doc:19"),
    ("Mode: How", "Plain: A second one.\nMode: How", "A.doc:29: Plain has a text already, at A.doc:25"),
    ("\nBase: Something", "\nmodule: Another one.\nBase: Something",
     "A.doc:5: the module has a text already, at A.doc:3"),
    ("  fill: Paints all over.", "  fill: Fills the area.", None),
    ("  fill: Paints all over.", "  fill: The fill method of the brush.",
     "A.doc:23: refused: the text of fill only repeats names: The fill method of the brush."),
    ("  width: The width in pixels.", "  width: Gets or sets the width.",
     "A.doc:15: refused: the text of width only repeats names: Gets or sets the width."),
    ("  SOFT: They are washed.", "  SOFT: Represents the soft mode.",
     "A.doc:31: refused: the text of SOFT only repeats names: Represents the soft mode."),
    ("Plain: A tool of one sort.", "Plain: The class `Plain`.",
     "A.doc:25: refused: the text of Plain only repeats names: The class `Plain`."),
    ("  draw: Paints a line.", "  draw: Paints a line.\n    pen: Always the house's own.", None),
    ("    -> The number of pixels changed.", "    -> What it draws.", None),
    ("    area: In square pixels.", "    area: The area.",
     "A.doc:19: refused: the text of area only repeats names: The area."),
    ("  fill: Paints all over.", "  fill:", "A.doc:23: refused: fill has no text"),
    ("  fill: Paints all over.", "  fill: Paints `all over.",
     "A.doc:23: refused: the text of fill has a backtick without its partner"),
    ("  fill: Paints all over.", "  fill: Paints <b>all</b> over.",
     "A.doc:23: refused: the text of fill has markup other than backticks"),
    ("  fill: Paints all over.", "  fill: Paints `<b>all</b>` over, as of [MS-EMF].", None),
    ("  fill: Paints all over.", "   fill: Paints all over.",
     "A.doc:23: the indentation fits no entry above: types have 0, members 2, parameters 4, and continuation lines 4 "
     "more than the start of their entry"),
    ("  fill: Paints all over.", "  fill - paints all over", "A.doc:23: expected 'name: text' of a member"),
    ("Mode: How bristles are treated.", "Mode, how bristles are treated",
     "A.doc:29: expected 'Name: text' of a type, or 'module: text'"),
    ("    is_soft: True for hair, False for nylon.", "    is_soft: True for hair, False for nylon.\n    else, nothing",
     "A.doc:22: expected 'name: text' of a parameter, '-> text' of the result or '! Exception: text'; the text of "
     "a member goes on after 6 spaces"),
    ("  fill: Paints all over.", "  fill: Paints" + " all" * 30 + " over.", "A.doc:23: the line is longer than 120 "
     "columns"),
    ("  fill: Paints all over.", "  fill: Paints all over. ", "A.doc:23: tabs and spaces at the end of a line are not "
     "allowed"),
])
def test_each_fault_is_told_with_its_line(write: Callable[..., Model], found: str, instead: str,
                                          fault: str | None) -> None:
    assert found in WORDS
    faults = faults_of(write(WORDS.replace(found, instead, 1)))
    assert (faults[:1] or [None]) == [fault]


def test_what_belongs_to_an_entry_that_cannot_be_read_is_no_further_fault(write: Callable[..., Model]) -> None:
    words = WORDS.replace("  fill: Paints all over.\n", "  fill - paints\n      all over\n    area: In squares.\n")
    assert faults_of(write(words)) == ["A.doc:23: expected 'name: text' of a member", "A.doc: missing: Brush.fill"]


def test_the_first_line_that_cannot_be_read_stops_a_writer(write: Callable[..., Model]) -> None:
    model = write("Base, a tool\n")
    with pytest.raises(CatalogueError, match=r"\.doc:1: expected 'Name: text'"):
        Documentation.read(model.directory)


def test_a_file_of_no_namespace_is_refused(write: Callable[..., Model]) -> None:
    model = write(WORDS)
    (model.directory / "Acme.Sounds.doc").write_text("module: Noises of all sorts.\n")
    assert [line.rsplit("/", 1)[-1] for line in faults_of(model)] == [
        "Acme.Sounds.doc:1: there is no namespace Acme.Sounds"]


def test_repeats_are_seen_through_plurals_and_both_forms_of_a_name() -> None:
    assert only_repeats("Gets or sets the line caps.", "line_cap", "Pen")
    assert only_repeats("The LineCap of this pen", "line_cap", "Pen")
    assert only_repeats("The linecap.", "line_cap")
    assert not only_repeats("The shape at the end of a line.", "line_cap", "Pen")
    assert not only_repeats("The width in pixels.", "width", "Image")


def test_described_members_are_the_own_ones(write: Callable[..., Model]) -> None:
    model = write(WORDS)
    assert list(described_members(entry_of(model, "Brush"))) == ["ctor", "draw", "fill", "limit"]
    assert list(described_members(entry_of(model, "Plain"))) == []
    assert list(described_members(entry_of(model, "IWide"))) == []


def test_the_command_lists_faults_and_fails(write: Callable[..., Model], capsys: pytest.CaptureFixture[str]) -> None:
    model = write(WORDS)
    assert main(["words", str(model.directory)]) == 0
    assert capsys.readouterr().out == ""
    (model.directory / f"{ROOT}.doc").write_text("")
    assert main(["words", str(model.directory), ROOT]) == 1
    lines = capsys.readouterr().out.splitlines()
    assert lines[0].endswith(f"{ROOT}.doc: missing: module") and lines[-1] == "7 faults"
    with pytest.raises(Findings, match="there is no namespace Acme.Sounds"):
        check_words(model, ["Acme.Sounds"])


def test_everything_in_the_catalogue_has_a_text_that_says_something() -> None:
    """All modules, types, members, values and parameters of constructors."""
    assert check_words(load(API), []) == []


def test_texts_do_not_reach_the_compiler(write: Callable[..., Model]) -> None:
    """The C++ is made of the model alone, so that a changed text compiles nothing."""
    model = write(WORDS)
    before = module_files(model, "pictures")
    (model.directory / f"{ROOT}.doc").write_text(WORDS.replace("mark", "trace"))
    assert module_files(load(model.directory), "pictures") == before
