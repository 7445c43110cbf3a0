from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage

with TiffImage([TiffFrame("photo.jpg"), TiffFrame("picture.png")]) as image:
    for frame in image.frames:
        print(frame.width, frame.height)
    image.save("two-pages.tif")
