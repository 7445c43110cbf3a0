"""Arrays of 12 megapixels to pictures and back, by ``zelmor.arrays``: processor time.

The yardsticks are a copy of as many bytes into new memory, and the same work with Pillow, which has no colors of more
than 8 bits. All take turns in one process, from the first to the last and back, since each finds the memory that the
one before it gave back; medians are compared.
"""

import statistics
import sys
import time
from collections.abc import Callable
from dataclasses import dataclass

import numpy as np
from numpy.typing import NDArray
from PIL import Image as Pillow
from zelmor import arrays

WIDTH, HEIGHT = 4000, 3000
ROUNDS = 10
#: The most that pixels in the picture's own form may take, in copies of their size.
TO_LIMIT, FROM_LIMIT = 2.0, 2.0

Array = NDArray[np.generic]


@dataclass
class Result:
    """Medians in seconds."""

    name: str
    ours: float
    copy: float
    pillow: float | None
    limit: float | None

    @property
    def ratio(self) -> float:
        """In copies of as many bytes."""
        return self.ours / self.copy

    @property
    def met(self) -> bool:
        return self.limit is None or self.ratio <= self.limit


def _time(work: Callable[[], object]) -> float:
    start = time.process_time()
    work()
    return time.process_time() - start


def _measured(name: str, rounds: int, limit: float | None, ours: Callable[[], object], copy: Callable[[], object],
              pillow: Callable[[], object] | None) -> Result:
    contestants = [ours, copy] + ([pillow] if pillow is not None else [])
    times: list[list[float]] = [[] for _ in contestants]
    for turn in range(rounds):
        for contestant, found in list(zip(contestants, times))[::1 if turn % 2 == 0 else -1]:
            found.append(_time(contestant))
    medians = [statistics.median(found) for found in times]
    return Result(name, medians[0], medians[1], medians[2] if pillow is not None else None, limit)


def _pixels(dtype: str, channels: int) -> Array:
    bits = np.random.default_rng(1).integers(0, 256, (HEIGHT, WIDTH, channels), np.uint8)
    pixels = bits.astype(dtype) if dtype != "float32" else (bits / np.float32(255)).astype(dtype)
    return pixels[..., 0] if channels == 1 else pixels


def _strided(pixels: Array) -> dict[str, Array]:
    """The same pixels in other orders of memory."""
    spread = np.zeros((HEIGHT, WIDTH, 4), pixels.dtype)[..., :3]
    spread[:] = pixels
    return {"upside down": pixels[::-1], "mirrored": pixels[:, ::-1], "in Fortran's order": np.asfortranarray(pixels),
            "three of four channels": spread}


def run(only: str = "", rounds: int = ROUNDS) -> list[Result]:
    """Measures all cases whose names contain the text, and prints a line for each."""
    print("Arrays of 12 MP: processor time, medians\n")
    print(f"{'':44}{'zelmor':>10}{'copy':>10}{'Pillow':>10}{'copies':>8}{'target':>8}")
    results = []

    def measure(name: str, limit: float | None, ours: Callable[[], object], copy: Callable[[], object],
                pillow: Callable[[], object] | None = None) -> None:
        if only in name:
            result = _measured(name, rounds, limit, ours, copy, pillow)
            results.append(result)
            shown = f"{result.pillow * 1e3:7.0f} ms" if result.pillow is not None else ""
            target = f"{limit:8.2f}" if limit is not None else f"{'':8}"
            print(f"{name:44}{result.ours * 1e3:7.1f} ms{result.copy * 1e3:7.1f} ms{shown:>10}"
                  f"{result.ratio:8.2f}{target}{'' if result.met else '  MISS'}", flush=True)

    for dtype, channels, mode in (("uint8", 1, "L"), ("uint8", 3, "RGB"), ("uint8", 4, "RGBA"), ("uint8", 4, "CMYK"),
                                  ("uint16", 3, "RGB"), ("float32", 3, "RGB")):
        pixels = _pixels(dtype, channels)
        image = arrays.from_numpy(pixels, mode)
        picture = Pillow.fromarray(pixels, mode) if dtype == "uint8" else None
        measure(f"to an array, {mode} of {dtype}", TO_LIMIT, lambda: arrays.to_numpy(image), pixels.copy,
                None if picture is None else lambda: np.array(picture))
        measure(f"from an array, {mode} of {dtype}", FROM_LIMIT, lambda: arrays.from_numpy(pixels, mode), pixels.copy,
                None if picture is None else lambda: Pillow.fromarray(pixels, mode).copy())
    pixels = _pixels("uint8", 3)
    for name, order in _strided(pixels).items():
        measure(f"from an array, RGB, {name}", None, lambda: arrays.from_numpy(order),
                lambda: np.ascontiguousarray(order), lambda: Pillow.fromarray(order, "RGB"))
    image, picture = arrays.from_numpy(pixels), Pillow.fromarray(pixels)
    measure("to floating numbers, RGB of uint8", None, lambda: arrays.to_numpy(image, dtype="float32"),
            lambda: np.divide(pixels, 255, dtype=np.float32), lambda: np.asarray(picture, np.float32) / 255)
    measure("to Pillow, RGB", None, lambda: arrays.to_pillow(image), pixels.copy, picture.copy)
    measure("from Pillow, RGB", None, lambda: arrays.from_pillow(picture), pixels.copy, picture.copy)
    return results


if __name__ == "__main__":
    run(sys.argv[1] if len(sys.argv) > 1 else "", int(sys.argv[2]) if len(sys.argv) > 2 else ROUNDS)
