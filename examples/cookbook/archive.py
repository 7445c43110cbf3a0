"""Pictures of an archive

A member of a ZIP file is a file like any other; nothing is unpacked to the disk.
"""

import io
import zipfile

import zelmor
from zelmor.imaging import RasterImage, ResizeType
from zelmor.imaging.imageoptions import PngOptions

with zipfile.ZipFile("photos.zip") as source, zipfile.ZipFile("small.zip", "w") as target:
    for name in source.namelist():
        with source.open(name) as file, zelmor.open(file, RasterImage) as image:
            image.resize_width_proportionally(64, ResizeType.LANCZOS_RESAMPLE)
            small = io.BytesIO()
            image.save(small, PngOptions())
        target.writestr(name.replace(".jpg", ".png"), small.getvalue())
