"""``zelmor.arrays``: pixels as NumPy arrays and Pillow images, and back, without a loss."""

from __future__ import annotations

import sys
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from numpy.typing import NDArray
from PIL import Image as Pillow
from zelmor import arrays
from zelmor.imaging import Image, RasterImage, Rectangle, VectorImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.tiff import TiffImage
from zelmor.imaging.imageoptions import PngOptions

import zelmor
from support.image_oracles import HEIGHT, WIDTH, few_colors, noise, read, worst, write
from support.package_process import child
from support.tiff_files import BLACK_IS_ZERO, CMYK, RGB, Form, tiff_bytes

Array = NDArray[Any]
DTYPES = ["uint8", "uint16", "uint32", "int8", "int16", "int32", "float32", "float64"]
MODES = {"L": 1, "LA": 2, "RGB": 3, "RGBA": 4, "CMYK": 4, "CMYKA": 5}
FORMS = [(mode, dtype) for mode in MODES for dtype in DTYPES if not (mode[0] == "C" and dtype[0] == "i")]


def samples(dtype: str, channels: int, height: int = 11, width: int = 13) -> Array:
    """Random numbers of the whole range; floating ones beyond 0 to 1 too."""
    rng = np.random.default_rng(7)
    shape = (height, width, channels) if channels > 1 else (height, width)
    if dtype.startswith("float"):
        return (rng.random(shape) * 5 - 2).astype(dtype)
    return rng.integers(np.iinfo(dtype).min, np.iinfo(dtype).max, shape, dtype, endpoint=True)


def same(found: Array, expected: Array) -> bool:
    return found.dtype == expected.dtype.newbyteorder("=") and np.array_equal(found, expected)


# ---- Round trips


@pytest.mark.parametrize("mode, dtype", FORMS)
def test_round_trips_are_exact(mode: str, dtype: str) -> None:
    array = samples(dtype, MODES[mode])
    image = arrays.from_numpy(array, mode)
    assert type(image) is (PngImage if dtype in ("uint8", "uint16") and not mode.startswith("C") else TiffImage)
    assert (image.width, image.height) == (13, 11)
    assert same(arrays.to_numpy(image), array)
    assert same(arrays.to_numpy(image, mode, dtype), array)


@pytest.mark.parametrize("mode, dtype", FORMS)
def test_a_saved_file_has_the_same_pixels(tmp_path: Path, mode: str, dtype: str) -> None:
    array = samples(dtype, MODES[mode])
    path = tmp_path / ("a.png" if dtype in ("uint8", "uint16") and not mode.startswith("C") else "a.tif")
    with arrays.from_numpy(array, mode) as image:
        image.save(str(path))
    with zelmor.open(path) as again:
        assert same(arrays.to_numpy(again), array)


@pytest.mark.parametrize("shape", [(5, 4, 3), (5, 4, 4), (5, 4), (5, 4, 1)])
def test_the_mode_is_told_by_the_shape(shape: tuple[int, ...]) -> None:
    array = np.arange(np.prod(shape), dtype=np.uint8).reshape(shape)
    expected = array[..., 0] if shape[2:] == (1,) else array
    assert same(arrays.to_numpy(arrays.from_numpy(array)), expected)


def orders(array: Array) -> dict[str, Array]:
    """The same numbers in other orders of memory."""
    spread = np.zeros((array.shape[0] * 2, array.shape[1] * 3, array.shape[2] + 2), array.dtype)
    spread[::2, ::3, 1:-1] = array
    padded = np.zeros((array.shape[0], array.shape[1] + 5, array.shape[2]), array.dtype)
    padded[:, 2:-3] = array
    read_only = array.copy()
    read_only.flags.writeable = False
    return {"rows": array, "steps": spread[::2, ::3, 1:-1],
            "negative": array[::-1, ::-1, ::-1].copy()[::-1, ::-1, ::-1],
            "columns first": np.asfortranarray(array), "padded rows": padded[:, 2:-3],
            "planes": np.ascontiguousarray(array.transpose(2, 0, 1)).transpose(1, 2, 0),
            "other bytes": array.astype(array.dtype.newbyteorder(">")), "read only": read_only}


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("order", ["rows", "steps", "negative", "columns first", "padded rows", "planes", "other bytes",
                                   "read only"])
