"""The examples of the reference and of the gallery: each runs, and leaves or prints something."""

from __future__ import annotations

import ast
import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest
from PIL import Image as Pillow

from support.places import BUILD_DIR, ROOT

REFERENCE = sorted((ROOT / "examples" / "reference").glob("*.py"))
GALLERY = sorted((ROOT / "examples" / "gallery").glob("*.py"))
LONGEST = 12
# Without the imports.
LONGEST_OF_GALLERY = 22


def results_of(folder: Path, work: Path) -> dict[str, dict[str, Any]]:
    """What the examples of a folder did, by their names; they run in a process of their own."""
    done = subprocess.run([sys.executable, "-B", "-m", "tools.run_examples", str(folder), str(work)], cwd=ROOT,
                          capture_output=True, text=True, check=False,
                          env={**os.environ, "PYTHONPATH": str(BUILD_DIR / "python")})
    assert done.stdout, done.stderr
    return {result["name"]: result for result in map(json.loads, done.stdout.splitlines())}


@pytest.fixture(scope="module")
def reference(tmp_path_factory: pytest.TempPathFactory) -> dict[str, dict[str, Any]]:
    """What the examples of the reference did."""
    return results_of(ROOT / "examples" / "reference", tmp_path_factory.mktemp("reference") / "work")


def test_the_classes_that_people_use_have_an_example() -> None:
    assert len(REFERENCE) >= 100


@pytest.mark.parametrize("program", REFERENCE, ids=lambda path: path.stem)
def test_an_example_of_the_reference_runs(reference: dict[str, dict[str, Any]], program: Path) -> None:
    result = reference[program.stem]
    assert not result["error"], result["error"]
    assert result["printed"] or any(result["files"].values()), "it shows nothing"


@pytest.mark.parametrize("program", REFERENCE, ids=lambda path: path.stem)
def test_an_example_is_short_and_about_its_class(program: Path) -> None:
    lines = [line for line in program.read_text().splitlines() if line and not line.startswith(("from ", "import "))]
    assert 1 <= len(lines) <= LONGEST
    assert any(program.stem in line for line in program.read_text().splitlines())


@pytest.fixture(scope="module")
def gallery(tmp_path_factory: pytest.TempPathFactory) -> tuple[Path, dict[str, dict[str, Any]]]:
    """What the programs of the gallery did, and where."""
    work = tmp_path_factory.mktemp("gallery") / "work"
    return work, results_of(ROOT / "examples" / "gallery", work)


@pytest.mark.parametrize("program", GALLERY, ids=lambda path: path.stem)
def test_a_program_of_the_gallery_makes_its_picture(gallery: tuple[Path, dict[str, dict[str, Any]]],
                                                    program: Path) -> None:
    work, results = gallery
    assert not results[program.stem]["error"], results[program.stem]["error"]
    made = [work / program.stem / name for name in results[program.stem]["files"] if Path(name).stem == program.stem]
    if program.stem == "first_steps":  # it shows how to begin, and no picture
        assert set(results[program.stem]["files"]) == {"photo.webp"}
        return
    (picture,) = made
    with Pillow.open(picture) as read:
        colors = read.convert("RGB").getcolors(1 << 24)
        assert read.width >= 200 and colors is not None and len(colors) >= 4, "there is next to nothing to see"


@pytest.mark.parametrize("program", GALLERY, ids=lambda path: path.stem)
def test_a_program_of_the_gallery_is_short(program: Path) -> None:
    statements = ast.parse(program.read_text()).body
    first = next(item.lineno for item in statements[1:] if not isinstance(item, (ast.Import, ast.ImportFrom)))
    assert len(program.read_text().splitlines()) - first < LONGEST_OF_GALLERY


def test_each_program_of_the_gallery_is_shown() -> None:
    pages = "".join((ROOT / "docs" / "site" / name).read_text() for name in ("index.md", "gallery.md"))
    for program in GALLERY:
        assert pages.count(f"{{{{ {program.stem} }}}}") + pages.count(f"{{{{ code {program.stem} }}}}") == 1
