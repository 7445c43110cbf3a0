"""The parts of EPS files: comments in all forms, dates, previews, thumbnails, and what is written, letter by letter."""

from __future__ import annotations

import base64
import datetime
import io
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor.imaging import Image
from zelmor.imaging.fileformats.eps import EpsBinaryImage, EpsImage, EpsInterchangeImage, EpsOptions
from zelmor.imaging.fileformats.eps.consts import EpsType
from zelmor.imaging.imageoptions import PngOptions

from support.arrays import Pixels
from support.image_oracles import managed_error, noise
from support.office_files import binary_eps, cast, eps

NO_DATE = datetime.datetime(1, 1, 1)


def opened(data: bytes) -> Any:
    return cast(EpsImage, Image.load(io.BytesIO(data)))


def with_comments(*comments: str, end: str = "\n", box: str = "0 0 100 50") -> Any:
    lines = ["%!PS-Adobe-3.0 EPSF-3.0", f"%%BoundingBox: {box}", *comments, "%%EndComments", "showpage", ""]
    return opened(end.join(lines).encode("latin-1"))


# ---- Comments


@pytest.mark.parametrize(("text", "expected"), [
    ("plain words", "plain words"), ("  \t spaces around\t ", "spaces around"), ("(in brackets)", "in brackets"),
    ("(a (b (c)) d) behind", "a (b (c)) d"), (r"(\(one\) \\ two)", "(one) \\ two"), (r"(a\nb\rc\td)", "a\nb\rc\td"),
    (r"(\101\102C)", "ABC"), (r"(\1011)", "A1"), (r"(\60\0601)", "001"), (r"(\7x)", "\7x"), (r"(\8\9)", "89"),
    (r"(\344\374)", "äü"), ("\xe9t\xe9", "été"), ("\x7f\x80\xbf\xc0\xff", "\x7f\x80\xbf\xc0\xff"), ("(open", "open"),
    ("(ends in \\", "ends in \\"), ("", "")])
def test_texts(text: str, expected: str) -> None:
    image = with_comments(f"%%Title: {text}", f"%%Creator: {text}")
    assert (image.title, image.creator) == (expected, expected)


@pytest.mark.parametrize("end", ["\n", "\r", "\r\n"])
def test_ends_of_lines(end: str) -> None:
    image = with_comments("%%Title: one", "%%Creator: two", "%%Pages: 7", end=end)
    assert (image.title, image.creator, image.pages_count) == ("one", "two", 7)
    assert (image.post_script_version, image.bounding_box_string) == ("PS-Adobe-3.0 EPSF-3.0", "0 0 100 50")


def test_the_first_comment_counts_and_those_behind_the_end_do_not() -> None:
    image = with_comments("%%Title: first", "%%Title: second", "%%Title: (atend)", "%%BoundingBox: 0 0 5 5",
                          "%%HiResBoundingBox: 0 0 60 30", "%%HiResBoundingBox: 0 0 6 3")
    assert (image.title, image.width, image.height, image.bounding_box_string) == ("first", 80, 40, "0 0 100 50")
    data = eps("").replace(b"%%EndComments\n", b"%%EndComments\n%%Title: late\n")
    assert opened(data).title is None
    data = eps("").replace(b"%%EndComments\n", b"x\n%%Title: late\n")
    assert opened(data).title is None


def test_comments_at_the_end() -> None:
    """Of those that are put off the last one counts, and a box only if there is none at the beginning."""
    head = ["%!PS-Adobe-3.0", "%%BoundingBox: (atend)", "%%HiResBoundingBox: (atend)", "%%Title: (atend)",
            "%%Pages: (atend)", "%%Creator: early", "%%EndComments", "%%Title: no trailer", "showpage"]
    tail = ["%%Trailer", "%%Title: one", "%%Title: two", "%%BoundingBox: 1 2 31 62", "%%HiResBoundingBox: 1 2 16 32",
            "%%Pages: 4", "%%Creator: late", "%%EOF", ""]
    image = opened("\n".join(head + tail).encode())
    assert (image.title, image.pages_count, image.creator) == ("two", 4, "late")
    assert (image.bounding_box_string, image.width, image.height) == ("1 2 31 62", 20, 40)
    assert (image.bounding_box_bottom_left.x, image.bounding_box_bottom_left.y) == (1, 2)
    fixed = opened("\n".join([*head, *tail]).replace("%%BoundingBox: (atend)", "%%BoundingBox: 0 0 9 9", 1).encode())
    assert (fixed.bounding_box_string, fixed.bounding_box_top_right.x) == ("0 0 9 9", 9)
    # Without a comment that is put off nobody looks there.
    plain = "\n".join(head + tail).replace("(atend)", "")
    assert opened(plain.encode()).creator == "early"


