"""Command line of the generator: the commands of the back ends and those about a catalogue itself."""

from __future__ import annotations

import argparse
import gc
import sys
from pathlib import Path

from . import reports, words_check
from .errors import CatalogueError, Findings
from .writers.cpp import commands as cpp
from .writers.csharp import commands as csharp
from .writers.reference import commands as reference
from .writers.runtime import commands as runtime
from .writers.stubs import commands as stubs

#: The modules with commands; a new back end is one more name here.
_GROUPS = (cpp, csharp, runtime, stubs, reference, reports, words_check)
#: Everything that the generator can do.
COMMANDS = [command for group in _GROUPS for command in group.COMMANDS]


def _name(path: str) -> str:
    """The name of a command's path without the mark of how many it takes."""
    return path.removesuffix("...").removesuffix("*")


def main(arguments: list[str]) -> int:
    """Runs one command; the exit status is 1 for a catalogue that does not hold together."""
    parser = argparse.ArgumentParser(prog="generator", description=__doc__)
    commands = parser.add_subparsers(dest="command", required=True)
    for command in COMMANDS:
        subparser = commands.add_parser(command.name, help=command.help, description=command.help)
        for path in command.paths:
            if path.endswith(("...", "*")):
                subparser.add_argument(_name(path), type=Path, nargs="+" if path.endswith("...") else "*")
            else:
                subparser.add_argument(path, type=Path)
    options = parser.parse_args(arguments)
    command = next(command for command in COMMANDS if command.name == options.command)
    try:
        text = command.run(*(getattr(options, _name(path)) for path in command.paths))
    except CatalogueError as error:
        print(error, file=sys.stderr)
        return 1
    except Findings as findings:
        print(findings)
        return 1
    if text:
        print(text)
    return 0


if __name__ == "__main__":
    gc.disable()  # a short life, and what it makes is needed to its end
    sys.exit(main(sys.argv[1:]))
