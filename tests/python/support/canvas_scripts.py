"""Scripts for the canvas element of HTML, read back: what they draw, as an SVG document.

A script consists of few kinds of statements, each on a line of its own; any other statement is an error. The document
is drawn by rsvg-convert, as no browser is at hand.
"""

from __future__ import annotations

import json
import re
from dataclasses import dataclass, field
from typing import Any

Matrix = tuple[float, float, float, float, float, float]
IDENTITY: Matrix = (1, 0, 0, 1, 0, 0)


def product(inner: Matrix, outer: Matrix) -> Matrix:
    """First the inner map, then the outer."""
    a, b, c, d, e, f = inner
    g, h, i, j, k, m = outer
    return (a * g + b * i, a * h + b * j, c * g + d * i, c * h + d * j, e * g + f * i + k, e * h + f * j + m)


@dataclass
class State:
    matrix: Matrix = IDENTITY
    clips: int = 0  # groups that are open because of clips
    values: dict[str, Any] = field(default_factory=lambda: {
        "fillStyle": "rgba(0,0,0,1)", "strokeStyle": "rgba(0,0,0,1)", "lineWidth": 1, "lineCap": "butt",
        "lineJoin": "miter", "miterLimit": 10, "lineDashOffset": 0, "globalAlpha": 1, "font": "10px sans-serif",
        "globalCompositeOperation": "source-over", "imageSmoothingEnabled": True, "direction": "ltr",
        "textAlign": "start", "dash": []})


@dataclass
class Paint:
    kind: str
    numbers: list[Any]
    stops: list[tuple[float, str]] = field(default_factory=list)
    matrix: Matrix = IDENTITY


class Layer:
    """A context and the canvas that it draws on."""

    def __init__(self) -> None:
        self.states = [State()]
        self.out: list[str] = []
        self.path = ""

    @property
    def state(self) -> State:
        return self.states[-1]


def matrix_text(matrix: Matrix) -> str:
    return "matrix(" + " ".join(f"{number:.9g}" for number in matrix) + ")"


