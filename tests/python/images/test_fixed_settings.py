"""Settings for which the runtime has one way of working: another value is refused when it is set."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from zelmor.imaging import Cache, CacheType, Image

from support.image_oracles import load, managed_error, noise, write


@pytest.mark.parametrize(("name", "kept", "refused", "instead"), [
    ("auto_adjust_palette", False, True, "RasterImage.Dither"),
    ("buffer_size_hint", 0, 7, "LoadOptions.BufferSizeHint"),
    ("use_raw_data", True, False, "in the form of the image"),
])
def test_an_image_has_one_value(tmp_path: Path, name: str, kept: Any, refused: Any, instead: str) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    assert getattr(image, name) == kept
    with managed_error("NotSupportedException", f"The value {refused} of ", instead):
        setattr(image, name, refused)
    assert getattr(image, name) == kept
    setattr(image, name, kept)


def test_a_vector_image_has_one_value(tmp_path: Path) -> None:
    (tmp_path / "a.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="4" height="3"/>')
    image = Image.load(str(tmp_path / "a.svg"))
    with managed_error("NotSupportedException", "SvgImage.BufferSizeHint"):
        image.buffer_size_hint = 7


def test_converters_of_raw_data_are_none(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", noise()))
    image.raw_indexed_color_converter = None
    image.raw_custom_color_converter = None
    assert image.raw_indexed_color_converter is None and image.raw_custom_color_converter is None


@pytest.fixture(name="cache")
def cache_fixture() -> Iterator[type[Cache]]:
    yield Cache
    Cache.set_defaults()


def test_the_cache_holds_its_limits(cache: type[Cache]) -> None:
    cache.set_max_memory_for_cache(10)
    cache.set_max_disk_space_for_cache(20)
    cache.set_cache_type(CacheType.CACHE_IN_MEMORY_ONLY)
    assert (cache.max_memory_for_cache, cache.max_disk_space_for_cache) == (10, 20)
    assert cache.allocated_memory_bytes_count == cache.allocated_disk_bytes_count == 0
    with managed_error("NotSupportedException", "Cache.CacheType"):
        cache.set_cache_type(CacheType.CACHE_ON_DISK_ONLY)
    with managed_error("ArgumentOutOfRangeException", "-1", "Cache.MaxMemoryForCache"):
        cache.set_max_memory_for_cache(-1)
    assert (cache.cache_type, cache.max_memory_for_cache) == (CacheType.CACHE_IN_MEMORY_ONLY, 10)
