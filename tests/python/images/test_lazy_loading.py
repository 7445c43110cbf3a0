"""Loading reads the header: pixels are decoded when they are needed, whatever has become of the file meanwhile."""

from __future__ import annotations

import io
import os
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path
from typing import cast

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, RasterCachedMultipageImage, RasterImage, Rectangle, ResizeType, RotateFlipType
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, JpegOptions, PngOptions, TiffOptions

from support.image_oracles import Pixels, load, managed_error, noise, raster

LOSSLESS = ["png", "tif", "bmp", "gif", "webp"]
ALL = [*LOSSLESS, "jpg"]
BIG = 320  # pixels to a side: its files are larger than those that are read at once


def big() -> Pixels:
    """Noise that no format packs into less than the size of a file that is kept open."""
    return noise(3, 7, BIG, BIG)


def written(path: Path) -> Pixels:
    """Writes the noise, and gives what a program that reads the whole file at once sees in it."""
    picture = Pillow.fromarray(big())
    if path.suffix == ".webp":
        picture.save(path, lossless=True)
    elif path.suffix == ".gif":
        picture.quantize(256).resize((2 * BIG, 2 * BIG), Pillow.Resampling.NEAREST).save(path)
    elif path.suffix == ".jpg":
        picture.resize((2 * BIG, 2 * BIG), Pillow.Resampling.NEAREST).save(path, quality=95)
    else:
        picture.save(path)
    return np.asarray(Pillow.open(path).convert("RGB"))


def pixels_of(image: Image) -> Pixels:
    view = raster(image)
    colors = np.array(list(view.load_argb_32_pixels(view.bounds)), np.int64).astype(np.uint32)
    return np.stack([(colors >> shift & 0xFF).astype(np.uint8) for shift in (16, 8, 0)], -1).reshape(
        view.height, view.width, 3)


def replaced(path: Path) -> None:
    other = path.with_name("other")
    other.write_bytes(b"not a picture at all" * 20000)
    os.replace(other, path)


def saved_over(path: Path) -> None:
    with load(str(path)) as other:
        other.crop(Rectangle(0, 0, 5, 5))
        other.save(str(path))


FATES: dict[str, Callable[[Path], None]] = {"deleted": Path.unlink, "replaced": replaced, "saved over": saved_over}


@pytest.mark.parametrize("fate", FATES)
@pytest.mark.parametrize("extension", ALL)
def test_a_file_may_go_once_it_is_loaded(tmp_path: Path, extension: str, fate: str) -> None:
    path = tmp_path / f"a.{extension}"
    expected = written(path)
    image = load(str(path))
    FATES[fate](path)
    assert (image.width, image.height) == expected.shape[1::-1]
    assert not image.is_cached
    difference = np.abs(pixels_of(image).astype(int) - expected).max()
    assert difference <= (2 if extension == "jpg" else 0)
    assert image.is_cached


@pytest.mark.parametrize("extension", ALL)
def test_an_image_saves_over_the_file_that_it_was_loaded_from(tmp_path: Path, extension: str) -> None:
    path = tmp_path / f"a.{extension}"
    expected = written(path)
    with load(str(path)) as image:
        image.save()
        image.save()
        assert np.abs(pixels_of(image).astype(int) - expected).max() <= (2 if extension == "jpg" else 0)
    assert np.asarray(Pillow.open(path)).shape[:2] == expected.shape[:2]


@pytest.mark.parametrize("extension", ALL)
def test_a_file_of_python_may_be_closed_behind_the_load(tmp_path: Path, extension: str) -> None:
    path = tmp_path / f"a.{extension}"
    expected = written(path)
    with open(path, "rb") as file:
        image = Image.load(file)
    assert np.abs(pixels_of(image).astype(int) - expected).max() <= (2 if extension == "jpg" else 0)


def emptied(path: Path) -> None:
    with open(path, "r+b") as file:
        file.truncate(0)


