"""Pens, brushes, fonts, formats and color tables: constructors, stored values and defaults."""

from __future__ import annotations

from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

import pytest
from zelmor.imaging import (
    Blend, CharacterSet, Color, ColorBlend, ColorMatrix, CustomLineCap, DashCap, DashStyle, Font, FontSettings,
    FontStyle, Graphics, GraphicsPath, GraphicsUnit, HotkeyPrefix, LineCap, LineJoin, Matrix, Pen, PenAlignment,
    PenType, Point, PointF, Rectangle, RectangleF, SizeF, StringAlignment, StringFormat, StringFormatFlags,
    StringTrimming, TransparencySupporter, WrapMode,
)
from zelmor.imaging.brushes import (
    HatchBrush, LinearGradientBrush, LinearMulticolorGradientBrush, PathGradientBrush, PathMulticolorGradientBrush,
    SolidBrush, TextureBrush,
)

from support.image_oracles import load, managed_error, noise, write


def test_a_new_pen() -> None:
    pen = Pen(Color.red)
    assert (pen.width, pen.miter_limit, pen.opacity, pen.dash_offset) == (1.0, 10.0, 1.0, 0.0)
    assert (pen.start_cap, pen.end_cap, pen.dash_cap) == (LineCap.FLAT, LineCap.FLAT, DashCap.FLAT)
    assert (pen.line_join, pen.dash_style, pen.alignment) == (LineJoin.MITER, DashStyle.SOLID, PenAlignment.CENTER)
    assert pen.color == Color.red and pen.pen_type == PenType.SOLID_COLOR and pen.transform == Matrix()
    assert SolidBrush._cast_to(pen.brush).value.color == Color.red
    pen.set_line_cap(LineCap.ROUND, LineCap.TRIANGLE, DashCap.ROUND)
    assert (pen.start_cap, pen.end_cap, pen.dash_cap) == (LineCap.ROUND, LineCap.TRIANGLE, DashCap.ROUND)


@pytest.mark.parametrize("pen", [Pen(Color.blue, 2.5), Pen(SolidBrush(Color.blue), 2.5),
                                 Pen.create_with_color_width(Color.blue, 2.5),
                                 Pen.create_with_brush_width(SolidBrush(Color.blue), 2.5)])
def test_pens_of_a_color_and_of_its_brush_are_alike(pen: Pen) -> None:
    assert pen.color == Color.blue and pen.width == 2.5
    pen.color = Color.lime
    assert SolidBrush._cast_to(pen.brush).value.color == Color.lime


