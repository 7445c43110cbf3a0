"""CDR and CMX drawings through the API: pages, what is drawn where, and the documents of their records."""

from __future__ import annotations

import io
import random
import struct
from pathlib import Path
from typing import Any
from xml.etree import ElementTree

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image
from zelmor.imaging.fileformats.cdr import CdrImage, CdrImagePage
from zelmor.imaging.fileformats.cdr.const import CdrColorModel
from zelmor.imaging.fileformats.cdr.enum import CdrFillType
from zelmor.imaging.fileformats.cdr.objects import (
    CdrArrow, CdrBmp, CdrCurve, CdrEllipse, CdrFill, CdrFillTransform, CdrListObjects, CdrObjectContainer, CdrOutline,
    CdrPage, CdrPattern, CdrPpdt, CdrRectangle, CdrSpnd, CdrStyd, CdrStyle, CdrText, CdrTransforms, CdrUserPalette,
    CdrVectorPattern, CdrVersion)
from zelmor.imaging.fileformats.cmx import CmxImage, CmxImagePage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxObject
from zelmor.imaging.fileformats.cmx.objectmodel.enums import (CapsTypes, ColorModels, FillTypes, GradientTypes,
                                                              JoinTypes, LineTypes, PathJumpTypes)
from zelmor.imaging.fileformats.cmx.objectmodel.specs import (CmxEllipseSpec, CmxImageSpec, CmxPathSpec,
                                                              CmxRectangleSpec)
from zelmor.imaging.imageoptions import CdrRasterizationOptions, PngOptions, SvgOptions

from support.cdr_documents import objects_of
from support.image_oracles import managed_error
from support.office_files import (
    CMX_END, CdrParagraph, cast, cdr, cdr_arrow, cdr_artistic, cdr_bitmap, cdr_curve, cdr_ellipse, cdr_font,
    cdr_gradient, cdr_letters, cdr_paragraphs, cdr_pattern, cdr_picture, cdr_picture_shape, cdr_rectangle, cdr_shape,
    cdr_style_chunk, cdr_style_table, cdr_text, cdr_tiles, chunk, cmx, cmx_command, cmx_curve, cmx_ellipse, cmx_part,
    cmx_raster, cmx_rectangle, listed, long_cmx, long_length)

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


@pytest.mark.parametrize("version", [600, 1300, 1500])
def test_the_gradients_of_fills(version: int) -> None:
    stops = [(0, (100, 0, 0, 0)), (40, (0, 100, 0, 0)), (100, (0, 0, 0, 100))]
    data = cdr(cdr_shape(2, bytes(20), 0, 0, 3, version=version), more=cdr_gradient(3, stops, version), version=version)
    fill = next(each for each in objects_of(data, CdrFill) if each.id == 3)
    assert fill.fill_type == CdrFillType.GRADIENT
    gradient = fill.gradient
    assert (gradient.type, gradient.mode, gradient.edge_offset) == (1, 1, 10)
    assert (gradient.angle, gradient.center_x_offset, gradient.center_y_offset) == (45, 3, 4)
    assert gradient.mid_point == 0.5
    found = [(round(stop.offset, 4), stop.color.color_value & 0xFFFFFFFF) for stop in gradient.stops]
    assert found == [(0, 100), (0.4, 100 << 8), (1, 100 << 24)]
    assert (fill.color1.color_value, fill.color2.color_value) == (100, 100 << 24)
    assert fill.color1.color_model == CdrColorModel.CMYK_100X02


@pytest.mark.parametrize(("number", "kind"), [(7, CdrFillType.PATTERN), (9, CdrFillType.BITMAP),
                                              (10, CdrFillType.FULL_COLOR)])
