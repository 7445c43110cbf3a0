"""Color profiles of pictures that are no 8-bit RGB: indices, gray of few bits, inks and CIE L*a*b*."""

from __future__ import annotations

import io
import struct
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Image, LoadOptions
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat, TiffPhotometrics
from zelmor.imaging.imageoptions import JpegOptions, PngOptions, TiffOptions
from zelmor.imaging.sources import StreamSource

from support import tiff_files as tiff
from support.color_profiles import in_srgb, other_rgb
from support.image_oracles import Pixels, few_colors, load, raster, smooth, worst
from support.tiff_files import Form

LUMA = np.array([0.299, 0.587, 0.114])


def gray_profile(gamma: float) -> bytes:
    """A profile of gray with a power for its curve, as the format of ICC writes it."""
    white = b"XYZ \0\0\0\0" + struct.pack(">iii", 63190, 65536, 54061)
    curve = b"curv\0\0\0\0" + struct.pack(">IH2x", 1, round(gamma * 256))
    text = b"desc\0\0\0\0" + struct.pack(">I", 5) + b"gray\0" + bytes(79)
    note = b"text\0\0\0\0free\0\0\0\0"
    tags, data = b"", b""
    for name, content in ((b"wtpt", white), (b"kTRC", curve), (b"desc", text), (b"cprt", note)):
        tags += struct.pack(">4sII", name, 128 + 4 + 48 + len(data), len(content))
        data += content + bytes(-len(content) % 4)
    head = struct.pack(">I4sI4s4s4s12x4s", 128 + 4 + 48 + len(data), b"test", 0x02400000, b"mntr", b"GRAY", b"XYZ ",
                       b"acsp").ljust(68, b"\0") + struct.pack(">iii", 63190, 65536, 54061)
    return head.ljust(128, b"\0") + struct.pack(">I", 4) + tags + data


def shown(level: Pixels, gamma: float) -> Pixels:
    """Levels from 0 to 1 in the curve of sRGB."""
    light = level**gamma
    return np.asarray(np.where(light <= 0.0031308, 12.92 * light, 1.055 * light**(1 / 2.4) - 0.055))


def converted(path: Path) -> Image:
    options = LoadOptions()
    options.use_icc_profile_conversion = True
    return Image.load(str(path), options)


# ---- Indices

def indexed(tmp_path: Path, profile: bytes) -> Path:
    Pillow.fromarray(few_colors(16)).quantize(16).save(tmp_path / "a.png", icc_profile=profile)
    return tmp_path / "a.png"


def test_a_palette_with_a_profile_is_kept(tmp_path: Path) -> None:
    profile = other_rgb()
    load(indexed(tmp_path, profile)).save(str(tmp_path / "b.png"))
    with Pillow.open(tmp_path / "b.png") as picture:
        assert picture.mode == "P" and picture.info["icc_profile"] == profile
        assert worst(np.asarray(picture.convert("RGB")), few_colors(16)) == 0


def test_the_colors_of_a_palette_are_converted(tmp_path: Path) -> None:
    """On loading, and for a format without profiles; indices stay where the format has them by default."""
    profile = other_rgb()
    path = indexed(tmp_path, profile)
    expected = in_srgb(few_colors(16), profile)
    assert worst(expected, few_colors(16)) > 10
    converted(path).save(str(tmp_path / "b.png"))
    load(path).save(str(tmp_path / "c.bmp"))
    load(path).save(str(tmp_path / "d.gif"))
    for name in ("b.png", "c.bmp", "d.gif"):
        with Pillow.open(tmp_path / name) as picture:
            assert (picture.mode == "P") == (name != "c.bmp") and "icc_profile" not in picture.info
            assert worst(np.asarray(picture.convert("RGB")), expected) <= 1


# ---- Gray

@pytest.mark.parametrize(("bits", "alpha"), [(1, False), (2, False), (4, False), (8, False), (8, True), (16, False),
                                             (16, True)])
def test_gray_is_converted(tmp_path: Path, bits: int, alpha: bool) -> None:
    """Gray of few bits has 8 then. Near black the curves are steep, and the tables that they are made of coarse."""
    profile = gray_profile(1.75)
    ImageCms.ImageCmsProfile(io.BytesIO(profile))
    form = Form("gray", tiff.BLACK_IS_ZERO, 2 if alpha else 1, bits, extra=2 if alpha else None,
                tags={tiff.PROFILE: tuple(profile)})
    samples = form.noise(37, 29)
    (tmp_path / "a.tif").write_bytes(tiff.tiff_bytes(samples, form))
    image = load(tmp_path / "a.tif")
    image.save(str(tmp_path / "b.tif"))
    assert tiff.page(tmp_path / "b.tif").tags[tiff.PROFILE] == tuple(profile)
    converted(tmp_path / "a.tif").save(str(tmp_path / "c.tif"))
    page = tiff.page(tmp_path / "c.tif")
    assert tiff.PROFILE not in page.tags and page.number(tiff.BITS) == max(8, bits)
    after = Form("gray", tiff.BLACK_IS_ZERO, form.bands, max(8, bits), extra=form.extra)
    found = tiff.plain_samples(tmp_path / "c.tif", after).astype(float) / (2**after.bits - 1)
    level = samples[..., 0] / (2**bits - 1)
    differences = np.abs(found[..., 0] - shown(level, 1.75))
    assert differences.max() <= 0.01
    assert differences[level > 0.1].max() <= (0.001 if after.bits == 16 else 1.01 / 255)
    if alpha:
        assert (found[..., 1] == samples[..., 1] / (2**bits - 1)).all()


