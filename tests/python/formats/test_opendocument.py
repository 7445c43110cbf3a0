"""OpenDocument drawings through the API: pages, objects, metadata, and what is drawn where."""

from __future__ import annotations

import io
import random
import zipfile
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image, RotateFlipType, StreamContainer
from zelmor.imaging.fileformats.opendocument import OdgImage, OtgImage
from zelmor.imaging.fileformats.opendocument.objects.brush import OdGradientBrush, OdPatternBrush, OdSolidBrush
from zelmor.imaging.fileformats.opendocument.objects.graphic import (
    OdAngleEllipse, OdCustomShape, OdEnhancedGeometry, OdFrame, OdLine, OdPage, OdPath, OdPolygon, OdRectangle, OdText,
    OdTextParagraph)
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageloadoptions import OdLoadOptions
from zelmor.imaging.imageoptions import OdgRasterizationOptions, PngOptions, SvgOptions, TiffOptions

from support.catalogue import every_class
from support.image_oracles import managed_error
from support.metafiles import NULL_PEN, brush, emf, emf_record, select, words
from support.office_files import cast, RED, TYPE, fodg, odg

RECT = '<draw:rect draw:style-name="red" svg:x="10px" svg:y="20px" svg:width="30px" svg:height="10px"/>'


def opened(data: bytes) -> Any:
    return cast(OdgImage, Image.load(io.BytesIO(data)))


def drawn(data: bytes, tmp_path: Path, page: int = 0) -> Any:
    """The page as pixels on white."""
    options = PngOptions()
    shown = OdgRasterizationOptions()
    shown.background_color = Color.white
    image = opened(data)
    shown.page_width, shown.page_height = float(image.width), float(image.height)
    options.vector_rasterization_options = shown
    image.pages[page].save(str(tmp_path / "page.png"), options)
    return np.asarray(Pillow.open(tmp_path / "page.png").convert("RGB")).astype(int)


def is_red(pixels: Any, x: int, y: int) -> bool:
    return list(pixels[y, x]) == [255, 0, 0]


def is_white(pixels: Any, x: int, y: int) -> bool:
    return list(pixels[y, x]) == [255, 255, 255]


@pytest.mark.parametrize(("data", "kind"), [(odg(RECT), "ODG"), (fodg(RECT), "F_ODG")], ids=["zip", "flat"])
def test_a_page_has_its_size_and_its_shapes(tmp_path: Path, data: bytes, kind: str) -> None:
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat[kind]
    assert Image.can_load(io.BytesIO(data)) and opened(data).file_format == FileFormat[kind]
    image = opened(data)
    assert (image.width, image.height, image.page_count) == (100, 80, 1)
    page = drawn(data, tmp_path)
    assert page.shape == (80, 100, 3)
    inside = np.all(page == [255, 0, 0], axis=2)
    assert inside.sum() == 300 and inside[20:30, 10:40].all()


def test_lengths_have_units(tmp_path: Path) -> None:
    shape = '<draw:rect draw:style-name="red" svg:x="0.25in" svg:y="0.5in" svg:width="18pt" svg:height="6.35mm"/>'
    inside = np.all(drawn(odg(shape), tmp_path) == [255, 0, 0], axis=2)
    assert inside.sum() == 24 * 24 and inside[48:72, 24:48].all()


def test_a_turned_shape_turns_around_the_origin_first(tmp_path: Path) -> None:
    shape = ('<draw:rect draw:style-name="red" svg:width="40px" svg:height="10px" '
             'draw:transform="rotate (1.5707963267949) translate (30px 60px)"/>')
    page = drawn(odg(shape), tmp_path)  # counterclockwise: it stands upright above the point
    assert is_red(page, 35, 25) and is_red(page, 31, 58) and is_white(page, 35, 15) and is_white(page, 45, 40)


def test_an_arrow_has_its_holes(tmp_path: Path) -> None:
    styles = ('<draw:marker draw:name="M" svg:viewBox="0 0 100 100" svg:d="M0 0H100V100H0ZM25 25H75V75H25Z"/>'
              '<style:style style:name="arrow" style:family="graphic"><style:graphic-properties draw:stroke="solid" '
              'svg:stroke-color="#ff0000" svg:stroke-width="1px" draw:marker-end="M" draw:marker-end-width="20px"/>'
              "</style:style>")
    line = '<draw:line draw:style-name="arrow" svg:x1="10px" svg:y1="40px" svg:x2="90px" svg:y2="40px"/>'
    page = drawn(fodg(line, styles=styles), tmp_path)
    assert is_red(page, 72, 32) and is_red(page, 88, 47)
    assert is_white(page, 80, 37) and is_white(page, 80, 43)


BLUE, GREEN = "draw:fill=\"solid\" draw:fill-color=\"#0000ff\"", "draw:fill=\"solid\" draw:fill-color=\"#00ff00\""
HIDDEN, WITHOUT_OBJECTS = 'presentation:background-visible="false"', 'presentation:background-objects-visible="false"'
SEEN = 'presentation:background-visible="true" presentation:background-objects-visible="true"'


