"""The frames of an animation

Each frame is saved as it is seen: with what the frames before it left on the canvas.
"""

import zelmor
from zelmor.imaging import RasterCachedMultipageImage
from zelmor.imaging.imageoptions import PngOptions

with zelmor.open("moving.gif", RasterCachedMultipageImage) as animation:
    for number, frame in enumerate(animation.pages):
        frame.save(f"frame_{number:02}.png", PngOptions())
    print(animation.page_count, "frames")
