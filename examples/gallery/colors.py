"""Colors: the same photograph through six color matrices."""

from zelmor.imaging import Color, ColorMatrix, Graphics, GraphicsUnit, Image, ImageAttributes, Rectangle
from zelmor.imaging.fileformats.png import PngImage

tints = [(1.0, 1.0, 1.0), (1.2, 0.9, 0.6), (0.6, 0.9, 1.3), (0.5, 1.1, 0.5), (1.3, 0.5, 0.9), (0.4, 0.4, 0.5)]
with Image.load("photo.jpg") as photo, PngImage(660, 340) as sheet:
    graphics = Graphics(sheet)
    graphics.clear(Color.white)
    for number, (red, green, blue) in enumerate(tints):
        matrix, attributes = ColorMatrix(), ImageAttributes()
        matrix.matrix00, matrix.matrix11, matrix.matrix22 = red, green, blue
        attributes.set_color_matrix(matrix)
        area = Rectangle(220 * (number % 3) + 5, 170 * (number // 3) + 5, 210, 160)
        graphics.draw_image(photo, photo.bounds, area, GraphicsUnit.PIXEL, attributes)
    sheet.save("colors.png")
