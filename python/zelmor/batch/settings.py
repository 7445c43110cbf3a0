"""Properties of the library's options classes, set from texts.

The classes themselves say which properties they have and of which types: a property that is given an object of a
foreign class refuses it with the name of its type, before anything is changed. So a new property of the API is a new
setting here without a line of code.
"""

from __future__ import annotations

import enum
import re
from collections.abc import Callable, Iterator, Mapping
from dataclasses import dataclass
from functools import cache
from types import ModuleType
from typing import Any

from zelmor import imaging
from zelmor.imaging.fileformats.tiff import TiffRational
from zelmor.imaging.fileformats.tiff.enums import TiffExpectedFormat
from zelmor.imaging.imageoptions import MultiPageOptions
from zelmor.imaging.sources import StreamSource

#: Settings that have a name for all formats, and the properties that they stand for: the first one that a class has.
COMMON = {
    "quality": ("quality", "compressed_quality"),
    "compression": ("compression", "compression_level", "compression_method", "compression_type",
                    "compression_ratios"),
    "color_type": ("color_type", "color_mode", "photometric"),
    "bits": ("bit_depth", "bits_per_pixel", "bits_per_channel", "bits_per_sample", "channel_bits_count"),
    "interlaced": ("progressive", "interlaced"),
    "lossless": ("lossless",),
    "loops": ("loops_count", "anim_loop_count", "num_plays"),
}

