"""A small file of each format that is read, plain and with references in it: paths and addresses in all the places
where the format has room for them, or where readers look for them.
"""

from __future__ import annotations

import gzip
import io
import struct
import subprocess
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
from PIL import Image as Pillow
from PIL import PngImagePlugin

from support import dicom_files, gif_files, metafiles, office_files, png_files
from support.dng_files import ASCII, Dng
from support.drawn_documents import CONTENTS, document
from support.image_oracles import smooth
from support.metadata_files import segment, with_segments

WIDTH, HEIGHT = 40, 30


def _picture(mode: str = "RGB") -> Pillow.Image:
    return Pillow.fromarray(smooth(3, WIDTH, HEIGHT)).convert(mode)


def _by_pillow(kind: str, mode: str = "RGB", **options: Any) -> bytes:
    file = io.BytesIO()
    _picture(mode).save(file, kind, **options)
    return file.getvalue()


def _psd(resources: bytes = b"") -> bytes:
    """An RGB picture without layers."""
    header = b"8BPS" + struct.pack(">H6xHIIHH", 1, 3, HEIGHT, WIDTH, 8, 3)
    planes = np.moveaxis(smooth(3, WIDTH, HEIGHT), -1, 0).tobytes()
    return header + struct.pack(">II", 0, len(resources)) + resources + struct.pack(">IH", 0, 0) + planes


def _resource(number: int, data: bytes) -> bytes:
    return b"8BIM" + struct.pack(">HxxI", number, len(data)) + data + bytes(len(data) % 2)


def _djvu(folder: Path, *, photo: bool) -> bytes:
    _picture().save(folder / "a.ppm")
    _picture("1").save(folder / "a.pbm", "PPM")
    subprocess.run(["c44", "a.ppm", "a.djvu"] if photo else ["cjb2", "a.pbm", "a.djvu"], cwd=folder, check=True,
                   capture_output=True)
    return (folder / "a.djvu").read_bytes()


def _dicom(folder: Path, *command: str) -> bytes:
    data = dicom_files.picture(smooth(3, WIDTH, HEIGHT), "RGB")
    if not command:
        return data
    (folder / "a.dcm").write_bytes(data)
    return dicom_files.compressed(folder / "a.dcm", *command).read_bytes()


def _dng(**tags: Any) -> bytes:
    return Dng(np.arange(28 * 36, dtype=np.uint16).reshape(28, 36) * 60, **tags).tobytes()


_EMF = metafiles.emf(metafiles.brush(1, 0x00FF00), metafiles.select(1),
                     metafiles.emf_record(43, metafiles.words(5, 5, 60, 30)),
                     metafiles.font(4, -12, "DejaVu Sans"), metafiles.text_out("words", (5, 20), [7] * 5))
_EMF_PLUS = metafiles.emf(metafiles.plus(metafiles.plus_record(
    0x400A, 0x8000, metafiles.words(0xFF0000FF, 1) + metafiles.floats(1, 2, 30, 40))))
_WMF = metafiles.wmf(metafiles.wmf_brush(0x00FF00), metafiles.wmf_select(0), metafiles.wmf_record(0x041B, 60, 70, 5, 5),
                     metafiles.wmf_font(-12, b"DejaVu Sans"), metafiles.wmf_select(1),
                     metafiles.wmf_record(0x0521, 4, data=b"word" + struct.pack("<2h", 20, 5)))
_SHAPES = '<draw:rect svg:x="10mm" svg:y="5mm" svg:width="30mm" svg:height="20mm" draw:style-name="red"/>' \
          '<draw:frame svg:x="1mm" svg:y="1mm" svg:width="30mm" svg:height="9mm"><draw:text-box><text:p>' \
          "words</text:p></draw:text-box></draw:frame>"
_EPS = office_files.eps("1 0 0 setrgbcolor 10 10 30 20 rectfill /Courier findfont 9 scalefont setfont 5 5 moveto "
                        "(words) show", "0 0 60 40", "%%Title: (words)")
