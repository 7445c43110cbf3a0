"""CDR and CMX drawings through the API: pages, what is drawn where, and the documents of their records."""

from __future__ import annotations

import io
import random
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image
from zelmor.imaging.fileformats.cdr import CdrImage, CdrImagePage
from zelmor.imaging.fileformats.cdr.const import CdrColorModel
from zelmor.imaging.fileformats.cdr.enum import CdrFillType
from zelmor.imaging.fileformats.cdr.objects import (
    CdrCurve, CdrEllipse, CdrFill, CdrListObjects, CdrOutline, CdrPage, CdrRectangle, CdrTransforms, CdrVersion)
from zelmor.imaging.fileformats.cmx import CmxImage, CmxImagePage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxObject
from zelmor.imaging.fileformats.cmx.objectmodel.enums import ColorModels, FillTypes, PathJumpTypes
from zelmor.imaging.fileformats.cmx.objectmodel.specs import CmxEllipseSpec, CmxPathSpec, CmxRectangleSpec
from zelmor.imaging.imageoptions import CdrRasterizationOptions, PngOptions

from support.image_oracles import managed_error
from support.office_files import (
    cast, cdr, cdr_curve, cdr_ellipse, cdr_rectangle, cmx, cmx_curve, cmx_ellipse, cmx_rectangle)

TRIANGLE = [(-0.1, -0.1), (0.1, -0.1), (0.0, 0.2)]
CDR = cdr(cdr_rectangle(-0.75, -0.25, 0.5, 0.5, 1) + cdr_ellipse(0.25, -0.125, 0.5, 0.25, 1) + cdr_curve(TRIANGLE, 1))
CMX = cmx(cmx_rectangle(-0.5, 0, 0.5, 0.5, 1) + cmx_ellipse(0.5, 0, 0.5, -0.25, 2) + cmx_curve(TRIANGLE, 2))


def drawn(image: Any, tmp_path: Path) -> Any:
    options, shown = PngOptions(), CdrRasterizationOptions()
    shown.background_color = Color.white
    shown.page_width, shown.page_height = float(image.width), float(image.height)
    options.vector_rasterization_options = shown
    image.save(str(tmp_path / "page.png"), options)
    return np.asarray(Pillow.open(tmp_path / "page.png").convert("RGB")).astype(int)


def inked(page: Any) -> Any:
    """Where something dark was drawn."""
    return page.min(axis=2) < 128


@pytest.mark.parametrize(("data", "file_format", "colored"), [
    (CDR, FileFormat.CDR, False), (CMX, FileFormat.CMX, True)], ids=["cdr", "cmx"])
def test_shapes_stand_where_they_should(tmp_path: Path, data: bytes, file_format: FileFormat, colored: bool) -> None:
    assert Image.get_file_format(io.BytesIO(data)) == file_format and Image.can_load(io.BytesIO(data))
    image = Image.load(io.BytesIO(data))
    assert (image.width, image.height) == (192, 96)
    page = drawn(image, tmp_path)
    ink = inked(page)
    assert ink[25:71, 25:71].all() and not ink[:23].any() and not ink[:, :23].any()  # the square of half an inch
    assert ink[48, 122:166].all() and not ink[34, 121:168].any() and not ink[48, 170:].any()  # the ellipse
    assert ink[55, 92:100].all() and not ink[32, 90:94].any()  # the triangle
    if colored:
        assert page[48, 48].tolist() == [255, 0, 0] and page[48, 144].tolist() == [0, 0, 255]


def test_the_document_of_a_cdr_file() -> None:
    image = cast(CdrImage, Image.load(io.BytesIO(CDR)))
    document = image.cdr_document
    assert document.version == 600
    versions = [cast(CdrVersion, item) for item in document.items if CdrVersion._is_assignable(item)]
    assert [each.version for each in versions] == [600]
    page = next(cast(CdrPage, item) for item in document.items if CdrPage._is_assignable(item))
    assert (page.page_number, page.width, page.height) == (1, 2, 1)

    found: list[Any] = []

    def walk(container: Any) -> None:
        for item in container.items:
            found.append(item)
            for kind in (CdrListObjects, CdrPage):
                made, inner = kind._cast_to(item)
                if made:
                    walk(inner)

    walk(page)
    rectangle = next(cast(CdrRectangle, item) for item in found if CdrRectangle._is_assignable(item))
    assert (rectangle.width, rectangle.height, rectangle.r0, rectangle.fill_id) == (0.5, 0.5, 0, 1)
    ellipse = next(cast(CdrEllipse, item) for item in found if CdrEllipse._is_assignable(item))
    assert (ellipse.center_x, ellipse.rx, ellipse.ry, ellipse.pie) == (0.25, 0.25, 0.125, False)
    curve = next(cast(CdrCurve, item) for item in found if CdrCurve._is_assignable(item))
    assert [(round(point.x, 4), round(point.y, 4)) for point in curve.points] == TRIANGLE
    assert bytes(curve.point_types) == b"\0\x40\x48"
    moved = next(cast(CdrTransforms, item) for item in found if CdrTransforms._is_assignable(item))
    assert list(moved.transforms) == [1, 0, -0.75, 0, 1, -0.25]


