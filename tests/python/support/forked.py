"""Runs a step of a test in a forked child, for steps that could end the process: a crash is then an ordinary
outcome.

A forked child of a process with .NET must not call it: its compiler would write over code that the parent runs. There
the step runs in the process of the test, and a crash ends the worker."""

from __future__ import annotations

import os
import signal
from collections.abc import Callable
from typing import Any

from .runtimes import ON_DOTNET


def outcome_of(step: Callable[[], Any]) -> str:
    """The repr of the result of the step, or "<exception>: <text>", or the signal that ended the child."""
    if ON_DOTNET:
        return _text_of(step)
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.close(reading)
            os.write(writing, _text_of(step).encode())
        finally:
            os._exit(0)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        text = pipe.read().decode()
    _, status = os.waitpid(child, 0)
    return signal.Signals(os.WTERMSIG(status)).name if os.WIFSIGNALED(status) else text


def _text_of(step: Callable[[], Any]) -> str:
    try:
        return repr(step())
    except BaseException as error:
        return f"{type(error).__name__}: {error}"
