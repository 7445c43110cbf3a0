"""TIFF: samples, layouts and settings, compared with the tools of libtiff, Pillow and the struct module."""

from __future__ import annotations

import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Color, DataRecoveryMode, Image, LoadOptions
from zelmor.imaging.fileformats.tiff import TiffRational
from zelmor.imaging.fileformats.tiff.enums import (Group3Options, TiffAlphaStorage, TiffCompressions,
                                                   TiffExpectedFormat, TiffFillOrders, TiffPhotometrics,
                                                   TiffPlanarConfigs, TiffPredictor, TiffResolutionUnits,
                                                   TiffSampleFormats)
from zelmor.imaging.imageoptions import BigTiffOptions, MultiPageOptions, PngOptions, TiffOptions

from support import tiff_files as tiff
from support.image_oracles import load, managed_error, noise, raster, read, smooth, worst, write
from support.tiff_files import Form

RAMP = tuple(range(0, 65536, 4369))
FORMS = [
    Form("bilevel", tiff.BLACK_IS_ZERO, 1, 1), Form("fax", tiff.WHITE_IS_ZERO, 1, 1), Form("mask", tiff.MASK, 1, 1),
    Form("gray2", tiff.BLACK_IS_ZERO, 1, 2), Form("gray4", tiff.BLACK_IS_ZERO, 1, 4),
    Form("gray", tiff.BLACK_IS_ZERO, 1), Form("inverted", tiff.WHITE_IS_ZERO, 1),
    Form("signed", tiff.BLACK_IS_ZERO, 1, 8, 2), Form("gray16", tiff.BLACK_IS_ZERO, 1, 16),
    Form("signed16", tiff.BLACK_IS_ZERO, 1, 16, 2), Form("gray32", tiff.BLACK_IS_ZERO, 1, 32),
    Form("signed32", tiff.BLACK_IS_ZERO, 1, 32, 2), Form("half", tiff.BLACK_IS_ZERO, 1, 16, 3),
    Form("float", tiff.BLACK_IS_ZERO, 1, 32, 3), Form("double", tiff.BLACK_IS_ZERO, 1, 64, 3),
    Form("gray and alpha", tiff.BLACK_IS_ZERO, 2, extra=2),
    Form("palette4", tiff.PALETTE, 1, 4, tags={tiff.COLOR_MAP: RAMP + RAMP[::-1] + RAMP}),
    Form("palette1", tiff.PALETTE, 1, 1, tags={tiff.COLOR_MAP: (0, 65535, 257, 1, 2, 40000)}),
    Form("rgb", tiff.RGB, 3), Form("rgba", tiff.RGB, 4, extra=2), Form("rgb and something", tiff.RGB, 4, extra=0),
    Form("rgb16", tiff.RGB, 3, 16), Form("rgba16", tiff.RGB, 4, 16, extra=2), Form("rgb half", tiff.RGB, 3, 16, 3),
    Form("rgb float", tiff.RGB, 3, 32, 3), Form("cmyk", tiff.CMYK, 4), Form("cmyk16", tiff.CMYK, 4, 16),
    Form("lab", tiff.LAB, 3), Form("lab16", tiff.LAB, 3, 16), Form("icc lab", tiff.ICC_LAB, 3),
]
#: Arguments of tiffcp.
LAYOUTS = {
    "plain": (), "lzw": ("-c", "lzw"), "lzw with predictor": ("-c", "lzw:2"), "deflate": ("-c", "zip"),
    "packbits": ("-c", "packbits"), "zstd": ("-c", "zstd"), "rows": ("-c", "lzw", "-r", "3"),
    "tiles": ("-c", "zip", "-t", "-w", "16", "-l", "32"), "planes": ("-p", "separate", "-r", "5"),
    "tiled planes": ("-c", "lzw", "-p", "separate", "-t", "-w", "16", "-l", "16"),
    "bits": ("-f", "lsb2msb", "-c", "lzw"), "big-endian": ("-B", "-c", "zip"), "BigTIFF": ("-8", "-c", "lzw"),
}
FAXES = {"g3": ("-c", "g3:1d"), "g3 2d": ("-c", "g3:2d:fill"), "g4": ("-c", "g4", "-f", "lsb2msb")}
#: Tags that an untouched save writes as they were.
KEPT = (tiff.WIDTH, tiff.HEIGHT, tiff.BITS, tiff.COMPRESSION, tiff.PHOTOMETRIC, tiff.FILL_ORDER, tiff.SAMPLES,
        tiff.ROWS_PER_STRIP, tiff.PLANES, tiff.PREDICTOR, tiff.COLOR_MAP, tiff.TILE_WIDTH, tiff.TILE_HEIGHT,
        tiff.EXTRA_SAMPLES, tiff.SAMPLE_FORMAT, tiff.FAX_OPTIONS, tiff.PROFILE, tiff.RESOLUTION_UNIT,
        tiff.X_RESOLUTION, tiff.Y_RESOLUTION)
DEFAULTS: tiff.Tags = {tiff.FILL_ORDER: (1,), tiff.PREDICTOR: (1,), tiff.PLANES: (1,), tiff.FAX_OPTIONS: (0,)}


def layouts(form: Form) -> dict[str, tuple[str, ...]]:
    """The layouts that tiffcp can give to a form."""
    kinds = dict(LAYOUTS)
    if form.bits not in (8, 16, 32):
        del kinds["lzw with predictor"]
    if form.bits != 8 or form.bands == 1:
        del kinds["planes"], kinds["tiled planes"]
    if form.bits == 1 and form.photometric != tiff.PALETTE:
        kinds.update(FAXES)
    return kinds