def test_any_order_in_memory(dtype: str, order: str) -> None:
    array = samples(dtype, 3)
    image = arrays.from_numpy(orders(array)[order])
    assert same(arrays.to_numpy(image), array)


def test_repeated_rows() -> None:
    array = np.broadcast_to(np.arange(6, dtype=np.uint8).reshape(1, 2, 3), (4, 2, 3))  # strides of zero
    assert same(arrays.to_numpy(arrays.from_numpy(array)), np.array(array))


def test_large_pictures_cross_in_bands(monkeypatch: pytest.MonkeyPatch) -> None:
    """Of pictures beyond what one call takes; the limits are lowered for the test."""
    from zelmor.arrays import _layouts, _numpy

    array = samples("uint16", 3, 37, 29)
    for module in (_layouts, _numpy):
        monkeypatch.setattr(module, "MOST", 1000)
        monkeypatch.setattr(module, "BAND", 500)
    image = arrays.from_numpy(array)
    assert same(arrays.to_numpy(image), array)
    assert same(arrays.to_numpy(arrays.from_numpy(array[::-1])), array[::-1])
    assert same(arrays.to_numpy(image, area=(3, 4, 20, 30)), array[4:34, 3:23])


# ---- Pictures from files


@pytest.mark.parametrize("mode, shape", [
    ("1", ()), ("L", ()), ("LA", (2,)), ("P", (3,)), ("RGB", (3,)), ("RGBA", (4,))])
def test_pixels_of_files_are_those_that_pillow_reads(tmp_path: Path, mode: str, shape: tuple[int, ...]) -> None:
    picture = Pillow.fromarray(noise(4)).convert(mode) if mode != "P" else Pillow.fromarray(few_colors()).convert("P")
    picture.save(tmp_path / "a.png")
    with zelmor.open(tmp_path / "a.png") as image:
        found = arrays.to_numpy(image)
    assert found.shape == (HEIGHT, WIDTH, *shape) and found.dtype == np.uint8
    assert np.array_equal(found, np.asarray(picture.convert({"1": "L", "P": "RGB"}.get(mode, mode))))


def test_a_palette_with_transparency_has_alpha(tmp_path: Path) -> None:
    picture = Pillow.fromarray(noise(1) % 4).convert("P")
    picture.putpalette([1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12])
    picture.save(tmp_path / "a.png", transparency=2)
    with zelmor.open(tmp_path / "a.png", RasterImage) as image:
        assert np.array_equal(arrays.to_numpy(image), read(tmp_path / "a.png", "RGBA"))
        assert np.array_equal(arrays.to_numpy(image, "P"), np.asarray(picture))


def test_inks_of_a_jpeg(tmp_path: Path) -> None:
    Pillow.fromarray(noise(4), "CMYK").save(tmp_path / "a.jpg", quality=100)
    with zelmor.open(tmp_path / "a.jpg") as image:
        found = arrays.to_numpy(image)
        assert found.shape == (HEIGHT, WIDTH, 4)
        assert worst(found.astype(int), read(tmp_path / "a.jpg")) <= 2


@pytest.mark.parametrize("form, dtype", [
    (Form("half", BLACK_IS_ZERO, 1, 16, 3), "float32"), (Form("float", RGB, 3, 32, 3), "float32"),
    (Form("double", RGB, 3, 64, 3), "float64"), (Form("long", BLACK_IS_ZERO, 1, 32), "uint32"),
    (Form("inks", CMYK, 4, 16), "uint16")])
def test_samples_of_a_tiff(tmp_path: Path, form: Form, dtype: str) -> None:
    source = form.noise(WIDTH, HEIGHT)
    (tmp_path / "a.tif").write_bytes(tiff_bytes(source, form))
    with zelmor.open(tmp_path / "a.tif") as image:
        assert same(arrays.to_numpy(image), source.astype(dtype)[..., 0] if form.bands == 1 else source.astype(dtype))


