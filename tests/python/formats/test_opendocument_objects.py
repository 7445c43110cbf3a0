"""Each attribute of an OpenDocument drawing as the property of an object: elements, styles, paths and metadata."""

from __future__ import annotations

import io
import math
from typing import Any

import pytest
from zelmor.imaging import Image
from zelmor.imaging.fileformats.opendocument import OdgImage
from zelmor.imaging.fileformats.opendocument.enums import (
    OdGradientStyle, OdMeasureTextKind, OdObjectKind, OdTextAlignModeFlags)
from zelmor.imaging.fileformats.opendocument.objects import brush as od_brushes
from zelmor.imaging.fileformats.opendocument.objects import graphic as od_graphics
from zelmor.imaging.fileformats.opendocument.objects.pen import OdPenStyle

from support.office_files import cast, odg


def page_of(shapes: str, styles: str = "") -> Any:
    image = cast(OdgImage, Image.load(io.BytesIO(odg(shapes, styles=styles))))
    return cast(od_graphics.OdPage, image.records[0])


def own(value: Any) -> Any:
    """The object as one of its own class."""
    name = str(value).rsplit(".", 1)[-1]
    return cast(getattr(od_graphics, name, None) or getattr(od_brushes, name), value)


def first(shapes: str, styles: str = "") -> Any:
    return own(page_of(shapes, styles).items[0])


#: By element: the attributes that become text, lengths, percents, whole numbers, other numbers and truth values. The
#: name of the property is that of the attribute.
SHAPE = "draw:style-name draw:text-style-name draw:layer"
BOX = "svg:x svg:y svg:width svg:height"
ELEMENTS: dict[str, tuple[str, str, str, str, str, str]] = {
    "draw:rect": (SHAPE, f"{BOX} draw:corner-radius svg:rx svg:ry", "", "", "", ""),
    "draw:line": (SHAPE, "", "", "", "", ""), "draw:measure": (SHAPE, "", "", "", "", ""),
    "draw:connector": (f"{SHAPE} draw:type draw:start-shape draw:end-shape draw:line-skew", "", "",
                       "draw:start-glue-point draw:end-glue-point", "", ""),
    "draw:polygon": (SHAPE, BOX, "", "", "", ""), "draw:polyline": (SHAPE, BOX, "", "", "", ""),
    "draw:path": (SHAPE, "", "", "", "", ""), "draw:frame": (f"{SHAPE} draw:copy-of", BOX, "", "", "", ""),
    "draw:custom-shape": (f"{SHAPE} draw:engine draw:data", BOX, "", "", "", ""),
    "draw:g": ("draw:style-name draw:id draw:name", "", "", "draw:z-index", "", ""),
    "draw:image": ("xlink:href xlink:type xlink:show xlink:actuate draw:filter-name", "", "", "", "", ""),
    "draw:text-box": (
        "draw:chain-next-name", "draw:corner-radius fo:min-width fo:min-height fo:max-width fo:max-height", "", "", "",
        ""),
    "text:p": ("text:style-name text:cond-style-name text:class-names text:id", "", "", "", "", ""),
    "text:h": ("text:style-name text:cond-style-name text:class-names text:id", "", "", "", "", ""),
    "text:span": ("text:style-name text:class-names", "", "", "", "", ""),
    "text:list": ("text:style-name text:continue-list", "", "", "", "", "text:continue-numbering"),
    "text:list-item": ("text:style-override", "", "", "text:start-value", "", ""),
    "draw:equation": ("draw:name draw:formula", "", "", "", "", ""),
    "draw:enhanced-geometry": (
        "draw:type draw:extrusion-depth draw:extrusion-first-light-direction draw:extrusion-second-light-direction "
        "dr3d:shade-mode draw:extrusion-rotation-angle draw:extrusion-rotation-center draw:extrusion-skew "
        "dr3d:projection draw:extrusion-viewpoint draw:extrusion-origin draw:text-areas draw:glue-points "
        "draw:glue-point-type draw:glue-point-leaving-directions draw:text-path-mode draw:text-path-scale "
        "draw:modifiers", "",
        "draw:extrusion-brightness draw:extrusion-diffusion draw:extrusion-first-light-level "
        "draw:extrusion-second-light-level draw:extrusion-shininess draw:extrusion-specularity",
        "draw:extrusion-number-of-line-segments",
        "draw:text-rotate-angle draw:path-stretchpoint-x draw:path-stretchpoint-y",
        "draw:mirror-horizontal draw:mirror-vertical draw:extrusion-allowed draw:text-path-allowed "
        "draw:concentric-gradient-fill-allowed draw:extrusion draw:extrusion-light-face "
        "draw:extrusion-first-light-harsh draw:extrusion-second-light-harsh draw:extrusion-metal "
        "draw:extrusion-color draw:text-path draw:text-path-same-letter-heights"),
}
#: Where an element stands that is no shape of a page.
AROUND = {"draw:image": ["draw:frame"], "draw:text-box": ["draw:frame"], "text:p": ["draw:frame", "draw:text-box"],
          "text:h": ["draw:frame", "draw:text-box"], "text:span": ["draw:frame", "draw:text-box", "text:p"],
          "text:list": ["draw:frame", "draw:text-box"],
          "text:list-item": ["draw:frame", "draw:text-box", "text:list"],
          "draw:enhanced-geometry": ["draw:custom-shape"],
          "draw:equation": ["draw:custom-shape", "draw:enhanced-geometry"]}


