"""The capsules through which other modules use a sibling: their names, and the behavior of their functions."""

import ctypes

import pytest
from hypothesis import given
from hypothesis import strategies as st

import zelmor.pydrawing
import zelmor.pyio
import zelmor.pyreflection
from zelmor.imaging import LoadOptions
from zelmor.pydrawing import Color, PointF, Rectangle, RectangleF, RotateFlipType
from zelmor.pyio import FileMode

from support.capsules import ColorRecord, PointFRecord, RectangleFRecord, RectangleRecord, entry, from_python, to_python

HANDLES = [
    "zelmor.pydrawing._C_APIT_Image",
    "zelmor.pydrawing.drawing2d._C_APIT_Matrix",
    "zelmor.pydrawing._C_APIT_Pen",
    "zelmor.pydrawing._C_APIT_Region",
    "zelmor.pydrawing.imaging._C_APIT_ImageAttributes",
    "zelmor.pydrawing._C_APIT_StringFormat",
    "zelmor.pydrawing.drawing2d._C_APIT_GraphicsPath",
    "zelmor.pydrawing._C_APIT_Font",
    "zelmor.pydrawing._C_APIT_Brush",
    "zelmor.pydrawing.drawing2d._C_APIT_ColorBlend",
    "zelmor.pydrawing.imaging._C_APIT_ColorMap",
    "zelmor.pydrawing.imaging._C_APIT_ColorMatrix",
    "zelmor.pydrawing._C_APIT_Bitmap",
    "zelmor.pyreflection._C_APIT_Object",
    "zelmor.pyreflection._C_APIT_Enum",
    "zelmor.pyreflection._C_APIT_Type",
]
ENUMS = {"zelmor.pydrawing._C_APIT_RotateFlipType": RotateFlipType, "zelmor.pyio._C_APIT_FileMode": FileMode}
VALUES = {
    "zelmor.pydrawing._C_APITV1_PointF": (PointF, PointFRecord),
    "zelmor.pydrawing._C_APITV1_Rectangle": (Rectangle, RectangleRecord),
    "zelmor.pydrawing._C_APITV1_RectangleF": (RectangleF, RectangleFRecord),
    "zelmor.pydrawing._C_APITV1_Color": (Color, ColorRecord),
}
SECOND_READERS = ["zelmor.pyreflection._C_APIT_Object", "zelmor.pyreflection._C_APIT_Type"]


def simple_name(capsule):
    """The name of the type that a capsule converts."""
    return capsule.rpartition("_")[2]


@pytest.mark.parametrize("capsule", [*HANDLES, *ENUMS, *VALUES])
def test_both_converters_are_there(capsule):
    assert entry(capsule, 0) != 0
    assert entry(capsule, 1) != 0
    assert (entry(capsule, 2) != 0) == (capsule in SECOND_READERS)


def test_there_are_22_of_them():
    assert len(HANDLES) + len(ENUMS) + len(VALUES) == 22


@pytest.mark.parametrize("capsule", HANDLES)
def test_null_is_none_for_handles(capsule):
    assert from_python(capsule, ctypes.c_void_p)(None)[0] == 1
    assert from_python(capsule, ctypes.c_void_p)(None)[1].value is None
    assert to_python(capsule, ctypes.c_void_p)(None) is None


@pytest.mark.parametrize("capsule", [*HANDLES, *ENUMS, *VALUES])
@pytest.mark.parametrize("wrong", [5, "text", object(), [1.0, 2.0]])
def test_wrong_kinds_are_refused(capsule, wrong):
    with pytest.raises(TypeError) as caught:
        from_python(capsule, RectangleFRecord)(wrong)
    assert str(caught.value) == f"can't build {simple_name(capsule)} value from '{type(wrong).__name__}'"


@pytest.mark.parametrize("capsule", [*ENUMS, *VALUES])
def test_none_is_refused_for_values(capsule):
    with pytest.raises(TypeError) as caught:
        from_python(capsule, RectangleFRecord)(None)
    assert str(caught.value) == f"can't build {simple_name(capsule)} value from 'NoneType'"


@pytest.mark.parametrize("capsule", VALUES)
def test_values_of_each_other_are_refused(capsule):
    kind, record = VALUES[capsule]
    for other, _ in VALUES.values():
        if other is kind:
            assert from_python(capsule, record)(other())[0] == 1
            continue
        with pytest.raises(TypeError) as caught:
            from_python(capsule, record)(other())
        assert str(caught.value) == f"can't build {kind.__name__} value from 'zelmor.pydrawing.{other.__name__}'"


def test_a_refused_value_leaves_the_record_alone():
    function = ctypes.PYFUNCTYPE(ctypes.c_int, ctypes.py_object, ctypes.c_void_p)
    record = RectangleRecord(1, 2, 3, 4)
    with pytest.raises(TypeError):
        function(entry("zelmor.pydrawing._C_APITV1_Rectangle", 0))(PointF(), ctypes.byref(record))
    assert (record.x, record.y, record.width, record.height) == (1, 2, 3, 4)


