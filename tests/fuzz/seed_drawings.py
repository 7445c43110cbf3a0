"""Small files of drawings: SVG, EMF, EMF+, WMF, OpenDocument, CDR, CMX and EPS, plain and packed; made of the records
and elements that the tests in Python have, and by the product's own exports of one scene.
"""

from __future__ import annotations

import gzip
import io
import struct
import uuid
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "python"))

from support import metafiles, office_files, office_suite  # noqa: E402
from support.metafiles import words  # noqa: E402

Files = Iterator[tuple[str, bytes]]

SVG = b"""<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" width="60" height="40">
<defs><linearGradient id="g" gradientTransform="rotate(20)"><stop offset="0" stop-color="red"/>
<stop offset="1" stop-color="#00f8"/></linearGradient><pattern id="p" width="8" height="8"
patternUnits="userSpaceOnUse"><circle r="3" cx="4" cy="4"/></pattern><filter id="f">
<feGaussianBlur stdDeviation="2"/><feOffset dx="2"/></filter>
<clipPath id="c"><rect width="30" height="30"/></clipPath><mask id="m"><rect width="50" height="20"
fill="white"/></mask>
<marker id="k" markerWidth="3" markerHeight="3"><path d="M0 0L3 3"/></marker></defs>
<style>text{font-size:9px} .a{fill:url(#g)}</style><g clip-path="url(#c)" transform="translate(3 4) scale(1.5)">
<rect class="a" x="1" y="2" width="20" height="10" rx="3"/><path d="M1 1C5 9 9 1 20 20A5 5 0 0 1 3 3Z" stroke="green"
marker-end="url(#k)" stroke-dasharray="3 1"/></g><text x="2" y="30">words<tspan dy="3">more</tspan></text>
<use xlink:href="#k" x="3"/><g mask="url(#m)" filter="url(#f)" opacity=".5"><ellipse cx="30" cy="20" rx="9" ry="5"
fill="url(#p)"/></g><polyline points="1,2 3,4 5 6" fill="none" stroke="#123"/>
<image width="2" height="2"
xlink:href="data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk
+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg=="/></svg>"""


def svg_files() -> Files:
    """One document with most elements, plain and packed."""
    yield "elements", SVG
    yield "packed", gzip.compress(SVG, mtime=0)


