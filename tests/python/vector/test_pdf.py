"""PDF files: pages of pictures and pages of lines and text, checked by the tools of poppler, qpdf and Ghostscript."""

from __future__ import annotations

import io
import re
import struct
import subprocess
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import (Color, Graphics, Image, LoadOptions, PdfComplianceVersion, Pen, Rectangle,
                            ResolutionSetting, RotateFlipType, SizeF)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.pdf import PdfCoreOptions, PdfDocumentInfo
from zelmor.imaging.fileformats.svg import SvgImage
from zelmor.imaging.imageoptions import (MultiPageOptions, PdfImageCompressionOptions, PdfOptions,
                                         SvgRasterizationOptions)

from support import tiff_files as tiff
from support.drawn_documents import document
from support.image_oracles import managed_error, noise, raster, smooth
from support.pdf_archives import Archive, archive_problems
from support.tiff_files import Form

LOSSLESS = (PdfImageCompressionOptions.AUTO, PdfImageCompressionOptions.NONE, PdfImageCompressionOptions.RLE,
            PdfImageCompressionOptions.FLATE, PdfImageCompressionOptions.LZW_BASELINE_PREDICTOR,
            PdfImageCompressionOptions.LZW_OPTIMIZED_PREDICTOR)


def run(*command: object) -> str:
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


def loaded(array: Any, kind: str = "PNG", mode: str | None = None, **options: Any) -> Image:
    file = io.BytesIO()
    Pillow.fromarray(array, mode).save(file, kind, **options)
    return Image.load(io.BytesIO(file.getvalue()))


def options_with(compression: PdfImageCompressionOptions, quality: int = 75) -> PdfOptions:
    options = PdfOptions()
    options.pdf_core_options = PdfCoreOptions()
    options.pdf_core_options.compression = compression
    options.pdf_core_options.jpeg_quality = quality
    return options


def written(tmp_path: Path, image: Image, options: PdfOptions | None = None) -> Path:
    """The document, which qpdf finds nothing wrong with."""
    path = tmp_path / "a.pdf"
    image.save(str(path)) if options is None else image.save(str(path), options)
    said = run("qpdf", "--check", path)
    assert "No syntax or stream encoding errors found" in said, said
    return path


def picture_in(path: Path, page: int = 1) -> Any:
    """The picture on a page, as poppler takes it out."""
    folder = path.parent / f"page{page}"
    folder.mkdir(exist_ok=True)
    run("pdfimages", "-png", "-f", page, "-l", page, path, folder / "p")
    with Pillow.open(sorted(folder.iterdir())[0]) as picture:
        return np.asarray(picture)


def drawn(path: Path, dots: int = 96, page: int = 1) -> Any:
    """A page as poppler draws it."""
    run("pdftoppm", "-png", "-r", dots, "-f", page, "-l", page, "-singlefile", path, path.with_suffix(""))
    with Pillow.open(path.with_suffix(".png")) as picture:
        return np.asarray(picture.convert("RGB"))


def facts_of(path: Path) -> dict[str, str]:
    lines = [line.split(":", 1) for line in run("pdfinfo", path).splitlines() if ":" in line]
    return {name: value.strip() for name, value in lines}


def size_of(path: Path, page: int = 1) -> tuple[float, float]:
    found = re.search(r"size:\s+([\d.]+) x ([\d.]+) pts", run("pdfinfo", "-f", page, "-l", page, path))
    assert found
    return float(found[1]), float(found[2])


# ---- Pictures


