from zelmor.imaging.exif import ExifData
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage

data = ExifData()
data.user_comment = "Scanned on a rainy day"
frame = TiffFrame("photo.jpg")
frame.exif_data = data
with TiffImage(frame) as image:
    image.save("commented.tif")
