"""Scenes of OpenDocument drawings beside a small renderer of the tests: faces of bodies, lights and the camera by their
published formulas, the farthest faces first."""

from __future__ import annotations

import math
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageDraw

from formats.test_opendocument import drawn
from support.office_files import odg

LEFT, TOP, SIDE = 5, 5, 70  # of the scene, in pixels
FINE = 4  # pixels of the renderer in a pixel
Corners = Any  # an array of a row for each corner


def unit(*vector: float) -> Any:
    return np.array(vector) / np.linalg.norm(vector)


def turned(axis: str, angle: float) -> Any:
    """The matrix of a turn around an axis, counterclockwise for who looks against it."""
    c, s = math.cos(angle), math.sin(angle)
    return {"x": np.array([[1, 0, 0], [0, c, -s], [0, s, c]]), "y": np.array([[c, 0, s], [0, 1, 0], [-s, 0, c]]),
            "z": np.array([[c, -s, 0], [s, c, 0], [0, 0, 1]])}[axis]


# ---- Bodies: their faces


def cube(low: tuple[float, float, float], high: tuple[float, float, float]) -> list[Corners]:
    faces = []
    for axis in range(3):
        one, two = (axis + 1) % 3, (axis + 2) % 3
        for end in (low, high):
            corners = np.zeros((4, 3))
            corners[:, axis] = end[axis]
            corners[:, one] = [low[one], high[one], high[one], low[one]]
            corners[:, two] = [low[two], low[two], high[two], high[two]]
            faces.append(corners)
    return faces


def sphere(center: tuple[float, float, float], size: tuple[float, float, float], around: int,
           down: int) -> list[Corners]:
    def at(i: int, j: int) -> Any:
        turn, rise = 2 * math.pi * i / around, math.pi * j / down
        return np.array(center) + np.array(size) / 2 * [
            math.sin(rise) * math.cos(turn), math.cos(rise), math.sin(rise) * math.sin(turn)]
    return [np.array([at(i, j), at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)])
            for j in range(down) for i in range(around)]


def extruded(outline: list[tuple[float, float]], depth: float) -> list[Corners]:
    back, front = (np.array([(x, y, z) for x, y in outline]) for z in (0, depth))
    rows = range(len(outline))
    sides = [np.array([back[i - 1], back[i], front[i], front[i - 1]]) for i in rows]
    return [back, front, *sides]


def rotated(outline: list[tuple[float, float]], steps: int, sweep: float, closed: bool = True) -> list[Corners]:
    def at(i: int, step: int) -> Any:
        x, y = outline[i]
        return np.array([x, y, 0]) @ turned("y", math.radians(sweep) * step / steps).T
    first = 0 if closed else 1
    sides = [np.array([at(i - 1, k), at(i, k), at(i, k + 1), at(i - 1, k + 1)])
             for i in range(first, len(outline)) for k in range(steps)]
    ends = [np.array([at(i, step) for i in range(len(outline))]) for step in (0, steps)]
    return sides + (ends if closed and abs(sweep) < 360 else [])


# ---- The renderer


@dataclass
class Look:
    color: tuple[int, int, int] = (200, 100, 50)
    emissive: tuple[int, int, int] = (0, 0, 0)
    specular: tuple[int, int, int] = (255, 255, 255)
    shininess: float = 0.15
    opacity: float = 1


@dataclass
class Light:
    color: tuple[int, int, int] = (255, 255, 255)
    direction: tuple[float, float, float] = (0, 0, 1)
    specular: bool = False


@dataclass
class View:
    eye: tuple[float, float, float] = (0, 0, 10000)
    back: tuple[float, float, float] = (0, 0, 1)
    up: tuple[float, float, float] = (0, 1, 0)
    parallel: bool = False
    map: Callable[[Any], Any] = lambda corners: corners
    ambient: tuple[int, int, int] = (0x66, 0x66, 0x66)
    lights: list[Light] = field(default_factory=lambda: [Light()])