def kept(page: tiff.Page, form: Form) -> dict[int, Any]:
    """The tags that are kept, with what their absence means."""
    found: dict[int, Any] = {tag: page.tags.get(tag, DEFAULTS.get(tag)) for tag in KEPT}
    found[tiff.SAMPLE_FORMAT] = page.tags.get(tiff.SAMPLE_FORMAT, (1,))[:1]
    if found[tiff.ROWS_PER_STRIP]:
        found[tiff.ROWS_PER_STRIP] = (min(found[tiff.ROWS_PER_STRIP][0], page.number(tiff.HEIGHT)),)
    for tag in (tiff.X_RESOLUTION, tiff.Y_RESOLUTION):
        if found[tag]:
            found[tag] = found[tag][0] / found[tag][1]
    return found


@pytest.mark.parametrize("form", FORMS, ids=lambda form: form.name)
def test_an_untouched_save_gives_everything_back(tmp_path: Path, form: Form) -> None:
    samples = form.noise(37, 29)
    form.tags.update({tiff.X_RESOLUTION: (300, 1), tiff.Y_RESOLUTION: (11811, 100), tiff.RESOLUTION_UNIT: (3,)})
    (tmp_path / "source.tif").write_bytes(tiff.tiff_bytes(samples, form))
    for name, arguments in layouts(form).items():
        tiff.tool("tiffcp", *arguments, tmp_path / "source.tif", tmp_path / "in.tif")
        Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "out.tif"))
        before, after = tiff.page(tmp_path / "in.tif"), tiff.page(tmp_path / "out.tif")
        assert kept(after, form) == kept(before, form), name
        assert (after.order, after.big) == (before.order, before.big), name
        result = tiff.plain_samples(tmp_path / "out.tif", form)
        assert result.tobytes() == samples.tobytes(), name


@pytest.mark.parametrize("tags", [{}, {tiff.X_RESOLUTION: (2, 1), tiff.Y_RESOLUTION: (1, 1),
                                       tiff.RESOLUTION_UNIT: (1,)}])
def test_no_resolution_stays_none(tmp_path: Path, tags: tiff.Tags) -> None:
    form = Form("gray", tiff.BLACK_IS_ZERO, 1, tags=tags)
    (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(form.noise(20, 10), form))
    image = load(tmp_path / "in.tif")
    image.save(str(tmp_path / "out.tif"))
    assert kept(tiff.page(tmp_path / "out.tif"), form) == kept(tiff.page(tmp_path / "in.tif"), form)
    image.set_resolution(300.0, 150.0)
    image.save(str(tmp_path / "set.tif"))
    page = tiff.page(tmp_path / "set.tif")
    assert (page.tags[tiff.X_RESOLUTION], page.number(tiff.RESOLUTION_UNIT)) == ((300, 1), 2)


def test_associated_alpha(tmp_path: Path) -> None:
    form = Form("associated", tiff.RGB, 4, extra=1)
    samples = form.noise(37, 29)
    samples[..., :3] = np.minimum(samples[..., :3], samples[..., 3:])  # as it has to be
    (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(samples, form))
    image = load(tmp_path / "in.tif")
    image.save(str(tmp_path / "out.tif"))
    assert tiff.page(tmp_path / "out.tif").tags[tiff.EXTRA_SAMPLES] == (1,)
    assert tiff.plain_samples(tmp_path / "out.tif", form).tobytes() == samples.tobytes()
    image.save(str(tmp_path / "out.png"), PngOptions())
    plain = read(tmp_path / "out.png", "RGBA")
    alpha = samples[..., 3].astype(int)
    expected = np.where(alpha > 0, (samples[..., 0].astype(int) * 255 + alpha // 2) // np.maximum(alpha, 1), 0)
    assert worst(plain[..., 0], expected) == 0
    assert worst(plain[..., 3], alpha) == 0


def test_profiles_are_kept(tmp_path: Path) -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    Pillow.fromarray(noise()).save(tmp_path / "in.tif", icc_profile=profile)
    Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "out.tif"))
    assert bytes(tiff.page(tmp_path / "out.tif").tags[tiff.PROFILE]) == profile
    options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
    options.disable_icc_export = True
    Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "bare.tif"), options)
    assert tiff.PROFILE not in tiff.page(tmp_path / "bare.tif").tags


@pytest.mark.parametrize("subsampling", ["4:4:4", "4:2:0"])
def test_jpeg_inside(tmp_path: Path, subsampling: str) -> None:
    tiff_source = tmp_path / "source.tif"
    Pillow.fromarray(smooth(width=64, height=64)).save(tiff_source)
    kind = "jpeg:r:90" if subsampling == "4:4:4" else "jpeg:90"
    tiff.tool("tiffcp", "-c", kind, "-r", 16, tiff_source, tmp_path / "in.tif")
    image = load(tmp_path / "in.tif")
    image.save(str(tmp_path / "out.png"), PngOptions())
    assert worst(read(tmp_path / "out.png", "RGB"), read(tmp_path / "in.tif", "RGB")) <= 3
    image.save(str(tmp_path / "out.tif"))
    before, after = tiff.page(tmp_path / "in.tif"), tiff.page(tmp_path / "out.tif")
    for tag in (tiff.COMPRESSION, tiff.PHOTOMETRIC, tiff.ROWS_PER_STRIP):
        assert after.tags[tag] == before.tags[tag]
    assert worst(read(tmp_path / "out.tif", "RGB"), smooth(width=64, height=64)) <= 30


