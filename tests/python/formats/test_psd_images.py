"""PSD files as images: loading, saving with and without options, metadata, and parts that are kept."""

from __future__ import annotations

import io
import struct
import subprocess
import time
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Color, DataRecoveryMode, FileFormat, Image, LoadOptions, RasterCachedImage
from zelmor.imaging.fileformats.psd import ColorModes, CompressionMethod, PsdVersion
from zelmor.imaging.imageoptions import PngOptions, PsdOptions, PsdVectorizationOptions
from zelmor.imaging.xmp import XmpPacketWrapper

from support.arrays import Pixels
from support.image_oracles import (
    HEIGHT, WIDTH, few_colors, load, managed_error, noise, pixels, raster, read, worst, write, write_16_bits)

BITMAP, GRAY, INDEXED, RGB, CMYK, MULTICHANNEL, DUOTONE, LAB = 0, 1, 2, 3, 4, 7, 8, 9


def resource(number: int, data: bytes) -> bytes:
    return b"8BIM" + struct.pack(">HHI", number, 0, len(data)) + data + bytes(len(data) % 2)


def layer(name: bytes, height: int, width: int) -> bytes:
    """A section with one layer of a part of the picture, whose name is `name`."""
    planes = b"".join(b"\0\0" + bytes([40 + i]) * (height * width) for i in range(3))
    record = struct.pack(">4iH", 1, 2, 1 + height, 2 + width, 3)
    for channel in range(3):
        record += struct.pack(">HI", channel, 2 + height * width)
    extra = bytes(8) + bytes([len(name)]) + name + bytes(-(1 + len(name)) % 4)
    record += b"8BIMnorm" + b"\xff\0\0\0" + struct.pack(">I", len(extra)) + extra
    info = struct.pack(">h", 1) + record + planes
    info += bytes(-len(info) % 2)
    return struct.pack(">I", len(info)) + info + bytes(4)


def psd(samples: Pixels, mode: int = RGB, *, resources: bytes = b"", layers: bytes = b"", colors: bytes = b"",
        large: bool = False, compression: int = 0) -> bytes:
    """A file whose planes are not compressed, from samples as the format has them."""
    planes = samples.reshape(samples.shape[0], samples.shape[1], -1)
    height, width, channels = planes.shape
    if mode == BITMAP:
        depth, data = 1, np.packbits(planes[..., 0], axis=1).tobytes()
    else:
        depth = planes.dtype.itemsize * 8
        data = np.moveaxis(planes, -1, 0).astype(planes.dtype.newbyteorder(">")).tobytes()
    header = b"8BPS" + struct.pack(">H6xHIIHH", 2 if large else 1, channels, height, width, depth, mode)
    size = struct.pack(">Q" if large else ">I", len(layers))
    return (header + struct.pack(">I", len(colors)) + colors + struct.pack(">I", len(resources)) + resources
            + size + layers + struct.pack(">H", compression) + data)


def header(path: Path) -> tuple[int, ...]:
    """Version, channels, height, width, depth and color mode."""
    data = path.read_bytes()
    assert data[:4] == b"8BPS"
    return struct.unpack(">H6xHIIHH", data[4:26])


def compression_of(path: Path) -> int:
    data = path.read_bytes()
    at = 26
    for digits in (4, 4, 8 if header(path)[0] == 2 else 4):
        at += digits + int.from_bytes(data[at:at + digits], "big")
    return int.from_bytes(data[at:at + 2], "big")


def options_for(**settings: object) -> PsdOptions:
    options = PsdOptions()
    for name, value in settings.items():
        setattr(options, name, value)
    return options


# ---- Loading

@pytest.mark.parametrize("large", [False, True])
def test_a_file_is_loaded(tmp_path: Path, large: bool) -> None:
    picture = noise()
    data = psd(picture, large=large, resources=resource(1005, struct.pack(">IHHIHH", 300 << 16, 1, 1, 150 << 16, 1, 1)))
    path = tmp_path / "a.bin"
    path.write_bytes(data)
    assert Image.get_file_format(str(path)) == FileFormat.PSD
    assert Image.can_load(str(path)) and Image.can_load(io.BytesIO(data))
    for image in (Image.load(str(path)), Image.load(io.BytesIO(data))):
        assert image.file_format == FileFormat.PSD
        assert (image.width, image.height, image.bits_per_pixel) == (WIDTH, HEIGHT, 24)
        assert RasterCachedImage._is_assignable(image)
        assert (raster(image).horizontal_resolution, raster(image).vertical_resolution) == (300, 150)
        assert worst(pixels(image, tmp_path), picture) == 0