def rendered(bodies: list[tuple[list[Corners], Look]], view: View) -> Any:
    """Pixels, and which of them lie two pixels and more within a face."""
    back = unit(*view.back)
    right = unit(*np.cross(view.up, back))
    up = np.cross(back, right)

    def seen(points: Any) -> Any:
        away = points - np.array(view.eye)
        flat = np.stack([away @ right, -(away @ up)], 1)
        return flat if view.parallel else flat / np.maximum(1, -(away @ back))[:, None]

    every = np.concatenate([corners for faces, _ in bodies for corners in faces])
    low, high = every.min(0), every.max(0)
    box = seen(view.map(np.array([[(low, high)[i & 1][0], (low, high)[i >> 1 & 1][1], (low, high)[i >> 2][2]]
                                  for i in range(8)])))
    scale = SIDE * FINE / (box.max(0) - box.min(0))
    shown = []
    for faces, look in bodies:
        for given in faces:
            corners = view.map(given)
            normal = sum(np.cross(corners[i] - corners[0], corners[(i + 1) % len(corners)] - corners[0])
                         for i in range(len(corners)))
            normal = normal / (np.linalg.norm(normal) or 1)
            if normal @ (back if view.parallel else np.array(view.eye) - corners[0]) < 0:
                normal = -normal
            color = np.array(look.emissive) / 255 + np.array(look.color) * np.array(view.ambient) / 255**2
            for light in view.lights:
                cosine = normal @ unit(*light.direction)
                if cosine > 0:
                    color = color + np.array(look.color) * np.array(light.color) / 255**2 * cosine
                    half = normal @ unit(*(unit(*light.direction) + back))
                    if light.specular and half > 0:
                        color = color + np.array(look.specular) / 255 * half**max(1, 128 * look.shininess)
            distance = np.linalg.norm(corners - np.array(view.eye), axis=1).mean()
            shown.append((distance, (seen(corners) - box.min(0)) * scale, np.clip(color, 0, 1), look.opacity))
    # The faces that a place shows, by a number in the base of their count, and the colors of these numbers.
    ids = np.zeros((80 * FINE, 100 * FINE), np.int64)
    colors = {0: np.full(3, 255.0)}
    for number, (_, places, color, opacity) in enumerate(sorted(shown, key=lambda face: -face[0]), 1):
        box = [*np.floor(places.min(0)).astype(int), *np.ceil(places.max(0)).astype(int) + 1]
        mask = Pillow.new("1", (box[2] - box[0], box[3] - box[1]))
        ImageDraw.Draw(mask).polygon([(x - box[0], y - box[1]) for x, y in places], fill=1)
        left, top = LEFT * FINE, TOP * FINE
        part = ids[top + box[1]:top + box[3], left + box[0]:left + box[2]]
        inside = np.asarray(mask)
        if opacity > 0:
            for known in np.unique(part[inside]).tolist():
                code = number if opacity == 1 else known * (len(shown) + 1) + number
                colors[code] = colors[known] + (color * 255 - colors[known]) * opacity
                part[inside & (part == known)] = code
    known, places = np.unique(ids, return_inverse=True)
    page = np.array([colors[code] for code in known.tolist()])[places].reshape(*ids.shape, 3)
    page = np.dstack([page, places.reshape(ids.shape)])
    blocks = page.reshape(80, FINE, 100, FINE, 4).swapaxes(1, 2).reshape(80, 100, -1, 4)
    alone = np.ptp(blocks[..., 3], axis=2) == 0
    owner = np.pad(np.where(alone, blocks[:, :, 0, 3], -1), 2, constant_values=255)
    around = np.stack([owner[dy:dy + 80, dx:dx + 100] for dy in range(5) for dx in range(5)])
    return blocks[..., :3].mean(2), alone & (np.ptp(around, axis=0) == 0)


