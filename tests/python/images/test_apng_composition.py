"""Frames of animated PNG files in all forms of samples, beside the composition that the format prescribes.

The files are made byte by byte, and their frames are composed here in exact numbers.
"""

from __future__ import annotations

import io
import struct
from dataclasses import dataclass
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import AnimationDisposalMethods, DataRecoveryMode, Image, LoadOptions
from zelmor.imaging.fileformats.apng import ApngFrame, ApngImage
from zelmor.imaging.imageoptions import PngOptions

from support.arrays import Pixels
from support.image_oracles import managed_error, raster
from support.png_files import (CHANNELS, FORMS, GRAY, GRAY_ALPHA, INDEXED, RGB, RGBA, SIGNATURE, Png, chunk, from_bytes,
                               header, picture_data)

WIDTH, HEIGHT = 8, 6
WHOLE = (WIDTH, HEIGHT, 0, 0)
PART = (4, 3, 3, 2)
CORNER = (3, 2, WIDTH - 3, HEIGHT - 2)
LEAVE, CLEAR, RESTORE = 0, 1, 2
REPLACE, OVER = 0, 1
#: Frames as (place, disposal, blend), and whether pixels can be seen that no frame covers.
SEQUENCES: dict[str, tuple[list[tuple[tuple[int, int, int, int], int, int]], bool]] = {
    "covered": ([(WHOLE, LEAVE, REPLACE), (PART, LEAVE, OVER), (CORNER, RESTORE, OVER), (PART, RESTORE, REPLACE),
                 (CORNER, LEAVE, REPLACE), (WHOLE, LEAVE, OVER), (PART, CLEAR, OVER)], False),
    "cleared": ([(WHOLE, LEAVE, REPLACE), (PART, CLEAR, OVER), (CORNER, CLEAR, REPLACE), (PART, RESTORE, OVER),
                 ((5, 4, 2, 1), LEAVE, OVER), (CORNER, LEAVE, REPLACE), (WHOLE, CLEAR, OVER), (PART, LEAVE, OVER)],
                True),
    "begins with a part": ([(PART, LEAVE, OVER), (CORNER, LEAVE, REPLACE), ((5, 4, 2, 1), LEAVE, OVER)], True),
    "begins with fewer columns": ([((WIDTH - 1, HEIGHT, 1, 0), LEAVE, REPLACE), (PART, LEAVE, OVER)], True),
    "begins with fewer rows": ([((WIDTH, HEIGHT - 1, 0, 0), LEAVE, REPLACE), (PART, LEAVE, OVER)], True),
    "restores to nothing": ([(WHOLE, RESTORE, REPLACE), (PART, LEAVE, OVER)], True),
    "one frame": ([(WHOLE, RESTORE, OVER)], False),
}
#: Those that have every disposal and every blending.
LONG = ["covered", "cleared"]


@dataclass
class Frame:
    """A frame with its samples; the delay is a fraction of a second."""

    samples: Pixels
    left: int = 0
    top: int = 0
    disposal: int = LEAVE
    blend: int = REPLACE
    delay: tuple[int, int] = (1, 10)


def frames_of(color: int, depth: int, name: str, most: int | None = None) -> list[Frame]:
    """Random samples below `most`; alpha has many of both ends."""
    random = np.random.default_rng(7)
    frames = []
    for (width, height, left, top), disposal, blend in SEQUENCES[name][0]:
        samples = random.integers(0, most or 1 << depth, (height, width, CHANNELS[color]))
        if color in (GRAY_ALPHA, RGBA):
            end = random.integers(0, 4, (height, width))
            samples[..., -1] = np.select([end == 0, end == 1], [0, (1 << depth) - 1], samples[..., -1])
        frames.append(Frame(samples, left, top, disposal, blend))
    return frames


def control(number: int, each: Frame, **other: int) -> bytes:
    """The chunk before the data of a frame; `other` are fields that say something else."""
    height, width = each.samples.shape[:2]
    fields = {"width": width, "height": height, "left": each.left, "top": each.top, "numerator": each.delay[0],
              "denominator": each.delay[1], "disposal": each.disposal, "blend": each.blend} | other
    return chunk(b"fcTL", struct.pack(">5I2H2B", number, *fields.values()))


