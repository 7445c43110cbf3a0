"""Pixels as images of Pillow."""

from __future__ import annotations

from typing import Any

from zelmor._optional import optional
from zelmor.arrays._layouts import (MODES, MOST, Mode, Samples, blank, mode_named, own_mode, own_samples, pixels_of,
                                    read_raw, settings_for, whole)
from zelmor.imaging import ColorPalette, Image, PixelDataFormat, RasterImage, Rectangle
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import PngOptions

#: Pillow's modes of pixels of more than 8 bits, each with ours. It has them for gray only.
_WIDE = {"I;16": Samples("u", 16), "F": Samples("f", 32)}
_PLAIN = ("L", "LA", "RGB", "RGBA", "CMYK")


def to_pillow(image: Image, mode: str | None = None) -> Any:
    """A `PIL.Image.Image` with the pixels of a raster image.

    `mode` is "L", "LA", "RGB", "RGBA", "CMYK" or "P", with 8 bits a sample, or "I;16" or "F" for gray. Without it, it
    is that of the picture: nothing is lost, and a picture whose pixels Pillow has no mode for is refused. Metadata and
    color profile stay behind.
    """
    pillow = optional("PIL.Image", "zelmor.arrays.to_pillow")
    picture = pixels_of(image)
    mode = _pillow_mode(picture) if mode is None else mode
    size, area = (picture.width, picture.height), whole(picture, None)
    if mode in _WIDE:
        samples = _WIDE[mode]
        if samples.kind == "f" and own_samples(picture) != samples:
            raise ValueError(f"a picture of {own_samples(picture).name} has no pixels of {samples.name}")
        return _made(pillow, mode, size, read_raw(picture, MODES["L"], samples.bits, area))
    if mode != "P" and mode not in _PLAIN:
        raise ValueError(f"there is no mode {mode!r} here; the modes are {', '.join((*_PLAIN, 'P', *_WIDE))}")
    if mode == "P" and not picture.use_palette:
        raise ValueError("the picture has no palette: its pixels have no indices")
    made = _made(pillow, mode, size, read_raw(picture, mode_named(mode), 8, area))
    if mode == "P":
        palette = picture.palette
        assert palette is not None
        colors = [color & 0xFFFFFFFF for color in palette.argb_32_entries]
        made.putpalette(bytes(color >> shift & 255 for color in colors for shift in (16, 8, 0)))
        alphas = bytes(color >> 24 for color in colors)
        if any(alpha != 255 for alpha in alphas):
            made.info["transparency"] = alphas
    return made


def _made(pillow: Any, mode: str, size: tuple[int, int], data: bytearray) -> Any:
    """Pillow uses the memory itself where it has pixels in this order, and otherwise takes bytes only."""
    if mode in ("L", "P", "RGBA", "CMYK", "I;16"):
        return pillow.frombuffer(mode, size, data, "raw", mode, 0, 1)
    return pillow.frombytes(mode, size, bytes(data), "raw", mode)


def _pillow_mode(image: RasterImage) -> str:
    """Pillow's mode for what the picture has."""
    if image.use_palette:
        return "P"
    mode, samples = own_mode(image), own_samples(image)
    if samples == Samples("u", 8) and mode in _PLAIN:
        return mode
    wide = next((name for name, known in _WIDE.items() if known == samples), None)
    if mode == "L" and wide is not None:
        return wide
    raise ValueError(f"Pillow has no mode for {mode} of {samples.name}: ask for a mode of 8 bits, such as "
                     f"mode={mode if mode in _PLAIN else 'RGB'!r}")


def from_pillow(picture: Any) -> RasterImage:
    """A new picture with the pixels of a `PIL.Image.Image`.

    The modes are "1", "L", "LA", "P", "RGB", "RGBA", "CMYK", "I;16" and "F"; convert pictures of others first. An
    indexed one keeps its indices and palette. Metadata and color profile stay behind. Of several frames it is the
    current one.
    """
    pillow = optional("PIL.Image", "zelmor.arrays.from_pillow")
    if not isinstance(picture, pillow.Image):
        raise TypeError(f"a PIL.Image.Image is needed, not {type(picture).__name__}")
    if 0 in picture.size:
        raise ValueError(f"the picture has no pixels: its size is {picture.size}")
    picture.load()
    if picture.mode == "P":
        return _indexed(picture)
    if picture.mode == "1":
        picture = picture.convert("L")
    samples = _WIDE.get(picture.mode, Samples("u", 8))
    if picture.mode not in (*_PLAIN, *_WIDE):
        raise ValueError(f"a picture of mode {picture.mode!r} has to be converted first, for example with "
                         f"picture.convert('RGB')")
    mode = MODES["L" if picture.mode in _WIDE else picture.mode]
    image = blank(mode, samples, *picture.size)
    _write(image, picture.tobytes("raw", picture.mode), mode, mode.format_of(samples.bits), samples.bits)
    return image


def _indexed(picture: Any) -> RasterImage:
    """Indices with their palette."""
    colors = picture.getpalette("RGB") or [0, 0, 0]
    count = len(colors) // 3
    used: int = max(picture.getextrema()[1] + 1, 1)
    if used > count:
        raise ValueError(f"the picture has the index {used - 1}, and its palette {count} colors")
    transparency = picture.info.get("transparency", b"")
    if isinstance(transparency, int):
        transparency = b"\xff" * transparency + b"\0"
    alphas = (transparency + b"\xff" * count)[:count]
    entries = [int.from_bytes((alphas[i], *colors[3 * i:3 * i + 3]), "big", signed=False) for i in range(count)]
    options = PngOptions()
    options.color_type = PngColorType.INDEXED_COLOR
    options.palette = ColorPalette([entry - (entry >> 31 << 32) for entry in entries])
    made = Image.create(options, *picture.size)
    assert made is not None
    image = pixels_of(made)
    _write(image, picture.tobytes("raw", "P"), MODES["P"], PixelDataFormat.rgb_indexed_8_bpp, 8)
    return image


def _write(image: RasterImage, data: bytes, mode: Mode, layout: PixelDataFormat, bits: int) -> None:
    """Writes all pixels."""
    settings = settings_for(layout, image if mode.name == "P" else None)
    row = image.width * mode.channels * bits // 8
    for top in range(0, image.height, rows := max(1, MOST // row)):
        count = min(rows, image.height - top)
        part = data if count == image.height else memoryview(data)[top * row:(top + count) * row]
        image.save_raw_data(part, 0, Rectangle(0, top, image.width, count), settings)
