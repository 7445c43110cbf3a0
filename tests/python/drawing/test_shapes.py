"""Matrices, shapes, figures, paths and regions, compared with arithmetic in Python."""

from __future__ import annotations

import math
import random
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import (
    Color, Figure, FillMode, Graphics, GraphicsPath, Matrix, MatrixOrder, Pen, Point, PointF, Rectangle, RectangleF,
    Region, WarpMode,
)
from zelmor.imaging.shapes import (
    ArcShape, BezierShape, CurveShape, EllipseShape, PieShape, PolygonShape, RectangleShape,
)
from zelmor.imaging.shapesegments import BezierSegment, LineSegment

from support.image_oracles import load, managed_error, noise, write


def array(matrix: Matrix) -> np.ndarray:
    """A matrix as rows of three numbers."""
    e = list(matrix.elements)
    return np.array([[e[0], e[1], 0], [e[2], e[3], 0], [e[4], e[5], 1]])


def turn(degrees: float) -> np.ndarray:
    c, s = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
    return np.array([[c, s, 0], [-s, c, 0], [0, 0, 1]])


def move(x: float, y: float) -> np.ndarray:
    return np.array([[1, 0, 0], [0, 1, 0], [x, y, 1]])


def stretch(x: float, y: float) -> np.ndarray:
    return np.diag([x, y, 1.0])


def bounds(thing: Any) -> tuple[float, float, float, float]:
    r = thing.bounds
    return r.x, r.y, r.width, r.height


def path_of(*shapes: Any, closed: bool = False) -> GraphicsPath:
    figure = Figure()
    figure.is_closed = closed
    figure.add_shapes(list(shapes))
    return GraphicsPath([figure])


def test_matrix_steps_against_numpy() -> None:
    draw = random.Random(11)
    for _ in range(200):
        matrix, expected = Matrix(), np.eye(3)
        for _ in range(6):
            order = draw.choice([MatrixOrder.PREPEND, MatrixOrder.APPEND, None])
            a, b = draw.uniform(-2, 2), draw.uniform(-2, 2)
            step: np.ndarray
            extra = [] if order is None else [order]
            kind = draw.randrange(5)
            if kind == 0:
                matrix.rotate(a * 90, *extra)
                step = turn(a * 90)
            elif kind == 1:
                matrix.scale(a, b, *extra)
                step = stretch(a, b)
            elif kind == 2:
                matrix.translate(a, b, *extra)
                step = move(a, b)
            elif kind == 3:
                matrix.rotate_at(b * 90, PointF(a, b), *extra)
                step = move(-a, -b) @ turn(b * 90) @ move(a, b)
            else:
                matrix.multiply(Matrix(a, b, -b, a, 1.0, 2.0), *extra)
                step = np.array([[a, b, 0], [-b, a, 0], [1, 2, 1]])
            expected = expected @ step if order == MatrixOrder.APPEND else step @ expected
        assert np.allclose(array(matrix), expected, rtol=1e-5, atol=1e-5)
        assert [matrix.m11, matrix.m12, matrix.m21, matrix.m22, matrix.m31, matrix.m32] == list(matrix.get_elements())


def test_quarter_turns_are_exact() -> None:
    matrix = Matrix()
    for _ in range(4):
        matrix.rotate(90.0)
    assert matrix == Matrix()
    matrix.rotate(90.0)
    assert list(matrix.elements) == [0, 1, -1, 0, 0, 0]


def test_matrices_compare_by_their_numbers() -> None:
    a, b = Matrix(1.0, 2.0, 3.0, 4.0, 5.0, 6.0), Matrix(1.0, 2.0, 3.0, 4.0, 5.0, 6.0)
    assert a == b and hash(a) == hash(b) and Matrix.equals(a, b)
    assert Matrix(a) == a
    a.reset()
    assert a == Matrix() and a != b and not Matrix.equals(a, b)
    assert not Matrix.equals(a, None) and not Matrix.equals(None, a) and Matrix.equals(None, None)


def test_points_are_transformed_in_place() -> None:
    points = [PointF(1, 0), PointF(0, 1)]
    matrix = Matrix()
    matrix.translate(10.0, 20.0)
    matrix.transform_points(points)
    assert points == [PointF(11, 20), PointF(10, 21)]


