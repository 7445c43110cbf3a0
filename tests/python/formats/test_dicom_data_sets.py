"""The data sets that are written, element by element, as another program reads them, and what is kept of a file."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pydicom
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, Rectangle
from zelmor.imaging.fileformats.dicom import ColorType, Compression, CompressionType, DicomImage
from zelmor.imaging.fileformats.jpeg import JpegCompressionMode
from zelmor.imaging.imageoptions import DicomOptions, JpegOptions

from support.arrays import Pixels
from support.dicom_files import BIG_ENDIAN, EXPLICIT, IMPLICIT, Element, element, picture, words
from support.image_oracles import noise, raster

HEIGHT, WIDTH = 6, 9
GRAY = np.arange(HEIGHT * WIDTH, dtype=np.uint8).reshape(HEIGHT, WIDTH)
COLOR = noise(3, width=WIDTH, height=HEIGHT)


def loaded(pixels: Any, **how: Any) -> Any:
    file = io.BytesIO()
    (pixels if isinstance(pixels, Pillow.Image) else Pillow.fromarray(pixels)).save(file, "PNG", **how)
    return raster(Image.load(io.BytesIO(file.getvalue())))


def options(kind: CompressionType = CompressionType.NONE, **more: Any) -> DicomOptions:
    made, compression = DicomOptions(), Compression()
    compression.type = kind
    for name, value in more.items():
        setattr(compression, name, value)
    made.compression = compression
    return made


def saved(image: Any, path: Path, *how: Any) -> Any:
    image.save(str(path), *how)
    return pydicom.dcmread(path)


#: What each file says of what nobody knows; the values are empty where the standard lets them be.
BESIDES = {"ImageType": ["DERIVED", "SECONDARY"], "StudyDate": "", "StudyTime": "", "AccessionNumber": "",
           "Modality": "OT", "ConversionType": "WSD", "ReferringPhysicianName": "", "PatientName": "", "PatientID": "",
           "PatientBirthDate": "", "PatientSex": "", "StudyID": "", "SeriesNumber": None, "InstanceNumber": 1,
           "PatientOrientation": ""}
SINGLE, MANY = "1.2.840.10008.5.1.4.1.1.7", "1.2.840.10008.5.1.4.1.1.7."
NAMES = ("SOPInstanceUID", "StudyInstanceUID", "SeriesInstanceUID")


def described(kind: str, samples: int, photometric: str, allocated: int, stored: int = 0, signed: int = 0,
              **more: Any) -> dict[str, Any]:
    stored = stored or allocated
    found = {**BESIDES, "SOPClassUID": kind, "SamplesPerPixel": samples, "PhotometricInterpretation": photometric,
             "Rows": HEIGHT, "Columns": WIDTH, "BitsAllocated": allocated, "BitsStored": stored, "HighBit": stored - 1,
             "PixelRepresentation": signed, "PixelSpacing": [0.1, 0.2]}
    if samples > 1:
        found["PlanarConfiguration"] = 0
    return {**found, **more}


def told(file: Any) -> dict[str, Any]:
    def plain(value: Any) -> Any:
        if isinstance(value, pydicom.multival.MultiValue):
            return [plain(each) for each in value]
        if isinstance(value, pydicom.valuerep.DSfloat):
            return pytest.approx(float(value), rel=1e-8)
        return str(value) if isinstance(value, (str, pydicom.valuerep.PersonName)) else value
    return {each.keyword: plain(each.value) for each in file if each.keyword not in (*NAMES, "PixelData")}


def kind_of(name: str) -> tuple[Any, tuple[Any, ...], dict[str, Any]]:
    """The image, the options, and what the file is to say."""
    if name == "gray":
        return loaded(GRAY), (), described(SINGLE, 1, "MONOCHROME2", 8)
    if name == "two bits":
        return loaded(Pillow.fromarray(GRAY % 4 * 85), bits=2), (), described(SINGLE, 1, "MONOCHROME2", 8)
    if name == "one bit":
        return loaded(Pillow.fromarray(GRAY % 2 * 255).convert("1")), (), described(SINGLE, 1, "MONOCHROME2", 8)
    if name == "deep":
        return loaded(GRAY.astype(np.uint16) * 900), (), described(SINGLE, 1, "MONOCHROME2", 16)
    if name == "color":
        return loaded(COLOR), (), described(SINGLE, 3, "RGB", 8)
    if name == "palette":
        indexed = Pillow.fromarray(GRAY % 3, "P")
        indexed.putpalette([1, 2, 3, 40, 50, 60, 255, 0, 128])
        tables = {f"{color}PaletteColorLookupTableDescriptor": [3, 0, 16] for color in ("Red", "Green", "Blue")}
        data = {f"{color}PaletteColorLookupTableData": struct.pack("<3H", *(257 * each for each in values))
                for color, values in (("Red", (1, 40, 255)), ("Green", (2, 50, 0)), ("Blue", (3, 60, 128)))}
        return loaded(indexed), (), described(SINGLE, 1, "PALETTE COLOR", 8, **tables, **data)
    if name == "JPEG":
        made = options(CompressionType.JPEG)
        return loaded(COLOR), (made, ), described(SINGLE, 3, "YBR_FULL_422", 8, LossyImageCompression="01",
                                                  LossyImageCompressionMethod="ISO_10918_1")
    if name == "gray JPEG":
        made = options(CompressionType.JPEG)
        made.color_type = ColorType.GRAYSCALE_8_BIT
        return loaded(GRAY), (made, ), described(SINGLE, 1, "MONOCHROME2", 8, LossyImageCompression="01",
                                                 LossyImageCompressionMethod="ISO_10918_1")
    if name == "RLE":
        return loaded(COLOR), (options(CompressionType.RLE), ), described(SINGLE, 3, "RGB", 8)
    assert name == "JPEG 2000"
    return loaded(COLOR), (options(CompressionType.JPEG2000), ), described(SINGLE, 3, "YBR_RCT", 8)


@pytest.mark.parametrize("name", ["gray", "two bits", "one bit", "deep", "color", "palette", "JPEG", "gray JPEG", "RLE",
                                  "JPEG 2000"])
def test_all_that_a_new_file_says(name: str, tmp_path: Path) -> None:
    image, how, expected = kind_of(name)
    image.set_resolution(127.0, 254.0)
    file = saved(image, tmp_path / "a.dcm", *how)
    found = told(file)
    if "LossyImageCompression" in expected:
        coded, = pydicom.encaps.generate_pixel_data_frame(file.PixelData, 1)
        ratio = HEIGHT * WIDTH * expected["SamplesPerPixel"] / len(coded)
        # The decoder's own padding is a byte at most.
        assert float(file.LossyImageCompressionRatio) == pytest.approx(ratio, rel=1.1 / len(coded))
        found.pop("LossyImageCompressionRatio")
    assert found == expected
    meta = file.file_meta
    assert meta.FileMetaInformationVersion == b"\0\1" and meta.ImplementationVersionName == "ZELMOR_IMAGING"
    assert (meta.MediaStorageSOPClassUID, meta.MediaStorageSOPInstanceUID) == (file.SOPClassUID, file.SOPInstanceUID)
    assert meta.ImplementationClassUID.startswith("2.25.")
    data = (tmp_path / "a.dcm").read_bytes()
    assert data[:132] == bytes(128) + b"DICM"
    length, = struct.unpack_from("<I", data, 140)
    assert data[144 + length:148 + length] == struct.pack("<HH", 8, 8)  # the first element behind the group
    kind = file["PixelData"].VR
    assert kind == ("OW" if expected["BitsAllocated"] > 8 else "OB")


@pytest.mark.parametrize(("frames", "kind", "more"), [
    ([GRAY, 255 - GRAY, GRAY], "2", {"PresentationLUTShape": "IDENTITY"}),
    ([GRAY.astype(np.uint16) * 900] * 2, "3", {"PresentationLUTShape": "IDENTITY"}),
    ([COLOR, COLOR[::-1]], "4", {})])
def test_all_that_a_file_of_frames_says(frames: list[Pixels], kind: str, more: dict[str, str], tmp_path: Path) -> None:
    pages = [Pillow.fromarray(frame) for frame in frames]
    pages[0].save(tmp_path / "a.tif", save_all=True, append_images=pages[1:], dpi=(127, 254))
    made = options()
    made.color_type = {"2": ColorType.GRAYSCALE_8_BIT, "3": ColorType.GRAYSCALE_16_BIT, "4": ColorType.RGB_24_BIT}[kind]
    file = saved(Image.load(str(tmp_path / "a.tif")), tmp_path / "a.dcm", made)
    samples, depth = (3, 8) if kind == "4" else (1, 16 if kind == "3" else 8)
    assert told(file) == described(
        MANY + kind, samples, "RGB" if samples == 3 else "MONOCHROME2", depth, NumberOfFrames=len(frames),
        FrameIncrementPointer=0x00182001, PageNumberVector=list(range(1, len(frames) + 1)), BurnedInAnnotation="NO",
        **more)
    assert np.array_equal(file.pixel_array, np.stack(frames))


def test_names_follow_from_the_picture(tmp_path: Path) -> None:
    """Numbers of 128 bits; each of the three is another one, and another picture has others."""
    def names(pixels: Pixels) -> list[str]:
        file = saved(loaded(pixels), tmp_path / "a.dcm")
        return [str(getattr(file, name)) for name in NAMES]
    first, again = names(GRAY), names(GRAY)
    assert first == again
    changed = GRAY.copy()
    changed[-1, -1] += 1
    wider = np.pad(GRAY, ((0, 0), (0, 1)))
    everything = [*first, *names(changed), *names(wider), *names(GRAY.astype(np.uint16))]
    assert len(set(everything)) == 12
    for name in everything:
        start, number = name.rsplit(".", 1)
        assert start == "2.25" and 2**96 < int(number) < 2**128 and len(name) <= 64 and number == str(int(number))


def test_lengths_of_decimal_numbers(tmp_path: Path) -> None:
    """At most 16 characters, as exact as they allow."""
    image = loaded(GRAY)
    for dots in (95.0, 300.0, 1e-3, 7e6, 123.456, 1.7e7):
        image.set_resolution(dots, dots)
        file = saved(image, tmp_path / "a.dcm")
        for text in file.PixelSpacing:
            assert len(text.original_string) <= 16
            assert float(text) == pytest.approx(25.4 / dots, rel=1e-9)


#: Elements of each type that tells nothing of the pixels, and values of them in the order of bytes asked for.
def typed(order: str) -> list[Element]:
    return [
        (0x00080005, "CS", b"ISO_IR 100"), (0x00089123, "UI", b"1.2.3"),
        (0x00081161, "UL", struct.pack(order + "I", 7)),
        (0x00186020, "SL", struct.pack(order + "i", -5)), (0x00186050, "UL", struct.pack(order + "2I", 1, 2)),
        (0x00189073, "FD", struct.pack(order + "d", 2.5)), (0x00189076, "FL", struct.pack(order + "f", 1.5)),
        (0x00280301, "CS", b"NO"), (0x00280300, "CS", b"YES"), (0x00291010, "US", struct.pack(order + "3H", 1, 2, 515)),
        (0x00291011, "SS", struct.pack(order + "h", -2)), (0x00291012, "AT", struct.pack(order + "2H", 0x10, 0x20)),
        (0x00291013, "OW", struct.pack(order + "2H", 258, 772)), (0x00291014, "OB", b"\1\2\3\4"),
        (0x00291015, "OF", struct.pack(order + "2f", 1.5, -2)), (0x00291016, "OD", struct.pack(order + "d", 1 / 3)),
        (0x00291017, "OL", struct.pack(order + "I", 0x01020304)), (0x00291018, "SV", struct.pack(order + "q", -3)),
        (0x00291019, "UV", struct.pack(order + "Q", 2**40 + 1)), (0x0029101A, "OV", struct.pack(order + "Q", 5)),
        (0x0029101B, "UN", b"raw!"), (0x0029101C, "UT", b"a long text"), (0x0029101D, "DS", b"1.25\\2")]


@pytest.mark.parametrize("syntax", [EXPLICIT, BIG_ENDIAN])
def test_values_of_every_type_are_kept(syntax: str, tmp_path: Path) -> None:
    order = ">" if syntax == BIG_ENDIAN else "<"
    elements = [*typed(order), (0x00291000, "LO", b"OWNER")]
    data = picture(GRAY, syntax=syntax, more=elements)
    image = DicomImage._cast_to(Image.load(io.BytesIO(data))).value
    image.crop(Rectangle(0, 0, 5, 4))
    after = saved(image, tmp_path / "a.dcm")
    written = (tmp_path / "a.dcm").read_bytes()
    for tag, kind, value in [*typed("<"), (0x00291000, "LO", b"OWNER")]:
        assert element(tag, kind, value) in written, hex(tag)
        assert after[tag].VR == kind
    assert after.file_meta.TransferSyntaxUID == EXPLICIT


#: Of the pixels of the file or the file itself: another picture has others.
DROPPED: list[Element] = [
    (0x00182001, "IS", b"1\\2"), (0x00281199, "UI", b"1.2"), (0x00282000, "OB", b"profile!"),
    (0x00282110, "CS", b"01"), (0x00282112, "DS", b"5"), (0x00282114, "CS", b"ISO_10918_1"),
    (0x20500020, "CS", b"INVERSE"), (0x52009229, "SQ", b""), (0x52009230, "SQ", b""), (0x00209221, "SQ", b""),
    (0x00209222, "SQ", b""), (0x00280106, "US", words(3)), (0x00280302, "CS", b"A"), (0x002802FF, "CS", b"A"),
    (0x00080000, "UL", words(4, 0)), (0x00280034, "IS", b"1\\1"), (0x00281057, "CS", b"A"), (0x0028104F, "CS", b"A")]
#: What the samples mean, which other samples do not.
MEANING: list[Element] = [
    (0x00281050, "DS", b"40"), (0x00281051, "DS", b"400"), (0x00281052, "DS", b"-1024"), (0x00281053, "DS", b"2"),
    (0x00281054, "LO", b"HU"), (0x00281055, "LO", b"WINDOW"), (0x00281056, "CS", b"LINEAR")]
KEPT: list[Element] = [
    (0x00080070, "LO", b"Maker"), (0x00280300, "CS", b"NO"), (0x00280301, "CS", b"YES"), (0x00182000, "IS", b"1"),
    (0x00182002, "IS", b"1"), (0x20500021, "CS", b"A"), (0x52009228, "LO", b"A"), (0x52009231, "LO", b"A"),
    (0x00209220, "LO", b"A"), (0x00209223, "LO", b"A"), (0x00080015, "LO", b"A"), (0x00080017, "LO", b"A"),
    (0x00080019, "LO", b"A"), (0x00290010, "LO", b"OWNER"), (0x00270010, "LO", b"OWNER"), (0x00040010, "LO", b"A"),
    (0x7FDF0010, "LO", b"A")]


@pytest.mark.parametrize("same_samples", [True, False])
def test_which_elements_are_kept(same_samples: bool, tmp_path: Path) -> None:
    data = picture(GRAY, more=[*DROPPED, *MEANING, *KEPT])
    image = DicomImage._cast_to(Image.load(io.BytesIO(data))).value
    image.crop(Rectangle(0, 0, 5, 4))
    made = options()
    made.color_type = ColorType.RGB_24_BIT
    after = saved(image, tmp_path / "a.dcm", *([] if same_samples else [made]))
    assert {hex(tag) for tag, _, _ in KEPT if tag not in after} == set()
    assert {tag for tag, _, _ in MEANING if tag in after} == ({tag for tag, _, _ in MEANING} if same_samples else set())
    assert {hex(tag) for tag, _, _ in DROPPED if tag in after} == set()
    written = (tmp_path / "a.dcm").read_bytes()
    assert all(element(*each) in written for each in KEPT)


@pytest.mark.parametrize(("length", "kind"), [(0xFFFE, "LT"), (0xFFFF, "UN"), (0x10000, "UN")])
def test_a_value_that_its_type_has_no_room_for(length: int, kind: str, tmp_path: Path) -> None:
    """In a file without types lengths have 32 bits. Text of more than 16 bits is written without a type."""
    text = b"a" * length
    data = picture(GRAY, syntax=IMPLICIT, more=[(0x00204000, "LT", text)])
    image = DicomImage._cast_to(Image.load(io.BytesIO(data))).value
    image.crop(Rectangle(0, 0, 5, 4))
    image.save(str(tmp_path / "a.dcm"))
    assert element(0x00204000, kind, text + b" " * (length % 2)) in (tmp_path / "a.dcm").read_bytes()


@pytest.mark.parametrize(("kind", "filler"), [("OB", b"\0"), ("UN", b"\0"), ("UI", b"\0"), ("LO", b" "), ("DS", b" ")])
def test_values_of_an_odd_length_are_filled_up(kind: str, filler: bytes, tmp_path: Path) -> None:
    """Files may have such, though the standard knows none."""
    tag = 0x00291010
    data = picture(GRAY, more=[(tag, kind, b"1234")])
    head = element(tag, kind, b"1234")[:-4]
    assert data.count(head + b"1234") == 1
    odd = head.replace(b"\x04\0", b"\x03\0")
    image = DicomImage._cast_to(Image.load(io.BytesIO(data.replace(head + b"1234", odd + b"123")))).value
    image.crop(Rectangle(0, 0, 5, 4))
    image.save(str(tmp_path / "a.dcm"))
    assert head + b"123" + filler in (tmp_path / "a.dcm").read_bytes()


@pytest.mark.parametrize("count", [1, 2, 3, 127, 128, 129, 130, 255, 256, 257])
@pytest.mark.parametrize("before", [0, 1, 2])
def test_runs_of_any_length(count: int, before: int, tmp_path: Path) -> None:
    """Of equal bytes and of different ones, each no longer than its code says: 128 and 128."""
    ramp = np.arange(before + 1, dtype=np.uint8) * 3
    different = (np.arange(count) * 7 % 251).astype(np.uint8)
    row = np.concatenate([ramp[:before], np.full(count, 9, np.uint8), different, [5, 5]]).astype(np.uint8)
    pixels = np.stack([row, row[::-1]])
    path = tmp_path / "a.dcm"
    made = options(CompressionType.RLE)
    made.color_type = ColorType.GRAYSCALE_8_BIT
    file = saved(loaded(pixels), path, made)
    assert np.array_equal(file.pixel_array, pixels)
    coded, = pydicom.encaps.generate_pixel_data_frame(file.PixelData, 1)
    assert struct.unpack_from("<II", coded) == (1, 64) and coded[8:64] == bytes(56)
    assert len(coded) % 2 == 0
    # No worse than two bytes for each run of 128, and one for each 128 different bytes.
    most = 2 * (2 * (count // 128 + 2) + len(row) - count + (count + before) // 128 + 4)
    assert len(coded) - 64 <= most


def test_a_lossy_ratio_counts_all_frames(tmp_path: Path) -> None:
    frames = [noise(3, seed, 40, 30) for seed in range(3)]
    pages = [Pillow.fromarray(frame) for frame in frames]
    pages[0].save(tmp_path / "a.tif", save_all=True, append_images=pages[1:])
    jpeg = JpegOptions()
    jpeg.compression_type = JpegCompressionMode.PROGRESSIVE
    file = saved(Image.load(str(tmp_path / "a.tif")), tmp_path / "a.dcm", options(CompressionType.JPEG, jpeg=jpeg))
    coded = [len(each) for each in pydicom.encaps.generate_pixel_data_frame(file.PixelData, 3)]
    assert float(file.LossyImageCompressionRatio) == pytest.approx(3 * 40 * 30 * 3 / sum(coded), rel=1e-3)
    at = struct.unpack_from("<3I", file.PixelData, 8)
    assert list(at) == [0, coded[0] + 8, coded[0] + coded[1] + 16]
