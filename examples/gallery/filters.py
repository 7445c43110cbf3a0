"""Filters: blurred, sharpened, smoothed, and what was blurred or shaken brought back."""

from zelmor.imaging import Color, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.imagefilters.filteroptions import (
    BilateralSmoothingFilterOptions, GaussianBlurFilterOptions, GaussWienerFilterOptions, MedianFilterOptions,
    MotionWienerFilterOptions, SharpenFilterOptions)

filters = [GaussianBlurFilterOptions(9, 4.0), SharpenFilterOptions(5, 3.0), MedianFilterOptions(9),
           BilateralSmoothingFilterOptions(7), GaussWienerFilterOptions(5, 1.5),
           MotionWienerFilterOptions(12, 1.0, 20.0)]
with PngImage(660, 340) as sheet:
    graphics = Graphics(sheet)
    graphics.clear(Color.white)
    for number, options in enumerate(filters):
        with Image.load("photo.jpg") as image:
            made, picture = RasterImage._cast_to(image)
            picture.filter(picture.bounds, options)
            graphics.draw_image(picture, Rectangle(220 * (number % 3) + 5, 170 * (number // 3) + 5, 210, 160))
    sheet.save("filters.png")
