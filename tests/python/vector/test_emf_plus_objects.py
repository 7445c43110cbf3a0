"""What the objects of EMF+ are made of: paths, regions, brushes, images and text, each with what it may have."""

from __future__ import annotations

import io
import math
import struct
from collections.abc import Sequence
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from support.drawn_metafiles import BLACK, BLUE, GREEN, RED, WHITE, color_at, dark, drawn
from support.metafiles import (NULL_PEN, SIDE, VERSION, brush, emf, emf_record, floats, plus, plus_object, plus_path,
                               plus_record, rows24, select, wmf, wmf_brush, wmf_pen, wmf_record, wmf_select, words)

OPAQUE = 0xFF000000
BRUSH, PEN, PATH, REGION, IMAGE, FONT, FORMAT, ATTRIBUTES = 1, 2, 3, 4, 5, 6, 7, 8

Place = tuple[int, int]


def pen(width: float) -> bytes:
    return plus_object(2, PEN, VERSION + words(0, 0, 0) + floats(width) + VERSION + words(0, OPAQUE | BLUE))


def fill(color: int, left: float, top: float, width: float, height: float) -> bytes:
    return plus_record(0x400A, 0x8000, words(OPAQUE | color, 1) + floats(left, top, width, height))


ALL = fill(RED, 0, 0, SIDE, SIDE)


def fill_with_brush(data: bytes, left: float = 0, top: float = 0, width: float = SIDE, height: float = SIDE) -> bytes:
    return plus_object(1, BRUSH, data) + plus_record(0x400A, 0, words(1, 1) + floats(left, top, width, height))


def shown(*records: bytes, **options: Any) -> Pillow.Image:
    return drawn(emf(plus(*records)), **options)


def colors(picture: Pillow.Image, *places: Place) -> list[int]:
    return [color_at(picture, place) for place in places]


# ---- Paths


def fill_path(data: bytes) -> bytes:
    return plus_object(3, PATH, data) + plus_record(0x4014, 0x8003, words(OPAQUE | RED))


def test_paths_can_have_curves() -> None:
    """A circle of four curves, as exactly as they are; the same points as runs, and as whole numbers."""
    k = 20 * 0.5523
    points = [(48.0, 28.0), (48 + k, 28), (68, 48 - k), (68, 48), (68, 48 + k), (48 + k, 68), (48, 68), (48 - k, 68),
              (28, 48 + k), (28, 48), (28, 48 - k), (48 - k, 28), (48, 28)]
    circle = shown(fill_path(plus_path(points, [0] + [3] * 11 + [0x83])))
    ellipse = shown(plus_record(0x400E, 0x8000, words(OPAQUE | RED) + floats(28, 28, 40, 40)))
    assert np.count_nonzero((np.asarray(circle) != np.asarray(ellipse)).any(axis=2)) < 12
    flat = [number for point in points for number in point]
    runs = VERSION + words(13, 0x1000) + floats(*flat) + bytes([1, 0, 0x80 | 11, 3, 0x80 | 1, 0x83])
    assert shown(fill_path(runs + bytes(2))).tobytes() == circle.tobytes()
    short = VERSION + words(13, 0x4000) + struct.pack("<26h", *(round(number) for number in flat))
    exact = plus_path([(round(x), round(y)) for x, y in points], [0] + [3] * 11 + [0x83])
    types = bytes([0] + [3] * 11 + [0x83])
    assert shown(fill_path(short + types + bytes(-len(types) % 4))).tobytes() == shown(fill_path(exact)).tobytes()
    assert colors(circle, (48, 30), (33, 33), (48, 48)) == [RED, WHITE, RED]


def test_relative_points_of_a_path() -> None:
    """Seven bits with a sign, or fifteen in two bytes, the first with the highest bit set."""
    steps = [(10, 20), (60, 0), (0, -100), (-70, 0), (0, 105)]
    data = b""
    for number in (number for step in steps for number in step):
        data += bytes([number & 0x7F]) if -64 <= number < 64 else struct.pack(">H", number & 0x7FFF | 0x8000)
    relative = VERSION + words(5, 0x800) + data + bytes([0, 1, 1, 1, 0x81])
    points, at = [], (0, 0)
    for step in steps:
        at = (at[0] + step[0], at[1] + step[1])
        points.append((float(at[0]), float(at[1])))
    whole = shown(fill_path(plus_path(points, [0, 1, 1, 1, 0x81])))
    assert shown(fill_path(relative + bytes(-len(relative) % 4))).tobytes() == whole.tobytes()
    assert color_at(whole, (30, 5)) == RED


