"""The stub writer, on a small catalogue and on what the real one says of single members."""

from __future__ import annotations

import ast
import re
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.writers.stubs.package import StubWriter, write_stubs

ROOT = Path(__file__).parents[2]
CATALOGUES = [ROOT / "api" / "catalogue", *(ROOT / "siblings" / "catalogue" / name for name in (
    "pyreflection", "pyio", "pydrawing"))]


@pytest.fixture(scope="module")
def files() -> dict[str, str]:
    models = [load(path) for path in CATALOGUES]
    return {path: "\n".join(lines) for path, lines in StubWriter(models).write(ROOT / "python/zelmor-stubs").items()}


def text_of(files: dict[str, str], path: str, name: str) -> str:
    """One class as it is printed."""
    start = files[path].index(f"class {name}")
    end = files[path].find("\nclass ", start)
    return files[path][start:end if end > 0 else None]


def test_there_is_a_file_for_each_module_and_all_of_them_parse(files: dict[str, str]) -> None:
    models = [load(path) for path in CATALOGUES]
    assert {StubWriter.path(module) for model in models for module in model.modules} <= set(files)
    assert sum(path.startswith("imaging/") for path in files) == 116
    for path, text in files.items():
        ast.parse(text, path)


def test_overloads_stand_in_trial_order_with_the_inherited_ones_behind(files: dict[str, str]) -> None:
    image = text_of(files, "imaging/__init__.pyi", "Image(")
    heads = [line.strip() for line in image.splitlines() if line.strip().startswith("def save(")]
    assert heads[0] == "def save(self) -> None:"
    assert heads[-1] == "def save(self, file_path: str | None, over_write: bool) -> None:"
    assert len(heads) == 8


@pytest.mark.parametrize("path, name, line", [
    ("imaging/__init__.pyi", "Image(", "background_color: Color"),
    ("imaging/__init__.pyi", "Image(", "palette: IColorPaletteLike | None"),
    ("imaging/__init__.pyi", "Image(", "def __init__(self, type_has_no_available_constructor: Never) -> None: ..."),
    ("imaging/__init__.pyi", "Image(", "def __enter__(self) -> Image: ..."),
    ("imaging/__init__.pyi", "Color:", "alice_blue: Final[Color]"),
    ("imaging/__init__.pyi", "Cache:", "def set_max_memory_for_cache(value: int, /) -> None:"),
    ("imaging/__init__.pyi", "Rectangle:", "inflate: ClassVar[_Rectangle_inflate]"),
    ("imaging/__init__.pyi", "Point:", "def from_long(packed_point: int, x: list[int], y: list[int]) -> int:"),
    ("imaging/__init__.pyi", "FileFormat(IntFlag)", "CUSTOM = 1"),
    ("imaging/sources.pyi", "StreamSource(", "def __init__(self, stream: StreamLike | None) -> None:"),
    ("imaging/_wrpgen/_generic.pyi", "_ListWrapper_A4A29720:", "def append(self, value: int, /) -> None: ..."),
    ("imaging/_wrpgen/_generic.pyi", "_ArrayWrapper_D065E58A(_ArrayWrapper)",
     "def __getitem__(self, key: SupportsIndex, /) -> Point: ..."),
    ("_typing.pyi", "Attribute(", "def __set__(self, instance: object, value: Taken, /) -> None: ..."),
])
def test_single_lines(files: dict[str, str], path: str, name: str, line: str) -> None:
    assert f"    {line}" in text_of(files, path, name).splitlines()


def test_an_interface_goes_with_the_topmost_classes_that_implement_it(files: dict[str, str]) -> None:
    line = next(line for line in files["_typing.pyi"].splitlines() if line.startswith("IColorPaletteLike"))
    assert line == "IColorPaletteLike: TypeAlias = IColorPalette | ColorPalette"
    start = files["_typing.pyi"].index("\nIMultipageImageLike")
    assert re.search(r"\bIMultipageImageExt\b", files["_typing.pyi"][start:].partition("\n)")[0])


def test_classes_that_nothing_derives_from_are_final(files: dict[str, str]) -> None:
    sources = files["imaging/sources.pyi"]
    assert "@final\nclass StreamSource(" in sources
    assert "@final\nclass FileSource(" not in sources


def test_a_member_that_is_called_like_a_builtin_does_not_hide_it(files: dict[str, str]) -> None:
    header = text_of(files, "imaging/fileformats/emf/emf/objects.pyi", "EmfHeaderObject")
    assert "    bytes: int" in header
    assert ": bytes" not in header and "-> bytes" not in header and "| bytes" not in header


def test_written_files_replace_those_of_modules_that_are_gone(tmp_path: Path) -> None:
    (tmp_path / "imaging").mkdir()
    gone = tmp_path / "imaging" / "gone.pyi"
    gone.write_text("")
    write_stubs([load(path) for path in CATALOGUES], tmp_path, None)
    assert not gone.exists()
    assert (tmp_path / "imaging" / "brushes.pyi").exists()
