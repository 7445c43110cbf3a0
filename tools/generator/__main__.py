"""Command line of the generator.

    module CATALOGUE OUT       write the sources of one assembly's wrappers, and the list of them
    runtime OUT CATALOGUE...   write the tables of the embedded runtime for all assemblies, and the names by which its
                               behaviors are registered
    stubs OUT HANDWRITTEN CATALOGUE...
                               write the stub package for all assemblies; types that no catalogue has stand in the
                               directory HANDWRITTEN
    reference OUT GUIDES CATALOGUE...
                               write the pages of the API reference, with the guide pages of the directory GUIDES that
                               they refer to, and the settings of mkdocs
    identifiers CATALOGUE      add the rows that identifiers.tab lacks
    keywords OUT CATALOGUE...  write every list of keywords that a call can have, for the test of the argument parser
    count CATALOGUE            print a table of types and entry points by module
    types CATALOGUE            print where the type of each property comes from that is text, bytes, a date, a
                               collection or anything
"""

from __future__ import annotations

import argparse
import sys
from collections import Counter
from pathlib import Path

from .builder import load
from .catalogue import read_catalogue
from .collections import read_collections
from .errors import CatalogueError
from .identifiers import Identifiers
from .model import Model
from .pinned import check_symbols, read_pinned
from .property_types import check_collections, sources
from .writers.collections import write_collections
from .writers.enumeration import write_enumeration
from .writers.header import write_header
from .writers.module_tree import write_module_tree
from .writers.reference import GUIDES, write_reference
from .writers.runtime_names import write_names
from .writers.runtime_tables import Tables
from .writers.stubs import write_stubs
from .writers.text import quoted, write_if_changed
from .writers.wrapper import write_wrapper


ROLES = ("get", "set", "call", "ctor", "getsa", "setsa")


def report(model: Model) -> str:
    """One line on what is generated."""
    counts = model.entry_points()
    return f"{model.assembly}: {len(model.types)} types, " + ", ".join(f"{counts[role]} {role}_" for role in ROLES)


def count_by_module(model: Model) -> list[str]:
    """A table of types and entry points, one row for each module that has any."""
    rows = [["module", "classes", "enumerations", *(f"{role}_" for role in ROLES)]]
    for module in model.modules:
        counts = sum((entry.entry_points() for entry in module.types), Counter[str]())
        if module.types:
            rows.append([module.name, str(len(module.wrappers)), str(len(module.enums)),
                         *(str(counts[role]) for role in ROLES)])
    total = model.entry_points()
    rows.append(["all", str(sum(len(m.wrappers) for m in model.modules)), str(sum(len(m.enums) for m in model.modules)),
                 *(str(total[role]) for role in ROLES)])
    return ["| " + " | ".join(row) + " |" for row in rows[:1]] + ["|" + "---|" * len(rows[0])] + [
        "| " + " | ".join(row) + " |" for row in rows[1:]]


def write_module(catalogue: Path, out: Path) -> Model:
    """Writes the sources of an assembly below `out` and removes those of types that are gone."""
    model = load(catalogue)
    check_collections(model)
    product = out.name
    files = {out / f"{product}.h": write_header(model, product),
             out / "module_tree.cpp": write_module_tree(model, product)}
    for entry in model.types:
        writer = write_enumeration if entry.is_enum else write_wrapper
        files[out / f"{entry.full_name}.cpp"] = writer(entry, product)
    files.update({out / name: lines for name, lines in write_collections(model, product).items()})
    check_symbols(read_pinned(catalogue / "pinned.tab"), ("\n".join(lines) for lines in files.values()))
    for path, lines in files.items():
        write_if_changed(path, lines)
    sources = sorted(str(path) for path in files if path.suffix == ".cpp")
    write_if_changed(out / "sources.txt", sources)
    for path in out.glob("*.cpp"):
        if path not in files:
            path.unlink()
    return model


def write_runtime(models: list[Model], out: Path) -> None:
    """Writes the tables and the headers of names below `out` and removes those of namespaces that are gone."""
    files = {out / "tables.cpp": Tables(models).write()}
    files.update({out / name: lines for name, lines in write_names(models).items()})
    for path, lines in files.items():
        write_if_changed(path, lines)
    for path in out.glob("*.h"):
        if path not in files:
            path.unlink()


def keyword_lists(models: list[Model]) -> list[str]:
    """The keywords of every overload, each list once, as rows of a C++ initializer."""
    lists = {tuple(param.name for param in overload.params)
             for model in models for entry in model.types
             for overload in [*entry.constructors, *(o for method in entry.methods for o in method.own)]}
    return ["{" + ", ".join([*(quoted(name) for name in names), "nullptr"]) + "}," for names in sorted(lists)]


def main(arguments: list[str]) -> int:
    """Runs one command; the exit status is 1 for a catalogue that does not hold together."""
    parser = argparse.ArgumentParser(prog="generator", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True)
    module = commands.add_parser("module")
    module.add_argument("catalogue", type=Path)
    module.add_argument("out", type=Path)
    runtime = commands.add_parser("runtime")
    runtime.add_argument("out", type=Path)
    runtime.add_argument("catalogues", type=Path, nargs="+")
    stubs = commands.add_parser("stubs")
    stubs.add_argument("out", type=Path)
    stubs.add_argument("handwritten", type=Path)
    stubs.add_argument("catalogues", type=Path, nargs="+")
    reference = commands.add_parser("reference")
    reference.add_argument("out", type=Path)
    reference.add_argument("guides", type=Path)
    reference.add_argument("catalogues", type=Path, nargs="+")
    identifiers = commands.add_parser("identifiers")
    identifiers.add_argument("catalogue", type=Path)
    keywords = commands.add_parser("keywords")
    keywords.add_argument("out", type=Path)
    keywords.add_argument("catalogues", type=Path, nargs="+")
    count = commands.add_parser("count")
    count.add_argument("catalogue", type=Path)
    types_of = commands.add_parser("types")
    types_of.add_argument("catalogue", type=Path)
    options = parser.parse_args(arguments)
    try:
        if options.command == "module":
            print(report(write_module(options.catalogue, options.out)))
        elif options.command == "runtime":
            write_runtime([load(path) for path in options.catalogues], options.out)
        elif options.command == "stubs":
            models = [load(path) for path in options.catalogues]
            print(f"stubs: {write_stubs(models, options.out, options.handwritten)} files")
        elif options.command == "reference":
            models = [load(path) for path in options.catalogues]
            guides = [options.guides / name for name in GUIDES]
            print(f"reference: {write_reference(models, options.out, guides)} pages")
        elif options.command == "keywords":
            write_if_changed(options.out, keyword_lists([load(path) for path in options.catalogues]))
        elif options.command == "count":
            print("\n".join(count_by_module(load(options.catalogue))))
        elif options.command == "types":
            rows = [("property", "type", "source"), ("---", "---", "---"), *sources(load(options.catalogue))]
            print("\n".join(f"| {' | '.join(row)} |" for row in rows))
        else:
            table = Identifiers.read(options.catalogue / "identifiers.tab")
            types = read_catalogue(options.catalogue).types
            elements = {row.element: row.identifier
                        for row in read_collections(options.catalogue / "collections.tab")}
            added = table.complete([f"{entry.namespace}.{entry.name}" for entry in types], elements)
            table.write()
            print(f"{len(added)} rows added")
    except CatalogueError as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
