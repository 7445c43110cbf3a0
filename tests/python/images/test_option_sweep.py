"""Every property of all load and save options has an effect, or is refused by name when it differs from its default.

The sweep takes the properties from the catalogue, so that a new one is tested without a change here. Each is set to
values other than its default; then a picture is saved or loaded. Either the file or the pixels differ from those
without the setting, or the error names the property. A property that is taken and has no effect fails.
"""

from __future__ import annotations

import io
import struct
import zlib
from collections.abc import Callable, Iterator
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import (Color, Font, Image, ImageOptionsBase, RasterImage, Rectangle, ResolutionSetting, Size,
                            SizeF, VectorImage)
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.dicom import Compression, CompressionType
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.fileformats.eps import EpsPreviewFormat
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.jpeg import JFIFData, JpegCompressionMode, JpegLsPresetCodingParameters
from zelmor.imaging.fileformats.pdf import PdfCoreOptions, PdfDocumentInfo
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import (TiffAlphaStorage, TiffCompressions, TiffExpectedFormat,
                                                   TiffPhotometrics, TiffSampleFormats)
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffASCIIType
from zelmor.imaging.imageloadoptions import NoiseReductionType
from zelmor.imaging.imageoptions import (ApngOptions, BigTiffOptions, DicomOptions, DxfOptions, GifOptions, JpegOptions,
                                         MultiPageMode, MultiPageOptions, PdfImageCompressionOptions, PngOptions,
                                         TiffOptions, TimeInterval, VectorRasterizationOptions, WebPOptions)
from zelmor.imaging.sources import StreamSource
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.dng_files import Dng
from support.image_oracles import managed_error, noise, smooth
from support.office_files import binary_eps, eps
from support.samples import MODEL, Cannot, python_type, samples
from tools.generator.model import Property, Type

#: The classes with which a picture can be saved. All others are refused as a whole.
WRITABLE = {"ApngOptions", "BigTiffOptions", "BmpOptions", "DicomOptions", "DxfOptions", "EmfOptions", "EpsOptions",
            "GifOptions", "Html5CanvasOptions", "IcoOptions", "Jpeg2000Options", "JpegOptions", "PdfOptions",
            "PngOptions", "PsdOptions", "SvgOptions", "TgaOptions", "TiffOptions", "WebPOptions", "WmfOptions"}

#: A property without an effect: the only callback that a program can get does what is done without one.
UNSEEN = {("SvgOptions", "callback")}


def options_below(*bases: str) -> list[Type]:
    """The classes with a constructor that derive from one of these, or are one."""
    return [entry for entry in MODEL.types
            if entry.constructors and {entry.name, *(base.name for base in entry.bases())} & set(bases)]


def writable_properties(entry: Type) -> Iterator[Property]:
    """The properties of a class and of its bases that can be set, each once."""
    seen: set[str] = set()
    for owner in [entry, *entry.bases()]:
        for prop in owner.properties:
            if prop.writable and not prop.static and prop.python not in seen:
                seen.add(prop.python)
                yield prop


def cases(*bases: str) -> list[Any]:
    return [pytest.param(entry, prop, id=f"{entry.name}.{prop.python}")
            for entry in options_below(*bases) for prop in writable_properties(entry)]


# ---- Pictures in which an option shows


def encoded(array: Any, kind: str = "PNG", **options: Any) -> io.BytesIO:
    file = io.BytesIO()
    Pillow.fromarray(array).save(file, kind, **options)
    return io.BytesIO(file.getvalue())


def loaded(file: io.BytesIO) -> Image:
    return Image.load(io.BytesIO(file.getvalue()))


def plain() -> Image:
    return loaded(encoded(smooth()))


def with_alpha() -> Image:
    return loaded(encoded(noise(4)))


def large() -> Image:
    return loaded(encoded(np.zeros((700, 800, 3), np.uint8)))


