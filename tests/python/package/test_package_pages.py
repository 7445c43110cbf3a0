"""The programs on the pages about the package run."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor import imaging

from support.image_oracles import read, smooth
from support.places import ROOT

PAGES = ("package.md", "arrays.md")


def programs(page: str) -> list[str]:
    """The blocks of Python on a page."""
    return re.findall(r"```python\n(.*?)```", (ROOT / "docs" / page).read_text(), re.DOTALL)


def test_programs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    for name in ("holiday.jpg", "photo.jpg", "photo.png", "a.png"):
        Pillow.fromarray(smooth(3, 80, 60)).save(tmp_path / name)
    ran = 0
    for page in PAGES:
        names: dict[str, Any] = {"__name__": "page", "Image": imaging.Image}
        for code in programs(page):
            if "/no/such/" in code:  # it shows an error, with its type
                with pytest.raises(FileNotFoundError):
                    exec(code, names)
            else:
                exec(code, names)
            ran += 1
        if page == "package.md":
            assert names["made"] and isinstance(names["raster"], imaging.RasterImage)
        names.clear()
    assert ran == 4
    assert read(tmp_path / "small.jpg").shape == (30, 40, 3)
    assert (read(tmp_path / "darker.png") == smooth(3, 80, 60) // 2).all()
