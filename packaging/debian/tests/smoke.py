"""Uses an installed zelmor.imaging: draws, saves, loads and changes pictures of many formats in a new folder.

Every shared object of the package is loaded, so that a library of the system that is missing makes this fail. The last
line of the output is the version.
"""

import ctypes
import os
import subprocess
import tempfile
from collections.abc import Callable
from functools import partial
from pathlib import Path

import zelmor
from zelmor.imaging import (Color, Font, Graphics, Image, ImageOptionsBase, Pen, PointF, RasterImage,
                            Rectangle)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import (BmpOptions, GifOptions, Jpeg2000Options, JpegOptions, PdfOptions, PngOptions,
                                         PsdOptions, SvgOptions, TiffOptions, WebPOptions)
from zelmor.imaging.sources import FileCreateSource

SAVED: dict[str, Callable[[], ImageOptionsBase]] = {
    "bmp": BmpOptions, "gif": GifOptions, "jp2": Jpeg2000Options, "jpg": JpegOptions, "png": PngOptions,
    "psd": PsdOptions, "svg": SvgOptions, "tif": partial(TiffOptions, TiffExpectedFormat.TIFF_DEFLATE_RGB),
    "webp": WebPOptions}
SVG = b'<svg xmlns="http://www.w3.org/2000/svg" width="30" height="20"><rect width="30" height="20" fill="red"/></svg>'


def draw(path: Path) -> None:
    """A yellow picture with a frame and a word."""
    options = PngOptions()
    options.source = FileCreateSource(str(path), False)
    with Image.create(options, 120, 80) as image:
        graphics = Graphics(image)
        graphics.clear(Color.yellow)
        graphics.draw_rectangle(Pen(Color.blue, 3.0), Rectangle(5, 5, 110, 70))
        graphics.draw_string("zelmor", Font("DejaVu Sans", 16.0), SolidBrush(Color.black), PointF(20.0, 25.0))
        image.save()


def argb(image: RasterImage, x: int, y: int) -> int:
    """The color of a pixel as a number; colors with a name are not equal to those without."""
    return image.get_pixel(x, y).to_argb()


def use_pictures(folder: Path) -> None:
    """Saves the picture in many formats, and loads what was saved."""
    drawn = folder / "drawn.png"
    draw(drawn)
    with zelmor.open(drawn, RasterImage) as image:
        assert (image.width, image.height) == (120, 80)
        assert argb(image, 2, 2) == Color.yellow.to_argb()
        dark = sum(argb(image, x, y) == Color.black.to_argb() for x in range(20, 100) for y in range(20, 60))
        assert dark > 20, "no text was drawn"
        for ending, options in SAVED.items():
            image.save(str(folder / f"saved.{ending}"), options())
        image.save(str(folder / "saved.pdf"), PdfOptions())
    for ending in SAVED:
        with zelmor.open(folder / f"saved.{ending}") as image:
            assert (image.width, image.height) == (120, 80), ending
    (folder / "drawing.svg").write_bytes(SVG)
    with Image.load(str(folder / "drawing.svg")) as image:
        image.save(str(folder / "drawing.png"), PngOptions())
    with zelmor.open(folder / "drawing.png", RasterImage) as image:
        assert argb(image, 10, 10) == Color.red.to_argb()


def load_everything() -> int:
    """Loads all shared objects, and starts the programs, of the embedded runtime; returns their number."""
    runtime = next((Path(zelmor.__file__).parent / "_runtime").iterdir())
    files = sorted(path for path in runtime.iterdir() if path.name.startswith(("lib", "zelmor.embed.")))
    for file in files:
        if file.suffix == ".so":
            ctypes.CDLL(str(file), os.RTLD_NOW | os.RTLD_LOCAL)
        else:
            ended = subprocess.run([file], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
            assert "error while loading" not in ended.stderr and ended.returncode != 127, ended.stderr
    return len(files)


with tempfile.TemporaryDirectory() as made:
    use_pictures(Path(made))
print(load_everything(), "shared objects and programs")
print(zelmor.__file__)
print(zelmor.__version__)
