"""Formulas and paths of custom shapes in OpenDocument drawings, beside Python's own numbers and areas by NumPy."""

from __future__ import annotations

import io
import math
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, Image, SmoothingMode
from zelmor.imaging.fileformats.opendocument import OdgImage
from zelmor.imaging.fileformats.opendocument.objects.graphic import OdCustomShape, OdEnhancedGeometry, OdMoveTo
from zelmor.imaging.imageoptions import OdgRasterizationOptions, PngOptions

from support.office_files import cast, odg

WIDTH, HEIGHT = 100, 80
Y, X = np.mgrid[0:HEIGHT, 0:WIDTH] + 0.5


def shape(geometry: str, inside: str = "", place: str = 'svg:width="100px" svg:height="80px"') -> bytes:
    return odg(f'<draw:custom-shape draw:style-name="red" {place}><draw:enhanced-geometry {geometry}>{inside}'
               "</draw:enhanced-geometry></draw:custom-shape>")


def value_of(formula: str, others: dict[str, str] | None = None, modifiers: str = "", more: str = "") -> float:
    """What the path has where it refers to the formula."""
    equations = "".join(f'<draw:equation draw:name="{name}" draw:formula="{text}"/>'
                        for name, text in {"f": formula, **(others or {})}.items())
    data = shape(f'svg:viewBox="10 20 300 400" draw:modifiers="{modifiers}" draw:enhanced-path="M ?f 0 N" {more}',
                 equations)
    page = cast(OdgImage, Image.load(io.BytesIO(data))).records[0]
    geometry = cast(OdEnhancedGeometry, cast(OdCustomShape, page.items[0]).items[0])
    return float(cast(OdMoveTo, geometry.enhanced_path[0]).point.x)


@pytest.mark.parametrize(("formula", "expected"), [
    ("1+2*3", 7), ("(1+2)*3", 9), ("10-4-3", 3), ("24/4/3", 2), ("2*-3", -6), ("--5", 5), ("-+-5", 5), ("1 - -1", 2),
    ("7/0", 0), ("1.5e1", 15), (" 3 ", 3), ("abs(-4)", 4), ("abs(4)", 4), ("sqrt(81)", 9), ("sqrt(-1)", 0),
    ("sin(1)", math.sin(1)), ("cos(1)", math.cos(1)), ("tan(1)", math.tan(1)), ("atan(2)", math.atan(2)),
    ("atan2(3,-2)", math.atan2(3, -2)), ("min(3,5)", 3), ("min(5,3)", 3), ("max(3,5)", 5), ("max(5,3)", 5),
    ("if(1,7,8)", 7), ("if(0,7,8)", 8), ("if(-1,7,8)", 8), ("if(0.1,7,8)", 7), ("if(2-1, 3*4, 5)", 12),
    ("min(1+1,max(0,1))", 1), ("unknown(4)", 0), ("min(4)", 0), ("pi*100", math.pi * 100), ("left", 10), ("top", 20),
    ("right", 310), ("bottom", 420), ("width", 300), ("height", 400), ("hasstroke", 1), ("hasfill", 1), ("other", 0),
    ("logwidth", 100 / 96 * 2540), ("logheight", 80 / 96 * 2540), ("xstretch", 33), ("ystretch", 44),
    ("$0", 5), ("$1", -6.5), ("$2", 0), ("$0+$1*2", -8), ("?g", 12), ("?g*?h_2", 24), ("?missing+1", 1), ("?f", 0),
    ("?i", 1), ("sin(pi/2)*10", 10), ("(((4))", 4), ("4)", 4), ("1e300*1e300", 0), ("", 0), ("#", 0)])
def test_formulas(formula: str, expected: float) -> None:
    found = value_of(formula, {"g": "3*4", "h_2": "2", "i": "?i+1"}, "5 -6.5",
                     'draw:path-stretchpoint-x="33" draw:path-stretchpoint-y="44"')
    assert found == pytest.approx(expected, rel=1e-6)


