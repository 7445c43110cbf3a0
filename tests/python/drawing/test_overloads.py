"""Every overload of every drawing member of Graphics, as the catalogue lists them: each paints what its parameters say.

What is expected is drawn by lines and polygons alone, along points that NumPy computes.
"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    Color, FillMode, Font, Graphics, GraphicsUnit, ImageAttributes, InterpolationMode, Pen, Point, PointF, RasterImage,
    Rectangle, RectangleF, SizeF, SmoothingMode, StringAlignment, StringFormat)
from zelmor.imaging.brushes import SolidBrush

from support.collections import MODEL
from support.image_oracles import Pixels, load, managed_error, noise, pixels, write

WIDTH, HEIGHT = 90, 70
GRAPHICS = next(entry for entry in MODEL.types if entry.dotted.endswith("zelmor.imaging.Graphics"))
#: Of the drawing members, each overload: its name in Python, and its parameters with their types.
OVERLOADS = [(method.python, {param.name: param.type for param in overload.params})
             for method in GRAPHICS.methods if method.python.startswith(("draw_", "fill_"))
             for overload in method.overloads]

PLACES = [(10, 12), (30, 60), (52, 9), (78, 50)]
BEZIERS = [*PLACES, (82, 20), (60, 66), (40, 30)]
AREA = (12, 9, 50, 40)
ANGLES = (40, 200)
MORE = 0.3  # what coordinates with a fraction have more, so that none is taken for a whole number

Points = list[tuple[float, float]]


def is_fractional(params: dict[str, str]) -> bool:
    """Whether the coordinates are no whole numbers."""
    return any("PointF" in kind or "RectangleF" in kind or name in ("x", "x1") and kind == "float"
               for name, kind in params.items())


def along_spline(points: Points, tension: float, closed: bool, first: int = 0, count: int | None = None) -> Points:
    """Hermite curves: at each point the tangent goes from the neighbor before to the one behind, by the tension."""
    given = np.array(points, float)
    size = len(given)

    def at(i: int) -> Any:
        return given[i % size] if closed else given[min(max(i, 0), size - 1)]

    found = []
    t = np.linspace(0, 1, 40)[:, None]
    for i in range(first, first + (count if count is not None else size - (0 if closed else 1))):
        tangents = [tension * (at(j + 1) - at(j - 1)) for j in (i, i + 1)]
        found.append((2 * t**3 - 3 * t**2 + 1) * at(i) + (t**3 - 2 * t**2 + t) * tangents[0]
                     + (3 * t**2 - 2 * t**3) * at(i + 1) + (t**3 - t**2) * tangents[1])
    return [(float(x), float(y)) for x, y in np.concatenate(found)]


def along_beziers(points: Points) -> Points:
    t = np.linspace(0, 1, 60)[:, None]
    found = []
    for i in range(0, len(points) - 1, 3):
        a, b, c, d = np.array(points[i:i + 4], float)
        found.append((1 - t)**3 * a + 3 * (1 - t)**2 * t * b + 3 * (1 - t) * t**2 * c + t**3 * d)
    return [(float(x), float(y)) for x, y in np.concatenate(found)]


def along_arc(area: tuple[float, ...], start: float, sweep: float) -> Points:
    """Points of the ellipse that are seen from its center under the angles."""
    x, y, width, height = area
    seen = np.radians(np.linspace(start, start + sweep, 200))
    turn = np.arctan2(np.sin(seen) * width, np.cos(seen) * height)
    return [(float(x + width / 2 * (1 + np.cos(each))), float(y + height / 2 * (1 + np.sin(each)))) for each in turn]


def corners(area: tuple[float, ...]) -> Points:
    x, y, width, height = area
    return [(x, y), (x + width, y), (x + width, y + height), (x, y + height)]


class Scene:
    """The values of the parameters of an overload, and what it should draw."""

    def __init__(self, name: str, params: dict[str, str]) -> None:
        self.name, self.params = name, params
        self.fractional = is_fractional(params)
        more = MORE if self.fractional else 0
        self.tension = 0.8 if "tension" in params else 0.5
        self.winding = "fill_mode" in params or "fillmode" in params
        places = BEZIERS if "beziers" in name else PLACES
        self.places = [(x + more, y + more) for x, y in places]
        self.area = tuple(value + more for value in AREA)

    def arguments(self, pen: Pen, brush: Any) -> dict[str, Any]:
        return {name: self.value(name, kind, pen, brush) for name, kind in self.params.items()}

    def value(self, name: str, kind: str, pen: Pen, brush: Any) -> Any:
        number = float if self.fractional else int
        make_point: Any = PointF if self.fractional else Point
        make_area: Any = RectangleF if self.fractional else Rectangle
        places, area = [make_point(*place) for place in self.places], self.area
        numbered = {f"{axis}{i + 1}": number(place["xy".index(axis)])
                    for i, place in enumerate(self.places) for axis in "xy"}
        values = {"pen": pen, "brush": brush, "points": places, "rect": make_area(*area),
                  "rects": [make_area(*area), make_area(*(value / 2 for value in area))] if self.fractional else
                           [make_area(*area), make_area(*(value // 2 for value in area))],
                  "x": number(area[0]), "y": number(area[1]), "width": number(area[2]), "height": number(area[3]),
                  "start_angle": int(ANGLES[0]) if kind == "int32" else float(ANGLES[0]),
                  "sweep_angle": int(ANGLES[1]) if kind == "int32" else float(ANGLES[1]),
                  "point1": places[0], "point2": places[1], "pt1": places[0], "pt2": places[1], "pt3": places[2],
                  "pt4": places[3], **numbered, "tension": self.tension, "offset": 1, "number_of_segments": 2,
                  "fill_mode": FillMode.WINDING, "fillmode": FillMode.WINDING}
        return values[name]

    def ways(self) -> tuple[list[Points], bool]:
        """The lines, each from point to point, and whether they are closed."""
        name, places, area = self.name.split("_", 1)[1], self.places, self.area
        if name.startswith("line"):
            return [places if "points" in self.params else places[:2]], False
        if name.startswith(("rectangles", "rectangles_f")):
            half = tuple(value / 2 if self.fractional else value // 2 for value in area)
            return [corners(area), corners(half)], True
        if name.startswith("rect"):
            return [corners(area)], True
        if name.startswith("ellipse"):
            return [along_arc(area, 0, 360)], True
        if name.startswith("polygon"):
            return [places], True
        if name.startswith("arc"):
            return [along_arc(area, *ANGLES)], False
        if name.startswith("pie"):
            middle = (area[0] + area[2] / 2, area[1] + area[3] / 2)
            return [[middle, *along_arc(area, *ANGLES)]], True
        if name.startswith("closed_curve"):
            return [along_spline(places, self.tension, True)], True
        if name.startswith("curve"):
            part = (1, 2) if "offset" in self.params else (0, None)
            return [along_spline(places, self.tension, False, *part)], False
        assert name.startswith("bezier")
        return [along_beziers(places)], False


def sheet(folder: Path) -> Graphics:
    graphics = Graphics(load(write(folder / "sheet.png", np.full((HEIGHT, WIDTH, 3), 255, np.uint8))))
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    return graphics


def seen(graphics: Graphics, folder: Path) -> Any:
    image = RasterImage._cast_to(graphics.image).value
    assert image is not None
    return pixels(image, folder)[..., 0].astype(int)


SHAPES = [(name, params) for name, params in OVERLOADS
          if not name.startswith(("draw_image", "draw_string", "draw_path", "fill_path", "fill_region"))]


@pytest.mark.parametrize(("name", "params"), SHAPES, ids=lambda value: value if isinstance(value, str) else
                         "-".join(f"{name}.{kind}" for name, kind in list(value.items())[1:]))
def test_an_overload_draws_its_shape(tmp_path: Path, name: str, params: dict[str, str]) -> None:
    scene = Scene(name, params)
    pen, brush = Pen(Color.black, 3.0), SolidBrush(Color.black)
    graphics = sheet(tmp_path)
    getattr(graphics, name)(**scene.arguments(pen, brush))
    found = seen(graphics, tmp_path)
    expected = sheet(tmp_path)
    ways, closed = scene.ways()
    for way in ways:
        points = [PointF(*place) for place in way]
        if name.startswith("fill"):
            if scene.winding:
                expected.fill_polygon(brush, points, FillMode.WINDING)
            else:
                expected.fill_polygon(brush, points)
        elif closed:
            expected.draw_polygon(pen, points)
        else:
            expected.draw_lines(pen, points)
    difference = abs(found - seen(expected, tmp_path))
    assert (found < 100).sum() > 60
    assert difference.mean() < 0.35 and np.percentile(difference, 99.5) <= 12


def test_all_shapes_are_there() -> None:
    """So that a new member of Graphics is looked at."""
    assert len(SHAPES) > 110 and len(OVERLOADS) - len(SHAPES) > 50


# ---- Fill modes

def star() -> list[PointF]:
    turns = np.radians(90 + 144 * np.arange(5))
    return [PointF(45 + 30 * float(np.cos(turn)), 35 + 30 * float(np.sin(turn))) for turn in turns]


@pytest.mark.parametrize("member", ["fill_polygon", "fill_closed_curve"])
def test_the_middle_of_a_star_is_filled_by_winding_alone(tmp_path: Path, member: str) -> None:
    for arguments, filled in (((), False), ((FillMode.ALTERNATE,), False), ((FillMode.WINDING,), True)):
        graphics = sheet(tmp_path)
        getattr(graphics, member)(SolidBrush(Color.black), star(), *arguments)
        found = seen(graphics, tmp_path)
        assert (found[35, 45] == 0) == filled and found[35 + 24, 45] == 0


LEAST = {"draw_lines": (2, False), "draw_polygon": (2, False), "fill_polygon": (2, True), "draw_beziers": (4, False),
         "draw_curve": (2, False), "draw_closed_curve": (3, False), "fill_closed_curve": (3, True)}


@pytest.mark.parametrize("member", LEAST)
def test_a_shape_needs_its_points(tmp_path: Path, member: str) -> None:
    least, fills = LEAST[member]
    graphics = sheet(tmp_path)
    tool: Any = SolidBrush(Color.black) if fills else Pen(Color.black)
    getattr(graphics, member)(tool, star()[:least])
    for count in range(least):
        with managed_error("ArgumentException",
                           f"There are {count} points where {least} are needed. (Parameter 'points')"):
            getattr(graphics, member)(tool, star()[:count])


def test_parts_of_a_curve_are_segments_that_it_has(tmp_path: Path) -> None:
    graphics, points = sheet(tmp_path), [PointF(*place) for place in PLACES]
    for offset, count in ((0, 3), (2, 1), (1, 1)):
        graphics.draw_curve(Pen(Color.black), points, offset, count)
    for offset in (-1, 3, 4):
        with managed_error("ArgumentOutOfRangeException", "There is no segment that begins there.", "'offset'"):
            graphics.draw_curve(Pen(Color.black), points, offset, 1)
    for offset, count in ((0, 4), (2, 2), (1, 0), (1, -1), (1, 2**31 - 1)):
        with managed_error("ArgumentOutOfRangeException", "There are not as many segments behind the offset.",
                           "'number_of_segments'"):
            graphics.draw_curve(Pen(Color.black), points, offset, count)


def test_rectangles_without_an_area_cover_nothing(tmp_path: Path) -> None:
    graphics = sheet(tmp_path)
    for area in (RectangleF(5, 5, 0, 9), RectangleF(5, 5, 9, 0), RectangleF(5, 5, -9, 9), RectangleF(5, 5, 9, -9)):
        graphics.fill_rectangle(SolidBrush(Color.black), area)
    assert (seen(graphics, tmp_path) == 255).all()


# ---- Images

PICTURE = noise(3, seed=7, width=8, height=6)
IMAGES = [(name, params) for name, params in OVERLOADS if name.startswith("draw_image")]
#: Where the picture goes: twice as wide, and three times as high; the part of it; and the place of a point.
TO, PART, PLACE = (10, 12, 16, 18), (2, 1, 4, 3), (33, 21)


def drawn_image(params: dict[str, str], name: str) -> tuple[dict[str, Any], Pixels, tuple[int, int]]:
    """The arguments of an overload, the pixels that it draws, and where."""
    picture = PICTURE[PART[1]:PART[1] + PART[3], PART[0]:PART[0] + PART[2]] if (
        "rect_source" in params or "src_rect" in params) else PICTURE
    arguments: dict[str, Any] = {}
    place, size = PLACE, (8, 6)
    for parameter, kind in params.items():
        make_point: Any = PointF if "PointF" in kind else Point
        make_area: Any = RectangleF if "RectangleF" in kind else Rectangle
        if parameter in ("rect_source", "src_rect"):
            arguments[parameter] = make_area(*PART)
        elif parameter in ("rect", "rect_destination"):
            arguments[parameter], place, size = make_area(*TO), TO[:2], TO[2:]
        elif parameter == "dest_points":
            x, y, width, height = TO
            arguments[parameter] = [make_point(x, y), make_point(x + width, y), make_point(x, y + height)]
            place, size = TO[:2], TO[2:]
        elif parameter == "point":
            arguments[parameter] = make_point(*PLACE)
        elif parameter in ("graphics_unit", "src_unit"):
            arguments[parameter] = GraphicsUnit.PIXEL
        elif parameter == "image_attributes":
            attributes = ImageAttributes()
            attributes.set_threshold(0.5)
            arguments[parameter], picture = attributes, np.where(picture > 127, 255, 0).astype(np.uint8)
        elif parameter == "width":
            size, place = TO[2:], TO[:2]
    if "x" in params:
        for parameter, value in zip(("x", "y", "width", "height"), [*place, *size], strict=True):
            if parameter in params:
                arguments[parameter] = (float if params[parameter] == "float" else int)(value)
    if "unscaled" in name:  # the rectangle says where, and only one member is cut at it
        size = (8, 6)
    rows = (np.arange(size[1]) * picture.shape[0]) // size[1]
    columns = (np.arange(size[0]) * picture.shape[1]) // size[0]
    return arguments, picture[rows][:, columns], place


@pytest.mark.parametrize(("name", "params"), IMAGES, ids=lambda value: value if isinstance(value, str) else
                         "-".join(f"{name}.{kind}" for name, kind in list(value.items())[1:]))
def test_an_overload_draws_its_picture(tmp_path: Path, name: str, params: dict[str, str]) -> None:
    source = load(write(tmp_path / "picture.png", PICTURE))
    arguments, expected, (x, y) = drawn_image(params, name)
    graphics = sheet(tmp_path)
    image = RasterImage._cast_to(graphics.image).value
    assert image is not None
    # As large as its resolution says, which is that of the sheet.
    source.set_resolution(image.horizontal_resolution, image.vertical_resolution)
    graphics.interpolation_mode = InterpolationMode.NEAREST_NEIGHBOR
    getattr(graphics, name)(**{next(iter(params)): source}, **arguments)
    found = pixels(image, tmp_path)
    height, width = expected.shape[:2]
    whole = np.full((HEIGHT, WIDTH, 3), 255, np.uint8)
    whole[y:y + height, x:x + width] = expected
    assert np.array_equal(found, whole)


def test_a_picture_is_as_large_as_its_resolution_says(tmp_path: Path) -> None:
    source = load(write(tmp_path / "picture.png", PICTURE))
    for draw in (lambda g: g.draw_image(source, 10, 12), lambda g: g.draw_image(source, PointF(10, 12))):
        graphics = sheet(tmp_path)
        image = RasterImage._cast_to(graphics.image).value
        assert image is not None
        source.set_resolution(image.horizontal_resolution / 2, image.vertical_resolution / 3)
        graphics.interpolation_mode = InterpolationMode.NEAREST_NEIGHBOR
        draw(graphics)
        assert np.array_equal(pixels(image, tmp_path)[12:30, 10:26], PICTURE.repeat(3, 0).repeat(2, 1))


def test_a_picture_is_cut_at_its_rectangle(tmp_path: Path) -> None:
    source = load(write(tmp_path / "picture.png", PICTURE))
    for width, height in ((3, 99), (99, 2), (8, 6), (1, 1)):
        graphics = sheet(tmp_path)
        graphics.draw_image_unscaled_and_clipped(source, Rectangle(10, 12, width, height))
        image = RasterImage._cast_to(graphics.image).value
        assert image is not None
        whole = np.full((HEIGHT, WIDTH, 3), 255, np.uint8)
        part = PICTURE[:height, :width]
        whole[12:12 + part.shape[0], 10:10 + part.shape[1]] = part
        assert np.array_equal(pixels(image, tmp_path), whole)


def test_the_part_of_a_picture_has_a_unit(tmp_path: Path) -> None:
    source = load(write(tmp_path / "picture.png", PICTURE))
    source.set_resolution(36.0, 72.0)
    units = {GraphicsUnit.PIXEL: (1, 1), GraphicsUnit.POINT: (2, 1), GraphicsUnit.INCH: (1 / 36, 1 / 72),
             GraphicsUnit.DOCUMENT: (300 / 36, 300 / 72), GraphicsUnit.MILLIMETER: (25.4 / 36, 25.4 / 72)}
    for unit, (across, down) in units.items():
        graphics = sheet(tmp_path)
        graphics.interpolation_mode = InterpolationMode.NEAREST_NEIGHBOR
        part = RectangleF(PART[0] * across, PART[1] * down, PART[2] * across, PART[3] * down)
        graphics.draw_image(source, part, RectangleF(10, 12, 4, 3), unit)
        image = RasterImage._cast_to(graphics.image).value
        assert image is not None
        assert np.array_equal(pixels(image, tmp_path)[12:15, 10:14], PICTURE[1:4, 2:6]), unit


@pytest.mark.parametrize("count", [0, 2, 4])
def test_a_parallelogram_has_three_points(tmp_path: Path, count: int) -> None:
    source = load(write(tmp_path / "picture.png", PICTURE))
    with managed_error("ArgumentException", f"A parallelogram has three points, not {count}.", "'dest_points'"):
        sheet(tmp_path).draw_image(source, star()[:count])


# ---- Text

FONT = Font("DejaVu Sans", 14.0)
TEXTS = [(name, params) for name, params in OVERLOADS if name.startswith("draw_string")]


@pytest.mark.parametrize(("name", "params"), TEXTS, ids=lambda value: value if isinstance(value, str) else
                         "-".join(value))
def test_an_overload_draws_its_text(tmp_path: Path, name: str, params: dict[str, str]) -> None:
    """A frame that text fits into changes nothing, and a format moves it."""
    format_ = StringFormat()
    format_.alignment = StringAlignment.FAR
    brush = SolidBrush(Color.black)
    values = {"s": "Ag", "font": FONT, "brush": brush, "x": 40.0, "y": 20.0, "point": PointF(40, 20),
              "layout_rectangle": RectangleF(40, 20, 45, 40), "format": format_}
    graphics, expected = sheet(tmp_path), sheet(tmp_path)
    getattr(graphics, name)(**{parameter: values[parameter] for parameter in params})
    width = graphics.measure_string("Ag", FONT, SizeF(0, 0), None).width
    left = 40.0
    if "format" in params:
        left = 40 - width if "layout_rectangle" not in params else 85 - width
    expected.translate_transform(left - 3, 17.0)
    expected.draw_string("Ag", FONT, brush, 3.0, 3.0)
    found, wanted = seen(graphics, tmp_path), seen(expected, tmp_path)
    assert (found < 128).sum() > 40
    rows, columns = (np.flatnonzero((found < 128).any(axis)) for axis in (1, 0))
    rows_wanted, columns_wanted = (np.flatnonzero((wanted < 128).any(axis)) for axis in (1, 0))
    assert abs(rows[[0, -1]] - rows_wanted[[0, -1]]).max() <= 1
    assert abs(columns[[0, -1]] - columns_wanted[[0, -1]]).max() <= 2
