"""Loading and converting a picture opens the named file, and beside it only what the system's libraries consist of:
shared objects, fonts and settings. No file and no address that stands in a picture is looked at.

strace tells which paths a process names. One process imports the module and forks a child for each file, so that each
child loads the libraries of its format; a mark, a path that does not exist, parts their calls in the trace.
"""

from __future__ import annotations

import os
import re
import subprocess
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import FileFormat, Image, ImageLoadersRegistry

from support.format_samples import PLAIN, WITH_REFERENCES
from support.places import BUILD_DIR, FOLDERS
from support.runtimes import embedded_only

pytestmark = embedded_only("a forked child does not call .NET")

PROGRAM = """
import os, sys, traceback
from pathlib import Path
from zelmor.imaging import Image, RasterImage, VectorImage
from zelmor.imaging.imageoptions import PngOptions, SvgOptions, TiffOptions, EmfOptions, PdfOptions
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat

def look(value):
    try:
        value()
    except RuntimeError:  # metadata that are refused; the picture is not
        pass

def use(name):
    image = Image.load(name)
    made, raster = RasterImage._cast_to(image)
    if made:
        raster.cache_data()
        raster.get_pixel(0, 0)
        look(lambda: raster.xmp_data)
        look(lambda: raster.exif_data) if hasattr(raster, 'exif_data') else None
    made, vector = VectorImage._cast_to(image)
    if made:
        vector.get_embedded_images()
        options = SvgOptions()
        options.text_as_shapes = True
        image.save("out/a.svg", options)
        image.save("out/a.emf", EmfOptions())
        image.save("out/a.pdf", PdfOptions())
    image.save("out/" + name + ".png", PngOptions())
    image.save("out/a.tif", TiffOptions(TiffExpectedFormat.DEFAULT))
    image.__exit__(None, None, None)

names = sys.argv[1:]
for name in names:
    child = os.fork()
    if child == 0:
        os.access("/mark/" + name, 0)
        try:
            use(name)
        except RuntimeError as error:  # the file is refused
            Path("out", name + ".error").write_text(str(error))
        except BaseException:
            traceback.print_exc()
            os._exit(1)
        os.access("/mark/", 0)
        os._exit(0)
    assert os.waitpid(child, 0)[1] == 0, name
"""

#: Paths that every process may name: parts of the system that have nothing to do with the picture.
SYSTEM = re.compile(
    r"/etc/ld\.so\.(cache|preload)|/etc/localtime|/usr/share/zoneinfo/.*|/dev/null|/dev/urandom"
    r"|/proc/(self|\d+)(/(exe|maps|stat|status|task|fd|cgroup|auxv|cmdline)(/.*)?)?"
    r"|/proc/(cpuinfo|meminfo|filesystems|stat|sys/vm/.*)|/sys/(devices/system/(cpu|node)|fs/cgroup)(/.*)?"
    r"|/(usr/)?lib(64)?(/x86_64-linux-gnu)?(/[\w.+-]+)*/[\w.+-]+\.so(\.[\w.]+)*"  # shared objects of the system
    r"|/usr/(share/locale|lib/locale)(/.*)?|/usr/share/locale-langpack(/.*)?"
    r"|/usr/lib/x86_64-linux-gnu/(charset\.alias|gconv/gconv-modules.*)"
    r"|(/sys/fs)?/selinux|/etc/(selinux|gnutls)/config"
    r"|/nonexistent/x86_64-linux-gnu(/.*)?")  # modules of libvips: kept out
#: Of those that draw text: fonts, their settings and their cache.
FONTS = re.compile(
    r"/etc/fonts(/.*)?|/usr/share/(fonts|fontconfig|X11/fonts)(/.*)?|/usr/(local/)?share/fonts(/.*)?"
    r"|/var/(cache|lib)/fontconfig(/.*)?|/var/lib/defoma(/.*)?|<home>/(\.fonts|\.local/share/fonts|\.fontconfig"
    r"|\.cache/fontconfig|\.config/fontconfig|\.fonts\.conf|\.fonts\.conf\.d)(/.*)?|/etc/pango(/.*)?"
    r"|/usr/share/texmf/fonts/.*|/usr/X11R6/lib/X11/fonts(/.*)?|<home>/\.config/pango(/.*)?")