def element(name: str, attributes: str, inside: str = "") -> str:
    return f"<{name} {attributes}>{inside}</{name}>"


def found(name: str, attributes: str) -> Any:
    """The object of the element, inside of those that it stands in."""
    text = element(name, attributes)
    around = AROUND.get(name, [])
    for each in reversed(around):
        text = element(each, "", text)
    thing = first(text)
    for _ in around:
        thing = own(thing.items[0])
    return thing


def property_of(attribute: str) -> str:
    return attribute.partition(":")[2].replace("-", "_")


@pytest.mark.parametrize("name", ELEMENTS)
def test_attributes_become_properties(name: str) -> None:
    texts, lengths, percents, whole, numbers, truths = (part.split() for part in ELEMENTS[name])
    given: dict[str, tuple[str, Any]] = {}
    for i, attribute in enumerate(texts):
        given[attribute] = f"text {i} of it", f"text {i} of it"
    if "draw:modifiers" in given:
        given["draw:modifiers"] = "1 2 3", "1 2 3"
    for i, attribute in enumerate(lengths):
        given[attribute] = f"{i + 3}.5px", i + 3.5
    for i, attribute in enumerate(percents):
        given[attribute] = f"{i + 11.5}%", i + 11.5
    for i, attribute in enumerate(whole):
        given[attribute] = str(i + 21), i + 21
    for i, attribute in enumerate(numbers):
        given[attribute] = str(i + 31.25), i + 31.25
    for attribute in truths:
        given[attribute] = "true", True
    every = found(name, " ".join(f'{attribute}="{text}"' for attribute, (text, _) in given.items()))
    assert {each: getattr(every, property_of(each)) for each in given} == {
        each: pytest.approx(value) if isinstance(value, float) else value for each, (_, value) in given.items()}
    # And each of them alone: it is no other one's.
    for attribute, (text, value) in given.items():
        alone = found(name, f'{attribute}="{text}"')
        same = [each for each in given if getattr(alone, property_of(each)) == pytest.approx(given[each][1])
                if not isinstance(given[each][1], bool)] if not isinstance(value, bool) else [
            each for each in truths if getattr(alone, property_of(each)) is True]
        assert same == [attribute]
        if isinstance(value, bool):
            assert getattr(found(name, f'{attribute}="false"'), property_of(attribute)) is False