def cut(path: Path) -> None:
    with open(path, "r+b") as file:
        file.truncate(path.stat().st_size // 2)


def overwritten(path: Path) -> None:
    with open(path, "r+b") as file:
        file.seek(path.stat().st_size // 2)
        file.write(b"\0" * 1000)
    os.utime(path, ns=(1, 1))


@pytest.mark.parametrize("change", [emptied, cut, overwritten])
@pytest.mark.parametrize("extension", ALL)
def test_a_file_that_was_changed_in_place_is_an_error(tmp_path: Path, extension: str,
                                                      change: Callable[[Path], None]) -> None:
    path = tmp_path / f"a.{extension}"
    written(path)
    image = load(str(path))
    change(path)
    for _ in range(2):
        with managed_error("ImageLoadException", f"Cannot load '{path}'",
                           "the file was changed after the image was loaded from it"):
            image.get_pixel(0, 0)
    with managed_error("ImageLoadException", str(path)):
        image.save(str(tmp_path / "b.png"), PngOptions())
    assert not (tmp_path / "b.png").exists()


@pytest.mark.parametrize("extension", LOSSLESS)
def test_steps_before_the_pixels_are_needed(tmp_path: Path, extension: str) -> None:
    """The same steps give the same on an image that is decoded already and on one that is not, saved or looked at."""
    path = tmp_path / f"a.{extension}"
    written(path)

    def steps(image: RasterImage) -> RasterImage:
        image.crop(Rectangle(3, 5, 200, 150))
        image.resize(90, 70, ResizeType.LANCZOS_RESAMPLE)
        image.crop(Rectangle(10, 0, 60, 70))
        image.resize(120, 35, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
        return image

    decoded = load(str(path))
    decoded.cache_data()
    expected = pixels_of(steps(decoded))
    assert np.array_equal(pixels_of(steps(load(str(path)))), expected)
    image = steps(load(str(path)))
    for name in ("b.png", "c.png"):
        image.save(str(tmp_path / name), PngOptions())
        assert np.array_equal(np.asarray(Pillow.open(tmp_path / name).convert("RGB")), expected)
    assert np.array_equal(pixels_of(image), expected)


@pytest.mark.parametrize("kernel", [k for k in ResizeType if k.name not in ("NONE", "CUSTOM")])
@pytest.mark.parametrize("size", [(100, 90), (BIG, 90), (90, BIG), (700, 900), (40, 900), (900, 40)])
def test_every_kernel_before_the_pixels_are_needed(tmp_path: Path, kernel: ResizeType, size: tuple[int, int]) -> None:
    path = tmp_path / "a.png"
    alpha = np.dstack([big(), noise(1, 9, BIG, BIG)])
    Pillow.fromarray(alpha).save(path)
    first, second = load(str(path)), load(str(path))
    first.cache_data()
    for image in (first, second):
        image.resize(*size, kernel)
    assert np.array_equal(pixels_of(first), pixels_of(second))


def test_a_reduction_behind_the_load_is_the_decoders(tmp_path: Path) -> None:
    """A photograph is not decoded whole for a small picture of it, which looks as if it had been."""
    y, x = np.mgrid[0:1400, 0:2100]
    smooth = np.stack([np.sin(x / 90) * 80 + 128, np.cos(y / 70) * 80 + 128, (x + y) / 3500 * 255], -1)
    path = tmp_path / "a.jpg"
    Pillow.fromarray(smooth.astype(np.uint8)).save(path, quality=95)
    for width, height in [(100, 66), (320, 213), (101, 67), (500, 333)]:
        image = load(str(path))
        image.resize(width, height, ResizeType.LANCZOS_RESAMPLE)
        expected = np.asarray(Pillow.open(path).resize((width, height), Pillow.Resampling.LANCZOS))
        assert np.abs(pixels_of(image).astype(int) - expected).max() <= 3


@pytest.mark.parametrize(("name", "options"), [("a.jpg", {"quality": 95}), ("a.webp", {"quality": 90}),
                                               ("a.jp2", {"irreversible": False})])
def test_a_reduction_tells_that_it_is_the_decoders(tmp_path: Path, name: str, options: dict[str, object]) -> None:
    """Of noise, means of blocks by the decoder are other numbers than those by the kernel alone, and not far from them.

    A picture that is decoded already, one that is hardly reduced, and one whose pixels are picked have the latter.
    """
    path = tmp_path / name
    Pillow.fromarray(noise(3, 7, 640, 480)).save(path, **options)

    def reduced(width: int, kind: ResizeType, decoded: bool) -> Pixels:
        image = load(str(path))
        if decoded:
            image.cache_data()
        image.resize(width, width * 3 // 4, kind)
        return pixels_of(image).astype(int)

    for width in (80, 40):
        found, by_kernel = (reduced(width, ResizeType.LANCZOS_RESAMPLE, decoded) for decoded in (False, True))
        assert 0 < np.abs(found - by_kernel).mean() < 12
    for width, kind in ((400, ResizeType.LANCZOS_RESAMPLE), (80, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)):
        assert np.array_equal(reduced(width, kind, False), reduced(width, kind, True))


def test_copies_share_one_decoding(tmp_path: Path) -> None:
    """Parts that are cut from copies of one loaded image are those of its pixels, however often they are asked for."""
    path = tmp_path / "a.tif"
    expected = written(path)
    image = load(str(path))
    for number in range(4):
        area = Rectangle(number * 70, number * 60, 50, 40)
        image.save(str(tmp_path / "part.png"), PngOptions(), area)
        part = np.asarray(Pillow.open(tmp_path / "part.png").convert("RGB"))
        assert np.array_equal(part, expected[area.y:area.y + 40, area.x:area.x + 50])
    image.set_pixel(0, 0, Color.from_argb(255, 1, 2, 3))
    assert tuple(pixels_of(image)[0, 0]) == (1, 2, 3)
    image.save(str(tmp_path / "b.bmp"), BmpOptions())
    assert np.asarray(Pillow.open(tmp_path / "b.bmp"))[0, 0].tolist() == [1, 2, 3]
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    assert np.array_equal(pixels_of(image)[1:], np.rot90(expected, -1)[1:])


def pages(path: Path, count: int) -> list[Pixels]:
    made = [noise(1, number, 300, 200) for number in range(count)]
    first, *others = [Pillow.fromarray(page) for page in made]
    first.save(path, save_all=True, append_images=others)
    return made


def test_one_page_of_many(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    made = pages(path, 40)
    image = cast(RasterCachedMultipageImage, RasterCachedMultipageImage._cast_to(Image.load(str(path))).value)
    assert len(image.pages) == image.page_count == 40
    page = image.pages[33]
    assert (page.width, page.height) == (300, 200)
    assert not page.is_cached
    assert np.array_equal(pixels_of(page)[:, :, 0], made[33])
    assert page.is_cached
    assert not image.pages[32].is_cached
    image.cache_data()
    assert image.is_cached
    path.unlink()
    for number in (0, 39, 7, 33):
        assert np.array_equal(pixels_of(image.pages[number])[:, :, 0], made[number])


def test_pages_are_written_however_often(tmp_path: Path) -> None:
    path = tmp_path / "a.tif"
    made = pages(path, 12)
    image = Image.load(str(path))
    for name in ("b.tif", "c.tif"):
        image.save(str(tmp_path / name), TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB))
        with Pillow.open(tmp_path / name) as file:
            for number, page in enumerate(made):
                file.seek(number)
                assert np.array_equal(np.asarray(file)[:, :, 1], page)
    assert not image.is_cached


CHILD = """
import resource, sys
from zelmor.imaging import Image
image = Image.load(sys.argv[1])
image.width
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
image.save(sys.argv[2])
print(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before)
"""


def test_a_picture_is_copied_without_being_in_memory(tmp_path: Path) -> None:
    """Of 8000 by 6000 pixels, which are 144 MB, a few rows are enough; the file of such a plain one is small."""
    path = tmp_path / "a.png"
    Pillow.new("RGB", (8000, 6000), (10, 200, 30)).save(path)
    done = subprocess.run([sys.executable, "-c", CHILD, str(path), str(tmp_path / "b.png")], capture_output=True,
                          text=True, check=True)
    assert int(done.stdout) < 40 * 1024
    assert Pillow.open(tmp_path / "b.png").getpixel((7999, 5999)) == (10, 200, 30)


def test_damage_is_found_when_pixels_are_needed(tmp_path: Path) -> None:
    """A file that is cut off is loaded; needing its pixels is an error each time, and no file is written."""
    data = io.BytesIO()
    Pillow.fromarray(big()).save(data, "PNG")
    image = Image.load(io.BytesIO(data.getvalue()[:-len(data.getvalue()) // 3]))
    assert image.width == BIG
    target = tmp_path / "b.jpg"
    for _ in range(2):
        with managed_error("ImageLoadException", "Cannot load the image from the stream", "PNG"):
            image.save(str(target), JpegOptions())
        assert not target.exists()
        with managed_error("ImageLoadException", "Cannot load the image from the stream", "PNG"):
            raster(image).cache_data()
