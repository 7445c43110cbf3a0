"""EPS through the API: comments, previews, both forms of files, and drawing beside Ghostscript."""

from __future__ import annotations

import datetime
import io
import shutil
import struct
import subprocess
import sys
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image, ImageOptionsBase, SmoothingMode, TextRenderingHint
from zelmor.imaging.fileformats.eps import (
    EpsBinaryImage, EpsInterchangeImage, EpsLoadOptions, EpsOptions, EpsPreviewFormat)
from zelmor.imaging.fileformats.eps.consts import EpsType
from zelmor.imaging.imageoptions import (
    EmfOptions, EpsRasterizationOptions, PdfOptions, PngOptions, SvgOptions, WmfOptions)

from support.image_oracles import managed_error
from support.metafiles import SIDE, wmf, wmf_brush, wmf_pen, wmf_record, wmf_select
from support.office_files import cast, binary_eps, eps

SQUARE = "1 0 0 setrgbcolor 10 10 30 20 rectfill"
needs_ghostscript = pytest.mark.skipif(shutil.which("gs") is None, reason="Ghostscript is not installed")


def tiff() -> bytes:
    out = io.BytesIO()
    Pillow.fromarray(np.tile(np.arange(0, 200, 50, np.uint8), (3, 1))).save(out, "TIFF")
    return out.getvalue()


def interchange(data: bytes) -> Any:
    return cast(EpsInterchangeImage, Image.load(io.BytesIO(data)))


def binary(data: bytes) -> Any:
    return cast(EpsBinaryImage, Image.load(io.BytesIO(data)))


def drawn(data: bytes, tmp_path: Path, preview: Any = None, size: tuple[float, float] | None = None,
          **settings: Any) -> Any:
    options, shown = PngOptions(), EpsRasterizationOptions()
    shown.background_color = Color.white
    image = Image.load(io.BytesIO(data))
    shown.page_width, shown.page_height = size or (float(image.width), float(image.height))
    if preview is not None:
        shown.preview_to_export = preview
    for name, value in settings.items():
        setattr(shown, name, value)
    options.vector_rasterization_options = shown
    image.save(str(tmp_path / "page.png"), options)
    return np.asarray(Pillow.open(tmp_path / "page.png").convert("RGB")).astype(int)


def test_the_comments_of_a_file() -> None:
    data = eps(SQUARE, "-10 -20 90 30", "%%Title: (A \\(small\\) \\351t\\351)", "%%Creator: me",
               "%%CreationDate: Mon May 6 07:08:09 2024", "%%Pages: 3", "%%HiResBoundingBox: -10 -20 89.5 29.5")
    image = interchange(data)
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat.EPS and image.file_format == FileFormat.EPS
    assert image.eps_type == EpsType.INTERCHANGE
    assert image.post_script_version == "PS-Adobe-3.0 EPSF-3.0"
    assert (image.title, image.creator) == ("A (small) \xe9t\xe9", "me")
    assert image.creation_date_string == "Mon May 6 07:08:09 2024"
    assert image.creation_date == datetime.datetime(2024, 5, 6, 7, 8, 9)
    assert image.bounding_box_string == "-10 -20 90 30"
    assert (image.bounding_box_bottom_left.x, image.bounding_box_bottom_left.y) == (-10, -20)
    assert (image.bounding_box_top_right.x, image.bounding_box_top_right.y) == (90, 30)
    assert image.pages_count == 3
    assert (image.width, image.height) == (133, 66)  # 99.5 by 49.5 points
    assert (image.has_raster_preview, image.raster_preview, image.preview_width) == (False, None, 0)


def test_comments_that_are_put_off_to_the_end() -> None:
    data = eps(SQUARE).replace(b"%%BoundingBox: 0 0 100 50", b"%%BoundingBox: (atend)")
    data = data.replace(b"%%EOF", b"%%Trailer\n%%BoundingBox: 0 0 30 60\n%%EOF")
    image = interchange(data)
    assert (image.bounding_box_string, image.width, image.height) == ("0 0 30 60", 40, 80)


@pytest.mark.parametrize(("text", "expected"), [
    ("2024-05-06T07:08:09", (2024, 5, 6, 7, 8, 9)), ("D:20240506070809+02'00'", (2024, 5, 6, 7, 8, 9)),
    ("5/6/24 3:04 PM", (2024, 5, 6, 15, 4, 0)), ("2024/05/06 07:08:09", (2024, 5, 6, 7, 8, 9)),
    ("6 May 2024", (2024, 5, 6, 0, 0, 0)), ("yesterday", (1, 1, 1, 0, 0, 0)), ("2024-02-30", (1, 1, 1, 0, 0, 0))])
