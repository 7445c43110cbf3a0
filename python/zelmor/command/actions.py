"""What the commands do."""

from __future__ import annotations

import argparse
import os
import sys
from collections.abc import Sequence
from importlib import import_module
from typing import Any

from zelmor.batch import (
    Compare, Convert, Inspect, Job, Join, Metadata, Orient, Outcome, Output, Resize, Sheet, Split, Step)
from zelmor.batch.formats import FORMATS
from zelmor.command import building
from zelmor.command.errors import UsageError
from zelmor.command.inputs import STANDARD, Input, Naming, format_named
from zelmor.command.progress import size_text
from zelmor.command.work import Work


def _changed(arguments: argparse.Namespace, steps: Sequence[Step], background: bool = True) -> int:
    """Converts all inputs, with the steps of a command among those that all commands have."""
    every = (*building.first_steps(arguments), *steps, *building.last_steps(arguments, background))
    output = building.output_of(arguments)
    naming = building.naming_of(arguments)
    load = dict(arguments.load_option)
    overwrite = arguments.overwrite or arguments.in_place
    with Work(arguments) as work:
        work.take()
        return work.finish(work.jobs(naming, lambda source, target: Convert(
            source.path, target, every, output, load, overwrite)))


def convert(arguments: argparse.Namespace) -> int:
    """Saves pictures in another format."""
    inputs = arguments.inputs
    if len(inputs) == 2 and arguments.output is None and arguments.to is None and not arguments.in_place and (
            inputs[1] == STANDARD or not (os.path.isdir(inputs[1]) or inputs[1].endswith("/"))) and (
            inputs[1] == STANDARD or os.path.splitext(inputs[1])[1]):
        arguments.inputs, arguments.output = inputs[:1], inputs[1]
    if not arguments.output and not arguments.to and not arguments.suffix and not arguments.in_place:
        raise UsageError("convert to what? Give --to FORMAT or --output PLACE, or two files")
    return _changed(arguments, ())


def resize(arguments: argparse.Namespace) -> int:
    """Changes the size of pictures."""
    return _changed(arguments, (building.resize_step(arguments),))


def thumbnail(arguments: argparse.Namespace) -> int:
    """Makes small pictures."""
    if arguments.suffix is None and not arguments.output and not arguments.in_place:
        arguments.suffix = "-thumbnail"  # beside the inputs
    return _changed(arguments, (building.thumbnail_step(arguments),))


def rotate(arguments: argparse.Namespace) -> int:
    """Turns and mirrors pictures."""
    return _changed(arguments, building.rotate_steps(arguments), background=False)


def adjust(arguments: argparse.Namespace) -> int:
    """Changes tones and sharpness."""
    return _changed(arguments, building.adjust_steps(arguments))


def parts(arguments: argparse.Namespace) -> int:
    """Splits pictures into frames or pages, or joins them."""
    output = building.output_of(arguments)
    with Work(arguments) as work:
        work.take()
        if arguments.join:
            return work.finish(_joined(arguments, work, output))
        if arguments.duration or arguments.loops:
            raise UsageError("--duration and --loops go with --join")
        naming = building.naming_of(arguments, "-{number:03}", "" if arguments.to else ".png")
        if naming.is_one_file() and not arguments.output.endswith("/"):
            raise UsageError(f"each of several results needs a name: {arguments.output!r} has no {{number}}")
        load = dict(arguments.load_option)

        def made(source: Input, target: str) -> Job:
            try:
                return Split(source.path, target, (), output, load, arguments.overwrite)
            except ValueError as error:
                raise UsageError(str(error)) from None

        return work.finish(work.jobs(naming, made))


def _joined(arguments: argparse.Namespace, work: Work, output: Output) -> list[Job]:
    if arguments.output is None or not (Naming(arguments.output, None).is_one_file() or arguments.output == STANDARD):
        raise UsageError("--join makes one file: name it with --output")
    if work.failures:
        # A file without one of its pages would look complete.
        raise UsageError("; ".join(f"{failure.job.reads[0]}: {failure.error}" for failure in work.failures))
    target = work.target(Naming(arguments.output, arguments.to), work.inputs[0])
    work.rename(target, arguments.output)
    return [Join(tuple(each.path for each in work.inputs), target, output, arguments.duration, arguments.loops,
                 arguments.overwrite)]