@pytest.mark.parametrize("version", [600, 1300])
def test_the_tiles_of_fills(number: int, kind: CdrFillType, version: int) -> None:
    data = cdr(cdr_shape(2, bytes(20), 0, 0, 3, version=version), more=cdr_tiles(3, number, 5, version),
               version=version)
    fill = next(each for each in objects_of(data, CdrFill) if each.id == 3)
    image = fill.image_fill
    assert (fill.fill_type, image.id, image.width, image.height) == (kind, 5, 1, 0.5)
    assert (image.x_offset, image.y_offset) == ((0.25, 0.5) if version < 900 else (0, 0))
    assert image.rcp_offset == 0.75
    assert not image.is_relative and image.flags == 0
    if number == 7:
        assert (fill.color1.color_value, fill.color2.color_value) == (100 << 24, 100)


def test_the_dashes_and_arrows_of_lines() -> None:
    line = struct.pack("<IHHHxx", 5, 4, 1, 2) + struct.pack("<iHxxi52x", 25400, 100, 0) + struct.pack("<H6xI16x", 2, 0)
    line += struct.pack("<H11HII", 2, 3, 1, *[0] * 9, 6, 7)
    data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=chunk(b"outl", line))
    found = next(each for each in objects_of(data, CdrOutline) if each.id == 5)
    assert (found.line_type, found.caps_type, found.join_type, found.line_width) == (4, 1, 2, 0.1)
    assert list(found.dash_array) == [3, 1] and (found.start_marker_id, found.end_marker_id) == (6, 7)


def test_pictures_patterns_and_arrows() -> None:
    rows = bytes([0, 1, 0, 0, 1, 0, 1, 0])
    more = cdr_bitmap(4, bytes(range(6)), 3, 2, rows) + cdr_pattern(5, 8, 2, b"\xaa\0\0\0\x55\0\0\0")
    data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=more + cdr_arrow(6, TRIANGLE))
    bitmap, = objects_of(data, CdrBmp)
    assert (bitmap.id, bitmap.color_model, bitmap.width, bitmap.height) == (4, 3, 3, 2)
    assert (bitmap.bits_per_pixel, bitmap.bytes_per_line, bitmap.image_size) == (8, 4, 8)
    assert bytes(bitmap.color_palette) == bytes(range(6)) and bytes(bitmap.data) == rows
    pattern, = objects_of(data, CdrPattern)
    assert (pattern.id, pattern.width, pattern.height, pattern.bits_per_pixel, pattern.data_size) == (5, 8, 2, 1, 8)
    assert bytes(pattern.data) == b"\xaa\0\0\0\x55\0\0\0"
    arrow, = objects_of(data, CdrArrow)
    assert arrow.id == 6 and bytes(arrow.point_types) == b"\0\x40\x48"
    assert [(point.x, point.y) for point in arrow.points] == TRIANGLE


def test_what_has_numbers_alone() -> None:
    matrix = struct.pack("<6d", 1, 2, 254000, 3, 4, 508000)
    color = struct.pack("<II36x", 8, 9) + struct.pack("<H6x", 2) + bytes((1, 2, 3, 4))
    knots = struct.pack("<H4x", 1) + struct.pack("<ii", 254000, 127000) + struct.pack("<I", 7)
    data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=chunk(b"ftil", matrix) + chunk(b"uidr", color)
               + chunk(b"ppdt", knots) + chunk(b"spnd", struct.pack("<I", 11))
               + chunk(b"vpat", struct.pack("<I", 12) + b"<CDR>"))
    transform = objects_of(data, CdrFillTransform)[0].transform
    assert list(transform.elements) == [1, 3, 2, 4, 1, 2]
    entry, = objects_of(data, CdrUserPalette)
    assert (entry.color_id, entry.user_id, entry.color.color_value) == (8, 9, 0x04030201)
    spline, = objects_of(data, CdrPpdt)
    assert [(point.x, point.y) for point in spline.points] == [(1, 0.5)] and list(spline.knot_vector) == [7]
    assert objects_of(data, CdrSpnd)[0].id == 11
    vectors, = objects_of(data, CdrVectorPattern)
    assert (vectors.id, bytes(vectors.data)) == (12, b"<CDR>")


