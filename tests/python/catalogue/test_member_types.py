"""Types of members that a listing of the library's properties calls `object`: text, bytes, dates, collections.

The sweep over all members (test_use.py) checks the kinds; this file checks values, as a user sees them.
"""

from __future__ import annotations

import datetime
import io
from typing import Any

import pytest
from zelmor.imaging import (Cache, Color, ColorBlend, ColorMatrix, Figure, FontSettings, GraphicsPath, Image,
                            ImageLoadersRegistry, IntRange, Matrix, Pen, Point, PointF, RectangleF)
from zelmor.imaging.asynctask import AsyncTaskProgress
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.cmx.objectmodel.specs import CmxPathPointSpec, CmxPathSpec
from zelmor.imaging.fileformats.cmx.objectmodel.styles import CmxColor, CmxGradient, CmxOutline
from zelmor.imaging.fileformats.gif import GifBlocksRegistry
from zelmor.imaging.fileformats.gif.blocks import GifUnknownExtensionBlock
from zelmor.imaging.fileformats.opendocument.objects.brush import OdPatternBrush
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage, TiffRational
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat, TiffSampleFormats
from zelmor.imaging.imageoptions import MultiPageOptions, TiffOptions, VectorRasterizationOptions
from zelmor.imaging.masking.options import AutoMaskingArgs
from zelmor.imaging.shapes import RectangleShape
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.pictures import png_bytes


def element(value: Any) -> str:
    """The identifier of the element type of a typed array or list."""
    name: str = type(value).__name__
    assert name.startswith(("_ArrayWrapper_", "_ListWrapper_")), name
    return name.rpartition("_")[2]


IMAGE, FRAME, PACKAGE, COLOR, SINGLE = "4B725488", "B748930C", "4893859B", "4161C915", "FCB07591"


def test_pages_are_images_and_frames_are_frames() -> None:
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    image = TiffImage([TiffFrame(options, 5, 6), TiffFrame(options, 7, 8)])
    assert (element(image.pages), element(image.frames)) == (IMAGE, FRAME)
    assert [type(page) for page in image.pages] == [Image, Image]
    assert [(frame.width, frame.height) for frame in image.frames] == [(5, 6), (7, 8)]
    assert image.frames[0].frame_options is not None and image.frames[0] in image.frames
    with pytest.raises(TypeError, match="^can't build TiffFrame value from 'str'$"):
        image.frames[0] = "no frame"
    with pytest.raises(AttributeError):
        image.pages = []


def test_packages_and_registered_descriptors_have_their_elements() -> None:
    packet = XmpPacketWrapper()
    packet.add_package(DublinCorePackage())
    assert element(packet.packages) == PACKAGE and len(packet.packages) == 1
    assert packet.packages[0].prefix == "dc"
    assert element(ImageLoadersRegistry.registered_descriptors) == "102D05D1"
    assert element(GifBlocksRegistry.registered_descriptors) == "B89C7755"


def test_shapes_and_figures_have_their_elements() -> None:
    figure = Figure()
    figure.add_shape(RectangleShape(RectangleF(0, 0, 3, 4)))
    path = GraphicsPath([figure])
    assert element(path.figures) == "C63CF845" and path.figures[0].shapes[0].center == PointF(1.5, 2)
    assert element(figure.shapes[0].segments) == "70A52B7E"