#: Of programs in PostScript: what their interpreter itself consists of.
POSTSCRIPT = re.compile(
    r"/usr/share/(ghostscript|color/icc/ghostscript|poppler)(/.*)?|/(etc|var/lib)/ghostscript(/.*)?"
    r"|/etc/papersize|/etc/paperspecs|/usr/(local/)?lib/ghostscript(/.*)?|/usr/share/cups/fonts(/.*)?")
#: Of DjVuLibre: catalogues of its messages, which it looks for beside the program, and so for the program by its name.
MESSAGES = re.compile(r"(/[^/]+)*/(zelmor|(profiles/|osi/|DjVu/)?(en|languages\.xml))|/usr/share/djvu(/.*)?"
                      r"|<home>/\.DjVu(/.*)?|/etc/DjVu|(/[^/]+)*/share/djvu/osi(/.*)?")
#: Of librsvg: the list of the readers for pictures in documents.
READERS = re.compile(r"/usr/lib/x86_64-linux-gnu/gdk-pixbuf-2\.0/[\d.]+/loaders\.cache")
HELPERS = {"zelmor.embed.drawings": ("CDR", "CMX"), "zelmor.embed.postscript": ("EPS",)}
#: Formats of lines and text, which name fonts and may use a drawing library.
DRAWN = ("CDR", "CMX", "EMF", "EMZ", "EPS", "F_ODG", "ODG", "OTG", "SVG", "SVGZ", "WMF", "WMZ")

_CALL = re.compile(r"^(?P<process>\d+) +(?P<name>\w+)\((?P<arguments>.*)")
_STRING = re.compile(r'"((?:[^"\\]|\\.)*)"')
#: Calls that make a socket for a connection to somewhere; a pair is between the two processes alone.
_NETWORK = ("socket", "connect", "bind", "listen", "accept", "accept4")


@dataclass(repr=False)
class Trace:
    """What the processes for one file did."""

    calls: list[str] = field(default_factory=list)
    paths: list[tuple[str, str]] = field(default_factory=list)  # the name of the call, the path

    def executed(self) -> set[str]:
        return {path for name, path in self.paths if name.startswith("execve")}


@dataclass(repr=False)
class Run:
    """The folder that the files lie in, and the trace of each."""

    folder: Path
    traces: dict[str, Trace]

    @property
    def secret(self) -> Path:
        return self.folder / "secret"


def _secrets(secret: Path) -> None:
    """What the files refer to; whatever reads it, shows red."""
    secret.mkdir()
    Pillow.new("RGB", (40, 40), "red").save(secret / "picture.png")
    Pillow.new("RGB", (40, 40), "red").save(secret / "picture.tif")
    (secret / "inner.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="99" height="99">'
                                      '<rect id="a" width="99" height="99" fill="red"/></svg>')
    (secret / "style.css").write_text("rect { fill: red }")
    (secret / "text.xml").write_text("<rect width='50' height='50' fill='red'/>")
    (secret / "text.ps").write_text("1 0 0 setrgbcolor 0 0 60 40 rectfill")
    for name in ("profile.icc", "font.ttf", "part.djvu", "page.djvu", "picture.tga", "sound.wav", "PICTURE"):
        (secret / name).write_bytes(b"some bytes")


def _read(log: str) -> dict[str, Trace]:
    traces: dict[str, Trace] = {}
    current: Trace | None = None
    for line in log.splitlines():
        found = _CALL.match(line)
        if found is None:
            continue  # the end of a call that another process interrupted, a signal, an exit
        strings = _STRING.findall(found["arguments"])
        if found["name"] == "access" and strings and strings[0].startswith("/mark/"):
            name = strings[0].removeprefix("/mark/")
            current = traces.setdefault(name, Trace()) if name else None
        elif current is not None:
            current.calls.append(line)
            count = 2 if found["name"].startswith(("rename", "link")) else 1
            current.paths += [(found["name"], path) for path in strings[:count]]
    return traces


