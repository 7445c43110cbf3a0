"""Pictures in IPython and Jupyter: they show themselves, and ``Image.load?`` shows the documentation.

    %load_ext zelmor.notebook

    zelmor.open("photo.jpg")        # as the last line of a cell shows the picture

A notebook shows a picture as a PNG, a JPEG file as a JPEG, an animation as one that moves, and a drawing as its pixels.
What is larger than `settings.largest` pixels to a side is reduced for the display; the picture itself never changes. A
terminal shows a line of text.

The types of the extension modules stay as they are: the shell gets formatters for `Image` and its derived classes.
``%unload_ext zelmor.notebook`` takes them away. To have them always, name the extension in IPython's configuration:
``c.InteractiveShellApp.extensions = ["zelmor.notebook"]``.
"""

from __future__ import annotations

import io
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import Any

from zelmor import documentation
from zelmor._errors import plain_errors
from zelmor._opening import open as open_image, specific
from zelmor._optional import optional
from zelmor.imaging import Color, Image, PixelFormat, RasterCachedMultipageImage, RasterImage, ResizeType, VectorImage
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import ApngOptions, JpegOptions, PngOptions, VectorRasterizationOptions


@dataclass
class Settings:
    """How pictures are shown."""

    #: Pixels to a side; what is larger is reduced.
    largest: int = 1024
    #: Pixels of all frames together up to which an animation moves. Of a larger one the current frame is shown.
    animation: int = 40_000_000
    #: The quality of JPEG.
    quality: int = 88


#: Of this session; a program changes its attributes.
settings = Settings()


def load_ipython_extension(shell: Any) -> None:
    """What ``%load_ext zelmor.notebook`` calls."""
    formatters = shell.display_formatter.formatters
    for kind, formatter in _FORMATTERS.items():
        for shown in _shown_types():
            formatters[kind].for_type(shown, formatter)
    if not hasattr(shell.inspector, "_zelmor_info"):
        shell.inspector._zelmor_info = shell.inspector.info
        shell.inspector.info = _documented(shell.inspector.info)


def unload_ipython_extension(shell: Any) -> None:
    """What ``%unload_ext zelmor.notebook`` calls."""
    for kind in _FORMATTERS:
        for shown in _shown_types():
            shell.display_formatter.formatters[kind].pop(shown, None)
    if hasattr(shell.inspector, "_zelmor_info"):
        del shell.inspector._zelmor_info
        del shell.inspector.info  # that of its class comes back


def enable() -> None:
    """The same as ``%load_ext zelmor.notebook``, for a program."""
    shell = optional("IPython", "zelmor.notebook.enable").get_ipython()
    if shell is None:
        raise RuntimeError("zelmor.notebook.enable: this program does not run in IPython or Jupyter")
    load_ipython_extension(shell)


def _shown_types() -> Iterator[type[Image]]:
    """`Image` and its derived classes: the shell prefers the `repr` of a class to a formatter for one of its bases."""
    pending: list[type[Image]] = [Image]
    while pending:
        kind = pending.pop()
        yield kind
        pending += kind.__subclasses__()


# ---- Pictures


def picture(image: Image) -> tuple[str, bytes] | None:
    """The type and the bytes that a notebook shows for an image; None for one that has been closed."""
    if image.disposed:
        return None
    with plain_errors():
        found = specific(image)
        if isinstance(found, VectorImage):
            return "image/png", _drawn(found)
        if not isinstance(found, RasterImage):
            return None
        if isinstance(found, RasterCachedMultipageImage) and _moves(found):
            return "image/png", _moving(found)
        if _is_photograph(found):
            return "image/jpeg", _still(JpegImage(found), _jpeg_options())
        return "image/png", _still(PngImage(found), PngOptions())


def _jpeg_options() -> JpegOptions:
    options = JpegOptions()
    options.quality = settings.quality
    return options


def _still(copy: RasterImage, options: JpegOptions | PngOptions) -> bytes:
    """A picture that stands still, reduced. The copy is changed."""
    with copy, options:
        _reduce(copy)
        return _saved(copy, options)


