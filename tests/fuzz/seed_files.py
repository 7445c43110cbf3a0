"""Small picture files of the kinds that the project's own encoders do not write: by Pillow, by the tools of libtiff and
libjpeg, and by the writers that the tests in Python have.

Each name begins with the format and a hyphen. The same versions of those programs write the same files.
"""

from __future__ import annotations

import io
import struct
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
from PIL import Image as Pillow
from PIL import TiffImagePlugin

sys.path[:0] = [str(Path(__file__).resolve().parent), str(Path(__file__).resolve().parents[1] / "python")]

from seed_rooms import room_files  # noqa: E402
from support import gif_files, png_files  # noqa: E402

WIDTH, HEIGHT = 37, 29
XMP = (b"<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'>"
       b"<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
       b"xmlns:dc='http://purl.org/dc/elements/1.1/' dc:format='image/any'><dc:title><rdf:Alt>"
       b"<rdf:li xml:lang='x-default'>A &amp; B</rdf:li></rdf:Alt></dc:title></rdf:Description></rdf:RDF></x:xmpmeta>"
       b"<?xpacket end='w'?>")


def picture(mode: str, shift: int = 0) -> Pillow.Image:
    """Soft colors with some noise."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    bands = np.stack([x * 6, y * 8, (x + y) * 3 + shift * 40, 255 - y * 8], axis=-1)
    bands += np.random.default_rng(shift).integers(0, 9, bands.shape)
    image = Pillow.fromarray((bands % 256).astype(np.uint8))
    if mode == "F":
        return Pillow.fromarray((bands[..., 0] / 255).astype(np.float32))
    return image if mode == "RGBA" else image.convert("RGB").convert(mode)


def exif() -> bytes:
    """Tags in several directories, and a thumbnail."""
    data = Pillow.Exif()
    data[0x010F], data[0x0112], data[0x011A] = "Maker", 6, TiffImagePlugin.IFDRational(300, 1)
    data.get_ifd(0x8769).update({0x9000: b"0231", 0x829A: TiffImagePlugin.IFDRational(1, 60), 0x927C: b"note" * 5})
    data.get_ifd(0x8825).update({1: "N", 2: (1.0, 2.0, 3.0)})
    return data.tobytes()


def saved(kind: str, image: Pillow.Image, **options: Any) -> bytes:
    """A file that Pillow writes."""
    file = io.BytesIO()
    image.save(file, kind, **options)
    return file.getvalue()


def through(command: list[str], data: bytes) -> bytes:
    """The output of a tool that reads its standard input."""
    return subprocess.run(command, input=data, check=True, capture_output=True).stdout


def bmp_files() -> Iterator[tuple[str, bytes]]:
    """Headers of all sizes with the depths that go with them."""
    random = np.random.default_rng(5)
    for size, bits, fields in [(12, 1, 0), (12, 24, 0), (40, 4, 0), (40, 16, 3), (52, 16, 3), (56, 32, 3), (64, 8, 0),
                               (108, 32, 3), (124, 24, 0), (124, 16, 3)]:
        row = (WIDTH * bits + 31) // 32 * 4
        rows = random.integers(0, 256, row * HEIGHT, np.uint8).tobytes()
        if size == 12:
            header = struct.pack("<IHHHH", size, WIDTH, HEIGHT, 1, bits)
        else:
            masks = (0xF800, 0x7E0, 0x1F, 0) if bits == 16 else (0xFF0000, 0xFF00, 0xFF, 0xFF000000)
            header = struct.pack("<IiiHHIIiiII4I", size, WIDTH, -HEIGHT if size == 124 else HEIGHT, 1, bits, fields,
                                 len(rows), 3780, 3780, 0, 0, *masks)
            header = header[:max(size, 52 if fields else size)].ljust(size, b"\0")
        table = random.integers(0, 256, (3 if size == 12 else 4) << bits, np.uint8).tobytes() if bits <= 8 else b""
        at = 14 + len(header) + len(table)
        yield f"{size}-{bits}", struct.pack("<2sIII", b"BM", at + len(rows), 0, at) + header + table + rows


def gif_data() -> Iterator[tuple[str, bytes]]:
    """Animations with all disposals, parts of the canvas, comments and programs' blocks."""
    frames = [picture("P", shift) for shift in range(4)]
    for disposal in (0, 1, 2, 3):
        yield f"disposal-{disposal}", saved("GIF", frames[0], save_all=True, append_images=frames[1:],
                                            disposal=disposal, duration=[50, 60, 70, 80], loop=3, comment=b"words")
    yield "transparent", saved("GIF", picture("P"), transparency=3, interlace=1)
    palette = gif_files.random_palette(8)
    parts = [gif_files.Frame(gif_files.random_indices(9, 7, 8), left=4, top=3),
             gif_files.Frame(gif_files.random_indices(20, 15, 8), left=10, top=9)]
    yield "parts", gif_files.to_bytes(gif_files.Gif(WIDTH, HEIGHT, palette, parts))


def jpeg_files() -> Iterator[tuple[str, bytes]]:
    """Sampling, restarts, arithmetic coding, inks, metadata."""
    for sampling in (0, 1, 2):
        yield f"sampling-{sampling}", saved("JPEG", picture("RGB"), subsampling=sampling, quality=80)
    yield "cmyk", saved("JPEG", picture("CMYK"))
    yield "metadata", saved("JPEG", picture("RGB"), exif=exif(), xmp=XMP, comment=b"a comment", dpi=(300, 300))
    ppm = saved("PPM", picture("RGB"))
    for name, options in {"restart": ["-restart", "2B"], "arithmetic": ["-arithmetic"], "rgb": ["-rgb"],
                          "arithmetic-progressive": ["-arithmetic", "-progressive"], "gray": ["-grayscale"],
                          "sampling-1x2": ["-sample", "1x2"], "sampling-4x1": ["-sample", "4x1"],
                          "progressive-restart": ["-progressive", "-restart", "1"]}.items():
        yield name, through(["cjpeg", *options], ppm)


