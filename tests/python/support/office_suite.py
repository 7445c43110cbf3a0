"""Drawings as an office suite that is not ours draws and writes them: Debian's libreoffice-draw-nogui."""

from __future__ import annotations

import base64
import io
import os
import shutil
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
from PIL import Image as Pillow
from PIL import ImageFilter

from support.office_files import fodg

OFFICE = shutil.which("soffice")
WIDTH, HEIGHT = 200, 160  # of the pages

TILES = io.BytesIO()
Pillow.fromarray(np.array([[[255, 0, 0], [0, 0, 255]], [[0, 160, 0], [255, 255, 0]]], np.uint8)).resize(
    (32, 32), Pillow.Resampling.NEAREST).save(TILES, "PNG")

DEJAVU = 'fo:font-family="DejaVu Sans" fo:font-size="12pt"'


def graphic(name: str, attributes: str) -> str:
    return (f'<style:style style:name="{name}" style:family="graphic"><style:graphic-properties {attributes}/>'
            "</style:style>")


def styles() -> str:
    """The styles that the pages below use."""
    none = 'draw:stroke="none"'
    box = " ".join(f'fo:padding-{side}="%s"' for side in ("top", "bottom", "left", "right"))
    text = [
        '<draw:stroke-dash draw:name="D" draw:style="rect" draw:dots1="2" draw:dots1-length="12px" draw:dots2="1" '
        'draw:dots2-length="4px" draw:distance="6px"/>',
        '<draw:marker draw:name="A" svg:viewBox="0 0 20 30" svg:d="M10 0L0 30h20z"/>',
        f'<draw:fill-image draw:name="I"><office:binary-data>{base64.b64encode(TILES.getvalue()).decode()}'
        "</office:binary-data></draw:fill-image>",
        graphic("red", f'{none} draw:fill="solid" draw:fill-color="#ff0000"'),
        graphic("line", 'draw:fill="none" draw:stroke="solid" svg:stroke-width="3px" svg:stroke-color="#0000ff"'),
        graphic("thick", 'draw:fill="solid" draw:fill-color="#ffcc00" draw:stroke="solid" svg:stroke-width="8px" '
                         'svg:stroke-color="#004000" draw:stroke-linejoin="miter"'),
        graphic("round", 'draw:fill="none" draw:stroke="solid" svg:stroke-width="8px" svg:stroke-color="#004000" '
                         'draw:stroke-linejoin="round" svg:stroke-linecap="round"'),
        graphic("dash", 'draw:fill="none" draw:stroke="dash" draw:stroke-dash="D" svg:stroke-width="4px" '
                        'svg:stroke-color="#800000"'),
        graphic("arrow", 'draw:fill="none" draw:stroke="solid" svg:stroke-width="3px" svg:stroke-color="#000000" '
                         'draw:marker-end="A" draw:marker-end-width="16px" draw:marker-start="A" '
                         'draw:marker-start-width="12px" draw:marker-start-center="true"'),
        graphic("half", f'{none} draw:fill="solid" draw:fill-color="#0000ff" draw:opacity="40%"'),
        graphic("shade", f'{none} draw:fill="solid" draw:fill-color="#00aa00" draw:shadow="visible" '
                         'draw:shadow-offset-x="8px" draw:shadow-offset-y="6px" draw:shadow-color="#808080" '
                         'draw:shadow-opacity="60%"'),
        graphic("tiles", f'{none} draw:fill="bitmap" draw:fill-image-name="I" style:repeat="stretch"'),
        graphic("box", f'draw:fill="none" {none} {box % (("0px",) * 4)} draw:auto-grow-height="false" '
                       'draw:auto-grow-width="false" draw:textarea-vertical-align="top"'),
        graphic("unbroken", f'draw:fill="none" {none} {box % (("0px",) * 4)} draw:auto-grow-height="false" '
                            'draw:auto-grow-width="false" draw:textarea-vertical-align="top" fo:wrap-option="no-wrap"'),
        graphic("scene", f'draw:fill="none" {none}'),
        graphic("solid", f'{none} draw:fill="solid" draw:fill-color="#3399ff" dr3d:depth="2000" '
                         'dr3d:horizontal-segments="24" dr3d:vertical-segments="24" dr3d:end-angle="900"'),
    ]
    gradients = [("linear", 'draw:angle="300"'), ("axial", 'draw:angle="0"'), ("radial", ""),
                 ("ellipsoid", 'draw:angle="0"'), ("square", 'draw:angle="450"'),
                 ("rectangular", 'draw:angle="0" draw:border="20%"')]
    for i, (kind, more) in enumerate(gradients):
        text.append(f'<draw:gradient draw:name="G{i}" draw:style="{kind}" draw:start-color="#ff0000" draw:end-color='
                    f'"#0000ff" draw:start-intensity="100%" draw:end-intensity="100%" draw:cx="50%" draw:cy="50%" '
                    f"{more}/>")
        text.append(graphic(f"g{i}", f'{none} draw:fill="gradient" draw:fill-gradient-name="G{i}" '
                                     'draw:gradient-step-count="0"'))
    for i, kind in enumerate(["single", "double", "triple"]):
        text.append(f'<draw:hatch draw:name="H{i}" draw:style="{kind}" draw:color="#000000" draw:distance="8px" '
                    'draw:rotation="450"/>')
        text.append(graphic(f"h{i}", f'{none} draw:fill="hatch" draw:fill-hatch-name="H{i}"'))
    for name, family, more in [("P", DEJAVU, ""), ("PC", DEJAVU, 'fo:text-align="center"'),
                               ("PE", 'fo:font-family="DejaVu Serif" fo:font-size="10pt"', 'fo:text-align="end"')]:
        # What programs write beside a color that is left to them.
        text.append(f'<style:style style:name="{name}" style:family="paragraph"><style:paragraph-properties {more}/>'
                    f'<style:text-properties style:use-window-font-color="true" loext:opacity="0%" {family}/>'
                    "</style:style>")
    text.append('<style:style style:name="bold" style:family="text"><style:text-properties fo:font-weight="bold" '
                'fo:color="#ff0000" loext:opacity="100%" fo:font-size="16pt"/></style:style>')
    text.append('<text:list-style style:name="L"><text:list-level-style-number text:level="1" style:num-format="1" '
                'style:num-suffix="."><style:list-level-properties text:space-before="10px" '
                f'text:min-label-width="20px"/><style:text-properties {DEJAVU}/></text:list-level-style-number>'
                "</text:list-style>")
    for name, width in (("C1", 60), ("C2", 120)):
        text.append(f'<style:style style:name="{name}" style:family="table-column"><style:table-column-properties '
                    f'style:column-width="{width}px"/></style:style>')
    text.append('<style:style style:name="R" style:family="table-row"><style:table-row-properties '
                'style:row-height="60px"/></style:style>')
    for name, color, border, more in (("X", "#ffeeaa", "2px solid #000000", ""),
                                      ("Y", "#aaeeff", "1px solid #ff0000", 'draw:textarea-vertical-align="middle"')):
        text.append(f'<style:style style:name="{name}" style:family="table-cell"><loext:graphic-properties draw:fill='
                    f'"solid" draw:fill-color="{color}" {box % (("4px",) * 4)} {more}/><style:paragraph-properties '
                    f'fo:border="{border}"/></style:style>')
    return "".join(text)


