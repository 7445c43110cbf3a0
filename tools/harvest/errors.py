"""The one error of this tool: a file that is no assembly with the contract, or that is damaged."""

from __future__ import annotations


class AssemblyError(Exception):
    """A file that cannot be read as an interop assembly; the text is a sentence for the person who named the file."""
