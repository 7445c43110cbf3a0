"""Checks four rules over the files that git tracks, which no other tool checks.

Include guards: the guard of a header is a macro named after the path (`pyshell/casts.h`: ZELMOR_PYSHELL_CASTS_H), and
the last line repeats that name in a comment. `#pragma once` is refused everywhere.

Spelling inside identifiers: codespell checks whole words; this tool checks the parts of `snake_case` and `CamelCase`
names for stems of British spelling. Names that the project did not choose, such as those of the managed API, are listed
in setup.cfg, section [source_rules].

Shared state: a variable of the product that lives as long as the process, and can change, has a comment that says why
threads may share it. Tables that the interpreter's interface wants changeable need none: it fills types, methods and
modules in itself while it makes them, under its lock, and never changes the names of keywords.

Formats in their rooms: outside of runtime/native/formats no source of the runtime names a certain file format. What
depends on one is a function or a field of the record in the folder of the format.

Prints one line for each finding; the exit code is 1 if there is any.
"""

from __future__ import annotations

import configparser
import re
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

TOP = Path(__file__).resolve().parents[1]
BRITISH_STEMS = ("colour", "behaviour", "centre", "neighbour", "favour", "honour", "initialis", "normalis", "recognis",
                 "serialis", "synchronis", "finalis", "organis")
# The names of the catalogues are those of the managed API; this file and its test contain British words as data.
NOT_SPELLED_HERE = ("api/catalogue/", "siblings/catalogue/", "tools/source_rules.py",
                    "tests/tools/test_source_rules.py")
WORD = re.compile(r"[A-Za-z_][A-Za-z0-9_]*")
PART = re.compile(r"[A-Z]?[a-z]+|[A-Z]+(?![a-z])")


def guard_name(path: str) -> str:
    """The include guard of the header with this path."""
    return "ZELMOR_" + re.sub(r"[^A-Z0-9]", "_", path.upper())


def guard_findings(path: str, text: str) -> Iterator[str]:
    """Violations of the rules on include guards in a C or C++ file."""
    for number, line in enumerate(text.splitlines(), 1):
        if re.match(r"\s*#\s*pragma\s+once\b", line):
            yield f"{path}:{number}: #pragma once instead of an include guard"
    if path.endswith(".h"):
        name = guard_name(path)
        directives = [line for line in text.splitlines() if line.startswith("#")]
        if directives[:2] != [f"#ifndef {name}", f"#define {name}"]:
            yield f"{path}: does not begin with the include guard {name}"
        elif text.splitlines()[-1] != f"#endif  // {name}":
            yield f"{path}: does not end with #endif  // {name}"


def spelling_findings(path: str, text: str, foreign: frozenset[str]) -> Iterator[str]:
    """Names with a part in British spelling, except the foreign ones."""
    for number, line in enumerate(text.splitlines(), 1):
        for word in WORD.findall(line):
            parts = [part.lower() for part in PART.findall(word)]
            if word not in foreign and any(stem in part for part in parts for stem in BRITISH_STEMS):
                yield f"{path}:{number}: {word}: British spelling"


#: A variable inside a function or class, or at the beginning of a line, of which no parenthesis makes a function.
LASTING = re.compile(r"\s+(?:static|thread_local)\b[^(]*?[=;{]|"
                     r"(?!using|return|extern|namespace|class|concept|struct|enum|union|typedef|friend|template)"
                     r"[A-Za-z_][\w:<>,\s*&]*[\s*&>]\w+(?: = [^;]*|\{[^;]*\})?;")
CONSTANT = re.compile(r"\b(?:const\b(?![^=;{]*\*\s*\w+\s*[=;{])|constexpr\b|static_assert)")
OF_THE_INTERPRETER = re.compile(r"\s*(?:static |constinit )*(?:Py\w+(?:Object|Def|Methods|Procs) \w+|char\* \w+\[\])")
#: Where the product is: all but its tests and benches.
NOT_OF_THE_PRODUCT = ("tests/", "bench/", "tools/")


def shared_state_findings(path: str, text: str) -> Iterator[str]:
    """Lasting variables of a source without a comment on the line, or in the lines right above.

    Variables that stand together may share one.
    """
    lines = text.splitlines()
    for at, line in enumerate(lines):
        code = line.split("//")[0]
        if not LASTING.match(code) or CONSTANT.search(code) or OF_THE_INTERPRETER.match(code):
            continue
        first, others = at, 0
        while first > 0 and others < 4 and lines[first - 1].strip():
            first -= 1
            others += 0 if LASTING.match(lines[first]) else 1
        if not any("//" in near for near in lines[first:at + 1]):
            yield f"{path}:{at + 1}: a variable that threads share, without the reason why they may"


#: An enumerator of a format or a variant, other than those that stand for none.
A_FORMAT = re.compile(r"\b(?:Format|Variant)::k(?!Unknown\b|Usual\b)\w+")
ROOMS = "runtime/native/formats/"


def format_findings(path: str, text: str) -> Iterator[str]:
    """Certain file formats in a source of the runtime that is in no format's folder."""
    if not path.startswith("runtime/native/") or path.startswith(ROOMS):
        return
    for number, line in enumerate(text.splitlines(), 1):
        for found in A_FORMAT.findall(line.split("//")[0]):
            yield f"{path}:{number}: {found}: a certain file format outside of {ROOMS}"


def foreign_names(configuration: Path) -> frozenset[str]:
    """The names that the project did not choose, from the configuration."""
    parser = configparser.ConfigParser()
    parser.read_string(configuration.read_text())
    return frozenset(parser["source_rules"]["foreign_names"].split())


def tracked_texts() -> Iterator[tuple[str, str]]:
    """Path and text of each file that git tracks; binary files are left out."""
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=TOP, check=True, text=True, capture_output=True).stdout
    for path in filter(None, listed.split("\0")):
        content = (TOP / path).read_bytes() if (TOP / path).is_file() else b"\0"
        if b"\0" not in content:
            yield path, content.decode()


def main() -> int:
    foreign = foreign_names(TOP / "setup.cfg")
    findings: list[str] = []
    for path, text in tracked_texts():
        if path.endswith((".h", ".c", ".cpp")):
            findings += guard_findings(path, text)
            if not path.startswith(NOT_OF_THE_PRODUCT):
                findings += shared_state_findings(path, text)
            if path.startswith("runtime/"):
                findings += format_findings(path, text)
        if not path.startswith(NOT_SPELLED_HERE):
            findings += spelling_findings(path, text, foreign)
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
