from zelmor.imaging import Image, VectorImage
from zelmor.imaging.imageoptions import PngOptions, VectorRasterizationOptions

with Image.load("drawing.svg") as image:
    print(VectorImage._is_assignable(image), image.width, image.height)
    options = PngOptions()
    options.vector_rasterization_options = VectorRasterizationOptions()
    image.save("drawing.png", options)
