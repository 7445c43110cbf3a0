from zelmor.imaging import Image
from zelmor.imaging.fileformats.jpeg import JpegImage

with Image.load("photo.jpg") as image:
    made, jpeg = JpegImage._cast_to(image)
    print(jpeg.exif_data.make, jpeg.horizontal_resolution)
