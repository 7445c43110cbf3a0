"""Operations on pictures beside Pillow, or NumPy where Pillow has no such operation: processor time and peak memory.

Each contestant works in fresh processes, which load the picture, decode it, and then time the one operation; rounds
alternate, and the medians are compared. Memory is the growth of the process from before the picture is loaded.
"""

import json
import os
import statistics
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

ROUNDS = 3
#: Width and height of the pictures.
SIZES = {"12 MP": (4000, 3000), "3 MP": (2000, 1500)}

#: Runs in the child: `load`, `use` and the operation of a contestant, by its name.
COMMON = """
import json, sys, time
def memory(key):
    return int(next(line.split()[1] for line in open("/proc/self/status") if line.startswith(key))) / 1024
def measured(load, use, operation, path):
    before = memory("VmRSS")
    picture = load(path)
    use(picture)
    start, clock = time.process_time(), time.perf_counter()
    result = operation(picture)
    use(result if result is not None else picture)
    print(json.dumps([time.process_time() - start, time.perf_counter() - clock, memory("VmHWM") - before]))
"""
ZELMOR = COMMON + """
from zelmor.imaging import Color, DitheringMethod, Image, RasterImage, ResizeType
from zelmor.imaging.imagefilters.filteroptions import (
    BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions, MedianFilterOptions,
    SharpenFilterOptions)
def load(path):
    return RasterImage._cast_to(Image.load(path)).value
def use(image):
    image.get_argb_32_pixel(0, image.height - 1)
def filtered(options):
    return lambda image: image.filter(image.bounds, options)
measured(load, use, {operation}, sys.argv[1])
"""
PILLOW = COMMON + """
import numpy as np
from PIL import Image, ImageFilter
def load(path):
    return Image.open(path)
def use(picture):
    if isinstance(picture, Image.Image):
        picture.load()
def wiener(picture):
    radius, sigma = 5, 2.0
    pixels = np.asarray(picture).astype(float)
    kernel = np.exp(-np.arange(-radius, radius + 1)**2 / (2 * sigma**2))
    kernel = np.outer(kernel, kernel) / kernel.sum()**2
    wall = np.pad(pixels, [(n // 2, n // 2) for n in pixels.shape[:2]] + [(0, 0)], "symmetric")
    spread = np.zeros(wall.shape[:2])
    spread[:2 * radius + 1, :2 * radius + 1] = kernel
    blur = np.fft.rfft2(np.roll(spread, (-radius, -radius), (0, 1)))
    top, left = pixels.shape[0] // 2, pixels.shape[1] // 2
    result = np.empty(pixels.shape, np.uint8)
    for band in range(3):
        there = np.fft.rfft2(wall[..., band]) * blur.conj() / (np.abs(blur)**2 + 0.007)
        back = np.fft.irfft2(there, wall.shape[:2])[top:top + pixels.shape[0], left:left + pixels.shape[1]]
        result[..., band] = np.clip(np.rint(back * 1.15), 0, 255)
    return Image.fromarray(result)
def fixed(picture, threshold=127):
    return picture.convert("L").point([255 if level > threshold else 0 for level in range(256)])
def otsu(picture):
    gray = picture.convert("L")
    counts = np.array(gray.histogram(), float)
    levels = np.arange(256)
    below, sums = counts.cumsum(), (counts * levels).cumsum()
    with np.errstate(all="ignore"):
        between = below * (below[-1] - below) * (sums / below - (sums[-1] - sums) / (below[-1] - below))**2
    return gray.point([255 if level > np.nanargmax(between) else 0 for level in range(256)])
def bradley(picture, window=501, share=0.85):
    gray = np.asarray(picture.convert("L")).astype(np.int64)
    sums = np.pad(gray, ((1, 0), (1, 0))).cumsum(0).cumsum(1)
    height, width = gray.shape
    y, x, reach = np.arange(height), np.arange(width), window // 2
    top, bottom = np.maximum(y - reach, 0), np.minimum(y + reach + 1, height)
    left, right = np.maximum(x - reach, 0), np.minimum(x + reach + 1, width)
    total = sums[bottom][:, right] - sums[top][:, right] - sums[bottom][:, left] + sums[top][:, left]
    return Image.fromarray(((gray * np.outer(bottom - top, right - left) >= total * share) * 255).astype(np.uint8))
def replaced(picture):
    pixels = np.asarray(picture.convert("RGBA")).copy()
    pixels[(np.abs(pixels[..., :3].astype(np.int16) - 128) <= 20).all(-1)] = 0
    return Image.fromarray(pixels)
measured(load, use, {operation}, sys.argv[1])
"""


@dataclass
class Case:
    """An operation as each contestant is asked for it, and the most that its ratio may be."""

    name: str
    size: str
    ours: str
    theirs: str
    limit: float = 1.0


