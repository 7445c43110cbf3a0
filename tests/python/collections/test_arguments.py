"""Python lists for overloads that differ only in the element type, and lists of NumPy scalars."""

from __future__ import annotations

import numpy
import pytest
from zelmor.imaging.imageoptions import MultiPageOptions

WANTED = numpy.array([True, False, True])


def test_a_list_goes_to_the_first_overload_that_takes_one() -> None:
    assert list(MultiPageOptions([0, 2]).pages) == [0, 2]
    with pytest.raises(RuntimeError) as refused:
        MultiPageOptions(["cover", "map"])
    assert "can't build 'Int32' from 'str'" in str(refused.value)


def test_a_keyword_says_which_overload_is_meant() -> None:
    options = MultiPageOptions(page_titles=["cover", "map"])
    assert list(options.page_titles) == ["cover", "map"]
    assert list(MultiPageOptions(pages=[0, 2]).pages) == [0, 2]


def test_scalars_of_numpy_are_no_numbers_and_their_python_values_are() -> None:
    pages = numpy.flatnonzero(WANTED)
    assert list(MultiPageOptions(pages.tolist()).pages) == [0, 2]
    for refused_list in (list(pages), tuple(pages)):
        with pytest.raises(RuntimeError) as refused:
            MultiPageOptions(refused_list)
        assert "can't build 'Int32' from 'numpy.int64'" in str(refused.value)
