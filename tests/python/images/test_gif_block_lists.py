"""The blocks of a GIF image as one list: what is put in at a place stands there, and what is taken out is gone."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.gif import DisposalMethod, GifImage
from zelmor.imaging.fileformats.gif.blocks import (GifApplicationExtensionBlock, GifCommentBlock, GifFrameBlock,
                                                   GifGraphicsControlBlock)
from zelmor.imaging.imageoptions import GifOptions

from support.gif_files import Frame, Gif, comment, extension, from_bytes, to_bytes
from support.image_oracles import managed_error

PALETTE = bytes(range(24))
#: The comments before each frame, and those behind the last one.
BEFORE, BEHIND = [["a", "b"], [], ["c"], []], ["d", "e"]
#: The same as one list; a number is a frame with this index in all of its pixels.
BLOCKS: list[str | int] = ["a", "b", 0, 1, "c", 2, 3, "d", "e"]


def file_of(before: list[list[str]], behind: list[str]) -> bytes:
    frames = [Frame(np.full((3, 4), i, np.uint8), blocks=[comment(text.encode()) for text in texts], delay=i + 1)
              for i, texts in enumerate(before)]
    return to_bytes(Gif(4, 3, PALETTE, frames, behind=[comment(text.encode()) for text in behind]))


def opened(data: bytes) -> Any:
    return GifImage._cast_to(Image.load(io.BytesIO(data))).value


def image_of(touched: bool) -> Any:
    """The image; `touched` are its frames as objects, before anything is done."""
    image = opened(file_of(BEFORE, BEHIND))
    if touched:
        assert len(image.blocks) == len(BLOCKS)
    return image


def name_of(block: Any) -> str | int:
    if isinstance(block, GifCommentBlock):
        return block.comment
    frame = RasterImage._cast_to(block).value
    return PALETTE.index((frame.get_argb_32_pixel(0, 0) >> 16) & 0xFF) // 3


def names(image: Any) -> list[str | int]:
    return [name_of(block) for block in image.blocks]


def saved_names(image: Any) -> list[str | int]:
    """The list as another reader finds it in the file."""
    file = io.BytesIO()
    image.save(file)
    gif = from_bytes(file.getvalue())
    texts = {comment(text.encode()): text for text in "abcdexy"}
    found: list[str | int] = []
    for frame in gif.frames:
        palette = frame.palette or gif.palette
        found += [texts[block] for block in frame.blocks] + [palette[3 * int(frame.indices[0, 0])] // 3]
    return found + [texts[block] for block in gif.behind]


def block_of(name: str | int) -> Any:
    if isinstance(name, str):
        return GifCommentBlock(name)
    return GifFrameBlock._cast_to(opened(file_of([[]] * (name + 1), [])).pages[name]).value


@pytest.mark.parametrize("touched", [False, True])
@pytest.mark.parametrize("place", range(len(BLOCKS) + 1))
def test_extensions_are_put_in(place: int, touched: bool) -> None:
    image = image_of(touched)
    image.insert_block(place, GifCommentBlock("x"))
    expected = BLOCKS[:place] + ["x"] + BLOCKS[place:]
    assert names(image) == saved_names(image) == expected
    image.insert_block(place, GifCommentBlock("y"))
    assert names(image) == expected[:place] + ["y"] + expected[place:]


@pytest.mark.parametrize("place", range(len(BLOCKS) + 1))
def test_frames_are_put_in(place: int) -> None:
    image = image_of(False)
    image.insert_block(place, block_of(4))
    assert names(image) == saved_names(image) == BLOCKS[:place] + [4] + BLOCKS[place:]
    assert image.page_count == 5


@pytest.mark.parametrize("touched", [False, True])
@pytest.mark.parametrize("place", range(len(BLOCKS)))
def test_blocks_are_taken_out(place: int, touched: bool) -> None:
    image = image_of(touched)
    image.remove_block(image.blocks[place])
    expected = BLOCKS[:place] + BLOCKS[place + 1:]
    assert names(image) == saved_names(image) == expected
    image.remove_block(image.blocks[0])
    assert names(image) == expected[1:]


def test_blocks_are_added_at_the_end() -> None:
    image = image_of(False)
    for name in ("x", 4, "y"):
        image.add_block(block_of(name))
    assert names(image) == saved_names(image) == [*BLOCKS, "x", 4, "y"]
    image.clear_blocks()
    assert names(image) == []
    for name in ("x", 2):
        image.add_block(block_of(name))
    assert names(image) == saved_names(image) == ["x", 2]


@pytest.mark.parametrize("place", [-1, len(BLOCKS) + 1])
def test_places_beyond_the_list(place: int) -> None:
    image = image_of(False)
    with managed_error("ArgumentOutOfRangeException", "'index'"):
        image.insert_block(place, GifCommentBlock("x"))
    assert names(image) == BLOCKS


def test_applications_go_first_and_control_blocks_last() -> None:
    """The others keep their order, each before its own frame."""
    def application(name: str) -> Any:
        block = GifApplicationExtensionBlock()
        block.application_identifier, block.application_authentication_code = name, b"1.0"
        return block

    def kind_of(block: Any) -> str | int:
        if isinstance(block, GifApplicationExtensionBlock):
            return block.application_identifier
        return "control" if isinstance(block, GifGraphicsControlBlock) else name_of(block)

    image = image_of(False)
    for place, block in ((9, application("THIRD   ")), (6, application("SECOND  ")), (4, application("FIRST   ")),
                         (1, GifGraphicsControlBlock(7, False, 0, False, DisposalMethod.PRESERVE))):
        image.insert_block(place, block)
    assert [kind_of(block) for block in image.blocks] == [
        "a", "control", "b", 0, 1, "FIRST   ", "c", 2, "SECOND  ", 3, "d", "e", "THIRD   "]
    image.order_blocks()
    assert [kind_of(block) for block in image.blocks] == [
        "FIRST   ", "SECOND  ", "THIRD   ", "a", "b", "control", 0, 1, "c", 2, 3, "d", "e"]


def test_which_extensions_stay_where_the_metadata_are_taken_away() -> None:
    """What says how the pixels are shown, rather than what they are."""
    frames = [Frame(np.full((3, 4), i, np.uint8), delay=i + 1) for i in range(2)]
    kept = [extension(0xFF, b"ICCRGBG1012", b"profile"), extension(0xFF, b"ANIMEXTS1.0", b"\1\5\0")]
    frames[1].blocks = [comment(b"text"), kept[0], extension(0xFF, b"SOMEAPP 1.0", b"data"), kept[1]]
    behind = [comment(b"end"), kept[0]]
    data = to_bytes(Gif(4, 3, PALETTE, frames, behind=behind))
    image = opened(data)
    image.xmp_data = None
    file = io.BytesIO()
    image.save(file, GifOptions())
    found = from_bytes(file.getvalue())
    assert [frame.blocks for frame in found.frames] == [[], kept]
    assert found.behind == kept[:1]
