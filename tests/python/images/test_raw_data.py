"""Pixels as arrays and as raw data, compared with NumPy."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (CmykColor, CmykColorHelper, Color, ColorPalette, DitheringMethods, Image,
                            PixelDataFormat, RasterImage, RawDataSettings, Rectangle)
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import PngOptions, TiffOptions
from zelmor.imaging.sources import StreamSource

from support.child import run_child
from support.image_oracles import HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, pixels, worst, write
from support.runtimes import embedded_only
from support.tiff_files import BLACK_IS_ZERO, RGB, Form, tiff_bytes

ALL = (0, 0, WIDTH, HEIGHT)


def packed(source: Pixels) -> list[int]:
    """Pixels as signed integers 0xAARRGGBB."""
    four = np.concatenate([source, np.full(source.shape[:2] + (1,), 255, np.uint8)], -1) if source.shape[2] == 3 \
        else source
    r, g, b, a = (four[..., i].astype(np.uint32) for i in range(4))
    return (a << 24 | r << 16 | g << 8 | b).astype(np.int32).ravel().tolist()


# ---- arrays


@pytest.mark.parametrize("bands", [3, 4])
@pytest.mark.parametrize("area", [ALL, (0, 0, 1, 1), (5, 7, 20, 9), (WIDTH - 1, 0, 1, HEIGHT)])
def test_pixels_cross_as_integers(tmp_path: Path, bands: int, area: tuple[int, int, int, int]) -> None:
    source = noise(bands)
    image = load(write(tmp_path / "a.png", source))
    x, y, w, h = area
    part = source[y:y + h, x:x + w]
    assert list(image.load_argb_32_pixels(Rectangle(*area))) == packed(part)
    assert list(image.get_default_argb_32_pixels(Rectangle(*area))) == packed(part)
    colors = image.load_pixels(Rectangle(*area))
    assert [color.to_argb() for color in colors] == packed(part)


def test_integers_are_put_in(tmp_path: Path) -> None:
    source, other = noise(4), noise(4, seed=7, width=20, height=9)
    image = load(write(tmp_path / "a.png", source))
    image.save_argb_32_pixels(Rectangle(5, 7, 20, 9), packed(other))
    source[7:16, 5:25] = other
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0
    image.save_pixels(Rectangle(0, 0, 2, 1), [Color.from_argb(9, 8, 7, 6), Color.red])
    source[0, :2] = ((8, 7, 6, 9), (255, 0, 0, 255))
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0
    # The managed array that an image returned is accepted unchanged.
    image.save_argb_32_pixels(Rectangle(1, 1, 20, 9), image.load_argb_32_pixels(Rectangle(5, 7, 20, 9)))
    source[1:10, 1:21] = other
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0


def test_scan_lines(tmp_path: Path) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    assert list(image.read_argb_32_scan_line(3)) == packed(source[3:4])
    assert [color.r for color in image.read_scan_line(HEIGHT - 1)] == source[-1, :, 0].tolist()
    image.write_argb_32_scan_line(0, image.read_argb_32_scan_line(5))
    image.write_scan_line(1, [Color.from_argb(255, 1, 2, 3)] * WIDTH)
    source[0], source[1] = source[5], (1, 2, 3)
    assert worst(pixels(image, tmp_path), source) == 0


def test_wide_pixels(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    got = np.array(list(image.load_argb_64_pixels(Rectangle(*ALL))), np.int64).view(np.uint64)
    wide = noise(3).astype(np.uint64) * 257
    expected = 0xFFFF << 48 | wide[..., 0] << 32 | wide[..., 1] << 16 | wide[..., 2]
    assert (got == expected.ravel()).all()


def test_cmyk_pixels(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    area = Rectangle(2, 3, 10, 5)
    colors = list(image.load_cmyk_pixels(area))
    assert colors == [CmykColor.to_cmyk(value) for value in image.load_argb_32_pixels(area)]
    numbers = list(image.load_cmyk_32_pixels(area))
    assert numbers == [color.to_value() for color in colors]
    image.save_cmyk_pixels(Rectangle(20, 20, 10, 5), colors)
    image.save_cmyk_32_pixels(Rectangle(40, 20, 10, 5), numbers)
    source = noise(3)
    result = pixels(image, tmp_path)
    assert worst(result[20:25, 20:30], source[3:8, 2:12]) <= 1
    assert worst(result[20:25, 40:50], source[3:8, 2:12]) <= 1


def test_what_arrays_refuse(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    for area in ((-1, 0, 2, 2), (0, 0, WIDTH + 1, 1), (0, 0, 0, 5), (2**31 - 1, 0, 2**31 - 1, 2), (0, 0, 5, -1)):
        for call in (image.load_argb_32_pixels, image.load_argb_64_pixels, image.load_pixels, image.load_cmyk_pixels):
            with managed_error("ArgumentOutOfRangeException", "rectangle"):
                call(Rectangle(*area))
    with managed_error("ArgumentOutOfRangeException", "rectangle"):
        image.save_argb_32_pixels(Rectangle(-1, 0, 2, 2), [0] * 4)
    with managed_error("ArgumentException", "3 pixels", "2 by 2"):
        image.save_argb_32_pixels(Rectangle(0, 0, 2, 2), [0, 1, 2])
    for line in (-1, HEIGHT):
        with managed_error("ArgumentOutOfRangeException", "scan_line_index"):
            image.read_argb_32_scan_line(line)
    with managed_error("ArgumentNullException", "pixels"):
        image.save_argb_32_pixels(Rectangle(0, 0, 1, 1), None)
    for call in (image.load_partial_argb_32_pixels, image.load_partial_pixels, image.load_partial_argb_64_pixels,
                 image.get_default_pixels):
        with managed_error("ArgumentNullException", "loader"):
            call(Rectangle(0, 0, 1, 1), None)
    assert worst(pixels(image, tmp_path), noise(3)) == 0


# ---- raw data


def settings(data_format: PixelDataFormat | None = None, **properties: object) -> RawDataSettings:
    """Settings for raw data."""
    result = RawDataSettings()
    result.pixel_data_format = data_format
    for name, value in properties.items():
        setattr(result, name, value)
    return result


def raw(image: Any, data_format: PixelDataFormat, area: tuple[int, int, int, int] = ALL, **properties: object) -> bytes:
    """The raw data of an area."""
    return bytes(image.get_default_raw_data(Rectangle(*area), settings(data_format, **properties)))


def luma(source: Pixels) -> Pixels:
    """Gray by the weights of ITU-R BT.601."""
    return np.rint(source[..., :3].astype(float) @ [0.299, 0.587, 0.114])


LAYOUTS = {
    "rgb": (lambda: PixelDataFormat.get_rgb(8), lambda s: s[..., :3]),
    "bgr": (lambda: PixelDataFormat.get_bgr(8), lambda s: s[..., 2::-1]),
    "rgba": (lambda: PixelDataFormat.get_rgba(8), lambda s: s),
    "bgra": (lambda: PixelDataFormat.get_bgra(8), lambda s: s[..., [2, 1, 0, 3]]),
    "rgb_24_bpp": (lambda: PixelDataFormat.rgb_24_bpp, lambda s: s[..., 2::-1]),
    "rgb_24_bpp_png": (lambda: PixelDataFormat.rgb_24_bpp_png, lambda s: s[..., :3]),
    "rgba_32_bpp": (lambda: PixelDataFormat.rgba_32_bpp, lambda s: s[..., [2, 1, 0, 3]]),
}


@pytest.mark.parametrize("name", LAYOUTS)
def test_layouts_of_bytes(tmp_path: Path, name: str) -> None:
    source = noise(4)
    image = load(write(tmp_path / "a.png", source))
    make, arranged = LAYOUTS[name]
    expected = np.ascontiguousarray(arranged(source))
    data = raw(image, make())
    assert data == expected.tobytes()
    blank = load(write(tmp_path / "b.png", np.zeros_like(source)))
    blank.save_raw_data(data, 0, Rectangle(*ALL), settings(make()))
    result = pixels(blank, tmp_path, "RGBA")
    has_alpha = expected.shape[2] == 4
    assert worst(result[..., :3], source[..., :3]) == 0
    assert (result[..., 3] == (source[..., 3] if has_alpha else 255)).all()


def test_gray_layouts(tmp_path: Path) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    gray = np.frombuffer(raw(image, PixelDataFormat.grayscale), np.uint8).reshape(HEIGHT, WIDTH)
    assert np.abs(gray - luma(source)).max() <= 1
    wide = np.frombuffer(raw(image, PixelDataFormat.GRAYSCALE16), "<u2").reshape(HEIGHT, WIDTH)
    assert np.abs(wide - luma(source.astype(float) * 257)).max() <= 1
    for bits in (1, 2, 4):
        data = raw(image, PixelDataFormat.get_grayscale(bits))
        lines = np.frombuffer(data, np.uint8).reshape(HEIGHT, -1)
        assert lines.shape[1] == (WIDTH * bits + 7) // 8
        values = np.unpackbits(lines, axis=1)[:, :WIDTH * bits].reshape(HEIGHT, WIDTH, bits)
        levels = (values * (1 << np.arange(bits)[::-1])).sum(-1) * 255 / (2**bits - 1)
        assert np.abs(levels - luma(source)).max() <= 255 / (2**bits - 1) / 2 + 1


@pytest.mark.parametrize("green", [5, 6])
def test_color_words(tmp_path: Path, green: int) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    layout = PixelDataFormat.rgb_16_bpp_565 if green == 6 else PixelDataFormat.rgb_16_bpp_555
    words = np.frombuffer(raw(image, layout), "<u2").reshape(HEIGHT, WIDTH).astype(int)
    tops = np.array([31, 2**green - 1, 31])
    shifts = np.array([5 + green, 5, 0])
    channels = (words[..., None] >> shifts) & tops
    assert np.abs(channels * 255 / tops - source).max() <= 255 / 31 / 2 + 1
    image.save_raw_data(raw(image, layout), 0, Rectangle(*ALL), settings(layout))
    assert worst(pixels(image, tmp_path), source) <= 5


@pytest.mark.parametrize("name", ["cmyk", "y_cb_cr", "grayscale_alpha"])
def test_other_layouts_come_back(tmp_path: Path, name: str) -> None:
    source = noise(3)
    if name == "grayscale_alpha":
        source[:] = source[..., :1]
    image = load(write(tmp_path / "a.png", source))
    layout = getattr(PixelDataFormat, name)
    data = raw(image, layout)
    assert len(data) == WIDTH * HEIGHT * layout.bits_per_pixel // 8
    blank = load(write(tmp_path / "b.png", np.zeros_like(source)))
    blank.save_raw_data(data, 0, Rectangle(*ALL), settings(layout))
    assert worst(pixels(blank, tmp_path), source) <= 2


@pytest.mark.parametrize(("name", "bits"), [
    ("cmyk", [8] * 4), ("cmyka", [8] * 5), ("ycck", [8] * 4), ("y_cb_cr", [8] * 3), ("rgb_16_bpp_555", [5, 5, 5]),
    ("rgb_16_bpp_565", [5, 6, 5]), ("rgb_24_bpp", [8] * 3), ("rgb_32_bpp", [8] * 3), ("rgba_32_bpp", [8] * 4)])
def test_bits_of_named_layouts(name: str, bits: list[int]) -> None:
    layout = getattr(PixelDataFormat, name)
    assert list(layout.channel_bits) == bits
    assert layout.bits_per_pixel == {"rgb_16_bpp_555": 16, "rgb_32_bpp": 32}.get(name, sum(bits))


@pytest.mark.parametrize("bits", [2, 4, 8])
def test_indices(tmp_path: Path, bits: int) -> None:
    source = few_colors(2**min(bits, 4))
    image = load(write(tmp_path / "a.png", source))
    table = np.unique(source.reshape(-1, 3), axis=0)
    palette = ColorPalette([int(r) << 16 | int(g) << 8 | int(b) | -(1 << 24) for r, g, b in table])
    layout = PixelDataFormat.get_rgb_indexed(bits)
    data = raw(image, layout, color_palette=palette)
    lines = np.frombuffer(data, np.uint8).reshape(HEIGHT, -1)
    values = np.unpackbits(lines, axis=1)[:, :WIDTH * bits].reshape(HEIGHT, WIDTH, bits)
    found = (values.astype(int) * (1 << np.arange(bits)[::-1])).sum(-1)
    assert worst(table[found], source) == 0
    blank = load(write(tmp_path / "b.png", np.zeros_like(source)))
    blank.save_raw_data(data, 0, Rectangle(*ALL), settings(layout, color_palette=palette))
    assert worst(pixels(blank, tmp_path), source) == 0


def inks_without_profile(source: Pixels) -> Pixels:
    """Black is the common part of the three inks, the others are shares of the rest, rounded to the nearest."""
    light = source.max(-1, keepdims=True).astype(int)
    rest = np.maximum(light, 1)
    return np.concatenate([np.where(light > 0, ((light - source) * 255 + rest // 2) // rest, 0), 255 - light],
                          -1).astype(np.uint8)


@pytest.mark.parametrize("kind", ["L", "RGB", "RGBA", "P", "1"])
def test_inks_of_pictures_of_colors(tmp_path: Path, kind: str) -> None:
    Pillow.fromarray(noise(3)).convert(kind).save(tmp_path / "a.png")
    source = np.asarray(Pillow.open(tmp_path / "a.png").convert("RGB"))
    image = load(str(tmp_path / "a.png"))
    wanted = inks_without_profile(source)
    data = np.frombuffer(raw(image, PixelDataFormat.cmyk, line_size=4 * WIDTH + 5), np.uint8).reshape(HEIGHT, -1)
    assert np.array_equal(data[:, :4 * WIDTH].reshape(wanted.shape), wanted) and not data[:, 4 * WIDTH:].any()
    other = noise(4, 9)
    image.save_raw_data(data.tobytes(), 0, Rectangle(*ALL), settings(PixelDataFormat.cmyk, line_size=4 * WIDTH + 5))
    assert worst(pixels(image, tmp_path), source) <= 1
    image.save_raw_data(other[3:5, 7:12].tobytes(), 0, Rectangle(7, 3, 5, 2), settings(PixelDataFormat.cmyk))
    left = 255 - other[3:5, 7:12, :3].astype(int)
    expected = (left * (255 - other[3:5, 7:12, 3:].astype(int)) + 127) // 255
    assert worst(pixels(image, tmp_path)[3:5, 7:12], expected.astype(np.uint8)) == 0


def test_inks_of_every_light() -> None:
    levels = np.arange(256)
    source = np.stack(np.broadcast_arrays(levels[:, None], levels[None], np.minimum(levels[:, None], 255 - levels)), -1)
    colors = [r << 16 | g << 8 | b for r, g, b in source.reshape(-1, 3).tolist()]
    found = np.array(list(CmykColorHelper.to_cmyk_array(colors)), np.int64).astype(np.uint32)
    inks = np.stack([found >> shift & 255 for shift in (24, 16, 8, 0)], -1)
    assert np.array_equal(inks, inks_without_profile(source.astype(np.uint8)).reshape(-1, 4))


def test_raw_data_is_in_memory_once(tmp_path: Path) -> None:
    """The bytes are written where they stay."""
    run_child("""
