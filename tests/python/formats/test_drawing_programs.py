"""The programs of the runtime that draw files of others in a process of their own: their limits, what is told of them
when they end in other ways, and what they are started with."""

from __future__ import annotations

import io
import os
import shutil
import subprocess
import time
from pathlib import Path

import pytest
from PIL import Image as Pillow

from support.office_files import cdr, cdr_rectangle, cmx, cmx_rectangle, eps
from support.package_process import PACKAGE, child

RUNTIME = Path("_runtime/netcore3.1")
DRAWINGS, POSTSCRIPT, REHEARSAL = "zelmor.embed.drawings", "zelmor.embed.postscript", "zelmor.embed.rehearsal"
LOOP = b"%!PS\n{} loop\n"
SQUARE = "1 0 0 setrgbcolor 10 10 30 20 rectfill"

#: For each program the way it ends, and what is said of that.
TOO_LONG = "the PostScript program takes too long"
TOO_MUCH = "the PostScript program takes too much memory, or writes files"
BEFORE_A_PAGE = "the PostScript program fails before it draws a page"
NOT_INSTALLED = ("drawing PostScript needs Ghostscript's library (the Debian package libgs10), which is not installed; "
                 "the preview of a file can be exported without it")
ENDS = {
    POSTSCRIPT: [
        ("kill -XCPU $$", TOO_LONG), ("kill -KILL $$", TOO_LONG), ("kill -SEGV $$", TOO_MUCH),
        ("kill -ABRT $$", TOO_MUCH),
        ("exit 3", NOT_INSTALLED), ("exit 0", BEFORE_A_PAGE), ("exit 4", BEFORE_A_PAGE), ("exit 127", BEFORE_A_PAGE),
        ("cat page.png; exit 4", ""), ("cat page.png", ""), ("cat page.png; kill -KILL $$", TOO_LONG),
        ("cat page.png; exit 3", NOT_INSTALLED),
        ("cat other.png", "the PostScript program draws a page of another size"),
        (None, "the program that draws PostScript cannot be started")],
    DRAWINGS: [
        ("kill -XCPU $$", "the CDR data are damaged"), ("kill -SEGV $$", "the CDR data are damaged"),
        ("exit 0", ""), ("exit 3", "the CDR file has a version that libcdr does not read"),
        ("exit 4", "the CDR data are damaged"), ("exit 126", "the CDR data are damaged"),
        ("exit 127", "the program that reads CDR files cannot be started, since a shared library is missing"),
        (None, "the program that reads CDR files cannot be started")],
}
DRAW = """
import os
from io import BytesIO
from pathlib import Path
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions
os.chdir({folder!r})
program = Path({program!r})
result = []
for end in {ends!r}:
    program.unlink(missing_ok=True)
    if end is not None:
        program.write_text("#!/bin/sh\\ncat > /dev/null\\necho $0 $* > started\\nPATH=/usr/bin:/bin\\n" + end + "\\n")
        program.chmod(0o755)
    try:
        Image.load({file!r}).save(BytesIO(), PngOptions())
        result.append("")
    except RuntimeError as error:
        result.append(str(error))
"""


def installed(folder: Path) -> Path:
    """An installation of links, whose programs can be replaced."""
    package = folder / "zelmor"
    shutil.copytree(PACKAGE, package, symlinks=True, copy_function=os.symlink)
    return package


def told(folder: Path, program: str, file: str) -> list[str]:
    package = installed(folder)
    ends = [end for end, _ in ENDS[program]]
    said: list[str] = child(DRAW.format(folder=str(folder), program=str(package / RUNTIME / program), ends=ends,
                                        file=file), package)
    return said


def test_how_a_program_in_postscript_ends(tmp_path: Path) -> None:
    (tmp_path / "a.eps").write_bytes(eps(SQUARE, "0 0 75 60"))
    Pillow.new("RGBA", (100, 80), "red").save(tmp_path / "page.png")
    Pillow.new("RGBA", (100, 81), "red").save(tmp_path / "other.png")
    said = told(tmp_path, POSTSCRIPT, "a.eps")
    for (end, expected), one in zip(ENDS[POSTSCRIPT], said, strict=True):
        assert expected in one and bool(expected) == bool(one), (end, one)
    # Pixels, dots per inch, the left lower corner, 20 seconds, 2 GiB, and smooth edges of both kinds.
    words = (tmp_path / "started").read_text().split()[1:]
    assert words[:2] == ["100", "80"] and words[6:] == ["20", str(2 << 30), "1", "1"]
    assert [float(word) for word in words[2:6]] == [96, 96, 0, 0]


def test_how_the_reader_of_drawings_ends(tmp_path: Path) -> None:
    (tmp_path / "a.cdr").write_bytes(cdr(cdr_rectangle(0, 0, 0.5, 0.5, 1)))
    said = told(tmp_path, DRAWINGS, "a.cdr")
    for (end, expected), one in zip(ENDS[DRAWINGS], said, strict=True):
        assert expected in one, (end, one)
    assert (tmp_path / "started").read_text().split()[1:] == ["cdr", "20", str(1 << 30)]


