"""DXF files for tests: reading the pairs of codes and values, and what the figures show, as an SVG document."""

from __future__ import annotations

import math
from collections.abc import Iterator
from dataclasses import dataclass

Pair = tuple[int, str]


def pairs(text: str) -> list[Pair]:
    lines = text.split("\n")
    assert lines[-1] == "" and len(lines) % 2 == 1
    return [(int(code), value) for code, value in zip(lines[:-1:2], lines[1:-1:2], strict=True)]


def blocks(found: list[Pair]) -> Iterator[tuple[str, list[Pair]]]:
    """The parts that begin with the code 0: the name, and the pairs behind it."""
    starts = [i for i, (code, _) in enumerate(found) if code == 0] + [len(found)]
    for begin, end in zip(starts, starts[1:]):
        yield found[begin][1], found[begin + 1:end]


def sections(found: list[Pair]) -> dict[str, list[Pair]]:
    result: dict[str, list[Pair]] = {}
    name = ""
    assert found[-1] == (0, "EOF")
    for i, (code, value) in enumerate(found[:-1]):
        if (code, value) == (0, "SECTION"):
            assert not name and found[i + 1][0] == 2
            name = found[i + 1][1]
            result[name] = []
        elif (code, value) == (0, "ENDSEC"):
            name = ""
        elif not (code == 2 and found[i - 1] == (0, "SECTION")):
            assert name
            result[name].append((code, value))
    return result


@dataclass
class Figure:
    name: str
    pairs: list[Pair]

    def all(self, code: int) -> list[str]:
        return [value for found, value in self.pairs if found == code]

    def one(self, code: int, otherwise: str | None = None) -> str:
        values = self.all(code)
        if not values and otherwise is not None:
            return otherwise
        assert len(values) == 1, (self.name, code, values)
        return values[0]

    def points(self, code: int = 10) -> list[tuple[float, float]]:
        return list(zip(map(float, self.all(code)), map(float, self.all(code + 10)), strict=True))


def figures(text: str) -> list[Figure]:
    return [Figure(name, found) for name, found in blocks(sections(pairs(text))["ENTITIES"])]


def require_sound(text: str) -> None:
    """Sections, handles and owners are as the format wants them."""
    found = pairs(text)
    parts = sections(found)
    assert list(parts) == ["HEADER", "CLASSES", "TABLES", "BLOCKS", "ENTITIES", "OBJECTS"]
    header = dict(zip([value for code, value in parts["HEADER"] if code == 9],
                      [pair for pair, before in zip(parts["HEADER"][1:], parts["HEADER"]) if before[0] == 9],
                      strict=True))
    assert header["$ACADVER"] == (1, "AC1018")
    handles: list[str] = []
    owners: set[str] = set()
    for name in ("TABLES", "BLOCKS", "ENTITIES", "OBJECTS"):
        for kind, own in blocks(parts[name]):
            codes = [code for code, _ in own]
            if kind != "ENDTAB":
                code = 105 if kind == "DIMSTYLE" else 5
                assert codes[0] == (2 if kind == "TABLE" else code), kind
                handles += [value for found_code, value in own if found_code == code][:1]
                owners |= {value for found_code, value in own if found_code == 330}
    assert len(handles) == len(set(handles))
    assert owners <= {*handles, "0"}
    assert int(header["$HANDSEED"][1], 16) > max(int(handle, 16) for handle in handles)


def document(text: str, width: int, height: int) -> bytes:
    """What the figures show, as SVG."""
    out: list[str] = []
    for figure in figures(text):
        color = f"#{int(figure.one(420)):06x}"
        opacity = (int(figure.one(440, str(0x020000FF))) & 255) / 255
        path = ""
        if figure.name == "LWPOLYLINE":
            path = "M" + " L".join(f"{x} {y}" for x, y in figure.points())
            path += "Z" if int(figure.one(70)) & 1 else ""
        elif figure.name == "SPLINE":
            points = figure.points()
            knots = [float(knot) for knot in figure.all(40)]
            count = (len(points) - 1) // 3
            assert int(figure.one(71)) == 3 and int(figure.one(73)) == len(points) == 3 * count + 1
            assert knots == sorted([0.0, float(count)] + [float(i) for i in range(count + 1) for _ in range(3)])
            assert int(figure.one(72)) == len(knots)
            path = f"M{points[0][0]} {points[0][1]}"
            for i in range(1, len(points), 3):
                path += "C" + " ".join(f"{x} {y}" for x, y in points[i:i + 3])
        if path:
            line = float(figure.one(43, "0")) or max(float(figure.one(370, "0")) * 96 / 2540, 0.5)
            out.append(f'<path d="{path}" fill="none" stroke="{color}" stroke-width="{line}" '
                       f'stroke-opacity="{opacity}"/>')
        elif figure.name == "SOLID":
            corners = [figure.points(code)[0] for code in (10, 11, 13, 12)]
            out.append(f'<path d="M{" L".join(f"{x} {y}" for x, y in corners)}Z" fill="{color}" '
                       f'fill-opacity="{opacity}" shape-rendering="crispEdges"/>')
        elif figure.name == "HATCH":
            points = figure.points()[1:]  # the first is the elevation
            path = ""
            for length in map(int, figure.all(93)):
                path += "M" + " L".join(f"{x} {y}" for x, y in points[:length]) + "Z"
                points = points[length:]
            assert not points and len(figure.all(93)) == int(figure.one(91))
            out.append(f'<path d="{path}" fill="{color}" fill-opacity="{opacity}" fill-rule="evenodd"/>')
        elif figure.name == "TEXT":
            (x, y), = figure.points()
            angle = math.radians(float(figure.one(50)))
            out.append(f'<text transform="matrix({math.cos(angle)} {math.sin(angle)} {math.sin(angle)} '
                       f'{-math.cos(angle)} {x} {y})" font-family="DejaVu Sans" '
                       f'font-size="{float(figure.one(40)) / 0.72}" fill="{color}">{figure.one(1)}</text>')
    body = "".join(out)
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}">'
            f'<g transform="matrix(1 0 0 -1 0 {height})">{body}</g></svg>').encode()
