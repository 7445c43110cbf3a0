"""Pictures saved as SVG and as scripts for the canvas element of HTML: vector pictures as lines and text, others as
pictures in the document."""

from __future__ import annotations

import gzip
import io
import struct
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, FileFormat, Image, Rectangle, SizeF
from zelmor.imaging.fileformats.svg import SvgColorMode, SvgImage, SvgResourceKeeperCallback
from zelmor.imaging.imageoptions import Html5CanvasOptions, MultiPageOptions, SvgOptions, SvgRasterizationOptions

from support.canvas_scripts import Replay
from support.drawn_documents import CONTENTS, HEIGHT, WIDTH, difference, document, drawn, rgba
from support.image_oracles import managed_error, noise
from support.metafiles import emf, plus, plus_record

SVG = "{http://www.w3.org/2000/svg}"


def loaded(data: bytes) -> Image:
    return Image.load(io.BytesIO(data))


def saved(image: Any, options: Any) -> bytes:
    file = io.BytesIO()
    image.save(file, options)
    return file.getvalue()


def svg_options(**values: Any) -> SvgOptions:
    options = SvgOptions()
    for name, value in values.items():
        setattr(options, name, value)
    return options


def html_options(**values: Any) -> Html5CanvasOptions:
    options = Html5CanvasOptions()
    for name, value in values.items():
        setattr(options, name, value)
    return options


def picture(pixels: Any) -> Image:
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "PNG")
    return loaded(file.getvalue())


#: How far a drawing may be from that of the document that it was made of. What no canvas has becomes pixels.
TOLERANCE = {"pattern": 2.0, "filter": 1.0, "mask": 1.0, "blend": 1.0}


# ---- SVG


@pytest.mark.parametrize("name", CONTENTS)
def test_vectors_drawn_as_svg(name: str) -> None:
    data = document(CONTENTS[name])
    text = saved(loaded(data), svg_options(text_as_shapes=True))
    assert b"linearGradient id=\"linear\"" not in text and b"<text" not in text
    assert difference(drawn(text), drawn(data)) < TOLERANCE.get(name, 0.3)
    has_pictures = name in ("pattern", "filter", "mask", "blend", "image")
    assert (b"<image" in text) == has_pictures


MASK = ('<mask id="m"><linearGradient id="l"><stop stop-color="#fff"/><stop offset="1" stop-color="#222"/>'
        '</linearGradient><rect width="900" height="600" fill="url(#l)"/></mask>')


def scattered(count: int, attributes: str) -> bytes:
    """A page with so many shapes, each turned about its corner and outlined."""
    shapes = "".join(f'<path d="M0 0H9L14 11Z" transform="translate({13 + 41 * i % 870} {17 + 29 * i % 560}) '
                     f'rotate({7 * i % 360})" stroke="#024" stroke-width="1.5" fill="rgb({i % 256},90,160)" '
                     f"{attributes}/>"
                     for i in range(count))
    root = '<svg xmlns="http://www.w3.org/2000/svg" width="900" height="600">'
    return f"{root}<defs>{MASK}</defs>{shapes}</svg>".encode()


@pytest.mark.parametrize(("attributes", "count", "pictures"), [
    ('opacity="0.6"', 400, 0), ('mask="url(#m)"', 80, 80), ('mask="url(#m)"', 120, 1)])
def test_a_page_of_many_shapes(attributes: str, count: int, pictures: int) -> None:
    """Shapes of one opacity stay shapes. Masked ones become small pictures, and a page of many of them a single one."""
    data = scattered(count, attributes)
    text = saved(loaded(data), svg_options(text_as_shapes=True))
    root = ElementTree.fromstring(text)
    assert len(list(root.iter(f"{SVG}image"))) == pictures
    assert difference(drawn(text), drawn(data)) < 0.3


def test_the_form_of_a_document() -> None:
    text = saved(loaded(document(CONTENTS["shapes"])), svg_options(text_as_shapes=True))
    root = ElementTree.fromstring(text)
    assert root.tag == f"{SVG}svg"
    assert (root.get("width"), root.get("height"), root.get("viewBox")) == ("120", "90", "0 0 120 90")
    assert len(list(root.iter(f"{SVG}path"))) >= 3


@pytest.mark.parametrize("bands", [3, 4])
def test_pixels_in_svg(bands: int) -> None:
    pixels = noise(bands)
    text = saved(picture(pixels), svg_options())
    root = ElementTree.fromstring(text)
    assert [element.tag for element in root.iter(f"{SVG}image")] == [f"{SVG}image"]
    wanted = io.BytesIO()
    Pillow.fromarray(pixels).save(wanted, "PNG")
    assert difference(drawn(text), rgba(wanted.getvalue())) < 0.6
    again = loaded(text)
    vector: Any = SvgImage._cast_to(again).value
    inner = list(vector.get_embedded_images())[0].image
    back = io.BytesIO()
    inner.save(back)
    assert np.array_equal(np.asarray(Pillow.open(io.BytesIO(back.getvalue())).convert("RGBA" if bands == 4 else "RGB")),
                          pixels)


def test_gray() -> None:
    data = document(CONTENTS["shapes"] + CONTENTS["gradients"] + CONTENTS["image"])
    pixels = drawn(saved(loaded(data), svg_options(color_type=SvgColorMode.GRAYSCALE)))
    assert np.ptp(pixels[..., :3], axis=2).max() <= 1
    weighted = drawn(data)[..., :3] @ [0.299, 0.587, 0.114]
    assert np.abs(pixels[..., 0] - weighted).mean() < 1
    assert SvgOptions().color_type == SvgColorMode.RGB