def test_dates_in_many_forms(text: str, expected: tuple[int, ...]) -> None:
    image = interchange(eps(SQUARE, "0 0 9 9", f"%%CreationDate: {text}"))
    assert image.creation_date == datetime.datetime(*expected)  # type: ignore[arg-type]


def test_the_preview_among_the_comments(tmp_path: Path) -> None:
    rows = "\n".join("% " + row for row in ("FF80", "0040"))
    data = eps(SQUARE).replace(b"%%EndComments\n", f"%%EndComments\n%%BeginPreview: 12 2 1 2\n{rows}\n%%EndPreview\n"
                               .encode())
    image = interchange(data)
    assert image.has_raster_preview and (image.preview_width, image.preview_height) == (12, 2)
    preview = image.raster_preview
    assert (preview.width, preview.height, preview.bits_per_pixel) == (12, 2, 8)
    preview.save(str(tmp_path / "a.png"))
    pixels = np.asarray(Pillow.open(tmp_path / "a.png").convert("L"))
    assert pixels.tolist() == [[0] * 9 + [255] * 3, [255] * 9 + [0] + [255] * 2]
    page = drawn(data, tmp_path, EpsPreviewFormat.TIFF, (120, 60))
    assert page[10, 40].tolist() == [0, 0, 0] and page[50, 40].tolist() == [255, 255, 255]


def test_a_binary_file_has_a_preview(tmp_path: Path) -> None:
    data = binary_eps(eps(SQUARE, "0 0 100 50", "%%Title: t"), tiff=tiff())
    image = binary(data)
    assert image.eps_type == EpsType.BINARY and image.has_raster_preview and image.title == "t"
    assert (image.tiff_preview.width, image.tiff_preview.height, image.wmf_preview) == (4, 3, None)
    image.save(str(tmp_path / "same.eps"))
    assert (tmp_path / "same.eps").read_bytes() == data
    page = drawn(data, tmp_path, EpsPreviewFormat.TIFF)
    assert page[30, 2].max() < 40 and abs(page[30, 128].max() - 150) < 20
    with managed_error("InvalidOperationException", "no preview of the kind"):
        drawn(data, tmp_path, EpsPreviewFormat.WMF)


def test_both_forms_become_each_other(tmp_path: Path) -> None:
    text = eps(SQUARE)
    image = binary(binary_eps(text, tiff=tiff()))
    other = image.convert_to_interchange()
    assert other.has_raster_preview and (other.preview_width, other.preview_height) == (4, 3)
    other.raster_preview.save(str(tmp_path / "a.png"))
    assert np.asarray(Pillow.open(tmp_path / "a.png").convert("L"))[0].tolist() == [0, 50, 100, 150]
    back = other.convert_to_binary()
    assert back.eps_type == EpsType.BINARY and back.tiff_preview.width == 4
    back.save(str(tmp_path / "b.eps"))
    assert text in (tmp_path / "b.eps").read_bytes()

    options = EpsOptions()
    options.sub_type = EpsType.INTERCHANGE
    image.save(str(tmp_path / "c.eps"), options)
    assert (tmp_path / "c.eps").read_bytes().startswith(b"%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 100 50\n")


def test_the_thumbnail_of_a_file() -> None:
    jpeg = io.BytesIO()
    Pillow.new("RGB", (20, 10), (9, 99, 199)).save(jpeg, "JPEG")
    data = (1).to_bytes(4, "big") + bytes(24) + jpeg.getvalue()
    block = b"8BIM" + (1036).to_bytes(2, "big") + b"\0\0" + len(data).to_bytes(4, "big") + data
    digits = block.hex()
    lines = "\n".join("% " + digits[i:i + 64] for i in range(0, len(digits), 64))
    image = interchange(eps(f"%BeginPhotoshop: {len(block)}\n{lines}\n%EndPhotoshop\n{SQUARE}"))
    assert (image.photoshop_thumbnail.width, image.photoshop_thumbnail.height) == (20, 10)
    assert interchange(eps(SQUARE)).photoshop_thumbnail is None


