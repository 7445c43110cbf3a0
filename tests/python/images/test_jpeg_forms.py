"""JPEG files of every kind that libjpeg's programs and Pillow write: what is loaded and saved, pixel by pixel."""

from __future__ import annotations

import io
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import (Color, DataRecoveryMode, Image, LoadOptions, PixelDataFormat, RasterImage,
                            Rectangle)
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode, JpegCompressionMode
from zelmor.imaging.imageoptions import JpegOptions

from support.image_oracles import Pixels, load, managed_error, noise, raster, read, smooth, worst, write

SIZES = [(1, 1), (9, 17), (17, 9), (61, 43)]

#: Arguments of cjpeg.
CODINGS = ["", "-progressive", "-arithmetic", "-arithmetic -progressive", "-restart 1", "-restart 3B -optimize",
           "-progressive -restart 1", "-quality 4", "-quality 100 -dct float"]
SAMPLINGS = ["-grayscale", "-rgb", "-sample 1x1", "-sample 2x1", "-sample 2x2", "-sample 1x2", "-sample 4x1",
             "-sample 2x2,1x2,2x1", "-sample 1x1,2x2,2x2"]


def run(command: str, data: bytes) -> bytes:
    """What a program makes of its input."""
    return subprocess.run(command.split(), input=data, capture_output=True, check=True).stdout


def portable(pixels: Pixels) -> bytes:
    """A file that cjpeg reads."""
    file = io.BytesIO()
    Pillow.fromarray(pixels.astype(np.uint8)).save(file, "PPM")
    return file.getvalue()


def decoded_by_djpeg(data: bytes) -> Pixels:
    """The pixels of a file by libjpeg's own program."""
    with Pillow.open(io.BytesIO(run("djpeg -pnm", data))) as picture:
        return np.asarray(picture)


def loaded(image: RasterImage) -> Pixels:
    """The pixels of a loaded image, one band for gray."""
    colors = np.array(list(image.load_argb_32_pixels(Rectangle(0, 0, image.width, image.height))), np.int32)
    words = colors.view(np.uint32).reshape(image.height, image.width)
    assert (words >> 24 == 255).all()
    if image.bits_per_pixel == 8:
        return (words & 255).astype(np.uint8)
    return np.stack([words >> 16 & 255, words >> 8 & 255, words & 255], -1).astype(np.uint8)


@pytest.mark.parametrize("sampling", SAMPLINGS)
@pytest.mark.parametrize("coding", CODINGS)
def test_pixels_are_those_of_djpeg_and_pillow(tmp_path: Path, coding: str, sampling: str) -> None:
    for width, height in SIZES:
        data = run(f"cjpeg {coding} {sampling}", portable(smooth(3, width, height)))
        (tmp_path / "a.jpg").write_bytes(data)
        got = loaded(load(tmp_path / "a.jpg"))
        assert np.array_equal(got, decoded_by_djpeg(data))
        assert worst(got, read(tmp_path / "a.jpg")) == 0
        assert np.array_equal(loaded(raster(Image.load(io.BytesIO(data)))), got)


@pytest.mark.parametrize("options", [
    {"quality": 30}, {"quality": 95, "subsampling": 0}, {"subsampling": 1}, {"progressive": True}, {"optimize": True},
    {"restart_marker_rows": 1}, {"qtables": "web_low"}])
@pytest.mark.parametrize("bands", [1, 3, 4])
def test_pixels_of_files_by_pillow(tmp_path: Path, bands: int, options: dict[str, Any]) -> None:
    mode = {1: "L", 3: "RGB", 4: "CMYK"}[bands]
    for width, height in SIZES:
        Pillow.fromarray(smooth(bands, width, height), mode).save(tmp_path / "a.jpg", **options)
        image = load(tmp_path / "a.jpg")
        assert image.bits_per_pixel == 8 * bands
        if bands < 4:
            got = loaded(image)
        else:
            colors = image.load_cmyk_pixels(Rectangle(0, 0, width, height))
            got = np.array([(c.c, c.m, c.y, c.k) for c in colors], np.uint8).reshape(height, width, 4)
        assert worst(got, read(tmp_path / "a.jpg")) == 0


