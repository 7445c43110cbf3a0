"""The inventory of refusals: what the runtime answers with NotSupportedException, member by member.

Every constructor, method, and property of the catalogue is used with plausible values. Those that are refused as not
supported are compared with the table in docs/refusals.md, which gives the reason for each. A refusal that came or went
makes the test fail and print the lines to add to the table or to remove from it.
"""

from __future__ import annotations

import functools
import multiprocessing
import re
from collections.abc import Callable, Iterator
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

import pytest

from support.instances import instance, usual, usual_arguments
from support.places import ROOT
from support.samples import MODEL, Cannot, python_type
from tools.generator.model import Overload, Type

PAGE = ROOT / "docs" / "refusals.md"
ROW = re.compile(r"^\| `(?P<member>[^`]+)` \| (?P<reason>.+) \|$", re.MULTILINE)
REFUSED = re.compile(r"Proxy error\(NotSupportedException\): (?P<text>.*)", re.DOTALL)
#: What would end the use of the object under test, or wait for somebody.
LEFT_OUT = {"dispose", "wait_on_done"}


def refusal(action: Callable[[], object]) -> str | None:
    """The text with which an action is refused as not supported, or None."""
    try:
        action()
    except Cannot:
        raise
    except Exception as error:
        found = REFUSED.search(str(error))
        return found["text"] if found else None
    return None


def named(owner: Type, name: str, overload: Overload) -> str:
    kinds = ", ".join(param.wire.name for param in overload.params)
    return f"{owner.full_name}.{name}({kinds})"


def uses(entry: Type) -> Iterator[tuple[str, Callable[[], object]]]:
    """The members that a type declares, with an action that uses each."""
    found = python_type(entry)
    for overload in entry.constructors:
        yield named(entry, "new", overload), lambda overload=overload: found(**usual_arguments(overload))
    for prop in entry.properties:
        name = f"{entry.full_name}.{prop.python}"
        if prop.static:
            yield name, lambda prop=prop: getattr(found, prop.python)
        else:
            yield name, lambda prop=prop: getattr(instance(entry), prop.python)
            if prop.writable:
                yield name + " =", lambda prop=prop: setattr(
                    instance(entry), prop.python, usual(prop.wire))
    for method in entry.methods:
        overloads = [(overload, overload.static) for overload in method.overloads]
        if method.static_overload is not None:
            overloads.append((method.static_overload, True))
        for overload, static in overloads:
            if method.python not in LEFT_OUT:
                yield named(entry, method.python, overload), lambda method=method, overload=overload, static=static: (
                    getattr(found if static else instance(entry), method.python)(**usual_arguments(overload)))


def take_inventory() -> tuple[dict[str, str], int, set[str]]:
    """The refusals with their texts, the number of uses, and the full names of the classes without an instance."""
    refused: dict[str, str] = {}
    count, missing = 0, set()
    for entry in MODEL.types:
        if entry.is_enum:
            continue
        for name, action in uses(entry):
            count += 1
            try:
                text = refusal(action)
            except Cannot:
                continue
            if text is not None:
                refused[name] = text
        if entry.kind == "class" and (any(not prop.static for prop in entry.properties) or any(
                not overload.static for method in entry.methods for overload in method.overloads)):
            try:
                instance(entry)
            except Cannot:
                missing.add(entry.full_name)
    return refused, count, missing


@functools.cache
def inventory() -> tuple[dict[str, str], int, set[str]]:
    """The inventory of another process: some members take formats out of the registries of theirs."""
    with ProcessPoolExecutor(1, multiprocessing.get_context("spawn")) as process:
        return process.submit(take_inventory).result()


def listed(heading: str) -> dict[str, str]:
    """A table of the page: what stands in its first column, and the reason in the second."""
    part = PAGE.read_text().split(f"## {heading}\n")[1].split("\n## ")[0]
    return {row["member"]: row["reason"] for row in ROW.finditer(part)}


def require_listed(heading: str, found: dict[str, str]) -> None:
    expected = listed(heading)
    more = [f"| `{name}` | {text} |" for name, text in found.items() if name not in expected]
    gone = [f"| `{name}` | {reason} |" for name, reason in expected.items() if name not in found]
    report = []
    if more:
        report += [f"lines to add to docs/refusals.md, {heading}, each with its reason:", *more]
    if gone:
        report += [f"lines to remove from docs/refusals.md, {heading}:", *gone]
    assert not report, "\n".join(["", *report])


@pytest.fixture(autouse=True)
def in_a_directory_of_its_own(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)


def test_the_table_of_refusals_is_that_of_the_runtime() -> None:
    refused, count, _ = inventory()
    assert count > 8000
    require_listed("Members", refused)


def test_the_table_of_classes_without_an_object_is_that_of_the_runtime() -> None:
    require_listed("Classes", dict.fromkeys(sorted(inventory()[2]), "why no program can get hold of one"))
