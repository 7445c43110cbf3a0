"""``zelmor.open``: a picture from a path or a file, as an object of its own class."""

from __future__ import annotations

import io
import os
from collections.abc import Iterable
from errno import ENOENT
from typing import TYPE_CHECKING, Any, Protocol, TypeVar, cast, overload

from zelmor._errors import UnsupportedFormat, WrongType, translated
from zelmor.imaging import FileFormat, Image, LoadOptions, StreamContainer

if TYPE_CHECKING:
    from _typeshed import WriteableBuffer

_Object = TypeVar("_Object")
_Kind = TypeVar("_Kind", bound=Image)


class Readable(Protocol):
    """Whatever has a method `read` that returns bytes: a file, a response, an upload of a web framework."""

    def read(self, size: int = ..., /) -> bytes: ...


#: What `zelmor.open` takes.
Source = str | bytes | os.PathLike[str] | os.PathLike[bytes] | Readable


@overload
def open(source: Source, kind: type[_Kind], /, *, load_options: LoadOptions | None = None, decode: bool = False,
         **properties: object) -> _Kind: ...


@overload
def open(source: Source, /, *, load_options: LoadOptions | None = None, decode: bool = False,
         **properties: object) -> Image: ...


def open(source: Source, kind: type[Image] = Image, /, *, load_options: LoadOptions | None = None, decode: bool = False,
         **properties: object) -> Image:
    """Opens a picture: an object of its own class, such as `PngImage`, to be used in a ``with`` block.

    `source` is a path (`str`, `bytes` or any `os.PathLike`) or an object with a method `read`. A file is read from its
    position; one that cannot seek, such as an upload, is read to its end first. The file may be closed behind the call.

    `kind` is the class that the picture has to have, for example `RasterImage`; any other picture raises `WrongType`. A
    type checker knows the result as this class.

    `properties` are set in the load options: `zelmor.open(path, buffer_size_hint=64)`. `load_options` are options to
    begin with, which are not changed: those of a format have properties of their own.

    Pixels are decoded when they are first needed; with `decode` all of them are decoded at once, so that every damage
    shows here.

    Raises `FileNotFoundError`, `PermissionError` or `IsADirectoryError`; `UnsupportedFormat`, `DamagedImage` or
    `LimitExceeded`; and errors of the file's own `read` as they are.
    """
    options = _options(load_options, properties)
    if isinstance(source, (str, bytes, os.PathLike)):
        path = os.fsdecode(source)
        image = _loaded(path, options, path, decode)
    else:
        image = _loaded_from(source, options, decode)
    if isinstance(image, kind):
        return image
    found = type(image).__name__
    image.__exit__()
    raise WrongType(f"The picture is a {found}, not a {kind.__name__}.")


def specific(thing: _Object) -> _Object:
    """The same object of the library as an object of its own class.

    A call returns the class that the API declares: `Image.load` an `Image`, an element of `pages` another `Image`. This
    finds out the class that the object really has, and makes the cast: the result of `specific(image.pages[0])` is a
    `TiffFrame`. What has no derived class is returned as it is.
    """
    found = type(thing)
    while (derived := _derived(found, thing)) is not None:
        found = derived
    return thing if found is type(thing) else found._cast_to(thing).value  # type: ignore[attr-defined]


def _derived(base: type[_Object], thing: _Object) -> type[_Object] | None:
    """The class directly below `base` that the object has, or None."""
    if not hasattr(base, "_is_assignable"):
        raise TypeError(f"{base.__name__!r} is no class of the library")
    below: list[Any] = base.__subclasses__()
    return next((kind for kind in below if kind._is_assignable(thing)), None)


def _options(given: LoadOptions | None, properties: dict[str, object]) -> LoadOptions | None:
    """The options with the properties; a caller's own stay as they are."""
    if not properties:
        return given
    kind = type(given) if given is not None else LoadOptions
    known = _settable(kind)
    unknown = sorted(set(properties) - set(known))
    if unknown:
        raise TypeError(f"{kind.__name__} has no property {', '.join(map(repr, unknown))}; it has {', '.join(known)}")
    result = kind()
    if given is not None:
        for name in known:
            setattr(result, name, getattr(given, name))
    for name, value in properties.items():
        setattr(result, name, value)
    return result


def _settable(kind: type) -> list[str]:
    """The names of the properties of options."""
    return sorted(name for name in dir(kind) if not name.startswith("_") and not callable(getattr(kind, name)))


