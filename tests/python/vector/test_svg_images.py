"""SVG files: reading them, drawing them as pixels, and saving them as they are or changed.

The oracle is rsvg-convert; ImageMagick's own renderer for simple shapes.
"""

from __future__ import annotations

import base64
import gzip
import io
import random
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import (Color, FileFormat, Image, RasterImage, RotateFlipType, Size, SizeF, SmoothingMode,
                            TextRenderingHint)
from zelmor.imaging.fileformats.svg import SvgImage
from zelmor.imaging.imageloadoptions import SvgLoadOptions
from zelmor.imaging.imageoptions import PngOptions, SvgOptions, SvgRasterizationOptions

from support.drawn_documents import CONTENTS, HEIGHT, WIDTH, difference, document, drawn, rgba
from support.image_oracles import managed_error


def loaded(data: bytes) -> Image:
    return Image.load(io.BytesIO(data))


def saved(image: Any, options: Any = None) -> bytes:
    file = io.BytesIO()
    image.save(file, *([options] if options is not None else []))
    return file.getvalue()


def as_png(image: Any) -> Any:
    return rgba(saved(image, PngOptions()))


# ---- Loading


SIZES = [
    ('width="30" height="40"', (30, 40)),
    ('width="1in" height="72pt"', (96, 96)),
    ('width="2.54cm" height="10mm"', (96, 10 * 96 / 25.4)),
    ('viewBox="5 5 30 40"', (30, 40)),
    ('viewBox="0 0 30 40" width="60"', (60, 80)),
    ('viewBox="0 0 30 40" width="100%" height="20"', (15, 20)),
    ("width='7.5' height = '2e1'", (7.5, 20)),
]


@pytest.mark.parametrize(("attributes", "size"), SIZES)
def test_sizes(attributes: str, size: tuple[float, float]) -> None:
    data = document('<rect width="9" height="9"/>', attributes)
    image = loaded(data)
    assert image.file_format == FileFormat.SVG
    made, svg = SvgImage._cast_to(image)
    assert made
    assert (svg.width_f, svg.height_f) == pytest.approx(size, rel=1e-6)
    assert (svg.width, svg.height) == (int(np.ceil(size[0])), int(np.ceil(size[1])))
    assert (svg.bits_per_pixel, svg.is_cached) == (32, True)
    if "%" not in attributes:  # a part of the page, which rsvg-convert takes as the whole of it
        assert drawn(data).shape[:2] == pytest.approx((svg.height, svg.width), abs=1)


def test_a_document_without_a_size() -> None:
    data = document('<rect x="5" y="7" width="40" height="20"/>', "")
    assert loaded(data).size == Size(45, 27)
    options = SvgLoadOptions()
    options.default_width, options.default_height = 300, 200
    assert Image.load(io.BytesIO(data), options).size == Size(300, 200)
    with managed_error("ImageLoadException", "has no size, and shows nothing"):
        loaded(document("", ""))
    # The size of the document counts more.
    assert Image.load(io.BytesIO(document("", 'width="8" height="9"')), options).size == Size(8, 9)


def test_ways_to_load(tmp_path: Path) -> None:
    data = document(CONTENTS["shapes"])
    path = tmp_path / "picture.svg"
    path.write_bytes(data)
    packed = tmp_path / "picture.svgz"
    packed.write_bytes(gzip.compress(data))
    assert Image.get_file_format(str(path)) == FileFormat.SVG
    assert Image.get_file_format(str(packed)) == FileFormat.SVGZ
    assert Image.can_load(str(path)) and Image.can_load(str(packed))
    images = [Image.load(str(path)), Image.load(str(packed)), SvgImage(str(path)), SvgImage(str(packed)),
              SvgImage(io.BytesIO(data)), SvgImage.create_from_stream(io.BytesIO(data))]
    for image in images:
        assert image.size == Size(WIDTH, HEIGHT)
        assert difference(as_png(image), drawn(data)) < 0.2
    assert images[1].file_format == FileFormat.SVGZ
    png = io.BytesIO()
    Pillow.new("RGB", (3, 3)).save(png, "PNG")
    with managed_error("ArgumentException", "no SVG document"):
        SvgImage(io.BytesIO(png.getvalue()))