@pytest.mark.parametrize("bits", [8, 16, 32])
def test_samples_with_a_sign(tmp_path: Path, bits: int) -> None:
    form = Form("signed", BLACK_IS_ZERO, 1, bits, 2)
    source = form.noise(WIDTH, HEIGHT)[..., 0]
    for first in (-1, 0, 1, -2**(bits - 1), 2**(bits - 1) - 1):
        source[0, 0] = first
        (tmp_path / "a.tif").write_bytes(tiff_bytes(source[..., None], form))
        with zelmor.open(tmp_path / "a.tif", RasterImage) as image:
            assert same(arrays.to_numpy(image), source)
    shares = (source.astype(float) + 2**(bits - 1)) / (2**bits - 1)
    with zelmor.open(tmp_path / "a.tif", RasterImage) as image:
        assert np.abs(arrays.to_numpy(image, dtype="float64") - shares).max() < 1e-9
        for other, dtype in (("L", "uint8"), ("L", "uint16"), ("RGB", "uint8"), ("RGB", "uint16")):
            if (other, dtype) == ("L", f"uint{bits}"):
                with pytest.raises(ValueError, match=f"^a picture of int{bits} has no pixels of uint{bits}$"):
                    arrays.to_numpy(image, other, dtype)
                continue
            found = arrays.to_numpy(image, other, dtype)
            expected = shares * np.iinfo(dtype).max
            assert np.abs(found - (expected if other == "L" else expected[..., None])).max() <= 1
        with pytest.raises(ValueError, match=f"^pixels of uint8 cannot be written to a picture of int{bits}$"):
            arrays.write_numpy(image, np.zeros((2, 2), np.uint8))


def test_modes_and_types_are_converted(tmp_path: Path) -> None:
    source = noise(3)
    with zelmor.open(write(tmp_path / "a.png", source), RasterImage) as image:
        assert same(arrays.to_numpy(image, "BGR"), source[..., ::-1])
        assert same(arrays.to_numpy(image, "RGBA"), np.dstack([source, np.full(source.shape[:2], 255, np.uint8)]))
        assert np.abs(arrays.to_numpy(image, "L") - source @ [0.299, 0.587, 0.114]).max() <= 1
        assert arrays.to_numpy(image, "CMYK").shape == (HEIGHT, WIDTH, 4)
        assert same(arrays.to_numpy(image, dtype=np.uint16), source.astype(np.uint16) * 257)
        for kind in (np.float32, np.float64):
            assert same(arrays.to_numpy(image, dtype=kind), np.divide(source, 255, dtype=kind))
        assert same(np.rint(arrays.to_numpy(image, dtype="float32") * 255).astype(np.uint8), source)
    deep = samples("uint16", 3)
    image = arrays.from_numpy(deep)
    assert same(arrays.to_numpy(image, dtype="float32"), np.divide(deep, 65535, dtype=np.float32))
    assert arrays.to_numpy(image, dtype="uint8").dtype == np.uint8
    floats = samples("float32", 3)
    image = arrays.from_numpy(floats)
    assert worst(arrays.to_numpy(image, dtype="uint8").astype(int), np.rint(floats.clip(0, 1) * 255).astype(int)) <= 1
    assert same(arrays.to_numpy(image, dtype="float64"), floats.astype(np.float64))
    assert arrays.to_numpy(image, "L", "uint16").shape == floats.shape[:2]


def test_integers_of_32_bits_as_floating_numbers() -> None:
    array = samples("uint32", 1)
    found = arrays.to_numpy(arrays.from_numpy(array), dtype="float64")
    assert np.allclose(found, array / (2**32 - 1), rtol=1e-15)


def test_areas() -> None:
    array = samples("uint8", 3)
    image = arrays.from_numpy(array)
    for area in (Rectangle(2, 3, 5, 4), (2, 3, 5, 4)):
        assert same(arrays.to_numpy(image, area=area), array[3:7, 2:7])
        assert same(arrays.to_numpy(image, area=area, dtype="float32"),
                    np.divide(array[3:7, 2:7], 255, dtype=np.float32))
    for wrong in ((0, 0, 14, 1), (-1, 0, 2, 2), (0, 0, 0, 5)):
        for dtype in (None, "float32"):
            with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
                arrays.to_numpy(image, area=wrong, dtype=dtype)


def test_out_is_written_to() -> None:
    array = samples("uint8", 3)
    image = arrays.from_numpy(array)
    spread = np.zeros((11, 26, 3), np.uint8)
    assert arrays.to_numpy(image, out=spread[:, ::2]) is not None
    assert np.array_equal(spread[:, ::2], array) and not spread[:, 1::2].any()
    floats = np.zeros((11, 13, 3), np.float32)
    assert arrays.to_numpy(image, dtype="float32", out=floats) is floats
    assert np.array_equal(floats, np.divide(array, 255, dtype=np.float32))
    with pytest.raises(ValueError, match=r"^out is uint8 \(11, 13\), and the pixels are uint8 \(11, 13, 3\)$"):
        arrays.to_numpy(image, out=np.zeros((11, 13), np.uint8))
    with pytest.raises(ValueError, match=r"^out is uint8 .*, and the pixels are float32 "):
        arrays.to_numpy(image, dtype="float32", out=spread[:, ::2])


