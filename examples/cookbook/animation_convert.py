"""A smaller animation

All frames are scaled, and the GIF becomes a WebP.
"""

import zelmor
from zelmor.imaging import Image, ResizeType
from zelmor.imaging.imageoptions import WebPOptions

with zelmor.open("moving.gif", Image) as animation:
    animation.resize(animation.width // 2, animation.height // 2, ResizeType.BILINEAR_RESAMPLE)
    options = WebPOptions()
    options.lossless = True
    animation.save("moving.webp", options)
