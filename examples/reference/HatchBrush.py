from zelmor.imaging import Color, Graphics, HatchStyle
from zelmor.imaging.brushes import HatchBrush
from zelmor.imaging.fileformats.png import PngImage

brush = HatchBrush()
brush.hatch_style = HatchStyle.DIAGONAL_CROSS
brush.foreground_color, brush.background_color = Color.navy, Color.light_cyan
with PngImage(100, 100) as image:
    Graphics(image).fill_rectangle(brush, image.bounds)
    image.save("hatched.png")
