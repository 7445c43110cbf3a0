"""Palettes, indexed images, and reducing the number of colors, compared with Pillow and NumPy."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (
    Color, ColorCompareMethod, ColorPalette, ColorPaletteHelper, ColorQuantizationMethod, DitheringMethod, Image,
    ImageResizeSettings, PaletteMiningMethod, Rectangle, ResizeType, RotateFlipType)
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, PngOptions
from zelmor.imaging.palettehelper import AdjustPalette

from support import png_files
from support.image_oracles import (HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, pixels, read, smooth,
                                   worst, write)

FOUR = [0xFF000000, 0xFFFFFFFF, 0xFFFF0000, 0xFF0000FF]


def signed(colors: list[int]) -> list[int]:
    """Packed colors as the signed integers that the API uses."""
    return [color - 2**32 if color >= 2**31 else color for color in colors]


def entries(palette: Any) -> list[int]:
    """The colors of a palette, unsigned."""
    return [color & 0xFFFFFFFF for color in palette.argb_32_entries]


def rgb(colors: list[int]) -> Pixels:
    """Packed colors as rows of three."""
    return np.array([(color >> 16 & 255, color >> 8 & 255, color & 255) for color in colors])


def nearest(source: Pixels, colors: list[int]) -> Pixels:
    """The expected color of each pixel: the first of the nearest palette entries."""
    table = rgb(colors)
    distance = ((source[:, :, None, :].astype(int) - table) ** 2).sum(-1)
    return table[distance.argmin(-1)]


def indexed(path: Path, colors: int = 16, depth: int = 8) -> tuple[str, Pixels, list[int]]:
    """An indexed PNG written by Pillow, with its pixels and palette."""
    rng = np.random.default_rng(3)
    table = rng.integers(0, 256, (colors, 3), dtype=np.uint8)
    indices = rng.integers(0, colors, (HEIGHT, WIDTH), dtype=np.uint8)
    picture = Pillow.fromarray(indices, "P")
    picture.putpalette(table.tobytes())
    picture.save(path, bits=depth)
    return str(path), table[indices], [0xFF000000 | int(r) << 16 | int(g) << 8 | int(b) for r, g, b in table]


# ---- ColorPalette


def test_palettes_of_integers_and_colors() -> None:
    for palette in (ColorPalette(signed(FOUR)), ColorPalette.create_with_argb(signed(FOUR)),
                    ColorPalette.create_with_colors([Color.from_argb(color) for color in signed(FOUR)])):
        assert palette.entries_count == 4
        assert entries(palette) == FOUR
        assert [color.to_argb() & 0xFFFFFFFF for color in palette.entries] == FOUR
        assert not palette.is_compact_palette
        assert palette.get_argb_32_color(2) & 0xFFFFFFFF == FOUR[2]
        assert palette.get_color(3).b == 255
    assert ColorPalette.create_with_argb_compact(signed(FOUR), True).is_compact_palette
    copy = ColorPalette.copy_palette(palette, True)
    assert (entries(copy), copy.is_compact_palette) == (FOUR, True)
    for is_compact in (False, True):
        again = ColorPalette.copy_palette(ColorPalette.copy_palette(palette, is_compact))
        assert (entries(again), again.is_compact_palette) == (FOUR, is_compact)
    for values in ((None,), (None, True)):
        with managed_error("ArgumentNullException", "color_palette"):
            ColorPalette.copy_palette(*values)
    with managed_error("ArgumentNullException", "'palette'"):
        ColorPaletteHelper.has_transparent_colors(None)


def test_equal_palettes() -> None:
    """Those of equal colors in equal order, both compact or not."""
    palette = ColorPalette(signed(FOUR), False)
    assert palette == ColorPalette(signed(FOUR)) and hash(palette) == hash(ColorPalette(signed(FOUR)))
    others = [ColorPalette(signed(FOUR), True), ColorPalette(signed(FOUR[::-1])), ColorPalette(signed(FOUR[:3])),
              ColorPalette(signed(FOUR + FOUR[:1])), ColorPalette([])]
    assert all(palette != other for other in others)
    assert len({hash(other) for other in [palette, *others]}) == 6


def test_the_nearest_entry() -> None:
    palette = ColorPalette(signed(FOUR))
    assert ColorPalette(signed([0xFF000000, 0xFF000004])).get_nearest_argb_index(signed([0xFF000002])[0]) == 0
    for color, index in ((0xFF101010, 0), (0xFFF0F0F0, 1), (0xFFE01020, 2), (0xFF2010D0, 3)):
        assert palette.get_nearest_argb_index(signed([color])[0]) == index
        assert palette.get_nearest_color_index(signed([color])[0]) == index
        assert palette.get_nearest_color_index(Color.from_argb(signed([color])[0])) == index


def test_what_palettes_refuse() -> None:
    for index in (-1, 4):
        with managed_error("ArgumentOutOfRangeException", "'index'"):
            ColorPalette(signed(FOUR)).get_color(index)
    with managed_error("InvalidOperationException", "no entries"):
        ColorPalette([]).get_nearest_color_index(0)
    with managed_error("ArgumentNullException", "argb_32_entries"):
        ColorPalette(None)


def test_palettes_of_the_helper(tmp_path: Path) -> None:
    assert entries(ColorPaletteHelper.create_monochrome()) == [0xFF000000, 0xFFFFFFFF]
    # Dark and bright: bit 0 is red, 1 green and 2 blue; the two grays stand between them.
    dark, bright = ([0xFF000000 | (i & 1) * level << 16 | (i >> 1 & 1) * level << 8 | (i >> 2) * level
                     for i in range(8)] for level in (0x80, 0xFF))
    vga = dark[:7] + [0xFFC0C0C0, 0xFF808080] + bright[1:]
    assert entries(ColorPaletteHelper.create_4_bit()) == vga
    cube = [0xFF000000 | red << 16 | green << 8 | blue for red in range(0, 256, 51) for green in range(0, 256, 51)
            for blue in range(0, 256, 51)]
    grays = [0xFF000000 | level * 0x010101 for level in range(8, 239, 10)]
    assert entries(ColorPaletteHelper.create_8_bit()) == vga + cube + grays
    grays = entries(ColorPaletteHelper.create_4_bit_grayscale(False))
    assert grays == [0xFF000000 | level * 0x111111 for level in range(16)]
    assert entries(ColorPaletteHelper.create_4_bit_grayscale(True)) == grays[::-1]
    assert entries(ColorPaletteHelper.create_8_bit_grayscale(False)) == [0xFF000000 | i * 0x010101 for i in range(256)]
    image = load(write(tmp_path / "a.png", noise()))
    assert entries(ColorPaletteHelper.get_uniform_color_palette(image)) == [
        0xFF000000 | red * 255 // 7 << 16 | green * 255 // 7 << 8 | blue * 85 for red in range(8) for green in range(8)
        for blue in range(4)]
    with managed_error("ArgumentNullException", "image"):
        ColorPaletteHelper.get_uniform_color_palette(None)
    assert not ColorPaletteHelper.has_transparent_colors(ColorPaletteHelper.create_8_bit())
    assert ColorPaletteHelper.has_transparent_colors(ColorPalette([0]))


def test_close_palettes(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", few_colors(16)))
    own = {tuple(color) for color in few_colors(16).reshape(-1, 3).tolist()}
    found = entries(ColorPaletteHelper.get_close_image_palette(image, 16))
    assert {tuple(color) for color in rgb(found).tolist()} == own
    part = entries(ColorPaletteHelper.get_close_image_palette(image, Rectangle(0, 0, 5, 4), 16))
    assert part == [0xFF000000 | int(few_colors(16)[0, 0] @ np.array([65536, 256, 1], int))]
    rich = load(write(tmp_path / "b.png", smooth()))
    for count in (2, 7, 64, 256):
        palette = entries(ColorPaletteHelper.get_close_image_palette(rich, count))
        assert 1 < len(palette) <= count
    many = entries(ColorPaletteHelper.get_close_image_palette(rich, 256))
    assert np.abs(nearest(smooth(), many) - smooth().astype(int)).mean() < 8
    frequent = np.full((10, 10, 3), 7, np.uint8)
    frequent[0, :3] = (1, 2, 3)
    frequent[5, 5] = 9
    image = load(write(tmp_path / "c.png", frequent))
    by_count = ColorPaletteHelper.get_close_image_palette(image, 2, PaletteMiningMethod.HISTOGRAM)
    assert entries(by_count) == [0xFF070707, 0xFF010203]
    by_clusters = ColorPaletteHelper.get_close_image_palette(rich, 9, PaletteMiningMethod.COLOR_CLUSTERING)
    assert entries(by_clusters) == entries(ColorPaletteHelper.get_close_image_palette(rich, 9))
    with managed_error("ArgumentOutOfRangeException", "entries_count"):
        ColorPaletteHelper.get_close_image_palette(image, 0)
    with managed_error("ArgumentNullException", "image"):
        ColorPaletteHelper.get_close_image_palette(None, 4)


def test_close_palettes_of_a_part_with_alpha(tmp_path: Path) -> None:
    """A color stands behind the part, unless its alpha is kept; the picture itself stays."""
    source = np.zeros((20, 30, 4), np.uint8)
    source[:, :10] = (255, 0, 0, 255)
    source[:10, 10:] = (0, 0, 255, 51)
    image = load(write(tmp_path / "a.png", source))
    part, behind = Rectangle(5, 0, 20, 20), Color.from_argb(0, 0, 255, 0)
    helper = ColorPaletteHelper.get_close_image_palette
    assert set(entries(helper(image, part, 8, False, behind))) == {0xFFFF0000, 0xFF00CC33, 0xFF00FF00}
    assert set(entries(helper(image, part, 8, False, behind, False))) == {0xFFFF0000, 0xFF00CC33, 0xFF00FF00}
    assert set(entries(helper(image, part, 8, False, behind, True))) == {0xFFFF0000, 0x330000FF, 0x00000000}
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0
    table = few_colors(4)
    Pillow.fromarray(table).quantize(4).save(tmp_path / "b.png")
    indexed = load(tmp_path / "b.png")
    own, small = entries(indexed.palette), Rectangle(0, 0, 5, 4)
    assert len(own) == 4
    assert entries(helper(indexed, small, 4, True)) == own
    assert len(entries(helper(indexed, small, 4, False))) == len(entries(helper(indexed, small, 4))) == 1
    assert len(entries(helper(indexed, small, 3, True))) == 1  # its own is too large


def test_adjusted_palettes(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    comparison, counted = ColorCompareMethod.EUCLIDIAN, ColorQuantizationMethod
    adjusted = AdjustPalette.get_close_image_palette(image, 16, counted.NONE, comparison)
    assert entries(adjusted) == entries(ColorPaletteHelper.get_close_image_palette(image, 16))
    frequent = AdjustPalette.get_close_image_palette(image, 16, counted.POPULARITY, comparison)
    assert entries(frequent) == entries(
        ColorPaletteHelper.get_close_image_palette(image, 16, PaletteMiningMethod.HISTOGRAM))
    with managed_error("ArgumentOutOfRangeException", "entries_count"):
        AdjustPalette.get_close_image_palette(image, 0, counted.NONE, comparison)
    with managed_error("ArgumentNullException", "image"):
        AdjustPalette.get_close_image_palette(None, 4, counted.NONE, comparison)


def test_downscale_palettes_have_the_upper_bits_of_the_most_frequent_colors(tmp_path: Path) -> None:
    for name, picture in (("few", few_colors()), ("many", noise(width=200, height=100))):
        found = entries(ColorPaletteHelper.get_downscale_palette(load(write(tmp_path / f"{name}.png", picture))))
        cells, counts = np.unique((picture.reshape(-1, 3) // 16) @ [256, 16, 1], return_counts=True)
        expected = cells[np.argsort(-counts, kind="stable")][:256]
        assert found == [0xFF000000 | (cell >> 8) * 0x110000 | (cell >> 4 & 15) * 0x1100 | (cell & 15) * 0x11
                         for cell in map(int, expected)]
    with managed_error("ArgumentNullException", "image"):
        ColorPaletteHelper.get_downscale_palette(None)


@pytest.mark.parametrize("count", [-2**31, -1, 0])
def test_a_palette_has_an_entry(tmp_path: Path, count: int) -> None:
    """Also where the image has a palette of one color."""
    png = png_files.Png(png_files.INDEXED, 8, np.zeros((3, 4, 1), np.uint8), chunks={b"PLTE": bytes([1, 2, 3])})
    (tmp_path / "a.png").write_bytes(png_files.to_bytes(png))
    image = load(tmp_path / "a.png")
    assert image.palette.entries_count == 1
    area, helper = image.bounds, ColorPaletteHelper
    calls: list[Callable[[int], Any]] = [
        lambda count: helper.get_close_image_palette(image, count),
        lambda count: helper.get_close_image_palette(image, count, PaletteMiningMethod.USE_CURRENT_PALETTE),
        lambda count: helper.get_close_image_palette(image, count, PaletteMiningMethod.HISTOGRAM),
        lambda count: helper.get_close_image_palette(image, area, count),
        lambda count: helper.get_close_image_palette(image, area, count, True),
        lambda count: helper.get_close_transparent_image_palette(image, count)]
    for call in calls:
        assert 0xFF010203 in entries(call(2))
        with managed_error("ArgumentOutOfRangeException", "'entries_count'", "1 to 256 colors"):
            call(count)


# ---- palettes of images


@pytest.mark.parametrize("suffix", [".png", ".gif", ".bmp"])
def test_the_palette_of_a_file(tmp_path: Path, suffix: str) -> None:
    path, source, colors = indexed(tmp_path / "a.png")
    if suffix != ".png":
        with Pillow.open(path) as picture:
            picture.save(tmp_path / f"a{suffix}")
    image = load(tmp_path / f"a{suffix}")
    assert image.use_palette
    assert entries(image.palette)[:16] == colors
    image.set_pixel(0, 0, Color.from_argb(255, 1, 1, 1))
    if (1, 1, 1) not in source.reshape(-1, 3).tolist():
        assert not image.use_palette
        assert image.palette is None


def test_true_colors_have_no_palette(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    assert not image.use_palette
    assert image.palette is None


def test_new_colors_for_old_indices(tmp_path: Path) -> None:
    path, source, colors = indexed(tmp_path / "a.png", 4)
    image = load(path)
    image.set_palette(ColorPalette(signed(FOUR)), False)
    image.save(str(tmp_path / "b.png"))
    index_of = {tuple(color): i for i, color in enumerate(rgb(colors).tolist())}
    expected = np.array([[rgb(FOUR)[index_of[tuple(pixel)]] for pixel in row] for row in source.tolist()])
    assert worst(read(tmp_path / "b.png", "RGB"), expected) == 0
    assert entries(image.palette) == FOUR
    with managed_error("ArgumentException", "index"):
        image.set_palette(ColorPalette(signed(FOUR[:2])), False)


def test_colors_are_brought_to_a_palette(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.set_palette(ColorPalette(signed(FOUR)), True)
    image.save(str(tmp_path / "b.png"))
    assert worst(read(tmp_path / "b.png", "RGB"), nearest(noise(), FOUR)) == 0
    assert image.use_palette
    with managed_error("ArgumentException", "257"):
        image.set_palette(ColorPalette([0] * 257), True)


@pytest.mark.parametrize("make", [
    lambda: made(PngOptions, color_type=PngColorType.INDEXED_COLOR),
    lambda: made(PngOptions, color_type=PngColorType.INDEXED_COLOR, bit_depth=2),
    lambda: made(BmpOptions, bits_per_pixel=8), lambda: made(BmpOptions, bits_per_pixel=4), GifOptions])
def test_saving_with_a_palette(tmp_path: Path, make: Any) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    options = make()
    options.palette = ColorPalette(signed(FOUR))
    path = tmp_path / "b"
    image.save(str(path), options)
    with Pillow.open(path) as picture:
        assert picture.mode == "P"
        table = np.array(picture.getpalette()).reshape(-1, 3)
        if picture.format != "GIF":
            assert table[:4].tolist() == rgb(FOUR).tolist()
    assert worst(read(path, "RGB"), nearest(noise(), FOUR)) == 0


def made(kind: Any, **properties: object) -> Any:
    """An options object with these properties."""
    options = kind()
    for name, value in properties.items():
        setattr(options, name, value)
    return options


def test_what_saving_with_a_palette_refuses(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    palette = ColorPalette(signed(FOUR))
    with managed_error("NotSupportedException", "palette"):
        image.save(str(tmp_path / "b.png"), made(PngOptions, palette=palette))
    with managed_error("ImageSaveException", "4 colors"):
        image.save(str(tmp_path / "b.png"), made(PngOptions, color_type=PngColorType.INDEXED_COLOR, bit_depth=1,
                                                 palette=palette))


def test_an_indexed_file_keeps_its_palette(tmp_path: Path) -> None:
    path, source, colors = indexed(tmp_path / "a.png", 16, 4)
    image = load(path)
    image.rotate_flip(RotateFlipType.ROTATE_180_FLIP_NONE)
    image.save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as picture:
        assert picture.mode == "P"
        assert np.array(picture.getpalette()).reshape(-1, 3)[:16].tolist() == rgb(colors).tolist()
    assert worst(read(tmp_path / "b.png", "RGB"), source[::-1, ::-1]) == 0


# ---- dithering


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_dither_to_few_bits(tmp_path: Path, bits: int) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    image.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, bits)
    assert image.bits_per_pixel == bits
    image.save(str(tmp_path / "b.png"))
    result = read(tmp_path / "b.png", "RGB")
    assert len(np.unique(result.reshape(-1, 3), axis=0)) <= 2**bits
    if bits == 8:
        assert np.abs(result - smooth().astype(int)).mean() < 12


@pytest.mark.parametrize("level", [32, 100, 200])
def test_dithering_keeps_the_mean(tmp_path: Path, level: int) -> None:
    image = load(write(tmp_path / "a.png", np.full((64, 64, 3), level, np.uint8)))
    image.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 1)
    image.save(str(tmp_path / "b.png"))
    result = read(tmp_path / "b.png", "RGB")
    assert set(np.unique(result)) <= {0, 255}
    assert abs(result.mean() - level) < 4


def test_threshold_takes_the_nearest_of_a_custom_palette(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.dither(DitheringMethod.THRESHOLD_DITHERING, 2, ColorPalette(signed(FOUR)))
    image.save(str(tmp_path / "b.png"))
    assert worst(read(tmp_path / "b.png", "RGB"), nearest(noise(), FOUR)) == 0


def test_what_dithering_refuses(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    for bits in (0, 9):
        with managed_error("ArgumentOutOfRangeException", "bits_count"):
            image.dither(DitheringMethod.THRESHOLD_DITHERING, bits)
    with managed_error("ArgumentException", "custom_palette"):
        image.dither(DitheringMethod.THRESHOLD_DITHERING, 1, ColorPalette(signed(FOUR)))


def diffused(source: Pixels, colors: list[int]) -> Pixels:
    """Floyd and Steinberg's diffusion, pixel by pixel; errors are kept in sixteenths and halves rounded away."""
    table = rgb(colors)
    errors = np.zeros((source.shape[0] + 1, source.shape[1] + 2, 3), int)
    result = np.zeros(source.shape, int)
    for y in range(source.shape[0]):
        for x in range(source.shape[1]):
            due = errors[y, x + 1]
            wanted = np.clip(source[y, x] + np.sign(due) * ((np.abs(due) + 8) // 16), 0, 255)
            result[y, x] = table[((wanted - table) ** 2).sum(-1).argmin()]
            left = wanted - result[y, x]
            errors[y, x + 2] += 7 * left
            errors[y + 1, x] += 3 * left
            errors[y + 1, x + 1] += 5 * left
            errors[y + 1, x + 2] += left
    return result


@pytest.mark.parametrize("count", [2, 5, 256])
def test_diffusion_pixel_by_pixel(tmp_path: Path, count: int) -> None:
    colors = [0xFF000000 | int(r) << 16 | int(g) << 8 | int(b)
              for r, g, b in np.random.default_rng(count).integers(0, 256, (count, 3))]
    image = load(write(tmp_path / "a.png", smooth()))
    image.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 8, ColorPalette(signed(colors)))
    assert worst(pixels_of(image, tmp_path), diffused(smooth(), colors)) == 0


def pixels_of(image: Any, tmp_path: Path) -> Pixels:
    """The colors, through a file with full color."""
    image.save(str(tmp_path / "pixels.bmp"), BmpOptions())
    return read(tmp_path / "pixels.bmp", "RGB")


def test_the_palette_of_a_large_picture_has_its_rare_colors(tmp_path: Path) -> None:
    source = smooth(width=900, height=700) // 3
    source[300:303, 400:403] = (255, 0, 255)
    image = load(write(tmp_path / "a.png", source))
    image.dither(DitheringMethod.THRESHOLD_DITHERING, 8)
    found = pixels_of(image, tmp_path)
    assert np.abs(found - source.astype(int)).mean() < 3
    assert np.abs(found[301, 401] - (255, 0, 255)).max() < 40
    frequent = entries(ColorPaletteHelper.get_close_image_palette(image, 256, PaletteMiningMethod.HISTOGRAM))
    colors, counts = np.unique(found.reshape(-1, 3) @ (65536, 256, 1), return_counts=True)
    order = np.lexsort((colors, -counts))
    assert frequent == (colors[order] | 0xFF000000).tolist()


@pytest.mark.parametrize("count", [16, 256])
def test_close_palettes_are_as_close_as_those_of_others(tmp_path: Path, count: int) -> None:
    """Of a picture like a photograph, with a few pixels of colors that it has nowhere else."""
    y, x = np.mgrid[0:500, 0:700]
    random = np.random.default_rng(1)
    bands = [120 + 60 * np.sin(x / (140 + 30 * band)) * np.cos(y / (170 - 20 * band)) + 40 * ((x // 90 + y // 70) % 2)
             + random.normal(0, 6, x.shape) for band in range(3)]
    source = np.clip(np.stack(bands, -1), 0, 255).astype(np.uint8)
    for i, color in enumerate(((255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0), (255, 0, 255))):
        source[10 * i, 5:9] = color

    def error(palette: Pixels) -> float:
        """The mean square of the distances of all pixels to their nearest entries."""
        colors, entries = source.reshape(-1, 3).astype(np.float32), palette.astype(np.float32)
        found = 0.0
        for part in np.array_split(colors, 20):
            squares = (part**2).sum(1)[:, None] - 2 * part @ entries.T + (entries**2).sum(1)
            found += float(np.maximum(squares.min(1), 0).sum())
        return found / source.size

    picture = Pillow.fromarray(source)
    others = [picture.quantize(count, method=method, dither=Pillow.Dither.NONE) for method in
              (Pillow.Quantize.MEDIANCUT, Pillow.Quantize.MAXCOVERAGE, Pillow.Quantize.FASTOCTREE)]
    best = min(error(np.array(other.getpalette()[:3 * count], np.uint8).reshape(-1, 3)) for other in others)
    image = load(write(tmp_path / "a.png", source))
    assert error(rgb(entries(ColorPaletteHelper.get_close_image_palette(image, count)))) < best


# ---- Resizing with settings


def resize_settings(count: int, method: ColorQuantizationMethod) -> ImageResizeSettings:
    settings = ImageResizeSettings()
    settings.mode = ResizeType.BILINEAR_RESAMPLE
    settings.entries_count, settings.color_quantization_method = count, method
    return settings


@pytest.mark.parametrize("method", list(ColorQuantizationMethod))
@pytest.mark.parametrize("count", [2, 16, 256])
def test_an_indexed_picture_stays_one_when_it_is_resized_with_settings(
        tmp_path: Path, count: int, method: ColorQuantizationMethod) -> None:
    path, _, _ = indexed(tmp_path / "a.png")
    true_color, image = load(path), load(path)
    true_color.resize(WIDTH * 2, HEIGHT * 2, ResizeType.BILINEAR_RESAMPLE)
    image.resize(WIDTH * 2, HEIGHT * 2, resize_settings(count, method))
    assert not true_color.use_palette and image.use_palette
    helper = AdjustPalette.get_close_image_palette(true_color, count, method, ColorCompareMethod.EUCLIDIAN)
    colors = entries(image.palette)
    assert colors == entries(helper) and len(colors) <= count
    expected = nearest(pixels(true_color, tmp_path), colors)
    assert worst(pixels(image, tmp_path), expected) == 0


def test_settings_are_those_of_palettes_only(tmp_path: Path) -> None:
    plain, with_settings = (load(write(tmp_path / "a.png", noise())) for _ in range(2))
    plain.resize(20, 15, ResizeType.BILINEAR_RESAMPLE)
    with_settings.resize(20, 15, resize_settings(2, ColorQuantizationMethod.NONE))
    assert worst(pixels(plain, tmp_path), pixels(with_settings, tmp_path)) == 0
    for count in (0, 257):
        with managed_error("ArgumentOutOfRangeException", "ImageResizeSettings.EntriesCount", str(count)):
            plain.resize_width_proportionally(10, resize_settings(count, ColorQuantizationMethod.NONE))


def test_a_clear_color_stays_clear(tmp_path: Path) -> None:
    picture = Pillow.fromarray(np.repeat(np.arange(4, dtype=np.uint8), 4 * 40).reshape(16, 40), "P")
    picture.putpalette([255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 9, 9])
    picture.save(tmp_path / "a.png", transparency=0)
    image = load(tmp_path / "a.png")
    image.resize_height_proportionally(8, resize_settings(4, ColorQuantizationMethod.POPULARITY))
    assert image.use_palette and image.get_pixel(5, 0).a == 0 and image.get_pixel(5, 4).a == 255
