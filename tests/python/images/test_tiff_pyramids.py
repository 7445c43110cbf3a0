"""TIFF files with smaller copies of their pages: a picture that is made small behind its load is made of a copy."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Color, DataRecoveryMode, Image, LoadOptions, RasterImage, Rectangle, ResizeType
from zelmor.imaging.fileformats.tiff import TiffImage

from support.image_oracles import Pixels, managed_error, raster
from support.tiff_files import (BITS, BLACK_IS_ZERO, COLOR_MAP, ORIENTATION, PALETTE, PROFILE, RGB, SAMPLE_FORMAT,
                                STRIP_OFFSETS, SUB_DIRECTORIES, SUBFILE_TYPE, TILE_OFFSETS, TILE_SIZES, Form, Layer,
                                Tags, layered_tiff, pages, tool)

REDUCED, OTHER_PAGE, REDUCED_MASK = 1, 2, 5


def tiff(path: Path) -> TiffImage:
    return TiffImage._cast_to(Image.load(str(path))).value


def colors_of(image: RasterImage) -> Pixels:
    colors = np.array(list(image.load_argb_32_pixels(image.bounds)), np.int64)
    return np.stack([colors >> shift & 0xFF for shift in (16, 8, 0)], -1).reshape(image.height, image.width, 3)


def plain(value: int, width: int, height: int, *below: Layer, bands: int = 1, bits: int = 8,
          tags: Tags | None = None) -> Layer:
    """A picture of one value, which tells where pixels come from."""
    form = Form("plain", RGB if bands == 3 else BLACK_IS_ZERO, bands, bits, tags=tags or {})
    samples = np.full((height, width, bands), value * (257 if bits == 16 else 1), form.type())
    return Layer(samples, form, list(below))


def copy(value: int, width: int, height: int, *, kind: int = REDUCED, bands: int = 1, bits: int = 8,
         tags: Tags | None = None) -> Layer:
    return plain(value, width, height, bands=bands, bits=bits, tags={SUBFILE_TYPE: (kind,), **(tags or {})})


def value_of(image: RasterImage, width: int, height: int, kind: ResizeType = ResizeType.LANCZOS_RESAMPLE) -> int:
    """The one value of the picture once it has that size."""
    image.resize(width, height, kind)
    values = np.unique(colors_of(image))
    assert len(values) == 1
    return int(values[0])


PAGE, HALF, QUARTER, EIGHTH = 10, 20, 30, 40


def pyramid(below: bool) -> bytes:
    copies = [copy(HALF, 400, 300), copy(QUARTER, 200, 150), copy(EIGHTH, 100, 75)]
    return layered_tiff([plain(PAGE, 800, 600, *copies)] if below else [plain(PAGE, 800, 600), *copies])


@pytest.mark.parametrize("below", [False, True])
@pytest.mark.parametrize(("size", "expected"), [
    ((50, 37), EIGHTH), ((10, 7), EIGHTH), ((51, 37), QUARTER), ((50, 38), QUARTER), ((100, 75), QUARTER),
    ((200, 150), HALF), ((200, 151), PAGE), ((201, 150), PAGE), ((799, 599), PAGE), ((20, 600), PAGE),
    ((1600, 1200), PAGE),
])
def test_the_smallest_copy_has_twice_the_sides(tmp_path: Path, below: bool, size: tuple[int, int],
                                               expected: int) -> None:
    path = tmp_path / "a.tif"
    path.write_bytes(pyramid(below))
    assert value_of(tiff(path).frames[0], *size) == expected


@pytest.mark.parametrize("below", [False, True])
def test_nothing_but_a_reduction_behind_the_load_takes_a_copy(tmp_path: Path, below: bool) -> None:
    path = tmp_path / "a.tif"
    path.write_bytes(pyramid(below))
    image = tiff(path)
    assert len(image.frames) == (1 if below else 4)
    assert [frame.width for frame in image.frames] == ([800] if below else [800, 400, 200, 100])
    assert np.unique(colors_of(image.frames[0])).tolist() == [PAGE]
    assert value_of(image.frames[0], 50, 37) == PAGE  # it has its pixels
    assert value_of(tiff(path).frames[0], 50, 37, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE) == PAGE
    cut = tiff(path).frames[0]
    cut.crop(Rectangle(0, 0, 400, 300))
    assert value_of(cut, 25, 18) == PAGE
    changed = tiff(path).frames[0]
    changed.set_pixel(0, 0, Color.from_argb(255, PAGE, PAGE, PAGE))
    assert value_of(changed, 50, 37) == PAGE
    recovered = LoadOptions()
    recovered.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
    whole = TiffImage._cast_to(Image.load(str(path), recovered)).value
    assert value_of(whole.frames[0], 50, 37) == PAGE


def test_each_page_has_its_own_copies(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    path.write_bytes(layered_tiff([
        plain(PAGE, 800, 600), copy(HALF, 400, 300), copy(1, 300, 225, kind=REDUCED_MASK), copy(QUARTER, 200, 150),
        plain(110, 800, 600), copy(120, 400, 300),
        plain(210, 900, 100, copy(220, 300, 33)),
    ]))
    image = tiff(path)
    assert len(image.frames) == 7
    assert [value_of(image.frames[i], 80, 60) for i in (4, 0, 1, 3)] == [120, QUARTER, HALF, QUARTER]
    assert value_of(image.frames[6], 90, 10) == 220
    for frame, expected in ((image.frames[2], 1), (image.frames[5], 120)):
        assert value_of(frame, 20, 15) == expected


@pytest.mark.parametrize("below", [False, True])
@pytest.mark.parametrize("other", [
    copy(HALF, 400, 300, kind=0), copy(HALF, 400, 300, kind=OTHER_PAGE), copy(HALF, 400, 300, kind=REDUCED_MASK),
    copy(HALF, 400, 300, bands=3), copy(HALF, 400, 300, bits=16), copy(HALF, 400, 300, tags={PROFILE: tuple(b"icc!")}),
    copy(HALF, 400, 300, tags={SAMPLE_FORMAT: (2,)}), copy(HALF, 400, 300, tags={ORIENTATION: (3,)}),
    copy(HALF, 300, 300), copy(HALF, 400, 297), copy(HALF, 400, 303), copy(HALF, 800, 600), copy(HALF, 1600, 1200),
    copy(HALF, 400, 300, tags={STRIP_OFFSETS: (1 << 30,)}), copy(HALF, 400, 300, tags={BITS: (7,)}),
])
def test_what_is_no_copy_is_not_taken(tmp_path: Path, below: bool, other: Layer) -> None:
    path = tmp_path / "a.tif"
    path.write_bytes(layered_tiff([plain(PAGE, 800, 600, other)] if below else [plain(PAGE, 800, 600), other]))
    assert value_of(tiff(path).frames[0], 80, 60) == PAGE


@pytest.mark.parametrize("below", [False, True])
@pytest.mark.parametrize("sides", [(400, 299), (400, 301), (399, 300)])
def test_sides_may_be_rounded_either_way(tmp_path: Path, below: bool, sides: tuple[int, int]) -> None:
    other = copy(HALF, *sides)
    path = tmp_path / "a.tif"
    path.write_bytes(layered_tiff([plain(PAGE, 800, 600, other)] if below else [plain(PAGE, 800, 600), other]))
    assert value_of(tiff(path).frames[0], 80, 60) == HALF


def test_a_copy_without_the_last_columns_is_not_stretched(tmp_path: Path) -> None:
    """Of 1023 columns, halved four times, 63 are left, which are the first 1008."""
    path = tmp_path / "a.tif"
    wave = (128 + 100 * np.sin(np.arange(1023) / 40)).round()
    blocks = wave[:1008].reshape(63, 16).mean(1).round()
    whole, small = (np.tile(row.astype(np.uint8)[:, None], (height, 1, 1)) for row, height in ((wave, 64), (blocks, 4)))
    path.write_bytes(layered_tiff([
        Layer(whole, Form("page", BLACK_IS_ZERO, 1)),
        Layer(small, Form("copy", BLACK_IS_ZERO, 1, tags={SUBFILE_TYPE: (REDUCED,)})),
    ]))
    expected = np.asarray(Pillow.fromarray(whole[:, :, 0]).resize((31, 2), Pillow.Resampling.LANCZOS)).astype(int)
    image = tiff(path).frames[0]
    image.resize(31, 2, ResizeType.LANCZOS_RESAMPLE)
    found = colors_of(image)[:, :, 0]
    assert not np.array_equal(found, expected)  # it is made of the copy
    assert np.abs(found - expected)[:, :-3].max() <= 1  # the kernel reaches three pixels, to those that are missing


def test_copies_that_may_be_of_other_pages_are_not_taken(tmp_path: Path) -> None:
    """Behind two pages of a size, or behind a page of others, nothing tells whose copies they are."""
    path = tmp_path / "a.tif"
    for index, layers in [
        (1, [plain(PAGE, 800, 600), plain(PAGE, 800, 600), copy(HALF, 400, 300)]),
        (0, [plain(PAGE, 800, 600), plain(110, 800, 600), copy(HALF, 400, 300)]),
        (0, [plain(PAGE, 800, 600), copy(HALF, 400, 300), copy(120, 400, 300)]),
        (0, [plain(PAGE, 800, 600), copy(QUARTER, 200, 150), copy(HALF, 400, 300)]),
    ]:
        path.write_bytes(layered_tiff(layers))
        assert value_of(tiff(path).frames[index], 80, 60) == PAGE


def test_a_copy_that_makes_no_sense_leaves_the_next_one(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    path.write_bytes(layered_tiff([plain(PAGE, 800, 600), copy(HALF, 400, 300),
                                   copy(QUARTER, 200, 150, tags={STRIP_OFFSETS: (1 << 30,)})]))
    assert value_of(tiff(path).frames[0], 80, 60) == HALF


def test_copies_of_few_bits_and_of_indices_are_no_means(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    ramp = tuple(int(value) * 257 for value in np.arange(256)) * 3
    layers = [Layer(np.full((height, width, 1), value, np.uint8), Form("indices", PALETTE, 1, tags=tags))
              for width, height, value, tags in ((800, 600, PAGE, {COLOR_MAP: ramp}),
                                                 (400, 300, HALF, {COLOR_MAP: ramp, SUBFILE_TYPE: (REDUCED,)}))]
    path.write_bytes(layered_tiff(layers))
    assert value_of(tiff(path).frames[0], 80, 60) == PAGE
    path.write_bytes(layered_tiff([plain(0, 800, 600, bits=1), copy(1, 400, 300, bits=1)]))
    assert value_of(tiff(path).frames[0], 80, 60) == 0


def waves(width: int, height: int) -> Pillow.Image:
    y, x = np.mgrid[0:height, 0:width]
    bands = [np.sin(x / 60) * 80 + 128, np.cos(y / 50) * 80 + 128, (x + y) / (width + height) * 255]
    return Pillow.fromarray(np.stack(bands, -1).astype(np.uint8))


def by_vips(path: Path, *options: str) -> Pillow.Image:
    """Writes a pyramid of odd sides in the way of vips."""
    picture = waves(999, 701)
    picture.save(path.with_suffix(".png"), compress_level=1,
                 icc_profile=ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
    tool("vips", "tiffsave", path.with_suffix(".png"), path, "--pyramid", "--tile", "--tile-width", 64,
         "--tile-height", 64, *options)
    return picture


def without_tiles(path: Path, directory: Tags) -> None:
    """Sets the data of a picture to zeros, which no decoder takes for a tile."""
    data = bytearray(path.read_bytes())
    for at, size in zip(directory[TILE_OFFSETS], directory[TILE_SIZES], strict=True):
        data[at:at + size] = bytes(size)
    path.write_bytes(data)


@pytest.mark.parametrize(("options", "most"), [(["deflate"], 3), (["jpeg", "--Q", "95"], 20)])
@pytest.mark.parametrize("layout", [[], ["--subifd"], ["--bigtiff"], ["--subifd", "--bigtiff"]])
def test_pyramids_of_vips(tmp_path: Path, layout: list[str], options: list[str], most: int) -> None:
    """The picture made of a copy looks as if it were made of the page, whose data nobody reads.

    Each level is rounded down, and JPEG brings what is behind the edge of the picture into its last tiles.
    """
    path = tmp_path / "a.tif"
    picture = by_vips(path, "--compression", *options, *layout)
    found = pages(path.read_bytes())
    assert len(found) == (1 if "--subifd" in layout else 5)
    assert len(found[0].tags.get(SUB_DIRECTORIES, ())) == (4 if "--subifd" in layout else 0)
    without_tiles(path, found[0].tags)
    for width, height in [(120, 84), (60, 42), (40, 150), (1, 1)]:
        image = tiff(path)
        assert (image.page_count, image.width) == (len(found), 999)
        image.frames[0].resize(width, height, ResizeType.LANCZOS_RESAMPLE)
        expected = np.asarray(picture.resize((width, height), Pillow.Resampling.LANCZOS)).astype(int)
        difference = np.abs(colors_of(image.frames[0]) - expected)
        assert difference.max() <= most and difference.mean() < 2
    image = tiff(path)
    with managed_error("ImageLoadException", str(path)):
        image.frames[0].resize(500, 350, ResizeType.LANCZOS_RESAMPLE)
        colors_of(image.frames[0])


def test_damage_of_a_copy_is_an_error(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    by_vips(path, "--compression", "deflate")
    without_tiles(path, pages(path.read_bytes())[1].tags)
    image = tiff(path)
    with managed_error("ImageLoadException", str(path)):
        image.frames[0].resize(200, 140, ResizeType.LANCZOS_RESAMPLE)
        colors_of(image.frames[0])
    smaller = raster(Image.load(str(path)))
    smaller.resize(60, 42, ResizeType.LANCZOS_RESAMPLE)
    assert (smaller.width, smaller.height) == (60, 42)
    whole = tiff(path)
    assert colors_of(whole.frames[0]).shape == (701, 999, 3)


COPIED: dict[str, Callable[[TiffImage], None]] = {
    "image": lambda image: image.resize(60, 42, ResizeType.LANCZOS_RESAMPLE),
    "width": lambda image: image.resize_width_proportionally(60, ResizeType.LANCZOS_RESAMPLE),
}


@pytest.mark.parametrize("way", COPIED)
def test_all_ways_of_asking(tmp_path: Path, way: str) -> None:
    path = tmp_path / "a.tif"
    picture = by_vips(path, "--compression", "deflate", "--subifd")
    without_tiles(path, pages(path.read_bytes())[0].tags)
    image = tiff(path)
    COPIED[way](image)
    image.save(str(tmp_path / "b.png"))
    found = np.asarray(Pillow.open(tmp_path / "b.png").convert("RGB")).astype(int)
    expected = np.asarray(picture.resize((60, 42), Pillow.Resampling.LANCZOS)).astype(int)
    assert np.abs(found - expected).max() <= 3
