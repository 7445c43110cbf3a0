"""Random calls of the module from a seed, each beside a model in plain Python; a program of its own.

    random_calls.py --seed 7 [--seconds 5 | --rounds 1] [--steps 400] [--log FILE]

The work is done in rounds. A round has a seed of its own, starts with nothing, and has to end with nothing: the same
handles and Python objects as before it. In between several threads take random steps: values, lists, streams and
containers whose Python half raises, calls back in the middle of a call, lets other threads in, or ends what the call
uses. On .NET, threads of .NET collect garbage at any time, hold objects that Python holds too, and use Python files and
lists themselves, under the interpreter's lock.

A step is written to the log before it is taken, so that the log of a process that crashed tells the last ones. A
failure prints the seed of its round: `--seed` with it and `--rounds 1` begins with the same steps.
"""

from __future__ import annotations

import argparse
import array
import ctypes
import gc
import io
import itertools
import os
import random
import sys
import threading
import time
import traceback
from collections.abc import Callable
from ctypes import c_int, c_int64, c_void_p
from datetime import datetime, timedelta, timezone
from decimal import Decimal
from typing import Any
from uuid import UUID

from support.runtimes import ON_DOTNET, VARIABLES

os.environ.update(VARIABLES)

import zelmor.imaging  # noqa: E402
from support.anything import holder  # noqa: E402
from support.collections import make_interop, make_typed, new_dictionary  # noqa: E402
from support.control import control  # noqa: E402
from support.meddling_values import moment  # noqa: E402
from zelmor.imaging import (  # noqa: E402
    Color, NonGenericList, Point, PointF, Rectangle, RectangleF, Size, SplitStreamContainer, StreamContainer,
)
from zelmor.imaging.sources import StreamSource  # noqa: E402

#: What every byte of a file is that threads share: each of them moves its position.
MARK = 0x5A
#: The identifiers of the typed collections of 32-bit integers and of texts.
WORDS, TEXTS = "A4A29720", "CBE911FC"
CONTROL = "Zelmor.WrpGen.Control"
_PYTHON_THREADS, _DOTNET_THREADS = 3, 3


class Counted:
    """Python objects that are counted: at the end of a round none of them is left."""

    alive = 0

    def __init__(self, *arguments: Any) -> None:
        super().__init__(*arguments)
        Counted.alive += 1

    def __del__(self) -> None:
        Counted.alive -= 1


class Mine(Exception):
    """What Python code raises on purpose."""


class File(Counted, io.BytesIO):
    """A file whose methods sometimes do something else first."""

    meddle: Callable[[], None] | None = None
    #: Views of memory that were passed to files: by design none is released.
    views = itertools.count()

    def _meddle(self) -> None:
        if self.meddle is not None:
            self.meddle()

    def readinto(self, buffer: Any) -> int:
        next(File.views)
        self._meddle()
        return super().readinto(buffer)

    def write(self, data: Any) -> int:
        next(File.views)
        self._meddle()
        return super().write(data)

    def seek(self, offset: int, whence: int = 0) -> int:
        self._meddle()
        return super().seek(offset, whence)

    def flush(self) -> None:
        self._meddle()
        super().flush()


class List(Counted, list[Any]):
    """A list whose methods sometimes do something else first."""

    meddle: Callable[[], None] | None = None

    def __getitem__(self, index: Any) -> Any:
        if self.meddle is not None:
            self.meddle()
        return super().__getitem__(index)


class Walk(Counted):
    """An iterable that raises in the middle."""

    def __init__(self, items: list[Any], fails: bool) -> None:
        super().__init__()
        self.items, self.fails = items, fails

    def __len__(self) -> int:
        return len(self.items)

    def __iter__(self) -> Any:
        yield from self.items
        if self.fails:
            raise Mine("the walk ends badly")


class Shared:
    """Objects that all threads of a round use, of Python and of .NET."""

    def __init__(self) -> None:
        self.file = File(bytes([MARK]) * 5000)
        self.container = StreamContainer(self.file)
        self.items = List([MARK] * 50)
        self.list = NonGenericList(self.items)
        self.dictionary = new_dictionary()


