"""Filters and masks of SVG documents that references draw again and again: a process with little time tries them."""

from __future__ import annotations

import io
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

import pytest
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PdfOptions, PngOptions

from support.package_process import PACKAGE, child

RUNTIME = Path("_runtime/netcore3.1")
REHEARSAL = "zelmor.embed.rehearsal"
BLUR = '<filter id="f"><feGaussianBlur stdDeviation="3"/></filter>'
SIDE = 500


def document(content: str) -> str:
    return ('<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" '
            f'width="{SIDE}" height="{SIDE}">{content}</svg>')


def nested(times: int, levels: int, attributes: str = 'filter="url(#f)"', side: int = 9) -> str:
    """A square that groups of groups draw again, `times` to the power of `levels` times."""
    groups = f'<g id="g0" {attributes}><rect width="{side}" height="{side}" fill="red"/></g>'
    for level in range(1, levels + 1):
        groups += f'<g id="g{level}">' + f'<use xlink:href="#g{level - 1}"/>' * times + "</g>"
    return f'<defs>{groups}</defs><use xlink:href="#g{levels}"/>'


MASK = '<mask id="m"><rect width="9" height="9" fill="white"/></mask>'
SHARP = '<filter id="f"><feConvolveMatrix order="3" kernelMatrix="1 1 1 1 1 1 1 1 1"/></filter>'
RECTANGLE = '<rect width="9" height="9" {}/>'
#: What is drawn at once, and what is tried before, since a pixel of the page may take more than 80 microseconds.
AT_ONCE = [
    BLUR + nested(7, 3),
    BLUR + nested(60, 2, "opacity='0.5'"),
    BLUR + RECTANGLE.format('filter="url(#f)"') * 450,
    MASK + nested(9, 3, 'mask="url(#m)"'),
    SHARP + nested(9, 3),
    # A reference in a circle is none; the library refuses the document, or leaves out what is drawn in itself.
    BLUR + '<g id="a" filter="url(#f)"><use xlink:href="#b"/></g><g id="b"><use xlink:href="#a"/></g>',
]
TRIED = [
    BLUR + nested(8, 3),
    BLUR + nested(8, 3, """style="fill: red; filter: url( '#f' )\""""),
    BLUR + RECTANGLE.format('filter="url(#f)"') * 550,
    MASK + nested(10, 4, 'mask="url(#m)"'),
    SHARP + nested(6, 4),
    BLUR + "<style>rect { filter: url(#f) }</style>" + RECTANGLE.format("") * 550,
    '<filter id="f"><feMorphology radius="9"/></filter>' + nested(6, 2),
    '<filter id="f"><feTurbulence baseFrequency="0.1" numOctaves="30"/></filter>' + nested(8, 2),
    BLUR + '<marker id="a"><g filter="url(#f)"><rect width="1" height="1"/></g></marker>'
    + '<path d="M1 1L9 9" marker-start="url(#a)" marker-end="url(#a)"/>' * 300,
]
TRY = """
from io import BytesIO
from pathlib import Path
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
result = []
for path in sorted(Path({folder!r}).glob("*.svg")):
    try:
        Image.load(str(path)).save(BytesIO(), PngOptions())
        result.append("drawn")
    except RuntimeError as error:
        result.append(str(error))
"""


def test_what_is_tried_before_it_is_drawn(tmp_path: Path) -> None:
    """In an installation whose program for that never ends in time."""
    package = tmp_path / "zelmor"
    shutil.copytree(PACKAGE, package, symlinks=True, copy_function=os.symlink)
    program = package / RUNTIME / REHEARSAL
    program.unlink()
    program.write_text("#!/bin/sh\nkill -XCPU $$\n")
    program.chmod(0o755)
    for number, content in enumerate(AT_ONCE + TRIED):
        (tmp_path / f"{number:02}.svg").write_text(document(content))
    said = child(TRY.format(folder=str(tmp_path)), package)
    refused = "its filters and masks take more than 20 seconds"
    assert [place for place, one in enumerate(said) if refused in one] == list(range(len(AT_ONCE), len(said)))
    assert {one for one in said[len(AT_ONCE):]} == {
        f"Proxy error(ImageLoadException): Cannot save the image to the stream: the drawing: {refused}."}


def test_a_document_that_is_drawn_in_time_is_drawn() -> None:
    """The filters work on small areas, which is not known before."""
    data = document(BLUR + RECTANGLE.format('filter="url(#f)"') * 600).encode()
    for options in (PngOptions(), PdfOptions()):
        file = io.BytesIO()
        with Image.load(io.BytesIO(data)) as image:
            image.save(file, options)
        assert file.getvalue()[1:4] in (b"PNG", b"PDF")


@pytest.mark.parametrize(("content", "ends"), [(BLUR + nested(9, 5, side=SIDE), False), (BLUR + nested(2, 1), True),
                                               ("<unknown", True), ("", True)],
                         ids=["long", "short", "wrong", "empty"])
def test_the_program_that_tries(content: str, ends: bool) -> None:
    start = time.monotonic()
    done = subprocess.run([PACKAGE / RUNTIME / REHEARSAL, str(SIDE), str(SIDE), "1", str(1 << 31)],
                          input=document(content).encode(), check=False, capture_output=True)
    assert (done.returncode == 0) == ends
    assert ends or -done.returncode in (signal.SIGXCPU, signal.SIGKILL)
    assert time.monotonic() - start < 60
