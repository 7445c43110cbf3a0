from zelmor.imaging import Color, Pen
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.svg.graphics import SvgGraphics2D

recorder = SvgGraphics2D(200, 100, 96)
recorder.fill_rectangle(Pen(Color.black), SolidBrush(Color.gold), 20, 20, 160, 60)
recorder.draw_line(Pen(Color.red, 3.0), 20, 20, 180, 80)
with recorder.end_recording() as image:
    image.save("drawn.svg")
