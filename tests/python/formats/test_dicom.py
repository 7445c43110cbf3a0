"""DICOM files of every form and coding: the samples that are loaded, beside those put in and other programs' own."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pydicom
import pytest
from PIL import Image as Pillow
from zelmor.imaging import DataRecoveryMode, FileFormat, Image, LoadOptions, RasterImage
from zelmor.imaging.fileformats.dicom import DicomImage

from support.arrays import Pixels
from support.dicom_files import (BIG_ENDIAN, DEFLATED, EXPLICIT, IMPLICIT, compressed, element, file_of,
                                 palette_elements, picture, run, words)
from support.image_oracles import managed_error, raster

HEIGHT, WIDTH = 37, 46
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH]

SYNTAXES = {"implicit": IMPLICIT, "explicit": EXPLICIT, "big endian": BIG_ENDIAN, "deflated": DEFLATED}


def tones(bits: int) -> Pixels:
    """Numbers of so many bits, of which no two neighbors are alike."""
    return (X * 37 + Y * 91 + X * Y % 17) % (1 << bits)


def waves(bits: int) -> Pixels:
    return ((np.sin(X / 9) + np.cos(Y / 7) + 2) / 4 * ((1 << bits) - 1)).astype(int)


def colors(of: Any = tones) -> Pixels:
    return np.stack([of(8), 255 - of(8), X * 5 % 256], -1).astype(np.uint8)


def spread(samples: Pixels, bits: int) -> Pixels:
    """Samples of so many bits as a picture shows them with 16 bits."""
    top, wide = (1 << bits) - 1, 255 if bits <= 8 else 65535
    return (samples.astype(np.int64) * wide + top // 2) // top * (257 if bits <= 8 else 1)


def loaded(data: bytes | Path) -> RasterImage:
    return raster(Image.load(str(data) if isinstance(data, Path) else io.BytesIO(data)))


def shown(image: RasterImage) -> Pixels:
    """Red, green and blue of each pixel, with 16 bits."""
    values = np.array(image.load_argb_64_pixels(image.bounds), np.int64).reshape(image.height, image.width)
    return np.stack([values >> shift & 0xFFFF for shift in (32, 16, 0)], -1)


def gray(image: RasterImage) -> Pixels:
    channels = shown(image)
    assert (channels[..., :1] == channels).all()
    return channels[..., 0]


def pages_of(image: Image) -> list[Any]:
    return list(DicomImage._cast_to(image).value.dicom_pages)


# ---- Samples without compression


@pytest.mark.parametrize("syntax", SYNTAXES.values(), ids=list(SYNTAXES))
@pytest.mark.parametrize(("bits", "kind", "depth"), [(2, "u1", 2), (6, "u1", 8), (8, "u1", 8), (10, "u2", 16),
                                                     (12, "u2", 16), (16, "u2", 16), (32, "u4", 32)])
def test_gray_samples_of_any_depth(syntax: str, bits: int, kind: str, depth: int) -> None:
    samples = (tones(16) * 65537 if bits == 32 else tones(bits)).astype(kind)
    image = loaded(picture(samples, stored=bits, syntax=syntax))
    assert image.file_format == FileFormat.DICOM
    assert (image.width, image.height, image.bits_per_pixel) == (WIDTH, HEIGHT, depth)
    assert np.array_equal(gray(image), samples >> 16 if bits == 32 else spread(samples, bits))


@pytest.mark.parametrize("syntax", SYNTAXES.values(), ids=list(SYNTAXES))
@pytest.mark.parametrize(("bits", "kind"), [(8, "i1"), (12, "i2"), (16, "i2")])
def test_signed_samples_keep_their_order(syntax: str, bits: int, kind: str) -> None:
    samples = (tones(bits) - (1 << bits - 1)).astype(kind)
    image = loaded(picture(samples, stored=bits, syntax=syntax))
    assert np.array_equal(gray(image), spread(samples.astype(int) + (1 << bits - 1), bits))


@pytest.mark.parametrize("syntax", SYNTAXES.values(), ids=list(SYNTAXES))
def test_samples_of_one_bit_lie_without_gaps(syntax: str) -> None:
    frames = np.stack([tones(1), 1 - tones(1), X % 3 == 0]).astype(np.uint8)
    packed = np.packbits(frames.ravel(), bitorder="little").tobytes()
    packed += bytes(len(packed) % 2)
    if syntax == BIG_ENDIAN:
        packed = np.frombuffer(packed, "<u2").astype(">u2").tobytes()
    image = Image.load(io.BytesIO(picture(frames, syntax=syntax, frames=3, allocated=1, raw=packed)))
    pages = [raster(page) for page in pages_of(image)]
    assert [page.bits_per_pixel for page in pages] == [1, 1, 1]
    for page, frame in zip(pages, frames):
        assert np.array_equal(gray(page), frame.astype(int) * 65535)


def test_bits_above_and_below_those_that_count_are_left_out() -> None:
    samples = tones(10)
    noisy = (samples << 3 | 5 | 0xE000).astype(np.uint16)
    data = picture(noisy, stored=10, more=[(0x00280102, "US", words(12))])
    assert np.array_equal(gray(loaded(data)), spread(samples, 10))


def test_white_that_is_zero() -> None:
    image = loaded(picture(tones(12).astype(np.uint16), "MONOCHROME1", 12))
    assert np.array_equal(gray(image), spread(4095 - tones(12), 12))


@pytest.mark.parametrize("syntax", SYNTAXES.values(), ids=list(SYNTAXES))
@pytest.mark.parametrize("planar", [0, 1])
@pytest.mark.parametrize("depth", [8, 16])
def test_colors_by_pixels_and_by_planes(syntax: str, planar: int, depth: int) -> None:
    array = colors() if depth == 8 else colors().astype(np.uint16) * 201
    image = loaded(picture(array, "RGB", syntax=syntax, planar=planar))
    assert image.bits_per_pixel == 3 * depth
    assert np.array_equal(shown(image), array.astype(int) * (257 if depth == 8 else 1))


def test_luminance_and_differences() -> None:
    ycc = colors(waves)
    y, cb, cr = (ycc[..., i].astype(float) - (128 if i else 0) for i in range(3))
    expected = np.stack([y + 1.402 * cr, y - 0.344136 * cb - 0.714136 * cr, y + 1.772 * cb], -1)
    image = loaded(picture(ycc, "YBR_FULL"))
    assert np.abs(shown(image) / 257 - expected.clip(0, 255)).max() < 0.51
    pairs = ycc.copy()
    pairs[:, 1::2, 1:] = pairs[:, ::2, 1:]
    raw = np.stack([pairs[:, ::2, 0], pairs[:, 1::2, 0], pairs[:, ::2, 1], pairs[:, ::2, 2]], -1).tobytes()
    whole = shown(loaded(picture(pairs, "YBR_FULL")))
    assert np.array_equal(shown(loaded(picture(pairs, "YBR_FULL_422", raw=raw))), whole)
    # Luminance from 16 to 235, and differences from 16 to 240.
    limited = np.array([[[16, 128, 128], [235, 128, 128]]], np.uint8)
    raw = bytes([16, 235, 128, 128])
    assert shown(loaded(picture(limited, "YBR_PARTIAL_422", raw=raw))).tolist() == [[[0] * 3, [65535] * 3]]


@pytest.mark.parametrize("bits", [8, 16])
def test_a_palette_is_kept(bits: int) -> None:
    entries = np.random.default_rng(4).integers(0, 1 << bits, (200, 3))
    samples = tones(8) % 200
    image = loaded(picture(samples.astype(np.uint8), "PALETTE COLOR", more=palette_elements(entries, bits=bits)))
    assert image.bits_per_pixel == 8
    assert image.palette.entries_count == 200
    assert np.array_equal(shown(image), entries[samples] * (257 if bits == 8 else 1))


def test_samples_outside_of_the_palette_have_its_first_or_last_color() -> None:
    entries = np.array([[10, 20, 30], [40, 50, 60], [70, 80, 90]]) * 257
    samples = np.array([[0, 99, 100, 101, 102, 103, 255]], np.uint8)
    image = loaded(picture(samples, "PALETTE COLOR", more=palette_elements(entries, first=100)))
    assert (shown(image)[0, :, 0] // 257).tolist() == [10, 10, 10, 40, 70, 70, 70]


def test_a_palette_of_many_colors_makes_them_true_colors() -> None:
    entries = np.random.default_rng(4).integers(0, 65536, (4096, 3))
    samples = tones(12).astype(np.uint16)
    image = loaded(picture(samples, "PALETTE COLOR", 12, more=palette_elements(entries)))
    assert image.bits_per_pixel == 48
    assert np.array_equal(shown(image), entries[samples])


def test_a_palette_in_segments() -> None:
    # Three values, a line of 4 steps to 500, and both segments again.
    segments = words(0, 3, 100, 200, 300, 1, 4, 500, 2, 2, 0, 0)
    tables = [(0x00281101 + band, "US", words(14, 0, 16)) for band in range(3)]
    tables += [(0x00281221 + band, "OW", segments) for band in range(3)]
    samples = np.arange(14, dtype=np.uint8).reshape(1, 14)
    image = loaded(picture(samples, "PALETTE COLOR", more=tables))
    line = [350, 400, 450, 500]
    assert shown(image)[0, :, 0].tolist() == [100, 200, 300, *line, 100, 200, 300, *line]


# ---- Compressed samples

PLAIN: dict[str, tuple[bytes, Pixels]] = {}
for _bits, _kind in ((8, "u1"), (10, "u2"), (12, "u2"), (16, "u2")):
    for _name, _of in (("tones", tones), ("waves", waves)):
        PLAIN[f"{_name}{_bits}"] = (picture(_of(_bits).astype(_kind), stored=_bits), spread(_of(_bits), _bits))
for _bits in (12, 16):
    _signed = (waves(_bits) - (1 << _bits - 1)).astype(np.int16)
    PLAIN[f"signed{_bits}"] = (picture(_signed, stored=_bits), spread(waves(_bits), _bits))
PLAIN["white"] = (picture(tones(8).astype(np.uint8), "MONOCHROME1"), spread(255 - tones(8), 8))
PLAIN["flat"] = (picture(np.where((X // 9 + Y // 7) % 3 == 0, 0, 200).astype(np.uint8)),
                 np.where((X // 9 + Y // 7) % 3 == 0, 0, 200 * 257))
PLAIN["rgb"] = (picture(colors(), "RGB"), colors().astype(int) * 257)
PLAIN["planes"] = (picture(colors(waves), "RGB", planar=1), colors(waves).astype(int) * 257)

#: Ways to compress without a loss, for pictures of every kind; then those of which colors or one depth show enough.
LOSSLESS = [("dcmcrle",), ("gdcmconv", "--rle"), ("dcmcjpeg", "+e1"), ("gdcmconv", "--jpeg"), ("dcmcjpls",),
            ("gdcmconv", "--jpegls"), ("gdcmconv", "--j2k")]
ORDERS = [("dcmcjpls", "+il"), ("dcmcjpls", "+is")]
PREDICTORS = [("dcmcjpeg", "+el", "+sv", str(i)) for i in range(2, 8)]
CASES: list[Any] = [
    *((kind, command) for kind in PLAIN if kind not in ("waves8", "waves10") for command in LOSSLESS),
    *((kind, command) for kind in ("rgb", "planes") for command in ORDERS),
    *((kind, command) for kind in ("rgb", "tones12") for command in PREDICTORS)]


@pytest.mark.parametrize(("kind", "command"), CASES, ids=[f"{kind} {' '.join(how)}" for kind, how in CASES])
def test_frames_without_loss_have_the_samples_that_were_put_in(tmp_path: Path, kind: str, command: Any) -> None:
    data, expected = PLAIN[kind]
    (tmp_path / "plain.dcm").write_bytes(data)
    image = loaded(compressed(tmp_path / "plain.dcm", *command))
    found = shown(image) if expected.ndim == 3 else gray(image)
    assert np.array_equal(found, expected)


def decoded(path: Path, *command: str) -> Pixels:
    """The samples as another program decodes them."""
    bits = pydicom.dcmread(path).BitsStored
    file = pydicom.dcmread(compressed(path, *command))
    samples: Pixels = file.pixel_array.astype(np.int64)
    if file.PixelRepresentation:
        samples += 1 << bits - 1
    return spread(samples.clip(0, (1 << bits) - 1), bits)  # a loss may lead beyond the bits that count


@pytest.mark.parametrize(("kind", "command", "back", "tolerance"), [
    ("waves8", ("dcmcjpeg", "+eb"), ("dcmdjpeg",), 257), ("waves8", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 257),
    ("waves8", ("dcmcjpeg", "+ep"), ("dcmdjpeg",), 257), ("planes", ("dcmcjpeg", "+eb", "+s4"), ("dcmdjpeg",), 3 * 257),
    ("waves10", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 20), ("waves12", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 20),
    ("tones12", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 20), ("signed12", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 20),
    ("waves16", ("dcmcjpeg", "+ee"), ("dcmdjpeg",), 20),
    ("waves8", ("dcmcjpls", "+en", "+md", "3"), ("dcmdjpls",), 0),
    ("tones8", ("dcmcjpls", "+en", "+md", "5"), ("dcmdjpls",), 0),
    ("tones12", ("dcmcjpls", "+en", "+md", "3"), ("dcmdjpls",), 0),
    ("waves16", ("dcmcjpls", "+en", "+md", "100"), ("dcmdjpls",), 0),
    ("rgb", ("dcmcjpls", "+en", "+is"), ("dcmdjpls",), 0), ("planes", ("dcmcjpls", "+en", "+il"), ("dcmdjpls",), 0),
    ("waves12", ("gdcmconv", "--j2k", "--lossy", "-q", "60"), ("gdcmconv", "--raw"), 1),
])
def test_frames_with_a_loss_are_what_other_programs_decode(tmp_path: Path, kind: str, command: Any, back: Any,
                                                           tolerance: int) -> None:
    (tmp_path / "plain.dcm").write_bytes(PLAIN[kind][0])
    path = compressed(tmp_path / "plain.dcm", *command)
    image = loaded(path)
    found = shown(image) if PLAIN[kind][1].ndim == 3 else gray(image)
    assert np.abs(found - decoded(path, *back)).max() <= tolerance


@pytest.mark.parametrize("signed_header", [False, True])
@pytest.mark.parametrize("signed", [False, True])
def test_signs_of_a_codestream_and_of_the_file(tmp_path: Path, signed: bool, signed_header: bool) -> None:
    """A sample is the number that the codestream has, as far as the file can tell it."""
    samples = (waves(8) - 128 if signed else waves(8)).astype(np.int8 if signed else np.uint8)
    (tmp_path / "a.raw").write_bytes(samples.tobytes())
    run("opj_compress", "-i", str(tmp_path / "a.raw"), "-o", str(tmp_path / "a.j2k"), "-F",
        f"{WIDTH},{HEIGHT},1,8,{'s' if signed else 'u'}")
    coded = (tmp_path / "a.j2k").read_bytes()
    coded += b"\0" * (len(coded) % 2)
    pieces = struct.pack("<HHIHHI", 0xFFFE, 0xE000, 0, 0xFFFE, 0xE000, len(coded)) + coded
    pieces += struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
    data = picture(samples.astype(np.int8 if signed_header else np.uint8), syntax="1.2.840.10008.1.2.4.90", raw=b"")
    whole = struct.pack("<HH2sHI", 0x7FE0, 0x0010, b"OB", 0, 0xFFFFFFFF) + pieces
    found = gray(loaded(data[:data.index(b"\xe0\x7f\x10\0")] + whole)) // 257
    if signed == signed_header:
        expected = samples.astype(int) + (128 if signed else 0)
    elif signed:
        expected = samples.astype(int).clip(0, 255)
    else:  # the sign of the file's own bits
        expected = (samples.astype(int) + 128) % 256
    assert np.array_equal(found, expected)


@pytest.mark.parametrize("comments", [0, 1, 150])
@pytest.mark.parametrize("transformed", [False, True])
def test_a_codestream_tells_whether_its_colors_were_changed(tmp_path: Path, transformed: bool, comments: int) -> None:
    """In a segment behind any number of others. Colors that were not are luminance and differences, as the file says;
    the decoder has turned back all others."""
    Pillow.fromarray(colors(waves)).save(tmp_path / "a.ppm")
    run("opj_compress", "-i", str(tmp_path / "a.ppm"), "-o", str(tmp_path / "a.j2k"), "-mct", str(int(transformed)))
    coded = (tmp_path / "a.j2k").read_bytes()
    at = 4 + struct.unpack_from(">H", coded, 4)[0]  # behind the size
    coded = coded[:at] + b"\xff\x64\0\6\0\1ab" * comments + coded[at:]
    coded += b"\0" * (len(coded) % 2)
    pieces = struct.pack("<HHIHHI", 0xFFFE, 0xE000, 0, 0xFFFE, 0xE000, len(coded)) + coded
    pieces += struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
    data = picture(colors(waves), "YBR_FULL", syntax="1.2.840.10008.1.2.4.90", raw=b"")
    whole = struct.pack("<HH2sHI", 0x7FE0, 0x0010, b"OB", 0, 0xFFFFFFFF) + pieces
    found = shown(loaded(data[:data.index(b"\xe0\x7f\x10\0")] + whole))
    expected = colors(waves).astype(int) * 257 if transformed else shown(loaded(picture(colors(waves), "YBR_FULL")))
    assert np.abs(found - expected).max() <= 257


@pytest.mark.parametrize("command", [("dcmcrle",), ("dcmcjpeg", "+e1"), ("dcmcjpls",), ("gdcmconv", "--j2k"),
                                     ("dcmcjpeg", "+e1", "+fs", "1"), ("dcmcjpls", "+fs", "1"), ("dcmcrle", "+fs", "1"),
                                     ("dcmcjpeg", "+e1", "+fs", "1", "-ot")],
                         ids=lambda command: " ".join(command))
def test_frames_in_one_piece_and_in_several(tmp_path: Path, command: Any) -> None:
    frames = np.stack([np.roll(tones(12), 5 * i, 1) for i in range(3)]).astype(np.uint16)
    frames = np.tile(frames, (1, 2, 2))  # of more than one piece of a kilobyte
    (tmp_path / "plain.dcm").write_bytes(picture(frames, stored=12, frames=3))
    pages = pages_of(Image.load(str(compressed(tmp_path / "plain.dcm", *command))))
    assert len(pages) == 3
    for i in (2, 0, 1):
        assert np.array_equal(gray(raster(pages[i])), spread(frames[i], 12))


# ---- What is refused


@pytest.mark.parametrize(("more", "syntax", "text"), [
    ([(0x00280004, "CS", b"HSV")], EXPLICIT, "this is a DICOM file with the photometric interpretation HSV"),
    ([(0x00280100, "US", words(12))], EXPLICIT, "this is a DICOM file with 12 bits allocated for a sample"),
    ([(0x00280100, "US", words(64))], EXPLICIT, "this is a DICOM file with 64 bits allocated for a sample"),
    ([], "1.2.840.10008.1.2.4.100", "this is a DICOM file with MPEG-2 video, which is not read"),
    ([], "1.2.840.10008.1.2.4.94", "this is a DICOM file with pixels on a JPIP server, which is not read"),
    ([], "1.2.3.4", "this is a DICOM file with the unknown transfer syntax 1.2.3.4"),
    ([(0x7FE00008, "OF", bytes(16))], EXPLICIT, "this is a DICOM file with floating-point samples"),
])
def test_a_file_that_is_not_read_is_refused_by_what_it_has(more: Any, syntax: str, text: str) -> None:
    with managed_error("NotSupportedException", text):
        Image.load(io.BytesIO(file_of(picture_elements(more), syntax)))


def picture_elements(more: Any) -> list[Any]:
    return [(0x00280002, "US", words(1)), (0x00280004, "CS", b"MONOCHROME2"), (0x00280010, "US", words(2)),
            (0x00280011, "US", words(2)), (0x00280100, "US", words(8)), (0x00280101, "US", words(8)),
            (0x00280102, "US", words(7)), (0x00280103, "US", words(0)), (0x7FE00010, "OB", bytes(4)), *more]


def test_a_report_has_no_picture() -> None:
    data = file_of([(0x00080060, "CS", b"SR"), (0x0040A040, "CS", b"CONTAINER")])
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat.DICOM
    with managed_error("NotSupportedException", "this is a DICOM file without a picture"):
        Image.load(io.BytesIO(data))


def test_texts_of_the_file_are_made_readable_in_messages() -> None:
    data = file_of(picture_elements([(0x00280004, "CS", b"RG\xcd\x02" + b"x" * 200)]))
    with managed_error("NotSupportedException", "photometric interpretation RG??" + "x" * 60 + ", which is not read"):
        Image.load(io.BytesIO(data)).width
    data = file_of(picture_elements([])).replace(b"1.2.840.10008.1.2.1\0", b"1.2.840.10008.1.2\xb01\0")
    with managed_error("NotSupportedException", "unknown transfer syntax 1.2.840.10008.1.2?1"):
        Image.load(io.BytesIO(data)).width


@pytest.mark.parametrize("change", [
    (0x00280010, "US", words(0)), (0x00280011, "US", words(0)), (0x00280101, "US", words(9)),
    (0x00280102, "US", words(8)), (0x00280002, "US", words(3)), (0x00280006, "US", words(2))])
def test_a_header_that_contradicts_itself_is_damage(change: Any) -> None:
    with managed_error("ImageLoadException", "DICOM"):
        Image.load(io.BytesIO(file_of(picture_elements([change]))))


def test_a_file_without_pixels() -> None:
    data = file_of([each for each in picture_elements([]) if each[0] != 0x7FE00010])
    with managed_error("ImageLoadException", "the file has no pixels"):
        Image.load(io.BytesIO(data))


# ---- Damage


def recovering(mode: DataRecoveryMode) -> LoadOptions:
    options = LoadOptions()
    options.data_recovery_mode = mode
    return options


@pytest.mark.parametrize("mode", [DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER])
@pytest.mark.parametrize("command", [None, ("dcmcjpeg", "+e1"), ("dcmcjpls",)], ids=["raw", "lossless", "JPEG-LS"])
def test_the_rows_before_the_end_of_the_data_are_kept(tmp_path: Path, command: Any, mode: DataRecoveryMode) -> None:
    (tmp_path / "plain.dcm").write_bytes(PLAIN["tones12"][0])
    path = compressed(tmp_path / "plain.dcm", *command) if command else tmp_path / "plain.dcm"
    data = path.read_bytes()
    cut = data[:len(data) - (len(data) - data.index(b"\xe0\x7f\x10\0")) // 2]
    with managed_error("ImageLoadException", "end too early" if command else "the pixels of 0 of 1 frames"):
        raster(Image.load(io.BytesIO(cut))).cache_data()
    found = gray(raster(Image.load(io.BytesIO(cut), recovering(mode))))
    expected = PLAIN["tones12"][1]
    assert np.array_equal(found[:HEIGHT // 2 - 3], expected[:HEIGHT // 2 - 3])
    assert (found[-1] == 65535).all()


def test_frames_that_are_missing() -> None:
    frames = np.stack([tones(8)] * 3).astype(np.uint8)
    data = picture(frames, frames=3)
    with managed_error("ImageLoadException", "there are the pixels of 2 of 3 frames"):
        Image.load(io.BytesIO(data[:-HEIGHT * WIDTH]))
    kept = Image.load(io.BytesIO(data[:-HEIGHT * WIDTH]), recovering(DataRecoveryMode.CONSISTENT_RECOVER))
    assert len(pages_of(kept)) == 2


def test_a_claim_of_a_large_picture_takes_no_memory() -> None:
    data = bytearray(PLAIN["tones8"][0])
    for tag in (0x10, 0x11):
        at = data.index(struct.pack("<HH", 0x28, tag))
        data[at + 8:at + 10] = b"\xff\xff"
    with managed_error("ImageLoadException", "the pixels of 0 of 1 frames"):
        Image.load(io.BytesIO(bytes(data)))


def test_sequences_without_end_and_within_each_other() -> None:
    item = struct.pack("<HHI", 0xFFFE, 0xE000, 0xFFFFFFFF)
    deep = b""
    for _ in range(1000):
        deep += struct.pack("<HH", 0x08, 0x1140) + b"SQ" + struct.pack("<HI", 0, 0xFFFFFFFF) + item
    data = PLAIN["tones8"][0]
    at = data.index(struct.pack("<HH", 0x10, 0x10))
    with managed_error("ImageLoadException", "DICOM"):
        Image.load(io.BytesIO(data[:at] + deep + data[at:]))


def test_sequences_are_stepped_over() -> None:
    inner = element(0x00280010, "US", words(7)) + element(0x7FE00010, "OB", bytes(8))
    length = struct.pack("<HHI", 0xFFFE, 0xE000, len(inner)) + inner
    delimited = struct.pack("<HHI", 0xFFFE, 0xE000, 0xFFFFFFFF) + inner + struct.pack("<HHI", 0xFFFE, 0xE00D, 0)
    end = struct.pack("<HHI", 0xFFFE, 0xE0DD, 0)
    sequences = element(0x00081140, "SQ", length + delimited)
    sequences += struct.pack("<HH", 0x08, 0x2112) + b"SQ" + struct.pack("<HI", 0, 0xFFFFFFFF) + delimited + end
    data = PLAIN["tones8"][0]
    at = data.index(struct.pack("<HH", 0x10, 0x10))
    assert np.array_equal(gray(loaded(data[:at] + sequences + data[at:])), PLAIN["tones8"][1])


def outcomes_of(data: bytes) -> str:
    try:
        image = Image.load(io.BytesIO(data))
        for page in pages_of(image):
            raster(page).cache_data()
        return "loaded"
    except RuntimeError as error:
        assert "ImageLoadException" in str(error) or "NotSupportedException" in str(error), error
        return "refused"


@pytest.mark.parametrize("command", [None, ("dcmcrle",), ("dcmcjpeg", "+el", "+sv", "6"), ("dcmcjpeg", "+ee"),
                                     ("dcmcjpls",), ("dcmcjpls", "+is"), ("gdcmconv", "--j2k")],
                         ids=lambda command: " ".join(command) if command else "raw")
def test_altered_and_shortened_files_are_loaded_or_refused(tmp_path: Path, command: Any) -> None:
    kind = "rgb" if command == ("dcmcjpls", "+is") else "tones12"
    (tmp_path / "plain.dcm").write_bytes(PLAIN[kind][0])
    path = compressed(tmp_path / "plain.dcm", *command) if command else tmp_path / "plain.dcm"
    data = path.read_bytes()
    random = np.random.default_rng(9)
    found = {outcomes_of(data[:int(length)]) for length in random.integers(132, len(data), 40)}
    for _ in range(120):
        altered = bytearray(data)
        for at in random.integers(132, len(data), 3):
            altered[int(at)] = int(random.integers(0, 256))
        found.add(outcomes_of(bytes(altered)))
    assert found <= {"loaded", "refused"} and "refused" in found
