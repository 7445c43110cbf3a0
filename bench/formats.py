"""Conversions between formats beside the reference program of each: processor time, from the file to the result.

Each contestant works in fresh processes, in turn with the other. What counts is the time for a big file less that for a
tiny one: of a program two processes, of a Python process the later runs, after a first one that loads libraries, with
the programs that the runtime starts. The figures are the medians of the rounds.
"""

import os
import shutil
import statistics
import subprocess
import sys
import tempfile
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

from fresh_processes import main, used_by

ROUNDS = 5
#: The most that a conversion may take of the time of the program.
LIMIT = 1.5
#: Differences that are too short to be compared: the clock of processes and the start of programs vary as much.
SHORT = 0.004  # seconds

ZELMOR = """
import os, resource, sys
from zelmor.imaging import Image, RasterImage
from zelmor.imaging import imageoptions as o
from zelmor.imaging.fileformats.eps import EpsOptions
from zelmor.imaging.fileformats.ico import IcoImage
from zelmor.imaging.fileformats.jpeg import JpegCompressionMode
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
def options(kind, **settings):
    made = kind()
    for name, value in settings.items():
        setattr(made, name, value)
    return made
def used():
    return sum(t.ru_utime + t.ru_stime for t in map(resource.getrusage, (resource.RUSAGE_SELF,
                                                                        resource.RUSAGE_CHILDREN)))
def job(path, out):
    with Image.load(path) as image:
        {job}
job(sys.argv[1], sys.argv[3])
start = used()
job(sys.argv[1], sys.argv[3])
middle = used()
job(sys.argv[2], sys.argv[3])
print(max(0.0, used() - middle - (middle - start)))
"""
SAVE = "image.save(out, options(o.{}))"


@dataclass
class Job:
    """A conversion of a file, of which there is a tiny one and a big one with the same suffix.

    `command` is the reference program with its arguments; in them {path} is the file and {out} the result."""

    name: str
    source: str
    ours: str
    command: list[str]
    suffix: str

    @property
    def program(self) -> str:
        return self.command[0]


BMP = SAVE.format("BmpOptions")
PNG = SAVE.format("PngOptions")
MAGICK = "convert-im6.q16"


def _read(name: str, source: str, *command: str, suffix: str = ".bmp", ours: str = BMP) -> Job:
    return Job(f"{name} read", source, ours, list(command) or [MAGICK, "{path}", "{out}"], suffix)


def _written(name: str, ours: str, *command: str, suffix: str, source: str = "bmp") -> Job:
    return Job(f"{name} written", source, f"image.save(out, {ours})", list(command), suffix)


