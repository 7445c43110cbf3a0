"""Scripts that complete the command in a shell, made of its parser."""

from __future__ import annotations

import argparse
from collections.abc import Iterator
from dataclasses import dataclass, field


@dataclass(frozen=True)
class Option:
    """An option: its spellings, its help, whether it takes a value, and the values it takes if they are few."""

    names: tuple[str, ...]
    help: str
    takes: bool
    values: tuple[str, ...] = ()


@dataclass(frozen=True)
class Command:
    """A command with its options, and whether it takes files."""

    name: str
    help: str
    options: tuple[Option, ...] = ()
    files: bool = True
    parser: argparse.ArgumentParser = field(default_factory=argparse.ArgumentParser, compare=False)


def options_of(parser: argparse.ArgumentParser) -> Iterator[Option]:
    """The options of a parser."""
    for action in parser._actions:
        if action.option_strings and action.help != argparse.SUPPRESS:
            values = tuple(map(str, action.choices or ()))
            # Texts of the parser may have escaped percent signs.
            yield Option(tuple(action.option_strings), (action.help or "").replace("%%", "%"),
                         action.nargs != 0, values)


def commands_of(parser: argparse.ArgumentParser) -> list[Command]:
    """The commands of the parser."""
    found = []
    for action in parser._actions:
        if isinstance(action, argparse._SubParsersAction):
            helps = {choice.dest: choice.help or "" for choice in action._choices_actions}
            for name, inner in action.choices.items():
                files = any(not each.option_strings and each.dest in ("inputs", "first") for each in inner._actions)
                found.append(Command(name, helps.get(name, ""), tuple(options_of(inner)), files, inner))
    return found


def script(parser: argparse.ArgumentParser, shell: str) -> str:
    """The script for a shell."""
    return {"bash": _bash, "zsh": _zsh, "fish": _fish}[shell](parser)


def _values(option: Option) -> tuple[str, ...]:
    if "--to" in option.names:
        from zelmor.command.parser import WRITTEN

        return tuple(WRITTEN)
    return option.values


def _bash(parser: argparse.ArgumentParser) -> str:
    commands = commands_of(parser)
    lines = ["# Completion of zelmor for bash; made by zelmor --completion bash.", "_zelmor() {",
             '    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= word',
             '    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do',
             '        [[ $word != -* ]] && { command=$word; break; }', "    done", "    COMPREPLY=()",
             '    local options= files=yes', "    case $command in"]
    top = " ".join([*(command.name for command in commands), *_names(options_of(parser))])
    lines += ["        '')", f"            options='{top}' files=",
              "            [[ $previous == --completion ]] && options='bash zsh fish' ;;"]
    for command in commands:
        lines.append(f"        {command.name})")
        lines.append("            case $previous in")
        for option in command.options:
            if option.takes:
                values = _values(option)
                action = f"COMPREPLY=($(compgen -W '{' '.join(values)}' -- \"$current\"))" if values else (
                    "mapfile -t COMPREPLY < <(compgen -f -- \"$current\")")
                lines.append(f"                {'|'.join(option.names)}) {action}; return ;;")
        lines += ["            esac",
                  f"            options='{' '.join(_names(command.options))}'"
                  f"{'' if command.files else ' files='} ;;"]
    lines += ["    esac", '    if [[ $current == -* || -z $files ]]; then',
              '        COMPREPLY=($(compgen -W "$options" -- "$current"))', "    else",
              '        mapfile -t COMPREPLY < <(compgen -f -- "$current")', "    fi", "}",
              "complete -o filenames -o bashdefault -F _zelmor zelmor"]
    return "\n".join(lines) + "\n"


def _names(options: Iterator[Option] | tuple[Option, ...]) -> list[str]:
    return [name for option in options for name in option.names]


def _zsh(parser: argparse.ArgumentParser) -> str:
    commands = commands_of(parser)
    lines = ["#compdef zelmor", "# Completion of zelmor for zsh; made by zelmor --completion zsh.", "_zelmor() {",
             "    local -a commands", "    commands=("]
    lines += [f"        '{command.name}:{_quoted(command.help)}'" for command in commands]
    lines += ["    )", "    if (( CURRENT == 2 )); then", "        _describe command commands",
              f"        compadd -- {' '.join(_names(options_of(parser)))}", "        return", "    fi",
              "    case ${words[2]} in"]
    for command in commands:
        lines += [f"        {command.name})", "            _arguments -s \\"]
        for option in command.options:
            values = _values(option)
            value = f":value:({' '.join(values)})" if values else ":value:_files" if option.takes else ""
            for name in option.names:
                lines.append(f"                '*{name}[{_quoted(option.help)}]{value}' \\")
        lines.append("                '*:file:_files' ;;" if command.files else "                '*:name:' ;;")
    lines += ["    esac", "}", '_zelmor "$@"']
    return "\n".join(lines) + "\n"


def _quoted(text: str) -> str:
    """A text between single quotes of zsh, where brackets and colons mean something."""
    for mark in "[]:":
        text = text.replace(mark, "\\" + mark)
    return text.replace("'", "'\\''")


def _fish(parser: argparse.ArgumentParser) -> str:
    commands = commands_of(parser)
    lines = ["# Completion of zelmor for fish; made by zelmor --completion fish."]
    lines += [_fish_line("__fish_use_subcommand", f"-f -a {command.name}", command.help) for command in commands]
    lines += [_fish_option("__fish_use_subcommand", option) for option in options_of(parser)]
    for command in commands:
        condition = f"__fish_seen_subcommand_from {command.name}"
        lines += [_fish_option(condition, option) for option in command.options]
        if not command.files:
            lines.append(f"complete -c zelmor -n '{condition}' -f")
    return "\n".join(lines) + "\n"


def _fish_option(condition: str, option: Option) -> str:
    parts = [f"-l {name[2:]}" if name.startswith("--") else f"-s {name[1:]}" for name in option.names]
    values = _values(option)
    if values:
        parts.append(f"-x -a '{' '.join(values)}'")
    elif option.takes:
        parts.append("-r")
    return _fish_line(condition, " ".join(parts), option.help)


def _fish_line(condition: str, what: str, help: str) -> str:
    text = help.replace("\\", "\\\\").replace("'", "\\'")
    return f"complete -c zelmor -n '{condition}' {what} -d '{text}'"
