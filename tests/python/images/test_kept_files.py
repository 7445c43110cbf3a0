"""Files that images were loaded from, and that are deleted, replaced, saved over or changed while the images are in
use: an image keeps the old pixels and metadata, or there is an error, and never a mixture."""

from __future__ import annotations

import io
import os
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import FileStreamContainer, Image, RasterCachedMultipageImage, StreamContainer
from zelmor.imaging.extensions import StreamExtensions
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.pyio import FileMode

from support.image_oracles import Pixels, noise, pixels, worst, write
from support.runtimes import embedded_only

SIDE = 300  # enough for files of several windows of reading


@pytest.fixture(name="path", params=["png", "bmp", "tif", "webp", "gif"])
def lossless_file(tmp_path: Path, request: pytest.FixtureRequest) -> Path:
    """A file whose pixels are those of `of()`, with a hard link beside it."""
    folder = tmp_path / "files"
    folder.mkdir()
    path = folder / f"a.{request.param}"
    picture = of(1)
    options = {"lossless": True} if request.param == "webp" else {}
    if request.param == "gif":
        Pillow.fromarray(picture).quantize(64, dither=Pillow.Dither.NONE).save(path)
    else:
        write(path, picture, **options)
    os.link(path, folder / f"link.{request.param}")
    return path


def of(seed: int) -> Pixels:
    """A picture of 64 colors, so that GIF stores it exactly."""
    return noise(3, seed, SIDE, SIDE) // 64 * 64


def save_over(target: Path, picture: Pixels, tmp_path: Path) -> None:
    """Saves another picture over a file by the library."""
    with Image.load(write(tmp_path / "other.png", picture)) as other:
        other.save(str(target))


def emptied(path: Path) -> None:
    """Opens a file as one that is created anew."""
    with FileStreamContainer.create_file_stream(str(path), False) as container:
        container.write(b"nothing")
    assert path.read_bytes() == b"nothing"


WAYS: dict[str, Callable[[Path, Path], object]] = {
    "deleted": lambda path, folder: [os.unlink(path), os.unlink(path.with_stem("link"))],
    "replaced": lambda path, folder: os.replace(write(folder / f"other{path.suffix}", of(2)), path),
    "saved over": lambda path, folder: save_over(path.with_stem("link"), of(2), folder),
    "saved over the only name": lambda path, folder: [os.unlink(path.with_stem("link")),
                                                      save_over(path, of(2), folder)],
    "saved by a container": lambda path, folder: StreamContainer(io.BytesIO(b"x" * 10), False).save(str(path)),
    "created anew by a container": lambda path, folder: emptied(path),
}


@pytest.mark.parametrize("way", [
    pytest.param(way, marks=[embedded_only("containers of .NET write into the file as it is")] if "container" in way
                 else []) for way in WAYS])
def test_an_image_stays_what_it_was(path: Path, tmp_path: Path, way: str) -> None:
    with Image.load(str(path)) as image:
        WAYS[way](path, tmp_path)
        assert worst(pixels(image, tmp_path), of(1)) == 0


def test_an_image_is_saved_over_its_own_file(path: Path, tmp_path: Path) -> None:
    """Through its other name, which is the same file, and again."""
    link = path.with_stem("link")
    with Image.load(str(path)) as image:
        for _ in range(2):
            image.save(str(link))
        assert worst(pixels(image, tmp_path), of(1)) == 0
    assert path.samefile(link)
    with Image.load(str(path)) as image:
        assert worst(pixels(image, tmp_path), of(1)) == 0


