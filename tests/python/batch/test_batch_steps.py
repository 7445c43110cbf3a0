"""Each step on a picture of pixels, and on a drawing, which stays one as long as it can."""

from __future__ import annotations

import io
from collections.abc import Callable

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import batch
from zelmor.batch.steps import done, raster_of
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions

from support.arrays import Pixels
from support.image_oracles import smooth

BEFORE = smooth(4, 40, 30)
DRAWING = b'<svg xmlns="http://www.w3.org/2000/svg" width="40" height="20"><rect width="10" height="20"/></svg>'


def after(data: bytes, *steps: batch.Step) -> Pixels:
    """The pixels of a picture after the steps."""
    file = io.BytesIO()
    with done(Image.load(io.BytesIO(data)), steps) as image:
        image.save(file, PngOptions())
    with Pillow.open(file) as picture:
        return np.asarray(picture.convert("RGBA"))


def picture(pixels: Pixels) -> bytes:
    file = io.BytesIO()
    Pillow.fromarray(pixels).save(file, "png")
    return file.getvalue()


def over(pixels: Pixels, color: tuple[int, int, int]) -> Pixels:
    share = pixels[..., 3:] / 255
    return np.rint(pixels[..., :3] * share + np.array(color) * (1 - share))


def steepness(pixels: Pixels) -> float:
    return float(np.abs(np.diff(pixels.astype(int), axis=1)).mean())


STEPS: dict[str, tuple[batch.Step, Callable[[Pixels], bool]]] = {
    "orient": (batch.Orient(), lambda now: np.array_equal(now, BEFORE)),
    "crop": (batch.Crop(3, 4, 10, 20), lambda now: np.array_equal(now, BEFORE[4:24, 3:13])),
    "resize": (batch.Resize(20, kernel="bilinear"), lambda now: now.shape == (15, 20, 4)),
    "cover": (batch.Resize(20, 20, fit="cover"), lambda now: now.shape == (20, 20, 4)),
    "quarter": (batch.Rotate(-90), lambda now: np.array_equal(now, np.rot90(BEFORE))),
    "angle": (batch.Rotate(45, "red", False), lambda now: now.shape[:2] == (30, 40) and now[0, 0].tolist()[0] == 255),
    "flip": (batch.Flip("vertical"), lambda now: np.array_equal(now, BEFORE[::-1])),
    "deskew": (batch.Deskew(), lambda now: now.shape[0] >= 30),
    "grayscale": (batch.Adjust(True), lambda now: np.array_equal(now[..., 0], now[..., 2])),
    "brightness": (batch.Adjust(brightness=20), lambda now: now[..., :3].mean() > BEFORE[..., :3].mean() + 10),
    "contrast": (batch.Adjust(contrast=40), lambda now: now[..., :3].std() > BEFORE[..., :3].std() * 1.1),
    "gamma": (batch.Adjust(gamma=2), lambda now: now[..., :3].mean() > BEFORE[..., :3].mean() + 10),
    "blur": (batch.Adjust(blur=20), lambda now: steepness(now) < steepness(BEFORE) * 0.9),
    "sharpen": (batch.Adjust(sharpen=2), lambda now: not np.array_equal(now, BEFORE)),
    "median": (batch.Adjust(median=5), lambda now: not np.array_equal(now, BEFORE)),
    "threshold": (batch.Adjust(threshold="100"), lambda now: set(np.unique(now[..., :3])) == {0, 255}),
    "bradley": (batch.Adjust(threshold="bradley"), lambda now: set(np.unique(now[..., :3])) <= {0, 255}),
    "dither": (batch.Dither(1), lambda now: len(np.unique(now.reshape(-1, 4)[:, :3], axis=0)) <= 2),
    "background": (batch.Background("#0000ff"), lambda now: bool(
        (now[..., 3] == 255).all() and np.abs(now[..., :3] - over(BEFORE, (0, 0, 255))).max() <= 1)),
    "strip": (batch.Metadata(True), lambda now: np.array_equal(now, BEFORE)),
}


@pytest.mark.parametrize("name", STEPS)
def test_steps_on_pixels(name: str) -> None:
    step, held = STEPS[name]
    assert held(after(picture(BEFORE), step))


def test_the_resolution() -> None:
    with done(Image.load(io.BytesIO(picture(BEFORE))), [batch.Resolution(300, 150)]) as image:
        raster = raster_of(image)
        assert raster is not None
        assert round(raster.horizontal_resolution) == 300 and round(raster.vertical_resolution) == 150


@pytest.mark.parametrize(("step", "drawing", "size"), [
    (batch.Resize(400), True, (400, 200)), (batch.Rotate(90), True, (20, 40)),
    (batch.Flip("horizontal"), True, (40, 20)),
    (batch.Adjust(True), False, (40, 20)), (batch.Resize(10, 10, fit="cover"), False, (10, 10)),
    (batch.Crop(0, 0, 10, 10), False, (10, 10)),
])
def test_drawings_stay_drawings_as_long_as_they_can(step: batch.Step, drawing: bool, size: tuple[int, int]) -> None:
    with done(Image.load(io.BytesIO(DRAWING)), [step]) as image:
        assert (raster_of(image) is None) == drawing and (image.width, image.height) == size


@pytest.mark.parametrize(("step", "message"), [
    (batch.Crop(30, 0, 20, 10), r"the part 20x10\+30\+0 is not within the picture of 40x30"),
    (batch.Adjust(threshold="300"), "the threshold '300' is not"),
    (batch.Background("#80ffffff"), "is transparent itself"),
    (batch.Rotate(3, "nocolor"), "'nocolor' is no color"),
])
def test_refusals(step: batch.Step, message: str) -> None:
    with Image.load(io.BytesIO(picture(BEFORE))) as image, pytest.raises(ValueError, match=message):
        done(image, [step])
