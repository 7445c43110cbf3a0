"""A class that is indexed by one of its properties: each operation asks the property."""

from __future__ import annotations

import ctypes
from collections.abc import Callable
from typing import Any

import pytest
from zelmor.imaging.masking.result import MaskingResult

#: The way by which C code, and no operator, reads an element.
_get_item = ctypes.PYFUNCTYPE(ctypes.py_object, ctypes.py_object, ctypes.c_ssize_t)(
    ("PySequence_GetItem", ctypes.pythonapi))


@pytest.mark.parametrize("look", [len, lambda result: result[0], lambda result: result[0:1],
                                  lambda result: _get_item(result, 0)])
def test_the_error_of_the_property_is_passed_on(look: Callable[[Any], Any]) -> None:
    with pytest.raises(RuntimeError, match=r"NullReferenceException.*MaskingResult"):
        look(MaskingResult.__new__(MaskingResult))
