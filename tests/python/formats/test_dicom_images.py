"""DICOM images and their pages: what the header says, what is written, and what other programs read of it."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pydicom
import pytest
from PIL import Image as Pillow
from pydicom.datadict import DicomDictionary
from zelmor.imaging import (Color, FileFormat, Image, LoadOptions, RasterImage, Rectangle, ResizeType,
                            ResolutionSetting, RotateFlipType)
from zelmor.imaging.fileformats.dicom import ColorType, Compression, CompressionType, DicomImage, DicomPage
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode, JpegCompressionMode
from zelmor.imaging.imageoptions import DicomOptions, Jpeg2000Options, JpegOptions, PngOptions, TiffOptions
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.sources import FileCreateSource
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dicom import DicomPackage
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.arrays import Pixels
from support.dicom_files import (BIG_ENDIAN, EXPLICIT, IMPLICIT, compressed, element, palette_elements, picture, run,
                                 words)
from support.image_oracles import few_colors, managed_error, noise, pixels, raster, read, smooth, write

HEIGHT, WIDTH = 24, 30
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH]
DEEP = (X * 120 + Y * 9).astype(np.uint16)  # below 3800


def opened(source: bytes | Path | str) -> DicomImage:
    image = Image.load(io.BytesIO(source) if isinstance(source, bytes) else str(source))
    return DicomImage._cast_to(image).value


def options(kind: CompressionType = CompressionType.NONE, color: ColorType | None = None,
            **properties: Any) -> DicomOptions:
    result, compression = DicomOptions(), Compression()
    compression.type = kind
    for name, value in properties.items():
        setattr(compression, name, value)
    result.compression = compression
    if color is not None:
        result.color_type = color
    return result


def checked(path: Path | str) -> Any:
    """A file that two other programs read without a complaint."""
    run("dcmdump", "-q", "--read-file-only", str(path))
    run("dcmftest", str(path))
    return pydicom.dcmread(path)


def samples_of(path: Path) -> Pixels:
    """The samples that another program decodes."""
    syntax = pydicom.dcmread(path).file_meta.TransferSyntaxUID
    if syntax == EXPLICIT:
        return pydicom.dcmread(path).pixel_array
    plain = path.with_suffix(".plain.dcm")
    programs = {"1.2.840.10008.1.2.5": ("dcmdrle",), "1.2.840.10008.1.2.4.70": ("dcmdjpeg",)}
    run(*programs.get(syntax, ("gdcmconv", "--raw")), str(path), str(plain))
    return pydicom.dcmread(plain).pixel_array


def frames_file(count: int = 3) -> bytes:
    frames = np.stack([DEEP + 100 * i for i in range(count)]).astype(np.uint16)
    return picture(frames, stored=12, frames=count)


# ---- What the header says


def test_file_info_has_what_the_header_says() -> None:
    signed = (DEEP.astype(int) - 2048).astype(np.int16)
    more = [(0x00281050, "DS", b"40\\100"), (0x00281051, "DS", b"400"), (0x00281052, "DS", b"-1024"),
            (0x00281053, "DS", b" 2.5"), (0x00100010, "PN", "Müller".encode("latin-1"))]
    data = picture(signed, stored=12, more=more)
    info = opened(data).file_info
    assert (info.width, info.height, info.number_of_frames) == (WIDTH, HEIGHT, 1)
    assert (info.samples_per_pixel, info.bits_allocated, info.planar_configuration) == (1, 16, 0)
    assert (info.signed_image, info.pixel_representation, info.is_little_endian) == (True, 1, True)
    assert info.photo_interpretation == "MONOCHROME2"
    assert (info.window_centre, info.window_width) == (40, 400)
    assert (info.rescale_intercept, info.rescale_slope) == (-1024, 2.5)
    assert info.offset == len(data) - signed.nbytes
    assert info.dicom_header_info_by_bytes == data[:info.offset]
    assert (info.reds, info.greens, info.blues) == (b"", b"", b"")
    lines = list(info.dicom_info)
    assert lines[0].startswith("(0002,0000) UL File Meta Information Group Length: ")
    assert "(0010,0010) PN Patient's Name: Müller" in lines
    assert "(0028,0010) US Rows: 24" in lines
    assert lines[-1] == f"(7FE0,0010) OW Pixel Data: <{signed.nbytes} bytes>"
    assert len(lines) == len({line[:11] for line in lines})


def test_the_lines_name_all_elements_that_another_program_lists() -> None:
    inner = element(0x00080100, "SH", b"T-D3000") + element(0x00291010, "UN", b"ab")
    item = struct.pack("<HHI", 0xFFFE, 0xE000, len(inner)) + inner
    data = picture(DEEP, stored=12, more=[(0x00082218, "SQ", item)])
    file = pydicom.dcmread(io.BytesIO(data))
    wanted = [f"({each.tag.group:04X},{each.tag.elem:04X})" for each in (*file.file_meta, *file.iterall())]
    lines = list(opened(data).file_info.dicom_info)
    assert [line.lstrip(">")[:11] for line in lines] == wanted
    at = wanted.index("(0008,2218)")
    assert lines[at:at + 3] == ["(0008,2218) SQ Anatomic Region Sequence:", ">(0008,0100) SH (unknown): T-D3000",
                                ">(0029,1010) UN (private): <2 bytes>"]


def test_names_and_types_are_those_of_the_dictionary() -> None:
    """Of a file with all elements of another program's dictionary and without types, which come from the names then."""
    kept = {0x7FE00008, 0x7FE00009, *range(0x00280002, 0x00280104)}  # of other samples, and those of the picture
    more = [(tag, "UN", b"") for tag in DicomDictionary if 0x00030000 < tag < 0x7FE00010 and tag not in kept]
    lines = list(opened(picture(DEEP, syntax=IMPLICIT, more=more)).file_info.dicom_info)
    assert len(lines) > len(more) > 4000
    named = [line for line in lines if "(unknown)" not in line and "(private)" not in line]
    for line in named:
        kinds, _, name, *_ = DicomDictionary[int(line[1:5] + line[6:10], 16)]
        assert line[12:14] in kinds.split(" or ") and line[15:].startswith(f"{name}:"), line
    assert len(named) == 177


