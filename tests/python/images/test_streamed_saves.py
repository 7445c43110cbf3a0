"""Saving to a path while the picture is encoded: the file is never in memory as a whole, and nothing else changes."""

from __future__ import annotations

import io
import os
from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms, ImageFile
from support.child import run_child
from support.image_oracles import load, managed_error
from zelmor.imaging import Image, ImageOptionsBase
from zelmor.imaging.fileformats.bmp import BitmapCompression
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import (ApngOptions, BmpOptions, GifOptions, JpegOptions, PngOptions, TiffOptions,
                                         WebPOptions)

#: Formats whose files are written while they are encoded.
KINDS = ("png", "jpg", "bmp", "tif", "gif", "webp")
OLD = b"old content"

ROOT_ONLY = pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can mount")


def noisy(path: Path, width: int = 500, height: int = 400, indexed: bool = False) -> Path:
    """A picture whose files are several times as long as the pieces that are written."""
    random = np.random.default_rng(5)
    if indexed:
        picture = Pillow.fromarray(random.integers(0, 256, (height, width), np.uint8), "P")
        picture.putpalette(random.integers(0, 256, 768, np.uint8).tobytes())
    else:
        picture = Pillow.fromarray(random.integers(0, 256, (height, width, 3), np.uint8))
    picture.save(path, compress_level=0)
    return path


@pytest.fixture(name="source")
def noisy_file(tmp_path: Path) -> Path:
    (tmp_path / "source").mkdir()
    return noisy(tmp_path / "source" / "a.png")


@pytest.fixture(name="target")
def old_file(tmp_path: Path) -> Iterator[Path]:
    """A file with old content, alone in its folder; nothing else is there afterwards."""
    (tmp_path / "target").mkdir()
    path = tmp_path / "target" / "b.data"
    path.write_bytes(OLD)
    yield path
    assert [name for name in os.listdir(path.parent) if not name.startswith("b.data")] == []


def options_of(kind: str) -> ImageOptionsBase:
    if kind == "tif":
        return TiffOptions(TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB)
    if kind in ("jpg", "webp"):
        options: JpegOptions | WebPOptions = JpegOptions() if kind == "jpg" else WebPOptions()
        options.quality = 100
        return options
    return {"png": PngOptions, "bmp": BmpOptions, "gif": GifOptions}[kind]()


def in_memory(image: Image, kind: str) -> bytes:
    stream = io.BytesIO()
    image.save(stream, options_of(kind))
    return stream.getvalue()


@pytest.mark.parametrize("kind", ["png", "jpg", "bmp", "rle", "tif", "gif", "pdf"])
def test_a_save_takes_less_memory_than_its_file(tmp_path: Path, kind: str) -> None:
    indexed = kind in ("gif", "rle")
    big = noisy(tmp_path / "big.png", 3000, 2000, indexed)
    run_child("""
import os, sys
from zelmor.imaging import Image
from zelmor.imaging.fileformats.bmp import BitmapCompression
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, JpegOptions, PdfOptions, PngOptions, TiffOptions
def memory(name):
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith(name))
def save(source, target, kind):
    options = {"png": PngOptions, "jpg": JpegOptions, "bmp": BmpOptions, "rle": BmpOptions, "gif": GifOptions,
               "pdf": PdfOptions,
               "tif": lambda: TiffOptions(TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB)}[kind]()
    if kind == "png":
        options.compression_level = 1
    elif kind == "jpg":
        options.quality = 100
    elif kind == "rle":
        options.bits_per_pixel = 8
        options.compression = BitmapCompression.RLE8
    with Image.load(source) as image:
        image.save(target, options)
small, big, target, kind = sys.argv[1:]
save(small, target, kind)
open("/proc/self/clear_refs", "w").write("5")  # the peak so far counts no longer
before = memory("VmRSS")
save(big, target, kind)
grown = memory("VmHWM") - before
size = os.path.getsize(target)
# The coefficients of the whole picture, two bytes each, belong to the encoding of a JPEG file.
needed = 3000 * 2000 * 3 * 2 if kind == "jpg" else 0
assert size > (7_000_000 if kind in ("gif", "rle") else 14_000_000), size
assert grown < needed + size // 2, (grown, size)
""", str(noisy(tmp_path / "small.png", indexed=indexed)), str(big), str(tmp_path / "out"), kind, PYTHONMALLOC="malloc")


