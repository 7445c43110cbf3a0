"""Frames become objects when a program looks at them; nothing but their cost tells that they were none before."""

from __future__ import annotations

import struct
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifCommentBlock, GifFrameBlock
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage

from support.child import run_child
from support.control import Control
from support.image_oracles import managed_error
from support.runtimes import embedded_only


def gray_pages(path: Path, count: int) -> str:
    """A TIFF whose page number i is one pixel of gray i modulo 256."""
    size = 2 + 8 * 12 + 4
    file = bytearray(struct.pack("<2sHI", b"II", 42, 8))
    for i in range(count):
        at = 8 + i * (size + 2)
        tags = {256: 1, 257: 1, 258: 8, 259: 1, 262: 1, 273: at + size, 278: 1, 279: 1}
        file += struct.pack("<H", len(tags))
        for tag, value in tags.items():
            file += struct.pack("<HHII", tag, 4 if tag in (256, 257, 273, 278, 279) else 3, 1, value)
        file += struct.pack("<IBB", at + size + 2 if i + 1 < count else 0, i % 256, 0)
    path.write_bytes(file)
    return str(path)


def tiff(path: Path, count: int = 12) -> Any:
    return TiffImage._cast_to(Image.load(gray_pages(path, count))).value


def shade(page: Any) -> int:
    """The number of a page in its file, by its pixel."""
    return RasterImage._cast_to(page).value.get_argb_32_pixel(0, 0) & 255


@pytest.mark.parametrize("order", [(0, 5, 11), (11, 5, 0)])
def test_an_element_is_always_the_same_object(tmp_path: Path, order: tuple[int, ...]) -> None:
    image = tiff(tmp_path / "a.tif")
    frames = image.frames
    assert len(frames) == 12
    looked_at = {i: frames[i] for i in order}
    for i, frame in looked_at.items():
        assert shade(frame) == i
        assert frames[i] == frame == image.frames[i] == image.pages[i]
        assert frame in frames and frames.index(frame) == i
        assert frame.container == image
    assert [shade(frame) for frame in frames] == list(range(12))
    assert [shade(frame) for frame in frames[3:6]] == [3, 4, 5]
    assert [shade(frame) for frame in reversed(frames)] == list(range(11, -1, -1))
    assert frames[5] == looked_at[5] != frames[6]


def test_an_array_keeps_the_frames_that_it_showed(tmp_path: Path) -> None:
    """Frames that were not looked at before are those of the time when the array was made."""
    image = tiff(tmp_path / "a.tif")
    before = image.frames
    taken = image.remove_frame(2)
    image.insert_frame(0, taken)
    between = image.frames
    image.remove_frame(11)
    assert [len(frames) for frames in (before, between, image.frames)] == [12, 12, 11]
    assert [shade(before[i]) for i in (2, 3, 11)] == [2, 3, 11]
    assert [shade(between[i]) for i in (0, 1, 3, 11)] == [2, 0, 3, 11]
    assert [shade(frame) for frame in image.frames] == [2, 0, 1, *range(3, 11)]
    assert before[2] == between[0] == image.frames[0] == taken
    assert before[3] == between[3] and before[11] == between[11]
    assert before[11].container is None and before[3].container == image
    assert before[11] not in image.frames and before[11] in between


def test_an_array_that_is_assigned_to_changes_alone(tmp_path: Path) -> None:
    image = tiff(tmp_path / "a.tif")
    frames, other = image.frames, image.frames
    frames[0] = frames[7]
    assert [shade(frame) for frame in frames] == [7, *range(1, 12)]
    assert shade(other[0]) == 0 and shade(image.frames[0]) == 0
    assert frames[7] == other[7] == frames[0]
    with pytest.raises(IndexError):
        other[12]
    with pytest.raises((TypeError, RuntimeError)):
        other[0] = "no frame"
    assert shade(other[0]) == 0


def test_frames_that_nobody_looked_at_end_with_their_image(tmp_path: Path) -> None:
    image = tiff(tmp_path / "a.tif")
    frames, known = image.frames, image.frames[1]
    with image:
        pass
    assert len(frames) == 12 and frames[1] == known
    for frame in (frames[1], frames[2]):
        with managed_error("ObjectDisposedException"):
            frame.width
    assert frames[2] == frames[2]


def test_frames_that_nobody_looked_at_outlive_a_forgotten_image(control: Control, tmp_path: Path) -> None:
    frames = tiff(tmp_path / "a.tif").frames
    control.settle()
    assert shade(frames[9]) == 9 and frames[9] == frames[9]
    assert frames[9].container is None


@embedded_only("objects of .NET live until its collector runs")
def test_frames_that_were_taken_out_end_with_the_last_array_of_them(control: Control, tmp_path: Path) -> None:
    image = tiff(tmp_path / "a.tif")
    one, other = image.frames, image.frames
    assert [shade(frame) for frame in one] == list(range(12))
    for _ in range(4):
        image.remove_frame(5)
    control.settle()
    before = control.tracked()
    assert shade(one[6]) == 6
    del one
    control.settle()
    assert control.tracked() == before - 1  # the array alone: the other one has the frames still
    assert [shade(frame) for frame in other] == list(range(12))
    del other
    control.settle()
    assert control.tracked() == before - 6
    assert [shade(frame) for frame in image.frames] == [*range(5), *range(9, 12)]