@pytest.mark.parametrize(("box", "exact", "size", "corners"), [
    ("0 0 72 36", None, (96, 48), (0, 0, 72, 36)), ("-1.5 -2.5 70.5 33.5", None, (96, 48), (-2, -3, 71, 34)),
    ("0 0 72 36", "0.25 0.5 36.25 18.5", (48, 24), (0, 0, 72, 36)), ("10 0 10 5", None, (816, 1056), (0, 0, 0, 0)),
    ("0 10 5 10", None, (816, 1056), (0, 0, 0, 0)), ("11 0 10 5", None, (816, 1056), (0, 0, 0, 0)),
    ("0 0 72", None, (816, 1056), (0, 0, 0, 0)), ("0 0 72 36 behind", None, (96, 48), (0, 0, 72, 36)),
    ("0 0 1e8 5", None, (816, 1056), (0, 0, 0, 0)), ("nan 0 7 5", None, (816, 1056), (0, 0, 0, 0)),
    ("0 0 72 36", "5 5 4 4", (96, 48), (0, 0, 72, 36))])
def test_boxes(box: str, exact: str | None, size: tuple[int, int], corners: tuple[int, ...]) -> None:
    """Letter paper where there is none that makes sense."""
    image = with_comments(*([f"%%HiResBoundingBox: {exact}"] if exact else []), box=box)
    assert (image.width, image.height) == size
    low, high = image.bounding_box_bottom_left, image.bounding_box_top_right
    assert (low.x, low.y, high.x, high.y) == corners and image.bounding_box_string == box


@pytest.mark.parametrize(("line", "count"), [("%%Pages: 0", 0), ("%%Pages: 12", 12), ("%%Pages: 3 1", 3),
                                             ("%%Pages: -1", 1), ("%%Pages: many", 1), ("%%Pages: 9999999", 9999999)])
def test_numbers_of_pages(line: str, count: int) -> None:
    assert with_comments("%%Pages: 1", line).pages_count == count


@pytest.mark.parametrize(("line", "number"), [("%%Page: 5", 5), ("%%Page: label 7", 7), ("%%Page: (a b) 3", 3)])
def test_the_number_of_the_page(line: str, number: int) -> None:
    data = eps("", "0 0 9 9").replace(b"%%EndComments\n", f"%%EndComments\nsave\n{line}\n%%Page: 9\n".encode())
    assert opened(data).page_number == number


# ---- Dates

MONTHS = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"]
LENGTHS = [31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31]


def date_of(text: str) -> datetime.datetime:
    found: datetime.datetime = with_comments(f"%%CreationDate: {text}").creation_date
    return found


@pytest.mark.parametrize("month", range(1, 13))
def test_the_last_day_of_each_month(month: int) -> None:
    name, last = MONTHS[month - 1], LENGTHS[month - 1]
    wanted = datetime.datetime(2023, month, last, 23, 59, 58)
    assert date_of(f"Mon {name} {last} 23:59:58 2023") == wanted
    assert date_of(f"D:2023{month:02}{last}235958") == wanted
    assert date_of(f"2023-{month:02}-{last} 23:59:58") == wanted
    assert date_of(f"2023/{month:02}/{last} 23:59:58") == wanted
    assert date_of(f"{last} {name} 2023 23:59:58") == wanted
    assert date_of(f"{month}/{last}/2023 11:59 PM") == wanted.replace(second=0)
    for text in (f"Mon {name} {last + 1} 23:59:58 2023", f"D:2023{month:02}{last + 1}", f"{last + 1} {name} 2023",
                 f"Mon {name} 0 23:59:58 2023"):
        assert date_of(text) == NO_DATE


@pytest.mark.parametrize(("year", "leap"), [(2024, True), (2000, True), (1900, False), (2023, False), (2100, False),
                                            (1600, True), (4, True), (9996, True)])
def test_leap_years(year: int, leap: bool) -> None:
    assert date_of(f"{year:04}-02-29") == (datetime.datetime(year, 2, 29) if leap else NO_DATE)
    assert date_of(f"{year:04}-03-01") == datetime.datetime(year, 3, 1)
    assert date_of(f"{year:04}-12-31") == datetime.datetime(year, 12, 31)


