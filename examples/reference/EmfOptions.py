from zelmor.imaging import Image
from zelmor.imaging.imageoptions import EmfOptions, EmfRasterizationOptions

options = EmfOptions()
options.vector_rasterization_options = EmfRasterizationOptions()
with Image.load("drawing.svg") as image:
    image.save("converted.emf", options)
