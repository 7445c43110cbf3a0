"""Color profiles for tests, and what the color management library makes of the colors that they describe."""

from __future__ import annotations

import io
import struct

import numpy as np
from PIL import Image as Pillow
from PIL import ImageCms

from support.arrays import Pixels


def other_rgb() -> bytes:
    """sRGB with red and green of other chromaticities."""
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    for tag, other in ((b"rXYZ", (0.6097, 0.3111, 0.0195)), (b"gXYZ", (0.2053, 0.6257, 0.0609)),
                       (b"bXYZ", (0.1492, 0.0632, 0.7446))):
        offset, = struct.unpack_from(">I", profile, profile.index(tag) + 4)
        numbers = b"".join(struct.pack(">i", round(value * 65536)) for value in other)
        profile = profile[:offset + 8] + numbers + profile[offset + 20:]
    return profile


def in_srgb(source: Pixels, profile: bytes) -> Pixels:
    """What the color management library makes of colors, relative to the white of each profile."""
    return np.asarray(ImageCms.profileToProfile(
        Pillow.fromarray(source), io.BytesIO(profile), ImageCms.createProfile("sRGB"),
        renderingIntent=ImageCms.Intent.RELATIVE_COLORIMETRIC)).astype(int)
