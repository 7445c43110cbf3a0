"""The declaration of a type: its kind, its names and its base, without its members.

Members name types and types hold members. What a member's type refers to is the declaration, so that the two need not
know each other.
"""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass

from .errors import Place
from .naming import host_class_name


@dataclass(eq=False, repr=False)
class Declaration:
    """What the line of a type says of a class, static class, interface, struct or enumeration."""

    place: Place
    kind: str
    namespace: str
    module: str
    name: str
    identifier: str
    managed_identifier: str
    disposable: bool = False
    flags: bool = False
    cast_from: bool = False  # the managed type converts itself to other types
    base: Declaration | None = None

    def __repr__(self) -> str:
        return self.full_name

    @property
    def full_name(self) -> str:
        """The full managed name."""
        return f"{self.namespace}.{self.name}"

    @property
    def dotted(self) -> str:
        """The dotted Python name."""
        return f"{self.module}.{self.name}"

    @property
    def symbol(self) -> str:
        """The part that every symbol of the type has: `4BA89469_Image`."""
        return f"{self.identifier}_{self.name}"

    @property
    def host_class(self) -> str:
        """The managed class that holds the type's entry points."""
        return host_class_name(self.full_name, self.managed_identifier)

    @property
    def is_enum(self) -> bool:
        """Whether the type is an enumeration."""
        return self.kind == "enum"

    def bases(self) -> Sequence[Declaration]:
        """The chain of base classes, nearest first."""
        chain: list[Declaration] = []
        base = self.base
        while base is not None:
            chain.append(base)
            base = base.base
        return chain
