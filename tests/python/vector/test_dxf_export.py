"""Vector pictures saved as DXF: the structure of the file, and that its figures show the picture."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Font, Image, Rectangle, Size
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.imageoptions import DxfOptions, PngOptions

from support.drawn_documents import CONTENTS, HEIGHT, WIDTH, difference, document, drawn, rgba
from support.dxf_files import document as shown
from support.dxf_files import blocks, figures, pairs, require_sound, sections
from support.image_oracles import managed_error, noise
from support.metafiles import (bitmap_header, emf, emf_record, floats, font, rows24, select, stretch_dib,
                               text_out)


def loaded(data: bytes) -> Image:
    return Image.load(io.BytesIO(data))


def saved(image: Any, **values: Any) -> str:
    options = DxfOptions()
    for name, value in values.items():
        setattr(options, name, value)
    file = io.BytesIO()
    image.save(file, options)
    assert Image.get_file_format(io.BytesIO(file.getvalue())) == FileFormat.DXF
    return file.getvalue().decode("ascii")


def names(text: str) -> list[str]:
    return sorted({figure.name for figure in figures(text)})


@pytest.mark.parametrize(("name", "kinds", "tolerance"), [
    ("shapes", ["HATCH"], 0.5), ("strokes", ["LWPOLYLINE"], 2.5), ("clips", ["SOLID"], 1.5), ("opacity", ["HATCH"], 7),
    ("text", ["HATCH"], 0.5),
])
def test_figures(name: str, kinds: list[str], tolerance: float) -> None:
    """Caps and joins of lines have no place in the format; a group that is half transparent is that piece by piece."""
    data = document(CONTENTS[name])
    text = saved(loaded(data))
    require_sound(text)
    assert names(text) == kinds
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < tolerance


@pytest.mark.parametrize("closed", ["", "Z"])
def test_lines_are_cut_to_the_clip(closed: str) -> None:
    """Also at those sides of its contours that close them."""
    contours = ([(10, 10), (50, 10), (30, 80)], [(60, 80), (70, 20), (110, 75)])
    path = "".join(f"M {contour[0]} L {contour[1]} L {contour[2]} {closed}" for contour in contours)
    rows = [15, 30.5, 45, 60, 77]
    text = saved(loaded(document(
        f'<clipPath id="two"><path d="{path.translate(str.maketrans("(),", "   "))}"/></clipPath>'
        '<g clip-path="url(#two)" stroke="black" stroke-width="1">'
        + "".join(f'<line x1="0" y1="{y}" x2="{WIDTH}" y2="{y}"/>' for y in rows) + "</g>")))
    found = sorted(tuple(sorted(figure.points())) for figure in figures(text))
    expected = []
    for contour in contours:
        for y in rows:
            crossed = [x0 + (x1 - x0) * (y - y0) / (y1 - y0)
                       for (x0, y0), (x1, y1) in zip(contour, [*contour[1:], contour[0]], strict=True)
                       if min(y0, y1) < y < max(y0, y1)]
            if crossed:
                expected.append(((min(crossed), y), (max(crossed), y)))
    flat = [[number for point in line for number in point] for line in found]
    assert np.allclose(flat, sorted([x0, HEIGHT - y0, x1, HEIGHT - y1] for (x0, y0), (x1, y1) in expected), atol=1e-3)


def named_records(text: str) -> dict[tuple[str, str], dict[int, list[str]]]:
    """What stands around the figures, by kind and name, but for handles, owners and the names of subclasses."""
    found: dict[tuple[str, str], dict[int, list[str]]] = {}
    for name in ("TABLES", "BLOCKS", "OBJECTS"):
        for kind, own in blocks(sections(pairs(text))[name]):
            values: dict[int, list[str]] = {}
            for code, value in own:
                if code not in (5, 105, 330, 100):
                    values.setdefault(code, []).append(value)
            found[kind, values.pop(2, [str(len(found))])[0]] = values
    return found


def test_what_stands_around_the_figures() -> None:
    """The tables and dictionaries that a reader wants, with what the reference says of an entry that nobody changed."""
    text = saved(loaded(document(CONTENTS["strokes"])))
    found = named_records(text)
    plain = {70: ["0"]}
    numbers = {name: int(values[70][0]) for (kind, name), values in found.items() if kind == "TABLE"}
    assert numbers == {"VPORT": 1, "LTYPE": 3, "LAYER": 1, "STYLE": 1, "VIEW": 0, "UCS": 0, "APPID": 1, "DIMSTYLE": 1,
                       "BLOCK_RECORD": 2}
    for kind, count in numbers.items():
        assert len([name for known, name in found if known == kind]) == count
    assert found["VPORT", "*Active"] == {
        **plain, 10: ["0.0"], 20: ["0.0"], 11: ["1.0"], 21: ["1.0"], 12: [f"{WIDTH / 2}"], 22: [f"{HEIGHT / 2}"],
        40: [f"{HEIGHT:.1f}"], 41: [f"{WIDTH / HEIGHT:.6f}".rstrip("0")]}
    for name in ("ByBlock", "ByLayer", "Continuous"):  # without dashes; 65 is the only alignment
        assert found["LTYPE", name] == {**plain, 3: [""], 72: ["65"], 73: ["0"], 40: ["0.0"]}
    styles = {each: values for (kind, each), values in found.items() if kind == "ACDBPLACEHOLDER"}
    handles = {kind: dict(own)[5] for kind, own in blocks(sections(pairs(text))["OBJECTS"])}
    assert list(styles.values()) == [{}]
    # White or black, of the usual weight, and the style of plots that the dictionary calls normal.
    assert found["LAYER", "0"] == {**plain, 62: ["7"], 6: ["Continuous"], 370: ["-3"],
                                   390: [handles["ACDBPLACEHOLDER"]]}
    assert found["STYLE", "Standard"] == {**plain, 40: ["0.0"], 41: ["1.0"], 50: ["0.0"], 71: ["0"], 42: ["1.0"],
                                          3: ["txt"], 4: [""]}
    assert found["APPID", "ACAD"] == found["DIMSTYLE", "Standard"] == plain
    for name in ("*Model_Space", "*Paper_Space"):
        assert found["BLOCK_RECORD", name] == {340: ["0"]}
        assert found["BLOCK", name] == {8: ["0"], **plain, 10: ["0.0"], 20: ["0.0"], 30: ["0.0"], 3: [name], 1: [""]}
    ends = [values for (kind, _), values in found.items() if kind == "ENDBLK"]
    assert ends == [{8: ["0"]}] * 2
    dictionaries = [values for (kind, _), values in found.items() if "DICTIONARY" in kind]
    own = [dict(own)[5] for kind, own in blocks(sections(pairs(text))["OBJECTS"]) if kind == "DICTIONARY"]
    assert dictionaries == [
        {281: ["1"], 3: ["ACAD_GROUP", "ACAD_PLOTSTYLENAME"], 350: [own[1], handles["ACDBDICTIONARYWDFLT"]]},
        {281: ["1"]}, {281: ["1"], 3: ["Normal"], 350: [handles["ACDBPLACEHOLDER"]],
                       340: [handles["ACDBPLACEHOLDER"]]}]
    header = sections(pairs(text))["HEADER"]
    places = {value: dict(header[i + 1:i + 4]) for i, (code, value) in enumerate(header)
              if value in ("$EXTMIN", "$EXTMAX")}
    assert places == {"$EXTMIN": {10: "0.0", 20: "0.0", 30: "0.0"},
                      "$EXTMAX": {10: f"{WIDTH:.1f}", 20: f"{HEIGHT:.1f}", 30: "0.0"}}
    assert header[header.index((9, "$INSUNITS")) + 1] == (70, "0")
    assert header[header.index((9, "$DWGCODEPAGE")) + 1] == (3, "ANSI_1252")


#: The colors that have a number; 7 is black on white and white on black.
NUMBERED = {1: "#ff0000", 2: "#ffff00", 3: "#00ff00", 4: "#00ffff", 5: "#0000ff", 6: "#ff00ff", 8: "#808080"}


@pytest.mark.parametrize(("color", "number"), [
    *[(color, number) for number, color in NUMBERED.items()], ("#000", 7), ("#fff", 7), ("#f20d0d", 1), ("#0000f0", 5),
    ("#787888", 8), ("#e1ff1e", 2), ("#1ee1ff", 4), ("#1eff00", 3), ("#e110e8", 6), ("#010101", 8)])
def test_the_nearest_color_that_has_a_number(color: str, number: int) -> None:
    figure, = figures(saved(loaded(document(f'<rect x="9" y="9" width="20" height="20" fill="{color}"/>'))))
    digits = color[1:] if len(color) > 4 else "".join(2 * digit for digit in color[1:])
    assert (figure.one(62), figure.one(420)) == (str(number), str(int(digits, 16)))


WEIGHTS = [0, 5, 9, 13, 15, 18, 20, 25, 30, 35]


@pytest.mark.parametrize("weight", WEIGHTS[1:])
def test_the_nearest_weight_of_a_line(weight: int) -> None:
    """Hundredths of a millimeter, of those that the format has: that one, and on both sides of a middle."""
    def weight_of(hundredths: float) -> int:
        line = ('<path d="M10 10C40 90 80 -40 110 80" fill="none" stroke="#000" '
                f'stroke-width="{hundredths * 96 / 2540}"/>')
        return int(figures(saved(loaded(document(line))))[0].one(370))
    below = WEIGHTS[WEIGHTS.index(weight) - 1]
    middle = (weight + below) / 2
    assert weight_of(weight) == weight_of(middle + 0.2) == weight
    assert weight_of(middle - 0.2) == below
    assert weight_of(37.7) == 40  # the last: wider lines are drawn as such


def test_thin_curves_are_splines() -> None:
    data = document('<path d="M10 10C40 90 80 -40 110 80L60 85Z" fill="none" stroke="#205080"/>')
    text = saved(loaded(data))
    require_sound(text)
    assert names(text) == ["SPLINE"]
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < 0.5


def test_areas_by_the_winding_rule() -> None:
    """Two areas that lie over each other in one path: by turns there would be a hole."""
    data = document('<path d="M10 10h60v40h-60zM40 20h60v60h-60z" fill="#a03020"/>')
    text = saved(loaded(data))
    assert names(text) == ["SOLID"]
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < 0.5


def with_text() -> Any:
    """A metafile, in which text is text."""
    recorder = EmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), Size(960, 960), Size(254, 254))
    recorder.draw_string("A 100% S", Font("DejaVu Sans", 15.0), Color.red, 5, 20)
    return recorder.end_recording()


def test_text() -> None:
    text = saved(with_text())
    require_sound(text)
    written, = figures(text)
    assert (written.name, written.one(1), written.one(420)) == ("TEXT", "A 100%%37 S", str(0xFF0000))
    lines = saved(with_text(), text_as_lines=True)
    require_sound(lines)
    assert names(lines) == ["LWPOLYLINE", "SPLINE"]
    for count in (1, 7):
        flat = saved(with_text(), text_as_lines=True, convert_text_beziers=True, bezier_point_count=count)
        require_sound(flat)
        assert names(flat) == ["LWPOLYLINE"]
    png = io.BytesIO()
    with_text().save(png, PngOptions())
    wanted = rgba(png.getvalue()).sum()
    assert wanted > 0
    # The outlines lie where the text is.
    places = [(x, HEIGHT - y) for figure in figures(flat) for x, y in figure.points()]
    dark = rgba(png.getvalue())[..., 3] > 100
    ys, xs = dark.nonzero()
    assert min(x for x, _ in places) == pytest.approx(xs.min(), abs=1.5)
    assert max(x for x, _ in places) == pytest.approx(xs.max() + 1, abs=1.5)
    assert min(y for _, y in places) == pytest.approx(ys.min(), abs=1.5)
    assert max(y for _, y in places) == pytest.approx(ys.max() + 1, abs=1.5)


@pytest.mark.parametrize(("map_", "name", "factor", "angle"), [
    ((1, 0, 0, 1), "TEXT", 1, 0), ((2, 0, 0, 0.5), "TEXT", 4, 0), ((0, 1.5, -0.5, 0), "TEXT", 3, 270),
    ((1, 0, 0.5, 1), "HATCH", 0, 0), ((1, 0, 0, -1), "HATCH", 0, 0)])
def test_text_that_is_stretched_is_text(map_: tuple[float, ...], name: str, factor: float, angle: float) -> None:
    """By the width of its letters, measured by their height; slanted and mirrored text is a shape."""
    world = emf_record(35, floats(*map_, 30, 30))
    data = emf(font(1, -15, "DejaVu Sans"), select(1), world, text_out("A", (0, 0), [10]))
    figure = figures(saved(Image.load(io.BytesIO(data))))[-1]  # behind the paper under the text
    assert figure.name == name
    if name == "TEXT":
        assert float(figure.one(41)) == pytest.approx(factor, rel=0.03)
        assert float(figure.one(50)) % 360 == pytest.approx(angle, abs=0.5)


@pytest.mark.parametrize("content", [CONTENTS["gradients"], CONTENTS["image"], CONTENTS["blend"], CONTENTS["mask"]])
def test_what_the_format_has_not(content: str) -> None:
    with managed_error("NotSupportedException", "DXF files hold no "):
        saved(loaded(document(content)))


def test_pixels_are_refused() -> None:
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, "PNG")
    with managed_error("NotSupportedException", "DXF files hold no pictures of pixels"):
        saved(loaded(file.getvalue()))


def test_pixels_in_a_group_of_a_metafile_are_refused() -> None:
    paint = 0x008800C6  # what lies below and the source
    bitmap = stretch_dib(bitmap_header(1, 1, 24), rows24([[0xFF0000]]), (0, 0, 40, 40), (1, 1), paint)
    with managed_error("NotSupportedException", "DXF files hold no pictures of pixels"):
        saved(loaded(emf(bitmap)))


@pytest.mark.parametrize("count", [0, -1, 1001])
def test_numbers_of_points_out_of_range(count: int) -> None:
    with managed_error("ArgumentOutOfRangeException", f"The value {count} is not in 1 to 1000", "bezier_point_count"):
        saved(loaded(document(CONTENTS["shapes"])), bezier_point_count=count)


def test_a_drawing_is_not_read() -> None:
    with managed_error("NotSupportedException", "this runtime does not read DXF files"):
        loaded(saved(loaded(document(CONTENTS["shapes"]))).encode())
