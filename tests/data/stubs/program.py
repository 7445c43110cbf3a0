# A program with typical mistakes of users. test_stubs_mypy.py reads the marks:
#   "expect: <code>"            mypy reports this error in this line, and running it raises TypeError or AttributeError
#   "expect: <code>, or None"   mypy reports this error because the value may be None; here it is not, and the line runs
#   "expect: <code>, static"    mypy reports this error, but the line runs
#   "beyond checkers"           the line raises an error that mypy cannot detect
# All other lines pass mypy and run.
import datetime
import decimal
import io
import uuid
from collections.abc import Sequence
from pathlib import Path
from typing import TYPE_CHECKING, Any, BinaryIO, assert_type

import zelmor.imaging
import zelmor.pycore
from zelmor.imaging import (Cache, Color, ColorPalette, ColorPaletteHelper, FileFormat, Graphics,
                            IColorPalette, Image, ImageOptionsBase, Matrix, MatrixOrder, Pen, Point, PointF,
                            RasterImage, Rectangle, ResizeType, RotateFlipType, Size, StreamContainer)
from zelmor.imaging.brushes import SolidBrush
from zelmor.imaging.fileformats.png import PngColorType, PngImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import BmpOptions, PngOptions, TiffOptions
from zelmor.imaging.sources import FileCreateSource, StreamSource
from zelmor.imaging.xmp import Namespaces, XmpArrayType

if TYPE_CHECKING:
    from zelmor._typing import MaybeNone, Stream, StreamLike, Variant

FOLDER: Path
PICTURE: str  # the path of a PNG file of 4 by 3 pixels

# -- loading ------------------------------------------------------------------------------------------------------------
image = Image.load(PICTURE)
assert_type(image, "Image | MaybeNone")
Image.load(file_path=PICTURE)
with open(PICTURE, "rb") as file:
    Image.load(file)
Image.load(stream=open(PICTURE, "rb"))
Image.load(io.BytesIO(Path(PICTURE).read_bytes()))
Image.load(zelmor.pycore.BytesAsStream(Path(PICTURE).read_bytes()))
Image.load(Path(PICTURE))  # expect: call-overload
Image.load(Path(PICTURE).read_bytes())  # expect: call-overload
Image.load(path=PICTURE)  # expect: call-overload
Image.load(open(PICTURE))  # expect: call-overload
Image.load()  # expect: call-overload
Image.load(PICTURE, PngOptions())  # expect: call-overload
Image()  # expect: call-arg
Image.can_load(PICTURE)
image.no_such_member  # expect: union-attr
zelmor.imaging.NoSuchClass  # expect: attr-defined
zelmor.imaging.fileformats.png.PngImage.load(PICTURE)

# -- properties ---------------------------------------------------------------------------------------------------------
assert_type(image.width, "int | MaybeNone")
image.width + 1
plain: Image = image
assert_type(plain.width, int)
plain.width = 5  # expect: misc
plain.size.width = 9
assert_type(plain.size, Size)
plain.background_color = Color.red
plain.background_color = None  # expect: assignment
plain.background_color = "red"  # expect: assignment
plain.buffer_size_hint = 0
plain.buffer_size_hint = 1.5  # expect: assignment
plain.buffer_size_hint = "10"  # expect: assignment
plain.buffer_size_hint = True  # beyond checkers
plain.auto_adjust_palette = 1  # expect: assignment
plain.file_format = FileFormat.PNG  # expect: misc

# -- methods, overloads and enumerations --------------------------------------------------------------------------------
image.resize(8, 6)
image.resize(new_width=8, new_height=6, resize_type=ResizeType.NEAREST_NEIGHBOUR_RESAMPLE)
image.resize(8, 6, 0)  # expect: call-overload
image.resize(8.0, 6.0)  # expect: call-overload
image.resize(width=8, height=6)  # expect: call-overload
plain.rotate_flip(RotateFlipType.ROTATE_90_FLIP_NONE)
plain.rotate_flip(rotate_flip_type=RotateFlipType.ROTATE_NONE_FLIP_X)
plain.rotate_flip(1)  # expect: arg-type
plain.rotate_flip(None)  # expect: arg-type
plain.rotate_flip(ResizeType.NONE)  # expect: arg-type
plain.rotate_flip(kind=RotateFlipType.ROTATE_NONE_FLIP_X)  # expect: call-arg
plain.rotate_flip()  # expect: call-arg
formats = FileFormat.BMP | FileFormat.PNG
assert_type(formats, FileFormat)
assert_type(XmpArrayType.ORDERED.value, int)
number: int = XmpArrayType.ORDERED
XmpArrayType.SORTED  # expect: attr-defined

# -- saving -------------------------------------------------------------------------------------------------------------
options = PngOptions()
options.color_type = PngColorType.TRUECOLOR_WITH_ALPHA
options.color_type = 6  # expect: assignment
options.compression_level = 9
options.compresion_level = 9  # expect: attr-defined
options.source = FileCreateSource(str(FOLDER / "made.png"), False)
options.source = str(FOLDER / "made.png")  # expect: assignment
options.source = None
PngOptions(options)
PngOptions(BmpOptions())  # expect: call-overload
TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
BmpOptions("lzw")  # expect: call-overload
plain.save(str(FOLDER / "a.png"), options)
plain.save(str(FOLDER / "a.bmp"), options=BmpOptions())
plain.save(FOLDER / "a.png", options)  # expect: call-overload
buffer = io.BytesIO()
plain.save(buffer, options)
plain.save(io.StringIO(), options)  # expect: call-overload
plain.save(buffer, "png")  # expect: call-overload


