"""The command `zelmor`.

    zelmor convert *.jpg --to webp --quality 80 -o small/

It imports nothing of the library by itself: help is quick, and the pictures are worked on by other processes
(zelmor.batch), so that an interrupt ends them at once.
"""

from __future__ import annotations

import io
import os
import signal
import sys
from collections.abc import Sequence
from types import FrameType


def main(arguments: Sequence[str] | None = None) -> int:
    """Runs the command, and returns its exit status.

    0: all is done; 1: something failed, or pictures differ; 2: the arguments make no sense; 130: interrupted.
    """
    from zelmor.command.parser import make_parser

    if isinstance(sys.stdout, io.TextIOWrapper):
        # In a file that has both, results and messages stand in the order in which they were written.
        sys.stdout.reconfigure(line_buffering=True)
    parsed = make_parser().parse_args(arguments)
    ours = [number for number in (signal.SIGTERM, signal.SIGHUP) if signal.getsignal(number) == signal.SIG_DFL]
    try:
        for number in ours:
            signal.signal(number, _end)
        status: int = parsed.act(parsed)
        sys.stdout.flush()
        return status
    except KeyboardInterrupt:
        print("zelmor: interrupted", file=sys.stderr)
        return 130
    except BrokenPipeError:
        # Nobody reads the output any more. What is left in the buffer goes nowhere at exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    finally:
        for number in ours:
            signal.signal(number, signal.SIG_DFL)


def _end(number: int, frame: FrameType | None) -> None:
    """Ends like an interrupt does, so that processes are ended and drafts removed."""
    raise SystemExit(128 + number)
