"""GIF files of every kind: what is loaded and saved without a change is the same, block by block."""

from __future__ import annotations

import dataclasses
import io
import struct
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import AnimationDisposalMethods, Image, Rectangle, RotateFlipType
from zelmor.imaging.fileformats.apng import ApngImage
from zelmor.imaging.fileformats.gif import DisposalMethod, GifImage
from zelmor.imaging.fileformats.gif.blocks import (
    GifApplicationExtensionBlock, GifCommentBlock, GifFrameBlock, GifGraphicsControlBlock)
from zelmor.imaging.imageoptions import GifOptions

from support import png_files
from support.child import run_child
from support.gif_files import (
    Frame, Gif, colors, comment, extension, from_bytes, random_indices, random_palette, shown, to_bytes)
from support.image_oracles import Pixels, load, managed_error, noise, raster, read, worst, write


def cast(image: Any) -> GifImage:
    """The image as a GIF image."""
    return GifImage._cast_to(image).value


def gif_of(tmp_path: Path, gif: Gif) -> GifImage:
    """The image that a file becomes."""
    (tmp_path / "a.gif").write_bytes(to_bytes(gif))
    return cast(Image.load(str(tmp_path / "a.gif")))


def saved(tmp_path: Path, image: Image, *options: Any) -> Gif:
    """The file that an image becomes."""
    image.save(str(tmp_path / "b.gif"), *options)
    return from_bytes((tmp_path / "b.gif").read_bytes())


def same_frames(a: Gif, b: Gif) -> bool:
    """Frames that are equal in every field."""
    return len(a.frames) == len(b.frames) and all(
        np.array_equal(x.indices, y.indices) and dataclasses.replace(x, indices=None) == dataclasses.replace(
            y, indices=None) for x, y in zip(a.frames, b.frames))


def same(a: Gif, b: Gif) -> bool:
    """Files that are equal but for the codes of their pixels."""
    return same_frames(a, b) and dataclasses.replace(a, frames=[]) == dataclasses.replace(b, frames=[])


def seen(image: Any) -> Pixels:
    """The pixels of a frame as RGBA; clear ones are zeros."""
    frame = raster(image)
    packed = np.array(list(frame.load_argb_32_pixels(frame.bounds)), np.int64) & 0xFFFFFFFF
    packed = packed.reshape(frame.height, frame.width)
    pixels = np.stack([packed >> shift & 255 for shift in (16, 8, 0, 24)], -1).astype(np.uint8)
    pixels[pixels[..., 3] == 0] = 0
    return pixels


def animation(count: int = 6, **fields: Any) -> Gif:
    """Frames of all kinds: parts of the canvas, disposals, transparency, palettes of their own."""
    frames = []
    for i in range(count):
        palette = random_palette(16, 50 + i) if i % 4 == 3 else b""
        width, height = (20, 14) if i == 0 else (5 + i % 7, 4 + i % 5)
        left, top = (0, 0) if i == 0 else (i % 9, i % 6)
        frames.append(Frame(random_indices(width, height, 16, i), left, top, palette,
                            i % 3 == 1, 3 + i, (1, 2, 3, 0)[i % 4], 5 if i % 2 else None, i % 5 == 4))
    return Gif(20, 14, random_palette(16), frames, loops=0, **fields)


# ---- Single pictures


@pytest.mark.parametrize("interlaced", [False, True])
@pytest.mark.parametrize("transparent", [None, 1])
@pytest.mark.parametrize("own", [False, True])
@pytest.mark.parametrize("size", [2, 4, 8, 32, 128, 256])
def test_indices_and_palettes_are_kept(tmp_path: Path, size: int, own: bool, transparent: int | None,
                                       interlaced: bool) -> None:
    palette = random_palette(size)
    frame = Frame(random_indices(17, 13, size), palette=palette if own else b"", interlaced=interlaced,
                  transparent=transparent, control=transparent is not None)
    gif = Gif(17, 13, b"" if own else palette, [frame])
    assert same(saved(tmp_path, gif_of(tmp_path, gif)), gif)


