from zelmor.imaging.fileformats.png import PngImage
from zelmor.imaging.xmp import XmpPacketWrapper
from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

about = DublinCorePackage()
about.set_title("A picture of tests")
packet = XmpPacketWrapper()
packet.add_package(about)
with PngImage(10, 10) as image:
    image.xmp_data = packet
    image.save("titled.png")