def animated() -> Image:
    """Three frames of 40 milliseconds each."""
    frames = [Pillow.fromarray(np.full((20, 24, 3), 60 * i, np.uint8)) for i in range(3)]
    file = io.BytesIO()
    frames[0].save(file, "GIF", save_all=True, append_images=frames[1:], duration=40, loop=3)
    return loaded(file)


def frames_without_duration() -> Image:
    frames = [Pillow.fromarray(np.full((20, 24, 3), 60 * i, np.uint8)) for i in range(3)]
    file = io.BytesIO()
    frames[0].save(file, "TIFF", save_all=True, append_images=frames[1:])
    return loaded(file)


def with_a_small_frame() -> Image:
    """An animation whose second, active frame covers a part of the canvas."""
    first = RasterImage._cast_to(loaded(encoded(np.full((20, 24, 3), 200, np.uint8)))).value
    second = RasterImage._cast_to(loaded(encoded(np.zeros((6, 8, 3), np.uint8)))).value
    image = GifImage(GifFrameBlock(first))
    frame = GifFrameBlock(second)
    frame.left, frame.top = 10, 5
    image.add_block(frame)
    image.active_frame = frame
    return image


def with_texts() -> Image:
    """A PSD whose layers have texts, of which a block behind the layers tells."""
    block = b"8BIMTxt2" + struct.pack(">I", 4) + b"text"
    layers = struct.pack(">II", 0, 0) + block
    header = b"8BPS" + struct.pack(">H6xHIIHH", 1, 3, 4, 4, 8, 3) + bytes(8)
    return loaded(io.BytesIO(header + struct.pack(">I", len(layers)) + layers + bytes(2 + 3 * 4 * 4)))


def packet() -> XmpPacketWrapper:
    packet, package = XmpPacketWrapper(), DublinCorePackage()
    package.set_title("Title")
    packet.add_package(package)
    return packet


def exif() -> JpegExifData:
    data = JpegExifData()
    data.make = "Maker"
    return data


def jfif() -> JFIFData:
    data = JFIFData()
    data.x_density, data.y_density = 3, 2
    return data


def dicom_compression(kind: CompressionType) -> Compression:
    compression = Compression()
    compression.type = kind
    return compression


def with_resolution() -> Image:
    return loaded(encoded(smooth(), dpi=(200, 100)))


def stored_picture() -> PdfCoreOptions:
    core = PdfCoreOptions()
    core.compression = PdfImageCompressionOptions.NONE
    return core


def titled() -> PdfDocumentInfo:
    info = PdfDocumentInfo()
    info.title = "Title"
    return info


def preset() -> JpegLsPresetCodingParameters:
    numbers = JpegLsPresetCodingParameters()
    numbers.reset_value = 31
    return numbers


def tags() -> list[Any]:
    tag = TiffASCIIType(65000)
    tag.text = "a tag of one's own"
    return [tag]


def drawing() -> Image:
    """A vector image: two shapes, one with text."""
    return loaded(io.BytesIO(b'<svg xmlns="http://www.w3.org/2000/svg" width="40" height="30">'
                             b'<circle cx="20" cy="15" r="9" fill="#c04020"/><text x="2" y="20">A</text></svg>'))


def metafile() -> Image:
    """A vector image whose text is text."""
    recorder = EmfRecorderGraphics2D(Rectangle(0, 0, 40, 30), Size(960, 960), Size(254, 254))
    recorder.draw_string("Sa", Font("DejaVu Sans", 12.0), Color.red, 3, 3)
    return recorder.end_recording()


def on_blue() -> VectorRasterizationOptions:
    options = VectorRasterizationOptions()
    options.background_color = Color.blue
    return options


#: The picture for a class of options, where pixels do not show it, and values that count for such a picture.
DRAWINGS = {"DxfOptions": metafile}
VALUES_OF_DRAWINGS: dict[str, Callable[[], list[Any]]] = {
    "multi_page_options": lambda: [MultiPageOptions(0, Rectangle(5, 5, 20, 20))],
    "vector_rasterization_options": lambda: [on_blue()],
}

