"""The steps of a job, done with the library."""

from __future__ import annotations

import io
from collections.abc import Callable, Iterable
from typing import Any, TypeVar

from zelmor import imaging, specific
from zelmor.batch import jobs
from zelmor.batch.settings import SettingError, color
from zelmor.imaging import (
    DitheringMethod, Graphics, Image, IMultipageImage, RasterCachedImage, RasterImage, Rectangle, ResizeType,
    RotateFlipType)
from zelmor.imaging.imagefilters import filteroptions
from zelmor.imaging.imageoptions import PngOptions

_T = TypeVar("_T")


class UnsuitablePicture(ValueError):
    """A picture that a step cannot work on."""


def raster_of(image: Image) -> RasterCachedImage | None:
    """The image as one of pixels; None for a drawing."""
    return RasterCachedImage._cast_to(image).value


def pages_of(image: Image) -> Any:
    """The frames or pages of an image as a sequence, or None if its format has no several pages."""
    paged = IMultipageImage._cast_to(image).value
    return None if paged is None else paged.pages


def done(image: Image, steps: Iterable[jobs.Step]) -> Image:
    """The image after the steps: the same object, or another one where a drawing had to become pixels."""
    for step in steps:
        if raster_of(image) is None and not _keeps_drawings(step):
            image = _drawn(image)
        _STEPS[type(step)](image, step)
    return image


def _keeps_drawings(step: jobs.Step) -> bool:
    if isinstance(step, jobs.Rotate):
        return step.degrees % 90 == 0
    return isinstance(step, (jobs.Flip, jobs.Metadata, jobs.Orient)) or (
        isinstance(step, jobs.Resize) and step.fit != "cover")


def _drawn(image: Image) -> Image:
    """A drawing as pixels, by way of a file in memory."""
    file = io.BytesIO()
    with image:
        image.save(file, PngOptions())
    return Image.load(io.BytesIO(file.getvalue()))


def _pixels(image: Image, step: jobs.Step) -> RasterCachedImage:
    raster = raster_of(image)
    if raster is None:
        raise UnsuitablePicture(f"{step.kind} works on pixels, and this is a {image.get_type()}")
    return raster


def _orient(image: Image, step: jobs.Orient) -> None:
    own: Any = specific(image)
    if hasattr(own, "auto_rotate"):
        own.auto_rotate()
        return
    exif = getattr(own, "exif_data", None)
    if exif is None:
        return
    turn = _TURNS.get(int(exif.orientation))
    if turn is not None:
        image.rotate_flip(turn)
        exif.orientation = type(exif.orientation)(1)


#: What makes the picture upright, by the number of the EXIF orientation.
_TURNS = {
    2: RotateFlipType.ROTATE_NONE_FLIP_X, 3: RotateFlipType.ROTATE_180_FLIP_NONE,
    4: RotateFlipType.ROTATE_NONE_FLIP_Y, 5: RotateFlipType.ROTATE_90_FLIP_X,
    6: RotateFlipType.ROTATE_90_FLIP_NONE, 7: RotateFlipType.ROTATE_270_FLIP_X,
    8: RotateFlipType.ROTATE_270_FLIP_NONE,
}


def _crop(image: Image, step: jobs.Crop) -> None:
    raster = _pixels(image, step)
    if step.left < 0 or step.top < 0 or step.width < 1 or step.height < 1 or (
            step.left + step.width > raster.width or step.top + step.height > raster.height):
        raise UnsuitablePicture(f"the part {step.width}x{step.height}+{step.left}+{step.top} is not within the picture "
                                f"of {raster.width}x{raster.height}")
    raster.crop(Rectangle(step.left, step.top, step.width, step.height))


def new_size(width: int, height: int, step: jobs.Resize) -> tuple[int, int]:
    """The size of a picture after a resize; with the fit "cover", before what is beyond is cut off."""
    if step.scale is not None:
        factors = (step.scale, step.scale)
    elif step.width is None or step.height is None:
        factor = step.width / width if step.width is not None else (step.height or 0) / height
        factors = (factor, factor)
    else:
        across, down = step.width / width, step.height / height
        chosen = {"inside": min(across, down), "cover": max(across, down)}.get(step.fit)
        factors = (across, down) if chosen is None else (chosen, chosen)
    if not step.enlarge and max(factors) > 1:
        return width, height
    across, down = factors
    wanted = max(1, round(width * across)), max(1, round(height * down))
    # A side that was named is exactly that, whatever the quotient was rounded to.
    if step.scale is None and step.width is not None and across == step.width / width:
        wanted = step.width, wanted[1]
    if step.scale is None and step.height is not None and down == step.height / height:
        wanted = wanted[0], step.height
    return wanted


