"""What the README shows first works as it stands: the program, and the command."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow

from support.places import BUILD_DIR, ROOT

README = (ROOT / "README.md").read_text()


@pytest.fixture
def folder(tmp_path: Path) -> Path:
    pixels = np.random.default_rng(2).integers(0, 256, (450, 1500, 3), np.uint8)
    Pillow.fromarray(pixels).save(tmp_path / "holiday.jpg", quality=60)
    return tmp_path


def test_the_program(folder: Path) -> None:
    program = README.split("```python\n")[1].split("```")[0]
    subprocess.run([sys.executable, "-c", program], cwd=folder, check=True,
                   env={**os.environ, "PYTHONPATH": str(BUILD_DIR / "python")})
    with Pillow.open(folder / "holiday.webp") as made:
        assert (made.format, made.size) == ("WEBP", (360, 1200))


def test_the_command(folder: Path) -> None:
    (command,) = re.findall(r"`(zelmor resize [^`]*)`", README)
    subprocess.run(command, cwd=folder, check=True, shell=True, capture_output=True,
                   env={**os.environ, "PATH": f"{BUILD_DIR / 'python' / 'bin'}:{os.environ['PATH']}"})
    with Pillow.open(folder / "small" / "holiday.webp") as made:
        assert (made.format, made.size) == ("WEBP", (1200, 360))
