"""How managed names become Python names.

The catalogue writes both names of every member; these rules compute the Python name from the managed one, so that an
exception stands out as an exception.
"""

from __future__ import annotations

import re

_BREAKS = (
    re.compile(r"(?<=[a-z])(?=[A-Z])"),  # ResizeWidth -> Resize|Width
    re.compile(r"(?<=[A-Z])(?=[A-Z][a-z])"),  # CFAPattern -> CFA|Pattern
    re.compile(r"(?<=[A-Za-z])(?=[0-9]+[A-Za-z])"),  # Argb32Color -> Argb|32Color; a run at the end stays attached
    re.compile(r"(?<=[0-9])(?=[A-Za-z])"),  # 32Color -> 32|Color
)


def snake_case(managed: str) -> str:
    """The lower-case Python name of a method, property or argument: `GetArgb32Pixel` is `get_argb_32_pixel`."""
    text = managed
    for pattern in _BREAKS:
        text = pattern.sub("_", text)
    return text.lower()


def upper_snake_case(managed: str) -> str:
    """The upper-case Python name of a constant: `DublinCore` is `DUBLIN_CORE`."""
    return snake_case(managed).upper()


def host_class_name(full_name: str, managed_identifier: str) -> str:
    """The name of the managed class that holds a type's entry points."""
    *namespaces, name = full_name.split(".")
    segments = [f"WrpNs_{segment}" for segment in namespaces]
    return ".".join([*segments, f"WrpCs_{name[:8]}_{managed_identifier}"])


def cpp_name(name: str) -> str:
    """A C++ identifier for a Python keyword argument; a trailing underscore keeps it apart from the writer's own."""
    return f"{name}_"
