"""DNG through the API: raw pictures whose samples are known, beside LibRaw's own programs and exiftool."""

from __future__ import annotations

import io
import json
import re
import struct
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from zelmor.imaging import DataRecoveryMode, FileFormat, Image, LoadOptions
from zelmor.imaging.fileformats.dng import DngImage
from zelmor.imaging.fileformats.dng.decoder import RawData
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageloadoptions import DngLoadOptions, NoiseReductionType
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, TiffOptions

from support import png_files
from support.arrays import Pixels
from support.dng_files import ASCII, LONG, RATIONAL, SHORT, SRATIONAL, Dng, rationals
from support.image_oracles import managed_error, read

WIDTH, HEIGHT = 60, 40


def waves(bands: int = 1, width: int = WIDTH, height: int = HEIGHT) -> Pixels:
    """Soft waves of 16 bits, whose colors the neighbors of a pixel tell well."""
    y, x = np.mgrid[0:height, 0:width]
    found = [32000 + 25000 * np.sin(x / (11 + k) + k) * np.cos(y / (9 + k)) for k in range(bands)]
    picture = np.stack(found, -1).round().astype(np.uint16)
    return picture if bands > 1 else picture[..., 0]


def random(bands: int = 1, bits: int = 16) -> Pixels:
    shape = (HEIGHT, WIDTH, bands) if bands > 1 else (HEIGHT, WIDTH)
    return np.random.default_rng(bands).integers(0, 1 << bits, shape).astype(np.uint16)


def srgb(light: Any) -> Any:
    """The numbers of sRGB, of 16 bits, for light from 0 to 1."""
    light = np.clip(light, 0, 1)
    return np.where(light <= 0.0031308, 12.92 * light, 1.055 * light ** (1 / 2.4) - 0.055) * 65535


def opened(path: Path, options: LoadOptions | None = None) -> DngImage:
    return DngImage._cast_to(Image.load(str(path), options) if options else Image.load(str(path))).value


def written(tmp_path: Path, dng: Dng, name: str = "a.dng") -> Path:
    (tmp_path / name).write_bytes(dng.tobytes())
    return tmp_path / name


def samples(image: Image) -> Any:
    """All samples of an image, of 8 or 16 bits."""
    file = io.BytesIO()
    image.save(file, PngOptions())
    return png_files.from_bytes(file.getvalue()).samples.astype(int)


def developed(path: Path, *arguments: str) -> Any:
    """The samples of 16 bits that the library's own program makes, with the white of the camera."""
    subprocess.run(["dcraw_emu", "-4", "-W", "-c", "0", "-o", "1", "-g", "2.4", "12.92", *(arguments or ("-w",)),
                    str(path)], check=True, capture_output=True)
    file = next(path.parent.glob(path.name + ".p?m"))
    data = file.read_bytes()
    file.unlink()
    kind, width, height, top = data.split(None, 4)[:4]
    bands = 3 if kind == b"P6" else 1
    assert top == b"65535"
    found = np.frombuffer(data[-2 * int(width) * int(height) * bands:], ">u2").astype(int)
    return found.reshape(int(height), int(width), bands)


def identified(path: Path) -> str:
    return subprocess.run(["raw-identify", "-v", str(path)], check=True, capture_output=True, text=True).stdout


def tags_of(path: Path) -> dict[str, Any]:
    output = subprocess.run(["exiftool", "-json", "-n", str(path)], check=True, capture_output=True, text=True).stdout
    found: dict[str, Any] = json.loads(output)[0]
    return found


# ---- Pixels