def test_256_colors_are_not_quantized_again(tmp_path: Path) -> None:
    gif = Gif(32, 24, random_palette(256), [Frame(random_indices(32, 24, 256))])
    image = gif_of(tmp_path, gif)
    image.crop(Rectangle(3, 2, 25, 20))  # so that nothing is copied from the file
    found = saved(tmp_path, image)
    assert found.palette == gif.palette
    assert np.array_equal(found.frames[0].indices, gif.frames[0].indices[2:22, 3:28])
    Pillow.fromarray(noise(1, 3, 16, 16)).convert("P").save(tmp_path / "c.png")
    again = saved(tmp_path, load(tmp_path / "c.png"))
    assert worst(shown(again)[0][..., :3], read(tmp_path / "c.png", "RGB")) == 0


def test_equal_colors_keep_their_indices(tmp_path: Path) -> None:
    gif = Gif(9, 9, b"\1\2\3" * 8, [Frame(random_indices(9, 9, 8))])
    image = gif_of(tmp_path, gif)
    image.crop(Rectangle(0, 0, 8, 8))
    assert np.array_equal(saved(tmp_path, image).frames[0].indices, gif.frames[0].indices[:8, :8])


def test_the_screen_is_kept(tmp_path: Path) -> None:
    gif = Gif(12, 10, random_palette(8), [Frame(random_indices(12, 10, 8), control=False)], resolution=4,
              is_sorted=True, background=3, aspect=49, trailer=False)
    image = gif_of(tmp_path, gif)
    assert (image.palette_color_resolution_bits, image.is_palette_sorted, image.background_color_index,
            image.pixel_aspect_ratio, image.has_trailer) == (5, True, 3, 49, False)
    assert same(saved(tmp_path, image), gif)
    image.palette_color_resolution_bits, image.is_palette_sorted, image.has_trailer = 2, False, True
    image.background_color_index, image.pixel_aspect_ratio = 7, 1
    found = saved(tmp_path, image)
    assert (found.resolution, found.is_sorted, found.background, found.aspect, found.trailer) == (1, False, 7, 1, True)


def test_options_set_the_fields_of_the_screen(tmp_path: Path) -> None:
    frames = [Frame(random_indices(9, 7, 16, i)) for i in range(2)]
    image = gif_of(tmp_path, Gif(9, 7, random_palette(16), frames))
    options = GifOptions()
    assert (options.pixel_aspect_ratio, options.background_color_index, options.has_trailer) == (0, 0, True)
    options.pixel_aspect_ratio, options.background_color_index, options.has_trailer = 49, 3, False
    found = saved(tmp_path, image, options)
    assert (found.aspect, found.background, found.trailer) == (49, 3, False)
    original = cast(Image.load(str(tmp_path / "b.gif"))).get_original_options()
    found = saved(tmp_path, load(write(tmp_path / "a.png", noise(3, 2, 8, 6))), original)
    assert (found.aspect, found.background, found.trailer) == (49, 3, False)


@pytest.mark.parametrize("resolution", range(8))
def test_color_resolution_is_written(tmp_path: Path, resolution: int) -> None:
    options = GifOptions()
    options.color_resolution = resolution
    write(tmp_path / "a.png", noise())
    found = saved(tmp_path, load(tmp_path / "a.png"), options)
    assert found.resolution == resolution and len(found.palette) // 3 == 2 << resolution


def test_a_screen_larger_than_its_frame_is_not_cut(tmp_path: Path) -> None:
    gif = Gif(30, 20, random_palette(16), [Frame(random_indices(7, 5, 16), 11, 9)])
    image = gif_of(tmp_path, gif)
    assert (image.width, image.height) == (30, 20)
    assert worst(seen(image), shown(gif)[0]) == 0
    assert same(saved(tmp_path, image), gif)
    image.set_argb_32_pixel(0, 0, -1)
    assert saved(tmp_path, image).width == 30


def test_a_frame_larger_than_its_screen_is_cut(tmp_path: Path) -> None:
    gif = Gif(6, 5, random_palette(16), [Frame(random_indices(30, 20, 16), 2, 1)])
    assert worst(seen(gif_of(tmp_path, gif)), shown(gif)[0]) == 0


# ---- Animations


