"""Jobs as data: what is to be done with which files.

A *job* reads its sources and makes its targets. A *step* is one operation on the picture of a job. Both are plain
dataclasses of texts and numbers, which become JSON and come back by `to_data` and `from_data`; nothing here imports the
library, so that jobs can be made, stored and sent anywhere.
"""

from __future__ import annotations

import dataclasses
import hashlib
import json
import os
import typing
from collections.abc import Mapping, Sequence
from dataclasses import dataclass, field
from typing import Any, ClassVar, TypeVar

#: The classes that can be part of a job, by the names that stand for them in JSON.
KINDS: dict[str, type[Part]] = {}


class Part:
    """Anything that a job consists of."""

    kind: ClassVar[str]

    def __init_subclass__(cls, abstract: bool = False) -> None:
        """Each part is known by its name in lower case, but for those that are only there to be derived from."""
        super().__init_subclass__()
        if not abstract:
            cls.kind = cls.__name__.lower()
            KINDS[cls.kind] = cls


class Step(Part, abstract=True):
    """One operation on a picture."""


@dataclass(frozen=True)
class Orient(Step):
    """Turns the picture upright, as the orientation in its EXIF data says."""


@dataclass(frozen=True)
class Crop(Step):
    """Keeps a rectangle of the picture, in pixels from its left upper corner."""

    left: int
    top: int
    width: int
    height: int


@dataclass(frozen=True)
class Resize(Step):
    """Changes the size. `scale` counts alone; with one of the sides, the other one follows from the proportions.

    With both sides, `fit` is "inside" (the largest size within them with the proportions of the picture), "cover" (the
    picture fills them, and what is beyond them is cut off) or "exact" (proportions are lost). `kernel` is a name of the
    enumeration `ResizeType`. Without `enlarge`, a picture that is smaller stays as it is.
    """

    width: int | None = None
    height: int | None = None
    scale: float | None = None
    fit: str = "inside"
    kernel: str = "lanczos_resample"
    enlarge: bool = True

    def __post_init__(self) -> None:
        """Refuses sizes that mean nothing."""
        if self.fit not in ("inside", "cover", "exact"):
            raise ValueError(f"fit is {self.fit!r}, not one of inside, cover and exact")
        if self.scale is None and self.width is None and self.height is None:
            raise ValueError("a new size needs a width, a height or a scale")
        if self.scale is not None and not 0 < self.scale < 1e6:
            raise ValueError(f"the scale {self.scale} is not above 0")
        for side in (self.width, self.height):
            if side is not None and side < 1:
                raise ValueError(f"a side of {side} pixels is not above 0")


@dataclass(frozen=True)
class Rotate(Step):
    """Turns the picture clockwise. With `expand` the picture grows to hold all of it, over the background color."""

    degrees: float
    background: str = "transparent"
    expand: bool = True


@dataclass(frozen=True)
class Flip(Step):
    """Mirrors the picture: "horizontal" changes left and right, "vertical" top and bottom."""

    direction: str

    def __post_init__(self) -> None:
        """Refuses other directions."""
        if self.direction not in ("horizontal", "vertical"):
            raise ValueError(f"the direction is {self.direction!r}, not horizontal or vertical")


@dataclass(frozen=True)
class Deskew(Step):
    """Turns a scanned page so that its lines of text are level."""

    background: str = "white"


@dataclass(frozen=True)
class Adjust(Step):
    """Changes tones, in this order: gray, brightness (-255 to 255), contrast (-100 to 100), gamma.

    Then come blur and sharpening, as radii in pixels, and the median of a square of so many pixels; then the picture
    becomes black and white, by a threshold of 0 to 255, "otsu" or "bradley".
    """

    grayscale: bool = False
    brightness: int = 0
    contrast: float = 0.0
    gamma: float = 1.0
    blur: int = 0
    sharpen: int = 0
    median: int = 0
    threshold: str = ""


@dataclass(frozen=True)
class Dither(Step):
    """Reduces the picture to 2 to the power of `bits` colors, by error diffusion."""

    bits: int


@dataclass(frozen=True)
class Background(Step):
    """Puts the picture on a color, so that it has no transparency any more."""

    color: str