def save_to(target: BinaryIO, settings: ImageOptionsBase) -> None:
    plain.save(target, settings)


save_to(buffer, options)
with Image.load(PICTURE) as opened:
    assert_type(opened, "Image | MaybeNone")
    opened.height * 2
with Point(1, 2) as nothing:  # expect: attr-defined, attr-defined
    pass

# -- casts --------------------------------------------------------------------------------------------------------------
result = PngImage._cast_to(image)
assert_type(result.value, "PngImage | None")
ok, value = RasterImage._cast_to(image)
raster: RasterImage = value
raster.grayscale()
raster.grayscal()  # expect: attr-defined
result.value.grayscale()  # expect: union-attr, or None
PngImage._is_assignable(image)
str(plain.get_type())
ColorPaletteHelper.has_transparent_colors(ColorPaletteHelper.create_8_bit())
Namespaces()  # expect: call-arg

# -- interfaces: a class that implements one is not a subclass, but is accepted in its place ----------------------------
palette = ColorPaletteHelper.create_8_bit()
assert_type(palette.entries_count, "int | MaybeNone")
mine = ColorPalette._cast_to(palette).value
plain.set_palette(mine, False)
plain.set_palette(palette, False)
plain.set_palette(None, False)
plain.set_palette(options, False)  # expect: arg-type
ColorPalette.copy_palette(mine)
ColorPalette.copy_palette(5)  # expect: call-overload
IColorPalette()  # expect: call-arg
plain.palette = mine
plain.palette = Color.red  # expect: assignment

# -- drawing: structs take no None, classes do ---------------------------------------------------------------------------
pen = Pen(Color.red, 2)
Pen(Color.red, "2")  # expect: call-overload
Pen(Color.red, width=1.5)
Pen()  # expect: call-overload
Pen(SolidBrush(Color.blue))
Graphics("image")  # expect: arg-type
Graphics(5)  # expect: arg-type
pen.width = 2
pen.width = "2"  # expect: assignment
pen.brush = SolidBrush(Color.red)
pen.transform = None


def draw(canvas: Graphics) -> None:
    canvas.draw_line(pen, Point(0, 0), Point(3, 2))
    canvas.draw_line(pen, PointF(0, 0), PointF(3.5, 2))
    canvas.draw_line(pen, 0, 0, 3, 2)
    canvas.draw_line(None, x1=0.5, y1=0, x2=3, y2=2.5)
    canvas.draw_line(pen, None, Point(3, 2))  # expect: call-overload
    canvas.draw_line(pen, (0, 0), (3, 2))  # expect: call-overload
    canvas.draw_line(pen, 0, 0, 3)  # expect: call-overload
    canvas.transform = Matrix()
    canvas.clip = Rectangle(0, 0, 1, 1)  # expect: assignment
    canvas.rotate_transform(30, MatrixOrder.APPEND)
    canvas.image.width


# -- static properties, constants, names that are two things --------------------------------------------------------------
assert_type(Color.alice_blue, Color)
Color.alice_blue = Color.red  # expect: misc
Color.from_argb(255, 1, 2, 3).to_argb()
Color.from_argb("red")  # expect: call-overload
level: int = PngOptions.DEFAULT_COMPRESSION_LEVEL
hint = Cache.max_memory_for_cache
Cache.set_max_memory_for_cache(hint)
Cache.set_max_memory_for_cache("all")  # expect: arg-type
Cache.set_max_memory_for_cache(value=1)  # expect: call-arg
assert_type(Rectangle.inflate(Rectangle(0, 0, 1, 1), 2, 3), Rectangle)
box = Rectangle(0, 0, 1, 1)
assert_type(box.inflate(2, 3), None)
box.inflate("2", 3)  # expect: call-overload
box.intersect(Rectangle(0, 0, 1, 1))
Rectangle.intersect(box)  # expect: call-arg

# -- by reference, written memory, any object ----------------------------------------------------------------------------
x: list[int] = []
y: list[int] = []
Point.from_long(4294967298, x, y)
assert x == [2]
Point.from_long(1, (0,), y)  # expect: arg-type
Point.from_long(1, 0, y)  # expect: arg-type
container = StreamContainer(io.BytesIO(b"some bytes"))
memory = bytearray(4)
container.read(memory)
container.read(b"four")  # expect: call-overload
container.write(b"more")
container.write("more")  # expect: call-overload
anything: Sequence["Variant"] = [
    None, 1, 1.5, "text", b"bytes", [1], (1, 2), decimal.Decimal(1), uuid.uuid4(), datetime.datetime.now(),
    datetime.timedelta(1), pen, Size(1, 2)]
nothing_of_it: "Variant" = {"a": 1}  # expect: assignment, static


def copy_stream(source: "StreamLike") -> "Stream | None":
    return StreamSource(source).stream


copy_stream(io.BytesIO())


class Derived(BmpOptions):  # expect: misc
    pass


point: Any = Point(1, 2)
