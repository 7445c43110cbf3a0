import io

from zelmor.imaging import Color, Graphics, Image
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.sources import StreamSource

memory = io.BytesIO()
options = PngOptions()
options.source = StreamSource(memory)
with Image.create(options, 100, 100) as image:
    Graphics(image).clear(Color.plum)
    image.save()
print(memory.getvalue()[1:4])
