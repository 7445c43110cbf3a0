"""The one error of this tool: a file that is no assembly with the contract, or that is damaged."""

from __future__ import annotations


def printable(text: str) -> str:
    """The text without characters that a terminal obeys: names come from a file."""
    return "".join(letter if letter.isprintable() else "?" for letter in text)


class AssemblyError(Exception):
    """A file that cannot be read as an interop assembly; the text is a sentence for the person who named the file."""

    def __init__(self, reason: str) -> None:
        super().__init__(printable(reason))
