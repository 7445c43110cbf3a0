"""Document trees, styles and settings store the given values; vector images, streams and conversions."""

from __future__ import annotations

import threading
from pathlib import Path
from typing import Any

import pytest
import zelmor.pydrawing
from zelmor.imaging import (
    Color, Point, PointF, Rectangle, RectangleF, RotateFlipType, Size, SizeF)
from zelmor.imaging.extensions import (
    ColorExtensions, PointExtensions, RectangleExtensions, RotateFlipExtensions, StreamExtensions)
from zelmor.imaging.fileformats.cdr.objects import CdrDocument, CdrPage, CdrStyle, CdrText
from zelmor.imaging.fileformats.cdr.types import CdrTextCollection
from zelmor.imaging.fileformats.cmx import CmxImagePage
from zelmor.imaging.fileformats.cmx.objectmodel import CmxDocument, CmxGroup, CmxLayer, CmxObject, CmxPage
from zelmor.imaging.fileformats.emf import EmfImage, MetaObjectList
from zelmor.imaging.fileformats.emf.emf.records import EmfEof
from zelmor.imaging.fileformats.opendocument import OdObject
from zelmor.imaging.fileformats.opendocument.objects import OdGraphicStyle
from zelmor.imaging.fileformats.opendocument.objects.brush import (
    OdBrushStyle, OdGradientBrush, OdHatchedBrush, OdPatternBrush, OdSolidBrush)
from zelmor.imaging.fileformats.opendocument.objects.graphic import OdPage, OdText
from zelmor.imaging.fileformats.svg import FontStoringArgs, SvgImage, SvgImageType, SvgResourceKeeperCallback
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.objects import WmfEof, WmfSaveDc
from zelmor.imaging.imageoptions import SvgOptions
from zelmor.imaging.masking.options import AssumedObjectData, AutoMaskingGraphCutOptions, DetectedObjectType
from zelmor.imaging.multithreading import InterruptMonitor
from zelmor.pyio import FileMode


def cast(kind: Any, value: Any) -> Any:
    return kind._cast_to(value).value


# ---- Trees

def test_a_cmx_tree() -> None:
    document, page, layer, group, leaf = CmxDocument(), CmxPage(), CmxLayer(), CmxGroup(), CmxObject()
    page.page_number, layer.name = 3, "lines"
    document.pages.append(page)
    page.layers.append(layer)
    layer.elements.append(group)
    group.elements.append(leaf)
    layer.elements.append(leaf)
    assert document.pages[0].page_number == 3
    assert document.pages[0].layers[0].name == "lines"
    elements = document.pages[0].layers[0].elements
    assert len(elements) == 2
    assert str(elements[0]).endswith("CmxGroup")
    assert len(cast(CmxGroup, elements[0]).elements) == 1
    assert len(CmxPage().layers) == 0


def test_a_cdr_tree() -> None:
    document, page = CdrDocument(), CdrPage()
    page.page_number = 5
    document.items.append(page)
    page.parent = page.document = document
    first = document.items[0]
    assert cast(CdrPage, first).page_number == 5
    assert len(page.parent.items) == 1
    page.parent = page.document = None  # breaks the reference cycle
    assert page.parent is None


def test_texts_under_a_key() -> None:
    texts = CdrTextCollection()
    for key, text in ((1, "one"), (2, "two"), (1, "again")):
        item = CdrText()
        item.text = text
        texts.add(key, item)
    assert [item.text for item in texts.get_text(1)] == ["one", "again"]
    assert [item.text for item in texts.get_text(2)] == ["two"]
    assert len(texts.get_text(3)) == 0
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        texts.add(1, None)
    assert len(CdrDocument().text_collection.get_text(1)) == 0


def test_an_open_document_tree() -> None:
    root = OdObject()
    page = OdPage(root)
    text = OdText()
    text.text = "written"
    page.items.append(text)
    root.items.extend([text, text])
    assert root.parent is None
    assert len(page.parent.items) == len(root.items) == 2
    assert cast(OdText, page.items[0]).text == "written"


@pytest.mark.parametrize("kind, style", [(OdSolidBrush, OdBrushStyle.SOLID), (OdHatchedBrush, OdBrushStyle.HATCHED),
                                         (OdGradientBrush, OdBrushStyle.GRADIENT),
                                         (OdPatternBrush, OdBrushStyle.PATTERN)])
