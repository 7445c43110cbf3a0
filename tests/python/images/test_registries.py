"""The registries of loaders, exporters and creators, and the objects that their descriptors create."""

from __future__ import annotations

import io
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow
from zelmor.imaging import (
    FileFormat, Image, ImageCreatorsRegistry, ImageExportersRegistry, ImageLoadersRegistry, Rectangle, StreamContainer)
from zelmor.imaging.imageoptions import BmpOptions, JpegOptions, PngOptions, VectorRasterizationOptions

from support.image_oracles import few_colors, load, managed_error, raster, write

FORMATS = [FileFormat.BMP, FileFormat.GIF, FileFormat.JPEG, FileFormat.PNG, FileFormat.APNG, FileFormat.TIFF,
           FileFormat.BIG_TIFF, FileFormat.WEBP, FileFormat.ICO, FileFormat.JPEG2000, FileFormat.PSD, FileFormat.TGA,
           FileFormat.DICOM, FileFormat.EMF, FileFormat.EMZ, FileFormat.WMF, FileFormat.WMZ, FileFormat.SVG,
           FileFormat.EPS]
#: Those that are read and not written; packed SVG files have the options of SVG.
READ_ONLY = [FileFormat.DJVU, FileFormat.DNG, FileFormat.SVGZ, FileFormat.ODG, FileFormat.F_ODG, FileFormat.OTG,
             FileFormat.CDR, FileFormat.CMX]
WRITE_ONLY = [FileFormat.PDF]
#: Those that pictures are saved as, and no new image is made for.
EXPORT_ONLY = [FileFormat.HTML_5_CANVAS, FileFormat.DXF]


@pytest.fixture(autouse=True)
def registries_as_before() -> Iterator[None]:
    """After every test the registries have their initial content."""
    yield
    assert int(ImageLoadersRegistry.registered_formats) == sum(map(int, FORMATS + READ_ONLY))
    assert int(ImageExportersRegistry.registered_formats) == sum(map(int, FORMATS + WRITE_ONLY + EXPORT_ONLY))
    assert int(ImageCreatorsRegistry.registered_formats) == sum(map(int, FORMATS + WRITE_ONLY))


def test_what_is_registered() -> None:
    for descriptors, formats in ((ImageLoadersRegistry.registered_descriptors, FORMATS + READ_ONLY),
                                 (ImageExportersRegistry.registered_exporter_descriptors,
                                  FORMATS + WRITE_ONLY + EXPORT_ONLY),
                                 (ImageCreatorsRegistry.registered_descriptors, FORMATS + WRITE_ONLY)):
        assert sorted(int(descriptor.supported_format) for descriptor in descriptors) == sorted(map(int, formats))


@pytest.mark.parametrize("suffix, expected", [("png", FileFormat.PNG), ("jpg", FileFormat.JPEG),
                                              ("webp", FileFormat.WEBP), ("tif", FileFormat.TIFF)])
def test_loaders(tmp_path: Path, suffix: str, expected: FileFormat) -> None:
    data = Path(write(tmp_path / f"a.{suffix}", few_colors())).read_bytes()
    stream = io.BytesIO(data)
    descriptor = ImageLoadersRegistry.get_first_supported_descriptor(stream, None)
    assert descriptor.supported_format == expected
    assert stream.tell() == 0
    assert descriptor.can_load(StreamContainer(stream), None)
    other = ImageLoadersRegistry.get_first_supported_descriptor_by_file_format(FileFormat.BMP)
    assert not other.can_load(StreamContainer(stream), None)
    image = descriptor.create_instance().load(StreamContainer(stream), None)
    assert image.file_format == expected
    stream.seek(0)
    again = ImageLoadersRegistry.create_first_supported_loader(stream, None).load(StreamContainer(stream), None)
    assert (again.width, again.height) == (image.width, image.height)
    assert ImageLoadersRegistry.get_first_supported_descriptor(io.BytesIO(b"nothing of the kind"), None) is None


