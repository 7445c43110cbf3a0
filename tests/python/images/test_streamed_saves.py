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
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

OLD = b"old content"

ROOT_ONLY = pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can mount")


def noisy(path: Path, width: int = 400, height: int = 300) -> Path:
    """A picture whose PNG and JPEG are several times as long as the pieces that are written."""
    random = np.random.default_rng(5)
    Pillow.fromarray(random.integers(0, 256, (height, width, 3), np.uint8)).save(path, compress_level=0)
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


def options_of(kind: str) -> PngOptions | JpegOptions:
    if kind == "png":
        return PngOptions()
    options = JpegOptions()
    options.quality = 100
    return options


def in_memory(image: Image, kind: str) -> bytes:
    stream = io.BytesIO()
    image.save(stream, options_of(kind))
    return stream.getvalue()


@pytest.mark.parametrize("kind", ["png", "jpg"])
def test_a_save_takes_less_memory_than_its_file(tmp_path: Path, kind: str) -> None:
    big = noisy(tmp_path / "big.png", 3000, 2000)
    run_child("""
import os, sys
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
def memory(name):
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith(name))
def save(source, target, kind):
    options = PngOptions() if kind == "png" else JpegOptions()
    if kind == "png":
        options.compression_level = 1
    else:
        options.quality = 100
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
needed = 0 if kind == "png" else 3000 * 2000 * 3 * 2
assert size > 14_000_000, size
assert grown < needed + size // 2, (grown, size)
""", str(noisy(tmp_path / "small.png")), str(big), str(tmp_path / "out"), kind, PYTHONMALLOC="malloc")


@pytest.mark.parametrize("kind", ["png", "jpg"])
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
        assert copy.size == (400, 300)
    text = content.index(b"description " * 4999)
    assert text + 59_000 < content.index(b"IDAT" if kind == "png" else b"\xff\xda\x00\x0c", text)
    assert content.find(b"description " * 4999, text + 59_000) == -1
    if kind == "jpg":
        assert copy.info["comment"] == b"comment " * 8000


@pytest.mark.parametrize("kind", ["png", "jpg"])
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


@pytest.mark.parametrize("kind", ["png", "jpg"])
def test_a_full_disc_leaves_the_old_file(source: Path, target: Path, kind: str) -> None:
    run_child("""
import resource, sys
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
source, target, kind = sys.argv[1:]
options = PngOptions() if kind == "png" else JpegOptions()
if kind != "png":
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