def test_open_document_brushes(kind: Any, style: OdBrushStyle) -> None:
    brush = kind()
    assert brush.brush_style == style
    copy = brush.clone()
    assert type(copy) is kind
    assert copy.brush_style == style


def test_a_copy_of_a_style_shares_nothing() -> None:
    style = OdGraphicStyle()
    style.pen.width, style.font.height, style.transform_info.skew_x, style.opacity = 4, 12, 0.5, 80
    style.brush = style.pen.brush = OdSolidBrush()
    cast(OdSolidBrush, style.brush).argb_32_color = 1
    copy = style.copy()
    assert (copy.pen.width, copy.font.height, copy.transform_info.skew_x, copy.opacity) == (4, 12, 0.5, 80)
    copy.pen.width, copy.font.height, copy.transform_info.skew_x = 5, 13, 1.5
    cast(OdSolidBrush, copy.brush).argb_32_color = cast(OdSolidBrush, copy.pen.brush).argb_32_color = 2
    assert (style.pen.width, style.font.height, style.transform_info.skew_x) == (4, 12, 0.5)
    assert cast(OdSolidBrush, style.brush).argb_32_color == 1
    cdr = CdrStyle()
    cdr.font_name = "Serif"
    assert cdr.copy().font_name == "Serif"


# ---- Vector images

@pytest.mark.parametrize("kind, format_", [(EmfImage, "EMF"), (WmfImage, "WMF"), (SvgImage, "SVG")])
def test_vector_images(kind: Any, format_: str) -> None:
    image = kind(30, 20)
    assert (image.width, image.height, image.bits_per_pixel, image.file_format.name) == (30, 20, 32, format_)
    assert (image.size_f, image.width_f, image.height_f) == (SizeF(30, 20), 30.0, 20.0)
    assert (image.size, image.bounds) == (Size(30, 20), Rectangle(0, 0, 30, 20))
    assert (image.is_cached, image.use_palette, image.palette, image.container) == (True, False, None, None)
    assert image.data_stream_container is None
    image.cache_data()
    for width, height in ((0, 1), (1, -1)):
        with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
            kind(width, height)
    with image:
        pass
    with pytest.raises(RuntimeError, match="ObjectDisposedException"):
        image.width  # noqa: B018


def test_metafiles_hold_records() -> None:
    image = WmfImage(10, 10)
    assert image.inch == 96
    assert image.frame_bounds == Rectangle(0, 0, 10, 10)
    assert (image.add_record(WmfSaveDc()), image.add_record(WmfEof())) == (0, 1)
    assert [type(record).__name__ for record in image.records] == ["WmfSaveDc", "WmfEof"]
    emf = EmfImage()
    assert emf.header.emf_header.valid
    assert len(emf.records) == 0
    records = MetaObjectList()
    records.append(EmfEof())
    emf.records = records
    assert type(emf.records[0]) is EmfEof
    assert (emf.width, emf.height) == (0, 0)
    image.records = None
    with pytest.raises(RuntimeError, match="InvalidOperationException"):
        image.add_record(WmfEof())


def test_other_vector_images() -> None:
    options = SvgOptions()
    assert SvgImage(options, 4, 5).height == 5
    page = CmxPage()
    page.width, page.height = 0.25, 0.3125  # inches
    image = CmxImagePage(page)
    assert (image.width_f, image.height_f, image.width) == (24.0, 30.0, 24)
    assert image.cmx_page.width == 0.25


# ---- Settings

def test_assumed_objects() -> None:
    bounds = Rectangle(1, 2, 3, 4)
    for kind, expected in ((DetectedObjectType.OTHER, DetectedObjectType.OTHER), ("human", DetectedObjectType.HUMAN),
                           ("HUMAN", DetectedObjectType.HUMAN), ("car", DetectedObjectType.OTHER)):
        data = AssumedObjectData(kind, bounds)
        assert (data.type, data.bounds) == (expected, bounds)
    options = AutoMaskingGraphCutOptions()
    options.assumed_objects = [AssumedObjectData("human", bounds), AssumedObjectData("car", Rectangle(0, 0, 1, 1))]
    assert [each.type for each in options.assumed_objects] == [DetectedObjectType.HUMAN, DetectedObjectType.OTHER]