def test_fills_and_lines_of_a_cdr_file(tmp_path: Path) -> None:
    image = cast(CdrImage, Image.load(io.BytesIO(cdr(cdr_rectangle(-0.75, -0.25, 0.5, 0.5, 2, 1)))))
    lists = [cast(CdrListObjects, item) for item in image.cdr_document.items
             if CdrListObjects._is_assignable(item)]
    fills, lines = [cast(CdrListObjects, item).items for item in lists[0].items]
    fill = cast(CdrFill, fills[0])
    assert (fill.id, fill.fill_type, fill.color1.color_model) == (1, CdrFillType.SOLID, CdrColorModel.CMYK_100X02)
    assert fill.color1.color_value == 100 << 24
    line = cast(CdrOutline, lines[0])
    assert (line.id, line.line_type, round(line.line_width, 4), line.stretch) == (1, 2, 0.1, 1)
    page = inked(drawn(image, tmp_path))  # the line goes to both sides of the edge at 24 pixels
    assert page[48, 21:28].all() and not page[48, 30] and not page[48, 18]


def test_the_pages_of_a_cdr_file(tmp_path: Path) -> None:
    data = cdr(cdr_rectangle(-0.75, -0.25, 0.5, 0.5, 1), cdr_rectangle(0.25, -0.25, 0.5, 0.5, 1))
    image = cast(CdrImage, Image.load(io.BytesIO(data)))
    assert image.page_count == 2
    pages = [cast(CdrImagePage, page) for page in image.pages]
    assert [page.page_number for page in pages] == [1, 2] and pages[1].parent_image.page_count == 2
    assert inked(drawn(pages[0], tmp_path))[48, 48] and not inked(drawn(pages[1], tmp_path))[48, 48]


def test_the_document_of_a_cmx_file() -> None:
    image = cast(CmxImage, Image.load(io.BytesIO(CMX)))
    assert image.page_count == 1 and cast(CmxImagePage, image.pages[0]).cmx_page.page_number == 1
    page = image.document.pages[0]
    assert (page.width, page.height, page.bound_box.x, len(page.layers)) == (2, 1, -1, 1)
    layer = page.layers[0]
    assert (layer.name, layer.number, layer.is_visible) == ("lines", 1, True)
    shapes = [cast(CmxObject, element) for element in layer.elements]
    assert [shape.fill_style.fill_type for shape in shapes] == [FillTypes.UNIFORM] * 3
    color = shapes[0].fill_style.color1
    assert (color.color_model, color.value) == (ColorModels.RGB, 0xFF0000)
    rectangle = cast(CmxRectangleSpec, shapes[0].object_spec)
    assert (rectangle.center_x, rectangle.width, rectangle.height, rectangle.radius) == (-0.5, 0.5, 0.5, 0)
    ellipse = cast(CmxEllipseSpec, shapes[1].object_spec)
    assert (ellipse.center_x, ellipse.diameter_x, ellipse.diameter_y, ellipse.pie) == (0.5, 0.5, -0.25, False)
    points = cast(CmxPathSpec, shapes[2].object_spec).points
    assert [(round(point.x, 4), round(point.y, 4)) for point in points] == TRIANGLE
    assert [point.jump_type for point in points] == [PathJumpTypes.MOVE_TO] + [PathJumpTypes.LINE_TO] * 2
    assert points[2].is_closed_path


@pytest.mark.parametrize(("data", "name"), [(CDR, "CDR"), (CMX, "CMX")], ids=["cdr", "cmx"])
def test_a_file_that_is_cut_is_damaged(data: bytes, name: str) -> None:
    with managed_error("ImageLoadException", f"the {name}"):
        Image.load(io.BytesIO(data[:120]))


@pytest.mark.parametrize("good", [CDR, CMX], ids=["cdr", "cmx"])
def test_damaged_files_end(good: bytes, tmp_path: Path) -> None:
    chance = random.Random(7)
    outcomes = set()
    for _ in range(25):
        data = bytearray(good)
        for _ in range(3):
            data[chance.randrange(12, len(data))] = chance.randrange(256)
        try:
            Image.load(io.BytesIO(bytes(data))).save(str(tmp_path / "a.png"), PngOptions())
            outcomes.add("read")
        except RuntimeError:
            outcomes.add("refused")
    assert "read" in outcomes
