"""Where formats put text: alignments, tabs and marks of hotkeys, beside text that is drawn without them."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    Color, Font, FontStyle, Graphics, GraphicsUnit, HotkeyPrefix, PointF, RasterImage, RectangleF, SizeF,
    StringAlignment, StringFormat, StringFormatFlags, StringTrimming, TextRenderingHint)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.shapes import TextShape

from support.image_oracles import load, managed_error, pixels, write

WIDTH, HEIGHT = 150, 90
FONT = Font("DejaVu Sans", 16.0, GraphicsUnit.PIXEL)
FRAME = RectangleF(20, 10, 100, 60)
PARTS = {StringAlignment.NEAR: 0.0, StringAlignment.CENTER: 0.5, StringAlignment.FAR: 1.0}


class Page:
    """A white sheet that text is drawn on."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.graphics = Graphics(load(write(folder / "page.png", np.full((HEIGHT, WIDTH, 3), 255, np.uint8))))
        self.graphics.text_rendering_hint = TextRenderingHint.ANTI_ALIAS

    def size(self, text: str, font: Font = FONT) -> SizeF:
        return self.graphics.measure_string(text, font, SizeF(0, 0), None)

    def drawn(self, text: str, place: Any, format_: StringFormat | None = None, font: Font = FONT) -> Any:
        """The ink of the text alone."""
        self.graphics.clear(Color.white)
        brush = SolidBrush(Color.black)
        if format_ is None:
            self.graphics.draw_string(text, font, brush, place)
        else:
            self.graphics.draw_string(text, font, brush, place, format_)
        image = RasterImage._cast_to(self.graphics.image).value
        assert image is not None
        return 255 - pixels(image, self.folder)[..., 0].astype(int)


@pytest.fixture
def page(tmp_path: Path) -> Page:
    return Page(tmp_path)


def box(ink: Any) -> Any:
    rows, columns = (np.flatnonzero((ink > 100).any(axis)) for axis in (1, 0))
    return np.array([columns[0], rows[0], columns[-1], rows[-1]])


def aligned(across: StringAlignment, down: StringAlignment) -> StringFormat:
    format_ = StringFormat()
    format_.alignment, format_.line_alignment = across, down
    return format_


@pytest.mark.parametrize("text", ["Hg", "Hg\nHg"])
@pytest.mark.parametrize("down", PARTS)
@pytest.mark.parametrize("across", PARTS)
def test_text_is_aligned_in_its_frame_and_at_its_point(page: Page, across: StringAlignment, down: StringAlignment,
                                                       text: str) -> None:
    size, plain = page.size(text), box(page.drawn(text, PointF(0, 0)))
    format_ = aligned(across, down)
    for place, room in ((FRAME, (FRAME.width, FRAME.height)), (PointF(75, 45), (0, 0))):
        found = box(page.drawn(text, place, format_))
        moved = np.array([place.x + PARTS[across] * (room[0] - size.width),
                          place.y + PARTS[down] * (room[1] - size.height)] * 2)
        assert np.abs(found - plain - moved).max() <= 1.01, place


@pytest.mark.parametrize("down", PARTS)
@pytest.mark.parametrize("across", PARTS)
def test_the_outline_of_a_text_shape_is_aligned_in_its_frame(page: Page, across: StringAlignment,
                                                             down: StringAlignment) -> None:
    shape = TextShape("Hg", FRAME, FONT, aligned(across, down))
    points = np.array([(segment.start_point.x, segment.start_point.y) for segment in shape.segments])
    found = np.concatenate([points.min(0), points.max(0)])
    ink = box(page.drawn("Hg", FRAME, aligned(across, down))) + [0, 0, 1, 1]
    assert np.abs(found - ink).max() <= 1.3


def test_tabs_are_where_the_format_says(page: Page) -> None:
    left = box(page.drawn("H", PointF(0, 0)))[0]
    for first, stops, places in ((0.0, [40.0], [40]), (10.0, [40.0], [50]), (5.0, [30.0, 45.0], [35, 80])):
        format_ = StringFormat()
        format_.set_tab_stops(first, stops)
        ink = page.drawn("i" + "\tH" * len(places), PointF(20, 10), format_)
        columns = np.flatnonzero((ink > 100).any(0))
        starts = [column for column in columns if not (ink[:, column - 5:column] > 100).any()]
        for place in places:
            assert min(abs(start - (20 + place + left)) for start in starts) <= 1, (first, stops, starts)


def with_hotkeys(kind: HotkeyPrefix) -> StringFormat:
    format_ = StringFormat()
    format_.hotkey_prefix = kind
    return format_


