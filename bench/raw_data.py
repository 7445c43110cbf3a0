"""Raw data of pictures of 12 MP, in both directions: processor time and time by the clock.

The yardsticks are a copy of as many bytes into new memory, and Pillow, which converts by the same profiles and the same
color management library. Each contestant works in fresh processes, which load and decode the picture, do the crossing
once, so that profiles are set up, and then time it; rounds alternate, and the medians are compared.
"""

import io
import json
import os
import statistics
import struct
import subprocess
import sys
import tempfile
import zlib
from dataclasses import dataclass
from pathlib import Path

from operations import photograph

ROUNDS = 3
WIDTH, HEIGHT = 4000, 3000
#: The most that data in the picture's own layout may take, in copies of their size.
OWN_LIMIT = 2.0

COMMON = """
import json, sys, time
def measured(crossing):
    crossing()
    start, clock = time.process_time(), time.perf_counter()
    crossing()
    print(json.dumps([time.process_time() - start, time.perf_counter() - clock]))
"""
ZELMOR = COMMON + """
from zelmor.imaging import Image, PixelDataFormat, RasterImage, RawDataSettings
image = RasterImage._cast_to(Image.load(sys.argv[1])).value
image.cache_data()
settings = RawDataSettings()
settings.pixel_data_format = {layout}
data = bytes(image.get_default_raw_data(image.bounds, settings))
def read():
    image.get_default_raw_data(image.bounds, settings)
def write():
    image.save_raw_data(data, 0, image.bounds, settings)
measured({direction})
"""
COPY = COMMON + """
data = bytearray(b"x") * {size}
measured(lambda: bytes(data))
"""
PILLOW = COMMON + """
import io
from PIL import Image, ImageCms
Image.MAX_IMAGE_PIXELS = None
picture = Image.open(sys.argv[1])
picture.load()
profile = picture.info.get("icc_profile")
inks = profile and ImageCms.buildTransform(io.BytesIO(profile), ImageCms.createProfile("sRGB"), "CMYK", "RGB",
                                           ImageCms.Intent.RELATIVE_COLORIMETRIC)
def converted(mode):
    if picture.mode == mode:
        return picture
    return ImageCms.applyTransform(picture, inks) if picture.mode == "CMYK" else picture.convert(mode)
data = converted({mode!r}).tobytes()
def read():
    converted({mode!r}).tobytes()
def write():
    Image.frombytes({mode!r}, picture.size, data).convert({own!r})
measured({direction})
"""


@dataclass
class Case:
    """A layout of a picture's raw data."""

    name: str
    picture: str
    layout: str
    bytes_per_pixel: int
    mode: str = ""  # Pillow's for the layout; it has none for colors of 16 bits
    own: str = "RGB"  # that of the picture once the data are written
    writes: bool = True
    limit: float | None = None


CASES = [
    Case("own layout, RGB", "rgb.png", "PixelDataFormat.get_rgb(8)", 3, "RGB", limit=OWN_LIMIT),
    Case("own layout, RGB of 16 bits", "deep.png", "PixelDataFormat.get_rgb(16)", 6, limit=OWN_LIMIT),
    Case("own layout, CMYK", "cmyk.jpg", "PixelDataFormat.cmyk", 4, "CMYK", "CMYK", limit=OWN_LIMIT),
    Case("BGR of RGB", "rgb.png", "PixelDataFormat.get_bgr(8)", 3),
    Case("gray of RGB", "rgb.png", "PixelDataFormat.grayscale", 1, "L"),
    Case("RGB of 16 bits of 8", "rgb.png", "PixelDataFormat.get_rgb(16)", 6),
    Case("RGB of CMYK, by its profile", "cmyk.jpg", "PixelDataFormat.get_rgb(8)", 3, "RGB", writes=False),
    Case("RGB of CMYK with plain areas", "plain.jpg", "PixelDataFormat.get_rgb(8)", 3, "RGB", writes=False),
    Case("CMYK of RGB, without a profile", "rgb.png", "PixelDataFormat.cmyk", 4, "CMYK"),
]


@dataclass
class Result:
    """Medians of a crossing: processor time and time by the clock in seconds."""

    name: str
    ours: list[float]
    copy: list[float]
    pillow: list[float] | None
    limit: float | None

    @property
    def ratio(self) -> float:
        """In copies of as many bytes."""
        return self.ours[0] / self.copy[0]

    @property
    def met(self) -> bool:
        return self.limit is None or self.ratio <= self.limit


