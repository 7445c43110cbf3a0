"""Straighten a scanned page

`get_skew_angle` finds by how many degrees the lines of a text are turned, and `normalize_angle` turns them back.
"""

import zelmor
from zelmor.imaging import Color, RasterImage

with zelmor.open("scan.png", RasterImage) as image:
    print(f"the lines are turned by {image.get_skew_angle():.1f} degrees")
    image.normalize_angle(False, Color.white)
    image.save("straight.png")