def test_paths_of_too_few_points_for_a_curve_are_lines() -> None:
    curve = shown(fill_path(plus_path([(20, 20), (60, 20), (60, 60)], [0, 3, 0x83])))
    assert curve.tobytes() == shown(fill_path(plus_path([(20, 20), (60, 20), (60, 60)], [0, 1, 0x81]))).tobytes()
    assert color_at(curve, (50, 30)) == RED


@pytest.mark.parametrize("flags, inner", [(0, WHITE), (0x2000, RED)])
def test_rules_of_filling(flags: int, inner: int) -> None:
    """Each figure begins where its type says so."""
    points = [(20, 20), (60, 20), (60, 60), (20, 60), (30, 30), (50, 30), (50, 50), (30, 50)]
    data = VERSION + words(8, flags) + floats(*(n for p in points for n in p)) + bytes([0, 1, 1, 0x81, 0, 1, 1, 0x81])
    picture = shown(fill_path(data))
    assert colors(picture, (25, 25), (40, 40), (62, 40)) == [RED, inner, WHITE]
    clip = shown(plus_object(3, PATH, data), plus_record(0x4033, 3), ALL)
    assert clip.tobytes() == picture.tobytes()


# ---- Regions

FIRST, SECOND = words(0x10000000) + floats(10, 10, 40, 40), words(0x10000000) + floats(30, 30, 40, 40)
#: In the first alone, in both, in the second alone, in none.
PLACES = [(20, 20), (40, 40), (60, 60), (80, 20)]


def region(count: int, data: bytes) -> bytes:
    return plus_object(4, REGION, VERSION + words(count) + data)


def path_node(points: Sequence[tuple[float, float]]) -> bytes:
    data = plus_path(points, [0] + [1] * (len(points) - 2) + [0x81])
    return words(0x10000001, len(data)) + data


@pytest.mark.parametrize("data, inside", [
    (words(1) + FIRST + SECOND, [0, 1, 0, 0]), (words(2) + FIRST + SECOND, [1, 1, 1, 0]),
    (words(3) + FIRST + SECOND, [1, 0, 1, 0]), (words(4) + FIRST + SECOND, [1, 0, 0, 0]),
    (words(5) + FIRST + SECOND, [0, 0, 1, 0]), (FIRST, [1, 1, 0, 0]), (words(0x10000002), [0, 0, 0, 0]),
    (words(0x10000003), [1, 1, 1, 1]), (words(2) + words(0x10000002) + SECOND, [0, 1, 1, 0]),
    (words(1) + words(0x10000003) + SECOND, [0, 1, 1, 0]), (words(4, 0x10000003) + SECOND, [1, 0, 0, 1]),
    (words(3) + FIRST + path_node([(30, 30), (70, 30), (70, 70), (30, 70)]), [1, 0, 1, 0]),
    (words(4, 2) + FIRST + SECOND + words(0x10000000) + floats(35, 35, 10, 10), [1, 0, 1, 0])])
def test_regions(data: bytes, inside: list[int]) -> None:
    """And, or, exclusive or, without, only the second; rectangles, paths, nothing, everything; trees of them."""
    clipped = shown(region(0, data), plus_record(0x4034, 4), ALL)
    filled = shown(region(0, data), plus_record(0x4013, 0x8004, words(OPAQUE | RED)))
    for picture in (clipped, filled):
        assert [int(color == RED) for color in colors(picture, *PLACES)] == inside


@pytest.mark.parametrize("mode, inside", [(0, [0, 1, 1, 0]), (1, [0, 1, 0, 0]), (2, [1, 1, 1, 0]), (3, [1, 0, 1, 0]),
                                          (4, [1, 0, 0, 0]), (5, [0, 0, 1, 0])])