def test_all_frames_are_taken_away_and_put_back(tmp_path: Path) -> None:
    image = tiff(tmp_path / "a.tif")
    frames = image.frames
    for _ in range(3):
        taken = [image.remove_frame(0) for _ in range(12)]
        assert len(image.frames) == 0 and [shade(frame) for frame in taken] == list(range(12))
        for frame in reversed(taken):
            image.insert_frame(0, frame)
    assert list(frames) == list(image.frames) == taken
    image.add(image)
    assert [shade(frame) for frame in image.frames] == [*range(12), *range(12)]
    image.add_frame(TiffFrame.copy_frame(frames[3]))
    assert shade(image.frames[24]) == 3 and image.frames[24] != frames[3]


def test_changes_reach_frames_that_were_not_looked_at(tmp_path: Path) -> None:
    image = tiff(tmp_path / "a.tif")
    image.frames
    image.resize(2, 3)
    assert {(frame.width, frame.height) for frame in image.frames} == {(2, 3)}
    image.save(str(tmp_path / "b.tif"))
    with Pillow.open(tmp_path / "b.tif") as file:
        assert (file.n_frames, file.size) == (12, (2, 3))


def test_blocks_of_a_gif(tmp_path: Path) -> None:
    """An array of blocks shows frames and what stands between them."""
    colors = [Pillow.new("P", (4, 4), i) for i in range(6)]
    for i, frame in enumerate(colors):
        frame.putpalette(bytes(range(0, 240, 10)))
        frame.putpixel((0, i % 4), 0)
    colors[0].save(tmp_path / "a.gif", save_all=True, append_images=colors[1:], duration=50, comment=b"before")
    image = GifImage._cast_to(Image.load(str(tmp_path / "a.gif"))).value
    blocks = image.blocks
    kinds = [GifFrameBlock if GifFrameBlock._is_assignable(block) else GifCommentBlock for block in blocks]
    assert kinds.count(GifFrameBlock) == len(image.pages)
    shown = [block for block in image.blocks if GifFrameBlock._is_assignable(block)]
    assert all(a == b for a, b in zip(shown, image.pages)) and blocks[len(blocks) - 1] == shown[-1]
    image.insert_block(len(blocks) - 1, GifCommentBlock("late"))
    assert image.blocks[len(blocks) - 1] != shown[-1] and image.blocks[len(blocks)] == shown[-1]
    assert len(blocks) == len(kinds) and blocks[len(blocks) - 1] == shown[-1]


MEASURED = """
import sys
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.tiff import TiffImage
def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * 4
def shade(page):
    return RasterImage._cast_to(page).value.get_argb_32_pixel(0, 0) & 255
with Image.load(sys.argv[2]) as warm:
    shade(TiffImage._cast_to(warm).value.frames[1])
"""


@embedded_only("an array of frames makes an object of .NET for each")
def test_one_page_of_many_costs_that_page(tmp_path: Path) -> None:
    """An object for each of 20,000 pages would take 50 MB."""
    run_child(MEASURED + """
image = TiffImage._cast_to(Image.load(sys.argv[1])).value
before = resident()
frames = image.frames
assert len(frames) == 20000
assert shade(frames[19999]) == 19999 % 256 and frames[19999] in frames
assert shade(image.pages[300]) == 300 % 256
assert resident() - before < 6 << 10, resident() - before
""", gray_pages(tmp_path / "a.tif", 20000), gray_pages(tmp_path / "b.tif", 2), MALLOC_PERTURB_="0")


@embedded_only("an array of frames makes an object of .NET for each, which reads the directory of its page")
def test_the_last_of_60000_pages_is_found_in_one_pass(tmp_path: Path) -> None:
    """Directories are read once and not again for each page: the system counts what a process reads."""
    def read() -> int:
        return int(next(line for line in Path("/proc/self/io").read_text().splitlines() if "rchar" in line).split()[1])

    path, before = gray_pages(tmp_path / "a.tif", 60_000), read()
    image = TiffImage._cast_to(Image.load(path)).value
    frames = image.frames
    assert len(frames) == 60_000
    for i in (59_999, 30_000, 2):
        assert shade(frames[i]) == i % 256
    assert read() - before < 2 * Path(path).stat().st_size


@embedded_only("objects of .NET live until its collector runs")
def test_frames_that_were_taken_out_are_let_go(tmp_path: Path) -> None:
    """An array keeps frames alive that the image lost, and lets go of them with itself."""
    run_child(MEASURED + """
image = TiffImage._cast_to(Image.load(sys.argv[1])).value
for _ in range(3):
    frames = image.frames
    for frame in list(frames)[:1000]:
        image.remove_frame(frame)
    del frame
    assert shade(frames[7]) == shade(frames[7])
    del frames
before = resident()
for _ in range(30):
    frames = image.frames
    for _ in range(300):
        image.add_frame(image.remove_frame(0))
        image.add_page(image)
        image.remove_frame(len(image.frames) - 1)
    del frames
assert resident() - before < 8 << 10, resident() - before
""", gray_pages(tmp_path / "a.tif", 3500), gray_pages(tmp_path / "b.tif", 2), MALLOC_PERTURB_="0")
