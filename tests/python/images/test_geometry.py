"""Geometry: flips, crops and placements are exact; resampling is within the differences between sound methods."""

from __future__ import annotations

import math
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, ImageFilterType, ImageResizeSettings, Rectangle, ResizeType, RotateFlipType

from support.image_oracles import HEIGHT, WIDTH, Pixels, load, managed_error, noise, pixels, smooth, worst, write

PLACEMENTS = {
    ResizeType.NONE: (0, 0),
    ResizeType.LEFT_TOP_TO_LEFT_TOP: (0, 0),
    ResizeType.RIGHT_TOP_TO_RIGHT_TOP: (2, 0),
    ResizeType.RIGHT_BOTTOM_TO_RIGHT_BOTTOM: (2, 2),
    ResizeType.LEFT_BOTTOM_TO_LEFT_BOTTOM: (0, 2),
    ResizeType.CENTER_TO_CENTER: (1, 1),
}
RESAMPLINGS = [kind for kind in ResizeType if kind not in PLACEMENTS]
BY_PILLOW = {
    ResizeType.BILINEAR_RESAMPLE: Pillow.Resampling.BILINEAR,
    ResizeType.CATMULL_ROM: Pillow.Resampling.BICUBIC,
    ResizeType.CUBIC_CONVOLUTION: Pillow.Resampling.BICUBIC,
    ResizeType.LANCZOS_RESAMPLE: Pillow.Resampling.LANCZOS,
    ResizeType.HIGH_QUALITY_RESAMPLE: Pillow.Resampling.LANCZOS,
    ResizeType.ADAPTIVE_RESAMPLE: Pillow.Resampling.LANCZOS,
    ResizeType.SIN_C: Pillow.Resampling.LANCZOS,
}
SIZES = [(WIDTH // 2, HEIGHT // 2), (33, 47), (2 * WIDTH, 3 * HEIGHT), (200, 11), (1, 1)]


@pytest.mark.parametrize("kind", RotateFlipType)
@pytest.mark.parametrize("bands", [1, 3, 4])
def test_rotate_flip_is_exact(tmp_path: Path, kind: RotateFlipType, bands: int) -> None:
    source = noise(bands)
    image = load(write(tmp_path / "a.png", source))
    image.rotate_flip(kind)
    turns, axes = kind.name.split("_FLIP_")
    degrees = 0 if "NONE" in turns else int(turns.removeprefix("ROTATE_"))
    expected = np.rot90(source, -degrees // 90)
    expected = expected[:, ::-1] if "X" in axes else expected
    expected = expected[::-1] if "Y" in axes else expected
    assert worst(pixels(image, tmp_path, {1: "L", 3: "RGB", 4: "RGBA"}[bands]), expected) == 0


def test_crop_by_rectangle(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.crop(Rectangle(3, 5, 30, 20))
    assert worst(pixels(image, tmp_path, "RGBA"), noise(4)[5:25, 3:33]) == 0


def test_crop_by_shifts(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.crop(left_shift=1, right_shift=2, top_shift=3, bottom_shift=4)
    assert worst(pixels(image, tmp_path), noise()[3:HEIGHT - 4, 1:WIDTH - 2]) == 0


@pytest.mark.parametrize("kind", PLACEMENTS)
@pytest.mark.parametrize("size", [(WIDTH + 13, HEIGHT + 8), (WIDTH - 20, HEIGHT - 9), (WIDTH + 6, HEIGHT - 7)])
def test_placements_keep_the_picture_as_it_is(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.has_background_color = True
    image.background_color = Color.from_argb(255, 1, 2, 3)
    image.resize(*size, kind)
    width, height = size
    left, top = (math.floor((new - old) * half / 2) for new, old, half in
                 zip(size, (WIDTH, HEIGHT), PLACEMENTS[kind]))
    expected = np.full((height, width, 3), (1, 2, 3))
    to_x, to_y, from_x, from_y = max(left, 0), max(top, 0), max(-left, 0), max(-top, 0)
    part = noise()[from_y:from_y + height - to_y, from_x:from_x + width - to_x]
    expected[to_y:to_y + part.shape[0], to_x:to_x + part.shape[1]] = part
    assert worst(pixels(image, tmp_path), expected) == 0


def test_a_canvas_with_alpha_grows_clear_and_one_without_white(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.resize(WIDTH + 1, HEIGHT, ResizeType.NONE)
    assert image.get_pixel(WIDTH, 0).a == 0
    image = load(write(tmp_path / "b.png", noise(3)))
    image.resize(WIDTH + 1, HEIGHT, ResizeType.NONE)
    assert image.get_argb_32_pixel(WIDTH, 0) == -1


@pytest.mark.parametrize("size", SIZES)
def test_nearest_neighbors_are_exact(tmp_path: Path, size: tuple[int, int]) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.resize(*size, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    columns = (2 * np.arange(size[0]) + 1) * WIDTH // (2 * size[0])
    rows = (2 * np.arange(size[1]) + 1) * HEIGHT // (2 * size[1])
    assert worst(pixels(image, tmp_path, "RGBA"), noise(4)[rows][:, columns]) == 0


@pytest.mark.parametrize("kind", RESAMPLINGS)
@pytest.mark.parametrize("size", SIZES)
def test_all_resamplings_hit_the_size(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    for number, source in enumerate((noise(3), noise(4), noise(1))):
        image = load(write(tmp_path / f"{number}.png", source))
        image.resize(*size, kind)
        assert (image.width, image.height) == size


@pytest.mark.parametrize("kind", BY_PILLOW)
@pytest.mark.parametrize("size", SIZES[:4])
def test_resampling_agrees_with_pillow(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    path = write(tmp_path / "a.png", smooth())
    image = load(path)
    image.resize(*size, kind)
    expected = np.asarray(Pillow.fromarray(smooth()).resize(size, BY_PILLOW[kind]))
    # Either side may use fixed-point kernels, and other interpolators for enlarging than for shrinking.
    assert worst(pixels(image, tmp_path), expected) <= 5
    assert np.abs(pixels(image, tmp_path) - expected).mean() < 0.6


@pytest.mark.parametrize("kind", [ResizeType.MITCHELL, ResizeType.BELL, ResizeType.CUBIC_B_SPLINE])
@pytest.mark.parametrize("size", SIZES[:4])
def test_smoother_kernels_stay_near_the_picture(tmp_path: Path, kind: ResizeType, size: tuple[int, int]) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    image.resize(*size, kind)
    expected = np.asarray(Pillow.fromarray(smooth()).resize(size, Pillow.Resampling.BICUBIC))
    assert np.abs(pixels(image, tmp_path) - expected).mean() < 2


def test_without_a_type_a_picture_is_resampled_smoothly(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", smooth()))
    image.resize(30, 20)
    expected = np.asarray(Pillow.fromarray(smooth()).resize((30, 20), Pillow.Resampling.LANCZOS))
    assert worst(pixels(image, tmp_path), expected) <= 3


def test_all_ways_of_asking_for_a_resize(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    settings = ImageResizeSettings()
    settings.mode = ResizeType.BILINEAR_RESAMPLE
    results = []
    ways: list[Callable[[Image], None]] = [
        lambda i: i.resize(20, 10, ResizeType.BILINEAR_RESAMPLE), lambda i: i.resize(20, 10, settings),
        lambda i: i.resize_by_type(20, 10, ResizeType.BILINEAR_RESAMPLE),
        lambda i: i.resize_by_settings(20, 10, settings)]
    for ask in ways:
        for image in (Image.load(path), load(path)):
            ask(image)
            results.append(pixels(image, tmp_path))
    assert all(np.array_equal(result, results[0]) for result in results)


def test_proportional_sizes(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    settings = ImageResizeSettings()
    settings.mode = ResizeType.NEAREST_NEIGHBOUR_RESAMPLE
    kind = ResizeType.NEAREST_NEIGHBOUR_RESAMPLE
    for arguments in ((), (kind,), (settings,)):
        image = Image.load(path)
        image.resize_width_proportionally(2 * WIDTH, *arguments)
        assert (image.width, image.height) == (2 * WIDTH, 2 * HEIGHT)
        image.resize_height_proportionally(HEIGHT, *arguments)
        assert (image.width, image.height) == (WIDTH, HEIGHT)
    image.resize_width_proportionally_settings(10, settings)
    assert (image.width, image.height) == (10, round(10 * HEIGHT / WIDTH))
    image.resize_height_proportionally_settings(70, settings)
    assert (image.width, image.height) == (100, 70)
    image.resize_width_proportionally(1)
    assert (image.width, image.height) == (1, 1)


def test_settings_that_have_no_effect_are_refused(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    settings = ImageResizeSettings()
    settings.filter_type = ImageFilterType.BIG_RECTANGULAR
    with managed_error("NotSupportedException", "FilterType"):
        image.resize(10, 10, settings)


@pytest.mark.parametrize("angle", [0, 90, 180, 270, 360, -90, 450])
def test_right_angles_are_exact(tmp_path: Path, angle: int) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.rotate(angle)
    assert worst(pixels(image, tmp_path, "RGBA"), np.rot90(noise(4), -angle // 90)) == 0


@pytest.mark.parametrize("angle", [10, 33.5, 90.5, 200, -45, 359])
@pytest.mark.parametrize("grow", [False, True])
def test_rotation_by_any_angle(tmp_path: Path, angle: float, grow: bool) -> None:
    """Compared with the formula of the picture, rotated."""
    def at(x: Pixels, y: Pixels) -> Pixels:
        return 127 + 110 * np.sin(x / 9) * np.cos(y / 8)

    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    source = np.repeat(at(x, y).round().astype(np.uint8)[..., None], 3, -1)
    image = load(write(tmp_path / "a.png", source))
    image.rotate(angle, grow, Color.from_argb(255, 255, 0, 0))
    result = pixels(image, tmp_path)
    height, width = result.shape[:2]
    cosine, sine = math.cos(math.radians(angle)), math.sin(math.radians(angle))
    if grow:
        assert width == math.ceil(abs(WIDTH * cosine) + abs(HEIGHT * sine) - 1e-6)
        assert height == math.ceil(abs(WIDTH * sine) + abs(HEIGHT * cosine) - 1e-6)
    else:
        assert (width, height) == (WIDTH, HEIGHT)
    y, x = np.mgrid[0:height, 0:width]
    dx, dy = x - (width - 1) / 2, y - (height - 1) / 2
    # Clockwise on a screen, where y points down: the inverse rotation leads back to the source.
    sx = cosine * dx + sine * dy + (WIDTH - 1) / 2
    sy = -sine * dx + cosine * dy + (HEIGHT - 1) / 2
    inside = (sx > 2) & (sx < WIDTH - 3) & (sy > 2) & (sy < HEIGHT - 3)
    outside = (sx < -2) | (sx > WIDTH + 1) | (sy < -2) | (sy > HEIGHT + 1)
    assert np.abs(result[inside] - at(sx, sy)[inside][:, None]).max() <= 2.5
    assert (result[outside] == (255, 0, 0)).all()


def test_rotation_on_a_clear_background(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(4)))
    image.rotate(30.0)
    assert image.get_pixel(0, 0).a == 0
    assert image.width > WIDTH


@pytest.mark.parametrize("angle", [float("nan"), float("inf")])
def test_an_angle_is_a_number(tmp_path: Path, angle: float) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", "angle"):
        image.rotate(angle)


def test_proportional_arithmetic() -> None:
    assert Image.get_proportional_width(100, 50, 25) == 50
    assert Image.get_proportional_height(100, 50, 25) == 13
    assert Image.get_proportional_height(1000, 1, 1) == 1
    for call in (Image.get_proportional_width, Image.get_proportional_height):
        with managed_error("ArgumentOutOfRangeException", "height", "0"):
            call(10, 0, 10)


def test_fitting_rectangle() -> None:
    fitting = Image.get_fitting_rectangle(Rectangle(-5, 10, 20, 100), 50, 40)
    assert (fitting.x, fitting.y, fitting.width, fitting.height) == (0, 10, 15, 30)
    with managed_error("ArgumentException", "rectangle", "50 by 40"):
        Image.get_fitting_rectangle(Rectangle(50, 0, 5, 5), 50, 40)
