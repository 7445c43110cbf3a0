"""Constants of the formats, numbers of records, defaults, and values that are derived from other settings."""

from __future__ import annotations

import functools
from typing import Any

import pytest
import zelmor.imaging
from zelmor.imaging import BuildVersionInfo, Color, FileFormat, Point
from zelmor.imaging.extensions import FileFormatExtensions
from zelmor.imaging.fileformats import gif
from zelmor.imaging.fileformats.bmp import BitmapCoreHeader
from zelmor.imaging.fileformats.cmx.objectmodel import CmxLayer
from zelmor.imaging.fileformats.emf.emf import records as emf
from zelmor.imaging.fileformats.emf.emf.consts import EmfRecordType
from zelmor.imaging.fileformats.emf.emf.objects import EmfHeaderObject, EmfLogPalette, EmfPixelFormatDescriptor
from zelmor.imaging.fileformats.emf.emfplus import records as emf_plus
from zelmor.imaging.fileformats.emf.emfplus.consts import EmfPlusImageEffectsIdentifiers, EmfPlusRecordType
from zelmor.imaging.fileformats.emf.emfplus.objects import EmfPlusGraphicsVersion
from zelmor.imaging.fileformats.gif import blocks
from zelmor.imaging.fileformats.jpeg import JFIFData
from zelmor.imaging.fileformats.wmf.objects import (
    WmfBitmapCoreHeader, WmfBitmapInfoHeader, WmfLogColorSpace, WmfLogColorSpaceW, WmfPointObject)
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, VectorRasterizationOptions
from zelmor.imaging.masking.options import AutoMaskingGraphCutOptions, MaskingOptions, SegmentationMethod

from support.module_tree import MODEL


def python_type(dotted: str) -> Any:
    return functools.reduce(getattr, dotted.split(".")[2:], zelmor.imaging)


def test_header_sizes() -> None:
    sizes = [BitmapCoreHeader.BITMAP_CORE_HEADER_SIZE, BitmapCoreHeader.OS_22X_BITMAP_HEADER_SIZE,
             BitmapCoreHeader.BITMAP_INFO_HEADER_SIZE, BitmapCoreHeader.BITMAP_INFO_HEADER_SIZE_V2,
             BitmapCoreHeader.BITMAP_INFO_HEADER_SIZE_V3, BitmapCoreHeader.OS_22X_BITMAP_HEADER_FULL_SIZE,
             BitmapCoreHeader.BITMAP_INFO_HEADER_SIZE_V4, BitmapCoreHeader.BITMAP_INFO_HEADER_SIZE_V5]
    assert sizes == [12, 16, 40, 52, 56, 64, 108, 124]
    assert WmfBitmapCoreHeader.BITMAP_CORE_HEADER_SIZE == WmfBitmapCoreHeader().header_size == 12
    assert WmfBitmapInfoHeader.BITMAP_INFO_HEADER_SIZE == WmfBitmapInfoHeader().header_size == 40


def test_bases_of_records_that_can_be_made_themselves() -> None:
    place = WmfPointObject()
    place.point = Point(3, -4)
    assert place.point == Point(3, -4)
    source = emf_plus.EmfPlusRecord()
    source.flags, source.size, source.data_size = 0x2000, 12, 0
    made = emf_plus.EmfPlusTransformRecordType(source)
    assert (made.flags, made.size, made.data_size) == (0x2000, 12, 0)


def test_gif_block_constants() -> None:
    assert gif.GifBlock.EXTENSION_INTRODUCER == 0x21
    labels = [blocks.GifPlainTextRenderingBlock.EXTENSION_LABEL, blocks.GifFrameBlock.EXTENSION_LABEL,
              blocks.GifGraphicsControlBlock.EXTENSION_LABEL, blocks.GifCommentBlock.EXTENSION_LABEL,
              blocks.GifApplicationExtensionBlock.EXTENSION_LABEL]
    assert labels == [0x01, 0x2C, 0xF9, 0xFE, 0xFF]
    application = blocks.GifApplicationExtensionBlock
    assert application.APPLICATION_IDENTIFIER_SIZE + application.APPLICATION_AUTHENTICATION_CODE_SIZE == \
        application.BLOCK_SIZE == 11


def test_every_static_property_reads() -> None:
    count = 0
    for entry in MODEL.types:
        for item in entry.properties:
            if item.static:
                getattr(python_type(entry.dotted), item.python)
                count += 1
    assert count > 200


def test_image_effects() -> None:
    names = [item.python for entry in MODEL.types if entry.name == "EmfPlusImageEffectsIdentifiers"
             for item in entry.properties]
    identifiers = [getattr(EmfPlusImageEffectsIdentifiers, name) for name in names]
    assert len(set(identifiers)) == len(names) == 11
    for identifier in identifiers:
        assert EmfPlusImageEffectsIdentifiers.contain(identifier)
        assert EmfPlusImageEffectsIdentifiers.contain(identifier.strip("{}").lower())
    assert EmfPlusImageEffectsIdentifiers.BLUR_EFFECT_GUID == "{633C80A4-1843-482B-9EF2-BE2834C5FDD4}"
    assert not EmfPlusImageEffectsIdentifiers.contain("{00000000-0000-0000-0000-000000000000}")
    assert not EmfPlusImageEffectsIdentifiers.contain(None)


