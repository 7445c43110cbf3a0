"""Pages: each page of a TIFF file as a picture, side by side."""

from zelmor.imaging import Color, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.tiff import TiffImage

with Image.load("pages.tif") as image, PngImage(530, 130) as sheet:
    made, document = TiffImage._cast_to(image)
    graphics = Graphics(sheet)
    graphics.clear(Color.gray)
    for number, page in enumerate(document.frames):
        made, picture = RasterImage._cast_to(page)
        graphics.draw_image(picture, Rectangle(10 + 175 * number, 5, 160, 120))
    sheet.save("pages.png")