_SVG = document(CONTENTS["image"] + '<text y="20">words</text>')
_OTG = "application/vnd.oasis.opendocument.graphics-template"

#: By the name of the file: the member of FileFormat, and what makes the file in a folder for the programs of others.
PLAIN: dict[str, tuple[str, Callable[[Path], bytes]]] = {
    "a.bmp": ("BMP", lambda _: _by_pillow("BMP")),
    "a.cdr": ("CDR", lambda _: office_files.cdr(office_files.cdr_rectangle(0, 0, 1, 0.5, 1))),
    "a.cmx": ("CMX", lambda _: office_files.cmx(office_files.cmx_rectangle(0.5, 0.5, 0.5, 0.5, 1))),
    "a.dcm": ("DICOM", _dicom),
    "jpeg.dcm": ("DICOM", lambda folder: _dicom(folder, "dcmcjpeg", "+eb")),
    "lossless.dcm": ("DICOM", lambda folder: _dicom(folder, "dcmcjpeg", "+e1")),
    "jpegls.dcm": ("DICOM", lambda folder: _dicom(folder, "dcmcjpls")),
    "jpeg2000.dcm": ("DICOM", lambda folder: _dicom(folder, "gdcmconv", "--j2k")),
    "photo.djvu": ("DJVU", lambda folder: _djvu(folder, photo=True)),
    "ink.djvu": ("DJVU", lambda folder: _djvu(folder, photo=False)),
    "a.dng": ("DNG", lambda _: _dng()),
    "jpeg.dng": ("DNG", lambda _: _dng(lossless_jpeg=True, below=True)),
    "a.emf": ("EMF", lambda _: _EMF),
    "plus.emf": ("EMF", lambda _: _EMF_PLUS),
    "a.emz": ("EMZ", lambda _: gzip.compress(_EMF, mtime=0)),
    "a.eps": ("EPS", lambda _: _EPS),
    "binary.eps": ("EPS", lambda _: office_files.binary_eps(_EPS, wmf=_WMF)),
    "a.gif": ("GIF", lambda _: _by_pillow("GIF", "P")),
    "a.ico": ("ICO", lambda _: _by_pillow("ICO", sizes=[(16, 16), (32, 32)])),
    "bitmap.ico": ("ICO", lambda _: _by_pillow("ICO", "RGBA", sizes=[(16, 16)], bitmap_format="bmp")),
    "a.jpg": ("JPEG", lambda _: _by_pillow("JPEG")),
    "cmyk.jpg": ("JPEG", lambda _: _by_pillow("JPEG", "CMYK")),
    "a.jp2": ("JPEG2000", lambda _: _by_pillow("JPEG2000")),
    "a.odg": ("ODG", lambda _: office_files.odg(_SHAPES)),
    "a.fodg": ("F_ODG", lambda _: office_files.fodg(_SHAPES)),
    "a.otg": ("OTG", lambda _: office_files.odg(_SHAPES, mime_type=_OTG)),
    "a.png": ("PNG", lambda _: _by_pillow("PNG", "RGBA")),
    "moving.png": ("APNG", lambda _: _by_pillow("PNG", save_all=True, append_images=[_picture("L").convert("RGB")])),
    "a.psd": ("PSD", lambda _: _psd()),
    "a.svg": ("SVG", lambda _: _SVG),
    "a.svgz": ("SVGZ", lambda _: gzip.compress(_SVG, mtime=0)),
    "a.tga": ("TGA", lambda _: _by_pillow("TGA")),
    "a.tif": ("TIFF", lambda _: _by_pillow("TIFF")),
    "jpeg.tif": ("TIFF", lambda _: _by_pillow("TIFF", compression="jpeg")),
    "fax.tif": ("TIFF", lambda _: _by_pillow("TIFF", "1", compression="group4")),
    "big.tif": ("BIG_TIFF", lambda _: _big_tiff()),
    "a.webp": ("WEBP", lambda _: _by_pillow("WEBP")),
    "a.wmf": ("WMF", lambda _: _WMF),
    "a.wmz": ("WMZ", lambda _: gzip.compress(_WMF, mtime=0)),
}


