"""Images of several frames: TIFF pages and animations, compared with Pillow."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, IntRange, RasterCachedImage, RasterImage, Rectangle, ResizeType, RotateFlipType
from zelmor.imaging.fileformats.apng import ApngFrame, ApngImage
from zelmor.imaging.fileformats.bigtiff import BigTiffImage
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffByteOrder, TiffCompressions, TiffExpectedFormat
from zelmor.imaging.fileformats.webp import WebPFrameBlock, WebPImage
from zelmor.imaging.imageoptions import (
    ApngOptions, BigTiffOptions, GifOptions, MultiPageOptions, PngOptions, TiffOptions, TimeInterval, WebPOptions)

from support.control import Control
from support.image_oracles import Pixels, managed_error, noise, raster, worst, write

SIZES = [(30, 20), (7, 41), (50, 3)]


def cast(kind: Any, image: Any) -> Any:
    """The image, cast to its own class."""
    return kind._cast_to(image).value


def pages(count: int = 3, bands: int = 3) -> list[Pixels]:
    """Pages of different sizes."""
    return [noise(bands, seed, *SIZES[seed % 3]) for seed in range(count)]


def blocks(count: int = 4, size: tuple[int, int] = (12, 9)) -> list[Pixels]:
    """Frames of one size with few colors, which a palette keeps."""
    frames = []
    for i in range(count):
        frame = np.zeros((size[1], size[0], 3), np.uint8)
        frame[:, i:i + 4] = (200, 30 * i, 60)
        frame[i, :] = (10, 200, 40 * i)
        frames.append(frame)
    return frames


def write_tiff(path: Path, frames: list[Pixels], **options: object) -> str:
    """Frames in a TIFF file, written by Pillow."""
    first, *more = [Pillow.fromarray(frame) for frame in frames]
    first.save(path, save_all=True, append_images=more, **options)
    return str(path)


def write_animation(path: Path, frames: list[Pixels], durations: list[int]) -> str:
    """Frames in an animation, written by Pillow."""
    first, *more = [Pillow.fromarray(frame) for frame in frames]
    options: dict[str, object] = {"lossless": True} if path.suffix == ".webp" else {}
    first.save(path, save_all=True, append_images=more, duration=durations, loop=3, **options)
    return str(path)


def read_frames(file: Any, mode: str = "RGB") -> list[Pixels]:
    """All frames of a file as Pillow reads them."""
    with Pillow.open(file) as picture:
        frames = []
        for i in range(getattr(picture, "n_frames", 1)):
            picture.seek(i)
            frames.append(np.asarray(picture.convert(mode)).astype(int))
        return frames


def shown(image: RasterImage) -> Pixels:
    """The pixels of an image, read through its arrays."""
    packed = np.array(list(image.load_argb_32_pixels(image.bounds)), np.int64) & 0xFFFFFFFF
    channels = np.stack([packed >> 16 & 255, packed >> 8 & 255, packed & 255], -1)
    return channels.reshape(image.height, image.width, 3)


def same(a: list[Pixels], b: list[Pixels]) -> bool:
    """Equal pictures, one by one."""
    return len(a) == len(b) and all(x.shape == y.shape and worst(x, y) == 0 for x, y in zip(a, b))


# ---- TIFF


def test_tiff_pages_are_read(tmp_path: Path) -> None:
    source = pages()
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", source)))
    assert image.page_count == 3
    frames = list(image.frames)
    assert all(isinstance(frame, TiffFrame) for frame in frames)
    assert [(frame.width, frame.height) for frame in frames] == SIZES
    assert same([shown(frame) for frame in frames], source)
    assert (image.width, image.height) == SIZES[0]
    image.active_frame = frames[1]
    assert (image.width, image.height) == SIZES[1]
    assert worst(shown(image), source[1]) == 0


@pytest.mark.parametrize("active", range(4))
@pytest.mark.parametrize("removed", range(4))
def test_the_active_page_stays_when_another_is_removed(tmp_path: Path, active: int, removed: int) -> None:
    """Where it is removed itself, the one behind it takes its place, or the last one."""
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages(4))))
    frames = list(image.frames)
    image.active_frame = frames[active]
    image.remove_frame(removed)
    left = [frame for index, frame in enumerate(frames) if index != removed]
    assert list(image.frames) == left
    expected = frames[active] if active != removed else left[min(active, len(left) - 1)]
    assert image.active_frame == expected and (image.width, image.height) == (expected.width, expected.height)


@pytest.mark.parametrize("big", [False, True])
@pytest.mark.parametrize("order", list(TiffByteOrder))
def test_tiff_pages_are_written(tmp_path: Path, big: bool, order: TiffByteOrder) -> None:
    source = pages()
    image = Image.load(write_tiff(tmp_path / "a.tif", source))
    kind = BigTiffOptions if big else TiffOptions
    image.save(str(tmp_path / "b.tif"), kind(TiffExpectedFormat.TIFF_LZW_RGB, order))
    if not (big and order == TiffByteOrder.BIG_ENDIAN):  # which Pillow cannot read
        assert same(read_frames(tmp_path / "b.tif"), source)
    head = (tmp_path / "b.tif").read_bytes()[:4]
    assert head[:2] == (b"MM" if order == TiffByteOrder.BIG_ENDIAN else b"II")
    assert head.strip(b"MI\0")[:1] == (b"+" if big else b"*")
    again = Image.load(str(tmp_path / "b.tif"))
    frames = cast(BigTiffImage if big else TiffImage, again).frames
    assert same([shown(frame) for frame in frames], source)


def test_pages_keep_their_own_compression(tmp_path: Path) -> None:
    frames = [TiffFrame(raster(Image.load(write(tmp_path / f"{kind.name}.png", noise(3)))), TiffOptions(kind))
              for kind in (TiffExpectedFormat.TIFF_LZW_RGB, TiffExpectedFormat.TIFF_DEFLATE_RGB,
                           TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB)]
    image = TiffImage(frames)
    image.save(str(tmp_path / "a.tif"))
    with Pillow.open(tmp_path / "a.tif") as picture:
        found = []
        for i in range(picture.n_frames):
            picture.seek(i)
            found.append(picture.tag_v2[259])
    assert found == [5, 8, 1]
    again = cast(TiffImage, Image.load(str(tmp_path / "a.tif")))
    assert [frame.frame_options.compression for frame in again.frames] == [
        TiffCompressions.LZW, TiffCompressions.ADOBE_DEFLATE, TiffCompressions.NONE]


def test_frames_are_added_and_taken(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages())))
    first = image.frames[0]
    removed = image.remove_frame(0)
    assert isinstance(removed, TiffFrame) and removed.container is None
    assert image.page_count == 2
    assert worst(shown(removed), shown(first)) == 0
    image.add_frame(removed)
    assert [frame.width for frame in image.frames] == [7, 50, 30]
    assert cast(TiffImage, removed.container).page_count == 3
    image.insert_frame(1, TiffFrame.copy_frame(removed))
    assert [frame.width for frame in image.frames] == [7, 30, 50, 30]
    old = image.replace_frame(0, TiffFrame(TiffOptions(TiffExpectedFormat.DEFAULT), 5, 6))
    assert (old.width, image.frames[0].width, image.page_count) == (7, 5, 4)
    image.remove_frame(removed)
    image.add_page(raster(Image.load(write(tmp_path / "page.png", noise(3, 9)))))
    assert worst(shown(image.frames[3]), noise(3, 9)) == 0
    other = cast(TiffImage, Image.load(write_tiff(tmp_path / "b.tif", pages(2))))
    image.add(other)
    assert image.page_count == 6
    image.save(str(tmp_path / "c.tif"))
    assert [frame.shape[1] for frame in read_frames(tmp_path / "c.tif")] == [frame.width for frame in image.frames]


def test_what_frames_refuse(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages())))
    other = cast(TiffImage, Image.load(write_tiff(tmp_path / "b.tif", pages())))
    with managed_error("ArgumentException", "part of an image"):
        image.add_frame(other.frames[0])
    with managed_error("ArgumentException", "not one of the image"):
        image.active_frame = other.frames[0]
    for index in (-1, 3):
        with managed_error("ArgumentOutOfRangeException", "'index'", str(index)):
            image.remove_frame(index)
    with managed_error("ArgumentNullException", "frame"):
        image.add_frame(None)
    with managed_error("ArgumentException", "at least one frame"):
        TiffImage([])
    for _ in range(3):
        image.remove_frame(0)
    assert image.page_count == 0
    with managed_error("InvalidOperationException", "no frames"):
        image.get_argb_32_pixel(0, 0)


def test_frames_end_with_their_image(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages())))
    taken, left = image.remove_frame(0), image.frames[0]
    with image:
        pass
    with managed_error("ObjectDisposedException"):
        left.get_argb_32_pixel(0, 0)
    assert worst(shown(taken), pages()[0]) == 0


def test_frames_outlive_a_forgotten_image(control: Control, tmp_path: Path) -> None:
    frame = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages()))).frames[2]
    control.settle()
    assert frame.container is None
    assert worst(shown(frame), pages()[2]) == 0


def test_what_was_drawn_on_the_first_page_stays(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages())))
    image.set_argb_32_pixel(3, 4, -1)
    assert image.frames[0].get_argb_32_pixel(3, 4) == -1
    image.save(str(tmp_path / "b.tif"))
    assert tuple(read_frames(tmp_path / "b.tif")[0][4, 3]) == (255, 255, 255)


def test_operations_work_on_all_frames_or_none(tmp_path: Path) -> None:
    source = pages()
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", source)))
    image.crop(Rectangle(1, 1, 5, 2))
    assert same([shown(frame) for frame in image.frames], [frame[1:3, 1:6] for frame in source])
    image = cast(TiffImage, Image.load(str(tmp_path / "a.tif")))
    with managed_error("ArgumentOutOfRangeException"):
        image.crop(Rectangle(0, 0, 20, 10))  # larger than the second page
    assert [(frame.width, frame.height) for frame in image.frames] == SIZES
    image.resize(8, 9, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert {(frame.width, frame.height) for frame in image.frames} == {(8, 9)}
    image.grayscale()
    assert all((shown(frame)[..., 0] == shown(frame)[..., 2]).all() for frame in image.frames)


def test_frames_are_resized_in_proportion(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages())))
    image.resize_proportional(60, 10, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert [(frame.width, frame.height) for frame in image.frames] == [(60, 10), (14, 21), (100, 2)]
    with managed_error("ArgumentOutOfRangeException", "new_width"):
        image.resize_proportional(0, 10, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    spot = GifFrameBlock(3, 2, 4, 5)
    animation = GifImage(GifFrameBlock(raster(Image.load(write(tmp_path / "a.png", blocks(1)[0])))))
    animation.add_block(spot)
    animation.resize_full_frame(24, 18, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
    assert (spot.left, spot.top, spot.width, spot.height) == (6, 4, 8, 10)
    assert (animation.width, animation.height) == (24, 18)


def test_an_image_is_made_of_images(tmp_path: Path) -> None:
    source = pages()
    images = [Image.load(write(tmp_path / f"{i}.png", page)) for i, page in enumerate(source)]
    images.append(Image.load(write_tiff(tmp_path / "a.tif", pages(2))))
    image = Image.create(images)
    image.save(str(tmp_path / "b.tif"))
    assert same(read_frames(tmp_path / "b.tif"), source + pages(2))
    assert worst(shown(raster(images[0])), source[0]) == 0
    Image.create(images, True)
    with managed_error("ObjectDisposedException"):
        raster(images[0]).get_argb_32_pixel(0, 0)
    with managed_error("ArgumentException", "no image"):
        Image.create([])
    with managed_error("ArgumentNullException", "images"):
        Image.create(None)


def test_resolutions_are_aligned(tmp_path: Path) -> None:
    image = cast(TiffImage, Image.load(write_tiff(tmp_path / "a.tif", pages(1))))
    image.set_resolution(100.0, 50.0)
    image.align_resolutions()
    assert (image.width, image.height) == (30, 40)
    assert (image.horizontal_resolution, image.vertical_resolution) == (100.0, 100.0)


# ---- animations


@pytest.mark.parametrize("suffix, kind, frame_kind", [(".gif", GifImage, GifFrameBlock),
                                                      (".webp", WebPImage, WebPFrameBlock),
                                                      (".png", ApngImage, ApngFrame)])
def test_animations_are_read_and_written(tmp_path: Path, suffix: str, kind: Any, frame_kind: Any) -> None:
    source = blocks()
    durations = [50, 100, 150, 200]
    image = cast(kind, Image.load(write_animation(tmp_path / f"a{suffix}", source, durations)))
    assert image.page_count == 4
    frames = [cast(frame_kind, page) for page in image.pages]
    assert same([shown(frame) for frame in frames], source)
    assert [frame.frame_time for frame in frames] == durations
    image.save(str(tmp_path / f"b{suffix}"))
    assert same(read_frames(tmp_path / f"b{suffix}"), source)
    again = cast(kind, Image.load(str(tmp_path / f"b{suffix}")))
    assert [cast(frame_kind, page).frame_time for page in again.pages] == durations
    with Pillow.open(tmp_path / f"a{suffix}") as before, Pillow.open(tmp_path / f"b{suffix}") as after:
        assert after.info.get("loop") == before.info.get("loop")


def test_animations_become_each_other(tmp_path: Path) -> None:
    source = blocks()
    image = Image.load(write_animation(tmp_path / "a.gif", source, [100] * 4))
    lossless = WebPOptions()
    lossless.lossless = True
    for suffix, options in ((".webp", lossless), (".png", ApngOptions()),
                            (".tif", TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)), (".gif", GifOptions())):
        path = tmp_path / f"b{suffix}"
        image.save(str(path), options)
        assert same(read_frames(path), source), suffix


def test_apng_by_blending_and_disposal(tmp_path: Path) -> None:
    """Frames that are parts of the canvas, drawn over it or replacing it, and removed again."""
    first = Pillow.new("RGBA", (16, 12), (255, 0, 0, 255))
    second = Pillow.new("RGBA", (16, 12), (0, 0, 0, 0))
    second.paste((0, 255, 0, 255), (3, 2, 9, 8))
    third = Pillow.new("RGBA", (16, 12), (0, 0, 255, 255))
    for disposal in (0, 1, 2):
        for blend in (0, 1):
            path = tmp_path / f"{disposal}{blend}.png"
            first.save(path, save_all=True, append_images=[second, third], disposal=disposal, blend=blend)
            image = cast(ApngImage, Image.load(str(path)))
            expected = read_frames(path, "RGBA")
            for page, frame in zip(image.pages, expected):
                got = shown(raster(page))
                visible = frame[..., 3] > 0
                assert np.abs(got - frame[..., :3])[visible].max(initial=0) <= 2, (disposal, blend)


def test_an_apng_is_built(tmp_path: Path) -> None:
    options = ApngOptions()
    options.default_frame_time = 70
    options.num_plays = 4
    image = cast(ApngImage, Image.create(options, 12, 9))
    assert (image.page_count, image.num_plays, image.default_frame_time) == (1, 4, 70)
    image.remove_all_frames()
    assert (image.page_count, image.width, image.height) == (0, 12, 9)
    for i, frame in enumerate(blocks(3)):
        source = raster(Image.load(write(tmp_path / f"{i}.png", frame)))
        if i == 2:
            image.add_frame(source, 500)
        else:
            image.add_frame(source)
    image.add_frame().set_argb_32_pixel(0, 0, -1)
    image.save(str(tmp_path / "a.png"), options)
    assert same(read_frames(tmp_path / "a.png")[:3], blocks(3))
    with Pillow.open(tmp_path / "a.png") as picture:
        assert (picture.n_frames, picture.info["loop"]) == (4, 4)
        times = []
        for i in range(4):
            picture.seek(i)
            times.append(picture.info["duration"])
    assert times == [70, 70, 500, 70]
    cast(ApngFrame, image.pages[1]).frame_time = 0
    for usual, expected in ((30, 30), (0, 100)):  # of a frame without a time, where the options of the format have none
        image.default_frame_time = usual
        image.save(str(tmp_path / "b.gif"))
        with Pillow.open(tmp_path / "b.gif") as picture:
            found = []
            for i in range(picture.n_frames):
                picture.seek(i)
                found.append(picture.info["duration"])
        assert found == [70, expected, 500, 70]
    popped = image.pop_frame_at(2)
    assert (popped.frame_time, image.page_count) == (500, 3)


def default_and_frames(path: Path) -> tuple[Pixels | None, list[Pixels]]:
    """The picture that programs show which know no animations, where it is no frame; and the frames."""
    frames = read_frames(path)
    with Pillow.open(path) as picture:
        assert picture.is_animated or not picture.default_image
        return (frames[0], frames[1:]) if picture.default_image else (None, frames)


def test_the_default_image_of_an_apng(tmp_path: Path) -> None:
    source = blocks(4)
    pictures = [Pillow.fromarray(frame) for frame in source]
    pictures[3].save(tmp_path / "a.png", save_all=True, append_images=pictures[:3], duration=80, default_image=True)
    image = cast(ApngImage, Image.load(str(tmp_path / "a.png")))
    assert image.page_count == 3
    image.save(str(tmp_path / "b.png"))
    shown_first, frames = default_and_frames(tmp_path / "b.png")
    assert shown_first is not None and worst(shown_first, source[3]) == 0
    assert same(frames, source[:3])
    # A change of the image changes it, too.
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.save(str(tmp_path / "c.png"))
    shown_first, frames = default_and_frames(tmp_path / "c.png")
    assert shown_first is not None and worst(shown_first, np.rot90(source[3], -1)) == 0
    assert same(frames, [np.rot90(frame, -1) for frame in source[:3]])
    # Another one, and none.
    image = cast(ApngImage, Image.load(str(tmp_path / "a.png")))
    image.set_default_image(raster(Image.load(write(tmp_path / "own.png", 255 - source[0]))))
    image.save(str(tmp_path / "d.png"), ApngOptions())
    shown_first, frames = default_and_frames(tmp_path / "d.png")
    assert shown_first is not None and worst(shown_first, 255 - source[0]) == 0
    assert same(frames, source[:3])
    image.reset_default_image()
    image.save(str(tmp_path / "e.png"))
    shown_first, frames = default_and_frames(tmp_path / "e.png")
    assert shown_first is None and same(frames, source[:3])
    # Formats without such a picture get the frames alone, and a plain PNG the active one.
    image = cast(ApngImage, Image.load(str(tmp_path / "a.png")))
    image.save(str(tmp_path / "f.gif"))
    assert len(read_frames(tmp_path / "f.gif")) == 3
    image.save(str(tmp_path / "f.png"), PngOptions())
    assert worst(read_frames(tmp_path / "f.png")[0], source[0]) == 0


def test_a_default_image_beside_one_frame_and_other_colors(tmp_path: Path) -> None:
    source = blocks(1)[0]
    options = ApngOptions()
    image = cast(ApngImage, Image.create(options, source.shape[1], source.shape[0]))
    image.remove_all_frames()
    image.add_frame(raster(Image.load(write(tmp_path / "frame.png", source))))
    gray = np.ascontiguousarray(source[..., 1])
    Pillow.fromarray(gray).save(tmp_path / "gray.png")
    image.set_default_image(raster(Image.load(str(tmp_path / "gray.png"))))
    image.save(str(tmp_path / "a.png"))
    with Pillow.open(tmp_path / "a.png") as picture:
        assert picture.default_image and picture.n_frames == 2
    shown_first, [frame] = default_and_frames(tmp_path / "a.png")
    assert shown_first is not None and worst(shown_first, np.stack([gray] * 3, -1)) == 0
    assert worst(frame, source) == 0
    again = cast(ApngImage, Image.load(str(tmp_path / "a.png")))
    assert again.page_count == 1
    again.save(str(tmp_path / "b.png"))
    assert default_and_frames(tmp_path / "b.png")[0] is not None
    with managed_error("ArgumentException", "The default image has 3 by 2 pixels; the animation has"):
        image.set_default_image(raster(Image.create(PngOptions(), 3, 2)))
    with managed_error("ArgumentNullException", "image"):
        image.set_default_image(None)  # type: ignore[arg-type]
    image.add_frame(raster(Image.create(PngOptions(), source.shape[1] + 4, source.shape[0])))
    with managed_error("ImageSaveException", "the default image has"):
        image.save(str(tmp_path / "c.png"))


def test_a_gif_is_built_of_parts(tmp_path: Path) -> None:
    """Smaller frames are placed at their offsets, over the result of the frames before them."""
    first = GifFrameBlock(raster(Image.load(write(tmp_path / "a.png", blocks(1)[0]))))
    spot = GifFrameBlock(3, 2, 4, 5)
    for x in range(4):
        for y in range(5):
            spot.set_pixel(x, y, Color.from_argb(255, 1, 2, 200))
    spot.frame_time = 250
    image = GifImage(first)
    image.add_block(spot)
    assert (spot.left, spot.top, spot.frame_left, spot.frame_top, spot.width, spot.height) == (3, 2, 3, 2, 4, 5)
    image.loops_count = 7
    image.save(str(tmp_path / "b.gif"))
    expected = [blocks(1)[0], blocks(1)[0].copy()]
    expected[1][2:7, 3:7] = (1, 2, 200)
    assert same(read_frames(tmp_path / "b.gif"), expected)
    assert worst(shown(spot.get_full_frame()), expected[1]) == 0
    assert cast(GifImage, Image.load(str(tmp_path / "b.gif"))).loops_count == 7
    image.remove_block(first)
    assert image.page_count == 1
    image.set_frame_time(90)
    assert spot.frame_time == 90
    image.clear_blocks()
    assert image.page_count == 0


def test_webp_frames_and_settings(tmp_path: Path) -> None:
    image = WebPImage(raster(Image.load(write(tmp_path / "a.png", blocks(1)[0]))))
    for frame in blocks(3)[1:]:
        block = WebPFrameBlock(raster(Image.load(write(tmp_path / "b.png", frame))))
        block.duration = 300
        image.add_block(block)
    options = WebPOptions()
    options.anim_loop_count = 9
    options.anim_background_color = 0x10203040
    image.save(str(tmp_path / "c.webp"), options)
    with Pillow.open(tmp_path / "c.webp") as picture:
        assert (picture.n_frames, picture.info["loop"]) == (3, 9)
        assert picture.info["background"] == (0x20, 0x30, 0x40, 0x10) or picture.info["background"][3] == 0x10
    assert same(read_frames(tmp_path / "c.webp"), blocks(3))
    again = cast(WebPImage, Image.load(str(tmp_path / "c.webp")))
    assert (again.options.anim_loop_count, again.options.anim_background_color) == (9, 0x10203040)


def test_frames_of_a_size_are_clear(tmp_path: Path) -> None:
    block = WebPFrameBlock(7, 5)
    assert (block.width, block.height, block.duration, block.has_alpha) == (7, 5, 100, True)
    assert set(block.load_argb_32_pixels(block.bounds)) == {0}
    block.set_pixel(3, 2, Color.red)
    image = WebPImage(raster(Image.load(write(tmp_path / "a.png", np.zeros((5, 7, 4), np.uint8)))))
    image.add_block(block)
    options = WebPOptions()
    options.lossless = True
    image.save(str(tmp_path / "b.webp"), options)
    expected = np.zeros((5, 7, 4), np.uint8)
    expected[2, 3] = (255, 0, 0, 255)
    with Pillow.open(tmp_path / "b.webp") as picture:
        picture.seek(1)
        assert worst(np.asarray(picture.convert("RGBA")), expected) == 0
    for size, parameter in (((0, 5), "width"), ((7, 0), "height"), ((-1, -1), "width")):
        with managed_error("ArgumentOutOfRangeException", f"'{parameter}'"):
            WebPFrameBlock(*size)


@pytest.mark.parametrize("transparent", [False, True])
def test_the_background_of_a_gif(tmp_path: Path, transparent: bool) -> None:
    source = np.zeros((6, 8, 4), np.uint8)
    source[:, :4] = (250, 10, 20, 255)
    image = Image.load(write(tmp_path / "a.png", source))
    options = GifOptions()
    options.background_color = Color.from_argb(255, 250, 10, 20)
    options.has_transparent_color = transparent
    image.save(str(tmp_path / "a.gif"), options)
    result = read_frames(tmp_path / "a.gif", "RGBA")[0]
    if transparent:  # the color becomes transparent
        assert (result[..., 3] == 0).all()
    else:  # the color fills the transparent parts
        assert (result == (250, 10, 20, 255)).all()


# ---- selecting pages


def selection(**properties: object) -> TiffOptions:
    """TIFF options with selected pages."""
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    chosen = properties.pop("pages")
    for name, value in properties.items():
        setattr(chosen, name, value)
    options.multi_page_options = chosen
    return options


@pytest.mark.parametrize("choice, expected", [
    (lambda: MultiPageOptions(), [0, 1, 2]),
    (lambda: MultiPageOptions([2, 0]), [2, 0]),
    (lambda: MultiPageOptions(1), [1]),
    (lambda: MultiPageOptions(IntRange(1, 2)), [1, 2]),
    (lambda: MultiPageOptions.create_with_int_ranges([IntRange(2, 1), IntRange(0, 2)]), [2, 0, 1]),
    (lambda: MultiPageOptions(IntRange(0, 2, 2)), [0, 2]),
    (lambda: MultiPageOptions(ranges=[IntRange(2, 1), IntRange(0, 2)]), [2, 0, 1]),
    (lambda: MultiPageOptions.create_with_page_numbers([1, 1]), [1, 1]),
])
def test_pages_are_chosen(tmp_path: Path, choice: Any, expected: list[int]) -> None:
    source = pages()
    image = Image.load(write_tiff(tmp_path / "a.tif", source))
    target = io.BytesIO()
    image.save(target, selection(pages=choice()))
    assert same(read_frames(target), [source[i] for i in expected])


def test_an_area_of_each_page(tmp_path: Path) -> None:
    source = blocks()
    image = Image.load(write_tiff(tmp_path / "a.tif", source))
    image.save(str(tmp_path / "b.tif"), selection(pages=MultiPageOptions([0, 3], Rectangle(2, 3, 4, 5))))
    assert same(read_frames(tmp_path / "b.tif"), [source[i][3:8, 2:6] for i in (0, 3)])
    image.save(str(tmp_path / "c.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB), Rectangle(1, 1, 2, 2))
    assert same(read_frames(tmp_path / "c.tif"), [page[1:3, 1:3] for page in source])


def test_frames_of_a_time(tmp_path: Path) -> None:
    source = blocks()
    image = Image.load(write_animation(tmp_path / "a.gif", source, [100, 100, 100, 100]))
    from zelmor.imaging.imageoptions import MultiPageMode
    chosen = MultiPageOptions()
    chosen.mode = MultiPageMode.TIME_INTERVAL
    chosen.time_interval = TimeInterval(100, 250)
    image.save(str(tmp_path / "b.tif"), selection(pages=chosen))
    assert same(read_frames(tmp_path / "b.tif"), source[1:3])


def test_pages_are_merged(tmp_path: Path) -> None:
    below = np.full((8, 10, 4), 255, np.uint8)
    above = np.zeros((8, 10, 4), np.uint8)
    above[2:4, 2:4] = (9, 8, 7, 255)
    image = Image.load(write_tiff(tmp_path / "a.tif", [below, above]))
    options = PngOptions()
    options.multi_page_options = MultiPageOptions()
    with managed_error("NotSupportedException", "one picture", "merge_layers"):
        image.save(str(tmp_path / "b.png"), options)
    options.multi_page_options.merge_layers = True
    image.save(str(tmp_path / "b.png"), options)
    below[2:4, 2:4] = (9, 8, 7, 255)
    assert worst(read_frames(tmp_path / "b.png", "RGBA")[0], below) == 0


@pytest.mark.parametrize(("below", "above"), [(1, 2), (1, 4), (3, 2), (3, 4), (2, 2), (4, 2), (2, 4)])
def test_merged_pages_are_gray_where_both_are(tmp_path: Path, below: int, above: int) -> None:
    """With as many bands: gray, gray and alpha, colors, colors and alpha."""
    modes = {1: "L", 2: "LA", 3: "RGB", 4: "RGBA"}
    lower, upper = noise(below, 1, 9, 7), noise(above, 2, 9, 7)
    lower[..., -1] = 255 if below in (2, 4) else lower[..., -1]
    upper[..., -1] = np.where(upper[..., -1] < 128, 0, 255)
    pictures = [Pillow.fromarray(pixels, modes[bands]) for pixels, bands in ((lower, below), (upper, above))]
    pictures[0].save(tmp_path / "a.tif", save_all=True, append_images=pictures[1:])
    options = PngOptions()
    options.multi_page_options = MultiPageOptions()
    options.multi_page_options.merge_layers = True
    Image.load(str(tmp_path / "a.tif")).save(str(tmp_path / "b.png"), options)
    expected = pictures[0].convert("RGBA")
    expected.alpha_composite(pictures[1].convert("RGBA"))
    with Pillow.open(tmp_path / "b.png") as found:
        assert worst(np.asarray(found.convert("RGBA")), np.asarray(expected)) == 0
        assert found.mode in (("L", "LA") if below <= 2 and above <= 2 else ("RGB", "RGBA"))


def test_what_choosing_refuses(tmp_path: Path) -> None:
    image = Image.load(write_tiff(tmp_path / "a.tif", pages()))
    with managed_error("ArgumentOutOfRangeException", "no page 3"):
        image.save(str(tmp_path / "b.tif"), selection(pages=MultiPageOptions([3])))
    with managed_error("ArgumentException", "the title 'one'", "PageTitles"):
        image.save(str(tmp_path / "b.tif"), selection(pages=MultiPageOptions.create_with_page_titles(["one"])))
    with managed_error("ArgumentException", "no page"):
        image.save(str(tmp_path / "b.tif"), selection(pages=MultiPageOptions(IntRange(0, 0))))
    assert not (tmp_path / "b.tif").exists()


def test_numbers_of_ranges() -> None:
    assert list(IntRange(3, 4).range) == [3, 4, 5, 6]
    assert list(IntRange(3, 3, -2).range) == [3, 1, -1]
    assert list(IntRange([5, 1]).range) == [5, 1]
    assert list(IntRange(3, 4).get_array_one_item_from_index(2)) == [5]
    with managed_error("ArgumentOutOfRangeException", "'index'"):
        IntRange(3, 4).get_array_one_item_from_index(4)
    options = MultiPageOptions()
    options.init_pages([IntRange(0, 2), IntRange(5, 1)])
    assert list(options.pages) == [0, 1, 5]


@pytest.mark.parametrize("suffix", [".tif", ".gif", ".webp", ".png"])
def test_a_file_that_ends_early(tmp_path: Path, suffix: str) -> None:
    """The first frame may load; requesting the others raises an error and never crashes."""
    if suffix == ".tif":
        path = Path(write_tiff(tmp_path / "a.tif", pages()))
    else:
        path = Path(write_animation(tmp_path / f"a{suffix}", blocks(), [100] * 4))
    data = path.read_bytes()
    refused = 0
    for length in range(0, len(data), max(1, len(data) // 60)):
        try:
            image = cast(RasterCachedImage, Image.load(io.BytesIO(data[:length])))
            image.cache_data()
        except RuntimeError as error:
            assert "ImageLoadException" in str(error) or "PictureError" not in str(error)
            refused += 1
    assert refused > 15
