"""Extension blocks of GIF files: their bytes, their flags, and the registry of their loaders."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from PIL import Image as Pillow
from zelmor.imaging import ColorPalette, Image, StreamContainer
from zelmor.imaging.fileformats.gif import DisposalMethod, GifBlocksRegistry, GifImage
from zelmor.imaging.fileformats.gif.blocks import (
    GifApplicationExtensionBlock, GifCommentBlock, GifFrameBlock, GifGraphicsControlBlock, GifPlainTextRenderingBlock,
    GifUnknownExtensionBlock)

from support.image_oracles import managed_error

DATA = st.binary(max_size=600)


def cast(kind: Any, value: Any) -> Any:
    return kind._cast_to(value).value


def saved(block: Any) -> bytes:
    stream = io.BytesIO()
    block.save(stream)
    return stream.getvalue()


def loaded(kind: Any, data: bytes) -> Any:
    stream = io.BytesIO(b"before" + data + b"behind")
    stream.seek(6)
    block = GifBlocksRegistry.load_block_by_first_supported_descriptor(stream, None)
    assert stream.read() == b"behind"
    return cast(kind, block)


def sub_blocks(data: bytes) -> bytes:
    pieces = [data[at:at + 255] for at in range(0, len(data), 255)]
    return b"".join(bytes([len(piece)]) + piece for piece in pieces) + b"\0"


@given(st.booleans(), st.booleans(), st.sampled_from(list(DisposalMethod)), st.integers(0, 0xFFFF), st.integers(0, 255))
def test_control_blocks(transparent: bool, user: bool, disposal: DisposalMethod, delay: int, index: int) -> None:
    block = GifGraphicsControlBlock(delay, transparent, index, user, disposal)
    flags = transparent | user << 1 | int(disposal) << 2
    assert block.flags == GifGraphicsControlBlock.create_flags(transparent, user, disposal) == flags
    data = saved(block)
    assert data == bytes([0x21, 0xF9, 4, flags, delay & 0xFF, delay >> 8, index, 0])
    assert len(data) == GifGraphicsControlBlock.BLOCK_HEADER_SIZE
    for same in (loaded(GifGraphicsControlBlock, data), GifGraphicsControlBlock(flags, delay, index)):
        assert (same.has_transparent_color, same.user_input_expected, same.disposal_method) == \
            (transparent, user, disposal)
        assert (same.delay_time, same.transparent_color_index) == (delay, index)


def test_the_flags_of_a_control_block_are_its_properties() -> None:
    block = GifGraphicsControlBlock()
    block.has_transparent_color = True
    assert block.flags == 1
    block.disposal_method = DisposalMethod.PREVIUOS
    block.user_input_expected = True
    assert block.flags == 0b1111
    block.has_transparent_color = False
    block.flags |= 0xE0
    assert (block.disposal_method, block.user_input_expected, block.flags) == (DisposalMethod.PREVIUOS, True, 0xEE)
    block.flags = 7 << 2
    assert block.disposal_method == DisposalMethod.UNDEFINED


@given(st.text(st.characters(blacklist_categories=["Cs"])))
def test_comments(text: str) -> None:
    data = saved(GifCommentBlock(text))
    assert data == b"\x21\xFE" + sub_blocks(text.encode())
    assert loaded(GifCommentBlock, data).comment == text


@given(DATA)
def test_unknown_extensions(content: bytes) -> None:
    data = saved(GifUnknownExtensionBlock(0x77, content))
    assert data == b"\x21\x77" + sub_blocks(content)
    block = loaded(GifUnknownExtensionBlock, data)
    assert (block.extension_label, block.unknown_data) == (0x77, content)


@given(DATA)
def test_plain_text(content: bytes) -> None:
    block = GifPlainTextRenderingBlock(1, 2, 300, 400, 5, 6, 7, 8, content)
    data = saved(block)
    assert data == b"\x21\x01\x0C\x01\x00\x02\x00\x2C\x01\x90\x01\x05\x06\x07\x08" + sub_blocks(content)
    for same in (block, loaded(GifPlainTextRenderingBlock, data)):
        assert (same.text_grid_left_position, same.text_grid_top_position, same.text_grid_width, same.text_grid_height,
                same.character_cell_width, same.character_cell_height, same.text_foreground_color_index,
                same.text_background_color_index, same.plain_text_data) == (1, 2, 300, 400, 5, 6, 7, 8, content)


@given(DATA)
def test_application_extensions(content: bytes) -> None:
    block = GifApplicationExtensionBlock()
    block.application_identifier = "NETSCAPE"
    block.application_authentication_code = b"2.0"
    block.application_data = content
    data = saved(block)
    assert data == b"\x21\xFF\x0BNETSCAPE2.0" + sub_blocks(content)
    same = loaded(GifApplicationExtensionBlock, data)
    assert (same.application_identifier, same.application_authentication_code, same.application_data) == \
        ("NETSCAPE", b"2.0", content)


def test_an_application_extension_needs_its_name() -> None:
    block = GifApplicationExtensionBlock()
    with pytest.raises(RuntimeError, match="InvalidOperationException.*ApplicationIdentifier has 8 bytes, not 0"):
        saved(block)
    block.application_identifier = "SHORT"
    with pytest.raises(RuntimeError, match="InvalidOperationException.*not 5"):
        saved(block)
    with pytest.raises(TypeError, match="^can't build String from 'int'$"):
        block.application_identifier = 12
    assert block.application_identifier == "SHORT"


def test_blocks_of_a_real_file() -> None:
    stream = io.BytesIO()
    frames = [Pillow.new("P", (4, 4), color) for color in (0, 1)]
    frames[0].save(stream, "GIF", save_all=True, append_images=frames[1:], duration=120, loop=3, comment=b"hello")
    data = stream.getvalue()
    stream.seek(data.index(b"\x21\xFF"))
    application = cast(GifApplicationExtensionBlock,
                       GifBlocksRegistry.load_block_by_first_supported_descriptor(stream, None))
    assert application.application_identifier == "NETSCAPE"
    assert application.application_data == b"\x01\x03\x00"
    stream.seek(data.index(b"\x21\xFE"))
    assert cast(GifCommentBlock,
                GifBlocksRegistry.load_block_by_first_supported_descriptor(stream, None)).comment == "hello"
    stream.seek(data.index(b"\x21\xF9"))
    control = cast(GifGraphicsControlBlock, GifBlocksRegistry.load_block_by_first_supported_descriptor(stream, None))
    assert control.delay_time == 12


@pytest.mark.parametrize("data", [b"\x21\xFE\x05abc", b"\x21\xF9\x04\0\0", b"\x21\x77\xFF", b"\x21\x77\x01a"])
def test_blocks_without_end(data: bytes) -> None:
    with pytest.raises(RuntimeError, match="EndOfStreamException"):
        GifBlocksRegistry.load_block_by_first_supported_descriptor(io.BytesIO(data), None)


@pytest.mark.parametrize("data", [b"\x21\xF9\x03\0\0\0\0", b"\x21\xF9\0", b"\x21\xFF\x02ab\0", b"\x21\x01\x01a\0"])
def test_fixed_parts_of_another_length(data: bytes) -> None:
    with pytest.raises(RuntimeError, match="ArgumentException.*fixed part"):
        GifBlocksRegistry.load_block_by_first_supported_descriptor(io.BytesIO(data), None)


def test_the_registry_knows_each_kind() -> None:
    descriptors = list(GifBlocksRegistry.registered_descriptors)
    assert len(descriptors) == 5
    for name, data in (("GifCommentBlock", b"\x21\xFE\0"), ("GifUnknownExtensionBlock", b"\x21\x99\0")):
        found = GifBlocksRegistry.get_first_supported_descriptor_by_type_name(name + "LoaderDescriptor")
        assert str(found).endswith(name + "LoaderDescriptor")
        container = StreamContainer(io.BytesIO(data))
        assert [each.can_load(container) for each in descriptors].count(True) == 1
        assert found.can_load(container)
        assert container.position == 0
        assert str(found.load(container, None)).endswith(name)
        other = StreamContainer(io.BytesIO(b"\x21\x01\0"))
        assert not found.can_load(other)
        with pytest.raises(RuntimeError, match="ArgumentException"):
            found.load(other, None)
    assert GifBlocksRegistry.get_first_supported_descriptor(io.BytesIO(b"\x2C")) is None
    assert GifBlocksRegistry.load_block_by_first_supported_descriptor(io.BytesIO(b"\x3B"), None) is None
    assert GifBlocksRegistry.get_first_supported_descriptor_by_type_name("Nothing") is None


def test_blocks_and_containers_of_nothing() -> None:
    assert GifUnknownExtensionBlock(0x99, None).unknown_data is None
    assert GifPlainTextRenderingBlock(0, 0, 1, 1, 1, 1, 0, 0, None).plain_text_data is None
    found = GifBlocksRegistry.get_first_supported_descriptor_by_type_name("GifCommentBlockLoaderDescriptor")
    for use in (lambda: found.can_load(None), lambda: found.load(None, None)):
        with pytest.raises(RuntimeError, match=r"ArgumentNullException.*\(Parameter 'stream_container'\)"):
            use()
    for data in (b"\x2c\xfe\0", b"\x21", b""):  # no block, one that is cut, and nothing
        with pytest.raises(RuntimeError, match="ArgumentException.*stands at no block"):
            found.load(StreamContainer(io.BytesIO(data)), None)


def test_an_opener_can_be_taken_out() -> None:
    stream = io.BytesIO(b"\x21\xFE\x02ab\0")
    found = GifBlocksRegistry.get_first_supported_descriptor(stream)
    GifBlocksRegistry.unregister_opener(found)
    try:
        assert GifBlocksRegistry.get_first_supported_descriptor(stream) is None
        assert len(GifBlocksRegistry.registered_descriptors) == 4
    finally:
        GifBlocksRegistry.register_opener(found)
    GifBlocksRegistry.register_opener(found)
    assert len(GifBlocksRegistry.registered_descriptors) == 5
    assert GifBlocksRegistry.get_first_supported_descriptor(stream) is not None
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        GifBlocksRegistry.register_opener(None)


@pytest.mark.parametrize("colors, bits", [(1, 1), (2, 1), (3, 2), (16, 4), (17, 5), (256, 8)])
def test_flags_of_a_frame(colors: int, bits: int) -> None:
    palette = ColorPalette([0] * colors)
    assert GifFrameBlock.create_flags(palette, False, False) == 0x80 | bits - 1
    assert GifFrameBlock.create_flags(palette, True, True) == 0xE0 | bits - 1
    assert GifFrameBlock.create_flags(None, False, True) == 0x40


def test_palette_of_a_frame() -> None:
    own, of_file = ColorPalette([1, 2]), ColorPalette([3, 4, 5])
    assert GifFrameBlock.get_color_palette(own, of_file).entries_count == 2
    assert GifFrameBlock.get_color_palette(None, of_file).entries_count == 3
    assert GifFrameBlock.get_color_palette(None, None) is None


def test_the_flags_of_a_file_are_those_of_its_frame() -> None:
    picture = Pillow.fromarray(np.zeros((20, 20), np.uint8), "P")
    picture.putpalette([0, 0, 0, 255, 0, 0, 0, 255, 0])
    file = io.BytesIO()
    picture.save(file, "GIF", interlace=True)
    frame = GifImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value.active_frame
    bits = frame.palette.entries_count.bit_length() - 1
    assert frame.gif_frame_bits_per_pixel == bits
    assert frame.flags == 0x80 | 0x40 | (bits - 1) == GifFrameBlock.create_flags(frame.palette, False, True)
    frame.flags = 0x80 | 0x20 | (bits - 1)
    assert (frame.interlaced, frame.is_palette_sorted, frame.flags) == (False, True, 0x80 | 0x20 | (bits - 1))
    with managed_error("NotSupportedException", "GifFrameBlock.Flags"):
        frame.flags = 0
    with managed_error("NotSupportedException", "GifFrameBlock.GifFrameBitsPerPixel", "GifOptions.ColorResolution"):
        frame.gif_frame_bits_per_pixel = 7 if bits != 7 else 6
    frame.gif_frame_bits_per_pixel = bits
