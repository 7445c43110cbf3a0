"""``zelmor.open``: what it takes, the classes that it gives, and its errors."""

from __future__ import annotations

import asyncio
import errno
import gc
import io
import os
import pickle
import subprocess
import tempfile
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
import zelmor
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image, LoadOptions, RasterImage, Size, VectorImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.tiff import TiffFrame
from zelmor.imaging.imageloadoptions import PngLoadOptions

from support.image_oracles import HEIGHT, WIDTH, noise, write
from support.package_process import child

CLASSES = {"png": "PngImage", "jpg": "JpegImage", "tif": "TiffImage", "bmp": "BmpImage", "gif": "GifImage",
           "webp": "WebPImage", "tga": "TgaImage", "ico": "IcoImage", "jp2": "Jpeg2000Image"}


# ---- Sources


@pytest.mark.parametrize("extension", CLASSES)
def test_the_class_is_the_most_specific_one(tmp_path: Path, extension: str) -> None:
    with zelmor.open(write(tmp_path / f"a.{extension}", noise(3, width=16, height=16))) as image:
        assert type(image).__name__ == CLASSES[extension]
        assert image.size == Size(16, 16)
        assert str(image.get_type()).endswith("." + CLASSES[extension])
    assert image.disposed


def test_a_vector_image_is_one(tmp_path: Path) -> None:
    (tmp_path / "a.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="9" height="7"/>')
    with zelmor.open(tmp_path / "a.svg", VectorImage) as image:
        assert type(image).__name__ == "SvgImage"


def test_it_works_without_a_block(picture: str) -> None:
    image = zelmor.open(picture)
    assert not image.disposed


class Duck:
    """An upload as frameworks hand them over: no file of Python's, but it has `read`."""

    def __init__(self, data: bytes) -> None:
        self.inner = io.BytesIO(data)
        self.sizes: list[int] = []

    def read(self, size: int = -1) -> Any:
        self.sizes.append(size)
        return self.inner.read(size)


class SeekingDuck(Duck):
    def seek(self, offset: int, whence: int = 0) -> int:
        return self.inner.seek(offset, whence)

    def tell(self) -> int:
        return self.inner.tell()


SOURCES: dict[str, Callable[[Path], Any]] = {
    "str": str,
    "Path": lambda path: path,
    "bytes": os.fsencode,
    "PathLike of bytes": lambda path: next(entry for entry in os.scandir(os.fsencode(path.parent))),
    "BytesIO": lambda path: io.BytesIO(path.read_bytes()),
    "raw file": lambda path: open(path, "rb", buffering=0),
    "duck": lambda path: Duck(path.read_bytes()),
    "seeking duck": lambda path: SeekingDuck(path.read_bytes()),
    "pipe": lambda path: subprocess.run(["cat", path], stdout=subprocess.PIPE, check=True) and os.popen(f"cat {path}")
    .buffer,  # type: ignore[attr-defined]
    "buffered pair": lambda path: io.BufferedRWPair(io.BytesIO(path.read_bytes()), io.BytesIO()),  # type: ignore
}


@pytest.mark.parametrize("name", SOURCES)
def test_sources(tmp_path: Path, name: str) -> None:
    (tmp_path / "in").mkdir()
    path = tmp_path / "in" / "a.png"
    source = SOURCES[name](Path(write(path, noise())))
    with zelmor.open(source, PngImage) as image:
        assert list(image.load_argb_32_pixels(image.bounds))[0] == Color.from_argb(*noise()[0, 0].tolist()).to_argb()
    close = getattr(source, "close", None)
    if close is not None:
        close()


def test_a_wrapped_temporary_file(tmp_path: Path) -> None:
    with tempfile.NamedTemporaryFile(suffix=".png") as file:
        Pillow.fromarray(noise()).save(file, "PNG")
        file.seek(0)
        with zelmor.open(file) as image:  # neither a RawIOBase nor a BufferedIOBase
            assert (image.width, image.height) == (WIDTH, HEIGHT)


@pytest.mark.parametrize("most", [10, 1 << 20])
def test_a_spooled_file(tmp_path: Path, most: int) -> None:
    """Uploads of Starlette, in memory or on disk."""
    with tempfile.SpooledTemporaryFile(max_size=most) as file:
        file.write(Path(write(tmp_path / "a.png", noise())).read_bytes())
        file.seek(0)
        with zelmor.open(file, PngImage) as image:
            assert image.get_pixel(5, 7).g == noise()[7, 5, 1]


class Proxy:
    """Uploads of Flask and Django: all but `read` comes from a file inside."""

    def __init__(self, file: io.BytesIO) -> None:
        self.file = file

    def read(self, size: int = -1) -> bytes:
        return self.file.read(size)

    def __getattr__(self, name: str) -> Any:
        return getattr(self.file, name)


def test_an_upload_that_stands_for_a_file(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "a.png", noise())).read_bytes()
    with zelmor.open(Proxy(io.BytesIO(data)), PngImage) as image:
        assert image.get_pixel(5, 7).g == noise()[7, 5, 1]