def emf_files() -> Files:
    """Records of shapes, text, bitmaps and state, alone and packed; EMF+ in a comment."""
    rows = [[0xFF0000, 0x00FF00], [0x0000FF, 0xFFFFFF]]
    bitmap = metafiles.bitmap_header(2, 2, 24)
    records = [
        metafiles.brush(1, 0x00FF00), metafiles.pen(2, 0xFF0000, 3), metafiles.extended_pen(3, 0x123456, 4),
        metafiles.points32(3, [(1, 2), (30, 40), (50, 6)]), metafiles.points16(86, [(1, 2), (30, 40), (50, 6)]),
        metafiles.emf_record(43, words(5, 5, 60, 30)), metafiles.emf_record(42, words(10, 10, 50, 50)),
        metafiles.font(4, -12, "DejaVu Sans"), metafiles.text_out("words", (5, 20), [7] * 5),
        metafiles.stretch_dib(bitmap, metafiles.rows24(rows), (10, 10, 40, 40), (2, 2)),
        metafiles.emf_record(33), metafiles.emf_record(35, struct.pack("<6f", 1, 0.2, 0, 1, 3, 4)),
        metafiles.emf_record(34, words(-1)), metafiles.emf_record(59), metafiles.emf_record(27, words(3, 3)),
        metafiles.emf_record(54, words(40, 50)), metafiles.emf_record(61), metafiles.emf_record(60),
        metafiles.emf_record(62, words(0, 0, 90, 90)), metafiles.emf_record(75, words(0, 1)), metafiles.select(2)]
    whole = metafiles.emf(*records)
    yield "records", whole
    yield "packed", gzip.compress(whole, mtime=0)
    path = metafiles.plus_path([(1, 1), (40, 5), (20, 60)], [0, 1, 0x81])
    brush = struct.pack("<3I", 0xDBC01002, 0, 0xFF00FF00)
    yield "plus", metafiles.emf(metafiles.plus(
        metafiles.plus_object(1, 3, path), metafiles.plus_object(2, 1, brush),
        metafiles.plus_record(0x4014, 0x0001, words(2)),
        metafiles.plus_record(0x400A, 0x8000, words(0xFF0000FF, 1) + metafiles.floats(1, 2, 30, 40))))
    yield "floods", metafiles.emf(metafiles.pen(2, 0xFF0000, 3), metafiles.brush(1, 0x00FF00),
                                  metafiles.emf_record(42, words(10, 10, 50, 50)), metafiles.emf_record(
                                      53, words(2, 2, 0x0000FF, 0)), metafiles.emf_record(53, words(30, 30, 0xFF00, 1)))
    image = metafiles.VERSION + words(1, 2, 2, 8, 0x21808, 0) + metafiles.rows24(rows)
    for name, effect, data in (("blur", "633C80A4-1843-482B-9EF2-BE2834C5FDD4", metafiles.floats(3) + words(1)),
                               ("sharpen", "63CBF3EE-C526-402C-8F71-62C540BF5142", metafiles.floats(2, 50)),
                               ("eyes", "74D29D05-69A4-4266-9549-3CC52836B632", words(1, 0, 0, 2, 2))):
        yield name, metafiles.emf(metafiles.plus(
            metafiles.plus_object(5, 5, image), metafiles.plus_record(0x4021, 5),
            metafiles.plus_record(0x4038, 0, uuid.UUID(effect).bytes_le + words(len(data)) + data),
            metafiles.plus_record(0x401B, 0x2005, words(0, 2) + metafiles.floats(0, 0, 2, 2) + words(3)
                                  + metafiles.floats(20, 20, 60, 20, 20, 60))))


def wmf_files() -> Files:
    """The same in 16 bits."""
    records = [metafiles.wmf_brush(0x00FF00), metafiles.wmf_select(0), metafiles.wmf_pen(0xFF0000, 2),
               metafiles.wmf_select(1), metafiles.wmf_record(0x041B, 60, 70, 5, 5),
               metafiles.wmf_record(0x0418, 60, 70, 5, 5),
               metafiles.wmf_record(0x0324, 3, 1, 2, 30, 40, 50, 6), metafiles.wmf_font(-12, b"DejaVu Sans"),
               metafiles.wmf_select(2), metafiles.wmf_record(0x0521, 4, data=b"word" + struct.pack("<2h", 20, 5)),
               metafiles.wmf_record(0x001E), metafiles.wmf_record(0x0127, -1 & 0xFFFF)]
    records += [metafiles.wmf_record(0x0419, 0, 0, 30, 30), metafiles.wmf_record(0x0548, 1, 0xFFFF, 0xFF, 1, 1)]
    for placeable in (True, False):
        yield f"records-{placeable}", metafiles.wmf(*records, placeable=placeable)
    yield "packed", gzip.compress(metafiles.wmf(*records), mtime=0)


def document_files() -> Files:
    """OpenDocument drawings, in a package and flat."""
    page = ('<draw:rect svg:x="10mm" svg:y="5mm" svg:width="30mm" svg:height="20mm" draw:style-name="red"/>'
            '<draw:path svg:viewBox="0 0 100 100" svg:d="M0 0C9 9 50 3 100 100Z" svg:x="1mm" svg:y="2mm" '
            'svg:width="9mm" svg:height="9mm"/><draw:frame svg:x="1mm" svg:y="1mm" svg:width="30mm" svg:height="9mm">'
            '<draw:text-box><text:p>words</text:p></draw:text-box></draw:frame>'
            '<draw:g><draw:ellipse svg:width="9mm" svg:height="7mm" draw:kind="arc" draw:start-angle="9"/></draw:g>')
    yield "package", office_files.odg(page)
    yield "flat", office_files.fodg(page)
    for name in ("table", "cube", "sphere", "extruded", "rotated", "gradients", "custom", "list"):
        yield name, office_suite.page_file(name)