class Log:
    """The steps of a round, at once in a file."""

    def __init__(self, path: str | None) -> None:
        self._file = os.open(path, os.O_CREAT | os.O_WRONLY | os.O_TRUNC) if path else -1

    def begin(self, seed: int) -> None:
        """A new round; the steps of the one before are dropped."""
        if self._file >= 0:
            os.ftruncate(self._file, 0)
            os.lseek(self._file, 0, os.SEEK_SET)
        self.write(f"round with seed {seed}")

    def write(self, text: str) -> None:
        """One line."""
        if self._file >= 0:
            os.write(self._file, f"{text}\n".encode())


def same(left: Any, right: Any) -> None:
    """Stops where two values differ."""
    assert left == right, (left, right)


class Walker:
    """One thread of a round, with objects of its own."""

    broken = ""

    def __init__(self, name: str, seed: str, shared: Shared, log: Log) -> None:
        self.name, self.draw, self.shared, self.log = name, random.Random(seed), shared, log
        self.depth = 0
        self.typed, self.numbers = make_typed(WORDS, "list"), list[int]()
        self.untyped, self.values = make_interop("arrlist"), list[Any]()
        self.file = File(b"")
        self.container, self.model = StreamContainer(self.file), io.BytesIO()
        self.inner = List()
        self.around = NonGenericList(self.inner)
        self.kept: list[Any] = []
        self.holder = holder()
        self.steps = [getattr(self, name) for name in dir(type(self)) if name.startswith("do_")]

    def step(self) -> None:
        """Takes one step."""
        step = self.draw.choice(self.steps)
        name = step.__name__.removeprefix("do_")
        self.log.write(f"{self.name}{'  ' * self.depth} {name}")
        assert name != Walker.broken, "broken on purpose"
        step()

    def meddle(self) -> None:
        """What Python code does in the middle of a call."""
        kind = self.draw.randrange(6)
        if kind == 0:
            raise Mine("in the middle")
        if kind == 1:
            gc.collect(0)
        elif kind == 2:
            time.sleep(0)
        elif kind == 3:
            if self.draw.randrange(8) == 0:
                control.collect()
        elif self.depth < 3:
            self.depth += 1
            try:
                self.step()
            finally:
                self.depth -= 1

    def raises_mine(self, call: Callable[[], Any]) -> bool:
        """Whether what the Python code raised came out, with its text and as no other error."""
        try:
            call()
        except Mine:
            return True
        except RuntimeError as error:
            assert "Mine: in the middle" in str(error) or "Mine: the walk ends badly" in str(error), error
            return True
        return False

    def word(self) -> int:
        """A 32-bit integer."""
        return self.draw.choice((0, 1, -1, 2**31 - 1, -2**31, self.draw.randrange(-2**31, 2**31)))

    def text(self) -> str:
        """A text of characters of any width; halves of surrogate pairs, which are refused, are none."""
        top = self.draw.choice((0x7F, 0xFF, 0x7FF, 0xD7FF, 0x10FFFF))
        codes = (self.draw.randrange(top + 1) for _ in range(self.draw.randrange(20)))
        return "".join(chr(code) for code in codes if not 0xD800 <= code <= 0xDFFF)

    def value(self, depth: int = 0) -> Any:
        """A value that any place of type object takes and gives back equal."""
        draw = self.draw
        kind = draw.randrange(13 if depth < 2 else 11)
        if kind == 0:
            return None
        if kind == 1:
            return draw.getrandbits(1) == 1
        if kind == 2:
            return draw.randrange(-2**63, 2**64)
        if kind == 3:
            return draw.uniform(-1e300, 1e300)
        if kind == 4:
            return self.text()
        if kind == 5:
            return Decimal(draw.getrandbits(90)).scaleb(-draw.randrange(29))
        if kind == 6:
            return datetime(1, 1, 1) + timedelta(microseconds=draw.randrange(3 * 10**17))
        if kind == 7:
            zone = timezone(timedelta(minutes=draw.randrange(-840, 841)))
            return datetime(2, 1, 2, tzinfo=zone) + timedelta(microseconds=draw.randrange(3 * 10**17))
        if kind == 8:
            return timedelta(microseconds=draw.randrange(-9 * 10**17, 9 * 10**17))
        if kind == 9:
            return UUID(int=draw.getrandbits(128))
        if kind == 10:
            return Point(self.word(), self.word())
        return [self.value(depth + 1) for _ in range(draw.randrange(4))]

    def plain(self, value: Any) -> Any:
        """A value with managed lists as Python ones."""
        if isinstance(value, (str, bytes, bytearray)) or not hasattr(value, "__len__"):
            return value
        return [self.plain(item) for item in value]

    # Values

    def do_structures(self) -> None:
        """Values with a model in whole numbers."""
        x, y, w, h = (self.draw.randrange(-10_000, 10_000) for _ in "xywh")
        point = Point(x, y)
        point.offset(w, h)
        same((point.x, point.y, str(point)), (x + w, y + h, f"{{X={x + w},Y={y + h}}}"))
        same(point, Point.add(Point(x, y), Size(w, h)))
        same(hash(point), hash(Point(x + w, y + h)))
        area = Rectangle(x, y, abs(w), abs(h))
        same(area.contains(x, y), w != 0 and h != 0)
        same(RectangleF(x, y, w, h).location, PointF(x, y))
        argb = self.draw.getrandbits(32)
        same(Color.from_argb(argb - 2**32 if argb >= 2**31 else argb).to_argb() % 2**32, argb)

    def do_any_value(self) -> None:
        """Goes through a property of type object."""
        value = self.value()
        self.holder.value = value
        same(self.plain(self.holder.value), value)

    def do_refused_value(self) -> None:
        """Errors on the way leave the old value."""
        self.holder.value = 5
        for wrong in (Decimal("1E+40"), 2**64, moment(self._raise)):
            try:
                self.holder.value = wrong
            except (RuntimeError, OverflowError, TypeError, Mine):
                pass
            else:
                raise AssertionError(f"{wrong} was taken")
        same(self.holder.value, 5)

    def _raise(self) -> None:
        raise Mine("in the middle")

    def do_reentering_value(self) -> None:
        """Its conversion takes other steps."""
        value = moment(self.meddle)
        if not self.raises_mine(lambda: self.values_append(value)):
            same(self.untyped[-1], datetime(2000, 1, 1, tzinfo=timezone.utc))
            self.values = self.plain(self.untyped)

    def values_append(self, value: Any) -> None:
        """The list may be changed before the value is there."""
        self.untyped.append(value)

    # Lists

    def do_typed_change(self) -> None:
        """A list of integers beside Python's."""
        managed, model, word = self.typed, self.numbers, self.word()
        kind, size = self.draw.randrange(9), len(model)
        at = self.draw.randrange(-size - 2, size + 3)
        if kind <= 1:
            managed.append(word)
            model.append(word)
        elif kind == 2:
            managed.insert(at, word)
            model.insert(at, word)
        elif kind == 3:
            more = [self.word() for _ in range(self.draw.randrange(30))]
            managed.extend(more)
            model.extend(more)
        elif kind == 4:
            managed.sort()
            model.sort()
        elif kind == 5:
            managed.reverse()
            model.reverse()
        elif kind == 6:
            start, stop = sorted((self.draw.randrange(size + 1), self.draw.randrange(size + 1)))
            del managed[start:stop]
            del model[start:stop]
        elif kind == 7 and model:
            same(managed.pop(), model.pop())
        elif model and -size <= at < size:
            managed[at] = word
            model[at] = word
        if len(model) > 300:
            managed.clear()
            model.clear()
        same(len(managed), len(model))

    def do_typed_reads(self) -> None:
        """The same list, read."""
        same(list(self.typed), self.numbers)
        word = self.draw.choice(self.numbers) if self.numbers else 1
        same(self.typed.count(word), self.numbers.count(word))
        same(word in self.typed, word in self.numbers)
        try:
            self.typed[len(self.numbers)]
        except IndexError:
            pass
        else:
            raise AssertionError("it is not that long")

    def do_untyped_change(self) -> None:
        """A list of any values."""
        if len(self.values) > 60:
            self.untyped.clear()
            self.values = []
        value = self.value()
        self.untyped.append(value)
        self.values.append(value)
        if self.draw.randrange(4) == 0:
            at = self.draw.randrange(len(self.values))
            del self.untyped[at]
            del self.values[at]
        same(len(self.untyped), len(self.values))

    def do_untyped_reads(self) -> None:
        """The same list, read."""
        same(self.plain(self.untyped), self.values)

    def do_texts(self) -> None:
        """An array of texts."""
        texts = [self.text() for _ in range(self.draw.randrange(1, 8))]
        same(list(make_typed(TEXTS, "array", texts)), texts)

    def do_python_list(self) -> None:
        """A managed list around a Python one: a change on either side shows on the other."""
        inner, around = self.inner, self.around
        inner.meddle = None
        value = self.draw.randrange(100)
        inner.append(value)
        same(around[len(inner) - 1], value)
        around.append(value + 1)
        same(inner[-1], value + 1)
        same(list(around), list(inner))
        if len(inner) > 40:
            inner.clear()
        same(len(around), len(inner))

    def do_meddling_list(self) -> None:
        """Its elements are asked for by code that does anything."""
        own = List(range(self.draw.randrange(1, 10)))
        around = NonGenericList(own)
        own.meddle = self.meddle
        self.raises_mine(lambda: list(around))
        self.raises_mine(lambda: make_interop("arrlist").extend(own))
        self.raises_mine(lambda: around[0])
        own.meddle = None

    def do_walk(self) -> None:
        """A Python iterable that may raise at its end."""
        fails = self.draw.getrandbits(1) == 1
        items = [self.word() for _ in range(self.draw.randrange(10))]
        made = make_interop("arrlist")
        same(self.raises_mine(lambda: made.extend(Walk(items, fails))), fails)
        if not fails:
            same(list(made), items)

    def do_dictionary(self) -> None:
        """A managed dictionary that all threads use, with keys of their own."""
        key = f"{self.name}{self.draw.randrange(10)}"
        dictionary = self.shared.dictionary
        dictionary.remove(key)
        dictionary.add(key, NonGenericList(List([key])))
        if self.draw.getrandbits(1):
            dictionary.remove(key)

    # Streams

    def do_container(self) -> None:
        """A container over a Python file, beside a second file."""
        container, model, draw = self.container, self.model, self.draw
        kind = draw.randrange(5)
        if kind == 0:
            data = draw.randbytes(draw.randrange(3000))
            container.write(data)
            model.write(data)
        elif kind == 1:
            at = draw.randrange(len(model.getvalue()) + 1)
            container.position = at
            model.seek(at)
        elif kind == 2:
            buffer = bytearray(draw.randrange(1, 2000))
            read = container.read(buffer, 0, len(buffer))
            expected = model.read(len(buffer))
            same((read, bytes(buffer[:read])), (len(expected), expected))
        elif kind == 3:
            same(container.to_bytes(), model.getvalue())
        else:
            same(container.length, len(model.getvalue()))
        same(container.position, model.tell())
        same(self.file.getvalue(), model.getvalue())
        if len(model.getvalue()) > 30_000:
            self.file = File(b"")
            self.container, self.model = StreamContainer(self.file), io.BytesIO()

    def do_meddling_file(self) -> None:
        """Its methods do anything in the middle of a copy; what is written in spite of that is right."""
        content = self.draw.randbytes(self.draw.randrange(20_000))
        source, target = File(content), File(b"")
        container = StreamContainer(source)
        source.meddle = self.meddle
        if self.draw.getrandbits(1):
            target.meddle = self.meddle
        failed = self.raises_mine(lambda: container.save(target))
        source.meddle = target.meddle = None
        if not failed:
            same(target.getvalue(), content)

    def do_file_that_ends_its_container(self) -> None:
        """A container is closed by the file that it reads."""
        held = [StreamContainer(File(bytes([MARK]) * 9000))]
        file = File(bytes([MARK]) * 9000)
        container = StreamContainer(file)
        held.append(container)
        file.meddle = held.clear
        del container
        target = File(b"")
        held[-1].save(target)
        same(set(target.getvalue()), {MARK})
        file.meddle = None

    def do_joined(self) -> None:
        """Containers in a container."""
        parts = [self.draw.randbytes(self.draw.randrange(1, 500)) for _ in range(3)]
        joined = SplitStreamContainer(File(parts[0]), False)
        for count, part in enumerate(parts[1:], 1):
            joined.insert(sum(map(len, parts[:count])), StreamContainer(File(part)), False)
        same(joined.to_bytes(), b"".join(parts))

    def do_managed_stream(self) -> None:
        """A stream of .NET as a Python file."""
        stream = StreamSource().stream
        content = self.draw.randbytes(self.draw.randrange(5000))
        same(stream.write(content), len(content))
        stream.seek(0)
        same(stream.read(), content)
        self.kept.append(stream)

    def do_shared(self) -> None:
        """The objects of all threads, of which another one may move the position in the middle of this."""
        same(set(self.shared.container.to_bytes()) | {MARK}, {MARK})
        same(set(self.shared.list), {MARK})
        self.shared.items.append(MARK)
        if len(self.shared.items) > 100:
            del self.shared.items[50:]

    # Lifetimes

    def do_keep(self) -> None:
        """Objects that stay for a while."""
        self.kept.append(self.draw.choice((
            lambda: Point(1, 2), lambda: NonGenericList(List([1])), lambda: StreamContainer(File(b"abc")),
            lambda: make_typed(WORDS, "array", [1, 2]), lambda: NonGenericList(NonGenericList(List()))))())
        if len(self.kept) > 50:
            del self.kept[:self.draw.randrange(50)]

    def do_share(self) -> None:
        """An object that a thread of .NET holds from now on, too."""
        if ON_DOTNET and self.kept:
            dotnet.hold(self.draw.choice(self.kept))

    def do_collect(self) -> None:
        """Garbage of either side goes, or of both."""
        kind = self.draw.randrange(6)
        if kind <= 1:
            control.collect()
        if kind >= 1:
            gc.collect()

    def do_type_objects(self) -> None:
        """Casts and type objects."""
        entry = self.draw.choice((Point, Size, StreamContainer, NonGenericList))
        same(entry._type_of(), entry._type_of())
        assert Size._cast_to(Point(3, 4)).value == Size(3, 4)


