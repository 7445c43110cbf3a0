"""``zelmor.documentation``: the texts of types and members, found by the names that people type."""

from __future__ import annotations

import inspect
from pathlib import Path

import pytest
from zelmor import _words, documentation, imaging
from zelmor.imaging import Image, RasterImage, RotateFlipType
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import PngOptions

from support.module_tree import MODULES
from support.places import BUILD_DIR
from tools import words_file


def test_a_method() -> None:
    text = documentation.text("Image.load")
    lines = text.splitlines()
    assert lines[:3] == ["Image.load: static method of zelmor.imaging.Image", "",
                         "    Image.load(file_path: str | None, load_options: LoadOptions | None) -> Image"]
    assert text.count("\n    Image.load(") == 4  # the overloads
    for title in ("Args:", "Returns:", "Raises:"):
        assert lines.count(title) == 1
    assert "    stream: A binary file." in text and "    load_options: " in text
    assert text.count("Reads a picture of any supported format") == 1
    assert all(len(line) <= 100 for line in lines)


@pytest.mark.parametrize("name", ["zelmor.imaging.Image.load", "imaging.Image.load", "Image.load()", "image.LOAD"])
def test_other_ways_to_write_a_name(name: str) -> None:
    assert documentation.text(name).startswith("Image.load: static method of zelmor.imaging.Image\n")


def test_a_type() -> None:
    text = documentation.text("PngOptions")
    assert text.startswith("PngOptions: class in zelmor.imaging.imageoptions\n")
    assert "Constructors:\n    PngOptions()\n    PngOptions(png_options: PngOptions | None)\n" in text
    assert "Inherits from: ImageOptionsBase, DisposableObject\n" in text
    assert "\n    compression_level          The effort of deflate from 0 (stored) to 9 (smallest)" in text


def test_an_enumeration_and_its_values() -> None:
    text = documentation.text("RotateFlipType")
    assert text.count("Values:\n") == text.count("By 90 degrees.") == 1
    assert "ROTATE_90_FLIP_NONE    By 90 degrees." in text
    assert "ROTATE_90_FLIP_NONE = 1" in documentation.text("ROTATE_90_FLIP_NONE")


def test_a_module() -> None:
    for name in ("zelmor.imaging.imageoptions", "imageoptions"):
        text = documentation.text(name)
        assert text.startswith("zelmor.imaging.imageoptions: module\n") and "\n    PngOptions " in text
    assert "zelmor.imaging.fileformats" in documentation.text("zelmor.imaging")


def test_properties() -> None:
    assert documentation.text("Image.width").startswith("Image.width: read-only property of zelmor.imaging.Image\n")
    text = documentation.text("compression_level")  # only one type has it
    assert text.startswith("PngOptions.compression_level: property of zelmor.imaging.imageoptions.PngOptions\n")
    assert "    compression_level: int\n" in text


def test_inherited_members_say_so() -> None:
    assert documentation.text("PngImage.resize").startswith(
        "RasterCachedImage.resize: method of zelmor.imaging.RasterCachedImage, inherited by PngImage\n")


def test_a_name_that_is_a_method_of_the_class_and_of_objects() -> None:
    text = documentation.text("Rectangle.inflate")
    assert "Rectangle.inflate(rect: Rectangle, x: int, y: int) -> Rectangle\n    inflate(size: Size) -> None" in text


def test_a_type_goes_before_members_of_its_name() -> None:
    assert documentation.text("image").startswith("Image: class in zelmor.imaging\n")


def test_several() -> None:
    text = documentation.text("is_cached")
    assert text.startswith("'is_cached' may be one of ") and "\nzelmor.imaging.RasterCachedImage.is_cached: " in text
    assert "... and " in documentation.text("width")


def test_the_main_module_goes_before_the_small_ones() -> None:
    assert documentation.text("Color").startswith("Color: class in zelmor.imaging\n")
    assert documentation.text("zelmor.pydrawing.Color").startswith("Color: class in zelmor.pydrawing\n")


@pytest.mark.parametrize("name, similar", [
    ("Image.lod", "Image.load"), ("PngOption", "PngOptions"), ("image.rotate_flop", "image.rotate_flip")])