@pytest.mark.parametrize(("own", "of_master", "background", "with_shapes"), [
    ("", "", [255, 255, 255], True), ("", BLUE, [0, 0, 255], True), (GREEN, BLUE, [0, 255, 0], True),
    ('draw:fill="none"', BLUE, [0, 0, 255], True), (HIDDEN, BLUE, [255, 255, 255], True),
    (f"{GREEN} {HIDDEN}", BLUE, [0, 255, 0], True), (f'draw:fill="none" {HIDDEN}', BLUE, [255, 255, 255], True),
    (WITHOUT_OBJECTS, BLUE, [0, 0, 255], False), (SEEN, BLUE, [0, 0, 255], True),
    (f"{HIDDEN} {WITHOUT_OBJECTS}", BLUE, [255, 255, 255], False), ("", HIDDEN, [255, 255, 255], True)])
def test_a_page_has_the_background_and_the_shapes_of_its_master(tmp_path: Path, own: str, of_master: str,
                                                                background: list[int], with_shapes: bool) -> None:
    styles = RED + "".join(f'<style:style style:name="{name}" style:family="drawing-page">'
                           f"<style:drawing-page-properties {properties}/></style:style>"
                           for name, properties in (("own", own), ("master", of_master)))
    shape = '<draw:rect draw:style-name="red" svg:x="60px" svg:y="40px" svg:width="10px" svg:height="20px"/>'
    data = fodg(RECT, styles=styles).decode()
    data = data.replace("<draw:page ", '<draw:page draw:style-name="own" ')
    data = data.replace('style:page-layout-name="PM"/>',
                        f'style:page-layout-name="PM" draw:style-name="master">{shape}</style:master-page>')
    data = data.replace("<office:document ", "<office:document xmlns:presentation="
                                             '"urn:oasis:names:tc:opendocument:xmlns:presentation:1.0" ')
    expected = np.full((80, 100, 3), background)
    expected[20:30, 10:40] = [255, 0, 0]
    if with_shapes:
        expected[40:60, 60:70] = [255, 0, 0]
    assert np.array_equal(drawn(data.encode(), tmp_path), expected)


def test_groups_and_hidden_layers(tmp_path: Path) -> None:
    data = odg(f"<draw:g>{RECT}</draw:g>")
    assert is_red(drawn(data, tmp_path), 15, 25)
    hidden = RECT.replace("<draw:rect", '<draw:rect draw:display="none"')
    assert is_white(drawn(odg(hidden), tmp_path), 15, 25)


def test_a_custom_shape_follows_its_formulas(tmp_path: Path) -> None:
    shape = """<draw:custom-shape draw:style-name="red" svg:x="20px" svg:y="10px"
          svg:width="60px" svg:height="60px">
        <draw:enhanced-geometry svg:viewBox="0 0 100 100" draw:modifiers="50"
          draw:enhanced-path="M ?top 0 L right ?mid 0 bottom Z N">
          <draw:equation draw:name="top" draw:formula="$0 *2-100"/>
          <draw:equation draw:name="mid" draw:formula="if(1,height/2,0)"/></draw:enhanced-geometry>
        </draw:custom-shape>"""
    page = drawn(odg(shape), tmp_path)  # a triangle that points to the right
    assert is_red(page, 22, 16) and is_red(page, 76, 40) and is_red(page, 22, 64)
    assert is_white(page, 76, 20) and is_white(page, 76, 60) and is_white(page, 18, 40)


def test_a_metafile_of_the_archive_is_drawn_in_its_frame(tmp_path: Path) -> None:
    """As a drawing: finer than its own pixels, and as shapes in a file without pixels."""
    metafile = emf(select(NULL_PEN), brush(1, 0xFF0000), emf_record(43, words(24, 24, 72, 72)))
    frame = ('<draw:frame svg:x="10px" svg:y="10px" svg:width="48px" svg:height="24px">'
             '<draw:image xlink:href="Pictures/a.emf"/></draw:frame>')
    data = odg(frame, files={"Pictures/a.emf": metafile})
    red = (drawn(data, tmp_path) == [255, 0, 0]).all(axis=2)
    assert red[17:27, 23:45].all()
    red[15:29, 21:47] = False
    assert not red.any()
    svg = io.BytesIO()
    opened(data).save(svg, SvgOptions())
    assert b"<image" not in svg.getvalue() and b"ff0000" in svg.getvalue().lower()


def test_a_picture_of_the_archive_is_drawn_and_given_out(tmp_path: Path) -> None:
    png = io.BytesIO()
    Pillow.fromarray(np.array([[[255, 0, 0], [0, 0, 255]]], np.uint8)).save(png, "PNG")
    frame = ('<draw:frame svg:x="10px" svg:y="10px" svg:width="40px" svg:height="20px">'
             '<draw:image xlink:href="Pictures/a.png"/></draw:frame>')
    data = odg(frame, files={"Pictures/a.png": png.getvalue()})
    page = drawn(data, tmp_path)
    assert is_red(page, 12, 15) and list(page[15, 47]) == [0, 0, 255] and is_white(page, 52, 15)
    embedded = opened(data).get_embedded_images()
    assert [(each.image.width, each.image.height) for each in embedded] == [(2, 1)]


