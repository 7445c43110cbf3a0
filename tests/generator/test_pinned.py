"""The names that other assemblies and modules rely on are those of the table, or the build stops."""

from __future__ import annotations

from collections import Counter
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.__main__ import main
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.pinned import read_pinned

Build = Callable[..., Model]
ROOT = Path(__file__).parents[2]

TYPES = """
class Picture
    ctor (path: string)
    method turn Turn (angle: float)
    get cfa_pattern CFAPattern bytes
    get DURATION Duration int32 exception
    static_getset limit Limit int32
"""
HOST = "WrpNs_Acme.WrpNs_Pictures.WrpCs_Picture_"
BINDS = ("ctor_000_Picture,call_000_Turn,get_CFAPattern,get_Duration,getsa_Limit,setsa_Limit,btp_TypeOf,btp_CastTo,"
         "btp_ReInterpretObj,btp_CastAs,btp_IsAssignable")


def picture(model: Model) -> tuple[str, str]:
    """The identifiers of the class."""
    return model.types[0].identifier, model.types[0].managed_identifier


def test_matching_pins_are_accepted(build: Build, tmp_path: Path) -> None:
    own, managed = picture(build(TYPES))
    (tmp_path / "pinned.tab").write_text(f"""
type Acme.Pictures.Picture {own} {managed}  # both
type Acme.Pictures.Picture - {managed}
type Acme.Pictures.Picture {own}
module acme.pictures 0000000A
host Acme.Pictures.Picture {HOST}{managed}
hosts Acme.Pictures.Picture 11 {BINDS}
hosts Acme.Pictures.Picture 11 ...
entry Acme.Pictures.Picture call_000_Turn(void,float)
entry Acme.Pictures.Picture ctor_000_Picture
name cfa_pattern CFAPattern
name turn Turn
member Acme.Pictures.Picture DURATION Duration
symbol wrpPy_tyds_{own}_Picture
""")
    build(TYPES)
    assert main(["module", str(tmp_path), str(tmp_path / "out")]) == 0


@pytest.mark.parametrize(("row", "reason"), [
    ("type Acme.Pictures.Other 00000000", "there is no type Acme.Pictures.Other"),
    ("type Acme.Pictures.Picture 00000000", "Acme.Pictures.Picture has the identifier {own} instead of 00000000"),
    ("type Acme.Pictures.Picture - 00000000", "Acme.Pictures.Picture has the identifier {managed} instead of 00000000"),
    ("module acme.pictures 0000000B", "acme.pictures has the identifier 0000000A instead of 0000000B"),
    ("module acme.other 0000000B", "acme.other has the identifier none instead of 0000000B"),
    ("host Acme.Pictures.Picture WrpCs_Picture",
     "Acme.Pictures.Picture has the host " + HOST + "{managed} instead of WrpCs_Picture"),
    ("hosts Acme.Pictures.Picture 10 ...", "Acme.Pictures.Picture has 11 entry points instead of 10"),
    ("hosts Acme.Pictures.Picture 11 ctor_000_Picture",
     "Acme.Pictures.Picture binds " + BINDS + " instead of ctor_000_Picture"),
    ("hosts Acme.Pictures.Other 11 ...", "there is no type Acme.Pictures.Other"),
    ("entry Acme.Pictures.Picture call_001_Turn", "Acme.Pictures.Picture has no entry point call_001_Turn"),
    ("entry Acme.Pictures.Picture call_000_Turn(void)",
     "Acme.Pictures.Picture.call_000_Turn takes (void,float) instead of (void)"),
    ("entry Acme.Pictures.Other call_000_Turn", "there is no type Acme.Pictures.Other"),
    ("entry Acme.Pictures.Picture call_000_Turn(", "'call_000_Turn(' is no entry point"),
    ("name pattern CFAPattern",
     "Acme.Pictures.Picture.cfa_pattern is CFAPattern on the managed side, which is pattern in Python"),
    ("name cfa_pattern CfaPattern", "Acme.Pictures.Picture.cfa_pattern stands for CFAPattern, and CfaPattern differs "
     "from it in the case of letters only"),
    ("name other Other", "nothing is called Other"),
    ("member Acme.Pictures.Picture duration Duration",
     "Acme.Pictures.Picture has no duration that is Duration on the managed side"),
    ("symbol wrpPy_tyds_00000000_Picture", "nothing that is written has the symbol wrpPy_tyds_00000000_Picture"),
    ("symbol wrpPy_tyds", "nothing that is written has the symbol wrpPy_tyds"),
    ("thing Acme.Pictures.Picture", "'thing' is no kind of name"),
    ("type Acme.Pictures.Picture", "cannot read this type row"),
    ("module acme.pictures 0000000A\nmodule acme.pictures 0000000A", "this row is there already"),
])
def test_a_pin_that_differs_stops_the_build_with_file_and_line(
        build: Build, tmp_path: Path, capsys: pytest.CaptureFixture[str], row: str, reason: str) -> None:
    own, managed = picture(build(TYPES))
    path = tmp_path / "pinned.tab"
    path.write_text(f"# first line\n{row}\n")
    assert main(["module", str(tmp_path), str(tmp_path / "out")]) == 1
    line = 2 + row.count("\n")
    assert capsys.readouterr().err == f"{path}:{line}: {reason.format(own=own, managed=managed)}\n"
    if not row.startswith("symbol"):
        with pytest.raises(CatalogueError):
            build(TYPES)


def test_the_tables_of_the_catalogues_lose_no_row() -> None:
    """A name that is known from outside stays known; a new one is added here too."""
    found = Counter(row.kind for row in read_pinned(ROOT / "api" / "catalogue" / "pinned.tab"))
    assert found == {"type": 7, "module": 1, "host": 3, "hosts": 3, "entry": 20, "name": 37, "member": 4, "symbol": 15}
    assert len(read_pinned(ROOT / "siblings" / "catalogue" / "pyreflection" / "pinned.tab")) == 3