#: The picture for a property, where the usual one does not show it.
PICTURES: dict[str, Callable[[], Image]] = {
    "buffer_size_hint": large, "default_memory_allocation_limit": large, "preblend_alpha_if_present": with_alpha,
    "premultiply_components": with_alpha, "background_color": with_alpha, "multi_page_options": animated,
    "num_plays": animated, "anim_loop_count": animated, "anim_background_color": animated,
    "default_frame_time": frames_without_duration, "alpha_storage": with_alpha,
    "disable_icc_export": lambda: Image.load(io.BytesIO(with_a_profile())), "full_frame": with_a_small_frame,
    "loops_count": animated, "color_type": with_alpha, "remove_global_text_engine_resource": with_texts,
    "text_as_shapes": drawing,
    "use_original_image_resolution": with_resolution,
}

#: Values of the properties that hold objects, and of those whose samples do not fit their format.
VALUES: dict[str, Callable[[], list[Any]]] = {
    "xmp_data": lambda: [packet()], "exif_data": lambda: [exif()], "jfif": lambda: [jfif()], "tags": lambda: [tags()],
    "resolution_settings": lambda: [ResolutionSetting(200.0, 400.0)], "buffer_size_hint": lambda: [1],
    "default_memory_allocation_limit": lambda: [1], "bits_per_sample": lambda: [[8], [16, 16, 16]],
    "compression_ratios": lambda: [[20], [40, 1], [1, 40]],
    "jpeg_ls_preset": lambda: [preset()], "bits_per_channel": lambda: [4, 12],
    "jpeg_ls_allowed_lossy_error": lambda: [3],
    "horizontal_sampling": lambda: [b"\2\1\1", b"\1\1", b"\3\2\1"],
    "vertical_sampling": lambda: [b"\2\1\1", b"\1\2\1", b"\x09\1\1"],
    "multi_page_options": lambda: [MultiPageOptions([1])], "quality": lambda: [10], "tile_width": lambda: [32],
    "tile_length": lambda: [32], "compressed_quality": lambda: [10], "background_color": lambda: [Color.red],
    "default_frame_time": lambda: [70], "bits_per_pixel": lambda: [8, 32], "compression_level": lambda: [0],
    "page_number": lambda: [[1, 2]], "loops_count": lambda: [7], "color_resolution": lambda: [2],
    # Those of one entry only, or as new options have them, are refused or change nothing.
    "alpha_storage": lambda: [TiffAlphaStorage.ASSOCIATED], "rows_per_strip": lambda: [8],
    "sample_format": lambda: [[TiffSampleFormats.INT] * 3, [TiffSampleFormats.INT] * 2],
    "anim_loop_count": lambda: [9], "num_plays": lambda: [9], "page_size": lambda: [SizeF(30.0, 20.0)],
    "pdf_core_options": lambda: [stored_picture()], "pdf_document_info": lambda: [titled()],
}


def options_of(entry: Type, prop: str) -> Any:
    """Options in which the property can be seen."""
    name = entry.name
    options: Any
    if name in ("TiffOptions", "BigTiffOptions"):
        options = (BigTiffOptions if name == "BigTiffOptions" else TiffOptions)(TiffExpectedFormat.TIFF_LZW_RGB)
        if prop == "compressed_quality":
            options.compression = TiffCompressions.JPEG
        if prop == "y_cb_cr_subsampling":
            options.compression, options.photometric = TiffCompressions.JPEG, TiffPhotometrics.YCBCR
        if prop == "fax_t4_options":
            options = type(options)(TiffExpectedFormat.TIFF_CCITT_FAX3)
        if prop in ("premultiply_components", "alpha_storage"):
            options = type(options)(TiffExpectedFormat.TIFF_LZW_RGBA)
        if prop in ("tile_width", "tile_length"):
            options.tile_width = options.tile_length = 16
        if prop == "full_frame":
            options.multi_page_options = MultiPageOptions([1])
        return options
    options = python_type(entry)()
    if isinstance(options, JpegOptions) and (prop.startswith("jpeg_ls") or prop == "bits_per_channel"):
        options.compression_type = JpegCompressionMode.JPEG_LS
    if isinstance(options, WebPOptions) and prop == "quality":
        options.lossless = False
    if isinstance(options, PngOptions) and prop == "bit_depth":
        options.color_type = PngColorType.GRAYSCALE
    if isinstance(options, DxfOptions):
        options.text_as_lines = prop in ("convert_text_beziers", "bezier_point_count")
        options.convert_text_beziers = prop == "bezier_point_count"
    if prop == "full_frame" and name in WRITABLE:
        options.multi_page_options = MultiPageOptions([1])
    return options