@pytest.mark.parametrize("capsule", list(VALUES)[:3])
@given(numbers=st.lists(st.integers(-(2**24), 2**24), min_size=4, max_size=4))
def test_numbers_cross_as_records_and_back(capsule, numbers):
    kind, record = VALUES[capsule]
    fields = [name for name, _ in record._fields_]
    value = kind(*numbers[: len(fields)])
    status, filled = from_python(capsule, record)(value)
    assert status == 1
    assert [getattr(filled, name) for name in fields] == numbers[: len(fields)]
    assert to_python(capsule, record)(ctypes.byref(filled)) == value


def test_a_result_is_a_value_of_its_own():
    record = PointFRecord(1, 2)
    value = to_python("zelmor.pydrawing._C_APITV1_PointF", PointFRecord)(ctypes.byref(record))
    record.x = 5
    assert value == PointF(1, 2)


@pytest.mark.parametrize(
    ("color", "fields"),
    [
        (Color.empty, (0, 0, 0)),
        (Color.transparent, (0x00FFFFFF, 27, 1)),
        (Color.alice_blue, (0xFFF0F8FF, 28, 1)),
        (Color.yellow_green, (0xFF9ACD32, 167, 1)),
        (Color.from_argb(0x11223344), (0x11223344, 0, 2)),
    ],
)
def test_records_of_colors(color, fields):
    capsule = "zelmor.pydrawing._C_APITV1_Color"
    status, record = from_python(capsule, ColorRecord)(color)
    assert (status, record.argb, record.known_color, record.state) == (1, *fields)
    assert to_python(capsule, ColorRecord)(ctypes.byref(record)) == color


@given(
    argb=st.integers(0, 2**32 - 1),
    known=st.integers(-(2**15), 2**15 - 1),
    state=st.integers(-(2**15), 2**15 - 1),
)
def test_any_color_record_makes_a_color(argb, known, state):
    capsule = "zelmor.pydrawing._C_APITV1_Color"
    color = to_python(capsule, ColorRecord)(ctypes.byref(ColorRecord(argb, known, state)))
    assert (color.a, color.r, color.g, color.b) == tuple(argb.to_bytes(4, "big"))
    assert isinstance(repr(color), str) and isinstance(color.name, str) and isinstance(hash(color), int)
    assert color.is_system_color == (1 <= known <= 26 or 168 <= known <= 174)
    status, record = from_python(capsule, ColorRecord)(color)
    assert (status, record.argb, record.known_color, record.state) == (1, argb, known, state)


def test_a_color_of_the_desktop():
    record = ColorRecord(0xFFF0F0F0, 5, 1)
    color = to_python("zelmor.pydrawing._C_APITV1_Color", ColorRecord)(ctypes.byref(record))
    assert color.name == "Control"
    assert repr(color) == "<Color Control>"


@pytest.mark.parametrize("capsule", ENUMS)
def test_members_cross_as_integers(capsule):
    for member in ENUMS[capsule]:
        status, value = from_python(capsule, ctypes.c_int)(member)
        assert (status, value.value) == (1, member.value)
        assert to_python(capsule, ctypes.c_int)(member.value) is member
    with pytest.raises(ValueError, match="is not a valid"):
        to_python(capsule, ctypes.c_int)(77)


@pytest.mark.parametrize("capsule", ENUMS)
def test_members_of_other_enumerations_are_refused(capsule):
    other = next(kind for kind in ENUMS.values() if kind is not ENUMS[capsule])
    with pytest.raises(TypeError, match=f"can't build {simple_name(capsule)} value from '{other.__name__}'"):
        from_python(capsule, ctypes.c_int)(next(iter(other)))


@pytest.mark.parametrize("capsule", SECOND_READERS)
@pytest.mark.parametrize("wrong", [None, 5, "text", PointF(), FileMode.OPEN, zelmor.pyreflection.Type])
def test_second_readers_say_no_without_an_error(capsule, wrong):
    status, handle = from_python(capsule, ctypes.c_void_p, index=2)(wrong)
    assert (status, handle.value) == (0, None)


def test_the_second_reader_of_types_says_no_to_another_managed_object():
    status, _ = from_python("zelmor.pyreflection._C_APIT_Type", ctypes.c_void_p, index=2)(LoadOptions())
    assert status == 0


@pytest.mark.parametrize("capsule", SECOND_READERS)
def test_second_readers_read_managed_types(capsule):
    managed_type = zelmor.pydrawing.Pen._type_of()
    assert type(managed_type) is zelmor.pyreflection.Type
    status, handle = from_python(capsule, ctypes.c_void_p, index=2)(managed_type)
    assert status == 1
    assert handle.value is not None
    first, same = from_python(capsule, ctypes.c_void_p)(managed_type)
    assert (first, same.value) == (1, handle.value)
