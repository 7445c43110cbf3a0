"""Settings of TIFF files: what of TiffOptions is in the file, what the options of a file say, and what is refused."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage, TiffRational
from zelmor.imaging.fileformats.tiff.enums import (Group3Options, TiffAlphaStorage, TiffByteOrder, TiffCompressions,
                                                   TiffExpectedFormat, TiffFillOrders, TiffPhotometrics,
                                                   TiffPlanarConfigs, TiffPredictor, TiffResolutionUnits,
                                                   TiffSampleFormats)
from zelmor.imaging.imageoptions import TiffOptions

from support import tiff_files as tiff
from support.image_oracles import managed_error, noise
from support.tiff_files import Form

P, C = TiffPhotometrics, TiffCompressions


def settings(**properties: Any) -> TiffOptions:
    options = TiffOptions(TiffExpectedFormat.DEFAULT)
    for name, value in properties.items():
        setattr(options, name, value)
    return options


def picture(bands: int = 3) -> Any:
    file = io.BytesIO()
    Pillow.fromarray(noise(bands)).save(file, "PNG")
    return RasterImage._cast_to(Image.load(io.BytesIO(file.getvalue()))).value


def saved(options: TiffOptions, bands: int = 3) -> bytes:
    file = io.BytesIO()
    picture(bands).save(file, options)
    return file.getvalue()


def options_of(data: bytes) -> list[Any]:
    """The options of the image and of its frame."""
    image = TiffImage._cast_to(Image.load(io.BytesIO(data))).value
    found = [image.get_original_options(), image.frames[0].get_original_options(), image.frames[0].frame_options]
    return [TiffOptions._cast_to(each).value for each in found]


def plain(value: Any) -> Any:
    return value if value is None or isinstance(value, (int, TiffRational)) else list(value)


RGB8 = {"photometric": P.RGB, "bits_per_sample": [8, 8, 8]}
GRAY1 = {"photometric": P.MIN_IS_BLACK, "bits_per_sample": [1]}
YCBCR = {"photometric": P.YCBCR, "bits_per_sample": [8, 8, 8], "compression": C.JPEG}

#: Properties that are set, tags of the file that is saved, and properties of its options besides those.
SETTINGS: list[tuple[dict[str, Any], dict[int, Any], dict[str, Any]]] = [
    (RGB8, {tiff.PHOTOMETRIC: (2,), tiff.SAMPLES: (3,), tiff.BITS: (8, 8, 8)},
     {"fill_order": TiffFillOrders.MSB_2_LSB, "planar_configuration": TiffPlanarConfigs.CONTIGUOUS,
      "alpha_storage": TiffAlphaStorage.UNSPECIFIED, "y_cb_cr_subsampling": None, "predictor": TiffPredictor.NONE,
      "byte_order": TiffByteOrder.LITTLE_ENDIAN, "compression": C.LZW, "sample_format": None}),
    ({**RGB8, "fill_order": TiffFillOrders.LSB_2_MSB}, {tiff.FILL_ORDER: (2,)}, {}),
    ({**RGB8, "planar_configuration": TiffPlanarConfigs.SEPARATE}, {tiff.PLANES: (2,)}, {}),
    ({**RGB8, "predictor": TiffPredictor.HORIZONTAL}, {tiff.PREDICTOR: (2,)}, {}),
    ({**RGB8, "byte_order": TiffByteOrder.BIG_ENDIAN}, {}, {}),
    ({**RGB8, "compression": C.PACKBITS}, {tiff.COMPRESSION: (32773,)}, {}),
    ({**RGB8, "tile_width": 32, "tile_length": 16}, {tiff.TILE_WIDTH: (32,), tiff.TILE_HEIGHT: (16,)}, {}),
    ({**RGB8, "rows_per_strip": 7}, {tiff.ROWS_PER_STRIP: (7,)}, {}),
    *[({**RGB8, "resolution_unit": unit, "xresolution": TiffRational(7, 1), "yresolution": TiffRational(9, 1)},
       {tiff.RESOLUTION_UNIT: (int(unit),), tiff.X_RESOLUTION: (7, 1), tiff.Y_RESOLUTION: (9, 1)},
       {"xresolution": None, "yresolution": None})
      for unit in (TiffResolutionUnits.NONE, TiffResolutionUnits.INCH, TiffResolutionUnits.CENTIMETER)],
    *[({**YCBCR, "y_cb_cr_subsampling": factors}, {tiff.SUBSAMPLING: tuple(factors), tiff.PHOTOMETRIC: (6,)}, {})
      for factors in ([1, 1], [2, 1], [1, 2], [2, 2], [4, 1], [1, 4], [4, 2], [2, 4])],
    ({**YCBCR, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (6,)},
     {"bits_per_sample": [8, 8, 8], "y_cb_cr_subsampling": [2, 2]}),
    *[({**GRAY1, "compression": C.CCITT_FAX3, "fax_t4_options": kind}, {tiff.FAX_OPTIONS: (int(kind),)}, {})
      for kind in (Group3Options.ENCODING_2D, Group3Options.FILL_BITS)],
    ({"photometric": P.SEPARATED, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (5,), tiff.SAMPLES: (4,)},
     {"bits_per_sample": [8] * 4}),
    ({"photometric": P.SEPARATED, "bits_per_sample": [8] * 5}, {tiff.SAMPLES: (5,), tiff.EXTRA_SAMPLES: (2,)}, {}),
    ({"photometric": P.SEPARATED, "bits_per_sample": [16] * 4}, {tiff.BITS: (16,) * 4}, {}),
    ({"photometric": P.CIELAB, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (8,), tiff.SAMPLES: (3,)},
     {"bits_per_sample": [8] * 3}),
    ({"photometric": P.CIELAB, "bits_per_sample": [16] * 3}, {tiff.BITS: (16,) * 3}, {}),
    ({"photometric": P.ICCLAB, "bits_per_sample": [8] * 3}, {tiff.PHOTOMETRIC: (9,)}, {}),
    ({"photometric": P.MIN_IS_BLACK, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (1,), tiff.BITS: (8,)},
     {"bits_per_sample": [8]}),
    ({"photometric": P.MASK, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (4,), tiff.BITS: (1,)},
     {"bits_per_sample": [1]}),
    ({"photometric": P.PALETTE, "bits_per_sample": None}, {tiff.PHOTOMETRIC: (3,), tiff.BITS: (8,)},
     {"bits_per_sample": [8]}),
    ({"photometric": P.MIN_IS_WHITE, "bits_per_sample": [4]}, {tiff.PHOTOMETRIC: (0,), tiff.BITS: (4,)}, {}),
    ({"photometric": P.MIN_IS_BLACK, "bits_per_sample": [8, 8]}, {tiff.SAMPLES: (2,), tiff.EXTRA_SAMPLES: (2,)}, {}),
    ({"photometric": P.RGB, "bits_per_sample": [8] * 4}, {tiff.EXTRA_SAMPLES: (2,)},
     {"alpha_storage": TiffAlphaStorage.UNSPECIFIED}),
    ({"photometric": P.RGB, "bits_per_sample": [8] * 4, "alpha_storage": TiffAlphaStorage.ASSOCIATED},
     {tiff.EXTRA_SAMPLES: (1,)}, {}),
    *[({"photometric": P.MIN_IS_BLACK, "bits_per_sample": [bits], "sample_format": [kind]},
       {tiff.SAMPLE_FORMAT: (int(kind),), tiff.BITS: (bits,)}, {})
      for kind, depths in ((TiffSampleFormats.INT, (8, 16, 32)), (TiffSampleFormats.IEEE_FP, (16, 32, 64)))
      for bits in depths]]


@pytest.mark.parametrize(("properties", "tags", "more"), SETTINGS, ids=str)
def test_settings_are_in_the_file_and_in_its_options(properties: dict[str, Any], tags: dict[int, Any],
                                                     more: dict[str, Any]) -> None:
    data = saved(settings(**properties), 3 if properties["photometric"] in (P.CIELAB, P.ICCLAB) else 4)
    assert data[:2] == (b"MM" if properties.get("byte_order") == TiffByteOrder.BIG_ENDIAN else b"II")
    page, = tiff.pages(data)
    assert {tag: page.tags.get(tag) for tag in tags} == tags
    for options in options_of(data):
        for name, value in {**properties, **more}.items():
            if value is not None or name in more:
                assert plain(getattr(options, name)) == plain(value), name


def test_colors_as_ycbcr_without_jpeg_are_written_as_rgb() -> None:
    form = Form("ycbcr", 6, 3, tags={tiff.SUBSAMPLING: (1, 1)})
    data = tiff.tiff_bytes(form.noise(16, 16), form)
    for options in options_of(data):
        assert (options.photometric, plain(options.y_cb_cr_subsampling)) == (P.RGB, None)
        assert plain(options.bits_per_sample) == [8, 8, 8]


def rgb(*bits: int) -> dict[str, Any]:
    return {"photometric": P.RGB, "bits_per_sample": list(bits)}


COLORS = "The value {} of TiffOptions.Photometric with {} samples of {} bits in TiffOptions.BitsPerSample"
BITS = "Any form of TiffOptions.BitsPerSample but 1, 2, 4, 8, 16, 32 or 64 for each sample"
FACTORS = "Any form of TiffOptions.YCbCrSubsampling but two of 1, 2 and 4"

REFUSALS: list[tuple[dict[str, Any], str]] = [
    *[({"photometric": photometric, "bits_per_sample": [depth] * samples},
       COLORS.format(int(photometric), samples, depth)) for photometric, samples, depth in (
        (P.MASK, 1, 8), (P.MASK, 2, 1), (P.MIN_IS_BLACK, 3, 8), (P.MIN_IS_WHITE, 3, 8), (P.RGB, 3, 1), (P.RGB, 5, 8),
        (P.RGB, 2, 8), (P.RGB, 1, 8), (P.YCBCR, 3, 16), (P.YCBCR, 4, 8), (P.PALETTE, 1, 16), (P.PALETTE, 2, 8),
        (P.SEPARATED, 4, 4), (P.SEPARATED, 3, 8), (P.SEPARATED, 6, 8), (P.CIELAB, 3, 4), (P.CIELAB, 4, 8),
        (P.CIELAB, 3, 32), (P.ICCLAB, 2, 8))],
    *[(rgb(*bits), BITS) for bits in ((8, 8, 16), (3, 3, 3), (0, 0, 0), (128, 128, 128))],
    *[({**YCBCR, "y_cb_cr_subsampling": factors}, FACTORS) for factors in ([2], [2, 2, 2], [3, 1], [1, 3], [0, 1],
                                                                           [1, 8])],
    ({**YCBCR, "y_cb_cr_subsampling": [4, 4]}, "The value 4 for both directions of TiffOptions.YCbCrSubsampling"),
    ({**rgb(8, 8, 8, 8), "alpha_storage": TiffAlphaStorage.UNASSOCIATED, "premultiply_components": True},
     "TiffOptions.PremultiplyComponents with an AlphaStorage that says otherwise"),
    ({**rgb(8, 8, 8), "sample_format": [TiffSampleFormats.UINT] * 2},
     "A TiffOptions.SampleFormat for 2 samples beside a TiffOptions.BitsPerSample for 3"),
    *[({"photometric": P.MIN_IS_BLACK, "bits_per_sample": [bits], "sample_format": [kind]},
       f"TiffOptions.SampleFormat {int(kind)} with samples of {bits} bits") for kind, bits in (
        (TiffSampleFormats.INT, 4), (TiffSampleFormats.INT, 64), (TiffSampleFormats.IEEE_FP, 8),
        (TiffSampleFormats.UINT, 64))],
    ({**rgb(8, 8, 8), "sample_format": [TiffSampleFormats.VOID] * 3},
     "Any form of TiffOptions.SampleFormat but UINT, INT or IEEE_FP for each sample"),
    ({**GRAY1, "compression": C.CCITT_FAX3, "fax_t4_options": Group3Options.UNCOMPRESSED},
     "The value 2 of TiffOptions.FaxT4Options")]


@pytest.mark.parametrize(("properties", "text"), REFUSALS, ids=str)
def test_settings_that_no_file_has(properties: dict[str, Any], text: str) -> None:
    with managed_error("NotSupportedException", text + " is not supported by the embedded runtime."):
        saved(settings(**properties), 4)


@pytest.mark.parametrize(("width", "height", "fits"), [
    (16, 16, True), (32, 48, True), (16, 0, False), (0, 16, False), (8, 16, False), (16, 24, False),
    (16, 32768 + 16, False), (32768 + 16, 16, False)])
def test_sizes_of_tiles(width: int, height: int, fits: bool) -> None:
    options = settings(**RGB8, tile_width=width, tile_length=height)
    if fits:
        page, = tiff.pages(saved(options))
        assert (page.number(tiff.TILE_WIDTH), page.number(tiff.TILE_HEIGHT)) == (width, height)
    else:
        with managed_error("ArgumentOutOfRangeException",
                           f"The tile size {width} by {height} is not of multiples of 16 "
                           "up to 32768. (Parameter 'TileWidth')"):
            saved(options)


@pytest.mark.parametrize("name", ["xresolution", "yresolution"])
@pytest.mark.parametrize("numbers", [(0, 1), (0, 0), (1, 0)])
def test_resolutions_that_are_none(name: str, numbers: tuple[int, int]) -> None:
    property_name = name.capitalize()
    with managed_error("ArgumentOutOfRangeException",
                       f"The value of TiffOptions.{property_name} is no positive number. "
                       f"(Parameter '{property_name}')"):
        saved(settings(**RGB8, **{name: TiffRational(*numbers)}))


@pytest.mark.parametrize("name", ["xresolution", "yresolution"])
def test_one_resolution_is_that_of_both_directions(name: str) -> None:
    page, = tiff.pages(saved(settings(**RGB8, **{name: TiffRational(301, 2)})))
    assert page.tags[tiff.X_RESOLUTION] == page.tags[tiff.Y_RESOLUTION] == (301, 2)


@pytest.mark.parametrize(("properties", "bits", "shape"), [
    ({"photometric": P.CIELAB, "bits_per_sample": [8] * 3}, 24, "RGB"), (rgb(8, 8, 8), 24, "RGB"),
    (rgb(8, 8, 8, 8), 32, "RGBA"), ({"photometric": P.SEPARATED, "bits_per_sample": [8] * 4}, 32, "CMYK"),
    ({"photometric": P.MIN_IS_BLACK, "bits_per_sample": [8]}, 8, "L"), (GRAY1, 1, "1"), (rgb(16, 16, 16), 48, "RGB")])
def test_new_frames_have_the_form_of_their_options(properties: dict[str, Any], bits: int, shape: str) -> None:
    options = settings(**properties)
    assert options.bits_per_pixel == sum(properties["bits_per_sample"])
    frame = TiffFrame(options, 6, 5)
    assert (frame.width, frame.height, frame.bits_per_pixel) == (6, 5, bits)
    file = io.BytesIO()
    TiffImage(frame).save(file)
    page, = tiff.pages(file.getvalue())
    assert page.tags[tiff.BITS] == tuple(properties["bits_per_sample"])
    assert page.number(tiff.PHOTOMETRIC) == int(properties["photometric"])
    if shape != "RGB" or bits <= 24:
        with Pillow.open(io.BytesIO(file.getvalue())) as read:
            assert read.mode.replace("LAB", "RGB") == shape and read.size == (6, 5)
            assert np.asarray(read).shape[:2] == (5, 6)


def test_whether_options_are_tiled() -> None:
    assert [settings(tile_width=width, tile_length=height).is_tiled for width, height in (
        (0, 0), (16, 0), (0, 16), (16, 16), (1, 1))] == [False, False, False, True, True]
    assert settings(bits_per_sample=None).bits_per_pixel == 0
