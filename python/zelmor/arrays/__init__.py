"""Pixels as NumPy arrays and as Pillow images, and back.

    from zelmor import arrays

    pixels = arrays.to_numpy(image)         # (height, width) of gray, (height, width, channels) of colors
    image = arrays.from_numpy(pixels)
    picture = arrays.to_pillow(image)
    image = arrays.from_pillow(picture)

Pixels cross as blocks of memory, without a loop in Python. NumPy and Pillow are imported when one of their functions is
called; neither is needed for the other.
"""

from zelmor.arrays._numpy import from_numpy, to_numpy, write_numpy
from zelmor.arrays._pillow import from_pillow, to_pillow

__all__ = ["from_numpy", "from_pillow", "to_numpy", "to_pillow", "write_numpy"]