def test_forms_that_are_loaded(tmp_path: Path) -> None:
    gray, inks = noise(1), noise(4)
    for data, bits, wanted in (
            (psd(gray, GRAY), 8, gray),
            (psd(gray > 127, BITMAP), 1, np.where(gray > 127, 0, 255)),
            (psd(gray, DUOTONE, colors=bytes(40)), 8, gray),
            (psd(gray, INDEXED, colors=bytes(range(256)) * 3), 8, gray)):
        image = Image.load(io.BytesIO(data))
        assert image.bits_per_pixel == bits
        assert worst(pixels(image, tmp_path, "RGB")[..., 0], wanted) == 0
    deep = gray.astype(np.uint16) * 256 + 3
    load_bytes(tmp_path, psd(deep, GRAY)).save(str(tmp_path / "deep.png"))
    assert np.array_equal(read(tmp_path / "deep.png"), deep)
    image = load_bytes(tmp_path, psd(inks, CMYK))
    assert image.bits_per_pixel == 32
    image.save(str(tmp_path / "a.tif"))
    with Pillow.open(tmp_path / "a.tif") as tiff:
        assert tiff.mode == "CMYK"
        assert np.array_equal(np.asarray(tiff), 255 - inks)


def load_bytes(tmp_path: Path, data: bytes, name: str = "loaded.psd") -> RasterCachedImage:
    (tmp_path / name).write_bytes(data)
    return load(tmp_path / name)


def test_a_stream_is_read_to_the_end_of_the_picture(tmp_path: Path) -> None:
    picture = noise()
    data = psd(picture, layers=layer(b"L", 4, 5))
    stream = io.BytesIO(data + b"and more")
    assert worst(pixels(Image.load(stream), tmp_path), picture) == 0
    image = Image.load(str(write(tmp_path / "b.png", picture)))
    image.save(str(tmp_path / "b.psd"))
    packed = (tmp_path / "b.psd").read_bytes()
    assert worst(pixels(Image.load(io.BytesIO(packed + b"more")), tmp_path), picture) == 0


@pytest.mark.parametrize(("data", "text"), [
    (psd(noise(5), MULTICHANNEL), "this is a PSD with 5 channels in Multichannel mode, of which up to 4 are read"),
    (psd(noise(), 6), "this is a PSD with color mode 6, which the format does not define"),
    (psd(noise(), compression=9), "this is a PSD with compression 9, which the format does not define")])
def test_forms_that_are_not_read_are_refused_by_name(data: bytes, text: str) -> None:
    assert Image.get_file_format(io.BytesIO(data)) == FileFormat.PSD
    assert not Image.can_load(io.BytesIO(data))
    with managed_error("NotSupportedException", text):
        Image.load(io.BytesIO(data))


def test_damage(tmp_path: Path) -> None:
    picture = noise(1)
    data = psd(picture, GRAY)
    for size in (6, 20, 28, 35):
        with managed_error("ImageLoadException", "the PSD data has no complete header"):
            Image.load(io.BytesIO(data[:size]))
    cut = data[:-10 * WIDTH - 3]
    with managed_error("ImageLoadException", "the PSD data is damaged or incomplete"):
        raster(Image.load(io.BytesIO(cut))).cache_data()
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
    found = pixels(Image.load(io.BytesIO(cut), options), tmp_path, "L")
    assert np.array_equal(found[:HEIGHT - 11], picture[:HEIGHT - 11])
    assert (found[HEIGHT - 11:] == 255).all()


