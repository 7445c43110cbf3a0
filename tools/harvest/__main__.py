"""The command: reads an interop assembly, lists what the catalogue says otherwise, and corrects the catalogue.

The exit status is 0 if catalogue and assembly agree, or do so after the change; 1 if something is left for a person;
2 if the file is no interop assembly, or damaged.
"""

from __future__ import annotations

import argparse
import gc
import sys
import tempfile
from pathlib import Path

from tools.generator.builder import load
from tools.generator.catalogue import read_catalogue
from tools.generator.errors import CatalogueError

from .collection_changes import ELEMENTS, CollectionChanges
from .contract import Contract
from .differences import Kind
from .draft import Draft
from .errors import AssemblyError
from .harvest import Result, harvest

_ROOT = Path(__file__).resolve().parents[2]
API = _ROOT / "api" / "catalogue"
SIBLINGS = _ROOT / "siblings" / "catalogue"


def _print(contract: Contract, result: Result) -> None:
    count = sum(len(host.entries) for host in contract.hosts)
    beside = ", ".join(assembly.name for assembly in contract.library) or "no assembly that it refers to"
    print(f"{contract.name}: {len(contract.hosts)} types, {count} entry points; beside it: {beside}")
    for kind in Kind:
        found = result.of(kind)
        if found:
            print(f"\n{kind.value} ({len(found)}):")
            for difference in found:
                print(f"  {difference}")


def catalogue_of(name: str) -> Path:
    """The catalogue of the assembly with this name; that of the API for one that no catalogue names."""
    for directory in (API, *sorted(SIBLINGS.iterdir())):
        if read_catalogue(directory).assembly == name:
            return directory
    return API


def _run(assembly: Path, catalogue: Path | None, check: bool) -> int:
    contract = Contract(assembly)
    directory = catalogue or catalogue_of(contract.name)
    load(directory)  # a catalogue that does not hold together is compared with nothing
    with tempfile.TemporaryDirectory() as scratch:
        draft = Draft(directory, Path(scratch) / "catalogue")
        result = harvest(contract, draft)
        _print(contract, result)
        if not result.differences:
            print("no difference")
            return 0
        changed = [path.name for path in (draft.changed() if check else draft.write_back())]
        elements = CollectionChanges.listed(result.elements) if directory.resolve() == API else None
        if elements is not None:  # the list of the wire, which both halves are compiled with
            changed.append(f"and {ELEMENTS.relative_to(_ROOT)}")
            if not check:
                ELEMENTS.write_text(elements)
        if changed:
            print(f"\n{'would change' if check else 'changed'} in {directory}: {', '.join(changed)}")
        if result.refused is not None:
            print(f"\nthe changed catalogue does not hold together; correct this line by hand: {result.refused}")
        return 1 if check or result.refused is not None or result.of(Kind.OPEN) else 0


def main(arguments: list[str]) -> int:
    """Runs the command."""
    parser = argparse.ArgumentParser(prog="harvest", description=__doc__)
    parser.add_argument("assembly", type=Path, help="the interop assembly; its class library may lie beside it")
    parser.add_argument("--catalogue", type=Path, help="the catalogue to compare with; without it, the one that "
                        "names the assembly, or else that of the API")
    parser.add_argument("--check", action="store_true", help="only list the differences; the exit status is 1 if there "
                        "are any")
    options = parser.parse_args(arguments)
    if options.catalogue and not (options.catalogue / "modules.tab").is_file():
        print(f"{options.catalogue}: it is no catalogue: it has no modules.tab", file=sys.stderr)
        return 2
    try:
        return _run(options.assembly, options.catalogue, options.check)
    except AssemblyError as error:
        print(f"{options.assembly}: {error}", file=sys.stderr)
        return 2
    except CatalogueError as error:
        print(error, file=sys.stderr)
        return 1


if __name__ == "__main__":
    gc.disable()  # a short life, and what it makes is needed to its end
    sys.exit(main(sys.argv[1:]))
