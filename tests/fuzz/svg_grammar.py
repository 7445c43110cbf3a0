"""SVG documents from a grammar: all elements that draw or paint, with attributes of usual and of impossible values.

Altered bytes of a document seldom make another element or attribute, so they find little of what a library does with a
document that is well-formed and wrong.
"""

from __future__ import annotations

import random

#: Values by kind; a usual one is chosen three times out of four.
USUAL = {
    "number": ["0", "1", "2", "0.5", "10", "3px", "50%", "1em", "-1", "25", "7 3"],
    "list": ["1", "1 2", "0 0 0 0", " ".join(["1"] * 9), " ".join(["0.1"] * 20), "0 1 0 1 0 1 0 1"],
    "path": ["M0 0L10 10", "M1 1C5 9 9 1 20 20A5 5 0 0 1 3 3Z", "M0 0Q1 1 2 2T9 9", "M5 5h9v9h-9z", "m0 0 0 0"],
    "transform": ["scale(2)", "rotate(45)", "matrix(1 0 0 1 3 4)", "translate(5)", "skewX(20)", "scale(-1)"],
    "units": ["userSpaceOnUse", "objectBoundingBox"],
    "color": ["red", "none", "currentColor", "url(#linear)", "url(#radial)", "url(#tile)", "rgba(0,0,0,.3)"],
    "input": ["SourceGraphic", "SourceAlpha", "a", "b"],
    "reference": ["#symbol", "#shape", "#group", "#marker"],
}
ODD = {
    "number": ["", "nan", "inf", "1e-30", "1e9", "1e30", "-1e30", "65536", "2147483648", "4294967296", "-50%", "1e5"],
    "list": ["", "nan", "1e30 1e30", "-1 -1", " ".join(["0.5"] * 400), " ".join(["1"] * 401)],
    "path": ["", "M0 0", "M0 0A1e30 1e30 0 1 1 5 5", "M0 0h1e9v-1e9z", "M5 5A0 0 0 0 0 9 9", "M nan 1",
             "M1e30 0L-1e30 1"],
    "transform": ["", "scale(0)", "rotate(1e30)", "skewX(90)", "matrix(0 0 0 0 0 0)", "translate(1e9)", "scale(1e-20)"],
    "units": ["bogus", ""],
    "color": ["url(#nothing)", "#ff", "rgb(1e9,0,0)", "inherit", "context-stroke", ""],
    "input": ["BackgroundImage", "FillPaint", "StrokePaint", "nothing", ""],
    "reference": ["#use", "#nothing", "nothing.svg", "", "data:image/png;base64,AAAA"],
}
Attributes = dict[str, str | list[str]]
AREA: Attributes = dict.fromkeys(("x", "y", "width", "height"), "number")
STYLE: Attributes = {
    "fill": "color", "stroke": "color", "stroke-width": "number", "opacity": "number", "transform": "transform",
    "stroke-dasharray": ["1 2", "0", "0 0", "-1 2", "5%"], "stroke-dashoffset": "number", "stroke-miterlimit": "number",
    "stroke-linecap": ["round", "square"], "stroke-linejoin": ["round", "bevel"],
    "paint-order": ["stroke", "markers fill"],
    "filter": ["url(#first)", "url(#second)", "url(#first) url(#second)", "blur(5)", "blur(1e9)", "hue-rotate(1e9)"],
    "mask": ["url(#mask)", "url(#clip)"], "clip-path": ["url(#clip)", "url(#mask)"], "marker-mid": ["url(#marker)"],
    "mix-blend-mode": ["multiply", "color"], "isolation": ["isolate"], "vector-effect": ["non-scaling-stroke"],
    "marker-start": ["url(#marker)"], "display": ["none"], "overflow": ["visible", "hidden"]}
LIGHT: Attributes = {"surfaceScale": "number", "kernelUnitLength": "number", "lighting-color": "color",
                     "diffuseConstant": "number", "specularConstant": "number", "specularExponent": "number"}
