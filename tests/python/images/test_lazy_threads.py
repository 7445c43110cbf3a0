"""Images that are loaded, decoded and saved by several threads: services do this with the files that people upload."""

from __future__ import annotations

import asyncio
import io
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, Rectangle, ResizeType
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
