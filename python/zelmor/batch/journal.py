"""The journal: a file that says which jobs are done, so that a run that was ended goes on where it stopped.

It has one JSON object a line, and is only ever appended to:

    {"run": "3f…", "version": "1.0"}         a run began
    {"drafts": "/pictures/out/.zelmor-3f…"}   it makes its files in this folder first
    {"ready": "9c…", "sources": […], "results": [{"path": …, "size": …, "digest": …}]}   files lie there, complete
    {"done": "9c…"}                           they have their names
    {"failed": "9c…", "error": …}

A job is named by its fingerprint (`jobs.fingerprint`), contents by their digests. "ready" is written, and is on the
disk, before a file gets its name. So whatever moment a run is ended at, the next one can tell by the files whether the
job is done: a picture that is turned in place is never turned twice.
"""

from __future__ import annotations

import fcntl
import json
import os
from typing import Any

from zelmor.batch.errors import JournalError


#: A journal begins with it: no other file is taken for one.
_FIRST = b'{"run": '


class Journal:
    """An open journal. One run has it at a time."""

    def __init__(self, path: str, run: str, version: str) -> None:
        self.path = path
        try:
            self._file = open(path, "a+b")
        except OSError as error:
            raise JournalError(f"the journal cannot be used: {error}") from None
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            self._file.close()
            raise JournalError(f"another run is using the journal {path}") from None
        #: For each job that may be done: the digests of its sources, and its results.
        self.known: dict[str, dict[str, Any]] = {}
        #: The folders of drafts of earlier runs, which may lie there still.
        self.old_drafts: list[str] = []
        try:
            self._read()
            self._write({"run": run, "version": version})
        except BaseException:
            self._file.close()
            raise

    def _read(self) -> None:
        self._file.seek(0)
        position = 0
        for number, line in enumerate(self._file, 1):
            begins = line.startswith(_FIRST) or number > 1
            if not line.endswith(b"\n") and (begins or _FIRST.startswith(line)):
                break  # the run was ended while it wrote this line
            try:
                if not begins:
                    raise ValueError
                self._take(json.loads(line))
            except (ValueError, KeyError, TypeError, AttributeError):
                raise JournalError(f"line {number} of {self.path} is no line of a journal") from None
            position += len(line)
        self._file.truncate(position)
        self._file.seek(0, os.SEEK_END)

    def _take(self, entry: dict[str, Any]) -> None:
        if "ready" in entry:
            self.known[entry["ready"]] = {"sources": entry["sources"], "results": [
                {"path": result["path"], "digest": result["digest"]} for result in entry["results"]]}
        elif "drafts" in entry:
            self.old_drafts.append(entry["drafts"])
        elif not {"run", "done", "failed"} & entry.keys():
            raise KeyError

    def _write(self, entry: dict[str, Any]) -> None:
        self._file.write(json.dumps(entry, ensure_ascii=True).encode() + b"\n")
        self._file.flush()

    def drafts(self, folder: str) -> None:
        """Says that drafts are made in the folder."""
        self._write({"drafts": folder})

    def ready(self, fingerprint: str, sources: list[str], results: list[dict[str, Any]]) -> None:
        """Says that the files of a job are complete; `sync` puts it on the disk."""
        kept = [{"path": each["path"], "size": each["size"], "digest": each["digest"]} for each in results]
        self._write({"ready": fingerprint, "sources": sources, "results": kept})

    def sync(self) -> None:
        """Returns when all that was written is on the disk."""
        os.fdatasync(self._file.fileno())

    def done(self, fingerprint: str) -> None:
        """Says that the files of a job have their names."""
        self._write({"done": fingerprint})

    def failed(self, fingerprint: str, error: str) -> None:
        """Says that a job failed; the next run tries it again."""
        self._write({"failed": fingerprint, "error": error})

    def close(self) -> None:
        """Lets another run have the journal."""
        self._file.close()
