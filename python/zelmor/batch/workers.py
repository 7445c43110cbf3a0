"""Workers: those who do the requests of a run.

A run hands out requests, each with a ticket, and waits for replies. A request that was lost with its worker comes back
as a reply too; the run decides what to do then. Workers are processes here (this module), or those of a cluster
(zelmor.batch.cluster).
"""

from __future__ import annotations

import contextlib
import json
import os
import selectors
import signal
import socket
import subprocess
import sys
from collections import deque
from dataclasses import dataclass
from typing import Protocol


@dataclass(frozen=True)
class Reply:
    """The answer to the request with this ticket, or the reason why its worker is lost."""

    ticket: int
    answer: str = ""
    lost: str = ""
    #: Whether it is of no use to hand the request out again.
    final: bool = False


class Workers(Protocol):
    """Those who do requests."""

    @property
    def capacity(self) -> int:
        """How many requests may be out at a time."""

    def submit(self, ticket: int, request: str) -> None:
        """Hands a request to a worker."""

    def wait(self) -> list[Reply]:
        """Waits until there is at least one reply."""

    def close(self) -> None:
        """Ends all workers at once, whatever they are doing."""


#: What a worker runs. It gets the import path of this process first, so that it uses the same package.
_PROGRAM = """
import json, socket, sys
lines = socket.socket(fileno=int(sys.argv[1])).makefile("rwb")
sys.path[:] = json.loads(lines.readline())
from zelmor.batch.worker import serve
serve(lines)
"""


class _Process:
    """A worker process: it reads requests from one end of a pair of sockets, a line each, and writes answers."""

    def __init__(self) -> None:
        self.socket, theirs = socket.socketpair()
        flags = [f"-{letter}" for letter, on in (("B", sys.dont_write_bytecode),) if on]
        with theirs:
            # A new interpreter and no fork: this process may run the library, with threads and locks that a child
            # would not have. The interpreter takes no module from the folder that it is started in (-P). An interrupt
            # of the terminal goes to this process alone, which ends the workers. Anything printed is a diagnosis.
            self.process = subprocess.Popen(
                [sys.executable, "-P", *flags, "-c", _PROGRAM, str(theirs.fileno())], stdin=subprocess.DEVNULL,
                stdout=2, pass_fds=[theirs.fileno()], process_group=0)
        self.lines = self.socket.makefile("rb")
        #: The tickets of the requests that it has, in their order.
        self.tickets: deque[int] = deque()
        self._sent = False

    def send(self, ticket: int, request: str) -> None:
        """Hands over a request. If the worker is gone, its end of the line tells the one who waits for it."""
        self.tickets.append(ticket)
        path = "" if self._sent else json.dumps(sys.path) + "\n"
        self._sent = True
        with contextlib.suppress(BrokenPipeError, ConnectionResetError):
            self.socket.sendall(f"{path}{request}\n".encode())

    def end(self) -> int:
        """Ends the process, and returns its exit code."""
        self.process.kill()
        code = self.process.wait()
        self.lines.close()
        self.socket.close()
        return code


class LocalWorkers:
    """Processes on this machine, which are started when there is something to do."""

    def __init__(self, count: int) -> None:
        if count < 1:
            raise ValueError(f"{count} processes cannot do anything")
        self._count = count
        self._processes: list[_Process] = []
        self._selector = selectors.DefaultSelector()

    @property
    def capacity(self) -> int:
        """One request in each process, so that a lost process takes one job with it."""
        return self._count

    @property
    def pids(self) -> list[int]:
        """The processes that run."""
        return [process.process.pid for process in self._processes]

    def submit(self, ticket: int, request: str) -> None:
        """Gives the request to a process that has none, or to a new one."""
        process = next((each for each in self._processes if not each.tickets), None)
        if process is None:
            process = _Process()
            self._processes.append(process)
            self._selector.register(process.lines, selectors.EVENT_READ, process)
        process.send(ticket, request)

    def wait(self) -> list[Reply]:
        """Waits for answers, and for the ends of processes."""
        replies = []
        for key, _ in self._selector.select():
            process: _Process = key.data
            try:
                line = process.lines.readline()
            except ConnectionResetError:
                line = b""
            if line.endswith(b"\n"):
                replies.append(Reply(process.tickets.popleft(), line.decode()))
            else:
                replies += self._lose(process)
        return replies

    def _lose(self, process: _Process) -> list[Reply]:
        self._selector.unregister(process.lines)
        self._processes.remove(process)
        try:
            code = process.process.wait(timeout=5)  # it closed the line, and ends
        except subprocess.TimeoutExpired:
            code = 0
        process.end()
        reason = f"signal {signal.Signals(-code).name}" if code < 0 else f"exit code {code}"
        return [Reply(ticket, lost=f"its process ended ({reason})") for ticket in process.tickets]

    def close(self) -> None:
        """Kills all processes, and waits until they are gone."""
        for process in self._processes:
            process.process.kill()
        for process in self._processes:
            process.end()
        self._processes.clear()
        self._selector.close()


def processors() -> int:
    """How many processors this process may use."""
    return len(os.sched_getaffinity(0))