def test_an_unknown_name(name: str, similar: str) -> None:
    with pytest.raises(documentation.UnknownName, match=f"^there is no '{name}'; similar: .*{similar}") as caught:
        documentation.text(name)
    assert isinstance(caught.value, LookupError)
    with pytest.raises(documentation.UnknownName, match="^there is no 'xyzzyxyzzy'$"):
        documentation.text("xyzzyxyzzy")
    for empty in ("", ".", "Image."):
        with pytest.raises(documentation.UnknownName):
            documentation.text(empty)


def test_the_width() -> None:
    for name in ("Image.load", "TiffOptions", "zelmor.imaging", "width"):
        for line in documentation.text(name, 60).splitlines():
            assert len(line) <= 60 or " " not in line.strip() or line.startswith("    "), line
    assert documentation.text("Image.load", 60) != documentation.text("Image.load")


@pytest.mark.parametrize("name, first, words", [
    ("open", "zelmor.open: function in zelmor", "zelmor.open(source: Source, kind: type[Image] = Image, /, *, "),
    ("zelmor.open", "zelmor.open: function in zelmor", "Opens a picture"),
    ("arrays.to_numpy", "zelmor.arrays.to_numpy: function in zelmor.arrays", "`mode` is one of"),
    ("zelmor.UnsupportedFormat", "UnsupportedFormat: class in zelmor", "no picture of a format"),
    ("zelmor.batch", "zelmor.batch: module", "jobs"),
    ("notebook", "zelmor.notebook: module", "    %load_ext zelmor.notebook")])
def test_names_of_the_package_itself(name: str, first: str, words: str) -> None:
    text = documentation.text(name)
    assert text.startswith(first + "\n") and words in text


def test_completion() -> None:
    assert documentation.names("Image.rotate_f") == ["Image.rotate_flip"]
    assert "PngImage.resize" in documentation.names("PngImage.res")
    assert {"PngOptions", "PngImage"} <= set(documentation.names("Png"))
    assert "RasterImage" in documentation.names("raster")
    assert documentation.names("Nothing.") == []


def test_names_of_objects(picture: str) -> None:
    image = Image.load(picture)
    for thing, attribute, name in (
            (Image, None, "zelmor.imaging.Image"), (PngOptions, None, "zelmor.imaging.imageoptions.PngOptions"),
            (RotateFlipType, None, "zelmor.imaging.RotateFlipType"), (imaging, None, "zelmor.imaging"),
            (Image, "load", "zelmor.imaging.Image.load"), (image, "width", "zelmor.imaging.Image.width"),
            (PngImage, "grayscale", "zelmor.imaging.RasterCachedImage.grayscale"), (Image, "nothing", None),
            (5, None, None), (int, None, None), (5, "real", None), (image, None, None)):
        assert documentation.name_of(thing, attribute) == name


def test_every_type_and_public_member_of_the_modules_is_there() -> None:
    """The file is made of the stubs, which other tests compare with the modules; so it is enough to count."""
    missing = []
    for module in MODULES:
        if any(part.startswith("_") for part in module.__name__.split(".")):
            continue
        for name, kind in vars(module).items():
            if not isinstance(kind, type) or name.startswith("_") or kind.__module__ != module.__name__:
                continue
            missing += [f"{module.__name__}.{name}"] if _words.entry(f"{module.__name__}.{name}") is None else []
    assert not missing


def test_the_file_is_the_same_for_the_same_stubs(tmp_path: Path) -> None:
    assert words_file.write(BUILD_DIR / "python" / "zelmor-stubs", tmp_path / "a.zip") > 10_000
    assert (tmp_path / "a.zip").read_bytes() == _words._FILE.read_bytes()


def test_texts_of_overloads_are_merged() -> None:
    first = "Loads it.\n\nArgs:\n    a: One\n        more.\n    b: Two.\n\nReturns:\n    It.\n\nManaged A()."
    second = "Loads it.\n\nArgs:\n    b: Two.\n    c: Three.\n\nManaged A(c)."
    assert words_file.merged([first, second]) == (
        "Loads it.\n\nArgs:\n    a: One\n        more.\n    b: Two.\n    c: Three.\n\nReturns:\n    It.\n\n"
        "Managed A().\nManaged A(c).")
    assert words_file.merged(["", ""]) == ""


def test_the_texts_are_those_of_the_members() -> None:
    entry = _words.entry("zelmor.imaging.RasterImage")
    assert entry is not None and entry.bases == ("zelmor.imaging.Image",)
    assert entry.summary.startswith("The base of all pictures that consist of pixels.")
    assert RasterImage.__mro__[1] is Image and inspect.isclass(RasterImage)
