"""Each property of TiffOptions and the tag that it is, by the numbers and the field types of TIFF 6.0.

What is set at one is there at the other.
"""

from __future__ import annotations

from typing import Any

import pytest
from zelmor.imaging.fileformats.tiff import TiffRational
from zelmor.imaging.fileformats.tiff import tifftagtypes as types
from zelmor.imaging.fileformats.tiff.enums import TiffCompressions, TiffExpectedFormat, TiffSampleFormats, TiffTags
from zelmor.imaging.imageoptions import BigTiffOptions, TiffOptions

from support.image_oracles import managed_error

BYTE, ASCII, SHORT, LONG, RATIONAL = 1, 2, 3, 4, 5

#: Properties with one number: the tag, its field type, two values, and the value of new options.
NUMBERS: dict[str, tuple[int, int, int, int, int]] = {
    "sub_file_type": (254, LONG, 1, 2, 0), "image_width": (256, LONG, 70000, 3, 0),
    "image_length": (257, LONG, 80000, 4, 0), "compression": (259, SHORT, 8, 1, 5),
    "photometric": (262, SHORT, 1, 0, 2), "threshholding": (263, SHORT, 2, 3, 1), "fill_order": (266, SHORT, 2, 2, 1),
    "orientation": (274, SHORT, 6, 8, 1), "rows_per_strip": (278, LONG, 100000, 7, 64),
    "planar_configuration": (284, SHORT, 2, 2, 1), "fax_t4_options": (292, LONG, 4, 1, 0),
    "resolution_unit": (296, SHORT, 3, 1, 2), "predictor": (317, SHORT, 2, 2, 1),
    "tile_width": (322, LONG, 16, 70000, 0), "tile_length": (323, LONG, 32, 70000, 0)}
TEXTS = {"document_name": 269, "image_description": 270, "scanner_manufacturer": 271, "scanner_model": 272,
         "page_name": 285, "software_type": 305, "date_time": 306, "artist": 315, "ink_names": 333,
         "target_printer": 337, "copyright": 33432}
WIDE_TEXTS = {"xp_title": 40091, "xp_comment": 40092, "xp_author": 40093, "xp_keywords": 40094, "xp_subject": 40095}
ARRAYS = {"bits_per_sample": (258, SHORT), "strip_offsets": (273, LONG), "strip_byte_counts": (279, LONG),
          "min_sample_value": (280, SHORT), "max_sample_value": (281, SHORT), "page_number": (297, SHORT),
          "color_map": (320, SHORT), "half_tone_hints": (321, SHORT), "tile_offsets": (324, LONG),
          "tile_byte_counts": (325, LONG), "sample_format": (339, SHORT), "smin_sample_value": (340, SHORT),
          "smax_sample_value": (341, SHORT), "y_cb_cr_subsampling": (530, SHORT)}
FRACTIONS = {"xresolution": 282, "yresolution": 283, "xposition": 286, "yposition": 287}
#: What every file has to tell.
ALWAYS = {259, 262}
NEW = [258, 259, 262]


def options(kind: Any = TiffOptions) -> Any:
    return kind(TiffExpectedFormat.TIFF_LZW_RGB)


def ids(made: Any) -> list[int]:
    return [tag.id for tag in made.tags]


def tag_of(made: Any, number: int) -> Any:
    return next((tag for tag in made.tags if tag.id == number), None)


@pytest.mark.parametrize("name", NUMBERS)
def test_numbers(name: str) -> None:
    number, kind, first, second, new = NUMBERS[name]
    for big in (TiffOptions, BigTiffOptions):
        made = options(big)
        choice = type(getattr(made, name))  # an enumeration, or int
        assert getattr(made, name) == new
        assert (number in ids(made)) == (number in ALWAYS)
        setattr(made, name, choice(first))
        assert ids(made) == sorted({*NEW, number})
        tag = tag_of(made, number)
        assert (int(tag.tag_type), list(tag.value)) == (kind, [first])
        # The same object, changed in either place.
        tag.value = [second]
        assert getattr(made, name) == second
        setattr(made, name, choice(first))
        assert list(tag.value) == [first]
        key = TiffTags(number)
        assert made.is_tag_present(key) and made.remove_tag(key) and not made.is_tag_present(key)
        # Without the tag, a property has what it has in options of no expected format.
        assert getattr(made, name) == {"compression": 1, "photometric": 0}.get(name, new) and number not in ids(made)
        assert not made.remove_tag(key)


@pytest.mark.parametrize("name", TEXTS)
def test_texts(name: str) -> None:
    number = TEXTS[name]
    made = options()
    assert getattr(made, name) is None and ids(made) == NEW
    setattr(made, name, "a text")
    tag = tag_of(made, number)
    assert (int(tag.tag_type), tag.value) == (ASCII, "a text")
    tag.value = "another"
    assert getattr(made, name) == "another"
    setattr(made, name, None)
    assert ids(made) == NEW
    own = types.TiffASCIIType(number)
    own.text = "of the tag"
    made.add_tag(own)
    assert getattr(made, name) == "of the tag" and ids(made) == sorted([*NEW, number])
    assert made.remove_tag(TiffTags(number)) and getattr(made, name) is None


@pytest.mark.parametrize("name", WIDE_TEXTS)
def test_texts_of_two_bytes_a_character(name: str) -> None:
    number = WIDE_TEXTS[name]
    made = options()
    setattr(made, name, "a\xe9\u20ac")
    tag = tag_of(made, number)
    assert int(tag.tag_type) == BYTE
    assert bytes(tag.value) == "a\xe9\u20ac\0".encode("utf-16-le")
    for content, text in (("b\0\0", "b"), ("b", "b"), ("\0", ""), ("", ""), ("c\0d", "c\0d")):
        tag.value = list(content.encode("utf-16-le"))
        assert getattr(made, name) == text or (not content and getattr(made, name) in ("", None))
    tag.value = [*"ab".encode("utf-16-le"), 99]
    assert getattr(made, name) == "ab"
    assert made.remove_tag(TiffTags(number)) and getattr(made, name) is None


