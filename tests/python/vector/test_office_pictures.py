"""Drawings beside an office suite that no one here wrote: the same files as pictures, and files that it wrote itself.

Both are pictures of one size. They may differ by the mean that stands beside each page in support/office_suite.py, and
may cover parts of the page that differ by a tenth.
"""

from __future__ import annotations

import base64
import io
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image
from zelmor.imaging.imageoptions import OdgRasterizationOptions, PngOptions

from support.drawn_documents import CONTENTS, document
from support.office_files import (
    cdr, cdr_curve, cdr_ellipse, cdr_gradient, cdr_rectangle, cmx, cmx_curve, cmx_ellipse, cmx_rectangle, fodg)
from support.office_suite import (
    covered, converted, HEIGHT, nearest_difference, OFFICE, on_white, page_file, PAGES, WIDTH)

pytestmark = pytest.mark.skipif(OFFICE is None, reason="needs an office suite: Debian's libreoffice-draw-nogui "
                                                       "(purpose office of packages.txt)")

TRIANGLE = [(-0.1, -0.1), (0.1, -0.1), (0.0, 0.2)]
#: CDR and CMX files, by names that begin with the kind.
PARSED = {
    "cdr-shapes": cdr(cdr_rectangle(-0.75, -0.25, 0.5, 0.5, 1, 1) + cdr_ellipse(0.25, -0.125, 0.5, 0.25, 1)
                      + cdr_curve(TRIANGLE, 1)),
    "cdr-gradient": cdr(cdr_rectangle(-0.75, -0.25, 1, 0.5, 3),
                        more=cdr_gradient(3, [(0, (100, 0, 0, 0)), (100, (0, 100, 0, 0))])),
    "cmx-shapes": cmx(cmx_rectangle(-0.5, 0, 0.5, 0.5, 1) + cmx_ellipse(0.5, 0, 0.5, -0.25, 2)
                      + cmx_curve(TRIANGLE, 2)),
}
#: What the office suite can draw of these; it has no blending, blurs less, and makes groups too transparent.
SVG = {"shapes": 2.5, "gradients": 4.5, "clips": 2.5, "text": 3.5, "mask": 2.0, "image": 2.5}
#: What it writes as other files. Its gradients become bands in metafiles, which it draws with gaps.
WRITTEN = {"fills": 4.5, "lines": 7.5, "outlines": 7.0, "paths": 7.5, "custom": 5.5, "connectors": 3.0, "text": 9.5,
           "list": 0.8, "table": 11.0, "sphere": 4.0}


def ours(data: bytes, size: tuple[int, int]) -> Any:
    """The first page as a picture of this size."""
    options, shown = PngOptions(), OdgRasterizationOptions()
    shown.background_color = Color.white
    shown.page_width, shown.page_height = map(float, size)
    options.vector_rasterization_options = shown
    target = io.BytesIO()
    with Image.load(io.BytesIO(data)) as image:
        image.save(target, options)
    with Pillow.open(target) as picture:
        return picture.convert("RGB")


def assert_alike(one: Any, other: Any, most: float) -> None:
    assert covered(one) == pytest.approx(covered(other), rel=0.1, abs=0.004)
    assert nearest_difference(one, other) < most


@pytest.fixture(scope="module")
def drawings(tmp_path_factory: pytest.TempPathFactory) -> dict[str, Path]:
    """All drawings as files."""
    folder = tmp_path_factory.mktemp("drawings")
    contents = {f"{name}.fodg": page_file(name) for name in PAGES}
    contents |= {f"svg-{name}.svg": document(CONTENTS[name]) for name in SVG}
    contents |= {f"{name}.{name[:3]}": data for name, data in PARSED.items()}
    for name, data in contents.items():
        (folder / name).write_bytes(data)
    return {Path(name).stem: folder / name for name in contents}


@pytest.fixture(scope="module")
def theirs(drawings: dict[str, Path], tmp_path_factory: pytest.TempPathFactory) -> dict[str, Any]:
    """The pictures that the office suite makes of them."""
    made = converted(tmp_path_factory.mktemp("theirs"), list(drawings.values()), "png")
    return {name: on_white(path) for name, path in made.items()}


@pytest.mark.parametrize("name", PAGES)
def test_opendocument(drawings: dict[str, Path], theirs: dict[str, Any], name: str) -> None:
    assert theirs[name].size == (WIDTH, HEIGHT)
    with Image.load(str(drawings[name])) as image:
        assert (image.width, image.height) == (WIDTH, HEIGHT)
    assert_alike(ours(drawings[name].read_bytes(), (WIDTH, HEIGHT)), theirs[name], PAGES[name][1])


@pytest.mark.parametrize("name", SVG)
def test_svg(drawings: dict[str, Path], theirs: dict[str, Any], name: str) -> None:
    picture = theirs[f"svg-{name}"]  # a pixel larger
    assert_alike(ours(drawings[f"svg-{name}"].read_bytes(), picture.size), picture, SVG[name])


@pytest.mark.parametrize("name", PARSED)
def test_cdr_and_cmx(drawings: dict[str, Path], theirs: dict[str, Any], name: str) -> None:
    picture = theirs[name]
    with Image.load(str(drawings[name])) as image:
        assert abs(image.width - picture.width) <= 1 and abs(image.height - picture.height) <= 1
    assert_alike(ours(PARSED[name], picture.size), picture, 3.0)


@pytest.fixture(scope="module", params=["emf", "wmf", "svg", "odg"])
def written(request: pytest.FixtureRequest, drawings: dict[str, Path],
            tmp_path_factory: pytest.TempPathFactory) -> tuple[str, dict[str, Path], dict[str, Any]]:
    """The drawings as files that the office suite wrote, and as the pictures that it makes of these."""
    kind, folder = request.param, tmp_path_factory.mktemp("written")
    files = converted(folder / "files", [drawings[name] for name in WRITTEN], kind)
    seen = files
    if kind in ("emf", "wmf"):
        # As the only picture of a page, since a metafile alone is shown in the middle of a large one.
        seen = {}
        for name, path in files.items():
            seen[name] = folder / f"{name}.fodg"
            seen[name].write_bytes(fodg(
                f'<draw:frame svg:x="0px" svg:y="0px" svg:width="{WIDTH}px" svg:height="{HEIGHT}px"><draw:image>'
                f"<office:binary-data>{base64.b64encode(path.read_bytes()).decode()}</office:binary-data></draw:image>"
                "</draw:frame>", size=(WIDTH, HEIGHT)))
    pictures = converted(folder / "pictures", list(seen.values()), "png")
    return kind, files, {name: on_white(path) for name, path in pictures.items()}


@pytest.mark.parametrize("name", WRITTEN)
def test_files_that_it_wrote(written: tuple[str, dict[str, Path], dict[str, Any]], name: str) -> None:
    kind, files, pictures = written
    with Image.load(str(files[name])) as image:
        assert abs(image.width - WIDTH) <= 1 and abs(image.height - HEIGHT) <= 1
    assert_alike(ours(files[name].read_bytes(), pictures[name].size), pictures[name], WRITTEN[name])