def beginning(color: int, depth: int, count: int, chunks: list[tuple[bytes, bytes]] | None = None) -> bytes:
    """What stands before the first frame."""
    return (SIGNATURE + header(Png(color, depth, np.zeros((HEIGHT, WIDTH, 1), int)))
            + chunk(b"acTL", struct.pack(">II", count, 0)) + b"".join(chunk(*each) for each in chunks or []))


END = chunk(b"IEND", b"")


def file_of(color: int, depth: int, frames: list[Frame], chunks: list[tuple[bytes, bytes]] | None = None,
            still: Pixels | None = None) -> bytes:
    """A file; `still` is the picture beside the animation."""
    out = beginning(color, depth, len(frames), chunks)
    if still is not None:
        out += chunk(b"IDAT", picture_data(Png(color, depth, still)))
    number = 0
    for i, each in enumerate(frames):
        out += control(number, each)
        data = picture_data(Png(color, depth, each.samples))
        number += 1
        if i == 0 and still is None:
            out += chunk(b"IDAT", data[:5]) + chunk(b"IDAT", b"") + chunk(b"IDAT", data[5:])
            continue
        for piece in (data[:7], b"", data[7:]):  # they may be divided anywhere
            out += chunk(b"fdAT", struct.pack(">I", number) + piece)
            number += 1
    return out + END


def opened(data: bytes, *options: Any) -> ApngImage:
    return ApngImage._cast_to(Image.load(io.BytesIO(data), *options)).value


def shown(image: ApngImage, index: int) -> Png:
    """A frame as it is saved by itself."""
    file = io.BytesIO()
    image.pages[index].save(file, PngOptions())
    return from_bytes(file.getvalue())


def colors_of(chunks: dict[bytes, bytes]) -> Pixels:
    """The palette with its alphas."""
    colors = np.frombuffer(chunks[b"PLTE"], np.uint8).reshape(-1, 3).astype(np.int64)
    alphas = np.full((len(colors), 1), 255)
    known = np.frombuffer(chunks.get(b"tRNS", b""), np.uint8)
    alphas[:len(known), 0] = known
    return np.concatenate([colors, alphas], axis=1)