def _big_tiff() -> bytes:
    """A gray picture in one strip, with offsets of 64 bits."""
    tags = {256: (4, WIDTH), 257: (4, HEIGHT), 258: (3, 8), 259: (3, 1), 262: (3, 1), 273: (16, 16), 277: (3, 1),
            278: (4, HEIGHT), 279: (16, WIDTH * HEIGHT)}
    directory = struct.pack("<Q", len(tags)) + b"".join(struct.pack("<HHQQ", tag, kind, 1, value)
                                                        for tag, (kind, value) in tags.items()) + bytes(8)
    return struct.pack("<2sHHHQ", b"II", 43, 8, 0, 16 + WIDTH * HEIGHT) + bytes(WIDTH * HEIGHT) + directory


# ---- Files with references


def _xmp(secret: Path) -> bytes:
    """A packet with a document type, an entity and links."""
    at = f"file://{secret}"
    return (f'<!DOCTYPE x SYSTEM "{at}/text.xml" [<!ENTITY outer SYSTEM "{at}/text.xml">]>'
            '<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">'
            f'<rdf:Description rdf:about="{at}/picture.png" xmlns:dc="http://purl.org/dc/elements/1.1/" '
            f'dc:source="{secret}/picture.png" dc:relation="http://127.0.0.1:9/picture.png"><dc:title>&outer;'
            '</dc:title></rdf:Description></rdf:RDF></x:xmpmeta>').encode()


def _exif(secret: Path) -> bytes:
    """A block with the path as its description, and as the name of a related sound file."""
    exif = Pillow.Exif()
    exif[270] = str(secret / "picture.png")
    exif.get_ifd(0x8769)[0xA004] = str(secret / "sound.wav")
    return exif.tobytes()


def _svg(secret: Path) -> bytes:
    at = f"file://{secret}"
    return (f'<?xml version="1.0"?><?xml-stylesheet href="{at}/style.css" type="text/css"?>'
            f'<!DOCTYPE svg SYSTEM "{at}/text.xml" [<!ENTITY outer SYSTEM "{at}/text.xml">'
            f'<!ENTITY % more SYSTEM "{at}/text.xml"> %more;]>'
            f'<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" '
            f'xmlns:xi="http://www.w3.org/2001/XInclude" width="60" height="60" xml:base="{at}/">'
            f'<style>@import url("{at}/style.css"); '
            f'@font-face {{ font-family: x; src: url("{at}/picture.png") }}</style>'
            f'<xi:include href="{at}/text.xml"/><xi:include href="{secret}/text.xml" parse="text"/>'
            f'<image xlink:href="{at}/picture.png" width="50" height="50"/>'
            f'<image xlink:href="secret/picture.png" width="50" height="50"/>'
            f'<image xlink:href="{secret}/picture.png" width="50" height="50"/>'
            f'<image xlink:href="http://127.0.0.1:9/picture.png" width="50" height="50"/>'
            f'<use xlink:href="{at}/inner.svg#a"/><rect width="5" height="5" filter="url({at}/inner.svg#a)"/>'
            f'<text y="30" font-family="x">&outer;</text>'
            f'<rect x="50" y="50" width="10" height="10" fill="lime"/></svg>').encode()


def _svg_links(secret: Path) -> bytes:
    """The same references without a document type, so that nothing keeps the document from being read."""
    text = _svg(secret).decode()
    begin, end = text.index("<!DOCTYPE"), text.index("]>") + 2
    return (text[:begin] + text[end:]).replace("&outer;", "words").encode()


