"""Writes a synthetic catalogue of the size of the whole API, to measure generation, compilation and import.

    python3 -m tools.synthetic_catalogue OUT

The counts are those of the managed assembly: classes, enumerations, modules and entry points of each kind. The
types of parameters and results are assigned in rotation, so that every kind of wire value occurs equally often.
"""

from __future__ import annotations

import itertools
import sys
from collections.abc import Iterator
from pathlib import Path

from .generator.catalogue import read_catalogue
from .generator.identifiers import Identifiers
from .generator.naming import snake_case

ROOT = "Zelmor.Imaging"
ROOT_IDENTIFIER = "EA2A999D"
CLASSES, STRUCTS, INTERFACES, STATIC_CLASSES = 796, 13, 47, 35
ENUMS, FLAGS = 232, 23
MODULES = 113
GETTERS, SETTERS, METHODS, CONSTRUCTORS, STATIC_GETTERS = 4087, 3440, 1901, 1069, 304
MEMBERS_PER_ENUM = 14

VALUES = ("int32", "bool", "string", "float", "double", "uint8", "int64", "object", "bytes", "Class1", "Struct1",
          "Interface1", "Enum1", "Flags1")


def _spread(total: int, places: int) -> list[int]:
    """`total` split into `places` parts as evenly as possible."""
    return [total // places + (index < total % places) for index in range(places)]


def _names(managed: str) -> str:
    """The Python name and the managed name of a member."""
    return f"{snake_case(managed)} {managed}"


def _class(number: int, counts: Iterator[tuple[int, ...]], values: Iterator[str]) -> list[str]:
    """A class with its share of the entry points; every third one derives from its predecessor."""
    name = f"Class{number}"
    base = f" : Class{number - 1}" if number > 2 and number % 3 == 0 else ""
    constructors, methods, getters, setters, statics = next(counts)
    lines = [f"class {name}{base}"]
    lines += [f"    ctor ({', '.join(f'arg{i}: {next(values)}' for i in range(k))})" for k in range(constructors)]
    for k in range(methods):
        group = k // 2  # two overloads each for every other name
        params = ", ".join(f"arg{i}: {next(values)}" for i in range(1 + k % 2))
        lines.append(f"    method {_names(f'DoWork{number}Group{group}')} ({params}) -> {next(values)}")
    lines += [f"    {'getset' if k < setters else 'get'} {_names(f'Part{number}Value{k}')} {next(values)}"
              for k in range(getters)]
    lines += [f"    static_get {_names(f'Shared{number}Value{k}')} {next(values)}" for k in range(statics)]
    return [*lines, ""]


def write_catalogue(out: Path) -> None:
    """Writes the catalogue below `out`."""
    out.mkdir(parents=True, exist_ok=True)
    namespaces = [ROOT, *(f"{ROOT}.Space{number}" for number in range(1, MODULES))]
    rows = [f"{name} {'zelmor.' + name.split('.', 1)[1].lower()} "
            f"{ROOT_IDENTIFIER if name == ROOT else format(number, '08X')}" for number, name in enumerate(namespaces)]
    (out / "modules.tab").write_text("assembly WrpInterop.Zelmor.Imaging\n" + "\n".join(rows) + "\n")
    counts = zip(*(_spread(total, CLASSES) for total in (CONSTRUCTORS, METHODS, GETTERS, SETTERS, STATIC_GETTERS)))
    values = itertools.cycle(VALUES)
    blocks = [_class(number, counts, values) for number in range(1, CLASSES + 1)]
    blocks += [[f"struct Struct{n}", "    ctor ()", ""] for n in range(1, STRUCTS + 1)]
    blocks += [[f"interface Interface{n}", f"    get {_names(f'Depth{n}')} int32", ""]
               for n in range(1, INTERFACES + 1)]
    blocks += [[f"static class Helper{n}", f"    static {_names(f'Make{n}')} () -> Class1", ""]
               for n in range(1, STATIC_CLASSES + 1)]
    for kind, stem, total in (("enum", "Enum", ENUMS), ("enum flags", "Flags", FLAGS)):
        blocks += [[f"{kind} {stem}{n} : int32", *(f"    MEMBER_{m} {m}" for m in range(MEMBERS_PER_ENUM)), ""]
                   for n in range(1, total + 1)]
    files: dict[str, list[str]] = {name: [] for name in namespaces}
    for name, block in zip(itertools.cycle(namespaces), blocks):
        files[name] += block
    for name, lines in files.items():
        text = f"namespace {name} as zelmor.{name.split('.', 1)[1].lower()}\n\n" + "\n".join(lines)
        (out / f"{name}.cat").write_text(text)
    table = Identifiers(path=out / "identifiers.tab")
    table.complete([f"{entry.namespace}.{entry.name}" for entry in read_catalogue(out).types], {})
    table.write()


if __name__ == "__main__":
    write_catalogue(Path(sys.argv[1]))
