"""The boxes and the segments of JPEG 2000 files that are written, field by field."""

from __future__ import annotations

import io
import struct
from fractions import Fraction
from typing import Any

import numpy as np
import pytest
from PIL import Image as Pillow
from PIL import ImageCms
from zelmor.imaging import Image, ResolutionSetting
from zelmor.imaging.fileformats.jpeg2000 import Jpeg2000Codec
from zelmor.imaging.imageoptions import Jpeg2000Options

from support.image_oracles import noise

WIDTH, HEIGHT = 21, 13


def boxes(data: bytes) -> list[tuple[bytes, bytes]]:
    found, at = [], 0
    while at < len(data):
        size, kind = struct.unpack_from(">I4s", data, at)
        end = at + size if size else len(data)
        found.append((kind, data[at + 8:end]))
        at = end
    return found


def options(**properties: Any) -> Jpeg2000Options:
    made = Jpeg2000Options()
    made.irreversible = False
    for name, value in properties.items():
        setattr(made, name, value)
    return made


def saved(picture: Any, made: Jpeg2000Options | None = None, **how: Any) -> bytes:
    file, out = io.BytesIO(), io.BytesIO()
    (picture if isinstance(picture, Pillow.Image) else Pillow.fromarray(picture)).save(file, "TIFF", **how)
    Image.load(io.BytesIO(file.getvalue())).save(out, made or options())
    return out.getvalue()


def header(data: bytes) -> dict[bytes, bytes]:
    return dict(boxes(dict(boxes(data))[b"jp2h"]))


def indexed(alpha: bool) -> Pillow.Image:
    """Three colors, of which one may be clear."""
    picture = Pillow.fromarray((np.arange(WIDTH * HEIGHT) % 3).astype(np.uint8).reshape(HEIGHT, WIDTH), "P")
    picture.putpalette([1, 2, 3, 40, 50, 60, 255, 0, 128])
    file = io.BytesIO()
    picture.save(file, "PNG", **({"transparency": bytes([255, 7, 255])} if alpha else {}))
    return Pillow.open(io.BytesIO(file.getvalue()))


def test_the_beginning_of_a_file() -> None:
    data = saved(noise(3, width=WIDTH, height=HEIGHT))
    found = boxes(data)
    assert [kind for kind, _ in found] == [b"jP  ", b"ftyp", b"jp2h", b"jp2c"]
    assert found[0][1] == b"\r\n\x87\n" and found[1][1] == b"jp2 " + bytes(4) + b"jp2 "
    assert data[data.index(b"jp2c") - 4:data.index(b"jp2c")] == bytes(4)  # to the end of the file
    assert found[3][1][:4] == b"\xff\x4f\xff\x51" and found[3][1][-2:] == b"\xff\xd9"


def channels(*of: tuple[int, int, int]) -> bytes:
    return struct.pack(">H", len(of)) + b"".join(struct.pack(">3H", *each) for each in of)


FORMS: dict[str, tuple[Any, int, int, int, Any]] = {
    "gray": (noise(1, width=WIDTH, height=HEIGHT), 1, 8, 17, None),
    "deep gray": (noise(1, width=WIDTH, height=HEIGHT).astype(np.uint16) * 200, 1, 16, 17, None),
    "bilevel": (Pillow.fromarray(noise(1, width=WIDTH, height=HEIGHT) > 127), 1, 1, 17, None),
    "gray and alpha": (Pillow.fromarray(noise(2, width=WIDTH, height=HEIGHT), "LA"), 2, 8, 17, [(0, 0, 1), (1, 1, 0)]),
    "colors": (noise(3, width=WIDTH, height=HEIGHT), 3, 8, 16, None),
    "colors and alpha": (noise(4, width=WIDTH, height=HEIGHT), 4, 8, 16, [(0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0)]),
    "inks": (Pillow.fromarray(noise(4, width=WIDTH, height=HEIGHT), "CMYK"), 4, 8, 12, None),
}


@pytest.mark.parametrize("name", FORMS)
def test_the_header(name: str) -> None:
    picture, bands, bits, space, definitions = FORMS[name]
    found = header(saved(picture))
    assert found[b"ihdr"] == struct.pack(">IIHBBBB", HEIGHT, WIDTH, bands, bits - 1, 7, 0, 0)
    assert found[b"colr"] == struct.pack(">BBBI", 1, 0, 0, space)
    assert found.get(b"cdef") == (channels(*definitions) if definitions else None)
    assert b"pclr" not in found and b"cmap" not in found


