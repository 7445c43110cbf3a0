"""Pictures of ink: CMYK in JPEG and TIFF files, its profiles and conversions, compared with Pillow and ImageCms."""

from __future__ import annotations

import io
import struct
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import (CmykColor, CmykColorHelper, Color, Image, PixelDataFormat, RasterImage,
                            RawDataSettings, Rectangle, RotateFlipType)
from zelmor.imaging.fileformats.jpeg import JpegCompressionColorMode
from zelmor.imaging.imageoptions import JpegOptions, PngOptions

from support import tiff_files
from support.image_oracles import Pixels, load, managed_error, smooth, worst, write

SIZE = (48, 40)
WHOLE = Rectangle(0, 0, *SIZE)
INKS = [(255, 0, 0, 0), (0, 255, 0, 0), (0, 0, 255, 0), (0, 0, 0, 255), (255, 255, 0, 0), (0, 0, 0, 0),
        (128, 64, 32, 16)]


def inks(seed: int = 1) -> Pixels:
    """Arbitrary amounts of ink."""
    return np.random.default_rng(seed).integers(0, 256, (SIZE[1], SIZE[0], 4), dtype=np.uint8)


def plain(ink: tuple[int, ...]) -> Pixels:
    """The same inks everywhere."""
    return np.full((SIZE[1], SIZE[0], 4), ink, np.uint8)


@pytest.fixture(scope="module", name="press")
def press_profile(tmp_path_factory: pytest.TempPathFactory) -> bytes:
    """A press profile: the one that the library embeds in files which it converts to CMYK."""
    folder = tmp_path_factory.mktemp("press")
    options = JpegOptions()
    options.color_type = JpegCompressionColorMode.CMYK
    Image.load(write(folder / "a.png", smooth())).save(str(folder / "a.jpg"), options)
    with Pillow.open(folder / "a.jpg") as picture:
        assert picture.mode == "CMYK"
        profile: bytes = picture.info["icc_profile"]
    assert ImageCms.ImageCmsProfile(io.BytesIO(profile)).profile.xcolor_space.strip() == "CMYK"
    return profile


def to_rgb(source: Pixels, profile: bytes) -> Pixels:
    """What the color management library makes of inks, relative to the white of the paper."""
    picture = Pillow.fromarray(source, "CMYK")
    result = ImageCms.profileToProfile(picture, io.BytesIO(profile), ImageCms.createProfile("sRGB"),
                                       renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC, outputMode="RGB")
    return np.asarray(result)


def tiff(path: Path, source: Pixels, **options: Any) -> str:
    """A CMYK TIFF file by Pillow."""
    Pillow.fromarray(source, "CMYK").save(path, "TIFF", **options)
    return str(path)


def read_inks(path: Path) -> Pixels:
    """The inks of a file, read by Pillow."""
    with Pillow.open(path) as picture:
        assert picture.mode == "CMYK"
        return np.asarray(picture)


def loaded_inks(image: RasterImage) -> Pixels:
    """The inks of an image, read by load_cmyk_pixels()."""
    colors = image.load_cmyk_pixels(WHOLE)
    return np.array([(c.c, c.m, c.y, c.k) for c in colors], np.uint8).reshape(SIZE[1], SIZE[0], 4)


@pytest.mark.parametrize("ink", INKS)
def test_plain_inks_stay_what_they_are_in_jpeg(tmp_path: Path, ink: tuple[int, ...]) -> None:
    Pillow.fromarray(plain(ink), "CMYK").save(tmp_path / "a.jpg", quality=100)
    image = load(tmp_path / "a.jpg")
    assert image.bits_per_pixel == 32
    assert worst(loaded_inks(image), plain(ink)) <= 1
    image.save(str(tmp_path / "b.jpg"))
    assert worst(read_inks(tmp_path / "b.jpg"), plain(ink)) <= 2


def test_tiff_keeps_every_ink_and_the_profile(tmp_path: Path, press: bytes) -> None:
    image = load(tiff(tmp_path / "a.tif", inks(), icc_profile=press))
    assert worst(loaded_inks(image), inks()) == 0
    image.save(str(tmp_path / "b.tif"))
    assert worst(read_inks(tmp_path / "b.tif"), inks()) == 0
    with Pillow.open(tmp_path / "b.tif") as picture:
        assert picture.info["icc_profile"] == press