class Replay:
    def __init__(self, script: str) -> None:
        element = re.search(r'<canvas id="([^"]*)" width="(\d+)" height="(\d+)"></canvas>', script)
        assert element is not None
        self.id, self.width, self.height = element[1], int(element[2]), int(element[3])
        self.images = json.loads("[" + re.search(r"var addresses = \[(.*?)\];", script, re.S)[1] + "]")  # type: ignore
        body = re.search(r'below = \[\], p;\n(.*?)\n?\}\nvar addresses', script, re.S)
        assert body is not None
        self.definitions: list[str] = []
        self.below: list[Layer] = []
        self.c = Layer()
        self.p: Any = None
        for line in body[1].splitlines():
            self.run(line)
        assert not self.below and len(self.c.states) == 1

    def document(self) -> bytes:
        return (f'<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" '
                f'width="{self.width}" height="{self.height}"><defs>{"".join(self.definitions)}</defs>'
                f'{"".join(self.c.out)}</svg>').encode()

    def define(self, element: str) -> str:
        name = f"d{len(self.definitions)}"
        self.definitions.append(element.replace(" ", f' id="{name}" ', 1))
        return f"url(#{name})"

    def run(self, line: str) -> None:
        if line in ("below.push(c);",):
            self.below.append(self.c)
        elif line == "c=layer();":
            self.c = Layer()
        elif line == "p=c.canvas;":
            assert len(self.c.states) == 1
            self.p = self.c
        elif line == "c=below.pop();":
            self.c = self.below.pop()
        elif match := re.fullmatch(r"p=c\.create(LinearGradient|RadialGradient)\((.*)\);", line):
            self.p = Paint(match[1], json.loads(f"[{match[2]}]"))
        elif match := re.fullmatch(r'p=c\.createPattern\(images\[(\d+)\],"(repeat|no-repeat)"\);', line):
            self.p = Paint("Pattern", [int(match[1]), match[2]])
        elif match := re.fullmatch(r"p\.setTransform\(new DOMMatrix\(\[(.*)\]\)\);", line):
            self.p.matrix = tuple(json.loads(f"[{match[1]}]"))
        elif match := re.fullmatch(r"p\.addColorStop\((.*)\);", line):
            self.p.stops.append(tuple(json.loads(f"[{match[1]}]")))
        elif match := re.fullmatch(r"c\.(fillStyle|strokeStyle)=p;", line):
            self.c.state.values[match[1]] = self.p
        elif match := re.fullmatch(r"c\.(\w+)=(.*);", line):
            assert match[1] in self.c.state.values, line
            self.c.state.values[match[1]] = json.loads(match[2])
        elif match := re.fullmatch(r"c\.drawImage\((p|images\[(\d+)\]),0,0\);", line):
            self.draw_image(None if match[1] == "p" else self.images[int(match[2])])
        elif match := re.fullmatch(r"c\.(\w+)\((.*)\);", line):
            getattr(self, match[1])(*json.loads(f"[{match[2]}]"))
        else:
            raise AssertionError(f"an unknown statement: {line}")

    # ---- State

    def save(self) -> None:
        state = self.c.state
        self.c.states.append(State(state.matrix, 0, dict(state.values)))

    def restore(self) -> None:
        assert len(self.c.states) > 1
        self.c.out.append("</g>" * self.c.states.pop().clips)

    def transform(self, *matrix: float) -> None:
        self.c.state.matrix = product(tuple(matrix), self.c.state.matrix)  # type: ignore

    def setLineDash(self, dashes: list[float]) -> None:  # noqa: N802 (names of the script)
        self.c.state.values["dash"] = dashes

    # ---- Paths; their points are those of the canvas

    def point(self, x: float, y: float) -> str:
        a, b, c, d, e, f = self.c.state.matrix
        return f"{x * a + y * c + e:.9g} {x * b + y * d + f:.9g} "

    def beginPath(self) -> None:  # noqa: N802
        self.c.path = ""

    def moveTo(self, x: float, y: float) -> None:  # noqa: N802
        self.c.path += "M" + self.point(x, y)

    def lineTo(self, x: float, y: float) -> None:  # noqa: N802
        self.c.path += "L" + self.point(x, y)

    def bezierCurveTo(self, *n: float) -> None:  # noqa: N802
        assert len(n) == 6
        self.c.path += "C" + self.point(n[0], n[1]) + self.point(n[2], n[3]) + self.point(n[4], n[5])

    def closePath(self) -> None:  # noqa: N802
        self.c.path += "Z"

    def clip(self, rule: str) -> None:
        name = self.define(f'<clipPath ><path d="{self.c.path}" clip-rule="{rule}"/></clipPath>')
        self.c.out.append(f'<g clip-path="{name}">')
        self.c.state.clips += 1

    # ---- Paints

    def paint(self, style: str, inside: Matrix) -> str:
        """The name of a paint for an element whose space `inside` maps to the canvas."""
        value = self.c.state.values[style]
        if isinstance(value, str):
            return value
        to_element = product(product(value.matrix, self.c.state.matrix), inverse(inside))
        placing = f'Transform="{matrix_text(to_element)}"'
        if value.kind == "Pattern":
            index, _repeat = value.numbers
            width, height = png_size(self.images[index])
            return self.define(f'<pattern patternUnits="userSpaceOnUse" width="{width}" height="{height}" '
                               f'pattern{placing}><image width="{width}" height="{height}" '
                               f'xlink:href="{self.images[index]}"/></pattern>')
        stops = "".join(f'<stop offset="{at}" stop-color="{color}"/>' for at, color in value.stops)
        n = value.numbers
        if value.kind == "LinearGradient":
            return self.define(f'<linearGradient gradientUnits="userSpaceOnUse" x1="{n[0]}" y1="{n[1]}" x2="{n[2]}" '
                               f'y2="{n[3]}" gradient{placing}>{stops}</linearGradient>')
        return self.define(f'<radialGradient gradientUnits="userSpaceOnUse" fx="{n[0]}" fy="{n[1]}" fr="{n[2]}" '
                           f'cx="{n[3]}" cy="{n[4]}" r="{n[5]}" gradient{placing}>{stops}</radialGradient>')

    def add(self, element: str) -> None:
        alpha = self.c.state.values["globalAlpha"]
        self.c.out.append(f'<g opacity="{alpha}">{element}</g>' if alpha != 1 else element)

    def fill(self, rule: str) -> None:
        self.add(f'<path d="{self.c.path}" fill="{self.paint("fillStyle", IDENTITY)}" fill-rule="{rule}"/>')

    def stroke(self) -> None:
        values, matrix = self.c.state.values, self.c.state.matrix
        points = re.sub(r"([-\d.e+]+) ([-\d.e+]+) ", lambda m: moved(m, inverse(matrix)), self.c.path)
        dashes = " ".join(map(str, values["dash"])) or "none"
        self.add(f'<path d="{points}" fill="none" stroke="{self.paint("strokeStyle", matrix)}" '
                 f'stroke-width="{values["lineWidth"]}" stroke-linecap="{values["lineCap"]}" '
                 f'stroke-linejoin="{values["lineJoin"]}" stroke-miterlimit="{values["miterLimit"]}" '
                 f'stroke-dasharray="{dashes}" stroke-dashoffset="{values["lineDashOffset"]}" '
                 f'transform="{matrix_text(matrix)}"/>')

    def fillRect(self, x: float, y: float, width: float, height: float) -> None:  # noqa: N802
        fill = self.paint("fillStyle", IDENTITY)
        self.add(f'<rect x="{x}" y="{y}" width="{width}" height="{height}" fill="{fill}"/>')

    def clearRect(self, *area: float) -> None:  # noqa: N802
        assert not self.c.out, "only a canvas that nothing was drawn on is cleared"
        assert area == (0, 0, self.width, self.height)

    def fillText(self, text: str, x: float, y: float) -> None:  # noqa: N802
        values, matrix = self.c.state.values, self.c.state.matrix
        font = re.fullmatch(r'(italic )?(bold )?([\d.]+)px (.*)', values["font"])
        assert font is not None
        text = text.replace("&", "&amp;").replace("<", "&lt;")
        family = font[4].replace('"', "'")
        self.add(f'<text x="{x}" y="{y}" font-family="{family}" font-size="{font[3]}" '
                 f'font-style="{"italic" if font[1] else "normal"}" font-weight="{"bold" if font[2] else "normal"}" '
                 f'fill="{self.paint("fillStyle", matrix)}" transform="{matrix_text(matrix)}">{text}</text>')

    def draw_image(self, address: str | None) -> None:
        values = self.c.state.values
        if address is None:
            mode = values["globalCompositeOperation"].replace("source-over", "normal")
            self.add(f'<g style="mix-blend-mode:{mode}">{"".join(self.p.out)}</g>')
            return
        width, height = png_size(address)
        rendering = "auto" if values["imageSmoothingEnabled"] else "optimizeSpeed"
        self.add(f'<image width="{width}" height="{height}" xlink:href="{address}" image-rendering="{rendering}" '
                 f'transform="{matrix_text(self.c.state.matrix)}"/>')


def inverse(matrix: Matrix) -> Matrix:
    a, b, c, d, e, f = matrix
    det = a * d - b * c
    return (d / det, -b / det, -c / det, a / det, (c * f - d * e) / det, (b * e - a * f) / det)


def moved(match: re.Match[str], matrix: Matrix) -> str:
    x, y = float(match[1]), float(match[2])
    a, b, c, d, e, f = matrix
    return f"{x * a + y * c + e:.9g} {x * b + y * d + f:.9g} "


def png_size(address: str) -> tuple[int, int]:
    import base64
    import struct
    head = "data:image/png;base64,"
    assert address.startswith(head)
    width, height = struct.unpack_from(">II", base64.b64decode(address[len(head):]), 16)
    return width, height