def test_windows_of_frames_stand_in_sequences() -> None:
    def item(content: bytes) -> bytes:
        return struct.pack("<HHI", 0xFFFE, 0xE000, len(content)) + content

    window = element(0x00281050, "DS", b"50") + element(0x00281051, "DS", b"350")
    rescale = element(0x00281052, "DS", b"-7") + element(0x00281053, "DS", b"3")
    groups = element(0x00289132, "SQ", item(window)) + element(0x00289145, "SQ", item(rescale))
    info = opened(picture(DEEP, stored=12, more=[(0x52009229, "SQ", item(groups))])).file_info
    assert (info.window_centre, info.window_width, info.rescale_intercept, info.rescale_slope) == (50, 350, -7, 3)


@pytest.mark.parametrize("syntax", [IMPLICIT, BIG_ENDIAN])
def test_file_info_of_other_orders(syntax: str) -> None:
    info = opened(picture(DEEP, stored=12, syntax=syntax)).file_info
    assert (info.width, info.bits_allocated) == (WIDTH, 16)
    assert info.is_little_endian == (syntax == IMPLICIT)
    assert "(0028,0010) US Rows: 24" in list(info.dicom_info)


def test_file_info_has_the_palette() -> None:
    entries = np.array([[1, 2, 3], [40, 50, 60], [255, 0, 128]])
    info = opened(picture((X % 3).astype(np.uint8), "PALETTE COLOR", more=palette_elements(entries * 257))).file_info
    assert [info.reds, info.greens, info.blues] == [bytes(entries[:, i].tolist()) for i in range(3)]


def test_windows_and_rescaling_are_told_and_not_applied() -> None:
    more = [(0x00281050, "DS", b"40"), (0x00281051, "DS", b"400"), (0x00281052, "DS", b"-1024")]
    plain, told = opened(picture(DEEP, stored=12)), opened(picture(DEEP, stored=12, more=more))
    assert list(plain.load_argb_64_pixels(plain.bounds)) == list(told.load_argb_64_pixels(told.bounds))


