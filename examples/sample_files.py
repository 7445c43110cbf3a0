"""Makes the files that the examples of the reference and of the gallery load.

Usage: sample_files.py [FOLDER]
"""

from __future__ import annotations

import math
import sys
from pathlib import Path

from zelmor.imaging import Color, Graphics, Image, Pen, Point, Rectangle
from zelmor.imaging.brushes import LinearGradientBrush, SolidBrush
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngColorType, PngImage
from zelmor.imaging.fileformats.svg.graphics import SvgGraphics2D
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.imageoptions import (
    DicomOptions, EmfOptions, EmfRasterizationOptions, JpegOptions, PngOptions, WebPOptions)


def _photo(folder: Path) -> None:
    """A scene of 320 by 240 pixels: a sky, a sun, hills and a house."""
    with PngImage(320, 240, PngColorType.TRUECOLOR) as image:
        graphics = Graphics(image)
        graphics.fill_rectangle(LinearGradientBrush(Rectangle(0, 0, 320, 240), Color.sky_blue, Color.linen, 90.0),
                                image.bounds)
        graphics.fill_ellipse(SolidBrush(Color.gold), Rectangle(230, 20, 50, 50))
        for number, color in enumerate([Color.dark_sea_green, Color.sea_green, Color.dark_green]):
            hill = [Point(x, int(150 + 25 * number + 20 * math.sin(x / (40 - 8 * number) + number)))
                    for x in range(0, 321, 4)]
            graphics.fill_polygon(SolidBrush(color), [Point(0, 240), *hill, Point(320, 240)])
        graphics.fill_rectangle(SolidBrush(Color.sienna), Rectangle(90, 150, 60, 50))
        graphics.fill_polygon(SolidBrush(Color.dark_red), [Point(80, 150), Point(120, 115), Point(160, 150)])
        image.save(str(folder / "photo.png"), PngOptions())
    with Image.load(str(folder / "photo.png")) as image:
        image.save(str(folder / "photo.jpg"), JpegOptions())
        image.save(str(folder / "scan.dcm"), DicomOptions())
    with Image.load(str(folder / "photo.jpg")) as image:
        _, jpeg = JpegImage._cast_to(image)
        data = JpegExifData()
        data.make = "A camera"
        jpeg.exif_data = data
        jpeg.save(str(folder / "described.jpg"))
    (folder / "described.jpg").replace(folder / "photo.jpg")


def _picture(folder: Path) -> None:
    """A disk and a square on nothing, of 120 by 120 pixels."""
    with PngImage(120, 120, PngColorType.TRUECOLOR_WITH_ALPHA) as image:
        graphics = Graphics(image)
        graphics.fill_rectangle(SolidBrush(Color.from_argb(160, 30, 90, 200)), Rectangle(45, 45, 60, 60))
        graphics.fill_ellipse(SolidBrush(Color.tomato), Rectangle(15, 15, 70, 70))
        image.save(str(folder / "picture.png"))


def _pages(folder: Path) -> None:
    names = []
    for number, color in enumerate([Color.light_pink, Color.light_green, Color.light_blue]):
        with PngImage(160, 120) as page:
            graphics = Graphics(page)
            graphics.clear(color)
            graphics.draw_rectangle(Pen(Color.black, 3.0), Rectangle(20 + 30 * number, 30, 40, 60))
            names.append(str(folder / f"page-{number}.png"))
            page.save(names[-1])
    with TiffImage([TiffFrame(name) for name in names]) as image:
        image.save(str(folder / "pages.tif"))
    for name in names:
        Path(name).unlink()


def _animation(folder: Path) -> None:
    frames = []
    for number in range(4):
        frame = GifFrameBlock(60, 60)
        graphics = Graphics(frame)
        graphics.clear(Color.white)
        graphics.fill_ellipse(SolidBrush(Color.royal_blue), Rectangle(5 + 10 * number, 20, 20, 20))
        frames.append(frame)
    with GifImage(frames[0]) as image:
        for frame in frames[1:]:
            image.add_page(frame)
        image.set_frame_time(120)
        image.save(str(folder / "animation.gif"))
        image.save(str(folder / "film.webp"), WebPOptions())


def _drawing(folder: Path) -> None:
    recorder = SvgGraphics2D(200, 150, 96)
    recorder.fill_rectangle(Pen(Color.black), SolidBrush(Color.gold), 20, 20, 120, 80)
    recorder.draw_line(Pen(Color.red, 4.0), 20, 130, 180, 30)
    with recorder.end_recording() as image:
        image.save(str(folder / "drawing.svg"))
    with Image.load(str(folder / "drawing.svg")) as image:
        options = EmfOptions()
        options.vector_rasterization_options = EmfRasterizationOptions()
        image.save(str(folder / "drawing.emf"), options)


def write_samples(folder: Path) -> None:
    """Writes all files."""
    for write in (_photo, _picture, _pages, _animation, _drawing):
        write(folder)


if __name__ == "__main__":
    target = Path(*sys.argv[1:2])
    target.mkdir(parents=True, exist_ok=True)
    write_samples(target)
