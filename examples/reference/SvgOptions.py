from zelmor.imaging import Image
from zelmor.imaging.imageoptions import SvgOptions

options = SvgOptions()
options.compress = True
with Image.load("drawing.svg") as image:
    image.save("drawing.svgz", options)
