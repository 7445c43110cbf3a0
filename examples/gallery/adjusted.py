"""Light and color: brightness, contrast, gamma, gray, two levels."""

from zelmor.imaging import Color, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.fileformats.png import PngImage

with PngImage(660, 340) as sheet:
    graphics = Graphics(sheet)
    graphics.clear(Color.white)
    for number in range(6):
        with Image.load("photo.jpg") as image:
            made, picture = RasterImage._cast_to(image)
            if number == 1:
                picture.adjust_brightness(60)
            elif number == 2:
                picture.adjust_contrast(50.0)
            elif number == 3:
                picture.adjust_gamma(2.0)
            elif number == 4:
                picture.grayscale()
            elif number == 5:
                picture.binarize_otsu()
            graphics.draw_image(picture, Rectangle(220 * (number % 3) + 5, 170 * (number // 3) + 5, 210, 160))
    sheet.save("adjusted.png")
