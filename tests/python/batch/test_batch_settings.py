"""Settings from texts: every kind of property, the names for all formats, and refusals that say what is possible."""

from __future__ import annotations

import pytest
from zelmor.batch.formats import FORMATS
from zelmor.batch.settings import SettingError, apply, color, new_options, page_numbers, properties
from zelmor.imaging import Color
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import TiffCompressions


@pytest.mark.parametrize("name", sorted(form.options for form in FORMATS.values() if form.options))
def test_every_options_class_tells_its_properties(name: str) -> None:
    with new_options(name) as options:
        found = {each.name: each for each in properties(options)}
        assert {"multi_page_options", "buffer_size_hint", "full_frame"} <= found.keys()
        assert found["full_frame"].type == "bool" and "disposed" not in found
        for each in found.values():
            if each.choices:
                apply(options, {each.name: each.choices[0]})


@pytest.mark.parametrize(("kind", "settings", "read", "value"), [
    ("PngOptions", {"color_type": "grayscale"}, "color_type", PngColorType.GRAYSCALE),
    ("PngOptions", {"color-type": "Indexed-Color"}, "color_type", PngColorType.INDEXED_COLOR),
    ("PngOptions", {"compression": "9"}, "compression_level", 9),
    ("PngOptions", {"bits": "0x10"}, "bit_depth", 16),
    ("PngOptions", {"interlaced": "yes"}, "progressive", True),
    ("JpegOptions", {"comment": "a = b"}, "comment", "a = b"),
    ("JpegOptions", {"horizontal_sampling": "2,1,1"}, "horizontal_sampling", bytearray(b"\2\1\1")),
    ("TiffOptions", {"compression": "lzw"}, "compression", TiffCompressions.LZW),
    ("TiffOptions", {"quality": "55"}, "compressed_quality", 55),
    ("WebPOptions", {"quality": "55.5", "lossless": "off"}, "quality", 55.5),
])
def test_texts_become_values(kind: str, settings: dict[str, str], read: str, value: object) -> None:
    with new_options(kind) as options:
        apply(options, settings)
        assert getattr(options, read) == value


def test_lists_and_objects() -> None:
    with new_options("TiffOptions") as options:
        apply(options, {"bits_per_sample": "8,8,8", "xresolution": "72.5", "resolution_settings": "300x200",
                        "multi_page_options": "1,3-4"})
        assert list(options.bits_per_sample) == [8, 8, 8]
        assert (options.xresolution.nominator, options.xresolution.denominator) == (145, 2)
        assert options.resolution_settings.vertical_resolution == 200
        assert list(options.multi_page_options.pages) == [0, 2, 3]


def test_a_dot_leads_into_an_object() -> None:
    with new_options("PdfOptions") as options:
        apply(options, {"pdf_document_info.title": "Album", "page_size": "200x100"})
        assert options.pdf_document_info.title == "Album" and options.page_size.width == 200


@pytest.mark.parametrize(("kind", "settings", "message"), [
    ("PngOptions", {"quality": "5"}, "PngOptions has no setting 'quality'; it has bit_depth, "),
    ("PngOptions", {"disposed": "true"}, "has no setting 'disposed'"),
    ("PngOptions", {"clone": "true"}, "has no setting 'clone'"),
    ("PngOptions", {"color_type": "blue"}, r"'blue' is no value of PngOptions.color_type \(one of GRAYSCALE, "),
    ("PngOptions", {"bit_depth": "many"}, r"is no value of PngOptions.bit_depth \(an integer\)"),
    ("PngOptions", {"progressive": "maybe"}, r"\(true or false\)"),
    ("PngOptions", {"palette": "red"}, "set its own properties with a dot"),
    ("TgaOptions", {"multi_page_options": "x"}, "is no value"),
])
def test_refusals_say_what_is_possible(kind: str, settings: dict[str, str], message: str) -> None:
    with new_options(kind) as options, pytest.raises(SettingError, match=message):
        apply(options, settings)


def test_a_value_out_of_range_is_refused_by_the_library() -> None:
    with new_options("JpegOptions") as options, pytest.raises(RuntimeError, match="not between 1 and 100"):
        apply(options, {"quality": "400"})


@pytest.mark.parametrize(("text", "argb"), [
    ("red", (255, 255, 0, 0)), ("White-Smoke", (255, 245, 245, 245)), ("whitesmoke", (255, 245, 245, 245)),
    ("#102030", (255, 16, 32, 48)), ("#80102030", (128, 16, 32, 48)), ("transparent", (0, 255, 255, 255)),
])
def test_colors(text: str, argb: tuple[int, ...]) -> None:
    made = color(text)
    assert (made.a, made.r, made.g, made.b) == argb


@pytest.mark.parametrize("text", ["", "no color", "#12", "from_argb", "_type_of", "a"])
def test_other_texts_are_no_colors(text: str) -> None:
    with pytest.raises(ValueError, match="is no color"):
        color(text)
    assert Color.red.r == 255


def test_pages() -> None:
    assert page_numbers("", 3) == [0, 1, 2]
    assert page_numbers("2", 3) == [1]
    assert page_numbers("3,1-2, 2-", 3) == [2, 0, 1, 1, 2]
    for text in ("0", "4", "3-2", "2-9", "a", "1,,2", "-2"):
        with pytest.raises(SettingError):
            page_numbers(text, 3)