def test_each_preview_is_drawn_over_the_page(tmp_path: Path) -> None:
    """The thumbnail, and a metafile, whose rectangle is from 60 to 80 across and from 30 to 90 down."""
    jpeg = io.BytesIO()
    Pillow.new("RGB", (20, 10), (9, 99, 199)).save(jpeg, "JPEG")
    block = struct.pack(">4sHHI", b"8BIM", 1036, 0, 28 + len(jpeg.getvalue())) + struct.pack(">I24x", 1)
    block += jpeg.getvalue() + b"\0" * (len(jpeg.getvalue()) % 2)
    digits = block.hex()
    lines = "\n".join("% " + digits[i:i + 64] for i in range(0, len(digits), 64))
    data = eps(f"%BeginPhotoshop: {len(block)}\n{lines}\n%EndPhotoshop\nbroken")
    page = drawn(data, tmp_path, EpsPreviewFormat.PHOTOSHOP_THUMBNAIL, (120, 60))
    assert page.shape == (60, 120, 3) and np.abs(page - (9, 99, 199)).max() <= 4
    records = (wmf_brush(0xFF0000), wmf_select(0), wmf_pen(0, style=5), wmf_select(1),
               wmf_record(0x041B, 90, 80, 30, 60))
    file = binary_eps(eps("broken"), wmf=wmf(*records))
    red = (drawn(file, tmp_path, EpsPreviewFormat.WMF, (4 * SIDE, 2 * SIDE)) == (255, 0, 0)).all(-1)
    rows, columns = np.flatnonzero(red.any(1)), np.flatnonzero(red.any(0))
    assert [columns[0], columns[-1] + 1] == pytest.approx([240, 320], abs=4)
    assert [rows[0], rows[-1] + 1] == pytest.approx([60, 180], abs=2)
    assert red[rows[0]:rows[-1] + 1, columns[0]:columns[-1] + 1].all()
    with managed_error("InvalidOperationException", "The EPS file has no preview of the kind that PreviewToExport"):
        drawn(eps("broken"), tmp_path, EpsPreviewFormat.PHOTOSHOP_THUMBNAIL)


def test_a_form_becomes_itself(tmp_path: Path) -> None:
    plain, with_header = eps(SQUARE), binary_eps(eps(SQUARE), tiff=tiff())
    for data, kind, other in ((plain, EpsType.INTERCHANGE, interchange), (with_header, EpsType.BINARY, binary)):
        options = EpsOptions()
        options.sub_type = kind
        other(data).save(str(tmp_path / "same.eps"), options)
        assert (tmp_path / "same.eps").read_bytes() == data


# ---- Drawing

@needs_ghostscript
def test_a_program_is_drawn(tmp_path: Path) -> None:
    data = eps(SQUARE, "0 0 75 60")
    page = drawn(data, tmp_path)
    assert page.shape == (80, 100, 3)
    # 10 to 40 points across and 10 to 30 up are 13.3 to 53.3 and, from the top, 40 to 66.7 pixels.
    assert page[50, 30].tolist() == [255, 0, 0] and page[64, 15].tolist() == [255, 0, 0]
    assert page[38, 30].tolist() == [255, 255, 255] and page[50, 55].tolist() == [255, 255, 255]


@needs_ghostscript
def test_a_drawing_is_that_of_ghostscript(tmp_path: Path) -> None:
    program = ("/Helvetica findfont 20 scalefont setfont 5 20 moveto (Text) show 0 0 1 setrgbcolor 3 setlinewidth "
               "50 40 15 0 360 arc stroke 0.5 setgray 50 5 moveto 70 5 lineto 60 20 lineto fill")
    data = eps(program, "0 0 75 60")
    (tmp_path / "a.eps").write_bytes(data)
    subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=png16m", "-r192", "-g200x160",
                    "-dTextAlphaBits=4", "-dGraphicsAlphaBits=4", "-sOutputFile=o.png", "a.eps"],
                   cwd=tmp_path, check=True)
    expected = np.asarray(Pillow.open(tmp_path / "o.png").convert("RGB")).astype(int)
    page = drawn(data, tmp_path, size=(200, 160))
    assert page.shape == expected.shape
    assert np.abs(page - expected).mean() < 1


@needs_ghostscript
@pytest.mark.parametrize(("smoothing", "hint", "sharp_shapes", "sharp_text"), [
    (SmoothingMode.NONE, TextRenderingHint.SINGLE_BIT_PER_PIXEL, True, True),
    (SmoothingMode.NONE, TextRenderingHint.ANTI_ALIAS, True, False),
    (SmoothingMode.ANTI_ALIAS, TextRenderingHint.SINGLE_BIT_PER_PIXEL, False, True),
])
def test_edges_of_shapes_and_characters(smoothing: SmoothingMode, hint: TextRenderingHint, sharp_shapes: bool,
                                        sharp_text: bool, tmp_path: Path) -> None:
    # A page of 133.3 by 66.7 pixels, whose ends within a pixel blur nothing.
    data = eps("1 0 0 setrgbcolor 70 25 15.3 0 360 arc fill 0 setgray /Helvetica findfont 12 scalefont setfont "
               "5 20 moveto (Text) show", "0 0 100 50")
    page = drawn(data, tmp_path, size=(0, 0), smoothing_mode=smoothing, text_rendering_hint=hint)
    assert page.shape == (67, 134, 3)
    for part, sharp, color in ((page[:, 67:], sharp_shapes, (255, 0, 0)), (page[:, :60], sharp_text, (0, 0, 0))):
        colors = {tuple(c) for c in part.reshape(-1, 3).tolist()}
        assert {color, (255, 255, 255)} <= colors
        assert (len(colors) == 2) == sharp


