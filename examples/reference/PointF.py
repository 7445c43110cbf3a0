from zelmor.imaging import Matrix, PointF

corner = [PointF(1.0, 0.0)]
turn = Matrix()
turn.rotate(90.0)
print(turn.m11, turn.m12, corner[0].x)