def test_frames_are_composed_as_the_file_says(tmp_path: Path) -> None:
    gif = animation(24)
    image = gif_of(tmp_path, gif)
    frames = list(image.pages)
    wanted = shown(gif)
    assert image.page_count == len(frames) == 24
    for i in [23, 5, 0, 12, *range(24)]:  # in any order
        assert worst(seen(frames[i]), wanted[i]) == 0, i


def test_an_untouched_animation_is_saved_as_it_is(tmp_path: Path) -> None:
    gif = animation(12, background=2, aspect=5, behind=[comment(b"end")])
    gif.frames[0].blocks = [comment(b"start"), extension(0xFF, b"SOMEAPP 1.0", b"data", b"more")]
    gif.frames[7].blocks = [extension(0x42, b"of no kind"), comment(b"\xff\xfe no UTF-8")]
    image = gif_of(tmp_path, gif)
    assert same(saved(tmp_path, image), gif)
    assert len(list(image.pages)) == 12  # and once the frames were looked at
    seen(image.pages[4])
    assert same(saved(tmp_path, image), gif)


@pytest.mark.parametrize("change", [1, 6, 11])
def test_a_changed_frame_changes_no_other(tmp_path: Path, change: int) -> None:
    gif = animation(12)
    image = gif_of(tmp_path, gif)
    raster(image.pages[change]).set_argb_32_pixel(2, 3, -0xFF0100)
    wanted = shown(gif)
    wanted[change][3, 2] = (0, 255, 0, 255)
    found = shown(saved(tmp_path, image))
    assert all(worst(a, b) == 0 for a, b in zip(found, wanted)) and len(found) == 12


def test_5000_frames_are_5000(tmp_path: Path) -> None:
    frames = [Frame(np.full((2, 2), i % 4, np.uint8), i % 7, i % 5, delay=1) for i in range(5000)]
    gif = Gif(9, 7, random_palette(4), frames)
    image = gif_of(tmp_path, gif)
    assert image.page_count == 5000 and len(image.pages) == 5000
    wanted = shown(gif)
    for i in (4000, 3999, 4999, 17):
        assert worst(seen(image.pages[i]), wanted[i]) == 0
    assert same_frames(saved(tmp_path, image), gif)


def test_frames_far_apart_need_little_memory(tmp_path: Path) -> None:
    """400 frames of 4 MB each would be 1.6 GB."""
    frames = [Frame(np.full((4, 4), i % 4, np.uint8), i % 900, i % 900) for i in range(400)]
    (tmp_path / "a.gif").write_bytes(to_bytes(Gif(2000, 2000, random_palette(4), frames)))
    program = f"""
import resource
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.gif import GifImage
image = GifImage._cast_to(Image.load({str(tmp_path / 'a.gif')!r})).value
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
for frame in image.pages:
    RasterImage._cast_to(frame).value.get_argb_32_pixel(0, 0)
image.save({str(tmp_path / 'b.gif')!r})
assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 400 << 10
"""
    run_child(program)


def test_a_page_keeps_its_duration(tmp_path: Path) -> None:
    image = gif_of(tmp_path, animation(3))
    other = gif_of(tmp_path, animation(5))
    image.add_page(raster(other.pages[3]))
    assert GifFrameBlock._cast_to(image.pages[3]).value.frame_time == 60
    image.add_page(load(write(tmp_path / "a.png", noise(3, 1, 20, 14))))
    assert [frame.delay for frame in saved(tmp_path, image).frames] == [3, 4, 5, 6, 10]


# ---- Control blocks


def test_a_control_block_is_that_of_the_file(tmp_path: Path) -> None:
    gif = animation(8)
    image = gif_of(tmp_path, gif)
    for frame, wanted in zip(image.pages, gif.frames):
        block = GifFrameBlock._cast_to(frame).value.control_block
        assert isinstance(block, GifGraphicsControlBlock)
        assert (block.delay_time, int(block.disposal_method), block.user_input_expected,
                block.has_transparent_color) == (
            wanted.delay, wanted.disposal, wanted.user_input, wanted.transparent is not None)
        assert block.transparent_color_index == (wanted.transparent or 0)


