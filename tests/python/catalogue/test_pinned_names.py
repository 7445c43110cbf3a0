"""Names that other assemblies and modules rely on, compared with those that the built module requests and publishes."""

from __future__ import annotations

import functools
from typing import Any

import pytest
import zelmor.imaging

from support.host_process import run
from support.module_tree import MODEL
from support.places import CATALOGUE

from tools.generator.model import Type
from tools.generator.pinned import PinnedLine, read_pinned

PINNED = read_pinned(CATALOGUE / "pinned.tab")
TYPES = {entry.full_name: entry for entry in MODEL.types}


def rows(*kinds: str) -> list[PinnedLine]:
    return [row for row in PINNED if row.kind in kinds]


def row_id(row: PinnedLine) -> str:
    return "-".join(row.words[:2])


def called(managed: str) -> list[Type]:
    """The types that declare a member with a managed name."""
    return [entry for entry in MODEL.types
            if any(overload.managed == managed for method in entry.methods for overload in method.own)
            or any(prop.managed == managed and prop.declared_by is entry for prop in entry.properties)]


def declaring(row: PinnedLine) -> list[Type]:
    """The types whose hosts a row of names describes."""
    return called(row.words[1]) if row.kind == "name" else [TYPES[row.words[0]]]


@pytest.fixture(scope="module", name="asked")
def what_the_hosts_ask_for() -> dict[str, list[str]]:
    """For each managed class that a row describes, the entry points that the module requests."""
    entries = {entry.full_name: entry for row in rows("entry", "hosts", "name", "member") for entry in declaring(row)}
    masking = TYPES["Zelmor.Imaging.Masking.IMaskingAsyncTask"]
    cmx = TYPES["Zelmor.Imaging.FileFormats.Cmx.ICmxImage"]
    hosts = {entry.dotted.removeprefix("zelmor."): entry.host_class for entry in [*entries.values(), masking, cmx]}
    uses = "\n".join(f"{dotted}._type_of()" for dotted in hosts)
    found: dict[str, list[str]] = run(f"{uses}\nresult = {{host: requests(host) for host in {list(hosts.values())}}}")
    return found


def python_type(entry: Type) -> Any:
    return functools.reduce(getattr, entry.dotted.split(".")[2:], zelmor.imaging)


@pytest.mark.parametrize("row", rows("entry"), ids=row_id)
def test_the_entry_point_is_asked_for(asked: dict[str, list[str]], row: PinnedLine) -> None:
    assert row.words[1].partition("(")[0] in asked[TYPES[row.words[0]].host_class]


@pytest.mark.parametrize("row", rows("hosts"), ids=row_id)
def test_the_host_asks_for_as_many(asked: dict[str, list[str]], row: PinnedLine) -> None:
    found = asked[TYPES[row.words[0]].host_class]
    assert len(found) == int(row.words[1])
    assert row.words[2] in ("...", ",".join(found))


@pytest.mark.parametrize("row", rows("name", "member"), ids=row_id)
def test_both_names_of_a_member_are_those(asked: dict[str, list[str]], row: PinnedLine) -> None:
    python, managed = row.words[-2:]
    assert declaring(row)
    for entry in declaring(row):
        assert any(point.partition("_")[2].removeprefix("000_") == managed for point in asked[entry.host_class])
        assert python in vars(python_type(entry))


@pytest.mark.parametrize(("name", "base", "own", "inherited"), [
    ("Masking.IMaskingAsyncTask", "AsyncTask.IAsyncTask", ["call_000_GetMaskingResult", "call_000_GetError"],
     ["run_async", "cancel", "abort", "wait_on_done", "is_busy", "is_canceled", "is_faulted", "result"]),
    ("FileFormats.Cmx.ICmxImage", "Interfaces.IObjectWithSizeF", ["get_CmxPage"], ["size_f", "width_f", "height_f"]),
])
def test_an_interface_asks_its_own_host_for_its_own_members_only(
        asked: dict[str, list[str]], name: str, base: str, own: list[str], inherited: list[str]) -> None:
    entry, declares = TYPES[f"Zelmor.Imaging.{name}"], TYPES[f"Zelmor.Imaging.{base}"]
    services = ["btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable"]
    assert asked[entry.host_class] == [*own, *services]
    members = vars(python_type(entry))
    assert set(inherited) <= set(members) & set(vars(python_type(declares)))


def test_an_inherited_member_is_reached_through_either_interface() -> None:
    """The function of an interface is the same in every table, and accepts objects of all classes that implement it."""
    image = zelmor.imaging.fileformats.cmx.CmxImagePage(zelmor.imaging.fileformats.cmx.objectmodel.CmxPage())
    seen = zelmor.imaging.fileformats.cmx.ICmxImage._cast_as(image).value
    assert (seen.size_f, seen.width_f, seen.height_f) == (image.size_f, image.width_f, image.height_f)