@pytest.mark.parametrize("tag", [0x00280030, 0x00181164, 0x00182010])
def test_the_distance_of_pixels_is_the_resolution(tag: int) -> None:
    image = opened(picture(DEEP, stored=12, more=[(tag, "DS", b"0.254\\0.127")]))
    assert (image.vertical_resolution, image.horizontal_resolution) == (100, 200)


# ---- Pages


def test_pages_are_frames(tmp_path: Path) -> None:
    image = opened(frames_file())
    assert (image.page_count, image.active_page_index, image.file_info.number_of_frames) == (3, 0, 3)
    assert [page.index for page in image.dicom_pages] == [0, 1, 2]
    page = image.dicom_pages[2]
    assert (page.width, page.height, page.bits_per_pixel, page.file_format) == (WIDTH, HEIGHT, 16, FileFormat.DICOM)
    image.active_page = page
    assert image.active_page_index == 2
    same = DicomPage(image, 1)
    assert same.index == 1
    assert DicomPage(image, 1, LoadOptions()).index == 1
    changed = LoadOptions()
    changed.data_background_color = Color.red
    with managed_error("NotSupportedException", "LoadOptions.DataBackgroundColor for a page"):
        DicomPage(image, 1, changed)
    with managed_error("ArgumentOutOfRangeException", "index"):
        DicomPage(image, 3)
    image.save(str(tmp_path / "a.tif"), TiffOptions(TiffExpectedFormat.TIFF_NO_COMPRESSION_BW))
    assert raster(Image.load(str(tmp_path / "a.tif"))).width == WIDTH


def test_pages_are_added_inserted_and_removed(tmp_path: Path) -> None:
    image = opened(frames_file())
    added = image.add_page()
    assert (added.index, added.width, added.height, added.bits_per_pixel) == (3, WIDTH, HEIGHT, 16)
    image.add_page(image.dicom_pages[0])
    first = image.insert_page(0)
    image.remove_page(2)
    assert first.index == 0 and image.page_count == 5
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    assert (file.NumberOfFrames, file.BitsStored, file.PatientName) == (5, 12, "Doe^Jane")
    expected = [0 * DEEP, DEEP, DEEP + 200, 0 * DEEP, DEEP]
    assert np.array_equal(file.pixel_array, np.stack(expected))
    with managed_error("ArgumentOutOfRangeException", "page_index"):
        image.remove_page(5)
    with managed_error("ArgumentException", "All pages of a DICOM image have one size"):
        image.add_page(raster(Image.load(io.BytesIO(picture(DEEP[:5])))))