def values_for(prop: Property, options: Any) -> list[Any]:
    """Values of the property that differ from what it has."""
    before = getattr(options, prop.python)
    if type(options).__name__ in DRAWINGS and prop.python in VALUES_OF_DRAWINGS:
        return VALUES_OF_DRAWINGS[prop.python]()
    if prop.python == "bits_per_pixel":
        return [value for value in VALUES[prop.python]() if value != before]
    if prop.python in VALUES:
        return VALUES[prop.python]()
    if isinstance(options, DicomOptions) and prop.python == "compression":
        return [dicom_compression(kind) for kind in CompressionType if kind != CompressionType.NONE]
    try:
        found = samples(prop.wire)
    except Cannot:
        return []
    return [value for value in found if value is not None and value != before]


def saved(image: Image, options: ImageOptionsBase) -> bytes:
    file = io.BytesIO()
    image.save(file, options)
    return file.getvalue()


def names(text: str, entry: Type, prop: Property) -> bool:
    return prop.managed.lower() in text.lower().replace("_", "") or f"Saving with {entry.name}" in text


def created_over(options: Any, entry: Type) -> str:
    """What becomes of a source, which is where an image that is created with the options will be written."""
    file = io.BytesIO()
    options.source = StreamSource(file)
    try:
        Image.create(options, 10, 10).save()
    except RuntimeError as error:
        return "refused" if f"Saving with {entry.name}" in str(error) else f"refused without its name: {error}"
    return "effective" if file.getvalue() else "taken and ignored"


def outcome(entry: Type, prop: Property, value: Any) -> str:
    """What becomes of one value: "refused", "effective", or else what went wrong."""
    picture = DRAWINGS.get(entry.name) or PICTURES.get(prop.python, plain)
    options = options_of(entry, prop.python)
    try:
        setattr(options, prop.python, value)
    except RuntimeError as error:
        return "refused" if names(str(error), entry, prop) else f"refused without its name: {error}"
    if prop.python == "source":
        options.source = StreamSource(io.BytesIO())
        return created_over(options, entry)
    try:
        file = saved(picture(), options)
    except RuntimeError as error:
        return "refused" if names(str(error), entry, prop) else f"refused without its name: {error}"
    if file != saved(picture(), options_of(entry, prop.python)):
        return "effective"
    return "unseen" if (entry.name, prop.python) in UNSEEN else "taken and ignored"


@pytest.mark.parametrize(("entry", "prop"), cases("ImageOptionsBase"))
def test_a_save_option_has_its_effect_or_is_refused(entry: Type, prop: Property) -> None:
    options = options_of(entry, prop.python)
    values = values_for(prop, options)
    assert values, "the sweep needs a value for this property"
    outcomes = {repr(value): outcome(entry, prop, value) for value in values}
    good = ("refused", "effective", "unseen")
    # Text that is empty says as little as none.
    wrong = {value: result for value, result in outcomes.items() if result not in good and value != "''"}
    assert not wrong
    if entry.name not in WRITABLE:
        assert set(outcomes.values()) == {"refused"}


# ---- Choice of pages


