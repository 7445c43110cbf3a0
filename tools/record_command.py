"""Records the session in docs/command.md: runs its commands, and writes what they say into the page.

A session is a block of lines that begin with "$ ", each followed by the output of this command. The pictures that it
works on are made here. A second recording, of a terminal with colors and the progress bar, is docs/command.svg; the
package python3-rich draws it.

Usage: python3 -B -m tools.record_command [--build build]
"""

from __future__ import annotations

import argparse
import math
import os
import pty
import re
import subprocess
import sys
import tempfile
from pathlib import Path

PAGE = Path(__file__).parents[1] / "docs" / "command.md"
PICTURE = PAGE.with_suffix(".svg")
COLUMNS = 110
_BLOCK = re.compile(r"(?<=```console\n)(\$ .*?)(?=```)", re.DOTALL)
#: What differs from run to run.
_VARYING = re.compile(r"\d+\.\d+(?= s\b)")


def commands(page: str) -> list[str]:
    """The commands of the session."""
    block = _BLOCK.search(page)
    assert block is not None
    return [line[2:] for line in block[1].splitlines() if line.startswith("$ ")]


def recorded(page: str) -> str:
    """The session as the page has it."""
    block = _BLOCK.search(page)
    assert block is not None
    return block[1]


def steady(text: str) -> str:
    """A session without times."""
    return _VARYING.sub("0.00", text)


def write_pictures(folder: Path) -> None:
    """The pictures of the session: waves, made with Pillow, so that they are the same everywhere."""
    from PIL import Image

    def waves(width: int, height: int, phase: float) -> Image.Image:
        picture = Image.new("RGB", (width, height))
        picture.putdata([(
            round(127 + 90 * math.sin(x / 61 + phase) * math.cos(y / 83)), round(110 + 80 * math.sin((x + y) / 97)),
            round(140 + 70 * math.cos(x / 140 - phase))) for y in range(height) for x in range(width)])
        return picture

    waves(900, 600, 0).save(folder / "beach.jpg", quality=90)
    waves(600, 900, 1).save(folder / "tower.jpg", quality=90)
    waves(320, 200, 2).convert("RGBA").save(folder / "logo.png")
    steps = [waves(120, 80, turn / 2).quantize(32, dither=0) for turn in range(4)]
    steps[0].save(folder / "walk.gif", save_all=True, append_images=steps[1:], duration=120, loop=0)
    (folder / "broken.jpg").write_bytes(b"\xff\xd8\xff\xe0 no picture")


def run(lines: list[str], folder: Path, build: Path, terminal: bool = False) -> str:
    """Runs the commands in the folder, one process at a time, and returns the session."""
    environment = dict(os.environ, PYTHONPATH=str(build.resolve() / "python"), COLUMNS=str(COLUMNS),
                       TERM="xterm-256color", LC_ALL="C.UTF-8")
    environment.pop("PYTHONUNBUFFERED", None)  # as users have it
    shell = f"zelmor() {{ {sys.executable} -m zelmor \"$@\"; }}; "
    session = ""
    for line in lines:
        command = ["taskset", "-c", str(min(os.sched_getaffinity(0))), "bash", "-c", shell + line]
        if terminal:
            output = _on_terminal(command, folder, environment)
        else:
            output = subprocess.run(command, cwd=folder, env=environment, stdout=subprocess.PIPE, text=True,
                                    stderr=subprocess.STDOUT, check=False).stdout
        session += f"$ {line}\n{output}"
    return session


def _on_terminal(command: list[str], folder: Path, environment: dict[str, str]) -> str:
    """What a terminal shows at the end of a command."""
    ours, theirs = pty.openpty()
    process = subprocess.Popen(command, cwd=folder, env=environment, stdin=theirs, stdout=theirs, stderr=theirs)
    os.close(theirs)
    shown = read_terminal(ours)
    process.wait()
    return _screen(shown)


def read_terminal(ours: int) -> str:
    """What programs write to the other end of a terminal until all of them have closed it. Closes this end."""
    shown = b""
    while True:
        try:
            shown += os.read(ours, 4096)
        except OSError:
            break  # the other end is closed
    os.close(ours)
    return shown.decode()


def _screen(text: str) -> str:
    """The lines that stay, with their colors: a bar is drawn again and again in its line."""
    lines, at = [""], 0
    for part in re.split(r"(\x1b\[[0-9;?]*[A-Za-z]|\r|\n)", text):
        if part == "\n":
            at += 1
            if at == len(lines):
                lines.append("")
        elif part == "\r":
            pass  # what follows begins with erasing the line, or is the next one
        elif part == "\x1b[2K":
            lines[at] = ""
        elif re.fullmatch(r"\x1b\[\d*A", part):
            at -= int(part[2:-1] or 1)
        elif not (part.startswith("\x1b") and not part.endswith("m")):
            lines[at] += part
    return "\n".join(lines).rstrip("\n") + "\n"


def draw(session: str) -> None:
    """Writes the picture of a terminal."""
    import io

    from rich.console import Console
    from rich.text import Text

    console = Console(record=True, width=COLUMNS, file=io.StringIO(), force_terminal=True)
    for line in session.splitlines():
        console.print(Text.assemble(("$ ", "bold green"), (line[2:], "bold")) if line.startswith("$ ") else
                      Text.from_ansi(line))
    PICTURE.write_text(console.export_svg(title="zelmor"))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=Path("build"), help="build tree")
    build: Path = parser.parse_args().build
    page = PAGE.read_text()
    lines = commands(page)
    with tempfile.TemporaryDirectory() as name:
        write_pictures(Path(name))
        session = run(lines, Path(name), build)
    PAGE.write_text(_BLOCK.sub(lambda block: session, page))
    with tempfile.TemporaryDirectory() as name:
        write_pictures(Path(name))
        draw(run(lines, Path(name), build, terminal=True))
    return 0


if __name__ == "__main__":
    sys.exit(main())