@pytest.mark.parametrize("disposal", range(4))
@pytest.mark.parametrize("user_input", [False, True])
@pytest.mark.parametrize("transparent", [None, 3])
def test_a_control_block_is_changed_in_one_field(tmp_path: Path, transparent: int | None, user_input: bool,
                                                 disposal: int) -> None:
    """All its flags share a byte; those that are not set stay what they were."""
    frame = Frame(random_indices(9, 7, 16), delay=5, disposal=disposal, transparent=transparent, user_input=user_input)
    image = gif_of(tmp_path, Gif(9, 7, random_palette(16), [frame, dataclasses.replace(frame)]))
    blocks = [GifFrameBlock._cast_to(page).value.control_block for page in image.pages]
    blocks[0].delay_time = 12
    blocks[1].user_input_expected = not user_input
    found = saved(tmp_path, image).frames
    assert [(each.delay, each.disposal, each.user_input, each.transparent) for each in found] == [
        (12, disposal, user_input, transparent), (5, disposal, not user_input, transparent)]


def test_a_frame_of_another_file_becomes_an_image(tmp_path: Path) -> None:
    """Its pixels are still those of the file, which is none to copy a frame from."""
    path = write(tmp_path / "a.png", noise(3, 2, 400, 300))
    image = GifImage(GifFrameBlock(load(path)))
    assert GifFrameBlock._cast_to(image.pages[0]).value.control_block.delay_time == 10
    found = saved(tmp_path, image)
    assert found.frames[0].indices.shape == (300, 400)


def test_what_is_set_in_a_control_block_is_saved(tmp_path: Path) -> None:
    image = gif_of(tmp_path, animation(4))
    frame = GifFrameBlock._cast_to(image.pages[2]).value
    frame.control_block.delay_time, frame.control_block.user_input_expected = 77, True
    assert frame.frame_time == 770 and frame.control_block.delay_time == 77
    frame.frame_time = 1234
    assert frame.control_block.delay_time == 123 and frame.frame_time == 1234
    found = saved(tmp_path, image).frames[2]
    assert (found.delay, found.user_input) == (123, True)
    image.set_frame_time(50)
    assert [frame.delay for frame in saved(tmp_path, image).frames] == [5] * 4


@pytest.mark.parametrize("disposal", range(8))
@pytest.mark.parametrize("transparent", [None, 0, 7])
def test_all_fields_of_a_control_block_are_written_for_a_frame_of_a_file(tmp_path: Path, transparent: int | None,
                                                                         disposal: int) -> None:
    gif = animation(4)
    image = gif_of(tmp_path, gif)
    block = GifFrameBlock._cast_to(image.pages[1]).value.control_block
    block.flags = block.flags & ~0x1D | disposal << 2 | (0 if transparent is None else 1)
    block.transparent_color_index = transparent or 0
    found = saved(tmp_path, image)
    gif.frames[1].disposal, gif.frames[1].transparent = disposal, transparent
    assert same(found, gif)
    again = cast(Image.load(str(tmp_path / "b.gif")))
    assert same(saved(tmp_path, again), gif)


def transparent_set(image: GifImage, page: int, index: int | None) -> None:
    block = GifFrameBlock._cast_to(image.pages[page]).value.control_block
    block.has_transparent_color, block.transparent_color_index = index is not None, index or 0


@pytest.mark.parametrize("options", [[], [GifOptions()]])
@pytest.mark.parametrize("count", [1, 3])
def test_a_transparent_index_is_set_for_indexed_frames(tmp_path: Path, count: int, options: list[Any]) -> None:
    """The frames are not copied from the file, since they were cut."""
    palette = random_palette(16)
    frames = [Frame(random_indices(9, 7, 16, i)) for i in range(count)]
    image = gif_of(tmp_path, Gif(9, 7, palette, frames))
    image.crop(Rectangle(0, 0, 8, 6))
    for page in range(count):
        transparent_set(image, page, 3 + page)
    found = saved(tmp_path, image, *options)
    assert found.frames[0].transparent == 3
    for page, picture in enumerate(shown(found)):
        indices = frames[page].indices[:6, :8]
        clear = indices == 3 + page
        assert clear.any() and np.array_equal(picture[..., 3] == 0, clear)
        assert worst(picture[~clear][:, :3], colors(palette)[indices[~clear]]) == 0


