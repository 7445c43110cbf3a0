"""The end of the demo: the commands that it prints work as they stand."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
from PIL import Image as Pillow

from support.places import BUILD_DIR, ROOT


def test_each_command_works(tmp_path: Path) -> None:
    build = tmp_path / "build"
    (build / "demo").mkdir(parents=True)
    (build / "python").symlink_to(BUILD_DIR / "python")
    Pillow.fromarray(np.random.default_rng(1).integers(0, 256, (400, 600, 3), np.uint8)).save(
        build / "demo" / "contact_sheet.png")
    printed = subprocess.run([sys.executable, ROOT / "examples/next_steps.py", "build", "build/demo"], check=True,
                             capture_output=True, text=True).stdout
    commands = re.findall(r"^ {6}(.*)", printed, re.MULTILINE)
    assert len(commands) == 3
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    environment["PATH"] = f"{Path(shutil.which('python3', path='/usr/bin') or '').parent}:{os.environ['PATH']}"
    outputs = [subprocess.run(command, shell=True, check=True, capture_output=True, text=True, cwd=tmp_path,
                              env=environment).stdout for command in commands]
    with Pillow.open(next((build / "small").iterdir())) as small:
        assert small.size == (320, 213)
    with Pillow.open(build / "gray.png") as gray:
        assert gray.size == (600, 400)
    assert "load" in outputs[2].lower() and len(outputs[2].splitlines()) > 5