def write_pictures(folder: Path) -> None:
    """The pictures of all cases. Those of ink have the profile of our own conversion to CMYK."""
    import numpy as np
    from PIL import Image, ImageCms
    from zelmor.imaging import Image as Ours
    from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode
    from zelmor.imaging.imageoptions import JpegOptions

    pixels = photograph(WIDTH, HEIGHT)
    Image.fromarray(pixels).save(folder / "rgb.png", compress_level=1)

    def chunk(kind: bytes, body: bytes) -> bytes:
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    wide = (pixels.astype(">u2") * 257 + 3).astype(">u2").tobytes()
    rows = b"".join(b"\0" + wide[6 * WIDTH * y:6 * WIDTH * (y + 1)] for y in range(HEIGHT))
    (folder / "deep.png").write_bytes(
        b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 16, 2, 0, 0, 0))
        + chunk(b"IDAT", zlib.compress(rows, 1)) + chunk(b"IEND", b""))
    options = JpegOptions()
    options.color_type = JpegCompressionColorMode.CMYK
    Image.fromarray(pixels[:8, :8]).save(folder / "small.png")
    Ours.load(str(folder / "small.png")).save(str(folder / "small.jpg"), options)
    with Image.open(folder / "small.jpg") as small:
        profile = small.info["icc_profile"]
    to_inks = ImageCms.buildTransform(ImageCms.createProfile("sRGB"), io.BytesIO(profile), "RGB", "CMYK")
    areas = np.repeat(np.repeat(pixels[::40, ::40], 40, axis=0), 40, axis=1)
    for name, source in (("cmyk", pixels), ("plain", areas)):
        inks = ImageCms.applyTransform(Image.fromarray(source), to_inks)
        inks.save(folder / f"{name}.jpg", quality=95, icc_profile=profile)


def _child(program: str, path: Path) -> list[float]:
    shown = subprocess.run([sys.executable, "-c", program, str(path)], check=True, text=True, capture_output=True,
                           env=os.environ).stdout
    return [float(figure) for figure in json.loads(shown)]


def _filled(program: str, **values: object) -> str:
    """The program with its values; other braces stay."""
    for name, value in values.items():
        program = program.replace("{" + name + "}", str(value)).replace("{" + name + "!r}", repr(value))
    return program


def measure(case: Case, direction: str, folder: Path, rounds: int = ROUNDS) -> Result:
    """Runs all in turn; the medians of the figures."""
    programs = {"ours": _filled(ZELMOR, layout=case.layout, direction=direction),
                "copy": _filled(COPY, size=case.bytes_per_pixel * WIDTH * HEIGHT)}
    if case.mode:
        programs["pillow"] = _filled(PILLOW, mode=case.mode, own=case.own, direction=direction)
    runs: dict[str, list[list[float]]] = {name: [] for name in programs}
    for _ in range(rounds):
        for name, program in programs.items():
            runs[name].append(_child(program, folder / case.picture))
    found = {name: [statistics.median(figures) for figures in zip(*each)] for name, each in runs.items()}
    name = f"{case.name}, {'read' if direction == 'read' else 'written'}"
    return Result(name, found["ours"], found["copy"], found.get("pillow"), case.limit)


def run(only: str = "", rounds: int = ROUNDS) -> list[Result]:
    """Measures all cases whose names contain the text, and prints a line for each."""
    print("Raw data of 12 MP: processor time, medians of fresh processes\n")
    print(f"{'':44}{'zelmor':>10}{'clock':>10}{'copy':>10}{'Pillow':>10}{'copies':>8}{'target':>8}")
    results = []
    with tempfile.TemporaryDirectory() as name:
        write_pictures(Path(name))
        for case in CASES:
            for direction in ("read", "write")[:2 if case.writes else 1]:
                if only not in case.name:
                    continue
                result = measure(case, direction, Path(name), rounds)
                results.append(result)
                pillow = f"{result.pillow[0] * 1e3:7.0f} ms" if result.pillow else ""
                limit = f"{result.limit:8.2f}" if result.limit else f"{'':8}"
                print(f"{result.name:44}{result.ours[0] * 1e3:7.0f} ms{result.ours[1] * 1e3:7.0f} ms"
                      f"{result.copy[0] * 1e3:7.0f} ms{pillow:>10}{result.ratio:8.2f}{limit}"
                      f"{'' if result.met else '  MISS'}", flush=True)
    return results


if __name__ == "__main__":
    run(sys.argv[1] if len(sys.argv) > 1 else "", int(sys.argv[2]) if len(sys.argv) > 2 else ROUNDS)