@pytest.mark.parametrize("factors", [(1, 1), (2, 1), (2, 2), (4, 2)])
def test_ycbcr_without_jpeg(tmp_path: Path, factors: tuple[int, int]) -> None:
    # Units of some luma samples, then one Cb and one Cr. One color each: the result is the color of the formula.
    across, down = factors
    width, height = 16, 8
    unit = bytes([120] * (across * down) + [90, 160])
    data = unit * (width // across * (height // down))
    form = Form("ycbcr", tiff.YCBCR, 3, tags={tiff.SUBSAMPLING: factors, tiff.STRIP_SIZES: (len(data),)})
    picture = bytearray(tiff.tiff_bytes(np.zeros((height, width, 3), np.uint8), form))
    picture[8:8 + len(data)] = data
    (tmp_path / "in.tif").write_bytes(picture)
    load(tmp_path / "in.tif").save(str(tmp_path / "out.png"), PngOptions())
    expected = [120 + 1.402 * 32, 120 - 0.344136 * -38 - 0.714136 * 32, 120 + 1.772 * -38]
    assert np.abs(read(tmp_path / "out.png", "RGB") - np.round(expected)).max() <= 1


def test_pillow_reads_what_is_written(tmp_path: Path) -> None:
    for mode in ("1", "L", "P", "RGB", "RGBA", "CMYK", "LAB", "I;16", "I", "F"):
        source = Pillow.fromarray(noise(4 if mode in ("RGBA", "CMYK") else 3))
        if mode in ("I;16", "I", "F"):
            values = noise(1).astype({"I;16": np.uint16, "I": np.int32, "F": np.float32}[mode]) * 7
            source = Pillow.fromarray(values)
        elif mode == "LAB" or mode == "CMYK":
            source = Pillow.frombytes(mode, (61, 43), noise(4 if mode == "CMYK" else 3).tobytes())
        elif mode != "RGBA":
            source = source.convert(mode)
        source.save(tmp_path / "in.tif")
        Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "out.tif"))
        with Pillow.open(tmp_path / "in.tif") as before, Pillow.open(tmp_path / "out.tif") as after:
            assert after.mode == before.mode
            assert after.tobytes() == before.tobytes(), mode


# ---- Options


def settings(expected: TiffExpectedFormat = TiffExpectedFormat.TIFF_LZW_RGB, **properties: Any) -> TiffOptions:
    """Options of an expected format with some properties set."""
    options = TiffOptions(expected)
    for name, value in properties.items():
        setattr(options, name, value)
    return options


def saved(tmp_path: Path, options: TiffOptions, source: Any = None) -> tiff.Page:
    """The page that a save with the options gives."""
    picture = smooth() if source is None else source
    Image.load(write(tmp_path / "source.png", picture)).save(str(tmp_path / "saved.tif"), options)
    return tiff.page(tmp_path / "saved.tif")


def test_strips_planes_and_bits(tmp_path: Path) -> None:
    page = saved(tmp_path, settings())
    assert (page.number(tiff.ROWS_PER_STRIP), page.number(tiff.PLANES)) == (43, 1)  # 64, or all
    page = saved(tmp_path, settings(rows_per_strip=5))
    assert page.number(tiff.ROWS_PER_STRIP) == 5 and len(page.tags[tiff.STRIP_OFFSETS]) == 9
    page = saved(tmp_path, settings(planar_configuration=TiffPlanarConfigs.SEPARATE, rows_per_strip=10))
    assert page.number(tiff.PLANES) == 2 and len(page.tags[tiff.STRIP_OFFSETS]) == 15
    assert worst(read(tmp_path / "saved.tif"), smooth()) == 0
    page = saved(tmp_path, settings(fill_order=TiffFillOrders.LSB_2_MSB))
    assert page.number(tiff.FILL_ORDER) == 2
    form = Form("rgb", tiff.RGB, 3)
    assert worst(tiff.plain_samples(tmp_path / "saved.tif", form), smooth()) == 0


def test_resolution(tmp_path: Path) -> None:
    page = saved(tmp_path, settings(xresolution=TiffRational(3001, 10), yresolution=TiffRational(150),
                                    resolution_unit=TiffResolutionUnits.CENTIMETER))
    x, y = page.tags[tiff.X_RESOLUTION], page.tags[tiff.Y_RESOLUTION]
    assert (x[0] / x[1], y[0] / y[1], page.number(tiff.RESOLUTION_UNIT)) == (pytest.approx(300.1), 150, 3)
    image = load(tmp_path / "saved.tif")
    assert image.horizontal_resolution == pytest.approx(300.1 * 2.54, abs=1e-3)
    page = saved(tmp_path, settings(resolution_unit=TiffResolutionUnits.NONE, xresolution=TiffRational(2)))
    assert page.number(tiff.RESOLUTION_UNIT) == 1
    with managed_error("ArgumentOutOfRangeException", "Xresolution"):
        saved(tmp_path, settings(xresolution=TiffRational(0)))


@pytest.mark.parametrize(("expected", "compression"), [
    (TiffExpectedFormat.TIFF_CCITT_FAX3, 3), (TiffExpectedFormat.TIFF_CCITT_FAX4, 4),
    (TiffExpectedFormat.TIFF_CCIT_RLE, 2)])
