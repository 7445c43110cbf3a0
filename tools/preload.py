"""Libraries that the loader brings into a program before its own: those of the sanitizers, which have to be first."""

from __future__ import annotations

import subprocess

#: The interpreter is not instrumented. The library of C++ comes with them, so that the sanitizer finds what it watches.
SANITIZERS = ("libasan.so", "libubsan.so", "libstdc++.so")


def preloaded(*names: str) -> str:
    """The value of LD_PRELOAD for libraries of the compiler."""
    found = [subprocess.run(["g++", f"-print-file-name={name}"], check=True, text=True, capture_output=True).stdout
             for name in names]
    return " ".join(path.strip() for path in found)
