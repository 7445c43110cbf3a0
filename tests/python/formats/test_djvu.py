"""DjVu through the API: documents, pages, layers and texts, beside the tools of the library."""

from __future__ import annotations

import io
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import FileFormat, Image, Rectangle
from zelmor.imaging.fileformats.djvu import DjvuImage
from zelmor.imaging.fileformats.tiff import TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, DjvuMultiPageOptions, PngOptions, TiffOptions

from support.image_oracles import managed_error, read, smooth, write

WIDTH, HEIGHT = 120, 90
TEXT = "(page 0 0 120 90 (line 10 60 80 80 (word 10 60 40 80 \"Hello\") (word 45 60 80 80 \"there\")) " \
       "(line 10 20 60 40 (word 10 20 60 40 \"below\")))"


def run(directory: Path, *command: str) -> None:
    subprocess.run(command, cwd=directory, check=True, capture_output=True)


def blocks() -> Any:
    """A bitonal page."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    return np.where((x // 9 % 3 == 1) & (y // 11 % 2 == 1), 0, 255).astype(np.uint8)


@pytest.fixture(name="book")
def fixture_book(tmp_path: Path) -> Path:
    """A page of text, and a photo."""
    Pillow.fromarray(blocks()).convert("1").save(tmp_path / "a.pbm")
    run(tmp_path, "cjb2", "-dpi", "200", "a.pbm", "mask.djvu")
    write(tmp_path / "b.ppm", smooth(3, 80, 70))
    run(tmp_path, "c44", "-dpi", "100", "b.ppm", "photo.djvu")
    (tmp_path / "text").write_text(TEXT)
    run(tmp_path, "djvused", "mask.djvu", "-e", "select 1; set-txt text; save")
    run(tmp_path, "djvm", "-c", "book.djvu", "mask.djvu", "photo.djvu")
    return tmp_path / "book.djvu"


def opened(path: Path) -> DjvuImage:
    return DjvuImage._cast_to(Image.load(str(path))).value


def drawn(path: Path, page: int) -> Any:
    """A page as the viewer of the library draws it."""
    run(path.parent, "ddjvu", "-format=ppm", f"-page={page}", "-subsample=1", path.name, "page.ppm")
    return read(path.parent / "page.ppm", "RGB")


def test_a_page_of_ink_is_written_with_one_bit(book: Path, tmp_path: Path) -> None:
    page = opened(book).djvu_pages[0]
    for name, options in (("a.bmp", BmpOptions()), ("a.png", PngOptions()),
                          ("a.tif", TiffOptions(TiffExpectedFormat.DEFAULT)), ("b.bmp", None), ("b.png", None),
                          ("b.tif", None)):
        if options is None:
            page.save(str(tmp_path / name))
        else:
            page.save(str(tmp_path / name), options)
        with Pillow.open(tmp_path / name) as picture:
            assert picture.mode == "1", name
            assert np.array_equal(np.asarray(picture), blocks() > 0), name


def test_pages_of_a_document(book: Path, tmp_path: Path) -> None:
    assert Image.get_file_format(str(book)) == FileFormat.DJVU
    assert Image.can_load(str(book))
    image = opened(book)
    assert (image.file_format, image.page_count, image.has_alpha) == (FileFormat.DJVU, 2, False)
    assert (image.width, image.height, image.bits_per_pixel) == (WIDTH, HEIGHT, 1)
    pages = image.djvu_pages
    assert [(page.page_number, page.width, page.height, page.bits_per_pixel, page.is_color) for page in pages] == \
        [(1, WIDTH, HEIGHT, 1, False), (2, 80, 70, 24, True)]
    assert [page.horizontal_resolution for page in pages] == [200, 100]
    for number, page in enumerate(pages, 1):
        page.save(str(tmp_path / "one.png"), PngOptions())
        assert np.array_equal(read(tmp_path / "one.png", "RGB"), drawn(book, number))
    assert np.array_equal(read(tmp_path / "one.png"), drawn(book, 2))
    assert all(page.parent_image.page_count == 2 for page in pages)


def test_documents_are_told_apart(book: Path) -> None:
    first, second = opened(book), opened(book)
    assert 0 < first.identifier != second.identifier > 0
    assert first.identifier == first.identifier


def test_going_through_the_pages(book: Path) -> None:
    image = opened(book)
    assert (image.first_page.page_number, image.last_page.page_number) == (1, 2)
    assert (image.active_page.page_number, image.next_page.page_number, image.previous_page) == (1, 2, None)
    image.active_page = image.last_page
    assert (image.active_page.page_number, image.next_page, image.previous_page.page_number) == (2, None, 1)
    assert image.width == 80


def test_pages_become_those_of_a_tiff(book: Path, tmp_path: Path) -> None:
    image = opened(book)
    image.save(str(tmp_path / "all.tif"), TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB))
    with Pillow.open(tmp_path / "all.tif") as picture:
        assert picture.n_frames == 2
        picture.seek(1)
        assert np.array_equal(np.asarray(picture.convert("RGB")), drawn(book, 2))
    options = PngOptions()
    options.multi_page_options = DjvuMultiPageOptions(1)
    image.save(str(tmp_path / "one.png"), options)
    assert np.array_equal(read(tmp_path / "one.png", "RGB"), drawn(book, 2))
    together = Image.create([image])
    assert TiffImage._cast_to(together).value.page_count == 2


def test_text_of_an_area(book: Path) -> None:
    page, photo = opened(book).djvu_pages
    assert page.get_text_for_location(Rectangle(0, 0, WIDTH, HEIGHT)) == "Hello there\nbelow"
    assert page.get_text_for_location(Rectangle(0, 0, 44, 40)) == "Hello"
    assert page.get_text_for_location(Rectangle(0, 45, 90, 30)) == "below"
    assert photo.get_text_for_location(Rectangle(0, 0, 80, 70)) == ""


def test_layers(book: Path, tmp_path: Path) -> None:
    page, photo = opened(book).djvu_pages
    mask = page.get_text_image(1)
    assert (mask.width, mask.height, mask.bits_per_pixel, mask.length) == (WIDTH, HEIGHT, 1, WIDTH // 8 * HEIGHT)
    assert np.array_equal(as_png(mask, tmp_path, "L"), blocks())
    half = page.get_text_image(2)
    assert (half.width, half.height) == (WIDTH // 2, HEIGHT // 2)
    assert page.get_background_image() is None
    assert page.get_foreground_image(1) is None
    assert photo.get_text_image(1) is None
    assert np.array_equal(as_png(photo.get_background_image(), tmp_path), drawn(book, 2))
    assert np.array_equal(as_png(photo.image, tmp_path), drawn(book, 2))
    for subsample in (0, 13):
        with managed_error("ArgumentOutOfRangeException", "subsample", "1 to 12"):
            page.get_text_image(subsample)


def test_thumbnails(book: Path, tmp_path: Path) -> None:
    for page in opened(book).djvu_pages:
        assert page.extract_thumbnail_image() is None
    run(tmp_path, "djvused", book.name, "-e", "set-thumbnails 48; save")
    assert b"THUM" in book.read_bytes()
    text, photo = opened(book).djvu_pages
    for number, (page, size) in enumerate(((text, (WIDTH, HEIGHT)), (photo, (80, 70))), 1):
        small = page.extract_thumbnail_image()
        # The longer side of the page is that of the thumbnail at most.
        assert small.width <= 48 and small.height <= 48 and max(small.width, small.height) == 48
        assert small.width / small.height == pytest.approx(size[0] / size[1], rel=0.05)
        assert page.thumbnail_image.width == small.width
        whole = Pillow.fromarray(drawn(book, number).astype(np.uint8))
        expected = whole.resize((small.width, small.height), Pillow.Resampling.BOX)
        difference = np.abs(as_png(small, tmp_path).astype(int) - np.asarray(expected).astype(int))
        assert difference.mean() < 12, number


def test_a_thumbnail_without_its_data(book: Path, tmp_path: Path) -> None:
    run(tmp_path, "djvused", book.name, "-e", "set-thumbnails 48; save")
    data = bytearray(book.read_bytes())
    at = data.index(b"TH44") + 4
    data[at:at + 4] = b"\x7f\xff\xff\xff"  # longer than its form
    pages = DjvuImage(io.BytesIO(bytes(data))).djvu_pages
    # The second one stands in a form of its own, and stays that of the second page.
    first, second = [page.extract_thumbnail_image() for page in pages]
    assert first is None and second.width / second.height == pytest.approx(80 / 70, rel=0.05)


def as_png(image: Any, tmp_path: Path, mode: str = "RGB") -> Any:
    image.save(str(tmp_path / "layer.png"), PngOptions())
    return read(tmp_path / "layer.png", mode)


def test_documents_of_streams(book: Path, tmp_path: Path) -> None:
    data = book.read_bytes()
    for make in (DjvuImage, DjvuImage.load_document):
        assert make(io.BytesIO(data)).page_count == 2
    png = Path(write(tmp_path / "a.png", smooth())).read_bytes()
    with managed_error("ImageLoadException", "the data is PNG, not DjVu"):
        DjvuImage(io.BytesIO(png))


def test_djvu_is_not_written(book: Path, tmp_path: Path) -> None:
    image = opened(book)
    for save in (lambda: image.save(), lambda: image.save(io.BytesIO()), lambda: image.save(str(tmp_path / "a"))):
        with managed_error("NotSupportedException", "Saving as DjVu, the format of the image, is not supported"):
            save()
    with managed_error("NotSupportedException", "Saving as DjVu, which the extension '.djvu' asks for,"):
        image.save(str(tmp_path / "b.djvu"))
    with managed_error("NotSupportedException", "Save options for an image of the format DjVu"):
        image.get_original_options()


def test_damage_is_refused(book: Path) -> None:
    data = book.read_bytes()
    with managed_error("ImageLoadException"):
        Image.load(io.BytesIO(data[:len(data) - 200])).cache_data()
    with managed_error("ImageLoadException"):
        Image.load(io.BytesIO(data[:40]))


def test_pages_are_changed_like_other_images(book: Path, tmp_path: Path) -> None:
    image = opened(book)
    image.resize(60, 45)
    image.grayscale()
    page = image.djvu_pages[1]
    assert (page.width, page.height) == (60, 45)
    assert as_png(page, tmp_path).shape == (45, 60, 3)