def test_clips_are_combined(mode: int, inside: list[int]) -> None:
    """With the one before: replaced, and, or, exclusive or, without, only the new one."""
    before = plus_record(0x4032, 0, floats(10, 10, 40, 40))
    path = plus_object(3, PATH, plus_path([(30, 30), (70, 30), (70, 70), (30, 70)], [0, 1, 1, 0x81]))
    for clip in (plus_record(0x4032, mode << 8, floats(30, 30, 40, 40)), path + plus_record(0x4033, mode << 8 | 3),
                 region(0, SECOND) + plus_record(0x4034, mode << 8 | 4)):
        assert [int(color == RED) for color in colors(shown(before, clip, ALL), *PLACES)] == inside


def test_clip_of_a_terminal_server() -> None:
    """Sides of rectangles; or steps from one to the next, with seven bits and the highest one set, or fifteen."""
    plain = plus_record(0x403A, 2, struct.pack("<8h", 10, 10, 50, 50, 30, 30, 90, 70))
    picture = shown(plain, ALL)
    assert [int(color == RED) for color in colors(picture, *PLACES)] == [1, 1, 1, 0]
    assert colors(picture, (88, 60), (91, 60), (88, 29), (9, 20)) == [RED, WHITE, WHITE, WHITE]

    def step(number: int) -> bytes:
        return bytes([number & 0x7F | 0x80]) if -64 <= number < 64 else struct.pack(">H", number & 0x7FFF)

    # Left, top, right side and height; all but the height count from those before.
    numbers = [10, 10, 50, 40, 20, 20, 40, 40]
    packed = plus_record(0x403A, 0x8002, b"".join(map(step, numbers)))
    assert shown(packed, ALL).tobytes() == picture.tobytes()
    far = [10, 10, 90, 40, 20, 20, -70, 64, 0, -80, 70, 70]
    rects = [(10, 10, 90, 50), (30, 30, 20, 94), (30, -50, 90, 20)]
    plain = plus_record(0x403A, 3, struct.pack("<12h", *(side for rect in rects for side in rect)))
    assert shown(plus_record(0x403A, 0x8003, b"".join(map(step, far))), ALL).tobytes() == shown(plain, ALL).tobytes()


# ---- Brushes

FOUR_ROWS = [[RED, GREEN], [BLUE, BLACK]]


def bitmap(rows: list[list[int]]) -> bytes:
    stride = (3 * len(rows[0]) + 3) // 4 * 4
    return VERSION + words(1, len(rows[0]), len(rows), stride, 0x21808, 0) + rows24(list(reversed(rows)))


@pytest.mark.parametrize("wrap, flips", [(0, (False, False)), (1, (True, False)), (2, (False, True)),
                                         (3, (True, True)), (4, None)])
def test_textures_are_repeated(wrap: int, flips: tuple[bool, bool] | None) -> None:
    """As they are, mirrored sideways, upright or both; or they stand alone."""
    picture = shown(fill_with_brush(VERSION + words(2, 0, wrap) + bitmap(FOUR_ROWS)))
    for y in range(6):
        for x in range(6):
            row, column = y % 2, x % 2
            if flips is None:
                expected = FOUR_ROWS[y][x] if x < 2 and y < 2 else WHITE
            else:
                column = 1 - column if flips[0] and x // 2 % 2 else column
                row = 1 - row if flips[1] and y // 2 % 2 else row
                expected = FOUR_ROWS[row][column]
            assert color_at(picture, (x, y)) == expected, (x, y)


def levels(picture: Pillow.Image, channel: int, row: int = 48) -> Any:
    return np.asarray(picture)[row, :, channel].astype(float)


POSITIONS, FACTORS = (0.0, 0.5, 1.0), (0.0, 0.25, 1.0)
GRADIENT = floats(0, 0, 96, 96) + words(OPAQUE | BLACK, OPAQUE | WHITE, 0, 0)


def test_factors_of_a_linear_gradient() -> None:
    """The part of the second color at each position, and evenly between them."""
    data = VERSION + words(4, 8, 4) + GRADIENT + words(3) + floats(*POSITIONS, *FACTORS)
    found = levels(shown(fill_with_brush(data)), 0)
    expected = np.interp((np.arange(SIDE) + 0.5) / SIDE, POSITIONS, FACTORS) * 255
    assert np.abs(found - expected).max() <= 2
    plain = levels(shown(fill_with_brush(VERSION + words(4, 0, 4) + GRADIENT)), 0)
    assert np.abs(plain - (np.arange(SIDE) + 0.5) / SIDE * 255).max() <= 2