def check(shapes: str, bodies: list[tuple[list[Corners], Look]], view: View, tmp_path: Path, attributes: str = "",
          lights: str | None = "<dr3d:light/>", style: str = "", least: float = 0.5) -> None:
    """At least so much of the scene is compared."""
    text = (f'<dr3d:scene svg:x="{LEFT}px" svg:y="{TOP}px" svg:width="{SIDE}px" svg:height="{SIDE}px" '
            f'dr3d:shade-mode="flat" {attributes}>{lights or ""}{shapes}</dr3d:scene>')
    usual = "" if "draw:fill-color" in style or "diffuse" in style else 'draw:fill-color="#c86432"'
    usual += "" if "draw:fill=" in style else ' draw:fill="solid"'
    styles = ('<style:style style:name="s" style:family="graphic"><style:graphic-properties draw:stroke="none" '
              f"{usual} {style}/></style:style>")
    page = drawn(odg(text, styles=styles), tmp_path)
    expected, sure = rendered(bodies, view)
    inside = sure[TOP:TOP + SIDE, LEFT:LEFT + SIDE]
    assert inside.mean() > least
    assert np.abs(page - expected)[sure].max() <= 2


# ---- What is compared

LOW, HIGH = (-20.0, -15.0, -10.0), (20.0, 15.0, 30.0)
CUBE = '<dr3d:cube draw:style-name="s" dr3d:min-edge="(-20 -15 -10)" dr3d:max-edge="(20 15 30)"/>'
BODY = [(cube(LOW, HIGH), Look())]
ASLANT = 'dr3d:vrp="(60 50 90)" dr3d:vpn="(60 50 90)"'
FROM_ASIDE = View(eye=(60, 50, 90), back=(60, 50, 90))


@pytest.mark.parametrize(("attributes", "view"), [
    ("", View()), ('dr3d:projection="parallel"', View(parallel=True)),
    ('dr3d:projection="perspective"', View()), (ASLANT, FROM_ASIDE),
    (ASLANT + ' dr3d:projection="parallel"', View((60, 50, 90), (60, 50, 90), parallel=True)),
    ('dr3d:vrp="(-70 30 40)" dr3d:vpn="(-7 3 4)"', View((-70, 30, 40), (-7, 3, 4))),
    ('dr3d:vrp="(30 -70 40)" dr3d:vpn="(3 -7 4)" dr3d:vup="(0 0 1)"', View((30, -70, 40), (3, -7, 4), (0, 0, 1))),
    (ASLANT + ' dr3d:vup="(1 1 0)"', View((60, 50, 90), (60, 50, 90), (1, 1, 0))),
    ('dr3d:vrp="(1cm 20mm 0.9in)" dr3d:vpn="(60 50 90)"', View((1000, 2000, 2286), (60, 50, 90))),
    ('dr3d:vrp="(1 2)" dr3d:vpn="6 5 9" dr3d:vup="(0 1 0"', View()),
])
def test_cameras(attributes: str, view: View, tmp_path: Path) -> None:
    """Lengths without a unit are hundredths of a millimeter; a place of not three numbers is none."""
    check(CUBE, BODY, view, tmp_path, attributes)


