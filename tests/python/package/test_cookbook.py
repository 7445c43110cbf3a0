"""The programs of the cookbook run on made pictures, and what they write is looked at with other libraries."""

from __future__ import annotations

import contextlib
import io
import os
import runpy
import subprocess
import sys
import zipfile
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow

from support.cookbook_pictures import write_pictures
from support.image_oracles import read
from support.package_process import ASSEMBLY, NETCORE, PACKAGE
from support.places import ROOT
from tools import cookbook_page

COOKBOOK = ROOT / "examples" / "cookbook"
Check = Callable[[Path, str], None]
CHECKS: dict[str, Check] = {}


def check(function: Check) -> Check:
    """The check of the program that has the function's name."""
    CHECKS[function.__name__] = function
    return function


def opened(path: Path) -> Any:
    return Pillow.open(path)


def pixels(path: Path, mode: str | None = "RGB") -> Any:
    return read(path, mode)


def far(first: Any, second: Any) -> float:
    """The mean difference of two pictures."""
    return float(np.abs(first - second).mean())


# ---- Sizes and angles


@check
def thumbnails(folder: Path, shown: str) -> None:
    sizes = [opened(folder / "thumbnails" / f"{index}.jpg").size for index in range(4)]
    assert sizes == [(160, 133), (160, 114), (160, 100), (160, 89)]


@check
def avatar(folder: Path, shown: str) -> None:
    expected = opened(folder / "photo.jpg").crop((40, 0, 200, 160)).resize((128, 128), Pillow.Resampling.LANCZOS)
    assert far(pixels(folder / "avatar.png"), np.asarray(expected).astype(int)) < 1.5


@check
def letterbox(folder: Path, shown: str) -> None:
    found = pixels(folder / "letterbox.png")
    assert found.shape == (320, 320, 3)
    assert (found[:50] == 30).all() and (found[-50:] == 30).all() and found[160].std() > 10


@check
def orientation(folder: Path, shown: str) -> None:
    made = opened(folder / "upright.jpg")
    assert made.size == (160, 240) and made.getexif().get(0x112, 1) == 1
    assert far(pixels(folder / "upright.jpg"), np.rot90(pixels(folder / "photo.jpg"), -1)) < 3


@check
def turn_and_mirror(folder: Path, shown: str) -> None:
    turned = np.rot90(pixels(folder / "photo.jpg"), -1)
    assert far(pixels(folder / "quarter.png"), turned) < 1
    assert far(pixels(folder / "mirrored.png"), turned[:, ::-1]) < 1
    tilted = pixels(folder / "tilted.png")
    assert tilted.shape[0] > 240 and tilted.shape[1] > 160 and (tilted[0, 0] == 255).all()


@check
def deskew(folder: Path, shown: str) -> None:
    assert shown in (f"the lines are turned by -{angle} degrees\n" for angle in ("3.9", "4.0", "4.1"))
    straight = pixels(folder / "straight.png", "L")
    rows, before = (straight < 128).sum(1), (pixels(folder / "scan.png", "L") < 128).sum(1)
    assert (rows == 0).sum() > (before == 0).sum() + 20, "gaps between the lines"


# ---- Formats


@check
def convert(folder: Path, shown: str) -> None:
    for name, kind in (("photo.bmp", "BMP"), ("photo.gif", "GIF"), ("photo.png", "PNG"), ("photo.webp", "WEBP"),
                       ("smaller.jpg", "JPEG"), ("photo.tif", "TIFF")):
        assert opened(folder / name).format == kind
        assert far(pixels(folder / name), pixels(folder / "photo.jpg")) < 8
    assert opened(folder / "photo.png").info.get("interlace") == 1
    assert (folder / "smaller.jpg").stat().st_size < (folder / "photo.jpg").stat().st_size


@check
def target_size(folder: Path, shown: str) -> None:
    assert 6_000 < (folder / "limited.jpg").stat().st_size <= 9_000
    assert 1 < int(shown.split()[1]) < 95 and opened(folder / "limited.jpg").size == (240, 160)