def test_the_array_is_a_copy_that_can_be_changed() -> None:
    image = arrays.from_numpy(samples("uint8", 3))
    found = arrays.to_numpy(image)
    found[:] = 0
    assert arrays.to_numpy(image).any()


def test_frames() -> None:
    first, second = samples("uint8", 3), samples("uint8", 3)[::-1]
    image = Image.create([arrays.from_numpy(first), arrays.from_numpy(second)])
    assert image is not None
    assert same(arrays.to_numpy(image), first)
    assert same(arrays.to_numpy(zelmor.specific(image).pages[1]), second)  # type: ignore[attr-defined]


# ---- Writing into a picture


def test_pixels_are_written_into_a_picture() -> None:
    source, patch = samples("uint8", 3), samples("uint8", 3, 4, 5)[::-1, ::-1]
    image = arrays.from_numpy(source)
    arrays.write_numpy(image, patch, at=(6, 2))
    source[2:6, 6:11] = patch
    assert same(arrays.to_numpy(image), source)
    arrays.write_numpy(image, patch[..., 0], at=(0, 0))  # gray becomes colors
    source[:4, :5] = patch[..., :1]
    assert same(arrays.to_numpy(image), source)
    with pytest.raises(RuntimeError, match="ArgumentOutOfRangeException"):
        arrays.write_numpy(image, patch, at=(9, 2))
    with pytest.raises(ValueError, match="^pixels of float32 cannot be written to a picture of uint8$"):
        arrays.write_numpy(image, patch.astype(np.float32))
    assert same(arrays.to_numpy(image), source)


def test_indices_are_written(tmp_path: Path) -> None:
    Pillow.fromarray(few_colors(16)).quantize(16, dither=Pillow.Dither.NONE).save(tmp_path / "a.png")
    with zelmor.open(tmp_path / "a.png", RasterImage) as image:
        indices = arrays.to_numpy(image, "P")
        arrays.write_numpy(image, indices[::-1], "P")
        assert image.use_palette and same(arrays.to_numpy(image, "P"), indices[::-1])
        with pytest.raises(RuntimeError, match="ArgumentException.*index 16"):
            arrays.write_numpy(image, np.full((2, 2), 16, np.uint8), "P")


# ---- Refusals


@pytest.mark.parametrize("array, error, text", [
    (np.zeros((2, 2), bool), TypeError, r"^pixels of bool do not fit a picture; those of uint8, uint16, uint32, int8, "
                                        r"int16, int32, float32, float64 do: array.astype\(np.uint8\) \* 255 has "
                                        r"black and white$"),
    (np.zeros((2, 2), np.int64), TypeError, "^pixels of int64 do not fit"),
    (np.zeros((2, 2), np.float16), TypeError, r"^pixels of float16 do not fit .*: use array.astype\(np.float32\)$"),
    (np.zeros((2, 2), complex), TypeError, "^pixels of complex128 do not fit"),
    (np.zeros((2, 2), object), TypeError, "^pixels of object do not fit"),
    ([["a"]], TypeError, "^pixels of str"),
    (np.zeros(5, np.uint8), ValueError, r"the shape \(height, width\) or \(height, width, channels\), not \(5,\)$"),
    (np.zeros((1, 2, 2, 3), np.uint8), ValueError, r"not \(1, 2, 2, 3\)$"),
    (np.zeros((2, 2, 6), np.uint8), ValueError,
     r"^pixels have 1 to 5 channels, not 6: the array is uint8 \(2, 2, 6\)$"),
    (np.zeros((2, 2, 0), np.uint8), ValueError, "^pixels have 1 to 5 channels, not 0"),
    (np.zeros((0, 2, 3), np.uint8), ValueError, r"^the array has no pixels: it is uint8 \(0, 2, 3\)$"),
])
def test_arrays_that_do_not_fit(array: Any, error: type[Exception], text: str) -> None:
    with pytest.raises(error, match=text):
        arrays.from_numpy(array)


