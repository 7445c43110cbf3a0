"""Work on many files: jobs as data, done by processes here or by a Dask cluster, and resumed where they stopped.

    from zelmor import batch

    jobs = [batch.Convert(f"in/{name}.jpg", f"out/{name}.webp", (batch.Resize(width=800),),
                          batch.Output(settings={"lossless": "false", "quality": "80"})) for name in names]
    report = batch.run(jobs, journal="out.journal")
    for outcome in report.failed:
        print(outcome.job.name, outcome.error)

Nothing of the library is loaded in the process that runs the jobs; its workers do that.
"""

from __future__ import annotations

TYPE_CHECKING = False  # type checkers take it for true
if TYPE_CHECKING:
    from zelmor.batch.errors import ClusterError, ClusterLost, JournalError
    from zelmor.batch.jobs import (
        Adjust, Background, Compare, Convert, Crop, Deskew, Dither, Flip, Inspect, Job, Join, Metadata, Orient, Output,
        Resize, Resolution, Rotate, Sheet, Split, Step, absolute, from_data, from_json, to_data, to_json)
    from zelmor.batch.report import Outcome, Report
    from zelmor.batch.running import run

__all__ = [
    "Adjust", "Background", "ClusterError", "ClusterLost", "Compare", "Convert", "Crop", "Deskew", "Dither", "Flip",
    "Inspect", "Job", "Join", "JournalError", "Metadata", "Orient", "Outcome", "Output", "Report", "Resize",
    "Resolution", "Rotate", "Sheet", "Split", "Step", "absolute", "from_data", "from_json", "run", "to_data",
    "to_json"]


def __getattr__(name: str) -> object:
    """A name of this package, imported when it is first used: help and completion of the command need none of it."""
    from importlib import import_module

    if name in __all__:
        for module in ("jobs", "report", "errors", "running"):
            value: object = vars(import_module(f"zelmor.batch.{module}")).get(name)
            if value is not None:
                globals()[name] = value
                return value
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__() -> list[str]:
    return sorted({*globals(), *__all__})
