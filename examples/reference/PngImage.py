from zelmor.imaging import Color, Graphics
from zelmor.imaging.fileformats.png import PngColorType, PngImage

with PngImage(64, 64, PngColorType.TRUECOLOR_WITH_ALPHA) as image:
    Graphics(image).clear(Color.from_argb(128, 255, 0, 0))
    print(image.has_alpha, image.bits_per_pixel)
    image.save("half-red.png")
