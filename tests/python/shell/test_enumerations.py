"""Enumerations are Python enum classes: arguments must be members, results are converted by value."""

from __future__ import annotations

import enum
import pickle

import pytest
import zelmor.pyreflection
from zelmor.imaging import FileFormat, Image, ImageResizeSettings, LoadOptions, ResizeType, RotateFlipType
from zelmor.imaging.fileformats.wmf.consts import WmfRecordType
from zelmor.imaging.fileformats.wmf.objects import WmfRecord
from zelmor.imaging.imageoptions import IcoOptions
from zelmor.imaging.xmp import XmpArrayType
from zelmor.imaging.xmp.schemas.photoshop import ColorMode

from support.module_tree import MODEL


def test_members_are_integers() -> None:
    assert XmpArrayType.ORDERED == 1
    assert issubclass(XmpArrayType, enum.IntEnum) and issubclass(FileFormat, enum.IntFlag)


def test_a_plain_integer_is_refused(picture: str) -> None:
    with Image.load(picture) as image:
        with pytest.raises(TypeError) as refused:
            image.rotate_flip(1)
        assert str(refused.value) == "can't build RotateFlipType value from 'int'"
        with pytest.raises(TypeError) as refused:
            image.rotate_flip(ResizeType.NONE)
        assert str(refused.value) == "can't build RotateFlipType value from 'ResizeType'"
        with pytest.raises(TypeError) as refused:
            image.rotate_flip(None)
        assert str(refused.value) == "can't build RotateFlipType value from 'NoneType'"
        image.rotate_flip(RotateFlipType.ROTATE_NONE_FLIP_NONE)


def test_flags_combine_and_cross_as_their_sum() -> None:
    both = FileFormat.BMP | FileFormat.PNG
    assert both == 18 and isinstance(both, FileFormat)
    options = IcoOptions()
    options.format = both
    assert options.format == both and isinstance(options.format, FileFormat)


def test_zero_comes_back_as_the_undefined_member() -> None:
    options = IcoOptions()
    options.format = FileFormat.UNDEFINED
    assert options.format is FileFormat.UNDEFINED


def test_the_widest_flag_keeps_its_value() -> None:
    options = IcoOptions()
    options.format = FileFormat.BIG_TIFF
    assert options.format is FileFormat.BIG_TIFF and options.format == 0x80000000


def test_every_member_of_an_enumeration_round_trips() -> None:
    settings = ImageResizeSettings()
    for member in ResizeType:
        settings.mode = member
        assert settings.mode is member


def test_a_negative_member_of_16_bits_keeps_its_sign() -> None:
    """A 16-bit word of a WMF record is signed, so its enumerations are int16."""
    record = WmfRecord()
    for member in WmfRecordType:
        record.record_function = member
        assert record.record_function is member
    assert min(WmfRecordType) == -1


@pytest.mark.parametrize(("width", "names"), [
    ("int16", ["WmfMapMode", "WmfMixMode", "WmfPolyFillMode", "WmfRecordType", "StretchMode"]),
    ("uint16", ["TiffTags", "TiffDataTypes", "TiffSampleFormats", "TiffCompressions", "DibBitCount"]),
    ("uint8", ["EmfSerifStyle", "EmfSerifType", "AlphaFormatEnum", "JfifDensityUnits"]),
    ("uint32", ["WmfTernaryRasterOperation"]),
])
def test_an_enumeration_is_as_wide_as_its_field(width: str, names: list[str]) -> None:
    found = {entry.name: entry.width.name for entry in MODEL.types if entry.width is not None and entry.name in names}
    assert found == dict.fromkeys(names, width)


def test_a_member_and_its_class_name_one_managed_type() -> None:
    member = XmpArrayType.ORDERED.get_type()
    assert isinstance(member, zelmor.pyreflection.Type)
    assert member == XmpArrayType._type_of()
    assert member != ColorMode._type_of()
    assert str(ColorMode._type_of()) == "Zelmor.Imaging.Xmp.Schemas.Photoshop.ColorMode"


def test_the_static_entries_work_on_the_class() -> None:
    assert XmpArrayType._cast_to(5).status == 0
    assert XmpArrayType._cast_as(LoadOptions()).status == 0
    assert XmpArrayType._is_assignable(LoadOptions()) is False


def test_cast_from_of_a_member_answers_that_there_is_no_cast() -> None:
    assert XmpArrayType.ORDERED._cast_from("anything").status == 0


def test_a_member_becomes_a_managed_enumeration_and_comes_back() -> None:
    boxed = XmpArrayType.ORDERED._as_uni_enum()
    assert isinstance(boxed, zelmor.pyreflection.Enum)
    assert XmpArrayType._reinterpret_obj(boxed) is XmpArrayType.ORDERED
    assert XmpArrayType._cast_to(boxed).value is XmpArrayType.ORDERED
    assert XmpArrayType._is_assignable(boxed) is True


def test_messages_of_the_descriptors() -> None:
    with pytest.raises(TypeError) as refused:
        XmpArrayType.ORDERED.get_type(1)
    assert str(refused.value) == "get_type() takes no arguments (1 given)"
    with pytest.raises(TypeError) as refused:
        XmpArrayType.get_type()
    assert str(refused.value) == "unbound method get_type() needs a 'self' argument"
    with pytest.raises(TypeError) as refused:
        XmpArrayType.get_type(5)
    assert str(refused.value) == "descriptor 'get_type' for 'XmpArrayType' objects doesn't apply to a 'int' object"
    with pytest.raises(TypeError) as refused:
        XmpArrayType._cast_to()
    assert str(refused.value) == "_cast_to() takes exactly one argument (0 given)"
    with pytest.raises(TypeError) as refused:
        XmpArrayType._cast_to(1, key=1)
    assert str(refused.value) == "_cast_to() takes no keyword arguments"
    with pytest.raises(TypeError) as refused:
        XmpArrayType._cast_to(1, 2, key=1)
    assert str(refused.value) == "_cast_to() takes exactly one argument (2 given)"


def test_castable_but_no_host_marker() -> None:
    assert XmpArrayType._zelmor_clr_castable_obj is Ellipsis
    assert not hasattr(XmpArrayType, "_zelmor_clr_host")


def test_members_of_one_name_in_two_namespaces_keep_apart() -> None:
    from zelmor.imaging.xmp.types.complex.colorant import ColorMode as ColorantMode

    assert ColorantMode.CMYK == 1 and ColorMode.CMYK == 4
    assert ColorantMode._type_of() != ColorMode._type_of()


def test_members_survive_pickling() -> None:
    assert pickle.loads(pickle.dumps(RotateFlipType.ROTATE_90_FLIP_X)) is RotateFlipType.ROTATE_90_FLIP_X
