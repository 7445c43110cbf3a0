"""Masks: what stands in a rectangle is cut out and put on another background."""

from zelmor.imaging import Color, Graphics, Image, RasterImage, Rectangle
from zelmor.imaging.brushes import LinearGradientBrush
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import AutoMaskingArgs, GraphCutMaskingOptions

with Image.load("photo.jpg") as image, PngImage(650, 240) as sheet:
    made, photo = RasterImage._cast_to(image)
    known, options = AutoMaskingArgs(), GraphCutMaskingOptions()
    known.objects_rectangles = [Rectangle(220, 10, 70, 70)]
    options.args, options.feathering_radius = known, 1
    graphics = Graphics(sheet)
    graphics.fill_rectangle(LinearGradientBrush(sheet.bounds, Color.indigo, Color.black, 90.0), sheet.bounds)
    graphics.draw_image(photo, Rectangle(0, 0, 320, 240))
    with ImageMasking(photo).decompose(options) as result:
        for layer in list(result.layers)[1:]:
            graphics.draw_image(layer.get_image(), Rectangle(330, 0, 320, 240))
    sheet.save("masks.png")
