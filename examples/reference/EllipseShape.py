from zelmor.imaging import RectangleF
from zelmor.imaging.shapes import EllipseShape

shape = EllipseShape(RectangleF(0.0, 0.0, 80.0, 40.0))
print(shape.center.x, shape.center.y, len(shape.segments))
