"""Facts about files, quickly

Only the header of a file is read for its format and its size, however large the picture is.
"""

from pathlib import Path

import zelmor
from zelmor.imaging import Image

for path in sorted(Path("photos").iterdir()):
    print(path.name, Image.get_file_format(str(path)).name, end=" ")
    with zelmor.open(path) as image:
        print(f"{image.width} x {image.height}, {image.bits_per_pixel} bits")