@dataclass(frozen=True)
class Resolution(Step):
    """Says how many pixels there are to the inch."""

    x: float
    y: float


@dataclass(frozen=True)
class Metadata(Step):
    """Changes metadata: removes all (`strip`), removes or sets single ones.

    A name is a property of the EXIF data (`artist`, `date_time_original`), `comment`, or an XMP property with its
    prefix (`dc:title`).
    """

    strip: bool = False
    remove: tuple[str, ...] = ()
    values: Mapping[str, str] = field(default_factory=dict)


@dataclass(frozen=True)
class Output(Part):
    """How a picture is saved: the format (without it the extension of the target decides, then the format of the
    source), properties of its options by name, and pages ("1,3-5", counted from 1; "" is all of them)."""

    format: str = ""
    settings: Mapping[str, str] = field(default_factory=dict)
    pages: str = ""


class Job(Part, abstract=True):
    """A piece of work that is done completely or not at all."""

    @property
    def reads(self) -> tuple[str, ...]:
        """The files that the job reads."""
        raise NotImplementedError

    @property
    def writes(self) -> str:
        """The file that the job makes, with a place for numbers if it makes several; "" if it makes none."""
        return ""

    @property
    def may_overwrite(self) -> bool:
        """Whether a file that exists may be replaced."""
        return False

    @property
    def name(self) -> str:
        """A line for people."""
        return f"{', '.join(self.reads)} -> {self.writes}" if self.writes else ", ".join(self.reads)


class MakingJob(Job, abstract=True):
    """A job that makes the file, or the files, that `target` names."""

    target: str
    overwrite: bool

    @property
    def writes(self) -> str:
        """The target."""
        return self.target

    @property
    def may_overwrite(self) -> bool:
        """As it was asked for."""
        return self.overwrite


class JoiningJob(MakingJob, abstract=True):
    """One that makes a file of several pictures."""

    sources: tuple[str, ...]

    @property
    def reads(self) -> tuple[str, ...]:
        """All sources."""
        return self.sources


@dataclass(frozen=True)
class Convert(MakingJob):
    """Reads a picture, does the steps, and saves it as one file.

    `load` are properties of the options that the picture is loaded with.
    """

    source: str
    target: str
    steps: tuple[Step, ...] = ()
    output: Output = Output()
    load: Mapping[str, str] = field(default_factory=dict)
    overwrite: bool = False

    @property
    def reads(self) -> tuple[str, ...]:
        """The source."""
        return (self.source,)


@dataclass(frozen=True)
class Split(Convert):
    """Saves each frame or page of a picture as a file of its own: `{number}` in the target is its number, from 1, which
    may have a width, as in `{number:03}`."""

    def __post_init__(self) -> None:
        """Refuses a target that would be the same for all pages."""
        if numbered(self.target, 1) == numbered(self.target, 2):
            raise ValueError(f"the target {self.target!r} of a picture that is split has no {{number}}")


@dataclass(frozen=True)
class Join(JoiningJob):
    """Makes one file of the pictures, with all of their pages. `duration` is that of a frame in milliseconds."""

    sources: tuple[str, ...]
    target: str
    output: Output = Output()
    duration: int = 0
    loops: int = 0
    overwrite: bool = False


@dataclass(frozen=True)
class Sheet(JoiningJob):
    """Puts reduced pictures on one sheet, row by row, with a line of text below each."""

    sources: tuple[str, ...]
    captions: tuple[str, ...]
    target: str
    columns: int = 4
    width: int = 240
    height: int = 180
    gap: int = 12
    background: str = "white"
    color: str = "black"
    output: Output = Output()
    overwrite: bool = False


@dataclass(frozen=True)
class Inspect(Job):
    """Says what a file holds: format, size, pixels, pages; with `metadata` EXIF, XMP and comments as well."""

    source: str
    metadata: bool = False

    @property
    def reads(self) -> tuple[str, ...]:
        """The file."""
        return (self.source,)


@dataclass(frozen=True)
class Compare(Job):
    """Compares the pixels of two pictures of the same size."""

    first: str
    second: str

    @property
    def reads(self) -> tuple[str, ...]:
        """Both."""
        return (self.first, self.second)


