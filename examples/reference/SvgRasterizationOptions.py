from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PngOptions, SvgRasterizationOptions

layout = SvgRasterizationOptions()
layout.scale_x = layout.scale_y = 3.0
options = PngOptions()
options.vector_rasterization_options = layout
with Image.load("drawing.svg") as image:
    image.save("three-times.png", options)
