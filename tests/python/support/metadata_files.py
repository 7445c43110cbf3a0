"""Small picture files with metadata, and what exiftool finds in a file."""

from __future__ import annotations

import io
import json
import struct
import subprocess
from typing import Any

from PIL import Image as Pillow
from zelmor.imaging import Image, RasterImage

XMP_MARK = b"http://ns.adobe.com/xap/1.0/\0"
EXTENSION_MARK = b"http://ns.adobe.com/xmp/extension/\0"
PHOTOSHOP_MARK = b"Photoshop 3.0\0"


def picture(size: tuple[int, int] = (40, 30)) -> Pillow.Image:
    """A picture whose four corners differ."""
    image = Pillow.new("RGB", size, (200, 10, 10))
    width, height = size
    image.paste((10, 200, 10), (0, 0, width // 2, height // 2))
    image.paste((10, 10, 200), (width // 2, height // 2, width, height))
    return image


def encoded(kind: str, image: Pillow.Image | None = None, **options: Any) -> bytes:
    file = io.BytesIO()
    (image or picture()).save(file, kind, **options)
    return file.getvalue()


def segment(marker: int, body: bytes) -> bytes:
    return struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body


def with_segments(jpeg: bytes, *segments: bytes) -> bytes:
    """A JPEG with segments behind its JFIF header."""
    end = 2 + 2 + struct.unpack_from(">H", jpeg, 4)[0] if jpeg[2:4] == b"\xff\xe0" else 2
    return jpeg[:end] + b"".join(segments) + jpeg[end:]


def segments(jpeg: bytes) -> list[tuple[int, bytes]]:
    """The marker and the body of each segment before the first scan."""
    found, at = [], 2
    while jpeg[at] == 0xFF and jpeg[at + 1] != 0xDA:
        length, = struct.unpack_from(">H", jpeg, at + 2)
        found.append((jpeg[at + 1], jpeg[at + 4:at + 2 + length]))
        at += 2 + length
    return found


def bodies(jpeg: bytes, marker: int, mark: bytes = b"") -> list[bytes]:
    """What stands behind the mark in each segment with this marker."""
    return [body[len(mark):] for found, body in segments(jpeg) if found == marker and body.startswith(mark)]


def iptc_resources(city: bytes = b"Bonn") -> bytes:
    """Image resources with one IPTC record."""
    record = b"\x1c\x02\x5a" + struct.pack(">H", len(city)) + city
    return b"8BIM\x04\x04\0\0" + struct.pack(">I", len(record)) + record + b"\0" * (len(record) % 2)


def loaded(data: bytes, kind: Any = RasterImage) -> Any:
    return kind._cast_to(Image.load(io.BytesIO(data))).value


def saved(image: Any, options: Any = None) -> bytes:
    file = io.BytesIO()
    if options is None:
        image.save(file)
    else:
        image.save(file, options)
    return file.getvalue()


def opened(data: bytes) -> Pillow.Image:
    return Pillow.open(io.BytesIO(data))


def exiftool(data: bytes, *more: str) -> dict[str, Any]:
    """All tags of a file by group and name, without those of the file itself; "-b" shows long values too."""
    run = subprocess.run(["exiftool", "-json", "-G0", "-a", "-u", "-n", "-ee", *more, "-"], input=data,
                         capture_output=True, check=True, timeout=60)
    tags: dict[str, Any] = json.loads(run.stdout)[0]
    return {name: value for name, value in tags.items()
            if name.split(":")[0] not in ("File", "ExifTool", "Composite", "SourceFile")}
