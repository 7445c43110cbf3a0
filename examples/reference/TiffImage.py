from zelmor.imaging import Image
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage

with Image.load("pages.tif") as image:
    made, tiff = TiffImage._cast_to(image)
    tiff.add_frame(TiffFrame("photo.jpg"))
    tiff.remove_frame(0)
    tiff.save("other-pages.tif")
