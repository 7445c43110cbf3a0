"""Elements that change their place in a Python list while the managed side reads them."""

from __future__ import annotations

from typing import Any

import pytest
from support.collections import new_dictionary
from support.meddling_values import Text


@pytest.mark.parametrize("start", [0, 1, 2])
@pytest.mark.parametrize("end", [0, 1, 2])
def test_an_element_is_read_wherever_it_moves_to_in_its_list(start: int, end: int) -> None:
    items: list[Any] = [1, 2]
    text = Text("text")

    def move() -> None:
        text.act = None
        items.remove(text)
        items.insert(end, text)

    text.act = move
    items.insert(start, text)
    dictionary = new_dictionary()
    dictionary.add("key", items)
    values = list(list(dictionary.values)[0])
    assert values[start] == "text"
    assert items.index("text") == end
