"""WebP of every kind: pixels, forms, frames and metadata beside Pillow's; what is written, and damaged files."""

from __future__ import annotations

import io
import struct
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import AnimationDisposalMethods, Color, DataRecoveryMode, Image, LoadOptions, RasterImage
from zelmor.imaging.fileformats.webp import WebPFrameBlock, WebPImage
from zelmor.imaging.imageoptions import WebPOptions

from support.image_oracles import Pixels, managed_error, noise, raster, smooth, worst

PROFILE = ImageCms.ImageCmsProfile(ImageCms.createProfile("XYZ")).tobytes()
XMP = b"<x:xmpmeta xmlns:x='adobe:ns:meta/'></x:xmpmeta>"


def stored(image: Any) -> Pixels:
    """The pixels of an image as RGBA."""
    colors = np.array(list(raster(image).load_argb_32_pixels(image.bounds)), np.int64) & 0xFFFFFFFF
    return np.stack([colors >> shift & 255 for shift in (16, 8, 0, 24)], -1).reshape(image.height, image.width, 4)


def seen(image: Any) -> Pixels:
    """The same; a pixel that is wholly transparent has no color."""
    return without_hidden_colors(stored(image))


def without_hidden_colors(rgba: Pixels) -> Pixels:
    return np.where(rgba[..., 3:] == 0, 0, rgba)


def pillow_frames(data: bytes) -> list[Pixels]:
    with Pillow.open(io.BytesIO(data)) as picture:
        frames = []
        for i in range(getattr(picture, "n_frames", 1)):
            picture.seek(i)
            frames.append(without_hidden_colors(np.asarray(picture.convert("RGBA")).astype(int)))
        return frames


def webp(pixels: Pixels, **options: Any) -> bytes:
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "WEBP", **options)
    return file.getvalue()


def loaded(data: bytes, options: LoadOptions | None = None) -> Any:
    file = io.BytesIO(data)
    return WebPImage._cast_to(Image.load(file, options) if options is not None else Image.load(file)).value


def chunks(data: bytes) -> Iterator[tuple[bytes, bytes]]:
    at = 12
    while at + 8 <= len(data):
        kind, size = data[at:at + 4], int.from_bytes(data[at + 4:at + 8], "little")
        yield kind, data[at + 8:at + 8 + size]
        at += 8 + size + size % 2


def chunk(kind: bytes, data: bytes) -> bytes:
    return kind + struct.pack("<I", len(data)) + data + bytes(len(data) % 2)


def riff(content: bytes) -> bytes:
    return b"RIFF" + struct.pack("<I", len(content) + 4) + b"WEBP" + content


def u24(value: int) -> bytes:
    return struct.pack("<I", value)[:3]


def extended(flags: int, width: int, height: int) -> bytes:
    return chunk(b"VP8X", bytes([flags, 0, 0, 0]) + u24(width - 1) + u24(height - 1))


def coded(data: bytes) -> bytes:
    """The chunks of a still file that make up its pixels."""
    return b"".join(chunk(kind, content) for kind, content in chunks(data) if kind in (b"ALPH", b"VP8 ", b"VP8L"))


