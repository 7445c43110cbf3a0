from zelmor.imaging import ColorMatrix, Graphics, GraphicsUnit, Image, ImageAttributes, Rectangle
from zelmor.imaging.fileformats.png import PngImage

faint = ColorMatrix()
faint.matrix33 = 0.4
attributes = ImageAttributes()
attributes.set_color_matrix(faint)
with Image.load("photo.jpg") as photo, PngImage(320, 240) as image:
    area = Rectangle(0, 0, 320, 240)
    Graphics(image).draw_image(photo, photo.bounds, area, GraphicsUnit.PIXEL, attributes)
    image.save("faint.png")
