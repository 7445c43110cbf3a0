from zelmor.imaging import Image
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage

with Image.load("photo.jpg") as image:
    made, jpeg = JpegImage._cast_to(image)
    data = JpegExifData()
    data.make, data.model = "A camera", "Its model"
    jpeg.exif_data = data
    jpeg.save("described.jpg")
