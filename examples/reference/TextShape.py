from zelmor.imaging import Color, Figure, Font, Graphics, GraphicsPath, Pen, RectangleF, StringFormat
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.shapes import TextShape

figure = Figure()
figure.add_shape(TextShape("Outline", RectangleF(10.0, 10.0, 280.0, 80.0), Font("DejaVu Sans", 48.0), StringFormat()))
with PngImage(300, 100) as image:
    Graphics(image).draw_path(Pen(Color.maroon, 1.0), GraphicsPath([figure]))
    image.save("outline.png")
