"""Saving: the content and format of the target file; a failed save leaves no half-written file."""

from __future__ import annotations

import os
import stat
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Color, FileFormat, Image, LoadOptions, Rectangle, RotateFlipType
from zelmor.imaging.imageoptions import (BmpOptions, GifOptions, JpegOptions, PngOptions, SvgRasterizationOptions,
                                         WebPOptions)
from zelmor.imaging.sources import FileCreateSource

from support.image_oracles import (FORMATS, HEIGHT, WIDTH, Pixels, few_colors, load, managed_error, noise, pixels,
                                   raster, read, smooth, worst, write)


@pytest.mark.parametrize("extension", FORMATS)
def test_the_extension_decides_on_the_format(tmp_path: Path, extension: str) -> None:
    source = smooth() if not FORMATS[extension][2] else noise()
    image = Image.load(write(tmp_path / "a.png", source))
    image.save(str(tmp_path / f"b.{extension}"))
    with Pillow.open(tmp_path / f"b.{extension}") as copy:
        assert copy.format == FORMATS[extension][1]
        assert copy.size == (WIDTH, HEIGHT)
    difference = np.abs(read(tmp_path / f"b.{extension}", "RGB") - source)
    if FORMATS[extension][2]:
        assert difference.max() == 0
    else:
        assert difference.mean() < 8


@pytest.mark.parametrize("extension", FORMATS)
def test_an_unknown_extension_keeps_the_format(tmp_path: Path, extension: str) -> None:
    image = Image.load(write(tmp_path / f"a.{extension}", few_colors()))
    image.save(str(tmp_path / "b.data"))
    assert Image.get_file_format(str(tmp_path / "b.data")) == FileFormat[FORMATS[extension][0]]


@pytest.mark.parametrize("extension", ["png", "bmp", "tif", "gif"])
def test_saving_onto_the_source(tmp_path: Path, extension: str) -> None:
    path = write(tmp_path / f"a.{extension}", few_colors())
    image = raster(Image.load(path))
    source = read(path, "RGB")
    image.set_argb_32_pixel(3, 4, 0xFF00FF00 - 2**32)
    image.save()
    source[4, 3] = (0, 255, 0)
    assert worst(read(path, "RGB"), source) == 0
    assert os.listdir(tmp_path) == [f"a.{extension}"]


@pytest.mark.parametrize("extension", ["png", "bmp", "gif"])
def test_more_colors_than_the_palette_had_are_kept(tmp_path: Path, extension: str) -> None:
    Pillow.fromarray(few_colors(2)).quantize(2).save(tmp_path / f"a.{extension}", bits=1)
    image = load(tmp_path / f"a.{extension}")
    source = read(tmp_path / f"a.{extension}", "RGB")
    for x, color in enumerate(noise(3, 9, 5, 1)[0]):
        image.set_pixel(x, 1, Color.from_argb(255, *(int(v) for v in color)))
        source[1, x] = color
    image.save()
    assert worst(read(tmp_path / f"a.{extension}", "RGB"), source) == 0


def test_a_palette_that_still_holds_all_colors_stays(tmp_path: Path) -> None:
    Pillow.fromarray(few_colors(2)).quantize(2).save(tmp_path / "a.png", bits=1)
    load(tmp_path / "a.png").save()
    assert (tmp_path / "a.png").read_bytes()[24:26] == b"\1\3"


