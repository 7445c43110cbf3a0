"""Read metadata

EXIF data has what the camera noted; a property is None where the file says nothing. XMP is a dictionary for each
namespace.
"""

import zelmor
from zelmor.imaging.fileformats.jpeg import JpegImage

with zelmor.open("camera.jpg", JpegImage) as image:
    exif = image.exif_data
    if exif is not None:
        print("camera:", exif.make, exif.model)
        print("artist:", exif.artist)
        print("taken:", exif.date_time_original)
    if image.xmp_data is not None:
        for package in image.xmp_data.packages:
            for key in package:
                print(key, "=", package.get_prop_value(key))
    print("dots per inch:", image.horizontal_resolution)