class Dotnet:
    """Threads of .NET."""

    def __init__(self) -> None:
        def export(name: str, result: Any, *arguments: Any) -> Any:
            return control.delegate(f"{CONTROL}.Threads", name, result, *arguments, assembly=CONTROL)

        self._start = export("Start", None, c_int, c_int64, c_void_p, c_void_p)
        self._hold, self._use = export("Hold", None, c_void_p), export("Use", None, c_void_p)
        self._stop, self._running = export("Stop", None), export("Running", c_int)
        self._done = export("Done", c_int64)
        self._trouble = control.delegate(f"{CONTROL}.Threads", "Trouble", ctypes.c_size_t, c_void_p, ctypes.c_size_t,
                                         assembly=CONTROL)

    @staticmethod
    def _handle(wrapper: Any) -> Any:
        return c_void_p.from_address(id(wrapper) + 16)

    def start(self, seed: int, shared: Shared) -> None:
        """Starts threads that use the shared objects, under the interpreter's lock."""
        for used in (shared.container, shared.list):
            self._use(self._handle(used))
        ensure, release = (ctypes.cast(getattr(ctypes.pythonapi, f"PyGILState_{name}"), c_void_p)
                           for name in ("Ensure", "Release"))
        self._start(_DOTNET_THREADS, seed & 2**62 - 1, ensure, release)

    def hold(self, wrapper: Any) -> None:
        """Gives an object to these threads, which drop it at some time."""
        self._hold(self._handle(wrapper))

    def stop(self) -> int:
        """Ends the threads; returns how often they used Python objects."""
        self._stop()
        limit = time.monotonic() + 60
        while self._running():
            assert time.monotonic() < limit, "threads of .NET do not end"
            time.sleep(0.001)
        buffer = ctypes.create_string_buffer(4000)
        self._trouble(buffer, len(buffer))
        assert not buffer.value, buffer.value.decode()
        return int(self._done())


