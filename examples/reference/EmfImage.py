from zelmor.imaging import Image
from zelmor.imaging.fileformats.emf import EmfImage

with Image.load("drawing.emf") as image:
    made, emf = EmfImage._cast_to(image)
    for record in list(emf.records)[:3]:
        print(record.type)