@check
def icon(folder: Path, shown: str) -> None:
    assert opened(folder / "favicon.ico").info["sizes"] == {(16, 16), (32, 32), (48, 48)}


@check
def pdf(folder: Path, shown: str) -> None:
    facts = subprocess.run(["pdfinfo", folder / "album.pdf"], check=True, capture_output=True, text=True).stdout
    assert "Pages:           4\n" in facts


@check
def resolution(folder: Path, shown: str) -> None:
    made = opened(folder / "logo_300.png")
    assert made.info["dpi"] == pytest.approx((300, 300), abs=0.1)
    assert made.tobytes() == opened(folder / "logo.png").tobytes()


@check
def probe(folder: Path, shown: str) -> None:
    assert shown.splitlines() == [f"{index}.jpg JPEG {240 + 40 * index} x 200, 24 bits" for index in range(4)]


# ---- Colors and filters


@check
def tones(folder: Path, shown: str) -> None:
    before, after = pixels(folder / "photo.jpg"), pixels(folder / "toned.png")
    assert after.mean() > before.mean() + 5 and after.std() > before.std()


@check
def black_and_white(folder: Path, shown: str) -> None:
    assert far(pixels(folder / "gray.png", "L"), pixels(folder / "photo.jpg", "L")) < 1.5
    gray = pixels(folder / "gray.png")
    assert (gray[..., 0] == gray[..., 2]).all()
    for name in ("otsu.png", "bradley.png"):
        assert set(np.unique(pixels(folder / name, "L"))) == {0, 255}
        assert 0.02 < (pixels(folder / name, "L") == 0).mean() < 0.2


@check
def hide_faces(folder: Path, shown: str) -> None:
    before, after = pixels(folder / "photo.jpg"), pixels(folder / "hidden.png")
    assert after[30:70, 30:70].std() < before[30:70, 30:70].std() * 0.8
    assert (after[20:36, 120:136] == after[20, 120]).all()
    assert far(before[100:], after[100:]) < 1


@check
def sharpen(folder: Path, shown: str) -> None:
    assert 0 < far(pixels(folder / "sharp.png"), pixels(folder / "photo.jpg")) < 6


@check
def palette(folder: Path, shown: str) -> None:
    made = opened(folder / "few_colors.png")
    assert made.mode == "P" and len(made.convert("RGB").getcolors()) <= 16
    assert far(pixels(folder / "few_colors.png"), pixels(folder / "photo.jpg")) < 40


@check
def cmyk_to_rgb(folder: Path, shown: str) -> None:
    made = opened(folder / "screen.png")
    assert (made.mode, made.size) == ("RGB", (60, 40)) and len(made.getcolors(5000)) > 500


@check
def rgb_to_cmyk(folder: Path, shown: str) -> None:
    made = opened(folder / "print.tif")
    assert made.mode == "CMYK" and made.info["dpi"] == (300, 300) and made.size == (240, 160)


@check
def transparent_background(folder: Path, shown: str) -> None:
    alpha = pixels(folder / "cut_out.png", "RGBA")[..., 3]
    assert alpha[2, 2] == 0 and 0.02 < (alpha == 255).mean() < 0.3


# ---- Frames and pages


@check
def animation_make(folder: Path, shown: str) -> None:
    for name in ("animation.gif", "animation.webp"):
        made = opened(folder / name)
        assert (made.n_frames, made.size, made.info.get("loop", 0)) == (4, (240, 200), 0)
    assert opened(folder / "animation.gif").info["duration"] == 120


@check
def animation_split(folder: Path, shown: str) -> None:
    assert shown == "5 frames\n"
    source = opened(folder / "moving.gif")
    for index in range(5):
        source.seek(index)
        assert far(pixels(folder / f"frame_{index:02}.png"), np.asarray(source.convert("RGB")).astype(int)) == 0


@check
def animation_convert(folder: Path, shown: str) -> None:
    made = opened(folder / "moving.webp")
    assert (made.format, made.n_frames, made.size) == ("WEBP", 5, (40, 30))


