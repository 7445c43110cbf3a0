from zelmor.imaging import CmykColorHelper, Color

ink = CmykColorHelper.to_cmyk(Color.dark_red)
print(CmykColorHelper.get_c(ink), CmykColorHelper.get_m(ink), CmykColorHelper.get_y(ink), CmykColorHelper.get_k(ink))