def _loaded(source: str | io.RawIOBase | io.BufferedIOBase, options: LoadOptions | None, path: str | None,
            decode: bool) -> Image:
    """Loads, and raises errors of this package."""
    if path is not None and ("\0" in path or not path):
        # As open() of Python does it.
        raise ValueError("embedded null character") if path else FileNotFoundError(ENOENT, os.strerror(ENOENT), path)
    start = None if isinstance(source, str) else source.tell()
    try:
        return _decoded(source, options, decode)
    except RuntimeError as error:
        better = translated(error, path)
        if better is None:
            raise
        if isinstance(better, UnsupportedFormat):
            better.file_format = _recognized(source, start)
        try:
            raise better from error
        finally:
            del better  # the frame is in its traceback, and would keep it


def _decoded(source: str | io.RawIOBase | io.BufferedIOBase, options: LoadOptions | None, decode: bool) -> Image:
    """The picture as an object of its own class, with or without its pixels."""
    loaded = Image.load(cast("str", source)) if options is None else Image.load(cast("str", source), options)
    assert loaded is not None
    image = specific(loaded)
    if decode:
        try:
            image.cache_data()
        except BaseException:
            image.__exit__()
            raise
    return image


def _recognized(source: str | io.RawIOBase | io.BufferedIOBase, start: int | None) -> FileFormat | None:
    """The format that the first bytes tell, or None."""
    try:
        if not isinstance(source, str):
            source.seek(start or 0)
        found = Image.get_file_format(cast("str", source))
    except (RuntimeError, OSError):
        return None  # the first error is the one to report
    return found if found != FileFormat.UNDEFINED else None


# ---- Files


class _Reader(io.RawIOBase):
    """A Python file for the library, over an object with `read`, `seek` and `tell`; it keeps the object's errors.

    The library makes a `RuntimeError` with a text of every error in a file. The one that the object raised is raised
    again instead.
    """

    def __init__(self, source: Readable) -> None:
        super().__init__()
        self._source = source
        self.error: BaseException | None = None

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def readinto(self, buffer: WriteableBuffer, /) -> int:
        view = memoryview(buffer)
        try:
            data = _read(self._source, len(view))
        except BaseException as error:
            self.error = error
            raise
        view[:len(data)] = data
        return len(data)

    def seek(self, offset: int, whence: int = os.SEEK_SET, /) -> int:
        try:
            self._source.seek(offset, whence)  # type: ignore[attr-defined]
            return self.tell()
        except BaseException as error:
            self.error = error
            raise

    def tell(self) -> int:
        return int(self._source.tell())  # type: ignore[attr-defined]


def _read(source: Readable, size: int) -> bytes:
    """Up to so many bytes."""
    data = source.read(size)
    if isinstance(data, (bytes, bytearray, memoryview)):
        return bytes(data)
    if data is None:
        raise BlockingIOError(f"{type(source).__name__}.read() has no data yet; a picture is read from a blocking file")
    close = getattr(data, "close", None)
    if close is not None and hasattr(data, "__await__"):
        close()  # the coroutine will never run
        raise TypeError(f"{type(source).__name__}.read() is asynchronous: hand over its file, or io.BytesIO(await "
                        "upload.read())")
    raise TypeError(f"{type(source).__name__}.read() returned {type(data).__name__}, not bytes"
                    + (": open the file in binary mode" if isinstance(data, str) else ""))


def _seeks(source: object) -> bool:
    """Whether a file can be read out of order."""
    seekable = getattr(source, "seekable", None)
    if callable(seekable):
        return bool(seekable())
    return hasattr(source, "seek") and hasattr(source, "tell")


#: Files that fail in no way that a program would want to know as it was.
_PLAIN_FILES = (io.BytesIO, io.BufferedReader, io.FileIO, io.BufferedRandom)


def _loaded_from(source: Readable, options: LoadOptions | None, decode: bool) -> Image:
    """Loads from a file."""
    if isinstance(source, StreamContainer):
        raise TypeError("a StreamContainer is no file: hand over its stream")
    if not callable(getattr(source, "read", None)):
        raise TypeError(f"a picture is opened from a path or from an object with a method read, "
                        f"not from {type(source).__name__}")
    if isinstance(source, io.TextIOBase):
        raise TypeError(f"{type(source).__name__} is a text file: open the file in binary mode")
    if not _seeks(source):
        return _loaded(_buffered(source), options, None, decode)
    if type(source) in _PLAIN_FILES:
        return _loaded(cast(io.BufferedIOBase, source), options, None, decode)
    reader = _Reader(source)
    try:
        return _loaded(reader, options, None, decode)
    except Exception as error:
        if reader.error is not None:
            raise reader.error from error
        raise


def _buffered(source: Readable) -> io.BytesIO:
    """What is left of a file that cannot seek."""
    def parts() -> Iterable[bytes]:
        while part := _read(source, 1 << 20):
            yield part
    data = io.BytesIO()
    data.writelines(parts())
    data.seek(0)
    return data