def pages_saved(options: MultiPageOptions) -> bytes:
    tiff = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    tiff.multi_page_options = options
    return saved(animated(), tiff)


PAGE_VALUES: dict[str, list[Any]] = {
    "pages": [[1], [0, 2]], "page_titles": [["a"]], "time_interval": [TimeInterval(30, 50)],
    "export_area": [Rectangle(0, 0, 5, 5)], "merge_layers": [True], "output_layers_names": [["a"]],
    "page_rasterization_options": [[]],
}


@pytest.mark.parametrize(("entry", "prop"), cases("MultiPageOptions"))
def test_a_choice_of_pages_has_its_effect_or_is_refused(entry: Type, prop: Property) -> None:
    values = [mode for mode in MultiPageMode if mode != MultiPageMode.ALL_PAGES] if prop.python == "mode" else \
        PAGE_VALUES[prop.python]
    usual = pages_saved(python_type(entry)())
    for value in values:
        options = python_type(entry)()
        setattr(options, prop.python, value)
        if prop.python == "mode":  # a way to choose without a choice: all pages, or a refusal
            options.pages = [1] if value in (MultiPageMode.PAGES, MultiPageMode.RANGE) else None
            options.time_interval = TimeInterval(0, 10) if value == MultiPageMode.TIME_INTERVAL else None
        try:
            assert pages_saved(options) != usual, value
        except RuntimeError as error:
            assert names(str(error), entry, prop) or prop.python == "mode" and "of titles" in str(error), error


def test_pages_beside_a_mode_that_does_not_look_at_them() -> None:
    options = MultiPageOptions()
    options.pages = [1]
    with managed_error("NotSupportedException", "A value of MultiPageOptions.Pages beside the mode 4 of MultiPageMode"):
        pages_saved(options)
    options.mode = MultiPageMode.PAGES
    assert len(pages_saved(options)) < len(pages_saved(MultiPageOptions()))


# ---- Loading