def boxes(*names: str, kind: str = "rect") -> str:
    """Shapes with these styles, three in a row."""
    return "".join(f'<draw:{kind} draw:style-name="{name}" svg:x="{10 + i % 3 * 62}px" svg:y="{10 + i // 3 * 72}px" '
                   'svg:width="52px" svg:height="60px"/>' for i, name in enumerate(names))


def custom(x: int, y: int, inner: str, style: str = "thick") -> str:
    return (f'<draw:custom-shape draw:style-name="{style}" svg:x="{x}px" svg:y="{y}px" svg:width="80px" '
            f'svg:height="60px">{inner}</draw:custom-shape>')


def scene(shape: str) -> str:
    """A solid that is turned, seen from a point before it, with one light."""
    return ('<dr3d:scene draw:style-name="scene" svg:x="20px" svg:y="10px" svg:width="160px" svg:height="140px" '
            'dr3d:transform="matrix (0.9 0.2 -0.3 -0.1 0.95 0.3 0.35 -0.25 0.9 0cm 0cm 0cm)" dr3d:vrp="(0 0 14000)" '
            'dr3d:vpn="(0 0 14000)" dr3d:vup="(0 1 0)" dr3d:projection="perspective" dr3d:distance="4cm" '
            'dr3d:focal-length="4cm" dr3d:shade-mode="gouraud" dr3d:ambient-color="#666666">'
            '<dr3d:light dr3d:diffuse-color="#cccccc" dr3d:direction="(0.577 0.577 0.577)" dr3d:enabled="true" '
            f'dr3d:specular="true"/>{shape}</dr3d:scene>')


