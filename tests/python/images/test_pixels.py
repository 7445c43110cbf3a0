"""Single pixels, replaced colors, and pixels in premultiplied form."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, RotateFlipType
from zelmor.imaging.fileformats.bmp import BmpImage

from support.child import run_child
from support.image_oracles import HEIGHT, WIDTH, few_colors, load, managed_error, noise, pixels, worst, write
from support.runtimes import embedded_only


def signed(argb: int) -> int:
    """A packed color as the signed integer that the API uses."""
    return argb - 2**32 if argb >= 2**31 else argb


def test_every_pixel_is_read(tmp_path: Path) -> None:
    source = noise(4, width=9, height=7)
    image = load(write(tmp_path / "a.png", source))
    for y in range(7):
        for x in range(9):
            r, g, b, a = (int(v) for v in source[y, x])
            assert image.get_argb_32_pixel(x, y) == signed(a << 24 | r << 16 | g << 8 | b)
            color = image.get_pixel(x, y)
            assert (color.r, color.g, color.b, color.a) == (r, g, b, a)


def test_written_pixels_stand_in_the_file(tmp_path: Path) -> None:
    source = noise(4)
    image = load(write(tmp_path / "a.png", source))
    image.set_pixel(0, 0, Color.from_argb(1, 2, 3, 4))
    image.set_argb_32_pixel(WIDTH - 1, HEIGHT - 1, signed(0xFEDCBA98))
    source[0, 0] = (2, 3, 4, 1)
    source[-1, -1] = (0xDC, 0xBA, 0x98, 0xFE)
    assert worst(pixels(image, tmp_path, "RGBA"), source) == 0


def test_an_image_without_alpha_drops_it(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    image.set_argb_32_pixel(2, 2, signed(0x10203040))
    assert image.get_argb_32_pixel(2, 2) == signed(0xFF203040)


def test_a_gray_image_takes_colors(tmp_path: Path) -> None:
    source = noise(1)
    image = load(write(tmp_path / "a.png", source))
    image.set_pixel(5, 6, Color.from_argb(255, 250, 20, 30))
    expected = np.repeat(source[..., None], 3, -1)
    expected[6, 5] = (250, 20, 30)
    assert worst(pixels(image, tmp_path), expected) == 0


@pytest.mark.parametrize("x, y, parameter, value", [(-1, 0, "x", "-1"), (WIDTH, 0, "x", str(WIDTH)), (0, -1, "y", "-1"),
                                                    (0, HEIGHT, "y", str(HEIGHT)), (2**31 - 1, 0, "x", "2147483647")])
def test_pixels_outside(tmp_path: Path, x: int, y: int, parameter: str, value: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    calls: list[Callable[[], object]] = [
        lambda: image.get_pixel(x, y), lambda: image.get_argb_32_pixel(x, y),
        lambda: image.set_argb_32_pixel(x, y, 0), lambda: image.set_pixel(x, y, Color.red)]
    for call in calls:
        with managed_error("ArgumentOutOfRangeException", f"'{parameter}'", value):
            call()


@pytest.mark.parametrize("tolerance", [0, 5, 255])
@pytest.mark.parametrize("packed", [False, True])
def test_replace_color(tmp_path: Path, tolerance: int, packed: bool) -> None:
    source = noise(3)
    source[:20] = source[:20] // 16 + 100
    image = load(write(tmp_path / "a.png", source))
    if packed:
        image.replace_color(signed(0xFF666666), tolerance, signed(0xFF010203))
    else:
        image.replace_color(Color.from_argb(255, 0x66, 0x66, 0x66), tolerance, Color.from_argb(255, 1, 2, 3))
    near = (np.abs(source.astype(int) - 0x66) <= tolerance).all(-1)
    source[near] = (1, 2, 3)
    assert worst(pixels(image, tmp_path), source) == 0


def test_replace_argb_sees_alpha(tmp_path: Path) -> None:
    source = np.zeros((4, 4, 4), np.uint8)
    source[:2] = (10, 20, 30, 255)
    source[2:] = (10, 20, 30, 100)
    image = load(write(tmp_path / "a.png", source))
    image.replace_argb(signed(0xFF0A141E), 0, signed(0x80FFFFFF))
    result = pixels(image, tmp_path, "RGBA")
    assert (result[:2] == (255, 255, 255, 128)).all()
    assert (result[2:] == (10, 20, 30, 100)).all()


@pytest.mark.parametrize("packed", [False, True])
def test_replace_non_transparent_colors(tmp_path: Path, packed: bool) -> None:
    source = noise(4)
    image = load(write(tmp_path / "a.png", source))
    image.replace_non_transparent_colors(signed(0xFF0A0B0C) if packed else Color.from_argb(255, 10, 11, 12))
    result = pixels(image, tmp_path, "RGBA")
    assert (result[..., :3] == (10, 11, 12)).all()
    assert np.array_equal(result[..., 3], source[..., 3])


def test_premultiplied_pixels(tmp_path: Path) -> None:
    source = np.zeros((2, 2, 4), np.uint8)
    source[:] = (200, 100, 50, 128)
    image = load(write(tmp_path / "a.png", source))
    assert not image.premultiply_components
    image.premultiply_components = True
    color = image.get_pixel(0, 0)
    assert (color.a, color.r, color.g, color.b) == (128, 100, 50, 25)
    image.set_pixel(1, 1, Color.from_argb(51, 51, 0, 10))
    image.premultiply_components = False
    color = image.get_pixel(1, 1)
    assert (color.a, color.r, color.g, color.b) == (51, 255, 0, 50)


def test_an_image_counts_its_opacity(tmp_path: Path) -> None:
    assert load(write(tmp_path / "a.png", noise(3))).image_opacity == 1.0
    half = np.zeros((4, 4, 4), np.uint8)
    half[:2, :, 3] = 255
    assert load(write(tmp_path / "b.png", half)).image_opacity == 0.5


def test_resolution_is_set_and_saved(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", few_colors()))
    image.set_resolution(300.0, 150.0)
    assert (image.horizontal_resolution, image.vertical_resolution) == (300.0, 150.0)
    image.horizontal_resolution = 200.0
    image.vertical_resolution = 100.0
    from PIL import Image as Pillow
    for extension in ("png", "jpg", "tif", "bmp"):
        image.save(str(tmp_path / f"b.{extension}"))
        with Pillow.open(tmp_path / f"b.{extension}") as copy:
            density = copy.info["jfif_density" if extension == "jpg" else "dpi"]
            assert density == pytest.approx((200, 100), abs=0.6)
    assert worst(pixels(image, tmp_path), few_colors()) == 0


@pytest.mark.parametrize("value", [0.0, -1.0, float("nan"), float("inf")])
def test_a_resolution_is_positive(tmp_path: Path, value: float) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", "dpi_y"):
        image.set_resolution(96.0, value)
    image.save(str(tmp_path / "a.bmp"))
    for each in (image, BmpImage._cast_to(load(tmp_path / "a.bmp")).value):
        for name in ("horizontal_resolution", "vertical_resolution"):
            with managed_error("ArgumentOutOfRangeException", "'value'"):
                setattr(each, name, value)
            assert getattr(each, name) == pytest.approx(96.0, abs=0.02)
            setattr(each, name, 300.0)
            assert getattr(each, name) == 300.0


def test_two_images_of_one_file_are_apart(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    one, other = load(path), load(path)
    one.set_argb_32_pixel(0, 0, 0)
    assert worst(pixels(other, tmp_path), noise()) == 0


def test_pixels_after_many_operations(tmp_path: Path) -> None:
    """Pixels are changed in place between operations, so that a stale cached result would show."""
    source = noise(3)
    image = load(write(tmp_path / "a.png", source))
    for step in range(20):
        image.set_argb_32_pixel(step, step, signed(0xFF000000 | step))
        image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
        source[step, step] = (0, 0, step)
        source = source[:, ::-1].copy()
    assert worst(pixels(image, tmp_path), source) == 0


def test_a_big_picture(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", np.zeros((3000, 4000, 3), np.uint8)))
    image.resize(400, 300)
    assert (image.width, image.height) == (400, 300)


@embedded_only("the pixels of .NET's side are copied for a call")
@pytest.mark.parametrize("kind", ["new", "decoded", "filtered", "drawn on"])
def test_pixels_are_set_where_they_are(tmp_path: Path, kind: str) -> None:
    """Once a picture has pixels of its own, nothing is copied for another one."""
    Pillow.fromarray(noise(3, 1, 3000, 2000)).save(tmp_path / "a.bmp")
    run_child(f"""
import io
from zelmor.imaging import Color, Graphics, Image, Pen, RasterImage
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.sources import StreamSource
def memory(name):
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith(name))
kind = {kind!r}
if kind == "new":
    options = PngOptions()
    options.source = StreamSource(io.BytesIO())
    image = RasterImage._cast_to(Image.create(options, 3000, 2000)).value
else:
    image = RasterImage._cast_to(Image.load({str(tmp_path / "a.bmp")!r})).value
if kind == "filtered":
    image.adjust_gamma(2.0)
if kind == "drawn on":
    Graphics(image).draw_line(Pen(Color.red), 0, 0, 5, 5)
image.set_argb_32_pixel(0, 0, -2)
open("/proc/self/clear_refs", "w").write("5")  # the peak so far counts no longer
before = memory("VmHWM")
for i in range(1, 6):
    image.set_argb_32_pixel(i, i, -2 - i)
assert memory("VmHWM") - before < 4 << 20, memory("VmHWM") - before
assert [image.get_argb_32_pixel(i, i) for i in range(6)] == [-2 - i for i in range(6)]
""", MALLOC_PERTURB_="0", PYTHONMALLOC="malloc")