def numbered(target: str, number: int) -> str:
    """The target of a page; only `{number}` stands for something, so that other braces in names stay."""
    import re

    return re.sub(r"\{number(?::(0?\d{1,2}))?\}", lambda match: format(number, (match[1] or "") + "d"), target)


def to_data(part: Part) -> dict[str, Any]:
    """A job, or a part of one, as values that JSON has."""
    def plain(value: object) -> object:
        if isinstance(value, Part):
            return to_data(value)
        if isinstance(value, Mapping):
            return {str(key): plain(item) for key, item in value.items()}
        if isinstance(value, (list, tuple)):
            return [plain(item) for item in value]
        return value

    assert dataclasses.is_dataclass(part)
    fields = {each.name: plain(getattr(part, each.name)) for each in dataclasses.fields(part)}
    return {"kind": type(part).kind} | fields


_P = TypeVar("_P", bound=Part)


def from_data(data: Mapping[str, Any], expected: type[_P]) -> _P:
    """The job, or part of one, that `to_data` was given. Raises ValueError for anything else."""
    kind = KINDS.get(str(data.get("kind")))
    if kind is None or not issubclass(kind, expected) or not dataclasses.is_dataclass(kind):
        raise ValueError(f"{data.get('kind')!r} is no {expected.__name__.lower()}")
    known = {each.name: each for each in dataclasses.fields(kind)}
    unknown = set(data) - set(known) - {"kind"}
    if unknown:
        raise ValueError(f"{kind.kind} has no {', '.join(sorted(unknown))}")
    types = typing.get_type_hints(kind)
    values = {name: _checked(value, types[name], f"{kind.kind}.{name}") for name, value in data.items()
              if name != "kind"}
    try:
        made = kind(**values)
    except TypeError as error:
        raise ValueError(str(error)) from None
    assert isinstance(made, expected)
    return made


def _checked(value: object, wanted: Any, place: str) -> object:
    """A value of a field, whose type has to be the declared one."""
    origin, arguments = typing.get_origin(wanted), typing.get_args(wanted)
    if isinstance(wanted, type) and issubclass(wanted, Part):
        if isinstance(value, Mapping):
            return from_data(value, wanted)
    elif origin is tuple:
        if isinstance(value, Sequence) and not isinstance(value, str):
            return tuple(_checked(item, arguments[0], place) for item in value)
    elif origin is not None and isinstance(origin, type) and issubclass(origin, Mapping):
        if isinstance(value, Mapping) and all(isinstance(item, str) for pair in value.items() for item in pair):
            return dict(value)
    else:
        accepted = [type(None) if each is None else each for each in (arguments or (wanted,))]
        if float in accepted and type(value) is int:
            return float(value)
        if type(value) in accepted:
            return value
    raise ValueError(f"{place} is {value!r}, of the wrong type")


def to_json(job: Job) -> str:
    """The job as one line of JSON."""
    return json.dumps(to_data(job), ensure_ascii=True, sort_keys=True)


def from_json(text: str) -> Job:
    """The job of a line that `to_json` wrote."""
    data = json.loads(text)
    if not isinstance(data, dict):
        raise ValueError("a job is a JSON object")
    return from_data(data, Job)


def absolute(job: _P) -> _P:
    """The job with absolute paths, which other processes and machines understand."""
    assert dataclasses.is_dataclass(job)
    changes: dict[str, Any] = {}
    for name in ("source", "target", "first", "second", "sources"):
        value = getattr(job, name, None)
        if isinstance(value, str):
            changes[name] = os.path.abspath(value)
        elif isinstance(value, tuple):
            changes[name] = tuple(map(os.path.abspath, value))
    return dataclasses.replace(job, **changes)


def fingerprint(job: Job, version: str) -> str:
    """A text that is the same for the same work by the same version, on sources of any content."""
    data = to_data(job)
    data.pop("overwrite", None)  # says what may be replaced, not what is made
    text = json.dumps([version, data], sort_keys=True)
    return hashlib.blake2b(text.encode("utf-8", "surrogatepass"), digest_size=20).hexdigest()
