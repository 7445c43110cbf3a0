"""The layout of generated files: 120 columns, nothing but the layout changed, and each delegate's name in one list."""

from __future__ import annotations

import ast
import re
from collections import Counter
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.generator.entry_points import members_of, services_of
from tools.generator.model import Model
from tools.generator.writers.cpp.commands import printed_files
from tools.generator.writers.cpp.members import inherited_by_groups
from tools.generator.writers.cpp_layout import COLUMNS, laid_out
from tools.generator.writers.runtime.tables import Tables
from tools.generator.writers.stubs import package
from tools.generator.writers.stubs.package import StubWriter

ROOT = Path(__file__).parents[2]
PRODUCTS = {"imaging": ROOT / "api" / "catalogue", **{name: ROOT / "siblings" / "catalogue" / name for name in (
    "pyreflection", "pyio", "pydrawing")}}
TOKEN = re.compile(r'"(?:[^"\\]|\\.)*"|\w+|\S')


@pytest.fixture(scope="module")
def models() -> dict[str, Model]:
    return {product: load(path) for product, path in PRODUCTS.items()}


@pytest.fixture(scope="module")
def printed(models: dict[str, Model]) -> dict[str, list[str]]:
    """All generated C++ as it is printed, each statement in one line."""
    files = {f"{product}/{name}": lines for product, model in models.items()
             for name, lines in printed_files(model, product).items()}
    return {**files, "runtime/tables.cpp": Tables(list(models.values())).write()}


@pytest.fixture(scope="module")
def written(printed: dict[str, list[str]]) -> dict[str, list[str]]:
    return {name: laid_out(lines) for name, lines in printed.items()}


def tokens(lines: list[str]) -> list[str]:
    """What the compiler reads: literals beside each other are one, and comments and ends of macro lines are nothing."""
    found: list[str] = []
    for token in TOKEN.findall("\n".join(line.removesuffix(" \\") for line in lines if not line.startswith("//"))):
        if token.startswith('"') and found and found[-1].startswith('"'):
            found[-1] = found[-1][:-1] + token[1:]
        else:
            found.append(token)
    return found


def test_no_generated_line_is_longer_than_120_columns(written: dict[str, list[str]]) -> None:
    assert sum(map(len, written.values())) > 300_000
    assert [f"{name}: {line}" for name, lines in written.items() for line in lines if len(line) > COLUMNS] == []


def test_nothing_but_the_layout_is_changed(printed: dict[str, list[str]]) -> None:
    """Line by line, since a line that is short enough stays as it is."""
    long = [line for lines in printed.values() for line in lines if len(line) > COLUMNS]
    assert len(long) > 10_000
    for line in long:
        assert tokens(laid_out([line])) == tokens([line])


@pytest.mark.parametrize("name", ["IMAGING", "PYDRAWING"])
def test_a_macro_ends_where_it_did(written: dict[str, list[str]], name: str) -> None:
    """Each line of a list but the last one goes on with the next."""
    for line, following in zip(*(lambda lines: (lines, lines[1:]))(written[f"{name.lower()}/{name.lower()}.h"])):
        if line.endswith(" \\"):
            assert following.strip() and not following.startswith("#")


def test_stubs_break_their_lines_too(models: dict[str, Model]) -> None:
    files = StubWriter(list(models.values())).write(ROOT / "python" / "zelmor-stubs")
    assert [f"{name}: {line}" for name, lines in files.items() for line in lines if len(line) > COLUMNS] == []


def test_nothing_but_the_layout_of_stubs_is_changed(models: dict[str, Model], monkeypatch: pytest.MonkeyPatch) -> None:
    def meaning(lines: list[str]) -> str:
        tree = ast.parse("\n".join(lines))
        for node in ast.walk(tree):
            if isinstance(node, ast.Constant) and isinstance(node.value, str):
                node.value = " ".join(node.value.split())
        return ast.dump(tree)

    writer = StubWriter(list(models.values()))
    broken = writer.write(None)
    monkeypatch.setattr(package, "laid_out", list)
    plain = writer.write(None)
    changed = [name for name, lines in broken.items() if lines != plain[name]]
    assert "imaging/imageoptions.pyi" in changed
    for name in changed:
        assert meaning(broken[name]) == meaning(plain[name])
        ignored = [sum("# type: ignore" in line for line in lines) for lines in (broken[name], plain[name])]
        assert ignored[0] == ignored[1]


def test_a_delegates_name_stands_in_one_list_and_where_it_is_called(
        models: dict[str, Model], printed: dict[str, list[str]]) -> None:
    names = 0
    for entry in models["imaging"].types:
        text = "\n".join(printed[f"imaging/{entry.full_name}.cpp"])
        host, _, rest = text.partition("ZELMOR_TYPE_HOST(")
        words, calls = Counter(re.findall(r"\w+", host)), Counter(re.findall(r"->(\w+)\(", rest))
        mentioned = Counter(re.findall(r"\w+", rest))
        # The only overload of a method is called by its own function, and by the one that groups of derived types call.
        twice = {method.overloads[0].entry for method in entry.methods
                 if method.overloads and inherited_by_groups(method)}
        for point in members_of(entry):
            names += 1
            assert words[point.name] == 1
            assert calls[point.name] == mentioned[point.name] == (2 if point.name in twice else 1)
        assert not {point.name for point in services_of(entry)} & set(words)
    assert names > 8_000


def test_the_lists_of_services_stand_in_the_header(models: dict[str, Model], printed: dict[str, list[str]]) -> None:
    header = "\n".join(printed["imaging/imaging.h"])
    lists = {name: re.findall(r"entry\([^,]*, (\w+),", text)
             for name, text in re.findall(r"#define (\w+)\(entry\) \\\n((?:.*\\\n)*.*)", header)}
    for entry in models["imaging"].types:
        text = "\n".join(printed[f"imaging/{entry.full_name}.cpp"])
        used = re.findall(r"ZELMOR_\w+_SERVICES", text)
        assert len(used) == 1
        assert lists[used[0]] == [point.name for point in services_of(entry)]


@pytest.mark.parametrize(("line", "expected"), [
    ("    return first(" + "a" * 60 + ", " + "b" * 60 + ");",
     ["    return first(" + "a" * 60 + ",", "                 " + "b" * 60 + ");"]),
    ("static int f(int value) { return " + "a" * 100 + "; }",
     ["static int f(int value) {", "    return " + "a" * 100 + ";", "}"]),
    ("int " + "f" * 70 + " = " + "v" * 60 + ";", ["int " + "f" * 70 + " =", "    " + "v" * 60 + ";"]),
    ('    "' + "x" * 150 + '",', ['    "' + "x" * 114 + '"', '    "' + "x" * 36 + '",']),
    ('    entry(int, ' + "n" * 60 + ", (int " + "a" * 50 + ")) \\",
     ['    entry(int, ' + "n" * 60 + ", \\", "          (int " + "a" * 50 + ")) \\"]),
    ("// " + "word " * 30, ["// " + "word " * 22 + "word", "// " + "word " * 6 + "word"]),
])
def test_how_a_line_breaks(line: str, expected: list[str]) -> None:
    assert laid_out([line]) == expected


def test_a_line_that_cannot_break_is_an_error() -> None:
    with pytest.raises(ValueError, match="no place to break"):
        laid_out(["x" * 121])
