from zelmor.imaging import Image, SizeF
from zelmor.imaging.imageoptions import PdfOptions

options = PdfOptions()
options.page_size = SizeF(595.0, 842.0)  # A4 in points
with Image.load("photo.jpg") as image:
    image.save("photo.pdf", options)
