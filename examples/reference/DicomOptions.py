from zelmor.imaging import Image
from zelmor.imaging.fileformats.dicom import ColorType
from zelmor.imaging.imageoptions import DicomOptions

options = DicomOptions()
options.color_type = ColorType.GRAYSCALE_8_BIT
with Image.load("photo.jpg") as image:
    image.save("photo.dcm", options)