def test_version_and_names() -> None:
    assert BuildVersionInfo.ASSEMBLY_VERSION == BuildVersionInfo.FILE_VERSION == "23.6.0.0"
    assert (BuildVersionInfo.PRODUCT_MAJOR, BuildVersionInfo.PRODUCT_MINOR) == (23, 6)
    assert CmxLayer.MASTER_DESKTOP_LAYER_NAME == "Desktop"
    assert MaskingOptions.BACKGROUND_OBJECT_NUMBER == 0


def test_emf_records_begin_with_their_published_number() -> None:
    assert emf.EmfEof().type == EmfRecordType.EMR_EOF
    assert emf.EmfStretchBlt().type == EmfRecordType.EMR_STRETCHBLT
    numbers = {int(EmfRecordType[name]) for name in EmfRecordType.__members__}
    made = set()
    for entry in MODEL.types:
        if any(base.name == "EmfRecord" for base in entry.bases()) and entry.name != "EmfRecord":
            if any(not overload.params for overload in entry.constructors):
                made.add(int(python_type(entry.dotted)().type))
    assert len(made) > 20
    assert made <= numbers


@pytest.mark.parametrize("kind", [emf.EmfMaskBlt, emf.EmfEof, emf.EmfAbortPath, emf.EmfMetafileHeaderExtension2])
def test_an_emf_record_takes_over_what_its_source_has(kind: Any) -> None:
    source = emf.EmfRecord(EmfRecordType.EMR_PIE)
    source.size = 48
    made = kind(source)
    assert (made.type, made.size) == (EmfRecordType.EMR_PIE, 48)
    copy = emf.EmfRecord.create_from_record(source)
    source.size = 50
    assert (copy.type, copy.size) == (EmfRecordType.EMR_PIE, 48)


def test_an_emf_plus_record_has_the_number_of_its_class() -> None:
    source = emf_plus.EmfPlusRecord()
    source.flags, source.size, source.data_size = 0x8001, 28, 16
    clear = emf_plus.EmfPlusClear(source)
    assert (clear.type, clear.flags, clear.size, clear.data_size) == (EmfPlusRecordType.EMF_PLUS_CLEAR, 0x8001, 28, 16)
    seen = set()
    for entry in MODEL.types:
        if entry.dotted.startswith("zelmor.imaging.fileformats.emf.emfplus.records.") and entry.constructors:
            if entry.name != "EmfPlusRecord":
                seen.add(python_type(entry.dotted)(source).type)
    assert len(seen) == 54
    assert seen < set(EmfPlusRecordType)


def test_flags_of_terminal_server_graphics() -> None:
    source = emf_plus.EmfPlusRecord()
    seen = []
    for flags in range(4):
        source.flags = flags
        record = emf_plus.EmfPlusSetTsGraphics(source)
        seen.append((record.have_palette, record.basic_vga_colors))
    assert seen == [(False, False), (True, False), (False, True), (True, True)]


def test_defaults_of_options() -> None:
    assert JpegOptions().quality == 75
    assert PngOptions.DEFAULT_COMPRESSION_LEVEL == PngOptions().compression_level == 6
    options = VectorRasterizationOptions()
    assert options.background_color == Color.from_argb(255, 255, 255, 255)
    assert (options.page_width, options.page_height) == (0.0, 0.0)
    masking = AutoMaskingGraphCutOptions()
    assert masking.method == SegmentationMethod.GRAPH_CUT
    assert masking.default_foreground_strokes is None
    assert masking.decompose


@pytest.mark.parametrize("quality, scaled", [(1, 5000), (10, 500), (49, 102), (50, 100), (75, 50), (100, 0)])
def test_scaled_jpeg_quality(quality: int, scaled: int) -> None:
    options = JpegOptions()
    options.quality = quality
    assert options.scaled_quality == scaled


def test_single_formats() -> None:
    single = FileFormatExtensions.is_single_format_defined
    for format_ in FileFormat:
        assert single(format_) == (int(format_) != 0)
    assert not single(FileFormat.PNG | FileFormat.BMP)


def test_new_structures_have_their_own_size_version_and_signature() -> None:
    assert JFIFData().version == 0x102
    assert (EmfPixelFormatDescriptor().n_size, EmfPixelFormatDescriptor().n_version) == (40, 1)
    assert (EmfHeaderObject().version, EmfLogPalette().version) == (0x10000, 0x300)
    assert EmfPlusGraphicsVersion().metafile_signature == 0xDBC01
    for header, size in ((WmfBitmapCoreHeader(), 12), (WmfBitmapInfoHeader(), 40)):
        assert (header.header_size, header.planes) == (size, 1)
    for space in (WmfLogColorSpace(), WmfLogColorSpaceW()):
        assert (space.signature.to_bytes(4, "big"), space.version) == (b"PSOC", 0x400)
