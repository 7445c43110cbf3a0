"""Metadata: what a photograph tells of itself, printed below it."""

from zelmor.imaging import Color, Font, Graphics, Image, PointF, Rectangle
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.exif import JpegExifData
from zelmor.imaging.fileformats.jpeg import JpegImage
from zelmor.imaging.fileformats.png import PngImage

with Image.load("photo.jpg") as image, PngImage(320, 290) as sheet:
    made, photo = JpegImage._cast_to(image)
    about = JpegExifData()
    about.make, about.model, about.user_comment = "A camera", "Its model", "A house below the hills"
    photo.exif_data = about
    photo.save("described.jpg")
    graphics, font = Graphics(sheet), Font("DejaVu Sans", 12.0)
    graphics.clear(Color.black)
    graphics.draw_image(photo, Rectangle(0, 0, 320, 240))
    with Image.load("described.jpg") as again:
        made, described = JpegImage._cast_to(again)
        text = f"{described.exif_data.make}, {described.exif_data.model}"
        graphics.draw_string(text, font, SolidBrush(Color.gold), PointF(10.0, 246.0))
        graphics.draw_string(str(described.exif_data.user_comment), font, SolidBrush(Color.white), PointF(10.0, 266.0))
    sheet.save("metadata.png")
