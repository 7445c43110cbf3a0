from zelmor.imaging import Color, ColorBlend, Graphics, Rectangle
from zelmor.imaging.brushes import LinearMulticolorGradientBrush
from zelmor.imaging.fileformats.png import PngImage

blend = ColorBlend()
blend.colors = [Color.red, Color.yellow, Color.green]
blend.positions = [0.0, 0.3, 1.0]
brush = LinearMulticolorGradientBrush(Rectangle(0, 0, 200, 50), 0.0)
brush.interpolation_colors = blend
with PngImage(200, 50) as image:
    Graphics(image).fill_rectangle(brush, image.bounds)
    image.save("traffic.png")
