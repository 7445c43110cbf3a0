"""GIF files that are put together of parts, pages and blocks, and what they show; icons with palettes."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import ColorPalette, Image, RasterImage
from zelmor.imaging.fileformats.gif import DisposalMethod, GifImage
from zelmor.imaging.fileformats.gif.blocks import GifCommentBlock, GifFrameBlock
from zelmor.imaging.imageoptions import GifOptions, IcoOptions

from support.arrays import Pixels
from support.gif_files import from_bytes, shown
from support.image_oracles import managed_error

WIDTH, HEIGHT = 12, 9


def raster(array: Pixels) -> Any:
    file = io.BytesIO()
    Pillow.fromarray(array).save(file, "PNG")
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def plain(color: tuple[int, int, int], width: int = WIDTH, height: int = HEIGHT) -> Pixels:
    return np.full((height, width, 3), color, np.uint8)


def with_hole(color: tuple[int, int, int]) -> Pixels:
    """Pixels of one color, of which a part is clear."""
    array = np.dstack([plain(color), np.full((HEIGHT, WIDTH), 255, np.uint8)])
    array[3:6, 4:8] = 0
    return array


def argb(red: int, green: int, blue: int) -> int:
    return (0xFF << 24 | red << 16 | green << 8 | blue) - (1 << 32)


def frames_of(image: Any, *how: Any) -> list[Pixels]:
    """The frames that the file shows one after the other; clear pixels are zeros."""
    file = io.BytesIO()
    image.save(file, *how)
    return shown(from_bytes(file.getvalue()))


def opaque(array: Pixels) -> Pixels:
    return np.dstack([array, np.full(array.shape[:2], 255, np.uint8)]) if array.shape[2] == 3 else array


def over(below: Pixels, above: Pixels) -> Pixels:
    return np.where(above[..., 3:] > 0, above, below)


def test_pages_that_are_added_lie_over_those_before() -> None:
    first = GifFrameBlock(raster(plain((200, 0, 0))))
    image = GifImage(first)
    image.add_block(GifFrameBlock(raster(plain((0, 200, 0), 6, 4)), 3, 2))
    image.add_page(raster(with_hole((0, 0, 200))))
    both = plain((200, 0, 0))
    both[2:6, 3:9] = (0, 200, 0)
    found = frames_of(image)
    assert len(found) == 3
    for frame, wanted in zip(found, (opaque(plain((200, 0, 0))), opaque(both),
                                     over(opaque(both), with_hole((0, 0, 200))))):
        assert np.array_equal(frame, wanted)


@pytest.mark.parametrize("disposal", [DisposalMethod.NONE, DisposalMethod.PRESERVE, DisposalMethod.RESTORE,
                                      DisposalMethod.PREVIUOS])
def test_a_part_between_frames_of_a_file(disposal: DisposalMethod) -> None:
    """The frames of the file show what they showed: the hole of the second nothing of the part."""
    file = io.BytesIO()
    pages = [Pillow.fromarray(with_hole(color)) for color in ((200, 0, 0), (0, 0, 200))]
    pages[0].save(file, "GIF", save_all=True, append_images=pages[1:], disposal=2)
    image = GifImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value
    part = GifFrameBlock(raster(plain((0, 200, 0), 6, 4)), 3, 2)
    part.control_block.disposal_method = disposal
    image.insert_block(1, part)
    found = frames_of(image)
    covered = np.zeros((HEIGHT, WIDTH, 4), np.uint8)
    covered[2:6, 3:9] = (0, 200, 0, 255)
    assert len(found) == 3
    for frame, wanted in zip(found, (with_hole((200, 0, 0)), over(with_hole((200, 0, 0)), covered),
                                     with_hole((0, 0, 200)))):
        assert np.array_equal(frame, wanted)


def test_a_picture_of_more_colors_than_fit_keeps_its_hole() -> None:
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    many = np.dstack([x * 20, y * 25, x * y * 2 % 256, np.full(x.shape, 255)]).astype(np.uint8)
    many[3:6, 4:8] = 0
    for bits in (1, 2, 3, 4, 8):
        options = GifOptions()
        options.color_resolution = bits - 1
        palette = [argb(i * 255 // ((1 << bits) - 1), 0, 0) for i in range(1 << bits)]
        options.palette = ColorPalette(palette)
        frame, = frames_of(raster(many), options)
        assert len(np.unique(frame[frame[..., 3] > 0][:, :3], axis=0)) <= 1 << bits
    frame, = frames_of(raster(many), GifOptions())
    assert np.array_equal(frame[..., 3] == 0, many[..., 3] == 0)


@pytest.mark.parametrize("indexed", [False, True])
def test_pixels_of_half_their_opacity_and_more_are_seen(indexed: bool) -> None:
    """A GIF knows opaque and clear pixels only."""
    alphas = np.arange(256, dtype=np.uint8).reshape(16, 16)
    file = io.BytesIO()
    if indexed:
        picture = Pillow.fromarray(alphas, "P")
        picture.putpalette([7, 8, 9] * 256)
        picture.save(file, "PNG", transparency=bytes(range(256)))
    else:
        Pillow.fromarray(np.dstack([np.full((16, 16, 3), (7, 8, 9), np.uint8), alphas])).save(file, "PNG")
    frame, = frames_of(RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value, GifOptions())
    assert np.array_equal(frame[..., 3], np.where(alphas >= 128, 255, 0))
    assert (frame[alphas >= 128][:, :3] == (7, 8, 9)).all()


#: The pixels of a second frame that differ from the first, by row and column, and the part that is written of it.
CHANGES: list[tuple[list[tuple[int, int]], tuple[int, int, int, int]]] = [
    ([], (0, 0, 1, 1)), ([(0, 0)], (0, 0, 1, 1)), ([(8, 11)], (11, 8, 1, 1)), ([(0, 11)], (11, 0, 1, 1)),
    ([(8, 0)], (0, 8, 1, 1)), ([(4, 5), (4, 6)], (5, 4, 2, 1)), ([(4, 5), (5, 5)], (5, 4, 1, 2)),
    ([(2, 9), (6, 3)], (3, 2, 7, 5)), ([(2, 3), (6, 9), (4, 1)], (1, 2, 9, 5)), ([(0, 0), (8, 11)], (0, 0, 12, 9))]


def animated(*pages: Pixels) -> bytes:
    """Pages that are all as large as the picture, as an animation with the options of the format."""
    file, out = io.BytesIO(), io.BytesIO()
    pictures = [Pillow.fromarray(page) for page in pages]
    pictures[0].save(file, "TIFF", save_all=True, append_images=pictures[1:])
    Image.load(io.BytesIO(file.getvalue())).save(out, GifOptions())
    return out.getvalue()


@pytest.mark.parametrize(("changed", "area"), CHANGES)
def test_of_a_frame_that_part_is_written_which_changes(changed: list[tuple[int, int]],
                                                       area: tuple[int, int, int, int]) -> None:
    first = plain((10, 20, 30))
    first[::2, ::3] = (200, 100, 50)
    second = first.copy()
    for row, column in changed:
        second[row, column] = (1, 2, 3)
    gif = from_bytes(animated(first, second, first))
    assert (gif.width, gif.height) == (WIDTH, HEIGHT)
    places = [(frame.left, frame.top, frame.indices.shape[1], frame.indices.shape[0]) for frame in gif.frames]
    assert places == [(0, 0, WIDTH, HEIGHT), area, area]
    assert [frame.disposal for frame in gif.frames] == [0, 1, 1]
    assert [np.array_equal(found[..., :3], wanted) for found, wanted in zip(shown(gif), (first, second, first))] == [
        True, True, True]


def test_a_frame_whose_pixels_become_clear_is_taken_away_as_a_whole() -> None:
    whole, hole = opaque(plain((200, 0, 0))), with_hole((200, 0, 0))
    other = hole.copy()
    other[0, 0] = (0, 0, 0, 0)
    gif = from_bytes(animated(whole, hole, hole, other, whole))
    assert [frame.disposal for frame in gif.frames] == [2, 0, 2, 1, 1]
    places = [(frame.left, frame.top, frame.indices.shape[1], frame.indices.shape[0]) for frame in gif.frames]
    # The frame after one that is taken away has all of its own pixels; others what is new.
    assert places == [(0, 0, 12, 9), (0, 0, 12, 9), (0, 0, 12, 9), (0, 0, 12, 9), (0, 0, 8, 6)]
    for found, wanted in zip(shown(gif), (whole, hole, hole, other, whole)):
        assert np.array_equal(found, np.where(wanted[..., 3:] > 0, wanted, 0))


def test_durations_become_hundredths_of_a_second() -> None:
    """The nearest, and as many as two bytes hold."""
    durations = {1: 0, 4: 0, 5: 1, 14: 1, 15: 2, 1000: 100, 655_344: 65534, 655_345: 65535, 655_355: 65535,
                 16_000_000: 65535}
    pages = [Pillow.fromarray(plain((i * 20, 5, 9))) for i in range(len(durations))]
    file, out = io.BytesIO(), io.BytesIO()
    pages[0].save(file, "WEBP", save_all=True, append_images=pages[1:], duration=list(durations), lossless=True)
    Image.load(io.BytesIO(file.getvalue())).save(out, GifOptions())
    assert [frame.delay for frame in from_bytes(out.getvalue()).frames] == list(durations.values())


def test_blocks_of_other_images_are_no_blocks_of_this_one() -> None:
    image = GifImage(GifFrameBlock(raster(plain((1, 2, 3)))))
    other = GifCommentBlock("text")
    for _ in range(2):
        with managed_error("ArgumentException", "The block is not one of the image. (Parameter 'block')"):
            image.remove_block(other)
        image.add_block(other)
        image.remove_block(other)
    assert len(frames_of(image)) == 1


@pytest.mark.parametrize(("bits", "fits"), [(0, False), (1, True), (8, True), (9, False)])
def test_bits_of_new_frames(bits: int, fits: bool) -> None:
    if fits:
        frame = GifFrameBlock(0, 0, 4, 3, None, False, False, bits)
        assert (frame.width, frame.height) == (4, 3)
    else:
        with managed_error("ArgumentOutOfRangeException", f"The value {bits} is not between 1 and 8. "
                           "(Parameter 'bits_per_pixel')"):
            GifFrameBlock(0, 0, 4, 3, None, False, False, bits)


@pytest.mark.parametrize("bits", [1, 4, 8])
def test_icons_with_a_palette_of_the_options(bits: int) -> None:
    colors = [(0, 0, 0), (255, 0, 0), (0, 255, 0), (255, 255, 255)][:2 if bits == 1 else 4]
    array = np.array(colors, np.uint8)[np.arange(256).reshape(16, 16) % len(colors)]
    options = IcoOptions()
    options.bits_per_pixel = bits
    options.palette = ColorPalette([argb(*color) for color in colors])
    file = io.BytesIO()
    raster(array).save(file, options)
    with Pillow.open(io.BytesIO(file.getvalue())) as read:
        assert np.array_equal(np.asarray(read.convert("RGB")), array)
    options.palette = ColorPalette([argb(i, 0, 0) for i in range((1 << bits) + 1)][:256])
    if bits < 8:
        with managed_error("[A-Za-z]+", f"the palette has {(1 << bits) + 1} colors, and {bits} bits hold {1 << bits}"):
            raster(array).save(io.BytesIO(), options)
