from zelmor.imaging import Image, ResizeType

with Image.load("photo.jpg") as image:
    image.resize_width_proportionally(200, ResizeType.LANCZOS_RESAMPLE)
    image.save("thumbnail.jpg")
