"""What type checkers know of the package: the names in its stub, and the types of a user's program."""

from __future__ import annotations

import ast
import re
import shutil
import subprocess
from pathlib import Path

import zelmor
from support.other_programs import plain_environment
from support.package_process import PACKAGE
from support.places import BUILD_DIR, ROOT

PROGRAM = '''
import io
from pathlib import Path

import numpy as np
import zelmor
from zelmor import arrays, documentation, notebook
from zelmor.imaging import RasterImage
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import PngOptions

reveal_type(zelmor.__version__)
with zelmor.open("a.png") as image:
    reveal_type(image)
    if isinstance(image, RasterImage):
        reveal_type(image)
with zelmor.open(Path("a.png"), PngImage, decode=True) as png, zelmor.plain_errors():
    reveal_type(png)
reveal_type(zelmor.open(io.BytesIO(), RasterImage))
reveal_type(zelmor.specific(PngOptions()))
reveal_type(arrays.to_numpy(png, dtype=np.uint8))
reveal_type(arrays.from_numpy(np.zeros((2, 2), np.uint8)))
reveal_type(documentation.text("Image.load"))
reveal_type(notebook.settings.largest)
try:
    zelmor.open(b"a.png").save("b.png")
except zelmor.UnsupportedFormat as error:
    reveal_type(error.file_format)
except (zelmor.DamagedImage, zelmor.LimitExceeded, zelmor.WrongType) as error:
    reveal_type(error.managed)
zelmor.open(5)
zelmor.open("a.png", int)
zelmor.nothing
'''

REVEALED = [
    "builtins.str", "zelmor.imaging.Image", "zelmor.imaging.RasterImage", "zelmor.imaging.fileformats.png.PngImage",
    "zelmor.imaging.RasterImage", "zelmor.imaging.imageoptions.PngOptions",
    "numpy.ndarray[Any, numpy.dtype[Any]]", "zelmor.imaging.RasterImage", "builtins.str", "builtins.int",
    "Union[zelmor.imaging.FileFormat, None]", "Union[builtins.str, None]"]


def test_a_program(tmp_path: Path) -> None:
    """As a user checks it, with nothing but the installed package on the path."""
    (tmp_path / "program.py").write_text(PROGRAM)
    # What a newcomer reads first is right too.
    (tmp_path / "readme.py").write_text((ROOT / "README.md").read_text().split("```python\n")[1].split("```")[0])
    shutil.copy(ROOT / "examples" / "gallery" / "first_steps.py", tmp_path)
    done = subprocess.run(
        ["/usr/bin/python3", "-m", "mypy", "--strict", "--no-error-summary", "--show-error-codes", "--config-file=",
         f"--cache-dir={BUILD_DIR / 'mypy-stubs'}", "program.py", "readme.py", "first_steps.py"],
        cwd=tmp_path, check=False, capture_output=True,
        env={**plain_environment(), "PYTHONPATH": str(PACKAGE.parent), "MYPY_FORCE_COLOR": ""}, text=True)
    revealed = [found.replace("?", "") for found in re.findall(r'Revealed type is "(.*)"', done.stdout)]
    assert revealed == REVEALED, done.stdout
    first = PROGRAM.splitlines().index("zelmor.open(5)") + 1
    errors = [(int(line), code) for line, code in
              re.findall(r"program\.py:(\d+): error: .*\[([a-z-]+)\]", done.stdout)]
    assert "readme.py" not in done.stdout and "first_steps.py" not in done.stdout, done.stdout
    assert errors == [(first, "call-overload"), (first + 1, "type-var"), (first + 2, "attr-defined")], done.stdout


def test_the_stub_has_the_names_of_the_package() -> None:
    tree = ast.parse((ROOT / "python" / "zelmor-stubs" / "__init__.pyi").read_text())
    names = {alias.asname for node in tree.body if isinstance(node, ast.ImportFrom) for alias in node.names
             if alias.asname == alias.name}
    names |= {target.id for node in tree.body if isinstance(node, ast.Assign) for target in node.targets
              if isinstance(target, ast.Name)}
    assert names == set(zelmor._NAMES) | zelmor._MODULES
