"""The commands that write C++: the wrappers of an assembly, and the keywords of all calls."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from ...entry_points import declared_overloads
from ...model import Model
from ...pinned import check_symbols, read_pinned
from ...property_types import check_collections
from ...reports import summary
from ..cpp_layout import laid_out
from ..cpp_text import quoted
from ..text import write_if_changed
from .enumeration import write_enumeration
from .header import write_header
from .module_tree import write_module_tree
from .typed_collections import write_collections
from .wrapper import write_wrapper


def printed_files(model: Model, product: str) -> dict[str, list[str]]:
    """All sources and headers of an assembly by name, each statement in one line however long it is."""
    files = {f"{product}.h": write_header(model, product), "module_tree.cpp": write_module_tree(model, product)}
    for entry in model.types:
        writer = write_enumeration if entry.is_enum else write_wrapper
        files[f"{entry.full_name}.cpp"] = writer(entry, product)
    files.update(write_collections(model, product))
    return files


def module_files(model: Model, product: str) -> dict[str, list[str]]:
    """All sources and headers of an assembly by name, as they are written."""
    return {name: laid_out(lines) for name, lines in printed_files(model, product).items()}


def write_module(catalogue: Path, out: Path) -> str:
    """Writes the sources of an assembly below `out` and removes those of types that are gone."""
    model = load(catalogue)
    check_collections(model)
    files = {out / name: lines for name, lines in module_files(model, out.name).items()}
    check_symbols(read_pinned(catalogue / "pinned.tab"), ("\n".join(lines) for lines in files.values()))
    for path, lines in files.items():
        write_if_changed(path, lines)
    write_if_changed(out / "sources.txt", sorted(str(path) for path in files if path.suffix == ".cpp"))
    for path in out.glob("*.cpp"):
        if path not in files:
            path.unlink()
    return summary(model)


def keyword_lists(models: list[Model]) -> list[str]:
    """The keywords of every overload, each list once, as rows of a C++ initializer."""
    lists = {tuple(param.name for param in overload.params)
             for model in models for entry in model.types for overload in declared_overloads(entry)}
    return ["{" + ", ".join([*(quoted(name) for name in names), "nullptr"]) + "}," for names in sorted(lists)]


def _keywords(out: Path, catalogues: list[Path]) -> str:
    write_if_changed(out, keyword_lists([load(path) for path in catalogues]))
    return ""


COMMANDS = (
    Command("module", ("catalogue", "out"), "write the sources of one assembly's wrappers, and the list of them",
            write_module),
    Command("keywords", ("out", "catalogues..."), "write every list of keywords that a call can have, for the test of "
            "the argument parser", _keywords),
)