@check
def pages_split(folder: Path, shown: str) -> None:
    source = opened(folder / "pages.tif")
    for index in range(3):
        source.seek(index)
        assert far(pixels(folder / f"page_{index + 1}.png"), np.asarray(source.convert("RGB")).astype(int)) == 0


@check
def pages_join(folder: Path, shown: str) -> None:
    made = opened(folder / "document.tif")
    widths = []
    for index in range(made.n_frames):
        made.seek(index)
        widths.append(made.size[0])
    assert widths == [360, 280, 320]


# ---- Metadata


@check
def metadata_read(folder: Path, shown: str) -> None:
    lines = shown.splitlines()
    assert lines[:3] == ["camera: Maker Model 1", "artist: Somebody", "taken: 2021:03:04 05:06:07"]
    assert "dc:format" in shown and "image/jpeg" in shown and lines[-1] == "dots per inch: 72.0"


@check
def metadata_edit(folder: Path, shown: str) -> None:
    tags = subprocess.run(["exiftool", "-s", "-s", "-G0", folder / "described.jpg"], check=True, capture_output=True,
                          text=True).stdout
    for line in ("[EXIF] Artist: A. Photographer", "[EXIF] Copyright: (c) A. Photographer",
                 "[EXIF] ImageDescription: Waves", "[XMP] Title: Waves", "[File] Comment: made by the cookbook"):
        assert line in tags


@check
def metadata_strip(folder: Path, shown: str) -> None:
    tags = subprocess.run(["exiftool", "-s", "-s", "-G0", folder / "anonymous.jpg"], check=True, capture_output=True,
                          text=True).stdout
    assert "[EXIF]" not in tags and "[XMP]" not in tags and "private" not in tags
    assert far(pixels(folder / "anonymous.jpg"), pixels(folder / "camera.jpg")) < 4


# ---- Drawing


@check
def watermark(folder: Path, shown: str) -> None:
    change = np.abs(pixels(folder / "marked.jpg") - pixels(folder / "photo.jpg")).max(2)
    assert (change[120:] > 40).sum() > 200 and (change[:100] > 40).sum() == 0


@check
def logo(folder: Path, shown: str) -> None:
    made = pixels(folder / "branded.png")
    assert np.abs(made[120, 200] - (220, 30, 40)).max() <= 2
    assert far(made[:80], pixels(folder / "photo.jpg")[:80]) < 1
    assert np.abs(made[89, 169] - pixels(folder / "photo.jpg")[89, 169]).max() <= 3, "the corner is transparent"


@check
def chart(folder: Path, shown: str) -> None:
    made = pixels(folder / "chart.png")
    assert made.shape == (260, 420, 3) and (made[1, 1] == 255).all()
    tops = [int(np.argmax(made[:, 60 + 70 * index + 24, 0] < 150)) for index in range(5)]
    assert [220 - top for top in tops] == pytest.approx([71, 110, 99, 138, 165], abs=3)
    assert (made[:40, :150] < 100).any(), "the title"


@check
def text_card(folder: Path, shown: str) -> None:
    made = pixels(folder / "card.png", "L")
    bright = (made > 200).any(1)
    assert made.shape == (200, 400) and (np.diff(bright.astype(int)) == 1).sum() >= 3, "lines of text"


@check
def svg_to_png(folder: Path, shown: str) -> None:
    made = opened(folder / "drawing.png")
    assert made.size == (600, 300) and made.getpixel((300, 150)) == (204, 0, 0, 255) and made.getpixel((5, 5))[3] == 0
    assert (folder / "drawing.pdf").read_bytes().startswith(b"%PDF-")


@check
def svg_draw(folder: Path, shown: str) -> None:
    text = (folder / "lines.svg").read_text()
    assert "<svg" in text and "lines" in text
    subprocess.run(["rsvg-convert", "-o", folder / "lines.png", folder / "lines.svg"], check=True)
    assert (pixels(folder / "lines.png", "RGBA")[..., 3] > 0).sum() > 1000


# ---- Pixels


