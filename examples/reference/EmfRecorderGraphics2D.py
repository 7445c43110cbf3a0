from zelmor.imaging import Color, Pen, Rectangle, Size
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D

recorder = EmfRecorderGraphics2D(Rectangle(0, 0, 200, 100), Size(1920, 1080), Size(508, 286))
recorder.draw_ellipse(Pen(Color.blue, 3.0), Rectangle(20, 20, 160, 60))
with recorder.end_recording() as image:
    image.save("drawn.emf")
