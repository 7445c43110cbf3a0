from zelmor.imaging import Color, Figure, Graphics, GraphicsPath, Pen, RectangleF
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import EllipseShape, RectangleShape

figure = Figure()
figure.add_shape(RectangleShape(RectangleF(10.0, 10.0, 80.0, 80.0)))
figure.add_shape(EllipseShape(RectangleF(30.0, 30.0, 40.0, 40.0)))
with PngImage(100, 100) as image:
    Graphics(image).draw_path(Pen(Color.black, 2.0), GraphicsPath([figure]))
    image.save("path.png")