def as_rgba(samples: Pixels, color: int, depth: int, chunks: dict[bytes, bytes]) -> Pixels:
    """Pixels of four samples, which have the depth 8 or 16."""
    if color == INDEXED:
        return colors_of(chunks)[samples[..., 0]]
    top = 65535 if depth == 16 else 255
    wide = samples.astype(np.int64) * (top // ((1 << depth) - 1))
    colors = np.repeat(wide[..., :1], 3, axis=2) if color in (GRAY, GRAY_ALPHA) else wide[..., :3]
    alpha = np.full((*samples.shape[:2], 1), top)
    if color in (GRAY_ALPHA, RGBA):
        alpha = wide[..., -1:]
    elif b"tRNS" in chunks:
        alpha[(samples == np.frombuffer(chunks[b"tRNS"], ">u2").astype(int)).all(axis=2)] = 0
    return np.concatenate([colors, alpha], axis=2)


def laid_over(above: Pixels, below: Pixels, top: int) -> Pixels:
    """The operator "over" for colors that are not multiplied by their alpha, rounded to the nearest number."""
    alpha, behind = above[..., 3:], below[..., 3:] * (top - above[..., 3:])
    total = alpha * top + behind
    divisor = np.maximum(total, 1)
    colors = (2 * (above[..., :3] * alpha * top + below[..., :3] * behind) // divisor + 1) // 2
    alphas = (2 * total // top + 1) // 2
    result = np.concatenate([colors, alphas], axis=2)
    result = np.where(alpha == top, above, result)
    return np.where(below[..., 3:] == 0, above, result)


def composed(color: int, depth: int, frames: list[Frame], chunks: dict[bytes, bytes]) -> list[Pixels]:
    """The canvas while each frame is shown."""
    top = 65535 if depth == 16 else 255
    canvas = np.zeros((HEIGHT, WIDTH, 4), np.int64)
    result = []
    for each in frames:
        before = canvas.copy()
        height, width = each.samples.shape[:2]
        place = np.s_[each.top:each.top + height, each.left:each.left + width]
        pixels = as_rgba(each.samples, color, depth, chunks)
        canvas[place] = laid_over(pixels, canvas[place], top) if each.blend == OVER else pixels
        result.append(canvas.copy())
        if each.disposal == CLEAR:
            canvas[place] = 0
        elif each.disposal == RESTORE:
            canvas = before
    return result


def assert_same(found: Png, expected: Pixels) -> None:
    pixels = as_rgba(found.samples, found.color, found.depth, found.chunks)
    seen = expected[..., 3] > 0
    assert np.array_equal(pixels[..., 3], expected[..., 3])
    assert np.array_equal(pixels[seen], expected[seen])


@pytest.mark.parametrize(("color", "depth", "name"), [
    (color, depth, name) for color, depth in FORMS for name in SEQUENCES
    if color != INDEXED and (name in LONG or (color, depth) in ((GRAY, 1), (RGB, 8)))])
def test_colors(color: int, depth: int, name: str) -> None:
    frames = frames_of(color, depth, name)
    image = opened(file_of(color, depth, frames))
    clear = SEQUENCES[name][1]
    expected_color = {GRAY: GRAY_ALPHA, RGB: RGBA}.get(color, color) if clear else color
    assert image.page_count == len(frames)
    for index, expected in enumerate(composed(color, depth, frames, {})):
        found = shown(image, index)
        assert (found.color, found.depth) == (expected_color, max(depth, 8) if clear else depth)
        assert_same(found, expected)
        assert ApngFrame._cast_to(image.pages[index]).value.has_alpha == (expected_color in (GRAY_ALPHA, RGBA))


@pytest.mark.parametrize("name", LONG)
@pytest.mark.parametrize(("color", "depth"), [form for form in FORMS if form[0] in (GRAY, RGB)])
def test_a_transparent_color(color: int, depth: int, name: str) -> None:
    frames = frames_of(color, depth, name)
    key = frames[0].samples[1, 2]
    for each in frames:
        each.samples[::2, ::3] = key
    chunks = {b"tRNS": key.astype(">u2").tobytes()}
    image = opened(file_of(color, depth, frames, list(chunks.items())))
    for index, expected in enumerate(composed(color, depth, frames, chunks)):
        assert_same(shown(image, index), expected)


def palette_of(depth: int, room: int, alphas: bytes) -> list[tuple[bytes, bytes]]:
    colors = np.random.default_rng(depth).integers(0, 256, 3 * ((1 << depth) - room), np.uint8)
    return [(b"PLTE", colors.tobytes())] + ([(b"tRNS", alphas)] if alphas else [])


@pytest.mark.parametrize(("depth", "name"), [(1, name) for name in SEQUENCES] + [
    (depth, name) for depth in (2, 8) for name in LONG])
@pytest.mark.parametrize(("room", "alphas"), [
    (0, b""), (1, b""), (0, b"\xff\x00"), (1, b"\x00"), (0, b"\x80"), (1, b"\xff\xfe"), (0, b"\x01\x00")])
def test_indices(depth: int, room: int, alphas: bytes, name: str) -> None:
    """Indices stay where a clear one is there or has room, unless colors are mixed."""
    count = (1 << depth) - room
    alphas = alphas[:count]
    chunks = palette_of(depth, room, alphas)
    frames = frames_of(INDEXED, depth, name, count)
    image = opened(file_of(INDEXED, depth, frames, chunks))
    clear = SEQUENCES[name][1]
    mixed = any(alpha not in (0, 255) for alpha in alphas) and any(each.blend == OVER for each in frames)
    has_index = 0 in alphas or room > 0
    stays = not mixed and (has_index or not clear)
    for index, expected in enumerate(composed(INDEXED, depth, frames, dict(chunks))):
        found = shown(image, index)
        assert (found.color == INDEXED) == stays, (found.color, index)
        assert_same(found, expected)
        assert ApngFrame._cast_to(image.pages[index]).value.has_alpha == (clear or any(a < 255 for a in alphas))


def test_frames_in_any_order() -> None:
    frames = frames_of(RGBA, 8, "cleared")
    expected = composed(RGBA, 8, frames, {})
    data = file_of(RGBA, 8, frames)
    for order in ([7, 0, 3, 3, 2, 6, 1, 5, 4], list(range(7, -1, -1)), [4], [5, 6]):
        image = opened(data)
        for index in order:
            assert_same(shown(image, index), expected[index])


@pytest.mark.parametrize(("delay", "milliseconds"), [
    ((0, 5), 0), ((1, 10), 100), ((7, 0), 70), ((1, 3), 333), ((2, 3), 667), ((1, 2000), 1), ((1, 2001), 0),
    ((3, 2000), 2), ((65535, 1), 65535000), ((1, 65535), 0), ((257, 1000), 257), ((300, 0), 3000)])
def test_delays_are_fractions_of_a_second(delay: tuple[int, int], milliseconds: int) -> None:
    frames = [Frame(np.zeros((HEIGHT, WIDTH, 1), int), delay=delay)] * 2
    image = opened(file_of(GRAY, 8, frames))
    assert [ApngFrame._cast_to(page).value.frame_time for page in image.pages] == [milliseconds] * 2


def test_a_frame_is_the_whole_canvas() -> None:
    image = opened(file_of(RGB, 8, frames_of(RGB, 8, "cleared")))
    for page in image.pages:
        each = ApngFrame._cast_to(page).value
        assert (each.frame_left, each.frame_top, each.width, each.height) == (0, 0, WIDTH, HEIGHT)
        assert each.disposal_method == AnimationDisposalMethods.PRESERVE


def test_the_picture_beside_an_animation() -> None:
    still = np.random.default_rng(3).integers(0, 256, (HEIGHT, WIDTH, 3))
    frames = frames_of(RGB, 8, "covered")
    data = file_of(RGB, 8, frames, still=still)
    image = opened(data)
    assert image.page_count == len(frames)
    for index, expected in enumerate(composed(RGB, 8, frames, {})):
        assert_same(shown(image, index), expected)
    file = io.BytesIO()
    image.save(file)
    found = from_bytes(file.getvalue())
    assert (found.color, found.depth) == (RGB, 8)
    assert np.array_equal(found.samples, still)
    assert file.getvalue().index(b"IDAT") < file.getvalue().index(b"fcTL")


def saved_form(image: ApngImage) -> tuple[int, int]:
    file = io.BytesIO()
    image.save(file)
    found = from_bytes(file.getvalue())
    return found.color, found.depth


@pytest.mark.parametrize(("color", "depth"), FORMS)
def test_frames_of_one_form_keep_it(color: int, depth: int) -> None:
    chunks = palette_of(depth, 0, b"") if color == INDEXED else []
    image = opened(file_of(color, depth, frames_of(color, depth, "covered"), chunks))
    assert saved_form(image) == (color, depth)


def test_frames_of_several_forms_become_colors() -> None:
    gray, deep, clear = (opened(file_of(*form, frames_of(*form, "one frame"))) for form in (
        (GRAY, 8), (RGB, 16), (GRAY_ALPHA, 8)))
    gray.add_frame(raster(deep))
    assert saved_form(gray) == (RGB, 8)
    gray.add_frame(raster(clear))
    assert saved_form(gray) == (RGBA, 8)


# ---- what is refused


DATA = picture_data(Png(GRAY, 8, np.zeros((HEIGHT, WIDTH, 1), int)))
FIRST = Frame(np.zeros((HEIGHT, WIDTH, 1), int))
BEGIN = beginning(GRAY, 8, 2)
FRAME = control(0, FIRST) + chunk(b"IDAT", DATA)


def more(content: bytes = DATA, number: int = 2) -> bytes:
    return chunk(b"fdAT", struct.pack(">I", number) + content)


def loaded(data: bytes, *options: Any) -> ApngImage:
    image = opened(data, *options)
    for index in range(image.page_count):
        shown(image, index)
    return image


@pytest.mark.parametrize(("other", "fits"), [
    ({}, True), ({"width": 0}, False), ({"height": 0}, False), ({"width": WIDTH + 1}, False),
    ({"height": HEIGHT + 1}, False), ({"left": 1}, False), ({"top": 1}, False), ({"disposal": 1}, True),
    ({"disposal": 2}, True), ({"disposal": 3}, False), ({"disposal": 255}, False), ({"left": 0xFFFFFFFF}, False),
    ({"top": 0x80000000}, False), ({"width": 0xFFFFFFFF}, False), ({"blend": 2}, True)])
def test_frames_that_do_not_fit(other: dict[str, int], fits: bool) -> None:
    data = BEGIN + FRAME + control(1, FIRST, **other) + more() + END
    if fits:
        assert loaded(data).page_count == 2
        return
    with managed_error("ImageLoadException", "the PNG animation has a frame that does not fit its canvas"):
        loaded(data)


@pytest.mark.parametrize(("rest", "text"), [
    (FRAME + FRAME[:38] + more() + header(Png(GRAY, 8, np.zeros((3, 3, 1), int))), "has two headers"),
    (FRAME + control(1, FIRST), "has a frame without data"),
    (FRAME + control(1, FIRST) + more(b""), "has a frame without data"),
    (FRAME + control(1, FIRST) + control(2, FIRST) + more(), "has a frame without data"),
    (control(0, FIRST) + chunk(b"IDAT", b""), "has a frame without data"),
    (control(0, FIRST) + chunk(b"IDAT", b"") + control(1, FIRST) + more(), "has a frame without data"),
    (b"", "has a frame without data"),
    (more() + FRAME, "has data that belong to no frame"),
    (FRAME + chunk(b"fdAT", b"\0\0\0"), "has data that belong to no frame"),
    (chunk(b"fcTL", control(0, FIRST)[8:-5]) + chunk(b"IDAT", DATA), "has a frame that does not fit its canvas"),
    (FRAME + control(1, FIRST) + more()[:-4] + b"\0\0\0\0", "has a chunk whose checksum is wrong"),
    (control(0, FIRST) + chunk(b"IDAT", DATA)[:-1] + b"\0", "has a chunk whose checksum is wrong"),
])
def test_structures_that_make_no_sense(rest: bytes, text: str) -> None:
    with managed_error("ImageLoadException", "the PNG animation " + text):
        loaded(BEGIN + rest + END)


def test_a_second_palette() -> None:
    colors = (b"PLTE", bytes(range(6)))
    frames = [Frame(np.zeros((HEIGHT, WIDTH, 1), int))] * 2
    assert loaded(file_of(INDEXED, 1, frames, [colors])).page_count == 2
    with managed_error("ImageLoadException", "the PNG animation has two palettes"):
        loaded(file_of(INDEXED, 1, frames, [colors, colors]))


def test_of_other_chunks_the_first_counts() -> None:
    """Only those before the data go for all frames, and of those that a decoder needs the first."""
    frames = frames_of(GRAY, 8, "covered")
    keys = [struct.pack(">H", int(frames[0].samples[0, i, 0])) for i in range(2)]
    data = file_of(GRAY, 8, frames, [(b"tRNS", keys[0]), (b"tRNS", keys[1]), (b"teSt", b"x"), (b"teSt", b"y")])
    image = opened(data)
    for index, expected in enumerate(composed(GRAY, 8, frames, {b"tRNS": keys[0]})):
        assert_same(shown(image, index), expected)
    late = file_of(GRAY, 8, frames).replace(END, chunk(b"tRNS", keys[0]) + END)
    image = opened(late)
    for index, expected in enumerate(composed(GRAY, 8, frames, {})):
        assert np.array_equal(as_rgba(shown(image, index).samples, GRAY, 8, {}), expected)


@pytest.mark.parametrize("mode", [DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER])
def test_the_frames_before_damage_are_recovered(mode: DataRecoveryMode) -> None:
    frames = frames_of(GRAY, 8, "covered")
    whole = file_of(GRAY, 8, frames)
    options = LoadOptions()
    options.data_recovery_mode = mode
    starts = [at - 4 for at in range(len(whole)) if whole[at:at + 4] == b"fcTL"]
    expected = composed(GRAY, 8, frames, {})
    for count in (1, 3, len(frames) - 1):
        # The control of a frame whose data are lost, and one that makes no sense.
        for tail in (whole[starts[count]:starts[count] + 38], control(9, frames[count], disposal=3) + more() + END):
            image = opened(whole[:starts[count]] + tail, options)
            assert image.page_count == count
            for index in range(count):
                assert_same(shown(image, index), expected[index])
    with managed_error("ImageLoadException", "the PNG animation has no frames"):
        loaded(BEGIN + more(), options)