def _office(secret: Path) -> str:
    links = [f"file://{secret}/picture.png", f"{secret}/picture.png", "../secret/picture.png", "secret/picture.png",
             "http://127.0.0.1:9/picture.png", f"Pictures/../../../../../..{secret}/picture.png"]
    place = 'svg:x="1mm" svg:y="1mm" svg:width="20mm" svg:height="10mm"'
    frames = "".join(f'<draw:frame {place}><draw:image xlink:href="{link}" xlink:type="simple" xlink:show="embed"/>'
                     f'</draw:frame><draw:frame {place}><draw:object xlink:href="{link}"/></draw:frame>'
                     f'<draw:frame {place}><draw:plugin xlink:href="{link}"/></draw:frame>'
                     f'<draw:a xlink:href="{link}"><draw:rect {place} draw:style-name="linked"/></draw:a>'
                     for link in links)
    return frames + _SHAPES


def _office_styles(secret: Path) -> str:
    return (f'<draw:fill-image draw:name="linked" xlink:href="file://{secret}/picture.png" xlink:type="simple"/>'
            '<style:style style:name="linked" style:family="graphic"><style:graphic-properties draw:fill="bitmap" '
            f'draw:fill-image-name="linked"/></style:style>{office_files.RED}')


def _eps(secret: Path, program: str) -> bytes:
    return office_files.eps(f"1 0 0 setrgbcolor 10 10 30 20 rectfill {program.replace('@', str(secret))}", "0 0 60 40",
                            f"%%DocumentNeededFiles: {secret}/text.ps", f"%%IncludeFile: {secret}/text.ps",
                            f"%%BeginFile: {secret}/text.ps", "%%EndFile")


def _linked_bmp(secret: Path) -> bytes:
    """A bitmap with the newest header, whose color space is a profile in another file."""
    path = str(secret / "profile.icc").encode("cp1252") + b"\0"
    header = struct.pack("<IiiHHIIiiII4I4s", 124, WIDTH, HEIGHT, 1, 24, 0, 0, 0, 0, 0, 0, 0xFF0000, 0xFF00, 0xFF, 0,
                         b"KNIL")
    header += bytes(36 + 12) + struct.pack("<4I", 4, 124 + 3 * WIDTH * HEIGHT, len(path), 0)
    assert len(header) == 124
    rows = bytes(3 * WIDTH * HEIGHT)
    return struct.pack("<2sIHHI", b"BM", 14 + 124 + len(rows) + len(path), 0, 0, 138) + header + rows + path