def test_geometry_moves_inks(tmp_path: Path) -> None:
    image = load(tiff(tmp_path / "a.tif", inks()))
    image.rotate_flip(RotateFlipType.ROTATE_180_FLIP_NONE)
    image.crop(Rectangle(0, 0, 20, 10))
    image.save(str(tmp_path / "b.tif"))
    assert worst(read_inks(tmp_path / "b.tif"), inks()[::-1, ::-1][:10, :20]) == 0


def test_resampling_works_on_inks(tmp_path: Path) -> None:
    image = load(tiff(tmp_path / "a.tif", plain((255, 0, 0, 0))))
    image.resize(20, 30)
    image.save(str(tmp_path / "b.tif"))
    assert worst(read_inks(tmp_path / "b.tif"), np.full((30, 20, 4), (255, 0, 0, 0), np.uint8)) == 0


def test_pixels_are_colors_by_the_profile(tmp_path: Path, press: bytes) -> None:
    image = load(tiff(tmp_path / "a.tif", inks(), icc_profile=press))
    got = np.array(list(image.load_argb_32_pixels(WHOLE)), np.int32).view(np.uint32).reshape(SIZE[1], SIZE[0])
    rgb = np.stack([got >> 16 & 255, got >> 8 & 255, got & 255], -1)
    assert worst(rgb.astype(np.uint8), to_rgb(inks(), press)) <= 1
    assert image.bits_per_pixel == 32  # reading changes nothing
    image.save(str(tmp_path / "b.png"), PngOptions())
    with Pillow.open(tmp_path / "b.png") as picture:
        assert "icc_profile" not in picture.info  # the numbers are sRGB now
        assert worst(np.asarray(picture.convert("RGB")), to_rgb(inks(), press)) <= 1


def test_a_color_makes_rgb_of_it(tmp_path: Path, press: bytes) -> None:
    image = load(tiff(tmp_path / "a.tif", inks(), icc_profile=press))
    image.set_pixel(3, 2, Color.red)
    assert image.bits_per_pixel == 24
    expected = to_rgb(inks(), press).copy()
    expected[2, 3] = (255, 0, 0)
    image.save(str(tmp_path / "b.png"), PngOptions())
    with Pillow.open(tmp_path / "b.png") as picture:
        assert worst(np.asarray(picture.convert("RGB")), expected) <= 1


def test_inks_are_written(tmp_path: Path) -> None:
    image = load(tiff(tmp_path / "a.tif", inks()))
    image.save_cmyk_32_pixels(Rectangle(1, 2, 2, 1), [-0x1000000] * 2)  # cyan in the highest byte
    expected = inks()
    expected[2, 1:3] = (255, 0, 0, 0)
    assert worst(loaded_inks(image), expected) == 0
    assert image.bits_per_pixel == 32
    colors = image.load_cmyk_pixels(Rectangle(5, 0, 20, SIZE[1]))
    image.save_cmyk_pixels(Rectangle(25, 0, 20, SIZE[1]), colors)
    expected[:, 25:45] = expected[:, 5:25]
    assert worst(loaded_inks(image), expected) == 0
    for area in ((-1, 0, 2, 2), (0, 0, SIZE[0] + 1, 1), (0, 39, 1, 2), (0, 0, 0, 5), (0, 0, 5, -1),
                 (2**31 - 1, 0, 2**31 - 1, 2**31 - 1), (0, 0, 2**31 - 1, 2**31 - 1)):
        with managed_error("ArgumentOutOfRangeException", "rectangle"):
            image.load_cmyk_pixels(Rectangle(*area))
    with managed_error("ArgumentOutOfRangeException", "rectangle"):
        image.save_cmyk_pixels(Rectangle(-1, 0, 2, 2), [colors[0]] * 4)
    with managed_error("ArgumentException", "There are 3 pixels for an area of 2 by 2."):
        image.save_cmyk_pixels(Rectangle(0, 0, 2, 2), [colors[0]] * 3)
    assert worst(loaded_inks(image), expected) == 0


def test_raw_data_is_the_inks(tmp_path: Path) -> None:
    image = load(tiff(tmp_path / "a.tif", inks()))
    assert image.raw_data_format.caption == "Cmyk"
    data = bytes(image.get_default_raw_data(WHOLE, image.raw_data_settings))
    assert worst(np.frombuffer(data, np.uint8).reshape(inks().shape), inks()) == 0
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.cmyk
    image.save_raw_data(inks(2).tobytes(), 0, WHOLE, settings)
    assert worst(loaded_inks(image), inks(2)) == 0


