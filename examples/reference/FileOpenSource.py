from zelmor.imaging.sources import FileOpenSource

source = FileOpenSource("photo.jpg")
with source.get_stream_container() as container:
    print(source.file_path, container.length)