@pytest.mark.parametrize("big_endian", [False, True])
@pytest.mark.parametrize("lossless_jpeg", [False, True])
@pytest.mark.parametrize("below", [False, True])
def test_an_even_mosaic_is_one_color(tmp_path: Path, big_endian: bool, lossless_jpeg: bool, below: bool) -> None:
    """With half as much light for red as for green, and a quarter for blue."""
    mosaic = np.empty((HEIGHT, WIDTH), np.uint16)
    mosaic[0::2, 0::2], mosaic[0::2, 1::2], mosaic[1::2, 0::2], mosaic[1::2, 1::2] = 20000, 40000, 40000, 10000
    path = written(tmp_path, Dng(mosaic, big_endian=big_endian, lossless_jpeg=lossless_jpeg, below=below))
    assert Image.get_file_format(str(path)) == FileFormat.DNG
    assert Image.can_load(str(path))
    image = opened(path)
    assert (image.file_format, image.width, image.height, image.bits_per_pixel) == (FileFormat.DNG, WIDTH, HEIGHT, 48)
    assert not image.has_alpha
    found = samples(image)
    wanted = srgb(np.array([20000, 40000, 10000]) / 65535)
    assert np.abs(found - wanted).max() <= 12  # the matrices of sRGB have four digits
    assert np.abs(found - developed(path)).max() <= 2