def test_points_and_boxes() -> None:
    for name in ("draw:line", "draw:measure", "draw:connector"):
        line = found(name, 'svg:x1="1.5px" svg:y1="2.5px" svg:x2="3.5px" svg:y2="4.5px"')
        assert (line.point1.x, line.point1.y, line.point2.x, line.point2.y) == (1.5, 2.5, 3.5, 4.5)
    for name in ("draw:polygon", "draw:polyline"):
        polygon = found(name, 'svg:viewBox="1 2 30 40" draw:points="1,2 -3,4.5 6,7"')
        assert [(point.x, point.y) for point in polygon.points] == [(1, 2), (-3, 4.5), (6, 7)]
        area = polygon.view_box
        assert (area.x, area.y, area.width, area.height) == (1, 2, 30, 40)
    area = found("draw:enhanced-geometry", 'svg:viewBox="-5 6 70 80"').view_box
    assert (area.x, area.y, area.width, area.height) == (-5, 6, 70, 80)
    connector = found("draw:connector", 'svg:d="M1 2L3 4"')
    assert connector.data == "M1 2L3 4"
    page = page_of("")
    assert (page.name, page.master_page_name) == ("page1", "M")


@pytest.mark.parametrize(("kind", "expected"), [("section", OdObjectKind.SECTION), ("cut", OdObjectKind.CUT),
                                                ("arc", OdObjectKind.ARC), ("full", OdObjectKind.NONE),
                                                ("", OdObjectKind.NONE)])
@pytest.mark.parametrize("name", ["draw:circle", "draw:ellipse"])
def test_ellipses(name: str, kind: str, expected: OdObjectKind) -> None:
    """By their box, and by their middle and radii."""
    angles = f'draw:kind="{kind}" draw:start-angle="30" draw:end-angle="200.5"'
    for place in ('svg:x="5px" svg:y="6px" svg:width="40px" svg:height="20px"',
                  'svg:cx="25px" svg:cy="16px" svg:rx="20px" svg:ry="10px"'):
        shape = found(name, f"{place} {angles}")
        assert (shape.cx, shape.cy, shape.rx, shape.ry) == (25, 16, 20, 10)
        assert (shape.start_angle, shape.end_angle, shape.kind) == (30, 200.5, expected)
        if name == "draw:ellipse":
            assert (shape.x, shape.y, shape.width, shape.height) == (5, 6, 40, 20)
        else:
            assert shape.r == 20


@pytest.mark.parametrize(("kind", "expected"), [("gap", OdMeasureTextKind.GAP), ("value", OdMeasureTextKind.VALUE),
                                                ("unit", OdMeasureTextKind.UNIT), ("x", OdMeasureTextKind.NONE)])
def test_kinds_of_measures(kind: str, expected: OdMeasureTextKind) -> None:
    frame = first(f'<draw:frame><draw:text-box><text:p><text:measure text:kind="{kind}"/></text:p></draw:text-box>'
                  "</draw:frame>")
    measure = own(own(own(frame.items[0]).items[0]).items[0])
    assert measure.kind == expected


def test_texts_stand_between_elements() -> None:
    frame = first("<draw:frame><draw:text-box><text:p>one<text:span>two</text:span>three</text:p></draw:text-box>"
                  "</draw:frame>")
    paragraph = own(own(frame.items[0]).items[0])
    one, span, three = (own(each) for each in paragraph.items)
    assert (one.text, own(span.items[0]).text, three.text) == ("one", "two", "three")
    assert str(paragraph.parent).endswith("OdTextBox") and str(one.parent).endswith("OdTextParagraph")


# ---- Styles

ALL = ('draw:fill="solid" draw:fill-color="#102030" draw:stroke="dash" svg:stroke-width="3.4px" '
       'svg:stroke-color="#405060" draw:opacity="45%" fo:padding="2px" fo:padding-left="3.5px" '
       'draw:marker-start="A" draw:marker-end="B" draw:marker-start-width="4.5px" draw:marker-end-width="5.5px" '
       'draw:start-guide="6.5px" draw:end-guide="7.5px" draw:line-distance="8.5px"')
TEXT = ('fo:font-size="20px" fo:font-family="Name" fo:font-weight="bold" fo:font-style="italic" '
        'style:text-line-through-style="solid" fo:color="#708090"')
PARAGRAPH = 'fo:text-align="center" fo:margin-top="9.5px" fo:margin-bottom="10.5px" fo:line-height="150%"'
MARKERS = ('<draw:marker draw:name="A" draw:display-name="An A" svg:viewBox="1 2 3 4" svg:d="M1 0L0 3h2z"/>'
           '<draw:marker draw:name="B" svg:d="M5 6z"/>')


