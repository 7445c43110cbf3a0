from zelmor.imaging import Color, Graphics, Rectangle
from zelmor.imaging.brushes import LinearGradientBrush
from zelmor.imaging.fileformats.png import PngImage

with PngImage(200, 100) as image:
    brush = LinearGradientBrush(Rectangle(0, 0, 200, 100), Color.gold, Color.dark_violet, 45.0)
    Graphics(image).fill_rectangle(brush, image.bounds)
    image.save("gradient.png")
