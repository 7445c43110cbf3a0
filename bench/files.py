"""Jobs on files beside Pillow and the vips command: processor time and peak memory, from the file to the result.

Each contestant does a job in fresh processes, in turn with the others; the medians are compared. A Python process first
does the same with a tiny picture, so that libraries are loaded and their tables made, and only counts what follows. Of
the vips command the whole process counts, less one that only prints its version. Memory is the growth of the process.
Saving has the effort of Pillow's defaults everywhere, with optimized tables in JPEG.
"""

import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

from fresh_processes import main, used_by

ROUNDS = 3
#: The most that a job may take of the processor time and of the memory of each contestant, in this order.
LIMITS = {"Pillow": 1.0, "vips": 1.2}
#: Memory that is too little to be compared: allocators and libraries keep as much in reserve.
SMALL = 4.0  # MiB

COMMON = """
import json, os, sys, time
def memory(key):
    return int(next(line.split()[1] for line in open("/proc/self/status") if line.startswith(key))) / 1024
def measured(job, tiny, path, out):
    job(tiny, out)
    open("/proc/self/clear_refs", "w").write("5")  # the peak so far counts no longer
    before, start = memory("VmRSS"), time.process_time()
    job(path, out)
    print(json.dumps([time.process_time() - start, memory("VmHWM") - before]))
"""
ZELMOR = COMMON + """
from zelmor.imaging import Image, RasterCachedMultipageImage, RasterImage, ResizeType, RotateFlipType
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, WebPOptions
def load(path):
    return RasterImage._cast_to(Image.load(path)).value
def options(kind, **settings):
    made = kind()
    for name, value in settings.items():
        setattr(made, name, value)
    return made
def fitted(image, side):
    scale = side / max(image.width, image.height)
    image.resize(max(1, round(image.width * scale)), max(1, round(image.height * scale)), ResizeType.LANCZOS_RESAMPLE)
    return image
def pages(path):
    return RasterCachedMultipageImage._cast_to(Image.load(path)).value.pages
def job(path, out):
    {job}
measured(job, *sys.argv[1:])
"""
PILLOW = COMMON + """
from PIL import Image
def fitted(picture, side):
    picture.thumbnail((side, side), Image.Resampling.LANCZOS)
    return picture
def job(path, out):
    {job}
measured(job, *sys.argv[1:])
"""


@dataclass
class Job:
    """A job as each contestant is asked for it; `vips` are the arguments of the command, empty where it has no such."""

    name: str
    source: str
    ours: str
    pillow: str
    vips: list[str] = field(default_factory=list)
    suffix: str = ".jpg"


THUMBNAIL = ("with load(path) as image: fitted(image, 320).save(out, options(JpegOptions, quality=80))",
             "with Image.open(path) as p: fitted(p, 320).save(out, quality=80)",
             ["thumbnail", "{path}", "{out}[Q=80,optimize_coding]", "320"])
JOBS = [
    Job("width and height of 12 MP", "12 MP.jpg",
        "for _ in range(20):\n        with load(path) as image: image.width, image.height",
        "for _ in range(20):\n        with Image.open(path) as p: p.size"),
    Job("width and height of 100 MP", "100 MP.jpg",
        "for _ in range(20):\n        with load(path) as image: image.width, image.height",
        "for _ in range(20):\n        with Image.open(path) as p: p.size"),
    Job("thumbnail of 12 MP", "12 MP.jpg", *THUMBNAIL),
    Job("thumbnail of 100 MP", "100 MP.jpg", *THUMBNAIL),
    Job("thumbnail of a pyramid", "pyramid.tif", *THUMBNAIL),
    Job("12 MP to a quarter", "12 MP.jpg",
        "with load(path) as image: fitted(image, 1000).save(out, options(JpegOptions, quality=80))",
        "with Image.open(path) as p:\n"
        "        p.resize((1000, 750), Image.Resampling.LANCZOS).save(out, quality=80, optimize=True)",
        ["resize", "{path}", "{out}[Q=80,optimize_coding]", "0.25"]),
    Job("12 MP saved again", "12 MP.jpg", "with load(path) as image: image.save(out, options(JpegOptions, quality=80))",
        "with Image.open(path) as p: p.save(out, quality=80, optimize=True)",
        ["copy", "{path}", "{out}[Q=80,optimize_coding]"]),
    Job("12 MP to PNG", "12 MP.jpg", "with load(path) as image: image.save(out, PngOptions())",
        "with Image.open(path) as p: p.save(out)", ["copy", "{path}", "{out}[compression=6,filter=all]"], ".png"),
    Job("12 MP to WebP", "12 MP.jpg",
        "with load(path) as image: image.save(out, options(WebPOptions, lossless=False, quality=80))",
        "with Image.open(path) as p: p.save(out, quality=80)", ["copy", "{path}", "{out}[Q=80]"], ".webp"),
    Job("PNG of 12 MP to JPEG", "12 MP.png",
        "with load(path) as image: image.save(out, options(JpegOptions, quality=80))",
        "with Image.open(path) as p: p.save(out, quality=80, optimize=True)",
        ["copy", "{path}", "{out}[Q=80,optimize_coding]"]),
    Job("12 MP turned by a quarter", "12 MP.jpg",
        "with load(path) as image:\n        image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)\n"
        "        image.save(out, options(JpegOptions, quality=80))",
        "with Image.open(path) as p: p.transpose(Image.Transpose.ROTATE_270).save(out, quality=80, optimize=True)",
        ["rot", "{path}", "{out}[Q=80,optimize_coding]", "d90"]),
    Job("50 small pictures", "small.jpg",
        "for _ in range(50):\n"
        "        with load(path) as image: fitted(image, 160).save(out, options(JpegOptions, quality=80))",
        "for _ in range(50):\n        with Image.open(path) as p: fitted(p, 160).save(out, quality=80, optimize=True)"),
    Job("page 250 of 300", "300 pages.tif", "with pages(path)[min(249, len(pages(path)) - 1)] as page: "
        "RasterImage._cast_to(page).value.get_argb_32_pixel(0, 0)",
        "with Image.open(path) as p: p.seek(min(249, p.n_frames - 1)); p.load()", ["copy", "{path}[page=249]", "{out}"],
        ".tif"),
    Job("frame 1900 of 2000", "2000 frames.gif", "with pages(path)[min(1899, len(pages(path)) - 1)] as page: "
        "RasterImage._cast_to(page).value.get_argb_32_pixel(0, 0)",
        "with Image.open(path) as p: p.seek(min(1899, p.n_frames - 1)); p.load()"),
]