def red(data: bytes, tmp_path: Path) -> Any:
    options, shown = PngOptions(), OdgRasterizationOptions()
    shown.background_color, shown.smoothing_mode = Color.white, SmoothingMode.NONE
    image = cast(OdgImage, Image.load(io.BytesIO(data)))
    shown.page_width, shown.page_height = float(image.width), float(image.height)
    options.vector_rasterization_options = shown
    image.save(str(tmp_path / "page.png"), options)
    found = np.asarray(Pillow.open(tmp_path / "page.png").convert("RGB"))
    return (found == (255, 0, 0)).all(axis=-1)


def check(found: Any, area: Callable[[Any, Any], Any]) -> None:
    """Pixels within two thirds of one of an edge may be on either side of it."""
    votes = [area(X + x * 2 / 3, Y + y * 2 / 3) for x in (-1, 0, 1) for y in (-1, 0, 1)]
    sure_in, sure_out = np.logical_and.reduce(votes), ~np.logical_or.reduce(votes)
    assert sure_in.any() and not (sure_in & ~found).any(), np.argwhere(sure_in & ~found)[:4]
    assert not (sure_out & found).any(), np.argwhere(sure_out & found)[:4]


def ellipse(x: Any, y: Any, cx: float = 50, cy: float = 40, rx: float = 40, ry: float = 20) -> Any:
    return ((x - cx) / rx) ** 2 + ((y - cy) / ry) ** 2 <= 1


def right_of(x: Any, y: Any, x0: float, y0: float, x1: float, y1: float) -> Any:
    """Right of the way from one point to the other; y points down."""
    return (x1 - x0) * (y - y0) - (y1 - y0) * (x - x0) >= 0


