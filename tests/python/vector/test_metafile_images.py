"""EmfImage and WmfImage: loading, records, headers, fonts, saving, and recording."""

from __future__ import annotations

import gzip
import io
import random
import shutil
import struct
import subprocess
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (Color, Figure, FileFormat, FillMode, Font, GraphicsPath, GraphicsUnit, Image,
                            Matrix, MatrixOrder, Pen, Point, PointF, RasterImage, Rectangle, RectangleF, Region, Size,
                            SmoothingMode)
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.fileformats.emf import EmfImage, EmfRenderMode, MetaObjectList
from zelmor.imaging.fileformats.emf.emf.records import EmfGradientFill, EmfMetafileHeader, EmfRectangle
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf import WmfImage, WmfRenderMode
from zelmor.imaging.fileformats.wmf.consts import WmfMixMode
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf.objects import WmfCreateFontInDirect, WmfRectangle, WmfTextOut
from zelmor.imaging.imageoptions import (EmfOptions, EmfRasterizationOptions, OdgRasterizationOptions, PngOptions,
                                         SvgRasterizationOptions, VectorRasterizationOptions, WmfOptions,
                                         WmfRasterizationOptions)
from zelmor.imaging.shapes import RectangleShape

from support.drawn_metafiles import BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.image_oracles import managed_error
from support.metafiles import (BOUNDS, NULL_PEN, SIDE, VERSION, bitmap_header, blit, brush, emf, emf_record, floats,
                               font, plus, plus_comment, plus_object, plus_record, rows24, select, stretch_dib,
                               text_out, wmf, wmf_brush, wmf_font, wmf_pen, wmf_record, wmf_select, words)
from support.office_files import fodg

FILLED = wmf_pen(0, style=5) + wmf_select(0) + wmf_brush(RED) + wmf_select(1)
SQUARE = wmf_record(0x0324, 4, 20, 20, 60, 20, 60, 60, 20, 60)
EMF = emf(select(NULL_PEN) + brush(1, RED) + emf_record(43, words(20, 20, 61, 61)))
WMF = wmf(FILLED + SQUARE)
KINDS = [pytest.param(EMF, EmfImage, EmfOptions, id="emf"), pytest.param(WMF, WmfImage, WmfOptions, id="wmf")]


def load(file: bytes) -> Any:
    """The image of a file; a metafile as one of its class."""
    return of_its_class(Image.load(io.BytesIO(file)))


def of_its_class(image: Image) -> Any:
    kind: Any = {FileFormat.EMF: EmfImage, FileFormat.EMZ: EmfImage, FileFormat.WMF: WmfImage,
                 FileFormat.WMZ: WmfImage}.get(image.file_format)
    return kind._cast_to(image).value if kind else image


def saved(image: Any, options: Any) -> bytes:
    target = io.BytesIO()
    image.save(target, options)
    return target.getvalue()


# ---- Files


@pytest.mark.parametrize("file, kind, options", KINDS)
def test_files_come_back_byte_for_byte(file: bytes, kind: Any, options: Any, tmp_path: Path) -> None:
    for packed in (False, True):
        name = tmp_path / "picture"
        name.write_bytes(gzip.compress(file) if packed else file)
        with of_its_class(Image.load(str(name))) as image:
            assert type(image) is kind and image.size == Size(SIDE, SIDE)
            formats = (FileFormat.EMF, FileFormat.EMZ) if kind is EmfImage else (FileFormat.WMF, FileFormat.WMZ)
            assert image.file_format == formats[packed]
            assert saved(image, options()) == file
            compressed = options()
            compressed.compress = True
            assert gzip.decompress(saved(image, compressed)) == file
            for extension in ("mf", "mz"):
                target = tmp_path / f"b.{'e' if kind is EmfImage else 'w'}{extension}"
                image.save(str(target))
                data = target.read_bytes()
                assert (gzip.decompress(data) if extension == "mz" else data) == file
    assert Image.can_load(io.BytesIO(file))


def test_formats_are_told_apart() -> None:
    found = [Image.get_file_format(io.BytesIO(data)) for data in (EMF, WMF, gzip.compress(EMF), gzip.compress(WMF))]
    assert found == [FileFormat.EMF, FileFormat.WMF, FileFormat.EMZ, FileFormat.WMZ]


def test_records_are_objects_of_their_classes() -> None:
    with load(EMF) as image:
        names = [type(record).__name__ for record in image.records]
        assert names == ["EmfMetafileHeader", "EmfSelectObject", "EmfCreateBrushIndirect", "EmfSelectObject",
                         "EmfRectangle", "EmfEof"]
        header: Any = image.header
        assert header.emf_header.device == Size(9600, 9600) and type(header) is EmfMetafileHeader
    with load(WMF) as image:
        assert type(image.records[4]).__name__ == "WmfPolygon"
        assert (image.inch, image.frame_bounds) == (SIDE, Rectangle(0, 0, SIDE, SIDE))