def test_a_document_in_utf_16() -> None:
    text = document(CONTENTS["text"]).decode().replace('version="1.0"', 'version="1.0" encoding="UTF-16"')
    image = loaded(text.encode("utf-16"))
    assert image.size == Size(WIDTH, HEIGHT)
    assert difference(as_png(image), drawn(document(CONTENTS["text"]))) < 0.2
    image.resize(WIDTH * 2, HEIGHT)
    assert drawn(saved(image)).shape == (HEIGHT, WIDTH * 2, 4)


# ---- Pixels


@pytest.mark.parametrize("name", CONTENTS)
def test_pixels(name: str) -> None:
    data = document(CONTENTS[name])
    pixels = as_png(loaded(data))
    wanted = drawn(data)
    assert np.count_nonzero(wanted[..., 3]) > 200
    assert difference(pixels, wanted) < 0.2


def test_pixels_beside_another_renderer(tmp_path: Path) -> None:
    """ImageMagick's own renderer draws it too; it rounds edges otherwise."""
    path = tmp_path / "shapes.svg"
    path.write_bytes(b'<svg xmlns="http://www.w3.org/2000/svg" width="60" height="40">'
                     b'<rect x="5" y="6" width="20" height="30" fill="#c04020"/>'
                     b'<circle cx="42" cy="20" r="12" fill="#2040c0" stroke="#000000" stroke-width="2"/></svg>')
    subprocess.run(["convert", "-background", "none", f"msvg:{path}", str(tmp_path / "other.png")], check=True,
                   timeout=60)
    pixels, other = as_png(Image.load(str(path))), rgba(tmp_path / "other.png")
    assert np.count_nonzero(np.abs(pixels - other).max(axis=2) > 20) < 300
    for x, y, color in ((15, 20, (0xC0, 0x40, 0x20, 255)), (42, 20, (0x20, 0x40, 0xC0, 255)), (2, 2, (0, 0, 0, 0))):
        assert tuple(pixels[y, x]) == tuple(other[y, x]) == color


def test_a_plot_of_another_program() -> None:
    """A document as gnuplot writes it: text, lines, markers, a clip."""
    program = ("set terminal svg size 300,200 dynamic font 'DejaVu Sans,10'; set title 'Waves'; "
               "plot sin(x) with lines, cos(x) with points")
    data = subprocess.run(["gnuplot", "-e", program], capture_output=True, timeout=60, check=True).stdout
    image = loaded(data)
    wanted = drawn(data, "-w", str(image.width), "-h", str(image.height))
    assert np.count_nonzero(wanted[..., 3]) > 1000
    assert difference(as_png(image), wanted) < 0.5
    options = SvgOptions()
    options.text_as_shapes = True
    assert difference(drawn(saved(image, options)), wanted) < 0.5


def test_options_of_rasterizing() -> None:
    data = document(CONTENTS["shapes"] + CONTENTS["text"])
    image = loaded(data)
    options = PngOptions()
    layout = SvgRasterizationOptions()
    layout.scale_x, layout.scale_y = 2.0, 3.0
    layout.background_color = Color.transparent
    options.vector_rasterization_options = layout
    assert difference(rgba(saved(image, options)), drawn(data, "-w", "240", "-h", "270")) < 0.5
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(60, 45)
    layout.background_color = Color.white
    options.vector_rasterization_options = layout
    assert difference(rgba(saved(image, options)), drawn(data, "-w", "60", "-h", "45", "-b", "white")) < 0.5
    # Edges that are not smooth have the colors of the document alone.
    layout = SvgRasterizationOptions()
    layout.smoothing_mode = SmoothingMode.NONE
    layout.text_rendering_hint = TextRenderingHint.SINGLE_BIT_PER_PIXEL
    layout.background_color = Color.white
    options.vector_rasterization_options = layout
    hard = rgba(saved(image, options)).reshape(-1, 4)
    assert len(np.unique(hard, axis=0)) < 12


def test_a_large_page_is_drawn_in_parts() -> None:
    data = document(CONTENTS["gradients"] + CONTENTS["opacity"] + CONTENTS["filter"])
    image = loaded(data)
    image.resize(2000, 1500)
    assert difference(as_png(image), drawn(data, "-w", "2000", "-h", "1500")) < 0.5


