from zelmor.imaging import Color, Graphics, Pen, Rectangle, SmoothingMode
from zelmor.imaging.fileformats.png import PngImage

with PngImage(200, 100) as image:
    graphics = Graphics(image)
    graphics.clear(Color.white)
    graphics.smoothing_mode = SmoothingMode.ANTI_ALIAS
    graphics.draw_ellipse(Pen(Color.dark_blue, 4.0), Rectangle(20, 20, 160, 60))
    image.save("ellipse.png")