def test_a_loader_by_the_name_of_its_descriptor() -> None:
    descriptor = ImageLoadersRegistry.get_first_supported_descriptor_by_type_name("PngImageLoaderDescriptor")
    assert descriptor.supported_format == FileFormat.PNG
    assert str(descriptor).endswith("PngImageLoaderDescriptor")
    assert ImageLoadersRegistry.get_first_supported_descriptor_by_type_name("Nothing") is None
    with managed_error("ArgumentNullException", "descriptor_type_name"):
        ImageLoadersRegistry.get_first_supported_descriptor_by_type_name(None)


def test_exporters(tmp_path: Path) -> None:
    image = load(write(tmp_path / "a.png", few_colors()))
    descriptor = ImageExportersRegistry.get_first_supported_descriptor(image, BmpOptions())
    assert descriptor.supported_format == FileFormat.BMP
    assert descriptor.can_export(image, BmpOptions())
    assert not descriptor.can_export(image, JpegOptions())
    target = io.BytesIO()
    descriptor.create_instance().export(image, target, BmpOptions())
    assert target.getvalue()[:2] == b"BM"
    part = io.BytesIO()
    exporter = ImageExportersRegistry.create_first_supported_exporter(image, PngOptions())
    exporter.export(image, part, PngOptions(), Rectangle(2, 3, 7, 5))
    with Pillow.open(part) as picture:
        assert picture.size == (7, 5)
    assert ImageExportersRegistry.get_first_supported_descriptor(image, VectorRasterizationOptions()) is None


def test_creators() -> None:
    creator = ImageCreatorsRegistry.create_first_supported_creator(PngOptions())
    target = io.BytesIO()
    image = raster(creator.create(StreamContainer(target), PngOptions(), 6, 4))
    image.set_argb_32_pixel(1, 1, -1)
    image.save()
    with Pillow.open(target) as picture:
        assert picture.size == (6, 4)
    assert ImageCreatorsRegistry.get_first_supported_descriptor(BmpOptions()).can_create(BmpOptions())


@pytest.mark.parametrize("kind", ["load", "save", "create"])
def test_what_is_taken_out_is_refused(tmp_path: Path, kind: str) -> None:
    path = write(tmp_path / "a.png", few_colors())
    image = Image.load(path)
    calls: dict[str, tuple[Any, Any, Any]] = {
        "load": (ImageLoadersRegistry.registered_descriptors, ImageLoadersRegistry.unregister_loader,
                 ImageLoadersRegistry.register_loader),
        "save": (ImageExportersRegistry.registered_exporter_descriptors, ImageExportersRegistry.unregister_exporter,
                 ImageExportersRegistry.register_exporter),
        "create": (ImageCreatorsRegistry.registered_descriptors, ImageCreatorsRegistry.unregister_creator,
                   ImageCreatorsRegistry.register_creator)}
    descriptors, take_out, put_in = calls[kind]
    png = next(d for d in descriptors if d.supported_format == FileFormat.PNG)
    take_out(png)
    take_out(png)  # the second call has no effect
    try:
        with managed_error("NotSupportedException", "registered", "Png"):
            if kind == "load":
                assert not Image.can_load(path)
                Image.load(path)
            elif kind == "save":
                assert not image.can_save(PngOptions())
                image.save(str(tmp_path / "b.png"), PngOptions())
            else:
                Image.create(PngOptions(), 4, 4)
    finally:
        put_in(png)
    assert not (tmp_path / "b.png").exists()
    image.save(str(tmp_path / "b.png"), PngOptions())
    assert Image.can_load(path) and Image.create(PngOptions(), 4, 4) is not None


def test_registries_refuse_nothing() -> None:
    for register in (ImageLoadersRegistry.register, ImageExportersRegistry.register, ImageCreatorsRegistry.register):
        with managed_error("ArgumentNullException", "descriptor"):
            register(None)