def test_a_picture_is_drawn_in_its_place(tmp_path: Path) -> None:
    """Mirrored, since y points up and pictures are turned with it."""
    data = cdr(cdr_picture_shape(-0.75, -0.25, 1, 0.5, 4), more=cdr_picture(4, [0xFF0000] * 8 + [0x0000FF] * 8))
    page = drawn(Image.load(io.BytesIO(data)), tmp_path)
    assert page[48, 30].tolist() == [0, 0, 255] and page[48, 110].tolist() == [255, 0, 0]
    assert page[20, 60].tolist() == page[48, 130].tolist() == [255, 255, 255]


def test_the_texts_of_a_cdr_document() -> None:
    data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=cdr_text(21, b"Words"))
    text, = objects_of(data, CdrText)
    assert (text.id, text.style_id, text.text) == (21, 9, "Words")
    assert [(style.id, style.font_size) for style in text.styles] == [(1, 0.5)]
    assert list(text.char_descriptions) == [2] * 5
    document = cast(CdrImage, Image.load(io.BytesIO(data))).cdr_document
    assert [each.text for each in document.text_collection.get_text(21)] == ["Words"]
    # As many letters as it says, whatever comes behind; fewer where they end before.
    for rest, expected in ((bytes(range(1, 41)), "Words"), (None, "Word")):
        chunk_data = cdr_text(21, b"Words")[8:]
        chunk_data = chunk_data + rest if rest else chunk_data[:-8]
        data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=chunk(b"txsm", chunk_data))
        assert [each.text for each in objects_of(data, CdrText)] == [expected]
    assert list(document.text_collection.get_text(22)) == []


#: Version 8 is written with and without a set of entries of which the version tells nothing.
STYLED = [(700, None), (800, None), (800, True), (801, None), (900, None), (1000, None), (1200, None), (1300, None),
          (1400, None), (1500, None)]


def styled(version: int, last_set: bool | None = None, framed: bool = False, along_path: bool = False,
           fill: int = 2) -> bytes:
    """Two paragraphs, with a style table."""
    first = CdrParagraph("One two", [cdr_letters(version, 6, 204, 0.25, encoding="ru"), cdr_letters(
        version, fill=fill, line=1)], [0, 0, 0, 0, 1, 1, 1])
    second = CdrParagraph("\u03a9b\xe4" if version >= 1200 else "ab\xe4", [cdr_letters(version, 7)], [0, 0, 0], 10)
    texts = cdr_paragraphs(21, version, first, second, framed=framed, along_path=along_path)
    fonts = [cdr_font(5, "DejaVu Sans", 0, version), cdr_font(6, "DejaVu Serif", 0, version),
             cdr_font(6, "Other", 0, version), cdr_font(7, "DejaVu Sans Mono", 204, version)]
    return cdr(cdr_artistic(21, -0.9, 0, version), more=b"".join(fonts) + cdr_style_table(version, last_set) + texts,
               version=version)


@pytest.mark.parametrize(("version", "last_set"), STYLED)
def test_the_style_table_of_a_cdr_document(version: int, last_set: bool | None) -> None:
    data = styled(version, last_set)
    table = next(each for each in objects_of(data, CdrListObjects) if each.type == "stlt")
    first, second = (cast(CdrStyle, each) for each in table.items)
    assert (first.id, first.parent_id, second.id, second.parent_id) == (9, 0, 10, 9)
    assert (first.font_name, first.charset, first.font_size, first.align) == ("DejaVu Sans", 0, 0.5, 3)
    assert (first.right_indent, first.first_indent, first.left_indent) == (0.25, 0.75, 1.5)
    assert first.fill.id == 1 and first.fill.color1.color_value == 100 << 24
    assert first.out_line.id == 1 and round(first.out_line.line_width, 6) == 0.1
    assert second.font_name is None and second.fill is None and second.out_line is None and second.font_size == 0
    assert first.parent.items[0] is not None and cast(CdrListObjects, first.parent).type == "stlt"


