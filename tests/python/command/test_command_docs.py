"""docs/command.md: the session says what the commands say, and the tables list what there is."""

from __future__ import annotations

import re
from pathlib import Path

from tools import record_command
from zelmor.command.completion import commands_of
from zelmor.command.parser import make_parser

from support.places import BUILD_DIR

PAGE = record_command.PAGE.read_text()


def test_the_session_is_what_the_commands_say(tmp_path: Path) -> None:
    record_command.write_pictures(tmp_path)
    session = record_command.run(record_command.commands(PAGE), tmp_path, BUILD_DIR)
    assert record_command.steady(session) == record_command.steady(record_command.recorded(PAGE))


def test_the_picture_shows_the_same_commands() -> None:
    shown = re.sub(r"<[^>]+>|\s|&#160;", "", record_command.PICTURE.read_text())
    for command in record_command.commands(PAGE):
        assert re.sub(r"\s", "", command).replace('"', "&quot;") in shown


def test_the_page_names_every_command_and_only_options_that_there_are() -> None:
    commands = commands_of(make_parser())
    table = PAGE[PAGE.index("| Command |"):PAGE.index("## Inputs")]
    assert set(re.findall(r"`(\w+)`", table.replace("`--join`", ""))) == {command.name for command in commands}
    known = {name for command in commands for option in command.options for name in option.names}
    used = set(re.findall(r"(?<![\w=-])--?[a-z][a-z-]*(?!\w)", re.sub(r"python3 -B -m \S+|python3 -m", "", PAGE)))
    assert used - known <= {"--completion", "--manual"}, used - known


def test_the_screen_of_a_terminal() -> None:
    shown = "one\r\n\x1b[?25lbar 1\r\x1b[2Kbar 2\r\x1b[2Kbar\x1b[1m 3\x1b[0m\r\n\x1b[?25h\r\x1b[1A\x1b[2Kend\r\n"
    assert record_command._screen(shown) == "one\nend\n"
