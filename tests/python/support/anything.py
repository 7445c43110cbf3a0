"""An object with a property of managed type `object`: a TIFF tag of an unknown type, which stores any value."""

from __future__ import annotations

from zelmor.imaging.fileformats.tiff.filemanagement import TiffStreamReader
from zelmor.imaging.fileformats.tiff.tifftagtypes import TiffUnknownType

#: The managed type of this object.
HOLDER = "Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes.TiffUnknownType"


def holder() -> TiffUnknownType:
    """A new object; its property `value` is of managed type `object`."""
    return TiffUnknownType(TiffStreamReader(b""), 99, 7, 0, 0)