def test_points_of_an_array_that_a_shape_keeps_are_transformed_in_the_shape() -> None:
    matrix = Matrix()
    matrix.translate(10.0, 20.0)
    shape = PolygonShape([PointF(1, 2), PointF(3, 4)])
    points = shape.points
    matrix.transform_points(points)
    assert list(points) == list(shape.points) == [PointF(11, 22), PointF(13, 24)]


class Points(list):  # type: ignore[type-arg]
    """A list with a class of its own."""


def test_whole_points_in_a_list_become_points_with_fractions() -> None:
    matrix = Matrix()
    matrix.translate(0.5, 0.25)
    points = Points([Point(1, 2), PointF(3, 4)])
    matrix.transform_points(points)
    assert points == [PointF(1.5, 2.25), PointF(3.5, 4.25)] and type(points) is Points


def test_points_that_cannot_be_replaced_are_refused() -> None:
    matrix = Matrix()
    with pytest.raises(RuntimeError, match=r"Proxy error\(NotSupportedException\): Collection is read-only\."):
        matrix.transform_points((PointF(1, 2),))
    mixed: list[Any] = [PointF(1, 2), 3]
    with pytest.raises(RuntimeError):
        matrix.transform_points(mixed)
    assert mixed == [PointF(1, 2), 3]


@pytest.mark.parametrize("rect, kind", [(RectangleF(1, 2, 4, 5), PointF), (Rectangle(1, 2, 4, 5), Point)])
def test_a_matrix_maps_a_rectangle_to_a_parallelogram(rect: Any, kind: Any) -> None:
    corners = [kind(10, 10), kind(30, 14), kind(8, 40)]
    matrix = Matrix(rect, corners)
    points = [PointF(1, 2), PointF(5, 2), PointF(1, 7)]
    matrix.transform_points(points)
    assert np.allclose([(p.x, p.y) for p in points], [(p.x, p.y) for p in corners], atol=1e-5)
    with pytest.raises(RuntimeError, match="three points, not 2"):
        Matrix(rect, corners[:2])


def test_kinds_of_matrices_are_bits() -> None:
    single = [Matrix.TYPE_TRANSLATION, Matrix.TYPE_UNIFORM_SCALE, Matrix.TYPE_GENERAL_SCALE, Matrix.TYPE_FLIP,
              Matrix.TYPE_QUADRANT_ROTATION, Matrix.TYPE_GENERAL_ROTATION, Matrix.TYPE_GENERAL_TRANSFORM]
    assert Matrix.TYPE_IDENTITY == 0 and sorted(single) == [1, 2, 4, 8, 16, 32, 64]
    assert Matrix.TYPE_MASK_SCALE == Matrix.TYPE_UNIFORM_SCALE | Matrix.TYPE_GENERAL_SCALE
    assert Matrix.TYPE_MASK_ROTATION == Matrix.TYPE_QUADRANT_ROTATION | Matrix.TYPE_GENERAL_ROTATION


def test_a_rectangle_shape_has_corners_and_lines() -> None:
    shape = RectangleShape(RectangleF(1, 2, 30, 40))
    assert (shape.left_top, shape.right_bottom) == (PointF(1, 2), PointF(31, 42))
    assert (shape.right_top, shape.left_bottom) == (PointF(31, 2), PointF(1, 42))
    assert (shape.rectangle_width, shape.rectangle_height, shape.center) == (30, 40, PointF(16, 22))
    # An element has the element type of its array; the cast shows its run-time type.
    segments = [LineSegment._cast_to(s).value for s in shape.segments]
    assert len(segments) == 4 and not any(BezierSegment._is_assignable(s) for s in segments)
    assert [s.start_point for s in segments] == [PointF(1, 2), PointF(31, 2), PointF(31, 42), PointF(1, 42)]
    assert segments[-1].end_point == PointF(1, 2)
    matrix = Matrix()
    matrix.rotate(90.0)
    shape.transform(matrix)
    assert bounds(shape) == (-42, 1, 40, 30) and shape.left_top == PointF(-2, 1)


