"""Small drawings that the tests write by themselves: OpenDocument archives, CDR, CMX and EPS files.

CDR and CMX files are made from the published layout of their chunks, for the sixth version and for numbers of 16 bits.
"""

from __future__ import annotations

import io
import struct
import zipfile
from dataclasses import dataclass
from typing import Any


def cast(kind: Any, value: Any) -> Any:
    """The object as one of this class."""
    made, result = kind._cast_to(value)
    assert made, value
    return result


TYPE = "application/vnd.oasis.opendocument.graphics"
SPACES = " ".join(f'xmlns:{prefix}="urn:oasis:names:tc:opendocument:xmlns:{name}:1.0"' for prefix, name in [
    ("office", "office"), ("draw", "drawing"), ("svg", "svg-compatible"), ("fo", "xsl-fo-compatible"),
    ("style", "style"), ("text", "text"), ("meta", "meta"), ("table", "table"), ("dr3d", "dr3d")])
SPACES += ' xmlns:xlink="http://www.w3.org/1999/xlink" xmlns:dc="http://purl.org/dc/elements/1.1/"'
SPACES += ' xmlns:loext="urn:org:documentfoundation:names:experimental:office:xmlns:loext:1.0"'

MASTER = """<office:styles/><office:automatic-styles><style:page-layout style:name="PM"><style:page-layout-properties
    fo:page-width="{}px" fo:page-height="{}px"/></style:page-layout></office:automatic-styles>
    <office:master-styles><style:master-page style:name="M" style:page-layout-name="PM"/></office:master-styles>"""

RED = """<style:style style:name="red" style:family="graphic"><style:graphic-properties draw:stroke="none"
    draw:fill="solid" draw:fill-color="#ff0000"/></style:style>"""


def pages_of(*pages: str) -> str:
    inside = "".join(f'<draw:page draw:name="page{i + 1}" draw:master-page-name="M">{page}</draw:page>'
                     for i, page in enumerate(pages))
    return f"<office:body><office:drawing>{inside}</office:drawing></office:body>"


def odg(*pages: str, styles: str = RED, size: tuple[int, int] = (100, 80), meta: str = "",
        files: dict[str, bytes] | None = None, mime_type: str = TYPE, method: int = zipfile.ZIP_DEFLATED) -> bytes:
    """A drawing with these pages, each the XML of its shapes."""
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", method) as archive:
        archive.writestr(zipfile.ZipInfo("mimetype"), mime_type)
        archive.writestr("content.xml", f"<office:document-content {SPACES}><office:automatic-styles>{styles}"
                         f"</office:automatic-styles>{pages_of(*pages)}</office:document-content>")
        archive.writestr("styles.xml", f"<office:document-styles {SPACES}>{MASTER.format(*size)}"
                         "</office:document-styles>")
        archive.writestr("meta.xml", f"<office:document-meta {SPACES}><office:meta>{meta}</office:meta>"
                         "</office:document-meta>")
        for name, data in (files or {}).items():
            archive.writestr(name, data)
    return out.getvalue()


def fodg(*pages: str, styles: str = RED, size: tuple[int, int] = (100, 80)) -> bytes:
    """The same as one XML document."""
    master = MASTER.format(*size).replace("<office:automatic-styles>", f"<office:automatic-styles>{styles}", 1)
    return (f'<?xml version="1.0" encoding="UTF-8"?><office:document {SPACES} office:mimetype="{TYPE}">'
            f"{master}{pages_of(*pages)}</office:document>").encode()


# ---- RIFF

def chunk(name: bytes, data: bytes) -> bytes:
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) & 1)


def listed(kind: bytes, *chunks: bytes) -> bytes:
    return chunk(b"LIST", kind + b"".join(chunks))


def riff(kind: bytes, body: bytes) -> bytes:
    return b"RIFF" + struct.pack("<I", len(body) + 4) + kind + body


# ---- CDR: lengths are tenths of a micrometer, y points up from the middle of the page

def long_length(inches: float) -> bytes:
    return struct.pack("<i", round(inches * 254000))


def cdr_parts(kind: int, *parts: tuple[int, bytes]) -> bytes:
    """A record of parts, each with the number of its kind; the kinds stand in the opposite order."""
    count = len(parts)
    at = 20 + 8 * count
    places, data = [], b""
    for _, content in parts:
        places.append(at + len(data))
        data += content
    body = struct.pack("<IIIII", at + len(data), count, 20, 20 + 4 * count, kind)
    body += struct.pack(f"<{count}I", *places) + struct.pack(f"<{count}I", *[part[0] for part in reversed(parts)])
    return body + data


