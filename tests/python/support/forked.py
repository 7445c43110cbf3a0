"""Runs a step of a test in a forked child, for steps that could end the process: a crash is then an ordinary
outcome."""

from __future__ import annotations

import os
import signal
from collections.abc import Callable
from typing import Any


def outcome_of(step: Callable[[], Any]) -> str:
    """The repr of the result of the step, or "<exception>: <text>", or the signal that ended the child."""
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.close(reading)
            try:
                text = repr(step())
            except BaseException as error:
                text = f"{type(error).__name__}: {error}"
            os.write(writing, text.encode())
        finally:
            os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        text = pipe.read().decode()
    _, status = os.waitpid(child, 0)
    return signal.Signals(os.WTERMSIG(status)).name if os.WIFSIGNALED(status) else text