@pytest.mark.parametrize("kind", ["draw:object", "draw:object-ole", "draw:plugin"])
def test_a_chart_is_drawn_as_its_replacement(tmp_path: Path, kind: str) -> None:
    """An embedded object has a picture beside it; without one its frame stays empty."""
    png = io.BytesIO()
    Pillow.new("RGB", (2, 1), (255, 0, 0)).save(png, "PNG")
    frame = ('<draw:frame svg:x="10px" svg:y="10px" svg:width="40px" svg:height="20px">'
             f'<{kind} xlink:href="./Object 1" xlink:type="simple"/>%s</draw:frame>')
    files = {"Object 1/content.xml": b"<chart/>", "ObjectReplacements/Object 1": png.getvalue()}
    shown = odg(frame % '<draw:image xlink:href="./ObjectReplacements/Object 1"/>', files=files)
    page = drawn(shown, tmp_path)
    assert is_red(page, 30, 20) and is_white(page, 52, 20)
    assert is_white(drawn(odg(frame % "", files=files), tmp_path), 30, 20)


def test_a_picture_outside_of_the_file_is_not_opened(tmp_path: Path) -> None:
    Pillow.new("RGB", (4, 4), (255, 0, 0)).save(tmp_path / "out.png")
    frame = ('<draw:frame svg:x="10px" svg:y="10px" svg:width="40px" svg:height="20px">'
             f'<draw:image xlink:href="file://{tmp_path}/out.png"/></draw:frame>')
    assert is_white(drawn(odg(frame), tmp_path), 20, 20)


