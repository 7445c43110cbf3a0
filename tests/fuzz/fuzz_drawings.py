#!/usr/bin/python3
"""Tries altered files of drawings through the API: load, look into, draw, convert. Started by run.py --drawings.

fuzz_drawings.py FOLDER SEED FIRST COUNT [MINUTES]

The protocol is that of fuzz_pictures.cpp: the file that is being tried is FOLDER/current, behind its number in
FOLDER/number; findings are lines that begin with FOUND, and the file is kept in FOLDER/found; the last lines count.
"""

from __future__ import annotations

import gzip
import io
import random
import resource
import sys
import time
import zipfile
from collections import Counter
from collections.abc import Callable
from functools import partial
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(__file__).resolve().parent))

from seed_drawings import drawing_files  # noqa: E402
from svg_grammar import svg_document  # noqa: E402
from zelmor.imaging import Image  # noqa: E402
from zelmor.imaging.imageoptions import EmfOptions, PdfOptions, PngOptions, SvgOptions, WmfOptions  # noqa: E402

#: Seconds of processor time, of this process and of those that it starts, that one step may take, and those for each
#: pixel of the drawing.
SECONDS, SECONDS_OF_A_PIXEL = 3.0, 1e-7
#: Pixels of a drawing that is drawn; larger ones take their time, which under the sanitizers is minutes.
MOST_PIXELS = 1 << 26
#: Records and objects of a file that are looked at.
MOST_OBJECTS = 300
NUMBERS = [0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x7F800000,
           0x7FC00000]
WORDS = [b"1e39", b"-1", b"0", b"nan", b"999999999999", b"url(#g)", b"#", b"100%", b"", b"\xff", b"&#0;", b"<g>",
         b"</g>"]


def altered_bytes(data: bytes, lots: random.Random, others: list[bytes]) -> bytes:
    """One to four changes: bytes, numbers, words, pieces taken out, repeated, or brought from another file."""
    changed = bytearray(data)
    for _ in range(lots.randrange(1, 5)):
        at = lots.randrange(len(changed) + 1)
        length = lots.choice([1, 2, 4, 8, 16, 64])
        kind = lots.randrange(7)
        if kind == 0 and at < len(changed):
            changed[at] ^= 1 << lots.randrange(8)
        elif kind == 1:
            number = lots.choice(NUMBERS).to_bytes(4, lots.choice(["little", "little", "big"]))
            changed[at:at + 4] = number
        elif kind == 2:
            del changed[at:at + length]
        elif kind == 3:
            changed[at:at] = changed[at:at + length] * lots.randrange(1, 4)
        elif kind == 4:
            other = lots.choice(others)
            start = lots.randrange(len(other))
            changed[at:at + lots.choice([0, length])] = other[start:start + length]
        elif kind == 5:
            changed[at:at + lots.choice([0, 1, 3])] = lots.choice(WORDS)
        elif lots.randrange(4) == 0:
            del changed[at:]
    return bytes(changed)


def altered(data: bytes, lots: random.Random, others: list[bytes]) -> bytes:
    """The same; of packed files more often what is packed than the packing."""
    if lots.randrange(4) > 0:
        if data[:2] == b"\x1f\x8b":
            return gzip.compress(altered_bytes(gzip.decompress(data), lots, others), 1, mtime=0)
        if data[:2] == b"PK":
            file = io.BytesIO()
            with zipfile.ZipFile(io.BytesIO(data)) as old, zipfile.ZipFile(file, "w") as new:
                chosen = lots.choice([info.filename for info in old.infolist() if info.filename.endswith(".xml")])
                for info in old.infolist():
                    content = old.read(info)
                    new.writestr(info, altered_bytes(content, lots, others) if info.filename == chosen else content)
            return file.getvalue()
    return altered_bytes(data, lots, others)


def look_into(value: Any, left: list[int], depth: int = 0) -> None:
    """Reads every property of an object of the model and of those below it."""
    for name in dir(type(value)):
        if name.startswith("_") or left[0] <= 0 or callable(getattr(type(value), name)):
            continue
        left[0] -= 1
        try:
            found = getattr(value, name)
        except RuntimeError:
            continue  # a refusal
        if depth < 3 and type(found).__module__.startswith("zelmor.imaging.fileformats"):
            look_into(found, left, depth + 1)


