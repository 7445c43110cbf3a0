"""The capsules of a sibling module as another bridge module uses them: their functions, called through ctypes."""

import ctypes
import functools

import zelmor.pygc  # noqa: F401  (a capsule is found through its module)

_import = ctypes.pythonapi.PyCapsule_Import
_import.restype = ctypes.c_void_p
_import.argtypes = [ctypes.c_char_p, ctypes.c_int]


class PointFRecord(ctypes.Structure):
    """Two doubles."""

    _fields_ = [("x", ctypes.c_double), ("y", ctypes.c_double)]


class RectangleRecord(ctypes.Structure):
    """Four 32-bit integers."""

    _fields_ = [(name, ctypes.c_int32) for name in ("x", "y", "width", "height")]


class RectangleFRecord(ctypes.Structure):
    """Four doubles."""

    _fields_ = [(name, ctypes.c_double) for name in ("x", "y", "width", "height")]


class ColorRecord(ctypes.Structure):
    """Components, number and state."""

    _fields_ = [("argb", ctypes.c_uint32), ("known_color", ctypes.c_int16), ("state", ctypes.c_int16)]


def entry(name, index):
    """The address at a position of a capsule's table; 0 if the table ends before."""
    table = _import(name.encode(), 0)
    assert table, name
    return ctypes.cast(table, ctypes.POINTER(ctypes.c_void_p))[index] or 0


def from_python(name, kind, index=0):
    """A converter from Python as a function of one value, which returns the status and the converted value."""
    function = ctypes.PYFUNCTYPE(ctypes.c_int, ctypes.py_object, ctypes.c_void_p)(entry(name, index))

    def convert(value):
        out = kind()
        return function(value, ctypes.byref(out)), out

    return convert


def to_python(name, kind):
    """The converter to Python. A record is passed by its address, every other value by value."""
    is_record = issubclass(kind, ctypes.Structure)
    argument = ctypes.POINTER(kind) if is_record else kind
    return ctypes.PYFUNCTYPE(ctypes.py_object, argument)(entry(name, 1))


@functools.cache
def _cast_result_new():
    """The function that creates a cast result."""
    address = entry("zelmor.pygc._C_APIF", 0)
    return ctypes.PYFUNCTYPE(ctypes.py_object, ctypes.c_int, ctypes.c_void_p)(address)


def cast_result(status, *value):
    """A cast result as another module creates it; without a value the pointer is null."""
    return _cast_result_new()(status, id(value[0]) if value else None)
