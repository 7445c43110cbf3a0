"""The contents of the sibling modules: versions, types and enumerations, with the casts that every type has."""

import enum
import importlib
import sys

import pytest

import zelmor.pydrawing
import zelmor.pyio
import zelmor.pyreflection
from zelmor.pyreflection import Object, Type

from support.package_process import child

MODULES = ["zelmor.pygc", "zelmor.pyreflection", "zelmor.pyio", "zelmor.pydrawing", "zelmor.pycore"]

WRAPPERS = {
    "zelmor.pyreflection": ["Enum", "Object", "Type"],
    "zelmor.pydrawing": ["Bitmap", "Brush", "Font", "Image", "Pen", "Region", "StringFormat"],
    "zelmor.pydrawing.drawing2d": ["ColorBlend", "GraphicsPath", "Matrix"],
    "zelmor.pydrawing.imaging": ["ColorMap", "ColorMatrix", "ImageAttributes"],
}
NAMESPACES = {
    "zelmor.pyreflection": "System",
    "zelmor.pydrawing": "System.Drawing",
    "zelmor.pydrawing.drawing2d": "System.Drawing.Drawing2D",
    "zelmor.pydrawing.imaging": "System.Drawing.Imaging",
}
ALL_WRAPPERS = [(module, name) for module, names in WRAPPERS.items() for name in names]

FILE_MODES = {"CREATE_NEW": 1, "CREATE": 2, "OPEN": 3, "OPEN_OR_CREATE": 4, "TRUNCATE": 5, "APPEND": 6}
TURNS = ("NONE", "90", "180", "270")
ROTATE_FLIPS = {
    f"ROTATE_{turn}_FLIP_{flip}": value
    for flip, values in {"NONE": (0, 1, 2, 3), "X": (4, 5, 6, 7), "Y": (6, 7, 4, 5), "XY": (2, 3, 0, 1)}.items()
    for turn, value in zip(TURNS, values)
}


@pytest.fixture(params=ALL_WRAPPERS, ids=lambda pair: pair[1])
def wrapper(request):
    """Each wrapper class."""
    module, name = request.param
    return getattr(importlib.import_module(module), name)


@pytest.mark.parametrize("name", MODULES)
def test_versions(name):
    module = importlib.import_module(name)
    version, threshold = module.VERSION, module._BACKWARD_COMPATIBILITY_THRESHOLD
    assert (version.major, version.minor, version.patch, version.sub, version.view) == (23, 6, 0, 0, "23.6.0.0")
    assert (threshold.major, threshold.minor, threshold.patch, threshold.sub) == (22, 6, 0, 0)
    assert str(threshold) == "22.6.0.0"
    assert threshold < version
    assert type(version) is type(threshold) is module._ModuleVersionType
    assert repr(version) == f"<{name}._ModuleVersionType: 23.6.0.0>"


def test_version_types_are_each_modules_own():
    kinds = {importlib.import_module(name)._ModuleVersionType for name in MODULES}
    assert len(kinds) == len(MODULES)


@pytest.mark.parametrize("name", MODULES)
def test_each_module_can_be_the_first(name):
    assert child(f"import {name}\nresult = str({name}.VERSION)") == "23.6.0.0"


def test_the_in_memory_stream_needs_no_other_module():
    code = "import sys, zelmor.pycore\nresult = [name for name in sys.modules if name.startswith('zelmor.py')]"
    assert child(code) == ["zelmor.pycore"]


def test_names_and_bases(wrapper):
    module = sys.modules[wrapper.__module__]
    assert getattr(module, wrapper.__name__) is wrapper
    expected = {"Type": Object, "Enum": Object, "Bitmap": zelmor.pydrawing.Image}.get(wrapper.__name__, object)
    assert wrapper.__base__ is expected


def test_markers(wrapper):
    assert vars(wrapper)["_zelmor_clr_host"] is None
    assert vars(wrapper)["_zelmor_clr_castable_obj"] is None


def test_no_constructor(wrapper):
    with pytest.raises(TypeError, match="type has no available constructor"):
        wrapper()


def test_managed_type(wrapper):
    managed_type = wrapper._type_of()
    assert type(managed_type) is Type
    assert str(managed_type) == f"{NAMESPACES[wrapper.__module__]}.{wrapper.__name__}"


def test_casts_of_objects_that_are_no_wrappers(wrapper):
    for value in (5, "text", object()):
        assert tuple(wrapper._cast_to(value)) == (False, None)
        assert tuple(wrapper._cast_as(value)) == (False, None)
        assert wrapper._is_assignable(value) is False
    assert wrapper._is_assignable(None) is False
    with pytest.raises(TypeError) as caught:
        wrapper._reinterpret_obj(5)
    assert str(caught.value) == "_reinterpret_obj() expects a .Net Object argument, got a int object"


def test_types_compare_by_what_they_are():
    pen, again = zelmor.pydrawing.Pen._type_of(), zelmor.pydrawing.Pen._type_of()
    brush = zelmor.pydrawing.Brush._type_of()
    assert pen is not again
    assert pen == again
    assert hash(pen) == hash(again)
    assert not pen != again
    assert pen != brush
    assert pen != None  # noqa: E711
    assert pen != "System.Drawing.Pen"
    assert len({pen, again, brush}) == 2


def test_a_type_is_an_object():
    pen = zelmor.pydrawing.Pen._type_of()
    ok, value = Object._cast_to(pen)
    assert ok
    assert type(value) is Object
    assert value == pen
    assert str(value) == "System.Drawing.Pen"
    assert Object._is_assignable(pen) is True
    assert zelmor.pydrawing.Pen._is_assignable(pen) is False
    assert tuple(zelmor.pydrawing.Pen._cast_as(pen)) == (False, None)
    ok, back = Type._cast_to(value)
    assert ok
    assert type(back) is Type
    assert back == pen
    again = Type._reinterpret_obj(value)
    assert type(again) is Type
    assert again == pen


def test_file_modes():
    assert issubclass(zelmor.pyio.FileMode, enum.IntEnum)
    assert {name: member.value for name, member in zelmor.pyio.FileMode.__members__.items()} == FILE_MODES


def test_turns_and_flips():
    kind = zelmor.pydrawing.RotateFlipType
    assert issubclass(kind, enum.IntEnum)
    assert {name: member.value for name, member in kind.__members__.items()} == ROTATE_FLIPS


@pytest.mark.parametrize(
    ("member", "managed"),
    [("zelmor.pyio.FileMode.OPEN", "System.IO.FileMode"),
     ("zelmor.pydrawing.RotateFlipType.ROTATE_90_FLIP_X", "System.Drawing.RotateFlipType")],
)
def test_members_on_the_managed_side(member, managed):
    module, kind_name, name = member.rsplit(".", 2)
    kind = getattr(importlib.import_module(module), kind_name)
    value = getattr(kind, name)
    assert kind._zelmor_clr_castable_obj is Ellipsis
    assert str(kind._type_of()) == managed
    assert value.get_type() == kind._type_of()
    boxed = value._as_uni_enum()
    assert type(boxed) is zelmor.pyreflection.Enum
    assert boxed.get_type() == kind._type_of()
    ok, back = kind._cast_to(boxed)
    assert ok
    assert back is value
    assert kind._is_assignable(boxed) is True
    assert tuple(value._cast_from(kind._type_of())) == (False, None)
