"""The parser and all that is made of it: help, completion, the manual page; and how little help loads."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
from zelmor.command.completion import commands_of, options_of
from zelmor.command.parser import make_parser

from support.command import ENVIRONMENT, Commands
from support.places import BUILD_DIR

PARSER = make_parser()
NAMES = [command.name for command in commands_of(PARSER)]


def test_help_loads_nothing_of_the_library() -> None:
    program = ("import json, sys\nfrom zelmor.command import main\ntry:\n    main(['convert', '--help'])\n"
               "except SystemExit as end:\n    print(json.dumps([end.code, sorted(sys.modules)]), file=sys.stderr)")
    done = subprocess.run([sys.executable, "-c", program], env=ENVIRONMENT, capture_output=True, text=True, check=True)
    status, loaded = json.loads(done.stderr)
    assert status == 0 and "usage: zelmor convert" in done.stdout
    assert not {"zelmor.imaging", "zelmor.pycore", "zelmor.batch.running", "zelmor.batch.jobs", "zelmor.command.work",
                "rich", "subprocess", "dataclasses"} & set(loaded)


@pytest.mark.parametrize("name", NAMES)
def test_every_command_has_help_with_examples(zelmor: Commands, name: str) -> None:
    told = zelmor(name, "--help")
    assert told.status == 0 and f"usage: zelmor {name}" in told.out and f"\n  zelmor {name} " in told.out
    assert all(option.help for command in commands_of(PARSER) for option in command.options)


def test_help_and_version(zelmor: Commands) -> None:
    import zelmor as package

    assert zelmor().status == 2
    told = zelmor("--help")
    assert told.status == 0 and all(f"    {name} " in told.out for name in NAMES)
    assert zelmor("--version").out == f"zelmor {package.__version__}\n"


def test_the_program_of_the_build_tree() -> None:
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    done = subprocess.run([BUILD_DIR / "python" / "bin" / "zelmor", "--version"], env=environment, text=True,
                          capture_output=True, check=True)
    assert done.stdout.startswith("zelmor ")


def completed(zelmor: Commands, *words: str) -> list[str]:
    """What bash offers for the last word."""
    script = zelmor("--completion", "bash").out
    line = " ".join(f"'{word}'" for word in ("zelmor", *words))
    program = f"{script}\nCOMP_WORDS=({line}) COMP_CWORD={len(words)}\n_zelmor\nprintf '%s\\n' \"${{COMPREPLY[@]}}\""
    done = subprocess.run(["bash", "-c", program], capture_output=True, text=True, check=True, cwd=zelmor.folder)
    assert done.stderr == ""
    return done.stdout.splitlines()


def test_bash_completes(zelmor: Commands) -> None:
    assert completed(zelmor, "") == [*NAMES, "-h", "--help", "--version", "--completion", "--manual"]
    assert completed(zelmor, "re") == ["resize"]
    assert completed(zelmor, "--completion", "") == ["bash", "zsh", "fish"]
    assert completed(zelmor, "convert", "--qu") == ["--quality", "--quiet"]
    assert completed(zelmor, "convert", "a.jpg", "--to", "w") == ["webp", "wmf"]
    assert completed(zelmor, "rotate", "--flip", "v") == ["vertical"]
    (zelmor.folder / "bad one.png").touch()
    assert sorted(completed(zelmor, "convert", "b")) == ["b.png", "bad one.png", "bad.jpg"]
    assert sorted(completed(zelmor, "convert", "-o", "b")) == ["b.png", "bad one.png", "bad.jpg"]
    assert completed(zelmor, "doc", "b") == [""]


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_scripts_of_all_shells(zelmor: Commands, shell: str) -> None:
    script = zelmor("--completion", shell).out
    for command in commands_of(PARSER):
        assert command.name in script
        for option in command.options:
            assert all(name.lstrip("-") in script for name in option.names)
    if shutil.which(shell) is None:
        pytest.skip(f"{shell} is not installed, so that its syntax is not checked")
    done = subprocess.run([shell, "-n"], input=script, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")


def test_the_manual_page(zelmor: Commands) -> None:
    page = zelmor("--manual").out
    shown = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-P-cbou"], input=page, text=True, capture_output=True,
                           check=True, env=dict(os.environ, LC_ALL="C.UTF-8"))
    assert shown.stderr == ""
    text = shown.stdout.replace("‐", "-").replace("−", "-")
    for command in commands_of(PARSER):
        assert f"\n   {command.name}\n" in text
        for option in command.options:
            assert all(name in text for name in option.names), option
    assert "zelmor convert photo.png photo.webp --quality 80" in text and "ZELMOR(1)" in text


def test_options_of_the_parser() -> None:
    option = next(each for each in options_of(PARSER) if "--completion" in each.names)
    assert option.values == ("bash", "zsh", "fish") and option.takes


def test_running_as_a_module_is_the_same(tmp_path: Path) -> None:
    done = subprocess.run([sys.executable, "-m", "zelmor", "--version"], env=ENVIRONMENT, cwd=tmp_path, text=True,
                          capture_output=True, check=True)
    assert done.stdout.startswith("zelmor ")
