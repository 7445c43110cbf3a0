"""Pictures as pages of a PDF

`Image.create` puts copies of pictures into one image, each as a page.
"""

from pathlib import Path

import zelmor
from zelmor.imaging import Image
from zelmor.imaging.imageoptions import PdfOptions

pages = [zelmor.open(path) for path in sorted(Path("photos").glob("*.jpg"))]
with Image.create(pages, True) as album:  # True: the pages are closed with it
    album.save("album.pdf", PdfOptions())