#: By name: the path in pixels of the page, and the area that it fills.
PATHS: dict[str, tuple[str, Callable[[Any, Any], Any]]] = {
    "lines": ("M 10 10 L 90 10 90 70 Z N", lambda x, y: right_of(x, y, 10, 10, 90, 10) & (x <= 90)
              & right_of(x, y, 90, 70, 10, 10)),
    "lines of a move": ("M 10 10 90 10 90 70 Z N", lambda x, y: (y >= 10) & (x <= 90)
                        & right_of(x, y, 90, 70, 10, 10)),
    "ellipse": ("U 50 40 40 20 0 360 Z N", ellipse),
    "part of an ellipse": ("U 50 40 40 20 0 90 Z N",
                           lambda x, y: ellipse(x, y) & right_of(x, y, 50, 60, 90, 40)),
    "sector": ("M 50 40 T 50 40 40 20 0 90 Z N", lambda x, y: ellipse(x, y) & (x >= 50) & (y >= 40)),
    "over zero": ("M 50 40 T 50 40 40 20 270 90 Z N", lambda x, y: ellipse(x, y) & (x >= 50)),
    "turned more than once": ("M 50 40 T 50 40 40 20 0 450 Z N", ellipse),
    "counterclockwise": ("B 10 20 90 60 90 40 10 40 Z N", lambda x, y: ellipse(x, y) & (y <= 40)),
    "clockwise": ("V 10 20 90 60 90 40 10 40 Z N", lambda x, y: ellipse(x, y) & (y >= 40)),
    "counterclockwise after a line": ("M 50 40 A 10 20 90 60 90 40 50 20 Z N",
                                      lambda x, y: ellipse(x, y) & (y <= 40) & (x >= 50)),
    "clockwise after a line": ("M 50 40 W 10 20 90 60 90 40 50 60 Z N",
                               lambda x, y: ellipse(x, y) & (y >= 40) & (x >= 50)),
    "corners the other way": ("B 90 60 10 20 90 40 10 40 Z N", lambda x, y: ellipse(x, y) & (y <= 40)),
    "all round": ("V 10 20 90 60 90 40 90 40 Z N", ellipse),
    "quarter from the top": ("M 50 20 X 90 40 L 50 40 Z N", lambda x, y: ellipse(x, y) & (x >= 50) & (y <= 40)),
    "quarter from the side": ("M 90 40 Y 50 60 L 50 40 Z N", lambda x, y: ellipse(x, y) & (x >= 50) & (y >= 40)),
    "quarters in turn": ("M 50 20 X 90 40 50 60 10 40 50 20 Z N", ellipse),
    "arc of angles": ("M 90 40 G 40 20 0 90 L 50 40 Z N", lambda x, y: ellipse(x, y) & (x >= 50) & (y >= 40)),
    "arc of angles backwards": ("M 90 40 G 40 20 0 -90 L 50 40 Z N",
                                lambda x, y: ellipse(x, y) & (x >= 50) & (y <= 40)),
    "two parts": ("M 10 10 L 40 10 40 70 10 70 Z N M 60 10 L 90 10 90 70 60 70 Z N",
                  lambda x, y: (y >= 10) & (y <= 70) & ((x >= 10) & (x <= 40) | (x >= 60) & (x <= 90))),
    "a hole": ("M 10 10 L 90 10 90 70 10 70 Z M 30 20 L 70 20 70 60 30 60 Z N",
               lambda x, y: (y >= 10) & (y <= 70) & (x >= 10) & (x <= 90)
               & ~((y > 20) & (y < 60) & (x > 30) & (x < 70))),
    "without a fill": ("F M 10 10 L 90 10 90 70 10 70 Z N M 60 10 L 90 10 90 70 60 70 Z N",
                       lambda x, y: (y >= 10) & (y <= 70) & (x >= 60) & (x <= 90)),
    "curve": ("M 10 70 C 10 10 90 10 90 70 Z N", lambda x, y: below_curve(x, y)),
    "simple curve": ("M 10 70 Q 50 -20 90 70 Z N", lambda x, y: (y <= 70) & (
        y >= 70 - 180 * ((x - 10) / 80) * (1 - (x - 10) / 80)) & (x >= 10) & (x <= 90)),
    "words": ("M left top L right top right bottom Z N", lambda x, y: right_of(x, y, 100, 80, 0, 0)),
}


def below_curve(x: Any, y: Any) -> Any:
    """The curve with the controls at (10, 10) and (90, 10): its x is 10 + 80 (3t² - 2t³)."""
    places = np.linspace(0, 1, 4001)
    xs, ys = 10 + 80 * (3 * places**2 - 2 * places**3), 70 - 180 * places * (1 - places)
    return (y <= 70) & (y >= np.interp(x, xs, ys)) & (x >= 10) & (x <= 90)


@pytest.mark.parametrize("name", PATHS)
def test_paths(name: str, tmp_path: Path) -> None:
    path, area = PATHS[name]
    check(red(shape(f'svg:viewBox="0 0 100 80" draw:enhanced-path="{path}"'), tmp_path), area)


@pytest.mark.parametrize("mirror", ["", 'draw:mirror-horizontal="true"', 'draw:mirror-vertical="true"',
                                    'draw:mirror-horizontal="true" draw:mirror-vertical="true"'])
def test_placing(mirror: str, tmp_path: Path) -> None:
    """A triangle in a box of its own, which is stretched to the shape, and mirrored in it."""
    data = shape(f'svg:viewBox="-100 50 200 400" {mirror} draw:enhanced-path="M -100 50 L 100 50 -100 450 Z N"',
                 place='svg:x="20px" svg:y="10px" svg:width="60px" svg:height="60px"')
    across, down = "horizontal" in mirror, "vertical" in mirror

    def area(x: Any, y: Any) -> Any:
        along, below = 80 - x if across else x - 20, 70 - y if down else y - 10
        return (along >= 0) & (below >= 0) & (along + below <= 60)
    check(red(data, tmp_path), area)
