"""The documentation of the modules as text: what `zelmor doc Image.load` prints.

    from zelmor import documentation

    print(documentation.text("Image.load"))
    documentation.names("Image.ro")         # ['Image.rotate_flip']

The texts are those of the reference and of the type stubs.
"""

from __future__ import annotations

import difflib
import inspect
import re
import textwrap

import zelmor
from zelmor import _words

_MOST = 20


class UnknownName(LookupError):
    """There is no module, type or member of the name."""


def text(name: str, width: int = 100) -> str:
    """What there is to know of a module, a type or a member: its calls, its text, and the members of a type.

    The name need not have its module: "PngOptions", "Image.load", "zelmor.imaging.imageoptions". What is written in
    Python is called "open" or "zelmor.open", "arrays.to_numpy". A name that several types have gives a list of them.
    `UnknownName` suggests similar names.
    """
    own = _of_package(name)
    found = [own] if own is not None else _words.lookup(name)
    if not found:
        close = suggestions(name)
        raise UnknownName(f"there is no {name!r}" + (f"; similar: {', '.join(close)}" if close else ""))
    if len(found) > 1:
        return _several(name, found, width)
    return entry_text(found[0], width, asked=name)


def entry_text(entry: _words.Entry, width: int = 100, asked: str | None = None) -> str:
    """The text of one entry."""
    place = "" if entry.kind == "module" else f" in {entry.owner}" if entry.is_type or entry.kind == "function" \
        else f" of {entry.owner}"
    parts = [f"{entry.short}: {entry.kind}{place}"]
    heirs = _words.lookup((asked or "").rpartition(".")[0]) if not entry.is_type and "." in (asked or "") else []
    if heirs and heirs[0].is_type and heirs[0].name != entry.owner:
        parts[0] += f", inherited by {heirs[0].short}"
    if entry.signatures:
        parts.append("\n".join(textwrap.fill(line, width, initial_indent="    ", subsequent_indent=" " * 8,
                                             break_long_words=False, break_on_hyphens=False)
                               for line in entry.signatures))
    if entry.text:
        parts.append(_filled(entry.text, width))
    if entry.is_type and entry.name in _words.types():
        parts += _of_type(entry, width)
    elif entry.kind == "module" and entry.name in _words.modules():
        parts += _list("Contains", _words.members(entry.name), width)
    return "\n\n".join(parts) + "\n"


def names(prefix: str = "") -> list[str]:
    """The names that begin so, without their modules: types, and for a prefix with a dot members of the type."""
    head, dot, _ = prefix.rpartition(".")
    if dot:
        types = [found for found in _words.lookup(head) if found.is_type] if head else []
        members = [one for entry in types for one in _words.all_members(entry.name)]
        found = {f"{head}.{one.last}" for one in members if one.kind != "constructor"}
    else:
        found = {name.rpartition(".")[2] for name in _words.types()}
    folded = prefix.lower()
    return sorted(name for name in found if name.lower().startswith(folded))


def suggestions(name: str) -> list[str]:
    """Names that are similar to one that does not exist."""
    head, dot, last = name.rpartition(".")
    owners = [found for found in _words.lookup(head) if found.is_type] if dot and head else []
    if owners:
        known = {one.last: f"{head}.{one.last}" for owner in owners for one in _words.all_members(owner.name)}
    else:
        known = {one.last: one.short for one in _words.everything() if one.is_type}
        known |= {one.last: one.last for one in _words.everything() if not one.is_type and one.kind != "value"}
    folded = {short.lower(): shown for short, shown in known.items()}
    return [folded[match] for match in difflib.get_close_matches(last.lower(), folded, 4, 0.7)]


def name_of(thing: object, attribute: str | None = None) -> str | None:
    """The full name under which a type, a module, or a member of an object is documented, or None.

    `attribute` is the name of a member: `name_of(image, "load")` and `name_of(Image, "load")` are the same.
    """
    if isinstance(thing, type) or attribute is not None:
        kind = thing if isinstance(thing, type) else type(thing)
        for base in kind.__mro__:
            name = f"{base.__module__}.{base.__qualname__}"
            if name in _words.types():
                if attribute is None:
                    return name if base is kind else None
                found = _words.member(name, attribute)
                return None if found is None else found.name
    module = getattr(thing, "__name__", None)
    return module if attribute is None and isinstance(module, str) and module in _words.modules() else None