def test_changed_records_are_drawn_and_written() -> None:
    with load(EMF) as image:
        rectangle: Any = EmfRectangle._cast_to(image.records[4]).value
        rectangle.box = Rectangle(0, 0, 11, 11)
        file = saved(image, EmfOptions())
    picture = drawn(file)
    assert color_at(picture, (5, 5)) == RED and color_at(picture, (40, 40)) == WHITE
    assert len(file) == len(EMF) and sum(a != b for a, b in zip(file, EMF)) <= 8
    with load(WMF) as image:
        rectangle = WmfRectangle()
        rectangle.rectangle = Rectangle(70, 70, 20, 20)
        image.records.pop()
        assert image.add_record(rectangle) == 5
        file = saved(image, WmfOptions())
    picture = drawn(file, WmfRasterizationOptions())
    assert color_at(picture, (80, 80)) == RED and color_at(picture, (40, 40)) == RED


def test_a_list_of_records_can_be_replaced() -> None:
    with load(EMF) as image:
        records = MetaObjectList([record for record in image.records if type(record) is not EmfRectangle])
        image.records = records
        assert color_at(drawn(saved(image, EmfOptions())), (40, 40)) == WHITE
        image.records = None
        assert color_at(drawn(saved(image, EmfOptions())), (40, 40)) == WHITE


def test_a_list_inside_of_a_record_can_be_taken_away() -> None:
    corner = struct.Struct("<2i4H").pack
    record = emf_record(118, BOUNDS + words(2, 1, 0) + corner(10, 10, 0xFF00, 0, 0, 0) + corner(50, 50, *[0] * 4)
                        + words(0, 1))
    with load(emf(record)) as image:
        fill: Any = EmfGradientFill._cast_to(image.records[1]).value
        assert (fill.n_ver, fill.n_tri) == (2, 1)
        fill.vertex_data.vertex_objects = fill.vertex_data.vertex_indexes = None
        file = saved(image, EmfOptions())
    assert len(file) == len(emf(record)) - 2 * 16 - 8
    with load(file) as image:
        fill = EmfGradientFill._cast_to(image.records[1]).value
        assert (fill.n_ver, fill.n_tri, len(fill.vertex_data.vertex_objects)) == (0, 0, 0)


def test_new_images_are_drawn_and_saved() -> None:
    image: Any = EmfImage(SIDE, SIDE)
    rectangle = EmfRectangle()
    rectangle.box = Rectangle(20, 20, 41, 41)
    image.records.append(rectangle)
    file = saved(image, EmfOptions())
    with load(file) as again:
        assert again.size == Size(SIDE, SIDE)
        assert [type(record).__name__ for record in again.records] == ["EmfMetafileHeader", "EmfRectangle", "EmfEof"]
        assert (again.header.emf_header.records, again.header.emf_header.bytes) == (3, len(file))
    assert color_at(drawn(file), (20, 40)) == 0 and color_at(drawn(file), (40, 40)) == WHITE
    other, shape = WmfImage(SIDE, SIDE), WmfRectangle()
    shape.rectangle = Rectangle(20, 20, 41, 41)
    other.add_record(shape)
    picture = drawn(saved(other, WmfOptions()), WmfRasterizationOptions())
    assert color_at(picture, (20, 40)) == 0 and color_at(picture, (40, 40)) == WHITE


def test_coordinates_far_away_are_drawn_as_far_as_they_are_seen() -> None:
    far = 2**30 - 1
    picture = drawn(emf(select(NULL_PEN) + brush(1, RED) + emf_record(43, words(-far, -far, far, far))))
    assert color_at(picture, (50, 50)) == RED


def test_sizes_follow_the_frame() -> None:
    half = bytearray(EMF)
    struct.pack_into("<4i", half, 24, 0, 0, 1270, 635)
    with load(bytes(half)) as image:
        assert image.size == Size(48, 24)
    bare = bytearray(EMF)  # without a frame the bounds count
    struct.pack_into("<4i", bare, 24, 0, 0, 0, 0)
    with load(bytes(bare)) as image:
        assert image.size == Size(SIDE, SIDE)
    with load(wmf(FILLED + SQUARE, units=1440)) as image:
        assert image.size == Size(SIDE, SIDE)
    with load(wmf(wmf_record(0x020C, 50, -80), placeable=False)) as image:
        assert image.size == Size(80, 50)


@pytest.mark.parametrize("width, height", [(30, 20), (100, 50), (33, 31), (101, 77), (1, 799)])
def test_a_drawing_keeps_its_size_as_a_metafile(width: int, height: int) -> None:
    """The frame has whole hundredths of a millimeter, which are no whole pixels."""
    drawing = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}">'
               f'<rect width="{width}" height="{height}" fill="#ff0000"/></svg>').encode()
    saved, drawn = io.BytesIO(), io.BytesIO()
    with Image.load(io.BytesIO(drawing)) as image:
        image.save(saved, EmfOptions())
    with load(saved.getvalue()) as image:
        assert image.size == Size(width, height)
        image.save(drawn, PngOptions())
    pixels = Pillow.open(drawn).convert("RGBA")
    assert pixels.size == (width, height) and pixels.getcolors() == [(width * height, (255, 0, 0, 255))]