def test_faxes(tmp_path: Path, expected: TiffExpectedFormat, compression: int) -> None:
    black = np.zeros((43, 61, 3), np.uint8)
    black[5:30, 7:50] = 255
    page = saved(tmp_path, settings(expected), black)
    assert page.number(tiff.COMPRESSION) == compression
    form = Form("bilevel", tiff.BLACK_IS_ZERO, 1, 1)
    assert worst(tiff.plain_samples(tmp_path / "saved.tif", form)[..., 0], black[..., 0] // 255) == 0
    if compression == 3:
        page = saved(tmp_path, settings(expected, fax_t4_options=Group3Options.ENCODING_2D), black)
        assert page.number(tiff.FAX_OPTIONS) == 1
        assert worst(tiff.plain_samples(tmp_path / "saved.tif", form)[..., 0], black[..., 0] // 255) == 0
        with managed_error("NotSupportedException", "The value 2 of TiffOptions.FaxT4Options"):
            saved(tmp_path, settings(expected, fax_t4_options=Group3Options.UNCOMPRESSED), black)


def test_cmyk_with_alpha(tmp_path: Path) -> None:
    page = saved(tmp_path, settings(TiffExpectedFormat.TIFF_LZW_CMYKA), noise(4))
    assert (page.number(tiff.PHOTOMETRIC), page.number(tiff.SAMPLES)) == (5, 5)
    assert page.tags[tiff.EXTRA_SAMPLES] == (2,)
    samples = tiff.plain_samples(tmp_path / "saved.tif", Form("cmyka", tiff.CMYK, 5, extra=2))
    assert worst(samples[..., 4], noise(4)[..., 3]) == 0


@pytest.mark.parametrize("quality", [10, 75, 90, 100])
def test_rgb_jpeg_is_rgb_at_every_quality(tmp_path: Path, quality: int) -> None:
    page = saved(tmp_path, settings(TiffExpectedFormat.TIFF_JPEG_RGB, compressed_quality=quality))
    assert (page.number(tiff.COMPRESSION), page.number(tiff.PHOTOMETRIC)) == (7, 2)
    page = saved(tmp_path, settings(TiffExpectedFormat.TIFF_JPEG_Y_CB_CR, compressed_quality=quality,
                                    y_cb_cr_subsampling=[2, 1]))
    assert page.number(tiff.PHOTOMETRIC) == 6 and page.tags[tiff.SUBSAMPLING] == (2, 1)
    assert worst(read(tmp_path / "saved.tif", "RGB"), smooth()) <= (60 if quality < 50 else 20)


def test_depths_and_numbers(tmp_path: Path) -> None:
    gray = smooth(1)
    for bits in (1, 2, 4, 8, 16, 32):
        page = saved(tmp_path, settings(photometric=TiffPhotometrics.MIN_IS_BLACK, bits_per_sample=[bits]), gray)
        assert page.number(tiff.BITS) == bits
        form = Form("gray", tiff.BLACK_IS_ZERO, 1, bits)
        samples = tiff.plain_samples(tmp_path / "saved.tif", form)[..., 0]
        assert np.abs(samples / (2.0 ** bits - 1) - gray / 255).max() <= (1 / 2 ** bits + 0.01), bits
    for bits in (16, 32, 64):
        saved(tmp_path, settings(photometric=TiffPhotometrics.MIN_IS_BLACK, bits_per_sample=[bits],
                                 sample_format=[TiffSampleFormats.IEEE_FP]), gray)
        samples = tiff.plain_samples(tmp_path / "saved.tif", Form("float", tiff.BLACK_IS_ZERO, 1, bits, 3))[..., 0]
        assert np.abs(samples - gray / 255).max() < 1e-3
    saved(tmp_path, settings(photometric=TiffPhotometrics.MIN_IS_BLACK, bits_per_sample=[8],
                             sample_format=[TiffSampleFormats.INT]), gray)
    samples = tiff.plain_samples(tmp_path / "saved.tif", Form("signed", tiff.BLACK_IS_ZERO, 1, 8, 2))[..., 0]
    assert worst(samples.astype(int) + 128, gray) == 0
    with managed_error("NotSupportedException", "SampleFormat", "8 bits"):
        saved(tmp_path, settings(photometric=TiffPhotometrics.MIN_IS_BLACK, bits_per_sample=[8],
                                 sample_format=[TiffSampleFormats.IEEE_FP]), gray)


@pytest.mark.parametrize("bits", [1, 2, 4, 8])
def test_palettes(tmp_path: Path, bits: int) -> None:
    colors = noise(3, seed=bits, width=12, height=1)[0][:2**bits]
    blocks = np.repeat(np.repeat(colors[np.arange(12).reshape(3, 4) % len(colors)], 11, 0), 13, 1)
    options = settings(photometric=TiffPhotometrics.PALETTE, bits_per_sample=[bits])
    page = saved(tmp_path, options, blocks)
    assert (page.number(tiff.PHOTOMETRIC), page.number(tiff.BITS)) == (3, bits)
    assert len(page.tags[tiff.COLOR_MAP]) == 3 * 2**bits
    assert worst(read(tmp_path / "saved.tif", "RGB"), blocks) == 0
    again = load(tmp_path / "saved.tif")
    again.save(str(tmp_path / "again.tif"), options)
    assert tiff.page(tmp_path / "again.tif").number(tiff.BITS) == bits
    assert worst(read(tmp_path / "again.tif", "RGB"), blocks) == 0


@pytest.mark.parametrize(("bits", "most"), [(1, 2), (2, 4), (4, 16)])
def test_more_colors_than_a_depth_holds(tmp_path: Path, bits: int, most: int) -> None:
    options = settings(photometric=TiffPhotometrics.PALETTE, bits_per_sample=[bits])
    saved(tmp_path, options, smooth())
    assert 1 < len(np.unique(read(tmp_path / "saved.tif", "RGB").reshape(-1, 3), axis=0)) <= most


def test_alpha_storage(tmp_path: Path) -> None:
    rgba = TiffExpectedFormat.TIFF_LZW_RGBA
    assert saved(tmp_path, settings(rgba), noise(4)).tags[tiff.EXTRA_SAMPLES] == (2,)
    for options in (settings(rgba, alpha_storage=TiffAlphaStorage.ASSOCIATED),
                    settings(rgba, premultiply_components=True)):
        assert saved(tmp_path, options, noise(4)).tags[tiff.EXTRA_SAMPLES] == (1,)
        samples = tiff.plain_samples(tmp_path / "saved.tif", Form("rgba", tiff.RGB, 4, extra=1)).astype(int)
        product = noise(4).astype(int)
        assert worst(samples[..., 0], (product[..., 0] * product[..., 3] + 127) // 255) <= 1


@pytest.mark.parametrize(("options", "parts"), [
    (settings(compression=TiffCompressions.CCITT_FAX4), ["one bit per pixel"]),
    (settings(compression=TiffCompressions.OJPEG), ["TiffOptions.Compression", "6"]),
    (settings(compression=TiffCompressions.NEXT), ["TiffOptions.Compression"]),
    (settings(TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB, predictor=TiffPredictor.HORIZONTAL), ["predictor"]),
    (settings(TiffExpectedFormat.TIFF_JPEG_Y_CB_CR, rows_per_strip=20), ["multiple of 16 rows"]),
    (settings(TiffExpectedFormat.TIFF_JPEG_Y_CB_CR, planar_configuration=TiffPlanarConfigs.SEPARATE), ["planes"]),
    (settings(photometric=TiffPhotometrics.YCBCR, bits_per_sample=[8, 8, 8]), ["photometric interpretation 6"]),
    (settings(y_cb_cr_subsampling=[3, 1]), ["YCbCrSubsampling"]),
    (settings(bits_per_sample=[8, 8, 4]), ["BitsPerSample"]),
    (settings(bits_per_sample=[12, 12, 12]), ["BitsPerSample"]),
])
def test_what_does_not_fit_is_refused(tmp_path: Path, options: TiffOptions, parts: list[str]) -> None:
    with managed_error("[A-Za-z]+", *parts):
        saved(tmp_path, options)
    assert not (tmp_path / "saved.tif").exists()


def test_original_options_write_the_same_again(tmp_path: Path) -> None:
    for form in FORMS:
        if form.name in ("rgb and something", "icc lab"):
            continue  # an alpha that is not named; a palette with 16 bits a channel is none of TiffOptions
        (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(form.noise(20, 10), form))
        image = Image.load(str(tmp_path / "in.tif"))
        options = TiffOptions._cast_to(image.get_original_options()).value
        image.save(str(tmp_path / "out.tif"), options)
        before, after = tiff.page(tmp_path / "in.tif"), tiff.page(tmp_path / "out.tif")
        for tag in (tiff.BITS, tiff.COMPRESSION, tiff.PHOTOMETRIC, tiff.SAMPLES, tiff.EXTRA_SAMPLES):
            assert after.tags.get(tag) == before.tags.get(tag), (form.name, tag)
        assert tiff.plain_samples(tmp_path / "out.tif", form).tobytes() == form.noise(20, 10).tobytes(), form.name


# ---- Colors


def to_lab(rgb: np.ndarray) -> np.ndarray:
    """CIE L*a*b* for D50 of sRGB, by the published formulas: the curve of IEC 61966-2-1, Bradford's adaptation."""
    share = rgb / 255
    light = np.where(share <= 0.04045, share / 12.92, ((share + 0.055) / 1.055) ** 2.4)
    xyz = light @ np.array([[0.4360747, 0.3850649, 0.1430804], [0.2225045, 0.7168786, 0.0606169],
                            [0.0139322, 0.0971045, 0.7141733]]).T / (0.96422, 1.0, 0.82521)
    root = np.where(xyz > (6 / 29) ** 3, np.cbrt(xyz), xyz * (29 / 6) ** 2 / 3 + 4 / 29)
    return np.stack([116 * root[..., 1] - 16, 500 * (root[..., 0] - root[..., 1]),
                     200 * (root[..., 1] - root[..., 2])], -1)


def seen(path: Path) -> np.ndarray:
    """Red, green and blue of an image's pixels."""
    image = load(path)
    words = np.array(list(image.load_argb_32_pixels(image.bounds)), np.int32).view(np.uint32)
    return np.stack([words >> 16 & 255, words >> 8 & 255, words & 255], -1).reshape(image.height, image.width, 3)


@pytest.mark.parametrize(("bits", "most"), [(8, 40), (16, 2), (32, 2)])
@pytest.mark.parametrize("alpha", [False, True])
def test_lab_is_shown_by_the_published_formulas(tmp_path: Path, alpha: bool, bits: int, most: int) -> None:
    """As near as the samples allow: with 8 bits a step is large for dark and for vivid colors."""
    rgb = noise()
    lab = to_lab(rgb)
    if bits < 32:
        lightness = (lab[..., :1] * (2**bits - 1) / 100).round()
        lab = np.concatenate([lightness, (lab[..., 1:] * 2.0**(bits - 8)).round() % 2**bits], -1)
    form = Form("lab", tiff.LAB, 4 if alpha else 3, bits, 3 if bits == 32 else 1, extra=2 if alpha else None)
    opaque = np.full(rgb.shape[:2] + (1,), 1 if bits == 32 else 2**bits - 1)
    samples = np.concatenate([lab, opaque], -1) if alpha else lab
    (tmp_path / "a.tif").write_bytes(tiff.tiff_bytes(samples.astype(form.type()), form))
    found = seen(tmp_path / "a.tif")
    assert worst(found, rgb) <= most
    assert np.abs(found.astype(int) - rgb).mean() <= (3 if bits == 8 else 0.5)


@pytest.mark.parametrize("alpha", [False, True])
@pytest.mark.parametrize(("bits", "numbers"), [(16, 1), (32, 1), (16, 3), (32, 3), (64, 3)])
def test_inks_of_every_depth_are_shown_alike(tmp_path: Path, bits: int, numbers: int, alpha: bool) -> None:
    plain = Form("cmyk", tiff.CMYK, 4)
    inks = plain.noise(37, 29)
    (tmp_path / "a.tif").write_bytes(tiff.tiff_bytes(inks, plain))
    deep = Form("deep", tiff.CMYK, 5 if alpha else 4, bits, numbers, extra=2 if alpha else None)
    shares = np.concatenate([inks / 255, np.ones((29, 37, 1))], -1)[..., :deep.bands]
    samples = shares if numbers == 3 else (shares * (2**bits - 1)).round()
    (tmp_path / "b.tif").write_bytes(tiff.tiff_bytes(samples.astype(deep.type()), deep))
    found, wanted = seen(tmp_path / "b.tif").astype(int), seen(tmp_path / "a.tif").astype(int)
    assert np.abs(found - wanted).mean() <= 0.5 and np.abs(found - wanted).max() <= 20  # 8 bits go through a table


# ---- Pages


def test_pages_keep_their_forms(tmp_path: Path) -> None:
    names = []
    for i, form in enumerate(FORMS):
        (tmp_path / f"{i}.tif").write_bytes(tiff.tiff_bytes(form.noise(10 + i, 40 - i), form))
        names.append(tmp_path / f"{i}.tif")
    tiff.tool("tiffcp", *names, tmp_path / "in.tif")
    Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "out.tif"))
    before = tiff.pages((tmp_path / "in.tif").read_bytes())
    after = tiff.pages((tmp_path / "out.tif").read_bytes())
    assert [kept(page, FORMS[0]) for page in after] == [kept(page, FORMS[0]) for page in before]


def test_page_names(tmp_path: Path) -> None:
    pictures = []
    for i, name in enumerate(["cover", "index", "map"]):
        path = tmp_path / f"{i}.tif"
        Pillow.fromarray(noise(seed=i, width=8, height=8)).save(path, tiffinfo={tiff.PAGE_NAME: name})
        pictures.append(path)
    tiff.tool("tiffcp", *pictures, tmp_path / "in.tif")
    image = Image.load(str(tmp_path / "in.tif"))
    image.save(str(tmp_path / "out.tif"))
    found = tiff.pages((tmp_path / "out.tif").read_bytes())
    assert [page.tags[tiff.PAGE_NAME][0] for page in found] == [b"cover\0", b"index\0", b"map\0"]
    options = settings(TiffExpectedFormat.TIFF_LZW_RGB)
    options.multi_page_options = MultiPageOptions.create_with_page_titles(["map", "cover"])
    image.save(str(tmp_path / "some.tif"), options)
    found = tiff.pages((tmp_path / "some.tif").read_bytes())
    assert len(found) == 2
    assert worst(read(tmp_path / "some.tif"), noise(seed=2, width=8, height=8)) == 0
    options.multi_page_options = MultiPageOptions.create_with_page_titles(["back"])
    with managed_error("ArgumentException", "back"):
        image.save(str(tmp_path / "none.tif"), options)


def test_big_tiff_keeps_all(tmp_path: Path) -> None:
    form = Form("rgb16", tiff.RGB, 3, 16)
    (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(form.noise(20, 10), form))
    options = BigTiffOptions(TiffExpectedFormat.DEFAULT)
    Image.load(str(tmp_path / "in.tif")).save(str(tmp_path / "out.tif"), options)
    assert tiff.page(tmp_path / "out.tif").big
    assert tiff.plain_samples(tmp_path / "out.tif", form).tobytes() == form.noise(20, 10).tobytes()


# ---- Damage and refusals


@pytest.mark.parametrize(("form", "text"), [
    (Form("twelve bits", tiff.BLACK_IS_ZERO, 1, 8, tags={tiff.BITS: (12,)}), "unsigned samples of 12 bits"),
    (Form("many bands", tiff.RGB, 6), "3 samples a pixel besides its colors"),
    (Form("inks", tiff.CMYK, 4, tags={332: (2,)}), "inks other than CMYK"),
    (Form("camera", 32803, 1), "photometric interpretation 32803"),
    (Form("signed", tiff.RGB, 4, 8, 2, extra=1), "premultiplied alpha of signed samples"),
    (Form("signed16", tiff.RGB, 4, 16, 2, extra=1), "premultiplied alpha of signed samples"),
    (Form("few bits", tiff.BLACK_IS_ZERO, 2, 4, extra=1), "premultiplied alpha of samples of fewer than 8 bits"),
    (Form("lab", tiff.LAB, 4, extra=1), "premultiplied alpha of L*a*b* colors"),
])
def test_forms_that_are_not_read_are_named(tmp_path: Path, form: Form, text: str) -> None:
    (tmp_path / "in.tif").write_bytes(tiff.tiff_bytes(form.noise(20, 10), form))
    with managed_error("[A-Za-z]+", text):
        load(tmp_path / "in.tif").get_pixel(0, 0)


@pytest.mark.parametrize("bands", [1, 2, 3])
def test_the_meaning_of_the_samples_is_not_guessed(tmp_path: Path, bands: int) -> None:
    form = Form("unknown", tiff.BLACK_IS_ZERO, bands)
    entry = struct.pack("<HHI", tiff.PHOTOMETRIC, 3, 1)
    data = tiff.tiff_bytes(form.noise(8, 6), form)
    assert data.count(entry) == 1
    (tmp_path / "in.tif").write_bytes(data.replace(entry, struct.pack("<HHI", tiff.PHOTOMETRIC + 1, 3, 1)))
    with managed_error("ImageLoadException", "the page does not tell its photometric interpretation"):
        load(tmp_path / "in.tif")


def plain_file(folder: Path, bits: int, size: tuple[int, int], arguments: tuple[str, ...]) -> bytes:
    """A black picture in one strip, written by tiffcp."""
    form = Form("black", tiff.BLACK_IS_ZERO, 1, bits)
    samples = np.zeros((size[1], size[0], 1), np.uint8)
    (folder / "source.tif").write_bytes(tiff.tiff_bytes(samples, form))
    tiff.tool("tiffcp", *arguments, "-r", size[1], folder / "source.tif", folder / "in.tif")
    return (folder / "in.tif").read_bytes()


def with_number(data: bytes, tag: int, value: int) -> bytes:
    """A little-endian file with another number in a tag of its first page."""
    at, = struct.unpack_from("<I", data, 4)
    for entry in range(at + 2, at + 2 + 12 * struct.unpack_from("<H", data, at)[0], 12):
        if struct.unpack_from("<H", data, entry)[0] == tag:
            return data[:entry + 2] + struct.pack("<HII", 4, 1, value) + data[entry + 12:]
    raise AssertionError(f"there is no tag {tag}")


COMPRESSED = {"none": ("-c", "none"), "packbits": ("-c", "packbits"), "lzw": ("-c", "lzw"), "zip": ("-c", "zip"),
              "g3": ("-c", "g3"), "g4": ("-c", "g4")}


@pytest.mark.parametrize("kind", COMPRESSED)
def test_the_most_that_a_compression_can_do_is_read(tmp_path: Path, kind: str) -> None:
    size = (3000, 2500)
    plain_file(tmp_path, 1 if kind.startswith("g") else 8, size, COMPRESSED[kind])
    image = load(tmp_path / "in.tif")
    assert image.get_argb_32_pixel(size[0] - 1, size[1] - 1) == -0x1000000


@pytest.mark.parametrize("kind", COMPRESSED)
def test_pixels_that_the_bytes_cannot_hold_are_not_made(tmp_path: Path, kind: str) -> None:
    is_fax = kind.startswith("g")
    data = plain_file(tmp_path, 1 if is_fax else 8, (16, 16), COMPRESSED[kind])
    stored = tiff.page(tmp_path / "in.tif").number(tiff.STRIP_SIZES)
    size = (16, 8 * stored + 1) if is_fax else (600_000, 16)  # a bit can be a whole row of a fax
    for tag, value in ((tiff.WIDTH, size[0]), (tiff.HEIGHT, size[1]), (tiff.ROWS_PER_STRIP, size[1])):
        data = with_number(data, tag, value)
    (tmp_path / "in.tif").write_bytes(data)
    number = "" if kind == "none" else str(stored)  # without a compression, the file's own number is not believed
    with managed_error("[A-Za-z]+", f"{number} bytes cannot hold {size[0]} by {size[1]} pixels"):
        load(tmp_path / "in.tif").get_pixel(0, 0)


LOSSES = [
    Form("gray2", tiff.BLACK_IS_ZERO, 1, 2), Form("gray", tiff.BLACK_IS_ZERO, 1),
    Form("inverted", tiff.WHITE_IS_ZERO, 1), Form("signed", tiff.BLACK_IS_ZERO, 1, 8, 2),
    Form("gray16", tiff.BLACK_IS_ZERO, 1, 16), Form("gray32", tiff.BLACK_IS_ZERO, 1, 32),
    Form("float", tiff.BLACK_IS_ZERO, 1, 32, 3), Form("double", tiff.BLACK_IS_ZERO, 1, 64, 3),
    Form("rgb", tiff.RGB, 3), Form("rgb16", tiff.RGB, 3, 16), Form("rgba", tiff.RGB, 4, extra=2),
    Form("lab", tiff.LAB, 3), Form("lab16", tiff.LAB, 3, 16), Form("icc lab", tiff.ICC_LAB, 3),
    Form("lab float", tiff.LAB, 3, 32, 3),
]
GRAYS = [(0, 0, 0), (1, 1, 1), (5, 5, 5), (10, 10, 10), (85, 85, 85), (128, 128, 128), (255, 255, 255)]
COLORS = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (12, 2, 30), (250, 240, 3), (3, 90, 100)]