import resource
from zelmor.imaging import Image, RasterImage, Rectangle
from zelmor.imaging.imageoptions import BmpOptions
from zelmor.imaging.sources import StreamSource
import io
options = BmpOptions()
options.source = StreamSource(io.BytesIO())
image = RasterImage._cast_to(Image.create(options, 6000, 6000)).value
image.set_argb_32_pixel(0, 0, -1)
settings = image.raw_data_settings
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
data = image.get_default_raw_data(image.bounds, settings)
assert len(data) == 6000 * image.raw_line_size
grown = (resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before) << 10
assert grown < 1.3 * len(data), (grown, len(data))
""", MALLOC_PERTURB_="0", PYTHONMALLOC="malloc")


def new_image(kind: str, width: int, height: int) -> RasterImage:
    """In memory, all of one color: black, or clear where there is alpha."""
    if kind == "CMYK":
        options: PngOptions | TiffOptions = TiffOptions(TiffExpectedFormat.TIFF_LZW_CMYK)
    else:
        options = PngOptions()
        options.color_type = {"L": PngColorType.GRAYSCALE, "RGB": PngColorType.TRUECOLOR,
                              "RGBA": PngColorType.TRUECOLOR_WITH_ALPHA}[kind]
    options.source = StreamSource(io.BytesIO())
    image = RasterImage._cast_to(Image.create(options, width, height)).value
    assert image is not None
    return image


def layout_of(kind: str) -> PixelDataFormat:
    return {"L": PixelDataFormat.get_grayscale(8), "RGB": PixelDataFormat.get_rgb(8),
            "RGBA": PixelDataFormat.get_rgba(8), "CMYK": PixelDataFormat.get_cmyk(8)}[kind]


KINDS = ("L", "RGB", "RGBA", "CMYK")


@embedded_only("the bytes that Python gives are copied into an array of .NET")
@pytest.mark.parametrize("kind", KINDS)
def test_a_new_picture_takes_memory_when_it_is_written_to(kind: str) -> None:
    """Of 16 million pixels, one is written; then all are, and each takes its memory once."""
    run_child(f"""
