"""Images that are loaded, decoded and saved by several threads: services do this with the files that people upload."""

from __future__ import annotations

import asyncio
import io
from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, DitheringMethod, Image, RasterImage, Rectangle, ResizeType
from zelmor.imaging.imagefilters.filteroptions import (BilateralSmoothingFilterOptions, GaussianBlurFilterOptions,
                                                       GaussWienerFilterOptions, MedianFilterOptions)
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support.image_oracles import Pixels, noise, raster

THREADS = 8


def uploads(suffix: str) -> list[bytes]:
    files = []
    for seed in range(THREADS):
        file = io.BytesIO()
        Pillow.fromarray(noise(3, seed, 300, 200)).save(file, suffix)
        files.append(file.getvalue())
    return files


def reduced(data: bytes) -> bytes:
    """What a service does with an upload: an open file in, another one out."""
    target = io.BytesIO()
    with io.BytesIO(data) as source, Image.load(source) as image:
        raster(image).resize(60, 40, ResizeType.LANCZOS_RESAMPLE)
        image.save(target, PngOptions())
    return target.getvalue()


def pixels_of(data: bytes) -> Pixels:
    return np.asarray(Pillow.open(io.BytesIO(data)).convert("RGB"))


@pytest.mark.parametrize("suffix", ["JPEG", "PNG", "TIFF", "WEBP", "GIF", "BMP"])
def test_a_pool_does_what_one_thread_does(suffix: str) -> None:
    files = uploads(suffix)
    expected = [reduced(data) for data in files]
    with ThreadPoolExecutor(THREADS) as pool:
        for _ in range(5):
            assert list(pool.map(reduced, files)) == expected


def test_tasks_of_an_event_loop() -> None:
    files = uploads("JPEG")
    expected = [reduced(data) for data in files]

    async def serve() -> list[bytes]:
        return list(await asyncio.gather(*(asyncio.to_thread(reduced, data) for data in files)))

    for _ in range(5):
        assert asyncio.run(serve()) == expected


#: Work that the image library, or this one, divides among threads of its own where a picture is large enough.
DIVIDED: dict[str, Callable[[RasterImage], None]] = {
    "reduced": lambda image: image.resize(200, 150, ResizeType.LANCZOS_RESAMPLE),
    "enlarged": lambda image: image.resize(400, 300, ResizeType.CATMULL_ROM),
    "blurred": lambda image: image.filter(image.bounds, GaussianBlurFilterOptions(5, 1.5)),
    "median": lambda image: image.filter(image.bounds, MedianFilterOptions(5)),
    "smoothed": lambda image: image.filter(image.bounds, BilateralSmoothingFilterOptions(5)),
    "sharpened back": lambda image: image.filter(image.bounds, GaussWienerFilterOptions(3, 1.0)),
    "turned": lambda image: image.rotate(20.0, True, Color.white),
    "dithered": lambda image: image.dither(DitheringMethod.FLOYD_STEINBERG_DITHERING, 4),
    "black and white": lambda image: image.binarize_bradley(0.1, 15),
    "gray": lambda image: image.grayscale(),
}


@pytest.mark.parametrize(("name", "suffix"), [(name, "JPEG") for name in DIVIDED] + [("reduced", "TIFF")])
def test_large_pictures_in_a_pool(name: str, suffix: str) -> None:
    """Each task has threads of the library work for it; inks are converted by several threads too."""
    pictures = [Pillow.fromarray(noise(3, seed, 300, 230)).convert("CMYK" if suffix == "TIFF" else "RGB")
                for seed in range(3)]

    def worked_on(picture: Pillow.Image) -> bytes:
        source, target = io.BytesIO(), io.BytesIO()
        picture.save(source, suffix)
        with Image.load(io.BytesIO(source.getvalue())) as image:
            DIVIDED[name](raster(image))
            image.save(target, PngOptions())
        return target.getvalue()

    expected = [worked_on(picture) for picture in pictures]
    with ThreadPoolExecutor(THREADS) as pool:
        assert list(pool.map(worked_on, pictures * 2)) == expected * 2


def test_one_image_for_several_threads(tmp_path: Path) -> None:
    """It is decoded by the first that needs its pixels; each saves another part of it."""
    source = noise(3, 5, 800, 600)
    Pillow.fromarray(source).save(tmp_path / "a.png")
    for _ in range(10):
        image = Image.load(str(tmp_path / "a.png"))

        def part(number: int, image: Image = image) -> Pixels:
            target = io.BytesIO()
            image.save(target, PngOptions(), Rectangle(10 * number, 20 * number, 100, 50))
            return pixels_of(target.getvalue())

        with ThreadPoolExecutor(THREADS) as pool:
            for number, found in enumerate(pool.map(part, range(THREADS))):
                assert np.array_equal(found, source[20 * number:20 * number + 50, 10 * number:10 * number + 100])


def test_a_file_that_another_thread_writes(tmp_path: Path) -> None:
    """Loading while the file is saved over again and again gives one of the pictures, never a mixture."""
    path = str(tmp_path / "a.jpg")
    pictures = [Image.load(io.BytesIO(data)) for data in uploads("PNG")]
    options = JpegOptions()
    options.quality = 100
    seen = set()
    for picture in pictures:
        picture.save(path, options)
        seen.add(pixels_of(Path(path).read_bytes()).tobytes())

    def write(number: int) -> None:
        pictures[number % THREADS].save(path, options)

    def read(_: int) -> bytes:
        target = io.BytesIO()
        with Image.load(path) as image:
            image.save(target, PngOptions())
        return pixels_of(target.getvalue()).tobytes()

    with ThreadPoolExecutor(THREADS) as pool:
        writes = [pool.submit(write, number) for number in range(40)]
        assert all(found in seen for found in pool.map(read, range(40)))
        for done in writes:
            done.result()
