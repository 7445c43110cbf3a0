"""Vector pictures saved as DXF: the structure of the file, and that its figures show the picture."""

from __future__ import annotations

import io
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Font, Image, Rectangle, Size
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.imageoptions import DxfOptions, PngOptions

from support.drawn_documents import CONTENTS, HEIGHT, WIDTH, difference, document, drawn, rgba
from support.dxf_files import document as shown
from support.dxf_files import figures, require_sound
from support.image_oracles import managed_error, noise
from support.metafiles import bitmap_header, emf, rows24, stretch_dib


def loaded(data: bytes) -> Image:
    return Image.load(io.BytesIO(data))


def saved(image: Any, **values: Any) -> str:
    options = DxfOptions()
    for name, value in values.items():
        setattr(options, name, value)
    file = io.BytesIO()
    image.save(file, options)
    assert Image.get_file_format(io.BytesIO(file.getvalue())) == FileFormat.DXF
    return file.getvalue().decode("ascii")


def names(text: str) -> list[str]:
    return sorted({figure.name for figure in figures(text)})


@pytest.mark.parametrize(("name", "kinds", "tolerance"), [
    ("shapes", ["HATCH"], 0.5), ("strokes", ["LWPOLYLINE"], 2.5), ("clips", ["SOLID"], 1.5), ("opacity", ["HATCH"], 7),
    ("text", ["HATCH"], 0.5),
])
def test_figures(name: str, kinds: list[str], tolerance: float) -> None:
    """Caps and joins of lines have no place in the format; a group that is half transparent is that piece by piece."""
    data = document(CONTENTS[name])
    text = saved(loaded(data))
    require_sound(text)
    assert names(text) == kinds
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < tolerance


def test_thin_curves_are_splines() -> None:
    data = document('<path d="M10 10C40 90 80 -40 110 80L60 85Z" fill="none" stroke="#205080"/>')
    text = saved(loaded(data))
    require_sound(text)
    assert names(text) == ["SPLINE"]
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < 0.5


def test_areas_by_the_winding_rule() -> None:
    """Two areas that lie over each other in one path: by turns there would be a hole."""
    data = document('<path d="M10 10h60v40h-60zM40 20h60v60h-60z" fill="#a03020"/>')
    text = saved(loaded(data))
    assert names(text) == ["SOLID"]
    assert difference(drawn(shown(text, WIDTH, HEIGHT)), drawn(data)) < 0.5


def with_text() -> Any:
    """A metafile, in which text is text."""
    recorder = EmfRecorderGraphics2D(Rectangle(0, 0, WIDTH, HEIGHT), Size(960, 960), Size(254, 254))
    recorder.draw_string("A 100% S", Font("DejaVu Sans", 15.0), Color.red, 5, 20)
    return recorder.end_recording()


def test_text() -> None:
    text = saved(with_text())
    require_sound(text)
    written, = figures(text)
    assert (written.name, written.one(1), written.one(420)) == ("TEXT", "A 100%%37 S", str(0xFF0000))
    lines = saved(with_text(), text_as_lines=True)
    require_sound(lines)
    assert names(lines) == ["LWPOLYLINE", "SPLINE"]
    for count in (1, 7):
        flat = saved(with_text(), text_as_lines=True, convert_text_beziers=True, bezier_point_count=count)
        require_sound(flat)
        assert names(flat) == ["LWPOLYLINE"]
    png = io.BytesIO()
    with_text().save(png, PngOptions())
    wanted = rgba(png.getvalue()).sum()
    assert wanted > 0
    # The outlines lie where the text is.
    places = [(x, HEIGHT - y) for figure in figures(flat) for x, y in figure.points()]
    dark = rgba(png.getvalue())[..., 3] > 100
    ys, xs = dark.nonzero()
    assert min(x for x, _ in places) == pytest.approx(xs.min(), abs=1.5)
    assert max(x for x, _ in places) == pytest.approx(xs.max() + 1, abs=1.5)
    assert min(y for _, y in places) == pytest.approx(ys.min(), abs=1.5)
    assert max(y for _, y in places) == pytest.approx(ys.max() + 1, abs=1.5)


@pytest.mark.parametrize("content", [CONTENTS["gradients"], CONTENTS["image"], CONTENTS["blend"], CONTENTS["mask"]])
def test_what_the_format_has_not(content: str) -> None:
    with managed_error("NotSupportedException", "DXF files hold no "):
        saved(loaded(document(content)))


def test_pixels_are_refused() -> None:
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, "PNG")
    with managed_error("NotSupportedException", "DXF files hold no pictures of pixels"):
        saved(loaded(file.getvalue()))


def test_pixels_in_a_group_of_a_metafile_are_refused() -> None:
    paint = 0x008800C6  # what lies below and the source
    bitmap = stretch_dib(bitmap_header(1, 1, 24), rows24([[0xFF0000]]), (0, 0, 40, 40), (1, 1), paint)
    with managed_error("NotSupportedException", "DXF files hold no pictures of pixels"):
        saved(loaded(emf(bitmap)))


@pytest.mark.parametrize("count", [0, -1, 1001])
def test_numbers_of_points_out_of_range(count: int) -> None:
    with managed_error("ArgumentOutOfRangeException", f"The value {count} is not in 1 to 1000", "bezier_point_count"):
        saved(loaded(document(CONTENTS["shapes"])), bezier_point_count=count)


def test_a_drawing_is_not_read() -> None:
    with managed_error("NotSupportedException", "this runtime does not read DXF files"):
        loaded(saved(loaded(document(CONTENTS["shapes"]))).encode())
