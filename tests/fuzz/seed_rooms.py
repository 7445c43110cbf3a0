"""Small picture files of the formats with rooms of their own libraries or readers: JPEG 2000, JPEG-LS, TGA, ICO, PSD,
DICOM, DjVu and DNG; by Pillow, by the programs of those libraries, and by the writers that the tests in Python have.
"""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

import numpy as np
from PIL import Image as Pillow

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "python"))

from support import dicom_files  # noqa: E402
from support.dng_files import Dng  # noqa: E402

Files = Iterator[tuple[str, bytes]]

WIDTH, HEIGHT = 37, 29


def samples(bands: int, most: int = 255, shift: int = 0) -> np.ndarray:
    """Soft samples with some noise; with one band without the last axis."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    made = np.stack([x * (5 + i) + y * 3 + shift * 40 for i in range(bands)], axis=-1) % 256
    made = made + np.random.default_rng(shift).integers(0, 9, made.shape)
    made = np.minimum(made, 255) * (most // 255)
    made = made.astype(np.uint8 if most == 255 else np.uint16)
    return made[..., 0] if bands == 1 else made


def run(folder: Path, *command: str) -> None:
    """Runs a program in a folder."""
    subprocess.run(command, cwd=folder, check=True, capture_output=True)


def jpeg2000_files(folder: Path) -> Files:
    """Codestreams and boxed files, with and without loss, in tiles, with layers, of several depths."""
    for name, picture in {"gray": samples(1), "rgb": samples(3), "alpha": samples(4)}.items():
        path = folder / f"{name}.png"
        Pillow.fromarray(picture).save(path)
        for kind, options in {"plain": "-n 3", "lossy": "-n 3 -r 20,10,5", "tiles": "-t 16,16 -n 3",
                              "layers": "-I -n 4 -q 20,30,40 -p RPCL -b 16,16 -SOP -EPH"}.items():
            for extension in ("jp2", "j2k"):
                target = folder / f"{name}-{kind}.{extension}"
                run(folder, "opj_compress", "-i", str(path), "-o", str(target), *options.split())
                yield target.name.replace(".", "-"), target.read_bytes()


def tga_files(folder: Path) -> Files:
    """Every color type that Pillow writes, packed or not."""
    for mode, picture in {"L": samples(1), "LA": samples(2), "RGB": samples(3), "RGBA": samples(4)}.items():
        for packed in (False, True):
            path = folder / "made.tga"
            Pillow.fromarray(picture, mode).save(path, rle=packed)
            yield f"{mode.lower()}{'-packed' if packed else ''}", path.read_bytes()
    path = folder / "made.tga"
    Pillow.fromarray(samples(3)).quantize(16).save(path)
    yield "indexed", path.read_bytes()


def ico_files(folder: Path) -> Files:
    """Entries of several sizes, as PNG and as BMP, and cursors' headers."""
    for kind in ("png", "bmp"):
        path = folder / f"{kind}.ico"
        Pillow.fromarray(samples(4)).resize((48, 48)).save(path, sizes=[(16, 16), (32, 32), (48, 48)],
                                                           bitmap_format=kind)
        data = path.read_bytes()
        yield kind, data
        yield f"{kind}-cursor", data[:2] + b"\2\0" + data[4:]


def psd_files(folder: Path) -> Files:
    """Modes and depths, packed or not."""
    Pillow.fromarray(samples(4)).save(folder / "a.png")
    for name, options in {"rgb": "-alpha off", "alpha": "", "gray": "-alpha off -colorspace gray",
                          "cmyk": "-alpha off -colorspace cmyk", "deep": "-alpha off -depth 16",
                          "bilevel": "-alpha off -monochrome", "indexed": "-alpha off -type palette"}.items():
        for packed in ("none", "rle"):
            run(folder, "convert", "a.png", *options.split(), "-compress", packed, "made.psd")
            yield f"{name}-{packed}", (folder / "made.psd").read_bytes()


def dicom_data(folder: Path) -> Files:
    """Orders of bytes and samples, depths, palettes, frames, and every compression that the programs have."""
    plain = {"gray": dicom_files.picture(samples(1)), "deep": dicom_files.picture(samples(1, 65535), stored=12),
             "rgb": dicom_files.picture(samples(3), "RGB"),
             "implicit": dicom_files.picture(samples(1), syntax=dicom_files.IMPLICIT),
             "deflated": dicom_files.picture(samples(1), syntax=dicom_files.DEFLATED),
             "big-endian": dicom_files.picture(samples(1, 65535), syntax=dicom_files.BIG_ENDIAN),
             "frames": dicom_files.picture(np.stack([samples(1, shift=i) for i in range(3)]), frames=3)}
    for name, data in plain.items():
        yield name, data
    for name in ("gray", "rgb", "deep"):
        (folder / f"{name}.dcm").write_bytes(plain[name])
        for command in ("dcmcrle", "dcmcjpeg +e1", "dcmcjpls", "dcmcjpls +en", "gdcmconv --j2k", "dcmcjpeg +eb"):
            if name == "deep" and command.endswith("+eb"):
                continue  # the baseline has 8 bits
            path = dicom_files.compressed(folder / f"{name}.dcm", *command.split())
            yield path.stem, path.read_bytes()


def djvu_files(folder: Path) -> Files:
    """A page of ink, a photograph, and a book of both."""
    Pillow.fromarray(samples(1)).convert("1").save(folder / "a.pbm", "PPM")
    Pillow.fromarray(samples(3)).save(folder / "b.ppm")
    run(folder, "cjb2", "a.pbm", "ink.djvu")
    run(folder, "c44", "b.ppm", "photo.djvu")
    run(folder, "djvm", "-c", "book.djvu", "ink.djvu", "photo.djvu")
    for name in ("ink", "photo", "book"):
        yield name, (folder / f"{name}.djvu").read_bytes()


def dng_files(folder: Path) -> Files:
    """Mosaics and linear pictures, packed, without loss, in both orders of bytes."""
    mosaic = samples(1, 65535)[:28, :36]
    for big_endian in (False, True):
        for packed in (False, True):
            yield f"mosaic-{big_endian}-{packed}", Dng(mosaic, big_endian=big_endian, lossless_jpeg=packed,
                                                       below=packed).tobytes()
    yield "twelve", Dng(mosaic >> 4, bits=12, white=4095).tobytes()
    yield "linear", Dng(samples(3, 65535)[:28, :36], None).tobytes()


def jpegls_files(folder: Path) -> Files:
    """JPEG-LS as files of their own: the frames of DICOM files."""
    for name, picture in {"gray": samples(1), "deep": samples(1, 65535), "rgb": samples(3)}.items():
        path = folder / f"ls-{name}.dcm"
        path.write_bytes(dicom_files.picture(picture, "RGB" if picture.ndim == 3 else "MONOCHROME2"))
        for options in ("", "+en"):
            data = dicom_files.compressed(path, "dcmcjpls", *options.split()).read_bytes()
            begin, end = data.index(b"\xff\xd8\xff"), data.rindex(b"\xff\xd9") + 2
            yield f"{name}{options.replace('+', '-')}", data[begin:end]


def room_files(folder: Path) -> Iterator[tuple[str, str, bytes]]:
    """All of them: format, name, bytes."""
    for kind, make in {"jpeg2000": jpeg2000_files, "jpegls": jpegls_files, "tga": tga_files, "ico": ico_files,
                       "psd": psd_files, "dicom": dicom_data, "djvu": djvu_files, "dng": dng_files}.items():
        place = folder / kind
        place.mkdir(exist_ok=True)
        for name, data in make(place):
            yield kind, name, data