def _of_package(name: str) -> _words.Entry | None:
    """An entry for a name of the package itself, made of its docstring; None for any other name."""
    parts = name.strip().removesuffix("()").removeprefix("zelmor.").split(".")
    modules = {name for name in zelmor._MODULES if f"zelmor.{name}" not in _words.modules()}
    if parts[0] not in zelmor._NAMES and parts[0] not in modules:
        return None
    thing: object = zelmor
    for part in parts:
        thing = getattr(thing, part, None)
    text = inspect.getdoc(thing)
    if text is None or not (callable(thing) or inspect.ismodule(thing)):
        return None
    full = ".".join(["zelmor", *parts])
    if inspect.ismodule(thing):
        return _words.Entry(full, "module", text=text)
    if isinstance(thing, type):
        return _words.Entry(full, "class", tuple(f"{base.__module__}.{base.__name__}" for base in thing.__bases__),
                            text=text)
    assert callable(thing)
    # Annotations are texts here, and a class is shown by its name.
    call = re.sub(r"<class (?:\w+\.)*(\w+)>", r"\1", str(inspect.signature(thing)).replace("'", ""))
    return _words.Entry(full, "function", signatures=(full + call,), text=text)


# ---- Rendering


def _filled(body: str, width: int) -> str:
    """Paragraphs in the width; the entries of sections are indented, and lines about the managed side stay lines."""
    return "\n\n".join(_paragraph(part, width) for part in body.split("\n\n"))


def _paragraph(part: str, width: int) -> str:
    lines = part.splitlines()
    if lines[0] in ("Args:", "Returns:", "Raises:"):
        items: list[list[str]] = []
        for line in lines[1:]:
            if line.startswith("    ") and not line.startswith("     "):
                items.append([])
            items[-1].append(line.strip())
        return "\n".join([lines[0], *(textwrap.fill(" ".join(item), width, initial_indent="    ",
                                                    subsequent_indent=" " * 8) for item in items)])
    if lines[0].startswith("Managed "):
        return "\n".join(textwrap.fill(line, width, subsequent_indent="    ") for line in lines)
    if any(line.startswith("    ") for line in lines):
        return part  # a program
    return textwrap.fill(" ".join(line.strip() for line in lines), width)


def _of_type(entry: _words.Entry, width: int) -> list[str]:
    """The constructors and the members of a type, and what it inherits from."""
    own = _words.members(entry.name)
    parts = []
    for one in own:
        if one.kind == "constructor":
            parts.append("Constructors:\n" + "\n".join(f"    {line}" for line in one.signatures))
    if entry.bases:
        parts.append("Inherits from: " + ", ".join(_bases(entry)))
    return parts + _list("Values" if entry.kind == "enumeration" else "Members",
                         [one for one in own if one.kind != "constructor"], width)


def _bases(entry: _words.Entry) -> list[str]:
    """The short names of all base classes, the nearest first."""
    found: list[str] = []
    pending = list(entry.bases)
    while pending:
        base = _words.entry(pending.pop(0))
        if base is not None:
            found.append(base.short)
            pending += base.bases
    return found


def _list(title: str, entries: list[_words.Entry], width: int) -> list[str]:
    if not entries:
        return []
    column = min(32, max(len(_shown(one)) for one in entries))
    lines = [textwrap.shorten(one.summary, max(20, width - column - 6)) for one in entries]
    return [f"{title}:\n" + "\n".join(f"    {_shown(one):{column}}  {line}".rstrip()
                                      for one, line in zip(entries, lines))]


def _shown(entry: _words.Entry) -> str:
    """A name in a list: calls have brackets."""
    return entry.last + ("()" if "method" in entry.kind else "") if entry.kind != "module" else entry.name


def _several(name: str, found: list[_words.Entry], width: int) -> str:
    """A list of those that the name may stand for."""
    lines = [f"{name!r} may be one of {len(found)}:", ""]
    for one in found[:_MOST]:
        lines.append(textwrap.shorten(f"{one.name}: {one.summary}".rstrip(": "), width))
    if len(found) > _MOST:
        lines.append(f"... and {len(found) - _MOST} more")
    return "\n".join(lines) + "\n"
