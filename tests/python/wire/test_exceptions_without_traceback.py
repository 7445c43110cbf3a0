"""Exceptions of Python files on the managed side, when Python's own module for their text is not to be had."""

from __future__ import annotations

import io
import sys
from typing import cast

import pytest
from zelmor.imaging import StreamContainer


class File(io.RawIOBase):
    """A file that raises an exception when it is read."""

    def __init__(self, error: Exception) -> None:
        super().__init__()
        self.error = error

    def readable(self) -> bool:
        return True

    def readinto(self, buffer: object) -> int:
        raise self.error


def told(error: Exception, monkeypatch: pytest.MonkeyPatch) -> str:
    """What Python is told of an exception that went through the managed side."""
    container = StreamContainer(File(error))
    with monkeypatch.context() as patch:
        patch.setitem(cast("dict[str, object]", sys.modules), "traceback", None)
        with pytest.raises(RuntimeError) as raised:
            container.read_byte()
    return str(raised.value)


class Numbered(type):
    """Of classes whose qualified name is a number."""

    def __getattribute__(cls, name: str) -> object:
        return 5 if name == "__qualname__" else super().__getattribute__(name)

    def __str__(cls) -> str:
        return "the numbered"


class Nameless(type):
    """Of classes whose qualified name cannot be had."""

    def __getattribute__(cls, name: str) -> object:
        if name == "__qualname__":
            raise KeyError(name)
        return super().__getattribute__(name)

    def __str__(cls) -> str:
        return "the nameless"


class NumberedError(ValueError, metaclass=Numbered):
    pass


class NamelessError(ValueError, metaclass=Nameless):
    pass


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
def test_the_qualified_name_of_the_class_stands_before_the_text(monkeypatch: pytest.MonkeyPatch) -> None:
    class Inner(Exception):
        pass

    text = told(Inner("no more paper"), monkeypatch)
    assert f"{Inner.__qualname__}: no more paper" in text


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
@pytest.mark.parametrize(("error", "shown"), [
    (NumberedError("no more paper"), "the numbered: no more paper"),
    (NamelessError("no more paper"), "the nameless: no more paper")])
def test_a_class_without_a_name_is_shown_as_text(
        error: Exception, shown: str, monkeypatch: pytest.MonkeyPatch) -> None:
    assert shown in told(error, monkeypatch)