def truncated_jpeg() -> bytes:
    data = encoded(noise(), "JPEG", quality=90).getvalue()
    return data[:len(data) // 2]


def with_a_profile() -> bytes:
    """A picture with a profile in which red and blue are exchanged."""
    data = bytearray(ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
    # The red colorant at the place of the blue one, and the other way round.
    for i in range(struct.unpack_from(">I", data, 128)[0]):
        entry = 132 + 12 * i
        if data[entry:entry + 4] in (b"rXYZ", b"bXYZ"):
            data[entry:entry + 4] = b"bXYZ" if data[entry:entry + 4] == b"rXYZ" else b"rXYZ"
    return encoded(smooth(), icc_profile=bytes(data)).getvalue()


def with_a_wrong_checksum() -> bytes:
    """A PNG with damage beside the pixels."""
    data = encoded(smooth()).getvalue()
    body = b"tEXtComment\0words"
    chunk = struct.pack(">I", len(body) - 4) + body + struct.pack(">I", zlib.crc32(body) ^ 1)
    return data[:33] + chunk + data[33:]


def large_jpeg_2000() -> bytes:
    return encoded(noise(width=600, height=600), "JPEG2000").getvalue()


def without_a_size() -> bytes:
    return b'<svg xmlns="http://www.w3.org/2000/svg"><rect width="20" height="20"/></svg>'


def with_a_preview() -> bytes:
    """A PostScript file whose preview is another picture."""
    return binary_eps(eps("10 10 30 30 rectfill"), tiff=encoded(smooth(), "TIFF").getvalue())


def noisy_mosaic() -> bytes:
    """The raw picture of a camera."""
    return Dng((noise(1, width=64, height=48).astype(np.uint16) * 100 + 20000)).tobytes()


def pixels_loaded(data: bytes, options: Any) -> Any:
    image = Image.load(io.BytesIO(data), options)
    if VectorImage._is_assignable(image):
        return image.width, image.height, saved(image, PngOptions())
    image = RasterImage._cast_to(image).value
    return list(image.load_argb_32_pixels(image.bounds))


#: The file in which a load option shows, and its values.
LOADS: dict[str, tuple[Callable[[], bytes], list[Any]]] = {
    "default_width": (without_a_size, [70]), "default_height": (without_a_size, [70]),
    "buffer_size_hint": (lambda: encoded(np.zeros((700, 800, 3), np.uint8)).getvalue(), [1]),
    "use_icc_profile_conversion": (with_a_profile, [True]),
    "maximum_decoding_time": (large_jpeg_2000, [1]), "maximum_decoding_time_for_tile": (large_jpeg_2000, [1]),
    "preview_export_format": (with_a_preview, [EpsPreviewFormat.TIFF]),
    "strict_mode": (with_a_wrong_checksum, [True]),
    "fbdd": (noisy_mosaic, [NoiseReductionType.LIGHT, NoiseReductionType.FULL]),
    "adjust_white_balance": (noisy_mosaic, [True]),
}


@pytest.mark.parametrize(("entry", "prop"), cases("LoadOptions"))
def test_a_load_option_has_its_effect_or_is_refused(entry: Type, prop: Property) -> None:
    make, values = LOADS.get(prop.python, (lambda: encoded(smooth()).getvalue(), []))
    base: dict[str, Any] = {}
    if prop.python in ("data_recovery_mode", "data_background_color"):
        make = truncated_jpeg
        from zelmor.imaging import DataRecoveryMode
        if prop.python == "data_background_color":
            base = {"data_recovery_mode": DataRecoveryMode.CONSISTENT_RECOVER}
            values = [Color.red]

    def options(**properties: Any) -> Any:
        made = python_type(entry)()
        for name, value in {**base, **properties}.items():
            setattr(made, name, value)
        return made

    def result(**properties: Any) -> Any:
        try:
            return pixels_loaded(make(), options(**properties))
        except RuntimeError as error:
            return str(error)

    usual = result()
    values = values or values_for(prop, options())
    assert values
    for value in values:
        try:
            found = result(**{prop.python: value})
        except OverflowError:
            continue
        assert found != usual, f"{value!r} is taken and ignored"
        if isinstance(found, str):
            assert names(found, entry, prop) or found.startswith("Proxy error(ImageLoad"), found


# ---- Ranges


@pytest.mark.parametrize(("kind", "name", "value", "text"), [
    (JpegOptions, "quality", 500, "The value 500 of JpegOptions.Quality is not between 1 and 100."),
    (JpegOptions, "quality", 0, "The value 0 of JpegOptions.Quality is not between 1 and 100."),
    (PngOptions, "compression_level", 10, "The value 10 of PngOptions.CompressionLevel is not between 0 and 9."),
    (PngOptions, "bit_depth", 3, "The value 3 of PngOptions.BitDepth is none of 1, 2, 4, 8 and 16."),
    (ApngOptions, "bit_depth", 32, "The value 32 of ApngOptions.BitDepth is none of 1, 2, 4, 8 and 16."),
    (ApngOptions, "default_frame_time", -1,
     "The value -1 of ApngOptions.DefaultFrameTime is not between 0 and 2147483647."),
    (GifOptions, "color_resolution", 8, "The value 8 of GifOptions.ColorResolution is not between 0 and 7."),
    (GifOptions, "buffer_size_hint", -1, "The value -1 of GifOptions.BufferSizeHint is not between 0 and 2147483647."),
    (WebPOptions, "quality", 100.5, "The value 100.5 of WebPOptions.Quality is not between 0 and 100."),
    (JFIFData, "x_density", 0, "The value 0 of JFIFData.XDensity is not between 1 and 65535."),
])
def test_a_number_out_of_range_is_refused_when_it_is_set(kind: Any, name: str, value: object, text: str) -> None:
    options = kind()
    before = getattr(options, name)
    with managed_error("ArgumentOutOfRangeException", text):
        setattr(options, name, value)
    assert getattr(options, name) == before