def cdr_shape(kind: int, coordinates: bytes, x: float, y: float, fill: int, line: int = 0,
              *, version: int = 600, number: int = 0) -> bytes:
    """A shape; one with a number is that of a text."""
    matrix = bytes(8 if version >= 1300 else 0) + struct.pack("<H", 8) + bytes(6)
    matrix += struct.pack("<6d", 1, 0, x * 254000, 0, 1, y * 254000)
    placed = listed(b"trfl", chunk(b"trfd", cdr_parts(0, (0, matrix))))
    looks = (0x14, struct.pack("<I", fill)), (0x0A, struct.pack("<I", line))
    loda = chunk(b"loda", cdr_parts(kind, (0x1E, coordinates), *looks))
    named = chunk(b"spnd", struct.pack("<I", number)) if number else b""
    return listed(b"obj ", named, chunk(b"flgs", struct.pack("<I", 0)), listed(b"lgob", placed, loda))


def cdr_rectangle(x: float, y: float, width: float, height: float, fill: int, line: int = 0) -> bytes:
    return cdr_shape(1, long_length(width) + long_length(height) + long_length(0), x, y, fill, line)


def cdr_ellipse(x: float, y: float, width: float, height: float, fill: int) -> bytes:
    return cdr_shape(2, long_length(width) + long_length(height) + struct.pack("<iiI", 0, 0, 0), x, y, fill)


def cdr_curve(points: list[tuple[float, float]], fill: int) -> bytes:
    types = bytes([0] + [0x40] * (len(points) - 2) + [0x48])
    places = b"".join(long_length(x) + long_length(y) for x, y in points)
    return cdr_shape(3, struct.pack("<I", len(points)) + places + types, 0, 0, fill)


def cdr_color(cmyk: tuple[int, int, int, int]) -> bytes:
    return struct.pack("<H6x", 2) + bytes(cmyk)


def cdr_gradient(number: int, stops: list[tuple[int, tuple[int, int, int, int]]], version: int = 600) -> bytes:
    """A fill with a linear gradient at 45 degrees; places are percents."""
    if version >= 1300:
        data = struct.pack("<I8xH8xB17xhiii2xIBxI3x", number, 2, 1, 10, 45000000, 3, 4, 1, 50, len(stops))
        between = bytes(26 if version >= 1500 else 5)
        return chunk(b"fild", data + b"".join(cdr_color(cmyk) + between + struct.pack("<I3x", at)
                                              for at, cmyk in stops))
    data = struct.pack("<IHxxB19xiiii2xIBxI", number, 2, 1, 10, 45000000, 3, 4, 1, 50, len(stops))
    return chunk(b"fild", data + b"".join(cdr_color(cmyk) + struct.pack("<I", at) for at, cmyk in stops))


def cdr_tiles(number: int, kind: int, image: int, version: int = 600) -> bytes:
    """A fill with a pattern of two colors (7), or with tiles of a picture, an inch by half an inch."""
    if version >= 1300:
        data = struct.pack("<I8xH", number, kind)
        size = struct.pack("<ii4xHB", 254000, 127000, 75, 0)
        if kind == 7:
            return chunk(b"fild", data + bytes(8) + struct.pack("<I", image) + size + bytes(6)
                         + cdr_color((0, 0, 0, 100)) + bytes(10) + cdr_color((100, 0, 0, 0)) + bytes(32))
        parts = struct.pack("<II5xII", 0x640, 5, 0x514, 0)
        return chunk(b"fild", data + parts + size + bytes(17) + struct.pack("<I", image) + bytes(32))
    data = struct.pack("<IHxxIiiHHHB", number, kind, image, 254000, 127000, 25, 50, 75, 0)
    if kind == 7:
        return chunk(b"fild", data + b"\0" + cdr_color((0, 0, 0, 100)) + cdr_color((100, 0, 0, 0)))
    return chunk(b"fild", data + bytes(21) + struct.pack("<I", image))


