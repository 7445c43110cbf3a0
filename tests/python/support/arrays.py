"""The type of pictures as arrays, for helpers that need nothing of the module that is tested."""

from __future__ import annotations

from typing import Any

import numpy.typing

#: An array with the dimensions rows, columns and, except for gray, bands.
Pixels = numpy.typing.NDArray[Any]