@pytest.mark.parametrize("pattern", [(0, 1, 1, 2), (2, 1, 1, 0), (1, 0, 2, 1), (1, 2, 0, 1)])
@pytest.mark.parametrize("bits", [16, 12, 10])
def test_a_mosaic_is_developed_as_the_program_does(tmp_path: Path, pattern: tuple[int, int, int, int],
                                                   bits: int) -> None:
    light = waves(3)
    mosaic = np.empty((HEIGHT, WIDTH), np.uint16)
    for i, color in enumerate(pattern):
        mosaic[i // 2::2, i % 2::2] = light[i // 2::2, i % 2::2, color]
    path = written(tmp_path, Dng(mosaic >> (16 - bits), pattern, bits, (1 << bits) - 1))
    found = samples(opened(path))
    assert np.abs(found - developed(path)).max() <= 2
    inside = (slice(4, -4), slice(4, -4))
    assert np.abs(found[inside] - srgb(light[inside] / 65535)).mean() < 700


@pytest.mark.parametrize("lossless_jpeg", [False, True])
def test_linear_pictures_keep_every_sample(tmp_path: Path, lossless_jpeg: bool) -> None:
    light = random(3)
    image = opened(written(tmp_path, Dng(light, None, lossless_jpeg=lossless_jpeg)))
    assert np.abs(samples(image) - srgb(light / 65535)).max() <= 16


def test_a_sensor_without_filters_gives_gray(tmp_path: Path) -> None:
    light = random()
    image = opened(written(tmp_path, Dng(light, None)))
    assert image.bits_per_pixel == 16
    assert np.abs(samples(image)[..., 0] - srgb(light / 65535)).max() <= 2


def test_samples_of_8_bits_give_8_bits(tmp_path: Path) -> None:
    light = random(3, 8)
    image = opened(written(tmp_path, Dng(light, None, 8, 255)))
    assert image.bits_per_pixel == 24
    assert np.abs(samples(image) - srgb(light / 255) / 257).max() <= 2


def test_levels_white_and_exposure(tmp_path: Path) -> None:
    """The level of black is taken away, white is the camera's, and the exposure makes the picture brighter."""
    light = random(3) // 4
    black, white = 1000, 30000
    stored = np.clip(light * (white - black) // 65535 + black, 0, 65535).astype(np.uint16)
    neutral = (0.5, 1.0, 0.8)
    path = written(tmp_path, Dng((stored - black) * np.array([0.5, 1.0, 0.8]) + black, None, white=white,
                                 neutral=neutral, raw_tags={50714: (SHORT, [black] * 3)},
                                 tags={50730: (SRATIONAL, rationals(1.0))}))
    found = samples(opened(path)) / 65535
    wanted = srgb(2 * (stored - black) / (white - black)) / 65535
    # A number of light is one step of the stored ones, which are few; dark ones are steep.
    assert np.abs(found - wanted).max() < 0.01
    plain = written(tmp_path, Dng(stored, None, white=white, raw_tags={50714: (SHORT, [black] * 3)}), "b.dng")
    assert np.abs(samples(opened(plain)) - developed(plain)).max() <= 2


def test_the_picture_is_the_crop_of_the_active_area(tmp_path: Path) -> None:
    light = random(3)
    dng = Dng(light, None, raw_tags={50829: (LONG, [2, 4, HEIGHT - 2, WIDTH - 6]),
                                     50719: (RATIONAL, rationals(3.0, 1.0)), 50720: (LONG, [30, 20])})
    path = written(tmp_path, dng)
    image = opened(path)
    assert (image.width, image.height) == (30, 20)
    found = samples(image)
    assert np.abs(found - srgb(light[3:23, 7:37] / 65535)).max() <= 16
    assert np.abs(found - developed(path)[1:21, 3:33]).max() <= 2
    assert "Image size:    50 x 36" in identified(path)


@pytest.mark.parametrize("orientation", range(1, 9))
def test_the_picture_is_upright(tmp_path: Path, orientation: int) -> None:
    path = written(tmp_path, Dng(random(3), None, tags={
        274: (SHORT, orientation),
        700: (1, b'<x:xmpmeta xmlns:x="adobe:ns:meta/">'
                 b'<rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description rdf:about="" '
                 b'xmlns:tiff="http://ns.adobe.com/tiff/1.0/" tiff:Orientation="%d"/>'
                 b'</rdf:RDF></x:xmpmeta>' % orientation)}))
    image = opened(path)
    assert (image.width, image.height) == ((WIDTH, HEIGHT) if orientation < 5 else (HEIGHT, WIDTH))
    assert np.abs(samples(image) - developed(path)).max() <= 2
    image.save(str(tmp_path / "a.jpg"), JpegOptions())
    said = subprocess.run(["exiftool", "-n", "-a", "-G1", "-Orientation", str(tmp_path / "a.jpg")], check=True,
                          capture_output=True, text=True).stdout
    assert re.findall(r"\[(\S+)\].*: (\d)", said) == [("IFD0", "1"), ("XMP-tiff", "1")]


def test_a_part_is_that_of_the_whole(tmp_path: Path) -> None:
    path = written(tmp_path, Dng(waves()))
    whole = samples(opened(path))
    image = opened(path)
    image.crop(5, 20, 7, 10)
    assert np.array_equal(samples(image), whole[7:HEIGHT - 10, 5:WIDTH - 20])


# ---- What the file says


def test_raw_data_are_those_of_the_file(tmp_path: Path) -> None:
    dng = Dng(waves(), tags={
        270: (ASCII, "A harbor"), 271: (ASCII, "Maker"), 272: (ASCII, "Model 1"), 305: (ASCII, "Program 2"),
        306: (ASCII, "2020:05:06 07:08:09"), 315: (ASCII, "Author"), 700: (1, b"<x:xmpmeta/>")},
        exif={33434: (RATIONAL, [(1, 125)]), 33437: (RATIONAL, [(56, 10)]), 34855: (SHORT, 400),
              36867: (ASCII, "2020:05:06 07:08:09"), 37386: (RATIONAL, [(85, 1)])},
        gps={1: (ASCII, "N"), 2: (RATIONAL, [(48, 1), (51, 1), (30, 1)]), 3: (ASCII, "E"),
             4: (RATIONAL, [(2, 1), (17, 1), (40, 1)])})
    path = written(tmp_path, dng)
    data = opened(path).img_data
    assert isinstance(data, RawData)
    image = data.image_data_parameters
    assert (image.dng_version, image.camera_manufacturer, image.model) == (0x01040000, "Maker", "Model 1")
    assert (image.software, image.description, image.xmp_data) == ("Program 2", "A harbor", "<x:xmpmeta/>")
    assert (image.raw_count, image.colors_count, image.is_foveon) == (1, 3, 0)
    assert image.translation_cfa_dng == "RGBG"
    letters = "".join(image.translation_cfa_dng[image.filters >> 2 * i & 3] for i in range(16))
    other = data.image_other_parameters
    assert (other.description, other.artist, other.shot_order) == ("A harbor", "Author", 0)
    assert (other.iso_speed, other.focal_length) == (400, 85)
    assert (other.aperture, other.shutter_speed) == (pytest.approx(5.6), pytest.approx(1 / 125))
    gps = list(other.gps_data)
    assert len(gps) == 32
    assert gps[0:12] == [48, 1, 51, 1, 30, 1, 2, 1, 17, 1, 40, 1]
    text = identified(path)
    assert f"Filter pattern: {letters}" in text.replace("G2", "G")
    stamp = re.search(r"Timestamp:\s+(.*)", text)
    assert stamp is not None
    told = subprocess.run(["date", "-d", stamp[1].strip(), "+%s"], check=True, capture_output=True, text=True).stdout
    assert other.timestamp == int(told)


def test_raw_data_can_be_given_to_an_image(tmp_path: Path) -> None:
    first = opened(written(tmp_path, Dng(waves(), tags={272: (ASCII, "One")}), "a.dng"))
    second = opened(written(tmp_path, Dng(waves(), tags={272: (ASCII, "Two")}), "b.dng"))
    second.img_data = first.img_data
    assert second.img_data.image_data_parameters.model == "One"
    assert first.img_data.image_data_parameters.model == "One"


def test_metadata_go_to_other_formats(tmp_path: Path) -> None:
    path = written(tmp_path, Dng(waves(), below=True, tags={315: (ASCII, "Author")}, exif={34855: (SHORT, 400)},
                                 gps={1: (ASCII, "N"), 2: (RATIONAL, [(48, 1), (51, 1), (30, 1)])}))
    image = opened(path)
    image.save(str(tmp_path / "a.jpg"), JpegOptions())
    image.save(str(tmp_path / "a.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
    for name in ("a.jpg", "a.tif"):
        tags = tags_of(tmp_path / name)
        assert (tags["Make"], tags["Model"], tags["Artist"], tags["ISO"]) == ("Maker", "Model 1", "Author", 400)
        assert tags["GPSLatitude"] == pytest.approx(48.858, abs=0.001)
        assert (tags["ImageWidth"], tags["ImageHeight"]) == (WIDTH, HEIGHT)
        assert not {"DNGVersion", "ColorMatrix1", "CFAPattern", "SubfileType"} & set(tags) - {"SubfileType"}


def test_saving_as_other_formats(tmp_path: Path) -> None:
    path = written(tmp_path, Dng(waves()))
    wanted = developed(path) / 257
    for name in ("a.png", "a.tif", "a.bmp", "a.jp2", "a.tga", "a.webp"):
        opened(path).save(str(tmp_path / name))
        assert np.abs(read(tmp_path / name, "RGB") - wanted).mean() < 2, name
    with managed_error("NotSupportedException", "Saving as DNG, which the extension '.dng' asks for"):
        opened(path).save(str(tmp_path / "b.dng"))


# ---- Load options


def test_white_of_the_picture(tmp_path: Path) -> None:
    """A picture of one gray that the camera took for yellow."""
    mosaic = np.empty((200, 200), np.uint16)
    mosaic[0::2, 0::2], mosaic[0::2, 1::2], mosaic[1::2, 0::2], mosaic[1::2, 1::2] = 20000, 20000, 20000, 10000
    path = written(tmp_path, Dng(mosaic))
    options = DngLoadOptions()
    assert (options.fbdd, options.adjust_white_balance) == (NoiseReductionType.NONE, False)
    usual = samples(opened(path))[100, 100]
    assert usual[2] < usual[0] - 8000
    options.adjust_white_balance = True
    found = samples(opened(path, options))
    assert np.ptp(found[100, 100]) < 300
    assert np.abs(found - developed(path, "-a")).max() <= 2


@pytest.mark.parametrize(("reduction", "argument"), [(NoiseReductionType.LIGHT, "1"), (NoiseReductionType.FULL, "2")])
def test_noise_reduction(tmp_path: Path, reduction: NoiseReductionType, argument: str) -> None:
    noise = np.random.default_rng(1).normal(0, 1500, (HEIGHT, WIDTH))
    path = written(tmp_path, Dng(np.clip(waves() + noise, 0, 65535).astype(np.uint16)))
    options = DngLoadOptions()
    options.fbdd = reduction
    found = samples(opened(path, options))
    assert np.abs(found - developed(path, "-w", "-fbdd", argument)).max() <= 2
    assert np.abs(found - samples(opened(path))).max() > 100


# ---- Damage, limits, refusals


def test_other_kinds_are_refused_by_name(tmp_path: Path) -> None:
    kinds: list[tuple[dict[int, Any], str]] = [
        ({259: (SHORT, 8)}, "DNG data with compression 8 (Deflate)"),
        ({259: (SHORT, 52546)}, "DNG data with compression 52546 (JPEG XL)"),
        ({258: (SHORT, 32)}, "DNG data with 32 bits per sample"),
        ({339: (SHORT, 3)}, "DNG data with samples that are no whole numbers"),
        ({50711: (SHORT, 2)}, "DNG data with filters in rows or columns that are shifted")]
    for tags, text in kinds:
        path = written(tmp_path, Dng(waves(), raw_tags=tags))
        assert Image.get_file_format(str(path)) == FileFormat.DNG
        assert not Image.can_load(str(path))
        with managed_error("NotSupportedException", f"Cannot load '{path}': this runtime does not read {text}."):
            Image.load(str(path))


def test_a_file_without_a_raw_picture_is_damaged(tmp_path: Path) -> None:
    path = written(tmp_path, Dng(waves(), raw_tags={262: (SHORT, 2)}))
    assert not Image.can_load(str(path))
    with managed_error("ImageLoadException", "DNG"):
        Image.load(str(path))


def cut_files() -> list[bytes]:
    """Files whose directory stands before their samples, which end early."""
    found = []
    for lossless_jpeg in (False, True):
        data = Dng(random(), lossless_jpeg=lossless_jpeg).tobytes()
        first, = struct.unpack_from("<I", data, 4)
        samples_at, directory = data[8:first], data[first:]
        moved = bytearray(data[:4] + struct.pack("<I", 8))
        shift = 8 - first
        count, = struct.unpack_from("<H", directory)
        entries = bytearray(directory)
        for i in range(count):
            at = 2 + 12 * i
            tag, kind, number, place = struct.unpack_from("<HHII", entries, at)
            size = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 7: 1, 10: 8}[kind] * number
            if size > 4:
                struct.pack_into("<I", entries, at + 8, place + shift)
            elif tag in (273, 324):
                struct.pack_into("<I", entries, at + 8, 8 + len(directory))
        found.append(bytes(moved + entries + samples_at))
    return found


@pytest.mark.parametrize("kind", [0, 1])
def test_a_file_that_ends_early_is_damaged(kind: int) -> None:
    data = cut_files()[kind]
    whole = samples(Image.load(io.BytesIO(data)))
    assert whole.shape == (HEIGHT, WIDTH, 3)
    cut = data[:-len(data) // 3]
    with managed_error("ImageLoadException", "the DNG data is damaged or incomplete"):
        samples(Image.load(io.BytesIO(cut)))
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
    with managed_error("ImageLoadException", "the DNG data is damaged or incomplete"):
        samples(Image.load(io.BytesIO(cut), options))


def test_sizes_are_checked_before_memory_is_taken(tmp_path: Path) -> None:
    size = {256: (LONG, 20000), 257: (LONG, 15000)}
    path = written(tmp_path, Dng(waves(), raw_tags=size))
    with managed_error("ImageLoadException", "the raw picture ends early"):
        samples(opened(path))
    path = written(tmp_path, Dng(waves(), lossless_jpeg=True, raw_tags=size))
    options = LoadOptions()
    options.buffer_size_hint = 200
    with managed_error("OutOfMemoryException", "buffer_size_hint"):
        samples(opened(path, options))


def test_damage_of_any_byte_is_an_error_or_another_picture() -> None:
    generator = np.random.default_rng(7)
    for data in (Dng(waves(), lossless_jpeg=True, below=True).tobytes(), Dng(waves(), below=True).tobytes()):
        first, = struct.unpack_from("<I", data, 4)
        for _ in range(60):
            damaged = bytearray(data)
            for at in generator.integers(first - 300, len(data), 3):
                damaged[at] = generator.integers(0, 256)
            try:
                image = Image.load(io.BytesIO(bytes(damaged)))
                if image.width * image.height < 10_000:
                    samples(image)
            except RuntimeError as error:
                assert str(error).startswith("Proxy error("), error
