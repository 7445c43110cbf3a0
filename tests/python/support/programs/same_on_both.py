"""What the class library says, line by line, for a comparison of the two runtimes; a program of its own.

    same_on_both.py values COUNT SEED     texts, hash codes, equality, properties and methods of random value types
    same_on_both.py defaults              the properties of new objects, and those of classes
    same_on_both.py members               what every member answers to plausible arguments, and does to them

A line is a question, a tab and the answer. The questions are the same on both runtimes.
"""

from __future__ import annotations

import functools
import hashlib
import io
import os
import random
import struct
import sys
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

from support.runtimes import VARIABLES

os.environ.update(VARIABLES)

import zelmor.imaging  # noqa: E402
from support.instances import instance, usual_arguments  # noqa: E402
from support.samples import Cannot, arguments, python_type, samples  # noqa: E402

from tools.generator.builder import load  # noqa: E402
from tools.generator.model import Overload, Property, Type  # noqa: E402
from tools.generator.wires import Wire  # noqa: E402

MODEL = load(Path(__file__).resolve().parents[4] / "api" / "catalogue")
_BITS = {f"{sign}int{width}": (sign == "u", width) for sign in ("", "u") for width in (8, 16, 32, 64)}
#: Names of colors, and texts that are none.
# Colors of the desktop, such as ActiveBorder, have a meaning on .NET alone (docs/departures.md).
_NAMES = ["red", "Tomato", "transparent", "no color", "", "\u00fc"]
#: Types whose hash codes are not the same on both runtimes: .NET makes them new in each process.
_OWN_HASH = {"Color", "PointD", "GuidPacketRepresentation", "EmfBlendFunction", "WmfCieXyz", "WmfPitchAndFamily"}

#: What would end the use of an object, or wait for somebody; and what says what time it is.
_LEFT_OUT = {"dispose", "wait_on_done", "get_modify_date"}
#: How deep the properties of objects in properties are asked.
_DEEPEST = 2


def shown(value: Any, depth: int = 0) -> str:
    """A value as text, the same for equal values on both runtimes."""
    kind = type(value)
    if kind is float:
        return value.hex()
    if kind is bytes or kind is bytearray:
        return f"bytes {len(value)} {bytes(value[:64]).hex()}"
    if value is None or kind.__module__ in ("builtins", "datetime", "decimal", "uuid"):
        return repr(value)
    entry = _types().get(kind)
    if entry is not None and entry.is_enum:
        return f"{entry.name}.{value.name}" if getattr(value, "name", None) else f"{entry.name}({int(value)})"
    if entry is not None and entry.kind == "struct":
        parts = [f"{prop.python}={answer(lambda: getattr(value, prop.python), depth + 1)}"
                 for prop in entry.properties if not prop.static and depth < 2]
        return f"{entry.name}({', '.join(parts)})"
    if hasattr(value, "__len__") and hasattr(value, "__getitem__"):
        return f"[{', '.join(shown(item, depth + 1) for item in list(value)[:20])}]"
    return f"<{kind.__name__}>"


@functools.cache
def _types() -> dict[type, Type]:
    return {python_type(entry): entry for entry in MODEL.types}


def answer(question: Any, depth: int = 0) -> str:
    """The answer of a call, or its error."""
    try:
        return shown(question(), depth)
    except RecursionError:
        raise
    except Exception as error:
        return f"{type(error).__name__}: {error}"


def drawn(wire: Wire, draw: random.Random, depth: int = 0) -> Any:
    """A random value of a kind."""
    if wire.type is not None and wire.type.is_enum:
        return draw.choice(list(python_type(wire.type)))
    if wire.type is not None and wire.type.kind == "struct":
        return made(wire.type, draw, depth + 1)
    if wire.name in _BITS:
        unsigned, width = _BITS[wire.name]
        number = draw.choice((0, 1, draw.randrange(256), draw.getrandbits(width - 1), (1 << width - 1) - 1))
        return number if unsigned else number * draw.choice((1, -1))
    if wire.name in ("float", "double"):
        number = draw.choice((0.0, -0.0, 0.5, -2.5, draw.uniform(-1e4, 1e4), draw.uniform(-1e30, 1e30), float("nan"),
                              float("inf"), -float("inf"), 2147483648.0, 1e-5, 123456789.0))
        return struct.unpack("f", struct.pack("f", number))[0] if wire.name == "float" else number
    if wire.name == "bool":
        return draw.getrandbits(1) == 1
    if wire.name == "string":
        return draw.choice(_NAMES)
    raise Cannot(wire.name)


def given(overload: Overload, draw: random.Random, depth: int) -> list[Any]:
    """Random arguments of an overload."""
    return [[] if param.by_ref else drawn(param.wire, draw, depth) for param in overload.params]


def made(entry: Type, draw: random.Random, depth: int = 0) -> Any:
    """A random value of a type: by a constructor, by a method that makes one, and with random properties."""
    found = python_type(entry)
    if depth > 3:
        return found()
    makers = [*entry.constructors, *(overload for method in entry.methods for overload in method.overloads
                                     if overload.static and overload.result.type is entry)]
    value = None
    if makers and draw.randrange(8):
        overload = draw.choice(makers)
        maker = getattr(found, overload.python) if overload.python else found
        try:
            value = maker(*given(overload, draw, depth))
        except (Cannot, RuntimeError):
            value = None
    value = found() if value is None else value
    for prop in entry.properties:
        if prop.writable and not prop.static and draw.randrange(3) == 0:
            try:
                setattr(value, prop.python, drawn(prop.wire, draw, depth))
            except (Cannot, RuntimeError):
                continue
    return value


