"""The codecs of TGA and of icons beside Pillow, ImageMagick and icoutils.

Files of each program are read as the others read them. The codecs are called by a program of their own
(tests/native/format_rows.cpp).
"""

from __future__ import annotations

import io
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from support.other_programs import plain_environment
from support.places import BUILD_DIR

Pixels = np.ndarray[Any, np.dtype[np.uint8]]
PROGRAM = str(BUILD_DIR / "test-native" / "format_rows")
MAGICK = "/usr/bin/convert-im6.q16"
WIDTH, HEIGHT = 37, 11


def run(*command: object, data: bytes = b"") -> bytes:
    """What a program prints; its success is demanded."""
    done = subprocess.run([str(word) for word in command], input=data, capture_output=True, timeout=60,
                          env=plain_environment())
    assert done.returncode == 0, done.stderr.decode()
    return done.stdout


def read(kind: str, path: Path, index: int = 0) -> tuple[Pixels, list[str]]:
    """The picture as RGBA, and the other words of the first line."""
    line, _, rest = run(PROGRAM, "read", kind, path, index).partition(b"\n")
    width, height, *words = line.decode().split()
    return np.frombuffer(rest, np.uint8).reshape(int(height), int(width), 4), words


def picture(bands: int, seed: int = 1) -> Pixels:
    """Random colors with runs of equal ones."""
    random = np.random.default_rng(seed)
    colors = random.integers(0, 256, (HEIGHT, WIDTH, bands), dtype=np.uint8)
    colors[:, 5:20] = colors[:, 5:6]
    colors[3] = colors[2]
    return colors


def by_magick(path: Path) -> Pixels:
    """The picture as ImageMagick reads it."""
    return by_pillow(run(MAGICK, path, "-auto-orient", "-depth", 8, "png32:-"))


def by_pillow(source: bytes | Path) -> Pixels:
    """The picture as Pillow reads it."""
    with Pillow.open(io.BytesIO(source) if isinstance(source, bytes) else source) as image:
        return np.asarray(image.convert("RGBA"))


@pytest.mark.parametrize("compression", [None, "tga_rle"])
@pytest.mark.parametrize("orientation", [-1, 1])
@pytest.mark.parametrize("mode", ["L", "LA", "P", "RGB", "RGBA"])
def test_a_tga_of_pillow(tmp_path: Path, mode: str, orientation: int, compression: str | None) -> None:
    bands = {"L": 1, "LA": 2, "P": 3, "RGB": 3, "RGBA": 4}[mode]
    made = picture(bands)
    if mode == "P":
        image = Pillow.fromarray(made, "RGB").quantize(50)
    else:
        image = Pillow.fromarray(made[..., 0] if bands == 1 else made, mode)
    path = tmp_path / "a.tga"
    image.save(path, orientation=orientation, compression=compression, id_section=b"written by another")
    found, words = read("tga", path)
    assert words[0] == {"L": "8", "LA": "16", "P": "8", "RGB": "24", "RGBA": "32"}[mode]
    assert words[2] == "footer"
    assert np.array_equal(found, np.asarray(image.convert("RGBA")))


@pytest.mark.parametrize("runs", ["None", "RLE"])
@pytest.mark.parametrize("orientation", ["TopLeft", "TopRight", "BottomRight", "BottomLeft"])
@pytest.mark.parametrize("kind", ["TrueColor", "TrueColorAlpha", "Grayscale", "Palette"])
def test_a_tga_of_imagemagick(tmp_path: Path, kind: str, orientation: str, runs: str) -> None:
    made = picture(4 if kind == "TrueColorAlpha" else 3)
    image = Pillow.fromarray(made)
    if kind == "Grayscale":
        image = image.convert("L")
    elif kind == "Palette":
        image = image.quantize(40)
    source = tmp_path / "a.png"
    image.save(source)
    path = tmp_path / "a.tga"
    colors = [] if kind == "Palette" else ["-type", kind]
    run(MAGICK, source, "-orient", orientation, "-compress", runs, *colors, path)
    assert path.read_bytes()[2] == {"Palette": 1, "Grayscale": 3}.get(kind, 2) + (8 if runs == "RLE" else 0)
    found, _ = read("tga", path)
    # ImageMagick stores the rows as they are, and says that the first pixel belongs elsewhere.
    expected = np.asarray(image.convert("RGBA"))
    expected = expected if "Top" in orientation else expected[::-1]
    expected = expected if "Left" in orientation else expected[:, ::-1]
    assert np.array_equal(found, expected)


@pytest.mark.parametrize(("model", "bits", "bands"), [("gray", 8, 1), ("gray", 16, 2), ("rgb", 24, 3), ("rgb", 32, 4),
                                                      ("indexed", 8, 1)])
@pytest.mark.parametrize("runs", [0, 1])
@pytest.mark.parametrize("top", [0, 1])
def test_a_tga_of_ours_in_other_programs(tmp_path: Path, model: str, bits: int, bands: int, runs: int,
                                         top: int) -> None:
    made = picture(bands)
    path = tmp_path / "a.tga"
    run(PROGRAM, "write", "tga", model, bits, runs, top, 0, WIDTH, HEIGHT, path, data=made.tobytes())
    expected = np.full((HEIGHT, WIDTH, 4), 255, np.uint8)
    expected[..., :3] = made[..., :1] if bands < 3 else made[..., :3]
    if bands in (2, 4):
        expected[..., 3] = made[..., -1]
    assert np.array_equal(by_pillow(path), expected)
    if bits != 16:  # ImageMagick 6 takes 16 bits of gray for colors
        assert np.array_equal(by_magick(path), expected)
    assert np.array_equal(read("tga", path)[0], expected)