JOBS = [
    _read("BMP", "bmp", suffix=".tga", ours=SAVE.format("TgaOptions")),
    _read("DICOM", "dcm", "dcmj2pnm", "+ob", "{path}", "{out}"),
    _read("DICOM with JPEG", "jpeg.dcm", "dcmj2pnm", "+ob", "{path}", "{out}"),
    _read("DICOM with lossless JPEG", "lossless.dcm", "dcmj2pnm", "+ob", "{path}", "{out}"),
    _read("DICOM with RLE", "rle.dcm", "dcmj2pnm", "+ob", "{path}", "{out}"),
    _read("DICOM with JPEG-LS", "ls.dcm", "dcmdjpls", "{path}", "{out}"),
    _read("DjVu photograph", "photo.djvu", "ddjvu", "-format=ppm", "{path}", "{out}"),
    _read("DjVu page of ink", "ink.djvu", "ddjvu", "-format=pbm", "{path}", "{out}"),
    _read("DNG", "dng", "dcraw_emu", "-q", "3", "-w", "-T", "{path}", suffix=".tif",
          ours="image.save(out, options(lambda: o.TiffOptions(TiffExpectedFormat.TIFF_NO_COMPRESSION_RGB)))"),
    _read("EPS", "eps", "gs", "-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-dEPSCrop", "-dTextAlphaBits=4",
          "-dGraphicsAlphaBits=4", "-r96", "-sDEVICE=pngalpha", "-sOutputFile={out}", "{path}",
          suffix=".png", ours=PNG),
    _read("GIF", "gif"),
    _read("ICO", "ico", MAGICK, "{path}", "{out}", suffix=".png",
          ours="for number, page in enumerate(IcoImage._cast_to(image).value.pages):\n"
               "            page.save(f'{out}.{number}.png', o.PngOptions())"),
    _read("JPEG", "jpg", "djpeg", "-bmp", "-outfile", "{out}", "{path}"),
    _read("JPEG 2000", "jp2", "opj_decompress", "-quiet", "-i", "{path}", "-o", "{out}"),
    _read("PNG", "png"),
    _read("PSD", "psd"),
    _read("SVG", "svg", "rsvg-convert", "-o", "{out}", "{path}", suffix=".png", ours=PNG),
    _read("TGA", "tga"),
    _read("TIFF with LZW", "lzw.tif"),
    _read("TIFF with JPEG", "jpeg.tif"),
    _read("TIFF with Group 4", "fax.tif"),
    _read("WebP", "webp"),
    _read("WMF", "wmf", "wmf2gd", "-t", "png", "--maxpect", "--maxwidth=1200", "--maxheight=900", "-o", "{out}",
          "{path}", suffix=".png", ours=PNG),
    _written("BMP", "o.BmpOptions()", MAGICK, "{path}", "{out}", suffix=".bmp", source="tga"),
    _written("DICOM", "o.DicomOptions()", "img2dcm", "-i", "BMP", "{path}", "{out}", suffix=".dcm"),
    _written("EPS", "EpsOptions()", MAGICK, "{path}", "eps2:{out}", suffix=".eps"),
    _written("GIF", "o.GifOptions()", MAGICK, "{path}", "{out}", suffix=".gif"),
    _written("ICO", "o.IcoOptions()", MAGICK, "{path}", "{out}", suffix=".ico", source="icon.png"),
    _written("JPEG", "options(o.JpegOptions, quality=85)", MAGICK, "{path}", "-quality", "85", "{out}",
             suffix=".jpg"),
    _written("JPEG without loss", "options(o.JpegOptions, compression_type=JpegCompressionMode.LOSSLESS)", "dcmcjpeg",
             "+e1", "{path}", "{out}", suffix=".jpg", source="dcm"),
    _written("JPEG-LS", "options(o.JpegOptions, compression_type=JpegCompressionMode.JPEG_LS)", "dcmcjpls", "{path}",
             "{out}", suffix=".jpg", source="dcm"),
    _written("JPEG 2000", "options(o.Jpeg2000Options, irreversible=False)", "opj_compress", "-i", "{path}", "-o",
             "{out}", suffix=".jp2"),
    _written("PDF", "o.PdfOptions()", "tiff2pdf", "-z", "-o", "{out}", "{path}", suffix=".pdf", source="lzw.tif"),
    _written("PNG", "o.PngOptions()", MAGICK, "{path}", "-quality", "65", "{out}", suffix=".png"),
    _written("PSD", "o.PsdOptions()", MAGICK, "{path}", "-compress", "rle", "{out}", suffix=".psd"),
    _written("TGA", "o.TgaOptions()", MAGICK, "{path}", "{out}", suffix=".tga"),
    _written("TIFF with LZW", "o.TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)", MAGICK, "{path}", "-compress", "lzw",
             "{out}", suffix=".tif"),
    _written("TIFF with Deflate", "o.TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_RGB)", MAGICK, "{path}", "-compress",
             "zip", "{out}", suffix=".tif"),
    _written("WebP", "options(o.WebPOptions, lossless=False, quality=80)", MAGICK, "{path}", "-quality", "80", "{out}",
             suffix=".webp"),
    _written("SVG as PDF", "o.PdfOptions()", "rsvg-convert", "-f", "pdf", "-o", "{out}", "{path}", suffix=".pdf",
             source="svg"),
    _written("SVG as shapes", "options(o.SvgOptions, text_as_shapes=True)", "rsvg-convert", "-f", "svg", "-o", "{out}",
             "{path}", suffix=".svg", source="svg"),
    _written("WMF as SVG", "o.SvgOptions()", "wmf2svg", "-o", "{out}", "{path}", suffix=".svg", source="wmf"),
]


