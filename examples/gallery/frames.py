"""Frames: an animation, drawn frame by frame."""

import math

from zelmor.imaging import Color, Graphics, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.gif import GifImage
from zelmor.imaging.fileformats.gif.blocks import GifFrameBlock

frames = [GifFrameBlock(200, 200) for number in range(24)]
for number, frame in enumerate(frames):
    graphics = Graphics(frame)
    graphics.clear(Color.white)
    for planet, (radius, speed, color) in enumerate([(35, 3, Color.tomato), (60, 2, Color.gold), (85, 1, Color.teal)]):
        angle = 2 * math.pi * speed * number / len(frames) + planet
        x, y = 100 + radius * math.cos(angle), 100 + radius * math.sin(angle)
        graphics.fill_ellipse(SolidBrush(color), Rectangle(int(x) - 10, int(y) - 10, 20, 20))
with GifImage(frames[0]) as image:
    for frame in frames[1:]:
        image.add_page(frame)
    image.set_frame_time(60)  # milliseconds
    image.save("frames.gif")