@pytest.mark.parametrize("options", [[], [GifOptions()]])
def test_a_transparent_index_that_no_pixel_can_have_is_refused(tmp_path: Path, options: list[Any]) -> None:
    image = gif_of(tmp_path, Gif(9, 7, random_palette(16), [Frame(random_indices(9, 7, 16))]))
    image.crop(Rectangle(0, 0, 8, 6))
    transparent_set(image, 0, 16)
    text = "The value 16 of GifGraphicsControlBlock.TransparentColorIndex is not supported"
    with managed_error("NotSupportedException", text):
        saved(tmp_path, image, *options)
    image = GifImage(GifFrameBlock(load(write(tmp_path / "a.png", noise(3, 2, 8, 6)))))
    transparent_set(image, 0, 1)
    with managed_error("NotSupportedException", "GifGraphicsControlBlock.TransparentColorIndex"):
        saved(tmp_path, image, *options)
    gif = animation(4)  # its palettes differ, so that changed frames have no indices
    gif.frames[0].transparent = 2
    image = gif_of(tmp_path, gif)
    image.rotate_flip_all(RotateFlipType.ROTATE_180_FLIP_NONE)
    saved(tmp_path, image, *options)
    transparent_set(image, 0, None)
    with managed_error("NotSupportedException", "The value False of GifGraphicsControlBlock.HasTransparentColor"):
        saved(tmp_path, image, *options)


def test_a_disposal_of_a_changed_frame_takes_nothing_from_the_next(tmp_path: Path) -> None:
    """The frames are written as what differs from the frame before, which therefore has to stay."""
    indices = [random_indices(9, 7, 16, 0), random_indices(9, 7, 16, 0), random_indices(9, 7, 16, 0)]
    indices[1][2, 2], indices[2][3, 3] = 1, 2
    for disposal in range(8):
        gif = Gif(9, 7, random_palette(16), [Frame(each, disposal=disposal) for each in indices])
        image = gif_of(tmp_path, gif)
        image.rotate_flip_all(RotateFlipType.ROTATE_180_FLIP_NONE)
        found = saved(tmp_path, image)
        for picture, each in zip(shown(found), shown(gif)):
            assert worst(picture, each[::-1, ::-1]) == 0
        assert {frame.disposal for frame in found.frames} <= {disposal, 1}
        assert disposal < 5 or {frame.disposal for frame in found.frames} == {disposal}


@pytest.mark.parametrize("disposal, method", [
    (DisposalMethod.NONE, AnimationDisposalMethods.PRESERVE),
    (DisposalMethod.PRESERVE, AnimationDisposalMethods.PRESERVE),
    (DisposalMethod.RESTORE, AnimationDisposalMethods.BACKGROUND),
    (DisposalMethod.PREVIUOS, AnimationDisposalMethods.PREVIOUS)])
def test_new_frames_are_saved_with_place_and_disposal(tmp_path: Path, disposal: DisposalMethod,
                                                      method: AnimationDisposalMethods) -> None:
    picture = load(write(tmp_path / "a.png", noise(3, 2, 8, 6)))
    parts = [GifFrameBlock(picture), GifFrameBlock(picture, 5, 4), GifFrameBlock(picture, 1, 2)]
    image = GifImage(parts[0])
    for part in parts[1:]:
        image.add_block(part)
    for part in parts:
        part.control_block.disposal_method = disposal
        assert part.disposal_method == method
    found = saved(tmp_path, image)
    assert [(frame.left, frame.top, frame.indices.shape, frame.disposal) for frame in found.frames] == [
        (left, top, (6, 8), int(disposal)) for left, top in ((0, 0), (5, 4), (1, 2))]
    assert (found.width, found.height) == (13, 10)
    wanted = noise(3, 2, 8, 6)
    for frame in found.frames:
        colors = np.frombuffer(frame.palette or found.palette, np.uint8).reshape(-1, 3)
        assert worst(colors[frame.indices], wanted) == 0


# ---- Blocks


