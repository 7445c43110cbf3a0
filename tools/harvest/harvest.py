"""Compares a catalogue with an assembly, in the order in which one difference hides another."""

from __future__ import annotations

from dataclasses import dataclass, field

from tools.generator.errors import CatalogueError

from .collection_changes import CollectionChanges
from .contract import Contract
from .differences import Difference, Kind
from .draft import Draft
from .errors import AssemblyError
from .facts import correct_facts
from .inherited import repeat_inherited
from .matching import match
from .member_changes import MemberChanges
from .type_changes import TypeChanges


@dataclass
class Result:
    """All differences; `refused` says why the changed catalogue does not hold together, if it does not."""

    differences: list[Difference] = field(default_factory=list)
    refused: str | None = None
    elements: dict[str, str] = field(default_factory=dict)  # identifiers of collections' elements, by the old ones

    def of(self, kind: Kind) -> list[Difference]:
        """The differences of one kind."""
        return [difference for difference in self.differences if difference.kind is kind]


def _types(contract: Contract, draft: Draft, result: Result) -> None:
    matches = match(contract, draft.model.types)
    if not matches.hosts:
        raise AssemblyError(f"{contract.name} has no type of this catalogue, which is that of {draft.model.assembly}")
    types = TypeChanges(contract, draft, matches)
    types.run()
    identifiers = {entry.managed_identifier: host.identifier for entry, host in matches.hosts.items()
                   if host.identifier != entry.managed_identifier}
    collections = CollectionChanges(contract, draft, identifiers)
    collections.run()
    result.differences += [*types.differences, *collections.differences]
    result.elements = collections.changed
    draft.settle()


def _members(contract: Contract, draft: Draft, result: Result) -> None:
    members = MemberChanges(contract, draft, match(contract, draft.model.types))
    members.run()
    result.differences += members.differences
    draft.save()
    repeat_inherited(draft)
    draft.read()


def harvest(contract: Contract, draft: Draft) -> Result:
    """Changes a draft to what the assembly has; an assembly that has nothing of it is refused."""
    result = Result()
    try:
        for step in (_types, _members):
            step(contract, draft, result)
        result.differences += correct_facts(draft)
        draft.read()
        draft.check()
    except CatalogueError as error:
        result.refused = str(error).replace(f"{draft.directory}/", "")
    return result
