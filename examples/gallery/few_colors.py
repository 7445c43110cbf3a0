"""Palettes: a photograph in its 4, 8 and 16 most telling colors."""

from zelmor.imaging import Color, ColorPaletteHelper, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imageoptions import GifOptions

with Image.load("photo.jpg") as image, PngImage(660, 200) as sheet:
    made, photo = RasterImage._cast_to(image)
    graphics = Graphics(sheet)
    graphics.clear(Color.white)
    for column, count in enumerate([4, 8, 16]):
        options = GifOptions()
        options.palette = ColorPaletteHelper.get_close_image_palette(photo, count)
        photo.save("reduced.gif", options)
        with Image.load("reduced.gif") as reduced:
            graphics.draw_image(reduced, Rectangle(220 * column + 5, 5, 210, 160))
        for number, color in enumerate(options.palette.entries):
            patch = Rectangle(220 * column + 5 + 210 * number // count, 170, 210 // count, 25)
            graphics.fill_rectangle(SolidBrush(color), patch)
    sheet.save("few_colors.png")
