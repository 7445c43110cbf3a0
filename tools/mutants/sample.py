"""Which sources are changed, and a sample of their changes that the same seed always draws."""

from __future__ import annotations

import hashlib
from collections.abc import Sequence
from pathlib import Path

from .changes import Change, changes

# The bridge, part by part, and the embedded runtime.
RUNTIME = "runtime/native"
PARTS = ["host", "exchange", "pyshell", "convert", "streams", "collections", "siblings", RUNTIME]


def part_of(path: str) -> str:
    """The part that a source belongs to."""
    return next((part for part in PARTS if path.startswith(f"{part}/")), path.partition("/")[0])


def sources(root: Path, paths: Sequence[str]) -> list[str]:
    """The C++ sources below the paths, all of them files or folders of the tree."""
    found: set[Path] = set()
    for path in paths:
        place = root / path
        if place.is_file():
            found.add(place)
        elif place.is_dir():
            found.update(file for ending in ("*.cpp", "*.h") for file in place.rglob(ending))
        else:
            raise FileNotFoundError(f"{path} is no file or folder of the tree")
    return sorted(file.relative_to(root).as_posix() for file in found)


def draw(root: Path, paths: Sequence[str], seed: int, count: int) -> list[Change]:
    """`count` changes, at most one at a place: half of them of the runtime, the others of each part of the bridge in
    turn, as long as there are some.

    The lot of a change hangs on its own line only, so that work elsewhere leaves the sample what it was, and a larger
    sample begins with the smaller one.
    """
    parts: dict[str, list[tuple[str, Change]]] = {}
    for path in sources(root, paths):
        text = (root / path).read_text()
        lines = text.splitlines()
        seen: dict[str, int] = {}
        for change in changes(path, text):
            key = f"{seed}|{path}|{lines[change.line - 1].strip()}|{change.kind}|{change.replacement}"
            seen[key] = seen.get(key, 0) + 1
            lot = hashlib.sha256(f"{key}|{seen[key]}".encode()).hexdigest()
            parts.setdefault(part_of(path), []).append((lot, change))
    for lots in parts.values():
        lots.sort(key=lambda entry: entry[0], reverse=True)
    runtime = [parts[RUNTIME]] if RUNTIME in parts else []
    turns = [lots for part in parts if part != RUNTIME for lots in (parts[part], *runtime)] or runtime
    drawn: list[Change] = []
    places: set[tuple[str, int, int]] = set()
    while len(drawn) < count and any(parts.values()):
        for lots in turns:
            while lots and len(drawn) < count:
                change = lots.pop()[1]
                place = (change.path, change.start, change.end)
                if place not in places:
                    places.add(place)
                    drawn.append(change)
                    break
    return drawn