@pytest.mark.parametrize("compression", [*LOSSLESS, PdfImageCompressionOptions.JPEG])
@pytest.mark.parametrize(("bits", "alpha"), [(8, False), (16, False), (8, True)])
def test_lab_pictures_are_colors(tmp_path: Path, compression: PdfImageCompressionOptions, bits: int,
                                 alpha: bool) -> None:
    """As red, green and blue, which the image shows."""
    y, x = np.mgrid[0:29, 0:37]
    share = 2**(bits - 8)
    lab = np.stack([100 * share + x * share, (y - 14) * share, (18 - x) * share], -1) % 2**bits
    form = Form("lab", tiff.LAB, 4 if alpha else 3, bits, extra=2 if alpha else None)
    samples = np.concatenate([lab, np.full((29, 37, 1), 255)], -1) if alpha else lab
    image = Image.load(io.BytesIO(tiff.tiff_bytes(samples.astype(form.type()), form)))
    words = np.array(list(raster(image).load_argb_32_pixels(image.bounds)), np.int64).reshape(29, 37, 1)
    found = picture_in(written(tmp_path, image, options_with(compression)))
    found = found >> 8 if found.dtype == np.uint16 else found
    assert np.abs(found.astype(int) - (words >> np.array([16, 8, 0]) & 255)).max() <= (
        12 if compression == PdfImageCompressionOptions.JPEG else 1)


@pytest.mark.parametrize("compression", LOSSLESS)
@pytest.mark.parametrize("kind", ["rgb", "gray", "palette", "deep", "noise"])
def test_pictures_come_back_exactly(tmp_path: Path, kind: str, compression: PdfImageCompressionOptions) -> None:
    pixels = {"rgb": smooth(), "gray": smooth()[..., 0], "palette": np.arange(35, dtype=np.uint8).reshape(5, 7) % 11,
              "deep": (np.arange(35, dtype=np.uint16) * 1871).reshape(5, 7), "noise": noise()}[kind]
    if kind == "palette":
        source = Pillow.fromarray(pixels, "P")
        source.putpalette([(i * 7 + j * 50) % 256 for i in range(11) for j in range(3)])
        expected = np.asarray(source.convert("RGB"))
        file = io.BytesIO()
        source.save(file, "PNG")
        image = Image.load(io.BytesIO(file.getvalue()))
    else:
        image, expected = loaded(pixels), pixels
    found = picture_in(written(tmp_path, image, options_with(compression)))
    if kind == "deep":
        found, expected = found >> 8 if found.dtype == np.uint16 else found, expected >> 8
    if found.ndim < expected.ndim:
        found = np.repeat(found[..., None], 3, axis=2)
    assert np.array_equal(found.astype(int), expected.astype(int))


@pytest.mark.parametrize("compression", LOSSLESS[1:])
def test_long_streams(tmp_path: Path, compression: PdfImageCompressionOptions) -> None:
    """Tables of LZW are filled many times over."""
    pixels = np.random.default_rng(3).integers(0, 40, (400, 300, 3)).astype(np.uint8)
    pixels[100:200] = 7
    path = written(tmp_path, loaded(pixels), options_with(compression))
    assert np.array_equal(picture_in(path), pixels)
    run("gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=ppmraw", "-r96", f"-sOutputFile={tmp_path}/gs.ppm",
        path)
    with Pillow.open(tmp_path / "gs.ppm") as seen:
        assert np.array_equal(np.asarray(seen), pixels)


def test_parts_of_a_picture_are_compressed_as_suits_them(tmp_path: Path) -> None:
    """A noisy slope is smallest as differences, lines of letters as they are; both stand in one picture, too."""
    random = np.random.default_rng(8)
    slope = np.clip(np.linspace(0, 200, 700)[:, None, None] + random.integers(0, 50, (700, 1000, 3)), 0, 255)
    letters = np.where(random.random((9, 12, 7)) < 0.4, 40, 255)
    lines = [np.hstack([letters[letter] for letter in random.integers(0, 9, 142)]) for _ in range(50)]
    page = np.full((700, 1000), 255)
    page[:600, :994] = np.vstack(lines)
    text = np.repeat(page[..., None], 3, axis=2)
    least: dict[str, int] = {}
    for name, pixels in (("slope", slope), ("text", text), ("both", np.vstack([slope, text, slope]))):
        pixels = pixels.astype(np.uint8)
        path = written(tmp_path, loaded(pixels), options_with(PdfImageCompressionOptions.FLATE))
        assert np.array_equal(picture_in(path), pixels)
        differences = np.diff(pixels.astype(int), axis=1, prepend=0).astype(np.uint8)
        plain, smooth_size = (len(zlib.compress(array.tobytes())) for array in (pixels, differences))
        least[name] = min(plain, smooth_size) if name != "both" else 2 * least["slope"] + least["text"]
        assert path.stat().st_size < least[name] * 1.03, name


