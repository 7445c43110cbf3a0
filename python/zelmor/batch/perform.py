"""Doing one job, in the process that it was given to.

Files are made as drafts in a folder that the caller names; where they belong is the caller's business
(zelmor.batch.publishing). A request and its answer are lines of JSON, so that it is the same to work for a process
nearby and for a machine elsewhere.
"""

from __future__ import annotations

import hashlib
import json
import os
import re
import tempfile
import time
from typing import Any

from zelmor.batch import jobs
from zelmor.batch.making import make
from zelmor.batch.version import VERSION


def answer(request: str) -> str:
    """Does the job of a request; the answer is a JSON object, also if the job fails.

    A request has the version of the caller, the job, the folder for drafts and how names in it begin, whether contents
    are to be identified by their digests, and what is known of an earlier run.
    """
    asked = json.loads(request)
    started = time.monotonic()
    try:
        if asked["version"] != VERSION:
            raise RuntimeError(f"this process has version {VERSION} of the package, its caller version "
                               f"{asked['version']}")
        told = _worked(jobs.from_data(asked["job"], jobs.Job), asked)
    except Exception as error:
        told = {"status": "failed", "error": error_text(error), "type": error_type(error)}
    told["seconds"] = round(time.monotonic() - started, 6)
    told["process"] = os.getpid()
    return json.dumps(told, ensure_ascii=True)


def _worked(job: jobs.Job, asked: dict[str, Any]) -> dict[str, Any]:
    sources: list[str] = []
    if asked["digests"]:
        sources = [digest(path) for path in job.reads]
        if _known(job, sources, asked["known"]):
            return {"status": "skipped"}
    drafts = tempfile.mkdtemp(prefix=asked["prefix"], dir=asked["drafts"]) if asked["drafts"] else ""
    made, details, note = make(job, drafts)
    results = []
    for draft, target in made:
        result: dict[str, Any] = {"draft": draft, "path": target, "size": os.path.getsize(draft)}
        if asked["digests"]:
            result["digest"] = digest(draft)
        results.append(result)
    told: dict[str, Any] = {"status": "done", "results": results, "sources": sources}
    return told | ({"details": details} if details else {}) | ({"note": note} if note else {})


def _known(job: jobs.Job, sources: list[str], known: dict[str, Any] | None) -> bool:
    """Whether an earlier run did the job: its results are as they were, and so are its sources.

    A source that is a result too was changed by the job itself.
    """
    if known is None:
        return False
    results = {result["path"]: result["digest"] for result in known["results"]}
    if not all(os.path.isfile(path) and digest(path) == content for path, content in results.items()):
        return False
    return len(sources) == len(known["sources"]) and all(
        now in (before, results.get(path)) for path, now, before in zip(job.reads, sources, known["sources"]))


def digest(path: str) -> str:
    """A text that is the same for the same content."""
    with open(path, "rb") as file:
        return hashlib.file_digest(file, lambda: hashlib.blake2b(digest_size=20)).hexdigest()


_PATH = re.compile(r"^(?:Cannot (?:load|save) '.*?': )+")
_MANAGED = re.compile(r"Proxy error\((\w+)\): (.*)", re.DOTALL)


def error_text(error: BaseException) -> str:
    """The message of an error, without the words around that of the managed side, and without the path of a source or
    draft, which people know by another name."""
    text = str(error) or type(error).__name__
    managed = _MANAGED.fullmatch(text)
    return _PATH.sub("", managed[2] if managed else text)


def error_type(error: BaseException) -> str:
    """The type of an error, the managed one if it has one."""
    managed = _MANAGED.fullmatch(str(error))
    return managed[1] if managed else type(error).__name__
