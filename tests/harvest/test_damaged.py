"""Files that are no interop assembly, or a damaged one: a sentence, in bounded time and memory, and nothing else."""

from __future__ import annotations

import os
import re
import struct
import subprocess
import sys
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.entry_points import entry_points
from tools.harvest.contract import Contract
from tools.harvest.errors import AssemblyError
from tools.harvest.metadata import Assembly
from tools.harvest.reader import Reader
from tools.harvest.signatures import SignatureReader, Term

from .assembly_writer import AssemblyWriter, MethodRow, TypeRow
from .model_writer import write_assemblies

ROOT = Path(__file__).resolve().parents[2]
EXPLORING = os.environ.get("HYPOTHESIS_PROFILE") == "fuzz"
COUNT = 5000 if EXPLORING else 300


def _harvest(*arguments: object) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, "-B", "-m", "tools.harvest", *map(str, arguments)], cwd=ROOT, text=True,
                          capture_output=True, check=False)


@pytest.mark.parametrize("library", [True, False])
def test_mutants_are_read_or_refused(catalogue: Path, tmp_path: Path, library: bool) -> None:
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly", library)
    done = subprocess.run([sys.executable, "-B", "-m", "tests.harvest.mutants", assembly, catalogue,
                           str(1 if library else 1_000_000), str(COUNT // 2)], cwd=ROOT, text=True, capture_output=True,
                          check=False)
    assert done.returncode == 0, done.stdout[-4000:] + done.stderr[-2000:]
    match = re.fullmatch(rf"{COUNT // 2} mutants: (\d+) read, (\d+) refused, 0 failed\n", done.stdout)
    assert match is not None and min(int(match[1]), int(match[2])) > COUNT // 20, done.stdout  # both happen


@pytest.mark.parametrize(("content", "reason"), [
    (b"", "it is no .NET assembly: it does not begin like an executable image"),
    (b"#!/bin/sh\n", "it is no .NET assembly: it does not begin like an executable image"),
    (b"MZ", "the file is damaged: the header of the image ends too early"),
    (b"MZ" + bytes(58) + struct.pack("<I", 64) + b"ELF\0" + bytes(200),
     "it is no .NET assembly: it has no header of an executable image"),
    (b"MZ" + bytes(58) + struct.pack("<I", 0xFFFFFFF0), "the file is damaged: the header of the image ends too early"),
])
def test_what_is_no_assembly_is_refused(tmp_path: Path, content: bytes, reason: str) -> None:
    path = tmp_path / "file.dll"
    path.write_bytes(content)
    done = _harvest(path)
    assert (done.returncode, done.stdout, done.stderr) == (2, "", f"{path}: {reason}\n")


def test_a_native_image_is_refused(catalogue: Path, tmp_path: Path) -> None:
    data = bytearray(write_assemblies(load(catalogue), tmp_path / "assembly").read_bytes())
    at = 0x80 + 24 + 96 + 14 * 8
    data[at:at + 8] = bytes(8)
    (tmp_path / "native.dll").write_bytes(data)
    with pytest.raises(AssemblyError, match=r"^it is no \.NET assembly: it has no CLI header$"):
        Contract(tmp_path / "native.dll")


def test_places_without_a_file_are_refused(tmp_path: Path) -> None:
    for path, reason in ((tmp_path / "none.dll", "there is no such file"), (tmp_path, "it is no file")):
        done = _harvest(path)
        assert (done.returncode, done.stdout, done.stderr) == (2, "", f"{path}: {reason}\n")


def test_other_assemblies_are_refused(catalogue: Path, tmp_path: Path) -> None:
    write_assemblies(load(catalogue), tmp_path / "assembly")
    library = tmp_path / "assembly" / "Acme.Pictures.Library.dll"
    done = _harvest(library)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == (f"{library}: Acme.Pictures.Library is a .NET assembly, but no interop assembly: it has no "
                           "class Zelmor.WrpGen.Interop.ExchangeHost\n")


def test_an_interop_assembly_of_another_library_changes_nothing(catalogue: Path, tmp_path: Path) -> None:
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly")
    siblings = ROOT / "siblings" / "catalogue" / "pyio"
    before = {path: path.read_bytes() for path in siblings.iterdir()}
    done = _harvest(assembly, "--catalogue", siblings)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == (f"{assembly}: WrpInterop.Acme has no type of this catalogue, which is that of "
                           "WrpInterop.Zelmor.PyIo\n")
    assert {path: path.read_bytes() for path in siblings.iterdir()} == before


def test_a_place_without_a_catalogue_is_refused(catalogue: Path, tmp_path: Path) -> None:
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly")
    done = _harvest(assembly, "--catalogue", tmp_path)
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == f"{tmp_path}: it is no catalogue: it has no modules.tab\n"


def test_a_damaged_library_is_named(catalogue: Path, tmp_path: Path) -> None:
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly")
    (tmp_path / "assembly" / "Acme.Pictures.Library.dll").write_bytes(b"MZ")
    with pytest.raises(AssemblyError, match=r"^Acme\.Pictures\.Library\.dll, which lies beside it, cannot be re"):
        Contract(assembly)


def _named(coded: int, is_value: bool, depth: int) -> Term:
    return Term("named", f"T{coded}", is_value=is_value)


def test_signatures_are_read_in_all_forms() -> None:
    for blob, text in ((b"\x00\x01\x01\x0f\x0f\x01", "System.Void(System.Void**)"),
                       (b"\x20\x00\x1d\x1d\x05", "instance System.Byte[][]()"),
                       (b"\x10\x02\x01\x1e\x01\x10\x13\x00", "!!1<2>(!0&)"),
                       (b"\x00\x00\x15\x12\x05\x02\x08\x0e", "T5<System.Int32,System.String>()"),
                       (b"\x00\x00\x14\x08\x03\x01\x04\x02\x00\x7e", "System.Int32[,,]()"),
                       (b"\x00\x01\x01\x1b\x09\x01\x08\x11\x05",
                        "System.Void(method unmanaged System.Int32(T5))"),
                       (b"\x05\x01\x01\x41\x08", "System.Void(System.Int32)"),
                       (b"\x00\x01\x01\x1f\x09\x45\x08", "System.Void(System.Int32)")):
        assert str(SignatureReader(blob, _named).method()) == text


@pytest.mark.parametrize("blob", [
    b"", b"\x00", b"\x00\x7f\x01", b"\x00\x00\x17", b"\x00\x00" + b"\x0f" * 100 + b"\x01", b"\x06\x08",
    b"\x00\x00\x14\x08\x40", b"\x00\x00\x1b\x0e\x00\x01", b"\x00\xff\x01", b"\x00\xdf\xff\xff\xff\x01"])
def test_damaged_signatures_are_refused(blob: bytes) -> None:
    with pytest.raises(AssemblyError, match="^the file is damaged: "):
        SignatureReader(blob, _named).method()


def test_compressed_integers() -> None:
    for data, value in ((b"\x00", 0), (b"\x7f", 127), (b"\x80\x80", 128), (b"\xbf\xff", 0x3FFF),
                        (b"\xc0\x00\x40\x00", 0x4000), (b"\xdf\xff\xff\xff", 0x1FFFFFFF)):
        assert Reader(data, "a blob").compressed() == value
    for data, value in ((b"\x06", 3), (b"\x7b", -3), (b"\x80\x80", 64), (b"\x01", -64), (b"\xc0\x00\x40\x00", 8192),
                        (b"\x80\x01", -8192), (b"\xdf\xff\xff\xfe", 268435455), (b"\xc0\x00\x00\x01", -268435456)):
        assert Reader(data, "a blob").compressed_signed() == value


def test_a_type_that_contains_itself_ends(tmp_path: Path) -> None:
    path = AssemblyWriter("Loop", [TypeRow("A", "B", [MethodRow("m", "void", [])])]).write(tmp_path)
    assembly = Assembly.read(path)
    assembly.__dict__["_enclosing"] = {2: 2}
    with pytest.raises(AssemblyError, match="types are nested in one another"):
        print(assembly.types)


def test_names_have_a_bounded_length(tmp_path: Path) -> None:
    path = AssemblyWriter("Long", [TypeRow("A", "B" * 1024)]).write(tmp_path)
    with pytest.raises(AssemblyError, match="a name has no end"):
        print(Assembly.read(path).types)
    path = AssemblyWriter("Long", [TypeRow("A", "B" * 1023)]).write(tmp_path)
    assert list(Assembly.read(path).types) == [f"A.{'B' * 1023}"]


def test_the_command_lists_and_writes(catalogue: Path, altered: Callable[..., Path], tmp_path: Path) -> None:
    def alter(directory: Path) -> None:
        path = directory / "Acme.Pictures.cat"
        path.write_text(path.read_text().replace("Kind : int16", "Kind : int32"))

    assembly = write_assemblies(load(altered(alter)), tmp_path / "assembly")
    before = (catalogue / "Acme.Pictures.cat").read_text()
    count = sum(len(entry_points(entry)) for entry in load(catalogue).types)
    listing = (f"WrpInterop.Acme: 11 types, {count} entry points; beside it: Acme.Pictures.Library\n\n"
               "written into the catalogue (1):\n  Acme.Pictures.Kind: the values are int32 instead of int16\n\n")
    done = _harvest(assembly, "--catalogue", catalogue, "--check")
    assert (done.returncode, done.stderr) == (1, "")
    assert done.stdout == f"{listing}would change in {catalogue}: Acme.Pictures.cat\n"
    assert (catalogue / "Acme.Pictures.cat").read_text() == before
    done = _harvest(assembly, "--catalogue", catalogue)
    assert (done.returncode, done.stdout) == (0, f"{listing}changed in {catalogue}: Acme.Pictures.cat\n")
    assert (catalogue / "Acme.Pictures.cat").read_text() == before.replace("Kind : int16", "Kind : int32")
    done = _harvest(assembly, "--catalogue", catalogue)
    assert done.returncode == 0 and done.stdout.endswith("\nno difference\n")
    assert sorted(path.name for path in catalogue.iterdir() if path.name.startswith(".")) == []