@pytest.mark.parametrize("form", LOSSES, ids=lambda form: form.name)
def test_lost_rows_have_the_color_of_the_options(tmp_path: Path, form: Form) -> None:
    """In the samples of every form, as they are shown again."""
    samples = np.zeros((8, 10, form.bands), form.type())
    data = tiff.tiff_bytes(samples, form)
    (tmp_path / "in.tif").write_bytes(with_number(data, tiff.STRIP_OFFSETS, len(data) + 1000))
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    for color in GRAYS if form.bands == 1 else GRAYS + COLORS:
        if form.bits < 8 and color[0] % 85 != 0:
            continue
        options.data_background_color = Color.from_argb(255, *color)
        image = raster(Image.load(str(tmp_path / "in.tif"), options))
        found = image.get_pixel(3, 3)
        most = 40 if form.bits == 8 and "lab" in form.name else 1  # whose steps are large
        assert (found.r, found.g, found.b) == pytest.approx(color, abs=most), color


@pytest.mark.parametrize("form", [
    Form("gray", tiff.BLACK_IS_ZERO, 1), Form("gray2", tiff.BLACK_IS_ZERO, 1, 2),
    Form("palette", tiff.PALETTE, 1, 8, tags={tiff.COLOR_MAP: tuple(i * 257 for i in range(256)) * 3}),
    Form("rgba", tiff.RGB, 4, extra=2),
], ids=lambda form: form.name)
def test_rows_between_lost_ones_are_kept(tmp_path: Path, form: Form) -> None:
    """The second and the fourth of five strips are gone. Gray and palettes become RGB, which has any background."""
    (tmp_path / "source.tif").write_bytes(tiff.tiff_bytes(form.noise(50, 40), form))
    tiff.tool("tiffcp", "-c", "lzw", "-r", 8, tmp_path / "source.tif", tmp_path / "in.tif")
    whole = raster(Image.load(str(tmp_path / "in.tif")))
    pixels = np.array(whole.load_argb_32_pixels(whole.bounds), np.int64).reshape(40, 50) & 0xFFFFFFFF
    offsets = list(tiff.page(tmp_path / "in.tif").tags[tiff.STRIP_OFFSETS])
    data = (tmp_path / "in.tif").read_bytes()
    lost = [offsets[0], len(data) + 1000, offsets[2], len(data) + 1000, offsets[4]]
    (tmp_path / "in.tif").write_bytes(data.replace(struct.pack("<5I", *offsets), struct.pack("<5I", *lost)))
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    options.data_background_color = Color.from_argb(100, 10, 20, 230)
    image = raster(Image.load(str(tmp_path / "in.tif"), options))
    found = np.array(image.load_argb_32_pixels(image.bounds), np.int64).reshape(40, 50) & 0xFFFFFFFF
    pixels[8:16] = pixels[24:32] = 0x640A14E6 if form.name == "rgba" else 0xFF0A14E6
    assert (found == pixels).all()