def test_modes_that_do_not_fit() -> None:
    image = arrays.from_numpy(samples("uint8", 3))
    for call, error, text in (
            (lambda: arrays.from_numpy(samples("uint8", 3), "CMYK"), ValueError,
             "^pixels of mode CMYK have 4 channels, and the array is uint8 "),
            (lambda: arrays.from_numpy(samples("uint8", 1), "P"), ValueError, "^indices need a palette"),
            (lambda: arrays.from_numpy(samples("float32", 3), "BGR"), ValueError,
             "^pixels of mode BGR are uint8 or uint16, not float32$"),
            (lambda: arrays.from_numpy(samples("int8", 3), "BGR"), ValueError,
             "^pixels of mode BGR are uint8 or uint16, not int8$"),
            (lambda: arrays.from_numpy(samples("int8", 4), "CMYK"), ValueError,
             "^amounts of ink have no sign: pixels of mode CMYK are not int8$"),
            (lambda: arrays.to_numpy(image, "HSV"), ValueError,
             "^there is no mode 'HSV'; the modes are L, LA, RGB, RGBA, BGR, BGRA, CMYK, CMYKA, P$"),
            (lambda: arrays.to_numpy(image, "P"), ValueError, "^the picture has no palette"),
            (lambda: arrays.to_numpy(image, dtype="uint32"), ValueError,
             "^a picture of uint8 has no pixels of uint32$"),
            (lambda: arrays.to_numpy(image, dtype=bool), TypeError, "^pixels of bool do not fit"),
            (lambda: arrays.to_numpy(arrays.from_numpy(samples("float32", 3)), "L"), ValueError,
             "^pixels of float32 are read as mode RGB only; mode L needs dtype uint8 or uint16$"),
            (lambda: arrays.to_numpy(arrays.from_numpy(samples("float32", 3)), dtype="uint32"), ValueError,
             "^a picture of float32 has no pixels of uint32$"),
            (lambda: arrays.to_numpy("a.png"), TypeError, "^an image of zelmor.imaging is needed, not str$")):
        with pytest.raises(error, match=text):
            call()  # type: ignore[no-untyped-call]


