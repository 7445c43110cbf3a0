from zelmor.imaging import Image
from zelmor.imaging.fileformats.svg import SvgImage

with Image.load("drawing.svg") as image:
    made, svg = SvgImage._cast_to(image)
    print(made, svg.width, svg.height)