def values(count: int, seed: int) -> Iterator[tuple[str, str]]:
    """Questions about value types."""
    for entry in MODEL.types:
        if entry.kind != "struct":
            continue
        found = python_type(entry)
        pool: list[Any] = [found()]
        for number in range(count):
            # Each from a seed of its own: an error on one runtime alone leaves the next one as it is.
            draw = random.Random(f"{seed} {entry.name} {number}")
            value = made(entry, draw)
            name = f"{entry.name} {number}"
            yield f"{name} value", shown(value)
            yield f"{name} str", answer(lambda: str(value))
            if entry.name not in _OWN_HASH:
                yield f"{name} hash", answer(lambda: hash(value))
            other = draw.choice(pool)
            yield f"{name} equal", answer(lambda: [value == other, value == value, other == value])
            assert not value == other or hash(value) == hash(other), (value, other)
            pool.append(value)
            for method in entry.methods:
                for overload in method.overloads:
                    try:
                        arguments = given(overload, draw, 1)
                    except Cannot:
                        continue
                    told = ", ".join(map(shown, arguments))
                    call = getattr(found if overload.static else value, method.python)
                    yield (f"{name} {method.python}({told})",
                           answer(lambda: [call(*arguments), *(a for a in arguments if type(a) is list)]))
            yield f"{name} after", shown(value)


def properties(name: str, owner: Any, entry: Type, static: bool) -> Iterator[tuple[str, str]]:
    """Questions about the properties of an object or of a class; an object in one is asked in turn."""
    for prop in entry.properties:
        if prop.static is static:
            told = answer(lambda: getattr(owner, prop.python))
            yield f"{name}.{prop.python}", told
            inner = _types().get(type(getattr(owner, prop.python))) if told.startswith("<") else None
            if inner is not None and name.count(".") < _DEEPEST:
                yield from properties(f"{name}.{prop.python}", getattr(owner, prop.python), inner, False)


def defaults() -> Iterator[tuple[str, str]]:
    """Questions about new objects of all classes, by each of their constructors, and about the classes."""
    for entry in MODEL.types:
        if entry.is_enum:
            continue
        found = python_type(entry)
        # Dots count the depth of an object in another one.
        name = entry.full_name.replace(".", "::")
        yield from properties(name, found, entry, True)
        for number, overload in enumerate(entry.constructors):
            try:
                made = found(*arguments(overload))
            except (Cannot, RuntimeError) as error:
                yield f"{name} {number}", f"{type(error).__name__}: {error}"
                continue
            yield f"{name} {number}", answer(lambda: str(made))
            yield from properties(f"{name} {number}", made, entry, False)


def told_of(value: Any) -> str:
    """An argument after a call, or what a call gave: files and long bytes by their content."""
    if isinstance(value, io.BytesIO):
        return f"file {told_of(value.getvalue())} at {value.tell()}"
    if isinstance(value, (bytes, bytearray)):
        return f"{len(value)} bytes {hashlib.sha256(value).hexdigest()}"
    return shown(value)


def answer_of(call: Callable[[], Any]) -> str:
    """The answer of a call, its error, or that no arguments could be had."""
    try:
        return told_of(call())
    except (Cannot, RuntimeError, ValueError, TypeError, OverflowError, AttributeError) as error:
        return f"{type(error).__name__}: {error}"


def used(call: Callable[..., Any], overload: Overload) -> str:
    """What a call with plausible arguments answers, and the arguments after it."""
    given = usual_arguments(overload)
    return " ".join([answer_of(lambda: call(**given)), *map(told_of, given.values())])


def members() -> Iterator[tuple[str, str]]:
    """Questions about every member."""
    for entry in MODEL.types:
        if entry.is_enum:
            continue
        found = python_type(entry)
        for overload in entry.constructors:
            yield f"{entry.full_name}.new {overload}", answer_of(lambda: used(found, overload))
        for prop in entry.properties:
            name = f"{entry.full_name}.{prop.python}"
            yield name, answer_of(lambda: getattr(found if prop.static else instance(entry), prop.python))
            if prop.writable and not prop.static:
                yield from settings(name, entry, prop)
        for method in entry.methods:
            if method.python in _LEFT_OUT:
                continue
            for overload in method.overloads:
                yield f"{entry.full_name}.{method.python} {overload}", answer_of(lambda: used(
                    getattr(found if overload.static else instance(entry), method.python), overload))


def settings(name: str, entry: Type, prop: Property) -> Iterator[tuple[str, str]]:
    """Questions about the values that a property takes, and what it is then."""
    try:
        given = samples(prop.wire)[:5]
    except Cannot:
        return
    for number, value in enumerate(given):
        try:
            owner = instance(entry)
        except Cannot:
            return
        yield f"{name} = {number}", answer_of(lambda: setattr(owner, prop.python, value))
        yield f"{name} after {number}", answer_of(lambda: getattr(owner, prop.python))


def main() -> None:
    """Prints all lines."""
    kind = sys.argv[1]
    asked = (defaults() if kind == "defaults" else members() if kind == "members"
             else values(int(sys.argv[2]), int(sys.argv[3])))
    for question, told in asked:
        print(f"{question}\t{told}".replace("\n", "\\n"))
    assert zelmor.imaging


main()