@pytest.mark.parametrize("compression", [PdfImageCompressionOptions.CCITT3, PdfImageCompressionOptions.CCITT4,
                                         PdfImageCompressionOptions.AUTO])
def test_black_and_white(tmp_path: Path, compression: PdfImageCompressionOptions) -> None:
    bits = np.random.default_rng(4).integers(0, 2, (70, 61)).astype(bool)
    bits[20:50, 10:40] = True
    file = io.BytesIO()
    Pillow.fromarray(bits).save(file, "PNG")
    path = written(tmp_path, Image.load(io.BytesIO(file.getvalue())), options_with(compression))
    assert np.array_equal(picture_in(path).astype(bool), bits)
    assert "ccitt" in run("pdfimages", "-list", path)


def test_colors_become_black_and_white_for_a_fax(tmp_path: Path) -> None:
    path = written(tmp_path, loaded(smooth()), options_with(PdfImageCompressionOptions.CCITT4))
    assert set(np.unique(picture_in(path))) <= {0, 1, 255}


def test_jpeg_has_a_quality(tmp_path: Path) -> None:
    sizes = []
    for quality in (10, 95):
        path = written(tmp_path, loaded(smooth()), options_with(PdfImageCompressionOptions.JPEG, quality))
        assert " jpeg " in run("pdfimages", "-list", path)
        sizes.append(path.stat().st_size)
        found = picture_in(path).astype(int)
        assert np.abs(found - smooth().astype(int)).mean() < (20 if quality == 10 else 4)
    assert sizes[0] < sizes[1]


def photo(**options: Any) -> bytes:
    file = io.BytesIO()
    Pillow.fromarray(smooth()).save(file, "JPEG", quality=90, **options)
    return file.getvalue()


def decoded(data: bytes) -> Any:
    with Pillow.open(io.BytesIO(data)) as picture:
        return np.asarray(picture)


@pytest.mark.parametrize("options", [{}, {"progressive": True}, {"restart_marker_blocks": 2}])
def test_the_data_of_a_photo_are_taken_over(tmp_path: Path, options: dict[str, Any]) -> None:
    exif = Pillow.Exif()
    exif[0x010F] = "A secret maker"
    data = photo(exif=exif, comment=b"A secret comment", **options) + b"behind the end"
    path = written(tmp_path, Image.load(io.BytesIO(data)))
    assert " jpeg " in run("pdfimages", "-list", path)
    assert np.array_equal(picture_in(path), decoded(data))
    assert b"secret" not in path.read_bytes() and b"behind the end" not in path.read_bytes()


def test_a_changed_photo_is_written_anew(tmp_path: Path) -> None:
    image = Image.load(io.BytesIO(photo()))
    image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_X)
    path = written(tmp_path, image)
    assert " jpeg " in run("pdfimages", "-list", path)
    difference = np.abs(picture_in(path).astype(int) - decoded(photo())[:, ::-1].astype(int))
    assert 0 < difference.mean() < 4
    image = Image.load(io.BytesIO(photo()))
    options = options_with(PdfImageCompressionOptions.JPEG, 20)
    assert not np.array_equal(picture_in(written(tmp_path, image, options)), decoded(photo()))


def test_the_profile_of_a_photo_stands_beside_it(tmp_path: Path) -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    data = photo(icc_profile=profile)
    path = written(tmp_path, Image.load(io.BytesIO(data)))
    assert b"ICC_PROFILE" not in path.read_bytes() and b"/ICCBased" in path.read_bytes()
    assert np.array_equal(picture_in(path), decoded(data))
    options = LoadOptions()
    options.use_icc_profile_conversion = True  # the numbers are no longer those of the file
    path = written(tmp_path, Image.load(io.BytesIO(data), options))
    assert b"/ICCBased" not in path.read_bytes()