def test_inch() -> None:
    with load(WMF) as image:
        image.inch = 192
        file = saved(image, WmfOptions())
    with load(file) as image:
        assert (image.inch, image.size) == (192, Size(48, 48))
        for inch in (0, -1, 65536):
            with managed_error("ArgumentOutOfRangeException", "number of units"):
                image.inch = inch


def test_fonts() -> None:
    with load(emf(font(3, -20, "DejaVu Sans") + font(4, -20, "No Such Font") + font(5, 9, "DejaVu Sans"))) as image:
        assert list(image.get_used_fonts()) == ["DejaVu Sans", "No Such Font"]
        assert list(image.get_missed_fonts()) == ["No Such Font"]
    name = "Another".encode("utf-16-le")
    plus_font = VERSION + floats(20) + words(2, 0, 0, 7) + name + bytes(2)
    with load(emf(plus(plus_object(6, 6, plus_font)))) as image:
        assert list(image.get_used_fonts()) == ["Another"]
    with load(wmf(wmf_font(-20, b"Helvetica"))) as image:
        assert list(image.get_used_fonts()) == ["Helvetica"]
        assert image.get_post_script() == ""
    with load(wmf(wmf_record(0x0626, 37, 4, data=b"quit"))) as image:
        assert image.get_post_script() == "quit"


def test_embedded_pictures() -> None:
    picture = stretch_dib(bitmap_header(2, 2, 24), rows24([[RED, GREEN], [BLUE, WHITE]]), (0, 0, 9, 9), (2, 2))
    with load(emf(picture)) as image:
        (embedded, ) = image.get_embedded_images()
        raster: Any = RasterImage._cast_to(embedded.image).value
        assert raster.size == Size(2, 2)
        assert [raster.get_argb_32_pixel(x, y) & 0xFFFFFF for y in (0, 1) for x in (0, 1)] == [RED, GREEN, BLUE, WHITE]


def embedded_colors(file: bytes) -> list[list[int]]:
    with load(file) as image:
        found = []
        for embedded in image.get_embedded_images():
            raster: Any = RasterImage._cast_to(embedded.image).value
            found.append([raster.get_argb_32_pixel(x, y) & 0xFFFFFF for y in range(raster.height)
                          for x in range(raster.width)])
        return found


def test_embedded_pictures_of_all_kinds() -> None:
    """Images of EMF+ and bitmaps of both kinds in records that draw them; not those of brushes, nor empty ones."""
    four, header = [RED, GREEN, BLUE, WHITE], bitmap_header(2, 2, 24)
    rows = rows24([[RED, GREEN], [BLUE, WHITE]])
    raw = VERSION + words(1, 2, 2, 8, 0x21808, 0) + rows24([[BLUE, WHITE], [RED, GREEN]])
    other = VERSION + words(1, 1, 1, 4, 0x21808, 0) + rows24([[GREEN]])
    vector = VERSION + words(2, 3, len(EMF)) + EMF
    records = plus(plus_object(5, 5, raw), plus_object(6, 6, VERSION + floats(20) + words(2, 0, 0, 1) + b"A\0\0\0"),
                   plus_object(5, 5, vector + bytes(-len(vector) % 4)), plus_object(4, 5, other))
    brush = emf_record(94, words(1, 0, 32, 40, 72, 16) + header + rows)
    nothing = blit(76, (0, 0, 9, 9), 0x00F00021)
    empty = stretch_dib(bitmap_header(0, 2, 24), rows, (0, 0, 9, 9), (2, 2))
    file = emf(records, brush, nothing, empty, blit(76, (0, 0, 2, 2), 0x00CC0020, bitmap=(header, rows)))
    assert embedded_colors(file) == [four, [GREEN], four]
    old = struct.pack("<4H2B", 0, 2, 1, 6, 1, 24) + bytes([0, 0, 255, 0, 255, 0])
    file = wmf(wmf_record(0x0142, 5, 0, data=header + rows), wmf_record(0x0B23, 0x20, 0xCC, 1, 2, 0, 0, 9, 9, 0, 0,
                                                                        data=old),
               wmf_record(0x0940, 0x20, 0xCC, 0, 0, 2, 2, 20, 20, data=header + rows))
    assert embedded_colors(file) == [[RED, GREEN], four]


def test_damage_names_the_record() -> None:
    broken = emf(emf_record(4, words(0, 0, 9, 9, 1000, 1, 1)))
    with managed_error("ImageLoadException", "EmfPolyline.APoints"):
        load(broken)
    with managed_error("ImageLoadException", "header"):
        load(EMF[:60])