@pytest.mark.parametrize(("transform", "step"), [
    ("rotatex (0.4)", lambda p: p @ turned("x", 0.4).T), ("rotatey (-0.7)", lambda p: p @ turned("y", -0.7).T),
    ("rotatez (0.3)", lambda p: p @ turned("z", 0.3).T), ("rotatey (30deg)", lambda p: p @ turned("y", math.pi / 6).T),
    ("scale (2 0.5 1.5) rotatey (0.5)", lambda p: p * [2, 0.5, 1.5] @ turned("y", 0.5).T),
    ("rotatey (0.5), scale (2)", lambda p: p @ turned("y", 0.5).T * [2, 1, 1]),
    ("translate (10 0.1mm -20)\nrotatex (0.4)", lambda p: (p + [10, 10, -20]) @ turned("x", 0.4).T),
    ("translate (10) rotatex (0.4)", lambda p: (p + [10, 0, 0]) @ turned("x", 0.4).T),
    ("matrix (1 0.2 0.3 -0.4 1.5 0.1 0.2 -0.3 0.8 5 0.2mm -7)",
     lambda p: p @ np.array([[1, 0.2, 0.3], [-0.4, 1.5, 0.1], [0.2, -0.3, 0.8]]) + [5, 20, -7]),
    ("matrix (2 0 0 0 2 0 0 0 2 5 5) rotatex (0.4)", lambda p: p @ turned("x", 0.4).T),
    ("unknown (3) rotatex (0.4", lambda p: p), ("rotatex () rotatey (0.5)", lambda p: p @ turned("y", 0.5).T)])
def test_maps(transform: str, step: Any, tmp_path: Path) -> None:
    """Of a body, and of a scene, around whose bodies the box is laid before."""
    moved = [([step(face) for face in BODY[0][0]], Look())]
    check(CUBE.replace("/>", f' dr3d:transform="{transform}"/>'), moved, FROM_ASIDE, tmp_path, ASLANT, least=0.3)
    within = f'<dr3d:scene dr3d:transform="{transform}">{CUBE}</dr3d:scene>'
    check(within, moved, FROM_ASIDE, tmp_path, ASLANT, least=0.3)
    view = View((60, 50, 90), (60, 50, 90), map=step)
    check(CUBE, BODY, view, tmp_path, f'{ASLANT} dr3d:transform="{transform}"', least=0.3)


@pytest.mark.parametrize(("lights", "view"), [
    (None, View(lights=[Light((0xCC, 0xCC, 0xCC), (1, 1, 1), True)])),
    ("<dr3d:light/>", View()), ('<dr3d:light dr3d:enabled="true"/>', View()),
    ('<dr3d:light dr3d:enabled="false"/>', View(lights=[])),
    ('<dr3d:light dr3d:diffuse-color="#408020" dr3d:direction="(1 2 1)"/>',
     View(lights=[Light((0x40, 0x80, 0x20), (1, 2, 1))])),
    ('<dr3d:light dr3d:direction="(1 0 -1)"/><dr3d:light dr3d:diffuse-color="#202020" dr3d:direction="(0 3 1)"/>',
     View(lights=[Light(direction=(1, 0, -1)), Light((0x20, 0x20, 0x20), (0, 3, 1))])),
    ('<dr3d:light dr3d:specular="true" dr3d:direction="(60 90 90)"/>',
     View(lights=[Light(direction=(60, 90, 90), specular=True)])),
    ('<dr3d:light dr3d:specular="false" dr3d:direction="(60 90 90)"/>', View(lights=[Light(direction=(60, 90, 90))])),
    ('<dr3d:light dr3d:specular="true" dr3d:direction="(-1 0.2 -1)"/>',
     View(lights=[Light(direction=(-1, 0.2, -1), specular=True)])),
])
def test_lights(lights: str | None, view: View, tmp_path: Path) -> None:
    view.eye = view.back = (60, 50, 90)
    check(CUBE, BODY, view, tmp_path, ASLANT, lights)
    view.ambient = (0x10, 0x80, 0xFF)
    check(CUBE, BODY, view, tmp_path, ASLANT + ' dr3d:ambient-color="#1080ff"', lights)


