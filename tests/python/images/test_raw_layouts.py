"""Raw data in every layout, value by value: made and read by formulas in NumPy."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    ColorPalette, PixelDataFormat, PixelFormat, RasterImage, RawDataSettings, Rectangle)

from support.image_oracles import load, managed_error, write, write_16_bits

# Wide enough that lines end within a byte, and more pixels than are converted in one go.
WIDTH, HEIGHT = 151, 250
AREA = Rectangle(0, 0, WIDTH, HEIGHT)


def settings(layout: PixelDataFormat, **properties: Any) -> RawDataSettings:
    result = RawDataSettings()
    result.pixel_data_format = layout
    for name, value in properties.items():
        setattr(result, name, value)
    return result


# ---- What a layout says of itself

MADE: dict[str, tuple[Callable[[], PixelDataFormat], PixelFormat, list[int], int]] = {
    "Grayscale": (lambda: PixelDataFormat.get_grayscale(5), PixelFormat.GRAYSCALE, [5], 5),
    "GrayscaleAlpha": (lambda: PixelDataFormat.get_grayscale_alpha(7), PixelFormat.GRAYSCALE, [7, 7], 14),
    "GrayscaleAlpha of two": (lambda: PixelDataFormat.get_grayscale_alpha(7, 2), PixelFormat.GRAYSCALE, [7, 2], 9),
    "Rgb": (lambda: PixelDataFormat.get_rgb(3), PixelFormat.RGB, [3] * 3, 9),
    "Rgb of three": (lambda: PixelDataFormat.get_rgb(1, 2, 3), PixelFormat.RGB, [1, 2, 3], 6),
    "Rgba": (lambda: PixelDataFormat.get_rgba(3), PixelFormat.RGB, [3] * 4, 12),
    "Rgba of four": (lambda: PixelDataFormat.get_rgba(1, 2, 3, 4), PixelFormat.RGB, [1, 2, 3, 4], 10),
    "Bgr": (lambda: PixelDataFormat.get_bgr(6), PixelFormat.BGR, [6] * 3, 18),
    "Bgra": (lambda: PixelDataFormat.get_bgra(6), PixelFormat.BGR, [6] * 4, 24),
    "YCbCr": (lambda: PixelDataFormat.get_y_cb_cr(9), PixelFormat.Y_CB_CR, [9] * 3, 27),
    "YCbCr of three": (lambda: PixelDataFormat.get_y_cb_cr(9, 5, 4), PixelFormat.Y_CB_CR, [9, 5, 4], 18),
    "Cmyk": (lambda: PixelDataFormat.get_cmyk(64), PixelFormat.CMYK, [64] * 4, 256),
    "Cmyk of four": (lambda: PixelDataFormat.get_cmyk(1, 2, 3, 4), PixelFormat.CMYK, [1, 2, 3, 4], 10),
    "Cmyka": (lambda: PixelDataFormat.get_cmyka(1, 2, 3, 4, 5), PixelFormat.CMYK, [1, 2, 3, 4, 5], 15),
    "Ycck": (lambda: PixelDataFormat.get_ycck(1), PixelFormat.YCCK, [1] * 4, 4),
    "CieLab": (lambda: PixelDataFormat.get_cie_lab(8, 7, 6), PixelFormat.CIE_LAB, [8, 7, 6], 21),
    "RgbIndexed": (lambda: PixelDataFormat.get_rgb_indexed(12), PixelFormat.RGB, [12], 12),
}
NAMED: dict[str, tuple[PixelFormat, list[int], int]] = {
    "GRAYSCALE16": (PixelFormat.GRAYSCALE, [16], 16),
    "grayscale": (PixelFormat.GRAYSCALE, [8], 8),
    "grayscale_alpha": (PixelFormat.GRAYSCALE, [8, 8], 16),
    "cmyk": (PixelFormat.CMYK, [8] * 4, 32),
    "cmyka": (PixelFormat.CMYK, [8] * 5, 40),
    "rgb_16_bpp_555": (PixelFormat.RGB, [5, 5, 5], 16),
    "rgb_16_bpp_565": (PixelFormat.RGB, [5, 6, 5], 16),
    "rgb_24_bpp": (PixelFormat.BGR, [8] * 3, 24),
    "rgb_24_bpp_png": (PixelFormat.RGB, [8] * 3, 24),
    "rgb_32_bpp": (PixelFormat.BGR, [8] * 3, 32),
    "rgba_32_bpp": (PixelFormat.BGR, [8] * 4, 32),
    "rgb_indexed_1_bpp": (PixelFormat.RGB, [1], 1),
    "rgb_indexed_2_bpp": (PixelFormat.RGB, [2], 2),
    "rgb_indexed_4_bpp": (PixelFormat.RGB, [4], 4),
    "rgb_indexed_8_bpp": (PixelFormat.RGB, [8], 8),
    "y_cb_cr": (PixelFormat.Y_CB_CR, [8] * 3, 24),
    "ycck": (PixelFormat.YCCK, [8] * 4, 32),
}


def facts(layout: PixelDataFormat) -> tuple[PixelFormat, list[int], int]:
    assert layout.channels_count == len(list(layout.channel_bits))
    return layout.pixel_format, list(layout.channel_bits), layout.bits_per_pixel


def test_layouts_have_the_channels_that_they_are_made_of() -> None:
    for name, (make, *expected) in MADE.items():
        assert facts(make()) == tuple(expected), name
        assert make().caption == str(make()) == name.split()[0]
    for name, expected_named in NAMED.items():
        assert facts(getattr(PixelDataFormat, name)) == expected_named, name
        assert getattr(PixelDataFormat, name).caption.lower() == name.replace("_", "").lower()


def test_layouts_are_equal_that_have_the_same_channels() -> None:
    made = [make for make, *_ in MADE.values()]
    for i, first in enumerate(made):
        for j, second in enumerate(made):
            assert (first() == second()) == (i == j)
        assert hash(first()) == hash(first())
    assert len({hash(make()) for make in made}) == len(made)
    assert PixelDataFormat.get_bgr(8) == PixelDataFormat.rgb_24_bpp != PixelDataFormat.rgb_32_bpp
    assert PixelDataFormat.get_rgb(8) == PixelDataFormat.rgb_24_bpp_png != PixelDataFormat.get_bgr(8)
    assert PixelDataFormat.get_rgb(8) != "Rgb"


#: The methods that make layouts, and how many numbers of bits they take.
METHODS = [("get_grayscale_alpha", 1), ("get_grayscale_alpha", 2), ("get_rgb", 1), ("get_rgb", 3), ("get_rgba", 1),
           ("get_rgba", 4), ("get_y_cb_cr", 1), ("get_y_cb_cr", 3), ("get_cmyk", 1), ("get_cmyk", 4),
           ("get_grayscale", 1), ("get_rgb_indexed", 1), ("get_bgra", 1), ("get_bgr", 1), ("get_cmyka", 5),
           ("get_ycck", 1), ("get_cie_lab", 3)]


@pytest.mark.parametrize(("method", "count"), METHODS)
def test_a_channel_has_1_to_64_bits(method: str, count: int) -> None:
    make = getattr(PixelDataFormat, method)
    for place in range(count):
        for bits in (1, 64):
            given = [8] * count
            given[place] = bits
            assert bits in list(make(*given).channel_bits)
        for bits in (0, 65, -1):
            given[place] = bits
            with managed_error("ArgumentOutOfRangeException", f"A channel has 1 to 64 bits, not {bits}.", "'bits'"):
                make(*given)


def test_the_layout_of_grays_can_be_replaced() -> None:
    before = PixelDataFormat.grayscale
    try:
        PixelDataFormat.set_grayscale(PixelDataFormat.GRAYSCALE16)
        assert PixelDataFormat.grayscale == PixelDataFormat.GRAYSCALE16
        with managed_error("ArgumentNullException", "'value'"):
            PixelDataFormat.set_grayscale(None)
    finally:
        PixelDataFormat.set_grayscale(before)
    assert facts(PixelDataFormat.grayscale) == NAMED["grayscale"]


# ---- Channels by formula, from 16 bits each

def rounded(values: Any) -> Any:
    return np.clip(np.floor(np.asarray(values) + 0.5), 0, 65535).astype(np.int64)


def luma(rgb: Any) -> Any:
    red, green, blue = np.moveaxis(rgb.astype(float), -1, 0)
    return np.where((rgb == rgb[..., :1]).all(-1), red, rounded(0.299 * red + 0.587 * green + 0.114 * blue))


def narrow(values: Any, bits: int = 8) -> Any:
    """The nearest value of so many bits."""
    return (np.asarray(values).astype(np.int64) * (2 ** bits - 1) + 32767) // 65535


def y_cb_cr(rgb: Any) -> Any:
    """As JFIF defines it, with zero in the middle."""
    red, green, blue = np.moveaxis(rgb.astype(float), -1, 0)
    y = 0.299 * red + 0.587 * green + 0.114 * blue
    return np.stack([rounded(y), rounded(32896 + (blue - y) / 1.772), rounded(32896 + (red - y) / 1.402)], -1)


def inks(rgb: Any) -> Any:
    """Of 8 bits: black is the common part of the three, the others are shares of the rest."""
    source = narrow(rgb)
    light = source.max(-1, keepdims=True)
    rest = np.maximum(light, 1)
    shares = np.where(light > 0, ((light - source) * 255 + rest // 2) // rest, 0)
    return np.concatenate([shares, 255 - light], -1) * 257


#: The channels of a layout by those of a color, red, green, blue and alpha; and the way back.
CHANNELS: dict[str, tuple[Callable[[Any], Any], Callable[[Any], Any]]] = {
    "gray": (lambda c: luma(c[..., :3])[..., None], lambda v: np.repeat(v, 3, -1)),
    "rgb": (lambda c: c[..., :3], lambda v: v),
    "bgr": (lambda c: c[..., 2::-1], lambda v: v[..., ::-1]),
    "y_cb_cr": (lambda c: y_cb_cr(c[..., :3]), lambda v: rgb_of_y_cb_cr(v)),
    "cmyk": (lambda c: inks(c[..., :3]), lambda v: rgb_of_inks(v)),
}


def rgb_of_y_cb_cr(values: Any) -> Any:
    y, blue, red = np.moveaxis(values.astype(float), -1, 0)
    blue, red = blue - 32896, red - 32896
    return np.stack([rounded(y + 1.402 * red), rounded(y - 0.344136 * blue - 0.714136 * red),
                     rounded(y + 1.772 * blue)], -1)


def rgb_of_inks(values: Any) -> Any:
    left = 255 - narrow(values)
    return (left[..., :3] * left[..., 3:] + 127) // 255 * 257


#: Layouts by their channels, whether there is alpha, and the bits of a channel.
LAYOUTS: dict[str, tuple[Callable[[], PixelDataFormat], str, bool, list[int]]] = {
    "gray 1": (lambda: PixelDataFormat.get_grayscale(1), "gray", False, [1]),
    "gray 2": (lambda: PixelDataFormat.get_grayscale(2), "gray", False, [2]),
    "gray 4": (lambda: PixelDataFormat.get_grayscale(4), "gray", False, [4]),
    "gray 8": (lambda: PixelDataFormat.get_grayscale(8), "gray", False, [8]),
    "gray 16": (lambda: PixelDataFormat.get_grayscale(16), "gray", False, [16]),
    "gray alpha 8": (lambda: PixelDataFormat.get_grayscale_alpha(8), "gray", True, [8] * 2),
    "gray alpha 16": (lambda: PixelDataFormat.get_grayscale_alpha(16), "gray", True, [16] * 2),
    "rgb 8": (lambda: PixelDataFormat.get_rgb(8), "rgb", False, [8] * 3),
    "rgb 16": (lambda: PixelDataFormat.get_rgb(16), "rgb", False, [16] * 3),
    "rgba 8": (lambda: PixelDataFormat.get_rgba(8), "rgb", True, [8] * 4),
    "rgba 16": (lambda: PixelDataFormat.get_rgba(16), "rgb", True, [16] * 4),
    "rgb 555": (lambda: PixelDataFormat.rgb_16_bpp_555, "rgb", False, [5, 5, 5]),
    "rgb 565": (lambda: PixelDataFormat.rgb_16_bpp_565, "rgb", False, [5, 6, 5]),
    "bgr 8": (lambda: PixelDataFormat.get_bgr(8), "bgr", False, [8] * 3),
    "bgr 16": (lambda: PixelDataFormat.get_bgr(16), "bgr", False, [16] * 3),
    "bgr 8 of 32": (lambda: PixelDataFormat.rgb_32_bpp, "bgr", False, [8] * 3),
    "bgra 8": (lambda: PixelDataFormat.get_bgra(8), "bgr", True, [8] * 4),
    "bgra 16": (lambda: PixelDataFormat.get_bgra(16), "bgr", True, [16] * 4),
    "y_cb_cr 8": (lambda: PixelDataFormat.get_y_cb_cr(8), "y_cb_cr", False, [8] * 3),
    "y_cb_cr 16": (lambda: PixelDataFormat.get_y_cb_cr(16), "y_cb_cr", False, [16] * 3),
    "cmyk 8": (lambda: PixelDataFormat.get_cmyk(8), "cmyk", False, [8] * 4),
    "cmyk 16": (lambda: PixelDataFormat.get_cmyk(16), "cmyk", False, [16] * 4),
    "cmyka 8": (lambda: PixelDataFormat.get_cmyka(8, 8, 8, 8, 8), "cmyk", True, [8] * 5),
    "cmyka 16": (lambda: PixelDataFormat.get_cmyka(16, 16, 16, 16, 16), "cmyk", True, [16] * 5),
}


def picture(path: Path, bits: int, alpha: bool) -> tuple[RasterImage, Any]:
    """A picture, and its colors with 16 bits a channel. Some pixels are gray."""
    colors = np.random.default_rng(bits + alpha).integers(0, 2 ** bits, (HEIGHT, WIDTH, 4))
    colors[::3, :, 1:3] = colors[::3, :, :1]
    if not alpha:
        colors[..., 3] = 2 ** bits - 1
    kept = colors if alpha else colors[..., :3]
    image = load(write(path, kept.astype(np.uint8)) if bits == 8 else write_16_bits(path, kept.astype(np.uint16)))
    return image, colors * (257 if bits == 8 else 1)


def colors_of(image: RasterImage) -> Any:
    words = np.array(image.load_argb_64_pixels(image.bounds)).astype(np.uint64).reshape(image.height, image.width)
    return np.stack([words >> np.uint64(shift) & np.uint64(0xFFFF) for shift in (32, 16, 0, 48)], -1).astype(np.int64)


def in_bytes(values: Any, bits: list[int], pixel_bits: int) -> Any:
    """Lines of bytes: channels below a byte fill it from its upper bits, and 16 bits begin with the lower byte."""
    height, width, _ = values.shape
    if bits[0] >= 8:
        lines = values.astype("<u2" if bits[0] == 16 else np.uint8).view(np.uint8).reshape(height, width, -1)
        padded = np.full((height, width, pixel_bits // 8), 255, np.uint8)
        padded[..., :lines.shape[2]] = lines
        return padded.reshape(height, -1)
    if len(bits) == 1:
        each = (values >> np.arange(bits[0])[::-1]) & 1
        return np.packbits(each.astype(np.uint8).reshape(height, -1), axis=1)
    word = (values[..., 0] << bits[1] | values[..., 1]) << bits[2] | values[..., 2]
    return word.astype("<u2").view(np.uint8).reshape(height, -1)


@pytest.mark.parametrize("depth", [8, 16])
@pytest.mark.parametrize("name", LAYOUTS)
def test_a_layout_is_read(tmp_path: Path, name: str, depth: int) -> None:
    make, kind, alpha, bits = LAYOUTS[name]
    image, colors = picture(tmp_path / "a.png", depth, alpha=True)
    channels = CHANNELS[kind][0](colors)
    if kind == "gray" and depth == bits[0] == 8:  # is rounded once, and a half up
        channels = ((colors[..., :3] // 257 @ [299, 587, 114] + 500) // 1000)[..., None] * 257
    if alpha:
        channels = np.concatenate([channels, colors[..., 3:]], -1)
    values = np.stack([narrow(channels[..., i], each) for i, each in enumerate(bits)], -1)
    layout = make()
    expected = in_bytes(values, bits, layout.bits_per_pixel)
    found = np.frombuffer(bytes(image.get_default_raw_data(AREA, settings(layout))), np.uint8)
    assert np.array_equal(found.reshape(HEIGHT, -1), expected)
    # With longer lines, what is behind their pixels is zero.
    longer = expected.shape[1] + 3
    found = np.frombuffer(bytes(image.get_default_raw_data(AREA, settings(layout, line_size=longer))), np.uint8)
    assert np.array_equal(found.reshape(HEIGHT, -1), np.pad(expected, ((0, 0), (0, 3))))


@pytest.mark.parametrize("has_alpha", [False, True])
@pytest.mark.parametrize("depth", [8, 16])
@pytest.mark.parametrize("name", LAYOUTS)
def test_a_layout_is_written(tmp_path: Path, name: str, depth: int, has_alpha: bool) -> None:
    make, kind, alpha, bits = LAYOUTS[name]
    image, _ = picture(tmp_path / "a.png", depth, has_alpha)
    draw = np.random.default_rng(4)
    values = np.stack([draw.integers(0, 2 ** each, (HEIGHT, WIDTH)) for each in bits], -1)
    layout = make()
    lines = in_bytes(values, bits, layout.bits_per_pixel)
    data = b"??" + np.pad(lines, ((0, 0), (0, 5)), constant_values=99).tobytes()
    image.save_raw_data(data, 2, AREA, settings(layout, line_size=lines.shape[1] + 5))
    wide = np.stack([values[..., i] * 65535 // (2 ** each - 1) for i, each in enumerate(bits)], -1)
    expected = CHANNELS[kind][1](wide[..., :-1] if alpha else wide)
    opacity = wide[..., -1:] if alpha and has_alpha else np.full((HEIGHT, WIDTH, 1), 65535)
    expected = np.concatenate([expected, opacity], -1)
    if depth == 8 or bits[0] < 16:
        expected = narrow(expected) * 257
    assert np.array_equal(colors_of(image), expected)


@pytest.mark.parametrize("depth", [8, 16])
@pytest.mark.parametrize("name", ["bgr 8", "bgra 8", "bgr 16", "bgra 16", "rgb 8", "rgba 16"])
def test_lines_of_any_width_are_read_and_written(tmp_path: Path, name: str, depth: int) -> None:
    """Sixteen bytes are exchanged at a time, and what is left of a line one by one."""
    make, kind, alpha, bits = LAYOUTS[name]
    image, colors = picture(tmp_path / "a.png", depth, alpha)
    for width in range(1, 19):
        area = Rectangle(7, 5, width, 3)
        part = colors[5:8, 7:7 + width]
        channels = CHANNELS[kind][0](part)
        channels = np.concatenate([channels, part[..., 3:]], -1) if alpha else channels
        lines = in_bytes(narrow(channels, bits[0]), bits, make().bits_per_pixel)
        data = bytes(image.get_default_raw_data(area, settings(make())))
        assert data == lines.tobytes(), width
        image.save_raw_data(data[::-1], 0, area, settings(make()))
        turned = np.frombuffer(bytes(image.get_default_raw_data(area, settings(make()))), np.uint8)
        if bits[0] == depth:
            assert turned.tobytes() == data[::-1], width
        image.save_raw_data(data, 0, area, settings(make()))


@pytest.mark.parametrize(("colors", "bits"), [(1, 1), (2, 1), (3, 2), (4, 2), (5, 4), (16, 4), (17, 8), (256, 8)])
def test_the_own_layout_of_indices_fits_the_palette(tmp_path: Path, colors: int, bits: int) -> None:
    image, _ = picture(tmp_path / "a.png", 8, alpha=False)
    palette = ColorPalette([-(1 << 24) + 7 * i for i in range(colors)])
    image.set_palette(palette, True)
    assert facts(image.raw_data_format) == (PixelFormat.RGB, [bits], bits)
    assert image.raw_data_format.caption == "RgbIndexed"
    assert image.raw_line_size == image.raw_data_settings.line_size == (WIDTH * bits + 7) // 8
    assert list(image.raw_data_settings.color_palette.argb_32_entries) == list(palette.argb_32_entries)


@pytest.mark.parametrize(("depth", "alpha", "caption", "form", "count"), [
    (8, False, "Rgb24Bpp", PixelFormat.BGR, 3), (8, True, "Rgba32Bpp", PixelFormat.BGR, 4),
    (16, False, "Rgb", PixelFormat.RGB, 3), (16, True, "Rgba", PixelFormat.RGB, 4)])
def test_the_own_layout_of_colors(tmp_path: Path, depth: int, alpha: bool, caption: str, form: PixelFormat,
                                  count: int) -> None:
    image, _ = picture(tmp_path / "a.png", depth, alpha)
    assert facts(image.raw_data_format) == (form, [depth] * count, depth * count)
    assert image.raw_data_format.caption == caption
    assert image.raw_line_size == WIDTH * count * depth // 8


@pytest.mark.parametrize("line_size", [0, 12, 20])
def test_data_has_to_last_for_the_last_line(tmp_path: Path, line_size: int) -> None:
    image, colors = picture(tmp_path / "a.png", 8, alpha=False)
    area, layout = Rectangle(1, 2, 4, 3), settings(PixelDataFormat.get_rgb(8), line_size=line_size)
    enough = 2 * (line_size or 12) + 12
    for offset in (0, 7):
        image.save_raw_data(bytes(offset + enough), offset, area, layout)
        with managed_error("ArgumentException", f"There are {offset + enough - 1} bytes, from {offset} on not enough "
                                                f"for 3 lines of {line_size or 12} bytes. (Parameter 'data')"):
            image.save_raw_data(b"\7" * (offset + enough - 1), offset, area, layout)
    for offset in (-1, 101):
        with managed_error("ArgumentException", f"There are 100 bytes, from {offset} on not enough"):
            image.save_raw_data(b"\7" * 100, offset, area, layout)
    expected = colors.copy()
    expected[2:5, 1:5, :3] = 0
    assert np.array_equal(colors_of(image), expected)


def test_a_line_that_is_too_short_is_refused(tmp_path: Path) -> None:
    image, _ = picture(tmp_path / "a.png", 8, alpha=False)
    for layout, needed in ((PixelDataFormat.get_rgb(8), 15), (PixelDataFormat.get_grayscale(2), 2)):
        area = Rectangle(0, 0, 5, 2)
        assert len(image.get_default_raw_data(area, settings(layout, line_size=needed))) == 2 * needed
        text = (f"A line of 5 pixels needs {needed} bytes, more than the line size of {needed - 1}. "
                "(Parameter 'raw_data_settings')")
        with managed_error("ArgumentException", text):
            image.get_default_raw_data(area, settings(layout, line_size=needed - 1))
        with managed_error("ArgumentException", text):
            image.save_raw_data(bytes(99), 0, area, settings(layout, line_size=needed - 1))


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_a_palette_has_no_more_colors_than_indices(tmp_path: Path, bits: int) -> None:
    image, colors = picture(tmp_path / "a.png", 8, alpha=False)
    area, layout = Rectangle(0, 0, 3, 1), PixelDataFormat.get_rgb_indexed(bits)
    most = 2 ** bits
    full = ColorPalette([-(1 << 24) + i for i in range(most)])
    assert image.get_default_raw_data(area, settings(layout, color_palette=full)) is not None
    for count in (0, most + 1):
        wrong = ColorPalette([-(1 << 24) + i for i in range(count)])
        with managed_error("ArgumentException", f"Indices of {bits} bits need a palette of 1 to {most} colors. "
                                                "(Parameter 'raw_data_settings')"):
            image.get_default_raw_data(area, settings(layout, color_palette=wrong))
    # The last color can be the fallback, and none behind it.
    assert image.get_default_raw_data(area, settings(layout, color_palette=full, fallback_index=most - 1)) is not None
    with managed_error("ArgumentException", f"The fallback index {most} is not one of a palette of {most} colors. "
                                            "(Parameter 'raw_data_settings')"):
        image.get_default_raw_data(area, settings(layout, color_palette=full, fallback_index=most))


UNKNOWN = {"Rgb of 21 bits": lambda: PixelDataFormat.get_rgb(7), "Rgb of 18 bits": lambda: PixelDataFormat.get_rgb(6),
           "Rgb of 17 bits": lambda: PixelDataFormat.get_rgb(6, 6, 5),
           "Grayscale of 3 bits": lambda: PixelDataFormat.get_grayscale(3),
           "Grayscale of 32 bits": lambda: PixelDataFormat.get_grayscale(32),
           "GrayscaleAlpha of 8 bits": lambda: PixelDataFormat.get_grayscale_alpha(4),
           "RgbIndexed of 16 bits": lambda: PixelDataFormat.get_rgb_indexed(16),
           "Ycck of 32 bits": lambda: PixelDataFormat.get_ycck(8),
           "CieLab of 24 bits": lambda: PixelDataFormat.get_cie_lab(8, 8, 8),
           "Rgba of 64 bits": lambda: PixelDataFormat.get_rgba(10, 20, 20, 14)}


@pytest.mark.parametrize("name", UNKNOWN)
def test_layouts_that_cannot_be_read_or_written_are_refused_by_name(tmp_path: Path, name: str) -> None:
    image, colors = picture(tmp_path / "a.png", 8, alpha=False)
    text = f"Raw data in the layout {name} per pixel"
    given = settings(UNKNOWN[name](), color_palette=ColorPalette([0, 1]))
    with managed_error("NotSupportedException", text):
        image.get_default_raw_data(Rectangle(0, 0, 2, 2), given)
    with managed_error("NotSupportedException", text):
        image.save_raw_data(bytes(999), 0, Rectangle(0, 0, 2, 2), given)
    assert np.array_equal(colors_of(image), colors)
