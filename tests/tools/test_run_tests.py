"""Which tests run on .NET, too, and what the last line says of it."""

from __future__ import annotations

import pytest

from tools.run_tests import ON_DOTNET, bridge_tests


@pytest.mark.parametrize(("asked", "expected"), [
    ([], ON_DOTNET),
    (["tests/python"], ON_DOTNET),
    (["tests"], ON_DOTNET),
    (["tests/python/wire"], ["tests/python/wire"]),
    (["tests/python/wire/"], ["tests/python/wire"]),
    (["tests/python/wire/test_a.py::test_b"], ["tests/python/wire/test_a.py::test_b"]),
    (["tests/generator", "tests/python/images/test_load.py"], ["tests/python/images/test_load.py"]),
    (["tests/generator", "tests/python/images/test_lossless_jpeg.py"], []),
    (["tests/python/wired"], []),
])
def test_the_tests_of_the_bridge_run_on_both(asked: list[str], expected: list[str]) -> None:
    assert bridge_tests(asked) == expected
