"""What PNG files say of their colors by numbers: what is sRGB, what makes no sense, and what the others mean."""

from __future__ import annotations

import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import BmpOptions

from support.arrays import Pixels
from support.png_files import GRAY, RGB, Png, from_bytes, to_bytes

#: White, red, green and blue (x and y), in hundred thousandths.
SRGB = (31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000)
WIDE = (31270, 32900, 68000, 32000, 21000, 71000, 15000, 6000)
#: A ramp of each color and of gray.
RAMP = np.array([[(v, 0, 0) for v in range(0, 256, 15)], [(0, v, 0) for v in range(0, 256, 15)],
                 [(0, 0, v) for v in range(0, 256, 15)], [(v, v, v) for v in range(0, 256, 15)],
                 [(v, 255 - v, 128) for v in range(0, 256, 15)]])


def file(gamma: int | None = None, colors: Any = None, kind: int = RGB) -> bytes:
    png = Png(kind, 8, RAMP if kind == RGB else RAMP[3:4, :, :1])
    if gamma is not None:
        png.chunks[b"gAMA"] = struct.pack(">I", gamma)
    if colors is not None:
        png.chunks[b"cHRM"] = struct.pack(">8I", *colors)
    return to_bytes(png)


def in_srgb(data: bytes) -> Pixels:
    """The colors in a file that holds no profile."""
    out = io.BytesIO()
    Image.load(io.BytesIO(data)).save(out, BmpOptions())
    return np.asarray(Pillow.open(io.BytesIO(out.getvalue())).convert("RGB")).astype(int)


def changed(place: int, value: int) -> tuple[int, ...]:
    return tuple(value if i == place else each for i, each in enumerate(SRGB))


def decoded(values: Any) -> Any:
    return np.where(values <= 0.04045, values / 12.92, ((values + 0.055) / 1.055) ** 2.4)


def encoded(values: Any) -> Any:
    values = np.clip(values, 0, 1)
    return np.where(values <= 0.0031308, values * 12.92, 1.055 * values ** (1 / 2.4) - 0.055)


def to_xyz(colors: tuple[int, ...]) -> Any:
    """The map of red, green and blue to XYZ."""
    x, y = np.array(colors[0::2]) / 1e5, np.array(colors[1::2]) / 1e5
    points = np.stack([x / y, np.ones(4), (1 - x - y) / y])
    return points[:, 1:] * np.linalg.solve(points[:, 1:], points[:, 0])


def expected(gamma: int | None, colors: tuple[int, ...]) -> Any:
    linear = decoded(RAMP / 255) if gamma is None else (RAMP / 255) ** (1e5 / gamma)
    back = np.linalg.inv(to_xyz(SRGB)) @ to_xyz(colors)
    return np.rint(encoded(linear @ back.T) * 255)


@pytest.mark.parametrize("gamma", [None, 50000, 100000, 30000])
@pytest.mark.parametrize("colors", [SRGB, WIDE])
def test_colors_by_their_numbers(gamma: int | None, colors: tuple[int, ...]) -> None:
    found = in_srgb(file(gamma, colors))
    assert np.abs(found - expected(gamma, colors)).max() <= 3
    assert (gamma is None and colors == SRGB) == np.array_equal(found, RAMP)


def test_a_gamma_of_grays() -> None:
    found = in_srgb(file(100000, WIDE, GRAY))
    linear = RAMP[3:4] / 255
    assert np.abs(found - np.rint(encoded(linear) * 255)).max() <= 2
    assert np.array_equal(in_srgb(file(None, WIDE, GRAY)), RAMP[3:4])


def profile(data: bytes, tmp_path: Path) -> bytes | None:
    """The profile that the file gets where its picture is saved as PNG."""
    Image.load(io.BytesIO(data)).save(str(tmp_path / "a.png"))
    return from_bytes((tmp_path / "a.png").read_bytes()).chunks.get(b"iCCP")


@pytest.mark.parametrize(("gamma", "has_profile"), [
    (45455, False), (45455 - 460, False), (45455 + 460, False), (45455 - 461, True), (45455 + 461, True),
    (5000, True), (4999, False), (1000000, True), (1000001, False), (0, False)])
def test_which_gamma_is_another(gamma: int, has_profile: bool, tmp_path: Path) -> None:
    """Within a hundredth it is that of sRGB, and beyond a twentieth and ten it is a mistake."""
    assert (profile(file(gamma), tmp_path) is not None) == has_profile


@pytest.mark.parametrize("place", range(8))
def test_which_colors_are_others(place: int, tmp_path: Path) -> None:
    for away, has_profile in ((150, False), (-150, False), (151, True), (-151, True)):
        data = file(None, changed(place, SRGB[place] + away))
        assert (profile(data, tmp_path) is not None) == has_profile, away


@pytest.mark.parametrize("place", [1, 3, 5, 7])
def test_colors_that_are_none(place: int, tmp_path: Path) -> None:
    """Without any light there is no color; the numbers are left alone."""
    data = file(None, changed(place, 0))
    assert profile(data, tmp_path) is None
    assert np.array_equal(in_srgb(data), RAMP)


def test_a_profile_tells_no_time(tmp_path: Path) -> None:
    first, second = (profile(file(50000, WIDE), tmp_path) for _ in range(2))
    assert first is not None and first == second