def test_marks_of_hotkeys(page: Page) -> None:
    at = PointF(10, 10)
    for marked, shown in (("&File", "File"), ("Fi&le", "File"), ("a&&b", "a&b"), ("&a&b", "ab"), ("end&", "end&"),
                          ("&", "&"), ("&&", "&")):
        plain = page.drawn(shown, at)
        assert np.array_equal(page.drawn(marked, at, with_hotkeys(HotkeyPrefix.HIDE)), plain), marked
        assert np.array_equal(page.drawn(marked, at, with_hotkeys(HotkeyPrefix.NONE)), page.drawn(marked, at)), marked


@pytest.mark.parametrize(("marked", "before", "letter"), [
    ("&Wide", "", "W"), ("Wi&de", "Wi", "d"), ("W&&&ide", "W&", "i"), ("&ide&W", "", "i"),
    ("\u00e4\u00f6&W", "\u00e4\u00f6", "W")])
def test_the_letter_of_a_hotkey_is_underlined(page: Page, marked: str, before: str, letter: str) -> None:
    at = PointF(10, 10)
    more = (page.drawn(marked, at, with_hotkeys(HotkeyPrefix.SHOW))
            - page.drawn(marked, at, with_hotkeys(HotkeyPrefix.HIDE)))
    assert more.min() >= 0
    left, top, right, bottom = box(more)
    assert bottom - top <= 2 and top > 10 + 0.7 * page.size("H").height
    start = 10 + page.size(before).width
    assert abs(left - start) <= 1.5 and abs(right + 1 - start - page.size(letter).width) <= 1.5


def test_text_goes_on_from_right_to_left(page: Page) -> None:
    format_ = StringFormat(StringFormatFlags.DIRECTION_RIGHT_TO_LEFT)
    near = box(page.drawn("Hg", FRAME, format_))
    far = box(page.drawn("Hg", FRAME, aligned(StringAlignment.FAR, StringAlignment.NEAR)))
    assert np.abs(near - far).max() <= 1


@pytest.mark.parametrize("style", [FontStyle.BOLD, FontStyle.ITALIC, FontStyle.UNDERLINE, FontStyle.STRIKEOUT])
def test_each_style_changes_letters_in_its_way(page: Page, style: FontStyle) -> None:
    at, text = PointF(10, 10), "Hill"
    plain = page.drawn(text, at)
    styled = page.drawn(text, at, None, Font("DejaVu Sans", 16.0, style, GraphicsUnit.PIXEL))
    more = (styled - plain > 60)
    lines = np.flatnonzero(more.sum(1) > 0.4 * page.size(text).width)
    base, top = box(plain)[3], box(plain)[1]
    if style == FontStyle.UNDERLINE:
        assert len(lines) and (lines > base).all()
    elif style == FontStyle.STRIKEOUT:
        assert len(lines) and (lines > top).all() and (lines < base).all()
    elif style == FontStyle.BOLD:
        assert styled.sum() > 1.2 * plain.sum()
    else:  # leans to the right
        def lean(ink: Any) -> float:
            rows = [np.average(np.arange(WIDTH), weights=ink[row]) for row in (top + 1, base - 1)]
            return float(rows[0] - rows[1])
        assert lean(styled) > lean(plain) + 1.2


def test_a_font_without_a_size_draws_nothing_and_a_huge_one_is_refused(page: Page) -> None:
    for size in (0.0, -5.0):
        assert not page.drawn("H", PointF(10, 10), None, Font("DejaVu Sans", size, GraphicsUnit.PIXEL)).any()
    page.drawn("H", PointF(10, 10), None, Font("DejaVu Sans", 32000.0, GraphicsUnit.PIXEL))
    with managed_error("ArgumentException", "The font is too large to be drawn."):
        page.drawn("H", PointF(10, 10), None, Font("DejaVu Sans", 32001.0, GraphicsUnit.PIXEL))


def trimmed(kind: StringTrimming, *, wrapped: bool = False) -> StringFormat:
    format_ = StringFormat(StringFormatFlags(0) if wrapped else StringFormatFlags.NO_WRAP)
    format_.trimming = kind
    return format_


LONG = "abcdefghijklmnopqrstuvwxyz"


@pytest.mark.parametrize("kind", [StringTrimming.ELLIPSIS_CHARACTER, StringTrimming.ELLIPSIS_WORD])
def test_dots_at_the_end_of_a_line(page: Page, kind: StringTrimming) -> None:
    """As many letters as there is room for before them; a line that fits has none."""
    found = page.drawn(LONG, FRAME, trimmed(kind))
    equal = [n for n in range(1, 26) if np.array_equal(found, page.drawn(LONG[:n] + "\u2026", FRAME))]
    assert len(equal) == 1
    assert page.size(LONG[:equal[0]] + "\u2026").width <= FRAME.width < page.size(LONG[:equal[0] + 2] + "\u2026").width
    assert np.array_equal(page.drawn("abc", FRAME, trimmed(kind)), page.drawn("abc", FRAME))


