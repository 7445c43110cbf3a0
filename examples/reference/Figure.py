from zelmor.imaging import Color, Figure, Graphics, GraphicsPath, PointF
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import PolygonShape

figure = Figure()
figure.add_shape(PolygonShape([PointF(50.0, 10.0), PointF(90.0, 90.0), PointF(10.0, 90.0)], True))
with PngImage(100, 100) as image:
    Graphics(image).fill_path(SolidBrush(Color.teal), GraphicsPath([figure]))
    image.save("triangle.png")
