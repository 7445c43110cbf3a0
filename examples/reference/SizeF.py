from zelmor.imaging import Image, SizeF, VectorImage

with Image.load("drawing.svg") as image:
    made, vector = VectorImage._cast_to(image)
    print(SizeF(vector.width_f * 2, vector.height_f * 2))
