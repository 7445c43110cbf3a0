from zelmor.imaging import Image
from zelmor.imaging.fileformats.gif import GifImage

with Image.load("animation.gif") as image:
    made, gif = GifImage._cast_to(image)
    gif.set_frame_time(250)  # milliseconds
    gif.loops_count = 3
    gif.save("slower.gif")