@pytest.mark.parametrize("compression", [0, 1, 2, 3], ids=["raw", "rows", "zip", "predicted"])
def test_missing_rows_take_no_time(compression: int) -> None:
    """A file of a few bytes may say that it has 300,000 rows of four channels."""
    whole = psd(np.zeros((1, 1, 4), np.uint8), large=True, compression=compression)
    data = whole[:12] + struct.pack(">HII", 4, 300_000, 1) + whole[22:-4]
    data += bytes(4 * 4 * 300_000) if compression == 1 else b"\x78\x9c\1\1\1\1"
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    options.data_background_color = Color.red
    start = time.process_time()
    picture = raster(Image.load(io.BytesIO(data), options))
    picture.cache_data()
    assert picture.get_pixel(0, picture.height - 1).to_argb() == Color.red.to_argb()
    assert time.process_time() - start < 1  # each row that was refused by an exception of its own: more than 2 s


# ---- Saving without options

@pytest.mark.parametrize("data", [
    psd(noise(), layers=layer(b"part", 4, 5),
        resources=resource(1028, b"\x1c\2\x78\0\3abc") + resource(1036, bytes(28))),
    psd(noise(5), resources=resource(1006, b"\4one1\4two2"), layers=layer(b"part", 4, 5)),
    psd(noise(1), DUOTONE, colors=bytes(range(40))),
    psd(noise(3), MULTICHANNEL),
    psd(noise(1) > 90, BITMAP),
    psd(noise(1), INDEXED, colors=bytes(range(256)) * 3),
    psd(noise(4), CMYK),
    psd(noise(3).astype(np.uint16) * 255, LAB),
    psd(noise(3).astype(np.float32) / 255),
    psd(noise(), large=True)], ids=range(10))
def test_an_unchanged_picture_is_written_as_it_was(tmp_path: Path, data: bytes) -> None:
    resolution = resource(1005, struct.pack(">IHHIHH", 96 << 16, 1, 1, 96 << 16, 1, 1))
    at = 26 + 4 + int.from_bytes(data[26:30], "big")
    size = int.from_bytes(data[at:at + 4], "big") + len(resolution)
    data = data[:at] + struct.pack(">I", size) + resolution + data[at + 4:]
    name = "again.psb" if data[5] == 2 else "again.psd"
    load_bytes(tmp_path, data).save(str(tmp_path / name))
    assert (tmp_path / name).read_bytes() == data
    image = load_bytes(tmp_path, data)
    image.save()  # to its own file
    assert (tmp_path / "loaded.psd").read_bytes() == data
    target = io.BytesIO()
    image.save(target)
    assert target.getvalue() == data


def test_a_changed_picture_loses_layers_and_keeps_what_describes_it(tmp_path: Path) -> None:
    iptc = b"\x1c\2\x78\0\3abc"
    picture = noise()
    data = psd(picture, layers=layer(b"a part of it", 4, 5),
               resources=resource(1028, iptc) + resource(1026, b"\0\0") + resource(1036, b"thumbnail" * 4))
    image = load_bytes(tmp_path, data)
    image.crop(3, 5, 7, 2)
    path = tmp_path / "new.psd"
    image.save(str(path))
    new = path.read_bytes()
    assert resource(1028, iptc) in new
    assert b"a part of it" not in new and b"thumbnail" not in new and b"8BIM\4\2" not in new
    assert worst(read(path), picture[7:-2, 3:-5]) == 0


def test_the_extension_selects_psd_or_psb(tmp_path: Path) -> None:
    picture = noise()
    image = load(write(tmp_path / "a.png", picture))
    for name, version in (("a.psd", 1), ("b.PSB", 2), ("c.psb", 2), ("d.Psd", 1)):
        image.save(str(tmp_path / name))
        assert header(tmp_path / name) == (version, 3, HEIGHT, WIDTH, 8, RGB)
        assert worst(pixels(load(tmp_path / name), tmp_path), picture) == 0
    image = load(tmp_path / "c.psb")
    image.save(str(tmp_path / "e.psd"))
    image.save(str(tmp_path / "e.bin"))
    assert (header(tmp_path / "e.psd")[0], header(tmp_path / "e.bin")[0]) == (1, 2)


@pytest.mark.parametrize(("bands", "mode"), [(1, GRAY), (3, RGB), (4, RGB)])
def test_other_pictures_keep_their_form(tmp_path: Path, bands: int, mode: int) -> None:
    picture = noise(bands)
    load(write(tmp_path / "a.png", picture)).save(str(tmp_path / "a.psd"))
    assert header(tmp_path / "a.psd")[1::4] == (bands, mode)
    again = load(tmp_path / "a.psd")
    assert worst(pixels(again, tmp_path, {1: "L", 3: "RGB", 4: "RGBA"}[bands]), picture) == 0
    if bands != 4:
        assert worst(read(tmp_path / "a.psd"), picture) == 0