def test_a_vector_image_has_no_pixels(tmp_path: Path) -> None:
    (tmp_path / "a.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="9" height="7"/>')
    with zelmor.open(tmp_path / "a.svg", VectorImage) as image:
        with pytest.raises(TypeError, match="^a SvgImage is drawn, and has no pixels of its own: save it as PNG, and "):
            arrays.to_numpy(image)


def test_an_image_that_is_not_cast(tmp_path: Path) -> None:
    source = noise(3)
    image = Image.load(write(tmp_path / "a.png", source))
    assert type(image) is Image
    assert same(arrays.to_numpy(image), source)
    assert np.array_equal(np.asarray(arrays.to_pillow(image)), source)


# ---- Pillow


@pytest.mark.parametrize("mode", ["L", "LA", "RGB", "RGBA", "CMYK", "I;16", "F", "P"])
def test_pillow_round_trips(mode: str) -> None:
    if mode in ("I;16", "F"):
        picture = Pillow.fromarray(samples("uint16" if mode == "I;16" else "float32", 1))
    elif mode == "P":
        picture = Pillow.fromarray(few_colors()).quantize(200)
    else:
        picture = Pillow.frombytes(mode, (WIDTH, HEIGHT), noise(len(Pillow.new(mode, (1, 1)).getbands())).tobytes())
    image = arrays.from_pillow(picture)
    again = arrays.to_pillow(image)
    assert (again.mode, again.size) == (picture.mode, picture.size)
    assert again.tobytes() == picture.tobytes()
    if mode == "P":
        assert image.use_palette and again.convert("RGB").tobytes() == picture.convert("RGB").tobytes()
    else:
        assert np.array_equal(arrays.to_numpy(image), np.asarray(picture))


def test_transparency_of_a_palette(tmp_path: Path) -> None:
    for given in (2, bytes([255, 10, 0, 200])):
        picture = Pillow.fromarray(noise(1) % 4).convert("P")
        picture.putpalette(list(range(12)))
        picture.info["transparency"] = given
        image = arrays.from_pillow(picture)
        again = arrays.to_pillow(image)
        assert again.convert("RGBA").tobytes() == picture.convert("RGBA").tobytes()
        image.save(str(tmp_path / "a.png"))
        assert np.array_equal(read(tmp_path / "a.png", "RGBA"), np.asarray(picture.convert("RGBA")))


def test_black_and_white() -> None:
    picture = Pillow.fromarray(noise(1)).convert("1")
    assert arrays.to_pillow(arrays.from_pillow(picture)).tobytes() == picture.convert("L").tobytes()


def test_a_mode_is_asked_for() -> None:
    deep = arrays.from_numpy(samples("uint16", 3))
    with pytest.raises(ValueError, match="^Pillow has no mode for RGB of uint16: ask for a mode of 8 bits, such as "
                                         "mode='RGB'$"):
        arrays.to_pillow(deep)
    assert arrays.to_pillow(deep, "RGB").mode == "RGB"
    assert arrays.to_pillow(deep, "I;16").mode == "I;16"
    with pytest.raises(ValueError, match="^a picture of uint16 has no pixels of float32$"):
        arrays.to_pillow(deep, "F")
    with pytest.raises(ValueError, match="^there is no mode 'HSV' here"):
        arrays.to_pillow(deep, "HSV")
    with pytest.raises(ValueError, match="^the picture has no palette"):
        arrays.to_pillow(deep, "P")


def test_pictures_of_pillow_that_do_not_fit() -> None:
    for mode in ("HSV", "LAB", "YCbCr", "I", "RGBX", "PA"):
        with pytest.raises(ValueError, match=f"^a picture of mode '{mode}' has to be converted first"):
            arrays.from_pillow(Pillow.new(mode, (3, 3)))
    with pytest.raises(ValueError, match=r"^the picture has no pixels: its size is \(0, 3\)$"):
        arrays.from_pillow(Pillow.new("L", (0, 3)))
    with pytest.raises(TypeError, match="^a PIL.Image.Image is needed, not ndarray$"):
        arrays.from_pillow(noise(3))
    few = Pillow.fromarray(noise(1)).convert("P")
    few.putpalette([1, 2, 3])
    with pytest.raises(ValueError, match="^the picture has the index 255, and its palette 1 colors$"):
        arrays.from_pillow(few)


def test_large_pictures_of_pillow(monkeypatch: pytest.MonkeyPatch) -> None:
    from zelmor.arrays import _pillow

    monkeypatch.setattr(_pillow, "MOST", 1000)
    picture = Pillow.fromarray(noise(3))
    assert arrays.to_pillow(arrays.from_pillow(picture)).tobytes() == picture.tobytes()


# ---- Libraries that are not there


@pytest.mark.parametrize("call, text", [
    ("to_numpy(image)",
     "zelmor.arrays.to_numpy needs NumPy, which is not installed (Debian: python3-numpy; pip: numpy)"),
    ("from_numpy([])",
     "zelmor.arrays.from_numpy needs NumPy, which is not installed (Debian: python3-numpy; pip: numpy)"),
    ("to_pillow(image)",
     "zelmor.arrays.to_pillow needs Pillow, which is not installed (Debian: python3-pil; pip: pillow)"),
])
def test_a_library_that_is_missing(call: str, text: str) -> None:
    code = f"""
import sys
class Absent:
    def find_spec(self, name, path=None, target=None):
        if name.partition(".")[0] in ("numpy", "PIL"):
            raise ModuleNotFoundError(f"No module named {{name!r}}", name=name)
sys.meta_path.insert(0, Absent())
from zelmor import arrays
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
image = Image.create(PngOptions(), 2, 2)
try:
    arrays.{call}
except ImportError as error:
    result = [str(error), type(error.__cause__).__name__]
"""
    assert child(code) == [text, "ModuleNotFoundError"]


def test_neither_library_is_loaded_before_it_is_needed() -> None:
    code = """
import sys
from zelmor import arrays
result = [name in sys.modules for name in ("numpy", "PIL")]
"""
    assert child(code) == [False, False]


def test_nothing_is_left_behind(control: Any) -> None:
    array = samples("uint16", 3)
    before = control.live()
    for _ in range(3):
        image = arrays.from_numpy(array)
        arrays.to_numpy(image)
        arrays.to_pillow(image, "RGB")
        del image
    assert control.live() == before
    assert sys.getrefcount(array) == 2


def test_pictures_that_the_library_makes() -> None:
    image = Image.create(PngOptions(), 4, 3)
    assert image is not None
    assert arrays.to_numpy(image).shape == (3, 4, 4)
