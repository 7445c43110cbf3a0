"""The catalogue comes to the figures of the managed assembly, or the build stops."""

from __future__ import annotations

from collections import Counter
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest

from tools.generator.builder import load
from tools.generator.model import Model
from tools.generator.totals import Total, count, read_totals

from .test_model import refusal

Build = Callable[..., Model]
CATALOGUE = Path(__file__).parents[2] / "api" / "catalogue"
TOTALS = read_totals(CATALOGUE / "totals.tab")
TYPES = """
class Base
    ctor ()
    method turn Turn ()
    method turn Turn (angle: float)
    getset width Width int32
    const LIMIT Limit int32
static class Helper
    static go Go ()
    static_getset from_address From int32 exception
interface IThing
    get from_address From int32 exception
struct Size converts
    ctor ()
    mixed_static grow Grow (size: Size) -> Size
    mixed grow Grow ()
enum flags Mode : uint8
    ONE 1
    TWO 2
"""


@pytest.fixture(scope="module", name="counts")
def counts_of_the_catalogue() -> Counter[str]:
    """Everything that is counted in the whole catalogue."""
    return count(load(CATALOGUE))


def cases() -> list[Any]:
    """One case for each figure; one that is not reached has to fail, so that it is not forgotten when it is."""
    return [pytest.param(row, id=row.what.replace(" ", "-"),
                         marks=[pytest.mark.xfail(strict=True, reason=row.unreached)] if row.unreached else [])
            for row in TOTALS]


@pytest.mark.parametrize("row", cases())
def test_the_catalogue_has_the_stated_totals(counts: Counter[str], row: Total) -> None:
    assert row.holds(counts)


def test_the_table_of_totals_is_unchanged() -> None:
    """The table itself is what the build is held against, so that none of it goes by mistake."""
    figures = {row.what: row.number for row in TOTALS if " in " not in row.what}
    assert figures == {
        "types that are no enumerations": 891, "classes that have instances": 796, "static classes": 35,
        "interfaces": 47, "structs": 13, "types without a public constructor": 186,
        "types with a post-initializer": 48, "mixed methods": 4, "types that convert themselves": 5,
        "method groups": 273, "enumerations": 255, "enumerations of flags": 23, "members of enumerations": 2763,
        "enumerations of int32": 170, "enumerations of uint8": 33, "enumerations of int16": 12,
        "enumerations of uint16": 12, "enumerations of uint32": 5, "enumerations of uint64": 1,
        "pairs of a managed and a Python name": 2422, "pairs that break the rules of names": 10,
        "entry points get_": 4087, "entry points set_": 3440, "entry points call_": 1901, "entry points ctor_": 1069,
        "entry points getsa_": 304, "entry points setsa_": 10, "typed collections of the kind array": 68,
        "typed collections of the kind list": 9, "typed collections of the kind ilist": 3,
        "typed collections of the kind iterable": 1, "typed collections of the kind iterator": 74,
        "elements with typed callbacks": 57, "namespaces": 113}
    assert {row.what for row in TOTALS if row.unreached} == {
        "method groups", "entry points get_", "entry points set_", "entry points call_", "entry points ctor_"}
    modules = [row for row in TOTALS if " in " in row.what]
    assert len(modules) == 2 * 113
    assert sum(row.number for row in modules) == 891 + 255


def test_totals_marked_as_unreached_are_not_reached(counts: Counter[str]) -> None:
    assert all(counts[row.what] < row.number for row in TOTALS if row.unreached)


def test_each_kind_of_thing_is_counted(build: Build) -> None:
    counts = count(build(TYPES))
    assert {what: number for what, number in counts.items() if number and not what.startswith("typed")} == {
        "classes that have instances": 1, "static classes": 1, "interfaces": 1, "structs": 1,
        "types without a public constructor": 2, "types with a post-initializer": 3, "method groups": 1,
        "mixed methods": 1, "types that convert themselves": 1, "types that are no enumerations": 4, "enumerations": 1,
        "members of enumerations": 2, "enumerations of flags": 1, "enumerations of uint8": 1,
        "pairs of a managed and a Python name": 5, "pairs that break the rules of names": 1, "entry points get_": 2,
        "entry points set_": 1, "entry points call_": 5, "entry points ctor_": 2, "entry points getsa_": 2,
        "entry points setsa_": 1, "types in Acme.Pictures": 4, "enumerations in Acme.Pictures": 1, "namespaces": 1}


@pytest.mark.parametrize(("row", "reason"), [
    ("2 structs", "1 structs instead of 2"),
    ("0 structs", "1 structs instead of 0"),
    ("2 or more structs", "1 structs instead of at least 2"),
    ("1 buildings", "'buildings' is nothing that is counted"),
    ("unreached 1 buildings: none is known", "'buildings' is nothing that is counted"),
    ("many structs", "a row is a number and what there is of it; one that is unreached has a reason"),
    ("unreached 2 structs", "a row is a number and what there is of it; one that is unreached has a reason"),
    ("1 structs: a reason", "a row is a number and what there is of it; one that is unreached has a reason"),
    ("1 interfaces\n1 interfaces", "interfaces has a row already"),
])
def test_another_figure_is_refused(build: Build, tmp_path: Path, row: str, reason: str) -> None:
    (tmp_path / "totals.tab").write_text(f"# figures\n\n{row}\n")
    assert refusal(build, TYPES) == (3 + row.count("\n"), reason)


def test_figures_that_hold_are_accepted(build: Build, tmp_path: Path) -> None:
    (tmp_path / "totals.tab").write_text("1 structs # a comment\n1 or more interfaces\n"
                                         "unreached 9 static classes: the others are not known\n")
    assert build(TYPES).types