def test_pictures_of_other_forms_keep_theirs(tmp_path: Path) -> None:
    deep = noise(3).astype(np.uint16) * 257 + 5
    load(write_16_bits(tmp_path / "a.png", deep)).save(str(tmp_path / "a.psd"))
    assert header(tmp_path / "a.psd")[4:] == (16, RGB)
    load(tmp_path / "a.psd").save(str(tmp_path / "b.png"))
    assert (tmp_path / "b.png").read_bytes()[24] == 16
    inks = noise(4)
    with Pillow.fromarray(inks, "CMYK") as source:
        source.save(tmp_path / "c.tif")
    load(tmp_path / "c.tif").save(str(tmp_path / "c.psd"))
    assert header(tmp_path / "c.psd")[4:] == (8, CMYK)
    assert worst(read(tmp_path / "c.psd"), inks) == 0
    with Pillow.fromarray(few_colors()).quantize(16) as source:
        source.save(tmp_path / "d.png")
    load(tmp_path / "d.png").save(str(tmp_path / "d.psd"))
    assert header(tmp_path / "d.psd")[4:] == (8, INDEXED)
    assert worst(read(tmp_path / "d.psd", "RGB"), few_colors()) == 0


def test_more_colors_than_a_palette_holds_make_true_color(tmp_path: Path) -> None:
    image = load_bytes(tmp_path, psd(noise(1), INDEXED, colors=bytes(range(256)) * 3))
    image.set_pixel(2, 3, Color.from_argb(255, 1, 2, 3))
    image.save(str(tmp_path / "new.psd"))
    assert header(tmp_path / "new.psd")[5] == RGB
    assert tuple(read(tmp_path / "new.psd")[3, 2]) == (1, 2, 3)


# ---- Options

@pytest.mark.parametrize("method", CompressionMethod)
@pytest.mark.parametrize("version", PsdVersion)
def test_compression_and_container(tmp_path: Path, method: CompressionMethod, version: PsdVersion) -> None:
    picture = few_colors()
    path = tmp_path / "a.psd"
    load(write(tmp_path / "a.png", picture)).save(
        str(path), options_for(compression_method=method, psd_version=version))
    assert header(path)[0] == int(version)
    assert compression_of(path) == int(method)
    again = load(path)
    assert worst(pixels(again, tmp_path), picture) == 0
    options = PsdOptions._cast_to(again.get_original_options()).value
    assert (options.compression_method, options.psd_version) == (method, version)
    assert (options.color_mode, options.channel_bits_count, options.channels_count) == (ColorModes.RGB, 8, 3)


@pytest.mark.parametrize(("mode", "bits", "channels"), [
    (ColorModes.BITMAP, 1, 1), (ColorModes.GRAYSCALE, 8, 1), (ColorModes.GRAYSCALE, 16, 2),
    (ColorModes.GRAYSCALE, 32, 1),
    (ColorModes.INDEXED, 8, 1), (ColorModes.RGB, 8, 4), (ColorModes.RGB, 16, 3), (ColorModes.RGB, 32, 3),
    (ColorModes.CMYK, 8, 4), (ColorModes.CMYK, 16, 5), (ColorModes.MULTICHANNEL, 8, 4), (ColorModes.LAB, 8, 3),
    (ColorModes.LAB, 16, 4)])