@pytest.mark.parametrize("name", ARRAYS)
def test_arrays(name: str) -> None:
    number, kind = ARRAYS[name]
    most = 65535 if kind == SHORT else 2 ** 31 - 1
    made = options()
    before = getattr(made, name)
    assert (None if before is None else list(before)) == ([8, 8, 8] if name == "bits_per_sample" else None)
    choice = TiffSampleFormats if name == "sample_format" else int
    most = 3 if name == "sample_format" else most
    setattr(made, name, [choice(1), choice(most)])
    tag = tag_of(made, number)
    assert (int(tag.tag_type), list(tag.value)) == (kind, [1, most])
    tag.value = [2, 4, 1]
    assert list(getattr(made, name)) == [2, 4, 1]
    setattr(made, name, [choice(1), choice(2), choice(3)])
    assert list(tag_of(made, number).value) == [1, 2, 3]
    assert made.remove_tag(TiffTags(number))
    after = getattr(made, name)
    assert (None if after is None else list(after)) in (None, [8, 8, 8])


@pytest.mark.parametrize("name", FRACTIONS)
def test_fractions(name: str) -> None:
    number = FRACTIONS[name]
    made = options()
    assert getattr(made, name) is None
    setattr(made, name, TiffRational(3, 4))
    tag = tag_of(made, number)
    assert int(tag.tag_type) == RATIONAL
    assert [(each.nominator, each.denominator) for each in tag.value] == [(3, 4)]
    tag.value = [TiffRational(5, 7)]
    assert (getattr(made, name).nominator, getattr(made, name).denominator) == (5, 7)
    own = types.TiffRationalType(number)
    made.add_tag(own)
    assert getattr(made, name) is None
    assert made.remove_tag(TiffTags(number)) and getattr(made, name) is None and ids(made) == NEW


@pytest.mark.parametrize("name", [name for name in NUMBERS if "width" in name or "length" in name or "rows" in name])
def test_counts_are_not_negative(name: str) -> None:
    made = options()
    setattr(made, name, 16)
    tag = tag_of(made, NUMBERS[name][0])
    member = "".join(word.title() for word in name.split("_"))
    with managed_error("ArgumentOutOfRangeException", f"The value -1 of TiffOptions.{member} is not between 0 and "
                       f"2147483647. (Parameter '{member}')"):
        setattr(made, name, -1)
    assert (getattr(made, name), list(tag.value)) == (16, [16])
    setattr(made, name, 2 ** 31 - 1)
    assert list(tag.value) == [2 ** 31 - 1]
    setattr(made, name, 0)
    assert list(tag.value) == [0]


def test_a_value_that_its_tag_refuses_changes_neither() -> None:
    made = options()
    narrow = types.TiffShortType(TiffTags.IMAGE_WIDTH)
    narrow.values = [7]
    made.add_tag(narrow)
    with pytest.raises(RuntimeError, match="OverflowException.*System.UInt16"):
        made.image_width = 70000
    assert (made.image_width, list(narrow.values)) == (7, [7])


def test_a_list_that_is_changed_in_its_place() -> None:
    made = options()
    made.page_number = [1, 7]
    pages = made.page_number
    pages[1] = 9
    assert list(tag_of(made, 297).value) == [1, 9] and made.total_pages == 9
    tag_of(made, 297).value = [2]
    assert list(made.page_number) == [2] and made.total_pages == 0


def test_what_is_put_in_stays_though_it_is_what_new_options_have() -> None:
    made = options()
    own = types.TiffShortType(TiffTags.ORIENTATION)
    own.values = [1]
    made.add_tag(own)
    assert ids(made) == [*NEW, 274]
    copied = TiffOptions(made)
    assert ids(copied) == [*NEW, 274]
    assert made.remove_tag(TiffTags(274)) and ids(made) == NEW
    assert ids(copied) == [*NEW, 274]
    # What has to be there can be removed all the same, and is there again when it is set.
    assert made.remove_tag(TiffTags(259)) and ids(made) == [258, 262]
    made.compression = TiffCompressions.ADOBE_DEFLATE
    assert ids(made) == NEW


def test_copies_are_objects_of_their_own() -> None:
    made = options()
    made.artist = "Me"
    tag_of(made, 315)
    own = types.TiffShortType(65000)
    own.values = [7]
    made.add_tag(own)
    assert made.remove_tag(TiffTags(262))
    copied = TiffOptions(made)
    assert ids(copied) == ids(made) == [258, 259, 315, 65000]
    tag_of(copied, 315).value = "You"
    tag_of(copied, 65000).value = [8]
    assert (made.artist, list(tag_of(made, 65000).value)) == ("Me", [7])
    made.artist = "Them"
    assert copied.artist == "You"


def test_tags_of_other_kinds_for_properties() -> None:
    made = options()
    wide = types.TiffLongType(TiffTags.ORIENTATION)
    wide.values = [6]
    made.add_tag(wide)
    assert made.orientation == 6
    text = types.TiffASCIIType(TiffTags.ORIENTATION)
    text.text = "six"
    with pytest.raises(RuntimeError, match="InvalidCastException.*System.Int32"):
        made.add_tag(text)
    empty = types.TiffShortType(TiffTags.ORIENTATION)
    made.add_tag(empty)
    assert made.orientation == 1
    assert not made.is_valid and made.valid_tag_count == 3
