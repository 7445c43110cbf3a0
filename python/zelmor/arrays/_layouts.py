"""The layouts in which pixels cross: the channels of a mode, the form that a picture has itself, and raw data.

A *mode* is a name for the channels of a pixel, as Pillow has them. Samples are integers of 8, 16 or 32 bits, with or
without a sign, or floating numbers of 32 or 64 bits. The library takes and gives them as *raw data*, whose layout is a
`PixelDataFormat`.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from dataclasses import dataclass

from zelmor._errors import managed_name
from zelmor._opening import specific
from zelmor.imaging import Image, PixelDataFormat, PixelFormat, RasterImage, RawDataSettings, Rectangle
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import (TiffAlphaStorage, TiffExpectedFormat, TiffPhotometrics,
                                                   TiffSampleFormats)
from zelmor.imaging.imageoptions import PngOptions, TiffOptions


@dataclass(frozen=True)
class Mode:
    """The channels of a pixel."""

    name: str
    channels: int
    layout: Callable[[int], PixelDataFormat]
    #: The mode of the picture that is made for such pixels: another order of channels is only on the way.
    made: str = ""

    def format_of(self, bits: int) -> PixelDataFormat:
        """The layout with so many bits a channel."""
        return self.layout(bits)


def _cmyka(bits: int) -> PixelDataFormat:
    return PixelDataFormat.get_cmyka(bits, bits, bits, bits, bits)


MODES = {mode.name: mode for mode in (
    Mode("L", 1, PixelDataFormat.get_grayscale), Mode("LA", 2, PixelDataFormat.get_grayscale_alpha),
    Mode("RGB", 3, PixelDataFormat.get_rgb), Mode("RGBA", 4, PixelDataFormat.get_rgba),
    Mode("BGR", 3, PixelDataFormat.get_bgr, "RGB"), Mode("BGRA", 4, PixelDataFormat.get_bgra, "RGBA"),
    Mode("CMYK", 4, PixelDataFormat.get_cmyk), Mode("CMYKA", 5, _cmyka),
    Mode("P", 1, PixelDataFormat.get_rgb_indexed))}


_KINDS = {"u": "uint", "i": "int", "f": "float"}


@dataclass(frozen=True)
class Samples:
    """The type of the numbers of a picture: "u" for integers from 0 on, "i" for those with a sign, "f" for floats."""

    kind: str
    bits: int

    @property
    def name(self) -> str:
        """As NumPy names it."""
        return f"{_KINDS[self.kind]}{self.bits}"


def mode_named(name: str) -> Mode:
    """The mode, or an error that lists those there are."""
    mode = MODES.get(name)
    if mode is None:
        raise ValueError(f"there is no mode {name!r}; the modes are {', '.join(MODES)}")
    return mode


def pixels_of(image: Image) -> RasterImage:
    """The image as one that has pixels."""
    if not isinstance(image, Image):
        raise TypeError(f"an image of zelmor.imaging is needed, not {type(image).__name__}")
    found = specific(image)
    if isinstance(found, RasterImage):
        return found
    raise TypeError(f"a {type(found).__name__} is drawn, and has no pixels of its own: save it as PNG, and open that")


def whole(image: RasterImage, area: Rectangle | tuple[int, int, int, int] | None) -> Rectangle:
    """The area of the image that is meant."""
    if area is None:
        return Rectangle(0, 0, image.width, image.height)
    return Rectangle(*area) if isinstance(area, tuple) else area


def settings_for(layout: PixelDataFormat, image: RasterImage | None = None) -> RawDataSettings:
    """Settings of raw data; those of indices have the palette of the image."""
    settings = RawDataSettings()
    settings.pixel_data_format = layout
    if image is not None:
        settings.color_palette = image.palette
    return settings


# ---- The form that a picture has


def own_mode(image: RasterImage) -> str:
    """The mode that holds the pixels of a picture without a loss; colors of a palette are colors."""
    if image.use_palette:
        palette = image.palette
        assert palette is not None
        return "RGBA" if any(color >> 24 & 255 != 255 for color in palette.argb_32_entries) else "RGB"
    layout = image.raw_data_format
    assert layout is not None
    colors = {PixelFormat.GRAYSCALE: "L", PixelFormat.CMYK: "CMYK"}.get(layout.pixel_format, "RGB")
    has_alpha = layout.pixel_format != PixelFormat.CIE_LAB and layout.channels_count == MODES[colors].channels + 1
    return colors + "A" if has_alpha else colors


def own_samples(image: RasterImage) -> Samples:
    """The samples of a picture: fewer than 8 bits count as 8."""
    layout = image.raw_data_format
    assert layout is not None
    bits = max(layout.channel_bits)
    if image.use_palette or layout.pixel_format == PixelFormat.CIE_LAB:
        return Samples("u", max(8, bits))
    mode = MODES[own_mode(image)]
    if bits == 16:
        # The layout of floating samples has 16 bits as well. Which of them it stands for shows in the layouts that the
        # picture takes.
        for width in (32, 64):
            if _first_sample(image, mode, width) is not None:
                return Samples("f", width)
    return Samples("i" if bits >= 8 and _is_signed(image, mode, bits) else "u", max(8, bits))


def _first_sample(image: RasterImage, mode: Mode, bits: int) -> int | None:
    """The bits of the first sample, or None if the picture does not take the layout."""
    try:
        return int.from_bytes(read_raw(image, mode, bits, Rectangle(0, 0, 1, 1))[:bits // 8], "little")
    except RuntimeError as error:
        if managed_name(error) != "NotSupportedException":
            raise
        return None


def _is_signed(image: RasterImage, mode: Mode, bits: int) -> bool:
    """Whether the integers have a sign.

    In the layout of the picture they are as they are. In another one they are colors, for which those with a sign count
    from the least. No inks have a sign.
    """
    if mode.name.startswith("C"):
        return False
    own = _first_sample(image, mode, bits)
    color = _first_sample(image, MODES["RGBA" if mode.name == "RGB" else "RGB"], 16)
    assert own is not None and color is not None
    return abs((own * 257 if bits == 8 else own >> (bits - 16)) - color) > 1


# ---- Bands


#: Bytes that cross at once where they are rearranged, and the most that one call of the library can take.
BAND, MOST = 1 << 22, 0x7FFFFFFF


def bands(area: Rectangle, pixel_size: int, most: int) -> Iterator[Rectangle]:
    """The area in bands of full width, from the top, none larger than so many bytes if its rows are not."""
    rows = max(1, most // max(1, area.width * pixel_size))
    for top in range(0, area.height, rows):
        yield Rectangle(area.x, area.y + top, area.width, min(rows, area.height - top))


def read_raw(image: RasterImage, mode: Mode, bits: int, area: Rectangle) -> bytearray:
    """The pixels of an area, row by row without gaps."""
    data = image.get_default_raw_data(area, settings_for(mode.format_of(bits), image if mode.name == "P" else None))
    assert data is not None
    return data


# ---- New pictures


def blank(mode: Mode, samples: Samples, width: int, height: int) -> RasterImage:
    """A new picture for pixels of a mode: a PNG where that format has the mode, else a TIFF."""
    made = mode.made or mode.name
    options = _png(made, samples) if made in _PNG_COLORS and samples in _PNG_SAMPLES else _tiff(made, samples)
    image = Image.create(options, width, height)
    assert image is not None
    return pixels_of(image)


_PNG_SAMPLES = (Samples("u", 8), Samples("u", 16))
_PNG_COLORS = {"L": PngColorType.GRAYSCALE, "LA": PngColorType.GRAYSCALE_WITH_ALPHA, "RGB": PngColorType.TRUECOLOR,
               "RGBA": PngColorType.TRUECOLOR_WITH_ALPHA}


def _png(mode: str, samples: Samples) -> PngOptions:
    options = PngOptions()
    options.color_type = _PNG_COLORS[mode]
    options.bit_depth = samples.bits
    return options


def _tiff(mode: str, samples: Samples) -> TiffOptions:
    count = MODES[mode].channels
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    options.photometric = {"L": TiffPhotometrics.MIN_IS_BLACK, "C": TiffPhotometrics.SEPARATED}.get(
        mode[0], TiffPhotometrics.RGB)
    options.bits_per_sample = [samples.bits] * count
    kinds = {"u": TiffSampleFormats.UINT, "i": TiffSampleFormats.INT, "f": TiffSampleFormats.IEEE_FP}
    options.sample_format = [kinds[samples.kind]] * count
    if mode.endswith("A"):
        options.alpha_storage = TiffAlphaStorage.UNASSOCIATED
    return options
