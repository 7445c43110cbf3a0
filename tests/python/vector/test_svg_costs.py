"""Strokes of SVG documents that would take memory and time without end are refused by what they ask for."""

from __future__ import annotations

import concurrent.futures
import io
import time

import pytest
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PdfOptions, PngOptions, SvgRasterizationOptions

from support.image_oracles import managed_error

CURVE = '<path d="M1 1C5 9 9 1 20 20A5 5 0 0 1 3 3Z" fill="none" stroke="green"'
WIDE, DASHED = "a stroke would be more than 1000000000 pixels wide", "its strokes have more than 3000000 dashes"


def document(content: str, root: str = 'width="60" height="40"') -> bytes:
    return (f'<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" {root}>'
            f"{content}</svg>").encode()


def drawn(data: bytes) -> bytes:
    file = io.BytesIO()
    Image.load(io.BytesIO(data)).save(file, PngOptions())
    return file.getvalue()


@pytest.mark.parametrize(("content", "words"), [
    (f'<g transform="translate(3 4) scale(2e13)">{CURVE}/></g>', WIDE),
    (f'<g style="transform: matrix(1e5,0,0,1e5,0,0)"><g transform="scale(1 1e5)">{CURVE}/></g></g>', WIDE),
    (f'{CURVE} stroke-width="1e12"/>', WIDE),
    (f"<style>path {{ stroke-width: 1e12px }}</style>{CURVE}/>", WIDE),
    (f'<symbol id="a">{CURVE}/></symbol><g id="b" transform="scale(1e5)"><use xlink:href="#a" '
     f'transform="scale(1e3)"/></g><use xlink:href="#b" transform="scale(1e4)"/>', WIDE),
    (f'<marker id="m" markerWidth="9" markerHeight="9" viewBox="0 0 1e-12 1">{CURVE}/></marker>'
     '<path d="M1 1L9 9" stroke="red" marker-end="url(#m)"/>', WIDE),
    ('<path d="M0 5H8000000" stroke="red" stroke-dasharray="0.3"/>', DASHED),
    ('<rect style="width: 4000000px; height: 9px; fill: none" stroke="red" stroke-dasharray="1"/>', DASHED),
    ('<g stroke-dasharray="1 1" stroke="red"><polyline points="0,0 4000000,0 0,1 4000000,1"/></g>', DASHED),
    ('<g style="stroke-dasharray: 0.5" stroke="red"><path d="m0 0 l500000 500000 v-500000 c0 0 0 0 99999 0"/>'
     '<line x1="0" x2="900000"/><rect width="90000" height="9"/><circle r="90000"/></g>', DASHED)])
def test_strokes_without_end(content: str, words: str) -> None:
    start = time.process_time()
    with managed_error("ImageLoadException", words):
        drawn(document(content))
    assert time.process_time() - start < 1


def test_a_picture_that_is_enlarged() -> None:
    data = document(f'{CURVE} stroke-width="9e8"/>')
    assert drawn(data).startswith(b"\x89PNG")
    options, page = PngOptions(), SvgRasterizationOptions()
    page.scale_x = page.scale_y = 2.0
    options.vector_rasterization_options = page
    with managed_error("OutOfMemoryException", WIDE):
        Image.load(io.BytesIO(data)).save(io.BytesIO(), options)


def test_maps_that_enlarge_nothing_may_be_nested() -> None:
    """As programs write them around each group: places, turns and mirrors."""
    for transform in ("matrix(1 0 0 1 2 -2)", "matrix(0 1 -1 0 9 9)", "matrix(-1 0 0 1 3 3)"):
        assert drawn(document(f'<g transform="{transform}">' * 80 + f"{CURVE}/>" + "</g>" * 80))


def test_short_dashes_are_a_paler_line() -> None:
    assert drawn(document('<g transform="scale(0.001)"><path d="M0 0H8000000" stroke="red" stroke-dasharray="2"/></g>'))


@pytest.mark.parametrize("content", [
    f'<g transform="scale(1e-3)"><g transform="scale(1e5)">{CURVE} stroke-dasharray="3 1"/></g></g>',
    '<path d="M0 0h100 m-50 +50 .5.5 L1e3,-1e-3" stroke="red" stroke-dasharray="1,2 3"/>',
    '<use xlink:href="#x"/><g id="x"><use xlink:href="#y"/></g><g id="y" transform="scale(2)"><path d="M0 0"/></g>'])
def test_usual_strokes_are_drawn(content: str) -> None:
    assert drawn(document(content)).startswith(b"\x89PNG")
    assert drawn(document(content, 'viewBox="0 0 0.001 0.001" width="100" height="100"')).startswith(b"\x89PNG")


