from zelmor.imaging import Image
from zelmor.imaging.imageoptions import ApngOptions

options = ApngOptions()
options.default_frame_time = 120  # milliseconds
with Image.load("animation.gif") as image:
    image.save("animation.png", options)
