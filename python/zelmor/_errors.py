"""Errors of the package in Python's own terms.

An extension module raises every error of the library as a ``RuntimeError`` whose text begins with the name of the
managed exception: "Proxy error(ImageLoadException): ...". What ``zelmor.open`` raises instead can be told apart by its
type: the errors of the file system are Python's (``FileNotFoundError``, ``PermissionError``, ``IsADirectoryError``),
those of pictures are below. The error of the module is always the ``__cause__``.
"""

from __future__ import annotations

import errno
import os
import re
from collections.abc import Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from zelmor.imaging import FileFormat


class ImageError(RuntimeError):
    """A picture could not be read, changed or written: the base of the errors of pictures.

    It is a `RuntimeError`, as the errors of the extension modules are, so that code that catches those goes on working.
    """

    __module__ = "zelmor"

    #: The name of the managed exception, such as "ImageLoadException", or None where there was none.
    managed: str | None = None


class UnsupportedFormat(ImageError):
    """The data is no picture of a format that can be read."""

    __module__ = "zelmor"

    #: The format of the data if it was recognized, such as `FileFormat.PDF`, else None.
    file_format: FileFormat | None = None


class DamagedImage(ImageError):
    """The format was recognized, but the data is cut off or damaged."""

    __module__ = "zelmor"


class LimitExceeded(ImageError):
    """The picture needs more memory than the limits allow: `LoadOptions.buffer_size_hint`, or the pixels to a side."""

    __module__ = "zelmor"


class WrongType(ImageError, TypeError):
    """The picture is sound, but of another class than the program asked for."""

    __module__ = "zelmor"


_MANAGED = re.compile(r"Proxy error\((\w+)\): (.*)", re.DOTALL)
_SUBJECT = re.compile(r"Cannot load (?:'.*'|the image from the stream): ", re.DOTALL)


def managed_name(error: BaseException) -> str | None:
    """The name of the managed exception in an error of an extension module, or None for any other error."""
    match = _MANAGED.fullmatch(str(error)) if type(error) is RuntimeError else None
    return match[1] if match else None


def translated(error: RuntimeError, path: str | None = None) -> Exception | None:
    """The error to raise instead of one of an extension module, or None if that one says it best.

    `path` is the file that the error is about, if there is one.
    """
    match = _MANAGED.fullmatch(str(error)) if type(error) is RuntimeError else None
    if match is None:
        return None
    name, text = match.groups()
    system = _system_error(name, text, path)
    if system is not None:
        return system
    if name == "ImageLoadException":
        reason = _SUBJECT.sub("", text, 1)
        unknown = reason.startswith(("the data is of none of the formats", "there is no data"))
        # There is no exception of its own for limits: this is how the texts of the embedded runtime name them.
        kind: type[ImageError] = UnsupportedFormat if unknown else \
            LimitExceeded if re.search(r"\blimit of\b", reason) else DamagedImage
    elif name == "NotSupportedException" and _SUBJECT.match(text):
        kind = UnsupportedFormat
    elif name in ("ImageException", "ImageSaveException", "FrameworkException") or name.endswith("ImageException"):
        kind = ImageError
    elif name == "OutOfMemoryException":
        return MemoryError(text)
    else:
        return None
    made = kind(text)
    made.managed = name
    return made


#: The errors of the system that managed exceptions stand for. Python chooses the class by the number.
_SYSTEM = {"FileNotFoundException": errno.ENOENT, "DirectoryNotFoundException": errno.ENOENT,
           "UnauthorizedAccessException": errno.EACCES, "PathTooLongException": errno.ENAMETOOLONG}


def _system_error(name: str, text: str, path: str | None) -> OSError | None:
    """Errors of files, with the texts of Python's own `open`; where there is no path, the library's text says more."""
    if name in ("IOException", "EndOfStreamException"):
        return OSError(errno.EIO, text, path)
    number = _SYSTEM.get(name)
    if number is None:
        return None
    if number == errno.EACCES and path is not None and os.path.isdir(path):
        number = errno.EISDIR
    return OSError(number, os.strerror(number) if path is not None else text, path)


@contextmanager
def plain_errors() -> Iterator[None]:
    """A block in which errors of the extension modules are raised as those of this package.

    Pixels are decoded when they are first needed, so that damage may show in a later call than the one that opened the
    picture:

        with zelmor.open("photo.jpg") as image, zelmor.plain_errors():
            image.resize(100, 100)          # raises zelmor.DamagedImage, or works

    Errors that have no better type in Python stay as they are.
    """
    try:
        yield
    except RuntimeError as error:
        better = translated(error)
        if better is None:
            raise
        try:
            raise better from error
        finally:
            del better  # the frame is in its traceback, and would keep it
