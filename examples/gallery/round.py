"""A path as a mask: a portrait in a circle."""

from zelmor.imaging import Figure, GraphicsPath, Image, RasterImage, RectangleF
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import ManualMaskingArgs, MaskingOptions, SegmentationMethod
from zelmor.imaging.shapes import EllipseShape

with Image.load("photo.jpg") as image:
    made, photo = RasterImage._cast_to(image)
    circle, known, options = Figure(), ManualMaskingArgs(), MaskingOptions()
    circle.add_shape(EllipseShape(RectangleF(40.0, 10.0, 220.0, 220.0)))
    known.mask = GraphicsPath([circle])
    options.method, options.args = SegmentationMethod.MANUAL, known
    with ImageMasking(photo).decompose(options) as result:
        list(result.layers)[1].get_image().save("round.png", PngOptions())