@pytest.mark.parametrize(("framed", "along_path"), [(False, False), (True, False), (False, True), (True, True)])
@pytest.mark.parametrize("version", sorted({version for version, _ in STYLED}))
def test_the_paragraphs_of_a_text(version: int, framed: bool, along_path: bool) -> None:
    data = styled(version, None, framed, along_path)
    document = cast(CdrImage, Image.load(io.BytesIO(data))).cdr_document
    first, second = texts = list(document.text_collection.get_text(21))
    assert [(text.id, text.style_id) for text in texts] == [(21, 9), (21, 10)]
    assert [text.text for text in objects_of(data, CdrText)] == [text.text for text in texts]
    # The byte E4 is a letter of the Cyrillic set, which the font of the second paragraph has.
    assert (first.text, second.text) == ("One two", "\u03a9b\u0434" if version >= 1200 else "ab\u0434")
    one, two = first.styles
    assert (one.id, one.font_name, one.charset, one.font_size) == (6, "DejaVu Serif", 204, 0.25)
    assert one.fill is None and two.fill.id == 2 and two.out_line.id == 1 and two.font_name is None
    assert [number >> 17 for number in first.char_descriptions] == [0] * 4 + [1] * 3
    assert [number & 1 for number in second.char_descriptions] == [int(version >= 1200), 0, 0]
    assert [(style.font_name, style.charset) for style in second.styles] == [("DejaVu Sans Mono", 204)]


@pytest.mark.parametrize(("version", "fill"), [(700, 2), (801, 2), (1200, 2), (1300, 0), (1500, 0)])
def test_the_drawing_library_sees_the_same_text(version: int, fill: int, tmp_path: Path) -> None:
    """What it draws, as letters of an SVG file; fills of letters of version 13 on are known to later releases of it."""
    data = styled(version, fill=fill)
    options = SvgOptions()
    options.vector_rasterization_options = CdrRasterizationOptions()
    Image.load(io.BytesIO(data)).save(str(tmp_path / "a.svg"), options)
    shown = "".join(ElementTree.parse(tmp_path / "a.svg").getroot().itertext())
    texts = "".join(text.text for text in objects_of(data, CdrText))
    assert "".join(shown.split()) == "".join(texts.split())


def test_the_styles_of_the_sixth_version() -> None:
    more = cdr_font(5, "DejaVu Sans") + listed(b"stlt", cdr_style_chunk(9)) + cdr_text(21, b"Words")
    data = cdr(cdr_rectangle(-0.5, -0.25, 1, 0.5, 1), more=more)
    chunk_of_style, = objects_of(data, CdrStyd)
    style = cast(CdrStyle, chunk_of_style.items[0])
    assert (chunk_of_style.style_id, style.id, style.parent_id) == (9, 9, 8)
    assert (style.font_name, style.font_size, style.align) == ("DejaVu Sans", 0.5, 3)
    assert (style.fill.id, style.out_line.id) == (1, 1)


def test_styles_that_are_missing_or_based_on_each_other() -> None:
    table = bytearray(cdr_style_table(700))
    at = table.index(struct.pack("<III", 3, 9, 0))
    table[at + 8:at + 12] = struct.pack("<I", 10)  # 9 is based on 10, which is based on 9
    text = cdr_paragraphs(21, 700, CdrParagraph("a\xe4", [cdr_letters(700, 99, 0, fill=98, line=97)], [0, 5], 10))
    found, = objects_of(cdr(cdr_rectangle(0, 0, 0.5, 0.5, 1), more=bytes(table) + text, version=700), CdrText)
    style, = found.styles
    assert (found.text, style.id, style.font_name, style.fill, style.out_line) == ("a\xe4", 99, None, None, None)


@pytest.mark.parametrize("good", [cdr_style_table(900), cdr_paragraphs(21, 900, CdrParagraph("ab", [], [0, 0]))],
                         ids=["styles", "text"])
