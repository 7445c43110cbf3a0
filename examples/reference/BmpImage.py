from zelmor.imaging.fileformats.bmp import BmpImage

with BmpImage(200, 100) as image:
    image.set_resolution(96.0, 96.0)
    image.save("black.bmp")