@dataclass
class Result:
    """Medians of one conversion, in seconds of the processor."""

    name: str
    program: str
    ours: float
    theirs: float

    @property
    def ratio(self) -> float:
        return max(self.ours, SHORT) / max(self.theirs, SHORT)

    @property
    def met(self) -> bool:
        return self.ratio <= LIMIT


def _svg(count: int, gradients: bool = True) -> str:
    """A drawing with curves, lines and text, as diagrams and icons have them."""
    rectangle = 'fill="url(#g)" opacity="0.7"' if gradients else 'fill="#f80"'
    shapes = []
    for i in range(count):
        x, y = i * 37 % 1150, i * 53 % 850
        shapes.append((f'<rect x="{x}" y="{y}" width="40" height="25" rx="4" {rectangle}/>',
                       f'<path d="M{x} {y}C{x + 20} {y - 15} {x + 30} {y + 40} {x + 50} {y + 9}Z" '
                       f'fill="#{i % 4096:03x}" stroke="black"/>',
                       f'<polyline points="{x},{y} {x + 30},{y + 9} {x + 12},{y + 44}" fill="none" stroke="#06c" '
                       'stroke-width="2.5" stroke-dasharray="5 3"/>',
                       f'<text x="{x}" y="{y + 12}" font-family="DejaVu Sans" font-size="11">word {i}</text>')[i % 4])
    return ('<svg xmlns="http://www.w3.org/2000/svg" width="1200" height="900"><defs><linearGradient id="g">'
            '<stop offset="0" stop-color="#f80"/><stop offset="1" stop-color="#08f"/></linearGradient></defs>'
            f'{"".join(shapes)}</svg>')


def _eps(count: int) -> str:
    shapes = [f"{i % 10 / 10} {i % 7 / 7} {i % 3 / 3} setrgbcolor {i * 37 % 850} {i * 53 % 630} moveto 30 9 "
              f"rlineto 12 44 rlineto closepath fill {i * 37 % 850} {i * 53 % 630} moveto (word {i}) show"
              for i in range(count)]
    return "\n".join(["%!PS-Adobe-3.0 EPSF-3.0", "%%BoundingBox: 0 0 900 675", "%%EndComments",
                      "/Helvetica findfont 9 scalefont setfont", *shapes, "showpage", "%%EOF", ""])