import os, sys
sys.path[:0] = [{str(Path(__file__).parent)!r}]
from test_raw_data import layout_of, new_image, settings
from zelmor.imaging import Rectangle
def memory(name):
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith(name))
kind = {kind!r}
bands = {{"L": 1, "RGB": 3}}.get(kind, 4)
data = b"\7" * (4000 * 4000 * bands)
new_image(kind, 10, 10).save_raw_data(data[:100 * bands], 0, Rectangle(0, 0, 10, 10), settings(layout_of(kind)))
before = memory("VmRSS")
image = new_image(kind, 4000, 4000)
assert memory("VmRSS") - before < 4 << 20, memory("VmRSS") - before
if kind != "CMYK":  # whose black has inks everywhere as soon as a pixel is looked at
    image.save_raw_data(data, 0, Rectangle(100, 100, 1, 1), settings(layout_of(kind)))
    assert memory("VmRSS") - before < 4 << 20, memory("VmRSS") - before
open("/proc/self/clear_refs", "w").write("5")  # the peak so far counts no longer
image.save_raw_data(data, 0, image.bounds, settings(layout_of(kind)))
grown = memory("VmHWM") - before
assert len(data) * 0.9 < grown < len(data) + (6 << 20), (grown, len(data))
assert image.get_default_raw_data(Rectangle(3999, 3999, 1, 1), settings(layout_of(kind))) == b"\7" * bands
""", MALLOC_PERTURB_="0", PYTHONMALLOC="malloc")


@pytest.mark.skipif(not Path("/sys/kernel/mm/transparent_hugepage").is_dir(), reason="the system has no large pages")
def test_pixels_that_are_all_written_lie_in_large_pages(tmp_path: Path) -> None:
    """New ones and decoded ones, so that their memory takes no longer to get than to write; one pixel does not."""
    Pillow.fromarray(noise(3, 1, 3000, 2000)).save(tmp_path / "a.bmp")
    run_child(f"""
