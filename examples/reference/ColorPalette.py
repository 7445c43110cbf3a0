from zelmor.imaging import Color, ColorPalette, Image
from zelmor.imaging.fileformats.png import PngColorType
from zelmor.imaging.imageoptions import PngOptions

options = PngOptions()
options.color_type = PngColorType.INDEXED_COLOR
options.palette = ColorPalette.create_with_colors([Color.black, Color.dark_red, Color.orange, Color.white])
with Image.load("photo.jpg") as image:
    image.save("four-colors.png", options)
