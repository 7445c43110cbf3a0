from zelmor.imaging import Color, Graphics
from zelmor.imaging.fileformats.webp import WebPFrameBlock, WebPImage
from zelmor.imaging.imageoptions import WebPOptions

with WebPImage(40, 40, WebPOptions()) as film:
    frame = WebPFrameBlock(40, 40)
    Graphics(frame).clear(Color.green)
    frame.duration = 200
    film.add_block(frame)
    film.save("green.webp")
