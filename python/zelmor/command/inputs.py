"""The files that the arguments name, and where their results go."""

from __future__ import annotations

import glob
import os
import shutil
import sys
from collections.abc import Callable, Iterator, Sequence
from dataclasses import dataclass

from zelmor.batch.formats import Format, by_extension, by_name, readable_extensions
from zelmor.command.errors import UsageError

#: Stands for standard input and output.
STANDARD = "-"


@dataclass(frozen=True)
class Input:
    """A file to work on: its path, how people call it, and its folder within the folder that was named."""

    path: str
    name: str
    folder: str = ""


@dataclass(frozen=True)
class Missing:
    """An argument that stands for no file, and why."""

    name: str
    reason: str


def expand(arguments: Sequence[str], recursive: bool, scratch: Callable[[], str]) -> list[Input | Missing]:
    """The inputs in the order of the arguments, each once.

    Standard input is read into a file of the folder that `scratch` makes.
    """
    found: list[Input | Missing] = []
    seen: set[str] = set()
    for argument in arguments:
        for each in _expanded(argument, recursive, scratch):
            path = each.path if isinstance(each, Input) else each.name
            if path not in seen:
                seen.add(path)
                found.append(each)
    return found


def _expanded(argument: str, recursive: bool, scratch: Callable[[], str]) -> Iterator[Input | Missing]:
    if argument == STANDARD:
        path = os.path.join(scratch(), "stdin")
        with open(path, "wb") as file:
            shutil.copyfileobj(sys.stdin.buffer, file)
        yield Input(path, STANDARD)
    elif os.path.isdir(argument):
        found = sorted(_pictures(argument, recursive))
        for path in found:
            inner = os.path.relpath(os.path.dirname(path), argument)
            yield Input(path, path, "" if inner == os.curdir else inner)
        if not found:
            yield Missing(argument, "there are no pictures in this folder")
    elif os.path.lexists(argument):
        yield Input(argument, argument)
    elif glob.has_magic(argument):
        paths = sorted(path for path in glob.glob(argument, recursive=True) if os.path.isfile(path))
        for path in paths:
            yield Input(path, path)
        if not paths:
            yield Missing(argument, "no file has such a name")
    else:
        yield Missing(argument, "there is no such file")


def _pictures(folder: str, recursive: bool) -> Iterator[str]:
    """Files with the extension of a format that can be read, without hidden ones."""
    extensions = readable_extensions()
    for place, folders, files in os.walk(folder):
        folders[:] = sorted(name for name in folders if name[0] != ".") if recursive else []
        for name in files:
            if name[0] != "." and os.path.splitext(name)[1][1:].lower() in extensions:
                yield os.path.join(place, name)


@dataclass(frozen=True)
class Naming:
    """Where results go, as the arguments say."""

    output: str | None
    to: str | None
    suffix: str = ""
    in_place: bool = False
    #: What is put between name and extension for each of several results of an input.
    number: str = ""
    #: The extension of results if nothing else says it; "" is that of the input.
    extension: str = ""

    def __post_init__(self) -> None:
        """Refuses arguments that name two places."""
        if self.in_place and (self.output or self.suffix or self.to):
            raise UsageError("--in-place goes with no other place, name or format of results")

    def is_one_file(self) -> bool:
        """Whether the output is one file, whatever there is to work on."""
        return self.output is not None and self.output != STANDARD and "{" not in self.output and not (
            self.output.endswith("/") or os.path.isdir(self.output))

    def target(self, source: Input) -> str:
        """The path of the result for an input."""
        if self.in_place:
            return source.path
        folder, stem = os.path.split(source.path)
        stem, own = os.path.splitext(stem)
        extension = self._extension(own)
        if self.output is None or self.output.endswith("/") or os.path.isdir(self.output):
            if self.output is not None:
                folder = os.path.join(self.output, source.folder)
            return os.path.join(folder, f"{stem}{self.suffix}{self.number}{extension}")
        if "{" in self.output:
            places = {"{stem}": stem + self.suffix, "{ext}": extension[1:], "{folder}": source.folder or "."}
            path = self.output
            for place, text in places.items():
                path = path.replace(place, text)
            return os.path.normpath(path)
        return self.output

    def _extension(self, own: str) -> str:
        if self.to is None:
            return self.extension or own
        wanted = format_named(self.to)
        # photo.jpeg stays .jpeg as a JPEG file
        return own if by_extension(own) == wanted else "." + (*wanted.extensions, "tif")[0]


def format_named(name: str) -> Format:
    """The format of an argument."""
    try:
        return by_name(name)
    except ValueError as error:
        raise UsageError(str(error)) from None
