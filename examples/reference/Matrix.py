from zelmor.imaging import Color, Graphics, Matrix, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage

turned = Matrix()
turned.translate(50.0, 50.0)
turned.rotate(30.0)
with PngImage(100, 100) as image:
    graphics = Graphics(image)
    graphics.transform = turned
    graphics.fill_rectangle(SolidBrush(Color.olive), Rectangle(-25, -25, 50, 50))
    image.save("turned.png")
