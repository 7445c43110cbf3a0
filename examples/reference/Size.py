from zelmor.imaging import Image, Size

with Image.load("photo.jpg") as image:
    half = Size(image.width // 2, image.height // 2)
    image.resize(half.width, half.height)
    image.save("half.jpg")
