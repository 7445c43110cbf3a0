"""A small catalogue on disk that a test can change line by line."""

from __future__ import annotations

import textwrap
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.catalogue import read_catalogue
from tools.generator.identifiers import Identifiers
from tools.generator.model import Model

ROOT = "Acme.Pictures"


@pytest.fixture
def build(tmp_path: Path) -> Callable[..., Model]:
    """Builds the model of `Acme.Pictures` from the text of its one file."""

    def make(text: str, modules: str = "", **below: str) -> Model:
        """The texts of namespaces below the root go by the last part of their names."""
        (tmp_path / "modules.tab").write_text(
            f"assembly Acme\n{ROOT} acme.pictures 0000000A\n{textwrap.dedent(modules)}")
        (tmp_path / f"{ROOT}.cat").write_text(f"namespace {ROOT} as acme.pictures\n{textwrap.dedent(text)}")
        for name, types in below.items():
            (tmp_path / f"{ROOT}.{name}.cat").write_text(f"namespace {ROOT}.{name} as acme.pictures\n{types}")
        table = Identifiers(path=tmp_path / "identifiers.tab")
        table.complete([f"{entry.namespace}.{entry.name}" for entry in read_catalogue(tmp_path).types], {})
        table.write()
        return load(tmp_path)

    return make
