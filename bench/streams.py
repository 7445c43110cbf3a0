"""Throughput of streams and byte data: beside io.FileIO, beside memcpy, and beside the same work by path.

The contestants of a case take turns in the same process; compared are the medians of the rounds, in processor time,
which a busy machine stretches least. Peak memory is that of a fresh process for each contestant.
"""

import importlib
import io
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable
from dataclasses import dataclass
from functools import partial
from pathlib import Path
from typing import Any

MIB = 1 << 20
GIB = 1 << 30
CHUNK = MIB
FILE_SIZE = 64 * MIB
BYTES_ARGUMENT = 32 * MIB
NOISE_LIMIT = 0.10
ATTEMPTS = 3
#: Passes through a stream in one round.
FILLS = 4

#: Reads a gigabyte of a file that is in the page cache; prints the growth of the peak of resident memory, in KiB.
READER = """
import io, sys
import zelmor.imaging
def peak():
    return int(next(line.split()[1] for line in open('/proc/self/status') if line.startswith('VmHWM')))
kind, path, total, chunk = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
container = zelmor.imaging.FileStreamContainer.open_file_stream(path)
file = container.stream if kind == "zelmor" else io.FileIO(path)
file.read(16)
before, read = peak(), 0
while read < total:
    part = len(file.read(chunk))
    read += part
    if part < chunk:
        file.seek(0)
print(peak() - before)
"""


@dataclass
class Result:
    """A case: one figure against another, each the median of its rounds, and the limit for their ratio."""

    name: str
    ours: float  # seconds
    theirs: float
    limit: float  # most that ours may take, as a multiple of theirs
    spread: float

    @property
    def ratio(self) -> float:
        return self.ours / self.theirs

    @property
    def met(self) -> bool:
        return self.ratio <= self.limit


def _seconds(action: Callable[[], object]) -> float:
    start = time.process_time()
    action()
    return time.process_time() - start


def _spread(times: list[float]) -> float:
    quarters = statistics.quantiles(times, n=4)
    return (quarters[2] - quarters[0]) / statistics.median(times)


def compare(name: str, limit: float, rounds: int, ours: Callable[[], object], theirs: Callable[[], object]) -> Result:
    """Times both in turn; again when the machine was busy meanwhile, keeping the calmest attempt."""
    best: Result | None = None
    shuffled = random.Random(1)
    ours(), theirs()
    for _ in range(ATTEMPTS):
        times: dict[bool, list[float]] = {True: [], False: []}
        for _ in range(rounds):
            for is_ours in shuffled.sample([True, False], 2):
                times[is_ours].append(_seconds(ours if is_ours else theirs))
        spread = max(_spread(times[True]), _spread(times[False]))
        if best is None or spread < best.spread:
            best = Result(name, statistics.median(times[True]), statistics.median(times[False]), limit, spread)
        if best.spread <= NOISE_LIMIT:
            break
    assert best is not None
    return best


def _drain(file: Any, size: int, times: int) -> None:
    """Reads a file from its beginning to its end, a chunk at a time."""
    for _ in range(times):
        file.seek(0)
        while len(file.read(size)) == size:
            pass


def _fill(file: Any, array: Any) -> None:
    """The same into memory of the caller's."""
    for _ in range(FILLS):
        file.seek(0)
        while file.readinto(array) == len(array):
            pass


def _copy(reader: Any, content: bytes, array: Any) -> None:
    """The yardstick for it."""
    for _ in range(FILLS):
        reader.read_all(content, array)


