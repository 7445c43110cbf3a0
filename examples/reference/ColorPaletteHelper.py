from zelmor.imaging import ColorPaletteHelper, Image, RasterImage
from zelmor.imaging.imageoptions import GifOptions

with Image.load("photo.jpg") as image:
    made, raster = RasterImage._cast_to(image)
    options = GifOptions()
    options.palette = ColorPaletteHelper.get_close_image_palette(raster, 64)
    image.save("64-colors.gif", options)