@pytest.mark.parametrize(("style", "look"), [
    ("", Look()), ('draw:fill-color="#0a64c8"', Look((10, 100, 200))),
    ('draw:fill-color="#0a64c8" dr3d:diffuse-color="#ff0000"', Look((10, 100, 200))),
    ('dr3d:diffuse-color="#0ac864"', Look((10, 200, 100))), ('dr3d:diffuse-color="none"', Look((0x72, 0x9F, 0xCF))),
    ('dr3d:emissive-color="#204060"', Look(emissive=(0x20, 0x40, 0x60))),
    ('dr3d:specular-color="#004080"', Look(specular=(0, 0x40, 0x80))),
    ('dr3d:shininess="5%"', Look(shininess=0.05)), ('dr3d:shininess="0%"', Look(shininess=0)),
    ('dr3d:shininess="50%"', Look(shininess=0.5)), ('draw:opacity="40%"', Look(opacity=0.4)),
    ('draw:opacity="100%"', Look()), ('draw:opacity="150%"', Look()), ('draw:opacity="0%"', Look(opacity=0)),
    ('draw:opacity="-5%"', Look(opacity=0)), ('draw:fill="none"', Look(opacity=0))])
def test_looks(style: str, look: Look, tmp_path: Path) -> None:
    shine = '<dr3d:light dr3d:specular="true" dr3d:direction="(20 30 90)"/>'
    view = View((60, 50, 90), (60, 50, 90), lights=[Light(direction=(20, 30, 90), specular=True)])
    check(CUBE, [(cube(LOW, HIGH), look)], view, tmp_path, ASLANT, shine, style)


def test_bodies_of_no_size_given(tmp_path: Path) -> None:
    """Five centimeters, and one of depth; curves are made of 24 pieces."""
    square = [(0.0, 0.0), (2000.0, 0.0), (2000.0, 1000.0), (0.0, 1000.0)]
    path = 'svg:d="M0 0H2000V1000H0Z"'
    attributes = 'dr3d:vrp="(6000 5000 9000)" dr3d:vpn="(60 50 90)"'
    view = View((6000, 5000, 9000), (60, 50, 90))
    for shape, faces in (
            ("cube", cube((-2500, -2500, -2500), (2500, 2500, 2500))),
            ("sphere", sphere((0, 0, 0), (5000, 5000, 5000), 24, 24)),
            (f"extrude {path}", extruded(square, 1000)), (f"rotate {path}", rotated(square, 24, 360))):
        least = 0.03 if shape == "sphere" else 0.2
        check(f'<dr3d:{shape} draw:style-name="s"/>', [(faces, Look())], view, tmp_path, attributes, least=least)


@pytest.mark.parametrize(("given", "used"), [("3", 3), ("2", 3), ("4", 4), ("7.9", 7), ("-1", 3)])
def test_numbers_of_pieces(given: str, used: int, tmp_path: Path) -> None:
    around = f'dr3d:horizontal-segments="{given}"'
    center, size = (5.0, -3.0, 2.0), (30.0, 40.0, 20.0)
    shape = '<dr3d:sphere draw:style-name="s" dr3d:center="(5 -3 2)" dr3d:size="(30 40 20)"/>'
    check(shape, [(sphere(center, size, used, 6), Look())], FROM_ASIDE, tmp_path, ASLANT,
          style=around + ' dr3d:vertical-segments="6"', least=0.1)
    check(shape, [(sphere(center, size, 6, used), Look())], FROM_ASIDE, tmp_path, ASLANT,
          style=around.replace("horizontal", "vertical") + ' dr3d:horizontal-segments="6"', least=0.1)
    outline = [(5.0, 0.0), (20.0, 0.0), (12.0, 30.0)]
    check('<dr3d:rotate draw:style-name="s" svg:d="M5 0L20 0L12 30Z"/>', [(rotated(outline, used, 360), Look())],
          FROM_ASIDE, tmp_path, ASLANT, style=around, least=0.1)


@pytest.mark.parametrize(("angle", "sweep"), [("900", 90), ("90deg", 90), ("-60deg", -60), ("3599", 359.9),
                                              ("3600", 360), ("5000", 360)])