def test_an_ellipse_is_one_to_a_thousandth() -> None:
    shape = EllipseShape(RectangleF(10, 20, 40, 20))
    assert bounds(shape) == pytest.approx((10, 20, 40, 20), abs=1e-4)
    segments = [BezierSegment._cast_to(s).value for s in shape.segments]
    assert len(segments) == 4 and all(type(s) is BezierSegment for s in segments)
    for s in segments:
        for t in np.linspace(0, 1, 9):
            weights = np.array([(1 - t) ** 3, 3 * t * (1 - t) ** 2, 3 * t * t * (1 - t), t**3])
            points = np.array([(p.x, p.y) for p in (s.start_point, s.first_control_point, s.second_control_point,
                                                    s.end_point)])
            x, y = weights @ points
            assert math.hypot((x - 30) / 20, (y - 30) / 10) == pytest.approx(1, abs=1e-3)


@pytest.mark.parametrize("start, sweep", [(0, 90), (30, 100), (200, -250), (350, 20), (45, 359), (10, 720)])
def test_arcs_begin_and_end_at_their_angles(start: float, sweep: float) -> None:
    arc = ArcShape(RectangleF(-10, -5, 20, 10), start, sweep)

    def angle(point: PointF) -> float:
        return math.degrees(math.atan2(point.y, point.x))

    end = start + max(-360, min(360, sweep))
    assert (angle(arc.start_point) - start + 180) % 360 - 180 == pytest.approx(0, abs=1e-3)
    assert (angle(arc.end_point) - end + 180) % 360 - 180 == pytest.approx(0, abs=1e-3)
    first, last = arc.start_point, arc.end_point
    arc.reverse()
    assert np.allclose([arc.start_point.x, arc.start_point.y, arc.end_point.x, arc.end_point.y],
                       [last.x, last.y, first.x, first.y], atol=1e-4)
    assert (arc.start_angle, arc.sweep_angle) == (start + sweep, -sweep)


def test_a_pie_has_its_center() -> None:
    pie = PieShape(RectangleF(0, 0, 20, 20), 0.0, 90.0)
    assert bounds(pie) == pytest.approx((10, 10, 10, 10), abs=1e-4)
    path = path_of(pie)
    assert path.is_visible(PointF(12, 12)) and not path.is_visible(PointF(8, 12))
    assert path.is_visible(16.5, 16.5) and not path.is_visible(18.0, 18.0)


def test_shapes_of_points() -> None:
    points = [PointF(0, 0), PointF(10, 0), PointF(10, 10), PointF(0, 10)]
    polygon = PolygonShape(points, True)
    assert list(polygon.points) == points and polygon.is_closed and len(list(polygon.segments)) == 4
    polygon.reverse()
    assert list(polygon.points) == points[::-1] and polygon.start_point == points[-1]
    bezier = BezierShape(points)
    # The curve itself reaches three quarters of the way to its control points.
    assert bounds(bezier) == pytest.approx((0, 0, 7.5, 10)) or bounds(bezier)[2] < 10
    curve = CurveShape(points, 0.5)
    assert curve.tension == 0.5 and curve.start_point == points[0] and curve.end_point == points[-1]
    assert len(list(curve.segments)) == 3
    assert len(list(CurveShape(points, 0.5, True).segments)) == 4
    assert list(PolygonShape().segments) == [] and not PolygonShape().has_segments


def test_figures_join_open_shapes() -> None:
    figure = Figure()
    figure.add_shape(PolygonShape([PointF(0, 0), PointF(10, 0)]))
    figure.add_shape(PolygonShape([PointF(10, 10), PointF(0, 10)]))
    ends = [(s.start_point, s.end_point) for s in figure.segments]
    assert ends[1] == (PointF(10, 0), PointF(10, 10)) and len(ends) == 3
    figure.is_closed = True
    assert [(s.start_point, s.end_point) for s in figure.segments][3] == (PointF(0, 10), PointF(0, 0))


def test_what_is_put_in_comes_out() -> None:
    shapes = [EllipseShape(RectangleF(0, 0, 1, 1)), CurveShape([PointF(0, 0), PointF(1, 1)]), PieShape()]
    figure = Figure()
    figure.add_shapes(shapes)
    assert list(figure.shapes) == shapes and [
        str(s.get_type()).rpartition(".")[2] for s in figure.shapes] == ["EllipseShape", "CurveShape", "PieShape"]
    figure.remove_shape(shapes[1])
    assert list(figure.shapes) == [shapes[0], shapes[2]]
    other = Figure()
    path = GraphicsPath([figure], FillMode.WINDING)
    path.add_figures([other])
    assert list(path.figures) == [figure, other] and path.fill_mode == FillMode.WINDING
    twin = path.deep_clone()
    assert list(twin.figures) != list(path.figures) and len(list(twin.figures)) == 2
    path.remove_figure(figure)
    assert list(path.figures) == [other] and len(list(twin.figures)) == 2
    path.reset()
    assert list(path.figures) == [] and path.fill_mode == FillMode.ALTERNATE
    with pytest.raises(RuntimeError, match="ArgumentNullException"):
        path.add_figure(None)


