"""JPEG-LS files: the example of the standard, and pictures of every depth and layout, there and back."""

from __future__ import annotations

import io
import struct
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import DataRecoveryMode, FileFormat, Image, LoadOptions, RasterImage
from zelmor.imaging.fileformats.jpeg import (JpegCompressionColorMode, JpegCompressionMode, JpegImage,
                                             JpegLsInterleaveMode, JpegLsPresetCodingParameters)
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support import png_files
from support.arrays import Pixels
from support.image_oracles import managed_error, noise, smooth

#: Annex H.3 of ISO/IEC 14495-1: a picture of 4 by 4 samples, and its file without loss.
EXAMPLE = np.array([[0, 0, 90, 74], [68, 50, 43, 205], [64, 145, 145, 145], [100, 145, 145, 145]], np.uint8)
EXAMPLE_FILE = bytes.fromhex("FFD8FFF7000B0800040004010111 00FFDA0008010100000000C000006C80208E01C0000057400000"
                             "6EE6000001BC1800 0005D80000916 0FFD9".replace(" ", ""))


def options(**properties: Any) -> JpegOptions:
    found = JpegOptions()
    found.compression_type = JpegCompressionMode.JPEG_LS
    for name, value in properties.items():
        setattr(found, name, value)
    return found


def image_of(pixels: Pixels) -> Image:
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    return Image.load(io.BytesIO(file.getvalue()))


def deep_image(samples: Any) -> Image:
    """An image of 16 bits a channel."""
    color = 2 if samples.ndim == 3 else 0
    return Image.load(io.BytesIO(png_files.to_bytes(png_files.Png(color, 16, samples.reshape(*samples.shape[:2], -1)))))


def saved(image: Image, with_options: JpegOptions) -> bytes:
    file = io.BytesIO()
    image.save(file, with_options)
    return file.getvalue()


def samples(data: bytes) -> Any:
    file = io.BytesIO()
    Image.load(io.BytesIO(data)).save(file, PngOptions())
    return png_files.from_bytes(file.getvalue()).samples.astype(int)


def bare(data: bytes) -> bytes:
    """The file without the segments that describe the picture."""
    out, at = data[:2], 2
    while data[at + 1] != 0xDA:
        size = 2 + struct.unpack_from(">H", data, at + 2)[0]
        out += b"" if 0xE0 <= data[at + 1] <= 0xEF else data[at:at + size]
        at += size
    return out + data[at:]


def test_the_example_of_the_standard() -> None:
    assert Image.get_file_format(io.BytesIO(EXAMPLE_FILE)) == FileFormat.JPEG
    image = JpegImage._cast_to(Image.load(io.BytesIO(EXAMPLE_FILE))).value
    assert (image.width, image.height, image.bits_per_pixel) == (4, 4, 8)
    assert np.array_equal(samples(EXAMPLE_FILE)[..., 0], EXAMPLE)
    data = saved(image_of(EXAMPLE), options(color_type=JpegCompressionColorMode.GRAYSCALE))
    assert bare(data) == EXAMPLE_FILE


@pytest.mark.parametrize("mode", list(JpegLsInterleaveMode))
@pytest.mark.parametrize("bands", [1, 3])
@pytest.mark.parametrize("make", [noise, smooth])
def test_bytes_come_back(make: Any, bands: int, mode: JpegLsInterleaveMode) -> None:
    picture = make(bands)
    data = saved(image_of(picture), options(jpeg_ls_interleave_mode=mode))
    assert b"\xff\xf7" in data
    assert np.array_equal(samples(data).reshape(picture.shape), picture)
    found = JpegOptions._cast_to(Image.load(io.BytesIO(data)).get_original_options()).value
    assert found.compression_type == JpegCompressionMode.JPEG_LS
    assert found.bits_per_channel == 8
    assert found.jpeg_ls_interleave_mode == (mode if bands == 3 else JpegLsInterleaveMode.NONE)
    again = io.BytesIO()
    Image.load(io.BytesIO(data)).save(again)
    assert np.array_equal(samples(again.getvalue()), samples(data))


@pytest.mark.parametrize("preset", [False, True])
def test_a_file_may_be_larger_than_its_pixels(preset: bool) -> None:
    """Noise cannot be compressed: each sample takes more bits than it has."""
    picture = np.random.default_rng(8).integers(0, 256, (700, 800), np.uint8)
    chosen = options()
    if preset:
        chosen.jpeg_ls_preset = JpegLsPresetCodingParameters()
        chosen.jpeg_ls_preset.reset_value = 255
    data = saved(image_of(picture), chosen)
    assert len(data) > picture.nbytes
    assert np.array_equal(samples(data).reshape(picture.shape), picture)


