"""Compare two pictures

The greatest difference of a pixel, and a picture of all differences.
"""

import numpy as np
import zelmor
from zelmor import arrays

with zelmor.open("photo.jpg") as first, zelmor.open("changed.png") as second:
    difference = np.abs(arrays.to_numpy(first, "RGB").astype(int) - arrays.to_numpy(second, "RGB"))

print(f"differ by {difference.max()} at most, in {(difference.max(axis=2) > 8).sum()} pixels by more than 8")
with arrays.from_numpy(np.minimum(difference * 4, 255).astype(np.uint8)) as result:
    result.save("difference.png")