def picture(data: bytes, place: str) -> str:
    return (f"<draw:frame {place}><draw:image><office:binary-data>{base64.b64encode(data).decode()}"
            "</office:binary-data></draw:image></draw:frame>")


def text_box(inner: str) -> str:
    return ('<draw:frame draw:style-name="box" draw:text-style-name="P" svg:x="10px" svg:y="10px" svg:width="180px" '
            f'svg:height="140px"><draw:text-box>{inner}</draw:text-box></draw:frame>')


#: What pages show, by a name, and how far the two programs may be apart: the mean difference of a channel, of 255.
PAGES: dict[str, tuple[str, float]] = {
    "fills": (boxes("red", "half", "shade", "tiles"), 1.0),
    "lines": ('<draw:line draw:style-name="arrow" svg:x1="20px" svg:y1="20px" svg:x2="150px" svg:y2="60px"/>'
              '<draw:line draw:style-name="dash" svg:x1="20px" svg:y1="60px" svg:x2="150px" svg:y2="60px"/>'
              '<draw:polyline draw:style-name="round" svg:x="20px" svg:y="80px" svg:width="120px" svg:height="60px" '
              'svg:viewBox="0 0 120 60" draw:points="0,0 60,60 120,0"/><draw:polygon draw:style-name="thick" '
              'svg:x="140px" svg:y="80px" svg:width="50px" svg:height="60px" svg:viewBox="0 0 50 60" '
              'draw:points="0,60 25,0 50,60"/>', 4.5),
    "outlines": (boxes("line", "thick", "round"), 5.0),
    "ellipses": (boxes("red", "line", "thick", "half", "g2", "dash", kind="ellipse"), 5.5),
    "gradients": (boxes(*(f"g{i}" for i in range(6))), 7.0),
    "hatches": (boxes("h0", "h1", "h2"), 7.0),
    "paths": ('<draw:path draw:style-name="thick" svg:x="20px" svg:y="10px" svg:width="100px" svg:height="100px" '
              'svg:viewBox="0 0 100 100" svg:d="M0 50A50 50 0 0 1 100 50L100 100Q0 100 0 50ZM30 40H70V60H30Z"/>'
              '<draw:ellipse draw:style-name="thick" svg:x="130px" svg:y="90px" svg:width="60px" svg:height="60px" '
              'draw:kind="section" draw:start-angle="30" draw:end-angle="300"/><draw:rect draw:style-name="half" '
              'svg:width="60px" svg:height="20px" draw:transform="rotate (0.5) translate (3.4cm 1.4cm)"/>', 4.5),
    "custom": (custom(10, 10, '<draw:enhanced-geometry svg:viewBox="0 0 21600 21600" draw:type="right-arrow" '
                              'draw:modifiers="16200 5400" draw:enhanced-path="M 0 $1 L $0 $1 $0 0 21600 10800 $0 '
                              '21600 $0 ?f0 0 ?f0 Z N"><draw:equation draw:name="f0" draw:formula="21600-$1 "/>'
                              "</draw:enhanced-geometry>")
               + custom(110, 10, '<draw:enhanced-geometry svg:viewBox="0 0 21600 21600" draw:type="smiley" '
                                 'draw:modifiers="17520" draw:enhanced-path="U 10800 10800 10800 10800 0 360 Z N U '
                                 "7305 7515 1165 1165 0 360 Z N U 14295 7515 1165 1165 0 360 Z N M 4870 $0 C 8680 ?f0 "
                                 '12920 ?f0 16730 $0 F N"><draw:equation draw:name="f0" draw:formula="$0 +3000"/>'
                                 "</draw:enhanced-geometry>")
               + custom(10, 85, '<draw:enhanced-geometry svg:viewBox="0 0 100 100" draw:enhanced-path="M 0 50 W 0 0 '
                                '100 100 0 50 100 50 L 50 100 Z N"/>', "half"), 4.0),
    "connectors": (boxes("red") + '<draw:connector draw:style-name="line" draw:type="line" svg:x1="70px" svg:y1="30px" '
                   'svg:x2="180px" svg:y2="120px"/><draw:connector draw:style-name="line" svg:x1="70px" svg:y1="60px" '
                   'svg:x2="150px" svg:y2="140px" svg:d="M1852 1588H2911V3704H3969"/>', 1.5),
    "pictures": (picture(TILES.getvalue(), 'svg:x="10px" svg:y="10px" svg:width="80px" svg:height="80px"')
                 + picture(TILES.getvalue(), 'svg:width="60px" svg:height="60px" '
                                             'draw:transform="rotate(0.4) translate(2.9cm 1.6cm)"'), 1.0),
    "text": (text_box('<text:p text:style-name="P">Some words and <text:span text:style-name="bold">bold ones'
                      '</text:span> that do not stay in one line</text:p><text:p text:style-name="PC">in the middle'
                      '</text:p><text:p text:style-name="PE">at the end</text:p>'), 6.5),
    # The option that keeps the text of shapes in one line, which every drawing of the suite has in its default style.
    "boxes": (text_box('<text:p text:style-name="P">Some words that do not stay in one line of a box</text:p>')
              .replace('"box"', '"unbroken"'), 6.5),
    "list": (text_box('<text:list text:style-name="L"><text:list-item><text:p text:style-name="P">one</text:p>'
                      '</text:list-item><text:list-item><text:p text:style-name="P">two</text:p></text:list-item>'
                      "</text:list>"), 1.2),
    "table": ('<draw:frame svg:x="10px" svg:y="10px" svg:width="180px" svg:height="120px"><table:table>'
              '<table:table-column table:style-name="C1"/><table:table-column table:style-name="C2"/>'
              '<table:table-row table:style-name="R"><table:table-cell table:style-name="X"><text:p '
              'text:style-name="P">one</text:p></table:table-cell><table:table-cell table:style-name="Y"><text:p '
              'text:style-name="P">two</text:p></table:table-cell></table:table-row><table:table-row '
              'table:style-name="R"><table:table-cell table:style-name="Y" table:number-columns-spanned="2"><text:p '
              'text:style-name="PC">both</text:p></table:table-cell><table:covered-table-cell/></table:table-row>'
              "</table:table></draw:frame>", 10.0),
    "cube": (scene('<dr3d:cube draw:style-name="solid" dr3d:min-edge="(-2500 -2500 -2500)" '
                   'dr3d:max-edge="(2500 2500 2500)"/>'), 22.0),
    "sphere": (scene('<dr3d:sphere draw:style-name="solid" dr3d:center="(0 0 0)" dr3d:size="(5000 5000 5000)"/>'), 4.0),
    "extruded": (scene('<dr3d:extrude draw:style-name="solid" svg:viewBox="0 0 3000 3000" '
                       'svg:d="M0 0H3000V2000L2000 3000H0ZM1000 1000V2000H2000V1000Z"/>'), 12.0),
    "rotated": (scene('<dr3d:rotate draw:style-name="solid" svg:viewBox="0 0 3000 3000" '
                      'svg:d="M500 0L3000 1000L500 3000Z"/>'), 5.0),
}


