"""NumPy arrays

The picture as an array, and an array as a picture: here, each channel is stretched to the whole range.
"""

import numpy as np
import zelmor
from zelmor import arrays

with zelmor.open("photo.jpg") as image:
    pixels = arrays.to_numpy(image, dtype=np.float32)

low, high = np.percentile(pixels, (1, 99), axis=(0, 1))
stretched = np.clip((pixels - low) / (high - low), 0, 1)
with arrays.from_numpy((stretched * 255).round().astype(np.uint8)) as result:
    result.save("stretched.png")
