"""Bytes of texts in metafiles are characters of the font's set: beside the codecs of Python, by the texts of an SVG."""

from __future__ import annotations

import io
import re
import struct
import xml.etree.ElementTree as ElementTree
from collections.abc import Callable, Sequence

import pytest
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import EmfRasterizationOptions, SvgOptions, WmfRasterizationOptions

from support.metafiles import BOUNDS, SIDE, emf, emf_record, floats, font, wmf, wmf_font, wmf_record, wmf_select, words

#: The sets whose characters are single bytes, by their numbers.
SETS = {0: "cp1252", 1: "cp1252", 77: "mac_roman", 161: "cp1253", 162: "cp1254", 163: "cp1258", 177: "cp1255",
        178: "cp1256", 186: "cp1257", 204: "cp1251", 222: "cp874", 238: "cp1250", 255: "cp437"}
#: Those of one or two bytes, with a text.
WIDE_SETS = {128: ("cp932", "a\u65e5\u672c\uff71b"), 129: ("cp949", "a\ud55c\uae00b"), 130: ("johab", "a\ud55c\uae00b"),
             134: ("gbk", "a\u4e2d\u6587b"), 136: ("cp950", "a\u4e2d\u6587b")}


def texts(file: bytes) -> list[tuple[float, str]]:
    """How far from the left side each stands, and its characters."""
    options, target = SvgOptions(), io.BytesIO()
    layout = EmfRasterizationOptions() if file[:4] == b"\1\0\0\0" else WmfRasterizationOptions()
    layout.page_width = layout.page_height = float(SIDE)
    options.vector_rasterization_options = layout
    with Image.load(io.BytesIO(file)) as image:
        image.save(target, options)
    found = []
    for element in ElementTree.fromstring(target.getvalue()).iter("{http://www.w3.org/2000/svg}text"):
        place = re.fullmatch(r"matrix\(1 0 0 1 (\S+) \S+\)", element.get("transform", ""))
        assert place is not None
        found.append((float(place[1]), "".join(element.itertext())))
    return found


def emf_text(charset: int, data: bytes, advances: Sequence[int] = ()) -> bytes:
    padded = data + bytes(-len(data) % 4)
    start = 8 + 16 + 4 + 8 + 40
    head = BOUNDS + words(1) + floats(1, 1) + words(10, 20, len(data), start, 0, 0, 0, 0, 0,
                                                    start + len(padded) if advances else 0)
    return emf(emf_record(18, words(1)), font(3, -4, "DejaVu Sans", charset=charset),
               emf_record(83, head + padded + words(*advances)))


def wmf_text(charset: int, data: bytes, advances: Sequence[int] = ()) -> bytes:
    padded = data + bytes(len(data) % 2)
    text = wmf_record(0x0A32, 20, 10, len(data), 0, data=padded + struct.pack(f"<{len(advances)}h", *advances))
    return wmf(wmf_record(0x0102, 1), wmf_font(-4, b"DejaVu Sans", charset=charset), wmf_select(0), text)


def decoded(data: bytes, codec: str) -> list[str]:
    """Each byte for itself; one without a character has its own number."""
    found = []
    for byte in data:
        try:
            found.append(bytes([byte]).decode(codec))
        except UnicodeDecodeError:
            found.append(chr(byte))
    return found


@pytest.mark.parametrize("write", [emf_text, wmf_text])
@pytest.mark.parametrize("charset", SETS)
def test_sets_of_single_bytes(charset: int, write: Callable[..., bytes]) -> None:
    left_out = (0xC6, 0xF0) if charset == 77 else ()  # versions of this set differ in two characters
    own = [byte for byte in range(0xA1, 0x100, 3) if byte not in left_out]
    found = {byte: "".join(text for _, text in texts(write(charset, b"(" + bytes([byte]) + b")"))) for byte in own}
    expected = {byte: "(" + decoded(bytes([byte]), SETS[charset])[0] + ")" for byte in own}
    assert found == expected


@pytest.mark.parametrize("write", [emf_text, wmf_text])
@pytest.mark.parametrize("charset", WIDE_SETS)
def test_sets_of_pairs_of_bytes(charset: int, write: Callable[..., bytes]) -> None:
    codec, text = WIDE_SETS[charset]
    assert [found for _, found in texts(write(charset, text.encode(codec)))] == [text]


@pytest.mark.parametrize("write", [emf_text, wmf_text])
def test_distances_of_pairs_of_bytes(write: Callable[..., bytes]) -> None:
    """A character is as wide as its bytes together."""
    found = texts(write(128, "a\u65e5b\u672c".encode("cp932"), [7, 4, 5, 11, 3, 2]))
    assert found == [(10, "a"), (17, "\u65e5"), (26, "b"), (37, "\u672c")]


def test_bytes_that_are_no_characters() -> None:
    """A first byte without a second one, and one that stands for nothing, are characters of their numbers."""
    assert [text for _, text in texts(emf_text(129, b"a\xc7"))] == ["a\xc7"]
    assert [text for _, text in texts(emf_text(129, b"\xc9\x20b"))] == ["\xc9 b"]
    assert [text for _, text in texts(emf_text(161, b"x\xd2y"))] == ["x\xd2y"]


@pytest.mark.parametrize("charset", [3, 100, 254])
def test_unknown_sets(charset: int) -> None:
    assert [text for _, text in texts(emf_text(charset, b"a\xe4\xf6"))] == ["a\xe4\xf6"]


def test_the_set_of_symbols() -> None:
    """Greek letters at the places of those that sound alike, and two signs; others keep their numbers."""
    for latin, greek in (("ABGEZHQIKLMNXOPRSTUFCYW", "ΑΒΓΕΖΗΘΙΚΛΜΝΞΟΠΡΣΤΥΦΧΨΩ"), ("D\\^_", "\u2206\u2234\u22a5_"),
                         ("abgdezhqiklmnxoprstufcyw", "αβγδεζηθικλμνξοπρστυφχψω"), ("JVjv[]", "ϑςϕϖ[]"),
                         ("12@`{|", "12@\u203e{|")):
        for write in (emf_text, wmf_text):
            assert "".join(text for _, text in texts(write(2, latin.encode()))) == greek
    assert texts(emf_text(2, b"ab", [7, 5])) == [(10, "α"), (17, "β")]