def test_a_name_that_is_not_utf_8(tmp_path: Path) -> None:
    path = os.fsencode(tmp_path) + b"/\xff\xfe.png"
    write(tmp_path / "a.png", noise())
    os.rename(tmp_path / "a.png", path)
    for source in (path, os.fsdecode(path)):
        with zelmor.open(source) as image:
            assert image.width == WIDTH


def test_a_file_is_read_from_its_position_and_may_be_closed(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "a.png", noise())).read_bytes()
    for make in (io.BytesIO, SeekingDuck, Duck):
        file = make(b"before" + data)
        file.read(6)
        image = zelmor.open(file, RasterImage)
        getattr(file, "inner", file).close()
        assert image.get_pixel(WIDTH - 1, HEIGHT - 1).r == noise()[-1, -1, 0]


def test_an_upload_is_read_in_pieces(tmp_path: Path) -> None:
    upload = Duck(Path(write(tmp_path / "a.png", noise())).read_bytes())
    zelmor.open(upload)
    assert upload.sizes == [1 << 20, 1 << 20]


# ---- Kinds, options, casts


def test_the_wrong_kind_is_refused_and_closed(picture: str, control: Any) -> None:
    before = control.live()
    with pytest.raises(zelmor.WrongType, match="^The picture is a PngImage, not a VectorImage.$") as caught:
        zelmor.open(picture, VectorImage)
    assert isinstance(caught.value, TypeError) and isinstance(caught.value, zelmor.ImageError)
    del caught
    assert control.live() == before