def test_the_type_of_a_pen_follows_its_brush(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    corners = [Point(0, 0), Point(5, 0), Point(5, 5)]
    kinds = {PenType.HATCH_FILL: HatchBrush(), PenType.TEXTURE_FILL: TextureBrush(image),
             PenType.PATH_GRADIENT: PathGradientBrush(corners),
             PenType.LINEAR_GRADIENT: LinearMulticolorGradientBrush(Point(0, 0), Point(1, 1))}
    for kind, brush in kinds.items():
        pen = Pen(brush)
        assert pen.pen_type == kind and pen.brush == brush
    with managed_error("ArgumentNullException", "brush"):
        Pen.create_with_brush(None)


@pytest.mark.parametrize("owner", [Pen(Color.red), LinearGradientBrush()])
def test_transformations_are_copied_in_and_out(owner: Any) -> None:
    matrix = Matrix()
    matrix.scale(2.0, 3.0)
    owner.transform = matrix
    matrix.scale(5.0, 5.0)
    owner.transform.scale(7.0, 7.0)
    assert list(owner.transform.elements) == [2, 0, 0, 3, 0, 0]
    owner.translate_transform(1.0, 1.0)
    assert list(owner.transform.elements) == [2, 0, 0, 3, 2, 3]
    owner.reset_transform()
    assert owner.transform == Matrix()


def test_gradients_between_points_and_over_rectangles() -> None:
    brush = LinearGradientBrush(Point(10, 20), Point(40, 60), Color.red, Color.blue)
    assert brush.rectangle == RectangleF(10, 20, 30, 40) and brush.angle == pytest.approx(53.1301, abs=1e-3)
    assert (brush.start_color, brush.end_color) == (Color.red, Color.blue)
    assert list(brush.linear_colors) == [Color.red, Color.blue] and not brush.is_transform_changed
    brush.linear_colors = [Color.lime, Color.black]
    assert (brush.start_color, brush.end_color) == (Color.lime, Color.black)
    with managed_error("ArgumentException", "two colors"):
        brush.linear_colors = [Color.lime]
    over = LinearGradientBrush(Rectangle(1, 2, 3, 4), Color.red, Color.blue, 30.0, True)
    assert over.rectangle == RectangleF(1, 2, 3, 4) and over.angle == 30 and over.is_angle_scalable
    same = LinearGradientBrush.create_with_rect_f_colors_angle(RectangleF(1, 2, 3, 4), Color.red, Color.blue, 30.0)
    assert same.rectangle == over.rectangle and not same.is_angle_scalable
    assert LinearMulticolorGradientBrush(RectangleF(1, 2, 3, 4), 15.0).angle == 15


@pytest.mark.parametrize("kind", [PathGradientBrush, PathMulticolorGradientBrush])
def test_path_gradients(kind: Any) -> None:
    corners = [PointF(0, 0), PointF(6, 0), PointF(0, 6)]
    brush = kind(corners, WrapMode.TILE_FLIP_X)
    assert list(brush.path_points) == corners and brush.center_point == PointF(2, 2)
    assert brush.wrap_mode == WrapMode.TILE_FLIP_X and len(list(brush.graphics_path.figures)) == 1
    assert list(kind([Point(0, 0), Point(6, 0), Point(0, 6)]).path_points) == corners
    path = brush.graphics_path
    again = kind(path)
    assert list(again.path_points) == corners and again.graphics_path == path and again.wrap_mode == WrapMode.CLAMP


def test_textures_have_a_rectangle(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise(3)))
    brush = TextureBrush(image, WrapMode.TILE_FLIP_Y, Rectangle(1, 2, 3, 4))
    assert brush.image == image and brush.image_rectangle == RectangleF(1, 2, 3, 4)
    assert brush.wrap_mode == WrapMode.TILE_FLIP_Y and brush.image_attributes is None


def test_clones_of_brushes_stand_alone() -> None:
    brush = LinearGradientBrush(Point(0, 0), Point(9, 9), Color.red, Color.blue)
    twin = LinearGradientBrush._cast_to(brush.deep_clone()).value
    twin.end_color = Color.lime
    twin.rotate_transform(45.0)
    twin.blend.factors = [0.5]
    assert brush.end_color == Color.blue and not brush.is_transform_changed and list(brush.blend.factors) == [1.0]
    assert twin.is_transform_changed and twin.rectangle == brush.rectangle


@pytest.mark.parametrize("focus, scale", [(0.0, 1.0), (0.3, 0.8), (1.0, 0.5)])
def test_blends_by_formula(focus: float, scale: float) -> None:
    brush = LinearGradientBrush(Point(0, 0), Point(9, 9), Color.red, Color.blue)
    for set_shape in (brush.set_blend_triangular_shape, brush.set_sigma_bell_shape):
        set_shape(focus, scale)
        positions, factors = list(brush.blend.positions), list(brush.blend.factors)
        assert positions == sorted(positions) and (positions[0], positions[-1]) == (0, 1)
        assert len(positions) == len(factors) and max(factors) == pytest.approx(scale)
        assert positions[factors.index(max(factors))] == pytest.approx(focus)
        with managed_error("ArgumentOutOfRangeException", "focus"):
            set_shape(1.5, 1.0)


def test_color_tables() -> None:
    blend, colors = Blend(3), ColorBlend(2)
    assert list(blend.factors) == [0, 0, 0] and list(blend.positions) == [0, 0, 0]
    assert list(colors.positions) == [0, 0] and list(colors.colors) == [Color.empty] * 2
    colors.colors = [Color.red, Color.blue]
    assert list(colors.colors) == [Color.red, Color.blue]
    assert len(list(Blend().factors)) == 1 and len(list(ColorBlend().colors)) == 1
    with managed_error("ArgumentOutOfRangeException", "count"):
        Blend(-1)


