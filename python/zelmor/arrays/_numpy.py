"""Pixels as NumPy arrays."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

from zelmor._optional import optional
from zelmor.arrays._layouts import (BAND, MOST, Mode, Samples, bands, blank, mode_named, own_mode, own_samples,
                                    pixels_of, read_raw, settings_for, whole)
from zelmor.imaging import Image, RasterImage, Rectangle

if TYPE_CHECKING:
    import numpy as np
    from numpy.typing import DTypeLike, NDArray

_DTYPES = {samples.name: samples for samples in (
    Samples("u", 8), Samples("u", 16), Samples("u", 32), Samples("i", 8), Samples("i", 16), Samples("i", 32),
    Samples("f", 32), Samples("f", 64))}
#: What can be converted to and from all others.
_PLAIN = (Samples("u", 8), Samples("u", 16))
#: The mode of an array by its number of channels.
_BY_CHANNELS = {1: "L", 2: "LA", 3: "RGB", 4: "RGBA", 5: "CMYKA"}


def to_numpy(image: Image, mode: str | None = None, dtype: DTypeLike | None = None, *,
             area: Rectangle | tuple[int, int, int, int] | None = None,
             out: NDArray[Any] | None = None) -> NDArray[Any]:
    """The pixels of a raster image: an array (height, width) of a gray one, else (height, width, channels).

    `mode` is one of "L" (gray), "LA", "RGB", "RGBA", "BGR", "BGRA", "CMYK", "CMYKA" and "P" (indices into the palette
    of an indexed picture). Without it, it is that of the picture; an indexed one gives its colors.

    `dtype` is without being asked for that of the picture, which loses nothing: uint8, uint16, uint32, int8, int16,
    int32, float32 or float64. float32 and float64 make numbers from 0 to 1 of the integers, from the least to the
    greatest. uint8 and uint16 clip floating samples to 0 to 1 before.

    `area` is a part of the picture: a `Rectangle`, or x, y, width and height. `out` is an array to write to.

    The array is a copy. Of an image with several frames it shows the active one: `to_numpy(image.pages[1])` shows
    another.
    """
    np = optional("numpy", "zelmor.arrays.to_numpy")
    picture = pixels_of(image)
    own = own_mode(picture)
    wanted = mode_named(mode if mode is not None else own)
    source = _crossing(picture, wanted, own, None if dtype is None else _samples(np.dtype(dtype)))
    target = np.dtype(dtype) if dtype is not None else np.dtype(source.name)
    where = whole(picture, area)
    shape = (where.height, where.width) if wanted.channels == 1 else (where.height, where.width, wanted.channels)
    if out is not None:
        if out.shape != shape or out.dtype != target:
            raise ValueError(f"out is {_described(out)}, and the pixels are {target} {shape}")
    elif source.name == target.name and where.width * where.height * wanted.channels * source.bits // 8 <= MOST:
        return _array(np, read_raw(picture, wanted, source.bits, where), source, shape)
    else:
        if min(where.width, where.height) < 1:
            read_raw(picture, wanted, source.bits, where)  # refuses the area
        out = np.empty(shape, target)
    assert out is not None
    for band in bands(where, wanted.channels * source.bits // 8, BAND):
        top = band.y - where.y
        rows = _array(np, read_raw(picture, wanted, source.bits, band), source, (band.height, *shape[1:]))
        out[top:top + band.height] = _scaled(np, rows, target) if target.kind == "f" else rows
    return out


def from_numpy(array: NDArray[Any], mode: str | None = None) -> RasterImage:
    """A new picture with the pixels of an array: (height, width), or (height, width, channels).

    1 channel is gray, 2 are gray with alpha, 3 RGB, 4 RGBA, and 5 CMYK with alpha; `mode` says it otherwise, for
    example "CMYK" or "BGR". The type of the numbers is kept: uint8, uint16, uint32, int8, int16, int32, float32 or
    float64. Floating numbers stand for themselves, where 0 is black and 1 is white; the least of the integers with a
    sign is black.

    The array may have any strides and byte order, and is copied. The picture is a PNG, or a TIFF for inks and numbers
    that PNG does not have; it can be saved in every format, which reduces it to what the format has.
    """
    np = optional("numpy", "zelmor.arrays.from_numpy")
    array = np.asarray(array)
    wanted, samples = _form(array, mode)
    if 0 in array.shape:
        raise ValueError(f"the array has no pixels: it is {_described(array)}")
    if wanted.name == "P":
        raise ValueError("indices need a palette: write them to an indexed picture with write_numpy")
    image = blank(wanted, samples, array.shape[1], array.shape[0])
    _write(np, image, array, wanted, samples, Rectangle(0, 0, image.width, image.height))
    return image


def write_numpy(image: Image, array: NDArray[Any], mode: str | None = None, *, at: tuple[int, int] = (0, 0)) -> None:
    """Writes the pixels of an array into a raster image, with the upper left corner at x and y.

    The array is as for `from_numpy`. Pixels of uint8 and uint16 are converted to those of the picture; those of other
    types can be written only to a picture that has them.
    """
    np = optional("numpy", "zelmor.arrays.write_numpy")
    picture = pixels_of(image)
    array = np.asarray(array)
    wanted, samples = _form(array, mode)
    has = own_samples(picture)
    if samples != has and (samples.bits > 16 or "i" in (samples.kind, has.kind)):
        raise ValueError(f"pixels of {samples.name} cannot be written to a picture of {has.name}")
    _write(np, picture, array, wanted, samples, Rectangle(*at, array.shape[1], array.shape[0]))


# ---- Checks


def _described(array: NDArray[Any]) -> str:
    return f"{array.dtype} {array.shape}"


def _samples(dtype: np.dtype[Any]) -> Samples:
    """The samples of a type, in either byte order."""
    samples = _DTYPES.get(dtype.name)
    if samples is not None:
        return samples
    hint = {"bool": ": array.astype(np.uint8) * 255 has black and white", "float16": ": use array.astype(np.float32)",
            "int64": ": use array.astype(np.uint8) or np.uint16"}.get(dtype.name, "")
    raise TypeError(f"pixels of {dtype.name} do not fit a picture; those of {', '.join(_DTYPES)} do{hint}")


def _form(array: NDArray[Any], mode: str | None) -> tuple[Mode, Samples]:
    """What the pixels of an array are."""
    samples = _samples(array.dtype)
    if array.ndim not in (2, 3):
        raise ValueError(f"an array of pixels has the shape (height, width) or (height, width, channels), "
                         f"not {array.shape}")
    channels = array.shape[2] if array.ndim == 3 else 1
    if mode is None and channels not in _BY_CHANNELS:
        raise ValueError(f"pixels have 1 to 5 channels, not {channels}: the array is {_described(array)}")
    wanted = mode_named(mode if mode is not None else _BY_CHANNELS[channels])
    if wanted.channels != channels:
        raise ValueError(f"pixels of mode {mode} have {wanted.channels} channels, and the array is {_described(array)}")
    if wanted.made and samples not in _PLAIN or wanted.name == "P" and samples != _PLAIN[0]:
        raise ValueError(f"pixels of mode {mode} are uint8{'' if mode == 'P' else ' or uint16'}, not {samples.name}")
    if wanted.name.startswith("C") and samples.kind == "i":
        raise ValueError(f"amounts of ink have no sign: pixels of mode {wanted.name} are not {samples.name}")
    return wanted, samples


def _crossing(image: RasterImage, wanted: Mode, own: str, asked: Samples | None) -> Samples:
    """The samples in which pixels leave the picture; NumPy makes others of them."""
    if wanted.name == "P":
        if not image.use_palette:
            raise ValueError("the picture has no palette: its pixels have no indices")
        if asked not in (None, Samples("u", 8)):
            raise ValueError(f"indices are uint8, not {asked.name if asked else ''}")
        return Samples("u", 8)
    has = own_samples(image)
    verbatim = own in (wanted.name, wanted.made)
    if has.bits <= 16:
        here = has if verbatim or has.kind == "u" else Samples("u", has.bits)
        if asked is None or asked.kind == "f":
            return here  # floating numbers are made of all that the picture has
        # In the same number of bits, samples leave as they are.
        fits = asked == here or asked in _PLAIN and (has.kind == "u" or not verbatim or asked.bits != has.bits)
        return asked if fits else _refuse(has, asked)
    if asked in _PLAIN:
        return asked
    if wanted.name != own:
        raise ValueError(f"pixels of {has.name} are read as mode {own} only; mode {wanted.name} needs dtype uint8 or "
                         f"uint16")
    return has if asked is None or asked == has or asked.kind == "f" else _refuse(has, asked)


def _refuse(has: Samples, asked: Samples) -> Samples:
    raise ValueError(f"a picture of {has.name} has no pixels of {asked.name}")


# ---- Crossing


def _array(np: Any, data: bytearray, samples: Samples, shape: tuple[int, ...]) -> NDArray[Any]:
    """The bytes of raw data, whose lowest come first, as an array on the same memory."""
    found: NDArray[Any] = np.frombuffer(data, np.dtype(samples.name).newbyteorder("<")).reshape(shape)
    return found if found.dtype.isnative else found.astype(samples.name)


def _scaled(np: Any, rows: NDArray[Any], target: np.dtype[Any]) -> NDArray[Any]:
    """Floating numbers of samples: of integers, 0 for the least and 1 for the greatest."""
    if rows.dtype.kind == "f":
        return rows
    wide = target if rows.dtype.itemsize < 4 else np.dtype(np.float64)
    limits = np.iinfo(rows.dtype)
    from_zero = rows if limits.min == 0 else np.subtract(rows, limits.min, dtype=wide)
    scaled: NDArray[Any] = np.divide(from_zero, limits.max - limits.min, dtype=wide)
    return scaled


def _write(np: Any, image: RasterImage, array: NDArray[Any], mode: Mode, samples: Samples, area: Rectangle) -> None:
    """Writes all rows: as they lie in memory, or band by band through a copy in order."""
    settings = settings_for(mode.format_of(samples.bits), image if mode.name == "P" else None)
    little = np.dtype(samples.name).newbyteorder("<")
    in_order = array.flags.c_contiguous and array.dtype == little
    for band in bands(area, mode.channels * samples.bits // 8, MOST if in_order else BAND):
        top = band.y - area.y
        rows = np.ascontiguousarray(array[top:top + band.height], little)
        image.save_raw_data(rows.reshape(-1).view(np.uint8), 0, band, settings)
