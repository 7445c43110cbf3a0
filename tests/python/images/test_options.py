"""Save options: each has its effect in the file, and an option that cannot be honored is refused."""

from __future__ import annotations

import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, ImageOptionsBase, ResolutionSetting
from zelmor.imaging.fileformats.bmp import BitmapCompression
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode, JpegCompressionMode
from zelmor.imaging.fileformats.png import PngColorType, PngFilterType
from zelmor.imaging.fileformats.tiff.enums import (TiffByteOrder, TiffCompressions, TiffExpectedFormat,
                                                   TiffPhotometrics, TiffPredictor)
from zelmor.imaging.imageoptions import (ApngOptions, BigTiffOptions, BmpOptions, GifOptions, JpegOptions, PngOptions,
                                         TiffOptions, WebPOptions)

from support.image_oracles import (HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, pixels, read, smooth,
                                   worst, write)


def saved(tmp_path: Path, options: ImageOptionsBase, source: Pixels | None = None) -> Path:
    """Saves a picture with the options, under a name without a known extension."""
    image = Image.load(write(tmp_path / "source.png", smooth() if source is None else source))
    image.save(str(tmp_path / "saved"), options)
    return tmp_path / "saved"


def made(kind: Any, **properties: object) -> ImageOptionsBase:
    """Options with some properties set."""
    options = kind()
    for name, value in properties.items():
        setattr(options, name, value)
        assert getattr(options, name) == value
    return options


def original(image: Image, kind: Any) -> ImageOptionsBase:
    """The original options of an image, cast to their own class."""
    return kind._cast_to(image.get_original_options()).value


# ---- JPEG


def luminance_table(path: Path) -> list[int]:
    with Pillow.open(path) as picture:
        return picture.quantization[0]