def style_of(graphic: str = "", text: str = "", paragraph: str = "", shape: str = "", more: str = "") -> Any:
    styles = (f'{more}<style:style style:name="S" style:family="graphic"><style:graphic-properties {graphic}/>'
              f"<style:paragraph-properties {paragraph}/><style:text-properties {text}/></style:style>")
    return first(f'<draw:rect draw:style-name="S" svg:width="9px" svg:height="9px" {shape}/>', styles).style


def color(number: int) -> int:
    return number & 0xFFFFFFFF


def test_everything_that_a_style_says() -> None:
    style = style_of(ALL, TEXT, PARAGRAPH, more=MARKERS)
    assert color(own(style.brush).argb_32_color) == 0xFF102030
    assert (style.pen.pen_style, style.pen.width) == (OdPenStyle.DASH, 3)
    assert color(cast(od_brushes.OdSolidBrush, style.pen.brush).argb_32_color) == 0xFF405060
    font = style.font
    assert (font.facename, font.height, font.bold, font.italic, font.strikeout) == ("Name", 20, True, True, True)
    assert color(style.text_color) == 0xFF708090
    assert (style.text_align, style.line_height) == (OdTextAlignModeFlags.CENTER, 30)
    assert (style.opacity, style.start_marker_width, style.end_marker_width) == (45, 4.5, 5.5)
    assert (style.padding_top, style.padding_left, style.padding_right, style.padding_bottom) == (2, 3.5, 2, 2)
    assert (style.margin_top, style.margin_bottom) == (9.5, 10.5)
    assert (style.start_guide, style.end_guide, style.measure_line_distance) == (6.5, 7.5, 8.5)
    marker = style.start_marker
    assert (marker.name, marker.display_name, marker.data) == ("A", "An A", "M1 0L0 3h2z")
    box = marker.view_box
    assert (box.x, box.y, box.width, box.height) == (1, 2, 3, 4)
    assert (style.end_marker.name, style.end_marker.data) == ("B", "M5 6z")


def test_what_a_style_says_that_says_nothing() -> None:
    style = style_of()
    assert style.brush is None and (style.pen.pen_style, style.pen.width) == (OdPenStyle.SOLID, 0)
    assert color(cast(od_brushes.OdSolidBrush, style.pen.brush).argb_32_color) == 0xFF000000
    assert (style.font.bold, style.font.italic, style.font.strikeout) == (False, False, False)
    assert (style.text_align, style.line_height, style.opacity) == (OdTextAlignModeFlags.LEFT, 0, 100)
    assert color(style.text_color) == 0xFF000000 and style.start_marker is None and style.end_marker is None
    for name in ("padding_top", "padding_left", "padding_right", "padding_bottom", "margin_top", "margin_bottom",
                 "start_guide", "end_guide", "measure_line_distance", "start_marker_width", "end_marker_width"):
        assert getattr(style, name) == 0


@pytest.mark.parametrize("side", ["top", "left", "right", "bottom"])
def test_the_room_on_one_side(side: str) -> None:
    style = style_of(f'fo:padding-{side}="3.5px"')
    assert [getattr(style, f"padding_{each}") for each in ("top", "left", "right", "bottom")] == [
        3.5 if each == side else 0 for each in ("top", "left", "right", "bottom")]


@pytest.mark.parametrize(("word", "expected"), [("end", "RIGHT"), ("right", "RIGHT"), ("justify", "JUSTIFY"),
                                                ("start", "LEFT"), ("left", "LEFT"), ("center", "CENTER")])
def test_how_text_is_aligned(word: str, expected: str) -> None:
    assert style_of(paragraph=f'fo:text-align="{word}"').text_align == OdTextAlignModeFlags[expected]


@pytest.mark.parametrize(("word", "expected"), [("none", OdPenStyle.NONE), ("dash", OdPenStyle.DASH),
                                                ("solid", OdPenStyle.SOLID)])
def test_kinds_of_lines(word: str, expected: OdPenStyle) -> None:
    assert style_of(f'draw:stroke="{word}"').pen.pen_style == expected


@pytest.mark.parametrize(("height", "expected"), [("12.4px", 12), ("50%", 10), ("", 0)])
def test_heights_of_lines(height: str, expected: int) -> None:
    assert style_of(text='fo:font-size="20px"', paragraph=f'fo:line-height="{height}"').line_height == expected