def _reduce(image: Image) -> None:
    width, height = _fitting(image.width, image.height)
    if (width, height) != (image.width, image.height):
        image.resize(width, height, ResizeType.BILINEAR_RESAMPLE)


def _fitting(width: int, height: int) -> tuple[int, int]:
    """The size in which a picture is shown."""
    share = min(1.0, settings.largest / max(width, height))
    return max(1, round(width * share)), max(1, round(height * share))


def _saved(image: Image, options: JpegOptions | PngOptions) -> bytes:
    target = io.BytesIO()
    image.save(target, options)
    return target.getvalue()


#: The formats whose frames are shown one after the other. The pages of the others are pictures of their own.
_ANIMATIONS = frozenset({"GifImage", "ApngImage", "WebPImage"})


def _moves(image: RasterCachedMultipageImage) -> bool:
    return type(image).__name__ in _ANIMATIONS and image.page_count > 1 \
        and image.page_count * image.width * image.height <= settings.animation


def _moving(image: RasterCachedMultipageImage) -> bytes:
    """An animated PNG, which every browser plays."""
    if _fitting(image.width, image.height) == (image.width, image.height):
        return _saved(image, ApngOptions())
    copied = io.BytesIO(_saved(image, ApngOptions()))
    with open_image(copied) as copy:
        _reduce(copy)
        return _saved(copy, ApngOptions())


def _drawn(image: VectorImage) -> bytes:
    """A drawing on its page, without a background of its own."""
    page = VectorRasterizationOptions()
    width, height = _fitting(max(1, image.width), max(1, image.height))
    page.page_width, page.page_height = float(width), float(height)
    page.background_color = Color.transparent
    options = PngOptions()
    options.vector_rasterization_options = page
    return _saved(image, options)


def described(image: Image) -> str:
    """A line about an image, as a terminal shows it."""
    if image.disposed:
        return f"<{type(image).__name__}, closed>"
    found = specific(image)
    parts = [f"{found.width} x {found.height}"]
    if isinstance(found, RasterImage):
        parts.append(f"{found.bits_per_pixel} bits")
    pages = getattr(found, "page_count", 1)
    return f"<{type(found).__name__}, {', '.join(parts)}{f', {pages} frames' if pages > 1 else ''}>"


def _of_kind(kind: str) -> Callable[[Image], bytes | None]:
    """A formatter that gives the bytes if the picture is shown as this type. The shell asks those of all types."""
    def shown(image: Image) -> bytes | None:
        if image.disposed or (kind == "image/jpeg") != _is_photograph(specific(image)):
            return None
        made = picture(image)
        return None if made is None else made[1]
    return shown


def _is_photograph(image: Image) -> bool:
    """Whether it is shown as a JPEG: no browser shows those of ink as they are."""
    layout = image.raw_data_format if isinstance(image, JpegImage) else None
    return layout is not None and layout.pixel_format != PixelFormat.CMYK


def _as_text(image: Image, printer: Any, cycle: bool) -> None:
    printer.text(described(image))


_FORMATTERS: dict[str, Callable[..., Any]] = {
    "image/png": _of_kind("image/png"), "image/jpeg": _of_kind("image/jpeg"), "text/plain": _as_text}


# ---- Documentation


def _documented(info: Callable[..., Any]) -> Callable[..., Any]:
    """IPython's own inspection, with the text of the documentation where there is one."""
    def inspected(obj: Any, oname: str = "", info: Any = None, detail_level: int = 0, *, original: Any = info) -> Any:
        found = original(obj, oname=oname, info=info, detail_level=detail_level)
        text = _text_of(obj, oname, None if info is None else getattr(info, "parent", None))
        if text is not None:
            found["docstring"] = text
            found["init_docstring"] = found["class_docstring"] = found["call_docstring"] = None
        return found
    return inspected


def _text_of(thing: Any, asked: str, parent: Any) -> str | None:
    """The text about what was asked for, or None."""
    name = documentation.name_of(thing)
    if name is None and parent is not None and not isinstance(parent, type(documentation)):
        name = documentation.name_of(parent, asked.rpartition(".")[2])
    return None if name is None else documentation.text(name)
