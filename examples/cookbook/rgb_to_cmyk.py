"""Colors of the screen for print

A TIFF with four inks is written, at 300 dots per inch. New `TiffOptions` name no unit for the resolution.
"""

import zelmor
from zelmor.imaging import ResolutionSetting
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat, TiffResolutionUnits
from zelmor.imaging.imageoptions import TiffOptions

with zelmor.open("photo.jpg") as image:
    options = TiffOptions(TiffExpectedFormat.TIFF_DEFLATE_CMYK)
    options.resolution_settings = ResolutionSetting(300.0, 300.0)
    options.resolution_unit = TiffResolutionUnits.INCH
    image.save("print.tif", options)
