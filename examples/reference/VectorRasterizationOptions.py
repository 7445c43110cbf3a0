from zelmor.imaging import Color, Image, SmoothingMode
from zelmor.imaging.imageoptions import PngOptions, VectorRasterizationOptions

layout = VectorRasterizationOptions()
layout.page_width, layout.page_height = 640.0, 480.0
layout.background_color = Color.white
layout.smoothing_mode = SmoothingMode.ANTI_ALIAS
options = PngOptions()
options.vector_rasterization_options = layout
with Image.load("drawing.svg") as image:
    image.save("large.png", options)
