"""An animation of pictures

Frames are added to a GIF image, each with a time in milliseconds. Saved with `ApngOptions` or as WebP, the same image
keeps all colors.
"""

from pathlib import Path

import zelmor
from zelmor.imaging import RasterImage
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock

paths = sorted(Path("photos").glob("*.jpg"))
with zelmor.open(paths[0], RasterImage) as first:
    animation = GifImage(GifFrameBlock(first))
with animation:
    for path in paths[1:]:
        with zelmor.open(path, RasterImage) as picture:
            picture.resize(animation.width, animation.height)
            animation.add_page(picture)
    animation.set_frame_time(120)
    animation.loops_count = 0  # for ever
    animation.save("animation.gif")
    animation.save("animation.webp")