PRIMITIVES: dict[str, Attributes] = {
    "feBlend": {"mode": ["normal", "multiply", "luminosity", "x"], "in2": "input"},
    "feColorMatrix": {"type": ["matrix", "saturate", "hueRotate", "luminanceToAlpha"], "values": "list"},
    "feComponentTransfer": {},
    "feComposite": {"operator": ["over", "in", "xor", "arithmetic"], "in2": "input", "k1": "number", "k4": "number"},
    "feConvolveMatrix": {"order": ["3", "1", "2 3", "20", "0", "-1", "1e9", "3.5"], "kernelMatrix": "list",
                         "divisor": "number", "bias": "number", "targetX": "number", "kernelUnitLength": "number",
                         "edgeMode": ["duplicate", "wrap", "none"], "preserveAlpha": ["true", "false"]},
    "feDiffuseLighting": LIGHT, "feSpecularLighting": LIGHT,
    "feDisplacementMap": {"scale": "number", "in2": "input", "xChannelSelector": ["R", "A"]},
    "feFlood": {"flood-color": "color", "flood-opacity": "number"},
    "feGaussianBlur": {"stdDeviation": "number", "edgeMode": ["none", "wrap"]},
    "feImage": {"xlink:href": "reference", "preserveAspectRatio": ["none", "xMidYMid slice"]},
    "feMerge": {}, "feMorphology": {"operator": ["erode", "dilate"], "radius": "number"},
    "feOffset": {"dx": "number", "dy": "number"}, "feTile": {},
    "feTurbulence": {"baseFrequency": "number", "numOctaves": ["1", "0", "-1", "9"], "seed": "number",
                     "stitchTiles": ["stitch"], "type": ["turbulence", "fractalNoise"]},
    "feDropShadow": {"dx": "number", "dy": "number", "stdDeviation": "number", "flood-color": "color"}}
TEXT: Attributes = {"x": "number", "y": "number", "dx": "number", "font-size": "number", "letter-spacing": "number",
                    "text-anchor": ["end", "middle"], "writing-mode": ["tb", "rl"], "rotate": "list",
                    "baseline-shift": "number", "font-weight": ["bold", "950"], "text-decoration": ["underline"]}
LEAVES: dict[str, Attributes] = {
    "rect": {**AREA, "rx": "number", "ry": "number"}, "circle": {"cx": "number", "cy": "number", "r": "number"},
    "ellipse": {"cx": "number", "cy": "number", "rx": "number", "ry": "number"}, "polyline": {"points": "list"},
    "path": {"d": "path", "pathLength": "number"}, "use": {"xlink:href": "reference", **AREA},
    "image": {"xlink:href": "reference", **AREA}, "text": TEXT}
HOLDERS: dict[str, Attributes] = {
    "g": {}, "switch": {}, "a": {"xlink:href": "reference"},
    "svg": {**AREA, "viewBox": "list", "preserveAspectRatio": ["none", "xMidYMid slice"]}}
GRADIENT: Attributes = {"gradientUnits": "units", "gradientTransform": "transform",
                        "spreadMethod": ["reflect", "repeat"]}
DEFINITIONS: list[tuple[str, str, Attributes]] = [
    ("pattern", "tile", {**AREA, "patternUnits": "units", "patternContentUnits": "units",
                         "patternTransform": "transform", "viewBox": "list"}),
    ("mask", "mask", {**AREA, "maskUnits": "units", "maskContentUnits": "units", "mask-type": ["alpha"]}),
    ("clipPath", "clip", {"clipPathUnits": "units", "transform": "transform"}),
    ("marker", "marker", {"markerWidth": "number", "markerHeight": "number", "refX": "number", "viewBox": "list",
                          "orient": ["auto", "1e30"], "markerUnits": ["userSpaceOnUse"]}),
    ("symbol", "symbol", {"viewBox": "list", "preserveAspectRatio": ["none"]})]