def test_a_linear_gradient_can_be_moved_and_repeated() -> None:
    """By a matrix; beyond its rectangle it is repeated, mirrored or not."""
    half = floats(0, 0, 48, 48) + words(OPAQUE | BLACK, OPAQUE | WHITE, 0, 0)
    for wrap, mirrored in ((0, False), (3, True)):
        found = levels(shown(fill_with_brush(VERSION + words(4, 0, wrap) + half)), 0)
        ramp = (np.arange(48) + 0.5) / 48 * 255
        expected = np.concatenate([ramp, ramp[::-1] if mirrored else ramp])
        assert np.abs(found - expected)[[*range(1, 46), *range(50, 94)]].max() <= 3
    moved = levels(shown(fill_with_brush(VERSION + words(4, 2, 0) + half + floats(2, 0, 0, 2, 0, 0))), 0)
    assert np.abs(moved - (np.arange(SIDE) + 0.5) / SIDE * 255)[1:-1].max() <= 3


SQUARE_POINTS = [(0.0, 0.0), (96.0, 0.0), (96.0, 96.0), (0.0, 96.0)]


def path_gradient(flags: int, optional: bytes = b"", boundary: bytes | None = None) -> bytes:
    if boundary is None:
        boundary = words(4) + floats(*(number for point in SQUARE_POINTS for number in point))
    return (VERSION + words(3, flags, 4, OPAQUE | WHITE) + floats(48, 48) + words(1, OPAQUE | BLACK) + boundary
            + optional)


def cone(x: Any) -> Any:
    """1 in the middle of the square, 0 at its sides."""
    return 1 - np.abs(x + 0.5 - 48) / 48


def test_path_gradients() -> None:
    plain = shown(fill_with_brush(path_gradient(0)))
    expected = cone(np.arange(SIDE))
    assert np.abs(levels(plain, 0) - 255 * expected).max() <= 6
    path = plus_path(SQUARE_POINTS, [0, 1, 1, 0x81])
    same = shown(fill_with_brush(path_gradient(1, boundary=words(len(path)) + path)))
    assert np.abs(np.asarray(same).astype(int) - np.asarray(plain)).max() <= 2
    factors = shown(fill_with_brush(path_gradient(8, words(3) + floats(*POSITIONS, *FACTORS))))
    assert np.abs(levels(factors, 0) - 255 * np.interp(expected, POSITIONS, FACTORS)).max() <= 6
    many = shown(fill_with_brush(path_gradient(4, words(3) + floats(*POSITIONS)
                                               + words(OPAQUE | RED, OPAQUE | GREEN, OPAQUE | BLUE))))
    for channel, heights in enumerate(((1, 0, 0), (0, 1, 0), (0, 0, 1))):
        assert np.abs(levels(many, channel) - 255 * np.interp(expected, POSITIONS, heights)).max() <= 10


def test_focus_of_a_path_gradient() -> None:
    """The color of the center fills so much of the outline."""
    picture = shown(fill_with_brush(path_gradient(0x40, words(2) + floats(0.5, 0.25))))
    found = levels(picture, 0)
    assert found[25:71].min() >= 253 and found[12] < 140
    upright = np.asarray(picture)[:, 48, 0]
    assert upright[37:59].min() >= 253 and upright[30] < 250


@pytest.mark.parametrize("style", [0, 1, 5, 52, 53, 99])
def test_hatches_end_with_the_last(style: int) -> None:
    found = shown(fill_with_brush(VERSION + words(1, style, OPAQUE | RED, OPAQUE | GREEN)))
    assert {color for _, color in found.getcolors()} == {(255, 0, 0), (0, 255, 0)}
    last = shown(fill_with_brush(VERSION + words(1, 52, OPAQUE | RED, OPAQUE | GREEN)))
    assert (found.tobytes() == last.tobytes()) == (style >= 52)


# ---- Images