def test_color_matrices() -> None:
    matrix = ColorMatrix()
    identity = [[float(r == c) for c in range(5)] for r in range(5)]
    assert [[matrix.get_elem(r, c) for c in range(5)] for r in range(5)] == identity
    rows = [[float(10 * r + c) for c in range(5)] for r in range(5)]
    matrix = ColorMatrix(rows)
    assert matrix.matrix34 == 34 and [list(row) for row in matrix.get_matrix()] == rows
    matrix.set_elem(1, 2, 0.5)
    assert matrix.matrix12 == 0.5
    assert ColorMatrix.is_instance(matrix)
    assert not any(ColorMatrix.is_instance(other) for other in (Matrix(), Color.red, "matrix", 5, None))
    with managed_error("IndexOutOfRangeException", "5, 0"):
        matrix.get_elem(5, 0)
    with managed_error("IndexOutOfRangeException", "five rows"):
        ColorMatrix(rows[:2])
    assert (ColorMatrix.MATRIX_DIMENSIONS_COUNT, ColorMatrix.MATRIX_DIMENSION_ELEMENTS_COUNT,
            ColorMatrix.MATRIX_TOTAL_ELEMENTS_COUNT) == (2, 5, 25)


def test_fonts() -> None:
    font = Font("Arial", 9.5, FontStyle.BOLD | FontStyle.STRIKEOUT, GraphicsUnit.PIXEL, CharacterSet.GREEK)
    assert (font.name, font.size, font.unit) == ("Arial", 9.5, GraphicsUnit.PIXEL)
    assert font.character_set == CharacterSet.GREEK
    assert (font.bold, font.italic, font.underline, font.strikeout) == (True, False, False, True)
    plain = Font("Arial", 10.0)
    assert (plain.unit, plain.style) == (GraphicsUnit.POINT, FontStyle.REGULAR)
    assert plain.character_set == CharacterSet.DEFAULT
    other = Font(plain, FontStyle.ITALIC)
    assert other.italic and other.name == "Arial" and other.size == 10 and not plain.italic
    twin = other.deep_clone()
    assert (twin.name, twin.size, twin.style) == (other.name, other.size, other.style)
    with managed_error("ArgumentNullException", "prototype"):
        Font.create_from_prototype(None, FontStyle.BOLD)


def test_formats_of_text() -> None:
    format_ = StringFormat()
    assert (format_.alignment, format_.trimming) == (StringAlignment.NEAR, StringTrimming.CHARACTER)
    assert (format_.hotkey_prefix, format_.first_tab_offset, list(format_.tab_stops)) == (HotkeyPrefix.NONE, 0.0, [])
    format_.set_tab_stops(4.0, [10.0, 20.0])
    format_.alignment = StringAlignment.FAR
    copy = StringFormat(format_)
    assert (copy.first_tab_offset, list(copy.tab_stops), copy.alignment) == (4.0, [10.0, 20.0], StringAlignment.FAR)
    assert StringFormat(StringFormatFlags.NO_WRAP).format_flags == StringFormatFlags.NO_WRAP
    typographic = StringFormat.generic_typographic
    flags = StringFormatFlags.FIT_BLACK_BOX | StringFormatFlags.LINE_LIMIT | StringFormatFlags.NO_CLIP
    assert typographic.format_flags == flags and typographic.trimming == StringTrimming.NONE
    assert StringFormat.generic_default.format_flags == 0


