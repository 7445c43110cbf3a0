"""What an editor shows of a name at the pointer, as a language server answers: the texts of the catalogue."""

from __future__ import annotations

import importlib.util
import itertools
from collections.abc import Iterator
from pathlib import Path

import pytest

from support.places import BUILD_DIR, CATALOGUE, ROOT
from tools.ask_language_server import PYLSP, Server, ask
from tools.generator.builder import load
from tools.generator.documentation import Documentation

MODEL = load(CATALOGUE)
WORDS = Documentation.read(CATALOGUE)
NUMBERS = itertools.count()

pytestmark = pytest.mark.skipif(importlib.util.find_spec("pylsp") is None,
                                reason="needs a language server: Debian's python3-pylsp (purpose docs of packages.txt)")


@pytest.fixture(scope="module")
def server(tmp_path_factory: pytest.TempPathFactory) -> Iterator[tuple[Server, Path]]:
    """A language server and the folder of its programs."""
    folder = tmp_path_factory.mktemp("programs")
    started = Server(PYLSP, folder, BUILD_DIR / "python")
    yield started, folder
    started.close()


@pytest.mark.parametrize("module, name, member", [
    ("zelmor.imaging", "Image", "can_load_stream"), ("zelmor.imaging", "Image", ""),
    ("zelmor.imaging", "Graphics", "begin_update"), ("zelmor.imaging.imageoptions", "PngOptions", ""),
    ("zelmor.imaging", "ResizeType", ""), ("zelmor.imaging", "ResizeType", "LANCZOS_RESAMPLE"),
    ("zelmor.imaging.fileformats.gif", "GifImage", "add_page")])
def test_the_text_of_a_name_at_the_pointer_is_that_of_the_catalogue(
        server: tuple[Server, Path], module: str, name: str, member: str) -> None:
    entry = next(entry for entry in MODEL.types if entry.dotted == f"{module}.{name}")
    text = " ".join((WORDS.of_member(entry, member) if member else WORDS.of_type(entry)).split())
    assert text
    program = f"from {module} import {name}\n\n{name}{'.' if member else ''}{member}?"
    shown = ask(*server, next(NUMBERS), program)
    assert text in " ".join(" ".join(shown).split())


def test_the_page_on_editors_shows_it() -> None:
    page = (ROOT / "docs" / "editor.md").read_text()
    entry = next(entry for entry in MODEL.types if entry.dotted == "zelmor.imaging.Image")
    scene = page[page.index("### What a method is for"):]
    assert WORDS.of_member(entry, "can_load_stream") in " ".join(scene.split())
