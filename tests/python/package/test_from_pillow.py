"""Each row of docs/from_pillow.md, run beside Pillow: pictures, values and files have to be the same, or nearly so."""

from __future__ import annotations

import io
import re
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import arrays, imaging

from support.cookbook_pictures import write_pictures
from support.places import ROOT

TEXT = (ROOT / "docs" / "from_pillow.md").read_text()
_PREAMBLES = re.findall(r"```python\n(.*?)```", TEXT, re.DOTALL)
_SPAN = re.compile(r"`([^`]+)`")


def rows() -> list[tuple[str, str]]:
    """The rows of all tables but those that are no programs."""
    found = []
    for line in TEXT.partition("## Errors")[0].splitlines():
        if line.startswith("| `"):
            cells = [cell for cell in re.split(r"(?<=`) \| (?=`)", line.strip("| "))]
            assert len(cells) == 2, line
            found.append(("\n".join(_SPAN.findall(cells[0])), "\n".join(_SPAN.findall(cells[1]))))
    return found


#: The greatest mean difference of two pictures, where it is not 0.6: other roundings, kernels, and edges of shapes.
TOLERANCES = {'im.save("out.jpg", quality=80)': 3.0, "im = im.quantize(16)": 40.0, "im.thumbnail((90, 90))": 1.5,
              "im = im.rotate(20, Image.Resampling.BILINEAR)": 2.5,
              'im = im.convert("1", dither=Image.Dither.NONE)': 2.0,  # grays that are rounded differently
              'ImageDraw.Draw(im).line((10, 10, 110, 60), "red", 3)': 1.0,
              'ImageDraw.Draw(im).polygon([(10, 10), (90, 30), (40, 90)], "lime")': 1.0,
              'im = ImageOps.exif_transpose(Image.open("sideways.jpg"))': 2.0,
              "im = im.filter(ImageFilter.GaussianBlur(3))": 1.0}


class Outcome:
    """What a row did: the value of its last line, its picture, and its files."""

    def __init__(self, folder: Path, preamble: str, code: str, picture: str) -> None:
        names: dict[str, Any] = {"io": io, "np": np, "file": io.BytesIO(), "data": Path("photo.png").read_bytes(),
                                 "pixels": np.asarray(Pillow.open("photo.png"))[::-1]}
        exec(preamble, names)
        *before, last = code.splitlines()
        exec("\n".join(before), names)
        try:
            expression = compile(last, "row", "eval")
        except SyntaxError:
            exec(last, names)
            self.value = None
        else:
            self.value = eval(expression, names)
        self.picture = names[picture]
        self.files = [names["file"]] if names["file"].getvalue() else []
        self.files += [io.BytesIO(path.read_bytes()) for path in sorted(folder.glob("out.*"))]
        for path in folder.glob("out.*"):
            path.unlink()


def plain(value: Any) -> Any:
    """A value in Python's own terms."""
    if isinstance(value, imaging.Color):
        return (value.r, value.g, value.b)
    if isinstance(value, tuple):
        return tuple(part if isinstance(part, int) else round(float(part), 1) for part in value)
    return value.tolist() if isinstance(value, np.ndarray) else value


def pixels(picture: Any) -> Any:
    found = np.asarray(picture.convert("RGB"))
    return found.astype(int)


@pytest.fixture(scope="module", name="pictures")
def pictures_fixture(tmp_path_factory: pytest.TempPathFactory) -> Path:
    folder = tmp_path_factory.mktemp("pillow")
    write_pictures(folder)
    Pillow.open(folder / "photo.jpg").save(folder / "photo.png")
    return folder


@pytest.mark.parametrize("theirs, ours", [pytest.param(*row, id=row[0][:60]) for row in rows()])
def test_row(pictures: Path, monkeypatch: pytest.MonkeyPatch, theirs: str, ours: str) -> None:
    monkeypatch.chdir(pictures)
    known = Outcome(pictures, _PREAMBLES[0], theirs, "im")
    found = Outcome(pictures, _PREAMBLES[1], ours, "image")
    if not (isinstance(known.value, (Pillow.Image, type(None))) or theirs.endswith(".load()")):
        assert plain(found.value) == plain(known.value)
    tolerance = TOLERANCES.get(theirs, 0.6)
    made = arrays.to_pillow(found.picture, "RGBA" if getattr(found.picture, "has_alpha", False) else "RGB")
    assert made.size == known.picture.size
    assert np.abs(pixels(made) - pixels(known.picture)).mean() <= tolerance
    assert len(found.files) == len(known.files)
    for mine, their in zip(found.files, known.files):
        first, second = Pillow.open(mine), Pillow.open(their)
        assert (first.format, first.mode, first.size) == (second.format, second.mode, second.size)
        assert getattr(first, "n_frames", 1) == getattr(second, "n_frames", 1)
        for frame in range(getattr(first, "n_frames", 1)):
            first.seek(frame)
            second.seek(frame)
            assert np.abs(pixels(first) - pixels(second)).mean() <= tolerance


def test_there_are_rows_and_each_does_something() -> None:
    found = rows()
    assert len(found) >= 50
    assert len({theirs for theirs, _ in found}) == len(found)
    assert set(TOLERANCES) <= {theirs for theirs, _ in found}
