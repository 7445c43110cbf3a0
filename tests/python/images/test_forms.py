"""A picture keeps the form of its file until an operation needs another one: depth, indices, floating samples, profile.

Files of 16 bits are built and read here, chunk by chunk; colors are compared with ImageCms.
"""

from __future__ import annotations

import io
import struct
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import (
    Color, ColorPalette, Graphics, Image, LoadOptions, Pen, PixelDataFormat, RasterImage, RawDataSettings, Rectangle,
    ResizeType, RotateFlipType)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
from zelmor.imaging.sources import StreamSource

from support.image_oracles import (HEIGHT, WIDTH, Pixels, load, managed_error, noise, raster, read, smooth, worst,
                                   write)

WHOLE = Rectangle(0, 0, WIDTH, HEIGHT)


def deep(bands: int = 3, seed: int = 1) -> Pixels:
    """Noise of 16 bits."""
    return np.random.default_rng(seed).integers(0, 65536, (HEIGHT, WIDTH, bands)).astype(np.uint16)


def png16(path: Path, source: Pixels) -> str:
    """A PNG file of 16 bits, without filters."""
    color_type = {1: 0, 2: 4, 3: 2, 4: 6}[source.shape[2]]
    rows = b"".join(b"\0" + row.astype(">u2").tobytes() for row in source)

    def chunk(name: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    header = struct.pack(">IIBBBBB", source.shape[1], source.shape[0], 16, color_type, 0, 0, 0)
    path.write_bytes(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows))
                     + chunk(b"IEND", b""))
    return str(path)