def kernel(name: str) -> ResizeType:
    """The kernel of this name."""
    wanted = name.upper().replace("-", "_")
    for candidate in (wanted, f"{wanted}_RESAMPLE"):
        if candidate in ResizeType.__members__:
            return ResizeType[candidate]
    names = ", ".join(member.name.lower().removesuffix("_resample") for member in ResizeType)
    raise SettingError(f"unknown kernel {name!r}; there are {names}")


def _resize(image: Image, step: jobs.Resize) -> None:
    width, height = new_size(image.width, image.height, step)
    if (width, height) != (image.width, image.height):
        image.resize(width, height, kernel(step.kernel))
    if step.fit == "cover" and step.width is not None and step.height is not None:
        wide, high = min(step.width, image.width), min(step.height, image.height)
        _pixels(image, step).crop(Rectangle((image.width - wide) // 2, (image.height - high) // 2, wide, high))


def _rotate(image: Image, step: jobs.Rotate) -> None:
    quarters, rest = divmod(step.degrees % 360, 90)
    if rest == 0:
        turn = (None, RotateFlipType.ROTATE_90_FLIP_NONE, RotateFlipType.ROTATE_180_FLIP_NONE,
                RotateFlipType.ROTATE_270_FLIP_NONE)[int(quarters)]
        if turn is not None:
            image.rotate_flip(turn)
    else:
        _pixels(image, step).rotate(step.degrees, step.expand, color(step.background))


def _flip(image: Image, step: jobs.Flip) -> None:
    image.rotate_flip({"horizontal": RotateFlipType.ROTATE_NONE_FLIP_X,
                       "vertical": RotateFlipType.ROTATE_NONE_FLIP_Y}[step.direction])


def _deskew(image: Image, step: jobs.Deskew) -> None:
    _pixels(image, step).normalize_angle(True, color(step.background))


def _adjust(image: Image, step: jobs.Adjust) -> None:
    raster = _pixels(image, step)
    if step.grayscale:
        raster.grayscale()
    if step.brightness:
        raster.adjust_brightness(step.brightness)
    if step.contrast:
        raster.adjust_contrast(step.contrast)
    if step.gamma != 1:
        raster.adjust_gamma(step.gamma)
    if step.blur:
        raster.filter(raster.bounds, filteroptions.GaussianBlurFilterOptions(step.blur, step.blur / 2))
    if step.sharpen:
        raster.filter(raster.bounds, filteroptions.SharpenFilterOptions(2 * step.sharpen + 1, step.sharpen / 2))
    if step.median:
        raster.filter(raster.bounds, filteroptions.MedianFilterOptions(step.median))
    if step.threshold:
        _binarize(raster, step.threshold)


def _binarize(raster: RasterCachedImage, threshold: str) -> None:
    if threshold == "otsu":
        raster.binarize_otsu()
    elif threshold == "bradley":
        raster.binarize_bradley(0.15)
    elif threshold.isdecimal() and int(threshold) < 256:
        raster.binarize_fixed(int(threshold))
    else:
        raise SettingError(f"the threshold {threshold!r} is not otsu, bradley or a number up to 255")


def _dither(image: Image, step: jobs.Dither) -> None:
    _pixels(image, step).dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, step.bits)


def _background(image: Image, step: jobs.Background) -> None:
    paper = color(step.color)
    if paper.a != 255:
        raise SettingError(f"the background {step.color!r} is transparent itself")
    for page in pages_of(image) or [image]:
        raster = _pixels(page, step)
        if raster.has_alpha:
            _put_on(raster, paper)


def _put_on(raster: RasterImage, paper: imaging.Color) -> None:
    with PngOptions() as options, Image.create(options, raster.width, raster.height) as made:
        canvas = _pixels(made, jobs.Background(""))
        graphics = Graphics(canvas)
        graphics.begin_update()
        graphics.clear(paper)
        graphics.draw_image_unscaled(raster, 0, 0)
        graphics.end_update()
        raster.save_argb_32_pixels(raster.bounds, canvas.load_argb_32_pixels(canvas.bounds))


def _resolution(image: Image, step: jobs.Resolution) -> None:
    _pixels(image, step).set_resolution(step.x, step.y)


def _metadata(image: Image, step: jobs.Metadata) -> None:
    from zelmor.batch import metadata  # here, since it takes time and few jobs need it

    metadata.change(specific(image), step)


_STEPS: dict[type, Callable[[Image, Any], None]] = {
    jobs.Orient: _orient, jobs.Crop: _crop, jobs.Resize: _resize, jobs.Rotate: _rotate, jobs.Flip: _flip,
    jobs.Deskew: _deskew, jobs.Adjust: _adjust, jobs.Dither: _dither, jobs.Background: _background,
    jobs.Resolution: _resolution, jobs.Metadata: _metadata,
}