@pytest.mark.parametrize("bits", range(2, 17))
@pytest.mark.parametrize("bands", [1, 3])
def test_every_depth(bits: int, bands: int) -> None:
    """The contexts that the coder takes for a sample hang on the greatest value."""
    most = (1 << bits) - 1
    stored = np.random.default_rng(bits).integers(0, most + 1, (11, 13, 3) if bands == 3 else (11, 13))
    spread = (stored * 65535 + most // 2) // most
    data = saved(deep_image(spread), options(bits_per_channel=bits))
    frame = data.index(b"\xff\xf7")
    assert data[frame + 4] == bits and data[frame + 9] == bands
    found = samples(data).reshape(stored.shape)
    top = 255 if bits <= 8 else 65535
    assert np.array_equal(found, (stored * top + most // 2) // most)
    assert JpegOptions._cast_to(Image.load(io.BytesIO(data)).get_original_options()).value.bits_per_channel == bits


@pytest.mark.parametrize("error", [1, 3, 10])
def test_a_greatest_error(error: int) -> None:
    picture = noise()
    data = saved(image_of(picture), options(jpeg_ls_allowed_lossy_error=error))
    difference = np.abs(samples(data) - picture)
    assert difference.max() == error
    assert len(data) < len(saved(image_of(picture), options()))
    assert JpegOptions._cast_to(Image.load(io.BytesIO(data)).get_original_options()).value \
        .jpeg_ls_allowed_lossy_error == error


def test_a_preset() -> None:
    preset = JpegLsPresetCodingParameters()
    preset.maximum_sample_value, preset.reset_value = 255, 31
    preset.threshold1, preset.threshold2, preset.threshold3 = 4, 9, 25
    data = saved(image_of(smooth()), options(jpeg_ls_preset=preset))
    at = data.index(b"\xff\xf8")  # the segment of the standard for these numbers
    assert struct.unpack_from(">HB5H", data, at + 2) == (13, 1, 255, 4, 9, 25, 31)
    assert np.array_equal(samples(data), smooth())
    preset.threshold1 = 200
    with managed_error("ImageSaveException", "JpegLsPreset"):
        saved(image_of(smooth()), options(jpeg_ls_preset=preset))


@pytest.mark.parametrize(("bits", "refused"), [(8, [1, 127, 128, 254, 256]), (12, [255, 4094, 4096, 65535])])
def test_another_greatest_sample_is_refused(bits: int, refused: list[int]) -> None:
    """Files were written that had other pixels."""
    preset = JpegLsPresetCodingParameters()
    most = (1 << bits) - 1
    image = deep_image(np.arange(20).reshape(4, 5) * 3000)
    for value in refused:
        preset.maximum_sample_value = value
        with managed_error("ImageSaveException", f"JpegLsPreset does not suit JPEG-LS: the greatest sample of {bits} "
                                                 f"bits is {most}, and no other is written"):
            saved(image, options(jpeg_ls_preset=preset, bits_per_channel=bits))
    plain = samples(saved(image, options(bits_per_channel=bits)))
    for value in (0, most):
        preset.maximum_sample_value, preset.reset_value = value, 40
        assert np.array_equal(samples(saved(image, options(jpeg_ls_preset=preset, bits_per_channel=bits))), plain)


def test_what_describes_the_picture() -> None:
    chosen = options(comment="words")
    image = image_of(smooth())
    data = saved(image, chosen)
    assert b"words" in data and b"JFIF" in data
    again = JpegImage._cast_to(Image.load(io.BytesIO(data))).value
    assert again.comment == "words"
    assert again.horizontal_resolution == pytest.approx(96, abs=0.5)


@pytest.mark.parametrize("length", [1, 60_000, 65_533])
def test_a_small_picture_with_a_long_comment(length: int) -> None:
    comment = "c" * length
    data = saved(image_of(noise()[:3, :3]), options(comment=comment))
    again = JpegImage._cast_to(Image.load(io.BytesIO(data))).value
    assert again.comment == comment and np.array_equal(samples(data), noise()[:3, :3])


def test_the_end_of_the_picture_in_a_stream() -> None:
    data = saved(image_of(noise()), options())
    stream = io.BytesIO(data + b"behind")
    Image.load(stream)
    assert stream.read() == b"behind"


@pytest.mark.parametrize(("properties", "text"), [
    ({"color_type": JpegCompressionColorMode.CMYK}, "JpegOptions.ColorType beside JpegCompressionMode.JPEG_LS"),
    ({"horizontal_sampling": b"\2\1\1"}, "JpegOptions.HorizontalSampling beside JpegCompressionMode.JPEG_LS"),
    ({"compression_type": JpegCompressionMode.BASELINE, "bits_per_channel": 12},
     "JpegOptions.BitsPerChannel without JpegCompressionMode.LOSSLESS or JpegCompressionMode.JPEG_LS"),
    ({"compression_type": JpegCompressionMode.BASELINE, "jpeg_ls_allowed_lossy_error": 2},
     "JpegOptions.JpegLsAllowedLossyError without JpegCompressionMode.JPEG_LS"),
])
def test_options_that_do_not_go_together(properties: dict[str, Any], text: str) -> None:
    with managed_error("NotSupportedException", text):
        saved(image_of(smooth()), options(**properties))


def test_damage_is_an_error() -> None:
    data = saved(image_of(noise()), options())
    generator = np.random.default_rng(3)
    for size in (len(data) // 2, len(data) - 2, 30):
        with managed_error("ImageLoadException", "JPEG"):
            samples(data[:size])
    lenient = LoadOptions()
    lenient.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    with managed_error("ImageLoadException", "JPEG"):
        Image.load(io.BytesIO(data[:len(data) // 2]), lenient).save(io.BytesIO(), PngOptions())
    for _ in range(100):
        damaged = bytearray(data)
        for at in generator.integers(2, len(data), 3):
            damaged[at] = generator.integers(0, 256)
        try:
            image = Image.load(io.BytesIO(bytes(damaged)))
            if image.width * image.height < 100_000:
                samples(bytes(damaged))
        except RuntimeError as error:
            assert str(error).startswith("Proxy error("), error


def test_other_components_are_refused() -> None:
    frame = b"\xff\xf7" + struct.pack(">HBHHB", 14, 8, 4, 4, 2) + b"\1\x11\0\2\x11\0"
    with managed_error("NotSupportedException", "a JPEG-LS picture of 2 components is not read"):
        Image.load(io.BytesIO(b"\xff\xd8" + frame + EXAMPLE_FILE[15:])).save(io.BytesIO(), PngOptions())


NOT_READ = "NotSupportedException"
DAMAGED = "ImageLoadException"
SCANS: dict[str, tuple[JpegLsInterleaveMode, int, int, str, str]] = {
    # How the components are stored, the byte of the scan's header (from its number of components on), its new value.
    "no component": (JpegLsInterleaveMode.LINE, 0, 0, DAMAGED, "a scan makes no sense"),
    "another component": (JpegLsInterleaveMode.LINE, 3, 9, DAMAGED, "a component that the frame has not"),
    "a table": (JpegLsInterleaveMode.LINE, 4, 1, NOT_READ, "with tables"),
    "an error above the half": (JpegLsInterleaveMode.LINE, 7, 128, DAMAGED, "the settings of JPEG-LS make no sense"),
    "one after the other": (JpegLsInterleaveMode.LINE, 8, 0, NOT_READ, "in this order"),
    "an unknown order": (JpegLsInterleaveMode.LINE, 8, 3, NOT_READ, "in this order"),
    "lines of one": (JpegLsInterleaveMode.NONE, 4, 1, NOT_READ, "in this order"),
    "samples of one": (JpegLsInterleaveMode.NONE, 4, 2, NOT_READ, "in this order"),
    "a point transform": (JpegLsInterleaveMode.LINE, 9, 1, NOT_READ, "with a point transform"),
    "a great point transform": (JpegLsInterleaveMode.SAMPLE, 9, 8, NOT_READ, "with a point transform"),
}


@pytest.mark.parametrize("name", SCANS)
def test_scans_that_are_refused(name: str) -> None:
    mode, field, value, error, text = SCANS[name]
    data = bytearray(bare(saved(image_of(noise()[:5, :6]), options(jpeg_ls_interleave_mode=mode))))
    at = data.index(b"\xff\xda") + 4
    assert data[at] == (1 if mode == JpegLsInterleaveMode.NONE else 3)
    data[at + field] = value
    with managed_error(error, text):
        samples(bytes(data))


def test_a_component_that_two_scans_have() -> None:
    data = bytearray(bare(saved(image_of(noise()[:5, :6]),
                                options(jpeg_ls_interleave_mode=JpegLsInterleaveMode.NONE))))
    first = data.index(b"\xff\xda")
    second = data.index(b"\xff\xda", first + 1)
    data[second + 5] = data[first + 5]
    with managed_error(DAMAGED, "or one for the second time"):
        samples(bytes(data))


def test_the_memory_of_the_decoder_is_counted() -> None:
    """Its pixels, and each sample twice in 16 bits, by component and joined, beside the bytes of the file."""
    picture = smooth(3, 1000, 700)
    data = saved(image_of(picture), options())
    limit = LoadOptions()
    limit.buffer_size_hint = 5
    image = RasterImage._cast_to(Image.load(io.BytesIO(data), limit)).value
    with managed_error("ImageLoadException", f"its pixels need {5 * picture.size + len(data)} bytes of memory"):
        image.get_argb_32_pixel(0, 0)


def pattern(kind: str, width: int, height: int, top: int) -> Any:
    """Runs, ramps, edges and noise: what the coder treats each in its own way."""
    random = np.random.default_rng(width * 31 + height)
    rows, columns = np.mgrid[0:height, 0:width]
    return {"flat": np.full((height, width), top // 3), "stripes": columns // 5 % 2 * top,
            "rows": rows // 2 % 2 * top, "ramp": (columns * 3 + rows * 5) % (top + 1),
            "blocks": (columns // 7 + rows // 3) * 37 % (top + 1),
            "noise": random.integers(0, top + 1, (height, width)),
            "dots": (random.random((height, width)) < 0.03) * top,
            "walk": np.abs(np.cumsum(random.integers(-2, 3, (height, width)), 1)) % (top + 1)}[kind]


SIZES = [(1, 1), (1, 17), (17, 1), (2, 3), (64, 5), (33, 40), (300, 3)]


@pytest.mark.parametrize("error", [0, 1, 2, 7])
@pytest.mark.parametrize("bits", [2, 4, 7, 8, 12, 16])
@pytest.mark.parametrize("kind", ["flat", "stripes", "rows", "ramp", "blocks", "noise", "dots", "walk"])
def test_every_kind_of_neighbors(kind: str, bits: int, error: int) -> None:
    """In each way to code a sample, with and without a loss; the encoder is another one."""
    top = (1 << bits) - 1
    if 2 * error > top:
        error = 0
    for width, height in SIZES:
        stored = pattern(kind, width, height, top)
        spread = (stored * 65535 + top // 2) // top
        data = saved(deep_image(spread), options(bits_per_channel=bits, jpeg_ls_allowed_lossy_error=error))
        shown = samples(data).reshape(stored.shape)
        wide = 255 if bits <= 8 else 65535
        found = (shown * top + wide // 2) // wide
        assert np.abs(found - stored).max() <= error, (width, height)
        assert np.array_equal(shown, (found * wide + top // 2) // top)


@pytest.mark.parametrize("mode", list(JpegLsInterleaveMode))
@pytest.mark.parametrize("error", [0, 3])
@pytest.mark.parametrize("kinds", [("flat", "flat", "noise"), ("walk", "flat", "dots"), ("stripes", "rows", "blocks")])
def test_components_of_different_kinds(kinds: tuple[str, ...], error: int, mode: JpegLsInterleaveMode) -> None:
    for width, height in SIZES:
        picture = np.stack([pattern(kind, width, height, 255) for kind in kinds], -1).astype(np.uint8)
        data = saved(image_of(picture), options(jpeg_ls_interleave_mode=mode, jpeg_ls_allowed_lossy_error=error))
        assert np.abs(samples(data) - picture).max() <= error, (width, height)


@pytest.mark.parametrize(("thresholds", "reset"), [((1, 1, 1), 3), ((2, 5, 11), 8), ((4, 9, 25), 31),
                                                   ((30, 100, 255), 255), ((3, 7, 21), 64)])
@pytest.mark.parametrize("kind", ["noise", "walk", "dots", "ramp"])
def test_presets(kind: str, thresholds: tuple[int, int, int], reset: int) -> None:
    preset = JpegLsPresetCodingParameters()
    preset.maximum_sample_value, preset.reset_value = 255, reset
    preset.threshold1, preset.threshold2, preset.threshold3 = thresholds
    for width, height in SIZES:
        picture = pattern(kind, width, height, 255).astype(np.uint8)
        chosen = options(jpeg_ls_preset=preset, color_type=JpegCompressionColorMode.GRAYSCALE)
        assert np.array_equal(samples(saved(image_of(picture), chosen))[..., 0], picture), (width, height)