@pytest.mark.parametrize("mode", ["CMYK", "L"])
def test_photos_of_inks_and_gray(tmp_path: Path, mode: str) -> None:
    file = io.BytesIO()
    Pillow.fromarray(smooth()).convert(mode).save(file, "JPEG", quality=95)
    path = written(tmp_path, Image.load(io.BytesIO(file.getvalue())))
    assert (" cmyk " if mode == "CMYK" else " gray ") in run("pdfimages", "-list", path)
    expected = np.asarray(Pillow.fromarray(smooth()).convert(mode).convert("RGB")).astype(int)
    assert np.abs(drawn(path).astype(int) - expected).mean() < (40 if mode == "CMYK" else 4)


def test_a_photo_that_is_cut_off_is_damaged() -> None:
    data = photo()
    with managed_error("ImageLoadException", "JPEG"):
        Image.load(io.BytesIO(data[:len(data) // 2])).save(io.BytesIO(), PdfOptions())


@pytest.mark.parametrize("compression", [PdfImageCompressionOptions.FLATE, PdfImageCompressionOptions.JPEG])
def test_inks(tmp_path: Path, compression: PdfImageCompressionOptions) -> None:
    inks = np.zeros((16, 32, 4), np.uint8)
    inks[:, 16:, 0] = 255  # cyan beside paper
    path = written(tmp_path, loaded(inks, "TIFF", "CMYK"), options_with(compression))
    assert " cmyk " in run("pdfimages", "-list", path)
    seen = drawn(path)
    assert seen[5, 5].min() > 245
    assert seen[5, 27, 0] < 80 and seen[5, 27, 2] > 150


@pytest.mark.parametrize("compression", [PdfImageCompressionOptions.FLATE, PdfImageCompressionOptions.JPEG,
                                         PdfImageCompressionOptions.RLE])
def test_transparency(tmp_path: Path, compression: PdfImageCompressionOptions) -> None:
    pixels = np.zeros((20, 20, 4), np.uint8)
    pixels[..., 0] = 255
    pixels[:10, :, 3] = 255
    pixels[10:, :10, 3] = 128
    path = written(tmp_path, loaded(pixels), options_with(compression))
    assert "smask" in run("pdfimages", "-list", path)
    seen = drawn(path).astype(int)
    for (x, y), expected in (((5, 5), (255, 0, 0)), ((5, 15), (255, 127, 127)), ((15, 15), (255, 255, 255))):
        assert np.abs(seen[y, x] - expected).max() <= 5, (x, y, seen[y, x])


def test_an_opaque_alpha_channel_makes_no_mask(tmp_path: Path) -> None:
    pixels = np.full((8, 8, 4), 255, np.uint8)
    path = written(tmp_path, loaded(pixels))
    assert "smask" not in run("pdfimages", "-list", path)


def test_a_profile_stays_with_its_picture(tmp_path: Path) -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    path = written(tmp_path, loaded(smooth(), icc_profile=profile))
    assert " icc " in run("pdfimages", "-list", path)
    assert b"/ICCBased" in path.read_bytes() and b"/N 3" in path.read_bytes()


# ---- Pages


def test_the_size_of_a_page(tmp_path: Path) -> None:
    image = loaded(smooth(), dpi=(200, 100))
    width, height = image.width, image.height
    options = PdfOptions()
    assert size_of(written(tmp_path, image, options)) == pytest.approx((width * 0.75, height * 0.75), abs=0.01)
    options.use_original_image_resolution = True
    own = pytest.approx((width * 72 / 200, height * 72 / 100), abs=0.01)
    assert size_of(written(tmp_path, image, options)) == own
    assert size_of(written(tmp_path, image)) == own
    options = PdfOptions()
    options.resolution_settings = ResolutionSetting(72.0, 72.0)
    assert size_of(written(tmp_path, image, options)) == pytest.approx((width, height))
    options = PdfOptions()
    options.page_size = SizeF(595, 842)
    path = written(tmp_path, image, options)
    assert size_of(path) == (595, 842)
    seen = drawn(path, 72)
    used = np.nonzero((seen != 255).any(axis=(1, 2)))[0]
    assert abs((used[0] + used[-1]) / 2 - 421) < 3  # in the middle
    options.page_size = SizeF(100, 0)
    assert size_of(written(tmp_path, image, options)) == pytest.approx((100, 100 * height / width), abs=0.01)


def test_an_image_of_several_pictures_has_several_pages(tmp_path: Path) -> None:
    frames = [Pillow.fromarray(np.full((20 + i, 30, 3), 80 * i, np.uint8)) for i in range(3)]
    file = io.BytesIO()
    frames[0].save(file, "TIFF", save_all=True, append_images=frames[1:])
    image = Image.load(io.BytesIO(file.getvalue()))
    path = written(tmp_path, image)
    assert facts_of(path)["Pages"] == "3"
    for page in range(3):
        assert np.array_equal(picture_in(path, page + 1), np.asarray(frames[page]))
    options = PdfOptions()
    options.multi_page_options = MultiPageOptions([2, 0])
    path = written(tmp_path, image, options)
    assert facts_of(path)["Pages"] == "2"
    assert size_of(path) == pytest.approx((22.5, 16.5))


def test_what_a_document_tells_about_itself(tmp_path: Path) -> None:
    for image in (loaded(smooth()), SvgImage(40, 20)):
        options = PdfOptions()
        options.pdf_document_info = PdfDocumentInfo()
        options.pdf_document_info.title = "A (title) \\ with marks"
        options.pdf_document_info.author = "Zoë \N{GRINNING FACE}"
        options.pdf_document_info.subject = "Subject"
        options.pdf_document_info.keywords = "one, two"
        facts = facts_of(written(tmp_path, image, options))
        assert (facts["Title"], facts["Author"]) == ("A (title) \\ with marks", "Zoë \N{GRINNING FACE}")
        assert (facts["Subject"], facts["Keywords"], facts["PDF version"]) == ("Subject", "one, two", "1.5")


def test_a_new_page_to_draw_on(tmp_path: Path) -> None:
    image = Image.create(PdfOptions(), 40, 30)
    graphics = Graphics(image)
    graphics.clear(Color.white)
    graphics.fill_rectangle(SolidBrush(Color.red), Rectangle(10, 10, 20, 10))
    graphics.draw_line(Pen(Color.blue, 1), 0, 0, 39, 0)
    found = picture_in(written(tmp_path, image))
    assert tuple(found[15, 15]) == (255, 0, 0)
    assert tuple(found[25, 15]) == (255, 255, 255)
    options = PdfOptions._cast_to(image.get_original_options()).value
    assert options is not None and options.pdf_core_options is not None
    assert options.pdf_core_options.jpeg_quality == 75


# ---- Lines and text


def test_an_empty_page_of_a_vector_image(tmp_path: Path) -> None:
    path = written(tmp_path, SvgImage(400, 200))
    assert (facts_of(path)["Pages"], size_of(path)) == ("1", (300.0, 150.0))
    assert (drawn(path) == 255).all()


def test_the_layout_of_a_vector_image(tmp_path: Path) -> None:
    options = PdfOptions()
    layout = SvgRasterizationOptions()
    layout.page_size = SizeF(200, 100)
    layout.background_color = Color.from_argb(255, 10, 200, 30)
    options.vector_rasterization_options = layout
    path = written(tmp_path, SvgImage(400, 200), options)
    assert size_of(path) == (150.0, 75.0)
    assert (drawn(path)[50, 50] == (10, 200, 30)).all()
    options.page_size = SizeF(300, 300)
    path = written(tmp_path, SvgImage(400, 200), options)
    seen = drawn(path, 72)
    assert seen.shape == (300, 300, 3)
    assert (seen[20, 150] == 255).all() and (seen[150, 150] == (10, 200, 30)).all()


# ---- Archives

LEVELS = {"A": PdfComplianceVersion.PDF_A1A, "B": PdfComplianceVersion.PDF_A1B}
#: Text of one byte a character and of more, lines, a gradient, and an opaque picture.
SCENE = ('<rect x="5" y="5" width="40" height="30" fill="url(#g)"/><linearGradient id="g"><stop stop-color="red"/>'
         '<stop offset="1" stop-color="blue"/></linearGradient><text x="8" y="60" font-family="DejaVu Sans" '
         'font-size="14">Text \u00e9 \u0416\u03bb</text><path d="M60 10L100 30" stroke="green" stroke-width="3"/>')


def archived(tmp_path: Path, image: Image, level: str, title: str = "A <title> & (more)",
             compression: PdfImageCompressionOptions = PdfImageCompressionOptions.AUTO) -> Path:
    """The document, after a check of the standard's requirements."""
    options = options_with(compression)
    options.pdf_core_options.pdf_compliance = LEVELS[level]
    options.pdf_document_info = PdfDocumentInfo()
    options.pdf_document_info.title, options.pdf_document_info.author = title, "Zo\u00eb"
    options.pdf_document_info.subject, options.pdf_document_info.keywords = "Subject", "one, two"
    path = written(tmp_path, image, options)
    assert archive_problems(path, level) == []
    return path


def drawing(content: str) -> Image:
    return Image.load(io.BytesIO(document(content)))


@pytest.mark.parametrize("level", LEVELS)
@pytest.mark.parametrize("compression", [PdfImageCompressionOptions.AUTO, PdfImageCompressionOptions.NONE,
                                         PdfImageCompressionOptions.RLE, PdfImageCompressionOptions.JPEG,
                                         PdfImageCompressionOptions.CCITT4])
def test_archives_of_pictures(tmp_path: Path, level: str, compression: PdfImageCompressionOptions) -> None:
    path = archived(tmp_path, loaded(smooth()), level, compression=compression)
    if compression in LOSSLESS:
        assert np.array_equal(picture_in(path), smooth())
    assert facts_of(path)["Title"] == "A <title> & (more)" and facts_of(path)["PDF version"] == "1.4"


def test_archives_of_deep_pictures_inks_and_photos(tmp_path: Path) -> None:
    deep = (np.arange(35, dtype=np.uint16) * 1871).reshape(5, 7)
    found = picture_in(archived(tmp_path, loaded(deep), "B"))
    assert np.abs(found.astype(int) - (deep / 257).round()).max() <= 1
    inks = np.zeros((16, 32, 4), np.uint8)
    inks[:, 16:, 0] = 255
    seen = drawn(archived(tmp_path, loaded(inks, "TIFF", "CMYK"), "B"))
    assert seen[5, 5].min() > 245 and seen[5, 27, 0] < 80 and seen[5, 27, 2] > 150
    path = archived(tmp_path, Image.load(io.BytesIO(photo())), "A")
    assert np.array_equal(picture_in(path), decoded(photo()))


def test_fonts_of_other_kinds_in_archives(tmp_path: Path) -> None:
    """Letters with outlines of PostScript, whose subsets would need lists of names."""
    if "Nimbus Sans" not in subprocess.run(["fc-match", "Nimbus Sans"], capture_output=True, text=True,
                                           check=True).stdout:
        pytest.skip("needs a font with outlines of PostScript: fonts-urw-base35")
    content = '<text x="8" y="60" font-family="Nimbus Sans" font-size="24">Letters</text>'
    (tmp_path / "plain").mkdir()
    plain = written(tmp_path / "plain", drawing(content), options_with(PdfImageCompressionOptions.AUTO))
    letters, expected = (drawn(path)[..., 0] < 128 for path in (archived(tmp_path, drawing(content), "A"), plain))
    assert expected.sum() > 300 and abs(letters.sum() / expected.sum() - 1) < 0.1
    for axis in (0, 1):
        found, wanted = (np.flatnonzero(each.any(axis)) for each in (letters, expected))
        assert abs(found[0] - wanted[0]) <= 2 and abs(found[-1] - wanted[-1]) <= 2


def test_colors_of_archives_are_those_of_an_srgb_profile(tmp_path: Path) -> None:
    archive = Archive(archived(tmp_path, loaded(smooth()), "B"))
    (intent,) = archive.value(archive.value(archive.trailer["/Root"])["/OutputIntents"])
    data = archive.data(archive.value(intent)["/DestOutputProfile"])
    made = ImageCms.ImageCmsProfile(io.BytesIO(data))
    srgb = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB"))
    profile = made.profile
    assert (profile.profile_description, profile.copyright) == ("sRGB", "No copyright, use freely")
    assert (profile.version, profile.device_class, profile.connection_space.strip()) == (2.1, "mntr", "XYZ")
    assert struct.unpack(">6H", data[24:36]) == (2000, 1, 1, 0, 0, 0) and profile.rendering_intent == 0
    assert int.from_bytes(data[:4], "big") == len(data) and data[36:40] == b"acsp"
    # The light of the profile connection space, as 16.16 fixed point in the header and as the white of the pictures.
    assert [int.from_bytes(data[68 + 4 * i:72 + 4 * i], "big") for i in range(3)] == [0xF6D6, 0x10000, 0xD32D]
    assert profile.media_white_point[0] == pytest.approx((0.9642, 1, 0.8249), abs=1e-4)
    for name in ("red", "green", "blue"):
        xyz, expected = (getattr(each, f"{name}_colorant")[0] for each in (profile, srgb.profile))
        assert xyz == pytest.approx(expected, abs=2e-4), name
    pixels = Pillow.fromarray(np.random.default_rng(5).integers(0, 256, (64, 64, 3), np.uint8))
    seen = ImageCms.profileToProfile(pixels, made, srgb)
    assert np.abs(np.asarray(seen).astype(int) - np.asarray(pixels)).max() <= 1


@pytest.mark.parametrize("version", [2, 4])
def test_profiles_in_archives(tmp_path: Path, version: int) -> None:
    """The standard knows those of the second version; colors by others become sRGB."""
    profile = bytearray(ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes())
    profile[8] = version
    path = archived(tmp_path, loaded(smooth(), icc_profile=bytes(profile)), "B")
    assert (" icc " in run("pdfimages", "-list", path)) == (version == 2)
    assert np.abs(picture_in(path).astype(int) - smooth().astype(int)).max() <= 2


def test_archives_have_no_transparency(tmp_path: Path) -> None:
    pixels = np.zeros((20, 20, 4), np.uint8)
    pixels[..., 0] = 255
    pixels[:10, :, 3] = 255
    path = archived(tmp_path, loaded(pixels), "B")
    seen = drawn(path)
    assert tuple(seen[5, 5]) == (255, 0, 0)
    assert tuple(seen[15, 5]) == (255, 255, 255)


def test_an_archive_of_several_pages(tmp_path: Path) -> None:
    frames = [Pillow.fromarray(np.full((20 + i, 30, 3), 80 * i, np.uint8)) for i in range(3)]
    file = io.BytesIO()
    frames[0].save(file, "TIFF", save_all=True, append_images=frames[1:])
    path = archived(tmp_path, Image.load(io.BytesIO(file.getvalue())), "A")
    assert facts_of(path)["Pages"] == "3" and facts_of(path)["Tagged"] == "yes"


@pytest.mark.parametrize("level", LEVELS)
def test_archives_of_drawings_have_lines_and_text(tmp_path: Path, level: str) -> None:
    plain = drawn(written(tmp_path, drawing(SCENE)), 150).astype(int)
    path = archived(tmp_path, drawing(SCENE), level)
    assert np.abs(drawn(path, 150).astype(int) - plain).max() <= 1
    assert run("pdftotext", path, "-").split() == ["Text", "\u00e9", "\u0416\u03bb"]
    assert all(line.split()[-5] == "yes" for line in run("pdffonts", path).splitlines()[2:])  # embedded


@pytest.mark.parametrize("content", ['<rect x="10" y="10" width="50" height="30" fill="red" opacity="0.5"/>',
                                     '<rect x="10" y="10" width="50" height="30" fill="red" style="mix-blend-mode:'
                                     'multiply" fill-opacity="0.5"/>'])
def test_a_drawing_with_transparency_is_a_picture_in_archives(tmp_path: Path, content: str) -> None:
    path = archived(tmp_path, drawing(content + "<text x='8' y='60'>words</text>"), "A")
    assert " image " in run("pdfimages", "-list", path) and run("pdftotext", path, "-").strip() == ""
    seen = drawn(path)
    assert np.abs(seen[25, 30].astype(int) - (255, 127, 127)).max() <= 2 and seen[5, 5].min() >= 254


def test_the_colors_that_archives_mean(tmp_path: Path) -> None:
    """The profile in them is sRGB to another library."""
    raw = archived(tmp_path, SvgImage(4, 4), "B").read_bytes()
    begin = raw.index(b"stream\n", raw.index(b"/N 3")) + 7
    profile = ImageCms.ImageCmsProfile(io.BytesIO(raw[begin:raw.index(b"\nendstream", begin)]))
    assert ImageCms.getProfileDescription(profile).strip() == "sRGB"
    colors = Pillow.fromarray(noise())
    back = ImageCms.profileToProfile(colors, profile, ImageCms.createProfile("sRGB"))
    assert np.abs(np.asarray(back).astype(int) - noise().astype(int)).max() <= 1


@pytest.mark.parametrize("broken", [(b"/GTS_PDFA1", b"/GTS_OTHER"), (b"<pdfaid:part>1", b"<pdfaid:part>2"),
                                    (b"%PDF-1.4", b"%PDF-1.7"), (b"/ID [", b"/IX ["),
                                    (b"/Marked true", b"/Marked null"),
                                    (b"/StructParents 0", b"/StructParents 1"), (b"/MCID 0", b"/MCID 1"),
                                    (b"/CIDSet", b"/CIDSat"), (b"/CIDToGIDMap", b"/CIDToGADMap"),
                                    (b"<rdf:li>Zo", b"<rdf:li>Za")])
def test_the_check_of_archives_notices(tmp_path: Path, broken: tuple[bytes, bytes]) -> None:
    path = archived(tmp_path, drawing(SCENE), "A")
    data = path.read_bytes()
    assert broken[0] in data
    path.write_bytes(data.replace(*broken))
    try:
        assert archive_problems(path, "A")
    except (KeyError, IndexError):
        pass  # the structure leads nowhere


# ---- Refusals


@pytest.mark.parametrize("compression", [PdfImageCompressionOptions.LZW_BASELINE_PREDICTOR,
                                         PdfImageCompressionOptions.LZW_OPTIMIZED_PREDICTOR])
def test_archives_with_lzw_are_refused(compression: PdfImageCompressionOptions) -> None:
    options = options_with(compression)
    options.pdf_core_options.pdf_compliance = PdfComplianceVersion.PDF_A1B
    with managed_error("NotSupportedException", "PdfCoreOptions.Compression of LZW in PDF/A-1"):
        loaded(smooth()).save(io.BytesIO(), options)


@pytest.mark.parametrize("name", ["headings_outline_levels", "expanded_outline_levels", "bookmarks_outline_level"])
@pytest.mark.parametrize("vector", [False, True])
def test_outlines_are_refused(name: str, vector: bool) -> None:
    options = options_with(PdfImageCompressionOptions.AUTO)
    setattr(options.pdf_core_options, name, 1)
    managed = "".join(part.title() for part in name.split("_"))
    with managed_error("NotSupportedException", f"PdfCoreOptions.{managed}"):
        (SvgImage(4, 4) if vector else loaded(smooth())).save(io.BytesIO(), options)


def test_settings_out_of_range_are_refused() -> None:
    for quality in (0, 101):
        with managed_error("ArgumentOutOfRangeException", "PdfCoreOptions.JpegQuality"):
            loaded(smooth()).save(io.BytesIO(), options_with(PdfImageCompressionOptions.JPEG, quality))
    options = PdfOptions()
    options.page_size = SizeF(-1, 5)
    with managed_error("ArgumentOutOfRangeException", "PdfOptions.PageSize"):
        loaded(smooth()).save(io.BytesIO(), options)
    with managed_error("NotSupportedException", "PdfCoreOptions.Compression"):
        SvgImage(4, 4).save(io.BytesIO(), options_with(PdfImageCompressionOptions.CCITT4))
    options = PdfOptions()
    options.resolution_settings = ResolutionSetting(300.0, 300.0)
    with managed_error("NotSupportedException", "PdfOptions.ResolutionSettings"):
        SvgImage(4, 4).save(io.BytesIO(), options)
