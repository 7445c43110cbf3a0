"""The docstrings of stubs: what a module, type or member is for, then what it is on the managed side."""

from __future__ import annotations

import textwrap
from collections.abc import Sequence

from ...model import Overload, Type
from ..text import INDENT
from .annotations import Scope

# The width of the text, without the indentation of the class and the member.
_COLUMNS = 100


def _quoted(text: str) -> str:
    """The text as it stands between the quotes of a docstring."""
    return text.replace("\\", "\\\\").replace('"""', '\\"\\"\\"')


def filled(text: str, indentation: str = "") -> list[str]:
    """A paragraph in lines; those behind the first are indented further."""
    return textwrap.wrap(_quoted(text), _COLUMNS, subsequent_indent=indentation, break_long_words=False,
                         break_on_hyphens=False)


def docstring(text: str) -> str:
    """A docstring of one line."""
    text = _quoted(text)
    return f'"""{text[:-1]}\\""""' if text.endswith('"') else f'"""{text}"""'


def described(text: str, facts: Sequence[str], sections: Sequence[str] = ()) -> list[str]:
    """A docstring of a text, sections and the facts of the managed side; without a text, of the facts alone."""
    if not text and not sections:
        if len(facts) == 1:
            return [docstring(facts[0])]
        return [f'"""{_quoted(facts[0])}', "", *map(_quoted, facts[1:]), '"""']
    if not facts and not sections:
        lines = filled(text)
        return [docstring(text)] if len(lines) == 1 else [f'"""{lines[0]}', *lines[1:], '"""']
    head = filled(text) if text else filled(facts[0])
    lines = [*head, *sections]
    if text:
        lines += ["", *(line for fact in facts for line in filled(fact))]
    return [f'"""{lines[0]}', *lines[1:], '"""']


def _section(title: str, entries: list[str]) -> list[str]:
    if not entries:
        return []
    return ["", f"{title}:", *(INDENT + line for entry in entries for line in filled(entry, INDENT))]


def call_sections(scope: Scope, entry: Type, overload: Overload, python: str) -> list[str]:
    """What is said of the parameters, the result and the errors of an overload that a type lists."""
    words = scope.universe.words
    parameters = [(param.name, words.of_parameter(entry, overload, param.name)) for param in overload.params]
    result = words.of_result(entry, python) if overload.result.kind != "void" else ""
    return [*_section("Args", [f"{name}: {text}" for name, text in parameters if text]),
            *_section("Returns", [result] if result else []),
            *raises_section(scope, entry, python)]


def values_section(scope: Scope, entry: Type) -> list[str]:
    """What is said of the values of an enumeration, in the docstring of the enumeration itself.

    Each value has its text behind it too, which some editors show. The others, jedi among them, take a value for an
    object of the enumeration and show the docstring of the enumeration.
    """
    texts = [(name, scope.universe.words.of_member(entry, name)) for name, _ in entry.values]
    return _section("Values", [f"{name}: {text}" for name, text in texts if text])


def raises_section(scope: Scope, entry: Type, python: str) -> list[str]:
    """What is said of the errors of a member."""
    return _section("Raises", [f"{name}: {text}" for name, text in scope.universe.words.raises(entry, python)])