def test_default_options_do_not_depend_on_the_arguments_of_a_drawing(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    expected = PngOptions._cast_to(image.get_original_options()).value
    for arguments in (None, [], [Color.white, 20, 30], [Color.white, 20.5, 30.0]):
        found = PngOptions._cast_to(image.get_default_options(arguments)).value
        assert (found.color_type, found.bit_depth) == (expected.color_type, expected.bit_depth)
    for arguments in ([1], [Color.white, 20], [Color.white, "20", 30], [None, 20, 30], [20, 20, 30]):
        with managed_error("ArgumentException", "a background color, a width and a height"):
            image.get_default_options(arguments)


def test_jpeg_quality_decides_on_size_and_fidelity(tmp_path: Path) -> None:
    sizes, errors = [], []
    for quality in (5, 30, 60, 90, 100):
        path = saved(tmp_path, made(JpegOptions, quality=quality))
        sizes.append(path.stat().st_size)
        errors.append(np.abs(read(path) - smooth()).mean())
        assert original(Image.load(str(path)), JpegOptions).quality == quality
    assert sizes == sorted(set(sizes))
    assert errors == sorted(errors, reverse=True)
    assert luminance_table(path) == [1] * 64


@pytest.mark.parametrize("quality", [0, 101, -5])
def test_jpeg_quality_outside_its_range(tmp_path: Path, quality: int) -> None:
    with managed_error("ArgumentOutOfRangeException", "Quality", str(quality), "1 and 100"):
        saved(tmp_path, made(JpegOptions, quality=quality))
    assert not (tmp_path / "saved").exists()


def test_jpeg_progressive(tmp_path: Path) -> None:
    for mode, progressive in ((JpegCompressionMode.BASELINE, False), (JpegCompressionMode.PROGRESSIVE, True)):
        path = saved(tmp_path, made(JpegOptions, compression_type=mode))
        with Pillow.open(path) as picture:
            assert bool(picture.info.get("progressive")) == progressive
        assert original(Image.load(str(path)), JpegOptions).compression_type == mode


@pytest.mark.parametrize("color, mode", [(JpegCompressionColorMode.GRAYSCALE, "L"),
                                         (JpegCompressionColorMode.Y_CB_CR, "RGB"),
                                         (JpegCompressionColorMode.CMYK, "CMYK")])
def test_jpeg_color_types(tmp_path: Path, color: JpegCompressionColorMode, mode: str) -> None:
    path = saved(tmp_path, made(JpegOptions, color_type=color))
    with Pillow.open(path) as picture:
        assert picture.mode == mode
    assert original(Image.load(str(path)), JpegOptions).color_type == color


@pytest.mark.parametrize("properties", [
    {"compression_type": JpegCompressionMode.LOSSLESS, "color_type": JpegCompressionColorMode.YCCK},
    {"bits_per_channel": 12},
    {"compression_type": JpegCompressionMode.PROGRESSIVE, "bits_per_channel": 12},
    {"compression_type": JpegCompressionMode.JPEG_LS, "color_type": JpegCompressionColorMode.YCCK},
])
def test_jpeg_settings_that_are_refused(tmp_path: Path, properties: dict[str, object]) -> None:
    with managed_error("NotSupportedException", "JpegOptions."):
        saved(tmp_path, made(JpegOptions, **properties))
    assert not (tmp_path / "saved").exists()


def test_jpeg_comment(tmp_path: Path) -> None:
    options = JpegOptions()
    options.comment = "taken in the rain — ü"
    path = saved(tmp_path, options)
    with Pillow.open(path) as picture:
        assert picture.info["comment"].decode() == "taken in the rain — ü"
    assert original(Image.load(str(path)), JpegOptions).comment == "taken in the rain — ü"


def test_jpeg_alpha(tmp_path: Path) -> None:
    source = np.zeros((16, 16, 4), np.uint8)
    source[..., 0] = 200
    for blend, expected in ((True, (255, 255, 255)), (False, (200, 0, 0))):
        path = saved(tmp_path, made(JpegOptions, preblend_alpha_if_present=blend, quality=100), source)
        assert np.abs(read(path)[8, 8] - expected).max() <= 3


# ---- PNG


@pytest.mark.parametrize("color, mode", [(PngColorType.GRAYSCALE, "L"), (PngColorType.TRUECOLOR, "RGB"),
                                         (PngColorType.INDEXED_COLOR, "P"), (PngColorType.GRAYSCALE_WITH_ALPHA, "LA"),
                                         (PngColorType.TRUECOLOR_WITH_ALPHA, "RGBA")])
def test_png_color_types(tmp_path: Path, color: PngColorType, mode: str) -> None:
    path = saved(tmp_path, made(PngOptions, color_type=color), few_colors())
    with Pillow.open(path) as picture:
        assert picture.mode == mode
        result = np.asarray(picture.convert("RGB")).astype(int)
    if "GRAY" not in color.name:
        assert worst(result, few_colors()) == 0
    assert original(Image.load(str(path)), PngOptions).color_type == color


@pytest.mark.parametrize("depth", [1, 2, 4, 8, 16])
def test_png_bit_depth(tmp_path: Path, depth: int) -> None:
    path = saved(tmp_path, made(PngOptions, color_type=PngColorType.GRAYSCALE, bit_depth=depth))
    assert path.read_bytes()[24] == depth
    assert Image.load(str(path)).bits_per_pixel == depth
    assert original(Image.load(str(path)), PngOptions).bit_depth == depth


def test_png_palettes_of_few_bits(tmp_path: Path) -> None:
    for depth in (1, 2, 4, 8):
        path = saved(tmp_path, made(PngOptions, color_type=PngColorType.INDEXED_COLOR, bit_depth=depth))
        assert path.read_bytes()[24:26] == bytes([depth, 3])
        colors = np.unique(read(path, "RGB").reshape(-1, 3), axis=0)
        assert 1 < len(colors) <= 2 ** depth


def test_png_interlaced(tmp_path: Path) -> None:
    for progressive in (False, True):
        path = saved(tmp_path, made(PngOptions, progressive=progressive), noise())
        assert path.read_bytes()[28] == progressive
        assert worst(read(path, "RGB"), noise()) == 0
        assert original(Image.load(str(path)), PngOptions).progressive == progressive


def test_png_compression_level(tmp_path: Path) -> None:
    sizes = []
    for level in (0, 1, 9):
        path = saved(tmp_path, made(PngOptions, compression_level=level))
        sizes.append(path.stat().st_size)
        assert worst(read(path, "RGB"), smooth()) == 0
    assert sizes[0] > WIDTH * HEIGHT * 3
    assert sizes[2] <= sizes[1] < sizes[0]


@pytest.mark.parametrize("kind", PngFilterType)
def test_png_filters(tmp_path: Path, kind: PngFilterType) -> None:
    import zlib
    path = saved(tmp_path, made(PngOptions, filter_type=kind, color_type=PngColorType.TRUECOLOR))
    assert worst(read(path), smooth()) == 0
    data, at, packed = path.read_bytes(), 8, b""
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        packed += data[at + 8:at + 8 + length] if name == b"IDAT" else b""
        at += 12 + length
    filters = set(zlib.decompress(packed)[::WIDTH * 3 + 1])
    if kind == PngFilterType.ADAPTIVE:
        assert len(filters) > 1
    else:
        assert filters - {0} <= {int(kind)}  # the first row has none above it
        assert int(kind) in filters


@pytest.mark.parametrize("name, value", [("compression_level", 10), ("compression_level", -1), ("bit_depth", 3),
                                         ("bit_depth", 32)])
def test_png_settings_outside_their_range(tmp_path: Path, name: str, value: int) -> None:
    with managed_error("ArgumentOutOfRangeException", str(value), name.title().replace("_", "")):
        saved(tmp_path, made(PngOptions, **{name: value}))


def test_png_depths_that_do_not_go_together(tmp_path: Path) -> None:
    with managed_error("ImageSaveException", "4 bits"):
        saved(tmp_path, made(PngOptions, bit_depth=4, color_type=PngColorType.TRUECOLOR))


def test_an_animation_of_one_frame_is_a_png(tmp_path: Path) -> None:
    path = saved(tmp_path, ApngOptions())
    with Pillow.open(path) as picture:
        assert (picture.format, getattr(picture, "n_frames", 1)) == ("PNG", 1)


# ---- BMP


@pytest.mark.parametrize("bits, mode", [(1, "P"), (4, "P"), (8, "P"), (16, "RGB"), (24, "RGB"), (32, "RGB")])
def test_bmp_bits_per_pixel(tmp_path: Path, bits: int, mode: str) -> None:
    source = few_colors(2 if bits == 1 else 16)
    path = saved(tmp_path, made(BmpOptions, bits_per_pixel=bits), source)
    assert struct.unpack_from("<H", path.read_bytes(), 28)[0] == bits
    with Pillow.open(path) as picture:
        assert picture.mode in (mode, "1")
    assert worst(read(path, "RGB"), source) <= (5 if bits == 16 else 0)
    image = Image.load(str(path))
    assert image.bits_per_pixel == bits
    assert worst(pixels(image, tmp_path), source) <= (4 if bits == 16 else 0)
    assert original(image, BmpOptions).bits_per_pixel == bits


@pytest.mark.parametrize("compression, bits", [(BitmapCompression.RLE8, 8), (BitmapCompression.RLE4, 4),
                                               (BitmapCompression.BITFIELDS, 16), (BitmapCompression.BITFIELDS, 32)])
def test_bmp_compression(tmp_path: Path, compression: BitmapCompression, bits: int) -> None:
    path = saved(tmp_path, made(BmpOptions, bits_per_pixel=bits, compression=compression), few_colors())
    assert struct.unpack_from("<I", path.read_bytes(), 30)[0] == compression
    image = load(path)
    assert worst(pixels(image, tmp_path), few_colors()) <= (4 if bits == 16 else 0)
    assert original(image, BmpOptions).compression == compression
    if compression != BitmapCompression.RLE4:  # which Pillow cannot read
        assert worst(read(path, "RGB"), few_colors()) <= (5 if bits == 16 else 0)


def test_bmp_with_alpha(tmp_path: Path) -> None:
    path = saved(tmp_path, made(BmpOptions, bits_per_pixel=32), noise(4))
    assert worst(read(path, "RGBA"), noise(4)) == 0
    assert worst(pixels(load(path), tmp_path, "RGBA"), noise(4)) == 0


def test_bmp_settings_that_are_refused(tmp_path: Path) -> None:
    with managed_error("NotSupportedException", "BmpOptions.Compression"):
        saved(tmp_path, made(BmpOptions, compression=BitmapCompression.JPEG))
    with managed_error("ImageSaveException", "7 bits"):
        saved(tmp_path, made(BmpOptions, bits_per_pixel=7))
    with managed_error("ImageSaveException", "24 bits"):
        saved(tmp_path, made(BmpOptions, compression=BitmapCompression.RLE8))


# ---- GIF


def test_gif_interlaced_and_palette(tmp_path: Path) -> None:
    for interlaced in (False, True):
        path = saved(tmp_path, made(GifOptions, interlaced=interlaced), few_colors())
        assert worst(read(path, "RGB"), few_colors()) == 0
        assert original(Image.load(str(path)), GifOptions).interlaced == interlaced
    path = saved(tmp_path, made(GifOptions, color_resolution=3))
    assert len(np.unique(read(path, "RGB").reshape(-1, 3), axis=0)) <= 16
    assert original(Image.load(str(path)), GifOptions).color_resolution <= 3


def test_gif_loops(tmp_path: Path) -> None:
    with Pillow.open(saved(tmp_path, made(GifOptions, loops_count=7), few_colors())) as picture:
        assert picture.info["loop"] in (6, 7)  # written as the number of repetitions after the first


@pytest.mark.parametrize("name, value", [("max_diff", 5)])
def test_gif_settings_that_are_refused(tmp_path: Path, name: str, value: object) -> None:
    with managed_error("NotSupportedException", "GifOptions."):
        saved(tmp_path, made(GifOptions, **{name: value}))


# ---- WebP


def test_webp_lossless_and_lossy(tmp_path: Path) -> None:
    path = saved(tmp_path, made(WebPOptions, lossless=True), noise())
    assert worst(read(path, "RGB"), noise()) == 0
    assert b"VP8L" in path.read_bytes()
    assert original(Image.load(str(path)), WebPOptions).lossless
    sizes = []
    for quality in (5.0, 50.0, 95.0):
        path = saved(tmp_path, made(WebPOptions, lossless=False, quality=quality))
        assert b"VP8 " in path.read_bytes()
        assert np.abs(read(path, "RGB") - smooth()).mean() < 8
        sizes.append(path.stat().st_size)
    assert sizes == sorted(set(sizes))
    assert not original(Image.load(str(path)), WebPOptions).lossless


@pytest.mark.parametrize("quality", [-1.0, 100.5, float("nan")])
def test_webp_quality_outside_its_range(quality: float) -> None:
    options = WebPOptions()
    with managed_error("ArgumentOutOfRangeException", "WebPOptions.Quality"):
        options.quality = quality
    assert options.quality == 75.0


# ---- TIFF


@pytest.mark.parametrize("expected, compression, mode", [
    (TiffExpectedFormat.DEFAULT, 5, "RGB"), (TiffExpectedFormat.TIFF_LZW_BW, 5, "1"),
    (TiffExpectedFormat.TIFF_LZW_RGB, 5, "RGB"), (TiffExpectedFormat.TIFF_LZW_RGBA, 5, "RGBA"),
    (TiffExpectedFormat.TIFF_LZW_CMYK, 5, "CMYK"), (TiffExpectedFormat.TIFF_CCITT_FAX4, 4, "1"),
    (TiffExpectedFormat.TIFF_DEFLATE_RGB, 8, "RGB"), (TiffExpectedFormat.TIFF_DEFLATE_RGBA, 8, "RGBA"),
    (TiffExpectedFormat.TIFF_NO_COMPRESSION_BW, 1, "1"), (TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB, 1, "RGB"),
    (TiffExpectedFormat.TIFF_NO_COMPRESSION_RGBA, 1, "RGBA"), (TiffExpectedFormat.TIFF_JPEG_Y_CB_CR, 7, "RGB"),
])
@pytest.mark.parametrize("order", TiffByteOrder)
def test_tiff_expected_formats(tmp_path: Path, expected: TiffExpectedFormat, compression: int, mode: str,
                               order: TiffByteOrder) -> None:
    options = TiffOptions(expected, order)
    assert options.compression == TiffCompressions(compression)
    path = saved(tmp_path, options, few_colors())
    assert path.read_bytes()[:2] == (b"MM" if order == TiffByteOrder.BIG_ENDIAN else b"II")
    with Pillow.open(path) as picture:
        assert picture.mode == mode
        assert picture.tag_v2[259] == compression
        result = np.asarray(picture.convert("RGB")).astype(int)
    if "RGB" in mode and compression != 7:
        assert worst(result, few_colors()) == 0
    image = load(path)
    assert (image.width, image.height) == (WIDTH, HEIGHT)
    if "RGB" in mode and compression != 7:
        assert worst(pixels(image, tmp_path), few_colors()) == 0


def test_tiff_settings(tmp_path: Path) -> None:
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    assert options.byte_order == TiffByteOrder.LITTLE_ENDIAN
    options.predictor = TiffPredictor.HORIZONTAL
    options.tile_width = options.tile_length = 32
    path = saved(tmp_path, options)
    with Pillow.open(path) as picture:
        assert (picture.tag_v2[317], picture.tag_v2[322], picture.tag_v2[323]) == (2, 32, 32)
    assert worst(read(path), smooth()) == 0
    again = original(Image.load(str(path)), TiffOptions)
    assert (again.predictor, again.compression) == (TiffPredictor.HORIZONTAL, TiffCompressions.LZW)
    assert again.tile_width == 32
    image = Image.load(str(path))
    image.save(str(tmp_path / "again.tif"), again)
    assert worst(read(tmp_path / "again.tif"), smooth()) == 0


def test_tiff_samples_given_as_a_list(tmp_path: Path) -> None:
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    options.photometric = TiffPhotometrics.MIN_IS_BLACK
    options.bits_per_sample = [8]
    with Pillow.open(saved(tmp_path, options)) as picture:
        assert picture.mode == "L"
    options.bits_per_sample = [8, 8, 4]
    with managed_error("NotSupportedException", "BitsPerSample"):
        saved(tmp_path, options)


def test_tiff_jpeg_quality(tmp_path: Path) -> None:
    sizes = []
    for quality in (10, 85):
        options = TiffOptions(TiffExpectedFormat.TIFF_JPEG_Y_CB_CR)
        options.compressed_quality = quality
        sizes.append(saved(tmp_path, options).stat().st_size)
    assert sizes[0] < sizes[1]


def test_big_tiff(tmp_path: Path) -> None:
    path = saved(tmp_path, BigTiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
    assert path.read_bytes()[:4] == b"II+\0"
    from zelmor.imaging import FileFormat
    image = load(path)
    assert image.file_format == FileFormat.BIG_TIFF
    assert worst(pixels(image, tmp_path), smooth()) == 0


def test_tiff_color_maps_are_refused(tmp_path: Path) -> None:
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    options.color_map = [0, 1, 2]
    with managed_error("NotSupportedException", "TiffOptions.ColorMap"):
        saved(tmp_path, options)


# ---- all formats


@pytest.mark.parametrize("kind", [BmpOptions, JpegOptions, PngOptions])
def test_resolution_settings(tmp_path: Path, kind: Any) -> None:
    options = kind()
    options.resolution_settings = ResolutionSetting(200.0, 400.0)
    with Pillow.open(saved(tmp_path, options)) as picture:
        density = picture.info["jfif_density" if kind is JpegOptions else "dpi"]
        assert density == pytest.approx((200, 400), abs=0.6)
    options.resolution_settings = ResolutionSetting(0.0, 400.0)
    with managed_error("ArgumentOutOfRangeException", "ResolutionSettings"):
        saved(tmp_path, options)


def test_original_options_carry_the_resolution(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise(), dpi=(300, 300)))
    setting = image.get_original_options().resolution_settings
    assert setting.horizontal_resolution == pytest.approx(300, abs=0.6)


@pytest.mark.parametrize("kind", [BmpOptions, GifOptions, JpegOptions, PngOptions, WebPOptions])
def test_options_are_cloned(kind: Any) -> None:
    options = kind()
    options.buffer_size_hint = 7
    copy = kind._cast_to(options.clone()).value
    copy.buffer_size_hint = 8
    assert (options.buffer_size_hint, copy.buffer_size_hint) == (7, 8)


@pytest.mark.parametrize("extension, kind", [("bmp", BmpOptions), ("gif", GifOptions), ("jpg", JpegOptions),
                                             ("png", PngOptions), ("tif", TiffOptions), ("webp", WebPOptions)])
def test_original_options_save_the_image_again(tmp_path: Path, extension: str, kind: Any) -> None:
    path = write(tmp_path / f"a.{extension}", smooth() if extension == "jpg" else few_colors())
    image = Image.load(path)
    options = image.get_original_options()
    assert kind._cast_to(options).value is not None
    image.save(str(tmp_path / "b"), options)
    assert Image.get_file_format(str(tmp_path / "b")) == image.file_format
    tolerance = 12 if extension == "jpg" else 0
    if extension != "webp":  # Pillow's file was lossy already
        assert worst(read(tmp_path / "b", "RGB"), read(path, "RGB")) <= tolerance


class TestOptionsThatWereNotSet:
    """New PngOptions keep the color type and the depth of the picture, though they show what a new image has."""

    @pytest.mark.parametrize("mode", ["1", "L", "LA", "RGB", "RGBA", "I;16", "P"])
    def test_a_picture_keeps_its_form(self, tmp_path: Path, mode: str) -> None:
        pixels = noise(1)[..., 0] if mode in ("1", "L", "I;16", "P") else noise(len(mode))
        picture = {"1": lambda: Pillow.fromarray(pixels > 127), "P": lambda: Pillow.fromarray(pixels).quantize(16),
                   "I;16": lambda: Pillow.fromarray(pixels.astype(np.uint16) * 255 + 3)}.get(
            mode, lambda: Pillow.fromarray(pixels))()
        picture.save(tmp_path / "a.png")
        Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "b.png"), PngOptions())
        headers = [Path(tmp_path / name).read_bytes()[24:26] for name in ("a.png", "b.png")]
        assert headers[0] == headers[1]
        with Pillow.open(tmp_path / "b.png") as saved, Pillow.open(tmp_path / "a.png") as before:
            assert np.array_equal(np.asarray(saved), np.asarray(before))

    def test_what_is_set_counts(self, tmp_path: Path) -> None:
        options = PngOptions()
        assert options.color_type == PngColorType.TRUECOLOR_WITH_ALPHA and options.bit_depth == 8
        options.color_type = PngColorType.TRUECOLOR_WITH_ALPHA
        path = write(tmp_path / "a.png", noise())
        for number, chosen in enumerate((options, PngOptions(options))):
            Image.load(path).save(str(tmp_path / f"{number}.png"), chosen)
            with Pillow.open(tmp_path / f"{number}.png") as saved:
                assert saved.mode == "RGBA"
        options = PngOptions()
        options.bit_depth = 8
        Pillow.fromarray(np.full((4, 4), 0x1234, np.uint16)).save(tmp_path / "deep.png")
        Image.load(str(tmp_path / "deep.png")).save(str(tmp_path / "flat.png"), options)
        with Pillow.open(tmp_path / "flat.png") as saved:
            assert saved.mode == "L"