@dataclass
class Result:
    """Medians of one job: seconds of the processor and MiB, by contestant."""

    name: str
    figures: dict[str, list[float]]

    def ratio(self, peer: str, figure: int) -> float:
        ours, theirs = self.figures["zelmor"][figure], self.figures[peer][figure]
        return max(ours, SMALL) / max(theirs, SMALL) if figure == 1 else ours / theirs

    @property
    def met(self) -> list[bool]:
        return [self.ratio(peer, figure) <= limit for peer, limit in LIMITS.items() if peer in self.figures
                for figure in (0, 1)]


def write_sources(folder: Path) -> None:
    """Files as cameras, scanners and the web have them, and a tiny one of each kind."""
    import numpy as np
    from operations import photograph
    from PIL import Image

    for name, (width, height) in {"12 MP": (4000, 3000), "100 MP": (11600, 8700), "small": (800, 600)}.items():
        picture = Image.fromarray(photograph(width, height))
        picture.save(folder / f"{name}.jpg", quality=85)
        if name == "12 MP":
            picture.save(folder / f"{name}.png", compress_level=3)
    if shutil.which("vips"):
        subprocess.run(["vips", "tiffsave", folder / "100 MP.jpg", folder / "pyramid.tif", "--pyramid", "--tile",
                        "--compression", "jpeg"], check=True)
    random = np.random.default_rng(3)
    text = [Image.fromarray((random.random((220, 340)) > 0.3).repeat(10, 0).repeat(5, 1)) for _ in range(4)]
    text[0].save(folder / "300 pages.tif", save_all=True, append_images=(text * 75)[1:], compression="group4")
    balls = [Image.fromarray(np.roll(photograph(160, 120), 3 * i, 1)).quantize(16, dither=0) for i in range(40)]
    balls[0].save(folder / "2000 frames.gif", save_all=True, append_images=(balls * 50)[1:], duration=20, loop=0)
    tiny = Image.fromarray(photograph(24, 16))
    for suffix in (".jpg", ".png", ".tif", ".gif"):
        tiny.save(folder / f"tiny{suffix}", **({"save_all": True, "append_images": [tiny.rotate(90)]}
                                               if suffix in (".tif", ".gif") else {}))


def _python(program: str, job: str, arguments: list[str]) -> list[float]:
    shown = subprocess.run([sys.executable, "-c", program.replace("{job}", job), *arguments], check=True, text=True,
                           capture_output=True, env=os.environ).stdout
    return [float(figure) for figure in json.loads(shown)]


def _vips(arguments: list[str]) -> list[float]:
    """Processor time of the command, and its peak in MiB."""
    used = used_by(["vips", *arguments])
    return [used.seconds, used.peak]


def measure(job: Job, folder: Path, rounds: int = ROUNDS) -> Result:
    """Runs all contestants in turn; the medians of their figures."""
    path, out = str(folder / job.source), str(folder / f"out{job.suffix}")
    arguments = [str(folder / f"tiny{Path(path).suffix}"), path, out]
    runs: dict[str, list[list[float]]] = {"zelmor": [], "Pillow": []}
    for _ in range(rounds):
        runs["zelmor"].append(_python(ZELMOR, job.ours, arguments))
        runs["Pillow"].append(_python(PILLOW, job.pillow, arguments))
        if job.vips and shutil.which("vips"):
            empty = _vips(["--version"])
            used = _vips([part.format(path=path, out=out) for part in job.vips])
            runs.setdefault("vips", []).append([max(1e-6, used[0] - empty[0]), used[1] - empty[1]])
    medians = {name: [statistics.median(column) for column in zip(*taken)] for name, taken in runs.items()}
    return Result(job.name, medians)


def run(only: str = "", rounds: int = ROUNDS) -> list[Result]:
    """Measures all jobs whose names contain the text, and prints a line for each contestant."""
    print("Jobs on files: processor time and growth of memory, medians of fresh processes\n")
    print(f"{'':30}{'zelmor':>22}{'Pillow':>22}{'vips':>22}   ratios to Pillow, vips")
    results = []
    with tempfile.TemporaryDirectory() as name:
        subprocess.run([sys.executable, __file__, "--write", name], check=True)
        for job in JOBS:
            if only in job.name and Path(name, job.source).exists():
                result = measure(job, Path(name), rounds)
                results.append(result)
                cells = "".join(f"{seconds * 1e3:10.1f} ms{memory:5.0f} MiB" for seconds, memory in (
                    result.figures.get(peer, [float("nan")] * 2) for peer in ("zelmor", "Pillow", "vips")))
                ratios = ", ".join(f"{result.ratio(peer, 0):.2f}/{result.ratio(peer, 1):.2f}" for peer in LIMITS
                                   if peer in result.figures)
                print(f"{result.name:30}{cells}   {ratios}{'' if all(result.met) else '  MISS'}", flush=True)
    return results


if __name__ == "__main__":
    main(write_sources, run, ROUNDS)