@pytest.mark.parametrize("quality", [1, 50, 75, 89, 90, 100])
@pytest.mark.parametrize("progressive", [False, True])
@pytest.mark.parametrize("color", [JpegCompressionColorMode.GRAYSCALE, JpegCompressionColorMode.Y_CB_CR])
def test_saved_files_are_those_of_cjpeg(tmp_path: Path, quality: int, progressive: bool,
                                        color: JpegCompressionColorMode) -> None:
    options = JpegOptions()
    options.quality = quality
    options.color_type = color
    options.compression_type = JpegCompressionMode.PROGRESSIVE if progressive else JpegCompressionMode.BASELINE
    gray = color == JpegCompressionColorMode.GRAYSCALE
    for width, height in SIZES:
        pixels = smooth(1 if gray else 3, width, height)
        Image.load(write(tmp_path / "a.png", pixels)).save(str(tmp_path / "a.jpg"), options)
        sampling = "1x1" if quality >= 90 or gray else "2x2"
        mode = "-progressive" if progressive else ""
        expected = run(f"cjpeg -quality {quality} -baseline -optimize {mode} -sample {sampling}", portable(pixels))
        got = (tmp_path / "a.jpg").read_bytes()
        # All from the first table on: before it are the resolution, and what describes the picture.
        assert got[got.index(b"\xff\xdb"):] == expected[expected.index(b"\xff\xdb"):]


def frame_of(data: bytes) -> list[tuple[int, int]]:
    """The sampling factors of each component, as the header of the frame says."""
    at = 2
    while data[at + 1] not in (0xC0, 0xC1, 0xC2):
        at += 2 + int.from_bytes(data[at + 2:at + 4], "big")
    factors = [data[at + 11 + 3 * i] for i in range(data[at + 9])]
    return [(factor >> 4, factor & 15) for factor in factors]


def adobe_transform(data: bytes) -> int | None:
    """How Adobe's segment says that the colors are stored."""
    at = data.find(b"\xff\xee\0\x0eAdobe")
    return data[at + 15] if at >= 0 else None


def saved_with(image: Image, quality: int = 95, **properties: Any) -> bytes:
    options = JpegOptions()
    options.quality = quality
    for name, value in properties.items():
        setattr(options, name, bytes(value) if name.endswith("_sampling") else value)
    file = io.BytesIO()
    image.save(file, options)
    return file.getvalue()


@pytest.mark.parametrize("progressive", [False, True])
@pytest.mark.parametrize(("horizontal", "vertical"), [
    ([2, 1, 1], [2, 1, 1]), ([2, 1, 1], [1, 1, 1]), ([1, 1, 1], [2, 1, 1]), ([4, 1, 1], [1, 1, 1]),
    ([1, 1, 1], [1, 1, 1]), ([1, 2, 1], [1, 2, 1]), ([2, 2, 1], [2, 1, 1]), ([3, 1, 3], [1, 1, 1])])
def test_sampling_is_that_of_the_options(tmp_path: Path, horizontal: list[int], vertical: list[int],
                                         progressive: bool) -> None:
    picture = smooth()
    image = Image.load(write(tmp_path / "a.png", picture))
    data = saved_with(image, horizontal_sampling=horizontal, vertical_sampling=vertical,
                      compression_type=JpegCompressionMode(progressive))
    assert frame_of(data) == list(zip(horizontal, vertical))
    factors = ",".join(f"{h}x{v}" for h, v in zip(horizontal, vertical))
    # The program wants the colors first that have the most samples, and takes any factors otherwise.
    command = f"cjpeg -optimize -quality 95 -sample {factors}" + (" -progressive" if progressive else "")
    assert np.array_equal(np.asarray(Pillow.open(io.BytesIO(data))),
                          np.asarray(Pillow.open(io.BytesIO(run(command, portable(picture))))))


