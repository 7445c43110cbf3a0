from zelmor.imaging import Image, RotateFlipType

with Image.load("photo.jpg") as image:
    image.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
    image.save("upright.jpg")
