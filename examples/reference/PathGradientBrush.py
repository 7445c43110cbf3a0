from zelmor.imaging import Color, Graphics, Point
from zelmor.imaging.brushes import PathGradientBrush
from zelmor.imaging.fileformats.png import PngImage

brush = PathGradientBrush([Point(0, 0), Point(100, 0), Point(100, 100), Point(0, 100)])
brush.center_color = Color.white
brush.surround_colors = [Color.dark_blue]
with PngImage(100, 100) as image:
    Graphics(image).fill_rectangle(brush, image.bounds)
    image.save("glow.png")