@pytest.mark.parametrize(("owner", "name", "identifier", "values"), [
    (Pen(Color.red), "dash_pattern", SINGLE, [1.0, 2.5]),
    (Pen(Color.red), "compound_array", SINGLE, [0.0, 0.5]),
    (ColorBlend(), "colors", COLOR, [Color.red, Color.blue]),
    (IntRange(1, 3), "range", "A4A29720", [4, 5]),
    (MultiPageOptions(), "page_titles", "CBE911FC", ["a", None]),
    (MultiPageOptions(), "page_rasterization_options", "79C35D44", [VectorRasterizationOptions()]),
    (TiffOptions(TiffExpectedFormat.DEFAULT), "sample_format", "5A71E0F9", [TiffSampleFormats.INT] * 2),
    (TiffOptions(TiffExpectedFormat.DEFAULT), "strip_offsets", "110A8374", [0, 2 ** 32 - 1]),
    (AutoMaskingArgs(), "orphaned_points", "D065E58A", [Point(1, 2)]),
    (CmxPathSpec(), "points", "5A6B40F1", [CmxPathPointSpec()]),
    (CmxGradient(), "colors", "5924F2FC", [CmxColor()]),
    (CmxOutline(), "stroke", "A2718E40", [1, -1]),
], ids=lambda value: value if isinstance(value, str) else type(value).__name__)
def test_arrays_store_the_given_values(owner: Any, name: str, identifier: str, values: list[Any]) -> None:
    for given in (values, tuple(values)):
        setattr(owner, name, given)
        shown = getattr(owner, name)
        assert element(shown) == identifier and list(shown) == values
    setattr(owner, name, shown)
    assert list(getattr(owner, name)) == values
    setattr(owner, name, None)
    assert getattr(owner, name) is None
    kind = "List" if name == "stroke" else "Array"
    with pytest.raises(TypeError, match=f"^can't build {kind} value from 'int'$"):
        setattr(owner, name, 5)
    with pytest.raises((RuntimeError, TypeError), match="can't build"):
        setattr(owner, name, [object()])
    assert getattr(owner, name) is None


def test_arrays_of_arrays() -> None:
    brush, masking = OdPatternBrush(), AutoMaskingArgs()
    brush.pattern = [[1, 2], [3]]
    assert element(brush.pattern) == "DAF680C1" and [list(row) for row in brush.pattern] == [[1, 2], [3]]
    masking.objects_points = [[Point(1, 2)], []]
    assert element(masking.objects_points) == "8E76FE13" and list(masking.objects_points[0]) == [Point(1, 2)]
    assert element(ColorMatrix().get_matrix()) == "F25B175D"
    assert [list(row)[:2] for row in ColorMatrix().get_matrix()][:2] == [[1, 0], [0, 1]]
    assert list(Matrix().elements) == list(Matrix().get_elements()) == [1, 0, 0, 1, 0, 0]


def test_bytes_are_bytes() -> None:
    block = GifUnknownExtensionBlock()
    block.unknown_data = memoryview(b"abc")[1:]
    assert type(block.unknown_data) is bytearray and block.unknown_data == b"bc"
    block.unknown_data = b""
    assert block.unknown_data == b""
    block.unknown_data = None
    assert block.unknown_data is None
    with pytest.raises(TypeError, match=r"^can't build byte\[\] from 'str'$"):
        block.unknown_data = "text"
    with pytest.raises(TypeError, match=r"^can't build byte\[\] from 'list'$"):
        block.unknown_data = [1, 2]


def test_text_is_text() -> None:
    data = JpegExifData()
    with pytest.raises(TypeError, match="^can't build String from 'bytes'$"):
        data.make = b"bytes"
    with pytest.raises(TypeError, match="^can't build String from 'int'$"):
        data.body_serial_number = -1
    assert data.make is None and data.body_serial_number is None
    for read, write in (("cache_folder", Cache.set_cache_folder),
                        ("default_font_name", FontSettings.set_default_font_name)):
        owner: Any = Cache if read == "cache_folder" else FontSettings
        before = getattr(owner, read)
        write("somewhere")
        assert getattr(owner, read) == "somewhere"
        write(before)
    assert all(isinstance(folder, str) for folder in FontSettings.get_default_fonts_folders())
    assert element(FontSettings.get_default_fonts_folders()) == "CBE911FC"


def test_spans_are_spans() -> None:
    progress = AsyncTaskProgress(5, datetime.timedelta(seconds=90))
    assert progress.DURATION == datetime.timedelta(seconds=90)


def test_a_page_of_a_loaded_image_has_the_members_of_an_image() -> None:
    target = io.BytesIO()
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    TiffImage([TiffFrame(options, 3, 2)]).save(target)
    target.seek(0)
    made, image = TiffImage._cast_to(Image.load(target))
    assert made and [(page.width, page.height) for page in image.pages] == [(3, 2)]
    assert Image.load(io.BytesIO(png_bytes(1, 1, [(1, 2, 3)]))).width == 1


def test_one_fraction_in_a_tag_of_many_is_an_array() -> None:
    data = JpegExifData()
    data.gps_track = [TiffRational(1, 2)]
    assert list(data.gps_track) == [TiffRational(1, 2)]
    with pytest.raises(TypeError, match="^can't build Array value from 'zelmor[a-z.]*TiffRational'$"):
        data.gps_track = TiffRational(1, 2)