def cdr_bitmap(number: int, colors: bytes, width: int, height: int, rows: bytes) -> bytes:
    """A picture of 8 bits with a palette (blue, green, red)."""
    data = struct.pack("<I46xI4xII4xIII32x", number, 3, width, height, 8, len(rows) // height, len(rows))
    return chunk(b"bmp ", data + struct.pack("<2xH", len(colors) // 3) + colors + rows)


def cdr_pattern(number: int, width: int, height: int, rows: bytes) -> bytes:
    header = struct.pack("<IIIHHII16x", 40, width, height, 1, 1, 0, len(rows)) + b"\0\0\0\0\xff\xff\xff\0"
    return chunk(b"bmpf", struct.pack("<I", number) + header + rows)


def cdr_picture(number: int, colors: list[int]) -> bytes:
    """A picture of one row of pixels 0xRRGGBB, 24 bits each."""
    rows = b"".join(struct.pack("<I", color)[:3] for color in colors)
    rows += bytes(-len(rows) % 4)
    return chunk(b"bmp ", struct.pack("<I46xI4xII4xIII32x", number, 1, len(colors), 1, 24, len(rows), len(rows)) + rows)


def cdr_picture_shape(x: float, y: float, width: float, height: float, picture: int) -> bytes:
    """The place of a picture."""
    corners = [(0.0, 0.0), (0.0, height), (width, height), (width, 0.0)]
    points = b"".join(long_length(a) + long_length(b) for a, b in [*corners, corners[0]])
    data = long_length(width) + long_length(height) + bytes(8) + bytes(32) + struct.pack("<I8xH2x", picture, 5)
    return cdr_shape(5, data + points + b"\0\x40\x40\x40\x48", x, y, 0)


def cdr_arrow(number: int, points: list[tuple[float, float]]) -> bytes:
    types = bytes([0] + [0x40] * (len(points) - 2) + [0x48])
    places = b"".join(long_length(x) + long_length(y) for x, y in points)
    return chunk(b"arrw", struct.pack("<I4xH4x", number, len(points)) + types + b"\0" + places)


def cdr_text(number: int, text: bytes, font: int = 1, inches: float = 0.5) -> bytes:
    """A text of the sixth version with one style."""
    style = struct.pack("<B3xHH4x", 5, font, 0) + long_length(inches) + bytes(44)
    letters = b"".join(struct.pack("<4xB5xBx", letter, 1) for letter in text)
    return chunk(b"txsm", struct.pack("<I28xII48xIII", 1, 1, number, 1, 9, 1) + style
                 + struct.pack("<I", len(text)) + letters)


def cdr_font(number: int, name: str, charset: int = 0, version: int = 700) -> bytes:
    letters = (name + "\0").encode("utf-16-le" if version >= 1200 else "latin-1")
    return chunk(b"font", struct.pack("<HH14x", number, charset) + letters)


@dataclass
class CdrParagraph:
    """Characters with the number of their style each; what has no byte in Latin-1 takes two bytes."""

    text: str
    styles: list[bytes]
    style_of: list[int]
    style_id: int = 9


def cdr_letters(version: int, font: int = 0, charset: int = 0, inches: float = 0, fill: int = 0, line: int = 0,
                encoding: str = "") -> bytes:
    """The style of letters, of version 7 on."""
    flags = (1 if font else 0) | (4 if inches else 0) | (0x40 if fill else 0) | (0x80 if line else 0) | 0x3A
    encoding = encoding if version >= 800 else ""
    more = 8 if encoding else 0
    data = struct.pack("<HB", 1, flags) + (struct.pack("<B", more) if version >= 800 else b"")
    data += struct.pack("<HH", font, charset) if font else b""
    data += bytes(4) + (long_length(inches) if inches else b"") + bytes(12)
    data += struct.pack("<I", fill) + bytes(48 if version >= 1300 else 0) if fill else b""
    data += struct.pack("<I", line) if line else b""
    if encoding and version >= 1300:
        data += struct.pack("<I", len(encoding)) + encoding.encode("utf-16-le")
    elif encoding:
        data += bytes(4)
    return data


def cdr_paragraphs(number: int, version: int, *paragraphs: CdrParagraph, framed: bool = False,
                   along_path: bool = False) -> bytes:
    """A text of version 7 to 15 in one frame."""
    path = struct.pack("<I", along_path) + bytes(
        (32 if version <= 1200 else 40 if version < 1500 else 48) if along_path else 8 if version >= 1500 else 0)
    after = {True: 4 if version >= 1500 else 0, False: 40 if version >= 1500 else 36 if version >= 1400 else
             34 if version > 800 else 32 if version == 800 else 36}[framed]
    data = struct.pack("<I", framed) + bytes(33 if version >= 1500 else 32)
    data += path if version <= 700 else b""
    data += struct.pack("<II", 1, number) + struct.pack("<6d", 1, 0, 0, 0, 1, 0) + (path if version > 700 else b"")
    data += bytes(after) + struct.pack("<I", len(paragraphs))
    for each in paragraphs:
        data += struct.pack("<I", each.style_id) + bytes(2 if version > 1200 and framed else 1)
        data += struct.pack("<I", len(each.styles)) + b"".join(each.styles) + struct.pack("<I", len(each.text))
        wide = [version >= 1200 and ord(letter) > 255 for letter in each.text]
        for style, is_wide in zip(each.style_of, wide, strict=True):
            data += struct.pack("<Q" if version >= 1200 else "<I", style << 17 | is_wide)
        letters = b"".join(letter.encode("utf-16-le" if is_wide else "latin-1")
                           for letter, is_wide in zip(each.text, wide, strict=True))
        data += (struct.pack("<I", len(letters)) if version >= 1200 else b"") + letters + b"\0"
    return chunk(b"txsm", data)


def cdr_style_table(version: int, last_set: bool | None = None) -> bytes:
    """Styles 9 (Text: font 5 of half an inch, centered, fill 1, line 1, indents) and 10, based on it."""
    last_set = version > 800 if last_set is None else last_set
    around = bytes(12 if version < 1000 else 20)

    def entries(*items: bytes) -> bytes:
        return struct.pack("<I", len(items)) + b"".join(items)

    def reference(number: int, target: int, more: int = 0) -> bytes:
        return struct.pack("<I4xI", number, target) + bytes(more)
    bullet = bytes(44 if version > 1300 else 40)
    if version >= 1300:
        bullets = entries(bullet + struct.pack("<I", 1) + bytes(68), bullet + bytes(4 + 12))
    else:
        middle = bytes(28 if version >= 1000 else 20)
        bullets = entries(bullet + middle + struct.pack("<I", 1) + bytes(16), bullet + middle + bytes(4 + 8))
    data = struct.pack("<I", 2) + entries(reference(71, 1, 48 if version >= 1300 else 0)) + entries(reference(72, 1))
    data += entries(struct.pack("<I", 73) + around + struct.pack("<HH8x", 5, 0) + long_length(0.5) + around)
    data += entries(reference(74, 3)) + entries(bytes(52)) + entries(bytes(152)) + entries(bytes(784)) + bullets
    data += entries(struct.pack("<I12x", 78) + b"".join(map(long_length, (0.25, 0.75, 1.5))))
    data += entries(bytes(36 if version >= 1300 else 32)) + entries(bytes(28))
    data += entries(bytes(12)) if last_set else b""
    name = "Text\0"
    name_data = struct.pack("<I", len(name)) + name.encode("utf-16-le" if version >= 1200 else "latin-1")
    data += struct.pack("<III8x", 3, 9, 0) + name_data + struct.pack("<IIII8x", 71, 72, 73, 74)
    data += (bytes(4) if last_set else b"") + struct.pack("<8xI8x", 78)
    data += struct.pack("<III8x", 1, 10, 9) + name_data + bytes(8)
    return listed(b"stlt", data)


def cdr_style_chunk(number: int, version: int = 600) -> bytes:
    """A style of version 6 as a chunk: fill 1, line 1, font 5 of half an inch, centered."""
    parts = [(0xCD, struct.pack("<I", 1)), (0xD2, struct.pack("<I", 1)),
             (0xDC, struct.pack("<4xHH8x", 5, 0) + long_length(0.5)), (0xE1, struct.pack("<I", 3))]
    return chunk(b"styd", struct.pack("<H", number) + cdr_parts(8, *parts))


def cdr_artistic(number: int, x: float, y: float, version: int) -> bytes:
    """The place of a text."""
    return cdr_shape(4, long_length(0) + long_length(0), x, y, 1, version=version, number=number)


def cdr_solid(number: int, cmyk: tuple[int, int, int, int], version: int = 600) -> bytes:
    long = version >= 1300
    return chunk(b"fild", struct.pack("<I", number) + bytes(8 if long else 0) + struct.pack("<H", 1)
                 + bytes(13 if long else 2) + cdr_color(cmyk) + bytes(16))


def cdr_line(number: int, version: int = 600) -> bytes:
    """A black line, a tenth of an inch wide."""
    long = version >= 1300
    data = struct.pack("<HHH", 2, 0, 0) + (b"" if long else bytes(2)) + long_length(0.1) + struct.pack("<Hxxi", 100, 0)
    data += bytes(46 if long else 52) + cdr_color((0, 0, 0, 100)) + bytes(16 + 2 + 22 + 8)
    parts = struct.pack("<II", 7, 2) + bytes(2) + struct.pack("<II", 1, len(data)) if long else b""
    return chunk(b"outl", struct.pack("<I", number) + parts + data)


def cdr(*pages: bytes, width: float = 2, height: float = 1, more: bytes = b"", version: int = 600) -> bytes:
    """A file of pages; fill 1 is black and fill 2 white, in CMYK. Line 1 is black, a tenth of an inch wide."""
    body = chunk(b"vrsn", struct.pack("<H", version))
    body += listed(b"doc ", listed(b"filt", cdr_solid(1, (0, 0, 0, 100), version), cdr_solid(2, (0, 0, 0, 0), version)),
                   listed(b"otlt", cdr_line(1, version)), more)
    before = 12 if version >= 1300 else 4 if version >= 900 else 0x1C if version < 700 else 0
    body += chunk(b"mcfg", bytes(before) + long_length(width) + long_length(height) + bytes(64))
    flags = chunk(b"flgs", struct.pack("<I", 0))
    for page in pages:
        body += listed(b"page", flags, listed(b"gobj", listed(b"layr", flags, page)))
    return riff(b"CDR" + f"{version // 100:X}".encode(), body)


# ---- CMX: lengths are thousandths of an inch, y points up

def short_length(inches: float) -> bytes:
    return struct.pack("<h", round(inches * 1000))


def cmx_command(code: int, data: bytes = b"") -> bytes:
    return struct.pack("<hh", 4 + len(data), code) + data


def cmx_shape(code: int, color: int, data: bytes) -> bytes:
    """A command for a shape that is filled with a color of the table, counted from 1."""
    return cmx_command(code, struct.pack("<BHHH", 1, 1, color, 1) + data)


def cmx_rectangle(x: float, y: float, width: float, height: float, color: int) -> bytes:
    return cmx_shape(68, color, b"".join(map(short_length, (x, y, width, height, 0))) + bytes(2))


def cmx_ellipse(x: float, y: float, width: float, height: float, color: int) -> bytes:
    return cmx_shape(66, color, b"".join(map(short_length, (x, y, width, height))) + bytes(8))


def cmx_curve(points: list[tuple[float, float]], color: int) -> bytes:
    data = struct.pack("<H", len(points)) + b"".join(short_length(x) + short_length(y) for x, y in points)
    return cmx_shape(67, color, data + bytes([0] + [0x40] * (len(points) - 2) + [0x48]))


def cmx_picture_list(data: bytes) -> bytes:
    """The chunk of a picture or a pattern."""
    return listed(b"imag", chunk(b"info", struct.pack("<HHII", 1, 0, len(data), len(data))), chunk(b"data", data))


def cmx_raster(colors: bytes, width: int, height: int, rows: bytes) -> bytes:
    """A picture of 8 bits with a palette, as CDR files have it."""
    data = b"RI" + struct.pack("<I8xI4xII4xIII32x", 0, 3, width, height, 8, len(rows) // height, len(rows))
    return data + struct.pack("<2xH", len(colors) // 3) + colors + rows


def cmx(*pages: bytes, colors: Any = ((255, 0, 0), (0, 0, 255)), width: float = 2, height: float = 1,
        tables: Any = (), patterns: Any = (), pictures: Any = ()) -> bytes:
    """A file of pages around the origin, each with one layer.

    `tables` are further chunks by their names, patterns and pictures the data of such."""
    box = b"".join(map(short_length, (-width / 2, -height / 2, width / 2, height / 2)))
    header = b"{Corel Binary Meta File}".ljust(32, b"\0") + b"Windows 3.1".ljust(16, b"\0") + b"2\0\0\0" + b"2\0"
    header += b"1\0\0\0" + b"0\0\0\0" + struct.pack("<Hd", 64, 1.0) + bytes(12) + b"\xff" * 12 + box
    parts = [(b"cont", header),
             (b"rclr", struct.pack("<H", len(colors)) + b"".join(bytes((5, 0)) + bytes(c) for c in colors))]
    for number, page in enumerate(pages, 1):
        commands = cmx_command(9, struct.pack("<HI", number, 0) + box + bytes(8))
        commands += cmx_command(11, struct.pack("<HHII", number, 1, 0, 3) + struct.pack("<H", 5) + b"lines")
        parts.append((b"page", commands + page + cmx_command(12) + cmx_command(10)))
    parts[2:2] = tables
    first_page = len(parts) - len(pages)
    places, at = [], 12
    for part in parts:
        places.append(at)
        at += len(chunk(*part))
    lists = b""
    found: list[list[int]] = []
    for group in (patterns, pictures):
        found.append([])
        for data in group:
            found[-1].append(at + len(lists))
            lists += cmx_picture_list(data)
    at += len(lists)
    index_tables = chunk(b"ixtl", struct.pack("<HH", len(patterns), 5) + struct.pack(f"<{len(patterns)}I", *found[0]))
    index_tables += chunk(b"ixef", struct.pack("<H", len(pictures)) + b"".join(
        struct.pack("<IH", place, 0x11) for place in found[1]))
    at += len(index_tables)
    index = struct.pack("<H", len(pages))
    for place in places[first_page:]:
        index += struct.pack("<IIII", place, *[0xFFFFFFFF] * 3)
    parts.append((b"ixpg", index))
    master = struct.pack("<HHHHIHI", 1, 18, 2, 21, places[1], 2, at)
    at += len(chunk(*parts[-1]))
    parts.append((b"ixmr", master))
    parts[0] = (b"cont", header[:84] + struct.pack("<I", at) + header[88:])
    body = b"".join(chunk(*part) for part in parts[:-2]) + lists + index_tables
    return riff(b"CMX1", body + b"".join(chunk(*part) for part in parts[-2:]))


def cmx_part(number: int, data: bytes, size: str = "<H") -> bytes:
    """A part of a file with numbers of 32 bits."""
    head = bytes([number])
    return head + struct.pack(size, len(head) + struct.calcsize(size) + len(data)) + data


CMX_END = b"\xff"  # of parts


def long_cmx(shapes: bytes, colors: Any = ((255, 0, 0), (0, 0, 255)), tables: Any = ()) -> bytes:
    """A file with numbers of 32 bits in tagged parts: one page of two by one inches, with one layer."""
    box = b"".join(map(long_length, (-1, -0.5, 1, 0.5)))
    header = b"{Corel Binary Meta File}".ljust(32, b"\0") + b"Windows 3.1".ljust(16, b"\0") + b"2\0\0\0" + b"4\0"
    header += b"2\0\0\0" + b"0\0\0\0" + struct.pack("<Hd", 64, 1.0) + bytes(12) + b"\xff" * 12 + box
    palette = b"".join(cmx_part(1, bytes((5, 0))) + cmx_part(2, bytes(c)) + CMX_END for c in colors)
    page = cmx_command(9, cmx_part(1, struct.pack("<HI", 1, 0) + box + bytes(8)) + CMX_END)
    page += cmx_command(11, cmx_part(1, struct.pack("<HHIIH", 1, 1, 0, 3, 5) + b"lines") + CMX_END)
    page += shapes + cmx_command(12) + cmx_command(10)
    parts = [(b"cont", header), (b"rclr", struct.pack("<H", len(colors)) + palette), *tables, (b"page", page)]
    places, at = [], 12
    for part in parts:
        places.append(at)
        at += len(chunk(*part))
    parts.append((b"ixpg", struct.pack("<HHIIII", 1, 18, places[-1], *[0xFFFFFFFF] * 3)))
    master = struct.pack("<HHHHIHI", 1, 18, 2, 21, places[1], 2, at)
    at += len(chunk(*parts[-1]))
    parts.append((b"ixmr", master))
    parts[0] = (b"cont", header[:84] + struct.pack("<I", at) + header[88:])
    return riff(b"CMX1", b"".join(chunk(*part) for part in parts))


# ---- EPS

def eps(program: str, box: str = "0 0 100 50", *comments: str) -> bytes:
    lines = ["%!PS-Adobe-3.0 EPSF-3.0", f"%%BoundingBox: {box}", *comments, "%%EndComments", program, "showpage",
             "%%EOF", ""]
    return "\n".join(lines).encode("latin-1")


def binary_eps(text: bytes, wmf: bytes = b"", tiff: bytes = b"") -> bytes:
    at, places = 30, b""
    for part in (text, wmf, tiff):
        places += struct.pack("<II", at if part else 0, len(part))
        at += len(part)
    return b"\xc5\xd0\xd3\xc6" + places + b"\xff\xff" + text + wmf + tiff
