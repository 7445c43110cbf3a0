from zelmor.imaging import Color, Figure, Graphics, GraphicsPath, Pen, RectangleF
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import ArcShape

figure = Figure()
figure.add_shape(ArcShape(RectangleF(10.0, 10.0, 80.0, 80.0), 0.0, 270.0))
with PngImage(100, 100) as image:
    Graphics(image).draw_path(Pen(Color.black, 3.0), GraphicsPath([figure]))
    image.save("arc.png")
