"""Frames of animations that hide all that was shown before: what comes earlier is not decoded, not even if damaged."""

from __future__ import annotations

import io
import struct
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image
from zelmor.imaging.fileformats.apng import ApngImage
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.webp import WebPImage

from support import png_files
from support.arrays import Pixels
from support.gif_files import Frame, Gif, random_indices, random_palette, to_bytes
from support.image_oracles import managed_error, noise, raster

WIDTH, HEIGHT = 12, 9
WHOLE = (WIDTH, HEIGHT, 0, 0)
PALETTE = random_palette(16)


def seen(image: Any, number: int) -> Pixels:
    frame = raster(image.pages[number])
    packed = np.array(list(frame.load_argb_32_pixels(frame.bounds)), np.int64) & 0xFFFFFFFF
    return np.stack([packed >> shift & 255 for shift in (16, 8, 0, 24)], -1).reshape(frame.height, frame.width, 4)


def gif(middle: dict[str, Any], last: dict[str, Any], damaged: bool = True) -> Any:
    """Three frames, the second of which has no data."""
    def frame(seed: int, place: tuple[int, int, int, int] = WHOLE, **more: Any) -> Frame:
        width, height, left, top = place
        return Frame(random_indices(width, height, 16, seed), left, top, **more)
    frames = [frame(1), frame(2, **middle), frame(3, **last)]
    files = [to_bytes(Gif(WIDTH, HEIGHT, PALETTE, frames[:count], loops=0)) for count in (1, 2, 3)]
    data = files[2]
    if damaged:
        start = data.index(b"\x2c", len(files[0]) - 1)
        data = data[:start + 11] + b"\0" + data[len(files[1]) - 1:]
    return GifImage._cast_to(Image.load(io.BytesIO(data))).value


SMALLER = [(WIDTH - 1, HEIGHT, 0, 0), (WIDTH - 1, HEIGHT, 1, 0), (WIDTH, HEIGHT - 1, 0, 0), (WIDTH, HEIGHT - 1, 0, 1)]


@pytest.mark.parametrize(("middle", "last", "alone"), [
    ({}, {}, True), ({}, {"transparent": 3}, False), ({"disposal": 2}, {"transparent": 3}, True),
    ({"disposal": 3}, {"transparent": 3}, False), ({"disposal": 2}, {"place": (4, 3, 2, 2)}, True),
    *[({}, {"place": place}, False) for place in SMALLER],
    *[({"disposal": 2, "place": place}, {"transparent": 3}, False) for place in SMALLER]])
def test_gif(middle: dict[str, Any], last: dict[str, Any], alone: bool) -> None:
    image = gif(middle, last)
    if alone:
        assert np.array_equal(seen(image, 2), seen(gif(middle, last, damaged=False), 2))
    else:
        with managed_error("ImageLoadException", "GIF"):
            seen(image, 2)


def apng(middle: tuple[int, ...], last: tuple[int, ...], kind: int, damaged: bool) -> Any:
    """Each frame with its place, its disposal, and whether it is laid over; the second has a wrong checksum."""
    bands = {png_files.RGBA: 4, png_files.RGB: 3}[kind]
    whole = png_files.Png(kind, 8, np.zeros((HEIGHT, WIDTH, bands), int))
    out = png_files.SIGNATURE + png_files.header(whole) + png_files.chunk(b"acTL", struct.pack(">II", 3, 0))
    number = 0
    for seed, (width, height, left, top, disposal, over) in enumerate([(*WHOLE, 0, 0), middle, last]):
        out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", number, width, height, left, top, 1, 10, disposal, over))
        data = png_files.picture_data(png_files.Png(kind, 8, noise(bands, seed, width, height).astype(int)))
        if seed == 0:
            out += png_files.chunk(b"IDAT", data)
        else:
            out += png_files.chunk(b"fdAT", struct.pack(">I", number + 1) + data)
            if seed == 1 and damaged:
                out = out[:-4] + bytes(4)
        number += 1 if seed == 0 else 2
    return ApngImage._cast_to(Image.load(io.BytesIO(out + png_files.chunk(b"IEND", b"")))).value


@pytest.mark.parametrize(("middle", "last", "kind", "alone"), [
    ((*WHOLE, 0, 0), (*WHOLE, 0, 0), png_files.RGBA, True), ((*WHOLE, 0, 0), (*WHOLE, 0, 1), png_files.RGBA, False),
    ((*WHOLE, 0, 0), (*WHOLE, 0, 1), png_files.RGB, True), ((*WHOLE, 1, 0), (*WHOLE, 0, 1), png_files.RGBA, True),
    ((*WHOLE, 1, 0), (4, 3, 2, 2, 0, 1), png_files.RGBA, True),
    ((*WHOLE, 2, 0), (4, 3, 2, 2, 0, 0), png_files.RGBA, False),
    *[((*WHOLE, 0, 0), (*place, 0, 0), png_files.RGBA, False) for place in SMALLER],
    *[((*place, 1, 0), (*WHOLE, 0, 1), png_files.RGBA, False) for place in SMALLER]])
def test_png(middle: tuple[int, ...], last: tuple[int, ...], kind: int, alone: bool) -> None:
    image = apng(middle, last, kind, damaged=True)
    if alone:
        assert np.array_equal(seen(image, 2), seen(apng(middle, last, kind, damaged=False), 2))
    else:
        with managed_error("ImageLoadException", "PNG"):
            seen(image, 2)


