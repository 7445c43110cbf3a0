"""Values of DICOM files of every type, frames that are copied and joined, and frames that contradict their header."""

from __future__ import annotations

import io
import itertools
import struct
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pydicom
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Image, ResizeType
from zelmor.imaging.fileformats.dicom import ColorType, CompressionType, DicomImage
from zelmor.imaging.fileformats.jpeg import JpegCompressionMode
from zelmor.imaging.fileformats.jpeg2000 import Jpeg2000Codec
from zelmor.imaging.imageoptions import DicomOptions, PngOptions

from support.arrays import Pixels
from support.dicom_files import BIG_ENDIAN, EXPLICIT, IMPLICIT, element, palette_elements, picture
from support.image_oracles import managed_error, noise, raster
from support.metadata_files import saved

HEIGHT, WIDTH = 6, 10
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH]
GRAY = (X * 17 + Y * 5).astype(np.uint8)
DEEP = (X * 300 + Y * 17).astype(np.uint16)
COLOR = noise(3, width=WIDTH, height=HEIGHT)


def opened(data: bytes | Path) -> Any:
    return DicomImage._cast_to(Image.load(str(data) if isinstance(data, Path) else io.BytesIO(data))).value


def of_array(array: Pixels) -> Any:
    file = io.BytesIO()
    Pillow.fromarray(array).save(file, "PNG")
    return raster(Image.load(io.BytesIO(file.getvalue())))


def written(image: Any, *how: Any) -> Any:
    return pydicom.dcmread(io.BytesIO(saved(image, *how)))


# ---- Texts of values


def packed(code: str, *values: Any) -> dict[str, bytes]:
    return {order: struct.pack(f"{order}{len(values)}{code}", *values) for order in "<>"}


#: A type, its values in both orders, and the text that stands for them.
VALUES: list[tuple[str, dict[str, bytes], str]] = [
    ("US", packed("H", 0, 65535, 7), "0\\65535\\7"), ("SS", packed("h", -32768, 32767, -1), "-32768\\32767\\-1"),
    ("UL", packed("I", 0, 2 ** 32 - 1), "0\\4294967295"), ("SL", packed("i", -2 ** 31, 2 ** 31 - 1),
                                                           "-2147483648\\2147483647"),
    ("FL", packed("f", 0.5, -1024.25), "0.5\\-1024.25"), ("FD", packed("d", 0.1, -1e300), "0.1\\-1e+300"),
    ("US", packed("H", *range(64)), "\\".join(map(str, range(64)))),
    ("US", packed("H", *range(65)), "\\".join(map(str, range(64))) + "\\..."),
    ("AT", packed("H", 0x0018, 0x00FF, 0x7FE0, 0x0010), "(0018,00FF)\\(7FE0,0010)"),
    ("AT", packed("H", *[0x0018, 0xABCD] * 65), "\\".join(["(0018,ABCD)"] * 64)),
    *[(kind, packed("B", *range(24)), "<24 bytes>") for kind in ("OB", "OD", "OF", "OL", "OV", "OW", "SV", "UN", "UV")]]


def lines_of(data: bytes) -> list[str]:
    return list(opened(data).file_info.dicom_info)


@pytest.mark.parametrize("syntax", [EXPLICIT, BIG_ENDIAN])
@pytest.mark.parametrize(("kind", "values", "text"), VALUES, ids=lambda value: value if isinstance(value, str) else "")
def test_values_of_every_type_as_text(syntax: str, kind: str, values: dict[str, bytes], text: str) -> None:
    value = values[">" if syntax == BIG_ENDIAN else "<"]
    lines = lines_of(picture(GRAY, syntax=syntax, more=[(0x00091001, kind, value)]))
    assert f"(0009,1001) {kind} (private): {text}" in lines


def test_names_and_types_of_elements_that_a_file_has_no_types_for() -> None:
    """Those of the standard, for the elements that are known; of several types the first, or that of words."""
    in_use = {line[1:10] for line in lines_of(picture(GRAY, syntax=IMPLICIT))}
    floating = (0x7FE00008, 0x7FE00009)  # no picture that can be read has them
    others = [tag for tag in pydicom.datadict.DicomDictionary if 0x00080000 <= tag < 0x7FE00010 and tag not in floating
              and f"{tag >> 16:04X},{tag & 0xFFFF:04X}" not in in_use]
    lines = lines_of(picture(GRAY, syntax=IMPLICIT, more=[(tag, "UN", b"") for tag in others]))
    known = {int(line[1:5] + line[6:10], 16): line[12:].split(":")[0] for line in lines if "(unknown)" not in line}
    expected = {}
    for tag in known:
        kind, _, name, _, _ = pydicom.datadict.DicomDictionary[tag]
        expected[tag] = ("OW" if kind.endswith("OW") else kind[:2]) + " " + name
    assert known == expected
    assert len(lines) > 4500 and len(known) == 182
    assert all(line.split(") ", 1)[1].startswith("(unknown):") for line in lines if "(unknown)" in line)