def write_sources(folder: Path) -> None:
    """A tiny and a big file of each kind, written by Pillow and by the programs of the formats."""
    import numpy as np
    from operations import photograph
    from PIL import Image, ImageDraw

    sys.path.append(str(Path(__file__).parents[1] / "tests" / "python"))
    from support.dicom_files import compressed
    from support.dicom_files import picture as dicom
    from support.dng_files import Dng

    def run(*command: str) -> None:
        subprocess.run(command, check=True, capture_output=True, cwd=folder)

    for size, (width, height), count in (("tiny", (96, 64), 4), ("big", (1200, 900), 2000)):
        pixels = photograph(width, height)
        picture = Image.fromarray(pixels)
        save: dict[str, Callable[[Path], None]] = {
            "jpg": lambda path: picture.save(path, quality=85), "gif": lambda path: picture.quantize(200).save(path),
            "lzw.tif": lambda path: picture.save(path, compression="tiff_lzw"),
            "jpeg.tif": lambda path: picture.save(path, compression="jpeg"),
            "fax.tif": lambda path: picture.convert("1").save(path, compression="group4"),
            "tga": lambda path: picture.save(path, rle=True),
            "ico": lambda path: picture.resize((256, 256)).save(path, sizes=[(n, n) for n in range(
                256 if size == "big" else 16, 0, -16)]),
            "icon.png": lambda path: picture.resize((min(width, 256), min(height, 256))).save(path)}
        for suffix in ("bmp", "png", "webp", "ppm", *save):
            save.get(suffix, picture.save)(folder / f"{size}.{suffix}")
        run(MAGICK, f"{size}.bmp", "-compress", "rle", f"{size}.psd")
        run("opj_compress", "-i", f"{size}.bmp", "-o", f"{size}.jp2")
        run("c44", f"{size}.ppm", f"{size}.photo.djvu")
        page = Image.new("1", (width, height), 1)
        ImageDraw.Draw(page).multiline_text((2, 2), "\n".join(["some words of a page " * 18] * 110))
        page.resize((3 * width, 3 * height)).save(folder / f"{size}.pbm", "PPM")
        run("cjb2", f"{size}.pbm", f"{size}.ink.djvu")
        (folder / f"{size}.dcm").write_bytes(dicom(pixels, "RGB"))
        for kind, command in {"jpeg": ("dcmcjpeg", "+eb"), "lossless": ("dcmcjpeg", "+e1"), "rle": ("dcmcrle",),
                              "ls": ("dcmcjpls",)}.items():
            compressed(folder / f"{size}.dcm", *command).rename(folder / f"{size}.{kind}.dcm")
        mosaic = (pixels[..., 1].astype(np.uint16) << 8)[:height // 2 * 2, :width // 2 * 2]
        (folder / f"{size}.dng").write_bytes(Dng(mosaic).tobytes())
        (folder / f"{size}.svg").write_text(_svg(count))
        (folder / f"{size}.eps").write_text(_eps(count))
    program = ZELMOR.replace("{job}", "image.save(out, o.WmfOptions())")
    for size, count in (("tiny", 4), ("big", 2000)):
        (folder / "plain.svg").write_text(_svg(count, gradients=False))
        # In the folder of the caller, which the paths of modules may begin at.
        subprocess.run([sys.executable, "-c", program, *2 * [str(folder / "plain.svg")], str(folder / f"{size}.wmf")],
                       check=True, capture_output=True)


def _ours(job: Job, tiny: Path, big: Path, out: Path) -> float:
    shown = subprocess.run([sys.executable, "-c", ZELMOR.replace("{job}", job.ours), str(tiny), str(big), str(out)],
                           check=True, text=True, capture_output=True, env=os.environ).stdout
    return float(shown)


def _theirs(job: Job, path: Path, out: Path) -> float:
    """Processor time of the command and of what it starts."""
    return used_by([part.format(path=path, out=out) for part in job.command]).seconds


def measure(job: Job, folder: Path, rounds: int = ROUNDS) -> Result:
    """Runs both in turn; the medians."""
    tiny, big = (folder / f"{size}.{job.source}" for size in ("tiny", "big"))
    out = folder / "out" / f"a{job.suffix}"
    ours, theirs = [], []
    for _ in range(rounds):
        ours.append(_ours(job, tiny, big, out))
        start = _theirs(job, tiny, out)
        theirs.append(max(0.0, _theirs(job, big, out) - start))
    return Result(job.name, job.program, statistics.median(ours), statistics.median(theirs))


def run(only: str = "", rounds: int = ROUNDS) -> list[Result]:
    """Measures all conversions whose names contain the text, and prints a line for each."""
    print("Conversions beside the programs of the formats: processor time, medians of fresh processes\n")
    print(f"{'':28}{'zelmor':>12}{'program':>12}{'ratio':>8}")
    results = []
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        (folder / "out").mkdir()
        subprocess.run([sys.executable, __file__, "--write", name], check=True)
        for job in JOBS:
            if only not in job.name:
                continue
            if shutil.which(job.program) is None:
                print(f"{job.name:28}  {job.program} is not installed")
                continue
            result = measure(job, folder, rounds)
            results.append(result)
            print(f"{result.name:28}{result.ours * 1e3:9.1f} ms{result.theirs * 1e3:9.1f} ms{result.ratio:8.2f}  "
                  f"{job.program}{'' if result.met else '  MISS'}", flush=True)
    return results


if __name__ == "__main__":
    main(write_sources, run, ROUNDS)
