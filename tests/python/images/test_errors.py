"""Failures: each raises a managed exception with a message that explains it to a person, and changes nothing."""

from __future__ import annotations

import io
import os
import resource
import struct
import subprocess
import tempfile
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest
from zelmor.imaging import (Color, DataRecoveryMode, Image, LoadOptions, Rectangle, ResizeType, RotateFlipType,
                            StreamContainer)
from zelmor.imaging.fileformats.tiff import TiffDataType
from zelmor.imaging.fileformats.tiff.filemanagement import TiffStreamReader, TiffStreamWriter
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffUnknownType
from zelmor.imaging.imageoptions import BmpOptions, PngOptions
from zelmor.imaging.sources import FileCreateSource

from support.control import control
from support.image_oracles import (FORMATS, HEIGHT, WIDTH, load, managed_error, noise, pixels, raster, read, smooth,
                                   worst, write)

MOST = 2**31 - 1


@pytest.mark.parametrize("call", [Image.load, Image.can_load, Image.get_file_format])
def test_a_file_that_is_not_there(tmp_path: Path, call: Callable[[str | None], object]) -> None:
    with managed_error("FileNotFoundException", str(tmp_path / "none.png")):
        call(str(tmp_path / "none.png"))
    with managed_error("DirectoryNotFoundException", str(tmp_path / "no" / "none.png")):
        call(str(tmp_path / "no" / "none.png"))
    with managed_error("UnauthorizedAccessException", str(tmp_path), "directory"):
        call(str(tmp_path))
    with managed_error("ArgumentException", "file_path"):
        call("")
    with managed_error("ArgumentException", "file_path", "null character"):
        call("a\0b.png")
    with managed_error("ArgumentNullException", "file_path"):
        call(None)
    with managed_error("PathTooLongException", "xxx"):
        call("/" + "x" * 5000)


