"""The tables of facts about the assembly: what they pin and count is as the assembly has it now."""

from __future__ import annotations

from dataclasses import replace

from tools.generator.entry_points import entry_points
from tools.generator.errors import CatalogueError
from tools.generator.model import Type
from tools.generator.pinned import PinnedLine, check_pinned, read_pinned
from tools.generator.totals import count, read_totals
from tools.generator.writers.cpp.words import slot_type

from .differences import Difference, Kind
from .draft import Draft


def _corrected(row: PinnedLine, types: dict[str, Type]) -> PinnedLine | None:
    """What a row has to say; None for one that is about nothing any more."""
    entry = types.get(row.words[0])
    if entry is None:
        return None
    words = row.words
    if row.kind == "type":
        sides = (entry.identifier, entry.managed_identifier)
        words = (words[0], *(old if old == "-" else new for old, new in zip(words[1:], sides)))
    elif row.kind == "host":
        words = (words[0], entry.host_class)
    elif row.kind == "hosts":
        names = [point.name for point in entry_points(entry)]
        words = (words[0], str(len(names)), words[2] if words[2] == "..." else ",".join(names))
    elif row.kind == "entry":
        name, _, stated = words[1].partition("(")
        point = next((point for point in entry_points(entry) if point.name == name), None)
        if point is None:
            return None
        types_of = ",".join(slot_type(argument.slot).removeprefix("const ").rstrip("*") for argument in point.arguments)
        # A row is split at spaces, so that the types cannot stand there where one has two words.
        words = (words[0], f"{name}({types_of})" if stated and " " not in types_of else name)
    else:
        return None
    return replace(row, words=words)


def _correct_pinned(draft: Draft, found: list[Difference]) -> None:
    types = {entry.full_name: entry for entry in draft.model.types}
    path = draft.directory / "pinned.tab"
    for row in read_pinned(path):
        try:
            check_pinned(draft.model, [row])
            continue
        except CatalogueError:
            pass
        right = _corrected(row, types)
        old = " ".join((row.kind, *row.words))
        if right is None:
            draft.remove(row.place)
            found.append(Difference(Kind.WRITTEN, "pinned.tab", "", f"'{old}' holds no more, and is removed"))
        else:
            new = " ".join((row.kind, *right.words))
            draft.replace(row.place, new)
            found.append(Difference(Kind.WRITTEN, "pinned.tab", "", f"'{new}' instead of '{old}'"))


def _correct_totals(draft: Draft, found: list[Difference]) -> None:
    counts = count(draft.model)
    for row in read_totals(draft.directory / "totals.tab"):
        if row.unreached is None and not row.holds(counts):
            text = draft.line(row.place)
            draft.replace(row.place, text.split("#")[0].rstrip().replace(str(row.number), str(counts[row.what]), 1))
            found.append(Difference(Kind.WRITTEN, "totals.tab", "",
                                    f"{counts[row.what]} {row.what} instead of {row.number}"))


def correct_facts(draft: Draft) -> list[Difference]:
    """Corrects the rows that a changed catalogue contradicts."""
    found: list[Difference] = []
    _correct_pinned(draft, found)
    _correct_totals(draft, found)
    draft.save()
    return found