def test_pages_of_a_document(tmp_path: Path) -> None:
    data = odg("", RECT)
    image = opened(data)
    assert image.page_count == len(image.pages) == 2
    assert is_white(drawn(data, tmp_path, 0), 15, 25)
    assert is_red(drawn(data, tmp_path, 1), 15, 25)
    image.save(str(tmp_path / "all.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
    assert Pillow.open(tmp_path / "all.tif").n_frames == 2


def test_resizing_and_turning(tmp_path: Path) -> None:
    image = opened(odg(RECT))
    image.resize(200, 160)
    assert (image.width, image.height) == (200, 160)
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    assert (image.width, image.height) == (160, 200)


def test_the_objects_of_a_page() -> None:
    gradient = """<draw:gradient draw:name="g" draw:style="linear" draw:start-color="#102030" draw:end-color="#405060"
        draw:angle="300"/><style:style style:name="G" style:family="graphic" style:parent-style-name="red">
        <style:graphic-properties draw:fill="gradient" draw:fill-gradient-name="g" svg:stroke-width="4px"/>
        </style:style>"""
    shapes = RECT + """<draw:ellipse draw:style-name="G" svg:cx="50px" svg:cy="40px" svg:rx="20px" svg:ry="10px"
          draw:kind="section" draw:start-angle="30" draw:end-angle="120"/>
        <draw:line draw:style-name="red" svg:x1="1px" svg:y1="2px" svg:x2="3px" svg:y2="4px"/>
        <draw:polygon svg:width="5px" svg:height="6px" svg:viewBox="0 0 50 60" draw:points="0,0 50,0 0,60"/>
        <draw:path svg:width="5px" svg:height="6px" svg:viewBox="0 0 50 60" svg:d="M0 0L50 0C1 2 3 4 5 6Z"/>
        <draw:frame><draw:text-box><text:p>some <text:span>text</text:span></text:p></draw:text-box></draw:frame>
        <draw:custom-shape svg:width="10px" svg:height="10px"><draw:enhanced-geometry draw:type="ellipse"
          svg:viewBox="0 0 10 10" draw:enhanced-path="M 0 0 L 5 5 Z N"/></draw:custom-shape>"""
    records = opened(odg(shapes, styles=RED + gradient)).records
    assert len(records) == 1
    page = cast(OdPage, records[0])
    assert (page.name, page.master_page_name) == ("page1", "M")
    items = list(page.items)
    rectangle = cast(OdRectangle, items[0])
    assert (rectangle.x, rectangle.y, rectangle.width, rectangle.height) == (10, 20, 30, 10)
    assert rectangle.parent is not None and rectangle.style_name == "red"
    assert cast(OdSolidBrush, rectangle.style.brush).argb_32_color & 0xFFFFFFFF == 0xFFFF0000
    ellipse = cast(OdAngleEllipse, items[1])
    assert (ellipse.cx, ellipse.cy, ellipse.rx, ellipse.ry, ellipse.start_angle) == (50, 40, 20, 10, 30)
    brush = cast(OdGradientBrush, ellipse.style.brush)
    assert (brush.start_color & 0xFFFFFF, brush.end_color & 0xFFFFFF, brush.angle) == (0x102030, 0x405060, 30)
    assert ellipse.style.pen.width == 4
    line = cast(OdLine, items[2])
    assert (line.point1.x, line.point1.y, line.point2.x, line.point2.y) == (1, 2, 3, 4)
    polygon = cast(OdPolygon, items[3])
    assert [(point.x, point.y) for point in polygon.points] == [(0, 0), (50, 0), (0, 60)]
    assert polygon.view_box.height == 60
    path = cast(OdPath, items[4])
    assert [str(step).rsplit(".", 1)[-1] for step in path.enhanced_path] == [
        "OdMoveTo", "OdLineTo", "OdCurveTo", "OdClosePath"]
    box = cast(OdFrame, items[5]).items[0]
    paragraph = cast(OdTextParagraph, box.items[0])
    assert cast(OdText, paragraph.items[0]).text == "some "
    geometry = cast(OdEnhancedGeometry, cast(OdCustomShape, items[6]).items[0])
    assert geometry.type == "ellipse" and len(geometry.enhanced_path) == 4


#: Classes of the model that are bases of others, and those of documents.
BASES = {"OdBrush", "OdGraphicObject", "OdStyledObject", "OdObject", "OdImage", "OdgImage", "OtgImage", "OdMetadata"}


def test_every_class_of_objects_comes_from_a_file() -> None:
    """One document has all of them."""
    fills = {"none": "", "solid": 'draw:fill-color="#ff0000"', "gradient": 'draw:fill-gradient-name="G"',
             "hatch": 'draw:fill-hatch-name="H"', "bitmap": 'draw:fill-image-name="I"'}
    styles = "".join(f'<style:style style:name="{name}" style:family="graphic"><style:graphic-properties '
                     f'draw:fill="{name}" {more} draw:marker-start="A"/></style:style>' for name, more in fills.items())
    styles += ('<draw:gradient draw:name="G" draw:style="axial"/><draw:hatch draw:name="H"/><draw:fill-image '
               'draw:name="I"/><draw:marker draw:name="A" svg:viewBox="0 0 2 3" svg:d="M1 0L0 3h2z"/>')
    box = 'svg:x="1px" svg:y="1px" svg:width="9px" svg:height="9px"'
    shapes = "".join(f'<draw:{kind} draw:style-name="{style}" {box} {more}/>' for kind, style, more in [
        ("rect", "solid", ""), ("circle", "gradient", ""), ("ellipse", "hatch", ""), ("line", "bitmap", ""),
        ("measure", "none", ""), ("connector", "none", ""), ("polygon", "none", 'draw:points="0,0 1,1"'),
        ("polyline", "none", 'draw:points="0,0 1,1"'),
        ("path", "none", 'svg:viewBox="0 0 9 9" svg:d="M0 0L9 0C1 2 3 4 5 6S7 8 9 9Z"')])
    shapes += ('<draw:g><draw:frame><draw:text-box><text:p>a<text:span>b</text:span><text:measure text:kind="value"/>'
               "</text:p><text:list><text:list-item/></text:list></draw:text-box></draw:frame></draw:g>"
               '<draw:frame><draw:image xlink:href="a.png"/></draw:frame>'
               f'<draw:custom-shape {box}><draw:enhanced-geometry svg:viewBox="0 0 9 9" draw:enhanced-path="M 0 0 X 5 '
               '5 B 0 0 9 9 0 0 9 9 F S N"><draw:equation draw:name="f"/></draw:enhanced-geometry></draw:custom-shape>')
    classes = {kind.__name__: kind for kind in every_class()
               if kind.__module__.startswith("zelmor.imaging.fileformats.opendocument") and kind.__name__ not in BASES}
    found: set[str] = set()

    def walk(value: Any) -> None:
        name = str(value).rsplit(".", 1)[-1]
        value = cast(classes[name], value)
        found.add(name)
        for part in ("brush", "pen", "font", "style", "transform_info", "start_marker"):
            if getattr(value, part, None) is not None:
                walk(getattr(value, part))
        for part in ("items", "enhanced_path"):
            for each in getattr(value, part, None) or []:
                walk(each)
    for page in opened(odg(shapes, styles=styles)).records:
        walk(page)
    assert found == set(classes)


def brushes_of(data: bytes, options: Any = None) -> list[Any]:
    image = cast(OdgImage, Image.load(io.BytesIO(data), *([options] if options else [])))
    return [cast(OdPatternBrush, cast(OdRectangle, shape).style.brush) for shape in image.records[0].items]


def picture_fill(width: int, height: int) -> tuple[str, bytes, Any]:
    """Styles with a fill of a picture, of which half is transparent, and its file and pixels."""
    pixels = np.random.default_rng(3).integers(0, 256, (height, width, 4), np.uint8)
    pixels[:, :, 3] = np.where(pixels[:, :, 3] < 128, 128, 255)
    out = io.BytesIO()
    Pillow.fromarray(pixels, "RGBA").save(out, "PNG")
    styles = "".join(f'<style:style style:name="{name}" style:family="graphic"><style:graphic-properties '
                     f'draw:fill="bitmap" draw:fill-image-name="{fill}"/></style:style>'
                     for name, fill in [("tiles", "I"), ("none", "J"), ("text", "K")])
    styles += "".join(f'<draw:fill-image draw:name="{name}" xlink:href="{file}"/>'
                      for name, file in [("I", "Pictures/a.png"), ("K", "content.xml")])
    colors = pixels.astype(np.uint32)
    argb = colors[:, :, 3] << 24 | colors[:, :, 0] << 16 | colors[:, :, 1] << 8 | colors[:, :, 2]
    return styles, out.getvalue(), argb.astype(np.int32)


def test_the_pixels_of_pictures_that_fill() -> None:
    styles, file, argb = picture_fill(5, 3)
    shapes = "".join(f'<draw:rect draw:style-name="{name}" svg:width="9px" svg:height="9px"/>'
                     for name in ("tiles", "none", "text", "tiles"))
    first, missing, no_picture, again = brushes_of(odg(shapes, styles=styles, files={"Pictures/a.png": file}))
    assert [list(row) for row in first.pattern] == argb.tolist()
    assert [list(row) for row in again.pattern] == argb.tolist()
    assert missing.pattern is None and no_picture.pattern is None
    assert [list(row) for row in first.clone().pattern] == argb.tolist()


def test_the_pixels_of_fills_stay_below_the_limit_of_the_image() -> None:
    styles, file, argb = picture_fill(700, 400)
    shape = '<draw:rect draw:style-name="tiles" svg:width="9px" svg:height="9px"/>'
    data = odg(shape * 3, styles=styles, files={"Pictures/a.png": file})
    options = OdLoadOptions()
    options.buffer_size_hint = 1
    with managed_error("OutOfMemoryException", "memory"):
        brushes_of(data, options)
    options.buffer_size_hint = 2  # once is enough for three fills
    assert [len(brush.pattern) for brush in brushes_of(data, options)] == [len(argb)] * 3


def test_metadata() -> None:
    meta = ("<dc:title>A title</dc:title><dc:creator>Ann</dc:creator><meta:keyword>one</meta:keyword>"
            "<meta:keyword>two</meta:keyword><meta:creation-date>2024-05-06T07:08:09</meta:creation-date>"
            '<meta:document-statistic meta:object-count="3"/>')
    metadata = opened(odg(RECT, meta=meta)).metadata
    assert (metadata.title, metadata.creator, metadata.keywords) == ("A title", "Ann", "one, two")
    assert metadata.creation_date_time == "2024-05-06T07:08:09"
    assert metadata.document_statistics == "object-count=3"
    assert metadata.generator is None


def test_templates_have_a_class_of_their_own() -> None:
    data = odg(RECT, mime_type=TYPE + "-template")
    image = cast(OtgImage, Image.load(io.BytesIO(data)))
    assert image.file_format == FileFormat.OTG and image.width == 100
    with managed_error("ImageLoadException", "it is no OdgImage"):
        OdgImage(StreamContainer(io.BytesIO(data)))


def test_a_color_that_is_left_to_the_program_is_black(tmp_path: Path) -> None:
    """Whatever opacity stands beside it; a color of the text's own counts again."""
    styles = ('<style:style style:name="A" style:family="paragraph"><style:text-properties fo:font-size="30pt" '
              'style:use-window-font-color="true" loext:opacity="0%" fo:font-family="DejaVu Sans"/></style:style>'
              '<style:style style:name="B" style:family="text"><style:text-properties fo:color="#ff0000" '
              'loext:opacity="100%"/></style:style>')
    box = ('<draw:frame svg:width="90px" svg:height="70px"><draw:text-box><text:p text:style-name="A">%s</text:p>'
           "</draw:text-box></draw:frame>")
    page = drawn(odg(box % "MM", styles=styles), tmp_path)
    assert (page.max(axis=2) < 40).sum() > 50
    page = drawn(odg(box % '<text:span text:style-name="B">MM</text:span>', styles=styles), tmp_path)
    assert (page.max(axis=2) < 40).sum() == 0 and np.all(page == [255, 0, 0], axis=2).sum() > 50


def test_a_text_box_has_its_line_and_its_fill(tmp_path: Path) -> None:
    styles = ('<style:style style:name="G" style:family="graphic"><style:graphic-properties draw:stroke="solid" '
              'svg:stroke-color="#ff0000" svg:stroke-width="6px" draw:stroke-linejoin="miter" draw:fill="solid" '
              'draw:fill-color="#00ff00"/></style:style>')
    page = drawn(odg('<draw:frame draw:style-name="G" svg:x="20px" svg:y="20px" svg:width="50px" svg:height="40px">'
                     "<draw:text-box/></draw:frame>", styles=styles), tmp_path)
    expected = np.full(page.shape, 255, page.dtype)
    expected[17:63, 17:73] = [255, 0, 0]
    expected[23:57, 23:67] = [0, 255, 0]
    assert np.array_equal(page, expected)


def test_the_font_of_the_nearest_style_counts(tmp_path: Path) -> None:
    """However the styles name it."""
    def text(paragraph: str, shape: str) -> Any:
        styles = (f'<style:style style:name="A" style:family="paragraph"><style:text-properties {paragraph}/>'
                  '</style:style><style:style style:name="S" style:family="paragraph"><style:text-properties '
                  f'fo:font-size="20pt" {shape}/></style:style>')
        return drawn(odg('<draw:frame draw:text-style-name="S" svg:width="90px" svg:height="70px"><draw:text-box>'
                         '<text:p text:style-name="A">Iiil</text:p></draw:text-box></draw:frame>', styles=styles),
                     tmp_path)
    mono = text("", 'style:font-name="DejaVu Sans Mono"')
    assert np.array_equal(text('fo:font-family="DejaVu Sans Mono"', 'style:font-name="DejaVu Sans"'), mono)
    assert np.array_equal(text('style:font-name="DejaVu Sans Mono"', 'fo:font-family="DejaVu Sans"'), mono)
    assert not np.array_equal(text("", 'style:font-name="DejaVu Sans"'), mono)


@pytest.mark.parametrize("family", ["DejaVu Sans Mono", "'DejaVu Sans Mono'", "&quot;DejaVu Sans Mono&quot;"])
def test_the_family_that_a_declared_font_has(family: str, tmp_path: Path) -> None:
    """With or without quotation marks."""
    def text(font: str, declared: str) -> Any:
        styles = ('<style:style style:name="S" style:family="paragraph"><style:text-properties fo:font-size="20pt" '
                  f'{font}/></style:style>')
        file = fodg('<draw:frame svg:width="90px" svg:height="70px"><draw:text-box><text:p text:style-name="S">Iiil'
                    '</text:p></draw:text-box></draw:frame>', styles=styles).decode()
        fonts = f'<office:font-face-decls><style:font-face style:name="F" svg:font-family="{declared}"/>'
        return drawn(file.replace("<office:styles/>", f"{fonts}</office:font-face-decls><office:styles/>")
                     .encode(), tmp_path)
    declared = text('style:font-name="F"', family)
    assert np.array_equal(declared, text('fo:font-family="DejaVu Sans Mono"', family))
    assert np.array_equal(declared, text(f'fo:font-family="{family}"', ""))
    assert not np.array_equal(declared, text('fo:font-family="DejaVu Sans"', family))


# ---- Tables and scenes


def cell_styles(*borders: str) -> str:
    """Cells that are filled, one for each border."""
    return "".join(f'<style:style style:name="c{i}" style:family="table-cell"><loext:graphic-properties '
                   f'draw:fill="solid" draw:fill-color="#ff0000"/><style:paragraph-properties fo:border="{border}"/>'
                   "</style:style>"
                   for i, border in enumerate(borders))


def table(rows: str, columns: str = '<table:table-column table:number-columns-repeated="2"/>', more: str = "") -> str:
    return ('<draw:frame svg:x="10px" svg:y="10px" svg:width="80px" svg:height="40px">'
            f"<table:table {more}>{columns}{rows}</table:table></draw:frame>")


def test_the_cells_of_a_table(tmp_path: Path) -> None:
    rows = ('<table:table-row><table:table-cell table:style-name="c0"/><table:table-cell/></table:table-row>'
            '<table:table-row><table:table-cell/><table:table-cell table:style-name="c1"/></table:table-row>')
    page = drawn(odg(table(rows), styles=cell_styles("none", "4px solid #0000ff")), tmp_path)
    assert is_red(page, 12, 12) and is_red(page, 46, 26) and is_white(page, 54, 12) and is_white(page, 12, 32)
    assert is_red(page, 70, 40)
    for x, y in ((50, 40), (89, 40), (70, 30), (70, 49)):  # in the middle of each border
        assert list(page[y, x]) == [0, 0, 255], (x, y)


def test_cells_that_cover_others(tmp_path: Path) -> None:
    wide = ('<table:table-row><table:table-cell table:style-name="c0" table:number-columns-spanned="2"/>'
            "<table:covered-table-cell/></table:table-row><table:table-row><table:table-cell/><table:table-cell/>"
            "</table:table-row>")
    page = drawn(odg(table(wide), styles=cell_styles("none")), tmp_path)
    assert is_red(page, 12, 12) and is_red(page, 88, 28) and is_white(page, 50, 40)
    high = wide.replace("columns-spanned", "rows-spanned").replace("<table:covered-table-cell/>", "<table:table-cell/>")
    high = high.replace("<table:table-row><table:table-cell/><table:table-cell/>",
                        "<table:table-row><table:covered-table-cell/><table:table-cell/>")
    page = drawn(odg(table(high), styles=cell_styles("none")), tmp_path)
    assert is_red(page, 12, 48) and is_white(page, 52, 12)


def test_columns_share_the_frame_by_their_widths(tmp_path: Path) -> None:
    widths = "".join(f'<style:style style:name="w{n}" style:family="table-column"><style:table-column-properties '
                     f'style:column-width="{n}cm"/></style:style>' for n in (1, 3))
    columns = '<table:table-column table:style-name="w1"/><table:table-column table:style-name="w3"/>'
    rows = '<table:table-row><table:table-cell table:style-name="c0"/><table:table-cell/></table:table-row>'
    page = drawn(odg(table(rows, columns), styles=cell_styles("none") + widths), tmp_path)
    assert is_red(page, 29, 48) and is_white(page, 31, 12)


def test_a_row_is_as_high_as_its_text(tmp_path: Path) -> None:
    low = '<style:style style:name="low" style:family="table-row"><style:table-row-properties style:row-height="2px"/>'
    text = "<text:p>a</text:p><text:p>b</text:p>"  # twice 24 pixels and more
    rows = ('<table:table-row table:style-name="low"><table:table-cell>%s</table:table-cell><table:table-cell '
            'table:style-name="c0"/></table:table-row>')
    styles = cell_styles("none") + low + "</style:style>"
    assert is_red(drawn(odg(table(rows % text), styles=styles), tmp_path), 70, 50)
    assert is_white(drawn(odg(table(rows % ""), styles=styles), tmp_path), 70, 50)


def test_the_template_of_a_table_styles_cells_by_their_place(tmp_path: Path) -> None:
    cell, row = "<table:table-cell/>", "<table:table-row>%s</table:table-row>"
    template = ('<table:table-template table:name="T"><table:first-row table:style-name="c0"/><table:last-column '
                'table:style-name="c0"/></table:table-template>')
    rows = row % (cell + cell) + row % (cell + cell)
    shape = table(rows, more='table:template-name="T" table:use-first-row-styles="true"')
    page = drawn(odg(shape, styles=cell_styles("none") + template), tmp_path)
    assert is_red(page, 12, 12) and is_red(page, 88, 12) and is_white(page, 88, 40)
    shape = table(rows, more='table:template-name="T" table:use-last-column-styles="true"')
    page = drawn(odg(shape, styles=cell_styles("none") + template), tmp_path)
    assert is_white(page, 12, 12) and is_red(page, 88, 12) and is_red(page, 88, 40)


def test_a_table_with_too_many_cells_is_refused() -> None:
    rows = ('<table:table-row table:number-rows-repeated="90000"><table:table-cell table:number-columns-repeated='
            '"90000"/></table:table-row>')
    with managed_error("OutOfMemoryException", "a table of the document has too many cells"):
        opened(odg(table(rows))).save(io.BytesIO(), PngOptions())


SOLID = ('<style:style style:name="s" style:family="graphic"><style:graphic-properties draw:stroke="none" '
         'draw:fill="solid" draw:fill-color="#ff0000" dr3d:depth="40"/></style:style>')


def scene(shape: str, more: str = "", light: str = "(0 0 1)") -> str:
    """Seen from the front without perspective, lit from one side alone."""
    return ('<dr3d:scene svg:x="10px" svg:y="10px" svg:width="40px" svg:height="40px" dr3d:projection="parallel" '
            f'dr3d:ambient-color="#000000" {more}><dr3d:light dr3d:diffuse-color="#ffffff" dr3d:direction="{light}" '
            f'dr3d:enabled="true"/>{shape}</dr3d:scene>')


CUBE = '<dr3d:cube draw:style-name="s" dr3d:min-edge="(-20 -20 -20)" dr3d:max-edge="(20 20 20)"/>'


def test_a_cube_fills_the_place_of_its_scene(tmp_path: Path) -> None:
    page = drawn(odg(scene(CUBE), styles=SOLID), tmp_path)
    inside = np.all(page == [255, 0, 0], axis=2)
    assert inside[11:49, 11:49].all() and inside.sum() <= 42 * 42
    # Light from the side leaves the front dark, and light at an angle of 60 degrees gives the half.
    assert list(drawn(odg(scene(CUBE, light="(1 0 0)"), styles=SOLID), tmp_path)[30, 30]) == [0, 0, 0]
    aslant = drawn(odg(scene(CUBE, light="(0.8660254 0 0.5)"), styles=SOLID), tmp_path)[30, 30]
    assert abs(aslant[0] - 127.5) <= 1 and aslant[1] == 0


def test_a_scene_is_turned(tmp_path: Path) -> None:
    turned = scene(CUBE, 'dr3d:transform="rotatez (0.78539816)"')
    page = drawn(odg(turned, styles=SOLID), tmp_path)
    assert is_red(page, 30, 12) and is_red(page, 12, 30) and is_white(page, 13, 13) and is_white(page, 47, 47)


def test_what_is_nearer_hides_what_is_behind(tmp_path: Path) -> None:
    blue = SOLID.replace('"s"', '"b"').replace("#ff0000", "#0000ff")
    small = '<dr3d:cube draw:style-name="b" dr3d:min-edge="(-5 -5 %s)" dr3d:max-edge="(5 5 %s)"/>'
    for order in (small % (20, 30) + CUBE, CUBE + small % (20, 30)):
        assert list(drawn(odg(scene(order), styles=SOLID + blue), tmp_path)[30, 30]) == [0, 0, 255]
    assert is_red(drawn(odg(scene(small % (-30, -20) + CUBE), styles=SOLID + blue), tmp_path), 30, 30)


def test_a_sphere_is_round_and_lit(tmp_path: Path) -> None:
    ball = '<dr3d:sphere draw:style-name="s" dr3d:center="(0 0 0)" dr3d:size="(40 40 40)"/>'
    page = drawn(odg(scene(ball), styles=SOLID), tmp_path)
    assert page[30, 30, 0] > 245 and 60 < page[30, 13, 0] < 200 and is_white(page, 12, 12)


BALL = '<dr3d:sphere draw:style-name="s" dr3d:center="(0 0 0)" dr3d:size="(40 40 40)"/>'


@pytest.mark.parametrize(("mode", "most"), [("gouraud", 10), ("phong", 7), ("", 10)])
def test_a_curved_surface_is_shaded_without_steps(mode: str, most: int, tmp_path: Path) -> None:
    """Each place is as bright as the ball there is turned to the light; means of the corners' colors are darker."""
    page = drawn(odg(scene(BALL, f'dr3d:shade-mode="{mode}"' if mode else ""), styles=SOLID), tmp_path).astype(int)
    y, x = np.mgrid[0:page.shape[0], 0:page.shape[1]]
    away = ((x + 0.5 - 30)**2 + (y + 0.5 - 30)**2) / 20**2
    inside = away < 0.7**2  # further out a pixel is many levels
    expected = 255 * np.sqrt(1 - np.where(inside, away, 0))
    assert np.abs(page[..., 0] - expected)[inside].max() < most and page[inside][:, 1].max() < 3
    assert np.abs(np.diff(page[30, 20:40, 0])).max() < 10


@pytest.mark.parametrize(("mode", "kind"), [("flat", "object"), ("draft", "object"), ("gouraud", "flat")])
def test_faces_of_one_color_each(mode: str, kind: str, tmp_path: Path) -> None:
    style = SOLID.replace("dr3d:depth", f'dr3d:normals-kind="{kind}" dr3d:horizontal-segments="8" '
                          'dr3d:vertical-segments="8" dr3d:depth')
    page = drawn(odg(scene(BALL, f'dr3d:shade-mode="{mode}"'), styles=style), tmp_path)
    assert len(np.unique(page[22:38, 22:38, 0])) <= 8


def test_corners_of_curved_surfaces_stay_sharp(tmp_path: Path) -> None:
    """A cylinder of sixteen sides: its end has one color, and its side none that it shares with another place."""
    turn = 'dr3d:transform="rotatex (1.5707963)"'
    corners = " L".join(f"{20 * np.cos(i * np.pi / 8)} {20 * np.sin(i * np.pi / 8)}" for i in range(16))
    shape = (f'<dr3d:extrude draw:style-name="s" svg:viewBox="0 0 40 40" svg:d="M{corners}Z"/>')
    assert len(np.unique(drawn(odg(scene(shape), styles=SOLID), tmp_path)[25:35, 25:35, 0])) == 1
    side = drawn(odg(scene(shape, turn), styles=SOLID), tmp_path).astype(int)[30, 12:48, 0]
    assert np.abs(np.diff(side)).max() < 40 and len(np.unique(side)) > 15 and side.max() > 245


def test_an_outline_is_extruded_with_its_holes(tmp_path: Path) -> None:
    """Its y points up."""
    shape = ('<dr3d:extrude draw:style-name="s" svg:viewBox="0 0 40 40" '
             'svg:d="M0 0H40V40H0ZM5 5V15H15V5Z"/>')
    page = drawn(odg(scene(shape), styles=SOLID), tmp_path)
    assert is_red(page, 40, 20) and is_red(page, 20, 20) and is_white(page, 20, 40)


def test_an_outline_is_rotated(tmp_path: Path) -> None:
    shape = '<dr3d:rotate draw:style-name="s" svg:viewBox="0 0 20 20" svg:d="M0 0L20 0L0 20Z"/>'
    page = drawn(odg(scene(shape), styles=SOLID), tmp_path)  # a cone
    lit = page[..., 1] < 100
    assert lit[47, 12:48].all() and lit[13, 30] and not lit[13, 20] and not lit[13, 40]


# ---- Refusals and damage

def test_encrypted_documents_are_refused() -> None:
    data = odg(RECT, files={"META-INF/manifest.xml": b"<manifest><encryption-data/></manifest>"})
    with managed_error("NotSupportedException", "does not decrypt OpenDocument files"):
        Image.load(io.BytesIO(data))
    options = OdLoadOptions()
    options.password = "secret"
    with managed_error("NotSupportedException", "OdLoadOptions.Password"):
        Image.load(io.BytesIO(odg(RECT)), options)


@pytest.mark.parametrize(("data", "message"), [
    (odg(RECT).replace(b"PK\5\6", b"PK\5\7"), "the zip archive has no directory"),
    (fodg(RECT).replace(b"</office:document>", b""), "is not well-formed"),
    (fodg(RECT).replace(b"<office:document ", b"<!DOCTYPE a [<!ENTITY b 'c'>]><office:document ", 1),
     "document type"),
], ids=["directory", "cut", "entity"])
def test_damage_is_named(data: bytes, message: str) -> None:
    with managed_error("ImageLoadException", message):
        Image.load(io.BytesIO(data))


def test_a_bomb_is_refused() -> None:
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as archive:
        archive.writestr(zipfile.ZipInfo("mimetype"), TYPE)
        archive.writestr("content.xml", b" " * (80 << 20))
    with managed_error("ImageLoadException", "'content.xml' in the zip archive is too large"):
        Image.load(io.BytesIO(out.getvalue()))


def test_damaged_archives_end(tmp_path: Path) -> None:
    shapes = RECT + """<draw:frame svg:width="90px" svg:height="60px"><draw:text-box><text:p>ab cd</text:p>
        </draw:text-box></draw:frame><draw:path draw:style-name="red" svg:width="50px" svg:height="60px"
        svg:viewBox="0 0 50 60" svg:d="M0 0L50 0C1 2 3 4 5 6Z"/>"""
    good = odg(shapes, method=zipfile.ZIP_STORED)
    chance = random.Random(4)
    outcomes = set()
    for _ in range(150):
        data = bytearray(good)
        for _ in range(3):
            data[chance.randrange(len(data))] = chance.randrange(256)
        try:
            image = Image.load(io.BytesIO(bytes(data)))
            image.save(str(tmp_path / "a.png"), PngOptions())
            outcomes.add("read")
        except RuntimeError:
            outcomes.add("refused")
    assert "refused" in outcomes