@pytest.mark.parametrize(("value", "text"), [
    ("Müller".encode(), "Müller"), ("Müller".encode("latin-1"), "Müller"), ("\U0001F600 字".encode(), "\U0001F600 字"),
    (b"a\x01b\x7fc\x1f", "a b c "), (b" a b \0", "a b"), (b"\xc2\x80", "\x80"), (b"\xc1\xbf", "\xc1\xbf"),
    (b"\xc0\x80", "\xc0\x80"), (b"\xf4\x80\x80\x80", "\U00100000"), (b"\xf5\x80\x80\x80", "\xf5\x80\x80\x80"),
    (b"\xc3a", "\xc3a"), (b"\xe5\xad", "\xe5\xad"), (b"\xe5\xada", "\xe5\xada"), (b"\xbf", "\xbf"), (b"\xdf\xbf",
                                                                                                     "\u07ff"),
    (b"\xef\xbf\xbd", "\ufffd"), (b"\xc3\xc3\xa4", "\xc3\xc3\xa4"), (b"~ ", "~")])
def test_texts_in_utf_8_and_in_latin_1(value: bytes, text: str) -> None:
    assert f"(0010,0010) PN Patient's Name: {text}" in lines_of(picture(GRAY, more=[(0x00100010, "PN", value)]))


@pytest.mark.parametrize(("length", "cut"), [(0, False), (1024, False), (1026, True), (5000, True)])
def test_long_texts_are_cut(length: int, cut: bool) -> None:
    line, = (line for line in lines_of(picture(GRAY, more=[(0x00091001, "LT", b"x" * length)])) if "(0009," in line)
    assert line == "(0009,1001) LT (private):" + (" " + "x" * min(length, 1024) + "..." * cut if length else "")


@pytest.mark.parametrize(("kind", "values"), [
    ("DS", b"40\\9"), ("DS", b" +40 "), ("IS", b"40"), *[(kind, packed(code, 40, 7)["<"]) for kind, code in (
        ("US", "H"), ("SS", "h"), ("UL", "I"), ("SL", "i"), ("FL", "f"), ("FD", "d"))]])
def test_numbers_of_every_type(kind: str, values: bytes) -> None:
    info = opened(picture(GRAY, more=[(0x00281050, kind, values)])).file_info
    assert info.window_centre == 40


@pytest.mark.parametrize(("kind", "values"), [
    ("DS", b""), ("DS", b"x"), ("DS", b"inf"), ("DS", b"nan"), ("DS", b"1e999"), ("US", b""), ("UL", b"\0\0"),
    ("FD", bytes(4))])
def test_numbers_that_are_none(kind: str, values: bytes) -> None:
    assert opened(picture(GRAY, more=[(0x00281050, kind, values)])).file_info.window_centre == 0


# ---- What frames are copied, and what the pages of a file have in common


@pytest.mark.parametrize(("array", "photometric", "syntax"), [
    (np.stack([GRAY + i for i in range(3)]), "MONOCHROME2", EXPLICIT),
    (np.stack([DEEP + i for i in range(3)]), "MONOCHROME1", IMPLICIT),
    (np.stack([np.roll(COLOR, i, 0) for i in range(3)]), "RGB", EXPLICIT)])
def test_frames_without_compression_are_copied(array: Pixels, photometric: str, syntax: str) -> None:
    pages = "1\\2\\3"
    data = picture(array, photometric, frames=3, syntax=syntax, more=[
        (0x00182001, "IS", pages.encode()), (0x00104000, "LT", b"a comment")])
    image = opened(data)
    image.remove_page(1)
    file = written(image)
    assert file.NumberOfFrames == 2 and file.PatientComments == "a comment"
    assert file.file_meta.TransferSyntaxUID == EXPLICIT
    assert list(file.PageNumberVector) == [1, 2]
    assert np.array_equal(file.pixel_array, array[[0, 2]])
    assert file.PhotometricInterpretation == photometric