# ---- Changes


TURNS: dict[RotateFlipType, Any] = {
    RotateFlipType.ROTATE_90_FLIP_NONE: lambda a: np.rot90(a, -1),
    RotateFlipType.ROTATE_180_FLIP_NONE: lambda a: np.rot90(a, 2),
    RotateFlipType.ROTATE_270_FLIP_NONE: lambda a: np.rot90(a),
    RotateFlipType.ROTATE_NONE_FLIP_X: lambda a: a[:, ::-1],
    RotateFlipType.ROTATE_NONE_FLIP_Y: lambda a: a[::-1],
    RotateFlipType.ROTATE_90_FLIP_X: lambda a: np.rot90(a, -1)[:, ::-1],
}


@pytest.mark.parametrize("turn", TURNS)
def test_turning(turn: RotateFlipType) -> None:
    data = document("".join(CONTENTS[name] for name in ("gradients", "opacity", "text", "mask", "filter", "blend")))
    image = loaded(data)
    image.rotate_flip(turn)
    wanted = TURNS[turn](drawn(data))
    assert difference(as_png(image), wanted) < 2
    text = saved(image)
    assert difference(drawn(text), wanted) < 2
    again = loaded(text)
    assert again.size == image.size
    assert difference(as_png(again), wanted) < 2


def test_a_changed_document_keeps_its_text() -> None:
    content = b'<!-- a comment --><g  class="a" ><rect width="9" height="9"/></g>'
    data = (b'<?xml version="1.0"?><!-- before -->\n<svg:svg xmlns:svg="http://www.w3.org/2000/svg" x="5" '
            b'width="50%" viewBox="0 0 40 30" style="fill:red">' + content.replace(b"<g", b"<svg:g").replace(
                b"</g", b"</svg:g").replace(b"<rect", b"<svg:rect") + b"</svg:svg><!-- behind -->")
    image = loaded(data)
    assert image.size == Size(40, 30)
    image.resize(80, 90)
    text = saved(image)
    assert text.startswith(b'<?xml version="1.0"?><!-- before -->\n<svg xmlns="http://www.w3.org/2000/svg"')
    assert text.endswith(b"<!-- behind -->")
    assert b'<!-- a comment --><svg:g  class="a" ><svg:rect width="9" height="9"/></svg:g></svg:svg></g></svg>' in text
    again = loaded(text)
    assert again.size == Size(80, 90)
    pixels = as_png(again)
    assert np.array_equal(pixels[26, 17], (255, 0, 0, 255)) and not pixels[29:].any() and not pixels[:, 19:].any()
    again.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    twice = loaded(saved(again))
    assert difference(as_png(twice), np.rot90(pixels, -1)) < 0.2


# ---- Saving


def test_an_unchanged_document_is_saved_as_it_was(tmp_path: Path) -> None:
    data = document(CONTENTS["shapes"]).replace(b"\n", b"\r\n") + b"<!-- end -->"
    packed = gzip.compress(data)
    for original in (data, packed):
        image = loaded(original)
        assert saved(image) == original
        options = SvgOptions()
        options.compress = original is packed
        assert saved(image, options) == original
        options.compress = not options.compress
        other = saved(image, options)
        assert (gzip.decompress(other) if options.compress else other) == data
        image.save(str(tmp_path / "out.svg"))
        assert (tmp_path / "out.svg").read_bytes() == data
        image.save(str(tmp_path / "out.svgz"))
        assert gzip.decompress((tmp_path / "out.svgz").read_bytes()) == data
    path = tmp_path / "own.svg"
    path.write_bytes(data)
    image = Image.load(str(path))
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.save()
    assert Image.load(str(path)).size == Size(HEIGHT, WIDTH)


def test_embedded_images() -> None:
    data = document(CONTENTS["image"] + '<image href="other.png" width="9" height="9"/>'
                    '<image href="data:image/png;base64,AAAA"/>')
    image: Any = SvgImage._cast_to(loaded(data)).value
    images = list(image.get_embedded_images())
    assert len(images) == 1
    picture: Any = RasterImage._cast_to(images[0].image).value
    assert picture.size == Size(2, 1)
    assert [picture.get_pixel(x, 0).to_argb() & 0xFFFFFF for x in range(2)] == [0xFF0000, 0x0000FF]