def image(data: bytes, width: int, height: int) -> bytes:
    """Drawn from (20, 30) on, with a pixel for each of its own."""
    return plus_object(5, IMAGE, data) + plus_record(0x4021, 5) + plus_record(
        0x401A, 5, words(0, 2) + floats(0, 0, width, height, 20, 30, width, height))


def over_white(channels: Any) -> Any:
    alpha = channels[..., 3:].astype(float) / 255
    return channels[..., :3] * alpha + 255 * (1 - alpha)


WIDTH, HEIGHT = 9, 6
RANDOM = np.random.default_rng(12)


def words_of(data: bytes, per_pixel: int) -> Any:
    return np.frombuffer(data, "<u2").reshape(HEIGHT, -1)[:, :WIDTH * per_pixel].reshape(HEIGHT, WIDTH, per_pixel)


def of_bits(number: Any, shift: int, bits: int) -> Any:
    return ((number >> shift) & ((1 << bits) - 1)).astype(float) * 255 / ((1 << bits) - 1)


def decoded(name: str, data: bytes, stride: int) -> Any:
    """Red, green, blue and alpha by the definition of the format."""
    rows = np.frombuffer(data, np.uint8).reshape(HEIGHT, stride)
    full = np.full((HEIGHT, WIDTH), 255.0)
    if name in ("24", "32", "32 alpha", "32 multiplied"):
        per = 3 if name == "24" else 4
        pixels = rows[:, :WIDTH * per].reshape(HEIGHT, WIDTH, per).astype(float)
        alpha = pixels[..., 3] if name in ("32 alpha", "32 multiplied") else full
        red, green, blue = pixels[..., 2], pixels[..., 1], pixels[..., 0]
        if name == "32 multiplied":
            with np.errstate(divide="ignore", invalid="ignore"):
                red, green, blue = (np.where(alpha > 0, np.minimum(each * 255 / alpha, 255), 0)
                                    for each in (red, green, blue))
        return np.dstack([red, green, blue, alpha])
    if name.startswith("16"):
        number = words_of(data, 1)[..., 0]
        if name == "16 gray":
            return np.dstack([number >> 8] * 3 + [full])
        if name == "16 565":
            return np.dstack([of_bits(number, 11, 5), of_bits(number, 5, 6), of_bits(number, 0, 5), full])
        alpha = of_bits(number, 15, 1) if name == "16 1555" else full
        return np.dstack([of_bits(number, 10, 5), of_bits(number, 5, 5), of_bits(number, 0, 5), alpha])
    wide = np.minimum(words_of(data, 3 if name == "48" else 4).astype(float) * 255 / 8192, 255)
    alpha = full if name == "48" else wide[..., 3]
    channels = [wide[..., 2], wide[..., 1], wide[..., 0]]
    if name == "64 multiplied":
        with np.errstate(divide="ignore", invalid="ignore"):
            channels = [np.where(alpha > 0, np.minimum(each * 255 / alpha, 255), 0) for each in channels]
    return np.dstack([*channels, alpha])


#: The numbers of formats, and the bits of a pixel.
FORMATS = {"16 gray": (0x101004, 16), "16 555": (0x21005, 16), "16 565": (0x21006, 16), "16 1555": (0x61007, 16),
           "24": (0x21808, 24), "32": (0x22009, 32), "32 alpha": (0x26200A, 32), "32 multiplied": (0xE200B, 32),
           "48": (0x10300C, 48), "64": (0x34400D, 64), "64 multiplied": (0x1A400E, 64)}