def frame_chunk(pixels: Pixels, x: int = 0, y: int = 0, duration: int = 40, clears: bool = False,
                replaces: bool = False, **options: Any) -> bytes:
    height, width = pixels.shape[:2]
    return chunk(b"ANMF", u24(x // 2) + u24(y // 2) + u24(width - 1) + u24(height - 1) + u24(duration)
                 + bytes([clears | replaces << 1]) + coded(webp(pixels, **options)))


def animation(width: int, height: int, frames: list[bytes], loops: int = 3) -> bytes:
    return riff(extended(0x12, width, height) + chunk(b"ANIM", bytes([1, 2, 3, 4]) + struct.pack("<H", loops))
                + b"".join(frames))


# ---- Still pictures


@pytest.mark.parametrize("size", [(1, 1), (2, 3), (61, 43), (16, 16), (300, 33)])
@pytest.mark.parametrize("bands", [3, 4])
@pytest.mark.parametrize("options", [{"lossless": True}, {"lossless": True, "exact": True, "quality": 100},
                                     {"quality": 80}, {"quality": 5, "alpha_quality": 20},
                                     {"quality": 100, "method": 6}, {"quality": 50, "method": 0}], ids=str)
def test_still_pictures(size: tuple[int, int], bands: int, options: dict[str, Any]) -> None:
    for picture in (noise(bands, 4, *size), smooth(bands, *size)):
        data = webp(picture, **options)
        with Pillow.open(io.BytesIO(data)) as other:
            alpha = other.mode == "RGBA"
        image = loaded(data)
        assert image.has_alpha == alpha
        assert worst(seen(image), pillow_frames(data)[0]) == 0


@pytest.mark.parametrize("lossless", [False, True])
@pytest.mark.parametrize("bands", [3, 4])
@pytest.mark.parametrize("extra", [{}, {"icc_profile": PROFILE}, {"exif": b"Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0"},
                                   {"xmp": XMP}, {"icc_profile": PROFILE, "xmp": XMP}],
                         ids=lambda extra: "+".join(extra))
def test_pictures_with_metadata_are_kept(lossless: bool, bands: int, extra: dict[str, bytes]) -> None:
    data = webp(noise(bands), lossless=lossless, **extra)
    image = loaded(data)
    assert worst(seen(image), pillow_frames(data)[0]) == 0
    file = io.BytesIO()
    options = WebPOptions()
    options.lossless = True
    image.save(file, options)
    assert worst(pillow_frames(file.getvalue())[0], pillow_frames(data)[0]) == 0
    before, after = dict(chunks(data)), dict(chunks(file.getvalue()))
    assert after.get(b"ICCP") == before.get(b"ICCP")
    assert (b"XMP " in after) == ("xmp" in extra)


def test_colors_of_transparent_pixels_are_kept_without_loss(tmp_path: Path) -> None:
    picture = noise(4)
    picture[5:30, :, 3] = 0
    Pillow.fromarray(picture).save(tmp_path / "a.png")
    options = WebPOptions()
    options.lossless = True
    for name, target in (("a.png", "b.webp"), ("b.webp", "c.webp")):
        Image.load(str(tmp_path / name)).save(str(tmp_path / target), options)
        assert np.array_equal(stored(Image.load(str(tmp_path / target))), picture)  # Pillow clears what is transparent


def test_the_resolution_stands_in_the_exif_data(tmp_path: Path) -> None:
    source = tmp_path / "a.png"
    Pillow.fromarray(noise()).save(source, dpi=(300, 150))
    raster(Image.load(str(source))).save(str(tmp_path / "a.webp"), WebPOptions())
    image = raster(Image.load(str(tmp_path / "a.webp")))
    assert (round(image.horizontal_resolution), round(image.vertical_resolution)) == (300, 150)


@pytest.mark.parametrize("quality", [0, 30, 75, 100])
@pytest.mark.parametrize("lossless", [False, True])
@pytest.mark.parametrize("bands", [3, 4])
def test_files_are_as_small_as_pillows(quality: int, lossless: bool, bands: int) -> None:
    """The same library with the same effort: the same bytes."""
    picture = smooth(bands, 200, 111)
    png = io.BytesIO()
    Pillow.fromarray(picture).save(png, "PNG")
    file = io.BytesIO()
    options = WebPOptions()
    options.lossless, options.quality = lossless, float(quality)
    Image.load(io.BytesIO(png.getvalue())).save(file, options)
    assert coded(file.getvalue()) == coded(webp(picture, quality=quality, lossless=lossless, exact=lossless))


# ---- Animations


def composed_by_pillow(data: bytes) -> None:
    """All frames as Pillow composes them, whose blending rounds in a rougher way."""
    image = loaded(data)
    frames = [WebPFrameBlock._cast_to(page).value for page in image.pages]
    expected = pillow_frames(data)
    assert len(frames) == len(expected)
    for frame, other in zip(frames, expected, strict=True):
        pixels = seen(frame)
        assert worst(pixels[..., 3], other[..., 3]) <= 2
        heavy = np.minimum(pixels[..., 3], other[..., 3]) >= 64  # colors of thin pixels are rounded coarsely
        assert worst(np.where(heavy[..., None], pixels, 0), np.where(heavy[..., None], other, 0)) <= 4
        solid = np.isin(other[..., 3], (0, 255))
        assert worst(np.where(solid[..., None], pixels, 0), np.where(solid[..., None], other, 0)) <= 2


@pytest.mark.parametrize("lossless", [False, True])
@pytest.mark.parametrize("alpha", ["opaque", "holes", "half"])
def test_frames_of_every_kind(lossless: bool, alpha: str) -> None:
    """Offsets, blending, disposal and durations, each with each."""
    def part(seed: int, width: int, height: int) -> Pixels:
        pixels = noise(4, seed, width, height)
        if alpha == "opaque":
            pixels[..., 3] = 255
        elif alpha == "holes":
            pixels[..., 3] = np.where(pixels[..., 3] < 100, 0, 255)
        return pixels

    places = [(0, 0, 40, 30), (4, 2, 11, 9), (20, 0, 20, 30), (0, 20, 40, 10), (38, 28, 2, 2), (0, 0, 40, 30)]
    frames = []
    for seed, (clears, replaces) in enumerate([(False, False), (True, False), (False, True), (True, True)] * 3):
        x, y, width, height = places[seed % len(places)]
        frames.append(frame_chunk(part(seed, width, height), x, y, 10 * seed, clears, replaces, lossless=lossless,
                                  quality=90))
    data = animation(40, 30, frames)
    composed_by_pillow(data)
    image = loaded(data)
    assert [WebPFrameBlock._cast_to(page).value.frame_time for page in image.pages] == [10 * i for i in range(12)]
    assert image.options.anim_loop_count == 3


@pytest.mark.parametrize("options", [{"lossless": True}, {"quality": 60}, {"minimize_size": True},
                                     {"allow_mixed": True}, {"kmax": 2, "kmin": 1}], ids=str)
@pytest.mark.parametrize("bands", [3, 4])
def test_animations_of_pillow(options: dict[str, Any], bands: int) -> None:
    still = smooth(bands, 48, 32)
    frames = []
    for i in range(7):
        frame = still.copy()
        frame[3 + i:13 + i, 4 * i:4 * i + 10] = noise(bands, i, 10, 10)
        frames.append(Pillow.fromarray(frame))
    file = io.BytesIO()
    durations = [20, 1, 40, 900, 5, 60, 70]
    frames[0].save(file, "WEBP", save_all=True, append_images=frames[1:], duration=durations, **options)
    composed_by_pillow(file.getvalue())


@pytest.mark.parametrize("lossless", [False, True])
def test_animations_are_written(lossless: bool) -> None:
    frames = [frame_chunk(noise(4, seed, 24, 18), 0, 0, duration, replaces=True, lossless=True)
              for seed, duration in enumerate([1, 10, 11, 500])]
    image = loaded(animation(24, 18, frames, loops=9))
    source = [seen(page) for page in image.pages]
    file = io.BytesIO()
    options = WebPOptions()
    options.lossless, options.quality = lossless, 95.0
    image.save(file, options)
    again = loaded(file.getvalue())
    assert [WebPFrameBlock._cast_to(page).value.frame_time for page in again.pages] == [1, 10, 11, 500]
    assert again.options.anim_loop_count == 9
    if lossless:
        assert all(worst(seen(page), before) == 0 for page, before in zip(again.pages, source, strict=True))
    else:
        assert all(worst(seen(page)[..., 3], before[..., 3]) == 0
                   for page, before in zip(again.pages, source, strict=True))


def test_pixels_that_a_disposal_clears_are_told_in_the_header() -> None:
    """An opaque frame goes, and another takes a part of its place: no frame's data has alpha, but the animation has."""
    whole, part = noise(4, 1, 48, 32), np.zeros((32, 48, 4), np.uint8)
    whole[..., 3] = 255
    part[8:24, 16:32] = whole[8:24, 16:32]
    whole = whole[::-1].copy()
    frames = [frame_chunk(frame, 0, 0, 100, replaces=True, lossless=True) for frame in (whole, part)]
    file = io.BytesIO()
    options = WebPOptions()
    options.lossless = True
    loaded(animation(48, 32, frames)).save(file, options)
    data = file.getvalue()
    codes = [content[16:20] + content[24:29] for kind, content in chunks(data) if kind == b"ANMF"]
    assert [code[:4] for code in codes] == [b"VP8L"] * 2
    assert all(int.from_bytes(code[5:9], "little") >> 28 & 1 == 0 for code in codes)  # no alpha in their data
    assert data[12:16] == b"VP8X" and data[20] & 0x10
    with Pillow.open(io.BytesIO(data)) as picture:
        assert picture.mode == "RGBA"
    assert all((frame == source).all() for frame, source in zip(pillow_frames(data), (whole, part), strict=True))
    assert worst(seen(loaded(data).pages[1]), part.astype(int)) == 0


def test_frames_are_found_without_being_decoded() -> None:
    """Damaged frames are an error when they are looked at; those that need them alone are hurt."""
    count, bad = 400, 250
    frames = [frame_chunk(noise(4, i, 20, 20), duration=i, replaces=True, lossless=True) for i in range(count)]
    at = frames[bad].index(b"VP8L") + 13
    frames[bad] = frames[bad][:at] + bytes([0xFF]) * (len(frames[bad]) - at)
    image = loaded(animation(20, 20, frames))
    assert image.page_count == count
    assert WebPFrameBlock._cast_to(image.pages[count - 1]).value.frame_time == count - 1
    assert worst(seen(image.pages[count - 1])[..., 3], without_hidden_colors(noise(4, count - 1, 20, 20))[..., 3]) == 0
    with pytest.raises(RuntimeError, match="damaged"):
        seen(image.pages[bad])


# ---- Damage


@pytest.mark.parametrize("mode", [DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER])
@pytest.mark.parametrize("lossless", [False, True])
def test_rows_before_the_damage_are_kept(mode: DataRecoveryMode, lossless: bool) -> None:
    data = webp(noise(3, 2, 96, 128), lossless=lossless, quality=90)
    whole = pillow_frames(data)[0]
    cut = data[:len(data) * 6 // 10]
    with managed_error("ImageLoadException", "WebP"):
        raster(loaded(cut)).get_pixel(0, 0)
    options = LoadOptions()
    options.data_recovery_mode, options.data_background_color = mode, Color.red
    pixels = seen(loaded(cut, options))
    lost = (pixels == (255, 0, 0, 255)).all(axis=(1, 2))
    assert lost[-20:].all() and not lost[:20].any()
    kept = int(np.argmax(lost))
    assert (lost[kept:]).all() and worst(pixels[:kept], whole[:kept]) == 0


def test_a_header_without_a_picture() -> None:
    for data in (riff(b""), riff(extended(0, 4, 4)), riff(extended(2, 4, 4) + chunk(b"ANIM", bytes(6))),
                 riff(extended(0, 5, 4) + coded(webp(noise(3, 1, 4, 4)))),
                 animation(4, 4, [frame_chunk(noise(4, 1, 4, 4), 2, 2)])):
        with managed_error("ImageLoadException"):
            RasterImage._cast_to(Image.load(io.BytesIO(data))).value.get_pixel(0, 0)


# ---- How new frames meet those before them


def plain_frame(color: tuple[int, ...], width: int, height: int, left: int = 0) -> WebPFrameBlock:
    frame = WebPFrameBlock(width, height)
    frame.left = left
    [packed] = struct.unpack(">i", struct.pack(">4B", color[3], *color[:3]))
    frame.save_argb_32_pixels(frame.bounds, [packed] * (width * height))
    return frame


def shown(*frames: WebPFrameBlock) -> list[Pixels]:
    image = WebPImage(8, 4, WebPOptions())
    image.clear_blocks()
    for frame in frames:
        image.add_block(frame)
    options, file = WebPOptions(), io.BytesIO()
    options.lossless = True
    image.save(file, options)
    return [seen(page)[0] for page in loaded(file.getvalue()).pages]


RED, HALF_BLUE, CLEAR = (255, 0, 0, 255), (0, 0, 255, 128), (0, 0, 0, 0)


@pytest.mark.parametrize("width", [4, 8])
def test_a_frame_is_mixed_or_replaces(width: int) -> None:
    over = plain_frame(HALF_BLUE, width, 4)
    assert over.use_alpha_blending and over.disposal_method == AnimationDisposalMethods.PRESERVE
    row = shown(plain_frame(RED, 8, 4), over)[1]
    assert row[0].tolist() == pytest.approx([127, 0, 128, 255], abs=1)
    if width < 8:
        assert row[7].tolist() == list(RED)
    alone = plain_frame(HALF_BLUE, width, 4)
    alone.use_alpha_blending = False
    assert shown(plain_frame(RED, 8, 4), alone)[1][0].tolist() == list(HALF_BLUE)


@pytest.mark.parametrize(("method", "left"), [
    (AnimationDisposalMethods.PRESERVE, (0, 255, 0, 255)), (AnimationDisposalMethods.BACKGROUND, CLEAR),
    (AnimationDisposalMethods.PREVIOUS, RED)])
def test_what_a_frame_leaves(method: AnimationDisposalMethods, left: tuple[int, ...]) -> None:
    middle = plain_frame((0, 255, 0, 255), 2, 4)
    middle.disposal_method = method
    assert middle.disposal_method == method
    rows = shown(plain_frame(RED, 8, 4), middle, plain_frame((9, 9, 9, 255), 2, 4, left=6))
    assert rows[1][0].tolist() == [0, 255, 0, 255] and rows[2][0].tolist() == list(left)
    assert rows[2][7].tolist() == [9, 9, 9, 255] and rows[2][3].tolist() == list(RED)


def with_durations(*durations: int) -> list[int]:
    """The durations in the file of an animation with these."""
    image = WebPImage(8, 4, WebPOptions())
    image.clear_blocks()
    for i, duration in enumerate(durations):
        frame = plain_frame((i % 256, i // 256, 7, 255), 8, 4)
        frame.duration = duration
        image.add_block(frame)
    file = io.BytesIO()
    image.save(file, WebPOptions())
    return [int.from_bytes(data[12:15], "little") for kind, data in chunks(file.getvalue()) if kind == b"ANMF"]


def test_durations_of_frames() -> None:
    assert with_durations(1, 16777215, 40) == [1, 16777215, 40]
    for longest in (16777216, 2 ** 31 - 1):
        with managed_error("ImageSaveException", "a frame of a WebP file is shown for at most 16777215 milliseconds, "
                           f"not {longest}."):
            with_durations(40, longest)
    # All frames together last no longer than the encoder counts.
    assert len(with_durations(*[16777215] * 128)) == 128
    with managed_error("ImageSaveException", "the animation is longer than 24 days."):
        with_durations(*[16777215] * 129)


def test_a_frame_of_a_file_is_all_that_is_seen() -> None:
    frames = [Pillow.fromarray(noise(4, seed=seed)) for seed in (1, 2)]
    file = io.BytesIO()
    frames[0].save(file, "WEBP", save_all=True, append_images=frames[1:], lossless=True)
    image = loaded(file.getvalue())
    block = WebPFrameBlock._cast_to(image.pages[1]).value
    assert not block.use_alpha_blending and block.disposal_method == AnimationDisposalMethods.PRESERVE