def test_a_copy_is_of_the_kind_of_its_file() -> None:
    kind = "1.2.840.10008.5.1.4.1.1.2"
    image = opened(picture(np.stack([GRAY + i for i in range(3)]), frames=3, more=[(0x00080016, "UI", kind.encode())]))
    image.remove_page(2)
    file = written(image)
    assert file.SOPClassUID == file.file_meta.MediaStorageSOPClassUID == kind
    assert file.SOPInstanceUID == file.file_meta.MediaStorageSOPInstanceUID != "1.2.3.4.5"


def test_frames_of_bits_and_of_the_other_order_are_written_anew() -> None:
    frames = np.stack([X + Y + i & 1 for i in range(3)]).astype(np.uint8)
    bits = np.packbits(frames.ravel(), bitorder="little").tobytes()
    image = opened(picture(frames, frames=3, allocated=1, raw=bits + bytes(len(bits) % 2)))
    image.remove_page(1)
    file = written(image)
    assert np.array_equal(file.pixel_array.astype(bool), frames[[0, 2]].astype(bool))
    deep = np.stack([DEEP, DEEP + 9, DEEP + 99])
    image = opened(picture(deep, frames=3, syntax=BIG_ENDIAN))
    image.remove_page(0)
    file = written(image)
    assert file.file_meta.TransferSyntaxUID == EXPLICIT and np.array_equal(file.pixel_array, deep[1:])


@pytest.mark.parametrize(("first", "second"), itertools.permutations(
    ["gray", "deep", "color", "colors of 16 bits", "palette", "other palette"], 2))
def test_pages_of_two_kinds_are_of_the_kind_that_holds_both(first: str, second: str) -> None:
    deep_color = np.dstack([DEEP * 3] * 3)
    deep_color[..., 1] += 77
    colors = noise(3, width=4, height=1)[0]
    index = (X % 4).astype(np.uint8)

    def kind(name: str) -> tuple[bytes, Pixels]:
        if "palette" in name:
            own = colors[::-1] if name == "other palette" else colors
            return picture(index, "PALETTE COLOR", more=palette_elements(own.astype(int) * 257)), own[index] * 257.0
        array = {"gray": GRAY, "deep": DEEP, "color": COLOR, "colors of 16 bits": deep_color}[name]
        data = picture(array, "RGB" if array.ndim == 3 else "MONOCHROME2")
        wide = array.astype(float) * (257 if array.dtype == np.uint8 else 1)
        return data, wide if array.ndim == 3 else np.dstack([wide] * 3)

    image = opened(kind(first)[0])
    image.add_page(raster(Image.load(io.BytesIO(kind(second)[0]))))
    file = written(image)
    names = {first, second}
    colored, deep = names - {"gray", "deep"}, names & {"deep", "colors of 16 bits"}
    assert (file.SamplesPerPixel, file.BitsAllocated, file.NumberOfFrames) == (3 if colored else 1, 16 if deep else 8,
                                                                               2)
    found = file.pixel_array.astype(float) * (1 if deep else 257)
    for page, name in zip(found, (first, second)):
        page = page if page.ndim == 3 else np.dstack([page] * 3)
        assert np.array_equal(page, kind(name)[1]), name


def test_pages_of_one_palette_stay_indices() -> None:
    colors = noise(3, width=4, height=1)[0].astype(int) * 257
    data = picture((X % 4).astype(np.uint8), "PALETTE COLOR", more=palette_elements(colors))
    image = opened(data)
    image.add_page(opened(data).dicom_pages[0])
    file = written(image)
    assert (file.PhotometricInterpretation, file.SamplesPerPixel, file.NumberOfFrames) == ("PALETTE COLOR", 1, 2)
    assert np.array_equal(file.pixel_array, np.stack([X % 4] * 2))


def test_pages_of_other_formats() -> None:
    image = opened(picture(GRAY))
    image.add_page(of_array(COLOR))
    page = image.dicom_pages[1]
    assert (page.index, page.bits_per_pixel, page.width, page.height) == (1, 24, WIDTH, HEIGHT)
    assert np.array_equal(written(image).pixel_array, np.stack([np.dstack([GRAY] * 3), COLOR]))


def test_a_new_page_where_there_are_none() -> None:
    image = opened(picture(GRAY))
    image.remove_page(0)
    page = image.add_page()
    assert (image.page_count, page.index, page.width, page.height, page.bits_per_pixel) == (1, 0, WIDTH, HEIGHT, 24)
    assert np.array_equal(written(image).pixel_array, np.zeros((HEIGHT, WIDTH, 3), np.uint8))