def reading(folder: Path) -> tuple[Result, dict[str, float]]:
    """A file through a managed stream and through io.FileIO: seconds for a gigabyte, and how memory grows, in MiB."""
    imaging: Any = importlib.import_module("zelmor.imaging")
    path = folder / "data"
    path.write_bytes(os.urandom(MIB) * (FILE_SIZE // MIB))
    times = GIB // FILE_SIZE
    with imaging.FileStreamContainer.open_file_stream(str(path)) as container, io.FileIO(path) as file:
        stream = container.stream
        result = compare("read(1 MiB), 1 GiB of a file", 1.05, 5,
                         partial(_drain, stream, CHUNK, times), partial(_drain, file, CHUNK, times))
    memory = {}
    for kind in ("zelmor", "FileIO"):
        shown = subprocess.run([sys.executable, "-c", READER, kind, str(path), str(GIB), str(CHUNK)], check=True,
                               text=True, capture_output=True).stdout
        memory[kind] = int(shown) / 1024
    return result, memory


def filling() -> Result:
    """A managed stream in memory into a NumPy array, beside a loop over memcpy."""
    sources: Any = importlib.import_module("zelmor.imaging.sources")
    numpy: Any = importlib.import_module("numpy")
    reader: Any = importlib.import_module("memory_reader")
    content = os.urandom(MIB) * (FILE_SIZE // MIB)
    stream = sources.StreamSource().stream
    stream.write(content)
    array = numpy.empty(CHUNK, numpy.uint8)
    return compare("readinto(NumPy array of 1 MiB)", 1 / 0.9, 31, partial(_fill, stream, array),
                   partial(_copy, reader, content, array))


def byte_argument() -> Result:
    """A large bytes argument beside a small one, to a call that takes no byte of it."""
    imaging: Any = importlib.import_module("zelmor.imaging")
    container = imaging.StreamContainer(io.BytesIO())
    large, small = bytes(BYTES_ARGUMENT), bytes(32)

    def calls(data: bytes) -> None:
        write = container.write
        for _ in range(2000):
            write(data, 0, 0)

    return compare("bytes argument, 32 MiB to 32 B", 1.10, 21, lambda: calls(large), lambda: calls(small))


def _load_bytes(imaging: Any, data: bytes) -> None:
    imaging.Image.load(io.BytesIO(data)).cache_data()


def _load_path(imaging: Any, path: str) -> None:
    imaging.Image.load(path).cache_data()


def _save_bytes(image: Any, settings: Any) -> None:
    image.save(io.BytesIO(), settings)


def images(folder: Path) -> list[Result]:
    """Loading and saving pictures through io.BytesIO, beside the same by path."""
    imaging: Any = importlib.import_module("zelmor.imaging")
    options: Any = importlib.import_module("zelmor.imaging.imageoptions")
    numpy: Any = importlib.import_module("numpy")
    width, height = 640, 480
    y, x = numpy.mgrid[0:height, 0:width]
    waves = numpy.stack([127 + 110 * numpy.sin(x / (40 + 9 * k)) * numpy.cos(y / (50 - 7 * k)) for k in range(3)], -1)
    results = []
    image = picture(imaging, waves.astype(numpy.uint8), folder)
    for name, rounds in (("Bmp", 61), ("Png", 9), ("Jpeg", 31)):
        path = str(folder / f"picture.{name.lower()}")
        settings = getattr(options, f"{name}Options")()
        image.save(path, settings)
        data = Path(path).read_bytes()
        results += [
            compare(f"load {name.upper()} from io.BytesIO", 1.10, rounds,
                    partial(_load_bytes, imaging, data), partial(_load_path, imaging, path)),
            compare(f"save {name.upper()} to io.BytesIO", 1.10, rounds,
                    partial(_save_bytes, image, settings), partial(image.save, path, settings)),
        ]
    return results


def picture(imaging: Any, pixels: Any, folder: Path) -> Any:
    """An image with these pixels, by way of a BMP file written here."""
    height, width, _ = pixels.shape
    rows = pixels[::-1, :, ::-1].tobytes()
    fields = [14 + 40 + len(rows), 0, 54]
    head = b"BM" + b"".join(value.to_bytes(4, "little") for value in fields)
    info = b"".join(value.to_bytes(4, "little") for value in (40, width, height)) + b"\1\0\x18\0" + bytes(24)
    assert width % 4 == 0
    (folder / "source.bmp").write_bytes(head + info + rows)
    return imaging.Image.load(str(folder / "source.bmp"))


def run() -> list[Result]:
    """Measures all cases and prints a line for each."""
    print("Streams: processor time, medians of rounds in turn\n")
    results = []
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        result, memory = reading(folder)
        results += [result, filling(), byte_argument(), *images(folder)]
    sizes = {results[0].name: GIB, results[1].name: FILLS * FILE_SIZE}
    print(f"{'':34}{'zelmor':>12}{'yardstick':>12}{'ratio':>8}{'target':>8}")
    for result in results:
        size = sizes.get(result.name)
        shown = [f"{size / seconds / 1e9:7.2f} GB/s" if size else f"{seconds * 1e3:9.3f} ms"
                 for seconds in (result.ours, result.theirs)]
        print(f"{result.name:34}{shown[0]:>12}{shown[1]:>12}{result.ratio:8.2f}{result.limit:8.2f}"
              f"{'' if result.met else '  MISS'}{'  (noisy)' if result.spread > NOISE_LIMIT else ''}", flush=True)
    print(f"\nPeak memory grows by {memory['zelmor']:.1f} MiB while 1 GiB is read in chunks of 1 MiB; with io.FileIO by"
          f" {memory['FileIO']:.1f} MiB")
    return results