def unfiltered(kind: int, row: Pixels, above: Pixels, step: int) -> Pixels:
    """A row of a PNG file without its filter."""
    out = row.astype(int)
    for i in range(len(out)):
        left = out[i - step] if i >= step else 0
        corner = above[i - step] if i >= step else 0
        guess = left + above[i] - corner
        nearest = min((left, above[i], corner), key=lambda value: abs(guess - value))
        out[i] = (out[i] + (0, left, above[i], (left + above[i]) // 2, nearest)[kind]) % 256
    return out


def read_png16(path: Path) -> Pixels:
    """The samples of a PNG file of 16 bits, and nothing else: another depth fails."""
    data = path.read_bytes()
    at, body, bands = 8, b"", 0
    while at < len(data):
        length, name = struct.unpack_from(">I4s", data, at)
        if name == b"IHDR":
            width, height, depth, color_type, _, _, interlaced = struct.unpack_from(">IIBBBBB", data, at + 8)
            assert (depth, interlaced) == (16, 0)
            bands = {0: 1, 4: 2, 2: 3, 6: 4}[color_type]
        if name == b"IDAT":
            body += data[at + 8:at + 8 + length]
        at += 12 + length
    lines = np.frombuffer(zlib.decompress(body), np.uint8).reshape(height, -1)
    rows, above = [], np.zeros(lines.shape[1] - 1, int)
    for line in lines:
        above = unfiltered(int(line[0]), line[1:], above, 2 * bands)
        rows.append(above)
    return np.array(rows, np.uint8).view(">u2").reshape(height, width, bands).astype(np.uint16)


def wide(image: RasterImage) -> Pixels:
    """Red, green, blue and alpha of 16 bits."""
    words = np.array(list(image.load_argb_64_pixels(WHOLE)), np.int64).view(np.uint64).reshape(HEIGHT, WIDTH)
    return np.stack([words >> 32 & 0xFFFF, words >> 16 & 0xFFFF, words & 0xFFFF, words >> 48], -1).astype(np.uint16)


def same(a: Pixels, b: Pixels) -> bool:
    """Whether all samples are alike."""
    return a.shape == b.shape and bool((a == b).all())


# ---- 16 bits


@pytest.mark.parametrize("bands", [1, 2, 3, 4])
def test_16_bits_come_back(tmp_path: Path, bands: int) -> None:
    image = load(png16(tmp_path / "a.png", deep(bands)))
    assert image.bits_per_pixel == 16 * bands
    image.save(str(tmp_path / "b.png"))
    assert same(read_png16(tmp_path / "b.png"), deep(bands))


@pytest.mark.parametrize("bands", [1, 3, 4])
def test_16_bits_cross_as_raw_data(tmp_path: Path, bands: int) -> None:
    image = load(png16(tmp_path / "a.png", deep(bands)))
    data = bytes(image.get_default_raw_data(WHOLE, image.raw_data_settings))
    assert same(np.frombuffer(data, "<u2").reshape(deep(bands).shape), deep(bands))
    image.save_raw_data(deep(bands, 2).astype("<u2").tobytes(), 0, WHOLE, image.raw_data_settings)
    image.save(str(tmp_path / "b.png"))
    assert same(read_png16(tmp_path / "b.png"), deep(bands, 2))


def test_16_bits_are_written_through_another_layout(tmp_path: Path) -> None:
    image = load(png16(tmp_path / "a.png", deep(3)))
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.get_rgba(16)
    source = deep(4, 3)
    image.save_raw_data(source.astype("<u2").tobytes(), 0, WHOLE, settings)
    assert same(wide(image)[..., :3], source[..., :3])


@pytest.mark.parametrize("bands", [1, 3, 4])
def test_drawing_keeps_16_bits(tmp_path: Path, bands: int) -> None:
    source = deep(bands)
    image = load(png16(tmp_path / "a.png", source))
    graphics = Graphics(image)
    graphics.fill_rectangle(SolidBrush(Color.from_argb(255, 64, 64, 64)), Rectangle(10, 5, 20, 10))
    graphics.fill_rectangle(SolidBrush(Color.from_argb(51, 255, 255, 255)), Rectangle(40, 5, 10, 10))  # a fifth
    image.save(str(tmp_path / "b.png"))
    expected = source.astype(float)
    colors = 1 if bands == 1 else 3
    expected[5:15, 10:30] = 64 * 257 if bands < 4 else (64 * 257,) * 3 + (65535,)
    part = expected[5:15, 40:50]
    if bands < 4:
        part[:] = part * 0.8 + 65535 * 0.2
    else:
        alpha = part[..., 3:] / 65535
        whole = 0.2 + alpha * 0.8
        part[..., :3] = (part[..., :3] * alpha * 0.8 + 65535 * 0.2) / whole
        part[..., 3:] = whole * 65535
    got = read_png16(tmp_path / "b.png").astype(float)
    assert got.shape[2] == bands
    assert np.abs(got - expected)[..., :colors].max() <= 257  # what drawing in 8 bits rounds
    outside = np.ones(got.shape[:2], bool)
    outside[5:15, 10:30] = outside[5:15, 40:50] = False
    assert same(got[outside], source[outside].astype(float))


def test_a_color_makes_16_bits_of_gray_rgb(tmp_path: Path) -> None:
    image = load(png16(tmp_path / "a.png", deep(1)))
    image.set_pixel(1, 0, Color.red)
    assert image.bits_per_pixel == 48
    expected = np.repeat(deep(1), 3, -1)
    expected[0, 1] = (65535, 0, 0)
    assert same(wide(image)[..., :3], expected)


# ---- few bits and indices


@pytest.mark.parametrize("bits", [1, 2, 4])
def test_gray_of_few_bits_follows_what_is_put_in(tmp_path: Path, bits: int) -> None:
    options = PngOptions()
    options.color_type, options.bit_depth = PngColorType.GRAYSCALE, bits
    load(write(tmp_path / "a.png", noise(1))).save(str(tmp_path / "b.png"), options)
    image = load(tmp_path / "b.png")
    assert image.bits_per_pixel == bits
    image.set_pixel(0, 0, Color.white)  # a level of every depth
    image.set_pixel(1, 0, Color.from_argb(255, 7, 7, 7))
    assert image.bits_per_pixel == 8
    assert image.get_pixel(1, 0).r == 7
    image.set_pixel(1, 0, Color.red)
    assert image.bits_per_pixel == 24


def gray_of_few_bits(tmp_path: Path, bits: int) -> tuple[RasterImage, Pixels]:
    """A gray image of so many bits, and its pixels in 8 bits."""
    options = PngOptions()
    options.color_type, options.bit_depth = PngColorType.GRAYSCALE, bits
    load(write(tmp_path / "a.png", noise(1))).save(str(tmp_path / "b.png"), options)
    image = load(tmp_path / "b.png")
    assert image.bits_per_pixel == bits
    return image, read(tmp_path / "b.png", "L")


@pytest.mark.parametrize("bits", [1, 2, 4])
@pytest.mark.parametrize(("level", "fits"), [(0, True), (255, True), (7, False), (200, False)])
def test_gray_of_few_bits_takes_a_background(tmp_path: Path, bits: int, level: int, fits: bool) -> None:
    image, before = gray_of_few_bits(tmp_path, bits)
    image.rotate(90.0, False, Color.from_argb(255, level, level, level))
    assert image.bits_per_pixel == (bits if fits else 8)
    image.save(str(tmp_path / "c.png"), PngOptions())
    found = read(tmp_path / "c.png", "L")
    height, width = before.shape
    left = (width - height) // 2
    assert (found[:, :left] == level).all() and (found[:, left + height:] == level).all()
    turned = np.rot90(before, -1)
    top = (width - height) // 2
    assert same(found[:, left:left + height], turned[top:top + height])


@pytest.mark.parametrize("bits", [1, 2, 4])
def test_gray_of_few_bits_takes_words(tmp_path: Path, bits: int) -> None:
    """Raw data of 16 bits is rounded to 8 bits; levels of the picture's depth keep it, others make 8 bits of it."""
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.get_grayscale(16)
    size, step = WIDTH * HEIGHT, 65535 // (2**bits - 1)
    levels = (np.arange(size) % 2**bits * step).astype("<u2")
    for word, expected in ((None, bits), (7 * 257, 8), (step // 3, 8), (128, bits), (129, 8)):
        words = levels.copy()
        if word is not None:
            words[5] = word
        image, _ = gray_of_few_bits(tmp_path, bits)
        image.save_raw_data(words.tobytes(), 0, WHOLE, settings)
        assert image.bits_per_pixel == expected, word
        image.save(str(tmp_path / "c.png"), PngOptions())
        assert same(read(tmp_path / "c.png", "L").ravel(), np.rint(words / 257).astype(int)), word


def indexed(path: Path, transparent: bool = False) -> tuple[str, Pixels, Pixels]:
    """A PNG file with a palette that has one color twice; its indices and its palette."""
    table = np.random.default_rng(3).integers(0, 256, (16, 3), dtype=np.uint8)
    table[9] = table[2]
    indices = np.random.default_rng(4).integers(0, 16, (HEIGHT, WIDTH), dtype=np.uint8)
    picture = Pillow.fromarray(indices, "P")
    picture.putpalette(table.tobytes())
    picture.save(path, **({"transparency": 0} if transparent else {}))
    return str(path), indices, table


def test_geometry_moves_indices(tmp_path: Path) -> None:
    path, indices, table = indexed(tmp_path / "a.png")
    image = load(path)
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_X)
    image.crop(Rectangle(2, 3, 30, 20))
    image.resize(60, 40, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert image.use_palette
    colors = np.array([(c.r, c.g, c.b) for c in image.load_pixels(image.bounds)]).reshape(40, 60, 3)
    turned = np.rot90(table[indices], -1)[:, ::-1][3:23, 2:32]
    assert worst(colors, np.repeat(np.repeat(turned, 2, 0), 2, 1)) == 0


def test_colors_of_the_palette_keep_it(tmp_path: Path) -> None:
    path, _, table = indexed(tmp_path / "a.png")
    image = load(path)
    color = Color.from_argb(255, *(int(x) for x in table[5]))
    image.set_pixel(0, 0, color)
    Graphics(image).draw_line(Pen(color, 1), 0, 10, 30, 10)
    assert image.use_palette
    palette = image.palette
    assert palette is not None
    assert palette.entries_count == 16
    image.set_pixel(0, 0, Color.from_argb(255, 1, 2, 3))
    assert not image.use_palette
    assert image.bits_per_pixel == 24


def test_a_resampled_palette_is_true_color(tmp_path: Path) -> None:
    for transparent, bits in ((False, 24), (True, 32)):
        image = load(indexed(tmp_path / "a.png", transparent)[0])
        image.resize(30, 20, ResizeType.BILINEAR_RESAMPLE)
        assert not image.use_palette
        assert image.bits_per_pixel == bits


def test_no_palette_leaves_the_colors(tmp_path: Path) -> None:
    path, indices, table = indexed(tmp_path / "a.png")
    image = load(path)
    image.palette = None
    assert not image.use_palette
    colors = np.array([(c.r, c.g, c.b) for c in image.load_pixels(WHOLE)]).reshape(HEIGHT, WIDTH, 3)
    assert worst(colors, table[indices]) == 0


def test_raw_indices_are_those_of_the_image(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    palette = ColorPalette([-0x1000000 | value * 0x010101 for value in range(256)])
    image.set_palette(palette, True)
    data = bytes(image.get_default_raw_data(WHOLE, image.raw_data_settings))
    assert len(data) == WIDTH * HEIGHT
    image.save_raw_data(data[::-1], 0, WHOLE, image.raw_data_settings)
    assert bytes(image.get_default_raw_data(WHOLE, image.raw_data_settings)) == data[::-1]


# ---- transparency


def test_transparency_makes_an_alpha(tmp_path: Path) -> None:
    source = noise()
    source[:9] = 255
    image = load(write(tmp_path / "a.png", source))
    image.replace_color(Color.white, 0, Color.transparent)
    assert image.has_alpha
    assert image.bits_per_pixel == 32
    image.save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as picture:
        assert picture.mode == "RGBA"
        assert worst(np.asarray(picture)[..., 3], np.where((source == 255).all(-1), 0, 255)) == 0
    turned = load(write(tmp_path / "c.png", noise()))
    turned.rotate(30, True, Color.transparent)
    assert turned.has_alpha
    assert turned.get_pixel(0, 0).a == 0
    plain = load(write(tmp_path / "d.png", noise()))
    plain.replace_color(Color.white, 0, Color.black)
    plain.rotate(30, True, Color.white)
    assert not plain.has_alpha


# ---- drawing that nobody ended


def test_an_update_that_is_not_ended_is_saved(tmp_path: Path) -> None:
    for path in (write(tmp_path / "a.png", np.full((HEIGHT, WIDTH, 3), 255, np.uint8)),
                 png16(tmp_path / "a16.png", np.full((HEIGHT, WIDTH, 3), 65535, np.uint16))):
        image = load(path)
        graphics = Graphics(image)
        graphics.begin_update()
        graphics.fill_rectangle(SolidBrush(Color.red), Rectangle(5, 5, 10, 10))
        image.save(str(tmp_path / "b.png"))
        assert load(tmp_path / "b.png").get_pixel(7, 7) == Color.from_argb(255, 255, 0, 0)
        graphics.fill_rectangle(SolidBrush(Color.from_argb(128, 0, 0, 255)), Rectangle(20, 5, 10, 10))
        del graphics
        image.save(str(tmp_path / "b.png"))
        image.save(str(tmp_path / "c.png"))  # and is not laid over itself by a second save
        for name in ("b.png", "c.png"):
            saved = load(tmp_path / name)
            assert saved.get_pixel(7, 7) == Color.from_argb(255, 255, 0, 0)
            color = saved.get_pixel(25, 7)
            assert (color.r, color.g, color.b) == (127, 127, 255)


def test_an_operation_finds_the_update(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", np.full((HEIGHT, WIDTH, 3), 255, np.uint8)))
    graphics = Graphics(image)
    graphics.begin_update()
    graphics.fill_rectangle(SolidBrush(Color.red), Rectangle(0, 0, 10, 10))
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    assert image.get_pixel(WIDTH - 1, 0) == Color.from_argb(255, 255, 0, 0)
    graphics.end_update()
    assert image.get_pixel(0, 0) == Color.from_argb(255, 255, 255, 255)


# ---- profiles


def other_rgb() -> bytes:
    """A profile with other primaries than sRGB: red and green exchanged would show at once, so these are near."""
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    for tag, other in ((b"rXYZ", (0.6097, 0.3111, 0.0195)), (b"gXYZ", (0.2053, 0.6257, 0.0609)),
                       (b"bXYZ", (0.1492, 0.0632, 0.7446))):
        at = profile.index(tag)
        offset = struct.unpack_from(">I", profile, at + 4)[0]
        numbers = b"".join(struct.pack(">i", round(value * 65536)) for value in other)
        profile = profile[:offset + 8] + numbers + profile[offset + 20:]
    ImageCms.ImageCmsProfile(io.BytesIO(profile))
    return profile


def in_srgb(source: Pixels, profile: bytes) -> Pixels:
    """The colors in sRGB."""
    return np.asarray(ImageCms.profileToProfile(
        Pillow.fromarray(source), io.BytesIO(profile), ImageCms.createProfile("sRGB"),
        renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC))


def test_a_profile_is_kept_and_embedded(tmp_path: Path) -> None:
    profile = other_rgb()
    path = write(tmp_path / "a.png", smooth(), icc_profile=profile)
    image = load(path)
    image.crop(Rectangle(0, 0, 30, 20))
    for name in ("b.png", "b.jpg", "b.webp", "b.tif"):
        image.save(str(tmp_path / name))
        with Pillow.open(tmp_path / name) as picture:
            assert picture.info.get("icc_profile") == profile, name


def test_a_format_without_profiles_gets_srgb(tmp_path: Path) -> None:
    profile = other_rgb()
    image = load(write(tmp_path / "a.png", smooth(), icc_profile=profile))
    image.save(str(tmp_path / "b.bmp"))
    with Pillow.open(tmp_path / "b.bmp") as picture:
        assert worst(np.asarray(picture), in_srgb(smooth(), profile)) <= 1
    assert worst(smooth(), in_srgb(smooth(), profile)) > 20  # the profile matters


def test_conversion_on_loading(tmp_path: Path) -> None:
    profile = other_rgb()
    path = write(tmp_path / "a.png", smooth(), icc_profile=profile)
    options = LoadOptions()
    options.use_icc_profile_conversion = True
    image = raster(Image.load(path, options))
    image.save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as picture:
        assert "icc_profile" not in picture.info
        assert worst(np.asarray(picture), in_srgb(smooth(), profile)) <= 1


def jpeg(path: Path, **options: Any) -> Any:
    """A JPEG image of the soft waves."""
    made, image = JpegImage._cast_to(Image.load(write(path, smooth(), quality=98, subsampling=0, **options)))
    assert made
    return image


def test_a_given_profile_says_what_the_numbers_mean(tmp_path: Path) -> None:
    profile = other_rgb()
    image = jpeg(tmp_path / "a.jpg")
    image.rgb_color_profile = StreamSource(io.BytesIO(profile))
    image.save(str(tmp_path / "b.bmp"))
    with Pillow.open(tmp_path / "a.jpg") as picture:
        decoded = np.asarray(picture)
    with Pillow.open(tmp_path / "b.bmp") as picture:
        assert worst(np.asarray(picture), in_srgb(decoded, profile)) <= 2


def test_an_embedded_profile_can_be_ignored(tmp_path: Path) -> None:
    profile = other_rgb()
    image = jpeg(tmp_path / "a.jpg", icc_profile=profile)
    image.ignore_embedded_color_profile = True
    image.save(str(tmp_path / "b.bmp"))
    with Pillow.open(tmp_path / "a.jpg") as picture:
        decoded = np.asarray(picture)
    with Pillow.open(tmp_path / "b.bmp") as picture:
        assert worst(np.asarray(picture), decoded) <= 1
    image.ignore_embedded_color_profile = False
    image.save(str(tmp_path / "c.jpg"))
    with Pillow.open(tmp_path / "c.jpg") as picture:
        assert picture.info["icc_profile"] == profile


def test_a_target_profile_converts_the_colors(tmp_path: Path) -> None:
    profile = other_rgb()
    options = JpegOptions()
    options.quality = 100
    options.rgb_color_profile = StreamSource(io.BytesIO(profile))
    load(write(tmp_path / "a.png", smooth())).save(str(tmp_path / "b.jpg"), options)
    with Pillow.open(tmp_path / "b.jpg") as picture:
        assert picture.info["icc_profile"] == profile
        back = in_srgb(np.asarray(picture.convert("RGB")), profile)
    assert np.abs(back.astype(int) - smooth()).mean() < 4
    options.rgb_color_profile = StreamSource(io.BytesIO(b"no profile"))
    with managed_error("ImageSaveException", "color profile"):
        load(tmp_path / "a.png").save(str(tmp_path / "c.jpg"), options)


# ---- floating samples


def test_floating_samples_stay(tmp_path: Path) -> None:
    source = np.linspace(-0.5, 1.5, WIDTH * HEIGHT, dtype=np.float32).reshape(HEIGHT, WIDTH)
    Pillow.fromarray(source, "F").save(tmp_path / "a.tif")
    image = load(tmp_path / "a.tif")
    assert image.bits_per_pixel == 32
    seen = np.array([color.r for color in image.load_pixels(WHOLE)]).reshape(HEIGHT, WIDTH)
    assert np.abs(seen - np.clip(source, 0, 1) * 255).max() <= 0.51
    image.save(str(tmp_path / "b.tif"))
    with Pillow.open(tmp_path / "b.tif") as picture:
        assert picture.mode == "F"
        assert (np.asarray(picture) == source).all()
    with managed_error("ImageSaveException", "outside the range 0 to 1"):
        image.save(str(tmp_path / "c.png"), PngOptions())
    assert not (tmp_path / "c.png").exists()


def test_floating_samples_in_range_are_rounded(tmp_path: Path) -> None:
    source = np.linspace(0, 1, WIDTH * HEIGHT, dtype=np.float32).reshape(HEIGHT, WIDTH)
    Pillow.fromarray(source, "F").save(tmp_path / "a.tif")
    image = load(tmp_path / "a.tif")
    options = PngOptions()
    options.color_type = PngColorType.GRAYSCALE
    image.save(str(tmp_path / "b.png"), options)  # with as many bits as the format has
    with Pillow.open(tmp_path / "b.png") as picture:
        assert np.abs(np.asarray(picture) - source * 65535.0).max() <= 0.51
    options.bit_depth = 8
    image.save(str(tmp_path / "c.png"), options)
    with Pillow.open(tmp_path / "c.png") as picture:
        assert np.abs(np.asarray(picture) - source * 255.0).max() <= 0.51