def test_what_the_drawing_library_does_not_survive() -> None:
    """It ends the process for texts higher than its numbers go, and for kernels of more numbers than it keeps."""
    text, high = '<text y="20">ab</text>', "a font would be more than 1000000 pixels high"
    kernel, wide = " ".join(["1"] * 400), "a convolution has 400 numbers or more"
    hidden = "a style sheet stands in a data URI, which is not supported"
    sheet = "data:text/css,text%7Bfont-size:3000000px%7D"
    for content, words in [
            ('<text y="20" font-size="3e6">ab</text>', high),
            (f'<g font-size="1000px"><g font-size="3000em">{text}</g><g font-size="900%">{text}</g></g>', high),
            (f'<g id="a" font-size="400em">{text}</g><g font-size="400em"><use xlink:href="#a"/></g>', high),
            (f'<g style="fill:red;font: bold 9e9px serif">{text}</g>', high),
            (f'<g style="f\\6fnt-size: 3e6px">{text}</g>', high),
            (f"<style>text {{ font-size:/* */3000000px }}</style>{text}", high),
            (f"{text}<style>@media screen {{ text {{ FONT-SIZE: 30000in }} }}</style>", high),
            (f"<style>g {{ font-size: 300% }}</style>{'<g>' * 12}{text}{'</g>' * 12}", high),
            (f"<style>@import url({sheet});</style>{text}", hidden),
            (f'<filter id="f"><feConvolveMatrix order="3" kernelMatrix="{kernel}"/></filter>', wide),
            (f'<filter id="f"><feConvolveMatrix order="21" kernelMatrix="{kernel} {kernel}"/></filter>', wide),
            ('<filter id="f"><feTurbulence baseFrequency="0.05" numOctaves="1000000000"/></filter>',
             "a turbulence has more than 64 octaves")]:
        with managed_error("NotSupportedException" if words == hidden else "ImageLoadException", words):
            drawn(document(f'{content}<rect width="9" height="9" filter="url(#f)"/>'))
    with managed_error("NotSupportedException", hidden):
        drawn(f'<?xml-stylesheet href="{sheet.replace("data", "DATA")}"?>'.encode() + document(text))


def test_an_encoding_that_only_the_library_knows() -> None:
    data = document('<text y="20">\u0434\u0430</text>').decode()
    assert drawn(f'<?xml version="1.0" encoding="windows-1251"?>{data}'.encode("cp1251")).startswith(b"\x89PNG")
    large = data.replace("<text", '<text font-size="3e6"')
    with managed_error("ImageLoadException", "a font would be more than 1000000 pixels high"):
        drawn(f'<?xml version="1.0" encoding="koi8-r"?>{large}'.encode("koi8-r"))


@pytest.mark.parametrize("content", [
    '<style>@font-face { font-family: x; src: url(data:font/woff2;base64,AAAA) } text { font-size: 1.5em }</style>'
    '<g style="font-size: 120%"><g style="font: 900 2em/1.2 serif"><text y="20">ab</text></g></g>',
    '<filter id="f"><feConvolveMatrix order="19" kernelMatrix="' + "1 " * 361 + '"/></filter>'
    '<filter id="g"><feConvolveMatrix order="19" kernelMatrix="' + "-0.25, " * 361 + '"/></filter>'
    '<rect width="9" height="9" filter="url(#f)"/><rect width="9" height="9" filter="url(#g)"/>',
    '<text y="20" font-size="100000">ab</text>'])
def test_usual_texts_and_filters_are_drawn(content: str) -> None:
    assert drawn(document(content)).startswith(b"\x89PNG")


def test_a_fault_of_the_drawing_library() -> None:
    """Librsvg 2.54 panics for a tile without a pixel, at the first as at the second time; another one may draw it."""
    data = document('<filter id="f"><feFlood width="1e-30"/><feTile/></filter>'
                    '<rect x="5" y="5" width="40" height="30" filter="url(#f)"/>')

    def outcome() -> str:
        try:
            return drawn(data)[1:4].decode()
        except RuntimeError as error:
            return str(error)

    fault = ("Proxy error(NotSupportedException): Cannot save the image to the stream: "
             "the SVG document cannot be drawn: the drawing library fails.")
    with concurrent.futures.ThreadPoolExecutor(1) as other:
        outcomes = [outcome(), outcome(), other.submit(outcome).result(), outcome()]
    assert set(outcomes) in ({fault}, {"PNG"})
    assert drawn(document('<text y="20">ab</text>')).startswith(b"\x89PNG")


def as_pdf(data: bytes) -> bytes:
    file = io.BytesIO()
    Image.load(io.BytesIO(data)).save(file, PdfOptions())
    return file.getvalue()


@pytest.mark.parametrize("encoding", ["utf-8", "utf-16-le", "utf-16-be"])
def test_links_behind_groups(encoding: str) -> None:
    """Cairo 1.16 reads freed memory for a link within a group of a page; such a document is drawn without links."""
    link = '<a xlink:href = "https://example.org/a"><rect width="20" height="20" fill="red"/></a>'
    shape = '<rect width="9" height="9"'
    bom = {"utf-16-le": b"\xff\xfe", "utf-16-be": b"\xfe\xff"}.get(encoding, b"")

    def encoded(content: str) -> bytes:
        return bom + document(content).decode().encode(encoding)

    assert b"https://example.org/a" in as_pdf(encoded(link))
    for grouped in (f'<g opacity="0.5">{link}</g>', f'<g style="MIX-BLEND-MODE: multiply">{link}</g>',
                    f"<style>g {{ opacity: 0.5 }}</style><g>{link}</g>",
                    f'<mask id="m">{link}</mask>{shape} mask="url(#m)"/>',
                    f'<pattern id="p" width="9" height="9">{link}</pattern>{shape} fill="url(#p)"/>'):
        assert b"example.org" not in as_pdf(encoded(grouped))
        plain = encoded(grouped.replace(link, link[link.index("<rect"):-4]))
        assert drawn(encoded(grouped)) == drawn(plain)
    entity = f"<!DOCTYPE svg [<!ENTITY link '{link}'>]>".replace('"', "&#34;").encode(encoding)
    with managed_error("NotSupportedException", "the SVG document has links in entities, which are not supported"):
        as_pdf(bom + entity + document('<g opacity="0.5">&link;</g>').decode().encode(encoding))
