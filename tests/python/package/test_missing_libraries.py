"""What the package says in an installation that lacks a library of the system.

The installation is a copy of the package in which a shared object needs a library that no system has.
"""

import os
import shutil
from pathlib import Path

import pytest

from support.office_files import cdr, cdr_rectangle
from support.package_process import PACKAGE, child

RUNTIME = Path("_runtime/netcore3.1")

PARTS = [
    ("libzelmor.embed.imagework.so", "libvips.so.42", "Image.create(made(BmpOptions()), 8, 8)",
     "RuntimeError: Proxy error(DllNotFoundException): The image library '{path}' cannot be loaded: {failure}."),
    ("libzelmor.embed.drawwork.so", "libpango-1.0.so.0",
     "Graphics(Image.create(made(BmpOptions()), 8, 8)).clear(Color.red)",
     "RuntimeError: Proxy error(DllNotFoundException): The drawing library '{path}' cannot be loaded: {failure}."),
    ("libzelmor.embed.format.svg.so", "librsvg-2.so.2",
     "Image.load(BytesIO(b'<svg xmlns=\"http://www.w3.org/2000/svg\"/>'))",
     "RuntimeError: Proxy error(DllNotFoundException): The SVG library '{path}' cannot be loaded: {failure}."),
    ("libzelmor.embed.format.jpeg2000.so", "libopenjp2.so.7",
     "Image.create(made(BmpOptions()), 8, 8).save(BytesIO(), Jpeg2000Options())",
     "RuntimeError: Proxy error(NotSupportedException): Cannot save the image to the stream: the codec of JPEG 2000 "
     "cannot be loaded: {failure}."),
]
USE = """
from io import BytesIO
from zelmor.imaging import Color, Graphics, Image
from zelmor.imaging.imageoptions import BmpOptions, Jpeg2000Options
from zelmor.imaging.sources import StreamSource
def made(options):
    options.source = StreamSource(BytesIO(), False)
    return options
try:
    {}
    result = None
except Exception as error:
    result = f"{{type(error).__name__}}: {{error}}"
"""


def installation(folder, file, library, listed=True):
    """A copy of the package in the folder, whose file needs a library of another name than `library`."""
    package = folder / "zelmor"
    shutil.copytree(PACKAGE, package, symlinks=True, copy_function=os.symlink)
    changed = package / RUNTIME / file
    content = changed.read_bytes()
    missing = library[:-1] + chr(ord(library[-1]) ^ 1)
    assert library.encode() + b"\0" in content
    changed.unlink()
    changed.write_bytes(content.replace(library.encode() + b"\0", missing.encode() + b"\0"))
    changed.chmod(0o755)
    if listed:
        (package / RUNTIME / "system_libraries.txt").write_text(f"libb.so.1 libb1\n{missing} liba0\nliba.so.2 liba0\n")
    return package, str(changed), missing


@pytest.mark.parametrize(("file", "library", "use", "said"), PARTS, ids=[part[0] for part in PARTS])
def test_the_packages_to_install_are_named(tmp_path, file, library, use, said):
    package, path, missing = installation(tmp_path, file, library)
    failure = (f"{missing}: cannot open shared object file: No such file or directory (it is in the Debian package "
               "liba0; all system libraries are installed by: apt-get install liba0 libb1)")
    assert child(USE.format(use), package) == said.format(path=path, failure=failure)


def test_without_a_list_the_linker_is_quoted(tmp_path):
    file, library, use, said = PARTS[0]
    package, path, missing = installation(tmp_path, file, library, listed=False)
    failure = f"{missing}: cannot open shared object file: No such file or directory"
    assert child(USE.format(use), package) == said.format(path=path, failure=failure)


def test_an_unlisted_library_is_not_looked_for_in_a_package(tmp_path):
    file, library, use, said = PARTS[0]
    package, path, missing = installation(tmp_path, file, library)
    (package / RUNTIME / "system_libraries.txt").write_text("libb.so.1 libb1\n")
    failure = f"{missing}: cannot open shared object file: No such file or directory"
    assert child(USE.format(use), package) == said.format(path=path, failure=failure)


def test_a_program_that_cannot_start_is_not_taken_for_damage(tmp_path):
    package, _, _ = installation(tmp_path, "zelmor.embed.drawings", "libcdr-0.1.so.1")
    drawing = tmp_path / "a.cdr"
    drawing.write_bytes(cdr(cdr_rectangle(0, 0, 1, 1, 1)))
    assert child(USE.format(f"Image.load({str(drawing)!r})"), package) == (
        f"RuntimeError: Proxy error(NotSupportedException): Cannot load '{drawing}': the program that reads CDR files "
        "cannot be started, since a shared library is missing (all system libraries are installed by: apt-get install "
        "liba0 libb1).")