CASES = [
    Case("resize to 320 by 240, Lanczos", "12 MP", "lambda i: i.resize(320, 240, ResizeType.LANCZOS_RESAMPLE)",
         "lambda p: p.resize((320, 240), Image.Resampling.LANCZOS)"),
    Case("resize to half, Lanczos", "12 MP", "lambda i: i.resize(2000, 1500, ResizeType.LANCZOS_RESAMPLE)",
         "lambda p: p.resize((2000, 1500), Image.Resampling.LANCZOS)"),
    Case("resize to double, Catmull-Rom", "3 MP", "lambda i: i.resize(4000, 3000, ResizeType.CATMULL_ROM)",
         "lambda p: p.resize((4000, 3000), Image.Resampling.BICUBIC)"),
    *[Case(f"Gaussian blur of radius {radius}", "12 MP",
           f"filtered(GaussianBlurFilterOptions({radius}, {radius / 3}))",
           f"lambda p: p.filter(ImageFilter.GaussianBlur({radius}))") for radius in (3, 10, 30)],
    Case("sharpen 5", "12 MP", "filtered(SharpenFilterOptions(5, 1.2))",
         "lambda p: p.filter(ImageFilter.UnsharpMask(1.2, 100, 0))"),
    *[Case(f"median of {size} by {size}", "3 MP", f"filtered(MedianFilterOptions({size}))",
           f"lambda p: p.filter(ImageFilter.MedianFilter({size}))") for size in (3, 5, 7, 15)],
    Case("Wiener, Gauss of radius 5", "3 MP", "filtered(GaussWienerFilterOptions(5, 2.0))", "wiener"),
    Case("dither to 256 colors", "12 MP", "lambda i: i.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 8)",
         "lambda p: p.quantize(palette=p.quantize(256, dither=0), dither=3)"),
    Case("binarize, fixed", "12 MP", "lambda i: i.binarize_fixed(127)", "fixed"),
    Case("binarize, Otsu", "12 MP", "lambda i: i.binarize_otsu()", "otsu"),
    Case("binarize, Bradley", "12 MP", "lambda i: i.binarize_bradley(0.15, 501)", "bradley"),
    Case("replace a color, tolerance 20", "12 MP",
         "lambda i: i.replace_color(Color.from_argb(255, 128, 128, 128), 20, Color.from_argb(0, 0, 0, 0))", "replaced"),
    Case("rotate by 30 degrees", "12 MP", "lambda i: i.rotate(30, True, Color.white)",
         "lambda p: p.rotate(-30, Image.Resampling.BICUBIC, True, fillcolor='white')"),
]


@dataclass
class Result:
    """Medians of one case: processor time and time by the clock in seconds, memory in MiB."""

    name: str
    ours: list[float]
    theirs: list[float]
    limit: float

    @property
    def ratio(self) -> float:
        return self.ours[0] / self.theirs[0]

    @property
    def met(self) -> bool:
        return self.ratio <= self.limit


def photograph(width: int, height: int) -> "npt.NDArray[np.uint8]":
    """A picture with soft waves, edges and noise, as photographs have them."""
    import numpy as np

    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    pixels = np.empty((height, width, 3), np.uint8)
    random = np.random.default_rng(1)
    for band in range(3):
        waves = 60 * np.sin(x / (140 + 30 * band)) * np.cos(y / (170 - 20 * band))
        tiles = 40 * ((x // 90 + y // 70) % 2)
        pixels[..., band] = 120 + waves + tiles + random.normal(0, 6, waves.shape)
    return pixels


def write_pictures(folder: Path) -> dict[str, str]:
    """The pictures of all sizes."""
    from PIL import Image

    paths = {}
    for name, (width, height) in SIZES.items():
        paths[name] = str(folder / f"{width}.bmp")
        Image.fromarray(photograph(width, height)).save(paths[name])
    return paths


def _child(program: str, operation: str, path: str) -> list[float]:
    text = program.replace("{operation}", operation)
    shown = subprocess.run([sys.executable, "-c", text, path], check=True, text=True, capture_output=True,
                           env=os.environ).stdout
    return [float(figure) for figure in json.loads(shown)]


def measure(case: Case, path: str, rounds: int = ROUNDS) -> Result:
    """Runs both in turn; the medians of all figures."""
    ours, theirs = [], []
    for _ in range(rounds):
        ours.append(_child(ZELMOR, case.ours, path))
        theirs.append(_child(PILLOW, case.theirs, path))

    def medians(runs: list[list[float]]) -> list[float]:
        return [statistics.median(figures) for figures in zip(*runs)]

    return Result(f"{case.name} ({case.size})", medians(ours), medians(theirs), case.limit)


def run(only: str = "", rounds: int = ROUNDS) -> list[Result]:
    """Measures all cases whose names contain the text, and prints a line for each."""
    print("Operations on pictures: processor time, medians of fresh processes\n")
    print(f"{'':40}{'zelmor':>12}{'Pillow':>12}{'ratio':>8}{'target':>8}{'memory':>10}{'Pillow':>10}")
    results = []
    with tempfile.TemporaryDirectory() as name:
        paths = write_pictures(Path(name))
        for case in CASES:
            if only in case.name:
                result = measure(case, paths[case.size], rounds)
                results.append(result)
                print(f"{result.name:40}{result.ours[0] * 1e3:9.0f} ms{result.theirs[0] * 1e3:9.0f} ms"
                      f"{result.ratio:8.2f}{result.limit:8.2f}{result.ours[2]:6.0f} MiB{result.theirs[2]:6.0f} MiB"
                      f"{'' if result.met else '  MISS'}", flush=True)
    return results


if __name__ == "__main__":
    run(sys.argv[1] if len(sys.argv) > 1 else "", int(sys.argv[2]) if len(sys.argv) > 2 else ROUNDS)
