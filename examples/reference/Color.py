from zelmor.imaging import Color

orange = Color.from_argb(255, 255, 165, 0)
faint = Color.from_argb(128, orange)
print(orange == Color.orange, faint.a, orange.get_hue())