def test_counts_beyond_the_file_take_no_memory(good: bytes) -> None:
    read = 0
    for at in range(12, len(good) - 4):
        if good[at:at + 4] not in (b"\1\0\0\0", b"\2\0\0\0"):
            continue
        wrong = good[:at] + b"\xff\xff\xff\x7f" + good[at + 4:]
        try:
            assert objects_of(cdr(cdr_ellipse(0, 0, 0.5, 0.5, 1), more=wrong, version=900), CdrObjectContainer)
            read += 1
        except RuntimeError as error:
            assert "ImageLoadException" in str(error)  # the parser that draws it refuses the file
    assert read > 0


@pytest.mark.parametrize("version", [1300, 1500])
def test_fills_and_lines_of_the_later_versions(version: int) -> None:
    data = styled(version)
    fill = next(each for each in objects_of(data, CdrFill) if each.id == 1)
    assert (fill.fill_type, fill.color1.color_model, fill.color1.color_value) == (
        CdrFillType.SOLID, CdrColorModel.CMYK_100X02, 100 << 24)
    line, = objects_of(data, CdrOutline)
    assert (line.id, line.line_type, round(line.line_width, 6), line.stretch) == (1, 2, 0.1, 1)
    assert line.color.color_value == 100 << 24


@pytest.mark.parametrize("more", [cdr_gradient(3, [(0, (1, 2, 3, 4))]), cdr_tiles(3, 7, 5), cdr_tiles(3, 9, 5),
                                  cdr_bitmap(4, bytes(6), 2, 2, bytes(8)), cdr_pattern(5, 8, 1, bytes(4)),
                                  cdr_arrow(6, TRIANGLE), cdr_text(7, b"Words"),
                                  cdr_style_chunk(7)])
def test_chunks_that_end_early_give_what_they_have(more: bytes) -> None:
    for length in range(8, len(more), 7):
        cut = chunk(more[:4], more[8:length])
        try:
            image = Image.load(io.BytesIO(cdr(cdr_rectangle(0, 0, 0.5, 0.5, 1), more=cut)))
            assert len(cast(CdrImage, image).cdr_document.items) > 0
        except RuntimeError as error:
            assert "ImageLoadException" in str(error)  # the parser that draws it refuses the file


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


def shape_of(data: bytes) -> CmxObject:
    shape, = cast(CmxImage, Image.load(io.BytesIO(data))).document.pages[0].layers[0].elements
    return cast(CmxObject, shape)


#: A rectangle, behind its attributes.
PLACE = struct.pack("<5hh", 0, 0, 1500, 500, 0, 900)
#: Outline 1: color 2, line style 1, pen 1, dashes 1.
OUTLINES = ((b"rotl", struct.pack("<H6H", 1, 1, 0, 2, 0, 1, 1)), (b"rott", struct.pack("<HBB", 1, 4, 0x21)),
            (b"rpen", struct.pack("<HhHhHH", 1, 100, 200, 300, 0, 1)), (b"rdot", struct.pack("<HHHH", 1, 2, 3, 1)))
FOUNTAIN = struct.pack("<H3HhHhhHHH4H", 2, 1, 7, 10, 450, 0, 3, 4, 64, 1, 2, 1, 0, 2, 100)


def test_the_fountain_fills_and_outlines_of_cmx(tmp_path: Path) -> None:
    data = cmx(cmx_command(68, b"\3" + FOUNTAIN + struct.pack("<H", 1) + PLACE), tables=OUTLINES)
    shape = shape_of(data)
    fill, gradient = shape.fill_style, shape.fill_style.gradient
    assert fill.fill_type == FillTypes.FOUNTAIN and gradient.type == GradientTypes.LINEAR
    assert (gradient.screen, gradient.edge_offset, gradient.angle, gradient.steps, gradient.mode) == (7, 10, 45, 64, 1)
    assert (gradient.center_x_offset, gradient.center_y_offset) == (3, 4)
    assert [color.value for color in gradient.colors] == [0xFF0000, 0x0000FF] and list(gradient.offsets) == [0, 1]
    assert (fill.color1.value, fill.color2.value) == (0xFF0000, 0x0000FF)
    outline = shape.outline
    assert (outline.line_type, outline.caps_type, outline.join_type) == (
        LineTypes.DASHED, CapsTypes.ROUND, JoinTypes.BEVELED_CORNERS)
    assert (round(outline.line_width, 6), outline.stretch, outline.angle) == (0.1, 2, 30)
    assert (outline.color.value, list(outline.stroke)) == (0x0000FF, [3, 1])
    assert cast(CmxRectangleSpec, shape.object_spec).angle == 90
    # The library that draws sees the same fill: both colors, and others between them.
    page = drawn(Image.load(io.BytesIO(cmx(cmx_command(68, b"\1" + FOUNTAIN + PLACE[:-2] + b"\0\0")))), tmp_path)
    shown = page[40:56, 60:130].reshape(-1, 3)
    assert (shown[:, 0] > 150).any() and (shown[:, 2] > 150).any() and len({tuple(color) for color in shown}) > 8


