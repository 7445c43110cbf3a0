"""Damaged files: what is lost gets the background color of the load options, in each mode of recovery."""

from __future__ import annotations

import io
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Color, DataRecoveryMode, Image, LoadOptions, RasterImage

from support.image_oracles import Pixels, noise

WIDTH, HEIGHT = 96, 128
RED = (255, 0, 0)


def truncated(kind: str, bands: int, share: float, **options: Any) -> bytes:
    """The first part of a file of light noise, without the tone that decoders fill with."""
    picture = noise(bands, 3, WIDTH, HEIGHT) // 4 + 160
    file = io.BytesIO()
    Pillow.fromarray(picture.astype(np.uint8)).save(file, kind, **options)
    data = file.getvalue()
    return data[:int(len(data) * share)]


def recovered(data: bytes, mode: DataRecoveryMode, background: Color = Color.red) -> Pixels:
    options = LoadOptions()
    options.data_recovery_mode = mode
    options.data_background_color = background
    image = RasterImage._cast_to(Image.load(io.BytesIO(data), options)).value
    file = io.BytesIO()
    from zelmor.imaging.imageoptions import PngOptions
    image.save(file, PngOptions())
    with Pillow.open(file) as picture:
        return np.asarray(picture.convert("RGB")).astype(int)


MODES = [DataRecoveryMode.CONSISTENT_RECOVER, DataRecoveryMode.MAXIMAL_RECOVER]


@pytest.mark.parametrize("mode", MODES)
@pytest.mark.parametrize(("kind", "bands"), [("JPEG", 3), ("JPEG", 1), ("PNG", 3), ("GIF", 1), ("BMP", 3)])
def test_what_is_lost_gets_the_background(mode: DataRecoveryMode, kind: str, bands: int) -> None:
    plain = {"interlace": 0} if kind == "GIF" else {}
    whole = recovered(truncated(kind, bands, 1.0, **plain), mode)
    pixels = recovered(truncated(kind, bands, 0.5, **plain), mode)
    assert pixels.shape == (HEIGHT, WIDTH, 3)
    if kind == "BMP":  # which begins with the last row
        pixels, whole = pixels[::-1], whole[::-1]
    lost = (pixels == RED).all(axis=2)
    # The last rows are lost, the first are as they were; nothing in between is of a third kind.
    assert lost[-8:].all() and not lost[:8].any()
    assert 0.2 < lost.mean() < 0.8
    kept = np.abs(pixels - whole).max(axis=2) <= 2
    between = ~lost & ~kept
    assert between.sum() <= WIDTH * 18  # a band of blocks at the place of the damage


@pytest.mark.parametrize("mode", MODES)
def test_the_usual_background_is_white(mode: DataRecoveryMode) -> None:
    options = LoadOptions()
    options.data_recovery_mode = mode
    data = truncated("JPEG", 3, 0.5)
    image = RasterImage._cast_to(Image.load(io.BytesIO(data), options)).value
    assert image.get_argb_32_pixel(WIDTH - 1, HEIGHT - 1) == -1


@pytest.mark.parametrize("mode", MODES)
def test_rows_of_an_interlaced_gif(mode: DataRecoveryMode) -> None:
    """Rows of the later passes are lost between those of the earlier ones."""
    pixels = recovered(truncated("GIF", 1, 0.7, interlace=1), mode)
    lost = (pixels == RED).all(axis=2)
    assert not lost[::2].any() and 0.2 < lost[1::2].mean() < 1


def test_more_is_kept_with_the_maximal_mode() -> None:
    data = truncated("JPEG", 3, 0.55)
    lost = [(recovered(data, mode) == RED).all(axis=2).sum() for mode in MODES]
    assert lost[1] <= lost[0]


def test_an_intact_file_has_nothing_to_fill() -> None:
    for mode in MODES:
        gray = np.full((HEIGHT, WIDTH, 3), 128, np.uint8)
        file = io.BytesIO()
        Pillow.fromarray(gray).save(file, "JPEG")
        assert not (recovered(file.getvalue(), mode) == RED).all(axis=2).any()


@pytest.mark.parametrize("mode", list(DataRecoveryMode))
@pytest.mark.parametrize("progressive", [False, True])
def test_a_sound_file_of_many_rows_is_the_same_in_every_mode(mode: DataRecoveryMode, progressive: bool) -> None:
    """One that is read in several steps."""
    picture = noise(3, 5, 700, 1500) // 8 + np.linspace(0, 200, 1500, dtype=np.uint8)[:, None, None]
    file = io.BytesIO()
    Pillow.fromarray(picture.astype(np.uint8)).save(file, "JPEG", quality=95, progressive=progressive)
    with Pillow.open(file) as opened:
        expected = np.asarray(opened).astype(int)
    assert np.abs(recovered(file.getvalue(), mode) - expected).max() <= 2
