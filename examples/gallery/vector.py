"""Vector: a drawing recorded as SVG and shown in three sizes, sharp in each."""

from zelmor.imaging import Color, Figure, Graphics, GraphicsPath, Image, Pen, PointF, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.fileformats.svg.graphics import SvgGraphics2D
from zelmor.imaging.imageoptions import PngOptions, VectorRasterizationOptions
from zelmor.imaging.shapes import PolygonShape

roof, recorder = Figure(), SvgGraphics2D(100, 100, 96)
roof.add_shape(PolygonShape([PointF(10.0, 50.0), PointF(50.0, 10.0), PointF(90.0, 50.0)], True))
recorder.fill_rectangle(Pen(Color.sienna, 2.0), SolidBrush(Color.bisque), 20, 50, 60, 40)
recorder.fill_path(Pen(Color.maroon, 2.0), SolidBrush(Color.indian_red), GraphicsPath([roof]))
with recorder.end_recording() as house, PngImage(480, 280) as sheet:
    house.save("house.svg")
    graphics, left = Graphics(sheet), 10
    graphics.clear(Color.white)
    for size in (60, 120, 260):
        options, layout = PngOptions(), VectorRasterizationOptions()
        layout.page_width = layout.page_height = float(size)
        options.vector_rasterization_options = layout
        house.save("house.png", options)
        with Image.load("house.png") as picture:
            graphics.draw_image(picture, Rectangle(left, 270 - size, size, size))
        left += size + 10
    sheet.save("vector.png")