@pytest.mark.parametrize("mode", [DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER])
@pytest.mark.parametrize("compression", ["none", "lzw", "zip"])
def test_rows_of_damaged_files_are_kept(tmp_path: Path, mode: DataRecoveryMode, compression: str,
                                        capfd: pytest.CaptureFixture[str]) -> None:
    form = Form("gray", tiff.BLACK_IS_ZERO, 1)
    samples = form.noise(50, 40)
    (tmp_path / "source.tif").write_bytes(tiff.tiff_bytes(samples, form))
    tiff.tool("tiffcp", "-c", compression, "-r", 8, tmp_path / "source.tif", tmp_path / "in.tif")
    page = tiff.page(tmp_path / "in.tif")
    data = bytearray((tmp_path / "in.tif").read_bytes())
    at = data.find(struct.pack("<5I", *page.tags[tiff.STRIP_OFFSETS]))
    data[at + 16:at + 20] = struct.pack("<I", len(data) + 1000)  # the last strip is gone
    (tmp_path / "in.tif").write_bytes(data)
    with managed_error("[A-Za-z]+", "damaged"):
        load(tmp_path / "in.tif").get_pixel(0, 0)
    options = LoadOptions()
    options.data_recovery_mode = mode
    image = Image.load(str(tmp_path / "in.tif"), options)
    image.save(str(tmp_path / "out.png"), PngOptions())
    found = read(tmp_path / "out.png", "L")
    assert worst(found[:32], samples[:32, :, 0]) == 0
    assert (found[32:] == 255).all()
    assert capfd.readouterr().err == ""


def test_new_options_keep_the_unit_of_the_resolution(tmp_path: Path) -> None:
    Pillow.fromarray(smooth()).save(tmp_path / "source.png", dpi=(200, 100))
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    assert options.resolution_unit == TiffResolutionUnits.INCH
    Image.load(str(tmp_path / "source.png")).save(str(tmp_path / "saved.tif"), options)
    with Pillow.open(tmp_path / "saved.tif") as picture:
        assert picture.info["dpi"] == (pytest.approx(200, abs=0.1), pytest.approx(100, abs=0.1))
        assert picture.tag_v2[296] == 2
