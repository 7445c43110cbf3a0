"""GIF files written and read here byte by byte, as an oracle that no library stands behind."""

from __future__ import annotations

import struct
from dataclasses import dataclass, field

import numpy as np

from support.arrays import Pixels


@dataclass
class Frame:
    """A frame as it stands in the file."""

    indices: Pixels
    left: int = 0
    top: int = 0
    palette: bytes = b""  # its own
    interlaced: bool = False
    delay: int = 0  # hundredths of a second
    disposal: int = 0
    transparent: int | None = None
    user_input: bool = False
    control: bool = True  # whether there is a control block
    blocks: list[bytes] = field(default_factory=list)  # extensions before it


@dataclass
class Gif:
    """A GIF file."""

    width: int
    height: int
    palette: bytes
    frames: list[Frame]
    resolution: int = 7  # bits of a primary color, without one
    is_sorted: bool = False
    background: int = 0
    aspect: int = 0
    loops: int | None = None
    behind: list[bytes] = field(default_factory=list)  # extensions behind the last frame
    trailer: bool = True


def sub_blocks(data: bytes) -> bytes:
    """Data in pieces of up to 255 bytes."""
    pieces = (data[i:i + 255] for i in range(0, len(data), 255))
    return b"".join(bytes([len(piece)]) + piece for piece in pieces) + b"\0"


def extension(label: int, *pieces: bytes) -> bytes:
    """An extension block."""
    return bytes([0x21, label]) + b"".join(bytes([len(piece)]) + piece for piece in pieces) + b"\0"


def comment(text: bytes) -> bytes:
    """A comment block."""
    return extension(0xFE, text)