def test_sampling_of_one_direction_and_of_other_colors(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", smooth()))
    assert frame_of(saved_with(image, 50, horizontal_sampling=[2, 1, 1])) == [(2, 1), (1, 1), (1, 1)]
    assert frame_of(saved_with(image, 50, vertical_sampling=[2, 1, 1])) == [(1, 2), (1, 1), (1, 1)]
    assert frame_of(saved_with(image, 50)) == [(2, 2), (1, 1), (1, 1)]
    cmyk = saved_with(image, color_type=JpegCompressionColorMode.CMYK, horizontal_sampling=[1, 1, 1, 2])
    assert frame_of(cmyk) == [(1, 1), (1, 1), (1, 1), (2, 1)]
    gray = saved_with(image, color_type=JpegCompressionColorMode.GRAYSCALE, horizontal_sampling=[2])
    assert frame_of(gray) == [(2, 1)]


@pytest.mark.parametrize(("values", "kind", "text"), [
    ([2, 1], "ArgumentException", "JpegOptions.HorizontalSampling has 2 values; these colors have 3 components."),
    ([], "ArgumentException", "JpegOptions.HorizontalSampling has 0 values; these colors have 3 components."),
    ([0, 1, 1], "ArgumentOutOfRangeException", "The values of JpegOptions.HorizontalSampling have to be 1, 2, 3 or 4."),
    ([5, 1, 1], "ArgumentOutOfRangeException", "The values of JpegOptions.HorizontalSampling have to be 1, 2, 3 or 4."),
    ([3, 2, 1], "NotSupportedException",
     "A value of JpegOptions.HorizontalSampling that does not divide the greatest one"),
    ([4, 4, 4], "ImageSaveException", "HorizontalSampling and VerticalSampling make 12"),
])
def test_sampling_that_no_file_has_is_refused(tmp_path: Path, values: list[int], kind: str, text: str) -> None:
    image = Image.load(write(tmp_path / "a.png", smooth()))
    with managed_error(kind, text):
        saved_with(image, horizontal_sampling=values)


def test_rgb_is_stored_as_it_is(tmp_path: Path) -> None:
    picture = smooth()
    image = Image.load(write(tmp_path / "a.png", picture))
    data = saved_with(image, color_type=JpegCompressionColorMode.RGB)
    assert adobe_transform(data) == 0
    other = run("cjpeg -rgb -quality 95 -optimize", portable(picture))
    assert np.array_equal(np.asarray(Pillow.open(io.BytesIO(data))), np.asarray(Pillow.open(io.BytesIO(other))))
    (tmp_path / "b.jpg").write_bytes(data)
    again = load(tmp_path / "b.jpg")
    assert JpegOptions._cast_to(again.get_original_options()).value.color_type == JpegCompressionColorMode.RGB
    again.save(str(tmp_path / "c.jpg"))
    assert adobe_transform((tmp_path / "c.jpg").read_bytes()) == 0


def test_inks_are_stored_as_ycck(tmp_path: Path) -> None:
    inks = smooth(4)
    Pillow.fromarray(inks, "CMYK").save(tmp_path / "a.tif")
    image = Image.load(str(tmp_path / "a.tif"))
    modes = (JpegCompressionColorMode.CMYK, JpegCompressionColorMode.YCCK)
    files = {mode: saved_with(image, color_type=mode) for mode in modes}
    assert [adobe_transform(data) for data in files.values()] == [0, 2]
    for mode, data in files.items():
        found = np.asarray(Pillow.open(io.BytesIO(data))).astype(int)
        assert np.abs(found - inks).max() < 12
        (tmp_path / "b.jpg").write_bytes(data)
        again = load(tmp_path / "b.jpg")
        assert JpegOptions._cast_to(again.get_original_options()).value.color_type == mode
        again.save(str(tmp_path / "c.jpg"))
        assert adobe_transform((tmp_path / "c.jpg").read_bytes()) == adobe_transform(data)


def test_an_untouched_file_keeps_what_describes_it(tmp_path: Path) -> None:
    exif = Pillow.Exif()
    exif[271] = "maker"
    exif[282], exif[283], exif[296] = 240.0, 120.0, 2
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    Pillow.fromarray(smooth()).save(tmp_path / "a.jpg", exif=exif, icc_profile=profile, dpi=(300, 300),
                                    comment="a word", quality=92, subsampling=0, progressive=True)
    image = load(tmp_path / "a.jpg")
    assert (image.horizontal_resolution, image.vertical_resolution) == (240, 120)
    image.save(str(tmp_path / "b.jpg"))
    with Pillow.open(tmp_path / "b.jpg") as picture:
        assert picture.info["icc_profile"] == profile
        assert picture.info["comment"] == b"a word"
        assert picture.info["progressive"]
        assert picture.getexif()[271] == "maker"
        assert picture.getexif()[282] == 240
        assert picture.layer[0][1:3] == (1, 1)
    assert worst(read(tmp_path / "b.jpg"), read(tmp_path / "a.jpg")) <= 6


def test_a_profile_of_many_segments(tmp_path: Path) -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    long = profile + bytes(200_000)
    long = len(long).to_bytes(4, "big") + long[4:]
    Pillow.fromarray(smooth()).save(tmp_path / "a.jpg", icc_profile=long)
    load(tmp_path / "a.jpg").save(str(tmp_path / "b.jpg"))
    with Pillow.open(tmp_path / "b.jpg") as picture:
        assert picture.info["icc_profile"] == long
    # Without its second segment there is no profile.
    data = (tmp_path / "a.jpg").read_bytes()
    at = data.index(b"\xff\xe2", data.index(b"\xff\xe2") + 2)
    (tmp_path / "a.jpg").write_bytes(data[:at] + data[at + 2 + int.from_bytes(data[at + 2:at + 4], "big"):])
    load(tmp_path / "a.jpg").save(str(tmp_path / "b.jpg"))
    with Pillow.open(tmp_path / "b.jpg") as picture:
        assert "icc_profile" not in picture.info


@pytest.mark.parametrize("progressive", [False, True])
def test_a_file_that_ends_early_is_damaged(progressive: bool) -> None:
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, "JPEG", progressive=progressive)
    data = file.getvalue()
    for length in [*range(700, len(data), 97), len(data) - 2, len(data) - 1]:
        with managed_error("ImageLoadException", "the JPEG data is damaged or incomplete: Premature end"):
            Image.load(io.BytesIO(data[:length])).save(io.BytesIO(), JpegOptions())


