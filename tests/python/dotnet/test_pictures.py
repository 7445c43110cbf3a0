"""Pictures on .NET: the picture library behind the class library, its lifetimes, streams, threads and errors."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
from pathlib import Path

import numpy as np
from PIL import Image as Pillow

from support.dotnet import needs_dotnet, run_on_dotnet
from support.places import ROOT
from support.runtimes import DOTNET_ASSEMBLIES, DOTNET_ROOT, EMBEDDED_ROOT

pytestmark = needs_dotnet

PICTURE = """
import io, gc
from PIL import Image as Pillow
from zelmor import specific
from zelmor.imaging import Image, ImageOptionsBase, LoadOptions, Rectangle
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import BmpOptions, GifOptions, JpegOptions, PngOptions
from support.control import control

def png(size=(40, 30), color=(10, 200, 30)):
    file = io.BytesIO()
    Pillow.new("RGB", size, color).save(file, "PNG")
    file.seek(0)
    return file
"""


def test_a_picture_goes_from_file_to_file() -> None:
    run_on_dotnet(PICTURE + """
with Image.load(png()) as image:
    assert (image.width, image.height, image.bits_per_pixel) == (40, 30, 24)
    image.resize(20, 15)
    out = io.BytesIO()
    image.save(out, BmpOptions())
out.seek(0)
with Pillow.open(out) as written:
    assert (written.format, written.size, written.getpixel((3, 3))) == ("BMP", (20, 15), (10, 200, 30))
""")


def test_options_have_the_defaults_and_checks_of_the_picture_library() -> None:
    run_on_dotnet("""
from zelmor.imaging.imageoptions import JpegOptions, PngOptions
assert PngOptions().compression_level == 6 and JpegOptions().quality == 75
options = PngOptions()
options.compression_level = 9
assert PngOptions(options).compression_level == 9
try:
    options.compression_level = 77
except RuntimeError as error:
    assert str(error).startswith("Proxy error(ArgumentOutOfRangeException): "), error
else:
    raise AssertionError("nothing was raised")
""")


def test_what_a_file_raises_comes_out_with_its_text() -> None:
    run_on_dotnet(PICTURE + """
class Raises(io.RawIOBase):
    def readable(self):
        return True

    def seekable(self):
        return False

    def readinto(self, buffer):
        raise KeyError("mine")

try:
    Image.load(Raises())
except RuntimeError as error:
    assert "PythonException" in str(error) and "mine" in str(error), error
else:
    raise AssertionError("nothing was raised")
""")


def test_what_is_no_picture_is_refused_as_in_the_embedded_runtime() -> None:
    run_on_dotnet(PICTURE + """
assert not Image.can_load(io.BytesIO(b"text"))
for program, name in ((lambda: Image.load(io.BytesIO(b"text")), "ImageLoadException"),
                      (lambda: Image.load("/nowhere/a.png"), "DirectoryNotFoundException")):
    try:
        program()
    except RuntimeError as error:
        assert str(error).startswith(f"Proxy error({name}): "), error
    else:
        raise AssertionError("nothing was raised")
""")


def test_a_disposed_picture_says_so_and_the_collector_changes_nothing() -> None:
    run_on_dotnet(PICTURE + """
image = Image.load(png())
control.collect()
assert image.width == 40
image.__exit__(None, None, None)
try:
    image.width
except RuntimeError as error:
    assert "ObjectDisposedException" in str(error), error
else:
    raise AssertionError("nothing was raised")
for _ in range(50):
    Image.load(png())
control.collect()
assert Image.load(png()).height == 30
""")


def test_a_source_is_shown_as_itself() -> None:
    run_on_dotnet("""
import io
from zelmor.imaging.imageoptions import BmpOptions
from zelmor.imaging.sources import StreamSource
options = BmpOptions()
source = StreamSource(io.BytesIO())
options.source = source
assert options.source == source
""")


def test_threads_work_on_pictures_of_their_own() -> None:
    run_on_dotnet(PICTURE + """
import threading
failures = []

def work(number):
    try:
        for _ in range(10):
            with Image.load(png((20 + number, 10))) as image:
                image.resize(10, 10)
                out = io.BytesIO()
                image.save(out, PngOptions())
                out.seek(0)
                assert Pillow.open(out).size == (10, 10)
    except BaseException as error:
        failures.append(error)

threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
assert not failures, failures
""")


def test_a_missing_picture_library_is_named(tmp_path: Path) -> None:
    assemblies = tmp_path / "assemblies"
    shutil.copytree(DOTNET_ASSEMBLIES, assemblies, symlinks=True)
    (assemblies / "imaging" / "libzelmor_pictures.so").unlink()
    program = ("from zelmor.imaging import Image, Point\nassert Point(1, 2).x == 1\n"
               "try:\n    Image.load('a.png')\n"
               "except RuntimeError as error:\n    print(error)\n")
    variables = {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(DOTNET_ROOT),
                 "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(assemblies)}
    done = subprocess.run([sys.executable, "-c", program], env=os.environ | variables, cwd=ROOT, capture_output=True,
                          text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    assert "Proxy error(DllNotFoundException): Pictures need the library libzelmor_pictures.so" in done.stdout


def test_the_demo_makes_the_same_files_on_both_runtimes(tmp_path: Path) -> None:
    """Each of its pictures takes another way through formats, sizes, turns and tones."""
    draw = np.random.default_rng(7)
    for number in range(12):
        noise = draw.integers(0, 256, (6, 8 + number, 3), np.uint8)
        Pillow.fromarray(noise).resize((640, 420), Pillow.Resampling.BICUBIC).save(tmp_path / f"{number:02}.jpg")
    pictures = sorted(tmp_path.glob("*.jpg"))
    for name, root, assemblies in (("embedded", EMBEDDED_ROOT, EMBEDDED_ROOT),
                                   ("dotnet", DOTNET_ROOT, DOTNET_ASSEMBLIES)):
        variables = {"NETCORE_WRAPPER_NETCORE_DIR_zelmor": str(root),
                     "NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor": str(assemblies)}
        for program, arguments in (("photo_tour", ["--out", name, *map(str, pictures)]), ("contact_sheet", [name])):
            subprocess.run([sys.executable, ROOT / "examples" / f"{program}.py", *arguments], cwd=tmp_path, check=True,
                           env=os.environ | variables, stdout=subprocess.DEVNULL, timeout=300)
    made = sorted(path.name for path in (tmp_path / "embedded").iterdir())
    assert len(made) > len(pictures) and "contact_sheet.png" in made
    assert made == sorted(path.name for path in (tmp_path / "dotnet").iterdir())
    for file in made:
        assert (tmp_path / "embedded" / file).read_bytes() == (tmp_path / "dotnet" / file).read_bytes(), file
