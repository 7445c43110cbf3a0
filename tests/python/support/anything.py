"""An object that keeps whatever value it is given: a TIFF tag of a type that nobody knows."""

from __future__ import annotations

from zelmor.imaging.fileformats.tiff.filemanagement import TiffStreamReader
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffUnknownType

#: Its managed type.
HOLDER = "Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.TiffUnknownType"


def holder() -> TiffUnknownType:
    """A new one; its property `value` is of managed type `object`."""
    return TiffUnknownType(TiffStreamReader(b""), 99, 7, 0, 0)
