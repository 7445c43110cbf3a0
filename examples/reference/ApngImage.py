from zelmor.imaging import Image, RasterImage
from zelmor.imaging.fileformats.apng import ApngImage
from zelmor.imaging.imageoptions import ApngOptions

with Image.load("picture.png") as image, ApngImage(ApngOptions(), image.width, image.height) as film:
    made, picture = RasterImage._cast_to(image)
    film.remove_all_frames()
    for step in range(6):
        film.add_frame(picture, 200)  # milliseconds
        picture.adjust_gamma(0.8)
    film.save("darker.png")
