"""Text that is stretched along its line stays text when a metafile becomes one of the other kind."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import Image
from zelmor.imaging.fileformats.emf import EmfImage
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.imageoptions import EmfOptions, OdgRasterizationOptions, WmfOptions

from support.drawn_metafiles import drawn
from support.metafiles import SIDE, emf, emf_record, floats, font, select, text_out, words
from support.office_files import cast, odg

TEXT = "Abcd"
ADVANCES = [10, 10, 8, 10]


def stretched(map_: tuple[float, ...]) -> bytes:
    """Text under a transformation of the world, on a transparent ground."""
    return emf(font(1, -15, "DejaVu Sans"), select(1), emf_record(18, words(1)), emf_record(35, floats(*map_, 15, 40)),
               text_out(TEXT, (0, 0), ADVANCES))


def saved(data: bytes, options: Any) -> bytes:
    file = io.BytesIO()
    Image.load(io.BytesIO(data)).save(file, options)
    return file.getvalue()


def ink(data: bytes, layout: Any = None) -> Any:
    return 255 - np.asarray(drawn(data, layout).convert("L")).astype(int)


def text_of_wmf(data: bytes) -> str:
    records = cast(WmfImage, Image.load(io.BytesIO(data))).records
    return "".join(record.text for record in records if type(record).__name__ == "WmfExtTextOut")


def text_of_emf(data: bytes) -> str:
    records = cast(EmfImage, Image.load(io.BytesIO(data))).records
    return "".join(record.w_emr_text.string_buffer for record in records
                   if type(record).__name__ == "EmfExtTextOutW")


MAPS = [((1, 0, 0, 1), True), ((1.015, 0, 0, 1), True), ((2, 0, 0, 0.5), True), ((0.5, 0, 0, 2), True),
        ((0, 1.2, -0.5, 0), True), ((0.8, 0.3, -0.3, 0.8), True), ((1, 0, 0.5, 1), False), ((1, 0, 0, -1), False)]


@pytest.mark.parametrize(("map_", "is_text"), MAPS)
def test_text_stays_text_and_looks_the_same(map_: tuple[float, ...], is_text: bool) -> None:
    first = stretched(map_)
    wmf = saved(first, WmfOptions())
    again = saved(wmf, EmfOptions())
    expected = TEXT if is_text else ""
    assert (text_of_wmf(wmf), text_of_emf(again)) == (expected, expected)
    seen = ink(first)
    assert seen.mean() > 2
    for data in (wmf, again) if is_text else ():  # shapes have other edges than letters
        assert abs(ink(data) - seen).mean() < 0.12 * seen.mean()


@pytest.mark.parametrize(("map_", "is_text"), MAPS)
def test_slanted_and_mirrored_text_of_a_drawing_becomes_shapes(map_: tuple[float, ...], is_text: bool) -> None:
    styles = ('<style:style style:name="A" style:family="paragraph"><style:text-properties fo:font-size="15px" '
              'fo:font-family="DejaVu Sans"/></style:style>'
              '<style:style style:name="G" style:family="graphic">'
              '<style:graphic-properties draw:stroke="none" draw:fill="none"/></style:style>')
    a, b, c, d = map_
    page = odg(f'<draw:frame draw:style-name="G" draw:transform="matrix({a} {b} {c} {d} 15px 40px)" svg:width="60px" '
               f'svg:height="20px"><draw:text-box><text:p text:style-name="A">{TEXT}</text:p></draw:text-box>'
               "</draw:frame>",
               styles=styles, size=(SIDE, SIDE))
    emf_file, wmf = saved(page, EmfOptions()), saved(page, WmfOptions())
    expected = TEXT if is_text else ""
    assert (text_of_emf(emf_file), text_of_wmf(wmf)) == (expected, expected)
    seen = ink(page, OdgRasterizationOptions())
    assert seen.mean() > 2
    for data in (emf_file, wmf):
        assert abs(ink(data) - seen).mean() < 0.4 * seen.mean()
