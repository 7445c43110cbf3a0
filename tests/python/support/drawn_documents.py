"""SVG documents for tests of vector images, and how a program that is not ours draws them (rsvg-convert)."""

from __future__ import annotations

import io
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
from PIL import Image as Pillow

WIDTH, HEIGHT = 120, 90

#: A red and a blue pixel.
TWO_PIXELS = io.BytesIO()
Pillow.fromarray(np.array([[[255, 0, 0], [0, 0, 255]]], np.uint8)).save(TWO_PIXELS, "PNG")

DEFINITIONS = """
<defs>
<linearGradient id="linear" x2="1" y2="0.5"><stop offset="0" stop-color="red"/>
<stop offset="1" stop-color="blue" stop-opacity="0.5"/></linearGradient>
<linearGradient id="waves" gradientUnits="userSpaceOnUse" x1="10" y1="10" x2="30" y2="20" spreadMethod="reflect">
<stop offset="0" stop-color="yellow"/><stop offset="1" stop-color="teal"/></linearGradient>
<radialGradient id="radial" fx="0.3" fy="0.4"><stop offset="0" stop-color="lime"/>
<stop offset="1" stop-color="navy"/></radialGradient>
<pattern id="pattern" width="10" height="10" patternUnits="userSpaceOnUse"><rect width="5" height="5" fill="red"/>
</pattern>
<mask id="mask"><rect width="120" height="90" fill="url(#linear)"/></mask>
<clipPath id="clip"><circle cx="60" cy="45" r="30"/></clipPath>
<filter id="blur"><feGaussianBlur stdDeviation="3"/></filter>
</defs>
"""

#: What documents show, by a name.
CONTENTS = {
    "shapes": '<rect x="10" y="10" width="50" height="30"/><path d="M50 20q30 60 60 0z" fill="#08f"/>'
              '<path d="M20 50h40v30h-40zm10 8h20v14h-20z" fill="green" fill-rule="evenodd" fill-opacity="0.7"/>',
    "strokes": '<rect x="10" y="10" width="60" height="40" fill="none" stroke="black" stroke-width="4" '
               'stroke-dasharray="8 3"/><path d="M20 70L60 80L100 55" fill="none" stroke="red" stroke-width="9" '
               'stroke-linejoin="round" stroke-linecap="round"/>'
               '<g transform="scale(2 .5)"><circle cx="42" cy="60" r="9" '
               'stroke="green" stroke-width="5" fill="none"/></g>',
    "gradients": '<rect x="5" y="5" width="50" height="50" fill="url(#linear)"/>'
                 '<rect x="5" y="60" width="110" height="25" fill="url(#waves)"/>'
                 '<ellipse cx="85" cy="30" rx="30" ry="20" fill="url(#radial)" '
                 'stroke="url(#linear)" stroke-width="4"/>',
    "clips": '<g clip-path="url(#clip)"><rect width="120" height="90" fill="teal"/>'
             '<g clip-path="url(#clip)"><rect y="40" width="120" height="20"/></g></g>',
    "opacity": '<g opacity="0.5"><rect x="10" y="10" width="60" height="60"/>'
               '<rect x="40" y="20" width="60" height="60" fill="red"/></g>',
    "text": '<text x="8" y="50" font-family="DejaVu Sans" font-size="24" fill="purple">Text &#xE9;&lt;</text>',
    "mask": '<rect width="120" height="90" fill="green" mask="url(#mask)"/><rect width="20" height="20"/>',
    "pattern": '<rect x="20" y="20" width="80" height="60" fill="url(#pattern)"/>',
    "filter": '<rect x="40" y="30" width="40" height="30" filter="url(#blur)"/>',
    "blend": '<rect x="10" y="10" width="70" height="60" fill="yellow"/><rect x="40" y="30" width="70" height="50" '
             'fill="#08f" style="mix-blend-mode:multiply"/>',
    "image": '<image x="20" y="20" width="80" height="40" image-rendering="optimizeSpeed" '
             'xlink:href="data:image/png;base64,@"/>',
}


def document(content: str, attributes: str = f'width="{WIDTH}" height="{HEIGHT}"') -> bytes:
    """An SVG document with the definitions above."""
    import base64
    text = content.replace("@", base64.b64encode(TWO_PIXELS.getvalue()).decode())
    return (f'<?xml version="1.0"?>\n<svg xmlns="http://www.w3.org/2000/svg" '
            f'xmlns:xlink="http://www.w3.org/1999/xlink" {attributes}>{DEFINITIONS}{text}</svg>\n').encode()


def drawn(data: bytes, *options: str) -> Any:
    """The pixels of a document as rsvg-convert draws them: RGBA, colors multiplied by alpha."""
    result = subprocess.run(["rsvg-convert", *options, "-f", "png"], input=data, capture_output=True, timeout=60,
                            check=True)
    return rgba(result.stdout)


def rgba(data: bytes | Path) -> Any:
    """The pixels of a picture file, with colors multiplied by alpha, so that transparent pixels are equal."""
    with Pillow.open(io.BytesIO(data) if isinstance(data, bytes) else data) as picture:
        pixels = np.asarray(picture.convert("RGBA")).astype(float)
    pixels[..., :3] *= pixels[..., 3:] / 255
    return pixels


def difference(one: Any, other: Any) -> float:
    """The mean difference of the channels."""
    assert one.shape == other.shape, (one.shape, other.shape)
    return float(np.abs(one - other).mean())
