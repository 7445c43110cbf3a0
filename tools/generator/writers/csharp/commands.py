"""The command that writes the C# of one catalogue: its class library and its interop assembly."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from ..text import write_if_changed
from .hosts import write_host
from .implemented import Implemented
from .library import Library
from .parts import DocumentedParts
from .services import write_interop_services, write_services


def _write(directory: Path, files: dict[str, list[str]]) -> None:
    for name, lines in files.items():
        write_if_changed(directory / name, lines)
    for path in directory.glob("*.cs"):  # of types that are gone
        if path.name not in files:
            path.unlink()


def _csharp(catalogue: Path, library: Path, out: Path) -> str:
    model = load(catalogue)
    implemented = Implemented(library if library.is_dir() else None)
    implemented.check(model)
    files = Library(model, implemented).files()
    if library.is_dir():
        files |= DocumentedParts(model, library).files()
    if files:
        _write(out / library.name.removesuffix(".csproj"), files)
    hosts = {f"{entry.host_class}.cs": write_host(entry, implemented) for entry in model.types}
    _write(out / model.assembly, {**hosts, **write_services(model)})
    return ""


def _csharp_services(out: Path) -> str:
    _write(out, write_interop_services())
    return ""


COMMANDS = (
    Command("csharp-services", ("out",), "write the C# of an interop assembly without a catalogue", _csharp_services),
    Command("csharp", ("catalogue", "library", "out"),
            "write the C# of one assembly: the class library below <out>/<name of the library's folder>, with the "
            "hand-written parts in that folder, and the interop assembly below <out>/<its name>", _csharp),
)
