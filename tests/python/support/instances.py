"""An instance of any type of the catalogue, also of those that no program can construct.

Types with a constructor are made by it (`samples.make`). Others are what some member gives, of a class or of an object
that can be had: a frame of an image, an element of a list, a static property, the result of a call.
"""

from __future__ import annotations

import base64
import contextlib
import functools
import io
import struct
import subprocess
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import numpy as np
from zelmor.imaging import Image, RasterCachedImage, RasterImage, Rectangle, VectorImage, VectorMultipageImage
from zelmor.imaging.asynctask import IAsyncTask
from zelmor.imaging.fileformats.bmp import BitmapV4Header, BitmapV5Header, BmpImage, Os22XBitmapHeader
from zelmor.imaging.fileformats.bmp.structures import CieCoordinates, CieCoordinatesTriple
from zelmor.imaging.fileformats.cdr import CdrImage, CdrImagePage
from zelmor.imaging.fileformats.cmx import CmxImage
from zelmor.imaging.fileformats.dicom import DicomImage
from zelmor.imaging.fileformats.djvu import DjvuImage
from zelmor.imaging.fileformats.dng import DngImage
from zelmor.imaging.fileformats.eps import EpsBinaryImage, EpsImage, EpsInterchangeImage
from zelmor.imaging.fileformats.opendocument import OdgImage, OdImage, OtgImage
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D
from zelmor.imaging.imageoptions import DicomOptions, PngOptions
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import AutoMaskingArgs, GraphCutMaskingOptions, SegmentationMethod

from support.dng_files import Dng
from support.drawn_documents import document
from support.office_files import TYPE, binary_eps, cast, cdr, cdr_rectangle, cmx, cmx_rectangle, eps, odg
from support.pictures import png_bytes
from support.samples import MODEL, Cannot, make, python_type, sample

from tools.generator.model import Overload, Type
from tools.generator.wires import Wire

_DEEPEST = 3
_PICTURE = png_bytes(6, 5, [(x * 40, y * 50, 7) for y in range(5) for x in range(6)])


def _loaded(found: Any) -> Any:
    return found._cast_to(Image.load(io.BytesIO(_PICTURE))).value


def _bmp_header(size: int) -> Any:
    """The header of a BMP file of one pixel whose header has a size: that tells which version it is."""
    fields = struct.pack("<IiiHHIIiiII", size, 1, 1, 1, 24, 0, 4, 0, 0, 0, 0)
    masks = struct.pack("<IIIII", 0, 0, 0, 0, 0x73524742)
    header = (fields + (masks if size > 64 else b"")).ljust(size, b"\0")
    data = b"BM" + struct.pack("<IHHI", 14 + size + 4, 0, 0, 14 + size) + header + b"abc\0"
    return BmpImage._cast_to(Image.load(io.BytesIO(data))).value.bitmap_info_header


def _header(found: Any, size: int) -> Any:
    cast = found._cast_to(_bmp_header(size))
    if not cast.status:
        raise Cannot(found.__name__)
    return cast.value


@functools.cache
def _djvu_file() -> bytes:
    with tempfile.TemporaryDirectory() as folder:
        ppm, djvu = Path(folder, "a.ppm"), Path(folder, "a.djvu")
        ppm.write_bytes(b"P6 32 24 255 " + bytes(range(256)) * 9)
        subprocess.run(["c44", ppm, djvu], check=True, capture_output=True)
        return djvu.read_bytes()


def _dicom_header() -> Any:
    file = io.BytesIO()
    DicomImage(DicomOptions(), 8, 6).save(file, DicomOptions())
    return DicomImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value.file_info


def _masking_options() -> Any:
    options = GraphCutMaskingOptions()
    options.method, options.args = SegmentationMethod.K_MEANS, AutoMaskingArgs()
    return options


def _masking_task() -> Any:
    return ImageMasking(_loaded(RasterImage)).decompose_async(_masking_options())


_LINE = '<draw:line svg:x1="1px" svg:y1="2px" svg:x2="30px" svg:y2="20px"/>'


def _drawing() -> bytes:
    return odg(_LINE)


#: A file of each class of images that only files give.
_FILES: dict[Any, Callable[[], bytes]] = {
    CdrImage: lambda: cdr(cdr_rectangle(-0.5, -0.25, 0.5, 0.5, 1)),
    CmxImage: lambda: cmx(cmx_rectangle(-0.5, 0, 0.5, 0.5, 1)),
    DngImage: lambda: Dng(np.full((24, 32), 20000, np.uint16)).tobytes(),
    EpsImage: lambda: eps("0 0 9 9 rectfill", "0 0 40 30"),
    EpsInterchangeImage: lambda: eps("0 0 9 9 rectfill", "0 0 40 30"),
    EpsBinaryImage: lambda: binary_eps(eps("0 0 9 9 rectfill", "0 0 40 30")),
    OdImage: _drawing, OdgImage: _drawing, OtgImage: lambda: odg(_LINE, mime_type=TYPE + "-template"),
    VectorMultipageImage: _drawing,
}


def _from_file(kind: Any) -> Any:
    return cast(kind, Image.load(io.BytesIO(_FILES[kind]())))


def _embedded_image() -> Any:
    picture = base64.b64encode(_PICTURE).decode()
    drawing = document(f'<image width="6" height="5" xlink:href="data:image/png;base64,{picture}"/>')
    return next(iter(cast(VectorImage, Image.load(io.BytesIO(drawing))).get_embedded_images()))


