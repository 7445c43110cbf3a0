"""Thumbnails have the colors of their picture: of a picture that is made small, and those that EXIF, JFIF and PSD files
have beside it, for every format and color model. What the colors are is worked out here, or by Pillow and lcms."""

from __future__ import annotations

import io
import subprocess
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Image, ResizeType
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JFIFData, JpegCompressionColorMode, JpegImage
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, PsdOptions

from support import dicom_files
from support import tiff_files as tiff
from support.arrays import Pixels
from support.color_profiles import in_srgb, other_rgb
from support.image_oracles import load, write_16_bits

SIDE = 320  # of the four squares: a decoder may make a picture of such a size smaller by itself
SMALL = 64  # the squares begin where blocks of JPEG do, also those of colors
COLORS = np.array([[200, 30, 10], [20, 160, 240], [90, 90, 90], [250, 250, 20]], np.uint8)
GRAYS = np.array([[20], [90], [170], [250]], np.uint8)
INKS = np.array([[180, 20, 10, 0], [10, 200, 30, 40], [0, 0, 0, 200], [5, 10, 240, 10]], np.uint8)
LABS = np.array([[60, 50, 40], [70, -60, 20], [40, 10, -60], [90, 0, 0]])

# A file in the folder, and the colors that it shows, square by square.
Make = Callable[[Path], tuple[Path, Pixels]]


def squares(colors: Pixels) -> Pixels:
    return np.kron(colors.reshape(2, 2, -1), np.ones((SIDE, SIDE, 1), colors.dtype))


def own_press_profile(folder: Path) -> bytes:
    """That of the library, which colors of ink without a profile belong to: it embeds it where it makes such colors."""
    options = JpegOptions()
    options.color_type = JpegCompressionColorMode.CMYK
    Pillow.new("RGB", (8, 8)).save(folder / "rgb.png")
    Image.load(str(folder / "rgb.png")).save(str(folder / "ink.jpg"), options)
    with Pillow.open(folder / "ink.jpg") as picture:
        return bytes(picture.info["icc_profile"])


def by_lcms(picture: Pillow.Image, profile: object) -> Pixels:
    return np.asarray(ImageCms.profileToProfile(
        picture, profile, ImageCms.createProfile("sRGB"), outputMode="RGB",
        renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC)).reshape(-1, 3)


def shown_inks(profile: bytes) -> Pixels:
    return by_lcms(Pillow.fromarray(INKS.reshape(2, 2, 4), "CMYK"), io.BytesIO(profile))


def shown_labs() -> Pixels:
    numbers = np.stack([np.round(LABS[:, 0] * 2.55), LABS[:, 1] + 128, LABS[:, 2] + 128], 1).astype(np.uint8)
    bands = [Pillow.fromarray(numbers[:, band].reshape(2, 2)) for band in range(3)]
    return by_lcms(Pillow.merge("LAB", bands), ImageCms.createProfile("LAB"))


def plain(name: str, **options: object) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        Pillow.fromarray(squares(COLORS)).save(folder / name, **options)
        return folder / name, COLORS
    return make


def gray(name: str) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        Pillow.fromarray(squares(GRAYS)[..., 0]).save(folder / name)
        return folder / name, np.repeat(GRAYS, 3, 1)
    return make


def palette(name: str, profile: bytes | None) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        Pillow.fromarray(squares(COLORS)).quantize(4).save(folder / name, icc_profile=profile)
        return folder / name, in_srgb(COLORS[None], profile)[0] if profile else COLORS
    return make


def profiled(name: str, **options: object) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        plain(name, icc_profile=other_rgb(), **options)(folder)
        return folder / name, in_srgb(COLORS[None], other_rgb())[0]
    return make


def inks(name: str, with_profile: bool) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        profile = own_press_profile(folder)
        Pillow.fromarray(squares(INKS), "CMYK").save(folder / name, quality=95,
                                                     icc_profile=profile if with_profile else None)
        return folder / name, shown_inks(profile)
    return make