def test_color_modes_and_depths(tmp_path: Path, mode: ColorModes, bits: int, channels: int) -> None:
    picture = few_colors()
    path = tmp_path / "a.psd"
    load(write(tmp_path / "a.png", picture)).save(
        str(path), options_for(color_mode=mode, channel_bits_count=bits, channels_count=channels))
    assert header(path)[1] == channels and header(path)[4:] == (bits, int(mode))
    again = load(path)
    assert again.bits_per_pixel == bits * channels
    if mode in (ColorModes.RGB, ColorModes.INDEXED):
        assert worst(pixels(again, tmp_path), picture) == 0
    elif mode == ColorModes.LAB:
        # A step of 8 bits is a long way for the darkest channel of a saturated color.
        difference = np.abs(pixels(again, tmp_path) - picture)
        assert difference.max() <= (16 if bits == 8 else 1) and difference.mean() <= 2
    elif mode == ColorModes.GRAYSCALE and bits == 8:
        assert worst(pixels(again, tmp_path, "L"), np.round(picture @ [0.299, 0.587, 0.114])) <= 1
    elif mode == ColorModes.GRAYSCALE:
        raster(again).grayscale()
        found = np.array([[again.get_pixel(x, y).r for x in range(WIDTH)] for y in range(HEIGHT)])
        assert worst(found, np.round(picture @ [0.299, 0.587, 0.114])) <= 1
    options = PsdOptions._cast_to(again.get_original_options()).value
    assert (options.color_mode, options.channel_bits_count, options.channels_count) == (mode, bits, channels)


@pytest.mark.parametrize(("settings", "text"), [
    ({"color_mode": ColorModes.RGB, "channel_bits_count": 1}, "PSD has no RGB mode with 1 bits per channel"),
    ({"color_mode": ColorModes.CMYK, "channels_count": 3},
     "a PSD of CMYK mode has 4 channels, or one more with transparency, not 3"),
    ({"color_mode": ColorModes.DUOTONE}, "a Duotone PSD needs the inks and curves of a Duotone file"),
    ({"color_mode": ColorModes.BITMAP, "compression_method": CompressionMethod.ZIP_WITH_PREDICTION},
     "PSD has no prediction of 1-bit samples")])
