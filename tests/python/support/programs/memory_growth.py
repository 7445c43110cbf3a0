"""Uses every member of every class repeatedly and reports where Python's memory grows with each use.

Run as a program (`make growth`), with parts of class names to select classes. It counts the memory blocks that Python
has allocated: an object with a leaked reference is never freed. The first rounds fill caches and are not counted; a
class that grows in each of the later rounds is reported. The memoryviews that calls of a Python file leave behind are
counted and subtracted.
"""

from __future__ import annotations

import contextlib
import gc
import io
import os
import sys
import tempfile
import types
from collections.abc import Callable
from pathlib import Path
from typing import Any

TESTS = Path(__file__).parents[2]
sys.path[:0] = [str(TESTS), str(TESTS / "catalogue"), str(TESTS.parents[1])]

import conftest  # noqa: E402, F401  (starts the runtime of the tests)
import pytest  # noqa: E402
import support.samples  # noqa: E402
import test_use as use  # noqa: E402
from support.control import control  # noqa: E402

from tools.generator.model import Type  # noqa: E402

WARM_UP, ROUNDS = 3, 3
USES: list[tuple[Callable[[Type], None], Callable[[Type], object]]] = [
    (use.test_constructors, lambda entry: entry.constructors),
    (use.test_properties, lambda entry: entry.kind != "static class" and entry.properties),
    (use.test_static_properties, lambda entry: any(prop.static for prop in entry.properties)),
    (use.test_methods, lambda entry: entry.methods),
]


class CountingFile(io.BytesIO):
    """A file that counts the memoryviews that it is called with."""

    views = 0

    def readinto(self, buffer: Any) -> int:
        CountingFile.views += type(buffer).__name__ == "_ShlBufferView"
        return super().readinto(buffer)

    def write(self, data: Any) -> int:
        CountingFile.views += type(data).__name__ == "_ShlBufferView"
        return super().write(data)


def blocks() -> int:
    """The number of allocated blocks, without garbage, names in the cache of type attributes, and memoryviews."""
    gc.collect()
    sys._clear_type_cache()
    return sys.getallocatedblocks() - CountingFile.views


def growth(test: Callable[[Type], None], entry: Type) -> list[int]:
    """The growth of that number in each of the rounds."""
    found = []
    for number in range(WARM_UP + ROUNDS):
        before = blocks()
        with contextlib.suppress(pytest.skip.Exception):
            test(entry)
        control.reset()
        if number >= WARM_UP:
            found.append(blocks() - before)
    return found


def main() -> int:
    support.samples.io = types.SimpleNamespace(BytesIO=CountingFile)  # type: ignore[attr-defined]
    looked, grows, failed = 0, 0, 0
    with tempfile.TemporaryDirectory() as directory:
        os.chdir(directory)
        for test, applies in USES:
            for entry in use.WRAPPERS:
                if applies(entry) and any(part in entry.full_name for part in sys.argv[1:] or [""]):
                    looked += 1
                    try:
                        found = growth(test, entry)
                    except AssertionError as error:  # the sweep may fail; a failure is reported and hides no other
                        failed += 1
                        print(f"{test.__name__} {entry.full_name} fails: {error}", flush=True)
                        continue
                    if min(found) > 0:
                        grows += 1
                        print(f"{test.__name__} {entry.full_name}: {found}", flush=True)
        os.chdir("/")
    print(f"growth: {looked} uses of classes, {grows} of them grow" + (f", {failed} fail" if failed else ""))
    return 1 if grows or failed or not looked else 0


if __name__ == "__main__":
    sys.exit(main())