def layout_of(bits: int, alpha: bool) -> PixelDataFormat:
    """Inks in one layout of raw data."""
    return PixelDataFormat.get_cmyka(bits, bits, bits, bits, bits) if alpha else PixelDataFormat.get_cmyk(bits)


def in_depth(samples: Pixels, before: int, bits: int) -> Pixels:
    """Samples of one depth in another one."""
    return np.rint(samples * ((2.0**bits - 1) / (2.0**before - 1))).astype(f"<u{bits // 8}")


@pytest.mark.parametrize("depth", [8, 16])
@pytest.mark.parametrize("bits", [8, 16])
@pytest.mark.parametrize("alpha", [False, True])
def test_inks_cross_in_every_layout(tmp_path: Path, depth: int, bits: int, alpha: bool) -> None:
    """Pictures and raw data of 8 and 16 bits; an alpha that the picture does not have is opaque."""
    form = tiff_files.Form("cmyk", tiff_files.CMYK, 4, depth)
    source = form.noise(*SIZE)
    (tmp_path / "a.tif").write_bytes(tiff_files.tiff_bytes(source, form))
    image = load(tmp_path / "a.tif")
    settings = RawDataSettings()
    settings.pixel_data_format = layout_of(bits, alpha)
    data = np.frombuffer(bytes(image.get_default_raw_data(WHOLE, settings)), f"<u{bits // 8}").reshape(
        SIZE[1], SIZE[0], 5 if alpha else 4)
    assert np.array_equal(data[..., :4], in_depth(source, depth, bits))
    assert not alpha or (data[..., 4] == 2**bits - 1).all()
    other = np.random.default_rng(3).integers(0, 2**bits, data.shape).astype(data.dtype)
    image.save_raw_data(other.tobytes(), 0, WHOLE, settings)
    image.save(str(tmp_path / "b.tif"))
    written = tiff_files.plain_samples(tmp_path / "b.tif", form)
    assert np.array_equal(written, in_depth(other[..., :4], bits, depth))


def test_rgb_to_cmyk_goes_by_the_embedded_profile(tmp_path: Path, press: bytes) -> None:
    options = JpegOptions()
    options.color_type = JpegCompressionColorMode.CMYK
    options.quality = 100
    source = smooth()
    Image.load(write(tmp_path / "a.png", source)).save(str(tmp_path / "a.jpg"), options)
    expected = ImageCms.profileToProfile(
        Pillow.fromarray(source), ImageCms.createProfile("sRGB"), io.BytesIO(press),
        renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC, outputMode="CMYK")
    with Pillow.open(tmp_path / "a.jpg") as picture:
        assert np.abs(np.asarray(picture).astype(int) - np.asarray(expected)).mean() < 2


# ---- Single colors by profiles in streams