@pytest.mark.skipif(os.geteuid() == 0, reason="nothing is forbidden to the superuser")
def test_permissions(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    os.chmod(path, 0)
    with managed_error("UnauthorizedAccessException", path, "permission"):
        Image.load(path)
    os.chmod(path, 0o400)
    with managed_error("UnauthorizedAccessException", path, "permission"):
        Image.load(path).save()
    os.chmod(tmp_path, 0o500)
    try:
        with managed_error("UnauthorizedAccessException", "b.png", "directory"):
            Image.load(path).save(str(tmp_path / "b.png"))
    finally:
        os.chmod(tmp_path, 0o700)


@pytest.mark.skipif(os.geteuid() != 0, reason="only the superuser can become somebody else")
def test_permissions_of_another_user() -> None:
    """The same when the superuser runs the tests: the step runs as another user, in a process of its own."""
    script = f"""
import os, sys
sys.path.insert(0, {str(Path(os.environ['ZELMOR_BUILD_DIR']) / 'python')!r})
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
image = Image.create(PngOptions(), 5, 5)
image.resize(4, 4)
os.seteuid(65534)
old, new = sys.argv[1] + "/a.png", sys.argv[1] + "/b.png"
for call in (lambda: Image.load(old), lambda: image.save(old), lambda: image.save(new)):
    try:
        call()
        print("no error")
    except RuntimeError as error:
        print(error)
"""
    with tempfile.TemporaryDirectory() as directory:
        path = write(Path(directory) / "a.png", noise())
        os.chmod(path, 0o600)
        os.chmod(directory, 0o755)
        done = subprocess.run(["/usr/bin/python3", "-c", script, directory], capture_output=True, text=True, check=True)
        lines = done.stdout.splitlines()
        assert len(lines) == 3, done
        assert all(line.startswith("Proxy error(UnauthorizedAccessException): Access to the path '") for line in lines)
        assert "read it" in lines[0] and "write it" in lines[1] and "write to its directory" in lines[2]
        assert os.listdir(directory) == ["a.png"]


@pytest.mark.parametrize("content, words", [
    (b"", "no data"), (b"x", "none of the formats"), (b"no picture at all", "none of the formats"),
    (b"BM", "no complete header"), (b"GIF89a", "no complete header"), (b"\x89PNG\r\n\x1a\n", "no complete header"),
    (b"\xff\xd8\xff", "no complete header"), (b"II*\0\xff\xff\xff\xff", "no complete header"),
    (b"RIFF\0\0\0\0WEBPVP8 ", "no complete header"),
])
def test_files_that_are_no_pictures(tmp_path: Path, content: bytes, words: str) -> None:
    path = tmp_path / "a.png"
    path.write_bytes(content)
    with managed_error("ImageLoadException", f"'{path}'", words):
        Image.load(str(path))


def test_an_error_tells_of_its_own_picture(tmp_path: Path) -> None:
    whole = Path(write(tmp_path / "a.jpg", noise())).read_bytes()
    (tmp_path / "b.jpg").write_bytes(whole[:len(whole) // 2])
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    # The library warns about the one, which is no error, and fails at the other.
    raster(Image.load(str(tmp_path / "b.jpg"), options)).resize(5, 5)
    whole = Path(write(tmp_path / "a.webp", noise())).read_bytes()
    (tmp_path / "b.webp").write_bytes(whole[:len(whole) // 2])
    with pytest.raises(RuntimeError, match="ImageLoadException.*b.webp") as caught:
        load(tmp_path / "b.webp").get_pixel(0, 0)
    assert "jpeg" not in str(caught.value).lower()


@pytest.mark.parametrize("extension", FORMATS)
@pytest.mark.parametrize("part", [0.1, 0.5, 0.9, 0.999])
def test_truncated_files(tmp_path: Path, extension: str, part: float) -> None:
    path = write(tmp_path / f"a.{extension}", noise())
    data = Path(path).read_bytes()
    Path(path).write_bytes(data[:int(len(data) * part)])
    with managed_error("ImageLoadException", path, FORMATS[extension][0].replace("WEBP", "WebP")):
        load(path).cache_data()


@pytest.mark.parametrize("extension, bottom_up", [("png", False), ("jpg", False), ("bmp", True)])
def test_consistent_recovery(tmp_path: Path, extension: str, bottom_up: bool) -> None:
    source = smooth(3, 64, 96) if extension == "jpg" else noise(3, 1, 64, 96)
    path = write(tmp_path / f"a.{extension}", source)
    whole = read(path, "RGB")
    data = Path(path).read_bytes()
    Path(path).write_bytes(data[:int(len(data) * 0.7)])
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.CONSISTENT_RECOVER
    options.data_background_color = Color.from_argb(255, 0, 200, 255)
    result = pixels(Image.load(path, options), tmp_path)
    assert result.shape == whole.shape
    if bottom_up:
        result, whole = result[::-1], whole[::-1]
    assert worst(result[:20], whole[:20]) <= (2 if extension == "jpg" else 0)
    assert (result[-8:] == (0, 200, 255)).all()


@pytest.mark.parametrize("extension", ["png", "jpg", "bmp", "gif", "tif"])
def test_maximal_recovery(tmp_path: Path, extension: str) -> None:
    # Large enough for a TIFF of several strips, each of which is either complete or missing.
    path = write(tmp_path / f"a.{extension}", noise(3, 1, 300, 400))
    whole = read(path, "RGB")
    data = Path(path).read_bytes()
    Path(path).write_bytes(data[:int(len(data) * 0.8)])
    options = LoadOptions()
    options.data_recovery_mode = DataRecoveryMode.MAXIMAL_RECOVER
    result = pixels(Image.load(path, options), tmp_path)
    if extension == "bmp":
        result, whole = result[::-1], whole[::-1]
    assert np.abs(result[:16] - whole[:16]).mean() < 3


def test_a_whole_file_loads_alike_in_every_mode(tmp_path: Path) -> None:
    path = write(tmp_path / "a.png", noise())
    for mode in DataRecoveryMode:
        options = LoadOptions()
        options.data_recovery_mode = mode
        assert worst(pixels(Image.load(path, options), tmp_path), noise()) == 0


def test_a_header_that_promises_too_much(tmp_path: Path) -> None:
    path = Path(write(tmp_path / "a.bmp", noise()))
    data = bytearray(path.read_bytes())
    struct.pack_into("<ii", data, 18, 1 << 30, 1 << 30)
    path.write_bytes(data)
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    with managed_error("ImageLoadException", str(path), "1073741824 by 1073741824"):
        Image.load(str(path))
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 100_000


@pytest.mark.parametrize("target, name, words", [
    ("no/such/dir/b.png", "DirectoryNotFoundException", "no directory"),
    ("a.png/b.png", "DirectoryNotFoundException", "no directory"),
    ("dir", "UnauthorizedAccessException", "is a directory"),
    ("new/", "DirectoryNotFoundException", "no directory"),
    ("", "ArgumentException", "empty"),
])
def test_targets_that_cannot_be_written(tmp_path: Path, target: str, name: str, words: str) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    (tmp_path / "dir").mkdir()
    path = f"{tmp_path}/{target}" if target else ""
    ways: list[Callable[[], None]] = [
        lambda: image.save(path), lambda: image.save(path, PngOptions()),
        lambda: image.save(path, BmpOptions(), Rectangle(0, 0, 1, 1)), lambda: image.save(path, True)]
    for save in ways:
        with managed_error(name, path, words):
            save()
    assert sorted(os.listdir(tmp_path)) == ["a.png", "dir"]


def test_a_target_that_cannot_be_created_is_told_at_creation(tmp_path: Path) -> None:
    options = PngOptions()
    options.source = FileCreateSource(str(tmp_path / "no" / "a.png"), False)
    with managed_error("DirectoryNotFoundException", "a.png"):
        Image.create(options, 5, 5)


def test_a_failed_save_leaves_the_old_file(tmp_path: Path) -> None:
    wide = Image.create(PngOptions(), 20000, 1)
    path = Path(write(tmp_path / "a.webp", noise()))
    before = path.read_bytes()
    with managed_error("ImageSaveException", str(path), "16383"):
        wide.save(str(path))
    assert path.read_bytes() == before
    assert os.listdir(tmp_path) == ["a.webp"]


@pytest.mark.parametrize("width, height, parameter", [(0, 5, "new_width"), (5, 0, "new_height"), (-1, 5, "new_width"),
                                                      (5, -MOST, "new_height"), (MOST, 5, "new_width"),
                                                      (5, MOST, "new_height"), (MOST, MOST, "new_width"),
                                                      (100_000, 100_000, "new_width")])
@pytest.mark.parametrize("kind", [ResizeType.LANCZOS_RESAMPLE, ResizeType.NEAREST_NEIGHBOUR_RESAMPLE, ResizeType.NONE])
def test_sizes_that_no_picture_has(tmp_path: Path, width: int, height: int, parameter: str, kind: ResizeType) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    value = width if parameter == "new_width" else height
    with managed_error("ArgumentOutOfRangeException", parameter, str(value)):
        image.resize(width, height, kind)
    assert (image.width, image.height) == (WIDTH, HEIGHT)


@pytest.mark.parametrize("width, height, parameter", [(0, 5, "width"), (5, -3, "height"), (MOST, MOST, "width"),
                                                      (100_000, 100_000, "width")])
def test_creating_an_invalid_picture(width: int, height: int, parameter: str) -> None:
    with managed_error("ArgumentOutOfRangeException", f"'{parameter}'", str(width if parameter == "width" else height)):
        Image.create(BmpOptions(), width, height)
    with managed_error("ArgumentNullException", "image_options"):
        Image.create(None, 5, 5)


@pytest.mark.parametrize("rectangle", [(-1, 0, 5, 5), (0, 0, WIDTH + 1, 5), (0, 0, 5, 0), (WIDTH, 0, 1, 1),
                                       (MOST, MOST, MOST, MOST), (1, 1, MOST, MOST), (-5, -5, 10, 10)])
def test_crops_outside(tmp_path: Path, rectangle: tuple[int, int, int, int]) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", "rectangle", f"X={rectangle[0]}", f"{WIDTH} by {HEIGHT}"):
        image.crop(Rectangle(*rectangle))
    assert (image.width, image.height) == (WIDTH, HEIGHT)


@pytest.mark.parametrize("shifts, parameter", [((-1, 0, 0, 0), "left_shift"), ((0, 0, 0, -2), "bottom_shift"),
                                               ((WIDTH, 0, 0, 0), "right_shift"), ((0, 0, MOST, MOST), "bottom_shift")])
def test_shifts_that_leave_nothing(tmp_path: Path, shifts: tuple[int, int, int, int], parameter: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentOutOfRangeException", parameter):
        image.crop(*shifts)


def test_null_options(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    with managed_error("ArgumentNullException", "options"):
        image.save(str(tmp_path / "b.png"), None)
    with managed_error("ArgumentNullException", "options"):
        image.can_save(None)
    with managed_error("ArgumentNullException", "settings"):
        image.resize(5, 5, None)


DISPOSED_CALLS: list[Callable[..., object]] = [
    lambda i: i.width, lambda i: i.size, lambda i: i.bounds, lambda i: i.bits_per_pixel, lambda i: i.file_format,
    lambda i: i.is_cached, lambda i: i.has_alpha, lambda i: i.image_opacity, lambda i: i.horizontal_resolution,
    lambda i: i.save(), lambda i: i.save("x.png"), lambda i: i.save("x.png", PngOptions()),
    lambda i: i.resize(5, 5), lambda i: i.resize_width_proportionally(5),
    lambda i: i.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE), lambda i: i.rotate(5.0), lambda i: i.grayscale(),
    lambda i: i.crop(Rectangle(0, 0, 1, 1)), lambda i: i.get_pixel(0, 0), lambda i: i.set_argb_32_pixel(0, 0, 0),
    lambda i: i.adjust_gamma(2.0), lambda i: i.adjust_contrast(5.0), lambda i: i.binarize_otsu(),
    lambda i: i.binarize_bradley(0.1), lambda i: i.replace_argb(0, 0, 0), lambda i: i.cache_data(),
    lambda i: i.set_resolution(1.0, 1.0), lambda i: i.get_original_options(), lambda i: i.can_save(PngOptions()),
    lambda i: i.has_background_color, lambda i: i.background_color,
]


@pytest.mark.parametrize("number", range(len(DISPOSED_CALLS)))
def test_a_disposed_image_answers_nothing(tmp_path: Path, number: int) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    view = raster(image)
    with image:
        DISPOSED_CALLS[0](view)
    assert view.disposed
    with managed_error("ObjectDisposedException", "Image"):
        DISPOSED_CALLS[number](view)
    assert os.listdir(tmp_path) == ["a.png"]


def test_disposing_twice(tmp_path: Path) -> None:
    image = Image.load(write(tmp_path / "a.png", noise()))
    with image:
        pass
    with image:
        assert image.disposed


def test_a_failed_operation_leaves_the_picture(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    calls: list[Callable[[], None]] = [
        lambda: image.resize(-1, 5), lambda: image.crop(Rectangle(-1, 0, 5, 5)),
        lambda: image.resize(5, -MOST, ResizeType.NONE), lambda: image.adjust_brightness(300)]
    for call in calls:
        with managed_error("ArgumentOutOfRangeException"):
            call()
    assert worst(pixels(image, tmp_path), noise()) == 0


def test_what_is_not_supported_says_so() -> None:
    reader = TiffStreamReader(struct.pack("<HHII", 700, 99, 3, 5))
    tag = TiffUnknownType._cast_to(TiffDataType.read_tag(reader, 0)).value
    with StreamContainer(io.BytesIO()) as container:
        with managed_error("NotSupportedException", "A tag of the unknown type 99 cannot be written"):
            tag.write_additional_data(TiffStreamWriter(container))


def test_memory_is_given_back(tmp_path: Path) -> None:
    """Many loads and operations in turn use only the memory of a few pictures."""
    path = write(tmp_path / "a.png", smooth(3, 600, 600))

    def round_trip() -> None:
        image = load(path)
        image.resize(1000, 1000)
        image.rotate(10.0)
        image.grayscale()
        image.save(str(tmp_path / "b.jpg"))

    def resident() -> int:
        return int(Path("/proc/self/statm").read_text().split()[1]) * resource.getpagesize()

    for _ in range(5):
        round_trip()
    control.settle()
    before = resident()
    for _ in range(25):
        round_trip()
    control.settle()
    assert resident() - before < 25_000_000  # a round processes 20 pictures of up to 6 MB
