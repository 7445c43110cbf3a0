"""Jobs as data: JSON and back, refusals, fingerprints; and the sizes that a resize step leads to."""

from __future__ import annotations

import json
import re

import pytest
from zelmor import batch
from zelmor.batch import formats
from zelmor.batch.jobs import fingerprint, numbered
from zelmor.batch.steps import new_size
from zelmor.imaging import FileFormat, ImageExportersRegistry, ImageLoadersRegistry

from support.places import ROOT

JOBS = [
    batch.Convert("a.jpg", "b.webp", (
        batch.Orient(), batch.Crop(1, 2, 3, 4), batch.Resize(800, kernel="mitchell"), batch.Rotate(12.5, "white"),
        batch.Flip("horizontal"), batch.Deskew(), batch.Adjust(True, 5, -3.5, threshold="otsu"), batch.Dither(3),
        batch.Background("white"), batch.Resolution(300, 150), batch.Metadata(True, ("make",), {"artist": "ä"})),
        batch.Output("webp", {"quality": "80"}, "1"), {"buffer_size_hint": "50"}, True),
    batch.Split("a.gif", "a-{number:03}.png"),
    batch.Join(("a.png", "b.png"), "c.gif", duration=80, loops=2),
    batch.Sheet(("a.png",), ("a",), "sheet.png"),
    batch.Inspect("a.png", True),
    batch.Compare("a.png", "b.png"),
]


@pytest.mark.parametrize("job", JOBS, ids=lambda job: job.kind)
def test_a_job_becomes_json_and_comes_back(job: batch.Job) -> None:
    text = batch.to_json(job)
    assert "\n" not in text
    assert batch.from_json(text) == job
    assert batch.from_data(json.loads(text), batch.Job) == job


@pytest.mark.parametrize(("data", "message"), [
    ({"kind": "nothing"}, "'nothing' is no job"),
    ({"kind": "resize", "width": 3}, "'resize' is no job"),
    ({"kind": "inspect", "source": "a", "more": 1}, "inspect has no more"),
    ({"kind": "inspect", "source": 5}, "inspect.source is 5, of the wrong type"),
    ({"kind": "inspect", "source": "a", "metadata": 1}, "inspect.metadata is 1, of the wrong type"),
    ({"kind": "convert", "source": "a"}, "missing 1 required"),
    ({"kind": "convert", "source": "a", "target": "b", "steps": [{"kind": "inspect", "source": "a"}]},
     "'inspect' is no step"),
    ({"kind": "convert", "source": "a", "target": "b", "steps": "orient"}, "convert.steps is 'orient'"),
    ({"kind": "convert", "source": "a", "target": "b", "load": {"x": 1}}, "convert.load is"),
    ({"kind": "join", "sources": ["a", 5], "target": "b"}, "join.sources is 5"),
])
def test_other_data_is_refused(data: dict[str, object], message: str) -> None:
    with pytest.raises(ValueError, match=message):
        batch.from_data(data, batch.Job)


@pytest.mark.parametrize(("make", "message"), [
    (lambda: batch.Resize(), "needs a width"), (lambda: batch.Resize(0), "0 pixels"),
    (lambda: batch.Resize(scale=0), "not above 0"), (lambda: batch.Resize(5, fit="round"), "not one of inside"),
    (lambda: batch.Flip("over"), "not horizontal"), (lambda: batch.Split("a.gif", "a.png"), "no {number}"),
])
def test_senseless_steps_are_refused(make: object, message: str) -> None:
    with pytest.raises(ValueError, match=message):
        make()  # type: ignore[operator]


def test_fingerprints_tell_work_apart_and_nothing_else() -> None:
    prints = {fingerprint(job, "1") for job in JOBS}
    assert len(prints) == len(JOBS)
    one = batch.Convert("/a.png", "/b.png")
    assert fingerprint(one, "1") == fingerprint(batch.Convert("/a.png", "/b.png", overwrite=True), "1")
    assert fingerprint(one, "1") != fingerprint(one, "2")


def test_numbers_in_targets() -> None:
    assert numbered("{stem}-{number:03}.{number}{x}", 7) == "{stem}-007.7{x}"


@pytest.mark.parametrize(("step", "size"), [
    (batch.Resize(200), (200, 100)), (batch.Resize(height=50), (100, 50)), (batch.Resize(scale=0.1), (40, 20)),
    (batch.Resize(100, 100), (100, 50)), (batch.Resize(100, 100, fit="cover"), (200, 100)),
    (batch.Resize(100, 100, fit="exact"), (100, 100)), (batch.Resize(800, enlarge=False), (400, 200)),
    (batch.Resize(800), (800, 400)), (batch.Resize(1, 1), (1, 1)), (batch.Resize(333), (333, 166)),
])
def test_sizes(step: batch.Resize, size: tuple[int, int]) -> None:
    assert new_size(400, 200, step) == size


def test_the_formats_are_those_of_the_library() -> None:
    for wanted, registry in (("reads", ImageLoadersRegistry), ("options", ImageExportersRegistry)):
        registered = int(registry.registered_formats)
        members = {member.name for member in FileFormat if registered & int(member)}
        listed = [form for form in formats.FORMATS.values() if getattr(form, wanted)]
        assert members <= {name for form in listed for name in form.members}
        assert all(members & set(form.members) for form in listed)


def test_the_extensions_are_those_of_the_library() -> None:
    listed = set()
    for source in ROOT.glob("runtime/native/formats/*/*_format.cpp"):
        for line in re.findall(r"k\w*Extensions\[\] = \{(.*?)\}", source.read_text(), re.DOTALL):
            listed |= set(re.findall(r'"(\w+)"', line))
    assert listed and listed == {extension for form in formats.FORMATS.values() for extension in form.extensions}
