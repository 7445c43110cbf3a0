"""The documents of CDR files as the tests look at them."""

from __future__ import annotations

import io
from typing import Any

from zelmor.imaging import Image
from zelmor.imaging.fileformats.cdr import CdrImage
from zelmor.imaging.fileformats.cdr.objects import CdrObjectContainer

from support.office_files import cast


def objects_of(data: bytes, kind: Any) -> list[Any]:
    """All objects of a class, wherever they stand in the document."""
    found: list[Any] = []

    def walk(container: Any) -> None:
        for item in container.items:
            made, inner = kind._cast_to(item)
            if made:
                found.append(inner)
            made, inner = CdrObjectContainer._cast_to(item)
            if made:
                walk(inner)
    walk(cast(CdrImage, Image.load(io.BytesIO(data))).cdr_document)
    return found