def test_interrupt_monitors() -> None:
    monitor = InterruptMonitor()
    assert not monitor.is_interrupted
    assert InterruptMonitor.thread_local_instance is None
    InterruptMonitor.set_thread_local_instance(monitor)
    seen = []

    def other_thread() -> None:
        seen.append(InterruptMonitor.thread_local_instance)
        monitor.interrupt()

    thread = threading.Thread(target=other_thread)
    thread.start()
    thread.join()
    assert seen == [None]
    assert InterruptMonitor.thread_local_instance.is_interrupted
    InterruptMonitor.set_thread_local_instance(None)
    assert InterruptMonitor.thread_local_instance is None


def test_a_resource_keeper_that_keeps_nothing() -> None:
    keeper = SvgResourceKeeperCallback()
    embedded: list[bool] = []
    for _ in range(2):  # a value that was read can be set again
        assert not keeper.on_image_resource_ready(b"data", SvgImageType.PNG, "name", embedded)
        assert embedded[0] is True and len(embedded) == 1
    with pytest.raises(TypeError, match="^can't build bool from 'int'$"):
        keeper.on_image_resource_ready(b"data", SvgImageType.PNG, "name", [1])
    assert keeper.on_svg_document_ready(b"<html/>", "name.svg") == "name.svg"
    arguments = FontStoringArgs()
    keeper.on_font_resource_ready(arguments)
    assert arguments.source_font_file_name is None
    assert arguments.source_font_stream is None


# ---- Streams and conversions

def test_memory_streams() -> None:
    stream = StreamExtensions.create_memory_stream_from_bytes(b"content")
    assert stream.read() == b"content"
    for empty in (StreamExtensions.create_memory_stream(), StreamExtensions.create_memory_stream_with_size(100)):
        assert empty.read() == b""
        empty.write(b"ab")
        empty.seek(0)
        assert empty.read() == b"ab"
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
        StreamExtensions.create_memory_stream_with_size(-1)


def test_file_streams(tmp_path: Path) -> None:
    def content(mode: FileMode, name: str = "file") -> bytes:
        with StreamExtensions.create_file_stream(str(tmp_path / name), mode) as stream:
            stream.write(b"xy")
        return (tmp_path / name).read_bytes()

    with pytest.raises(RuntimeError, match="FileNotFoundException"):
        content(FileMode.OPEN)
    assert content(FileMode.CREATE_NEW) == b"xy"
    with pytest.raises(RuntimeError, match="IOException.*already exists"):
        content(FileMode.CREATE_NEW)
    (tmp_path / "file").write_bytes(b"before")
    assert content(FileMode.OPEN) == b"xyfore"
    assert content(FileMode.APPEND) == b"xyforexy"
    assert content(FileMode.TRUNCATE) == b"xy"
    (tmp_path / "file").write_bytes(b"before")
    assert content(FileMode.OPEN_OR_CREATE) == b"xyfore"
    assert content(FileMode.CREATE) == b"xy"
    for mode in (FileMode.OPEN_OR_CREATE, FileMode.APPEND, FileMode.CREATE):
        assert content(mode, mode.name) == b"xy"


def test_arrays_for_the_drawing_module() -> None:
    points = PointExtensions.to_gdi_points([PointF(1.5, 2.5), PointF(-1, 0)])
    assert [type(point) for point in points] == [zelmor.pydrawing.PointF] * 2
    assert [(point.x, point.y) for point in points] == [(1.5, 2.5), (-1.0, 0.0)]
    assert list(PointExtensions.to_points_array([Point(1, 2), Point(3, 4)])) == [PointF(1, 2), PointF(3, 4)]
    colors = ColorExtensions.to_gdi_colors([Color.from_argb(1, 2, 3, 4), Color.red])
    assert list(colors) == [zelmor.pydrawing.Color.from_argb(1, 2, 3, 4), zelmor.pydrawing.Color.red]
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        ColorExtensions.to_gdi_colors(None)


def test_unions_and_turns() -> None:
    assert RectangleExtensions.union_with(RectangleF(1, 2, 3, 4), RectangleF(-1, 5, 1, 10)) == RectangleF(-1, 2, 5, 13)
    for turn in RotateFlipType:
        expected = zelmor.pydrawing.RotateFlipType[turn.name]
        assert RotateFlipExtensions.to_gdi_rotate_flip_type(turn) == expected
