from zelmor.imaging import Color, Graphics, GraphicsUnit, Image, ImageAttributes, Rectangle
from zelmor.imaging.fileformats.png import PngImage

attributes = ImageAttributes()
attributes.set_color_key(Color.from_argb(200, 200, 200), Color.white)
with Image.load("photo.jpg") as photo, PngImage(320, 240) as image:
    area = Rectangle(0, 0, 320, 240)
    Graphics(image).draw_image(photo, photo.bounds, area, GraphicsUnit.PIXEL, attributes)
    image.save("without-white.png")