def test_caps_of_ones_own() -> None:
    fill, line = GraphicsPath(), GraphicsPath()
    cap = CustomLineCap(fill, line, LineCap.ROUND, 0.5)
    assert (cap.fill_path, cap.stroke_path, cap.base_cap, cap.base_inset, cap.width_scale) == (
        fill, line, LineCap.ROUND, 0.5, 1.0)
    cap.set_stroke_caps(LineCap.SQUARE, LineCap.TRIANGLE)
    start: list[LineCap] = []
    end: list[LineCap] = []
    for _ in range(2):  # a value that was read can be set again
        cap.get_stroke_caps(start, end)
        assert start[0] is LineCap.SQUARE and end[0] is LineCap.TRIANGLE
    cap.set_stroke_caps(end[0], start[0])
    cap.get_stroke_caps(start, end)
    assert (start, end) == ([LineCap.TRIANGLE], [LineCap.SQUARE])
    with pytest.raises(TypeError, match="^can't build LineCap value from 'int'$"):
        cap.get_stroke_caps([1], end)
    assert TransparencySupporter().opacity == 1


@pytest.fixture
def settings() -> Iterator[None]:
    yield
    FontSettings.reset()


def test_settings_of_fonts(settings: None, tmp_path: Path) -> None:
    folders = list(FontSettings.get_default_fonts_folders())
    assert list(FontSettings.get_fonts_folders()) == folders and all(Path(folder).is_dir() for folder in folders)
    FontSettings.set_fonts_folder(str(tmp_path))
    assert list(FontSettings.get_fonts_folders()) == [str(tmp_path)]
    FontSettings.set_fonts_folders(["a", "b"], True)
    assert list(FontSettings.get_fonts_folders()) == ["a", "b"]
    FontSettings.set_default_font_name("DejaVu Sans")
    assert FontSettings.default_font_name == "DejaVu Sans"
    FontSettings.reset()
    assert list(FontSettings.get_fonts_folders()) == folders and FontSettings.get_system_alternative_font


def test_folders_of_fonts_may_be_a_list_of_the_library(settings: None) -> None:
    FontSettings.set_fonts_folders(["a", "b"], True)
    held = FontSettings.get_fonts_folders()
    FontSettings.set_fonts_folders(["c"], True)
    FontSettings.set_fonts_folders(held, True)
    assert list(FontSettings.get_fonts_folders()) == ["a", "b"]
    with managed_error("ArgumentNullException", "fonts_folders"):
        FontSettings.set_fonts_folders(None, True)
    assert list(FontSettings.get_fonts_folders()) == ["a", "b"]


#: A font that is always installed, since the text library depends on it.
INSTALLED_FONT = Path("/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf")


def test_fonts_of_a_folder_are_there_for_every_thread(settings: None, tmp_path: Path) -> None:
    """The cache of fonts is thread-local, and notices a folder that another thread has added."""
    font = INSTALLED_FONT.read_bytes()
    for encoding in ("utf-16-be", "ascii"):
        assert "DejaVu Sans Mono".encode(encoding) in font
        font = font.replace("DejaVu Sans Mono".encode(encoding), "Folder Sans Mono".encode(encoding))
    (tmp_path / "fonts").mkdir()
    (tmp_path / "fonts" / "folder.ttf").write_bytes(font)
    picture = write(tmp_path / "a.png", noise(3))

    def widths() -> tuple[float, float]:
        graphics = Graphics(load(picture))
        narrow, wide = (graphics.measure_string(text, Font("Folder Sans Mono", 12.0), SizeF(0, 0), None).width
                        for text in ("iiii", "WWWW"))
        return narrow, wide

    with ThreadPoolExecutor(1) as other:
        for measured in (widths(), other.submit(widths).result()):
            assert measured[0] < measured[1]  # another font instead
        FontSettings.set_fonts_folder(str(tmp_path / "fonts"))
        for measured in (widths(), other.submit(widths).result()):
            assert measured[0] == measured[1]


def test_missing_fonts(settings: None, tmp_path: Path) -> None:
    graphics = Graphics(load(write(tmp_path / "a.png", noise(3))))
    missing, there = Font("No Such Font At All", 12.0), Font("DejaVu Sans Mono", 12.0)

    def width(font: Font) -> float:
        return graphics.measure_string("iiii", font, SizeF(0, 0), None).width

    FontSettings.set_default_font_name("DejaVu Sans Mono")
    assert width(missing) == width(there)
    FontSettings.reset()
    FontSettings.set_get_system_alternative_font(False)
    with managed_error("ArgumentException", "No Such Font At All"):
        width(missing)
    assert width(there) > 0
