from zelmor.imaging import Color, Graphics, Rectangle, Region
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage

window = Region(Rectangle(10, 10, 80, 80))
window.exclude(Rectangle(30, 30, 40, 40))
with PngImage(100, 100) as image:
    graphics = Graphics(image)
    graphics.clip = window
    graphics.fill_rectangle(SolidBrush(Color.navy), Rectangle(0, 0, 100, 100))
    image.save("frame.png")
