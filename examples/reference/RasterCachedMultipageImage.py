from zelmor.imaging import Image, RasterCachedMultipageImage

with Image.load("pages.tif") as image:
    made, pages = RasterCachedMultipageImage._cast_to(image)
    print(pages.page_count)
    pages.resize_width_proportionally(100)  # all pages
    pages.save("small.tif")