@pytest.mark.parametrize("kind", ["png", "webp", "gif"])
def test_an_animation_is_written_frame_by_frame(tmp_path: Path, kind: str) -> None:
    """However many there are, the pixels of some are in memory; of PNG not even the file is."""
    random = np.random.default_rng(6)
    for name, count, size in (("small", 2, 20), ("big", 70, 1000)):
        frames = [Pillow.new("RGB", (size, size), tuple(random.integers(0, 256, 3))) for _ in range(count)]
        frames[0].save(tmp_path / f"{name}.png", save_all=True, append_images=frames[1:])
    run_child("""
import os, sys
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import ApngOptions, GifOptions, WebPOptions
def memory(name):
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith(name))
def save(source, target, kind):
    options = {"png": ApngOptions, "gif": GifOptions, "webp": WebPOptions}[kind]()
    if kind == "png":
        options.compression_level = 0
    with Image.load(source) as image:
        image.save(target, options)
small, big, target, kind = sys.argv[1:]
save(small, target, kind)
open("/proc/self/clear_refs", "w").write("5")  # the peak so far counts no longer
before = memory("VmRSS")
save(big, target, kind)
grown, size = memory("VmHWM") - before, os.path.getsize(target)
assert (size > 200_000_000) == (kind == "png"), size
# Up to 64 MB of frames that were looked at last, as many of canvases to go on from, and what is being written.
assert grown < 2 * 64 * 2**20 + 12 * 4_000_000 < 70 * 3_000_000, (grown, size)
""", str(tmp_path / "small.png"), str(tmp_path / "big.png"), str(tmp_path / "out"), kind, PYTHONMALLOC="malloc")


def test_an_animation_has_the_bytes_of_a_stream(tmp_path: Path, target: Path) -> None:
    """With a profile and metadata, which stand before the first pixels."""
    random = np.random.default_rng(7)
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    frames = [Pillow.fromarray(random.integers(0, 256, (90, 80, 3), np.uint8)) for _ in range(3)]
    exif = Pillow.Exif()
    exif[0x010E] = "described"
    frames[0].save(tmp_path / "a.png", save_all=True, append_images=frames[1:], icc_profile=profile, exif=exif,
                   duration=[100, 200, 300])
    image = load(tmp_path / "a.png")
    image.save(str(target), ApngOptions())
    stream = io.BytesIO()
    image.save(stream, ApngOptions())
    content = target.read_bytes()
    assert content == stream.getvalue()
    assert content.index(b"acTL") < content.index(b"iCCP") < content.index(b"fcTL") < content.index(b"IDAT")
    with Pillow.open(target) as copy:
        assert copy.n_frames == 3 and copy.info["icc_profile"] == profile and copy.getexif()[0x010E] == "described"
        for number, frame in enumerate(frames):
            copy.seek(number)
            assert copy.info["duration"] == 100 * (number + 1)
            assert (np.asarray(copy.convert("RGB")) == np.asarray(frame)).all()


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("links", [1, 2])
def test_a_file_has_the_bytes_of_a_stream(source: Path, target: Path, kind: str, links: int) -> None:
    image = load(source)
    expected = in_memory(image, kind)
    assert len(expected) > 200_000
    if links == 2:
        os.link(target, target.with_name("b.data too"))
    before = target.stat()
    image.save(str(target), options_of(kind))
    assert target.read_bytes() == expected
    assert (target.stat().st_ino == before.st_ino) == (links == 2) and target.stat().st_nlink == links


