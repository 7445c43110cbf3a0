"""The check of the documentation texts: what is missing, what is about nothing, and what says nothing.

A text that consists of words of the names that it is about, and of words such as "gets or sets the value of", tells a
reader no more than the name does. It is refused.
"""

from __future__ import annotations

import builtins
import re
from collections.abc import Iterator
from pathlib import Path

from .builder import load
from .command import Command
from .documentation import (CONSTRUCTOR, Documentation, MemberWords, NamespaceWords, Text, TypeWords, described_members,
                            namespace_of, origin_of, property_named, read_words)
from .errors import CatalogueError, Findings, Place
from .model import Model, Module, Overload, Type
from .naming import snake_case

#: The words that a text needs but that say nothing about the thing itself.
STOP_WORDS = frozenset(
    "a an and are be by for from given has in indicates indicating into is it its of on or specified that the this to "
    "value values whether which with get gets getter set sets setter return returns read write property properties "
    "method methods function parameter parameters argument class classes struct interface enumeration enum member "
    "members object objects instance instances type types constructor constructs create creates created new "
    "initialize initializes represent represents representing specify specifies define defines describe describes "
    "contain contains containing hold holds".split())
_WORD = re.compile(r"[A-Za-z]+|[0-9]+")
_MARKUP = re.compile(r"</?[A-Za-z][^>]*>|\]\(|\]\[")


def _stem(word: str) -> str:
    """A word without the ending of its plural, so that `pens` is no other word than `pen`."""
    return word[:-1] if len(word) > 3 and word.endswith("s") and not word.endswith("ss") else word


_STOP_STEMS = frozenset(_stem(word) for word in STOP_WORDS)


def words_of_names(*names: str) -> set[str]:
    """The words that Python and managed names consist of; whole names count as words too."""
    found: set[str] = set()
    for name in names:
        parts = [part for text in (name, snake_case(name)) for part in _WORD.findall(text.lower())]
        found |= {_stem(part) for part in [*parts, name.lower(), name.lower().replace("_", "")]}
    return found


def only_repeats(text: str, *names: str) -> bool:
    """Whether a text has no word beyond those of the names and the stop words."""
    said = {_stem(word) for word in _WORD.findall(text.lower())}
    return said <= words_of_names(*names) | _STOP_STEMS