@pytest.mark.parametrize("data", ["iVBO\nRw0K", " iVBORw0K ", "iVBO&#9;Rw&#13;0K", "iVBORw0K=ignored"])
def test_embedded_images_with_spaces(data: str) -> None:
    """Spaces and ends of lines within the data count for nothing, and nothing behind its end does."""
    file = io.BytesIO()
    Pillow.new("RGB", (3, 2), (1, 2, 3)).save(file, "PNG")
    text = base64.b64encode(file.getvalue()).decode()
    assert text.startswith("iVBORw0K") and not text.endswith("=")
    text = data.split("=")[0] + text[8:] + ("" if "=" not in data else "=" + data.split("=")[1])
    image: Any = SvgImage._cast_to(loaded(document(f'<image href="data:image/png;base64,{text}"/>'))).value
    (embedded, ) = image.get_embedded_images()
    assert embedded.image.size == Size(3, 2)


@pytest.mark.parametrize("uri", ["data:image/png;base64", "data:image/png,iVBORw0K", "image/png;base64,iVBORw0K",
                                 "data:image/png;base64,iVB?Rw0K"])
def test_what_is_no_embedded_image(uri: str) -> None:
    image: Any = SvgImage._cast_to(loaded(document(f'<image href="{uri}"/>'))).value
    assert list(image.get_embedded_images()) == []


@pytest.mark.parametrize("width, height", [(10000001, 5), (5, 10000001)])
def test_documents_that_are_too_large(width: int, height: int) -> None:
    data = f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}"><rect/></svg>'.encode()
    with managed_error("ImageLoadException", f"a picture of {width} by {height} pixels is larger than the limit"):
        loaded(data)
    data = data.replace(b"10000001", b"10000000")
    assert max(loaded(data).width, loaded(data).height) == 10000000


# ---- What must not happen


def test_entities_that_grow_without_end() -> None:
    text = "<!DOCTYPE svg [<!ENTITY a 'aaaaaaaaaa'>"
    for name in "bcdefghijk":
        text += f"<!ENTITY {name} '{('&' + chr(ord(name) - 1) + ';') * 10}'>"
    text += "]><svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><text>&k;</text></svg>"
    with managed_error("ImageLoadException", "cannot be read"):
        loaded(text.encode())


def test_elements_that_contain_themselves() -> None:
    data = document('<g id="a"><use xlink:href="#b"/></g><g id="b"><use xlink:href="#a"/></g>' +
                    "".join(f'<g id="x{i}"><use xlink:href="#x{i + 1}"/><use xlink:href="#x{i + 1}"/></g>'
                            for i in range(40)) + '<rect id="x40" width="5" height="5"/>')
    image = loaded(data)
    with managed_error(r"\w+", "the SVG document cannot be read"):
        saved(image, PngOptions())


def test_deep_documents() -> None:
    deep = document("<g>" * 100000 + "</g>" * 100000)
    with managed_error("ImageLoadException", "cannot be read"):
        loaded(deep)


def test_damaged_documents() -> None:
    data = document("".join(CONTENTS.values()))
    for length in range(60, len(data) - 8, 211):
        with managed_error(r"Image\w+Exception"):
            loaded(data[:length])
    packed = gzip.compress(data)
    for length in range(40, len(packed) - 20, 97):
        with managed_error(r"Image\w+Exception"):
            loaded(packed[:length])
    lots = random.Random(7)
    for _ in range(40):
        changed = bytearray(data)
        for _ in range(4):
            changed[lots.randrange(100, len(data))] = lots.randrange(32, 127)
        try:
            saved(loaded(bytes(changed)), PngOptions())
        except RuntimeError as error:
            assert "Exception" in str(error)


@pytest.mark.parametrize("size", ["1e9", "99999999"])
def test_sizes_beyond_every_limit(size: str) -> None:
    with managed_error(r"\w+Exception", "pixels"):
        saved(loaded(document("<rect/>", f'width="{size}" height="{size}"')), PngOptions())
