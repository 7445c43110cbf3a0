from zelmor.imaging import Image, RasterImage, Rectangle
from zelmor.imaging.masking import ImageMasking
from zelmor.imaging.masking.options import AutoMaskingArgs, GraphCutMaskingOptions

known = AutoMaskingArgs()
known.objects_rectangles = [Rectangle(20, 20, 80, 80)]
options = GraphCutMaskingOptions()
options.args = known
with Image.load("picture.png") as image:
    made, picture = RasterImage._cast_to(image)
    with ImageMasking(picture).decompose(options) as result:
        print(result.length)