def test_a_picture_that_becomes_transparent_again() -> None:
    """As drawings of EMF+ often begin; what was drawn before cannot be taken away."""
    square, clear = struct.Struct("<2I4f").pack, struct.pack("<I", 0)
    red, blue = (plus_record(0x400A, 0x8000, square(color, 1, 10, 10, 50, 50)) for color in
                 (0xFFFF0000, 0xFF0000FF))
    assert b"#0000ff" in saved(loaded(emf(plus(plus_record(0x4009, 0, clear), blue))), svg_options())
    with managed_error("ImageSaveException", "SVG cannot make a part of a picture transparent again"):
        saved(loaded(emf(plus(red, plus_record(0x4009, 0, clear), blue))), svg_options())


@pytest.mark.parametrize("mode", [SvgColorMode.Y_CB_CR, SvgColorMode.CMYK, SvgColorMode.YCCK])
def test_colors_that_svg_has_not(mode: SvgColorMode) -> None:
    with managed_error("NotSupportedException", f"SvgOptions.color_type = {mode.name}", "the colors of SVG are RGB"):
        saved(picture(noise()), svg_options(color_type=mode))


def test_packed(tmp_path: Path) -> None:
    image = picture(noise())
    plain, packed = saved(image, svg_options()), saved(image, svg_options(compress=True))
    assert gzip.decompress(packed) == plain
    for name, form in (("a.svg", FileFormat.SVG), ("a.svgz", FileFormat.SVGZ)):
        image.save(str(tmp_path / name))
        assert Image.get_file_format(str(tmp_path / name)) == form


def test_a_plain_keeper_embeds_pictures() -> None:
    image = picture(noise())
    assert saved(image, svg_options(callback=SvgResourceKeeperCallback())) == saved(image, svg_options())


def test_pages_and_backgrounds() -> None:
    data = document(CONTENTS["opacity"])
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(240, 180)
    layout.background_color = Color.yellow
    for options in (svg_options(), svg_options(text_as_shapes=True)):
        options.vector_rasterization_options = layout
        text = saved(loaded(data), options)
        assert difference(drawn(text), drawn(data, "-w", "240", "-h", "180", "-b", "yellow")) < 0.5
    frames = [Pillow.new("RGB", (8, 6), color) for color in ("red", "blue")]
    file = io.BytesIO()
    frames[0].save(file, "GIF", save_all=True, append_images=frames[1:])
    text = saved(loaded(file.getvalue()), svg_options(multi_page_options=MultiPageOptions([1])))
    assert np.all(drawn(text) == (0, 0, 255, 255))
    file = io.BytesIO()
    picture(noise()).save(file, svg_options(), Rectangle(3, 4, 20, 10))
    assert drawn(file.getvalue()).shape == (10, 20, 4)


def test_a_new_image_is_an_empty_document() -> None:
    text = saved(SvgImage(30, 20), svg_options())
    pixels = drawn(text)
    assert pixels.shape == (20, 30, 4) and not pixels.any()


# ---- Scripts


@pytest.mark.parametrize("name", CONTENTS)
def test_vectors_as_scripts(name: str) -> None:
    data = document(CONTENTS[name])
    page = saved(loaded(data), html_options())
    assert page.startswith(b'<!DOCTYPE html>\n<html>\n<head>\n<meta charset="utf-8">')
    assert page.endswith(b"</body>\n</html>\n")
    replay = Replay(page.decode())
    assert (replay.id, replay.width, replay.height) == ("canvas", WIDTH, HEIGHT)
    assert difference(drawn(replay.document()), drawn(data)) < TOLERANCE.get(name, 0.4)
    assert Image.get_file_format(io.BytesIO(page)) == FileFormat.HTML_5_CANVAS


def test_pixels_as_a_script() -> None:
    pixels = noise(4)
    replay = Replay(saved(picture(pixels), html_options()).decode())
    wanted = io.BytesIO()
    Pillow.fromarray(pixels).save(wanted, "PNG")
    assert difference(drawn(replay.document()), rgba(wanted.getvalue())) < 0.6


def test_options_of_scripts() -> None:
    image = loaded(document(CONTENTS["shapes"]))
    whole = saved(image, html_options())
    part = saved(image, html_options(full_html_page=False))
    assert part.startswith(b'<canvas id="canvas" ') and part.endswith(b"</script>\n") and part in whole
    named = saved(image, html_options(canvas_tag_id='a"<\u00e9\U0001f600>')).decode()
    assert '<canvas id="a&#34;&#60;&#233;&#128512;>"' in named
    assert 'getElementById("a\\u0022\\u003c\\u00e9\\ud83d\\ude00>")' in named
    for name, charset in (("UTF-8", "utf-8"), ("iso-8859-1", "iso-8859-1"), ("us-ascii", "us-ascii")):
        page = saved(image, html_options(encoding=name))
        assert page == whole.replace(b'charset="utf-8"', f'charset="{charset}"'.encode())
    for name, codec in (("utf-16", "utf-16"), ("UTF-16BE", "utf-16")):
        page = saved(image, html_options(encoding=name))
        assert page.decode(codec).replace("utf-16", "utf-8").encode() == whole
    for name in ("utf-32", "ebcdic", "iso-8859-1\">"):
        with managed_error("NotSupportedException", "The encoding '" + name, "Html5CanvasOptions.encoding"):
            saved(image, html_options(encoding=name))


def test_a_page_is_not_read() -> None:
    with managed_error("NotSupportedException", "this runtime does not read HTML5 canvas files"):
        loaded(saved(loaded(document(CONTENTS["shapes"])), html_options()))