def test_the_same_in_a_file_with_long_numbers() -> None:
    base = struct.pack("<3HiiiHHHH", 3, 7, 10, 45000000, 3, 4, 64, 1, 5, 6)
    fountain = cmx_part(1, base) + cmx_part(2, struct.pack("<H4H", 2, 1, 0, 2, 50)) + CMX_END
    attributes = b"\3" + cmx_part(1, struct.pack("<H", 2) + fountain) + CMX_END
    attributes += cmx_part(1, struct.pack("<H", 1)) + CMX_END
    place = b"".join(map(long_length, (0, 0, 1.5, 0.5, 0))) + struct.pack("<i", 90000000)
    outlines = (b"rotl", struct.pack("<H", 1) + cmx_part(1, struct.pack("<6H", 0, 0, 2, 0, 1, 0)) + CMX_END)
    matrix = struct.pack("<H6d", 2, 0, 3, -3, 0, 254000, 0)
    pen = long_length(0.1) + struct.pack("<Hi", 100, 0) + matrix
    pens = (b"rpen", struct.pack("<H", 1) + cmx_part(1, pen) + CMX_END)
    data = long_cmx(cmx_command(68, cmx_part(1, attributes) + cmx_part(2, place) + CMX_END), tables=(outlines, pens))
    shape = shape_of(data)
    gradient = shape.fill_style.gradient
    assert gradient.type == GradientTypes.CONICAL and (gradient.rate_method, gradient.rate_value) == (5, 6)
    assert (gradient.angle, gradient.center_x_offset, gradient.center_y_offset) == (45, 3, 4)
    assert [color.value for color in gradient.colors] == [0xFF0000, 0x0000FF] and list(gradient.offsets) == [0, 0.5]
    assert (shape.outline.color.value, round(shape.outline.line_width, 6)) == (0x0000FF, 0.3)
    spec = cast(CmxRectangleSpec, shape.object_spec)
    assert (spec.width, spec.height, spec.angle) == (1.5, 0.5, 90)


TILES = struct.pack("<7H", 1, 500, 250, 25, 50, 75, 0)
ROWS = b"\xaa\0\0\0\x55\0\0\0"
BMP = b"BM" + struct.pack("<III", 70, 0, 62) + struct.pack("<IIIHHII16x", 40, 8, 2, 1, 1, 0, 8) + bytes(8) + ROWS
TEXTURE = TILES + bytes(8 + 7) + 3 * (struct.pack("<H", 2) + b"ab") + struct.pack("<H4H", 1, 1, 2, 3, 4)


@pytest.mark.parametrize(("kind", "data", "expected"), [
    (7, TILES + struct.pack("<3H", 1, 2, 0), FillTypes.TWO_COLOR_PATTERN),
    (8, TILES + struct.pack("<3H", 1, 2, 0), FillTypes.TWO_COLOR_PATTERN),
    (9, TILES + bytes(8), FillTypes.IMPORTED_BITMAP), (10, TILES + bytes(8), FillTypes.FULL_COLOR_PATTERN),
    (11, TEXTURE, FillTypes.TEXTURE)])
