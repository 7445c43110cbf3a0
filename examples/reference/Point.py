from zelmor.imaging import Point, Size

point = Point(30, 40)
point.offset(10, -10)
print(point.x, point.y, Point.add(point, Size(5, 5)))