import re, sys
sys.path[:0] = [{str(Path(__file__).parent)!r}]
from test_raw_data import layout_of, new_image, settings
from zelmor.imaging import Image, RasterImage, Rectangle
def in_large_pages():
    "Megabytes of memory that large pages were asked for."
    with open("/proc/self/smaps") as maps:
        found = re.findall(r"^Size: +([0-9]+) kB$|^VmFlags:(.*)$", maps.read(), re.M)
    sizes = [int(size) for size, _ in found if size]
    return sum(size for size, (_, flags) in zip(sizes, (pair for pair in found if not pair[0])) if "hg" in flags) / 1024
before = in_large_pages()
image = new_image("RGB", 4000, 3000)
image.save_raw_data(b"\\7" * 30, 0, Rectangle(100, 100, 10, 1), settings(layout_of("RGB")))
assert in_large_pages() == before
data = b"\\7" * (4000 * 3000 * 3)
image.save_raw_data(data, 0, image.bounds, settings(layout_of("RGB")))
assert 30 < in_large_pages() - before < 36, in_large_pages() - before
before = in_large_pages()
# The first picture stays: .NET would give its memory back at some time during the load.
decoded = RasterImage._cast_to(Image.load({str(tmp_path / "a.bmp")!r})).value
decoded.cache_data()
assert 14 <= in_large_pages() - before < 20, in_large_pages() - before
""", PYTHONMALLOC="malloc")


@pytest.mark.parametrize("kind", KINDS)
def test_a_new_picture_has_its_color_where_nothing_was_written(tmp_path: Path, kind: str) -> None:
    plain = new_image(kind, 30, 20)
    color = raw(plain, layout_of(kind), (7, 7, 1, 1))
    bands = len(color)
    assert color == bytes(bands) or kind == "CMYK" and color[3] > 150
    expected = np.tile(np.frombuffer(color, np.uint8), (20, 30, 1))
    data = bytes(range(1, 1 + 4 * 3 * bands))

    def content(image: RasterImage) -> Pixels:
        return np.frombuffer(raw(image, layout_of(kind), (0, 0, 30, 20)), np.uint8).reshape(20, 30, bands)

    part = new_image(kind, 30, 20)
    part.save_raw_data(data, 0, Rectangle(5, 6, 4, 3), settings(layout_of(kind)))
    other = expected.copy()
    other[6:9, 5:9] = np.frombuffer(data, np.uint8).reshape(3, 4, bands)
    assert np.array_equal(content(part), other)
    # A copy of a picture that nobody has looked at, before and after all of it is written over.
    first = new_image(kind, 30, 20)
    assert (page := Image.create([first])) is not None
    first.save_raw_data(b"\5" * (30 * 20 * bands), 0, first.bounds, settings(layout_of(kind)))
    assert (content(first) == 5).all()
    copy = RasterImage._cast_to(page).value
    assert copy is not None and np.array_equal(content(copy), expected)
    cut = new_image(kind, 60, 40)
    cut.crop(Rectangle(3, 3, 30, 20))
    assert np.array_equal(content(cut), expected)
    saved = new_image(kind, 30, 20)
    saved.save(str(tmp_path / "a.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_CMYK))
    shown = np.asarray(Pillow.open(tmp_path / "a.tif").convert("RGB"))
    # Inks have no alpha: clear pixels lie on white paper.
    assert shown.min() == 255 if kind == "RGBA" else shown.max() < 90


def test_lines_offsets_and_areas(tmp_path: Path) -> None:
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    data = raw(image, PixelDataFormat.get_rgb(8), (3, 4, 10, 5), line_size=64)
    lines = np.frombuffer(data, np.uint8).reshape(5, 64)
    assert (lines[:, :30].reshape(5, 10, 3) == source[4:9, 3:13]).all()
    assert (lines[:, 30:] == 0).all()
    image.save_raw_data(b"??" + data, 2, Rectangle(30, 20, 10, 5), settings(PixelDataFormat.get_rgb(8), line_size=64))
    source[20:25, 30:40] = source[4:9, 3:13]
    assert worst(pixels(image, tmp_path), source) == 0


def test_the_own_layout_of_an_image(tmp_path: Path) -> None:
    for bands, bits, kind in ((1, 8, "Grayscale"), (3, 24, "Rgb24Bpp"), (4, 32, "Rgba32Bpp")):
        image = load(write(tmp_path / f"{bands}.png", noise(bands)))
        assert image.is_raw_data_available
        assert image.raw_data_format.bits_per_pixel == bits
        assert image.raw_data_format.caption == kind
        assert image.raw_line_size == WIDTH * bits // 8
        assert image.raw_data_settings.line_size == image.raw_line_size
        data = bytes(image.get_default_raw_data(Rectangle(*ALL), image.raw_data_settings))
        assert len(data) == image.raw_line_size * HEIGHT
        image.save_raw_data(data, 0, Rectangle(*ALL), image.raw_data_settings)
        expected = noise(bands)
        assert worst(pixels(image, tmp_path, "L" if bands == 1 else "RGBA" if bands == 4 else "RGB"), expected) == 0


@pytest.mark.parametrize("bits, file_bits, dtype", [(32, 16, "<f4"), (32, 32, "<f4"), (64, 64, "<f8")])
@pytest.mark.parametrize("bands", [1, 3])
def test_floating_samples_cross_as_they_are(tmp_path: Path, bits: int, file_bits: int, dtype: str, bands: int) -> None:
    form = Form("floats", BLACK_IS_ZERO if bands == 1 else RGB, bands, file_bits, 3)
    source = form.noise(WIDTH, HEIGHT)
    (tmp_path / "a.tif").write_bytes(tiff_bytes(source, form))
    image = load(tmp_path / "a.tif")
    layout = PixelDataFormat.get_grayscale(bits) if bands == 1 else PixelDataFormat.get_rgb(bits)
    data = raw(image, layout)
    assert data == source.astype(dtype).tobytes()
    image.save_raw_data(source.astype(dtype)[::-1].tobytes(), 0, Rectangle(*ALL), settings(layout))
    assert raw(image, layout) == source.astype(dtype)[::-1].tobytes()
    other = PixelDataFormat.get_grayscale(96 - bits) if bands == 1 else PixelDataFormat.get_rgb(96 - bits)
    with managed_error("NotSupportedException", "Gray" if bands == 1 else "Rgb"):
        raw(image, other)


def test_what_raw_data_refuses(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    area = Rectangle(0, 0, 4, 3)
    rgb = PixelDataFormat.get_rgb(8)
    with managed_error("ArgumentNullException", "raw_data_settings"):
        image.get_default_raw_data(area, None)
    with managed_error("ArgumentException", "line size"):
        image.get_default_raw_data(area, settings(rgb, line_size=11))
    with managed_error("NotSupportedException", "CieLab"):
        image.get_default_raw_data(area, settings(PixelDataFormat.get_cie_lab(8, 8, 8)))
    with managed_error("NotSupportedException", "Rgb"):
        image.get_default_raw_data(area, settings(PixelDataFormat.get_rgb(7)))
    with managed_error("ArgumentException", "palette"):
        image.get_default_raw_data(area, settings(PixelDataFormat.rgb_indexed_4_bpp))
    with managed_error("ArgumentOutOfRangeException", "rectangle"):
        image.get_default_raw_data(Rectangle(0, 0, WIDTH, HEIGHT + 1), settings(rgb))
    for data, offset in ((bytes(35), 0), (bytes(36), 1), (bytes(36), -1), (b"", 0)):
        with managed_error("ArgumentException", "bytes"):
            image.save_raw_data(data, offset, area, settings(rgb))
    palette = ColorPalette([0, 1, 2])
    with managed_error("ArgumentException", "index 3"):
        image.save_raw_data(b"\3" * 12, 0, area, settings(PixelDataFormat.rgb_indexed_8_bpp, color_palette=palette))
    assert worst(pixels(image, tmp_path), noise(3)) == 0


# ---- indices that the palette does not have


def indices() -> RawDataSettings:
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.rgb_indexed_8_bpp
    settings.color_palette = ColorPalette([-1, -65536, -16711936])  # white, red, green
    return settings


def test_a_fallback_stands_for_indices_without_a_color(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    settings, data = indices(), bytes([0, 1, 2, 3, 200])
    with managed_error("ArgumentException", "index 3", "'data'"):
        image.save_raw_data(data, 0, Rectangle(0, 0, 5, 1), settings)
    settings.fallback_index = 2
    image.save_raw_data(data, 0, Rectangle(0, 0, 5, 1), settings)
    assert list(image.load_argb_32_pixels(Rectangle(0, 0, 5, 1))) == [-1, -65536, -16711936, -16711936, -16711936]
    for wrong in (3, -1):
        settings.fallback_index = wrong
        with managed_error("ArgumentException", str(wrong), "'raw_data_settings'"):
            image.save_raw_data(data, 0, Rectangle(0, 0, 5, 1), settings)


def test_the_fallback_of_an_indexed_image_is_in_its_settings(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.set_palette(ColorPalette([-1, -65536, *range(198)]), True)
    image.raw_fallback_index = 1
    settings = image.raw_data_settings
    assert settings.fallback_index == 1
    image.save_raw_data(bytes([0, 250]), 0, Rectangle(0, 0, 2, 1), settings)
    assert list(image.load_argb_32_pixels(Rectangle(0, 0, 2, 1))) == [-1, -65536]


def test_colors_are_brought_to_a_palette_in_one_way(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    settings = indices()
    plain = image.get_default_raw_data(Rectangle(0, 0, 9, 9), settings)
    settings.dithering_method = DitheringMethods.PALETTE_CONVERSION
    assert image.get_default_raw_data(Rectangle(0, 0, 9, 9), settings) == plain
    settings.dithering_method = DitheringMethods.CUSTOM_CONVERTER
    with managed_error("NotSupportedException", "The value 2 of RawDataSettings.DitheringMethod"):
        image.get_default_raw_data(Rectangle(0, 0, 9, 9), settings)


def test_a_receiver_of_raw_data_is_needed(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    area = Rectangle(0, 0, 4, 4)
    with managed_error("ArgumentNullException", "'raw_data_loader'"):
        image.load_raw_data(area, image.raw_data_settings, None)
    with managed_error("ArgumentNullException", "'raw_data_loader'"):
        image.load_raw_data(area, area, image.raw_data_settings, None)
    with managed_error("ArgumentOutOfRangeException", "dest_image_bounds"):
        image.load_raw_data(area, Rectangle(0, 0, 0, 4), image.raw_data_settings, None)


@pytest.mark.parametrize("area", [
    (-1, 0, 2, 2), (0, -1, 2, 2), (0, 0, 0, 2), (0, 0, 2, 0), (0, 0, -1, 2), (0, 0, 2, -1), (WIDTH - 1, 0, 2, 1),
    (0, HEIGHT - 1, 1, 2), (WIDTH, 0, 1, 1), (0, HEIGHT, 1, 1), (2**31 - 1, 0, 2, 1), (0, 2**31 - 1, 1, 2),
    (1, 0, 2**31 - 1, 1)])
def test_raw_data_of_an_area_outside_is_refused(tmp_path: Path, area: tuple[int, int, int, int]) -> None:
    """Nothing is read or written, however much data there is."""
    image = load(write(tmp_path / "a.png", noise()))
    settings = image.raw_data_settings
    for use in (lambda: image.get_default_raw_data(Rectangle(*area), settings),
                lambda: image.save_raw_data(bytes(4 * WIDTH * HEIGHT), 0, Rectangle(*area), settings)):
        with managed_error("ArgumentOutOfRangeException", "rectangle"):
            use()
    assert worst(pixels(image, tmp_path), noise()) == 0