def test_the_tiles_of_cmx(kind: int, data: bytes, expected: FillTypes) -> None:
    glass = struct.pack("<BBHHH", 1, 0, 500, 0, 0)
    shape = shape_of(cmx(cmx_command(68, b"\5" + struct.pack("<H", kind) + data + glass + PLACE), patterns=[BMP]))
    fill, tiles = shape.fill_style, shape.fill_style.image_fill
    assert fill.fill_type == expected and not tiles.is_relative
    assert (tiles.pattern_width, tiles.pattern_height) == (0.5, 0.25)
    assert (tiles.tile_offset_x, tiles.tile_offset_y, tiles.rcp_offset) == (0.25, 0.5, 0.75)
    pattern, = tiles.images
    assert (pattern.width, pattern.height, pattern.bits_per_pixel, pattern.bytes_per_line) == (8, 2, 1, 4)
    assert bytes(pattern.raw_data) == ROWS and len(bytes(pattern.color_palette)) == 8
    assert cast(CmxRectangleSpec, shape.object_spec).width == 1.5
    if kind < 9:
        assert (fill.color1.value, fill.color2.value) == (0xFF0000, 0x0000FF)


def test_a_postscript_fill_of_cmx() -> None:
    fill = struct.pack("<HIH2HH", 6, 1, 2, 3, 4, 5) + b"Bars "
    shape = shape_of(cmx(cmx_command(68, b"\1" + fill + PLACE)))
    assert shape.fill_style.fill_type == FillTypes.POSTSCRIPT
    assert cast(CmxRectangleSpec, shape.object_spec).width == 1.5


def test_the_pictures_of_cmx() -> None:
    rows = bytes([0, 1, 0, 0, 1, 0, 1, 0])
    place = struct.pack("<8h", -500, -250, 500, 250, 0, 0, 100, 50) + struct.pack("<H6d", 2, 1, 2, 3, 4, 1000, 2000)
    data = cmx(cmx_command(69, b"\0" + place + struct.pack("<HH", 5, 1)),
               pictures=[cmx_raster(bytes(range(6)), 3, 2, rows)])
    spec = cast(CmxImageSpec, shape_of(data).object_spec)
    assert (spec.bound_box.x, spec.bound_box.width, spec.image_type) == (-0.5, 1, 5)
    assert round(spec.crop_box.height, 6) == 0.05
    assert list(spec.matrix.elements) == [1, 2, 3, 4, 1, 2]
    picture, = spec.images
    assert (picture.width, picture.height, picture.bits_per_pixel, picture.bytes_per_line) == (3, 2, 8, 4)
    assert (picture.color_model, picture.type, picture.compression) == (3, 1, 0)
    assert bytes(picture.color_palette) == bytes(range(6)) and bytes(picture.raw_data) == rows
    assert picture.size == picture.compressed_size > 70
    missing = cmx(cmx_command(69, b"\0" + place + struct.pack("<HH", 5, 2)))
    assert list(cast(CmxImageSpec, shape_of(missing).object_spec).images) == []


@pytest.mark.parametrize(("data", "name"), [(CDR, "CDR"), (CMX, "CMX")], ids=["cdr", "cmx"])
def test_a_file_that_is_cut_is_damaged(data: bytes, name: str) -> None:
    with managed_error("ImageLoadException", f"the {name}"):
        Image.load(io.BytesIO(data[:120]))


RICH_CMX = cmx(cmx_command(68, b"\3" + FOUNTAIN + struct.pack("<H", 1) + PLACE) + cmx_command(
    68, b"\1" + struct.pack("<H", 11) + TEXTURE + PLACE) + cmx_command(69, bytes(19) + struct.pack("<HH", 5, 1)),
    tables=OUTLINES, patterns=[BMP], pictures=[cmx_raster(bytes(6), 3, 2, bytes(8))])


@pytest.mark.parametrize("good", [CDR, CMX, RICH_CMX], ids=["cdr", "cmx", "rich cmx"])
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