class Writer:
    """Makes one document with the numbers that it is given."""

    def __init__(self, lots: random.Random) -> None:
        self.lots = lots

    def attributes(self, known: Attributes, share: float = 0.6) -> str:
        """Some of the attributes, each with a value of its kind."""
        text = ""
        for name, kind in known.items():
            if self.lots.random() < share:
                values = kind if isinstance(kind, list) else (USUAL if self.lots.random() < 0.75 else ODD)[kind]
                text += f' {name}="{self.lots.choice(values)}"'
        return text

    def primitive(self) -> str:
        """A step of a filter, with the elements that it may have inside."""
        name, inner = self.lots.choice(list(PRIMITIVES)), ""
        if name == "feComponentTransfer":
            inner = "".join(f"<feFunc{band}" + self.attributes({
                "type": ["table", "discrete", "linear", "gamma"], "tableValues": "list", "slope": "number",
                "amplitude": "number", "exponent": "number"}) + "/>" for band in "RGBA" if self.lots.random() < 0.5)
        elif name == "feMerge":
            inner = "".join(f"<feMergeNode{self.attributes({'in': 'input'})}/>" for _ in range(self.lots.randrange(4)))
        elif "Lighting" in name:
            light = self.lots.choice(["feDistantLight", "fePointLight", "feSpotLight"])
            inner = f"<{light}" + self.attributes(dict.fromkeys(
                ("azimuth", "elevation", "x", "y", "z", "pointsAtX", "limitingConeAngle"), "number")) + "/>"
        return (f"<{name}{self.attributes(PRIMITIVES[name])}{self.attributes(AREA, 0.1)}"
                f"{self.attributes({'in': 'input', 'result': ['a', 'b']})}>{inner}</{name}>")

    def shape(self, depth: int = 0) -> str:
        """An element that draws, or one that holds others."""
        style = self.attributes(STYLE, 0.12)
        if depth < 3 and self.lots.random() < 0.3:
            name = self.lots.choice(list(HOLDERS))
            inner = "".join(self.shape(depth + 1) for _ in range(self.lots.randrange(4)))
            return f'<{name} id="group"{self.attributes(HOLDERS[name])}{style}>{inner}</{name}>'
        name = self.lots.choice(list(LEAVES))
        inner = f"ab<tspan{self.attributes(TEXT, 0.2)}>c</tspan>" if name == "text" else ""
        own = "use" if name == "use" else "shape"
        return f'<{name} id="{own}"{self.attributes(LEAVES[name])}{style}>{inner}</{name}>'

    def document(self) -> str:
        """The whole: definitions that everything may refer to, and some shapes."""
        text = ""
        for name in ("first", "second"):
            units = self.attributes({**AREA, "filterUnits": "units", "primitiveUnits": "units"}, 0.3)
            steps = "".join(self.primitive() for _ in range(self.lots.randrange(1, 4)))
            text += f'<filter id="{name}"{units}>{steps}</filter>'
        for kind, sides in (("linear", ("x1", "y1", "x2")), ("radial", ("cx", "r", "fx", "fr"))):
            stops = f"<stop{self.attributes({'offset': 'number', 'stop-color': 'color'})}/>"
            known: Attributes = {**dict.fromkeys(sides, "number"), **GRADIENT}
            text += (f'<{kind}Gradient id="{kind}"{self.attributes(known, 0.4)}>{stops}'
                     f'<stop offset="1" stop-color="blue"/></{kind}Gradient>')
        for element, name, own in DEFINITIONS:
            text += f'<{element} id="{name}"{self.attributes(own, 0.4)}>{self.shape(2)}</{element}>'
        shapes = "".join(self.shape() for _ in range(self.lots.randrange(1, 6)))
        return ('<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="60" '
                f'height="40"><defs>{text}</defs>'
                f'<rect x="5" y="5" width="40" height="30" filter="url(#first)"/>{shapes}</svg>')


def svg_document(lots: random.Random) -> bytes:
    """A document of a few KiB, the same for the same numbers."""
    return Writer(lots).document().encode()