def _box(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I4s", 8 + len(data), kind) + data


def _linked_jp2(secret: Path) -> bytes:
    """Boxes with an address, and with the list of identifiers that it belongs to."""
    address = _box(b"url ", bytes(4) + f"file://{secret}/picture.png".encode() + b"\0")
    return _by_pillow("JPEG2000") + _box(b"uinf", _box(b"ulst", struct.pack(">H", 1) + bytes(16)) + address) \
        + _box(b"xml ", _xmp(secret))


def _linked_djvu(folder: Path, secret: Path, name: str) -> bytes:
    """A page that includes another file."""
    data = _djvu(folder, photo=False)
    path = str(secret / name).encode()
    part = b"INCL" + struct.pack(">I", len(path)) + path + bytes(len(path) % 2)
    at = 16 + 8 + struct.unpack_from(">I", data, 20)[0]  # behind the page's facts
    at += at % 2
    whole = data[:at] + part + data[at:]
    return whole[:8] + struct.pack(">I", len(whole) - 12) + whole[12:]


def _indirect_djvu(secret: Path) -> bytes:
    """The directory of a document whose pages are files of their own; the names of such a directory are packed, and
    this one has none: the number of pages alone."""
    directory = struct.pack(">BH", 1, 1) + str(secret / "page.djvu").encode()
    directory += bytes(len(directory) % 2)
    body = b"DJVMDIRM" + struct.pack(">I", len(directory)) + directory
    return b"AT&TFORM" + struct.pack(">I", len(body)) + body


def _linked_emf(secret: Path) -> bytes:
    path = str(secret / "profile.icc")
    wide = path.encode("utf-16-le") + b"\0\0"
    narrow = path.encode() + b"\0"
    space = struct.pack("<III", 0x50534F43, 0x400, 328) + struct.pack("<II", 0, 4) + bytes(48) \
        + narrow.ljust(260, b"\0")
    return metafiles.emf(
        metafiles.emf_record(113, metafiles.words(0, len(wide), 0) + wide.ljust(-(-len(wide) // 4) * 4, b"\0")),
        metafiles.emf_record(112, metafiles.words(0, len(narrow), 0) + narrow.ljust(-(-len(narrow) // 4) * 4, b"\0")),
        metafiles.emf_record(99, metafiles.words(1) + space), metafiles.emf_record(100, metafiles.words(1)),
        metafiles.font(4, -12, str(secret / "font.ttf")[:31]), metafiles.text_out("words", (5, 20), [7] * 5))


def _linked_wmf(secret: Path) -> bytes:
    """A font whose name is a path, and an escape that opens a document with the path as its name."""
    path = str(secret / "font.ttf").encode()
    return metafiles.wmf(metafiles.wmf_font(-12, path[:31]), metafiles.wmf_select(0),
                         metafiles.wmf_record(0x0521, 4, data=b"word" + struct.pack("<2h", 20, 5)),
                         metafiles.wmf_record(0x0626, 0x000A, len(path), data=path + bytes(len(path) % 2)))


def _chunked(data: bytes, kind: bytes, secret: Path) -> bytes:
    """A RIFF file with one more chunk, which holds paths."""
    body = data[12:] + office_files.chunk(kind, f"{secret}/picture.png\0file://{secret}/text.xml\0".encode())
    return office_files.riff(data[8:12], body)


def _tiff(secret: Path) -> bytes:
    """Names of the document, the page and the picture that this one stands for, and the proxy mark."""
    path = str(secret / "picture.tif")
    return _by_pillow("TIFF", tiffinfo={269: path, 270: f"file://{path}", 285: path, 351: 1, 32781: path,
                                        700: _xmp(secret)})


def _webp(secret: Path) -> bytes:
    return _by_pillow("WEBP", xmp=_xmp(secret), exif=_exif(secret))


def _gif(secret: Path) -> bytes:
    data = _by_pillow("GIF", "P")
    more = gif_files.comment(f"file://{secret}/picture.png".encode())
    more += gif_files.extension(0xFF, b"XMP DataXMP")[:14] + _xmp(secret) + b"\1" + bytes(range(255, -1, -1)) + b"\0"
    return data[:-1] + more + b";"


def _png(secret: Path) -> bytes:
    texts = PngImagePlugin.PngInfo()
    texts.add_itxt("XML:com.adobe.xmp", _xmp(secret).decode())
    texts.add_text("Source", f"file://{secret}/picture.png")
    data = _by_pillow("PNG", pnginfo=texts, exif=_exif(secret))
    return data[:33] + png_files.chunk(b"sRGB", b"\0") + data[33:]


def _jpeg(secret: Path) -> bytes:
    xmp = segment(0xE1, b"http://ns.adobe.com/xap/1.0/\0" + _xmp(secret))
    exif = segment(0xE1, b"Exif\0\0" + _exif(secret).removeprefix(b"Exif\0\0"))
    return with_segments(_by_pillow("JPEG"), exif, xmp, segment(0xFE, f"file://{secret}/picture.png".encode()))


def _tga(secret: Path) -> bytes:
    """The path as the identification of the picture."""
    data = _by_pillow("TGA")
    path = str(secret / "picture.tga").encode()[:255]
    assert data[0] == 0
    return bytes([len(path)]) + data[1:18] + path + data[18:]


def _linked_psd(secret: Path) -> bytes:
    path = f"file://{secret}/picture.png"
    wide = path.encode("utf-16-be")
    urls = struct.pack(">I4sII", 1, b"slic", 1, len(path)) + wide
    return _psd(_resource(1035, path.encode()) + _resource(1054, urls) + _resource(1060, _xmp(secret)))


def _linked_dicom(secret: Path, *, provided: bool) -> bytes:
    address = f"file://{secret}/picture.png".encode()
    more = [(0x00041500, "CS", str(secret / "PICTURE").upper().encode()), (0x00081190, "UR", address)]
    if not provided:
        return dicom_files.picture(smooth(3, WIDTH, HEIGHT), "RGB", more=more)
    jpip = "1.2.840.10008.1.2.4.94"  # the pixels stand at an address
    return dicom_files.picture(smooth(3, WIDTH, HEIGHT), "RGB", syntax=jpip, raw=b"",
                               more=[*more, (0x00287FE0, "UR", address)])


_RUN = {"run": "(@/text.ps) run", "file": "(@/text.ps) (r) file closefile", "pipe": "(%pipe%touch @/made) (w) file",
        "delete": "(@/text.ps) deletefile", "list": "(@/*) { = } 100 string filenameforall",
        "status": "(@/text.ps) status { 5 { pop } repeat } if", "library": "(@/text.ps) runlibfile",
        "write": "(@/made) (w) file dup (x) writestring closefile", "rename": "(@/text.ps) (@/made) renamefile",
        "device": "mark /OutputFile (@/made) (pngmono) finddevice putdeviceprops setdevice"}

#: What makes a file with references into the folder `secret`, by the name of the file, in a folder for programs.
WITH_REFERENCES: dict[str, Callable[[Path, Path], bytes]] = {
    "linked.bmp": lambda _, secret: _linked_bmp(secret),
    "linked.cdr": lambda _, secret: _chunked(PLAIN["a.cdr"][1](_), b"lnk ", secret),
    "linked.cmx": lambda _, secret: _chunked(PLAIN["a.cmx"][1](_), b"INFO", secret),
    "linked.dcm": lambda _, secret: _linked_dicom(secret, provided=False),
    "provided.dcm": lambda _, secret: _linked_dicom(secret, provided=True),
    "included.djvu": lambda folder, secret: _linked_djvu(folder, secret, "part.djvu"),
    "indirect.djvu": lambda _, secret: _indirect_djvu(secret),
    "linked.dng": lambda _, secret: _dng(tags={50827: (ASCII, str(secret / "picture.png"))}),
    "linked.emf": lambda _, secret: _linked_emf(secret),
    "linked.gif": lambda _, secret: _gif(secret),
    "linked.html": lambda _, secret: (f'<!DOCTYPE html>\n<link href="file://{secret}/style.css"/><canvas></canvas>'
                                      f'<script src="file://{secret}/text.xml"></script>').encode(),
    "linked.jp2": lambda _, secret: _linked_jp2(secret),
    "linked.jpg": lambda _, secret: _jpeg(secret),
    "linked.odg": lambda _, secret: office_files.odg(
        _office(secret), styles=_office_styles(secret), files={f"../../../../../../..{secret}/made": b"x"}),
    "linked.fodg": lambda _, secret: office_files.fodg(_office(secret), styles=_office_styles(secret)),
    "entity.fodg": lambda _, secret: office_files.fodg(_office(secret)).replace(
        b"?>", f'?><!DOCTYPE x [<!ENTITY e SYSTEM "file://{secret}/text.xml">]>'.encode(), 1),
    "linked.pdf": lambda _, secret: f"%PDF-1.4\n1 0 obj<</F({secret}/picture.png)>>endobj".encode(),
    "linked.png": lambda _, secret: _png(secret),
    "linked.psd": lambda _, secret: _linked_psd(secret),
    "linked.svg": lambda _, secret: _svg_links(secret),
    "entity.svg": lambda _, secret: _svg(secret),
    "linked.tga": lambda _, secret: _tga(secret),
    "linked.tif": lambda _, secret: _tiff(secret),
    "linked.webp": lambda _, secret: _webp(secret),
    "linked.wmf": lambda _, secret: _linked_wmf(secret),
    **{f"{name}.eps": lambda _, secret, program=program: _eps(secret, program)  # type: ignore[misc]
       for name, program in _RUN.items()},
}