@pytest.mark.parametrize(("word", "expected"), [
    ("axial", "AXIAL"), ("ellipsoid", "ELLIPSOID"), ("linear", "LINEAR"), ("radial", "RADIAL"),
    ("rectangular", "RECTANGLE"), ("square", "SQUARE"), ("other", "NONE")])
def test_gradients(word: str, expected: str) -> None:
    gradient = (f'<draw:gradient draw:name="G" draw:style="{word}" draw:start-color="#010203" draw:end-color="#040506" '
                'draw:angle="125"/>')
    brush = own(style_of('draw:fill="gradient" draw:fill-gradient-name="G"', more=gradient).brush)
    assert (brush.gradient_style, brush.angle) == (OdGradientStyle[expected], 12.5)
    assert (color(brush.start_color), color(brush.end_color)) == (0xFF010203, 0xFF040506)
    plain = own(style_of('draw:fill="gradient" draw:fill-gradient-name="G"',
                         more='<draw:gradient draw:name="G"/>').brush)
    assert (color(plain.start_color), color(plain.end_color), plain.angle) == (0xFF000000, 0xFF000000, 0)
    assert style_of('draw:fill="gradient" draw:fill-gradient-name="H"', more=gradient).brush is None


def test_hatches_have_the_color_of_their_lines() -> None:
    hatch = '<draw:hatch draw:name="H" draw:color="#123456"/>'
    for name, wanted in (("H", 0xFF123456), ("I", 0xFF000000)):
        brush = own(style_of(f'draw:fill="hatch" draw:fill-hatch-name="{name}"', more=hatch).brush)
        assert str(brush).endswith("OdHatchedBrush") and color(brush.argb_32_color) == wanted


@pytest.mark.parametrize(("transform", "angle", "skew", "move"), [
    ("", 0, 0, (0, 0)), ("translate(3px 4px)", 0, 0, (3, 4)), (f"rotate({math.radians(30)})", 30, 0, (0, 0)),
    (f"rotate({math.radians(-100)}) translate(5px 6px)", -100, 0, (5, 6)),
    (f"skewX({math.radians(20)})", 0, 20, (0, 0)),
    (f"skewX({math.radians(20)}) rotate({math.radians(30)}) translate(1px 2px)", 30, 20, (1, 2)),
    ("scale(2 0)", 0, 0, (0, 0))])
def test_transformations(transform: str, angle: float, skew: float, move: tuple[float, float]) -> None:
    info = style_of(shape=f'draw:transform="{transform}"').transform_info
    assert (info.rotate_angle, abs(info.skew_x), info.skew_y) == pytest.approx((angle, skew, 0), abs=1e-6)
    assert (info.translate_x, info.translate_y) == pytest.approx(move, abs=1e-6)


# ---- Paths


def steps_of(thing: Any) -> list[tuple[Any, ...]]:
    """Each step by its class and its numbers."""
    numbers = {"OdArc": ["point1", "point2", "point3", "point4", "is_arc_to", "clock_wise"],
               "OdCurveTo": ["point1", "point2", "point3"], "OdShortCurveTo": ["point1", "point2", "point3"],
               "OdMoveTo": ["point"], "OdLineTo": ["point"], "OdEllipticalQundrant": ["point", "is_axis_x"],
               "OdAngleEllipse": ["cx", "cy", "rx", "ry", "start_angle", "end_angle"]}
    result = []
    for step in thing.enhanced_path:
        step = own(step)
        name = str(step).rsplit(".", 1)[-1]
        values = [getattr(step, each) for each in numbers.get(name, [])]
        result.append((name, *[(value.x, value.y) if hasattr(value, "x") else value for value in values]))
    return result