def page_file(name: str) -> bytes:
    return fodg(PAGES[name][0], styles=styles(), size=(WIDTH, HEIGHT))


def converted(folder: Path, files: list[Path], kind: str) -> dict[str, Path]:
    """The files in another format, as the office suite writes them, by their names without the extension."""
    assert OFFICE is not None
    folder.mkdir(exist_ok=True)
    said = subprocess.run([OFFICE, f"-env:UserInstallation=file://{folder}/profile", "--headless", "--convert-to", kind,
                           "--outdir", folder, *files], capture_output=True, text=True, timeout=300, check=True,
                          env={**os.environ, "HOME": str(folder)})
    results = {file.stem: folder / f"{file.stem}.{kind}" for file in files}
    missing = [name for name, path in results.items() if not path.exists()]
    assert not missing, (missing, said.stdout, said.stderr)
    return results


def on_white(data: bytes | Path) -> Any:
    """The colors of a picture on white, RGB."""
    with Pillow.open(io.BytesIO(data) if isinstance(data, bytes) else data) as file:
        colors = file.convert("RGBA")
    return Pillow.alpha_composite(Pillow.new("RGBA", colors.size, "white"), colors).convert("RGB")


def softened(image: Any) -> Any:
    return np.asarray(image.filter(ImageFilter.BoxBlur(1))).astype(float)


def nearest_difference(one: Any, other: Any) -> float:
    """The mean difference of the channels of two pictures of one size. Edges are softened, and one picture is moved by
    a pixel where that brings them closer: programs disagree about where on a pixel a line stands.
    """
    assert one.size == other.size, (one.size, other.size)
    a, b = softened(one), softened(other)
    return min(float(np.abs(np.roll(a, (dy, dx), (0, 1)) - b)[1:-1, 1:-1].mean())
               for dx in (-1, 0, 1) for dy in (-1, 0, 1))


def covered(image: Any) -> float:
    """The share of the picture that is not about white."""
    return float((softened(image).min(axis=2) < 200).mean())