def test_blocks_are_listed_added_and_removed(tmp_path: Path) -> None:
    gif = animation(2, behind=[comment(b"end")])
    gif.frames[1].blocks = [comment(b"middle")]
    image = gif_of(tmp_path, gif)
    kinds = [type(block) for block in image.blocks]
    assert kinds == [GifFrameBlock, GifCommentBlock, GifFrameBlock, GifCommentBlock]
    assert image.blocks[1].comment == "middle"
    image.insert_block(0, GifCommentBlock("first"))
    image.add_block(GifCommentBlock("last"))
    image.remove_block(image.blocks[2])
    found = saved(tmp_path, image)
    assert [frame.blocks for frame in found.frames] == [[comment(b"first")], []]
    assert found.behind == [comment(b"end"), comment(b"last")]
    assert worst(shown(found)[1], shown(gif)[1]) == 0
    image.remove_block(image.blocks[1])  # the first frame; what stood before it stays
    assert [type(block) for block in image.blocks] == [GifCommentBlock, GifFrameBlock, GifCommentBlock, GifCommentBlock]
    for index in (-1, 5):
        with managed_error("ArgumentOutOfRangeException", "'index'", str(index)):
            image.insert_block(index, GifCommentBlock("nowhere"))
    with managed_error("ArgumentException", "not one of the image"):
        image.remove_block(GifCommentBlock("of none"))
    image.clear_blocks()
    assert len(image.blocks) == image.page_count == 0


def test_a_changed_comment_is_saved(tmp_path: Path) -> None:
    gif = animation(2)
    gif.frames[1].blocks = [comment(b"before")]
    image = gif_of(tmp_path, gif)
    image.blocks[1].comment = "after"
    assert saved(tmp_path, image).frames[1].blocks == [comment(b"after")]


def test_comments_stay_with_options(tmp_path: Path) -> None:
    gif = animation(2, behind=[comment(b"end")])
    gif.frames[1].blocks = [comment(b"middle")]
    found = saved(tmp_path, gif_of(tmp_path, gif), GifOptions())
    assert found.frames[1].blocks == [comment(b"middle")] and found.behind == [comment(b"end")]


def test_order_blocks(tmp_path: Path) -> None:
    image = gif_of(tmp_path, animation(2))
    application = GifApplicationExtensionBlock()
    application.application_identifier, application.application_authentication_code = "SOMEAPP ", b"1.0"
    application.application_data = b"data"
    control = GifGraphicsControlBlock(9, False, 0, False, DisposalMethod.PRESERVE)
    image.insert_block(1, control)
    image.insert_block(2, GifCommentBlock("text"))
    image.add_block(application)
    image.order_blocks()
    assert [type(block) for block in image.blocks] == [
        GifApplicationExtensionBlock, GifFrameBlock, GifCommentBlock, GifGraphicsControlBlock, GifFrameBlock]
    found = saved(tmp_path, image)
    assert found.frames[0].blocks == [extension(0xFF, b"SOMEAPP 1.0", b"data")]
    assert found.frames[1].blocks == [comment(b"text")] and found.frames[1].delay == 9


# ---- Loops, damage


@pytest.mark.parametrize("frames", [1, 3])
@pytest.mark.parametrize("loops", [None, 0, 1, 5, 65535])
def test_loops_are_kept(tmp_path: Path, loops: int | None, frames: int) -> None:
    gif = animation(frames)
    gif.loops = loops
    image = gif_of(tmp_path, gif)
    assert saved(tmp_path, image).loops == loops
    image.crop(Rectangle(0, 0, 9, 9))
    assert saved(tmp_path, image).loops == loops


def test_a_damaged_frame_is_told_when_it_is_looked_at(tmp_path: Path) -> None:
    data = to_bytes(animation(4))
    (tmp_path / "a.gif").write_bytes(data[:-20])
    image = cast(Image.load(str(tmp_path / "a.gif")))
    assert image.page_count == 4
    seen(image.pages[2])
    with managed_error("ImageLoadException", "GIF"):
        seen(image.pages[3])


# ---- Animated PNG


