from zelmor.imaging import Color, Figure, Graphics, GraphicsPath, Pen, PointF
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import CurveShape

figure = Figure()
figure.add_shape(CurveShape([PointF(10.0, 50.0), PointF(60.0, 10.0), PointF(110.0, 90.0), PointF(190.0, 50.0)], 0.5))
with PngImage(200, 100) as image:
    Graphics(image).draw_path(Pen(Color.dark_green, 3.0), GraphicsPath([figure]))
    image.save("curve.png")