def test_dots_in_the_middle_of_a_line(page: Page) -> None:
    """Of a path the end is as important as the beginning."""
    found = page.drawn(LONG, FRAME, trimmed(StringTrimming.ELLIPSIS_PATH))
    for count in range(2, 12):
        plain = page.drawn(LONG[:count] + "\u2026", FRAME)
        end = box(plain)[2] + 2
        if np.array_equal(found[:, :end], plain[:, :end]):
            break
    assert count in (3, 4, 5)
    tail, behind = box(page.drawn(LONG[-count:], FRAME)), found.copy()
    behind[:, :end] = 0
    left, top, right, bottom = box(behind)
    assert abs((right - left) - (tail[2] - tail[0])) <= 1 and (top, bottom) == (tail[1], tail[3]) and right <= 120


def test_dots_in_the_last_line_of_a_frame(page: Page) -> None:
    """The lines before it are whole."""
    frame = RectangleF(20, 10, 100, page.size("l").height * 2.5)
    words = " ".join(["line"] * 20)
    found = page.drawn(words, frame, trimmed(StringTrimming.ELLIPSIS_CHARACTER, wrapped=True))
    plain = page.drawn(words, frame, trimmed(StringTrimming.NONE, wrapped=True))
    second = 10 + round(page.size("l").height)
    assert np.array_equal(found[:second], plain[:second])
    assert not np.array_equal(found[second:], plain[second:])
    ends = [np.flatnonzero((ink[second:second + 17] > 100).any(axis=0))[-1] for ink in (found, plain)]
    assert ends[0] <= 120 and ends[0] != ends[1]


def test_other_fonts_stand_in_for_letters_that_the_font_lacks(page: Page) -> None:
    """Unless the format says that none shall: DejaVu Sans Mono has no Hebrew letters, DejaVu Sans does."""
    mono, alone = Font("DejaVu Sans Mono", 16.0, GraphicsUnit.PIXEL), StringFormat(StringFormatFlags.NO_FONT_FALLBACK)
    hebrew = "\u05d0"
    found, sans = page.drawn(hebrew, FRAME, StringFormat(), mono), page.drawn(hebrew, FRAME)
    size = box(sans)[2:] - box(sans)[:2]
    assert (box(found)[2:] - box(found)[:2] == size).all()
    without = box(page.drawn(hebrew, FRAME, alone, mono))
    assert (without[2:] - without[:2] != size).any()
    assert np.array_equal(page.drawn("Hg", FRAME, alone, mono), page.drawn("Hg", FRAME, None, mono))


def centers(ink: Any, axis: int) -> Any:
    """The middles of letters that lie apart, along an axis."""
    line = ink.sum(axis=1 - axis)
    inside = np.flatnonzero(line)
    groups = np.split(inside, np.flatnonzero(np.diff(inside) > 1) + 1)
    return np.array([(line[group] * (group + 0.5)).sum() / line[group].sum() for group in groups])


@pytest.mark.parametrize("hint", [TextRenderingHint.SYSTEM_DEFAULT, TextRenderingHint.ANTI_ALIAS,
                                  TextRenderingHint.ANTI_ALIAS_GRID_FIT, TextRenderingHint.SINGLE_BIT_PER_PIXEL])
@pytest.mark.parametrize(("along", "across"), [(1.0, 1.0), (2.0, 0.5), (0.5, 2.0), (1.3, 1.0), (1.0, 3.0), (1.5, 1.5)])
@pytest.mark.parametrize("turned", [False, True])
def test_stretched_letters_stand_at_stretched_distances(page: Page, hint: TextRenderingHint, along: float,
                                                        across: float, turned: bool) -> None:
    """However text is stretched, each letter is where a map of the unstretched text puts it."""
    text, font = "l i l", Font("DejaVu Sans", 24.0, GraphicsUnit.PIXEL)
    page.graphics.text_rendering_hint = hint
    plain = centers(page.drawn(text, PointF(0, 0), font=font), 1)
    assert len(plain) == 3
    if turned:
        page.graphics.translate_transform(float(WIDTH), 0.0)
        page.graphics.rotate_transform(90.0)
    page.graphics.scale_transform(along, across)
    ink = page.drawn(text, PointF(0, 0), font=font)
    found = centers(ink, 0 if turned else 1)
    assert found == pytest.approx(along * plain, abs=1.0)
    # Along the letters' height, too.
    high = np.flatnonzero(ink.sum(axis=0 if turned else 1))
    assert high[-1] - high[0] + 1 == pytest.approx(18 * across, abs=2.0)