def test_options_are_keywords(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    data = Path(path).read_bytes()
    Path(path).write_bytes(data[:len(data) // 2])
    from zelmor.imaging import DataRecoveryMode

    blue = Color.from_argb(255, 0, 0, 255)
    with zelmor.open(path, RasterImage, data_recovery_mode=DataRecoveryMode.CONSISTENT_RECOVER,
                     data_background_color=blue) as image:
        assert image.get_pixel(3, HEIGHT - 1) == blue


def test_options_of_the_caller_stay_as_they_are(picture: str) -> None:
    options = PngLoadOptions()
    options.strict_mode = True
    options.buffer_size_hint = 7
    with zelmor.open(picture, load_options=options, buffer_size_hint=9, strict_mode=False):
        pass
    assert (options.strict_mode, options.buffer_size_hint) == (True, 7)
    with zelmor.open(picture, load_options=options):
        pass


def test_an_option_that_does_not_exist(picture: str) -> None:
    with pytest.raises(TypeError, match="^LoadOptions has no property 'size', 'tint'; it has buffer_size_hint, "
                                        "data_background_color, data_recovery_mode, use_icc_profile_conversion$"):
        zelmor.open(picture, tint=1, size=2)
    with pytest.raises(TypeError, match="strict_mode"):
        zelmor.open(picture, strict_mode=True)
    with pytest.raises(TypeError):
        zelmor.open(picture, buffer_size_hint="much")


def test_specific(tmp_path: Path) -> None:
    Pillow.fromarray(noise()).save(tmp_path / "a.tif", save_all=True, append_images=[Pillow.fromarray(noise(3, 2))])
    image = zelmor.open(tmp_path / "a.tif")
    page = zelmor.specific(image.pages[1])  # type: ignore[attr-defined]
    assert type(page) is TiffFrame
    assert zelmor.specific(page) is page
    assert zelmor.specific(image) is image
    size = Size(1, 2)
    assert zelmor.specific(size) is size
    with pytest.raises(TypeError, match="^'int' is no class of the library$"):
        zelmor.specific(3)


# ---- Errors


def refused(source: Any, **options: Any) -> BaseException:
    """The error of an opening. That of the module is its cause, unless Python found the fault."""
    with pytest.raises(Exception) as caught:
        zelmor.open(source, **options)
    return caught.value


def test_errors_of_the_file_system(tmp_path: Path) -> None:
    for path, kind, number in ((tmp_path / "none.png", FileNotFoundError, errno.ENOENT),
                               (tmp_path / "no" / "none.png", FileNotFoundError, errno.ENOENT),
                               (tmp_path, IsADirectoryError, errno.EISDIR),
                               (tmp_path / ("x" * 300), OSError, errno.ENAMETOOLONG)):
        error = refused(path)
        assert type(error) is kind and isinstance(error, OSError)
        assert (error.errno, error.filename, str(error)) == (
            number, str(path), f"[Errno {number}] {os.strerror(number)}: {str(path)!r}")
        assert type(error.__cause__) is RuntimeError and str(error.__cause__).startswith("Proxy error(")
    assert type(refused("")) is FileNotFoundError
    assert str(refused("a\0b")) == "embedded null character"


@pytest.mark.skipif(os.geteuid() == 0, reason="nothing is forbidden to the superuser")
def test_a_forbidden_file(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    os.chmod(path, 0)
    assert type(refused(path)) is PermissionError


@pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can become somebody else")
def test_a_file_that_is_forbidden_to_another_user() -> None:
    with tempfile.TemporaryDirectory() as folder:
        path = write(Path(folder) / "a.png", noise())
        os.chmod(path, 0o600)
        os.chmod(folder, 0o755)
        code = f"""
import os, zelmor
zelmor.open
os.seteuid(65534)
try:
    zelmor.open({path!r})
except PermissionError as error:
    result = str(error)
"""
        assert child(code) == f"[Errno 13] Permission denied: {path!r}"


def test_what_is_no_picture(tmp_path: Path) -> None:
    for content, found in ((b"", None), (b"no picture at all" * 20, None), (b"%PDF-1.4\n" * 40, FileFormat.PDF)):
        (tmp_path / "limit of.bin").write_bytes(content)
        skipped = io.BytesIO(b"??" + content)
        skipped.seek(2)
        for source in (tmp_path / "limit of.bin", skipped, Duck(content)):
            error = refused(source)
            assert type(error) is zelmor.UnsupportedFormat and error.file_format == found
            assert not str(error).startswith("Proxy")
            assert str(error.__cause__) == f"Proxy error({error.managed}): {error}"


def test_damage(tmp_path: Path) -> None:
    data = Path(write(tmp_path / "limit of.png", noise())).read_bytes()
    (tmp_path / "limit of.png").write_bytes(data[:len(data) // 2])
    (tmp_path / "b.png").write_bytes(data[:20])
    for path, decode in ((tmp_path / "limit of.png", True), (tmp_path / "b.png", False)):
        error = refused(path, decode=decode)
        assert type(error) is zelmor.DamagedImage and error.managed == "ImageLoadException"
        assert str(path) in str(error)
    with zelmor.open(tmp_path / "limit of.png", RasterImage) as image:
        with pytest.raises(zelmor.DamagedImage) as caught, zelmor.plain_errors():
            image.grayscale()
        assert str(caught.value.__cause__) == f"Proxy error(ImageLoadException): {caught.value}"


def test_limits(tmp_path: Path) -> None:
    Pillow.new("RGB", (1000, 1000)).save(tmp_path / "a.png")
    assert type(refused(tmp_path / "a.png", buffer_size_hint=1, decode=True)) is zelmor.LimitExceeded


def test_nothing_stays_of_an_image_that_is_refused(tmp_path: Path, control: Any) -> None:
    data = Path(write(tmp_path / "a.png", noise())).read_bytes()
    (tmp_path / "a.png").write_bytes(data[:len(data) // 2])
    before = control.live()
    for _ in range(3):
        refused(tmp_path / "a.png", decode=True)
    gc.collect()  # the frame of the test's own function is in the traceback that it returns
    assert control.live() == before


def test_the_error_of_a_file_is_raised_itself() -> None:
    class Gone(SeekingDuck):
        def read(self, size: int = -1) -> Any:
            raise error

    class Stuck(SeekingDuck):
        def seek(self, offset: int, whence: int = 0) -> int:
            raise error

    for kind in (Gone, Stuck):
        for error in (ConnectionResetError("the other side"), KeyError("k"), KeyboardInterrupt()):
            with pytest.raises(type(error)) as caught:
                zelmor.open(kind(b"x" * 1000))
            assert caught.value is error


def test_files_that_are_none() -> None:
    class Text(Duck):
        def read(self, size: int = -1) -> Any:
            return "text"

    class Waiting(Duck):
        def read(self, size: int = -1) -> Any:
            return None

    class Asynchronous(Duck):
        async def read(self, size: int = -1) -> Any:
            await asyncio.sleep(0)

    for source, kind, text in (
            (5, TypeError, "a picture is opened from a path or from an object with a method read, not from int"),
            (b"".join, TypeError, "a picture is opened from a path or from an object with a method read, not from "
                                  "builtin_function_or_method"),
            (io.StringIO("a"), TypeError, "StringIO is a text file: open the file in binary mode"),
            (Text(b""), TypeError, "Text.read() returned str, not bytes: open the file in binary mode"),
            (Waiting(b""), BlockingIOError, "Waiting.read() has no data yet; a picture is read from a blocking file"),
            (Asynchronous(b""), TypeError, "Asynchronous.read() is asynchronous: hand over its file, or "
                                           "io.BytesIO(await upload.read())")):
        error = refused(source)
        assert (type(error), str(error)) == (kind, text)


def test_errors_that_have_no_better_type_stay(picture: str) -> None:
    with zelmor.open(picture) as image:
        with pytest.raises(RuntimeError, match=r"^Proxy error\(ArgumentOutOfRangeException\)"), zelmor.plain_errors():
            image.resize(-1, 5)
    with pytest.raises(RuntimeError, match="^mine$"), zelmor.plain_errors():
        raise RuntimeError("mine")


def test_a_save_into_a_folder_that_is_not_there(picture: str, tmp_path: Path) -> None:
    with zelmor.open(picture) as image, pytest.raises(FileNotFoundError), zelmor.plain_errors():
        image.save(str(tmp_path / "no" / "a.png"))


def test_the_errors_are_a_family_that_can_be_pickled() -> None:
    assert issubclass(zelmor.UnsupportedFormat, zelmor.ImageError) and issubclass(zelmor.ImageError, RuntimeError)
    error = zelmor.DamagedImage("text")
    again = pickle.loads(pickle.dumps(error))
    assert type(again) is zelmor.DamagedImage and str(again) == "text"
    assert zelmor.DamagedImage.__module__ == "zelmor"


def test_the_modules_keep_their_contract(tmp_path: Path) -> None:
    with pytest.raises(TypeError):
        Image.load(tmp_path / "a.png")  # type: ignore[call-overload]
    with pytest.raises(RuntimeError, match=r"^Proxy error\(FileNotFoundException\)"):
        Image.load(str(tmp_path / "a.png"))
    assert not LoadOptions().buffer_size_hint
