from zelmor.imaging import ImageLoadersRegistry

print(ImageLoadersRegistry.registered_formats)
