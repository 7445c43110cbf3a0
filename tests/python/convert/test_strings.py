"""Strings as arguments and results: the record that points into the string's own storage, and returned text."""

from __future__ import annotations

import struct
import sys
from typing import Any

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from support.control import Call, control
from support.draws import examples
from zelmor.imaging import Cache, Image

CACHE = "Zelmor.Imaging.Cache"
TEXT = st.text(st.characters(blacklist_categories=("Cs",)))


def string_on_the_wire(value: Any) -> Call:
    """A call with a string; the entry point itself is not run."""
    control.return_next(CACHE, "setsa_CacheFolder")
    with control.journal() as calls:
        Cache.set_cache_folder(value)
    [made] = [entry for entry in calls if entry.method == "setsa_CacheFolder"]
    return made


def width_of(text: str) -> int:
    widest = max(map(ord, text), default=0)
    return 1 if widest < 0x100 else 2 if widest < 0x10000 else 4


@settings(max_examples=examples(300), deadline=None, suppress_health_check=list(HealthCheck))
@given(TEXT)
def test_a_string_goes_over_as_it_is_stored(text: str) -> None:
    made = string_on_the_wire(text)
    length, width, _ = struct.unpack("<iiQ", made.records[0] or b"")
    assert (length, width) == (len(text), width_of(text))
    encoding = {1: "latin-1", 2: "utf-16-le", 4: "utf-32-le"}[width]
    assert (made.contents[0] or b"") == text.encode(encoding, "surrogatepass")


@settings(max_examples=examples(200), deadline=None, suppress_health_check=list(HealthCheck))
@given(TEXT)
def test_a_string_comes_back(text: str) -> None:
    before = Cache.cache_folder
    try:
        Cache.set_cache_folder(text)
        assert Cache.cache_folder == text
    finally:
        Cache.set_cache_folder(before)


def test_the_view_points_into_the_string_itself() -> None:
    text = "a string of its own".upper()
    before = sys.getrefcount(text)
    made = string_on_the_wire(text)
    _, _, data = struct.unpack("<iiQ", made.records[0] or b"")
    assert id(text) <= data < id(text) + sys.getsizeof(text)
    assert sys.getrefcount(text) == before


def test_none_is_a_null_string_and_the_empty_string_is_not() -> None:
    assert struct.unpack("<iiQ", string_on_the_wire(None).records[0] or b"")[0] == -1
    assert struct.unpack("<iiQ", string_on_the_wire("").records[0] or b"")[:2] == (0, 1)


def test_an_astral_character_is_one_code_point_of_four_bytes() -> None:
    assert struct.unpack("<iiQ", string_on_the_wire("\U0001f600").records[0] or b"")[:2] == (1, 4)


def test_a_subclass_of_str_is_a_string() -> None:
    made = string_on_the_wire(type("Own", (str,), {})("text"))
    assert made.contents[0] == b"text"


@pytest.mark.parametrize("value", [5, b"text", ["text"], 1.5, True])
def test_anything_else_is_refused(value: object) -> None:
    with pytest.raises(TypeError) as refused:
        Cache.set_cache_folder(value)
    assert str(refused.value) == f"can't build String from '{type(value).__name__}'"


def test_the_path_of_a_missing_file_comes_back_in_the_message() -> None:
    with pytest.raises(RuntimeError, match="caf\u00e9 \u20ac \U0001f600.png"):
        Image.load("caf\u00e9 \u20ac \U0001f600.png")
