"""The XML documentation of the class library, made of the texts of the catalogue.

The texts are written for Python: names in backticks become those of the library, and the words for constants those of
C#.
"""

from __future__ import annotations

import re
import textwrap
from xml.sax.saxutils import escape

from ...documentation import CONSTRUCTOR, Documentation
from ...model import Model, Overload, Property, Type
from .text import camel_case, member_name

_COLUMNS = 100
#: The constants of Python that a sentence can name; "none of the pages" is not one.
_CONSTANTS = {"None": "null", "True": "true", "False": "false"}
_CONSTANT = re.compile(r"\b(None|True|False)\b(?! of\b)")
#: What an exception of Python is here; one that the bridge raises itself has no equal.
_EXCEPTIONS = {"RuntimeError": "System.Exception", "OSError": "System.IO.IOException",
               "ValueError": "System.ArgumentException", "NotImplementedError": "System.NotSupportedException",
               "MemoryError": "System.OutOfMemoryException", "IndexError": "System.ArgumentOutOfRangeException"}


class XmlDocumentation:
    """Prints the documentation of types and members of one catalogue."""

    def __init__(self, model: Model) -> None:
        self._words = Documentation.of([model])
        self._named: dict[str, list[Type]] = {}
        for entry in model.types:
            self._named.setdefault(entry.name, []).append(entry)

    # -- names in texts -----------------------------------------------------------------------------------------------

    def _type(self, name: str, namespace: str) -> Type | None:
        """The type of a name: that of a namespace or of the nearest one above it, or else the only one."""
        found = {entry.namespace: entry for entry in self._named.get(name.rpartition(".")[2], [])
                 if name in (entry.name, entry.dotted)}
        while namespace:
            if namespace in found:
                return found[namespace]
            namespace = namespace.rpartition(".")[0]
        return next(iter(found.values())) if len(found) == 1 else None

    @staticmethod
    def _member(entry: Type, python: str) -> str | None:
        """The managed name of a member of a type or of its bases."""
        for owner in [entry, *entry.bases()]:
            names = {name: member_name(name) for name, _ in owner.values}
            names |= {prop.python: prop.managed for prop in owner.properties}
            names |= {method.python: method.overloads[0].managed for method in owner.methods if method.overloads}
            if python in names:
                return names[python]
        return None

    def _code(self, text: str, near: Type) -> str:
        """A piece of code of a text with the names of the library."""
        name, call = text.removesuffix("()"), "()" if text.endswith("()") else ""
        if name in _CONSTANTS:
            return f'<see langword="{_CONSTANTS[name]}"/>'
        if name.isidentifier() and (managed := self._member(near, name)) is not None:
            return f"<c>{managed}{call}</c>"
        if (entry := self._type(name, near.namespace)) is not None:
            return f'<see cref="T:{entry.full_name}"/>'
        owner, _, python = name.rpartition(".")
        entry = self._type(owner, near.namespace) if owner else None
        managed = self._member(entry, python) if entry is not None else None
        if entry is not None and managed is not None:
            return f"<c>{entry.name}.{managed}{call}</c>"
        return f"<c>{escape(text)}</c>"

    def _text(self, text: str, near: Type) -> str:
        parts = text.split("`")
        return "".join(self._code(part, near) if number % 2 else
                       _CONSTANT.sub(lambda found: f'<see langword="{_CONSTANTS[found[1]]}"/>', escape(part))
                       for number, part in enumerate(parts))

    # -- comments -----------------------------------------------------------------------------------------------------

    def _element(self, head: str, text: str, near: Type) -> list[str]:
        """One element as lines of a comment; nothing where there is no text."""
        if not text:
            return []
        shown = f"<{head}>{self._text(text, near)}</{head.split(' ')[0]}>"
        lines = textwrap.wrap(shown, _COLUMNS, break_long_words=False, break_on_hyphens=False)
        return [f"/// {line}" for line in lines]

    def _errors(self, entry: Type, python: str) -> list[str]:
        return [line for name, text in self._words.raises(entry, python) if name in _EXCEPTIONS
                for line in self._element(f'exception cref="T:{_EXCEPTIONS[name]}"', text, entry)]

    def of_type(self, entry: Type) -> list[str]:
        """The comment of a type."""
        return self._element("summary", self._words.of_type(entry), entry)

    def of_value(self, entry: Type, name: str) -> list[str]:
        """The comment of a value of an enumeration."""
        return self._element("summary", self._words.of_member(entry, name), entry)

    def of_property(self, prop: Property) -> list[str]:
        """The comment of a property."""
        summary = self._element("summary", self._words.of_member(prop.owner, prop.python), prop.owner)
        return [*summary, *self._errors(prop.owner, prop.python)]

    def of_overload(self, overload: Overload) -> list[str]:
        """The comment of a method or a constructor."""
        entry, python = overload.owner, overload.python or CONSTRUCTOR
        summary = self._element("summary", self._words.of_member(entry, python), entry)
        parameters = [line for param in overload.params for line in self._element(
            f'param name="{camel_case(param.name)}"', self._words.of_parameter(entry, overload, param.name), entry)]
        result = [] if overload.result.kind == "void" else self._element(
            "returns", self._words.of_result(entry, python), entry)
        return [*summary, *parameters, *result, *self._errors(entry, python)]