@pytest.mark.parametrize(("text", "expected"), [
    ("1/2/69 3:04 AM", (2069, 1, 2, 3, 4)), ("1/2/70 3:04 AM", (1970, 1, 2, 3, 4)), ("1/2/99", (1999, 1, 2)),
    ("1/2/100", (100, 1, 2)), ("1/2/24 12:00 AM", (2024, 1, 2, 0, 0)), ("1/2/24 12:30 PM", (2024, 1, 2, 12, 30)),
    ("1/2/24 11:30 pm", (2024, 1, 2, 23, 30)), ("1/2/24 12:30 am", (2024, 1, 2, 0, 30)),
    ("1/2/24 13:30", (2024, 1, 2, 13, 30)), ("0001-01-01", (1, 1, 1)), ("9999-12-31T23:59:59",
                                                                        (9999, 12, 31, 23, 59, 59)),
    ("2024-01-02T00:00:00", (2024, 1, 2)), ("D:20240102", (2024, 1, 2)), ("D:202401020304", (2024, 1, 2, 3, 4)),
    ("2024/1/2", (2024, 1, 2)), ("3 Mar 2024 1:2:3", (2024, 3, 3, 1, 2, 3)),
    *[(text, None) for text in (
        "2024-13-01", "2024-00-01", "2024-01-02T24:00:00", "2024-01-02T23:60:00", "2024-01-02T23:59:60", "0000-01-01",
        "3 Mai 2024", "3 anF 2024", "Mon Foo 3 1:2:3 2024", "2024", "2024-05")]])
def test_dates(text: str, expected: tuple[int, ...] | None) -> None:
    assert date_of(text) == (datetime.datetime(*expected) if expected else NO_DATE)  # type: ignore[arg-type]


# ---- Previews

SAMPLES = np.random.default_rng(5).integers(0, 256, (3, 11))