def inside_star(x: float, y: float, mode: FillMode) -> bool:
    """A five-pointed star drawn in one line: the winding number of its corners around the point."""
    winding = 0
    for (ax, ay), (bx, by) in zip(STAR, STAR[1:] + STAR[:1]):
        if (ay <= y) != (by <= y) and ax + (y - ay) / (by - ay) * (bx - ax) <= x:
            winding += 1 if by > ay else -1
    return winding % 2 == 1 if mode == FillMode.ALTERNATE else winding != 0


STAR = [(50 + 45 * math.sin(k * 4 * math.pi / 5), 50 - 45 * math.cos(k * 4 * math.pi / 5)) for k in range(5)]


@pytest.mark.parametrize("mode", [FillMode.ALTERNATE, FillMode.WINDING])
def test_hits_by_either_rule(mode: FillMode) -> None:
    path = path_of(PolygonShape([PointF(x, y) for x, y in STAR], True))
    path.fill_mode = mode
    draw = random.Random(3)
    for _ in range(300):
        x, y = draw.uniform(0, 100), draw.uniform(0, 100)
        assert path.is_visible(x, y) == inside_star(x, y, mode)
    assert path.is_visible(50, 50) == (mode == FillMode.WINDING)


def test_hits_of_outlines() -> None:
    path = path_of(RectangleShape(RectangleF(10, 10, 20, 20)))
    pen = Pen(Color.black, 4.0)
    assert path.is_outline_visible(PointF(11.5, 20), pen) and path.is_outline_visible(8.5, 8.5, pen)
    assert not path.is_outline_visible(PointF(13, 20), pen) and not path.is_outline_visible(20, 20, pen)
    wide = path.get_bounds(None, pen)
    assert (wide.x, wide.y, wide.width, wide.height) == (8, 8, 24, 24)


def test_flattening_and_widening() -> None:
    path = path_of(EllipseShape(RectangleF(0, 0, 100, 100)))
    path.flatten(None, 0.1)
    (figure,) = path.figures
    (shape,) = figure.shapes
    made, polygon = PolygonShape._cast_to(shape)
    assert made and polygon.is_closed
    for p in polygon.points:
        assert math.hypot(p.x - 50, p.y - 50) == pytest.approx(50, abs=0.1)
    usual = path_of(EllipseShape(RectangleF(0, 0, 100, 100)))
    usual.flatten()
    (shape,) = usual.figures[0].shapes
    points = PolygonShape._cast_to(shape).value.points
    assert len(list(points)) > 8
    assert max(abs(math.hypot(p.x - 50, p.y - 50) - 50) for p in points) < 0.3
    path.widen(Pen(Color.black, 10.0))
    assert path.fill_mode == FillMode.WINDING
    assert path.is_visible(PointF(2, 50)) and path.is_visible(PointF(-3, 50)) and not path.is_visible(PointF(50, 50))


def test_warping() -> None:
    corners = [PointF(0, 0), PointF(20, 0), PointF(0, 10), PointF(30, 30)]
    path = path_of(RectangleShape(RectangleF(0, 0, 1, 1)))
    path.warp(corners, RectangleF(0, 0, 1, 1))
    points = {(round(p.x, 3), round(p.y, 3)) for f in path.figures for s in f.shapes
              for p in PolygonShape._cast_to(s).value.points}
    assert {(0, 0), (20, 0), (0, 10), (30, 30)} <= points
    with pytest.raises(RuntimeError, match="three or four points"):
        path.warp(corners[:2], RectangleF(0, 0, 1, 1))


