"""Edit metadata

A property that is set makes its tag. XMP packages are made by their class.
"""

import zelmor
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

with zelmor.open("photo.jpg", JpegImage) as image:
    exif = image.exif_data or JpegExifData()
    exif.artist = "A. Photographer"
    exif.copyright = "(c) A. Photographer"
    exif.image_description = "Waves"
    image.exif_data = exif

    core = DublinCorePackage()
    core.set_title("Waves")
    packet = XmpPacketWrapper()
    packet.add_package(core)
    image.xmp_data = packet
    image.comment = "made by the cookbook"
    image.save("described.jpg")
