from zelmor.imaging import FileFormat, Image

if Image.get_file_format("photo.jpg") == FileFormat.JPEG:
    print("a JPEG file, whatever its name says")