def homography(to: np.ndarray) -> np.ndarray:
    """That of the corners of the unit square: left top, right top, left bottom, right bottom."""
    rows, values = [], []
    for (u, v), (x, y) in zip(((0, 0), (1, 0), (0, 1), (1, 1)), to, strict=True):
        rows += [[u, v, 1, 0, 0, 0, -x * u, -x * v], [0, 0, 0, u, v, 1, -y * u, -y * v]]
        values += [x, y]
    return np.append(np.linalg.solve(np.array(rows, float), values), 1).reshape(3, 3)


@pytest.mark.parametrize("corners", [[(0, 0), (20, 0), (0, 10), (30, 30)], [(5, 3), (40, 8), (1, 30), (25, 35)],
                                     [(0, 0), (10, 0), (0, 10), (10, 10)], [(2, 1), (9, 4), (4, 8)]])
@pytest.mark.parametrize("mode", list(WarpMode))
@pytest.mark.parametrize("scale", [None, (2.0, 3.0)])
def test_where_points_are_warped_to(corners: list[tuple[float, float]], mode: WarpMode,
                                    scale: tuple[float, float] | None) -> None:
    """By a homography, or by mixing the corners; three of them are those of a parallelogram."""
    to = np.array(corners, float)
    if len(to) == 3:
        to = np.vstack([to, to[1] + to[2] - to[0]])
    points = np.array([(4.0, 6.0), (10, 6), (13, 9), (6, 14)])
    path = path_of(PolygonShape([PointF(x, y) for x, y in points]))
    matrix = Matrix()
    if scale:
        matrix.scale(*scale)
    path.warp([PointF(x, y) for x, y in corners], RectangleF(3, 5, 10, 9), matrix if scale else None, mode)
    parts = (points - (3, 5)) / (10, 9)
    if mode == WarpMode.PERSPECTIVE:
        mapped = np.column_stack([parts, np.ones(len(parts))]) @ homography(to).T
        expected = mapped[:, :2] / mapped[:, 2:]
    else:
        u, v = parts[:, :1], parts[:, 1:]
        expected = to[0] * (1 - u) * (1 - v) + to[1] * u * (1 - v) + to[2] * (1 - u) * v + to[3] * u * v
    found = [(p.x, p.y) for f in path.figures for s in f.shapes for p in PolygonShape._cast_to(s).value.points]
    assert len(found) == 3 * 16 + 1  # pieces of lines
    assert np.array(found[::16]) == pytest.approx(expected * (scale or (1, 1)), abs=1e-3)


def test_what_cannot_be_warped() -> None:
    path = path_of(RectangleShape(RectangleF(0, 0, 1, 1)))
    square = [PointF(0, 0), PointF(1, 0), PointF(0, 1), PointF(1, 1)]
    for count in (0, 2, 5):
        with managed_error("ArgumentException", "three or four points. (Parameter 'dest_points')"):
            path.warp((square * 2)[:count], RectangleF(0, 0, 1, 1))
    with managed_error("ArgumentException", "lie in one line. (Parameter 'dest_points')"):
        path.warp([PointF(i, 2 * i) for i in (0, 1, 2, 5)], RectangleF(0, 0, 1, 1))
    for empty in (RectangleF(0, 0, 0, 1), RectangleF(0, 0, 1, 0)):
        with managed_error("ArgumentException", "is empty. (Parameter 'src_rect')"):
            path.warp(square, empty)
    assert bounds(path) == (0, 0, 1, 1)


def test_paths_turn_and_join() -> None:
    path = path_of(PolygonShape([PointF(0, 0), PointF(5, 0)]))
    path.add_path(path_of(PolygonShape([PointF(5, 5), PointF(0, 5)])), True)
    (figure,) = path.figures
    assert len(list(figure.segments)) == 3
    path.reverse()
    assert [s.start_point for s in figure.segments] == [PointF(0, 5), PointF(5, 5), PointF(5, 0)]
    matrix = Matrix()
    matrix.scale(2.0, 3.0)
    path.transform(matrix)
    assert bounds(path) == (0, 0, 10, 15)
    assert path.get_bounds(matrix).height == 45


OPERATIONS = {"intersect": lambda a, b: a & b, "union": lambda a, b: a | b, "xor": lambda a, b: a ^ b,
              "exclude": lambda a, b: a & ~b, "complement": lambda a, b: b & ~a}


def grid(region: Region) -> np.ndarray:
    """Whether the centers of 12 by 12 cells are in a region."""
    return np.array([[region.is_visible(x + 0.5, y + 0.5) for x in range(12)] for y in range(12)])


