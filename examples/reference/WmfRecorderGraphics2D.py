from zelmor.imaging import Color, Pen, Rectangle
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D

recorder = WmfRecorderGraphics2D(Rectangle(0, 0, 200, 100), 96)
recorder.draw_rectangle(Pen(Color.green, 2.0), 20, 20, 160, 60)
with recorder.end_recording() as image:
    image.save("drawn.wmf")
