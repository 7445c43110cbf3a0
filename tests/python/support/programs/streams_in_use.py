"""Runs every operation on a stream while the file behind it, in one of its calls, takes the stream away.

A program of its own, run by streams/test_in_use.py with freed memory overwritten: `streams_in_use.py SUBJECT MEDDLING
DIRECTORY`. For each operation it prints a line of JSON: the name, the number of calls of the file in an undisturbed
run, and the outcome for each of these calls in which the file interferes.
"""

from __future__ import annotations

import io
import json
import os
import re
import sys
from collections.abc import Callable
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(os.environ["ZELMOR_BUILD_DIR"]) / "python"))

from zelmor.imaging import (FileFormat, FileStreamContainer, Image, ImageLoadersRegistry, SeekOrigin,  # noqa: E402
                            SplitStreamContainer, StreamContainer)
from zelmor.imaging.fileformats.gif import GifBlocksRegistry  # noqa: E402
from zelmor.imaging.fileformats.tiff import filemanagement  # noqa: E402
from zelmor.imaging.fileformats.tiff.filemanagement import bigtiff  # noqa: E402
from zelmor.imaging.imageoptions import PngOptions  # noqa: E402
from zelmor.imaging.sources import StreamSource  # noqa: E402

from support.meddling_files import MeddlingFile, Trigger  # noqa: E402

DIRECTORY = Path(sys.argv[3])
CONTENT = (DIRECTORY / "picture.png").read_bytes()
Operation = Callable[[Any, Trigger], Any]


def filled(size: int, fill: Callable[[bytearray], Any]) -> bytes:
    """The content of a buffer after an operation."""
    buffer = bytearray(size)
    fill(buffer)
    return bytes(buffer)


def put(name: str, value: int) -> Operation:
    """Sets a property."""
    return lambda stream, _: setattr(stream, name, value)


def saved(save: Callable[[MeddlingFile], None], trigger: Trigger) -> bytes:
    """The bytes that an operation writes to a re-entrant file."""
    target = MeddlingFile(trigger)
    save(target)
    return target.memory.getvalue()


def written(stream: Any, trigger: Trigger) -> bytes:
    """The same for a container over such a file."""
    return saved(lambda target: stream.write_to(StreamContainer(target)), trigger)


