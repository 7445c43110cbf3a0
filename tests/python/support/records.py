"""The records of the wire as ctypes structures, for tests that play the managed side."""

from __future__ import annotations

import ctypes


class VariantArg(ctypes.Structure):
    """A tagged argument or result."""

    _fields_ = [("tag", ctypes.c_int32), ("value", ctypes.c_void_p)]


class PyStringArg(ctypes.Structure):
    """A pointer into the storage of a str."""

    _fields_ = [("length", ctypes.c_int32), ("char_size", ctypes.c_int32), ("data", ctypes.c_void_p)]

    def text(self) -> str | None:
        """The characters; None for a record that stands for None."""
        if self.length < 0:
            return None
        data = ctypes.string_at(self.data, self.length * self.char_size)
        return data.decode({1: "latin-1", 2: "utf-16-le", 4: "utf-32-le"}[self.char_size], "surrogatepass")


class PyBytesArg(ctypes.Structure):
    """A pointer to the memory of a contiguous buffer."""

    _fields_ = [("acquired", ctypes.c_int32), ("length", ctypes.c_int32), ("data", ctypes.c_void_p)]
