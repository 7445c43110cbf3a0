"""JPEG 2000 through the API: what is loaded and saved, beside Pillow and the tools of the library."""

from __future__ import annotations

import io
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import FileFormat, Image, ResolutionSetting
from zelmor.imaging.fileformats.jpeg2000 import Jpeg2000Codec, Jpeg2000Image
from zelmor.imaging.imageloadoptions import Jpeg2000LoadOptions
from zelmor.imaging.imageoptions import Jpeg2000Options, PngOptions
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

from support.child import run_child
from support.image_oracles import HEIGHT, WIDTH, few_colors, load, managed_error, noise, pixels, read, smooth, write


def cast(image: Image) -> Jpeg2000Image:
    return Jpeg2000Image._cast_to(image).value


def opened(path: Path | str) -> Jpeg2000Image:
    return cast(Image.load(str(path)))


def lossless(**properties: Any) -> Jpeg2000Options:
    options = Jpeg2000Options()
    options.irreversible = False
    for name, value in properties.items():
        setattr(options, name, value)
    return options


def jp2(tmp_path: Path, array: Any, **options: Any) -> str:
    return write(tmp_path / "source.jp2", array, irreversible=False, **options)


@pytest.mark.parametrize(("bands", "mode", "bits"), [(1, "L", 8), (2, "LA", 16), (3, "RGB", 24), (4, "RGBA", 32)])
@pytest.mark.parametrize("suffix", ["jp2", "j2k"])
def test_a_file_of_pillow_is_loaded(tmp_path: Path, bands: int, mode: str, bits: int, suffix: str) -> None:
    path = write(tmp_path / f"a.{suffix}", noise(bands), irreversible=False)
    assert Image.get_file_format(path) == FileFormat.JPEG2000
    assert Image.can_load(path)
    image = opened(path)
    assert image.file_format == FileFormat.JPEG2000
    assert (image.width, image.height, image.bits_per_pixel) == (WIDTH, HEIGHT, bits)
    assert image.codec == (Jpeg2000Codec.JP2 if suffix == "jp2" else Jpeg2000Codec.J2K)
    assert np.array_equal(pixels(image, tmp_path, mode), read(path, mode))


def test_a_picture_of_16_bits_keeps_them(tmp_path: Path) -> None:
    deep = np.random.default_rng(3).integers(0, 65536, (HEIGHT, WIDTH), dtype=np.uint16)
    path = tmp_path / "a.jp2"
    Pillow.fromarray(deep).save(path, irreversible=False)
    image = opened(path)
    assert image.bits_per_pixel == 16
    image.save(str(tmp_path / "b.png"))
    assert np.array_equal(read(tmp_path / "b.png"), deep)
    image.save(str(tmp_path / "b.jp2"))
    assert np.array_equal(read(tmp_path / "b.jp2"), deep)


@pytest.mark.parametrize(("bands", "mode"), [(1, "L"), (3, "RGB"), (4, "RGBA")])
def test_the_extension_saves_without_loss(tmp_path: Path, bands: int, mode: str) -> None:
    load(write(tmp_path / "a.png", noise(bands))).save(str(tmp_path / "a.jp2"))
    with Pillow.open(tmp_path / "a.jp2") as picture:
        assert (picture.format, picture.mode) == ("JPEG2000", mode)
    assert np.array_equal(read(tmp_path / "a.jp2", mode), noise(bands))


def test_a_picture_with_a_palette(tmp_path: Path) -> None:
    Pillow.fromarray(few_colors()).quantize(16).save(tmp_path / "a.png")
    wanted = read(tmp_path / "a.png", "RGB")
    image = load(tmp_path / "a.png")
    for name, codec in (("a.jp2", Jpeg2000Codec.JP2), ("a.j2k", Jpeg2000Codec.J2K)):
        image.save(str(tmp_path / name), lossless(codec=codec))
        subprocess.run(["opj_decompress", "-i", name, "-o", "a.ppm"], cwd=tmp_path, check=True, capture_output=True)
        assert np.array_equal(read(tmp_path / "a.ppm", "RGB"), wanted)
        assert np.array_equal(pixels(load(tmp_path / name), tmp_path), wanted)


