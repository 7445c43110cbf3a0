from zelmor.imaging import Color, Graphics
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock

frames = [GifFrameBlock(40, 40), GifFrameBlock(40, 40)]
for frame, color in zip(frames, [Color.red, Color.blue]):
    Graphics(frame).clear(color)
with GifImage(frames[0]) as image:
    image.add_page(frames[1])
    image.set_frame_time(500)
    image.save("blink.gif")