@pytest.mark.parametrize("name", FORMATS)
@pytest.mark.parametrize("padding", [0, 4])
def test_formats_of_pixels(name: str, padding: int) -> None:
    number, bits = FORMATS[name]
    stride = (WIDTH * bits // 8 + 3) // 4 * 4 + padding
    data = RANDOM.integers(0, 256, stride * HEIGHT, np.uint8)
    if name in ("48", "64", "64 multiplied"):
        data = (data.view("<u2") % 9000).astype("<u2").view(np.uint8)  # up to 8192 is usual
    raw = VERSION + words(1, WIDTH, HEIGHT, stride, number, 0) + data.tobytes()
    found = np.asarray(shown(image(raw, WIDTH, HEIGHT)))[30:30 + HEIGHT, 20:20 + WIDTH].astype(float)
    expected = over_white(decoded(name, data.tobytes(), stride))
    assert np.abs(found - expected).max() <= (3 if "multiplied" in name else 2)


@pytest.mark.parametrize("bits, number", [(1, 0x30101), (4, 0x30402), (8, 0x30803)])
def test_pixels_of_a_palette(bits: int, number: int) -> None:
    palette = [int(color) | OPAQUE for color in RANDOM.integers(0, 1 << 24, (1 << bits) - (bits == 8))]
    stride = (WIDTH * bits + 31) // 32 * 4
    data = RANDOM.integers(0, 256, (HEIGHT, stride), np.uint8)
    data[0, 0] = 255  # beyond the palette of 255 colors: black
    raw = (VERSION + words(1, WIDTH, HEIGHT, stride, number, 0) + words(0, len(palette), *palette) + data.tobytes())
    picture = shown(image(raw, WIDTH, HEIGHT))
    unpacked = np.unpackbits(data, axis=1).reshape(HEIGHT, -1, bits)
    indices = unpacked @ (1 << np.arange(bits)[::-1])
    for y in range(HEIGHT):
        for x in range(WIDTH):
            index = int(indices[y, x])
            expected = palette[index] & WHITE if index < len(palette) else BLACK
            assert color_at(picture, (20 + x, 30 + y)) == expected, (x, y)


def raw_image(width: int, height: int, stride: int, size: int, number: int = 0x21808) -> bytes:
    return VERSION + words(1, width, height, stride, number, 0) + bytes(size)


@pytest.mark.parametrize("width, height, stride, size, number, rows", [
    (4, 4, 12, 48, 0x21808, 4), (4, 4, 12, 44, 0x21808, 3), (4, 4, 16, 60, 0x21808, 4), (4, 4, 16, 56, 0x21808, 3),
    (4, 4, 12, 36, 0x21808, 3), (4, 4, 11, 48, 0x21808, 0), (4, 4, 0, 48, 0x21808, 0), (4, 4, -12, 48, 0x21808, 0),
    (0, 4, 12, 48, 0x21808, 0), (4, 0, 12, 48, 0x21808, 0), (-4, 4, 12, 48, 0x21808, 0), (4, 4, 12, 8, 0x21808, 0),
    (4, 4, 12, 48, 0x20008, 0), (65537, 1, 3 * 65537, 3 * 65537, 0x21808, 0), (1, 65537, 4, 64, 0x21808, 0)])
def test_sizes_of_images(width: int, height: int, stride: int, size: int, number: int, rows: int) -> None:
    """What the file has of the rows is drawn, the last one also without its padding."""
    picture = shown(image(raw_image(width, height, stride, size, number), 4, 4))
    black = [color_at(picture, (21, 30 + y)) == BLACK for y in range(4)]
    assert black == [y < rows for y in range(4)]


def test_files_as_images() -> None:
    pixels = RANDOM.integers(0, 256, (HEIGHT, WIDTH, 3), np.uint8)
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    data = VERSION + words(1, 0, 0, 0, 0, 1) + file.getvalue()
    found = np.asarray(shown(image(data + bytes(-len(data) % 4), WIDTH, HEIGHT)))
    assert np.array_equal(found[30:30 + HEIGHT, 20:20 + WIDTH], pixels)


@pytest.mark.parametrize("wrap, flips", [(0, (False, False)), (1, (True, False)), (2, (False, True)),
                                         (3, (True, True)), (4, None)])
def test_more_than_an_image(wrap: int, flips: tuple[bool, bool] | None) -> None:
    """A part that is larger than the image: the attributes say how it goes on; without them, there is nothing."""
    attributes = plus_object(8, ATTRIBUTES, VERSION + words(0, wrap, 0, 0, 0))
    drawing = plus_record(0x401A, 5, words(8, 2) + floats(0, 0, 6, 6, 20, 30, 6, 6))
    picture = shown(plus_object(5, IMAGE, bitmap(FOUR_ROWS)), plus_record(0x4021, 5), attributes, drawing)
    alone = shown(plus_object(5, IMAGE, bitmap(FOUR_ROWS)), plus_record(0x4021, 5), plus_record(
        0x401A, 5, words(0, 2) + floats(0, 0, 6, 6, 20, 30, 6, 6)))
    if flips is None:
        assert picture.tobytes() == alone.tobytes()
    for y in range(6):
        for x in range(6):
            row, column = y % 2, x % 2
            inside = x < 2 and y < 2
            assert color_at(alone, (20 + x, 30 + y)) == (FOUR_ROWS[row][column] if inside else WHITE)
            if flips is not None:
                column = 1 - column if flips[0] and x // 2 % 2 else column
                row = 1 - row if flips[1] and y // 2 % 2 else row
                assert color_at(picture, (20 + x, 30 + y)) == FOUR_ROWS[row][column], (x, y)


@pytest.mark.parametrize("mode", range(8))
def test_ways_of_enlarging(mode: int) -> None:
    """The nearest pixel (5) alone has no colors between those of the image."""
    picture = shown(plus_object(5, IMAGE, bitmap(FOUR_ROWS)), plus_record(0x4021, mode), plus_record(
        0x401A, 5, words(0, 2) + floats(0, 0, 2, 2, 20, 30, 40, 40)))
    count = len(picture.getcolors(99999))
    assert (count == 5) == (mode == 5) and count >= 5
    fine = shown(plus_object(5, IMAGE, bitmap(FOUR_ROWS)), plus_record(0x4021, 7), plus_record(
        0x401A, 5, words(0, 2) + floats(0, 0, 2, 2, 20, 30, 40, 40)))
    assert (picture.tobytes() == fine.tobytes()) == (mode in (2, 4, 6, 7))


@pytest.mark.parametrize("source", [(0, 0, 0, 2), (0, 0, 2, 0)])
def test_no_part_of_an_image(source: tuple[float, ...]) -> None:
    picture = shown(plus_object(5, IMAGE, bitmap(FOUR_ROWS)), plus_record(0x401A, 5, words(0, 2) + floats(
        *source, 20, 30, 40, 40)))
    assert picture.getextrema() == ((255, 255), ) * 3


@pytest.mark.parametrize("placeable", [True, False])
def test_a_windows_metafile_is_an_image(placeable: bool) -> None:
    inner = wmf(wmf_pen(BLACK, style=5) + wmf_select(0) + wmf_brush(RED) + wmf_select(1), wmf_record(0x020B, 0, 0),
                wmf_record(0x020C, SIDE, SIDE), wmf_record(0x041B, 49, 49, 0, 0), placeable=placeable)
    data = VERSION + words(2, 2, len(inner)) + inner
    picture = shown(plus_object(5, IMAGE, data + bytes(-len(data) % 4)), plus_record(0x401A, 5, words(0, 2) + floats(
        0, 0, 96, 96, 40, 40, 48, 48)))
    assert colors(picture, (41, 41), (62, 62), (66, 66), (20, 20)) == [RED, RED, WHITE, WHITE]


def nested(depth: int) -> bytes:
    """A red square in so many metafiles within each other."""
    file = emf(select(NULL_PEN), brush(1, RED), emf_record(43, words(0, 0, 49, 49)))
    for _ in range(depth):
        image_data = VERSION + words(2, 3, len(file)) + file
        file = emf(plus(plus_object(5, IMAGE, image_data), plus_record(0x401A, 5, words(0, 2) + floats(
            0, 0, 96, 96, 0, 0, 96, 96))))
    return file


@pytest.mark.parametrize("depth, is_drawn", [(0, True), (1, True), (4, True), (5, False)])
def test_metafiles_within_each_other(depth: int, is_drawn: bool) -> None:
    assert (color_at(drawn(nested(depth)), (20, 20)) == RED) == is_drawn


# ---- Curves


@pytest.mark.parametrize("first, count, parts", [(0, 2, (True, True)), (0, 1, (True, False)), (1, 1, (False, True)),
                                                 (0, 3, (True, True)), (2, 1, (True, True)), (-1, 1, (True, True)),
                                                 (0, 0, (True, True))])
def test_parts_of_a_curve(first: int, count: int, parts: tuple[bool, bool]) -> None:
    """Of three points: pieces that do not exist stand for all of them."""
    picture = shown(pen(3), plus_record(0x4018, 2, floats(0) + words(first, count, 3) + floats(
        10, 40, 50, 40, 50, 80)))
    assert (color_at(picture, (30, 40)) == BLUE, color_at(picture, (50, 60)) == BLUE) == parts


@pytest.mark.parametrize("kind, head", [(0x400D, b""), (0x4019, b""), (0x4017, floats(0.5)),
                                        (0x4018, floats(0.5) + words(0, 1))])
def test_lines_of_one_point(kind: int, head: bytes) -> None:
    picture = shown(pen(3), plus_record(kind, 2, head + words(1) + floats(20, 20)))
    assert picture.getextrema() == ((255, 255), ) * 3


@pytest.mark.parametrize("winding, inner", [(False, WHITE), (True, RED)])
def test_rules_of_closed_curves(winding: bool, inner: int) -> None:
    """A star of five points, without tension; flag 0x2000 stands for the other rule."""
    star = [(48 + 40 * math.sin(4 * math.pi * k / 5), 48 - 40 * math.cos(4 * math.pi * k / 5)) for k in range(5)]
    picture = shown(plus_record(0x4016, 0xA000 if winding else 0x8000, words(OPAQUE | RED) + floats(0) + words(5)
                                + floats(*(number for point in star for number in point))))
    assert colors(picture, (48, 20), (48, 48)) == [RED, inner]


# ---- Text

FONT_DATA = VERSION + floats(20) + words(2, 0, 0, 11) + "DejaVu Sans".encode("utf-16-le") + bytes(2)


def string(text: str, frame: tuple[float, float, float, float], formatted: int = 0xFF) -> bytes:
    data = words(OPAQUE | BLUE, formatted, len(text)) + floats(*frame) + text.encode("utf-16-le")
    return plus_record(0x401C, 0x8000 | 6, data)


def text_format(flags: int) -> bytes:
    return plus_object(7, FORMAT, VERSION + words(flags, 0, 0, 0, 0, 0) + floats(0) + words(0) + floats(0, 0, 1)
                       + words(0, 0, 0))


def test_text_downwards() -> None:
    """Flag 2 turns the text in its frame: to the right, from the upper right corner on."""
    level = shown(plus_object(6, FONT, FONT_DATA), text_format(0), string("iHH", (0, 0, 80, 40), 7))
    down = shown(plus_object(6, FONT, FONT_DATA), text_format(2), string("iHH", (16, 10, 40, 80), 7))
    a, b = dark(level), dark(down)
    assert b[3] - b[1] == pytest.approx(a[2] - a[0], abs=2) and b[2] - b[0] == pytest.approx(a[3] - a[1], abs=2)
    assert b[1] == pytest.approx(10 + a[0], abs=1) and b[2] == pytest.approx(56 - a[1], abs=1)


def driver_string(text: str, options: int, places: Sequence[tuple[float, float]],
                  matrix: Sequence[float] = ()) -> bytes:
    data = words(OPAQUE | BLUE, options, bool(matrix), len(text)) + text.encode("utf-16-le")
    data += floats(*(number for place in places for number in place), *matrix)
    return plus_record(0x4036, 0x8006, data)


def test_characters_at_their_places_or_together() -> None:
    font = plus_object(6, FONT, FONT_DATA)
    apart = shown(font, driver_string("II", 1, [(10, 50), (60, 50)]))
    together = shown(font, driver_string("II", 5, [(10, 50)]))
    assert dark(apart)[2] > 58 and dark(together)[2] < 40 and dark(apart)[0] == dark(together)[0]
    one = shown(font, driver_string("I", 1, [(10, 50)]))
    assert dark(together)[2] > dark(one)[2] + 3
    moved = shown(font, driver_string("I", 1, [(10, 50)], (1, 0, 0, 1, 30, 20)))
    assert [b - a for a, b in zip(dark(one), dark(moved))] == [30, 20, 30, 20]
    for nothing in (driver_string("I", 0, [(10, 50)]), driver_string("", 1, [])):
        assert shown(font, nothing).getextrema() == ((255, 255), ) * 3
