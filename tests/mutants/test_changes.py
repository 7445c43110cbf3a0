"""The changes that a source offers: which there are, and that each touches one place of the code and nothing else."""

from __future__ import annotations

from pathlib import Path

import pytest

from tools.mutants.changes import Change, changes
from tools.mutants.sample import PARTS, draw, part_of, sources
from tools.mutants.tokens import Kind, tokens

TREE = Path(__file__).parents[2]


def results(source: str, *kinds: str) -> list[str]:
    """The source after each of its changes, or those of some kinds."""
    return [change.apply(source) for change in changes("x.cpp", source) if not kinds or change.kind in kinds]


def in_function(statement: str, *kinds: str) -> list[str]:
    """What becomes of a statement in the body of a function, by the changes that concern it."""
    before, after = "Foo::Foo() {\n    ", "\n}\n"
    found = results(f"{before}{statement}{after}", *kinds)
    assert all(result.startswith(before) and result.endswith(after) for result in found)
    return [result[len(before):-len(after)] for result in found]


@pytest.mark.parametrize(("statement", "expected"), [
    ("x = a == b;", ["x = a != b;"]),
    ("x = a != b;", ["x = a == b;"]),
    ("x = a < b;", ["x = a <= b;", "x = a >= b;"]),
    ("x = a >= b;", ["x = a > b;", "x = a < b;"]),
    ("x = a && b;", ["x = a || b;"]),
    ("x = a || b;", ["x = a && b;"]),
    ("x = !a;", ["x = a;"]),
    ("x = a + b;", ["x = a - b;"]),
    ("x = a - b;", ["x = a + b;"]),
    ("x = a * b;", ["x = a / b;"]),
    ("x = a & b;", ["x = a | b;"]),
    ("x = a << b;", ["x = a >> b;"]),
    ("x = a >> b;", ["x = a << b;"]),
    ("x += b;", ["x -= b;"]),
    ("++x;", ["--x;"]),
    ("x = true;", ["x = false;"]),
])
def test_operators_and_truth(statement: str, expected: list[str]) -> None:
    assert in_function(statement, "comparison", "logic", "arithmetic", "truth") == expected


@pytest.mark.parametrize("statement", [
    "std::vector<int> v;", "T&& x = f<A&&>(b);", "const char* p = &q;", 'x = "a" + y;',
    "auto f = [&](T& a) -> U {};",
    "x = std::vector<std::vector<T>>();", "p->q();", "x = -y;", "bool operator<(T a);", "bool operator!();"])
def test_what_only_looks_like_an_operator(statement: str) -> None:
    assert in_function(statement, "comparison", "logic", "arithmetic") == []


@pytest.mark.parametrize(("number", "expected"), [
    ("0", ["1"]), ("7", ["8", "6"]), ("1'000u", ["1001u", "999u"]), ("0x0F", ["0x10", "0x0E"]), ("0xFF", ["0xFE"]),
    ("0b10", ["0b11", "0b01"]), ("1.5", ["(1.5 + 1)"]), (".5f", ["(.5f + 1)"]), ("1e3", ["(1e3 + 1)"])])
def test_constants(number: str, expected: list[str]) -> None:
    assert in_function(f"x({number});", "constant") == [f"x({value});" for value in expected]


def test_the_mark_of_a_function_without_a_body_is_no_constant() -> None:
    assert results("struct A {\n    virtual void f() const = 0;\n    int n = 0;\n};\n") == [
        "struct A {\n    virtual void f() const = 0;\n    int n = 1;\n};\n"]


@pytest.mark.parametrize(("condition", "expected"), [
    ("if (a) {}", ["if (!(a)) {}"]),
    ("while (f(x == 1)) {}", ["while (!(f(x == 1))) {}"]),
    ("if (a == b || c) {}", ["if (!(a == b || c)) {}"]),
    # The opposite is reached by changing the operator.
    ("if (a == b) {}", []),
    ("if (!a) {}", []),
    ("while (true) {}", []),
    # Not without a declaration of its own.
    ("if (T x = f()) {}", []),
    ("if (T x = f(); x) {}", []),
    ("if constexpr (kA) {}", []),
])
def test_conditions(condition: str, expected: list[str]) -> None:
    assert in_function(condition, "condition") == expected


@pytest.mark.parametrize("statement", [
    "f();", "a.b->c(d)[1].e();", "N::f<T>(x);", "::close(file);", "static_cast<T*>(p)->f({1, 2});", "x = y;",
    "a[i].b += 2;", "*p = q;"])
def test_removed_statements(statement: str) -> None:
    assert in_function(statement, "removal") == [f"if (false) {statement}"]
    assert in_function(f"if (a) {{ {statement} }}", "removal") == [f"if (a) {{ if (false) {statement} }}"]


@pytest.mark.parametrize("statement", [
    "T x(y);", "T x = y;", "T* x = y;", "T<A> x(y);", "auto x = f();", "return f();", "delete p;", "throw E(x);",
    "++x;", "using T = U;", "T x{f()};", "for (;;) {}", "T& x = f();"])
def test_statements_that_others_need(statement: str) -> None:
    assert in_function(statement, "removal") == []