@pytest.fixture(scope="module", name="swapped")
def swapped_profile() -> bytes:
    """sRGB with red and blue exchanged."""
    data = bytearray(ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
    for entry in range(132, 132 + 12 * struct.unpack_from(">I", data, 128)[0], 12):
        if data[entry:entry + 4] in (b"rXYZ", b"bXYZ"):
            data[entry:entry + 4] = b"bXYZ" if data[entry:entry + 4] == b"rXYZ" else b"rXYZ"
    return bytes(data)


def converted(source: Pixels, mode: str, from_profile: bytes, to_profile: bytes, to_mode: str) -> Pixels:
    """What the color management library makes of colors by two profiles."""
    transform = ImageCms.buildTransform(io.BytesIO(from_profile), io.BytesIO(to_profile), mode, to_mode,
                                        ImageCms.Intent.RELATIVE_COLORIMETRIC)
    return np.asarray(ImageCms.applyTransform(Pillow.fromarray(source, mode), transform))


RGB = np.random.default_rng(5).integers(0, 256, (1, 64, 3), dtype=np.uint8)


def streams(*profiles: bytes) -> list[io.BytesIO]:
    """Streams that do not stand at their beginning."""
    files = [io.BytesIO(profile) for profile in profiles]
    for file in files:
        file.seek(7)
    return files


def packed_inks(numbers: Any) -> Pixels:
    return np.array([[n >> shift & 255 for shift in (24, 16, 8, 0)] for n in numbers], np.uint8)[None]


def test_colors_are_converted_to_cmyk_by_the_profiles_of_streams(press: bytes, swapped: bytes) -> None:
    wanted = converted(RGB, "RGB", swapped, press, "CMYK")
    assert worst(wanted, converted(RGB, "RGB", ImageCms.ImageCmsProfile(
        ImageCms.createProfile("sRGB")).tobytes(), press, "CMYK")) > 20  # so that the profile counts
    colors = [Color.from_argb(100, *map(int, rgb)) for rgb in RGB[0]]
    numbers = [color.to_argb() for color in colors]
    for many in (Color.to_cmyk_icc, Color.to_cmyk_colors_with_icc):
        found = np.array([[c.c, c.m, c.y, c.k] for c in many(colors, *streams(swapped, press))], np.uint8)[None]
        assert worst(found, wanted) <= 1
    for one in (Color.to_cmyk_icc, Color.to_cmyk_color_with_icc):
        c = one(colors[3], *streams(swapped, press))
        assert worst(np.array([c.c, c.m, c.y, c.k], np.uint8), wanted[0, 3]) <= 1
    helper = CmykColorHelper
    for packed, source in ((helper.to_cmyk_icc, colors), (helper.to_cmyk_array_with_icc, colors),
                           (helper.argb_32_to_cmyk_array_with_icc, numbers)):
        assert worst(packed_inks(packed(source, *streams(swapped, press))), wanted) <= 1
    for packed_one, value in ((helper.to_cmyk_icc, colors[3]), (helper.to_cmyk_with_icc, colors[3]),
                              (helper.to_cmyk_icc, numbers[3]), (helper.argb_32_to_cmyk_with_icc, numbers[3])):
        assert worst(packed_inks([packed_one(value, *streams(swapped, press))]), wanted[:, 3:4]) <= 1
    for psd in (helper.to_psd_cmyk_icc, helper.argb_32_to_psd_cmyk_array_with_icc):
        assert worst(255 - packed_inks(psd(numbers, *streams(swapped, press))), wanted) <= 1
    for psd_one in (helper.to_psd_cmyk_icc, helper.argb_32_to_psd_cmyk_with_icc):
        assert worst(255 - packed_inks([psd_one(numbers[3], *streams(swapped, press))]), wanted[:, 3:4]) <= 1
    for psd in (helper.to_psd_cmyk_icc, helper.argb_32_to_psd_cmyk_array):
        assert np.array_equal(255 - packed_inks(psd(numbers)), packed_inks(helper.argb_32_to_cmyk_array(numbers)))
    plain_bytes = bytes(helper.to_cmyk_icc_bytes(numbers, 2, 5, *streams(swapped, press)))
    assert worst(np.frombuffer(plain_bytes, np.uint8).reshape(1, 5, 4), wanted[:, 2:7]) <= 1
    with_alpha = np.frombuffer(bytes(helper.to_cmyka_icc_bytes(numbers, 2, 5, *streams(swapped, press))), np.uint8)
    assert worst(with_alpha.reshape(1, 5, 5)[..., :4], wanted[:, 2:7]) <= 1
    assert (with_alpha.reshape(5, 5)[:, 4] == 100).all()


def test_inks_are_converted_to_colors_by_the_profiles_of_streams(press: bytes, swapped: bytes) -> None:
    source = inks(4)[:1]
    wanted = converted(source, "CMYK", press, swapped, "RGB")
    values = [CmykColor.from_params(*map(int, ink)) for ink in source[0]]
    numbers = [CmykColorHelper.from_components(*map(int, ink)) for ink in source[0]]

    def rgb(colors: Any) -> Pixels:
        assert all(color.a == 255 for color in colors)
        return np.array([[color.r, color.g, color.b] for color in colors], np.uint8)[None]

    for many in (CmykColor.to_color_icc, CmykColor.to_colors_with_icc):
        assert worst(rgb(many(values, *streams(press, swapped))), wanted) <= 1
    for one in (CmykColor.to_color_icc, CmykColor.to_color_with_icc):
        assert worst(rgb([one(values[3], *streams(press, swapped))]), wanted[:, 3:4]) <= 1
    for packed in (CmykColorHelper.to_argb_icc, CmykColorHelper.to_argb_colors_with_icc):
        assert worst(rgb(packed(numbers, *streams(press, swapped))), wanted) <= 1
    for packed_one in (CmykColorHelper.to_argb_icc, CmykColorHelper.to_argb_color_with_icc):
        assert worst(rgb([packed_one(numbers[3], *streams(press, swapped))]), wanted[:, 3:4]) <= 1


def test_conversions_without_streams_agree() -> None:
    """One color or many, as objects or as numbers: all go by the profiles that serve where none is given."""
    helper = CmykColorHelper
    colors = [Color.from_argb(100, *map(int, rgb)) for rgb in RGB[0]]
    numbers = [color.to_argb() for color in colors]
    wanted = packed_inks(helper.argb_32_to_cmyk_array(numbers))
    assert len(np.unique(wanted)) > 100 and (packed_inks([helper.argb_32_to_cmyk(-1)]) == 0).all()  # white has no ink

    def of(inks: Any) -> Pixels:
        return np.array([[c.c, c.m, c.y, c.k] for c in inks], np.uint8)[None]

    for many in (Color.to_cmyk_icc, Color.to_cmyk_colors_with_def_icc):
        assert np.array_equal(of(many(colors)), wanted)
    for one in (Color.to_cmyk_icc, Color.to_cmyk_color_with_def_icc):
        assert np.array_equal(of([one(color) for color in colors]), wanted)
    for packed, source in ((helper.to_cmyk_icc, colors), (helper.argb_32_to_cmyk_array, numbers),
                           (helper.to_cmyk_array_with_def_icc, colors)):
        assert np.array_equal(packed_inks(packed(source)), wanted)
    for packed_one, source in ((helper.to_cmyk_icc, colors), (helper.to_cmyk_icc, numbers),
                               (helper.to_cmyk_with_def_icc, colors), (helper.argb_32_to_cmyk, numbers)):
        assert np.array_equal(packed_inks([packed_one(value) for value in source]), wanted)
    for psd_one in (helper.to_psd_cmyk_icc, helper.argb_32_to_psd_cmyk):
        assert np.array_equal(255 - packed_inks([psd_one(number) for number in numbers]), wanted)
    values = [CmykColor.from_params(*map(int, ink)) for ink in wanted[0]]
    packed_values = [value.to_value() for value in values]
    back = [color.to_argb() for color in CmykColor.to_color_icc(values)]
    assert all(color >> 24 & 255 == 255 for color in back) and len(set(back)) > 50
    ways = [[CmykColor.to_color_icc(value) for value in values], CmykColor.to_colors_with_def_icc(values),
            [CmykColor.to_color_with_def_icc(value) for value in values], helper.to_argb_icc(packed_values),
            [helper.to_argb_icc(value) for value in packed_values], helper.to_argb_colors_with_def_icc(packed_values),
            [helper.to_argb_color_with_def_icc(value) for value in packed_values]]
    for way in ways:
        assert [color.to_argb() for color in way] == back
    for empty in (Color.to_cmyk_icc, CmykColor.to_color_icc, helper.to_argb_icc, helper.argb_32_to_psd_cmyk_array):
        assert list(empty([])) == []


def test_streams_without_a_profile_that_serves_are_refused(press: bytes, swapped: bytes) -> None:
    color = Color.red
    good = {"rgb_icc_stream": swapped, "cmyk_icc_stream": press}
    model = "The stream has no color profile of the model that is needed. (Parameter '{}')"
    for name in good:
        other = press if name == "rgb_icc_stream" else swapped
        for bad, text in ((b"no profile", model), (other, model),
                          (b"", "The stream of the color profile is empty. (Parameter '{}')")):
            profiles = [io.BytesIO(bad if each == name else data) for each, data in good.items()]
            with managed_error("ArgumentException", text.format(name)):
                Color.to_cmyk_icc(color, *profiles)
            with managed_error("ArgumentException", text.format(name)):
                CmykColorHelper.to_argb_icc(5, *reversed(profiles))
        given = {each: None if each == name else io.BytesIO(data) for each, data in good.items()}
        with managed_error("ArgumentNullException", name):
            Color.to_cmyk_color_with_icc(color, **given)
    files = streams(swapped, press)
    Color.to_cmyk_icc(color, *files)
    assert [file.tell() for file in files] == [7, 7]
    with managed_error("ArgumentOutOfRangeException", "length"):
        CmykColorHelper.to_cmyk_icc_bytes([1, 2], 1, 2, *streams(swapped, press))


# ---- many pixels, which several threads convert

LARGE = (700, 500)


def large(source: Pixels, path: Path, profile: bytes) -> Any:
    """A picture of so many inks that threads share them."""
    image = load(tiff(path, source, icc_profile=profile))
    image.cache_data()
    return image


def many_inks() -> Pixels:
    return np.random.default_rng(3).integers(0, 256, (LARGE[1], LARGE[0], 4), dtype=np.uint8)


def raw_data(image: Any, data_format: PixelDataFormat, area: Rectangle | None = None) -> Pixels:
    settings = RawDataSettings()
    settings.pixel_data_format = data_format
    area = area or image.bounds
    data = image.get_default_raw_data(area, settings)
    return np.frombuffer(data, np.uint8).reshape(area.height, area.width, -1)


def processor_time(call: Callable[[], object]) -> float:
    start = time.process_time()
    call()
    return time.process_time() - start


def test_many_pixels_are_converted_as_few_are(tmp_path: Path, press: bytes) -> None:
    source = many_inks()
    image = large(source, tmp_path / "a.tif", press)
    expected = to_rgb(source, press)
    whole = raw_data(image, PixelDataFormat.get_rgb(8))
    assert worst(whole, expected) <= 1
    assert np.array_equal(raw_data(image, PixelDataFormat.get_bgr(8)), whole[..., ::-1])
    with_alpha = raw_data(image, PixelDataFormat.get_rgba(8))
    assert np.array_equal(with_alpha[..., :3], whole) and (with_alpha[..., 3] == 255).all()
    gray = (whole.astype(int) @ [299, 587, 114] + 500) // 1000
    assert np.array_equal(raw_data(image, PixelDataFormat.grayscale)[..., 0], gray)
    part = raw_data(image, PixelDataFormat.get_rgb(8), Rectangle(13, 17, 600, 450))
    assert np.array_equal(part, whole[17:467, 13:613])
    image.save(str(tmp_path / "b.png"), PngOptions())
    with Pillow.open(tmp_path / "b.png") as picture:
        assert np.array_equal(np.asarray(picture.convert("RGB")), whole)


def test_inks_that_repeat_are_converted_once(tmp_path: Path, press: bytes) -> None:
    """Most pictures have areas of one color."""
    source = np.repeat(many_inks()[:, :7], 100, axis=1)
    flat = large(source, tmp_path / "a.tif", press)
    rich = large(many_inks(), tmp_path / "b.tif", press)
    rgb = PixelDataFormat.get_rgb(8)
    assert worst(raw_data(flat, rgb), to_rgb(source, press)) <= 1
    assert np.array_equal(raw_data(flat, rgb)[:, ::100], raw_data(flat, rgb)[:, 99::100])
    times = [(processor_time(lambda: raw_data(flat, rgb)), processor_time(lambda: raw_data(rich, rgb)))
             for _ in range(3)]
    assert min(flat for flat, _ in times) < 0.6 * min(rich for _, rich in times), times


def test_a_profile_is_set_up_once_for_all_pictures(tmp_path: Path, press: bytes) -> None:
    other = bytearray(press)
    other[35] ^= 1  # the second in which it was made: a profile that nobody has seen yet
    images = [load(tiff(tmp_path / f"{i}.tif", inks(i), icc_profile=bytes(other))) for i in range(20)]
    for image in images:
        image.cache_data()
    first = processor_time(lambda: images[0].get_argb_32_pixel(0, 0))
    others = processor_time(lambda: [image.get_argb_32_pixel(0, 0) for image in images[1:]])
    assert others < 3 * first, (first, others)
    for i, image in enumerate(images):
        assert worst(raw_data(image, PixelDataFormat.get_rgb(8)), to_rgb(inks(i), press)) <= 1


def test_inks_that_are_written_over_are_not_converted(tmp_path: Path, press: bytes) -> None:
    """The picture becomes RGB, and loses the profile, as if some of its pixels were left."""
    colors = np.random.default_rng(4).integers(0, 256, (LARGE[1], LARGE[0], 3), dtype=np.uint8)
    settings = RawDataSettings()
    settings.pixel_data_format = PixelDataFormat.get_rgb(8)
    whole, part = large(many_inks(), tmp_path / "a.tif", press), large(many_inks(), tmp_path / "b.tif", press)
    packed = [int(color) - (1 << 24) for color in colors.astype(int).reshape(-1, 3) @ [1 << 16, 1 << 8, 1]]
    over = processor_time(lambda: whole.save_argb_32_pixels(whole.bounds, packed))
    beside = processor_time(lambda: part.save_argb_32_pixels(
        Rectangle(0, 0, LARGE[0], LARGE[1] - 1), packed[:-LARGE[0]]))
    assert np.array_equal(raw_data(whole, settings.pixel_data_format), colors)
    assert np.array_equal(raw_data(part, settings.pixel_data_format)[:-1], colors[:-1])
    assert whole.bits_per_pixel == part.bits_per_pixel == 24
    assert over < 0.8 * beside, (over, beside)
