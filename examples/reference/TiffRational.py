from zelmor.imaging.fileformats.tiff import TiffRational

third = TiffRational(1, 3)
print(third.nominator, third.denominator, round(third.value_d, 3))
