"""A folder with pictures, and the command that works in it."""

from __future__ import annotations

from pathlib import Path

import pytest
from PIL import Image as Pillow

from support.command import Commands
from support.image_oracles import smooth, write


@pytest.fixture
def zelmor(tmp_path: Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]) -> Commands:
    """The command, in a folder with a JPEG, a PNG with alpha, an animation, a folder in a folder and a bad file."""
    monkeypatch.chdir(tmp_path)
    write(tmp_path / "a.jpg", smooth(3, 60, 40), quality=95)
    write(tmp_path / "b.png", smooth(4, 30, 20))
    frames = [Pillow.fromarray(smooth(3, 20, 16)).rotate(30 * turn).quantize(16) for turn in range(4)]
    frames[0].save(tmp_path / "c.gif", save_all=True, append_images=frames[1:], duration=50)
    (tmp_path / "in" / "deep").mkdir(parents=True)
    write(tmp_path / "in" / "d.png", smooth(3, 24, 24))
    write(tmp_path / "in" / "deep" / "e.png", smooth(1, 24, 12))
    (tmp_path / "in" / "notes.txt").write_text("no picture")
    (tmp_path / "bad.jpg").write_text("no picture")
    return Commands(tmp_path, capsys)