def test_gray_is_given_a_profile_of_colors(tmp_path: Path) -> None:
    """A JPEG with a profile of RGB has three channels, which have the gray as the profile writes it."""
    profile = other_rgb()
    Pillow.fromarray(smooth(1)).save(tmp_path / "a.png")
    options = JpegOptions()
    options.quality, options.rgb_color_profile = 100, StreamSource(io.BytesIO(profile))
    load(tmp_path / "a.png").save(str(tmp_path / "b.jpg"), options)
    with Pillow.open(tmp_path / "b.jpg") as picture:
        assert picture.mode == "RGB" and picture.info["icc_profile"] == profile
        back = in_srgb(np.asarray(picture), profile)
    assert worst(back, np.repeat(smooth(1)[..., None], 3, -1)) <= 4


def test_colors_of_the_wanted_profile_stay(tmp_path: Path) -> None:
    profile = other_rgb()
    Pillow.fromarray(smooth()).save(tmp_path / "a.png", icc_profile=profile)
    found = []
    for wanted in (None, profile):
        options = JpegOptions()
        if wanted is not None:
            options.rgb_color_profile = StreamSource(io.BytesIO(wanted))
        load(tmp_path / "a.png").save(str(tmp_path / "b.jpg"), options)
        with Pillow.open(tmp_path / "b.jpg") as picture:
            found.append((np.asarray(picture), picture.info["icc_profile"]))
    assert worst(found[0][0], found[1][0]) == 0 and found[0][1] == found[1][1] == profile


# ---- Inks and L*a*b*

FORMS = [Form("cmyk", tiff.CMYK, 4), Form("cmyk16", tiff.CMYK, 4, 16), Form("cmyk and alpha", tiff.CMYK, 5, extra=2),
         Form("lab", tiff.LAB, 3), Form("lab16", tiff.LAB, 3, 16), Form("lab and alpha", tiff.LAB, 4, extra=2)]


def made(tmp_path: Path, form: Form) -> Path:
    samples = form.noise(37, 29)
    if form.photometric == tiff.LAB:  # colors that a screen has
        share = 2**(form.bits - 8)
        samples[..., 0] = 60 * share + samples[..., 0] % (120 * share)
        samples[..., 1:3] = (samples[..., 1:3] % (40 * share) - 20 * share).astype(samples.dtype)
    if form.extra:
        samples[..., -1] = 255
    (tmp_path / "a.tif").write_bytes(tiff.tiff_bytes(samples, form))
    return tmp_path / "a.tif"


def colors_of(image: Image) -> Pixels:
    words = np.array(list(raster(image).load_argb_32_pixels(image.bounds)), np.int64).reshape(image.height, -1, 1)
    return words >> np.array([16, 8, 0]) & 255


@pytest.mark.parametrize("form", FORMS, ids=lambda form: form.name)
def test_gray_of_other_models_is_that_of_their_colors(tmp_path: Path, form: Form) -> None:
    path = made(tmp_path, form)
    options = PngOptions()
    options.color_type = PngColorType.GRAYSCALE
    load(path).save(str(tmp_path / "b.png"), options)
    expected = colors_of(load(path)) @ LUMA
    with Pillow.open(tmp_path / "b.png") as picture:
        found = np.asarray(picture).astype(float)
        found = found / 257 if found.max() > 255 else found
    assert np.abs(found - expected).max() <= 1.1
    image = load(path)
    image.grayscale()
    assert np.abs(colors_of(image)[..., 0] - expected).max() <= 1.1


@pytest.mark.parametrize("form", FORMS, ids=lambda form: form.name)
def test_a_conversion_on_loading_makes_rgb(tmp_path: Path, form: Form) -> None:
    path = made(tmp_path, form)
    image = converted(path)
    assert worst(colors_of(image), colors_of(load(path))) <= 1
    image.save(str(tmp_path / "b.tif"))
    assert tiff.page(tmp_path / "b.tif").number(tiff.PHOTOMETRIC) == tiff.RGB


@pytest.mark.parametrize(("form", "bits"), [(FORMS[3], 16), (FORMS[4], 8), (FORMS[0], 16), (FORMS[1], 8)])
def test_other_models_change_their_depth(tmp_path: Path, form: Form, bits: int) -> None:
    """The colors stay, as near as 8 bits have them."""
    path = made(tmp_path, form)
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    options.photometric = TiffPhotometrics.CIELAB if form.photometric == tiff.LAB else TiffPhotometrics.SEPARATED
    options.bits_per_sample = [bits] * form.bands
    load(path).save(str(tmp_path / "b.tif"), options)
    after = Form("", form.photometric, form.bands, bits)
    found = tiff.plain_samples(tmp_path / "b.tif", after).astype(int)
    samples = np.frombuffer(path.read_bytes()[8:8 + 37 * 29 * form.bands * (form.bits // 8)], form.type())
    samples = samples.reshape(29, 37, form.bands).astype(int)
    top, new_top = 2**form.bits - 1, 2**bits - 1
    if form.photometric == tiff.CMYK:
        assert np.abs(found / new_top - samples / top).max() <= 1.01 / 255
        return
    signed = [np.where(numbers >= 2**(depth - 1), numbers - 2**depth, numbers)[..., 1:] / 2.0**(depth - 8)
              for numbers, depth in ((found, bits), (samples, form.bits))]
    assert np.abs(found[..., 0] / new_top - samples[..., 0] / top).max() <= 0.51 / 255
    assert np.abs(signed[0] - signed[1]).max() <= 0.51
