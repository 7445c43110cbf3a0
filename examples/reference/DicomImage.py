from zelmor.imaging import Image
from zelmor.imaging.fileformats.dicom import DicomImage

with Image.load("scan.dcm") as image:
    made, scan = DicomImage._cast_to(image)
    print(scan.file_info.bits_allocated, scan.page_count)