def test_pages_of_two_sizes_are_refused() -> None:
    image = opened(picture(np.stack([GRAY] * 2), frames=2))
    image.dicom_pages[1].resize(WIDTH, HEIGHT + 1, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert [page.height for page in image.dicom_pages] == [HEIGHT, HEIGHT + 1]
    with managed_error("[A-Za-z]+", "the pages of a DICOM file have to be of one size"):
        saved(image, DicomOptions())


def test_the_color_profile_of_a_file() -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    image = opened(picture(COLOR, "RGB", more=[(0x00282000, "OB", profile)]))
    with Pillow.open(io.BytesIO(saved(image, PngOptions()))) as read:
        assert read.info["icc_profile"] == profile


# ---- Frames of the JPEG codings


BASELINE, JPEG_2000 = "1.2.840.10008.1.2.4.50", "1.2.840.10008.1.2.4.90"


def item(content: bytes) -> bytes:
    return struct.pack("<HHI", 0xFFFE, 0xE000, len(content)) + content


def encapsulated(array: Pixels, syntax: str, *pieces: bytes, photometric: str = "MONOCHROME2", frames: int = 1,
                 table: bytes = b"", more: Any = (), stored: int = 0) -> bytes:
    """A file whose header is that of the array, and whose pixels are the pieces."""
    data = picture(array, photometric, stored, frames=frames, syntax=EXPLICIT, raw=b"", more=more)
    data = data.replace(element(0x00020010, "UI", EXPLICIT.encode()), element(0x00020010, "UI", syntax.encode()))
    at = data.index(struct.pack("<HH", 0x7FE0, 0x0010))
    length = len(element(0x00020010, "UI", syntax.encode())) - len(element(0x00020010, "UI", EXPLICIT.encode()))
    group = data.index(element(0x00020000, "UL", b"")[:6])
    old, = struct.unpack_from("<I", data, group + 8)
    head = data[:group + 8] + struct.pack("<I", old + length) + data[group + 12:at]
    ends = struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
    return (head + struct.pack("<HH2sHI", 0x7FE0, 0x0010, b"OB", 0, 0xFFFFFFFF) + item(table)
            + b"".join(item(piece + bytes(len(piece) % 2)) for piece in pieces) + ends)


def jpeg(array: Pixels, kind: str = "JPEG", **how: Any) -> bytes:
    file = io.BytesIO()
    Pillow.fromarray(array).save(file, kind, **how)
    return file.getvalue()


def codestream(array: Pixels) -> bytes:
    return jpeg(array, "JPEG2000", no_jp2=True)


def shown(image: Any) -> Pixels:
    values = np.array(image.load_argb_32_pixels(image.bounds), np.int64).reshape(image.height, image.width)
    return np.stack([values >> shift & 0xFF for shift in (16, 8, 0)], -1)


@pytest.mark.parametrize("more", [b"\xff\xff\xff", b"\xff\x01", b"\xff\xd0", b"\xff\xd7", b"\xff\xff\x01"])
def test_frames_with_fill_bytes_and_markers_that_stand_alone(more: bytes) -> None:
    plain = jpeg(GRAY, quality=95)
    at = plain.index(b"\xff\xdb")
    filled = plain[:at] + more + plain[at:]
    expected = np.asarray(Pillow.open(io.BytesIO(plain)).convert("RGB"))
    assert np.array_equal(shown(opened(encapsulated(GRAY, BASELINE, filled))), expected)


@pytest.mark.parametrize(("array", "syntax", "frame", "text"), [
    (GRAY, BASELINE, jpeg(GRAY[:5]), "a frame has 10 by 5 pixels of 1 samples, where the header tells of 10 by 6 of 1"),
    (GRAY, BASELINE, jpeg(GRAY[:, :9]),
     "a frame has 9 by 6 pixels of 1 samples, where the header tells of 10 by 6 of 1"),
    (GRAY, BASELINE, jpeg(COLOR), "a frame has 10 by 6 pixels of 3 samples, where the header tells of 10 by 6 of 1"),
    (COLOR, BASELINE, jpeg(GRAY), "a frame has 10 by 6 pixels of 1 samples, where the header tells of 10 by 6 of 3"),
    (GRAY, JPEG_2000, codestream(COLOR), "a frame has 3 components of 8 bits, where the header tells of 1"),
    (COLOR, JPEG_2000, codestream(GRAY), "a frame has 1 components of 8 bits, where the header tells of 3"),
    (GRAY, JPEG_2000, codestream(GRAY)[:42], "a frame has 1 components of 1 bits, where the header tells of 1"),
    (GRAY, JPEG_2000, codestream(GRAY)[:42] + b"\x18" + codestream(GRAY)[43:],
     "a frame has 1 components of 25 bits, where the header tells of 1"),
    (GRAY, JPEG_2000, codestream(GRAY[:5]),
     "a frame has 10 by 5 pixels of 1 samples, where the header tells of 10 by 6 of 1"),
    *[(GRAY, BASELINE, jpeg(GRAY).replace(b"\xff\xc0\0\x0b\x08", b"\xff\xc3\0\x0b" + bytes([bits])),
       f"a frame of JPEG cannot have {bits} bits") for bits in (1, 17)],
    (GRAY, BASELINE, b"\xff\xd8\xff\xd9", "a frame has no header"),
    (GRAY, BASELINE, b"\xff\xd8\xff\xc4\0\2ab", "a frame has no header"),
    (GRAY, BASELINE, b"no JPEG at all", "a frame is no codestream of any JPEG coding")])
def test_frames_that_contradict_their_header(array: Pixels, syntax: str, frame: bytes, text: str) -> None:
    data = encapsulated(array, syntax, frame, photometric="RGB" if array.ndim == 3 else "MONOCHROME2")
    with managed_error("ImageLoadException", text):
        shown(opened(data))


JPEG_OF = "1.2.840.10008.1.2.4."


@pytest.mark.parametrize(("syntax", "kind", "lossless"), [
    (EXPLICIT, CompressionType.NONE, None), (BIG_ENDIAN, CompressionType.NONE, None),
    (JPEG_OF + "50", CompressionType.JPEG, False), (JPEG_OF + "57", CompressionType.JPEG, True),
    (JPEG_OF + "70", CompressionType.JPEG, True), (JPEG_OF + "90", CompressionType.JPEG2000, None),
    (JPEG_OF + "91", CompressionType.JPEG2000, None), (JPEG_OF + "51", CompressionType.RLE, None),
    (JPEG_OF + "80", CompressionType.RLE, None), ("1.2.840.10008.1.2.5", CompressionType.RLE, None)])
def test_options_that_write_the_file_again(syntax: str, kind: CompressionType, lossless: bool | None) -> None:
    """Without a loss where the coding is one that is not written."""
    if syntax in (EXPLICIT, BIG_ENDIAN):
        data = picture(GRAY, syntax=syntax)
    else:
        runs = struct.pack("<II56x", 1, 64) + bytes([GRAY.size - 1]) + GRAY.tobytes()
        data = encapsulated(GRAY, syntax, runs if syntax.endswith(".2.5") else jpeg(GRAY))
    options = DicomOptions._cast_to(opened(data).get_original_options()).value
    assert options.color_type == ColorType.GRAYSCALE_8_BIT
    compression = options.compression
    assert compression.type == kind
    assert (compression.jpeg is None, compression.jpeg2000 is None) == (kind != CompressionType.JPEG,
                                                                        kind != CompressionType.JPEG2000)
    if lossless is not None:
        assert compression.jpeg.quality == 90
        assert (compression.jpeg.compression_type == JpegCompressionMode.LOSSLESS) == lossless
    if kind == CompressionType.JPEG2000:
        assert compression.jpeg2000.codec == Jpeg2000Codec.J2K


@pytest.mark.parametrize(("array", "photometric", "stored", "more", "found"), [
    (GRAY, "MONOCHROME1", 8, [], ColorType.GRAYSCALE_8_BIT), (GRAY, "MONOCHROME2", 1, [], ColorType.GRAYSCALE_8_BIT),
    (DEEP, "MONOCHROME2", 8, [], ColorType.GRAYSCALE_8_BIT), (DEEP, "MONOCHROME2", 9, [], ColorType.GRAYSCALE_16_BIT),
    (COLOR, "RGB", 8, [], ColorType.RGB_24_BIT),
    (GRAY % 4, "PALETTE COLOR", 8, palette_elements(np.zeros((4, 3), int)), ColorType.RGB_24_BIT)])
def test_colors_that_options_of_a_file_name(array: Pixels, photometric: str, stored: int, more: Any,
                                            found: ColorType) -> None:
    image = opened(picture(array, photometric, stored, more=more))
    assert DicomOptions._cast_to(image.get_original_options()).value.color_type == found


@pytest.mark.parametrize(("marker", "how"), [(0xC0, []), (0xC1, ["-quality", "5"]), (0xC2, ["-progressive"]),
                                             (0xC9, ["-arithmetic"]), (0xCA, ["-arithmetic", "-progressive"])])
def test_every_coding_of_jpeg_that_is_read(marker: int, how: list[str], tmp_path: Path) -> None:
    """Beside the decoder of another program."""
    for array, name in ((GRAY, "a.pgm"), (COLOR, "a.ppm")):
        Pillow.fromarray(array).save(tmp_path / name)
        made = subprocess.run(["cjpeg", *how, str(tmp_path / name)], capture_output=True, check=True, timeout=60)
        assert bytes([0xFF, marker, 0]) in made.stdout
        read = subprocess.run(["djpeg", "-pnm"], input=made.stdout, capture_output=True, check=True, timeout=60)
        expected = np.asarray(Pillow.open(io.BytesIO(read.stdout)).convert("RGB")).astype(int)
        data = encapsulated(array, BASELINE, made.stdout,
                            photometric="YBR_FULL_422" if array.ndim == 3 else "MONOCHROME2")
        assert np.abs(shown(opened(data)) - expected).max() <= 1


@pytest.mark.parametrize("marker", [0xC5, 0xC6, 0xC7, 0xCB, 0xCD, 0xCE, 0xCF])
def test_codings_of_jpeg_that_are_not_read(marker: int) -> None:
    frame = jpeg(GRAY).replace(b"\xff\xc0", bytes([0xFF, marker]))
    with managed_error("[A-Za-z]+",
                       f"this is a DICOM file with a coding of JPEG (frame marker {marker}) that is not read"):
        shown(opened(encapsulated(GRAY, BASELINE, frame)))


def test_colors_of_different_depths() -> None:
    frame = bytearray(codestream(COLOR))
    size = frame.index(b"\xff\x51")
    frame[size + 2 + 2 + 34 + 2 + 3] = 11  # the depth of the second of three, less one
    with managed_error("[A-Za-z]+", "this is a DICOM file whose colors have different depths"):
        shown(opened(encapsulated(COLOR, JPEG_2000, bytes(frame), photometric="RGB")))


def in_pieces(frames: list[bytes], size: int) -> tuple[list[bytes], list[int]]:
    """The frames cut to pieces, and the offset of the first piece of each."""
    pieces, offsets, at = [], [], 0
    for frame in frames:
        offsets.append(at)
        for start in range(0, len(frame), size):
            pieces.append(frame[start:start + size])
            at += 8 + len(pieces[-1]) + len(pieces[-1]) % 2
    return pieces, offsets


@pytest.mark.parametrize("table", ["none", "usual", "extended", "both", "too short", "not from 0", "not in order"])
def test_which_pieces_belong_to_a_frame(table: str) -> None:
    arrays = np.stack([GRAY, 255 - GRAY, GRAY[::-1]])
    frames = [jpeg(array, quality=95) for array in arrays]
    pieces, offsets = in_pieces(frames, 200)
    wrong = {"too short": offsets[:2], "not from 0": [each + 2 for each in offsets], "not in order": offsets[::-1]}
    usual = wrong.get(table, offsets if table in ("usual", "both") else [])
    extended = offsets if table in ("extended", "both") else []
    more = [(0x7FE00001, "OV", struct.pack(f"<{len(extended)}Q", *extended))] if extended else []
    data = encapsulated(arrays, BASELINE, *pieces, frames=3, table=struct.pack(f"<{len(usual)}I", *usual), more=more)
    for page, frame in zip(opened(data).dicom_pages, frames):
        assert np.array_equal(shown(page)[..., 0], np.asarray(Pillow.open(io.BytesIO(frame))))


@pytest.mark.parametrize("kind", ["no beginning", "one frame less", "one frame more"])
def test_pieces_that_belong_to_no_frame(kind: str) -> None:
    arrays = np.stack([GRAY, 255 - GRAY, GRAY[::-1]])
    frames = [jpeg(array, quality=95) for array in arrays]
    pieces, _ = in_pieces(frames, 200)
    count = 3
    if kind == "no beginning":
        pieces = [b"xx" + piece for piece in pieces]
    elif kind == "one frame more":
        pieces += in_pieces(frames[:1], 200)[0]
    else:
        count = 2
    data = encapsulated(arrays[:count], BASELINE, *pieces, frames=count)
    with managed_error("ImageLoadException",
                       f"the file does not tell which of its {len(pieces)} pieces of pixels belong "
                       f"to which of its {count} frames"):
        opened(data)