COMMON: dict[str, Operation] = {
    "read": lambda s, _: filled(30, s.read),
    "read more than there is": lambda s, _: filled(5000, s.read),
    "read a range": lambda s, _: filled(30, lambda buffer: s.read(buffer, 5, 20)),
    "read_byte": lambda s, _: s.read_byte(),
    "to_bytes": lambda s, _: s.to_bytes(),
    "to_bytes of a range": lambda s, _: s.to_bytes(3, 9),
    "save": lambda s, _: s.save(io.BytesIO()),
    "save in pieces": lambda s, _: s.save(io.BytesIO(), 7),
    "save to a file": lambda s, _: s.save(str(DIRECTORY / "target")),
    "save to a meddling file": lambda s, trigger: saved(s.save, trigger),
    "write_to": written,
    "seek from the beginning": lambda s, _: s.seek(4, SeekOrigin.BEGIN),
    "seek from here": lambda s, _: s.seek(4, SeekOrigin.CURRENT),
    "seek from the end": lambda s, _: s.seek(-4, SeekOrigin.END),
    "seek_begin": lambda s, _: s.seek_begin(),
    "length": lambda s, _: s.length,
    "position": lambda s, _: s.position,
    "set the position": put("position", 5),
    "can_read": lambda s, _: s.can_read,
    "can_write": lambda s, _: s.can_write,
    "can_seek": lambda s, _: s.can_seek,
    "flush": lambda s, _: s.flush(),
    "split": lambda s, _: SplitStreamContainer(s, False).length,
}
OF_FORMATS: dict[str, Operation] = {
    "load": lambda s, _: loader().create_instance().load(s, None).width,
    "can_load": lambda s, _: loader().can_load(s, None),
    "can_load of GIF blocks": lambda s, _: GifBlocksRegistry.get_first_supported_descriptor_by_type_name(
        "GifCommentBlockLoaderDescriptor").can_load(s),
}
WRITING: dict[str, Operation] = {
    "write": lambda s, _: s.write(b"0123456789" * 9),
    "write a range": lambda s, _: s.write(b"0123456789", 2, 5),
    "write at the end": lambda s, _: (s.seek(0, SeekOrigin.END), s.write(b"0123456789")),
    "write behind the end": lambda s, _: (s.seek(9, SeekOrigin.END), s.write(b"0123456789")),
    "write_byte": lambda s, _: s.write_byte(65),
    "set the length": put("length", len(CONTENT) + 99),
}
SPLITTING: dict[str, Operation] = {
    "insert": lambda s, _: s.insert(7, StreamContainer(io.BytesIO(b"abc")), False),
    "insert a meddling file": lambda s, trigger: s.insert(7, StreamContainer(MeddlingFile(trigger, b"abc")), False),
    "insert at the end": lambda s, trigger: s.insert(len(CONTENT), StreamContainer(MeddlingFile(trigger, b"a")), True),
}
WRAPPER: dict[str, Operation] = {
    "stream.read": lambda s, _: s.stream.read(),
    "stream.read some": lambda s, _: s.stream.read(20),
    "stream.readinto": lambda s, _: filled(5000, s.stream.readinto),
    "stream.readline": lambda s, _: s.stream.readline(),
    "stream.readlines": lambda s, _: s.stream.readlines(),
    "stream.write": lambda s, _: s.stream.write(b"0123456789" * 9),
    "stream.writelines": lambda s, _: s.stream.writelines([b"0123456789"] * 9),
    "stream.truncate": lambda s, _: s.stream.truncate(4),
    "stream.truncate beyond the end": lambda s, _: s.stream.truncate(5000),
    "stream.flush": lambda s, _: s.stream.flush(),
    "stream.close": lambda s, _: s.stream.close(),
    "stream.readable": lambda s, _: s.stream.readable(),
}


def loader() -> Any:
    """The descriptor of the PNG loader."""
    return ImageLoadersRegistry.get_first_supported_descriptor_by_file_format(FileFormat.PNG)


def tiff() -> dict[str, Operation]:
    """The readers and writers of TIFF numbers."""
    reading: dict[str, Callable[[Any], Any]] = {
        "length": lambda r: r.length,
        "read_u_int": lambda r: r.read_u_int(1),
        "read_double": lambda r: r.read_double(1),
        "read_bytes": lambda r: r.read_bytes(2, 9),
        "read_bytes into": lambda r: filled(9, lambda buffer: r.read_bytes(buffer, 1, 2, 5)),
        "read_u_short_array": lambda r: list(r.read_u_short_array(2, 9)),
        "read_long": lambda r: r.read_long(3),
        "to_stream_container": lambda r: r.to_stream_container(3).length,
    }
    writing: dict[str, Callable[[Any], Any]] = {
        "write_bytes": lambda w: w.write_bytes(b"0123456789"),
        "write_double": lambda w: w.write_double(1.5),
        "write_doubles": lambda w: w.write_doubles([1.5] * 9),
        "position": lambda w: w.position,
        "set the position": lambda w: setattr(w, "position", 3),
    }
    kinds = {"TiffStreamReader": reading, "TiffBigEndianStreamReader": reading, "BigTiffReader": reading,
             "BigTiffReaderBE": reading, "TiffStreamWriter": writing, "TiffBigEndianStreamWriter": writing,
             "BigTiffWriter": writing, "BigTiffWriterBE": writing}
    found: dict[str, Operation] = {}
    for name, operations in kinds.items():
        kind = getattr(bigtiff if name.startswith("Big") else filemanagement, name)
        for operation, run in operations.items():
            found[f"{name}.{operation}"] = lambda s, _, kind=kind, run=run: run(kind(s))
    return found


def joined(file: MeddlingFile, owned: bool) -> SplitStreamContainer:
    """Parts of two re-entrant files, with a part in memory between them."""
    container = SplitStreamContainer(file, owned)
    container.insert(20, StreamContainer(MeddlingFile(file.trigger, b"one\ntwo\n" * 4)), owned)
    container.insert(30, StreamContainer(io.BytesIO(b"three")), owned)
    return container


