from zelmor.imaging import Image
from zelmor.imaging.fileformats.webp import WebPImage

with Image.load("film.webp") as image:
    made, film = WebPImage._cast_to(image)
    for number, frame in enumerate(film.pages):
        print(number, frame.width, frame.height)
