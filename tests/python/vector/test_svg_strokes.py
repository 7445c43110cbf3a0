"""Strokes of SVG documents that would take memory and time without end are refused by what they ask for."""

from __future__ import annotations

import io
import time

import pytest
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions, SvgRasterizationOptions

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