def on_disk() -> FileStreamContainer:
    """A container over a file on disk: here only the target of a save can be a re-entrant file."""
    path = DIRECTORY / "content"
    path.write_bytes(CONTENT)
    return FileStreamContainer.open_file_stream(str(path))


def created(file: MeddlingFile) -> Image:
    """An image whose save() goes to the file."""
    options = PngOptions()
    options.source = StreamSource(file, False)
    return Image.create(options, 40, 30)


ALL = {**COMMON, **WRITING, **OF_FORMATS, **tiff()}
IMAGE: dict[str, Operation] = {
    "save": lambda image, _: image.save(),
    "save to a file": lambda image, trigger: saved(image.save, trigger),
    "save with options": lambda image, trigger: saved(lambda file: image.save(file, PngOptions()), trigger),
    "data_stream_container": lambda image, _: image.data_stream_container.to_bytes(),
}
SUBJECTS: dict[str, tuple[Callable[[MeddlingFile], Any], dict[str, Operation]]] = {
    "container": (StreamContainer, ALL),
    "owning container": (lambda file: StreamContainer(file, True), ALL),
    "container of a source": (lambda file: StreamSource(file, True).get_stream_container(), ALL),
    "container of a file": (lambda file: on_disk(), ALL),
    "split container": (SplitStreamContainer, {**ALL, **SPLITTING}),
    "joined stream": (lambda file: joined(file, False), {**ALL, **SPLITTING, **WRAPPER}),
    "owning joined stream": (lambda file: joined(file, True), {**ALL, **SPLITTING, **WRAPPER}),
    "image": (created, IMAGE),
}


def insert(subject: Any) -> None:
    """Moves the parts of a joined stream."""
    subject.insert(0, StreamContainer(io.BytesIO(b"more")), True)


def shorten(subject: Any) -> None:
    """Cuts the parts of a joined stream."""
    subject.length = 1


def use(subject: Any) -> None:
    """Reads and writes in the middle of another operation."""
    subject.read_byte()
    subject.seek(0, SeekOrigin.BEGIN)
    subject.write(b"here")
    subject.to_bytes()


MEDDLING: dict[str, Callable[[Any], None]] = {
    "disposing": lambda subject: subject.__exit__(None, None, None),
    "disposing in a thread": lambda subject: subject.__exit__(None, None, None),
    "inserting": insert,
    "shortening": shorten,
    "using": use,
}


def attempt(make: Callable[[MeddlingFile], Any], run: Operation, meddling: str, at: int) -> tuple[str, Any, int]:
    """The outcome of one operation: the managed name of its exception, or nothing, and its result; and the number of
    calls of the file."""
    trigger = Trigger(at, in_thread=meddling.endswith("thread"))
    subject = make(MeddlingFile(trigger, CONTENT))
    failed: list[str] = []

    def action() -> None:
        try:
            MEDDLING[meddling](subject)
        except RuntimeError as error:
            failed.append(str(error))

    trigger.action = action
    try:
        result, name = run(subject, trigger), ""
    except RuntimeError as error:
        found = re.match(r"Proxy error\((\w+)\)", str(error))
        assert found, error
        result, name = str(error), found[1]
    calls, trigger.action = trigger.calls, None
    if at and calls >= at and meddling.startswith("disposing"):
        assert not failed, failed
        assert subject.disposed
    return name, result, calls


def main() -> None:
    """All operations of one subject."""
    make, operations = SUBJECTS[sys.argv[1]]
    for name, run in operations.items():
        failure, expected, calls = attempt(make, run, sys.argv[2], 0)
        print(json.dumps([name, calls, failure]), end="", flush=True)  # after a crash this is the last line
        outcomes = []
        for at in range(1, calls + 1):
            outcome, result, _ = attempt(make, run, sys.argv[2], at)
            outcomes.append([outcome, outcome == "" and result == expected])
        print("\t" + json.dumps(outcomes), flush=True)


main()