#: Types with many heirs, of which the simplest constructor makes an unusual one, and those that a certain file gives.
_USUAL: dict[str, Callable[[], Any]] = {
    "DataStreamSupporter": lambda: _loaded(Image), "Image": lambda: _loaded(Image),
    "RasterImage": lambda: _loaded(RasterImage),
    "RasterCachedImage": lambda: _loaded(RasterCachedImage), "ImageOptionsBase": PngOptions,
    "BitmapV4Header": lambda: _header(BitmapV4Header, 108), "BitmapV5Header": lambda: _header(BitmapV5Header, 124),
    "Os22XBitmapHeader": lambda: _header(Os22XBitmapHeader, 64),
    "DjvuImage": lambda: DjvuImage(io.BytesIO(_djvu_file())),
    "CieCoordinates": lambda: CieCoordinates(bytes(12)),
    "CieCoordinatesTriple": lambda: CieCoordinatesTriple(bytes(36)),
    "DicomImageInfo": _dicom_header, "EmbeddedImage": _embedded_image,
    "CdrImagePage": lambda: cast(CdrImagePage, _from_file(CdrImage).pages[0]),
    **{kind.__name__: functools.partial(_from_file, kind) for kind in _FILES},
    "WmfRecorderGraphics2D": lambda: WmfRecorderGraphics2D(Rectangle(0, 0, 100, 100), 96),
    "MaskingOptions": _masking_options, "IMaskingArgs": AutoMaskingArgs,
    "IAsyncTask": lambda: IAsyncTask._cast_to(_masking_task()).value}


def usual_arguments(overload: Overload, depth: int = 0) -> dict[str, Any]:
    """Arguments by their keywords, which tell overloads with the same number of them apart."""
    return {param.name: [] if param.by_ref else bytearray(8) if param.written else usual(param.wire, param.name, depth)
            for param in overload.params}


def usual(wire: Wire, name: str = "", depth: int = 0) -> Any:
    """One valid value of a kind."""
    if wire.type is not None and wire.type.name in _USUAL:
        return _USUAL[wire.type.name]()
    try:
        return sample(wire, name)
    except Cannot:
        if wire.type is None:
            return [usual(wire.collection.element, name, depth + 1)]
        return instance(wire.type, depth + 1)


def _fits(entry: Type, wire: Wire) -> bool:
    """Whether a result may be an instance of a type, or a collection of some."""
    found = wire.collection.element.type if wire.collection is not None else wire.type
    return found is not None and (found is entry or entry in found.bases() or entry in found.interfaces)


def _one_of(found: Any, wire: Wire) -> Any:
    return next(iter(found), None) if wire.collection is not None and found is not None else found


@functools.cache
def _givers(entry: Type) -> list[tuple[Type | None, Callable[[Any], Any]]]:
    """The members that give an instance: the type whose instance is needed, or None, and what gives it."""
    found: list[tuple[Type | None, Callable[[Any], Any]]] = []
    for owner in MODEL.types:
        if owner.is_enum:
            continue
        for prop in owner.properties:
            if _fits(entry, prop.wire) and (prop.static or owner is not entry):
                read = functools.partial(lambda owner, prop, self: _one_of(
                    getattr(python_type(owner) if prop.static else self, prop.python), prop.wire), owner, prop)
                found.append((None if prop.static else owner, read))
        for method in owner.methods:
            for overload in method.overloads:
                if _fits(entry, overload.result) and (overload.static or owner is not entry):
                    call = functools.partial(lambda owner, method, overload, self: _one_of(
                        getattr(python_type(owner) if overload.static else self, method.python)(
                            **usual_arguments(overload, 1)), overload.result), owner, method, overload)
                    found.append((None if overload.static else owner, call))
    return sorted(found, key=lambda giver: giver[0] is not None)


#: Types that were asked for, and the giver that gave one, or None where none does.
_found: dict[str, tuple[Type | None, Callable[[Any], Any]] | None] = {}


def _given(entry: Type, depth: int) -> Iterator[Any]:
    for giver in _givers(entry):
        owner, give = giver
        try:
            made = give(instance(owner, depth + 1) if owner is not None else None)
        except (Cannot, RuntimeError, ValueError, TypeError, AttributeError):
            continue
        if made is not None:
            _found[entry.full_name] = giver
            yield made


def _constructed(entry: Type, depth: int) -> Any:
    """An instance by a constructor whose arguments are such instances themselves, or None."""
    for overload in entry.constructors:
        with contextlib.suppress(Cannot, RuntimeError, ValueError, TypeError):
            return python_type(entry)(**usual_arguments(overload, depth + 1))
    return None


def instance(entry: Type, depth: int = 0) -> Any:
    """A new instance; raises Cannot where none can be had."""
    if entry.name in _USUAL:
        return _USUAL[entry.name]()
    if depth > _DEEPEST:
        raise Cannot(entry.name)
    known = _found.get(entry.full_name, ...)
    if known is None:
        raise Cannot(entry.name)
    if known is not ...:
        owner, give = known
        return give(instance(owner, depth + 1) if owner is not None else None)
    try:
        return make(entry)
    except Cannot:
        made = _constructed(entry, depth) or next(_given(entry, depth), None)
    if made is None:
        if depth == 0:
            _found[entry.full_name] = None
        raise Cannot(entry.name)
    return made
