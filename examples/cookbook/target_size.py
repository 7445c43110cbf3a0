"""A JPEG of a certain size at most

The quality is searched for that gives the largest file below a number of bytes.
"""

import io
from pathlib import Path

import zelmor
from zelmor.imaging.imageoptions import JpegOptions

MOST = 9_000


def encoded(quality: int) -> bytes:
    """The file in this quality."""
    options, file = JpegOptions(), io.BytesIO()
    options.quality = quality
    image.save(file, options)
    return file.getvalue()


with zelmor.open("photo.jpg") as image:
    low, high = 1, 95
    while low < high:
        middle = (low + high + 1) // 2
        if len(encoded(middle)) <= MOST:
            low = middle
        else:
            high = middle - 1
    Path("limited.jpg").write_bytes(encoded(low))
    print(f"quality {low}")