def deep_png(folder: Path) -> tuple[Path, Pixels]:
    return Path(write_16_bits(folder / "a.png", squares(COLORS.astype(np.uint16) * 257))), COLORS


def of_tiff(form: tiff.Form, samples: Pixels, shown: Pixels | None = None) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        (folder / "a.tif").write_bytes(tiff.tiff_bytes(squares(samples).astype(form.type()), form))
        if form.photometric == tiff.CMYK:
            return folder / "a.tif", shown_inks(own_press_profile(folder))
        return folder / "a.tif", shown_labs() if shown is None else shown
    return make


def of_dicom(samples: Pixels, photometric: str, shown: Pixels) -> Make:
    def make(folder: Path) -> tuple[Path, Pixels]:
        array = squares(samples)
        data = dicom_files.picture(array if array.shape[2] > 1 else array[..., 0], photometric,
                                   more=dicom_files.palette_elements(COLORS.astype(np.uint16) * 257)
                                   if photometric == "PALETTE COLOR" else [])
        (folder / "a.dcm").write_bytes(data)
        return folder / "a.dcm", shown
    return make


def as_psd(make: Make, **settings: object) -> Make:
    """The picture of a file as PSD."""
    def make_psd(folder: Path) -> tuple[Path, Pixels]:
        path, shown = make(folder)
        options = PsdOptions()
        for name, value in settings.items():
            setattr(options, name, value)
        load(path).save(str(folder / "a.psd"), options)
        return folder / "a.psd", shown
    return make_psd


def wide(samples: Pixels) -> Pixels:
    return samples.astype(np.uint16) * 257


LAB_8 = tiff.Form("lab", tiff.LAB, 3)
LAB_16 = tiff.Form("lab 16", tiff.LAB, 3, 16)
LAB_SAMPLES = np.stack([np.round(LABS[:, 0] * 2.55), LABS[:, 1], LABS[:, 2]], 1).astype(int)
LAB_DEEP = np.stack([np.round(LABS[:, 0] * 655.35), LABS[:, 1] * 256, LABS[:, 2] * 256], 1).astype(int)
CMYK_16 = tiff.Form("ink 16", tiff.CMYK, 4, 16)
RGB_16 = tiff.Form("rgb 16", tiff.RGB, 3, 16)
FLOATS = tiff.Form("floats", tiff.RGB, 3, 32, 3)
GRAYS_SHOWN = np.repeat(GRAYS, 3, 1)

PICTURES: dict[str, Make] = {
    "png": plain("a.png"), "png gray": gray("a.png"), "png palette": palette("a.png", None),
    "png palette of a profile": palette("a.png", other_rgb()), "png of a profile": profiled("a.png"),
    "png 16": deep_png, "bmp": plain("a.bmp"), "gif": palette("a.gif", None), "tga": plain("a.tga"),
    "webp": plain("a.webp", lossless=True), "webp of a profile": profiled("a.webp", lossless=True),
    "jpeg": plain("a.jpg", quality=95), "jpeg gray": gray("a.jpg"), "jpeg of a profile": profiled("a.jpg", quality=95),
    "jpeg of ink": inks("a.jpg", True), "jpeg of ink without a profile": inks("a.jpg", False),
    "jpeg 2000": plain("a.jp2"), "jpeg 2000 gray": gray("a.jp2"),
    "tiff": plain("a.tif"), "tiff of a profile": profiled("a.tif"), "tiff of ink": inks("a.tif", True),
    "tiff of ink without a profile": inks("a.tif", False), "tiff of ink 16": of_tiff(CMYK_16, wide(INKS)),
    "tiff 16": of_tiff(RGB_16, wide(COLORS), COLORS), "tiff of floats": of_tiff(FLOATS, COLORS / 255, COLORS),
    "tiff lab": of_tiff(LAB_8, LAB_SAMPLES), "tiff lab 16": of_tiff(LAB_16, LAB_DEEP),
    "dicom": of_dicom(COLORS, "RGB", COLORS), "dicom gray": of_dicom(GRAYS, "MONOCHROME2", GRAYS_SHOWN),
    "dicom inverse": of_dicom(255 - GRAYS, "MONOCHROME1", GRAYS_SHOWN),
    "dicom palette": of_dicom(np.arange(4, dtype=np.uint8)[:, None], "PALETTE COLOR", COLORS),
    "psd": as_psd(plain("a.png")), "psd of a profile": as_psd(profiled("a.png")),
    "psd palette of a profile": as_psd(palette("a.png", other_rgb())), "psd gray": as_psd(gray("a.png")),
    "psd 16": as_psd(deep_png), "psd of floats": as_psd(plain("a.png"), channel_bits_count=32),
    "psd of ink": as_psd(inks("a.tif", True)), "psd of ink without a profile": as_psd(inks("a.tif", False)),
    "psd of ink 16": as_psd(of_tiff(CMYK_16, wide(INKS))), "psd lab": as_psd(of_tiff(LAB_8, LAB_SAMPLES)),
    "psd lab 16": as_psd(of_tiff(LAB_16, LAB_DEEP)),
}