def apng(frames: list[tuple[Pixels, int, int, int, int]], width: int, height: int) -> bytes:
    """A file of frames (pixels with alpha, left, top, disposal, whether laid over)."""
    base = png_files.Png(png_files.RGBA, 8, np.zeros((height, width, 4), int))
    out = png_files.SIGNATURE + png_files.header(base) + png_files.chunk(b"acTL", struct.pack(">II", len(frames), 0))
    number = 0
    for i, (pixels, left, top, disposal, over) in enumerate(frames):
        rows, columns = pixels.shape[:2]
        out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", number, columns, rows, left, top, 1, 10, disposal, over))
        number += 1
        data = png_files.picture_data(png_files.Png(png_files.RGBA, 8, pixels.astype(int)))
        if i == 0:
            out += png_files.chunk(b"IDAT", data)
        else:
            out += png_files.chunk(b"fdAT", struct.pack(">I", number) + data)
            number += 1
    return out + png_files.chunk(b"IEND", b"")


def test_frames_of_a_png_animation_are_those_of_pillow(tmp_path: Path) -> None:
    frames = [(noise(4, 1, 20, 14), 0, 0, 0, 0)]
    for i in range(1, 12):
        part = noise(4, i, 6 + i % 5, 5)
        part[..., 3] = (part[..., 3] > 127) * 255 if i % 2 else part[..., 3]
        frames.append((part, i % 8, i % 7, (0, 1, 2)[i % 3], i % 2))
    (tmp_path / "a.png").write_bytes(apng(frames, 20, 14))
    image = ApngImage._cast_to(Image.load(str(tmp_path / "a.png"))).value
    assert image.page_count == 12
    wanted = []
    with Pillow.open(tmp_path / "a.png") as oracle:
        for i in range(12):
            oracle.seek(i)
            wanted.append(np.asarray(oracle.convert("RGBA")).copy())
            wanted[i][wanted[i][..., 3] == 0] = 0
    for i in [11, 3, *range(12)]:
        assert worst(seen(image.pages[i]), wanted[i]) <= 1, i  # each rounds on its own


def test_a_small_png_animation_takes_little_memory(tmp_path: Path) -> None:
    """Of 1,000 frames, each of which clears a canvas of 64 MB."""
    width = height = 4000
    rows = zlib.compress(bytes((4 * width + 1) * height), 9)
    out = png_files.SIGNATURE + png_files.chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
    out += png_files.chunk(b"acTL", struct.pack(">II", 1000, 0))
    part = zlib.compress(b"\0\1\2\3\4")
    out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", 0, width, height, 0, 0, 1, 10, 0, 0))
    out += png_files.chunk(b"IDAT", rows)
    for i in range(999):
        out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", 2 * i + 1, 1, 1, i, i, 1, 10, 0, 0))
        out += png_files.chunk(b"fdAT", struct.pack(">I", 2 * i + 2) + part)
    (tmp_path / "a.png").write_bytes(out + png_files.chunk(b"IEND", b""))
    program = f"""
import resource
resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.apng import ApngImage
image = ApngImage._cast_to(Image.load({str(tmp_path / 'a.png')!r})).value
assert len(image.pages) == 1000
assert RasterImage._cast_to(image.pages[20]).value.get_argb_32_pixel(19, 19) == 0x04010203
"""
    run_child(program)


def test_the_transparent_color_of_a_file_without_a_palette() -> None:
    """The format leaves the colors to the reader, for whom they are black and white."""
    file = io.BytesIO()
    picture = Pillow.fromarray((np.arange(60) % 2).astype(np.uint8).reshape(6, 10), "P")
    picture.putpalette([9, 8, 7, 1, 2, 3])
    picture.save(file, "GIF", transparency=1)
    data = file.getvalue()
    size = 6 << (data[10] & 7)
    without = data[:10] + bytes([data[10] & 0x7F]) + data[11:13] + data[13 + size:]
    image = raster(Image.load(io.BytesIO(without)))
    assert image.has_transparent_color and image.transparent_color.to_argb() & 0xFFFFFFFF == 0xFFFFFFFF
    assert [entry & 0xFFFFFFFF for entry in image.palette.argb_32_entries] == [0xFF000000, 0x00FFFFFF]