# ---- The programs themselves


def limits_of(process: int) -> dict[str, str]:
    """What a process may take, by the first words of the system's table."""
    lines = Path(f"/proc/{process}/limits").read_text().splitlines()[1:]
    return {line[:26].strip(): line[26:].split()[0] for line in lines}


@pytest.mark.parametrize(("name", "arguments", "data"), [
    (POSTSCRIPT, ["9", "9", "72", "72", "0", "0", "17", str(3 << 30), "1", "1"], LOOP),
    (DRAWINGS, ["cdr", "17", str(3 << 30)], None), (REHEARSAL, ["9", "9", "17", str(3 << 30)], None)])
def test_limits_of_the_programs(name: str, arguments: list[str], data: bytes | None) -> None:
    """Of the processor's time, memory, files and dumps; and they keep no file open but the standard ones."""
    with open(os.devnull, "rb") as other, subprocess.Popen(
            [PACKAGE / RUNTIME / name, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, pass_fds=[other.fileno()]) as process:
        try:
            assert process.stdin is not None
            if data is not None:
                process.stdin.write(data)
                process.stdin.close()
            last = time.monotonic() + 30
            # The limit that is set last; that of dumps may be nothing from the beginning.
            while time.monotonic() < last and limits_of(process.pid)["Max file size"] != "0":
                time.sleep(0.01)
            time.sleep(0.05)
            found = limits_of(process.pid)
            assert (found["Max cpu time"], found["Max address space"]) == ("17", str(3 << 30))
            assert (found["Max core file size"], found["Max file size"]) == ("0", "0")
            opened = {os.readlink(entry) for entry in Path(f"/proc/{process.pid}/fd").iterdir()
                      if int(entry.name) == other.fileno()}
            assert os.devnull not in opened
        finally:
            process.kill()


def run(name: str, arguments: list[str], data: bytes) -> tuple[int, bytes]:
    done = subprocess.run([PACKAGE / RUNTIME / name, *arguments], input=data, capture_output=True, check=False,
                          timeout=60)
    return done.returncode, done.stdout


PAGE = ["30", "20", "72", "36", "0", "0", "20", str(2 << 30)]


@pytest.mark.skipif(shutil.which("gs") is None, reason="Ghostscript is not installed")
def test_the_program_that_draws_postscript() -> None:
    """The page of so many pixels, whose left lower corner is the place that was given; without white paper."""
    program = b"%!PS\n0 setgray 10 10 10 20 rectfill showpage\n"
    code, png = run(POSTSCRIPT, [*PAGE, "0", "0"], program)
    with Pillow.open(io.BytesIO(png)) as picture:
        assert code == 0 and (picture.size, picture.mode) == ((30, 20), "RGBA")
        assert picture.getchannel("A").getbbox() == (10, 5, 20, 15)  # two points a pixel down
    code, png = run(POSTSCRIPT, ["30", "20", "72", "72", "5", "8", *PAGE[6:], "0", "0"], program)
    with Pillow.open(io.BytesIO(png)) as picture:
        assert picture.getchannel("A").getbbox() == (5, 0, 15, 18)
    code, png = run(POSTSCRIPT, [*PAGE, "0", "0"], program + b"unknown\n")
    assert code == 4 and png.startswith(b"\x89PNG")
    assert run(POSTSCRIPT, [*PAGE, "0", "0"], b"%!PS\nunknown\n") == (4, b"")
    assert run(POSTSCRIPT, [*PAGE, "0", "0"], program + b"quit\n") == (0, png)
    for arguments in (PAGE, [*PAGE, "0"], [*PAGE, "0", "0", "0"]):
        assert run(POSTSCRIPT, arguments, program) == (4, b"")


def test_the_program_that_reads_drawings() -> None:
    """It tells files that it does not read from those that are damaged."""
    most = ["20", str(1 << 30)]
    plain, other = cdr(cdr_rectangle(0, 0, 0.5, 0.5, 1)), cmx(cmx_rectangle(0, 0, 0.5, 0.5, 1))
    for kind, data in (("cdr", plain), ("cmx", other)):
        code, text = run(DRAWINGS, [kind, *most], data)
        assert code == 0 and b"<office:document" in text
    for arguments, data in ((["cdr", *most], b"no drawing"), (["cdr", *most], other), (["cmx", *most], plain)):
        assert run(DRAWINGS, arguments, data) == (3, b"")
    for arguments in ([], ["cdr", "20"], ["cdr", *most, "1"]):
        assert run(DRAWINGS, arguments, plain) == (4, b"")
    assert run(REHEARSAL, ["9", "9", *most], b"")[0] == 0
    for arguments in ([], ["9", "9", "20"], ["9", "9", *most, "1"]):
        assert run(REHEARSAL, arguments, b"")[0] == 1
