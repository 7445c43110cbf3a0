"""The kinds of jobs, each done by a function that makes its files as drafts."""

from __future__ import annotations

import io
import os
from collections.abc import Callable, Mapping
from typing import Any

from zelmor import specific
from zelmor.batch import formats, jobs
from zelmor.batch.saving import add_rasterization, completed, draft_path, format_of, save, target_format
from zelmor.batch.settings import apply, new_options, page_numbers
from zelmor.batch.steps import done, pages_of, raster_of
from zelmor.imaging import Image, LoadOptions, RasterImage

#: The files that a job made, as pairs of draft and target, what it found out, and a note for people.
Made = tuple[list[tuple[str, str]], dict[str, Any], str]


def make(job: jobs.Job, drafts: str) -> Made:
    """Does a job; its files are made in the folder `drafts`."""
    return _JOBS[type(job)](job, drafts)


def _loaded(path: str, load: Mapping[str, str] | None = None) -> Image:
    if not os.path.exists(path):
        raise FileNotFoundError(f"there is no file {path}")
    if not load:
        return Image.load(path)
    options = LoadOptions()
    apply(options, load)
    return Image.load(path, options)


def _convert(job: jobs.Convert, drafts: str) -> Made:
    draft = draft_path(drafts, job.target, job.output)
    with _loaded(job.source, job.load) as loaded:
        before = f"{loaded.width}x{loaded.height}"
        image = done(loaded, job.steps)
        note = save(image, draft, job.target, job.output)
        after = f"{image.width}x{image.height}"
    return [(draft, job.target)], {"before": before, "after": after}, note


def _split(job: jobs.Split, drafts: str) -> Made:
    made = []
    output = jobs.Output(job.output.format, job.output.settings)
    with _loaded(job.source, job.load) as image:
        pages = pages_of(image)
        chosen = page_numbers(job.output.pages, 1 if pages is None else len(pages))
        for number in chosen:
            target = jobs.numbered(job.target, number + 1)
            draft = draft_path(drafts, target, output)
            page = image if pages is None else pages[number]
            _save_page(done(page, job.steps), draft, target, output, format_of(image))
            made.append((draft, target))
    return made, {"pages": len(made)}, ""


def _save_page(page: Image, draft: str, target: str, output: jobs.Output, source: formats.Format | None) -> None:
    """Saves a page, which has no format of its own, by options always."""
    extension = os.path.splitext(target)[1]
    wanted = formats.by_name(output.format) if output.format else formats.by_extension(extension) or source
    if wanted is None or not wanted.options:
        raise ValueError(f"no format that can be written is known for {target!r}")
    with new_options(wanted.options) as options:
        add_rasterization(page, options, wanted)
        apply(options, completed(output.settings, wanted))
        page.save(draft, options)


def _join(job: jobs.Join, drafts: str) -> Made:
    if not job.sources:
        raise ValueError("there is nothing to join")
    draft = draft_path(drafts, job.target, job.output)
    images = [_loaded(path) for path in job.sources]
    wanted = target_format(images[0], job.target, job.output)
    if not wanted.many:
        raise ValueError(f"{wanted.name} files hold one picture")
    with Image.create(images, True) as joined, new_options(wanted.options) as options:
        count = len(pages_of(joined))
        settings = completed(job.output.settings, wanted)
        if job.loops:
            settings = {"loops": str(job.loops)} | settings
        if job.duration and wanted.name == "apng":
            settings = {"default_frame_time": str(job.duration)} | settings
        apply(options, settings)
        if job.duration and wanted.name in ("gif", "webp"):
            _save_timed(joined, draft, wanted, options, job.duration)
        else:
            joined.save(draft, options)
    return [(draft, job.target)], {"pages": count}, ""


def _save_timed(image: Image, draft: str, wanted: formats.Format, options: Any, duration: int) -> None:
    """Saves an animation whose frames all last as long: they become frames of the format first, which have a time."""
    file = io.BytesIO()
    with new_options(wanted.options) as lossless:
        image.save(file, lossless)
    with Image.load(io.BytesIO(file.getvalue())) as animation:
        for page in pages_of(animation):
            frame: Any = specific(page)
            if wanted.name == "gif":
                frame.frame_time = duration
            else:
                frame.duration = duration
        animation.save(draft, options)


def _sheet(job: jobs.Sheet, drafts: str) -> Made:
    from zelmor.batch.sheet import make_sheet

    draft = draft_path(drafts, job.target, job.output)
    with make_sheet(job) as sheet:
        note = save(sheet, draft, job.target, job.output)
        return [(draft, job.target)], {"after": f"{sheet.width}x{sheet.height}", "pictures": len(job.sources)}, note


def _inspect(job: jobs.Inspect, drafts: str) -> Made:
    from zelmor.batch.inspection import inspect

    with _loaded(job.source) as image:
        return [], inspect(image, job), ""


def _compare(job: jobs.Compare, drafts: str) -> Made:
    from zelmor.batch.comparison import compare

    with _loaded(job.first) as first, _loaded(job.second) as second:
        return [], compare(_raster(first, job.first), _raster(second, job.second)), ""


def _raster(image: Image, path: str) -> RasterImage:
    raster = raster_of(image)
    if raster is None:
        raise ValueError(f"{path} is a drawing, which has no pixels to compare")
    return raster


_JOBS: dict[type, Callable[[Any, str], Made]] = {
    jobs.Convert: _convert, jobs.Split: _split, jobs.Join: _join, jobs.Sheet: _sheet, jobs.Inspect: _inspect,
    jobs.Compare: _compare,
}
