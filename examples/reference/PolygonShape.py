from zelmor.imaging import Matrix, PointF
from zelmor.imaging.shapes import PolygonShape

shape = PolygonShape([PointF(0.0, 0.0), PointF(40.0, 0.0), PointF(20.0, 30.0)], True)
double = Matrix()
double.scale(2.0, 2.0)
shape.transform(double)
print(shape.bounds.width, shape.bounds.height)
