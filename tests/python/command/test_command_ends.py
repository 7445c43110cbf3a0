"""Ends of the command: interrupts, readers that go away, and what a terminal sees meanwhile."""

from __future__ import annotations

import os
import pty
import signal
import subprocess
import time
from pathlib import Path

import pytest

from support.command import Commands
from support.image_oracles import noise, write
from tools.record_command import read_terminal


def drafts(folder: Path) -> list[Path]:
    """The drafts that processes work on."""
    return [path for path in folder.glob(".zelmor-*/*") if path.is_dir()]


def members(session: int) -> list[str]:
    """The processes of a session."""
    found = []
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = stat.read_text().rpartition(")")[2].split()
        except OSError:
            continue  # it ended meanwhile
        if int(fields[3]) == session and fields[0] != "Z":
            found.append(stat.parent.name)
    return found


@pytest.mark.parametrize(("number", "status"), [(signal.SIGINT, 130), (signal.SIGTERM, 143)])
def test_an_interrupt_ends_at_once(zelmor: Commands, number: int, status: int) -> None:
    for index in range(2):
        write(zelmor.folder / f"big{index}.bmp", noise(3, index, 2000, 1500))  # takes long as lossless WebP
    before = sorted(zelmor.folder.iterdir())
    process = zelmor.start("convert", "big0.bmp", "big1.bmp", "--to", "webp", "--jobs", 2, stderr=subprocess.PIPE)
    end = time.monotonic() + 60
    while len(drafts(zelmor.folder)) < 2:
        assert process.poll() is None and time.monotonic() < end
        time.sleep(0.01)
    interrupted = time.monotonic()
    process.send_signal(number)
    assert process.wait(timeout=60) == status
    assert time.monotonic() - interrupted < 3  # the pictures would take much longer
    assert process.stderr is not None
    told = process.stderr.read()
    assert told == (b"zelmor: interrupted\n" if number == signal.SIGINT else b"")
    process.stderr.close()
    assert sorted(zelmor.folder.iterdir()) == before and not members(process.pid)


def test_workers_of_a_killed_command_end_and_tidy_up(zelmor: Commands) -> None:
    write(zelmor.folder / "big.bmp", noise(3, 1, 600, 400))
    process = zelmor.start("convert", "big.bmp", "--to", "webp")
    while not drafts(zelmor.folder):
        time.sleep(0.01)
    process.kill()
    process.wait()
    end = time.monotonic() + 60
    while members(process.pid):
        assert time.monotonic() < end
        time.sleep(0.02)
    assert not list(zelmor.folder.glob(".zelmor*")) and not (zelmor.folder / "big.webp").exists()


def test_a_reader_that_goes_away(zelmor: Commands) -> None:
    process = zelmor.start("formats", stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    assert process.stdout is not None and process.stderr is not None
    process.stdout.close()
    assert process.wait(timeout=60) == 1 and process.stderr.read() == b""
    process.stderr.close()


def on_terminal(zelmor: Commands, *arguments: object, **environment: str) -> str:
    """What a terminal shows on standard error."""
    ours, theirs = pty.openpty()
    from support import command

    process = subprocess.Popen([*command.PROGRAM, *map(str, arguments)], cwd=zelmor.folder, stderr=theirs,
                               env=command.ENVIRONMENT | {"TERM": "xterm"} | environment)
    os.close(theirs)
    shown = read_terminal(ours)
    process.wait()
    return shown


def test_a_terminal_shows_a_bar_with_rate_and_remaining_time(zelmor: Commands) -> None:
    pytest.importorskip("rich", reason="python3-rich is not installed")
    shown = on_terminal(zelmor, "convert", "a.jpg", "b.png", "bad.jpg", "--to", "bmp", "-j", 1)
    assert "3/3" in shown and "/s" in shown and "0:00:00" in shown
    assert "zelmor: bad.jpg: the data is of none" in shown and "2 done, 0 skipped, 1 failed" in shown
    assert "a.jpg -> a.bmp" not in shown
    assert "3/3" not in on_terminal(zelmor, "convert", "a.jpg", "b.png", "bad.jpg", "--to", "tga", "--quiet")


def test_a_terminal_shows_lines_without_rich(zelmor: Commands, tmp_path: Path) -> None:
    from support.command import ENVIRONMENT

    (tmp_path / "without").mkdir()
    (tmp_path / "without" / "rich.py").write_text("raise ImportError\n")
    shown = on_terminal(zelmor, "convert", "a.jpg", "b.png", "--to", "bmp",
                        PYTHONPATH=f"{tmp_path / 'without'}:{ENVIRONMENT['PYTHONPATH']}")
    assert "a.jpg -> a.bmp  60x40 -> 60x40, " in shown and "2 done" in shown


def test_a_picture_is_not_written_to_a_terminal(zelmor: Commands) -> None:
    ours, theirs = pty.openpty()
    from support import command

    done = subprocess.run([*command.PROGRAM, "convert", "a.jpg", "-", "--to", "png"], cwd=zelmor.folder, stdout=theirs,
                          stderr=subprocess.PIPE, env=command.ENVIRONMENT, check=False)
    os.close(theirs)
    os.close(ours)
    assert done.returncode == 2 and b"a picture is not written to a terminal" in done.stderr