def page_files() -> dict[str, Files]:
    """CDR, CMX and EPS, which programs of their own convert."""
    letters = office_files.cdr_letters(1300, 5, 204, 0.5, fill=2, line=1, encoding="ru")
    paragraph = office_files.CdrParagraph("a\u03a9", [letters], [0, 0])
    texts = office_files.cdr(office_files.cdr_artistic(21, 0, 0, 1300), more=office_files.cdr_font(
        5, "Serif", 0, 1300) + office_files.cdr_style_table(1300) + office_files.cdr_paragraphs(
        21, 1300, paragraph, paragraph), version=1300)
    cdr = office_files.cdr(office_files.cdr_rectangle(0, 0, 1, 0.5, 1) + office_files.cdr_ellipse(0.2, 0.1, 1, 1, 2))
    cmx = office_files.cmx(office_files.cmx_rectangle(0.5, 0.5, 0.5, 0.5, 1)
                           + office_files.cmx_ellipse(1, 0.5, 1, 1, 2))
    fountain = struct.pack("<H3HhHhhHHH4H", 2, 1, 7, 10, 450, 0, 3, 4, 64, 1, 2, 1, 0, 2, 100)
    tiles = struct.pack("<7H", 1, 500, 250, 25, 50, 75, 0) + bytes(8)
    place = struct.pack("<5hh", 0, 0, 1500, 500, 0, 900)
    styles = office_files.cmx(
        office_files.cmx_command(68, b"\3" + fountain + struct.pack("<H", 1) + place)
        + office_files.cmx_command(68, b"\1" + struct.pack("<H", 10) + tiles + place)
        + office_files.cmx_command(69, bytes(19) + struct.pack("<HH", 5, 1)),
        tables=((b"rotl", struct.pack("<H6H", 1, 1, 0, 2, 0, 1, 1)), (b"rott", struct.pack("<HBB", 1, 4, 0x21)),
                (b"rpen", struct.pack("<HhHhHH", 1, 100, 200, 300, 0, 1)), (b"rdot", struct.pack("<HHHH", 1, 2, 3, 1))),
        patterns=[office_files.cmx_raster(bytes(6), 3, 2, bytes(8))],
        pictures=[office_files.cmx_raster(bytes(6), 3, 2, bytes(8))])
    eps = office_files.eps("1 0 0 setrgbcolor 10 10 30 20 rectfill /Courier findfont 9 scalefont setfont "
                           "5 5 moveto (words) show", "0 0 60 40", "%%Title: (words)")
    return {"cdr": iter([("shapes", cdr), ("texts", texts)]), "cmx": iter([("shapes", cmx), ("styles", styles)]),
            "eps": iter([("program", eps), ("binary", office_files.binary_eps(eps, wmf=metafiles.wmf()))])}


def exported() -> Iterator[tuple[str, str, bytes]]:
    """The document of SVG, as the product writes it in the formats of drawings."""
    from zelmor.imaging import Image
    from zelmor.imaging.imageoptions import EmfOptions, SvgOptions, WmfOptions

    options: dict[str, Any] = {"emf": EmfOptions, "wmf": WmfOptions, "svg": SvgOptions}
    for kind, make in options.items():
        for source in (SVG, metafiles.emf(metafiles.brush(1, 0xFF), metafiles.emf_record(43, words(5, 5, 60, 30)))):
            file = io.BytesIO()
            Image.load(io.BytesIO(source)).save(file, make())
            yield kind, f"exported-{len(source)}", file.getvalue()


def drawing_files() -> Iterator[tuple[str, str, bytes]]:
    """All of them: format, name, bytes."""
    for kind, files in {"svg": svg_files(), "emf": emf_files(), "wmf": wmf_files(), "odg": document_files(),
                        **page_files()}.items():
        for name, data in files:
            yield kind, name, data
    yield from exported()
