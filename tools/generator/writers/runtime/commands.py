"""The command that writes what the embedded runtime knows of the catalogue: its tables and its names."""

from __future__ import annotations

from pathlib import Path

from ...builder import load
from ...command import Command
from ...records import read_layouts
from ..cpp_layout import laid_out
from ..text import write_if_changed
from .names import write_names
from .record_tables import RecordTables
from .tables import Tables


def _runtime(out: Path, catalogues: list[Path]) -> str:
    models = [load(path) for path in catalogues]
    files = {out / "tables.cpp": Tables(models).write()}
    layouts = [read_layouts(model.directory.parent / "records", model) for model in models]
    described = [each for each in layouts if each.blocks]  # one assembly has layouts of records
    files[out / "record_tables.cpp"] = RecordTables(described[0] if described else layouts[0]).write()
    files.update({out / name: lines for name, lines in write_names(models).items()})
    for path, lines in files.items():
        write_if_changed(path, laid_out(lines))
    for path in out.glob("*.h"):  # of namespaces that are gone
        if path not in files:
            path.unlink()
    return ""


COMMANDS = (
    Command("runtime", ("out", "catalogues..."),
            "write the tables of the embedded runtime for all assemblies, and the names by which its behaviors are "
            "registered", _runtime),
)