def test_steps_of_a_path() -> None:
    path = first('<draw:path svg:width="9px" svg:height="9px" svg:viewBox="0 0 9 9" '
                 'svg:d="M1 2L3 4H5V6C7 8 9 10 11 12S13 14 15 16l1 1c1 1 2 2 3 3Z"/>')
    assert path.data.startswith("M1 2L3 4")
    assert steps_of(path) == [
        ("OdMoveTo", (1, 2)), ("OdLineTo", (3, 4)), ("OdLineTo", (5, 4)), ("OdLineTo", (5, 6)),
        ("OdCurveTo", (7, 8), (9, 10), (11, 12)), ("OdShortCurveTo", (13, 14), (13, 14), (15, 16)),
        ("OdLineTo", (16, 17)), ("OdCurveTo", (17, 18), (18, 19), (19, 20)), ("OdClosePath", )]


def test_steps_of_an_enhanced_path() -> None:
    path = ("M 1 2 3 4 L 5 6 7 8 C 1 2 3 4 5 6 7 8 9 10 11 12 A 1 2 3 4 5 6 7 8 B 1 2 3 4 5 6 7 8 W 1 2 3 4 5 6 7 8 "
            "V 1 2 3 4 5 6 7 8 X 1 2 3 4 5 6 Y 1 2 3 4 T 1 2 3 4 5 6 U 7 8 9 10 11 12 F S Z N")
    shape = first(f'<draw:custom-shape svg:width="9px" svg:height="9px"><draw:enhanced-geometry svg:viewBox="0 0 9 9" '
                  f'draw:enhanced-path="{path}"/></draw:custom-shape>')
    corners = [(1, 2), (3, 4), (5, 6), (7, 8)]
    assert steps_of(own(shape.items[0])) == [
        ("OdMoveTo", (1, 2)), ("OdLineTo", (3, 4)), ("OdLineTo", (5, 6)), ("OdLineTo", (7, 8)),
        ("OdCurveTo", (1, 2), (3, 4), (5, 6)), ("OdCurveTo", (7, 8), (9, 10), (11, 12)),
        ("OdArc", *corners, True, False), ("OdArc", *corners, False, False), ("OdArc", *corners, True, True),
        ("OdArc", *corners, False, True), ("OdEllipticalQundrant", (1, 2), True),
        ("OdEllipticalQundrant", (3, 4), False), ("OdEllipticalQundrant", (5, 6), True),
        ("OdEllipticalQundrant", (1, 2), False), ("OdEllipticalQundrant", (3, 4), True),
        ("OdAngleEllipse", 1, 2, 3, 4, 5, 6), ("OdAngleEllipse", 7, 8, 9, 10, 11, 12), ("OdNoFillPath", ),
        ("OdNoStrokePath", ), ("OdClosePath", ), ("OdEndPath", )]


# ---- Metadata


def test_every_entry_of_the_metadata() -> None:
    entries = {"meta:generator": "generator", "dc:title": "title", "dc:description": "description",
               "dc:subject": "subject", "meta:initial-creator": "initial_creator", "dc:creator": "creator",
               "meta:printed-by": "printed_by", "meta:creation-date": "creation_date_time",
               "dc:date": "modification_date_time", "meta:print-date": "print_date_time", "dc:language": "language",
               "meta:editing-cycles": "editing_cycles", "meta:editing-duration": "editing_duration"}
    text = "".join(f"<{name}>of {name}</{name}>" for name in entries)
    text += ("<meta:keyword>one</meta:keyword><meta:keyword>two</meta:keyword>"
             '<meta:document-statistic meta:page-count="3" meta:object-count="4"/><meta:auto-reload xlink:href="a" '
             'meta:delay="P1"/><meta:hyperlink-behavio' 'ur xlink:show="new"/><meta:template xlink:title="t"/>')
    metadata = cast(OdgImage, Image.load(io.BytesIO(odg("", meta=text)))).metadata
    assert {name: getattr(metadata, known) for name, known in entries.items()} == {
        name: f"of {name}" for name in entries}
    assert metadata.keywords == "one, two"
    assert sorted(metadata.document_statistics.split(", ")) == ["object-count=4", "page-count=3"]
    assert sorted(metadata.automatic_reload.split(", ")) == ["delay=P1", "href=a"]
    assert (metadata.hyperlink_behavior, metadata.document_template) == ("show=new", "title=t")
    empty = cast(OdgImage, Image.load(io.BytesIO(odg("")))).metadata
    assert (empty.keywords, empty.title, empty.document_statistics) == (None, None, None)