_INTEGERS = {"Byte", "SByte", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64"}
_WORDS = {"true": True, "yes": True, "on": True, "1": True, "false": False, "no": False, "off": False, "0": False}
_REFUSED = re.compile(r"can't build '?([\w\[\]`.]+?)'?(?: value)? from ")


class SettingError(ValueError):
    """A setting that a class does not have, or a text that is no value of it."""


class _Foreign:
    """An object of no type that a property takes."""


@dataclass(frozen=True)
class Property:
    """A property that can be set: the name of its type, the value of a new object, and the names of all values."""

    name: str
    type: str
    default: object
    choices: tuple[str, ...] = ()


@cache
def api_classes() -> dict[str, type]:
    """All classes of the library by their names; the first one, from the root of its modules, if several share one."""
    found: dict[str, type] = {}
    pending: list[ModuleType] = [imaging]
    while pending:
        module = pending.pop(0)
        for name, value in vars(module).items():
            if isinstance(value, type):
                found.setdefault(name, value)
            elif isinstance(value, ModuleType) and value.__name__ == f"{module.__name__}.{name}" and name[0] != "_":
                pending.append(value)
    return found


def new_options(name: str) -> Any:
    """A new object of an options class."""
    made: Any = api_classes()[name]
    return made(TiffExpectedFormat.DEFAULT) if name in ("TiffOptions", "BigTiffOptions") else made()


def properties(target: object) -> Iterator[Property]:
    """The properties of an object that can be set, in the order of their names."""
    for name in dir(type(target)):
        if not name.startswith("_"):
            found = _property(target, name)
            if found is not None:
                yield found


def _property(target: object, name: str) -> Property | None:
    if type(getattr(type(target), name, None)).__name__ != "getset_descriptor":
        return None
    try:
        setattr(target, name, _Foreign())
    except AttributeError:
        return None  # read-only
    except TypeError as error:
        refused = _REFUSED.search(str(error))
        if refused is None:
            raise
        kind = refused[1]
    else:
        return None  # takes anything: no text says what is meant
    value = getattr(target, name)
    members = type(value) if isinstance(value, enum.Enum) else api_classes().get(kind)
    choices = tuple(members.__members__) if isinstance(members, enum.EnumMeta) else ()
    return Property(name, kind, value, choices)


def apply(target: object, settings: Mapping[str, str]) -> None:
    """Sets properties from texts. A dot leads into an object: `pdf_core_options.jpeg_quality`.

    Names that all formats share (`COMMON`) stand for the property that the class has.
    """
    for name, text in settings.items():
        _set(target, _resolved(target, name.replace("-", "_")), text)


def _resolved(target: object, name: str) -> str:
    if hasattr(type(target), name):
        return name
    return next((real for real in COMMON.get(name, ()) if hasattr(type(target), real)), name)


def _set(target: object, path: str, text: str) -> None:
    name, _, rest = path.partition(".")
    kind = type(target).__name__
    found = _property(target, name)
    if found is None:
        raise SettingError(f"{kind} has no setting {name!r}; it has {', '.join(p.name for p in properties(target))}")
    if rest:
        inner = found.default
        if inner is None:
            made: Any = api_classes().get(found.type)
            if made is None:
                raise SettingError(f"{kind}.{name} is a {found.type}, which has no settings")
            inner = made()
        _set(inner, rest, text)
        setattr(target, name, inner)
        return
    try:
        value = _value(found, text)
    except (ValueError, KeyError, OverflowError) as error:
        reason = "" if isinstance(error, KeyError) else f": {error}"
        raise SettingError(f"{text!r} is no value of {kind}.{name} ({described(found)}){reason}") from None
    setattr(target, name, value)


def described(found: Property) -> str:
    """The values of a property, in words."""
    if found.choices:
        return "one of " + ", ".join(found.choices)
    if found.type in _INTEGERS:
        return "an integer"
    return {"bool": "true or false", "Single": "a number", "Double": "a number", "String": "text",
            "Array": "a list of numbers or texts with commas", "byte[]": "a list of numbers with commas",
            "Color": "a name or #RRGGBB or #AARRGGBB", "MultiPageOptions": "pages, such as 1,3-5",
            "ResolutionSetting": "dots per inch, such as 300 or 300x200", "TiffRational": "a number",
            "Size": "width x height", "SizeF": "width x height", "StreamSource": "the path of a file",
            }.get(found.type, f"a {found.type}: set its own properties with a dot")


def _value(found: Property, text: str) -> object:
    if found.choices:
        members: Any = type(found.default) if isinstance(found.default, enum.Enum) else api_classes()[found.type]
        names = {name.replace("_", ""): member for name, member in members.__members__.items()}
        flags = [names[part.strip().upper().replace("-", "").replace("_", "")] for part in text.split("+")]
        value = flags[0]
        for flag in flags[1:]:
            value = members(value | flag)
        return value
    if found.type in _INTEGERS:
        return int(text, 0)
    if found.type == "bool":
        return _WORDS[text.lower()]
    convert = _CONVERSIONS.get(found.type)
    if convert is None:
        raise ValueError("no text stands for it")
    return convert(text)


def color(text: str) -> imaging.Color:
    """The color of a name, of #RRGGBB or #AARRGGBB."""
    if re.fullmatch(r"#(?:[0-9a-fA-F]{6}|[0-9a-fA-F]{8})", text):
        number = int(text[1:], 16) | (0xFF000000 if len(text) == 7 else 0)
        return imaging.Color.from_argb(number >> 24, number >> 16 & 255, number >> 8 & 255, number & 255)
    name = text.replace("-", "_").lower()
    made = getattr(imaging.Color, name, None) or getattr(imaging.Color, _spaced(name), None)
    if not isinstance(made, imaging.Color):
        raise ValueError(f"{text!r} is no color: a name, #RRGGBB or #AARRGGBB")
    return made


@cache
def _color_names() -> dict[str, str]:
    return {name.replace("_", ""): name for name in dir(imaging.Color) if not name.startswith("_")}


def _spaced(name: str) -> str:
    """The name of the property, for a color whose words were written together: `whitesmoke`."""
    return _color_names().get(name.replace("_", ""), name)


def page_numbers(text: str, count: int) -> list[int]:
    """The pages of a text like "1,3-5,8-", counted from 0; all for an empty one."""
    if not text.strip():
        return list(range(count))
    found: list[int] = []
    for part in text.split(","):
        match = re.fullmatch(r"\s*(\d+)\s*(?:(-)\s*(\d*))?\s*", part)
        if match is None:
            raise SettingError(f"{text!r} are no pages: numbers and ranges with commas, such as 1,3-5")
        first = int(match[1])
        last = first if match[2] is None else int(match[3]) if match[3] else count
        if not 1 <= first <= last <= count:
            raise SettingError(f"there are no pages {part.strip()}: the picture has {count}")
        found += range(first - 1, last)
    return found


def _numbers(text: str) -> list[int] | list[str]:
    parts = [part.strip() for part in text.split(",")]
    try:
        return [int(part, 0) for part in parts]
    except ValueError:
        return parts


def _pair(text: str) -> tuple[float, float]:
    first, _, second = text.lower().partition("x")
    return float(first), float(second or first)


def _pages(text: str) -> MultiPageOptions:
    if re.search(r"-\s*(?:,|$)", text):
        raise ValueError("a range of pages has an end here")
    highest = max(int(number) for number in re.findall(r"\d+", text))
    return MultiPageOptions(page_numbers(text, highest))


def _rational(text: str) -> TiffRational:
    return TiffRational.approximate_fraction(float(text))


def _stream_source(text: str) -> StreamSource:
    return StreamSource(open(text, "rb"), True)


_CONVERSIONS: dict[str, Callable[[str], object]] = {
    "Single": float,
    "Double": float,
    "String": str,
    "byte[]": lambda text: bytes(int(part, 0) for part in text.split(",")),
    "Array": _numbers,
    "Color": color,
    "MultiPageOptions": _pages,
    "ResolutionSetting": lambda text: imaging.ResolutionSetting(*_pair(text)),
    "TiffRational": _rational,
    "Size": lambda text: imaging.Size(*(round(side) for side in _pair(text))),
    "SizeF": lambda text: imaging.SizeF(*_pair(text)),
    "StreamSource": _stream_source,
}
