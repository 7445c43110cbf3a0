"""The generator's own structure: no circles of imports, facts apart from the words of a language, back ends apart."""

from __future__ import annotations

import ast
import re
from graphlib import TopologicalSorter
from pathlib import Path

import pytest

from tools.generator.model import INTEROP_INTERFACES
from tools.generator.wires import PLAIN_WIRES, VOID
from tools.generator.writers.cpp import words as cpp
from tools.generator.writers.runtime import words as runtime
from tools.generator.writers.stubs import words as stubs

TOP = Path(__file__).parents[2] / "tools" / "generator"
PACKAGE = "tools.generator"
FACTS = ("declaration", "wires", "model", "entry_points")


def name_of(path: Path) -> str:
    parts = [PACKAGE, *path.relative_to(TOP).with_suffix("").parts]
    return ".".join(parts[:-1] if parts[-1] == "__init__" else parts)


MODULES = {name_of(path): path for path in TOP.rglob("*.py")}


def imports(name: str) -> set[str]:
    """The generator's modules that a module imports, anywhere in its text: in functions and under TYPE_CHECKING too."""
    found: set[str] = set()
    package = name if MODULES[name].name == "__init__.py" else name.rpartition(".")[0]
    for node in ast.walk(ast.parse(MODULES[name].read_text())):
        if isinstance(node, ast.Import):
            found |= {alias.name for alias in node.names}
        elif isinstance(node, ast.ImportFrom):
            parts = package.split(".")
            base = ".".join(parts[:len(parts) - node.level + 1]) if node.level else ""
            source = ".".join(filter(None, [base, node.module or ""]))
            # A module of a package, or else a name of a module.
            found |= {f"{source}.{alias.name}" if f"{source}.{alias.name}" in MODULES else source
                      for alias in node.names}
    return found & set(MODULES)


def test_no_module_imports_itself_through_others() -> None:
    graph = {name: imports(name) for name in MODULES}
    assert sum(map(len, graph.values())) > 100
    assert f"{PACKAGE}.wires" in graph[f"{PACKAGE}.model"]
    TopologicalSorter(graph).prepare()  # raises CycleError


def test_a_circle_of_imports_would_be_found() -> None:
    with pytest.raises(ValueError):
        TopologicalSorter({"a": {"b"}, "b": {"a"}}).prepare()


def test_only_the_command_line_and_the_pins_use_back_ends() -> None:
    """The command line lists the back ends. The table of pinned names states arguments by their C++ types."""
    writers = f"{PACKAGE}.writers"
    users = {name.removeprefix(f"{PACKAGE}.") for name in MODULES if not name.startswith(writers)
             for target in imports(name) if target.startswith(writers)}
    assert users == {"__main__", "pinned"}


def test_a_back_end_is_one_folder() -> None:
    """None imports another, but for the reference, whose signatures are those of the stubs."""
    folders = {path.name for path in (TOP / "writers").iterdir() if (path / "__init__.py").exists()}
    assert {"cpp", "runtime", "stubs", "reference"} <= folders
    pairs = set()
    for name in MODULES:
        folder = name.removeprefix(f"{PACKAGE}.writers.").split(".")[0]
        if folder in folders:
            others = {target.removeprefix(f"{PACKAGE}.writers.").split(".")[0] for target in imports(name)}
            pairs |= {(folder, other) for other in others & folders if other != folder}
    assert pairs == {("reference", "stubs")}
    for folder in folders:
        assert f"{PACKAGE}.writers.{folder}.commands" in imports(f"{PACKAGE}.__main__")


def words_of_languages() -> set[str]:
    """The words that the tables of the back ends have, without those that the catalogue uses itself."""
    texts = [*cpp.FORMS.values(), *cpp.RECORDS.values(), *(shape.record for shape in cpp.SHAPES.values()),
             *(text for row in cpp.WIRES.values() for text in (row.converter, row.builder, row.variable, row.element)),
             *runtime.WIRES.values(), *runtime.SHAPES.values(), *(row.given[1] for row in stubs.WIRES.values()),
             *(name for row in stubs.WIRES.values() for _, name in row.accepted)]
    words = {word for text in texts for word in re.findall(r"[A-Za-z_]\w+", re.sub(r"\{[\w.]*\}", "", text))}
    own = " ".join([*PLAIN_WIRES, VOID.name, *INTEROP_INTERFACES])
    return words - set(re.findall(r"\w+", own))


@pytest.mark.parametrize("module", FACTS)
def test_facts_have_no_word_of_a_language(module: str) -> None:
    tree = ast.parse((TOP / f"{module}.py").read_text())
    descriptions = {id(node.value) for node in ast.walk(tree) if isinstance(node, ast.Expr)}
    texts = [node.value for node in ast.walk(tree) if isinstance(node, ast.Constant) and isinstance(node.value, str)
             and id(node) not in descriptions]
    forbidden = words_of_languages()
    assert {"PyStringArg", "fn_conv_py_bool_to_clr_bool", "kInt32", "ReadableBuffer", "nullptr"} <= forbidden
    assert {word for text in texts for word in re.findall(r"\w+", text)} & forbidden == set()