@pytest.mark.parametrize("file, kind, options", KINDS)
def test_altered_files_are_drawn_or_refused(file: bytes, kind: Any, options: Any) -> None:
    rich = (emf(font(3, -20, "DejaVu Sans") + text_out("Ab", (10, 10), [9, 9]) + stretch_dib(
        bitmap_header(2, 2, 24), rows24([[1, 2], [3, 4]]), (0, 0, 9, 9), (2, 2)) + EMF[88:-20]) if kind is EmfImage
            else file)
    for seed in range(150):
        chance = random.Random(seed)
        data = bytearray(rich)
        for _ in range(chance.randint(1, 8)):
            data[chance.randrange(40, len(data))] = chance.choice([0, 1, 127, 255, chance.randrange(256)])
        if seed % 5 == 0:
            data = data[:chance.randrange(len(data))]
        png = PngOptions()
        png.vector_rasterization_options = VectorRasterizationOptions()
        png.vector_rasterization_options.page_width = png.vector_rasterization_options.page_height = 32.0
        try:
            with load(bytes(data)) as image:
                saved(image, png)
        except RuntimeError as error:
            assert str(error).startswith("Proxy error(")


def test_letters_of_one_byte_and_room_for_names() -> None:
    """A text of a Windows metafile has bytes, and a font 32 of them for its name."""
    with load(wmf(wmf_font(-20, b"Sans") + wmf_select(0) + wmf_record(0x0521, 1, data=b"a\0" + bytes(4)))) as image:
        font = WmfCreateFontInDirect._cast_to(image.records[0]).value
        text = WmfTextOut._cast_to(image.records[2]).value
        assert (font.facename, text.text) == ("Sans", "a")
        for letter in ("\xe4", "\xfe", "\xff"):
            text.text = letter
            with load(saved(image, WmfOptions())) as again:
                assert WmfTextOut._cast_to(again.records[2]).value.text == letter
        text.text = "\u0100"
        with managed_error("ImageSaveException", "a character of more than one byte"):
            saved(image, WmfOptions())


@pytest.mark.parametrize("options", [EmfOptions, WmfOptions])
def test_packed_files_are_those_of_gzip(options: Any) -> None:
    """With the usual level and memory; more than a piece of a mebibyte at once."""
    pixels = np.random.default_rng(4).integers(0, 97, (700, 600, 3)).astype(np.uint8)
    source = io.BytesIO()
    Pillow.fromarray(pixels).save(source, "png")
    with load(source.getvalue()) as image:
        plain, compressed = options(), options()
        compressed.compress = True
        file, found = saved(image, plain), saved(image, compressed)
    packer = zlib.compressobj(wbits=31)
    assert len(file) > 1 << 20 and found == packer.compress(file) + packer.flush()


# ---- Saves of other images


@pytest.mark.parametrize("options, layout", [(EmfOptions, EmfRasterizationOptions),
                                             (WmfOptions, WmfRasterizationOptions)])
def test_pictures_of_pixels_become_bitmaps(options: Any, layout: Any) -> None:
    source = io.BytesIO()
    Pillow.new("RGB", (SIDE, SIDE), (255, 0, 0)).save(source, "png")
    with load(source.getvalue()) as image:
        file = saved(image, options())
    with load(file) as image:
        assert image.size == Size(SIDE, SIDE)
    assert color_at(drawn(file, layout()), (50, 50)) == RED


@pytest.mark.parametrize("source", [EMF, WMF], ids=["emf", "wmf"])
@pytest.mark.parametrize("options, layout", [(EmfOptions, EmfRasterizationOptions),
                                             (WmfOptions, WmfRasterizationOptions)])