def sheet(arguments: argparse.Namespace) -> int:
    """Puts pictures on a sheet: each is reduced by a job of its own, so that processes share the work."""
    if arguments.output is None:
        raise UsageError("name the sheet with --output")
    with Work(arguments) as work:
        pictures = work.take()
        target = work.target(Naming(arguments.output, arguments.to), Input("sheet.png", arguments.output))
        work.rename(target, arguments.output)
        captions = [os.path.basename(each.name) if arguments.captions else "" for each in pictures]
        settings = {"columns": arguments.columns, "width": arguments.cell[0], "height": arguments.cell[1],
                    "gap": arguments.gap, "background": arguments.background, "color": arguments.color,
                    "output": building.output_of(arguments), "overwrite": arguments.overwrite}
        whole = Sheet(tuple(each.path for each in pictures), tuple(captions), target, **settings)
        if arguments.dry_run:
            return work.finish([whole])
        load = dict(arguments.load_option)
        reduced = [Convert(each.path, os.path.join(work.scratch(), f"{index}.png"), (
            Orient(), Resize(arguments.cell[0], arguments.cell[1], enlarge=False)), Output("png", pages="1"), load)
            for index, each in enumerate(pictures)]
        journal, arguments.journal = arguments.journal, ""
        for each, job in zip(pictures, reduced):
            work.rename(job.target, each.name)
        small = work.run(reduced, quiet=not sys.stderr.isatty())
        arguments.journal = journal
        places = {os.path.abspath(job.source): index for index, job in enumerate(reduced)}
        kept = [places[outcome.job.reads[0]] for outcome in small.done]
        if not kept:
            work.tell_end(small)
            return 1
        work.failures = small.failed
        return work.finish([Sheet(tuple(reduced[index].target for index in kept),
                                  tuple(captions[index] for index in kept), target, **settings)])


def metadata(arguments: argparse.Namespace) -> int:
    """Shows metadata, or changes them."""
    if arguments.set or arguments.remove or arguments.strip:
        step = Metadata(arguments.strip, tuple(arguments.remove), dict(arguments.set))
        output, naming = building.output_of(arguments), building.naming_of(arguments)
        load = dict(arguments.load_option)
        overwrite = arguments.overwrite or arguments.in_place
        with Work(arguments) as work:
            work.take()
            return work.finish(work.jobs(naming, lambda source, target: Convert(
                source.path, target, (step,), output, load, overwrite)))
    if arguments.output or arguments.to or arguments.in_place:
        raise UsageError("nothing to change: give --set, --remove or --strip")
    return _inspected(arguments, True, _print_metadata)


def info(arguments: argparse.Namespace) -> int:
    """Shows what files hold."""
    return _inspected(arguments, False, _print_info)


def _inspected(arguments: argparse.Namespace, with_metadata: bool, show: Any) -> int:
    with Work(arguments) as work:
        report = work.run([Inspect(each.path, with_metadata) for each in work.take()])
        if arguments.json:
            work.print_json([_described(outcome, work) for outcome in report.outcomes])
        else:
            found = [_described(outcome, work) for outcome in report.done]
            show(found)
        if report.failed:
            work.tell_end(report)
        return 1 if report.failed else 0


def _described(outcome: Outcome, work: Work) -> dict[str, Any]:
    found = {"path": work.called(outcome.job.reads[0])}
    return found | ({"error": outcome.error} if outcome.error else
                    {name: value for name, value in outcome.details.items() if name != "path"})


def _print_info(found: Sequence[dict[str, Any]]) -> None:
    width = max((len(each["path"]) for each in found), default=0)
    for each in found:
        form = f"{each['bits_per_pixel']} bits" if each["pixels"] else "drawing"
        extras = [name for name in ("alpha", "palette") if each.get(name)]
        if "dpi" in each:
            across, down = each["dpi"]
            extras.append(f"{across:g} dpi" if across == down else f"{across:g}x{down:g} dpi")
        if each["pages"] != 1:
            extras.append(f"{each['pages']} pages")
        size = f"{each['width']}x{each['height']}"
        print(f"{each['path']:{width}}  {each['format']:8} {size:>11}  {form:8} {size_text(each['bytes']):>7}  "
              f"{', '.join(extras)}".rstrip())


