from zelmor.imaging import Color, ColorBlend, Graphics, Point
from zelmor.imaging.brushes import LinearMulticolorGradientBrush
from zelmor.imaging.fileformats.png import PngImage

rainbow = ColorBlend()
rainbow.colors = [Color.red, Color.yellow, Color.lime, Color.cyan, Color.blue, Color.magenta]
rainbow.positions = [0.0, 0.2, 0.4, 0.6, 0.8, 1.0]
brush = LinearMulticolorGradientBrush(Point(0, 0), Point(200, 0))
brush.interpolation_colors = rainbow
with PngImage(200, 50) as image:
    Graphics(image).fill_rectangle(brush, image.bounds)
    image.save("rainbow.png")
