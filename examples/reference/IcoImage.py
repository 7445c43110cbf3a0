from zelmor.imaging import Image
from zelmor.imaging.fileformats.ico import IcoImage
from zelmor.imaging.imageoptions import IcoOptions

with Image.load("picture.png") as image, IcoImage(32, 32, IcoOptions()) as icon:
    image.resize(32, 32)
    icon.add_page(image)
    icon.save("page.ico")
