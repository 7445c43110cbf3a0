from zelmor.imaging import CmykColor, Color

ink = CmykColor.to_cmyk_color(Color.orange.to_argb())
print(ink.c, ink.m, ink.y, ink.k)
