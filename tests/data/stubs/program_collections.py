# Lists and arrays as arguments and results, with typical mistakes; the marks are those of program.py.
from pathlib import Path
from typing import TYPE_CHECKING, assert_type

from zelmor.imaging import (Color, ColorPalette, Figure, Graphics, GraphicsPath, Image, Pen, Point, PointF, RasterImage,
                            Rectangle, Shape)
from zelmor.imaging.fileformats.gif.blocks import GifUnknownExtensionBlock
from zelmor.imaging.fileformats.tiff import TiffFrame, TiffImage
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.fileformats.tiff.pathresources import PathResource
from zelmor.imaging.imageoptions import TiffOptions
from zelmor.imaging.xmp import XmpPacketWrapper

if TYPE_CHECKING:
    from zelmor._typing import MaybeNone, UInt16Array

FOLDER: Path
PICTURE: str  # the path of a PNG file of 4 by 3 pixels

# -- sequences in -------------------------------------------------------------------------------------------------------
ColorPalette(entries=[Color.red, Color.blue])
ColorPalette(entries=(Color.red, Color.blue), is_compact_palette=False)
ColorPalette([Color.red, Color.blue])  # beyond checkers: the first overload takes any list, to read integers
ColorPalette([-16777216, -1])
ColorPalette({Color.red})  # expect: call-overload
ColorPalette(5)  # expect: call-overload
ColorPalette(iter([Color.red]))  # expect: call-overload
ok, value = RasterImage._cast_to(Image.load(PICTURE))
raster: RasterImage = value


def draw(canvas: Graphics, pen: Pen, shape: Shape) -> None:
    canvas.draw_lines(pen, [Point(0, 0), Point(1, 1)])
    canvas.draw_lines(pen, (PointF(0, 0), PointF(1, 1)))
    canvas.draw_lines(pen, None)
    canvas.draw_lines(pen, [Point(0, 0), None])  # expect: list-item
    canvas.draw_lines(pen, [(0, 0)])  # expect: list-item
    canvas.draw_lines(pen, points=5)  # expect: call-overload
    figure = Figure()
    figure.add_shapes([shape])
    figure.add_shapes([shape, None])
    figure.add_shapes([pen])  # expect: list-item
    figure.add_shapes(shape)  # expect: arg-type
    GraphicsPath([figure])


# -- arrays out ---------------------------------------------------------------------------------------------------------
pixels = raster.load_argb_32_pixels(Rectangle(0, 0, 2, 2))
assert_type(pixels[0], "int | MaybeNone")
assert_type([pixel + 1 for pixel in pixels], "list[int | MaybeNone]")
len(pixels)
pixels[0] = 5
pixels[0] = "5"  # expect: call-overload
pixels.append(5)  # expect: union-attr
raster.save_argb_32_pixels(Rectangle(0, 0, 2, 2), pixels)
raster.save_argb_32_pixels(Rectangle(0, 0, 2, 2), [1, 2, 3, 4])
raster.save_argb_32_pixels(Rectangle(0, 0, 2, 2), 5)  # expect: arg-type


def paths(frame: TiffFrame) -> None:
    resources = frame.path_resources
    resources.append(PathResource())  # expect: union-attr
    assert resources is not None
    resources.append(PathResource())
    resources.extend([PathResource()])
    resources += [PathResource()]
    assert_type(resources[0], PathResource)
    assert_type(resources[0:2], list[PathResource])
    assert_type(resources.copy(), list[PathResource])
    assert_type(resources * 2, list[PathResource])
    assert_type(resources.pop(), PathResource)
    for resource in resources:
        assert_type(resource, PathResource)
    resources.append(5)  # expect: arg-type
    resources[0] = "path"  # expect: call-overload
    del resources[0]
    resources.sort(key=len)  # expect: arg-type
    resources.sort(reverse=True)


# -- properties that accept more types than they return ------------------------------------------------------------------
def settings(frame: TiffFrame, other: TiffFrame) -> None:
    frame.path_resources = [PathResource()]
    frame.path_resources = (PathResource(), PathResource())
    frame.path_resources = other.path_resources
    frame.path_resources = None
    frame.path_resources = 8  # expect: assignment
    frame.path_resources = ["8"]  # expect: list-item


# -- attributes know their elements -------------------------------------------------------------------------------------
options = TiffOptions(TiffExpectedFormat.TIFF_LZW_RGB)
tiff = TiffImage([TiffFrame(options, 5, 6)])
sizes = [(page.width, page.height) for page in tiff.pages]
assert_type(sizes, "list[tuple[int | MaybeNone, int | MaybeNone]]")
assert_type(tiff.pages[0], "Image | MaybeNone")
tiff.pages[0].no_such_member  # expect: union-attr
assert_type(tiff.frames[0].frame_options, "TiffOptions | MaybeNone")
tiff.frames[0].no_such_member  # expect: union-attr
tiff.frames[0] = TiffFrame(options, 5, 6)
tiff.frames[0] = "frame"  # expect: call-overload
tiff.frames = []  # expect: misc
[package.prefix for package in XmpPacketWrapper().packages]
assert_type(options.bits_per_sample, "UInt16Array | None")
options.bits_per_sample = [8, 8, 8]
options.bits_per_sample = (8,)
options.bits_per_sample = None
options.bits_per_sample = 8  # expect: assignment
options.artist = "somebody"
options.artist = 5  # expect: assignment
block = GifUnknownExtensionBlock()
block.unknown_data = b"bytes"
assert_type(block.unknown_data, "bytearray | None")
block.unknown_data = "text"  # expect: assignment