class Trial:
    """All that is done with one file."""

    def __init__(self, data: bytes, lots: random.Random) -> None:
        self.data, self.lots = data, lots
        self.findings: list[str] = []
        self.succeeded = self.refused = 0
        self.seconds = SECONDS

    def step(self, name: str, work: Callable[[], object]) -> bool:
        """Does a step; true if it succeeded. Errors of the library are proper refusals, others are findings."""
        begin = time.process_time() + children_seconds()
        good = False
        try:
            work()
            self.succeeded += 1
            good = True
        except (RuntimeError, MemoryError) as error:
            self.refused += 1
            text = str(error)
            if not (8 < len(text) < 900) or "InternalError" in text or "AccessViolation" in text:
                self.findings.append(f"{name}: the error's text: {text[:300]!r}")
        except Exception as error:
            self.findings.append(f"{name}: an exception of another kind: {error!r}")
        spent = time.process_time() + children_seconds() - begin
        if spent > self.seconds:
            self.findings.append(f"{name}: {spent:.1f} s of processor time")
        return good

    def run(self) -> None:
        """All steps."""
        self.step("format", lambda: Image.get_file_format(io.BytesIO(self.data)))
        self.step("can load", lambda: Image.can_load(io.BytesIO(self.data)))
        images: list[Any] = []
        if not self.step("load", lambda: images.append(Image.load(io.BytesIO(self.data)))):
            return
        image = images.pop()
        with image:
            has_size = self.step("size", lambda: (image.width, image.height))
            if has_size:
                self.seconds += SECONDS_OF_A_PIXEL * image.width * image.height
            left = [MOST_OBJECTS]
            self.step("look into", lambda: look_into(image, left))
            for name in ("records", "objects", "pages"):
                if hasattr(type(image), name):
                    self.step(name, partial(self.each, image, name, left))
            if not has_size or image.width * image.height <= MOST_PIXELS:
                self.step("draw", lambda: image.save(io.BytesIO(), PngOptions()))
            target = self.lots.choice([EmfOptions, PdfOptions, WmfOptions, SvgOptions])
            self.step("convert", lambda: image.save(io.BytesIO(), target()))
            self.step("save", lambda: image.save(io.BytesIO()))

    @staticmethod
    def each(image: Any, name: str, left: list[int]) -> None:
        """Looks into the elements of a collection."""
        for value in getattr(image, name) or []:
            if left[0] <= 0:
                return
            look_into(value, left, 2)


def children_seconds() -> float:
    """Processor time of the programs that this process started and that have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def main() -> int:
    """Reads the arguments and tries the files."""
    folder, seed, first, count = Path(sys.argv[1]), *(int(text) for text in sys.argv[2:5])
    minutes = float(sys.argv[5]) if len(sys.argv) > 5 else 1e9
    # A file that takes all memory of the machine is found as one that gets none.
    if "asan" not in Path("/proc/self/maps").read_text():
        resource.setrlimit(resource.RLIMIT_DATA, (3 << 30, 3 << 30))
    until = time.monotonic() + 60 * minutes
    formats: dict[str, list[tuple[str, bytes]]] = {}
    for kind, name, data in drawing_files():
        formats.setdefault(kind, []).append((name, data))
    kinds, every = sorted(formats), [data for files in formats.values() for _, data in files]
    done, succeeded, refused, findings = Counter[str](), Counter[str](), Counter[str](), 0
    for number in range(first, first + count):
        if time.monotonic() > until:
            break
        lots = random.Random(f"{seed} {number}")
        kind = kinds[number % len(kinds)]
        name, data = lots.choice(formats[kind])
        if kind == "svg" and lots.randrange(2):
            name, changed = "grammar", svg_document(lots)
        else:
            changed = altered(data, lots, every)
        (folder / "current").write_bytes(changed)
        (folder / "number").write_text(f"{number} {kind}-{name}")
        trial = Trial(changed, lots)
        trial.run()
        for finding in trial.findings:
            print(f"FOUND seed {seed} number {number} ({kind}-{name}): {finding}", flush=True)
        if trial.findings:
            (folder / "found" / f"{seed}-{number}-{kind}-{name}").write_bytes(changed)
        findings += len(trial.findings)
        done[kind] += 1
        succeeded[kind] += trial.succeeded
        refused[kind] += trial.refused
    for kind in kinds:
        print(f"DONE {kind} {done[kind]} files, {succeeded[kind]} steps succeeded, {refused[kind]} refused")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
