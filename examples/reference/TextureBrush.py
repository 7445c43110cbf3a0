from zelmor.imaging import Graphics, Image, Rectangle
from zelmor.imaging.brushes import TextureBrush
from zelmor.imaging.fileformats.png import PngImage

with Image.load("picture.png") as tile, PngImage(300, 200) as image:
    Graphics(image).fill_ellipse(TextureBrush(tile), Rectangle(0, 0, 300, 200))
    image.save("tiles.png")