def png_data() -> Iterator[tuple[str, bytes]]:
    """All color types and depths, interlaced or not, transparency, metadata, animations."""
    for color, depth in png_files.FORMS:
        for interlaced in (False, True):
            yield (f"{color}-{depth}{'-interlaced' if interlaced else ''}",
                   png_files.to_bytes(png_files.random_png(color, depth, interlaced)))
    yield "key", saved("PNG", picture("RGB"), transparency=(0, 0, 0))
    yield "metadata", saved("PNG", picture("RGB"), exif=exif(), dpi=(300, 300))
    frames = [picture("RGBA", shift) for shift in range(4)]
    for disposal in (0, 1, 2):
        yield f"animation-{disposal}", saved("PNG", frames[0], save_all=True, append_images=frames[1:], duration=80,
                                             disposal=disposal, blend=disposal % 2, default_image=disposal == 1)


def tiff_data(folder: Path) -> Iterator[tuple[str, bytes]]:
    """Compressions, layouts and depths; several pages; EXIF below a page."""
    plain = {"rgb": "RGB", "gray": "L", "bilevel": "1", "indexed": "P", "cmyk": "CMYK", "lab": "LAB", "float": "F",
             "alpha": "RGBA"}
    for name, mode in plain.items():
        (folder / f"{name}.tif").write_bytes(saved("TIFF", picture(mode)))
        yield name, saved("TIFF", picture(mode), compression="tiff_deflate")
    for name, source, options in [
            ("fax3", "bilevel", "-c g3"), ("fax3-2d", "bilevel", "-c g3:2d:fill"),
            ("fax4", "bilevel", "-c g4 -f lsb2msb"),
            ("lzw-predictor", "rgb", "-c lzw:2"), ("zip-planes", "rgb", "-c zip:2 -p separate"),
            ("jpeg", "rgb", "-c jpeg:r:70"), ("jpeg-gray", "gray", "-c jpeg"),
            ("jpeg-tiles", "rgb", "-c jpeg -t -w 16 -l 16"),
            ("packbits-big-endian", "rgb", "-c packbits -B"), ("tiles", "alpha", "-c zip -t -w 16 -l 32"),
            ("planes-tiles", "cmyk", "-c lzw -p separate -t -w 32 -l 16"), ("big", "indexed", "-8 -c zip"),
            ("big-tiles-big-endian", "rgb", "-8 -B -c lzw -t -w 16 -l 16"), ("lzma", "gray", "-c lzma"),
            ("zstd-predictor", "float", "-c zstd:3"), ("webp", "rgb", "-c webp"), ("lerc", "float", "-c lerc"),
            ("strips", "rgb", "-c none -r 3")]:
        path = folder / f"made-{name}.tif"
        subprocess.run(["tiffcp", *options.split(), str(folder / f"{source}.tif"), str(path)], check=True,
                       capture_output=True)
        yield name, path.read_bytes()
    frames = [picture("RGB", shift) for shift in range(3)] + [picture("1"), picture("P")]
    yield "pages", saved("TIFF", frames[0], save_all=True, append_images=frames[1:], compression="tiff_lzw")
    yield "metadata", saved("TIFF", picture("RGB"), exif=exif(), tiffinfo={270: "words", 700: XMP}, dpi=(300, 300))


def webp_files() -> Iterator[tuple[str, bytes]]:
    """Lossy, lossless, alpha, metadata, animations."""
    kinds: list[tuple[str, str, dict[str, Any]]] = [
        ("lossy", "RGB", {"quality": 60}), ("alpha", "RGBA", {"quality": 40}),
        ("alpha-lossy", "RGBA", {"quality": 70, "alpha_quality": 30}), ("lossless", "RGB", {"lossless": True}),
        ("exact", "RGBA", {"lossless": True, "exact": True}), ("metadata", "RGB", {"exif": exif(), "xmp": XMP})]
    for name, mode, options in kinds:
        yield name, saved("WEBP", picture(mode), **options)
    yield "indexed", saved("WEBP", picture("RGB").quantize(5).convert("RGB"), lossless=True)
    frames = [picture("RGBA", shift) for shift in range(4)]
    for lossless in (False, True):
        yield f"animation-{lossless}", saved("WEBP", frames[0], save_all=True, append_images=frames[1:], duration=60,
                                             lossless=lossless, allow_mixed=not lossless, minimize_size=True)


def write_seed_files(folder: Path) -> int:
    """Writes all of them and tells how many there are."""
    scratch = folder.parent / "scratch"
    scratch.mkdir(exist_ok=True)
    folder.mkdir(exist_ok=True)
    count = 0
    for kind, files in {"bmp": bmp_files(), "gif": gif_data(), "jpeg": jpeg_files(), "png": png_data(),
                        "tiff": tiff_data(scratch), "webp": webp_files()}.items():
        for name, data in files:
            # Names of their own beside those of the project's encoders.
            (folder / f"{kind}-other-{name}.bin").write_bytes(data)
            count += 1
    for kind, name, data in room_files(scratch):
        (folder / f"{kind}-other-{name}.bin").write_bytes(data)
        count += 1
    return count