@check
def raw_pixels(folder: Path, shown: str) -> None:
    source = pixels(folder / "photo.jpg")
    blue, green, red = eval(shown.rpartition(": ")[2])
    assert np.abs(source[0, 0] - (red, green, blue)).max() <= 2
    assert far(pixels(folder / "from_bytes.bmp"), source) < 1


@check
def numpy_arrays(folder: Path, shown: str) -> None:
    made = pixels(folder / "stretched.png")
    assert made.min() == 0 and made.max() == 255 and far(made, pixels(folder / "photo.jpg")) < 20


@check
def compare(folder: Path, shown: str) -> None:
    assert 1000 < int(shown.split()[6]) < 1500
    made = pixels(folder / "difference.png")
    assert made[50:80, 100:140].mean() > 100 and made[100:].mean() < 12


# ---- Programs and services


@check
def web_upload(folder: Path, shown: str) -> None:
    assert shown == "200 OK\n" and opened(folder / "answer.png").size == (100, 67)


@check
def archive(folder: Path, shown: str) -> None:
    with zipfile.ZipFile(folder / "small.zip") as made:
        assert made.namelist() == ["0.png", "1.png"]
        assert Pillow.open(io.BytesIO(made.read("0.png"))).size == (64, 53)


@check
def processes(folder: Path, shown: str) -> None:
    assert shown.split() == [f"{index}.png" for index in range(4)]
    assert opened(folder / "shrunk" / "3.png").size == (48, 27)


@check
def errors(folder: Path, shown: str) -> None:
    assert shown.splitlines() == ["a.jpg: JpegImage, 240 x 160", "b.txt: no picture",
                                  "c.png: damaged (ImageLoadException)", "d: IsADirectoryError"]


@check
def recover(folder: Path, shown: str) -> None:
    made = pixels(folder / "recovered.png")
    assert made.shape == (200, 120, 3) and (made[-20:] == 128).all() and made[:50].std() > 60


# ---- The tests


@pytest.fixture(scope="module", name="pictures")
def pictures_fixture(tmp_path_factory: pytest.TempPathFactory) -> Path:
    folder = tmp_path_factory.mktemp("cookbook")
    write_pictures(folder)
    return folder


@pytest.mark.parametrize("name", CHECKS)
def test_program(pictures: Path, monkeypatch: pytest.MonkeyPatch, name: str) -> None:
    """Each runs in this process, except for the one that starts others."""
    monkeypatch.chdir(pictures)
    program = COOKBOOK / f"{name}.py"
    if name == "processes":
        environment = {key: value for key, value in os.environ.items() if key not in (NETCORE, ASSEMBLY)}
        shown = subprocess.run([sys.executable, "-B", program], check=True, capture_output=True, text=True, timeout=120,
                               env={**environment, "PYTHONPATH": str(PACKAGE.parent)}).stdout
    else:
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            runpy.run_path(str(program), run_name="__main__")
        shown = output.getvalue()
    CHECKS[name](pictures, shown)


def test_a_picture_that_is_none_is_refused_by_the_service(tmp_path: Path) -> None:
    application = runpy.run_path(str(COOKBOOK / "web_upload.py"))["application"]
    answers = []
    for body in (b"no picture" * 50, (b"\x89PNG\r\n\x1a\n" + b"\0" * 100)):
        request = {"wsgi.input": io.BytesIO(body), "CONTENT_LENGTH": str(len(body))}
        application(request, lambda status, headers: answers.append(status))
    assert answers == ["415 Unsupported Media Type", "422 Unprocessable Entity"]


def test_every_program_is_on_the_page_and_has_a_check() -> None:
    programs = {path.stem for path in COOKBOOK.glob("*.py")}
    listed = [name for section in cookbook_page.sections() for name in section.programs]
    assert len(listed) == len(set(listed)) >= 30
    assert programs == set(listed) == set(CHECKS)


def test_the_page_shows_the_programs() -> None:
    assert cookbook_page.page() == (ROOT / "docs" / "cookbook.md").read_text(), \
        "write the page again: python3 -m tools.cookbook_page"