def preview_text(depth: int, samples: Pixels, lines: int = 0, prefix: str = "% ", width: int = 0) -> str:
    """Rows of whole bytes, as hexadecimal digits; the highest number is black."""
    rows = []
    for row in samples & (1 << depth) - 1:
        digits = "".join(format(int(each), f"0{depth}b") for each in row)
        digits += "0" * (-len(digits) % 8)
        rows.append(int(digits, 2).to_bytes(len(digits) // 8, "big").hex())
    broken = [row[i:i + (width or len(row))] for row in rows for i in range(0, len(row), width or len(row))]
    body = "".join(f"{prefix}{row}\n" for row in broken)
    return (f"%%BeginPreview: {samples.shape[1]} {samples.shape[0]} {depth} {lines or len(broken)}\n{body}"
            "%%EndPreview\n")


def with_preview(preview: str) -> Any:
    data = eps("", "0 0 9 9").replace(b"%%EndComments\n", b"%%EndComments\n" + preview.encode())
    return cast(EpsInterchangeImage, Image.load(io.BytesIO(data)))


def gray(image: Any) -> Pixels:
    out = io.BytesIO()
    image.save(out, PngOptions())
    return np.asarray(Pillow.open(io.BytesIO(out.getvalue())).convert("L")).astype(int)


@pytest.mark.parametrize("width", [0, 2, 6])
@pytest.mark.parametrize("depth", [1, 2, 4, 8])
def test_previews(depth: int, width: int) -> None:
    image = with_preview(preview_text(depth, SAMPLES, width=width))
    most = (1 << depth) - 1
    assert image.has_raster_preview and (image.preview_width, image.preview_height) == (11, 3)
    assert np.array_equal(gray(image.raster_preview), 255 - (SAMPLES & most) * 255 // most)
    assert image.raster_preview is not None and image.raster_preview.bits_per_pixel == 8


@pytest.mark.parametrize("text", [
    preview_text(8, SAMPLES).replace("11 3 8", "11 4 8"), preview_text(8, SAMPLES).replace("11 3 8", "12 3 8"),
    preview_text(8, SAMPLES).replace("11 3 8", "0 3 8"), preview_text(8, SAMPLES).replace("11 3 8", "11 0 8"),
    *[preview_text(8, SAMPLES).replace("11 3 8", f"11 3 {depth}") for depth in (0, 3, 5, 6, 7, 9, 16)],
    preview_text(8, SAMPLES).replace("11 3 8 3", "11 3"), preview_text(8, SAMPLES, prefix=""),
    " " + preview_text(8, SAMPLES)])
def test_previews_that_make_no_sense(text: str) -> None:
    image = with_preview(text)
    assert (image.has_raster_preview, image.raster_preview, image.preview_width) == (False, None, 0)


def test_a_preview_in_capital_digits_and_with_more_than_it_needs() -> None:
    text = preview_text(8, SAMPLES).upper().replace("%%BEGINPREVIEW", "%%BeginPreview").replace(
        "%%ENDPREVIEW", "% 00\n%%EndPreview")
    assert np.array_equal(gray(with_preview(text).raster_preview), 255 - SAMPLES)


def test_a_preview_becomes_tiff_and_comments_again(tmp_path: Path) -> None:
    """Lines of 36 bytes; the preview comes behind the comments."""
    wide = np.random.default_rng(6).integers(0, 256, (2, 80))
    image = with_preview(preview_text(8, wide))
    binary = image.convert_to_binary()
    assert np.array_equal(gray(binary.tiff_preview), 255 - wide)
    back = binary.convert_to_interchange()
    back.save(str(tmp_path / "a.eps"))
    data = (tmp_path / "a.eps").read_bytes()
    head, found = data.split(b"%%EndComments\n")
    lines = found.split(b"\n")
    rows = [wide[y, x:x + 36].astype(np.uint8).tobytes().hex() for y in (0, 1) for x in (0, 36, 72)]
    assert lines[0] == b"%%BeginPreview: 80 2 8 6"
    assert [line.decode() for line in lines[1:8]] == [*(f"% {row}" for row in rows), "%%EndPreview"]
    assert head.startswith(b"%!PS-Adobe-3.0") and data.count(b"%%BeginPreview") == 1
    colored = io.BytesIO()
    pixels = np.array([[[255, 0, 0], [0, 255, 0], [0, 0, 255], [1, 2, 3]]], np.uint8)
    Pillow.fromarray(pixels).save(colored, "TIFF")
    image = cast(EpsBinaryImage, Image.load(io.BytesIO(binary_eps(eps(""), tiff=colored.getvalue()))))
    seen = gray(image.convert_to_interchange().raster_preview)
    assert np.abs(seen - pixels @ (0.299, 0.587, 0.114)).max() <= 0.51


def thumbnail(*blocks: tuple[int, bytes, bytes]) -> Any:
    data = b""
    for number, name, content in blocks:
        name = bytes([len(name)]) + name
        data += b"8BIM" + struct.pack(">H", number) + name + bytes(len(name) % 2) + struct.pack(">I", len(content))
        data += content + bytes(len(content) % 2)
    digits = data.hex()
    lines = "\n".join("% " + digits[i:i + 64] for i in range(0, len(digits), 64))
    return opened(eps(f"%BeginPhotoshop: {len(data)}\n{lines}\n%EndPhotoshop\nshowpage")).photoshop_thumbnail


def jpeg(width: int = 20) -> bytes:
    out = io.BytesIO()
    Pillow.new("RGB", (width, 10), (9, 99, 199)).save(out, "JPEG")
    return out.getvalue()


def test_thumbnails() -> None:
    header = struct.pack(">I", 1) + bytes(24)
    picture = header + jpeg()
    for before in ((), ((1005, b"", b"12345"), (1006, b"ab", b"1234"), (1007, b"abc", b""))):
        found = thumbnail(*before, (1036, b"", picture))
        assert (found.width, found.height) == (20, 10)
        assert (thumbnail(*before, (1036, b"named", picture)).width, thumbnail(*before)) == (20, None)
    assert thumbnail((1036, b"", struct.pack(">I", 0) + picture[4:]), (1036, b"", header + jpeg(30))).width == 30
    assert thumbnail((1035, b"", picture)) is None and thumbnail((1037, b"", picture)) is None
    assert thumbnail((1036, b"", header)) is None


# ---- Writing


def unpacked(data: bytes) -> bytes:
    """Runs: a count of different bytes, or 257 minus that of equal ones; 128 is the end."""
    out, at = b"", 0
    while data[at] != 128:
        if data[at] < 128:
            out += data[at + 1:at + 2 + data[at]]
            at += data[at] + 2
        else:
            out += data[at + 1:at + 2] * (257 - data[at])
            at += 2
    assert at == len(data) - 1
    return out


def saved(pixels: Pixels, kind: EpsType = EpsType.INTERCHANGE, **how: Any) -> bytes:
    file, out, options = io.BytesIO(), io.BytesIO(), EpsOptions()
    Pillow.fromarray(pixels).save(file, "PNG", **how)
    options.sub_type = kind
    Image.load(io.BytesIO(file.getvalue())).save(out, options)
    return out.getvalue()


def runs_of(pixels: Pixels) -> bytes:
    head, packed = saved(pixels).split(b" image\n", 1)
    letters, rest = packed.split(b"~>\n")
    assert rest == b"grestore\nshowpage\n%%EOF\n"
    assert max(len(line) for line in letters.split(b"\n")) <= 75
    lines = letters.split(b"\n")
    assert all(len(line) > 70 for line in lines[:-1])
    return base64.a85decode(letters)


PATTERNS = {
    "noise": noise(3, width=37, height=40), "gray": noise(1, width=33, height=35),
    "zeros": np.zeros((40, 40), np.uint8),
    "one": np.full((1, 1), 7, np.uint8), "long": np.full((3, 300), 9, np.uint8),
    **{f"runs of {count}": np.concatenate([np.full(count, 5), np.arange(count) % 251, np.full(3, 8), [1, 2, 2, 3]])[
        None].astype(np.uint8) for count in (2, 3, 127, 128, 129, 130, 255, 256, 257)}}


@pytest.mark.parametrize("name", PATTERNS)
def test_the_letters_of_a_picture(name: str) -> None:
    pixels = PATTERNS[name]
    data = runs_of(pixels)
    assert unpacked(data) == pixels.tobytes()
    if name.startswith("runs"):
        count = int(name.split()[-1])
        # A pair for each run, as few as there can be, and a count for each 128 different bytes.
        most = 2 * (-(-count // 128)) + count + -(-(count + 4) // 128) + 2 + 1 + 4 + 2 + 1 + 4
        assert len(data) <= most


@pytest.mark.parametrize(("pixels", "mode", "decode"), [
    (PATTERNS["noise"], "/DeviceRGB", "[0 1 0 1 0 1]"), (PATTERNS["gray"], "/DeviceGray", "[0 1]")])
def test_the_program_of_a_picture(pixels: Pixels, mode: str, decode: str) -> None:
    height, width = pixels.shape[:2]
    wide, high = width * 72 / 96, height * 72 / 96
    head = saved(pixels).split(b" image\n", 1)[0].decode()
    assert head == "\n".join([
        "%!PS-Adobe-3.0 EPSF-3.0", f"%%BoundingBox: 0 0 {-int(-wide // 1)} {-int(-high // 1)}",
        f"%%HiResBoundingBox: 0 0 {wide:.4f} {high:.4f}", "%%LanguageLevel: 2", "%%Pages: 1", "%%EndComments",
        "%%Page: 1 1", "gsave", f"{wide:.4f} {high:.4f} scale", f"{mode} setcolorspace",
        f"<< /ImageType 1 /Width {width} /Height {height} /BitsPerComponent 8 /Decode {decode} /ImageMatrix "
        f"[{width} 0 0 -{height} 0 {height}]",
        "/DataSource currentfile /ASCII85Decode filter /RunLengthDecode filter >>"])


def test_transparent_pixels_lie_on_white() -> None:
    pixels = noise(4, width=16, height=9)
    found = np.frombuffer(unpacked(runs_of(pixels)), np.uint8).reshape(9, 16, 3).astype(int)
    alpha = pixels[..., 3:] / 255
    assert np.abs(found - (pixels[..., :3] * alpha + 255 * (1 - alpha))).max() <= 0.51


def test_the_header_of_a_binary_file() -> None:
    pixels = PATTERNS["noise"]
    data = saved(pixels, EpsType.BINARY)
    mark, at, size, wmf_at, wmf, tiff_at, tiff, checksum = struct.unpack_from("<4s6IH", data)
    text = saved(pixels)
    assert (mark, at, size, wmf_at, wmf, checksum) == (b"\xc5\xd0\xd3\xc6", 30, len(text), 0, 0, 0xFFFF)
    assert data[at:at + size] == text and (tiff_at, tiff) == (at + size, len(data) - at - size)
    with Pillow.open(io.BytesIO(data[tiff_at:])) as preview:
        assert preview.format == "TIFF" and preview.info["compression"] == "packbits"
        assert np.array_equal(np.asarray(preview), pixels)


@pytest.mark.parametrize("place", range(3))
@pytest.mark.parametrize("beyond", [0, 1])
def test_parts_lie_within_the_file(place: int, beyond: int) -> None:
    tiff = io.BytesIO()
    Pillow.new("L", (3, 2)).save(tiff, "TIFF")
    data = bytearray(binary_eps(eps(""), tiff=tiff.getvalue()))
    at = 0 if place == 0 else len(data) - 10
    struct.pack_into("<II", data, 4 + 8 * place, at or 30, len(data) - (at or 30) + beyond)
    if beyond:
        with managed_error("ImageLoadException", "a part of the EPS file lies outside of it"):
            opened(bytes(data))
    else:
        assert opened(bytes(data)).eps_type == EpsType.BINARY
