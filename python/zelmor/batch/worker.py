"""The main loop of a worker process."""

from __future__ import annotations

import json
from typing import BinaryIO

from zelmor.batch.perform import answer
from zelmor.batch.publishing import remove_drafts


def serve(lines: BinaryIO) -> None:
    """Answers requests, a line each.

    The process that sends them kills its workers when it needs them no more. If the line ends, it was killed itself, so
    that nobody else removes the drafts.
    """
    drafts = set()
    try:
        while line := lines.readline():
            drafts.add(json.loads(line)["drafts"])
            lines.write(answer(line.decode()).encode() + b"\n")
            lines.flush()
    except (BrokenPipeError, ConnectionResetError):
        pass  # the answer has nobody to read it
    for folder in drafts - {""}:
        remove_drafts(folder)
