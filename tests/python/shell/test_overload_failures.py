"""Overload attempts that fail for another reason than an unsuitable argument: interrupts, errors without a text,
exhausted memory."""

from __future__ import annotations

import signal
import sys
from collections.abc import Callable, Iterator
from typing import Any

import pytest
from zelmor.imaging import Color, Image, Rectangle, RectangleF, Size

from support.package_process import child


class Interrupts:
    """Raised by the default handler of Ctrl-C: an exception type without an instance."""

    @staticmethod
    def happen() -> None:
        signal.raise_signal(signal.SIGINT)


class Raises:
    """Raised with an instance, as usual."""

    def __init__(self, error: BaseException) -> None:
        self._error = error

    def happen(self) -> None:
        raise self._error


def odd_integer(event: Any) -> Any:
    """An instance of a subclass of int; when a converter checks its class, the event happens."""

    def asked(_: Any) -> Any:
        event.happen()

    return type("OddInteger", (int,), {"__class__": property(asked)})(1)


def odd_object(event: Any) -> Any:
    """An object whose event happens when a converter checks whether it is a file."""

    def asked(_: Any) -> Any:
        event.happen()

    return type("OddObject", (), {"__class__": property(asked)})()


#: For every kind of group: a call with an unusual argument, and the attempts that follow the one that converts it.
GROUPS: dict[str, Callable[[Any], Any]] = {
    "static methods, a stream": lambda event: Image.can_load(odd_object(event)),
    "static methods, an integer": lambda event: Color.from_argb(odd_integer(event)),
    "constructors": lambda event: Size(odd_integer(event), 1),
    "mixed methods": lambda event: Rectangle(1, 2, 3, 4).inflate(odd_integer(event), 1),
    "mixed methods, the last": lambda event: RectangleF(1, 2, 3, 4).inflate(1, odd_integer(event)),
}


@pytest.fixture
def python_handles_ctrl_c() -> Iterator[None]:
    """A process that a shell starts in the background ignores the signal."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)


@pytest.mark.usefixtures("python_handles_ctrl_c")
@pytest.mark.parametrize("group", GROUPS)
def test_an_interrupt_goes_through(group: str) -> None:
    with pytest.raises(KeyboardInterrupt) as raised:
        GROUPS[group](Interrupts)
    assert raised.value.args == ()
    assert raised.value.__cause__ is None and raised.value.__context__ is None


@pytest.mark.parametrize("group", GROUPS)
@pytest.mark.parametrize("kind", [KeyboardInterrupt, SystemExit, GeneratorExit, BaseException])
def test_what_is_no_exception_ends_the_dispatch(group: str, kind: type[BaseException]) -> None:
    error = kind("as it is")
    with pytest.raises(kind) as raised:
        GROUPS[group](Raises(error))
    assert raised.value is error
    assert error.__cause__ is None and error.__context__ is None


def test_an_interrupt_ends_the_dispatch_before_an_overload_that_fits() -> None:
    asked = 0

    class Counting:
        @staticmethod
        def happen() -> None:
            nonlocal asked
            asked += 1
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        Color.from_argb(odd_integer(Counting))
    assert asked == 1


@pytest.mark.usefixtures("python_handles_ctrl_c")
def test_the_earlier_reasons_of_an_interrupted_dispatch_are_released() -> None:
    argument = odd_object(Interrupts)
    before = sys.getrefcount(argument)
    for _ in range(20):
        with pytest.raises(KeyboardInterrupt):
            Image.can_load(argument)
    assert sys.getrefcount(argument) == before


@pytest.mark.parametrize("group", GROUPS)
def test_any_other_exception_is_a_reason_of_its_attempt(group: str) -> None:
    with pytest.raises(TypeError) as raised:
        GROUPS[group](Raises(LookupError("nothing there")))
    assert isinstance(raised.value.args[0], list)
    assert "nothing there" in raised.value.args[0]


@pytest.mark.parametrize("group", GROUPS)
def test_exhausted_memory_is_a_reason_too_and_the_cause(group: str) -> None:
    error = MemoryError()
    with pytest.raises(TypeError) as raised:
        GROUPS[group](Raises(error))
    assert "" in raised.value.args[0]
    assert raised.value.__cause__ is error


SPEECHLESS = """
from zelmor.imaging import Color, Image, Rectangle, Size

class Speechless(ValueError):
    def __init__(self, trouble):
        self.trouble = trouble

    def __str__(self):
        raise self.trouble

class Odd(int):
    def __new__(cls, trouble):
        made = int.__new__(cls, 1)
        made.trouble = trouble
        return made

    @property
    def __class__(self):
        raise Speechless(object.__getattribute__(self, "trouble"))

result = []
CALLS = [lambda odd: Size(odd, 1), lambda odd: Color.from_argb(odd), lambda odd: Rectangle(1, 2, 3, 4).inflate(odd, 1),
         lambda odd: Image.can_load(odd)]
for call in CALLS:
    try:
        call(Odd(RuntimeError("no text")))
    except TypeError as refused:
        result.append(["<unprintable Speechless object>" in refused.args[0],
                       all(type(reason) is str for reason in refused.args[0]), refused.__context__])
for trouble in (KeyboardInterrupt("while told"), SystemExit(3), MemoryError()):
    try:
        Size(Odd(trouble), 1)
    except BaseException as raised:
        result.append(raised is trouble)
"""


def test_a_reason_whose_str_raises_is_unprintable() -> None:
    """In a process of its own: the list of reasons could contain a null pointer."""
    assert child(SPEECHLESS) == [[True, True, None]] * 4 + [True] * 3