def play(seed: int, steps: int, log: Log) -> int:
    """One round; returns how often threads of .NET used Python objects."""
    log.begin(seed)
    draw = random.Random(seed)
    every_call = draw.randrange(8) == 0  # collections between any two calls are slow
    shared = Shared()
    failures: list[tuple[str, BaseException]] = []

    def run(number: int) -> None:
        name = chr(ord("A") + number)
        try:
            walker = Walker(name, f"{seed} {name}", shared, log)
            for _ in range(steps // 20 if every_call else steps):
                if failures:
                    return
                walker.step()
        except BaseException as error:
            failures.append((name, error))

    if ON_DOTNET:
        dotnet.start(seed, shared)
    if every_call:
        control.collect_before_each_call()
    threads = [threading.Thread(target=run, args=[number]) for number in range(_PYTHON_THREADS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    control.reset()
    used = dotnet.stop() if ON_DOTNET else 0
    for name, failure in failures:
        log.write(f"{name} failed: {''.join(traceback.format_exception(failure))}")
        raise failure
    return used


def settled(handles: int) -> tuple[int, int]:
    """The handles and the counted Python objects that are there once garbage is collected."""
    for _ in range(20):
        gc.collect()
        control.collect()
        if control.live() == handles and Counted.alive == 0:
            break
    return control.live(), Counted.alive


def main() -> None:
    """Plays rounds until the time is over."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--seconds", type=float, default=5)
    parser.add_argument("--rounds", type=int, default=100_000)
    parser.add_argument("--steps", type=int, default=400)
    parser.add_argument("--log", help="a file for the steps of the round")
    parser.add_argument("--break", dest="broken", default="", help="a step that is to fail")
    options = parser.parse_args()
    Walker.broken = options.broken
    sys.setswitchinterval(1e-4)
    gc.collect()
    gc.freeze()  # a collection visits what the rounds have made, and not the modules
    log = Log(options.log)
    end = time.monotonic() + options.seconds
    handles, used, rounds, seed = 0, 0, 0, options.seed
    blocks = array.array("q", bytes(8 * 100_000))  # numbers in a list would be blocks themselves
    try:
        while rounds < options.rounds and (rounds == 0 or time.monotonic() < end):
            seed = options.seed + rounds
            # The first round makes what stays: types and hosts that are bound when they are first used.
            before = handles if rounds > 1 else control.live()
            used += play(seed, options.steps, log)
            handles, objects = settled(before)
            assert objects == 0, f"{objects} Python objects are left"
            assert rounds == 0 or handles == before, f"{handles} handles, not {before}: {control.live_by_type()}"
            blocks[rounds] = sys.getallocatedblocks() - next(File.views) + rounds  # each count adds one
            rounds += 1
    except BaseException:
        print(f"a failure in the round with the seed {seed}: --seed {seed} --rounds 1 --steps {options.steps}",
              flush=True)
        raise
    assert not ON_DOTNET or used > 0, "threads of .NET used no Python object"
    print(f"{rounds} rounds, {used} uses by threads of .NET, blocks {blocks[rounds // 2]} to {blocks[rounds - 1]}")
    # Memory that a step does not release shows over many rounds, where nothing is made for the first time any more.
    later = blocks[rounds // 2:rounds]
    if len(later) > 20:
        # Rounds end with some tens of blocks more or less, whatever their number is.
        limit = 150
        assert later[-1] - later[0] < limit, f"memory grows: {later[0]} to {later[-1]} in {len(later)} rounds"


dotnet: Any = Dotnet() if ON_DOTNET else None
assert zelmor.imaging
if __name__ == "__main__":
    main()
