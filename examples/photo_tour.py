"""A tour of zelmor.imaging: photographs are turned, trimmed, corrected and saved in six formats.

    examples/photo_tour.py [--out DIRECTORY] [PICTURE OR FOLDER]...

Without arguments it uses the pictures of Debian's package lomiri-wallpapers-16.04. It writes the results to the output
directory, with a list of them, "tour.json", for the contact sheet. Several processes share the work, one for each
processor, since Python runs the calls of one process one after the other.
"""

import argparse
import json
import sys
import time
from collections.abc import Callable
from concurrent.futures import ProcessPoolExecutor
from dataclasses import dataclass
from itertools import cycle
from multiprocessing import get_context
from pathlib import Path

from zelmor.imaging import Color, Image, ImageOptionsBase, RasterCachedImage, Rectangle, ResizeType, RotateFlipType
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, JpegOptions, PngOptions, TiffOptions, WebPOptions

PHOTOGRAPHS = Path("/usr/share/backgrounds")
SUFFIXES = {".jpg", ".jpeg", ".png", ".webp", ".tif", ".tiff", ".bmp", ".gif"}


def convert(image: RasterCachedImage) -> None:
    """Only the file format changes."""


def resize(image: RasterCachedImage) -> None:
    image.resize_width_proportionally(480, ResizeType.LANCZOS_RESAMPLE)


def rotate(image: RasterCachedImage) -> None:
    image.rotate(12.0, True, Color.white_smoke)


def quarter_turn(image: RasterCachedImage) -> None:
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)


def mirror(image: RasterCachedImage) -> None:
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)


def crop(image: RasterCachedImage) -> None:
    image.crop(Rectangle(image.width // 4, image.height // 4, image.width // 2, image.height // 2))


def grayscale(image: RasterCachedImage) -> None:
    image.grayscale()


def brighten(image: RasterCachedImage) -> None:
    image.adjust_brightness(50)


def contrast(image: RasterCachedImage) -> None:
    image.adjust_contrast(40.0)


def gamma(image: RasterCachedImage) -> None:
    image.adjust_gamma(1.8)


def binarize(image: RasterCachedImage) -> None:
    image.binarize_otsu()


def small_gif(image: RasterCachedImage) -> None:
    image.resize_height_proportionally(320, ResizeType.BILINEAR_RESAMPLE)


def png() -> ImageOptionsBase:
    options = PngOptions()
    options.compression_level = 9
    return options


def gray_png() -> ImageOptionsBase:
    options = PngOptions()
    options.color_type = PngColorType.GRAYSCALE
    return options


def jpeg() -> ImageOptionsBase:
    options = JpegOptions()
    options.quality = 85
    return options


def webp() -> ImageOptionsBase:
    options = WebPOptions()
    options.lossless = False
    options.quality = 80.0
    return options


def tiff() -> ImageOptionsBase:
    return TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)


@dataclass
class Stop:
    """One step of the tour: an operation on a picture, and how the result is saved."""

    caption: str
    work: Callable[[RasterCachedImage], None]
    suffix: str
    options: Callable[[], ImageOptionsBase]


STOPS = [
    Stop("converted", convert, ".webp", webp),
    Stop("resized to 480 wide, Lanczos", resize, ".png", png),
    Stop("rotated by 12 degrees", rotate, ".jpg", jpeg),
    Stop("turned by a quarter", quarter_turn, ".tif", tiff),
    Stop("flipped left to right", mirror, ".bmp", BmpOptions),
    Stop("cropped to the middle", crop, ".tif", tiff),
    Stop("grayscale", grayscale, ".png", gray_png),
    Stop("brightness +50", brighten, ".jpg", jpeg),
    Stop("contrast +40", contrast, ".webp", webp),
    Stop("gamma 1.8", gamma, ".jpg", jpeg),
    Stop("black and white, Otsu's threshold", binarize, ".png", png),
    Stop("resized to 320 high, 256 colors", small_gif, ".gif", GifOptions),
]


def find_pictures(places: list[Path]) -> list[Path]:
    """The picture files among the given files and in the given folders."""
    pictures: list[Path] = []
    for place in places:
        found = sorted(place.iterdir()) if place.is_dir() else [place]
        pictures += [path for path in found if path.suffix.lower() in SUFFIXES and path.is_file()]
    return pictures


def visit(stop: Stop, source: Path, target: Path) -> str:
    """Loads one picture, applies the operation, saves the result; returns a line that describes it."""
    start = time.perf_counter()
    # load() returns an Image, the base class of all pictures; the cast gives access to the members of raster images.
    with Image.load(str(source)) as image:
        made, raster = RasterCachedImage._cast_to(image)
        if not made:
            raise TypeError(f"{source} is not a raster picture")
        before = f"{raster.width}x{raster.height}"
        stop.work(raster)
        after = f"{raster.width}x{raster.height}"
        with stop.options() as options:
            raster.save(str(target), options)
    seconds = time.perf_counter() - start
    return (f"{stop.caption:36}{before:>10} -> {after:10}{target.name:44}{target.stat().st_size / 1024:8,.0f} KB"
            f"{seconds:7.2f} s")


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=Path, default=Path("tour"), help="where the results go")
    parser.add_argument("pictures", type=Path, nargs="*", default=[PHOTOGRAPHS], help="your own pictures")
    arguments = parser.parse_args()
    pictures = find_pictures(arguments.pictures)
    if not pictures:
        print(f"no pictures in {', '.join(map(str, arguments.pictures))}", file=sys.stderr)
        return 1

    arguments.out.mkdir(parents=True, exist_ok=True)
    sources = [source for _, source in zip(STOPS, cycle(pictures))]
    targets = [arguments.out / f"{number:02}_{source.stem}{stop.suffix}"
               for number, (stop, source) in enumerate(zip(STOPS, sources), start=1)]
    # New processes rather than copies of this one, in which a runtime has started.
    with ProcessPoolExecutor(mp_context=get_context("spawn")) as pool:
        for line in pool.map(visit, STOPS, sources, targets):
            print(line, flush=True)
    tour = [{"caption": stop.caption, "before": str(source.resolve()), "after": target.name}
            for stop, source, target in zip(STOPS, sources, targets)]
    (arguments.out / "tour.json").write_text(json.dumps(tour, indent=4) + "\n")
    print(f"{len(tour)} pictures are in {arguments.out}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