def _print_metadata(found: Sequence[dict[str, Any]]) -> None:
    for each in found:
        print(f"{each['path']}:")
        for name in ("exif", "xmp"):
            for key, value in each.get(name, {}).items():
                print(f"  {key}: {_text(value)}")
        if "comment" in each:
            print(f"  comment: {_text(each['comment'])}")


def _text(value: Any) -> str:
    shown = ", ".join(map(str, value)) if isinstance(value, list) else str(value)
    return shown if len(shown) < 200 else shown[:197] + "..."


def compare(arguments: argparse.Namespace) -> int:
    """Tells how much two pictures differ."""
    with Work(arguments) as work:
        taken = work.take([arguments.first, arguments.second])
        if work.failures or not taken:
            for failure in work.failures:
                print(f"zelmor: {failure.job.reads[0]}: {failure.error}", file=sys.stderr)
            return 2
        report = work.run([Compare(taken[0].path, taken[-1].path)])
        if report.failed:
            return 2
        found = report.outcomes[0].details
        same = found["equal"] or (found.get("greatest", 256) <= arguments.tolerance)
        if arguments.json:
            work.print_json({"first": arguments.first, "second": arguments.second, "same": same} | found)
        elif not arguments.quiet:
            print(_difference(found))
        return 0 if same else 1


def _difference(found: dict[str, Any]) -> str:
    if found["equal"]:
        return "the same"
    if "greatest" not in found:
        return "the sizes differ: " + " and ".join(f"{width}x{height}" for width, height in found["sizes"])
    return (f"{found['differing']:.4%} of the pixels differ, a sample by {found['greatest']} at most, by "
            f"{found['mean']:.4g} in the mean; PSNR {found['psnr']} dB")


def formats(arguments: argparse.Namespace) -> int:
    """Lists the formats, or the options of one."""
    if arguments.format is None:
        return _all_formats(arguments)
    wanted = format_named(arguments.format)
    if not wanted.options:
        raise UsageError(f"files of the format {wanted.name} can only be read")
    from zelmor.batch.settings import described, new_options, properties

    with new_options(wanted.options) as options:
        found = list(properties(options))
    if arguments.json:
        Work.print_json([{"name": each.name, "type": each.type, "default": _default(each.default),
                          "values": list(each.choices)} for each in found])
    else:
        print(f"{wanted.name}: properties of {wanted.options}, set by -O NAME=VALUE")
        for each in found:
            print(f"  {each.name:34} {described(each)}; without it {_default(each.default)}")
    return 0


def _default(value: Any) -> Any:
    if value is None or isinstance(value, bool):
        return value
    return getattr(value, "name", None) or (value if isinstance(value, (int, float, str)) else str(value))


def _all_formats(arguments: argparse.Namespace) -> int:
    every = [{"name": each.name, "extensions": list(each.extensions), "read": each.reads,
              "written": bool(each.options), "pages": each.many} for each in FORMATS.values()]
    if arguments.json:
        Work.print_json(every)
        return 0
    print(f"{'format':10}{'read':6}{'written':9}{'pages':7}extensions")
    for form in FORMATS.values():
        marks = ["yes" if each else "no" for each in (form.reads, bool(form.options), form.many)]
        print(f"{form.name:10}{marks[0]:6}{marks[1]:9}{marks[2]:7}{' '.join(form.extensions)}".rstrip())
    return 0


def doc(arguments: argparse.Namespace) -> int:
    """Shows what the reference says."""
    try:
        documentation = import_module("zelmor.documentation")
    except ModuleNotFoundError as error:
        if error.name != "zelmor.documentation":
            raise
        print("zelmor: this installation has no reference (the module zelmor.documentation)", file=sys.stderr)
        return 1
    try:
        text: str = documentation.text(arguments.name)
    except (LookupError, ValueError) as error:
        reason = error.args[0] if error.args else arguments.name
        print(f"zelmor: {reason}", file=sys.stderr)
        return 1
    print(text)
    return 0
