"""A drawing as pixels

A vector image is drawn in the size that is asked for, and is sharp in each.
"""

import zelmor
from zelmor.imaging import Color, VectorImage
from zelmor.imaging.imageoptions import PngOptions, SvgRasterizationOptions

with zelmor.open("drawing.svg", VectorImage) as drawing:
    page = SvgRasterizationOptions()
    page.page_width = 600.0  # the height follows
    page.background_color = Color.transparent
    options = PngOptions()
    options.vector_rasterization_options = page
    drawing.save("drawing.png", options)
    drawing.save("drawing.pdf")