def test_options(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    path = str(tmp_path / "a.jp2")
    assert Jpeg2000Options().codec == Jpeg2000Codec.JP2
    sizes = []
    for ratios in ([80], [20], [5], []):
        options = lossless(compression_ratios=ratios)
        image.save(path, options)
        sizes.append(Path(path).stat().st_size)
    assert sizes == sorted(set(sizes))
    assert np.array_equal(read(path), smooth())
    image.save(path, Jpeg2000Options())  # the wavelet with loss
    difference = np.abs(read(path) - smooth())
    assert 0 < difference.max() <= 3
    image.save(path, lossless(codec=Jpeg2000Codec.J2K))
    assert Path(path).read_bytes()[:4] == b"\xff\x4f\xff\x51"
    back = opened(path)
    assert back.codec == Jpeg2000Codec.J2K
    own = Jpeg2000Options._cast_to(back.get_original_options()).value
    assert (own.codec, own.irreversible) == (Jpeg2000Codec.J2K, False)


def test_settings_that_are_refused(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    path = str(tmp_path / "a.jp2")
    for ratios in ([5, 20], [0], [-1], [7, 7]):
        with managed_error("ArgumentOutOfRangeException", "Jpeg2000Options.CompressionRatios have to fall"):
            image.save(path, lossless(compression_ratios=ratios))
    with managed_error("NotSupportedException", "Jpeg2000Options.Codec"):
        image.save(path, lossless(codec=Jpeg2000Codec.JPT))
    with managed_error("ArgumentException", "Jpeg2000Options.Comments has characters that ISO 8859-15"):
        image.save(path, lossless(comments=["\u4e2d"]))
    options = lossless(codec=Jpeg2000Codec.J2K)
    options.xmp_data = packet()
    with managed_error("NotSupportedException", "Jpeg2000Options.XmpData in a bare codestream"):
        image.save(path, options)
    assert not Path(path).exists()


def test_comments_are_those_of_the_image_or_of_the_options(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", smooth()))
    path = str(tmp_path / "a.jp2")
    image.save(path, lossless(comments=["fünf €", "second"]))
    assert "fünf €".encode("iso8859-15") in Path(path).read_bytes()
    back = opened(path)
    assert list(back.comments) == ["fünf €", "second"]
    assert list(Jpeg2000Options._cast_to(back.get_original_options()).value.comments) == ["fünf €", "second"]
    back.save(path, lossless())
    assert list(opened(path).comments) == ["fünf €", "second"]
    back.comments = ["new"]
    back.save(path)
    assert list(opened(path).comments) == ["new"]
    back.comments = None
    back.save(path)
    assert not opened(path).comments


def test_resolution(tmp_path: Path) -> None:
    options = lossless()
    options.resolution_settings = ResolutionSetting(200.0, 400.0)
    load(write(tmp_path / "a.png", smooth())).save(str(tmp_path / "a.jp2"), options)
    back = opened(tmp_path / "a.jp2")
    assert (back.horizontal_resolution, back.vertical_resolution) == pytest.approx((200, 400), rel=1e-3)


def packet() -> XmpPacketWrapper:
    wrapper, package = XmpPacketWrapper(), DublinCorePackage()
    package.set_title("Title")
    wrapper.add_package(package)
    return wrapper


def described(path: Path) -> str:
    """What another program reads of two metadata."""
    return subprocess.run(["exiftool", "-s", "-Make", "-Title", str(path)], capture_output=True, text=True,
                          check=True).stdout


def test_metadata_stand_in_boxes(tmp_path: Path) -> None:
    exif = Pillow.Exif()
    exif[0x010F] = "Maker"
    write(tmp_path / "a.jpg", smooth(), exif=exif, quality=95)
    image = load(tmp_path / "a.jpg")
    options = lossless()
    options.xmp_data = packet()
    image.save(str(tmp_path / "a.jp2"), options)
    facts = described(tmp_path / "a.jp2")
    assert facts.split() == ["Make", ":", "Maker", "Title", ":", "Title"]
    back = opened(tmp_path / "a.jp2")
    assert back.xmp_data is not None
    assert np.array_equal(pixels(back, tmp_path), read(tmp_path / "a.jpg"))
    back.save(str(tmp_path / "b.jp2"))
    assert described(tmp_path / "b.jp2") == facts


@pytest.mark.parametrize(("bits", "mode"), [(8, "L"), (16, "LA"), (24, "RGB"), (32, "RGBA")])
def test_constructors(tmp_path: Path, bits: int, mode: str) -> None:
    source = write(tmp_path / "a.png", smooth())
    data = Path(source).read_bytes()
    gray = read(source, "L")
    for image in (Jpeg2000Image(source, bits), Jpeg2000Image(io.BytesIO(data), bits),
                  Jpeg2000Image(load(source), bits)):
        assert (image.bits_per_pixel, image.file_format) == (bits, FileFormat.JPEG2000)
        image.save(str(tmp_path / "b.jp2"))
        with Pillow.open(tmp_path / "b.jp2") as picture:
            assert picture.mode == mode
        if bits > 16:
            assert np.array_equal(read(tmp_path / "b.jp2", "RGB"), smooth())
        else:
            assert np.abs(read(tmp_path / "b.jp2", "L") - gray).max() <= 1
    made = Jpeg2000Image(20, 10, bits)
    assert (made.width, made.height, made.bits_per_pixel) == (20, 10, bits)
    with managed_error("ArgumentOutOfRangeException", "none of 8, 16, 24 and 32 bits"):
        Jpeg2000Image(20, 10, 12)


def test_other_ways_to_make_an_image(tmp_path: Path) -> None:
    source = jp2(tmp_path, smooth())
    for image in (Jpeg2000Image(source), Jpeg2000Image(load(source)), Jpeg2000Image.create_from_image(load(source))):
        assert np.array_equal(pixels(image, tmp_path), smooth())
    assert Jpeg2000Image(7, 5).bits_per_pixel == 24
    assert Jpeg2000Image(7, 5, lossless(codec=Jpeg2000Codec.J2K)).codec == Jpeg2000Codec.J2K
    made = cast(Image.create(lossless(), 7, 5))
    assert (made.width, made.codec) == (7, Jpeg2000Codec.JP2)


def test_decoding_stops_after_its_time(tmp_path: Path) -> None:
    path = jp2(tmp_path, noise(3, width=900, height=900))
    for name in ("maximum_decoding_time", "maximum_decoding_time_for_tile"):
        options = Jpeg2000LoadOptions()
        setattr(options, name, 1)
        with managed_error("ImageException", "decoding takes longer than maximum_decoding_time"):
            Image.load(path, options).cache_data()
        setattr(options, name, 100_000)
        Image.load(path, options).cache_data()
        with managed_error("ArgumentOutOfRangeException", "The value -1 of Jpeg2000LoadOptions."):
            setattr(options, name, -1)


def test_damage_is_refused(tmp_path: Path) -> None:
    data = Path(jp2(tmp_path, noise())).read_bytes()
    with managed_error("ImageLoadException"):
        Image.load(io.BytesIO(data[:len(data) // 2])).cache_data()
    with managed_error("ImageLoadException"):
        Image.load(io.BytesIO(data[:60]))


PNG_LOADS_NO_CODEC = """
import io, sys
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions

def loaded():
    with open("/proc/self/maps", encoding="ascii") as maps:
        text = maps.read()
    return [name for name in ("embed.format.jpeg2000", "embed.format.djvu", "libdjvulibre") if name in text]

image = Image.load(sys.argv[1])
image.save(io.BytesIO(), PngOptions())
assert "embed.imagework" in open("/proc/self/maps").read()
assert loaded() == [], loaded()
Image.load(sys.argv[2]).cache_data()
assert loaded() == ["embed.format.jpeg2000"], loaded()
"""


# The image library itself needs that of JPEG 2000, so that its name says nothing.
def test_a_png_loads_the_codec_of_no_other_format(tmp_path: Path) -> None:
    run_child(PNG_LOADS_NO_CODEC, write(tmp_path / "a.png", smooth()), jp2(tmp_path, smooth()))


def test_a_frame_of_the_file_goes_on_after_its_stream_ended(tmp_path: Path) -> None:
    stream = io.BytesIO(Path(jp2(tmp_path, smooth())).read_bytes())
    image = Image.load(stream)
    stream.close()
    out = io.BytesIO()
    image.save(out, PngOptions())
    assert np.array_equal(np.asarray(Pillow.open(out)), smooth())