def test_other_codings_are_named() -> None:
    file = io.BytesIO()
    Pillow.fromarray(noise()).save(file, "JPEG")
    data = bytearray(file.getvalue())
    frame = data.index(b"\xff\xc0")
    for marker, bits, text in ((0xC2, 12, "progressive JPEG of more than 8 bits"), (0xC7, 8, "differential JPEG"),
                               (0xC9, 12, "arithmetic or differential"), (0xC5, 8, "Unsupported JPEG process")):
        data[frame + 4], data[frame + 1] = bits, marker
        with managed_error("NotSupportedException", text):
            Image.load(io.BytesIO(bytes(data)))


def test_lost_pixels_of_gray_and_ink_get_a_background_of_any_color() -> None:
    """The pixels that are there stay. Gray becomes RGB, which can hold the color; inks get their nearest."""
    for mode, bands in (("L", 1), ("CMYK", 4)):
        file = io.BytesIO()
        Pillow.fromarray(noise(bands, 1, 96, 128), mode).save(file, "JPEG")
        data = file.getvalue()
        whole = raster(Image.load(io.BytesIO(data)))
        found = []
        for recovery in (DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER):
            options = LoadOptions()
            options.data_recovery_mode = recovery
            options.data_background_color = Color.blue
            image = raster(Image.load(io.BytesIO(data[:len(data) // 2]), options))
            assert image.get_argb_32_pixel(5, 5) == whole.get_argb_32_pixel(5, 5)
            found.append(image.get_argb_32_pixel(95, 127) & 0xFFFFFFFF)
        assert found[0] == found[1]
        red, green, blue = found[0] >> 16 & 255, found[0] >> 8 & 255, found[0] & 255
        assert (red, green, blue) == (0, 0, 255) if mode == "L" else blue > 2 * red


def test_raw_data_of_inks_is_that_of_pillow(tmp_path: Path) -> None:
    Pillow.fromarray(noise(4, 3, 40, 30), "CMYK").save(tmp_path / "a.jpg", quality=96)
    image = load(tmp_path / "a.jpg")
    assert image.raw_data_format.pixel_format == PixelDataFormat.cmyk.pixel_format
    data = bytes(image.get_default_raw_data(Rectangle(0, 0, 40, 30), image.raw_data_settings))
    assert worst(np.frombuffer(data, np.uint8).reshape(30, 40, 4), read(tmp_path / "a.jpg")) == 0


@pytest.mark.parametrize(("mode", "name", "channels"), [
    (JpegCompressionColorMode.GRAYSCALE, "Grayscale", 1), (JpegCompressionColorMode.Y_CB_CR, "Rgb24Bpp", 3),
    (JpegCompressionColorMode.RGB, "Rgb24Bpp", 3), (JpegCompressionColorMode.CMYK, "Cmyk", 4),
    (JpegCompressionColorMode.YCCK, "Cmyk", 4)])
def test_a_new_image_has_the_channels_of_its_colors(mode: JpegCompressionColorMode, name: str, channels: int) -> None:
    options = JpegOptions()
    options.color_type = mode
    image = raster(Image.create(options, 5, 4))
    assert (str(image.raw_data_format), image.bits_per_pixel) == (name, 8 * channels)
    assert list(image.raw_data_format.channel_bits) == [8] * channels