def test_metafiles_become_each_other(source: bytes, options: Any, layout: Any) -> None:
    with load(source) as image:
        image.resize(SIDE, SIDE // 2)
        file = saved(image, options())
    with load(file) as image:
        assert image.size == Size(SIDE, SIDE // 2)
        image.resize(SIDE, SIDE)
        file = saved(image, options())
    picture = drawn(file, layout())
    assert [color_at(picture, place) for place in ((22, 22), (58, 58), (17, 40), (63, 40))] == [RED, RED, WHITE, WHITE]


@pytest.mark.parametrize("options", [EmfOptions, WmfOptions])
def test_a_group_with_an_opacity_becomes_a_bitmap_of_its_own_size(options: Any) -> None:
    svg = (b'<svg xmlns="http://www.w3.org/2000/svg" width="1200" height="900"><g opacity="0.5"><rect x="100" y="50" '
           b'width="40" height="25" fill="#f00"/><rect x="120" y="50" width="40" height="25" fill="#f00"/></g></svg>')
    file = io.BytesIO()
    Image.load(io.BytesIO(svg)).save(file, options())
    assert len(file.getvalue()) < 20_000  # the page would take megabytes
    png, target = PngOptions(), io.BytesIO()
    png.vector_rasterization_options = VectorRasterizationOptions()
    png.vector_rasterization_options.page_width, png.vector_rasterization_options.page_height = 1200.0, 900.0
    png.vector_rasterization_options.background_color = Color.white
    Image.load(io.BytesIO(file.getvalue())).save(target, png)
    with Pillow.open(io.BytesIO(target.getvalue())) as picture:
        shown = picture.convert("RGB")
    for x in (110, 130, 150):  # the two are one picture where they overlap
        assert all(abs(a - b) <= 2 for a, b in zip(shown.getpixel((x, 60)), (255, 127, 127)))
    assert [shown.getpixel(at) for at in ((90, 60), (170, 60), (130, 40), (600, 500))] == [(255, 255, 255)] * 4


@pytest.mark.skipif(shutil.which("gnuplot") is None, reason="there is no gnuplot")
def test_plots_of_another_program(tmp_path: Path) -> None:
    commands = 'set terminal emf size 400,300; set output "a.emf"; plot x lw 3, sin(x) with lines dt 2'
    subprocess.run(["gnuplot", "-e", commands], cwd=tmp_path, check=True)
    data = (tmp_path / "a.emf").read_bytes()
    with load(data) as image:
        assert saved(image, EmfOptions()) == data
        png = PngOptions()
        png.vector_rasterization_options = EmfRasterizationOptions()
        png.vector_rasterization_options.page_width, png.vector_rasterization_options.page_height = 400.0, 300.0
        png.vector_rasterization_options.smoothing_mode = SmoothingMode.ANTI_ALIAS
        picture = Pillow.open(io.BytesIO(saved(image, png))).convert("RGBA")
    white = Pillow.new("RGBA", picture.size, "white")
    white.alpha_composite(picture)
    left, top, right, bottom = dark(white.convert("RGB"))
    assert left < 60 and right > 340 and top < 40 and bottom > 260


# ---- Recorders


def recorders() -> list[Any]:
    return [EmfRecorderGraphics2D(Rectangle(0, 0, SIDE, SIDE), Size(960, 960), Size(254, 254)),
            WmfRecorderGraphics2D(Rectangle(0, 0, SIDE, SIDE), SIDE)]


def recorded(recorder: Any) -> Pillow.Image:
    with recorder.end_recording() as image:
        emf_image = type(image) is EmfImage
        assert image.size == Size(SIDE, SIDE)
        file = saved(image, (EmfOptions if emf_image else WmfOptions)())
    return drawn(file, (EmfRasterizationOptions if emf_image else WmfRasterizationOptions)())


@pytest.fixture(params=[0, 1], ids=["emf", "wmf"])
def recorder(request: pytest.FixtureRequest) -> Any:
    return recorders()[request.param]


def colors(picture: Pillow.Image, *places: tuple[int, int]) -> list[int]:
    return [color_at(picture, place) for place in places]


RED_BRUSH, BLUE_PEN = SolidBrush(Color.from_argb(255, 255, 0, 0)), Pen(Color.from_argb(255, 0, 0, 255), 3.0)


def test_recorded_shapes(recorder: Any) -> None:
    recorder.fill_rectangle(RED_BRUSH, Rectangle(10, 10, 20, 20))
    recorder.fill_ellipse(RED_BRUSH, Rectangle(40, 10, 20, 20))
    recorder.fill_polygon(RED_BRUSH, [Point(70, 10), Point(90, 10), Point(70, 30)])
    recorder.fill_polygon(RED_BRUSH, [Point(70, 40), Point(90, 40), Point(70, 60)], FillMode.WINDING)
    recorder.fill_pie(RED_BRUSH, Rectangle(10, 40, 20, 20), 0.0, 90.0)
    recorder.draw_rectangle(BLUE_PEN, 40, 40, 20, 20)
    recorder.draw_rectangle(BLUE_PEN, Rectangle(10, 70, 20, 20))
    recorder.draw_ellipse(BLUE_PEN, Rectangle(40, 70, 20, 20))
    picture = recorded(recorder)
    assert colors(picture, (20, 20), (50, 20), (42, 11), (73, 13), (73, 43), (25, 55), (15, 45)) == [
        RED, RED, WHITE, RED, RED, RED, WHITE]
    assert colors(picture, (40, 50), (50, 50), (10, 80), (20, 80), (40, 80), (50, 80)) == [BLUE, WHITE] * 3


def test_recorded_lines(recorder: Any) -> None:
    recorder.draw_line(BLUE_PEN, 10, 10, 80, 10)
    recorder.draw_line(BLUE_PEN, Point(10, 20), Point(80, 20))
    recorder.draw_polyline(BLUE_PEN, [Point(10, 30), Point(80, 30), Point(80, 50)])
    recorder.draw_polygon(BLUE_PEN, [Point(10, 40), Point(60, 40), Point(60, 60)])
    recorder.draw_cubic_bezier(BLUE_PEN, Point(10, 90), Point(10, 60), Point(50, 60), Point(50, 90))
    recorder.draw_poly_cubic_bezier(BLUE_PEN, [Point(50, 90), Point(50, 60), Point(90, 60), Point(90, 90)])
    recorder.draw_arc(BLUE_PEN, Rectangle(20, 70, 20, 20), 0.0, 180.0)
    recorder.draw_pie(BLUE_PEN, Rectangle(60, 72, 20, 20), 0.0, 90.0)
    picture = recorded(recorder)
    assert colors(picture, (40, 10), (40, 20), (40, 30), (80, 40), (40, 40), (60, 50), (30, 67), (70, 67), (30, 90),
                  (75, 82), (30, 75)) == [BLUE] * 10 + [WHITE]


def test_recorded_paths_and_transformations(recorder: Any) -> None:
    figure, path = Figure(), GraphicsPath()
    figure.add_shape(RectangleShape(RectangleF(0, 0, 10, 10)))
    path.add_figure(figure)
    recorder.translate_transform(10.0, 20.0)
    recorder.scale_transform(2.0, 2.0)
    recorder.fill_path(BLUE_PEN, RED_BRUSH, path)
    assert recorder.get_transform() == Matrix(2, 0, 0, 2, 10, 20)
    recorder.set_transform(Matrix(1, 0, 0, 1, 50, 0))
    recorder.draw_path(BLUE_PEN, path)
    recorder.rotate_transform(90.0, PointF(0, 0), MatrixOrder.PREPEND)
    recorder.translate_transform(30.0, 0.0, MatrixOrder.PREPEND)
    recorder.fill_path(None, RED_BRUSH, path)
    recorder.multiply_transform(Matrix(1, 0, 0, 1, 20, 0))
    recorder.multiply_transform(Matrix(1, 0, 0, 1, 0, 20), MatrixOrder.APPEND)
    recorder.scale_transform(1.0, 1.0, MatrixOrder.APPEND)
    recorder.rotate_transform(0.0)
    recorder.fill_path(None, SolidBrush(Color.from_argb(255, 0, 255, 0)), path)
    picture = recorded(recorder)
    assert colors(picture, (20, 30), (10, 30), (50, 5), (55, 5), (45, 35), (45, 75)) == [
        RED, BLUE, BLUE, WHITE, RED, GREEN]


def test_recorded_clips(recorder: Any) -> None:
    assert recorder.clip_bounds == RectangleF(0, 0, SIDE, SIDE)
    recorder.intersect_clip(RectangleF(10, 10, 50, 50))
    recorder.exclude_clip(Rectangle(20, 20, 10, 10))
    recorder.exclude_clip(Region(Rectangle(40, 40, 10, 10)))
    assert recorder.clip_bounds == RectangleF(10, 10, 50, 50)
    recorder.fill_rectangle(RED_BRUSH, Rectangle(0, 0, SIDE, SIDE))
    recorder.reset_clip()
    recorder.fill_rectangle(RED_BRUSH, Rectangle(80, 80, 10, 10))
    recorder.clip = Region(Rectangle(0, 70, 20, 20))
    recorder.intersect_clip(Region(Rectangle(10, 0, SIDE, SIDE)))
    recorder.fill_rectangle(SolidBrush(Color.from_argb(255, 0, 255, 0)), Rectangle(0, 0, SIDE, SIDE))
    picture = recorded(recorder)
    assert colors(picture, (15, 15), (25, 25), (45, 45), (70, 20), (85, 85), (15, 80), (5, 80)) == [
        RED, WHITE, WHITE, WHITE, RED, GREEN, WHITE]


def test_recorded_text(recorder: Any) -> None:
    recorder.draw_string("HH", Font("DejaVu Sans", 15.0), Color.black, 10, 10)
    picture = recorded(recorder)
    left, top, right, bottom = dark(picture)
    assert left in range(10, 15) and top in range(10, 18) and right - left in range(24, 40)


def test_turned_recorded_text_and_its_background() -> None:
    recorder = recorders()[0]
    recorder.draw_string("HHH", Font("DejaVu Sans", 12.0), Color.black, 50, 10, 90.0)
    left, top, right, bottom = dark(recorded(recorder))
    assert bottom - top > 1.5 * (right - left)
    recorder = recorders()[1]
    recorder.background_mode = WmfMixMode.OPAQUE
    recorder.background_color = Color.from_argb(255, 0, 255, 0)
    recorder.draw_string("I", Font("DejaVu Sans", 20.0), Color.black, 10, 10)
    assert GREEN in {c[0] << 16 | c[1] << 8 | c[2] for _, c in recorded(recorder).getcolors(9999)}


def test_recorded_pictures(recorder: Any) -> None:
    source = io.BytesIO()
    picture = Pillow.new("RGB", (20, 20), (255, 0, 0))
    picture.paste((0, 255, 0), (10, 0, 20, 20))
    picture.save(source, "png", dpi=(96, 96))
    with load(source.getvalue()) as image:
        recorder.draw_image(image, Point(10, 10))
        recorder.draw_image(image, Rectangle(40, 10, 40, 20), Rectangle(10, 0, 10, 20), GraphicsUnit.PIXEL)
    recorder.draw_image(source.getvalue(), Rectangle(10, 50, 40, 40), GraphicsUnit.PIXEL)
    recorder.draw_image(io.BytesIO(source.getvalue()), Rectangle(60, 50, 20, 20), GraphicsUnit.PIXEL)
    shown = recorded(recorder)
    assert colors(shown, (12, 12), (27, 12), (45, 15), (75, 15), (15, 70), (45, 70), (62, 60), (78, 60)) == [
        RED, GREEN, GREEN, GREEN, RED, GREEN, RED, GREEN]


def test_recorded_gradients_and_transparency(recorder: Any) -> None:
    recorder.fill_rectangle(LinearGradientBrush(Point(0, 0), Point(SIDE, 0), Color.red, Color.blue),
                            Rectangle(0, 0, SIDE, 40))
    recorder.fill_rectangle(SolidBrush(Color.from_argb(128, 255, 0, 0)), Rectangle(0, 50, SIDE, 40))
    picture = recorded(recorder)
    assert color_at(picture, (2, 20)) >> 16 > 240 and color_at(picture, (93, 20)) & 0xFF > 240
    assert abs((color_at(picture, (50, 70)) & 0xFF) - 127) <= 2


def test_recorded_pens_that_are_not_opaque(recorder: Any) -> None:
    recorder.draw_line(Pen(Color.from_argb(128, 0, 0, 255), 8.0), 10, 10, 80, 10)
    faint = Pen(Color.from_argb(255, 0, 0, 255), 8.0)
    faint.opacity = 0.5
    recorder.draw_line(faint, 10, 30, 80, 30)
    recorder.draw_line(Pen(LinearGradientBrush(Point(0, 0), Point(SIDE, 0), Color.red, Color.blue), 8.0), 2, 50, 93, 50)
    picture = recorded(recorder)
    for y in (10, 30):
        assert abs((color_at(picture, (50, y)) >> 16) - 127) <= 2 and color_at(picture, (50, y)) & 0xFF == 255
    assert color_at(picture, (4, 50)) >> 16 > 235 and color_at(picture, (91, 50)) & 0xFF > 235


def test_clearing(recorder: Any) -> None:
    recorder.background_color = Color.from_argb(255, 0, 255, 0)
    recorder.clear()
    assert color_at(recorded(recorder), (50, 50)) == GREEN


def test_an_ended_recording_takes_nothing_more(recorder: Any) -> None:
    recorder.end_recording()
    for use in (recorder.end_recording, recorder.clear, lambda: recorder.translate_transform(1.0, 1.0)):
        with managed_error("InvalidOperationException", "The recording has ended"):
            use()
    with managed_error("ArgumentNullException", "pen"):
        recorders()[0].draw_line(None, 1, 2, 3, 4)


def test_recordings_go_on_with_an_image() -> None:
    kinds: list[tuple[bytes, Any]] = [(EMF, EmfRecorderGraphics2D.from_emf_image),
                                      (WMF, WmfRecorderGraphics2D.from_wmf_image)]
    for file, goes_on in kinds:
        with load(file) as image:
            recorder = goes_on(image)
            recorder.fill_rectangle(SolidBrush(Color.from_argb(255, 0, 255, 0)), Rectangle(70, 70, 20, 20))
            picture = recorded(recorder)
        assert colors(picture, (40, 40), (80, 80), (10, 10)) == [RED, GREEN, WHITE]
    with managed_error("ArgumentNullException", "emf_image"):
        EmfRecorderGraphics2D.from_emf_image(None)


def plus_parts(handed_over: bytes) -> list[bytes]:
    """Files of EMF+, some of which hand over to EMF: their ends in comments of their own, or with the drawing."""
    header = plus_record(0x4001, 1, VERSION + words(1, 96, 96))
    get_dc, end = plus_record(0x4004), plus_record(0x4002)
    red = plus_record(0x400A, 0x8000, words(0xFFFF0000, 1) + floats(30, 30, 20, 20))
    return [emf(plus_comment(header, red, end)),
            emf(plus_comment(header, red), plus_comment(end)),
            emf(plus_comment(header, red, get_dc), handed_over, plus_comment(end))]


@pytest.mark.parametrize("which", range(3))
@pytest.mark.parametrize("mode", [EmfRenderMode.AUTO, EmfRenderMode.EMF_ONLY])
def test_recordings_behind_emf_plus_are_drawn(which: int, mode: EmfRenderMode) -> None:
    # What is handed over leaves a state that the recording must not have: units, a clip, and a saved state.
    state = (emf_record(33) + emf_record(17, words(8)) + emf_record(9, words(960, 960)) + emf_record(11, words(96, 96))
             + emf_record(30, words(0, 0, 300, 300)))
    with load(plus_parts(state)[which]) as image:
        before = len(image.records)
        recorder = EmfRecorderGraphics2D.from_emf_image(image)
        recorder.fill_rectangle(SolidBrush(Color.from_argb(255, 0, 255, 0)), Rectangle(70, 70, 20, 20))
        made = recorder.end_recording()
        assert len(image.records) == before  # of which nothing changed
    file = io.BytesIO()
    made.save(file)
    kinds = [int(plus.type) for record in load(file.getvalue()).records
             for plus in getattr(record, "records", [])]
    assert kinds.count(0x4002) == 1 and kinds[-2:] == [0x4004, 0x4002]  # the end, behind what is handed over
    layout = EmfRasterizationOptions()
    layout.render_mode = mode
    options = PngOptions()
    options.vector_rasterization_options = layout
    shown = io.BytesIO()
    load(file.getvalue()).save(shown, options)
    picture = Pillow.open(shown)
    assert colors(picture, (80, 80), (10, 10)) == [GREEN, WHITE]
    assert (colors(picture, (40, 40)) == [RED]) == (mode == EmfRenderMode.AUTO)


def test_sizes_of_recorders_are_checked() -> None:
    with managed_error("ArgumentOutOfRangeException", "frame"):
        EmfRecorderGraphics2D(Rectangle(0, 0, 0, 5), Size(10, 10), Size(10, 10))
    with managed_error("ArgumentOutOfRangeException", "device_size_mm"):
        EmfRecorderGraphics2D(Rectangle(0, 0, 5, 5), Size(10, 10), Size(0, 10))
    with managed_error("ArgumentOutOfRangeException", "inch"):
        WmfRecorderGraphics2D(Rectangle(0, 0, 5, 5), 0)


def test_untouched_options_draw_what_no_options_draw() -> None:
    assert EmfRasterizationOptions().render_mode == EmfRenderMode.AUTO
    assert WmfRasterizationOptions().render_mode == WmfRenderMode.AUTO


HAIRLINE = ('<style:style style:name="thin" style:family="graphic"><style:graphic-properties draw:stroke="solid" '
            'svg:stroke-width="0cm" svg:stroke-color="#000000" draw:fill="none"/></style:style>')


@pytest.mark.parametrize("options, layout", [(EmfOptions, EmfRasterizationOptions),
                                             (WmfOptions, WmfRasterizationOptions)])
def test_a_line_without_a_width_is_a_pixel_wide_in_metafiles_too(options: Any, layout: Any) -> None:
    line = '<draw:line draw:style-name="thin" svg:x1="10px" svg:y1="40px" svg:x2="80px" svg:y2="40px"/>'
    target, made = io.BytesIO(), options()
    made.vector_rasterization_options = OdgRasterizationOptions()
    made.vector_rasterization_options.page_width = made.vector_rasterization_options.page_height = float(SIDE)
    with Image.load(io.BytesIO(fodg(line, styles=HAIRLINE, size=(SIDE, SIDE)))) as image:
        image.save(target, made)
    picture = drawn(target.getvalue(), layout(), smoothing_mode=SmoothingMode.ANTI_ALIAS).convert("L")
    across = sum(255 - picture.getpixel((45, y)) for y in range(SIDE)) / 255
    assert across == pytest.approx(1, abs=0.15)


def as_wmf(svg: str) -> bytes:
    target, made = io.BytesIO(), WmfOptions()
    made.vector_rasterization_options = SvgRasterizationOptions()
    made.vector_rasterization_options.page_width = made.vector_rasterization_options.page_height = float(SIDE)
    with Image.load(io.BytesIO(f'<svg xmlns="http://www.w3.org/2000/svg" width="{SIDE}" height="{SIDE}">{svg}</svg>'
                               .encode())) as image:
        image.save(target, made)
    return target.getvalue()


def points_of_records(file: bytes) -> list[int]:
    """How many points each record of several polygons has."""
    found, at = [], 40  # behind both headers
    while at < len(file):
        words_of_record, function = struct.unpack_from("<IH", file, at)
        if function == 0x0538:
            count, = struct.unpack_from("<H", file, at + 6)
            found.append(sum(struct.unpack_from(f"<{count}H", file, at + 8)))
        at += 2 * words_of_record
    return found


def test_no_record_of_a_wmf_has_more_points_than_16_bits_count() -> None:
    bars = "".join(f"M{1.6 * n} 0h.6v96h-.6zM0 {1.6 * n}h96v.6h-96z" for n in range(60))
    file = as_wmf(f'<clipPath id="c"><circle cx="48" cy="48" r="40"/></clipPath><path clip-path="url(#c)" d="{bars}"/>')
    counts = points_of_records(file)
    assert len(counts) > 1 and sum(counts) > 65535 and max(counts) <= 65535
    picture = drawn(file, WmfRasterizationOptions(), smoothing_mode=SmoothingMode.ANTI_ALIAS).convert("L")
    parts = [[picture.getpixel((x, y)) for x in range(40, 56) for y in range(top, top + 8)] for top in range(12, 76, 8)]
    darkness = [sum(part) / len(part) for part in parts]
    assert max(darkness) - min(darkness) < 5 and max(darkness) < 128  # no part is missing
    assert picture.getpixel((5, 5)) == 255 and picture.getpixel((90, 90)) == 255


def test_a_shape_of_more_points_than_a_polygon_can_have_is_drawn_in_a_wmf() -> None:
    edge = " ".join(f"{10 + 76 * n / 40000:.4f},{20 + n % 2}" for n in range(40000))
    file = as_wmf(f'<polygon points="{edge} 86,80 10,80" fill="#f00"/>')
    picture = drawn(file, WmfRasterizationOptions())
    assert color_at(picture, (48, 50)) == RED and color_at(picture, (48, 10)) == WHITE
    assert color_at(picture, (48, 85)) == WHITE
