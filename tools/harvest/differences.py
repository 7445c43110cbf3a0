"""What the catalogue and an assembly differ in, as a person reads it."""

from __future__ import annotations

from dataclasses import dataclass
from enum import Enum

from .errors import printable


class Kind(Enum):
    """What becomes of a difference."""

    WRITTEN = "written into the catalogue"
    LACKING = "in the catalogue, and not in the assembly"
    EXTRA = "in the assembly, and not in the catalogue"
    OPEN = "left to you"
    NOTED = "of no consequence"


@dataclass(frozen=True)
class Difference:
    """One difference: the type or table, the member or nothing, and what it is."""

    kind: Kind
    subject: str
    member: str
    text: str

    def __str__(self) -> str:
        member = f".{self.member}" if self.member else ""
        return printable(f"{self.subject}{member}: {self.text}")
