"""Images in forked processes: threads of the image library exist only in the parent, and no child may wait for them."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

from support.image_oracles import few_colors, read, worst, write
from support.runtimes import embedded_only

pytestmark = embedded_only("a forked child does not call .NET")

PROLOGUE = f"""
import os, signal, sys, traceback
sys.path.insert(0, {str(Path(os.environ['ZELMOR_BUILD_DIR']) / 'python')!r})
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.imageoptions import BmpOptions, PngOptions
from zelmor.imaging.fileformats.png import PngColorType
directory = sys.argv[1]

def work(name):
    image = Image.load(directory + "/a.png")
    image.save(f"{{directory}}/{{name}}.gif")
    indexed = PngOptions()
    indexed.color_type = PngColorType.INDEXED_COLOR
    image.save(f"{{directory}}/{{name}}.png", indexed)
    raster = RasterImage._cast_to(image).value
    raster.resize(700, 500)
    raster.rotate(20.0)
    raster.binarize_otsu()
    image.save(f"{{directory}}/{{name}}.jpg")

def fork(name, then=lambda: None):
    child = os.fork()
    if child == 0:
        try:
            signal.alarm(30)
            work(name)
            then()
        except BaseException:
            traceback.print_exc()  # nobody else tells: the process ends here
        finally:
            sys.stderr.flush()
            os._exit(0 if os.path.exists(f"{{directory}}/{{name}}.jpg") else 1)
    assert os.waitpid(child, 0)[1] == 0, name
"""


def run(tmp_path: Path, script: str) -> None:
    write(tmp_path / "a.png", few_colors())
    done = subprocess.run(["/usr/bin/python3", "-c", PROLOGUE + script, str(tmp_path)], capture_output=True, text=True,
                          timeout=150, check=False)
    assert done.returncode == 0, done.stderr


@pytest.mark.parametrize("before", ["", "work('before')"])
def test_children_work_on(tmp_path: Path, before: str) -> None:
    run(tmp_path, f"{before}\nfork('one')\nfork('two')\nwork('parent')\nfork('three')")
    for name in ("one", "two", "three", "parent"):
        for extension in ("gif", "png"):
            assert worst(read(tmp_path / f"{name}.{extension}", "RGB"), few_colors()) == 0
        assert np.array_equal(read(tmp_path / f"{name}.jpg"), read(tmp_path / "one.jpg"))


def test_a_child_of_a_child(tmp_path: Path) -> None:
    run(tmp_path, "work('parent')\nfork('child', lambda: fork('grandchild'))")
    assert np.array_equal(read(tmp_path / "grandchild.jpg"), read(tmp_path / "parent.jpg"))


def test_an_image_of_the_parent_is_used_in_the_child(tmp_path: Path) -> None:
    run(tmp_path, """
image = Image.load(directory + "/a.png")
image.resize(300, 200)
child = os.fork()
if child == 0:
    signal.alarm(30)
    image.resize_width_proportionally(150)
    image.save(directory + "/b.bmp", BmpOptions())
    os._exit(0)
assert os.waitpid(child, 0)[1] == 0
assert image.width == 300
""")
    assert read(tmp_path / "b.bmp").shape == (100, 150, 3)