def test_saving_onto_the_source_from_another_directory(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Onto the file that was loaded, not one of its name in the working directory of then."""
    for name in ("loaded", "other"):
        (tmp_path / name).mkdir()
        write(tmp_path / name / "a.png", noise())
    monkeypatch.chdir(tmp_path / "loaded")
    image = Image.load("a.png")
    monkeypatch.chdir(tmp_path / "other")
    image.rotate_flip(RotateFlipType.ROTATE_180_FLIP_NONE)
    image.save()
    assert worst(read("a.png"), noise()) == 0
    assert worst(read(tmp_path / "loaded" / "a.png"), noise()[::-1, ::-1]) == 0


def test_a_new_file_from_another_directory(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    (tmp_path / "other").mkdir()
    monkeypatch.chdir(tmp_path)
    options, passing = BmpOptions(), BmpOptions()
    options.source, passing.source = FileCreateSource("a.bmp", False), FileCreateSource("b.bmp", True)
    with Image.create(options, 3, 2) as image, Image.create(passing, 3, 2) as temporary:
        temporary.save()
        monkeypatch.chdir(tmp_path / "other")
        Path("b.bmp").write_text("mine")
        image.save()
    assert [path.name for path in sorted(tmp_path.rglob("*.*"))] == ["a.bmp", "b.bmp"]
    assert (tmp_path / "a.bmp").exists() and Path("b.bmp").read_text() == "mine"


def test_saving_over_the_source_by_name(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    image = load(path)
    image.crop(Rectangle(5, 6, 20, 10))
    image.save(path)
    assert worst(read(path), noise()[6:16, 5:25]) == 0


@pytest.mark.parametrize("options, name", [(BmpOptions, "BMP"), (GifOptions, "GIF"), (JpegOptions, "JPEG"),
                                           (PngOptions, "PNG"), (WebPOptions, "WEBP")])
def test_options_decide_before_the_extension(tmp_path: Path, options: type, name: str) -> None:
    image = Image.load(write(tmp_path / "a.png", smooth()))
    assert image.can_save(options())
    for save in (image.save, image.save_with_options):
        save(str(tmp_path / "b.data"), options())
        with Pillow.open(tmp_path / "b.data") as copy:
            assert copy.format == name
            assert copy.size == (WIDTH, HEIGHT)


def test_options_of_other_formats_are_not_supported(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    assert not image.can_save(SvgRasterizationOptions())
    with managed_error("NotSupportedException", "SvgRasterizationOptions"):
        image.save(str(tmp_path / "b.svg"), SvgRasterizationOptions())
    assert os.listdir(tmp_path) == ["a.png"]


def test_bounds_cut_out_a_part(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    for save in (image.save, image.save_with_options_rect):
        save(str(tmp_path / "b.bmp"), BmpOptions(), Rectangle(7, 8, 21, 13))
        assert worst(read(tmp_path / "b.bmp"), noise()[8:21, 7:28]) == 0
    assert (image.width, image.height) == (WIDTH, HEIGHT)


@pytest.mark.parametrize("bounds", [(-1, 0, 5, 5), (0, 0, WIDTH + 1, 5), (0, 0, 0, 5), (WIDTH, HEIGHT, 1, 1)])
def test_bounds_outside_are_refused(tmp_path: Path, bounds: tuple[int, int, int, int]) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", "bounds_rectangle", f"X={bounds[0]}", f"Width={bounds[2]}"):
        image.save(str(tmp_path / "b.bmp"), BmpOptions(), Rectangle(*bounds))
    assert os.listdir(tmp_path) == ["a.png"]


def test_over_write(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    image.save(str(tmp_path / "b.png"), False)
    before = (tmp_path / "b.png").stat()
    with managed_error("IOException", "b.png", "exists"):
        image.save(str(tmp_path / "b.png"), False)
    assert (tmp_path / "b.png").stat().st_mtime_ns == before.st_mtime_ns
    image.save(str(tmp_path / "b.png"), True)
    assert (tmp_path / "b.png").stat().st_ino != before.st_ino


def test_create_over_a_file(tmp_path: Path) -> None:
    options = PngOptions()
    options.source = FileCreateSource(str(tmp_path / "new.png"), False)
    image = raster(Image.create(options, 30, 20))
    assert not (tmp_path / "new.png").exists()
    assert (image.width, image.height, image.file_format) == (30, 20, FileFormat.PNG)
    image.set_pixel(2, 3, Color.from_argb(200, 10, 20, 30))
    image.save()
    result = read(tmp_path / "new.png", "RGBA")
    assert result.shape == (20, 30, 4)
    assert tuple(result[3, 2]) == (10, 20, 30, 200)
    assert result[..., 3].sum() == 200


@pytest.mark.parametrize("options, alpha", [(BmpOptions, False), (JpegOptions, False), (GifOptions, True),
                                            (WebPOptions, True)])
def test_create_without_a_target(tmp_path: Path, options: type, alpha: bool) -> None:
    image = raster(Image.create(options(), 16, 8))
    assert image.has_alpha == alpha
    with managed_error("InvalidOperationException", "no file"):
        image.save()
    image.save(str(tmp_path / "a.data"))
    with Pillow.open(tmp_path / "a.data") as copy:
        assert copy.size == (16, 8)


def test_a_temporal_file_goes_with_its_image(tmp_path: Path) -> None:
    options = BmpOptions()
    options.source = FileCreateSource(str(tmp_path / "a.bmp"), True)
    with Image.create(options, 5, 5) as image:
        image.save()
        assert (tmp_path / "a.bmp").exists()
    assert not (tmp_path / "a.bmp").exists()


def test_permissions_of_an_existing_file_stay(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    os.chmod(path, 0o640)
    Image.load(path).save()
    assert stat.S_IMODE(os.stat(path).st_mode) == 0o640


def test_permissions_of_a_new_file_follow_the_mask(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    mask = os.umask(0o027)
    try:
        image.save(str(tmp_path / "b.png"))
    finally:
        os.umask(mask)
    assert stat.S_IMODE((tmp_path / "b.png").stat().st_mode) == 0o640


def test_a_link_is_followed(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    (tmp_path / "link.png").symlink_to("a.png")
    image = load(tmp_path / "link.png")
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    image.save()
    assert (tmp_path / "link.png").is_symlink()
    assert worst(read(path), noise()[:, ::-1]) == 0


def test_a_dangling_link_leads_to_the_new_file(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    (tmp_path / "link.png").symlink_to(tmp_path / "target.png")
    image.save(str(tmp_path / "link.png"))
    assert worst(read(tmp_path / "link.png"), noise()) == 0


def test_a_pipe_is_written_to(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", few_colors()))
    os.mkfifo(tmp_path / "pipe.png")
    reader = os.open(tmp_path / "pipe.png", os.O_RDONLY | os.O_NONBLOCK)
    try:
        image.save(str(tmp_path / "pipe.png"))
        (tmp_path / "copy.png").write_bytes(os.read(reader, 1 << 16))
    finally:
        os.close(reader)
    assert stat.S_ISFIFO((tmp_path / "pipe.png").stat().st_mode)
    assert worst(read(tmp_path / "copy.png", "RGB"), few_colors()) == 0


def test_a_full_device_is_an_error(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    with managed_error("IOException", "/dev/full", "No space left"):
        image.save("/dev/full", PngOptions())


@pytest.mark.parametrize("frames", [2, 5])
def test_frames_are_not_lost_silently(tmp_path: Path, frames: int) -> None:
    first, *more = [Pillow.fromarray(noise(3, seed)) for seed in range(frames)]
    first.save(tmp_path / "a.tif", save_all=True, append_images=more)
    image = Image.load(str(tmp_path / "a.tif"))
    assert worst(pixels_with_options(image, tmp_path), noise(3, 0)) == 0
    with managed_error("NotSupportedException", f"{frames} frames", "PNG"):
        image.save(str(tmp_path / "a.png"))
    assert not (tmp_path / "a.png").exists()
    image.save()
    with Pillow.open(tmp_path / "a.tif") as copy:
        assert copy.n_frames == frames


def pixels_with_options(image: Image, tmp_path: Path) -> Pixels:
    image.save(str(tmp_path / "frame.bmp"), BmpOptions())
    return read(tmp_path / "frame.bmp")


def test_alpha_is_laid_over_the_background(tmp_path: Path) -> None:
    source = np.zeros((20, 20, 4), np.uint8)
    source[..., 0] = 200
    source[:, 10:, 3] = 255
    image = load(write(tmp_path / "a.png", source))
    image.save(str(tmp_path / "white.bmp"), BmpOptions())
    assert tuple(read(tmp_path / "white.bmp", "RGB")[5, 5]) == (255, 255, 255)
    image.has_background_color = True
    image.background_color = Color.from_argb(255, 0, 0, 255)
    image.save(str(tmp_path / "blue.bmp"), BmpOptions())
    result = read(tmp_path / "blue.bmp", "RGB")
    assert tuple(result[5, 5]) == (0, 0, 255)
    assert tuple(result[5, 15]) == (200, 0, 0)


@pytest.mark.parametrize("extension", ["png", "jpg", "tif", "webp"])
@pytest.mark.parametrize("convert", [False, True])
def test_a_color_profile_is_kept_or_applied(tmp_path: Path, extension: str, convert: bool) -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    options = LoadOptions()
    options.use_icc_profile_conversion = convert
    image = Image.load(write(tmp_path / "a.png", smooth(), icc_profile=profile), options)
    image.save(str(tmp_path / f"b.{extension}"))
    with Pillow.open(tmp_path / f"b.{extension}") as copy:
        assert copy.info.get("icc_profile") == (None if convert else profile)
    assert np.abs(read(tmp_path / f"b.{extension}", "RGB") - smooth()).mean() < 3


def test_exif_data_is_kept(tmp_path: Path) -> None:
    exif = Pillow.Exif()
    exif[0x010F] = "a maker"  # Make
    image = load(write(tmp_path / "a.jpg", smooth(), exif=exif))
    image.resize(20, 20)
    for extension in ("jpg", "webp"):
        image.save(str(tmp_path / f"b.{extension}"))
        with Pillow.open(tmp_path / f"b.{extension}") as copy:
            assert copy.getexif()[0x010F] == "a maker"


def test_a_transparent_color_is_written_as_clear(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", few_colors(4)))
    key = few_colors(4)[0, 0]
    image.transparent_color = Color.from_argb(255, *(int(v) for v in key))
    image.has_transparent_color = True
    image.save(str(tmp_path / "b.gif"), GifOptions())
    alpha = read(tmp_path / "b.gif", "RGBA")[..., 3]
    assert np.array_equal(alpha == 0, (few_colors(4) == key).all(-1))
    assert worst(pixels(load(tmp_path / "b.gif"), tmp_path, "RGBA")[..., 3], alpha) == 0