class Check:
    """One pass over the texts of one assembly."""

    def __init__(self, model: Model) -> None:
        self._model = model
        self._faults: list[CatalogueError] = []
        self._words = read_words(model.directory, self._faults)
        self._documentation = Documentation(self._words)

    def run(self, namespaces: list[str]) -> list[str]:
        """All faults as lines, of some namespaces or of all."""
        known = {module.namespace: module for module in self._model.modules}
        for namespace in namespaces:
            if namespace not in known:
                raise Findings(f"there is no namespace {namespace}")
        chosen = namespaces or list(known)
        for namespace, words in self._words.items():
            if namespace not in known:
                place = Place(self._model.directory / f"{namespace}.doc", 1)
                self._refuse(place, f"there is no namespace {namespace}")
                if not namespaces:
                    chosen.append(namespace)
            else:
                self._check_known(known[namespace], words)
        lines = [fault for fault in self._faults if namespace_of(fault.place.path) in chosen]
        shown = [str(fault) for fault in sorted(lines, key=lambda fault: (str(fault.place.path), fault.place.line))]
        for namespace in chosen:
            if namespace in known:
                shown += self._missing(known[namespace])
        return shown

    def _refuse(self, place: Place, reason: str) -> None:
        self._faults.append(CatalogueError(place, reason))

    # -- what there is ----------------------------------------------------------------------------------------------

    def _check_known(self, module: Module, words: NamespaceWords) -> None:
        types = {entry.name: entry for entry in module.types}
        if words.own is not None:
            self._check_text(words.own, module.last, module.namespace.rsplit(".", 1)[-1], "module", "namespace")
        for name, texts in words.types.items():
            entry = types.get(name)
            if entry is None:
                self._refuse(texts.own.place, f"unknown: {module.namespace} has no type {name}")
                continue
            self._check_type(entry, texts)

    def _check_type(self, entry: Type, texts: TypeWords) -> None:
        self._check_text(texts.own, entry.name)
        keywords = {param.name for overload in _overloads(entry) for param in overload.params}
        for keyword, text in texts.parameters.items():
            if keyword not in keywords:
                self._refuse(text.place, f"unknown: no method or constructor of {entry.name} has a parameter {keyword}")
            self._check_text(text, keyword)
        for python, words in texts.members.items():
            origin = origin_of(entry, python)
            if origin is entry:
                self._check_member(entry, python, words)
            elif origin is not None:
                self._refuse(words.own.place, f"unknown: {entry.name} inherits {python}; its text stands at "
                                              f"{origin.full_name}")
            else:
                self._refuse(words.own.place, f"unknown: {entry.name} has no member {python} of its own")

    def _check_member(self, entry: Type, python: str, words: MemberWords) -> None:
        names = ["constructor" if python == CONSTRUCTOR else python, entry.name]
        self._check_text(words.own, *names)
        overloads = [overload for overload in _overloads(entry) if (overload.python or CONSTRUCTOR) == python]
        keywords = {param.name for overload in overloads for param in overload.params}
        for keyword, text in words.parameters.items():
            if keyword not in keywords:
                self._refuse(text.place, f"unknown: {entry.name}.{python} has no parameter {keyword}")
            self._check_text(text, keyword)
        if words.result is not None:
            if all(overload.result.kind == "void" for overload in overloads):
                self._refuse(words.result.place, f"unknown: {entry.name}.{python} has no result to describe")
            self._check_form(words.result, f"the result of {python}")
        for name, text in words.raises:
            found = getattr(builtins, name, None)
            if not (isinstance(found, type) and issubclass(found, Exception)):
                self._refuse(text.place, f"unknown: there is no exception {name} in Python")
            self._check_form(text, name)

    def _check_text(self, text: Text, *names: str) -> None:
        """A text has to say more than the names of what it is about."""
        self._check_form(text, names[0])
        if text.text and only_repeats(text.text, *names):
            self._refuse(text.place, f"refused: the text of {names[0]} only repeats names: {text.text}")

    def _check_form(self, text: Text, about: str) -> None:
        if not text.text:
            self._refuse(text.place, f"refused: {about} has no text")
        elif text.text.count("`") % 2:
            self._refuse(text.place, f"refused: the text of {about} has a backtick without its partner")
        elif _MARKUP.search(re.sub(r"`[^`]*`", "", text.text)):
            self._refuse(text.place, f"refused: the text of {about} has markup other than backticks")

    # -- what there is not --------------------------------------------------------------------------------------------

    def _missing(self, module: Module) -> Iterator[str]:
        head = f"{self._model.directory / module.namespace}.doc: missing:"
        if not self._documentation.of_module(module):
            yield f"{head} module"
        texts = self._words.get(module.namespace, NamespaceWords()).types
        for entry in module.types:
            words = texts.get(entry.name)
            if words is None:
                yield f"{head} {entry.name} and all of its members"
                continue
            yield from (f"{head} {entry.name}.{python}" for python in described_members(entry)
                        if python not in words.members)
            seen: set[str] = set()
            for overload in entry.constructors:
                for param in overload.params:
                    undescribed = not self._documentation.of_parameter(entry, overload, param.name)
                    # The text of a property is missed where it is declared.
                    if undescribed and param.name not in seen and property_named(entry, param.name) is None:
                        seen.add(param.name)
                        yield f"{head} {entry.name}.{CONSTRUCTOR} parameter {param.name}"


def _overloads(entry: Type) -> Iterator[Overload]:
    """All overloads of a type, the inherited ones that it lists included: a text covers all of a name."""
    yield from entry.constructors
    for method in entry.methods:
        yield from method.overloads
        if method.static_overload is not None:
            yield method.static_overload


def check_words(model: Model, namespaces: list[str]) -> list[str]:
    """What is wrong with the texts of an assembly, one line for each fault."""
    return Check(model).run(namespaces)


def _words(catalogue: Path, namespaces: list[Path]) -> str:
    faults = check_words(load(catalogue), [str(namespace) for namespace in namespaces])
    if faults:
        raise Findings("\n".join([*faults, f"{len(faults)} faults"]))
    return ""


COMMANDS = (
    Command("words", ("catalogue", "namespaces*"), "list the documentation texts that are missing, unknown, duplicated "
            "or say nothing, of some namespaces or of all; the exit status is 1 if there are any", _words),
)