@needs_ghostscript
def test_a_program_without_an_end_is_ended(tmp_path: Path) -> None:
    with managed_error("ImageLoadException", "the PostScript program"):
        drawn(eps("(unknown) cvx exec"), tmp_path)


@needs_ghostscript
@pytest.mark.parametrize("options", [EmfOptions, PdfOptions, SvgOptions, WmfOptions])
def test_a_program_that_fails_becomes_no_document(options: type[ImageOptionsBase], tmp_path: Path) -> None:
    """The document that was begun is given up, and what it would still write goes nowhere."""
    target = tmp_path / "page"
    with managed_error("ImageLoadException", "the PostScript program"):
        Image.load(io.BytesIO(eps(SQUARE + " unknown"))).save(str(target), options())
    assert not target.exists()


@needs_ghostscript
def test_a_program_reads_and_writes_no_file(tmp_path: Path) -> None:
    secret, written = tmp_path / "secret", tmp_path / "written"
    secret.write_text("1 0 0 setrgbcolor")
    for program in (f"({secret}) run", f"({written}) (w) file (x) writestring"):
        with managed_error("ImageLoadException", "the PostScript program"):
            drawn(eps(program + " " + SQUARE), tmp_path)
    assert not written.exists()


@needs_ghostscript
def test_a_picture_becomes_an_eps_file(tmp_path: Path) -> None:
    pixels = np.random.default_rng(3).integers(0, 256, (20, 30, 3), dtype=np.uint8)
    Pillow.fromarray(pixels).save(tmp_path / "a.png")
    options = EpsOptions()
    options.sub_type = EpsType.INTERCHANGE
    Image.load(str(tmp_path / "a.png")).save(str(tmp_path / "a.eps"), options)
    subprocess.run(["gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=png16m", "-r96", "-g30x20",
                    "-sOutputFile=o.png", "a.eps"], cwd=tmp_path, check=True)
    assert np.array_equal(np.asarray(Pillow.open(tmp_path / "o.png").convert("RGB")), pixels)


def test_the_extension_keeps_the_size_of_a_picture_on_paper(tmp_path: Path) -> None:
    Pillow.new("RGB", (300, 150)).save(tmp_path / "a.tif", dpi=(300, 150))
    image = Image.load(str(tmp_path / "a.tif"))
    image.save(str(tmp_path / "a.eps"))
    assert b"%%HiResBoundingBox: 0 0 72.0000 72.0000\n" in (tmp_path / "a.eps").read_bytes()
    image.save(str(tmp_path / "a.eps"), EpsOptions())
    assert b"%%HiResBoundingBox: 0 0 225.0000 112.5000\n" in (tmp_path / "a.eps").read_bytes()


def test_load_options_choose_the_preview(tmp_path: Path) -> None:
    options = EpsLoadOptions()
    options.preview_export_format = EpsPreviewFormat.TIFF
    image = cast(EpsBinaryImage, Image.load(io.BytesIO(binary_eps(eps("broken"), tiff=tiff())), options))
    assert image.preview_to_export == EpsPreviewFormat.TIFF
    image.save(str(tmp_path / "a.png"), PngOptions())
    assert Pillow.open(tmp_path / "a.png").size == (134, 67)


@pytest.mark.parametrize("data", [binary_eps(eps(SQUARE))[:60], binary_eps(b"no program"),
                                  binary_eps(eps(SQUARE), tiff=tiff())[:-20]], ids=["text", "program", "preview"])
def test_damage_is_an_error(data: bytes) -> None:
    with managed_error("ImageLoadException", "EPS"):
        Image.load(io.BytesIO(data))


@needs_ghostscript
def test_a_process_without_standard_streams_draws(tmp_path: Path) -> None:
    """Its new files and sockets get the numbers of the standard streams; the program that draws has its own."""
    (tmp_path / "a.eps").write_bytes(eps(SQUARE))
    program = f"""
import os
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
kept = os.open("kept", os.O_CREAT | os.O_RDWR)
os.set_inheritable(kept, True)
for number in (0, 1, 2):
    os.close(number)
Image.load({str(tmp_path / "a.eps")!r}).save({str(tmp_path / "a.png")!r}, PngOptions())
"""
    subprocess.run([sys.executable, "-c", program], check=True, cwd=tmp_path)
    with Pillow.open(tmp_path / "a.png") as drawn_page:
        place = (drawn_page.width // 5, drawn_page.height * 3 // 5)
        assert drawn_page.convert("RGB").getpixel(place) == (255, 0, 0)