def cells(x: int, y: int, width: int, height: int) -> np.ndarray:
    mask = np.zeros((12, 12), bool)
    mask[max(y, 0):max(y + height, 0), max(x, 0):max(x + width, 0)] = True
    return mask


@pytest.fixture
def graphics(tmp_path: Any) -> Any:
    return Graphics(load(write(tmp_path / "g.png", noise(4, width=4, height=4))))


def test_regions_are_sets(graphics: Graphics) -> None:
    draw = random.Random(5)
    for _ in range(25):
        region, expected = Region(), np.ones((12, 12), bool)
        for _ in range(draw.randrange(1, 7)):
            name = draw.choice(list(OPERATIONS))
            box = [draw.randrange(0, 8), draw.randrange(0, 8), draw.randrange(1, 8), draw.randrange(1, 8)]
            kind = draw.randrange(4)
            rect: Any = Rectangle(*box) if kind == 0 else RectangleF(*box)
            if kind == 2:
                rect = path_of(RectangleShape(RectangleF(*box)))
            elif kind == 3:
                rect = Region(rect)
            getattr(region, name)(rect)
            expected = OPERATIONS[name](expected, cells(*box))
        assert (grid(region) == expected).all()
        probe = [draw.randrange(0, 10), draw.randrange(0, 10), draw.randrange(1, 4), draw.randrange(1, 4)]
        assert region.is_visible(Rectangle(*probe)) == bool((expected & cells(*probe)).any())
        twin = region.deep_clone()
        assert region.equals(twin, graphics)
        twin.xor(Rectangle(3, 3, 1, 1))
        assert not region.equals(twin, graphics)
        region.intersect(Rectangle(0, 0, 12, 12))
        assert region.is_empty(graphics) == (not expected.any())


def test_empty_and_infinite_regions(graphics: Graphics) -> None:
    region = Region()
    assert region.is_infinite(graphics) and not region.is_empty(graphics) and region.is_visible(1e6, -1e6)
    region.exclude(Rectangle(0, 0, 1, 1))
    assert not region.is_infinite(graphics)
    region.union(RectangleF(-1, -1, 3, 3))
    assert region.is_infinite(graphics)
    region.make_empty()
    assert region.is_empty(graphics) and not region.is_visible(Point(0, 0))
    region.make_infinite()
    assert region.is_infinite(graphics)


def test_regions_move_and_turn(graphics: Graphics) -> None:
    region = Region(Rectangle(0, 0, 2, 1))
    region.translate(3, 4)
    assert region.is_visible(PointF(4.5, 4.5)) and not region.is_visible(PointF(4.5, 5.5))
    matrix = Matrix()
    matrix.rotate(90.0)
    region.transform(matrix)
    assert region.equals(Region(Rectangle(-5, 3, 1, 2)), graphics)


def test_a_region_of_very_many_steps(graphics: Graphics) -> None:
    region = Region(Rectangle(0, 0, 1, 1))
    for i in range(1000):
        region.union(Rectangle(i % 40, 0, 1, 1))
    assert region.equals(Region(Rectangle(0, 0, 40, 1)), graphics)


def test_a_region_of_very_many_ellipses(graphics: Graphics) -> None:
    draw = random.Random(7)
    y, x = np.mgrid[0:25, 0:25] * 4 + 2.0
    region, expected, sure = Region(), np.ones((25, 25), bool), np.ones((25, 25), bool)
    for _ in range(150):
        name = draw.choice(list(OPERATIONS))
        box = [draw.uniform(0, 80), draw.uniform(0, 80), draw.uniform(3, 40), draw.uniform(3, 40)]
        getattr(region, name)(path_of(EllipseShape(RectangleF(*box))))
        far = np.hypot((x - box[0]) / box[2] * 2 - 1, (y - box[1]) / box[3] * 2 - 1)
        expected = OPERATIONS[name](expected, far <= 1)
        sure &= abs(far - 1) > 0.02
        region.union(region)
    found = np.array([[region.is_visible(float(x), float(y)) for x in range(2, 102, 4)] for y in range(2, 102, 4)])
    assert sure.sum() > 100 and 0 < (expected & sure).sum() < sure.sum()
    assert (found == expected)[sure].all()
    assert region.equals(region.deep_clone(), graphics) and not region.is_empty(graphics)