def test_settings_that_do_not_go_together(tmp_path: Path, settings: dict[str, object], text: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ImageSaveException", text):
        image.save(str(tmp_path / "a.psd"), options_for(**settings))
    assert not (tmp_path / "a.psd").exists()


@pytest.mark.parametrize(("settings", "text"), [
    ({"version": 5}, "The value 5 of PsdOptions.Version"),
    ({"vectorization_options": PsdVectorizationOptions()}, "PsdOptions.VectorizationOptions")])
def test_settings_without_effect_are_refused(tmp_path: Path, settings: dict[str, object], text: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("NotSupportedException", text):
        image.save(str(tmp_path / "a.psd"), options_for(**settings))


def test_sides_that_only_psb_has(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", np.zeros((1, 30001), np.uint8)))
    with managed_error("ImageSaveException", "PSD has at most 30000 pixels to a side; PSB has 300000"):
        image.save(str(tmp_path / "a.psd"))
    image.save(str(tmp_path / "a.psb"))
    assert load(tmp_path / "a.psb").width == 30001


def test_a_new_thumbnail(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", few_colors()))
    image.save(str(tmp_path / "a.psd"), options_for(refresh_image_preview_data=True))
    small = subprocess.run(["exiftool", "-b", "-PhotoshopThumbnail", tmp_path / "a.psd"], capture_output=True,
                           check=True, timeout=60).stdout
    with Pillow.open(io.BytesIO(small)) as thumbnail:
        assert thumbnail.size == (WIDTH, HEIGHT)
    data = (tmp_path / "a.psd").read_bytes()
    stride = (3 * WIDTH + 3) // 4 * 4  # rows of bitmaps end at multiples of 32 bits
    assert struct.pack(">IIIIII", 1, WIDTH, HEIGHT, stride, stride * HEIGHT, len(small)) + b"\0\x18\0\1" + small in data


@pytest.mark.parametrize("mode", [ColorModes.RGB, ColorModes.INDEXED, ColorModes.GRAYSCALE, ColorModes.CMYK])
def test_thumbnails_of_every_mode(tmp_path: Path, mode: ColorModes) -> None:
    """They have the colors of the picture; those of inks by their profile."""
    blocks = np.kron(np.array([[[200, 30, 10], [20, 160, 240]], [[90, 90, 90], [250, 250, 20]]]),
                     np.ones((180, 180, 1))).astype(np.uint8)
    image = load(write(tmp_path / "a.png", blocks))
    image.save(str(tmp_path / "a.psd"), options_for(refresh_image_preview_data=True, color_mode=mode))
    small = subprocess.run(["exiftool", "-b", "-PhotoshopThumbnail", tmp_path / "a.psd"], capture_output=True,
                           check=True, timeout=60).stdout
    with Pillow.open(tmp_path / "a.psd") as picture, Pillow.open(io.BytesIO(small)) as thumbnail:
        if mode == ColorModes.CMYK:
            picture = ImageCms.profileToProfile(
                picture, io.BytesIO(picture.info["icc_profile"]), ImageCms.createProfile("sRGB"), outputMode="RGB",
                renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC)
        stored = np.asarray(picture.convert("RGB")).astype(float)
        found = np.asarray(thumbnail.convert("RGB")).astype(float)
    height, width = found.shape[:2]
    assert height == width < 360
    for row, column in ((0, 0), (0, 1), (1, 0), (1, 1)):
        pixel = found[height * (2 * row + 1) // 4, width * (2 * column + 1) // 4]
        assert np.abs(pixel - stored[90 + 180 * row, 90 + 180 * column]).max() <= 6


# ---- Creating

@pytest.mark.parametrize(("settings", "form"), [
    ({}, (4, 8, RGB)), ({"color_mode": ColorModes.GRAYSCALE}, (1, 8, GRAY)), ({"channels_count": 3}, (3, 8, RGB)),
    ({"color_mode": ColorModes.CMYK, "channel_bits_count": 16}, (4, 16, CMYK)),
    ({"color_mode": ColorModes.INDEXED}, (1, 8, INDEXED)), ({"psd_version": PsdVersion.PSB}, (4, 8, RGB))])
def test_new_images(tmp_path: Path, settings: dict[str, object], form: tuple[int, int, int]) -> None:
    image = Image.create(options_for(**settings), 7, 5)
    assert image.file_format == FileFormat.PSD
    image.save(str(tmp_path / "a.bin"))
    version, channels, height, width, bits, mode = header(tmp_path / "a.bin")
    assert (channels, bits, mode) == form and (width, height) == (7, 5)
    assert version == (2 if settings.get("psd_version") == PsdVersion.PSB else 1)


def test_new_images_that_the_format_does_not_hold() -> None:
    with managed_error("ArgumentException", "PSD has no RGB mode with 1 bits per channel"):
        Image.create(options_for(color_mode=ColorModes.RGB, channel_bits_count=1), 7, 5)
    with managed_error("NotSupportedException", "Creating an image in Duotone mode"):
        Image.create(options_for(color_mode=ColorModes.DUOTONE), 7, 5)


# ---- Metadata

def tags(path: Path) -> list[str]:
    found = subprocess.run(["exiftool", "-s3", "-EXIF:Artist", "-IPTC:City", "-XMP:Creator", path], capture_output=True,
                           check=True, timeout=60)
    return found.stdout.decode().split()


def test_metadata_go_into_psd_and_out_of_it(tmp_path: Path) -> None:
    source = tmp_path / "a.jpg"
    write(source, few_colors())
    subprocess.run(["exiftool", "-q", "-overwrite_original", "-EXIF:Artist=Ada", "-IPTC:City=Bonn",
                    "-XMP:Creator=Grace", source], check=True, timeout=60)
    path = tmp_path / "a.psd"
    load(source).save(str(path))
    assert tags(path) == ["Ada", "Bonn", "Grace"]
    image = load(path)
    assert image.xmp_data.packages_count == 1
    image.save(str(tmp_path / "b.jpg"))
    assert tags(tmp_path / "b.jpg") == ["Ada", "Bonn", "Grace"]
    image.rotate(90)
    image.save(str(tmp_path / "c.psd"))
    assert tags(tmp_path / "c.psd") == ["Ada", "Bonn", "Grace"]
    image.save(str(tmp_path / "d.psd"), options_for(xmp_data=XmpPacketWrapper()))
    assert tags(tmp_path / "d.psd") == ["Ada", "Bonn"]


def test_a_png_is_made_of_psd(tmp_path: Path) -> None:
    picture = noise(4)
    load(write(tmp_path / "a.png", picture)).save(str(tmp_path / "a.psd"))
    load(tmp_path / "a.psd").save(str(tmp_path / "b.png"), PngOptions())
    assert worst(read(tmp_path / "b.png", "RGBA"), picture) == 0