def test_all_pages_are_saved_where_the_format_holds_them(tmp_path: Path) -> None:
    image = opened(frames_file())
    image.save_all(str(tmp_path / "a.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_BW))
    with Pillow.open(tmp_path / "a.tif") as pages:
        assert pages.n_frames == 3
    image.save_all(str(tmp_path / "a.dcm"), options(color=ColorType.GRAYSCALE_16_BIT))
    assert checked(tmp_path / "a.dcm").NumberOfFrames == 3
    with managed_error("NotSupportedException", "PNG holds one picture, not 3"):
        image.save_all(str(tmp_path / "a.png"), PngOptions())
    assert not (tmp_path / "a.png").exists()
    opened(picture(DEEP)).save_all(str(tmp_path / "one.png"), PngOptions())
    assert read(tmp_path / "one.png").shape == (HEIGHT, WIDTH)


def test_operations_reach_all_pages(tmp_path: Path) -> None:
    image = opened(frames_file())
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.crop(Rectangle(2, 3, 10, 12))
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    expected = [np.rot90(DEEP + 100 * i, -1)[3:15, 2:12] for i in range(3)]
    assert np.array_equal(file.pixel_array, np.stack(expected))


def test_all_pages_are_resized_by_the_same_factors(tmp_path: Path) -> None:
    image = opened(frames_file())
    image.resize_proportional(2 * WIDTH, 3 * HEIGHT, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    image.save(str(tmp_path / "a.dcm"))
    expected = [(DEEP + 100 * i).repeat(3, 0).repeat(2, 1) for i in range(3)]
    assert np.array_equal(checked(tmp_path / "a.dcm").pixel_array, np.stack(expected))


# ---- Writing


@pytest.mark.parametrize("kind", CompressionType)
@pytest.mark.parametrize("color", ColorType)
def test_every_compression_and_color_type_is_read_by_other_programs(tmp_path: Path, kind: CompressionType,
                                                                    color: ColorType) -> None:
    write(tmp_path / "a.png", smooth())
    image, path = Image.load(str(tmp_path / "a.png")), tmp_path / "a.dcm"
    chosen = options(kind, color)
    if kind == CompressionType.JPEG and color == ColorType.GRAYSCALE_16_BIT:
        with managed_error("NotSupportedException", "DicomOptions.ColorType Grayscale16Bit with Compression.Type Jpeg"):
            image.save(str(path), chosen)
        return
    image.save(str(path), chosen)
    file = checked(path)
    assert file.file_meta.TransferSyntaxUID == {
        CompressionType.NONE: "1.2.840.10008.1.2.1", CompressionType.RLE: "1.2.840.10008.1.2.5",
        CompressionType.JPEG: "1.2.840.10008.1.2.4.50", CompressionType.JPEG2000: "1.2.840.10008.1.2.4.90"}[kind]
    depth = 16 if color == ColorType.GRAYSCALE_16_BIT else 8
    assert (file.BitsAllocated, file.BitsStored, file.HighBit, file.PixelRepresentation) == (depth, depth, depth - 1, 0)
    assert file.SamplesPerPixel == (3 if color == ColorType.RGB_24_BIT else 1)
    image.save(str(tmp_path / "b.png"), PngOptions())
    found = samples_of(path).astype(float)
    if color == ColorType.RGB_24_BIT:
        expected = smooth().astype(float)
        if kind == CompressionType.JPEG:
            found = read_back(path)
    else:
        gray = smooth().astype(float) @ [0.2126, 0.7152, 0.0722]
        expected = gray * (257 if depth == 16 else 1)
    lossless = kind != CompressionType.JPEG and color == ColorType.RGB_24_BIT
    tolerance = 0 if lossless else 16 * (257 if depth == 16 else 1)
    assert np.abs(found - expected).max() <= tolerance
    again = pixels(Image.load(str(path)), tmp_path, "RGB")
    if lossless:
        assert np.array_equal(again, smooth())


@pytest.mark.parametrize("color", ColorType)
def test_lossless_jpeg_is_read_by_other_programs(tmp_path: Path, color: ColorType) -> None:
    write(tmp_path / "a.png", smooth())
    chosen = JpegOptions()
    chosen.compression_type = JpegCompressionMode.LOSSLESS
    path = tmp_path / "a.dcm"
    Image.load(str(tmp_path / "a.png")).save(str(path), options(CompressionType.JPEG, color, jpeg=chosen))
    file = checked(path)
    assert file.file_meta.TransferSyntaxUID == "1.2.840.10008.1.2.4.70"
    assert "LossyImageCompression" not in file
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "b.dcm"), options(CompressionType.NONE, color))
    assert np.array_equal(samples_of(path), samples_of(tmp_path / "b.dcm"))
    run("gdcmconv", "--raw", str(path), str(tmp_path / "c.dcm"))
    assert np.array_equal(samples_of(tmp_path / "c.dcm"), samples_of(tmp_path / "b.dcm"))


def test_colors_that_jpeg_stores_as_they_are_are_told_so(tmp_path: Path) -> None:
    write(tmp_path / "a.png", smooth())
    chosen = JpegOptions()
    chosen.color_type, chosen.quality = JpegCompressionColorMode.RGB, 95
    path = tmp_path / "a.dcm"
    Image.load(str(tmp_path / "a.png")).save(str(path), options(CompressionType.JPEG, jpeg=chosen))
    assert checked(path).PhotometricInterpretation == "RGB"
    assert np.abs(read_back(path) - smooth()).max() <= 20


def read_back(path: Path) -> Pixels:
    """The colors as the program decodes and converts them."""
    target = path.with_suffix(".png")
    run("dcmj2pnm", "+on", str(path), str(target))
    return read(target, "RGB").astype(float)


def test_a_file_of_no_change_is_written_as_it_was(tmp_path: Path) -> None:
    for i, data in enumerate([picture(DEEP, stored=12), picture(DEEP, "MONOCHROME1", 12), frames_file(),
                              picture(noise(3, width=WIDTH, height=HEIGHT), "RGB", planar=1),
                              picture(DEEP, stored=12, syntax=IMPLICIT), picture(DEEP, stored=12, syntax=BIG_ENDIAN)]):
        opened(data).save(str(tmp_path / f"{i}.dcm"))
        assert (tmp_path / f"{i}.dcm").read_bytes() == data


@pytest.mark.parametrize("command", [("dcmcjpeg", "+eb"), ("dcmcjpls",), ("gdcmconv", "--j2k"), ("dcmcrle",)],
                         ids=lambda command: " ".join(command))
def test_frames_that_did_not_change_are_copied(tmp_path: Path, command: Any) -> None:
    frames = np.stack([(DEEP + 50 * i) // 16 for i in range(3)]).astype(np.uint8)
    (tmp_path / "plain.dcm").write_bytes(picture(frames, frames=3))
    source = compressed(tmp_path / "plain.dcm", *command)
    image = opened(source)
    image.remove_page(1)
    image.save(str(tmp_path / "a.dcm"))
    before, after = pydicom.dcmread(source), checked(tmp_path / "a.dcm")
    assert after.NumberOfFrames == 2 and after.file_meta.TransferSyntaxUID == before.file_meta.TransferSyntaxUID
    own = list(pydicom.encaps.generate_pixel_data_frame(before.PixelData, 3))
    assert list(pydicom.encaps.generate_pixel_data_frame(after.PixelData, 2)) == [own[0], own[2]]
    assert after.SOPInstanceUID != before.SOPInstanceUID


CHANGED = [
    (DEEP, "MONOCHROME2", 12), ((DEEP.astype(int) - 2048).astype(np.int16), "MONOCHROME2", 12),
    (DEEP.astype(np.uint32) * 1048577, "MONOCHROME2", 32), ((DEEP % 64).astype(np.uint8), "MONOCHROME2", 6),
    (noise(3, width=WIDTH, height=HEIGHT), "RGB", 8),
    (noise(3, width=WIDTH, height=HEIGHT).astype(np.uint16) * 200, "RGB", 16)]
CODINGS: list[Any] = [(), ("dcmcrle",), ("dcmcjpeg", "+e1"), ("dcmcjpeg", "+el", "+sv", "4")]


@pytest.mark.parametrize(("array", "photometric", "stored", "more"), [
    pytest.param(*kind, more, id=f"{kind[0].dtype}-{kind[2]}-{' '.join(more) or 'plain'}")
    for kind in CHANGED for more in CODINGS if kind[2] <= 16 or "dcmcjpeg" not in more])  # JPEG has at most 16 bits
def test_a_changed_picture_keeps_depth_and_sign(tmp_path: Path, array: Any, photometric: str, stored: int,
                                                more: Any) -> None:
    (tmp_path / "plain.dcm").write_bytes(picture(array, photometric, stored))
    source = compressed(tmp_path / "plain.dcm", *more) if more else tmp_path / "plain.dcm"
    image = opened(source)
    image.crop(Rectangle(3, 2, 20, 15))
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    assert (file.BitsStored, file.PixelRepresentation) == (stored, int(array.dtype.kind == "i"))
    assert file.file_meta.TransferSyntaxUID == (
        "1.2.840.10008.1.2.4.70" if "dcmcjpeg" in more else pydicom.dcmread(source).file_meta.TransferSyntaxUID)
    assert "LossyImageCompression" not in file
    assert np.array_equal(samples_of(tmp_path / "a.dcm"), array[2:17, 3:23])
    again = opened(tmp_path / "a.dcm")
    assert list(again.load_argb_64_pixels(again.bounds)) == list(image.load_argb_64_pixels(image.bounds))


def test_a_palette_is_written(tmp_path: Path) -> None:
    entries = np.random.default_rng(2).integers(0, 65536, (9, 3))
    image = opened(picture((X % 9).astype(np.uint8), "PALETTE COLOR", more=palette_elements(entries)))
    image.crop(Rectangle(0, 0, 20, 10))
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    assert file.PhotometricInterpretation == "PALETTE COLOR"
    shown = pydicom.pixel_data_handlers.util.apply_color_lut(file.pixel_array, file)
    assert np.array_equal(shown, entries[(X % 9)[:10, :20]])
    write(tmp_path / "few.png", few_colors())
    Pillow.open(tmp_path / "few.png").quantize(16).save(tmp_path / "indexed.png")
    Image.load(str(tmp_path / "indexed.png")).save(str(tmp_path / "b.dcm"))
    assert checked(tmp_path / "b.dcm").PhotometricInterpretation == "PALETTE COLOR"
    assert np.array_equal(pixels(Image.load(str(tmp_path / "b.dcm")), tmp_path), read(tmp_path / "indexed.png", "RGB"))


@pytest.mark.parametrize("syntax", ["1.2.840.10008.1.2.1", IMPLICIT, BIG_ENDIAN])
def test_what_the_file_says_besides_is_kept(tmp_path: Path, syntax: str) -> None:
    more = [(0x00281050, "DS", b"40"), (0x00281051, "DS", b"400"), (0x00281052, "DS", b"-1024"),
            (0x00281053, "DS", b"1"), (0x00080070, "LO", b"Maker"), (0x00280106, "US", words(3, syntax=syntax)),
            (0x00201209, "IS", b"12")]
    inner = element(0x00080100, "SH", b"T-D3000", syntax)
    order = ">" if syntax == BIG_ENDIAN else "<"
    item = struct.pack(order + "HHI", 0xFFFE, 0xE000, len(inner)) + inner
    image = opened(picture(DEEP, stored=12, syntax=syntax, more=[*more, (0x00082218, "SQ", item)]))
    image.crop(Rectangle(0, 0, 20, 10))
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    assert (file.PatientName, file.Manufacturer, file.StudyInstanceUID) == ("Doe^Jane", "Maker", "1.2.3.4")
    assert (file.WindowCenter, file.WindowWidth, file.RescaleIntercept) == (40, 400, -1024)
    assert "SmallestImagePixelValue" not in file
    assert ("AnatomicRegionSequence" in file) == (syntax != BIG_ENDIAN)
    if syntax != BIG_ENDIAN:
        assert file.AnatomicRegionSequence[0].CodeValue == "T-D3000"
    # Other numbers mean something else, and the rest is kept all the same.
    image.save(str(tmp_path / "b.dcm"), options(color=ColorType.RGB_24_BIT))
    file = checked(tmp_path / "b.dcm")
    assert file.PatientName == "Doe^Jane" and "WindowCenter" not in file and "RescaleIntercept" not in file


def test_jpeg_and_jpeg_2000_by_their_options(tmp_path: Path) -> None:
    write(tmp_path / "a.png", noise())
    image, path = Image.load(str(tmp_path / "a.png")), str(tmp_path / "a.dcm")

    def size(kind: CompressionType, **properties: Any) -> Any:
        image.save(path, options(kind, **properties))
        file = checked(path)
        return len(file.PixelData), str(file.file_meta.TransferSyntaxUID), file.PhotometricInterpretation

    jpeg = JpegOptions()
    jpeg.quality = 20
    progressive = JpegOptions()
    progressive.compression_type = JpegCompressionMode.PROGRESSIVE
    assert size(CompressionType.JPEG, jpeg=jpeg)[0] < size(CompressionType.JPEG)[0]
    assert size(CompressionType.JPEG, jpeg=progressive)[1] == "1.2.840.10008.1.2.4.55"
    assert size(CompressionType.JPEG2000)[1:] == ("1.2.840.10008.1.2.4.90", "YBR_RCT")
    assert size(CompressionType.JPEG2000, jpeg2000=Jpeg2000Options())[1:] == ("1.2.840.10008.1.2.4.91", "YBR_ICT")
    file = pydicom.dcmread(path)
    assert (file.LossyImageCompression, file.LossyImageCompressionMethod) == ("01", "ISO_15444_1")
    ratio = Jpeg2000Options()
    ratio.compression_ratios = [20]
    assert size(CompressionType.JPEG2000, jpeg2000=ratio)[0] < size(CompressionType.JPEG2000)[0] / 5


def refused(name: str, value: Any) -> JpegOptions:
    result = JpegOptions()
    setattr(result, name, value)
    return result


@pytest.mark.parametrize(("name", "value"), [
    ("comment", "text"), ("compression_type", JpegCompressionMode.JPEG_LS), ("bits_per_channel", 12),
    ("color_type", JpegCompressionColorMode.YCCK),
    ("resolution_settings", ResolutionSetting(10.0, 10.0)), ("jpeg_ls_allowed_lossy_error", 3)])
def test_jpeg_options_without_an_effect_are_refused(name: str, value: Any) -> None:
    image = opened(picture(DEEP))
    with managed_error("NotSupportedException", name.split("_")[0].capitalize()):
        image.save(io.BytesIO(), options(CompressionType.JPEG, jpeg=refused(name, value)))


def test_the_resolution_is_written_as_the_distance_of_pixels(tmp_path: Path) -> None:
    chosen = options()
    chosen.resolution_settings = ResolutionSetting(200.0, 100.0)
    opened(picture(DEEP)).save(str(tmp_path / "a.dcm"), chosen)
    assert checked(tmp_path / "a.dcm").PixelSpacing == [0.254, 0.127]
    image = opened(tmp_path / "a.dcm")
    assert (image.horizontal_resolution, image.vertical_resolution) == (200, 100)
    image.set_resolution(50.0, 50.0)
    image.save(str(tmp_path / "b.dcm"))
    assert checked(tmp_path / "b.dcm").PixelSpacing == [0.508, 0.508]


def test_new_images(tmp_path: Path) -> None:
    for color, depth in ((ColorType.GRAYSCALE_8_BIT, 8), (ColorType.GRAYSCALE_16_BIT, 16), (ColorType.RGB_24_BIT, 24)):
        image = DicomImage(options(color=color), 20, 10)
        assert (image.width, image.height, image.bits_per_pixel, image.page_count) == (20, 10, depth, 1)
        assert image.file_info is None
        image.add_page()
        image.save(str(tmp_path / "a.dcm"))
        assert checked(tmp_path / "a.dcm").pixel_array.shape[:3] == (2, 10, 20)
    chosen = options(CompressionType.RLE, ColorType.GRAYSCALE_8_BIT)
    chosen.source = FileCreateSource(str(tmp_path / "b.dcm"), False)
    created = Image.create(chosen, 8, 8)
    raster(created).set_pixel(3, 4, Color.white)
    created.save()
    assert samples_of(tmp_path / "b.dcm").sum() == 255
    assert DicomImage(io.BytesIO(frames_file())).page_count == 3
    assert DicomImage(io.BytesIO(frames_file()), LoadOptions()).page_count == 3
    with managed_error("ImageLoadException", "the data is PNG, not DICOM"):
        DicomImage(io.BytesIO(Path(write(tmp_path / "a.png", noise())).read_bytes()))


def test_original_options_tell_how_the_file_is(tmp_path: Path) -> None:
    (tmp_path / "plain.dcm").write_bytes(picture(DEEP, stored=12))
    for command, kind in ((("dcmcrle",), CompressionType.RLE), (("gdcmconv", "--j2k"), CompressionType.JPEG2000),
                          (("dcmcjpeg", "+eb"), CompressionType.JPEG)):
        image = opened(compressed(tmp_path / "plain.dcm", *command))
        found = DicomOptions._cast_to(image.get_original_options()).value
        assert found.compression.type == kind
        deep = kind != CompressionType.JPEG
        assert found.color_type == (ColorType.GRAYSCALE_16_BIT if deep else ColorType.GRAYSCALE_8_BIT)
        image.save(str(tmp_path / "again.dcm"), found)
        assert checked(tmp_path / "again.dcm").BitsAllocated == (16 if deep else 8)


def test_two_saves_of_one_picture_are_alike_and_other_pictures_have_other_names() -> None:
    def saved(array: Pixels) -> bytes:
        target = io.BytesIO()
        raster(Image.load(io.BytesIO(picture(array)))).save(target, options())
        return target.getvalue()

    assert saved(DEEP) == saved(DEEP)
    names = {pydicom.dcmread(io.BytesIO(saved(DEEP + i))).SOPInstanceUID for i in range(4)}
    assert len(names) == 4 and all(name.startswith("2.25.") and len(name) <= 64 for name in names)
    one = pydicom.dcmread(io.BytesIO(saved(DEEP)))
    assert len({one.SOPInstanceUID, one.StudyInstanceUID, one.SeriesInstanceUID}) == 3


def test_transparent_pixels_have_the_background(tmp_path: Path) -> None:
    array = np.zeros((4, 4, 4), np.uint8)
    array[:2] = (10, 20, 30, 255)
    write(tmp_path / "a.png", array)
    image = raster(Image.load(str(tmp_path / "a.png")))
    image.has_background_color, image.background_color = True, Color.red
    image.save(str(tmp_path / "a.dcm"), options())
    found = checked(tmp_path / "a.dcm").pixel_array
    assert found[0, 0].tolist() == [10, 20, 30] and found[3, 3].tolist() == [255, 0, 0]


def packet(title: str) -> XmpPacketWrapper:
    wrapper, core, own = XmpPacketWrapper(), DublinCorePackage(), DicomPackage()
    core.set_title(title)
    own.set_patient_name("Roe^Richard")
    wrapper.add_package(core)
    wrapper.add_package(own)
    return wrapper


@pytest.mark.parametrize("syntax", [EXPLICIT, IMPLICIT, BIG_ENDIAN])
def test_xmp_is_kept_in_a_private_block(tmp_path: Path, syntax: str) -> None:
    others = [(0x00090010, "LO", b"OTHERS"), (0x00091001, "LO", b"theirs"), (0x00091101, "LO", b"no block")]
    image = opened(picture(DEEP, stored=12, syntax=syntax, more=others))
    assert image.xmp_data is None
    image.xmp_data = packet("Title")
    image.save(str(tmp_path / "a.dcm"))
    file = checked(tmp_path / "a.dcm")
    assert (file[0x00090010].value, file[0x00090012].value) == ("OTHERS", "XMP PACKET")
    assert np.array_equal(file.pixel_array, DEEP)
    again = opened(tmp_path / "a.dcm")
    title = again.xmp_data.get_package("http://purl.org/dc/elements/1.1/").get_prop_value("dc:title")
    assert title is not None
    # The packet comes along when the pixels change, and goes when it is taken away.
    again.crop(Rectangle(0, 0, 10, 10))
    again.save(str(tmp_path / "b.dcm"), options(CompressionType.RLE, ColorType.GRAYSCALE_16_BIT))
    assert b"Roe^Richard" in (tmp_path / "b.dcm").read_bytes()
    cleared = opened(tmp_path / "b.dcm")
    cleared.xmp_data = None
    cleared.save(str(tmp_path / "c.dcm"))
    assert b"XMP PACKET" not in (tmp_path / "c.dcm").read_bytes()
    assert checked(tmp_path / "c.dcm")[0x00090010].value == "OTHERS"
    # Another format gets the packet, but nothing of the file's own elements.
    again.save(str(tmp_path / "a.png"), PngOptions())
    data = (tmp_path / "a.png").read_bytes()
    assert b"Roe^Richard" in data and b"Doe^Jane" not in data


def test_xmp_of_options(tmp_path: Path) -> None:
    chosen = options()
    chosen.xmp_data = packet("Another title")
    opened(picture(DEEP)).save(str(tmp_path / "a.dcm"), chosen)
    checked(tmp_path / "a.dcm")
    assert b"Another title" in (tmp_path / "a.dcm").read_bytes()


@pytest.mark.parametrize("name", ["a.dcm", "a.DICOM"])
def test_a_picture_of_another_format_is_saved_by_the_extension(tmp_path: Path, name: str) -> None:
    gray = (DEEP.astype(np.uint16) * 16)
    Pillow.fromarray(gray).save(tmp_path / "a.png")
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / name))
    assert Image.get_file_format(str(tmp_path / name)) == FileFormat.DICOM
    file = checked(tmp_path / name)
    assert (file.PhotometricInterpretation, file.BitsStored) == ("MONOCHROME2", 16)
    assert np.array_equal(file.pixel_array, gray)


def test_the_base_of_pages(tmp_path: Path) -> None:
    page = opened(frames_file()).dicom_pages[1]
    assert isinstance(page, DicomPage) and isinstance(raster(page), RasterImage)
    page.save(str(tmp_path / "a.png"))
    assert np.array_equal(read(tmp_path / "a.png"), ((DEEP + 100).astype(np.int64) * 65535 + 2047) // 4095)
