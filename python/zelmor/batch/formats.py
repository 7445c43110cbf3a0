"""The file formats, as the command and the jobs name them.

Each format has a name, the extensions of its files, and the class of its save options. This module imports nothing of
the library, so that help and completion are quick; a test compares it with the library.
"""

from __future__ import annotations

from typing import NamedTuple


class Format(NamedTuple):
    """A file format. The first extension is the one that new files get."""

    name: str
    extensions: tuple[str, ...]
    #: The name of the class of the options that files of the format are saved with; empty if none are written.
    options: str
    reads: bool = True
    #: Whether a file holds several frames or pages.
    many: bool = False
    #: The members of the enumeration `FileFormat` that stand for it.
    members: tuple[str, ...] = ()


FORMATS = {format.name: format for format in (
    Format("bmp", ("bmp", "dib"), "BmpOptions", members=("BMP",)),
    Format("gif", ("gif",), "GifOptions", many=True, members=("GIF",)),
    Format("jpeg", ("jpg", "jpeg", "jpe", "jfif"), "JpegOptions", members=("JPEG",)),
    Format("png", ("png",), "PngOptions", members=("PNG",)),
    Format("apng", ("apng",), "ApngOptions", many=True, members=("APNG",)),
    Format("tiff", ("tif", "tiff"), "TiffOptions", many=True, members=("TIFF",)),
    Format("bigtiff", (), "BigTiffOptions", many=True, members=("BIG_TIFF",)),
    Format("webp", ("webp",), "WebPOptions", many=True, members=("WEBP",)),
    Format("jpeg2000", ("jp2", "j2c", "j2k", "jpc", "jpf", "jpx"), "Jpeg2000Options", members=("JPEG2000",)),
    Format("psd", ("psd", "psb"), "PsdOptions", members=("PSD",)),
    Format("tga", ("tga",), "TgaOptions", members=("TGA",)),
    Format("ico", ("ico", "cur"), "IcoOptions", many=True, members=("ICO",)),
    Format("dicom", ("dcm", "dicom"), "DicomOptions", many=True, members=("DICOM",)),
    Format("pdf", ("pdf",), "PdfOptions", reads=False, many=True, members=("PDF",)),
    Format("svg", ("svg", "svgz"), "SvgOptions", members=("SVG", "SVGZ")),
    Format("emf", ("emf", "emz"), "EmfOptions", members=("EMF", "EMZ")),
    Format("wmf", ("wmf", "wmz"), "WmfOptions", members=("WMF", "WMZ")),
    Format("eps", ("eps", "ps"), "EpsOptions", members=("EPS",)),
    Format("dxf", ("dxf",), "DxfOptions", reads=False, members=("DXF",)),
    Format("html", ("html", "htm"), "Html5CanvasOptions", reads=False, members=("HTML_5_CANVAS",)),
    Format("djvu", ("djvu", "djv"), "", many=True, members=("DJVU",)),
    Format("dng", ("dng",), "", members=("DNG",)),
    Format("odg", ("odg", "fodg"), "", many=True, members=("ODG", "F_ODG")),
    Format("otg", ("otg",), "", many=True, members=("OTG",)),
    Format("cdr", ("cdr",), "", many=True, members=("CDR",)),
    Format("cmx", ("cmx",), "", many=True, members=("CMX",)),
)}

_BY_EXTENSION = {extension: format for format in FORMATS.values() for extension in format.extensions}
_BY_MEMBER = {member: format for format in FORMATS.values() for member in format.members}


def by_extension(extension: str) -> Format | None:
    """The format of files with the extension, with or without its dot; None for one that no format has."""
    return _BY_EXTENSION.get(extension.lower().lstrip("."))


def by_member(member: str) -> Format | None:
    """The format that a member of the enumeration `FileFormat` stands for."""
    return _BY_MEMBER.get(member)


def by_name(name: str) -> Format:
    """The format of this name; an extension is accepted too. Raises ValueError for any other text."""
    format = FORMATS.get(name.lower()) or by_extension(name)
    if format is None:
        raise ValueError(f"unknown format {name!r}; the formats are {', '.join(sorted(FORMATS))}")
    return format


def readable_extensions() -> frozenset[str]:
    """The extensions of the files that can be loaded, without dots."""
    return frozenset(extension for extension, format in _BY_EXTENSION.items() if format.reads)