@pytest.fixture(name="run", scope="module")
def fixture_run(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Run]:
    """All files, each used by a process of its own."""
    folder = tmp_path_factory.mktemp("opened")
    (folder / "out").mkdir()
    (folder / "home").mkdir()
    (folder / "made").mkdir()  # for the programs that make the files
    (folder / ".badpixels").write_text("3 3 0\n")  # which readers of raw pictures look for
    _secrets(folder / "secret")
    names = []
    for name, (_, make) in PLAIN.items():
        (folder / name).write_bytes(make(folder / "made"))
        names.append(name)
    for name, make_linked in WITH_REFERENCES.items():
        (folder / name).write_bytes(make_linked(folder / "made", folder / "secret"))
        names.append(name)
    variables = {**os.environ, "PYTHONPATH": os.pathsep.join((str(BUILD_DIR / "python"), *FOLDERS)),
                 "HOME": str(folder / "home")}
    for variable in list(variables):
        if variable.startswith("XDG_"):
            del variables[variable]
    before = sorted(path.name for path in (folder / "secret").iterdir())
    done = subprocess.run(["strace", "-f", "--seccomp-bpf", "-qq", "-s", "4096", "-o", "../log", "-e",
                           f"trace=%file,socketpair,{','.join(_NETWORK)}", "/usr/bin/python3", "-B", "-c", PROGRAM,
                           *names], cwd=folder, env=variables, capture_output=True, text=True, timeout=300, check=False)
    assert done.returncode == 0, done.stderr[-4000:]
    assert sorted(path.name for path in (folder / "secret").iterdir()) == before
    yield Run(folder, _read((folder.parent / "log").read_text()))


def _allowed(run: Run, name: str, path: str, kind: str) -> bool:
    """Whether a process for this file may name the path."""
    path = os.path.normpath(os.path.join(run.folder, path))
    own = {str(run.folder / name), str(run.folder / "out"), str(run.folder), str(run.folder / "home"), "/", ""}
    if path in own or path.startswith(str(run.folder / "out") + "/"):
        return True
    if Path(path).resolve().is_relative_to(BUILD_DIR) and path.endswith(".so"):
        return True
    patterns = [SYSTEM]
    if kind in DRAWN:
        patterns.append(FONTS)
    patterns += {"DJVU": [MESSAGES], "EPS": [POSTSCRIPT], "SVG": [READERS], "SVGZ": [READERS]}.get(kind, [])
    at_home = path.replace(str(run.folder / "home"), "<home>")
    return any(pattern.fullmatch(at_home) for pattern in patterns)


def _check(run: Run, name: str, kind: str) -> None:
    trace = run.traces[name]
    folders = {path for _, path in trace.paths if os.path.isdir(path)}
    foreign = {(call, path) for call, path in trace.paths
               if not call.startswith("execve") and not _allowed(run, name, path, kind)
               and not (path in folders and call != "openat")}
    assert not foreign, sorted(foreign)
    helpers = {os.path.basename(path) for path in trace.executed()}
    assert helpers <= {helper for helper, kinds in HELPERS.items() if kind in kinds}, helpers
    for call in trace.calls:
        found = _CALL.match(call)
        assert found is not None and found["name"] not in _NETWORK, call
        assert found["name"] != "socketpair" or helpers, call


def test_there_is_a_file_of_each_format_that_is_read() -> None:
    read = int(ImageLoadersRegistry.registered_formats)
    assert sum({int(FileFormat[kind]) for kind, _ in PLAIN.values()}) == read


@pytest.mark.parametrize("name", PLAIN)
def test_only_the_named_file_is_opened(run: Run, name: str) -> None:
    kind = PLAIN[name][0]
    path = run.folder / name
    assert Image.get_file_format(str(path)) == FileFormat[kind]
    assert not (run.folder / "out" / f"{name}.error").exists()
    assert (run.folder / "out" / f"{name}.png").exists()
    assert ("openat", name) in run.traces[name].paths
    _check(run, name, kind)


@pytest.mark.parametrize("name", WITH_REFERENCES)
def test_no_reference_in_a_file_is_followed(run: Run, name: str) -> None:
    """Whether the file is read or refused."""
    trace = run.traces[name]
    assert ("openat", name) in trace.paths
    assert not [call for call in trace.calls if str(run.secret) in call or "secret/" in call]
    kind = Image.get_file_format(str(run.folder / name)).name or ""
    _check(run, name, kind)
    drawn = run.folder / "out" / f"{name}.png"
    assert drawn.exists() != (run.folder / "out" / f"{name}.error").exists()
    if drawn.exists() and kind in ("ODG", "F_ODG", "SVG", "EPS"):
        with Pillow.open(drawn) as picture:
            pixels = np.asarray(picture.convert("RGB")).astype(int)
        red = (pixels[..., 0] > 200) & (pixels[..., 1] < 50) & (pixels[..., 2] < 50)
        assert red.mean() < 0.7, "shows what the file refers to"
