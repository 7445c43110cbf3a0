"""The tokens of C++ sources: nothing is lost, and what is no code is told from what is."""

from __future__ import annotations

from pathlib import Path

import pytest

from tools.mutants.sample import PARTS, sources
from tools.mutants.structure import Structure
from tools.mutants.tokens import Kind, NotUnderstood, tokens

TREE = Path(__file__).parents[2]


def of_kind(source: str, kind: Kind) -> list[str]:
    return [token.text for token in tokens(source) if token.kind is kind]


@pytest.mark.parametrize("part", PARTS)
def test_nothing_of_a_source_is_lost(part: str) -> None:
    found = sources(TREE, [part])
    assert found
    for path in found:
        source = (TREE / path).read_text()
        assert "".join(token.text for token in tokens(source)) == source, path


@pytest.mark.parametrize("comment", ["// x == 1", "/* x == 1 */", "/* over\n lines */", "// goes \\\n on"])
def test_comments(comment: str) -> None:
    assert of_kind(f"a; {comment}\nb;", Kind.COMMENT) == [comment]
    assert of_kind(f"a; {comment}\nb;", Kind.NAME) == ["a", "b"]


@pytest.mark.parametrize("text", [
    '"x == 1"', '"a \\" b"', "'\\''", "u8\"x\"", "L'x'", 'R"(a " b)"', 'R"x(a)" // )x"', '"x"sv', '"// no comment"'])
def test_texts(text: str) -> None:
    assert of_kind(f"f({text}, 1);", Kind.TEXT) == [text]
    assert of_kind(f"f({text}, 1);", Kind.NUMBER) == ["1"]


@pytest.mark.parametrize("number", ["0", "0x1F", "1'000u", "1.5e-3f", ".5", "0x1p-3", "0b1010", "10ULL"])
def test_numbers(number: str) -> None:
    assert of_kind(f"x = {number} + a1;", Kind.NUMBER) == [number]


@pytest.mark.parametrize("directive", [
    "#include <vector>", "#define F(x) \\\n    (x == 1)", "#  if X  // y", "#if X /* a\n b */ && Y",
    '#define URL "http://x/*"'])
def test_directives(directive: str) -> None:
    assert of_kind(f"a;\n  {directive}\nb;", Kind.DIRECTIVE) == [directive]
    assert of_kind(f"a;\n  {directive}\nb;", Kind.NAME) == ["a", "b"]


def test_a_hash_within_a_line_is_no_directive() -> None:
    with pytest.raises(NotUnderstood, match="line 2: no token begins with '#x"):
        list(tokens("a\nb #x\n"))


@pytest.mark.parametrize(("source", "message"), [
    ("f(\n]", "line 2: ] closes nothing"), ("\n}", "line 2: } closes nothing"), ("{\n(", "line 2: nothing closes")])
def test_brackets_that_do_not_fit(source: str, message: str) -> None:
    with pytest.raises(NotUnderstood, match=message):
        Structure(source)
