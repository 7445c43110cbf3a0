"""Steps and save options from the arguments."""

from __future__ import annotations

import argparse

from zelmor.batch import (
    Adjust, Background, Crop, Deskew, Dither, Flip, Metadata, Orient, Output, Resize, Resolution, Rotate, Step)
from zelmor.command.errors import UsageError
from zelmor.command.inputs import Naming, format_named

#: Arguments with a name of their own that are settings of the save options.
_SETTINGS = ("quality", "compression", "color_type", "bits", "lossless", "interlaced")


def output_of(arguments: argparse.Namespace) -> Output:
    """How results are saved."""
    settings = {name: getattr(arguments, name) for name in _SETTINGS if getattr(arguments, name) is not None}
    settings |= dict(arguments.option)
    to = format_named(arguments.to) if arguments.to else None
    if to is not None and not to.options:
        raise UsageError(f"files of the format {to.name} can only be read")
    return Output(to.name if to is not None else "", settings, getattr(arguments, "pages", ""))


def naming_of(arguments: argparse.Namespace, number: str = "", extension: str = "") -> Naming:
    """Where results go."""
    return Naming(arguments.output, arguments.to, arguments.suffix or "", getattr(arguments, "in_place", False), number,
                  extension)


def first_steps(arguments: argparse.Namespace) -> list[Step]:
    """The steps before those of the command."""
    steps: list[Step] = []
    if arguments.orient:
        steps.append(Orient())
    if arguments.crop is not None:
        steps.append(Crop(*arguments.crop))
    return steps


def last_steps(arguments: argparse.Namespace, background: bool = True) -> list[Step]:
    """The steps after those of the command."""
    steps: list[Step] = []
    if background and arguments.background is not None:
        steps.append(Background(arguments.background))
    if arguments.dpi is not None:
        steps.append(Resolution(*arguments.dpi))
    if arguments.strip:
        steps.append(Metadata(strip=True))
    return steps


def resize_step(arguments: argparse.Namespace) -> Resize:
    """The step of the command `resize`."""
    width, height = arguments.size or (arguments.width, arguments.height)
    if arguments.size and (arguments.width or arguments.height):
        raise UsageError("--size has both sides already")
    if arguments.scale is not None and (width or height):
        raise UsageError("--scale goes with no size")
    try:
        return Resize(width, height, arguments.scale, arguments.fit, arguments.kernel, arguments.enlarge)
    except ValueError as error:
        raise UsageError(f"{error} (--width, --height, --size or --scale)") from None


def thumbnail_step(arguments: argparse.Namespace) -> Resize:
    """The step of the command `thumbnail`."""
    width, height = arguments.size
    return Resize(width, height, enlarge=False)


def rotate_steps(arguments: argparse.Namespace) -> list[Step]:
    """The steps of the command `rotate`."""
    steps: list[Step] = []
    if arguments.flip:
        steps.append(Flip(arguments.flip))
    if arguments.deskew:
        steps.append(Deskew(arguments.background))
    if arguments.angle % 360:
        steps.append(Rotate(arguments.angle, arguments.background, not arguments.keep_size))
    if not steps and not arguments.orient:
        raise UsageError("nothing to turn: give --angle, --flip, --deskew or --orient")
    return steps


def adjust_steps(arguments: argparse.Namespace) -> list[Step]:
    """The steps of the command `adjust`."""
    adjust = Adjust(arguments.grayscale, arguments.brightness, arguments.contrast, arguments.gamma, arguments.blur,
                    arguments.sharpen, arguments.median, arguments.threshold)
    steps: list[Step] = [adjust] if adjust != Adjust() else []
    if arguments.dither:
        steps.append(Dither(arguments.dither))
    if not steps:
        raise UsageError("nothing to adjust: give --brightness, --contrast, --gamma, --grayscale, ...")
    return steps
