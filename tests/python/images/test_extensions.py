"""Saving without options: the extension of the file name decides on the format."""

from __future__ import annotations

from pathlib import Path

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions

from support.image_oracles import managed_error, noise, write

UNWRITABLE = {"CDR": ["cdr"], "CMX": ["cmx"], "DjVu": ["djvu", "djv"], "DNG": ["dng"], "ODG": ["odg", "fodg"],
              "OTG": ["otg"]}


@pytest.mark.parametrize(("name", "kind"), [
    ("a.bmp", "BMP"), ("a.dib", "BMP"), ("a.gif", "GIF"), ("a.jpg", "JPEG"), ("a.jpeg", "JPEG"), ("a.jpe", "JPEG"),
    ("a.jfif", "JPEG"), ("a.jp2", "JPEG2000"), ("a.j2k", "JPEG2000"), ("a.apng", "PNG"), ("a.tif", "TIFF"),
    ("a.tiff", "TIFF"), ("a.webp", "WEBP"), ("a.b.JPG", "JPEG"), ("a.tga", "TGA"), ("a.ico", "ICO")])
def test_a_known_extension_means_its_format(tmp_path: Path, name: str, kind: str) -> None:
    Image.load(write(tmp_path / "source.png", noise())).save(str(tmp_path / name))
    with Pillow.open(tmp_path / name) as picture:
        assert picture.format == kind


@pytest.mark.parametrize(("extension", "begin"), [
    ("j2k", b"\xff\x4f\xff\x51"), ("j2c", b"\xff\x4f\xff\x51"), ("jpc", b"\xff\x4f\xff\x51"),
    ("jp2", b"\0\0\0\x0cjP  "), ("jpx", b"\0\0\0\x0cjP  ")])
@pytest.mark.parametrize("source", ["a.png", "a.jp2", "a.j2k"])
def test_the_extension_tells_a_codestream_from_a_file_with_boxes(tmp_path: Path, source: str, extension: str,
                                                                 begin: bytes) -> None:
    path = tmp_path / f"b.{extension}"
    Image.load(write(tmp_path / source, noise())).save(str(path))
    assert path.read_bytes().startswith(begin)
    with Pillow.open(path) as picture:
        assert picture.size == (61, 43)


@pytest.mark.parametrize("name", ["a", "a.", "a.xyz", "a.png.bak", ".jpg/../a", "a.jpg.part"])
def test_any_other_name_keeps_the_format_of_the_image(tmp_path: Path, name: str) -> None:
    (tmp_path / ".jpg").mkdir()
    Image.load(write(tmp_path / "source.bmp", noise())).save(str(tmp_path / name))
    with Pillow.open(tmp_path / name) as picture:
        assert picture.format == "BMP"


@pytest.mark.parametrize(("kind", "extension"), [(kind, extension) for kind, known in UNWRITABLE.items()
                                                 for extension in known])
def test_a_format_that_cannot_be_written_is_refused(tmp_path: Path, kind: str, extension: str) -> None:
    image = Image.load(write(tmp_path / "source.png", noise()))
    text = f"Saving as {kind}, which the extension '.{extension}' asks for, is not supported"
    for name in (f"a.{extension}", f"a.{extension.upper()}"):
        with managed_error("NotSupportedException", text):
            image.save(str(tmp_path / name))
        with managed_error("NotSupportedException", text):
            image.save(str(tmp_path / name), True)
        assert not (tmp_path / name).exists()


def test_the_extension_of_a_document_means_one(tmp_path: Path) -> None:
    Image.load(write(tmp_path / "source.png", noise())).save(str(tmp_path / "a.PDF"))
    assert (tmp_path / "a.PDF").read_bytes().startswith(b"%PDF-1.5")
    Image.load(str(tmp_path / "source.png")).save(str(tmp_path / "a.ps"))
    assert (tmp_path / "a.ps").read_bytes().startswith(b"%!PS-Adobe-3.0 EPSF-3.0")


def test_options_go_before_the_extension(tmp_path: Path) -> None:
    Image.load(write(tmp_path / "source.bmp", noise())).save(str(tmp_path / "a.pdf"), PngOptions())
    with Pillow.open(tmp_path / "a.pdf") as picture:
        assert picture.format == "PNG"


def test_an_image_goes_back_to_its_own_file_whatever_its_name(tmp_path: Path) -> None:
    write(tmp_path / "source.png", noise())
    (tmp_path / "source.png").rename(tmp_path / "source.pdf")
    image = Image.load(str(tmp_path / "source.pdf"))
    image.resize(10, 10)
    image.save()
    with Pillow.open(tmp_path / "source.pdf") as picture:
        assert (picture.format, picture.size) == ("PNG", (10, 10))
