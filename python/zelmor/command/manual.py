"""The manual page, made of the parser, in the language of man."""

from __future__ import annotations

import argparse

from zelmor.batch.version import VERSION
from zelmor.command.completion import Command, Option, commands_of, options_of

_FILES = """
Without \\fB\\-\\-output\\fR a result lies beside its input. A file that exists is replaced only with
\\fB\\-\\-overwrite\\fR or \\fB\\-\\-in\\-place\\fR. A file gets its name when it is complete: a run that is interrupted
leaves no half file. One bad file does not stop the others.
"""


def page(parser: argparse.ArgumentParser) -> str:
    """The page of the whole command."""
    lines = [f'.TH ZELMOR 1 "" "zelmor {_plain(VERSION)}" "User Commands"', ".SH NAME",
             "zelmor \\- show, convert and change pictures", ".SH SYNOPSIS", ".B zelmor", ".I COMMAND",
             "[\\fIOPTION\\fR]... [\\fIINPUT\\fR]...", ".SH DESCRIPTION", _plain(parser.description or ""),
             _FILES.strip(), ".SH OPTIONS"]
    for option in options_of(parser):
        lines += _option(option)
    lines.append(".SH COMMANDS")
    for command in commands_of(parser):
        lines += _command(command)
    lines += [".SH EXIT STATUS", ".TP", ".B 0", "All is done; compared pictures are the same.", ".TP", ".B 1",
              "Something failed, and is listed; compared pictures differ.", ".TP", ".B 2",
              "The arguments make no sense; a picture to be compared cannot be read.", ".TP", ".B 130",
              "The run was interrupted."]
    return "\n".join(lines) + "\n"


def _command(command: Command) -> list[str]:
    description, _, more = (command.parser.description or "").partition("\n\n")
    lines = [f".SS {_plain(command.name)}", _plain(description)]
    if more:
        lines += [".PP", *map(_plain, more.splitlines())]
    for option in command.options:
        lines += _option(option, command.parser)
    examples = [line.strip() for line in (command.parser.epilog or "").splitlines()[1:]]
    if examples:
        lines += [".PP", "Examples:", ".PP", ".nf", *map(_plain, examples), ".fi"]
    return lines


def _option(option: Option, parser: argparse.ArgumentParser | None = None) -> list[str]:
    value = ""
    if option.takes:
        value = f" \\fI{_plain(_metavar(option, parser))}\\fR"
    names = ", ".join(f"\\fB{_plain(name)}\\fR" for name in option.names)
    return [".TP", names + value, _plain(option.help)]


def _metavar(option: Option, parser: argparse.ArgumentParser | None) -> str:
    for action in parser._actions if parser is not None else ():
        if tuple(action.option_strings) == option.names and isinstance(action.metavar, str):
            return action.metavar
    return "|".join(option.values) or "VALUE"


def _plain(text: str) -> str:
    """A text that means itself: man has marks of its own."""
    text = " ".join(text.split()).replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq")
    return "\\&" + text if text.startswith(".") else text