@pytest.mark.parametrize("runs", [0, 1])
def test_a_tga_of_five_bits_in_imagemagick(tmp_path: Path, runs: int) -> None:
    made = picture(3)
    path = tmp_path / "a.tga"
    run(PROGRAM, "write", "tga", "rgb", 16, runs, 1, 0, WIDTH, HEIGHT, path, data=made.tobytes())
    # ImageMagick cuts the fraction off where the codec rounds.
    difference = read("tga", path)[0][..., :3].astype(int) - by_magick(path)[..., :3]
    assert difference.min() >= 0 and difference.max() <= 1
    assert np.abs(made.astype(int) - read("tga", path)[0][..., :3]).max() <= 4


# --- Icons

def icon_picture(colors: int, side: int = 32) -> Pillow.Image:
    """A disk of some colors on transparent ground, with hard borders."""
    random = np.random.default_rng(colors)
    palette = random.integers(1, 256, (colors, 3))
    y, x = np.mgrid[:side, :side]
    made = np.zeros((side, side, 4), np.uint8)
    made[..., :3] = palette[(x * 3 + y * 7) % colors]
    made[(x - side / 2) ** 2 + (y - side / 2) ** 2 < side * side / 5, 3] = 255
    made[made[..., 3] == 0] = 0
    return Pillow.fromarray(made, "RGBA")


@pytest.mark.parametrize("sides", [[16], [32, 48, 256], [7, 33]])
@pytest.mark.parametrize("entries", ["png", "bmp"])
def test_an_icon_of_pillow(tmp_path: Path, entries: str, sides: list[int]) -> None:
    image = icon_picture(200, max(sides))
    path = tmp_path / "a.ico"
    image.save(path, sizes=[(side, side) for side in sides], bitmap_format=entries)
    with Pillow.open(path) as icon:
        for index, side in enumerate(sorted(sides)):
            icon.size = (side, side)
            expected = np.asarray(icon.convert("RGBA"))
            found, words = read("ico", path, index)
            assert words[:3] == ["32", str(len(sides)), entries]
            visible = expected[..., 3] > 0
            assert np.array_equal(found[..., 3], expected[..., 3])
            assert np.array_equal(found[visible], expected[visible])


@pytest.mark.parametrize(("bits", "colors"), [(1, 2), (4, 14), (8, 200), (24, 500), (32, 500)])
@pytest.mark.parametrize("side", [16, 33, 128])
def test_an_icon_of_icotool(tmp_path: Path, bits: int, colors: int, side: int) -> None:
    image = icon_picture(colors, side)
    if bits == 1:
        image = Pillow.fromarray(np.where(np.asarray(image)[..., 3:] > 0, 255, 0).astype(np.uint8).repeat(4, 2))
    png = tmp_path / "a.png"
    image.save(png)
    path = tmp_path / "a.ico"
    run("icotool", "-c", "-b", bits, "-o", path, png)
    found, words = read("ico", path)
    assert words[:3] == [str(bits), "1", "bmp"]
    expected = np.asarray(image)
    assert np.array_equal(found[..., 3], expected[..., 3])
    visible = expected[..., 3] > 0
    assert np.array_equal(found[visible], expected[visible])


def test_cursors_of_icotool(tmp_path: Path) -> None:
    paths = []
    for index, side in enumerate([16, 32]):
        paths.append(tmp_path / f"{index}.png")
        icon_picture(14, side).save(paths[-1])
    path = tmp_path / "a.cur"
    run("icotool", "-c", "--cursor", "-X", 3, "-Y", 5, "-b", 32, "-o", path, paths[0], paths[1])
    for index, side in enumerate([16, 32]):
        found, words = read("ico", path, index)
        assert found.shape == (side, side, 4)
        assert words[3:] == ["3", "5"]


@pytest.mark.parametrize(("entry", "bits"), [("bmp", 8), ("bmp", 24), ("bmp", 32), ("png", 24), ("png", 32)])
@pytest.mark.parametrize("side", [1, 16, 33, 256])
def test_an_icon_of_ours_in_other_programs(tmp_path: Path, entry: str, bits: int, side: int) -> None:
    made = np.asarray(icon_picture(250, side))
    expected = made
    if bits == 8:
        shades = np.ascontiguousarray(made[..., 1])
        expected = np.dstack([shades, shades, shades, np.full_like(shades, 255)])
        data = shades.tobytes()
    elif (entry, bits) == ("png", 24):
        data = made[..., :3].tobytes()
        expected = np.dstack([made[..., :3], np.full(made.shape[:2], 255, np.uint8)])
    else:
        data = made.tobytes()
    path = tmp_path / "a.ico"
    run(PROGRAM, "write", "ico", entry, bits, side, side, 0, 0, path, data=data)
    listed = run("icotool", "-l", path).decode()
    assert f"--width={side} --height={side} --bit-depth={bits}" in listed
    others = [by_pillow(path), read("ico", path)[0]]
    if bits != 24 or side % 4 == 0 or side == 1:  # icotool takes padded rows of 24 bits wrongly, of its own icons too
        run("icotool", "-x", "-o", tmp_path / "b.png", path)
        others.append(by_pillow(tmp_path / "b.png"))
    visible = expected[..., 3] > 0
    for other in others:
        assert np.array_equal(other[..., 3], expected[..., 3])
        assert np.array_equal(other[visible], expected[visible])


def test_a_cursor_of_ours_in_icotool(tmp_path: Path) -> None:
    path = tmp_path / "a.cur"
    run(PROGRAM, "write", "ico", "bmp", 32, 16, 16, 6, 9, path, data=icon_picture(9, 16).tobytes())
    assert "--cursor --index=1 --width=16 --height=16" in run("icotool", "-l", path).decode()
    assert "--hotspot-x=6 --hotspot-y=9" in run("icotool", "-l", path).decode()
