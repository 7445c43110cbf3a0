"""Which pages and frames a save takes, by each mode, at the bounds of each choice; pages of lines and text."""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, Rectangle
from zelmor.imaging.imageoptions import (MultiPageMode, MultiPageOptions, PngOptions, SvgOptions, TiffOptions,
                                         TimeInterval)
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat

from support.image_oracles import managed_error
from support.office_files import odg


def animation(path: Path, durations: list[int]) -> Image:
    """An animation whose frame i is of the level 10 * (i + 1)."""
    frames = [Pillow.new("L", (6, 4), 10 * (i + 1)) for i in range(len(durations))]
    frames[0].save(path, save_all=True, append_images=frames[1:], duration=durations)
    return Image.load(str(path))


def chosen(image: Image, tmp_path: Path, choice: MultiPageOptions) -> list[int]:
    """The numbers of the frames that are saved."""
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    options.multi_page_options = choice
    image.save(str(tmp_path / "chosen.tif"), options)
    found = []
    with Pillow.open(tmp_path / "chosen.tif") as picture:
        for page in range(getattr(picture, "n_frames", 1)):
            picture.seek(page)
            found.append(int(np.asarray(picture.convert("L"))[0, 0]) // 10 - 1)
    return found


def by_mode(mode: MultiPageMode, **values: Any) -> MultiPageOptions:
    choice = MultiPageOptions()
    choice.mode = mode
    for name, value in values.items():
        setattr(choice, name, value)
    return choice


@pytest.mark.parametrize(("start", "end", "frames"), [
    (100, 300, [1]), (99, 300, [0, 1]), (100, 301, [1, 2]), (299, 300, [1]), (0, 1, [0]), (0, 600, [0, 1, 2]),
    (599, 10_000, [2]), (250, 260, [1])])
def test_frames_that_are_seen_at_a_time(tmp_path: Path, start: int, end: int, frames: list[int]) -> None:
    """A frame is seen from its beginning to before its end; the interval ends before its end."""
    image = animation(tmp_path / "a.gif", [100, 200, 300])
    interval = by_mode(MultiPageMode.TIME_INTERVAL, time_interval=TimeInterval(start, end))
    assert chosen(image, tmp_path, interval) == frames


@pytest.mark.parametrize(("start", "end"), [(600, 700), (0, 0), (300, 200)])
def test_no_frame_is_seen_at_other_times(tmp_path: Path, start: int, end: int) -> None:
    image = animation(tmp_path / "a.gif", [100, 200, 300])
    with managed_error("ArgumentException", "The MultiPageOptions choose no page of the image."):
        chosen(image, tmp_path, by_mode(MultiPageMode.TIME_INTERVAL, time_interval=TimeInterval(start, end)))


def test_a_mode_without_its_choice_takes_all_but_titles(tmp_path: Path) -> None:
    image = animation(tmp_path / "a.gif", [100, 200, 300])
    for mode in (MultiPageMode.PAGES, MultiPageMode.RANGE, MultiPageMode.TIME_INTERVAL, MultiPageMode.ALL_PAGES):
        assert chosen(image, tmp_path, by_mode(mode)) == [0, 1, 2]
    with managed_error("ArgumentException",
                       "The mode of titles needs MultiPageOptions.PageTitles. (Parameter 'PageTitles')"):
        chosen(image, tmp_path, by_mode(MultiPageMode.TITLES))


def test_pages_by_their_numbers(tmp_path: Path) -> None:
    image = animation(tmp_path / "a.gif", [100, 200, 300])
    assert chosen(image, tmp_path, by_mode(MultiPageMode.PAGES, pages=[2, 0, 2])) == [2, 0, 2]
    assert chosen(image, tmp_path, by_mode(MultiPageMode.RANGE, pages=[1])) == [1]
    for number in (-1, 3, 2**31 - 1):
        with managed_error("ArgumentOutOfRangeException", f"The image has no page {number}; its 3 pages are counted "
                                                          "from 0.", "'Pages'"):
            chosen(image, tmp_path, by_mode(MultiPageMode.PAGES, pages=[0, number]))
    with managed_error("ArgumentException", "choose no page"):
        chosen(image, tmp_path, by_mode(MultiPageMode.PAGES, pages=[]))


CHOICES = {"pages": [1], "time_interval": TimeInterval(0, 100), "page_titles": ["one"]}
OWN = {MultiPageMode.PAGES: "pages", MultiPageMode.RANGE: "pages", MultiPageMode.TIME_INTERVAL: "time_interval",
       MultiPageMode.TITLES: "page_titles", MultiPageMode.ALL_PAGES: ""}
NAMES = {"pages": "Pages", "time_interval": "TimeInterval", "page_titles": "PageTitles"}


@pytest.mark.parametrize("mode", OWN)
@pytest.mark.parametrize("name", CHOICES)
def test_a_choice_beside_the_mode_is_refused(tmp_path: Path, mode: MultiPageMode, name: str) -> None:
    image = animation(tmp_path / "a.gif", [100, 200, 300])
    choice = by_mode(mode, **{name: CHOICES[name]})
    if OWN[mode] == name:
        if name != "page_titles":
            assert chosen(image, tmp_path, choice) in ([0], [1])
        return
    with managed_error("NotSupportedException", f"A value of MultiPageOptions.{NAMES[name]} beside the mode "
                                                f"{int(mode)} of MultiPageMode, which chooses otherwise,"):
        chosen(image, tmp_path, choice)


# ---- Pages of lines and text

def square(left: int) -> str:
    return f'<draw:rect draw:style-name="red" svg:x="{left}px" svg:y="10px" svg:width="20px" svg:height="20px"/>'


def document(tmp_path: Path) -> Image:
    """Two pages, each with a red square of its own place."""
    (tmp_path / "a.odg").write_bytes(odg(square(10), square(60)))
    return Image.load(str(tmp_path / "a.odg"))


def reds(path: Path) -> list[bool]:
    """Whether the squares are red in a picture."""
    with Pillow.open(path) as picture:
        colors = np.asarray(picture.convert("RGB"))
    assert colors.shape == (80, 100, 3)
    return [tuple(colors[20, x]) == (255, 0, 0) for x in (20, 70)]


def test_pages_of_a_drawing_are_laid_over_each_other(tmp_path: Path) -> None:
    options = PngOptions()
    options.multi_page_options = MultiPageOptions()
    with managed_error("NotSupportedException", "Choose one page, or set merge_layers."):
        document(tmp_path).save(str(tmp_path / "b.png"), options)
    for page in (0, 1):
        options.multi_page_options = MultiPageOptions(page)
        document(tmp_path).save(str(tmp_path / "b.png"), options)
        assert reds(tmp_path / "b.png") == [page == 0, page == 1]
    options.multi_page_options = MultiPageOptions()
    options.multi_page_options.merge_layers = True
    document(tmp_path).save(str(tmp_path / "b.png"), options)
    assert reds(tmp_path / "b.png")[1]


def test_lines_are_not_merged(tmp_path: Path) -> None:
    options = SvgOptions()
    options.multi_page_options = MultiPageOptions()
    with managed_error("NotSupportedException", "Choose one page, or set merge_layers."):
        document(tmp_path).save(str(tmp_path / "b.svg"), options)
    options.multi_page_options.merge_layers = True
    with managed_error("NotSupportedException", "MultiPageOptions.MergeLayers for pages of lines and text"):
        document(tmp_path).save(str(tmp_path / "b.svg"), options)
    options.multi_page_options = MultiPageOptions(1)
    document(tmp_path).save(str(tmp_path / "b.svg"), options)
    options.multi_page_options.merge_layers = True  # of one page there is nothing to merge
    document(tmp_path).save(str(tmp_path / "c.svg"), options)
    assert (tmp_path / "b.svg").read_bytes() == (tmp_path / "c.svg").read_bytes()


def test_titles_of_pages_of_a_drawing(tmp_path: Path) -> None:
    for titles, expected in ((["page2"], [False, True]), (["page1"], [True, False])):
        options = PngOptions()
        options.multi_page_options = MultiPageOptions.create_with_page_titles(titles)
        document(tmp_path).save(str(tmp_path / "b.png"), options)
        assert reds(tmp_path / "b.png") == expected
    for title in ("page3", "page", "Page1", ""):
        options.multi_page_options = MultiPageOptions.create_with_page_titles([title])
        with managed_error("ArgumentException", f"The image has no page with the title '{title}'. "
                                                "(Parameter 'PageTitles')"):
            document(tmp_path).save(str(tmp_path / "b.png"), options)


def test_an_area_is_cut_out(tmp_path: Path) -> None:
    """An empty one is none."""
    image = animation(tmp_path / "a.gif", [100, 100])
    options = PngOptions()
    for area, size in ((Rectangle(1, 2, 3, 2), (3, 2)), (Rectangle(0, 0, 0, 0), (6, 4))):
        options.multi_page_options = MultiPageOptions(0, area)
        image.save(str(tmp_path / "b.png"), options)
        with Pillow.open(tmp_path / "b.png") as picture:
            assert picture.size == size
