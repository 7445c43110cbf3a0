"""A catalogue with every kind of member, copies of it that say something else, and the assemblies of these."""

from __future__ import annotations

import shutil
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.catalogue import read_catalogue
from tools.generator.collections import read_collections
from tools.generator.identifiers import Identifiers
from tools.generator.model import Model
from tools.harvest.contract import Contract
from tools.harvest.draft import Draft
from tools.harvest.harvest import Result, harvest

from .model_writer import write_assemblies

Alter = Callable[[Path], None]
MODULES = """# Modules.
assembly WrpInterop.Acme
Acme.Pictures acme.pictures 0000000A
Acme.Pictures.Parts acme.pictures.parts 0000000B
"""
PICTURES = """# Pictures.
namespace Acme.Pictures as acme.pictures

class Base disposable
    ctor ()
    method stop Stop ()
    method save Save (path: string)
    method save Save (path: string, mode: Mode)
    get width Width int32

class Picture : Base disposable implements IOwner
    ctor (width: int32, mode: Mode)
    ctor (path: string)
    static create_with_mode CreateWithMode (width: int32, mode: Mode) -> Picture
    static create_with_mode CreateWithMode (path: string) -> Picture
    method save Save (parts: Part[])  # the parts only
    method save Save (path: string) from Base
    method save Save (path: string, mode: Mode) from Base
    method split Split (packed: int64, x: ref int32, handle: Size) -> int32
    method fill Fill (data: out bytes)
    getset mode Mode Mode
    getset when When datetime?
    getset name Name string
    get owner Owner IOwner
    get price Price decimal
    getset parts Parts Part[]
    get first First Part
    static_getset limit Limit int32
    const MAX_SIDE MaxSide int32

interface IOwner
    getset name Name string
    method rename Rename (name: string) -> bool

interface IKeeper implements IOwner
    method rename Rename (name: string) -> bool from IOwner
    getset name Name string from IOwner
    get tag Tag int64

struct Size
    ctor (width: int32)
    ctor ()
    getset width Width int32

static class Helper
    static count Count (mode: Mode, kind: Kind) -> int32
    static_get first First Part

enum flags Mode : uint8
    FAST 1
    GOOD_2X 0x10

enum Kind : int16
    FIRST_KIND 3
    SECOND_KIND 4
"""
PARTS = """namespace Acme.Pictures.Parts as acme.pictures.parts

class Part
    ctor (size: Size)
    get size Size Size

class PartCollectionOne
    get count Count int32

class PartCollectionTwo
    get count Count int64
"""
DOCUMENTATION = """# Documentation of acme.pictures.
module: Pictures and their parts.

Picture: What is seen.
  ctor: Makes one.
  split: Cuts it.
    packed: Both halves,
        in one number.
    -> The cut.
  price: What it costs.
  mode: How it is made.

Size: Its extent.
"""
FILES = {"modules.tab": MODULES, "Acme.Pictures.cat": PICTURES, "Acme.Pictures.Parts.cat": PARTS,
         "Acme.Pictures.doc": DOCUMENTATION,
         "collections.tab": "# Elements.\n11111111 Acme.Pictures.Parts.Part array iterator array-argument\n"}
PINNED = """# Known from outside.
type Acme.Pictures.Picture - {picture}
host Acme.Pictures.Size WrpNs_Acme.WrpNs_Pictures.WrpCs_Size_{size}
entry Acme.Pictures.Picture call_000_Split(void,long,int,int,VariantArg)
member Acme.Pictures.Picture price Price
"""
TOTALS = "2 enumerations\n{count} entry points get_\n1 or more enumerations of uint8\n"


@pytest.fixture
def catalogue(tmp_path: Path) -> Path:
    """The catalogue."""
    directory = tmp_path / "catalogue"
    directory.mkdir()
    for name, text in FILES.items():
        (directory / name).write_text(text)
    table = Identifiers(path=directory / "identifiers.tab")
    elements = {row.element: row.identifier for row in read_collections(directory / "collections.tab")}
    table.complete([f"{entry.namespace}.{entry.name}" for entry in read_catalogue(directory).types], elements)
    table.write()
    picture, size = (table.rows[f"Acme.Pictures.{name}"][1] for name in ("Picture", "Size"))
    (directory / "pinned.tab").write_text(PINNED.format(picture=picture, size=size))
    count = load(directory).entry_points()["get"]
    (directory / "totals.tab").write_text(TOTALS.format(count=count))
    return directory


@pytest.fixture
def altered(catalogue: Path, tmp_path: Path) -> Callable[[Alter], Path]:
    """Makes a copy of the catalogue that says something else; pinned names and totals do not hold there."""

    def make(alter: Alter) -> Path:
        directory = tmp_path / "altered"
        shutil.copytree(catalogue, directory)
        (directory / "pinned.tab").unlink()
        (directory / "totals.tab").unlink()
        alter(directory)
        return directory

    return make


def substitute(directory: Path, name: str, *pairs: tuple[str, str]) -> None:
    """Replaces texts in a file; each is there."""
    path = directory / name
    text = path.read_text()
    for old, new in pairs:
        assert old in text, old
        text = text.replace(old, new)
    path.write_text(text)


def run(assembly: Path, catalogue: Path, scratch: Path) -> Result:
    """Harvests an assembly and writes the catalogue."""
    draft = Draft(catalogue, scratch / "draft")
    result = harvest(Contract(assembly), draft)
    draft.write_back()
    shutil.rmtree(scratch / "draft")
    return result


def texts(result: Result) -> list[str]:
    """The differences as text."""
    return [f"{difference.kind.name} {difference}" for difference in result.differences]


@pytest.fixture
def harvested(catalogue: Path, altered: Callable[[Alter], Path], tmp_path: Path) -> Callable[..., list[str]]:
    """Changes the catalogue to what the assembly of an altered copy has; gives the differences."""

    def make(alter: Alter, library: bool = True) -> list[str]:
        model: Model = load(altered(alter))
        return texts(run(write_assemblies(model, tmp_path / "assembly", library), catalogue, tmp_path))

    return make