def test_parts_of_a_turn(angle: str, sweep: float, tmp_path: Path) -> None:
    """In tenths of a degree; a part of a turn has ends, where its outline is closed."""
    outline = [(5.0, 0.0), (20.0, 0.0), (20.0, 30.0), (5.0, 20.0)]
    style = f'dr3d:end-angle="{angle}" dr3d:horizontal-segments="6"'
    for end, closed in (("Z", True), ("", False)):
        check(f'<dr3d:rotate draw:style-name="s" svg:d="M5 0H20V30L5 20{end}"/>',
              [(rotated(outline, 6, sweep, closed), Look())], FROM_ASIDE, tmp_path, ASLANT, style=style, least=0.1)


@pytest.mark.parametrize(("angle", "ends"), [("3600", False), ("3590", True)])
def test_a_whole_turn_has_no_ends_within_it(angle: str, ends: bool, tmp_path: Path) -> None:
    """Seen through its sides: a body around an axis beside it, from above."""
    outline = [(10.0, 0.0), (20.0, 0.0), (20.0, 30.0), (10.0, 30.0)]
    style = f'dr3d:end-angle="{angle}" dr3d:horizontal-segments="8" draw:opacity="50%"'
    look = Look(opacity=0.5)
    faces = rotated(outline, 8, float(angle) / 10)
    assert len(faces) == 32 + 2 * ends
    view = View((5, 90, 40), (5, 90, 40), parallel=True)
    check('<dr3d:rotate draw:style-name="s" svg:d="M10 0H20V30H10Z"/>', [(faces, look)], view, tmp_path,
          'dr3d:vrp="(5 90 40)" dr3d:vpn="(5 90 40)" dr3d:projection="parallel"', style=style, least=0.05)


def test_extruded_bodies(tmp_path: Path) -> None:
    outline = [(0.0, 0.0), (40.0, 0.0), (30.0, 20.0), (5.0, 25.0)]
    for depth, used in (("15", 15), ("0.25mm", 25), ("0.1cm", 100)):
        for end in ("Z", "L0 0", "L0 0Z"):
            check(f'<dr3d:extrude draw:style-name="s" svg:d="M0 0H40L30 20L5 25{end}"/>',
                  [(extruded(outline, used), Look())], FROM_ASIDE, tmp_path, ASLANT, style=f'dr3d:depth="{depth}"',
                  least=0.2)


def test_several_bodies(tmp_path: Path) -> None:
    """Of a style each; what is no body is left out, and a line without an area has sides alone."""
    other = '<dr3d:cube dr3d:min-edge="(-60 -10 -50)" dr3d:max-edge="(-40 40 -20)" draw:style-name="s"/>'
    third = '<dr3d:extrude draw:style-name="s" svg:d="M30 0L50 10" dr3d:transform="translate (0 0 5)"/>'
    bodies = [(cube(LOW, HIGH), Look()), (cube((-60, -10, -50), (-40, 40, -20)), Look()),
              ([face + [0, 0, 5] for face in extruded([(30, 0), (50, 10)], 15)], Look())]
    check(CUBE + other + '<draw:rect draw:style-name="s" svg:width="50px" svg:height="50px"/>' + third, bodies,
          FROM_ASIDE, tmp_path, ASLANT, style='dr3d:depth="15"', least=0.2)


@pytest.mark.parametrize("body", [
    '<dr3d:cube draw:style-name="s" dr3d:min-edge="(0 0 0)" dr3d:max-edge="(0 0 0)"/>', "",
    '<dr3d:cube draw:style-name="s" dr3d:min-edge="(0 -5 0)" dr3d:max-edge="(0 5 0)"/>'])
def test_scenes_that_show_nothing(body: str, tmp_path: Path) -> None:
    style = ('<style:style style:name="s" style:family="graphic"><style:graphic-properties draw:fill="solid" '
             'draw:fill-color="#000000"/></style:style>')
    text = f'<dr3d:scene svg:x="9px" svg:y="9px" svg:width="60px" svg:height="60px">{body}</dr3d:scene>'
    assert drawn(odg(text, styles=style), tmp_path).min() == 255
