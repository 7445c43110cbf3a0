from zelmor.imaging import Color, Graphics, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage

with PngImage(100, 100) as image:
    Graphics(image).fill_ellipse(SolidBrush(Color.tomato), Rectangle(10, 10, 80, 80))
    image.save("disk.png")