def test_declarations_are_no_calls() -> None:
    assert results("struct A {\n    A();\n    A(B);\n    f(C);\n};\nnamespace n {\nX(Y);\n}\n") == []


@pytest.mark.parametrize(("head", "inserted"), [
    ("void f(int x)", "return;"),
    ("[[nodiscard]] static inline void A::f() const", "return;"),
    ("template <typename T>\nvoid f(T x)", "return;"),
    ("int f()", "return {};"),
    ("const std::map<A, B> A::f(C c) const noexcept", "return {};"),
    ("void* f()", "return {};"),
])
def test_early_returns(head: str, inserted: str) -> None:
    assert results(f"{head} {{ g(); }}\n", "early return") == [f"{head} {{ if (true) {inserted} g(); }}\n"]


@pytest.mark.parametrize("head", [
    "A::A(int x) : b(x), c{x}", "A::~A()", "[[noreturn]] void f()", "int& f()", "auto f()", "A::operator bool()",
    "namespace x", "struct A : B", 'extern "C"'])
def test_no_early_return(head: str) -> None:
    assert results(f"{head} {{ T x; }}\n", "early return") == []


@pytest.mark.parametrize(("statement", "expected"), [
    ("return f(x);", ["return {};"]), ("return a ? b : T{c};", ["return {};"]), ("return;", []), ("return {};", []),
    ("return nullptr;", []), ("return false;", []), ("return 0;", [])])
def test_results(statement: str, expected: list[str]) -> None:
    assert in_function(statement, "result") == expected


@pytest.mark.parametrize("source", [
    "// a == 1\n", "/* a + 1 */\n", '#if A == 1\n#define B (x + 1)\n#endif\n', "#include <a/1>\n",
    'auto a = "x == 1 && true";\n', "char a = '1';\n", "static_assert(a == 1);\n",
    "A::A() { assert(a && b < 1); }\n", 'A::A() { trace::info("x %d", a + 1); }\n',
    "[[gnu::format(printf, 1, 2)]] f;\n"])
def test_what_is_left_alone(source: str) -> None:
    assert results(source) == []


@pytest.mark.parametrize("part", PARTS)
def test_each_change_touches_one_stretch_of_code(part: str) -> None:
    for path in sources(TREE, [part]):
        source = (TREE / path).read_text()
        no_code = [token for token in tokens(source) if not token.is_code or token.kind is Kind.TEXT]
        inside = bytearray(len(source) + 1)  # of what is no code: its inner positions
        for token in no_code:
            inside[token.start + 1:token.end] = bytes([1]) * (token.end - token.start - 1)
        starts = {token.start for token in no_code}
        found = changes(path, source)
        assert len(set(found)) == len(found), path
        for change in found:
            assert source[change.start:change.end] != change.replacement
            assert not inside[change.start] and not inside[change.end], change.describe(source)
            # Within what is replaced by another operator or number there is nothing but code.
            if change.kind not in ("condition", "result"):
                assert starts.isdisjoint(range(change.start, change.end)), change.describe(source)


def test_the_description_and_the_difference() -> None:
    source = "int a = 1;\nint b = 2;\n"
    change = changes("x/y.cpp", source)[2]
    assert change == Change("x/y.cpp", "constant", 2, 19, 20, "3")
    assert change.describe(source) == "x/y.cpp:2: constant: 2 -> 3"
    assert change.diff(source).splitlines()[-3:] == [" int a = 1;", "-int b = 2;", "+int b = 3;"]


def test_the_same_seed_draws_the_same() -> None:
    drawn = draw(TREE, ["convert", "streams"], 7, 30)
    assert draw(TREE, ["convert", "streams"], 7, 30) == drawn
    assert draw(TREE, ["convert", "streams"], 7, 10) == drawn[:10]
    assert draw(TREE, ["convert", "streams"], 8, 30) != drawn
    assert [part_of(change.path) for change in drawn[:4]] == ["convert", "streams", "convert", "streams"]
    places = [(change.path, change.start, change.end) for change in drawn]
    assert len(drawn) == 30 == len(set(places))


def test_work_elsewhere_leaves_the_sample(tmp_path: Path) -> None:
    (tmp_path / "convert").mkdir()
    text = "".join(f"int a{n} = {n};\n" for n in range(20))
    for name in ("a.cpp", "b.h", "c.txt"):
        (tmp_path / "convert" / name).write_text(text)
    before = draw(tmp_path, ["convert"], 1, 100)
    assert {change.path for change in before} == {"convert/a.cpp", "convert/b.h"}
    assert len(before) == 40  # one at each place
    (tmp_path / "convert" / "a.cpp").write_text("int b = 3;\n" + text)
    after = [change for change in draw(tmp_path, ["convert"], 1, 100)
             if (change.path, change.line) != ("convert/a.cpp", 1)]
    assert [(change.path, change.replacement) for change in after] == [
        (change.path, change.replacement) for change in before]


def test_paths_that_are_not_there() -> None:
    with pytest.raises(FileNotFoundError, match="nowhere is no file or folder"):
        draw(TREE, ["nowhere"], 1, 1)