@pytest.mark.parametrize("kind", ["png", "jpg"])
def test_metadata_stand_where_they_belong(tmp_path: Path, target: Path, kind: str,
                                          monkeypatch: pytest.MonkeyPatch) -> None:
    """The head of the file is longer than one piece."""
    monkeypatch.setattr(ImageFile, "MAXBLOCK", 1 << 20)  # all segments together
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    with Pillow.open(noisy(tmp_path / "a.png")) as picture:
        exif = Pillow.Exif()
        exif[0x010E] = "description " * 5000
        picture.save(tmp_path / "a.jpg", quality=100, exif=exif, icc_profile=profile, comment=b"comment " * 8000)
    image = load(tmp_path / "a.jpg")
    image.save(str(target), options_of(kind))
    content = target.read_bytes()
    assert content == in_memory(image, kind)
    with Pillow.open(io.BytesIO(content)) as copy:
        copy.load()
        assert copy.getexif()[0x010E].startswith("description " * 4999)
        assert copy.size == (500, 400)
    text = content.index(b"description " * 4999)
    assert text + 59_000 < content.index(b"IDAT" if kind == "png" else b"\xff\xda\x00\x0c", text)
    assert content.find(b"description " * 4999, text + 59_000) == -1
    if kind == "jpg":
        assert copy.info["comment"] == b"comment " * 8000


@pytest.mark.parametrize("mode", ["RGB", "RGBA"])
@pytest.mark.parametrize("lossless", [False, True])
@pytest.mark.parametrize("profiled", [False, True])
def test_a_webp_counts_its_metadata_in_its_header(tmp_path: Path, target: Path, mode: str, lossless: bool,
                                                  profiled: bool) -> None:
    """They stand behind the pixels, and the length of all and flags for them at the beginning."""
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes() if profiled else None
    with Pillow.open(noisy(tmp_path / "a.png")) as picture:
        exif = Pillow.Exif()
        exif[0x010E] = "described"
        colors = picture.convert("RGBA")
        colors.putalpha(100)
        (colors if mode == "RGBA" else picture).save(tmp_path / "b.png", exif=exif, icc_profile=profile)
    image = load(tmp_path / "b.png")
    options = WebPOptions()
    options.lossless = lossless
    image.save(str(target), options)
    content = target.read_bytes()
    stream = io.BytesIO()
    image.save(stream, options)
    assert content == stream.getvalue()
    assert content[12:16] == b"VP8X" and content[20] & 0x38 == 8 + (0x20 if profiled else 0) + 0x10 * (mode == "RGBA")
    assert int.from_bytes(content[4:8], "little") == len(content) - 8
    assert content.index(b"EXIF") > 100_000
    with Pillow.open(target) as copy:
        copy.load()
        assert (copy.mode, copy.size, copy.getexif()[0x010E]) == (mode, (500, 400), "described")
        assert copy.info.get("icc_profile") == profile


def test_pages_of_a_tiff_get_their_tags_in_the_target(tmp_path: Path, target: Path) -> None:
    with Pillow.open(noisy(tmp_path / "a.png")) as picture:
        exif = Pillow.Exif()
        exif[0x010E] = "described"
        picture.save(tmp_path / "a.tif", exif=exif, save_all=True, append_images=[picture.convert("L")])
    image = load(tmp_path / "a.tif")
    image.save(str(target), options_of("tif"))
    assert target.read_bytes() == in_memory(image, "tif") and target.stat().st_size > 1_200_000
    with Pillow.open(target) as copy:
        assert copy.n_frames == 2 and copy.getexif()[0x010E] == "described"
        copy.seek(1)
        copy.load()


