"""Alters the bytes of an assembly in many ways and harvests each result, in a process of bounded time and memory.

    python3 -m tests.harvest.mutants ASSEMBLY CATALOGUE SEED COUNT

Prints one line for each mutant that ends in anything but a harvest or the tool's own error, and a last line with the
numbers of both. The first mutants cut the file; the others change a few bytes, most of them in the headers and in the
metadata, which are found by their signatures.
"""

from __future__ import annotations

import random
import resource
import sys
import tempfile
import time
import traceback
from collections import Counter
from pathlib import Path

from tools.harvest.contract import Contract
from tools.harvest.draft import Draft
from tools.harvest.errors import AssemblyError
from tools.harvest.harvest import harvest

MOST_MEMORY = 1 << 30
MOST_SECONDS = 10.0  # for one mutant
_EXTREMES = (0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0xFFFF, 0x10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF)


def alter(data: bytes, draws: random.Random) -> bytes:
    """One mutant."""
    changed = bytearray(data)
    metadata = data.find(b"BSJB")
    places = [(0, 0x400), (metadata, metadata + 0x200), (metadata, len(data)), (metadata, len(data)), (0, len(data))]
    if draws.random() < 0.1:
        return bytes(changed[:draws.randrange(len(changed))])
    for _ in range(draws.choice((1, 1, 1, 2, 4, 16))):
        first, last = draws.choice(places)
        at = draws.randrange(max(first, 0), max(min(last, len(changed)), 1))
        kind = draws.randrange(5)
        if kind == 0:
            changed[at] ^= 1 << draws.randrange(8)
        elif kind == 1:
            changed[at] = draws.randrange(256)
        elif kind == 2:
            width = draws.choice((1, 2, 4))
            value = draws.choice(_EXTREMES) & ((1 << 8 * width) - 1)
            changed[at:at + width] = value.to_bytes(width, "little")
        elif kind == 3:
            size = draws.randrange(1, 64)
            other = draws.randrange(len(changed))
            changed[at:at + size] = changed[other:other + size]
        else:
            size = draws.randrange(1, 32)
            changed[at:at + size] = bytes([draws.choice((0, 0xFF))]) * size
    return bytes(changed)


def walk(contract: Contract) -> None:
    """Reads everything that there is."""
    for assembly in (contract.assembly, *contract.library):
        for definition in assembly.types.values():
            str(definition.base)
            str((definition.methods, definition.fields, definition.properties, definition.attributes))


def attempt(path: Path, catalogue: Path, scratch: Path) -> str:
    """Harvests a file: 'read' or 'refused'."""
    try:
        contract = Contract(path)
        walk(contract)
        with tempfile.TemporaryDirectory(dir=scratch) as directory:
            draft = Draft(catalogue, Path(directory) / "draft")
            [str(difference) for difference in harvest(contract, draft).differences]
        return "read"
    except AssemblyError as error:
        assert str(error) and "\n" not in str(error)
        return "refused"


def main(assembly: Path, catalogue: Path, seed: int, count: int) -> int:
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    data = assembly.read_bytes()
    outcomes: Counter[str] = Counter()
    with tempfile.TemporaryDirectory() as directory:
        path = Path(directory) / assembly.name
        for library in assembly.parent.glob("*.dll"):
            if library != assembly:
                (path.parent / library.name).write_bytes(library.read_bytes())
        for number in range(seed, seed + count):
            path.write_bytes(alter(data, random.Random(number)))
            start = time.process_time()
            try:
                outcome = attempt(path, catalogue, path.parent)
            except Exception:  # pylint: disable=broad-except
                print(f"mutant {number}: {traceback.format_exc()}")
                outcome = "failed"
            if time.process_time() - start > MOST_SECONDS:
                print(f"mutant {number}: took {time.process_time() - start:.1f} s")
                outcome = "failed"
            outcomes[outcome] += 1
    print(f"{count} mutants: {outcomes['read']} read, {outcomes['refused']} refused, {outcomes['failed']} failed")
    return 1 if outcomes["failed"] else 0


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])))