@pytest.mark.parametrize("over", [False, True])
def test_indices_that_are_laid_on_others(over: bool) -> None:
    """Clear ones let see what is there if the frame is laid over it, and clear it if not."""
    palette = np.array([[*color[:3], 0 if i == 2 else 255] for i, color in enumerate(noise(3, 7, 8, 1)[0].tolist())])
    below, above = (np.random.default_rng(seed).integers(0, 8, (HEIGHT, WIDTH)) for seed in (1, 2))
    part = above[2:7, 3:10]
    frames = [png_files.Png(3, 8, each[..., None]) for each in (below, part)]
    out = png_files.SIGNATURE + png_files.header(frames[0]) + png_files.chunk(
        b"PLTE", palette[:, :3].astype(np.uint8).tobytes()) + png_files.chunk(
            b"tRNS", palette[:, 3].astype(np.uint8).tobytes()) + png_files.chunk(b"acTL", struct.pack(">II", 2, 0))
    out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", 0, *WHOLE, 1, 10, 0, 0))
    out += png_files.chunk(b"IDAT", png_files.picture_data(frames[0]))
    out += png_files.chunk(b"fcTL", struct.pack(">5I2H2B", 1, 7, 5, 3, 2, 1, 10, 0, over))
    out += png_files.chunk(b"fdAT", struct.pack(">I", 2) + png_files.picture_data(frames[1]))
    found = seen(ApngImage._cast_to(Image.load(io.BytesIO(out + png_files.chunk(b"IEND", b"")))).value, 1)
    expected = below.copy()
    expected[2:7, 3:10] = np.where(part == 2, below[2:7, 3:10], part) if over else part
    shown = expected != 2
    assert np.array_equal(found[shown], palette[expected[shown]])
    assert (found[~shown][:, 3] == 0).all()


def webp(middle: tuple[int, ...], last: tuple[int, ...], alpha: bool, damaged: bool) -> Any:
    """Each frame with its place (even numbers), and the bits for its disposal and its blending."""
    def chunk(name: bytes, data: bytes) -> bytes:
        return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) & 1)
    frames = b""
    for seed, (width, height, left, top, bits) in enumerate([(*WHOLE, 2), middle, last]):
        file = io.BytesIO()
        Pillow.fromarray(noise(4 if alpha and seed else 3, seed, width, height)).save(file, "WEBP", lossless=True)
        data = file.getvalue()[12:]
        while data[:4] not in (b"VP8L", b"VP8 "):
            data = data[8 + (struct.unpack_from("<I", data, 4)[0] + 1 & ~1):]
        data = bytearray(data[:8 + struct.unpack_from("<I", data, 4)[0]])
        if seed == 1 and damaged:
            data[13:] = b"\xff" * (len(data) - 13)
        numbers = b"".join(struct.pack("<I", each)[:3] for each in (left // 2, top // 2, width - 1, height - 1, 100))
        frames += chunk(b"ANMF", numbers + bytes([bits]) + bytes(data) + b"\0" * (len(data) & 1))
    size = b"".join(struct.pack("<I", each - 1)[:3] for each in (WIDTH, HEIGHT))
    body = b"WEBP" + chunk(b"VP8X", bytes([0x12, 0, 0, 0]) + size) + chunk(b"ANIM", bytes(6)) + frames
    return WebPImage._cast_to(Image.load(io.BytesIO(b"RIFF" + struct.pack("<I", len(body)) + body))).value


CLEARED, COPIED = 1, 2
EVEN = [(WIDTH - 1, HEIGHT, 0, 0), (WIDTH - 2, HEIGHT, 2, 0), (WIDTH, HEIGHT - 1, 0, 0), (WIDTH, HEIGHT - 2, 0, 2)]


@pytest.mark.parametrize(("middle", "last", "alpha", "alone"), [
    ((*WHOLE, 0), (*WHOLE, COPIED), True, True), ((*WHOLE, 0), (*WHOLE, 0), True, False),
    ((*WHOLE, 0), (*WHOLE, 0), False, True), ((*WHOLE, CLEARED), (*WHOLE, 0), True, True),
    ((*WHOLE, CLEARED), (4, 3, 2, 2, 0), True, True),
    *[((*WHOLE, 0), (*place, COPIED), True, False) for place in EVEN],
    *[((*place, CLEARED), (*WHOLE, 0), True, False) for place in EVEN]])
def test_webp(middle: tuple[int, ...], last: tuple[int, ...], alpha: bool, alone: bool) -> None:
    image = webp(middle, last, alpha, damaged=True)
    if alone:
        assert np.array_equal(seen(image, 2), seen(webp(middle, last, alpha, damaged=False), 2))
    else:
        with managed_error("ImageLoadException", "WebP"):
            seen(image, 2)


@pytest.mark.parametrize("kind", ["gif", "png"])
def test_what_a_frame_hid_comes_back_behind_it(kind: str) -> None:
    """A frame that hides all, and whose disposal brings back what was there: those behind it need what it hid."""
    small = (4, 3, 2, 2)

    def image() -> Any:
        if kind == "gif":
            return gif({"disposal": 3}, {"place": small}, damaged=False)
        return apng((*WHOLE, 2, 0), (*small, 0, 0), png_files.RGBA, damaged=False)

    in_order = image()
    frames = [seen(in_order, number) for number in range(3)]
    for numbers in ((2,), (1, 2), (2, 1), (0, 2, 1)):
        shown = image()
        for number in numbers:
            assert np.array_equal(seen(shown, number), frames[number]), (numbers, number)
    inside = np.zeros((HEIGHT, WIDTH), bool)
    inside[2:5, 2:6] = True
    assert np.array_equal(frames[2][~inside], frames[0][~inside])
    assert (frames[2][inside] != frames[0][inside]).any()
