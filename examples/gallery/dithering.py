"""Dithering: 1, 2 and 4 bits; a threshold above, error diffusion below."""

from zelmor.imaging import Color, DitheringMethod, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.fileformats.png import PngImage

with PngImage(660, 340) as sheet:
    graphics = Graphics(sheet)
    graphics.clear(Color.white)
    methods = [DitheringMethod.THRESHOLD_DITHERING, DitheringMethod.FLOYD_STEINBERG_DITHERING]
    for row, method in enumerate(methods):
        for column, bits in enumerate([1, 2, 4]):
            with Image.load("photo.jpg") as image:
                made, picture = RasterImage._cast_to(image)
                picture.resize(210, 160)
                picture.dither(method, bits)
                graphics.draw_image(picture, Rectangle(220 * column + 5, 170 * row + 5, 210, 160))
    sheet.save("dithering.png")
