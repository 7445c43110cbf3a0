"""Gray, and black and white

Otsu's threshold suits a page that is lit evenly. Bradley's looks at the surroundings of each pixel, which helps where
a shadow lies on the page.
"""

import zelmor
from zelmor.imaging import RasterImage

with zelmor.open("photo.jpg", RasterImage) as image:
    image.grayscale()
    image.save("gray.png")

with zelmor.open("scan.png", RasterImage) as page:
    page.binarize_otsu()
    page.save("otsu.png")

with zelmor.open("scan.png", RasterImage) as page:
    page.binarize_bradley(0.15, 25)
    page.save("bradley.png")