def bits_of(palette: bytes) -> int:
    """Bits of an index into a palette of the file."""
    return max(1, (len(palette) // 3 - 1).bit_length())


def flags_of(palette: bytes) -> int:
    """The bits that tell of a palette."""
    return 0x80 | bits_of(palette) - 1 if palette else 0


def row_order(height: int, interlaced: bool) -> list[int]:
    """The rows of a frame as they follow each other in the file."""
    if not interlaced:
        return list(range(height))
    return [y for first, step in ((0, 8), (4, 8), (2, 4), (1, 2)) for y in range(first, height, step)]


def lzw(indices: Pixels, code_bits: int) -> bytes:
    """Codes that repeat nothing: the table is cleared before its codes grow."""
    value = bits = 0
    out = bytearray()
    clear = 1 << code_bits
    codes: list[int] = []
    for i, index in enumerate(indices):
        if i % (clear - 2) == 0:
            codes.append(clear)
        codes.append(int(index))
    for code in [*codes, clear + 1]:
        value |= code << bits
        bits += code_bits + 1
        while bits >= 8:
            out.append(value & 255)
            value >>= 8
            bits -= 8
    return bytes(out) + bytes([value & 255])


def unlzw(data: bytes, code_bits: int, count: int) -> Pixels:
    """The indices that codes stand for."""
    clear, out = 1 << code_bits, bytearray()
    table: list[bytes] = []
    size, at, last = code_bits + 1, 0, b""
    bits = int.from_bytes(data, "little")
    while len(out) < count:
        code = bits >> at & (1 << size) - 1
        at += size
        if code == clear:
            table = [bytes([i]) for i in range(clear)] + [b"", b""]
            size, last = code_bits + 1, b""
            continue
        if code == clear + 1:
            break
        entry = table[code] if code < len(table) else last + last[:1]
        out += entry
        if last and len(table) < 4096:
            table.append(last + entry[:1])
            if len(table) == 1 << size and size < 12:
                size += 1
        last = entry
    assert len(out) == count
    return np.frombuffer(bytes(out), np.uint8)


def frame_bytes(frame: Frame, code_bits: int) -> bytes:
    """The blocks of a frame."""
    height, width = frame.indices.shape
    flags = flags_of(frame.palette) | (0x40 if frame.interlaced else 0)
    control = b""
    if frame.control:
        bits = frame.disposal << 2 | (2 if frame.user_input else 0) | (0 if frame.transparent is None else 1)
        control = extension(0xF9, struct.pack("<BHB", bits, frame.delay, frame.transparent or 0))
    ordered = frame.indices[row_order(height, frame.interlaced)].reshape(-1)
    return (b"".join(frame.blocks) + control + struct.pack("<BHHHHB", 0x2C, frame.left, frame.top, width, height, flags)
            + frame.palette + bytes([code_bits]) + sub_blocks(lzw(ordered, code_bits)))


def to_bytes(gif: Gif) -> bytes:
    """The whole file."""
    flags = flags_of(gif.palette) | gif.resolution << 4 | (8 if gif.is_sorted else 0)
    out = b"GIF89a" + struct.pack("<HHBBB", gif.width, gif.height, flags, gif.background, gif.aspect) + gif.palette
    if gif.loops is not None:
        out += extension(0xFF, b"NETSCAPE2.0", struct.pack("<BH", 1, gif.loops))
    for frame in gif.frames:
        out += frame_bytes(frame, max(2, bits_of(frame.palette or gif.palette)))
    return out + b"".join(gif.behind) + (b";" if gif.trailer else b"")


def read_frame(data: bytes, at: int) -> tuple[Frame, int]:
    """The frame whose descriptor stands there, and where it ends."""
    left, top, width, height, flags = struct.unpack_from("<HHHHB", data, at + 1)
    at += 10
    palette = data[at:at + 3 * (2 << (flags & 7))] if flags & 0x80 else b""
    at += len(palette)
    code_bits, content = data[at], bytearray()
    at += 1
    while data[at]:
        content += data[at + 1:at + 1 + data[at]]
        at += 1 + data[at]
    interlaced = bool(flags & 0x40)
    indices = np.zeros((height, width), np.uint8)
    indices[row_order(height, interlaced)] = unlzw(bytes(content), code_bits, width * height).reshape(height, width)
    return Frame(indices, left, top, palette, interlaced, control=False), at + 1


def from_bytes(data: bytes) -> Gif:
    """The file's screen, frames and extensions."""
    assert data[:6] == b"GIF89a"
    width, height, flags, background, aspect = struct.unpack_from("<HHBBB", data, 6)
    palette = data[13:13 + 3 * (2 << (flags & 7))] if flags & 0x80 else b""
    gif = Gif(width, height, palette, [], flags >> 4 & 7, bool(flags & 8), background, aspect, trailer=False)
    blocks: list[bytes] = []
    at, control = 13 + len(palette), None
    while at < len(data):
        if data[at] == 0x3B:
            assert at == len(data) - 1
            gif.trailer = True
            break
        if data[at] == 0x2C:
            frame, at = read_frame(data, at)
            frame.blocks, blocks = blocks, []
            if control is not None:
                bits, frame.delay, index = struct.unpack("<BHB", control)
                frame.control, frame.disposal, frame.user_input = True, bits >> 2 & 7, bool(bits & 2)
                frame.transparent, control = index if bits & 1 else None, None
            gif.frames.append(frame)
            continue
        assert data[at] == 0x21
        start, label, at = at, data[at + 1], at + 2
        pieces = []
        while data[at]:
            pieces.append(data[at + 1:at + 1 + data[at]])
            at += 1 + data[at]
        at += 1
        if label == 0xF9:
            control = pieces[0]
        elif label == 0xFF and pieces[0] == b"NETSCAPE2.0":
            gif.loops = struct.unpack("<H", pieces[1][1:])[0]
        else:
            blocks.append(data[start:at])
    gif.behind = blocks
    return gif


def colors(palette: bytes) -> Pixels:
    """The entries of a palette."""
    return np.frombuffer(palette, np.uint8).reshape(-1, 3)


def shown(gif: Gif) -> list[Pixels]:
    """What is seen while each frame is shown, as RGBA; clear pixels are zeros."""
    canvas = np.zeros((gif.height, gif.width, 4), np.uint8)
    result = []
    for frame in gif.frames:
        height, width = frame.indices.shape
        area = np.s_[frame.top:min(frame.top + height, gif.height), frame.left:min(frame.left + width, gif.width)]
        before = canvas.copy()
        part = canvas[area]
        indices = frame.indices[:part.shape[0], :part.shape[1]]
        seen = np.ones(indices.shape, bool) if frame.transparent is None else indices != frame.transparent
        part[seen] = np.concatenate([colors(frame.palette or gif.palette)[indices[seen]],
                                     np.full((int(seen.sum()), 1), 255, np.uint8)], -1)
        result.append(canvas.copy())
        if frame.disposal == 2:
            canvas[area] = 0
        elif frame.disposal == 3:
            canvas = before
    return result


def random_palette(size: int, seed: int = 1) -> bytes:
    """A palette of random colors."""
    return np.random.default_rng(seed).integers(0, 256, 3 * size, np.uint8).tobytes()


def random_indices(width: int, height: int, size: int, seed: int = 2) -> Pixels:
    """A picture of random indices."""
    return np.random.default_rng(seed).integers(0, size, (height, width), np.uint8)