@pytest.mark.parametrize("alpha", [False, True])
def test_a_palette(alpha: bool) -> None:
    file, out = io.BytesIO(), io.BytesIO()
    indexed(alpha).save(file, "PNG", **({"transparency": bytes([255, 7, 255])} if alpha else {}))
    Image.load(io.BytesIO(file.getvalue())).save(out, options())
    found = header(out.getvalue())
    columns = 4 if alpha else 3
    colors = [[1, 2, 3, 255], [40, 50, 60, 7], [255, 0, 128, 255]]
    table = b"".join(bytes(color[:columns]) for color in colors)
    entries = (len(found[b"pclr"]) - 3 - columns) // columns
    assert found[b"pclr"][:3 + columns] == struct.pack(">HB", entries, columns) + bytes([7] * columns)
    assert found[b"pclr"][3 + columns:].startswith(table)
    assert found[b"cmap"] == b"".join(struct.pack(">HBB", 0, 1, i) for i in range(columns))
    assert found.get(b"cdef") == (channels((0, 0, 1), (1, 0, 2), (2, 0, 3), (3, 1, 0)) if alpha else None)
    assert found[b"ihdr"][8:10] == b"\0\1"


def test_a_profile() -> None:
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    found = header(saved(noise(3, width=WIDTH, height=HEIGHT), icc_profile=profile))
    assert found[b"colr"] == b"\2\0\0" + profile


@pytest.mark.parametrize(("across", "down"), [(300.0, 150.0), (95.0, 72.0), (0.25, 0.001), (1200.0, 9600.0),
                                              (123.456, 99999.0)])
def test_resolutions(across: float, down: float) -> None:
    """Dots per meter, as a fraction of numbers of 16 bits and a power of ten, as near as these come."""
    made = options()
    made.resolution_settings = ResolutionSetting(across, down)
    (kind, content), = boxes(header(saved(noise(3, width=WIDTH, height=HEIGHT), made))[b"res "])
    assert kind == b"resc"
    down_up, down_below, across_up, across_below, down_power, across_power = struct.unpack(">4H2b", content)
    for dots, up, below, power in ((down, down_up, down_below, down_power),
                                   (across, across_up, across_below, across_power)):
        number, least_power = Fraction(dots) / Fraction("0.0254"), 0
        while number > 65535:
            number, least_power = number / 10, least_power + 1
        best = min(abs(Fraction(round(number * i), i) - number) for i in range(1, 65536) if number * i < 65535.5)
        assert power == least_power
        assert abs(Fraction(up, below) - number) <= best * Fraction("1.000001")


def segments(data: bytes) -> dict[int, list[bytes]]:
    """Of the header of a codestream, by their markers."""
    found: dict[int, list[bytes]] = {}
    at = 2
    while data[at + 1] != 0x90:
        size, = struct.unpack_from(">H", data, at + 2)
        found.setdefault(data[at + 1], []).append(data[at + 4:at + 2 + size])
        at += 2 + size
    return found


@pytest.mark.parametrize("name", FORMS)
def test_the_codestream_tells_the_same(name: str) -> None:
    picture, bands, bits, _, _ = FORMS[name]
    found = segments(saved(picture, options(codec=Jpeg2000Codec.J2K)))
    bands = 3 if name == "inks" else bands  # of which a codestream cannot tell
    size, = found[0x51]
    _, *numbers, count = struct.unpack_from(">H8IH", size)
    assert numbers == [WIDTH, HEIGHT, 0, 0, WIDTH, HEIGHT, 0, 0] and count == bands
    assert size[36:] == bytes([bits - 1, 1, 1]) * bands
    coding, = found[0x52]
    _, _, layers, changed, levels = struct.unpack_from(">BBHBB", coding)
    assert (layers, changed) == (1, int(bands >= 3))
    assert levels <= 5 and coding[9] == 1  # the wavelet without loss


def test_layers_comments_and_the_other_wavelet() -> None:
    made = options(codec=Jpeg2000Codec.J2K, compression_ratios=[40, 10, 1], comments=["one", "two €"])
    made.irreversible = True
    found = segments(saved(noise(3, width=64, height=64), made))
    coding, = found[0x52]
    assert struct.unpack_from(">H", coding, 2) == (3, ) and coding[9] == 0
    assert [comment for comment in found[0x64]] == [b"\0\1one", b"\0\1two \xa4"]