def check(picture: Pillow.Image, shown: Pixels, what: str) -> None:
    """The colors in the middle of the four squares of a small picture, which any program takes for sRGB."""
    pixels = np.asarray(picture.convert("RGB")).astype(int)
    height, width = pixels.shape[:2]
    middles = [pixels[height * row // 4, width * column // 4] for row in (1, 3) for column in (1, 3)]
    assert np.abs(np.array(middles) - shown).max() <= 6, (what, np.array(middles).tolist(), shown.tolist())


def in_file(path: Path, tag: str) -> Pillow.Image:
    data = subprocess.run(["exiftool", "-b", tag, path], capture_output=True, check=True, timeout=60).stdout
    picture = Pillow.open(io.BytesIO(data))
    assert picture.format == "JPEG" and picture.mode in ("L", "RGB") and "icc_profile" not in picture.info
    return picture


def in_header(path: Path) -> Pillow.Image:
    """The small picture in the JFIF header of a file."""
    data = path.read_bytes()
    assert data[2:4] == b"\xff\xe0" and data[6:11] == b"JFIF\0"
    width, height = data[18:20]
    return Pillow.frombytes("RGB", (width, height), data[20:20 + 3 * width * height])


def standard(path: Path) -> Pillow.Image:
    """A picture of which lcms makes sRGB, if it has a profile."""
    with Pillow.open(path) as picture:
        profile = picture.info.get("icc_profile")
        if profile is None:
            return picture.convert("RGB")
        return Pillow.fromarray(in_srgb(np.asarray(picture.convert("RGB")), profile).astype(np.uint8))


@pytest.mark.parametrize("name", PICTURES)
def test_thumbnails_have_the_colors_of_the_picture(name: str, tmp_path: Path) -> None:
    path, shown = PICTURES[name](tmp_path)
    load(path).save(str(tmp_path / "whole.png"), PngOptions())
    check(standard(tmp_path / "whole.png"), shown, "picture")

    small = load(path)
    small.resize(SMALL, SMALL, ResizeType.BILINEAR_RESAMPLE)
    small.save(str(tmp_path / "small.png"), PngOptions())
    check(standard(tmp_path / "small.png"), shown, "scaled")

    Pillow.new("RGB", (16, 16)).save(tmp_path / "blank.jpg")
    with JpegImage(str(tmp_path / "blank.jpg")) as image:
        image.exif_data = JpegExifData()
        image.exif_data.thumbnail = small
        image.jfif = JFIFData()
        image.jfif.thumbnail = small
        image.save(str(tmp_path / "with.jpg"), JpegOptions())
    check(in_file(tmp_path / "with.jpg", "-ThumbnailImage"), shown, "EXIF")
    check(in_header(tmp_path / "with.jpg"), shown, "JFIF")

    options = PsdOptions()
    options.refresh_image_preview_data = True
    load(path).save(str(tmp_path / "with.psd"), options)
    check(in_file(tmp_path / "with.psd", "-PhotoshopThumbnail"), shown, "PSD")