@pytest.mark.parametrize("links", [1, 2])
def test_rows_of_a_run_length_bmp_stand_from_the_last_one_on(tmp_path: Path, target: Path, links: int) -> None:
    if links == 2:
        os.link(target, target.with_name("b.data too"))
    source = noisy(tmp_path / "a.png", indexed=True)
    options = BmpOptions()
    options.bits_per_pixel = 8
    options.compression = BitmapCompression.RLE8
    load(source).save(str(target), options)
    content = target.read_bytes()
    assert int.from_bytes(content[2:6], "little") == len(content) > 200_000
    with Pillow.open(target) as copy, Pillow.open(source) as picture:
        assert (np.array(copy.convert("RGB")) == np.array(picture.convert("RGB"))).all()


@pytest.mark.parametrize("kind", KINDS)
def test_damage_in_the_middle_leaves_the_old_file(source: Path, target: Path, kind: str) -> None:
    content = bytearray(source.read_bytes())
    content[len(content) - 5000] ^= 0xFF
    source.write_bytes(content)
    image = load(source)
    with managed_error("ImageLoadException", "Cannot save '", "b.data"):
        image.save(str(target), options_of(kind))
    assert target.read_bytes() == OLD and os.listdir(target.parent) == ["b.data"]


def test_metadata_without_room_leave_the_old_file(source: Path, target: Path) -> None:
    image = load(source)
    options = JpegOptions()
    options.comment = "x" * 65534
    with managed_error("ArgumentException", "The comment has 65534 bytes"):
        image.save(str(target), options)
    assert target.read_bytes() == OLD and os.listdir(target.parent) == ["b.data"]


@pytest.mark.parametrize("kind", KINDS)
def test_a_full_disc_leaves_the_old_file(source: Path, target: Path, kind: str) -> None:
    run_child("""
import resource, sys
from zelmor.imaging import Image
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, JpegOptions, PngOptions, TiffOptions, WebPOptions
source, target, kind = sys.argv[1:]
options = {"png": PngOptions, "jpg": JpegOptions, "bmp": BmpOptions, "gif": GifOptions, "webp": WebPOptions,
           "tif": lambda: TiffOptions(TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB)}[kind]()
if kind in ("jpg", "webp"):
    options.quality = 100
resource.setrlimit(resource.RLIMIT_FSIZE, (100_000, 100_000))
try:
    Image.load(source).save(target, options)
except RuntimeError as error:
    assert "IOException" in str(error) and f"Cannot write '{target}'" in str(error) and "too large" in str(error), error
else:
    raise AssertionError("it was written")
""", str(source), str(target), kind)
    assert target.read_bytes() == OLD and os.listdir(target.parent) == ["b.data"]


def test_an_image_is_saved_over_its_own_file(source: Path) -> None:
    with Pillow.open(source) as picture:
        expected = np.array(picture)
    image = load(source)
    image.save()
    image.save()
    with Pillow.open(source) as picture:
        assert (np.array(picture) == expected).all()
    assert os.listdir(source.parent) == ["a.png"]


def test_rights_of_the_old_file_stay(source: Path, target: Path) -> None:
    target.chmod(0o604)
    load(source).save(str(target), PngOptions())
    assert target.stat().st_mode & 0o7777 == 0o604 and target.stat().st_size > 200_000


@ROOT_ONLY
def test_a_file_that_cannot_be_moved_to_is_written_in_place(source: Path, target: Path) -> None:
    """A file that is a mount point takes no other under its name, which shows at the end."""
    run_child("""
import ctypes, io, os, sys
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
source, target = sys.argv[1:]
libc = ctypes.CDLL(None, use_errno=True)
if libc.unshare(0x00020000) != 0 or libc.mount(b"none", b"/", None, 0x44000, None) != 0:  # a mount namespace, private
    sys.exit(0)
if libc.mount(target.encode(), target.encode(), None, 4096, None) != 0:
    sys.exit(0)
before = os.stat(target).st_ino
image = Image.load(source)
stream = io.BytesIO()
image.save(stream, PngOptions())
image.save(target, PngOptions())
with open(target, "rb") as file:
    assert file.read() == stream.getvalue()
assert os.stat(target).st_ino == before and len(os.listdir(os.path.dirname(target))) == 1
""", str(source), str(target))
    assert target.stat().st_size != 0