@pytest.mark.parametrize("change", ["shorter", "other", "empty"])
def test_a_file_that_somebody_changes_is_an_error_or_was_read_before(path: Path, tmp_path: Path, change: str) -> None:
    """Another program writes into the file: the library cannot know, but it tells."""
    with Image.load(str(path)) as image:
        data = path.read_bytes()
        with path.open("r+b") as file:
            if change == "other":
                file.write(bytes(reversed(data)))
            file.truncate({"shorter": len(data) // 2, "other": len(data), "empty": 0}[change])
        try:
            found = pixels(image, tmp_path)
        except RuntimeError as error:
            assert "ImageLoadException" in str(error) and "was changed" in str(error)
        else:
            assert worst(found, of(1)) == 0


def test_metadata_stay_what_they_were(tmp_path: Path) -> None:
    path, link = tmp_path / "a.jpg", tmp_path / "b.jpg"
    exif = Pillow.Exif()
    exif[0x010F] = "Maker"
    picture = Pillow.fromarray(of(1))
    picture.save(path, exif=exif, comment="first", quality=90)
    os.link(path, link)
    with Image.load(str(path)) as image:
        save_over(link, of(2), tmp_path)
        jpeg = JpegImage._cast_to(image).value
        assert jpeg.comment == "first"
        assert jpeg.exif_data.make == "Maker"
        image.save(str(tmp_path / "c.jpg"))
    with Pillow.open(tmp_path / "c.jpg") as saved:
        assert saved.info["comment"] == b"first" and saved.getexif()[0x010F] == "Maker"


def test_frames_stay_what_they_were(tmp_path: Path) -> None:
    path, link = tmp_path / "a.tif", tmp_path / "b.tif"
    pages = [of(seed) for seed in range(4)]
    first, *others = [Pillow.fromarray(page) for page in pages]
    first.save(path, save_all=True, append_images=others)
    os.link(path, link)
    with Image.load(str(path)) as image:
        save_over(link, of(9), tmp_path)
        frames = RasterCachedMultipageImage._cast_to(image).value.pages
        for page, frame in zip(pages, frames, strict=True):
            assert worst(pixels(frame, tmp_path), page) == 0


def bytes_read(look: Callable[[], object]) -> int:
    """What a call reads from files, by the system's own count."""
    def count() -> int:
        with open("/proc/thread-self/io", "rb", buffering=0) as file:
            return int(file.read(200).split()[1])
    before = count()
    own = count() - before  # of reading the count itself
    before = count()
    look()
    return count() - before - own


def many_frames() -> bytes:
    file = io.BytesIO()
    small = [Pillow.new("P", (16, 16), i % 250) for i in range(5000)]
    small[0].save(file, "GIF", save_all=True, append_images=small[1:])
    return file.getvalue()


def large(extension: str) -> bytes:
    """12 megapixels. The directory of the TIFF stands at its end, as those of programs that write row by row do."""
    file = io.BytesIO()
    picture = Pillow.fromarray(np.repeat(noise(3, 1, 40, 3000), 100, 1))
    if extension != "tif":
        picture.save(file, {"jpg": "JPEG", "png": "PNG"}[extension], compress_level=0)
        return file.getvalue()
    data = picture.tobytes()
    entries = [(256, 4, 4000), (257, 4, 3000), (258, 3, 8), (259, 3, 1), (262, 3, 1), (273, 4, 8), (277, 3, 1),
               (278, 4, 3000), (279, 4, 12_000_000)]
    directory = b"".join(tag.to_bytes(2, "little") + kind.to_bytes(2, "little") + (1).to_bytes(4, "little")
                         + value.to_bytes(4, "little") for tag, kind, value in entries)
    return (b"II*\0" + (8 + 12_000_000).to_bytes(4, "little") + data[:12_000_000]
            + len(entries).to_bytes(2, "little") + directory + bytes(4))


@pytest.mark.parametrize("extension", ["jpg", "png", "tif", "gif"])
def test_questions_read_the_head_alone(tmp_path: Path, extension: str) -> None:
    path = tmp_path / f"a.{extension}"
    path.write_bytes(many_frames() if extension == "gif" else large(extension))
    assert path.stat().st_size > 100_000
    Image.can_load(str(path))  # the first call may load libraries
    for question in (Image.can_load, Image.get_file_format):
        read = bytes_read(lambda: question(str(path)))
        assert 8 <= read <= 4096, f"{question} reads {read} bytes"
    assert Image.can_load(str(path))
    with open(path, "rb", buffering=0) as file:
        assert 8 <= bytes_read(lambda: Image.can_load(file)) <= 4096 and file.tell() == 0


@pytest.mark.parametrize("mode", [FileMode.CREATE, FileMode.OPEN, FileMode.TRUNCATE, FileMode.APPEND])
def test_a_stream_writes_into_the_file_without_harm(tmp_path: Path, mode: FileMode) -> None:
    path = Path(write(tmp_path / "a.bmp", of(1)))
    with Image.load(str(path)) as image:
        with StreamExtensions.create_file_stream(str(path), mode) as stream:
            stream.write(b"nothing")
        assert path.read_bytes().startswith(b"nothing" if mode != FileMode.APPEND else b"BM")
        assert worst(pixels(image, tmp_path), of(1)) == 0
