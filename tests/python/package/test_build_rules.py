"""Rules of the build tree: the product depends on no test, and no source is compiled twice."""

from __future__ import annotations

import json
import os
import re
import subprocess
from collections import Counter
from pathlib import Path

import pytest

from support.places import BUILD_DIR, ROOT


def inputs(target: str) -> set[str]:
    """Every file that a target is made from."""
    listed = subprocess.run(["ninja", "-C", str(BUILD_DIR), "-t", "inputs", target], check=True, text=True,
                            capture_output=True).stdout.splitlines()
    return {line.removeprefix(f"{ROOT}/").removeprefix("../") for line in listed}


def sources(target: str) -> set[str]:
    """The C and C++ sources among them, those included that are compiled together with others."""
    listed = inputs(target)
    together = [member for name in listed if name.endswith("_cxx.cxx") for member in compiled_together(name)]
    return {name for name in [*listed, *together] if name.endswith((".cpp", ".c"))}


def compiled_together(source: str) -> list[str]:
    """The sources that a source of a unity build includes; of any other one itself."""
    if "/Unity/unity_" not in source:
        return [source]
    included = re.findall(r'^#include "(.*)"', (ROOT / source).read_text(), re.MULTILINE)
    return [name.removeprefix(f"{ROOT}/") for name in included]


def test_the_product_needs_no_test() -> None:
    product = sources("product")
    assert "pyshell/overload.cpp" in product
    assert "runtime/native/exports.cpp" in product
    assert not [name for name in product if name.startswith("tests/") or "runtime/native/control/" in name]
    assert not [name for name in inputs("product") if "gtest" in name or "test-runtime" in name]


def test_the_tests_include_everything() -> None:
    tests = sources("tests")
    assert sources("product") <= tests
    unit = {str(path.relative_to(ROOT)) for path in (ROOT / "tests").rglob("*.cpp")}
    assert unit <= tests
    assert {name for name in tests if name.startswith("runtime/native/control/")}


@pytest.mark.parametrize("name", ["runtime/tables.cpp", "runtime/native/core/entry.cpp", "pyshell/overload.cpp"])
def test_compiled_once(name: str) -> None:
    compiled = Counter(source for command in json.loads((BUILD_DIR / "compile_commands.json").read_text())
                       for source in compiled_together(command["file"]))
    assert [count for file, count in compiled.items() if file.endswith(name)] == [1]


def test_a_changed_header_reaches_its_precompiled_form(tmp_path: Path) -> None:
    """As CMake and Ninja do it: the old precompiled header lies there while the new one is made through the cache."""
    header, source, precompiled = (tmp_path / name for name in ("all.hxx", "all.hxx.cxx", "all.hxx.gch"))
    declared, user = tmp_path / "declared.h", tmp_path / "user.cpp"
    header.write_text(f'#include "{declared}"\n')
    source.write_text("")
    user.write_text("int user() { return VALUE; }\n")
    compiler = [ROOT / "tools/compile_cached.sh", "/usr/bin/c++", "-fpch-preprocess", "-include", header]
    environment = {**os.environ, "CCACHE_DIR": str(tmp_path / "cache")}
    found = []
    for value in ("1", "2"):
        declared.write_text(f"#define VALUE {value}\n")
        subprocess.run([*compiler, "-x", "c++-header", "-c", source, "-o", precompiled], check=True, env=environment)
        text = subprocess.run([*compiler, "-S", user, "-o", tmp_path / "user.s"], check=True, env=environment)
        found.append(f"${value}," in (tmp_path / "user.s").read_text() and text.returncode == 0)
    assert found == [True, True]


def commands(build: Path) -> dict[str, str]:
    """How each source is compiled, without the programs that stand before the compiler."""
    listed = json.loads((build / "compile_commands.json").read_text().replace(str(build), "BUILD"))
    launchers = re.compile(r"^.*?(?=/\S*/(c\+\+|g\+\+|cc|gcc|clang) )")
    return {entry["file"]: launchers.sub("", entry["command"]) for entry in listed}


def test_what_is_compiled_before_the_libraries_are_there_is_compiled_the_same(tmp_path: Path) -> None:
    """What a first build on a machine compiles while the picture libraries are being installed."""
    build = tmp_path / "build"
    subprocess.run(["cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DZELMOR_LIBRARIES_LATER=ON"], check=True,
                   env={**os.environ, "PKG_CONFIG_LIBDIR": str(tmp_path)}, stdout=subprocess.DEVNULL)
    listed = subprocess.run(["ninja", "-C", build, "-t", "commands", "without-libraries"], check=True, text=True,
                            capture_output=True).stdout.replace(str(build), "BUILD")
    needed = set(re.findall(r" -c (\S+)", listed))
    later = {name: command for name, command in commands(build).items() if name in needed}
    for part in ("imaging_generated", "zelmor_pygc", "zelmor_embed.dir", "zelmor_embed_plain", "zelmor_embed_tables"):
        assert any(part in command for command in later.values()), part
    for part in ("/tests/", "zelmor_imagework.dir", "zelmor_drawwork", "zelmor_svg"):
        assert not any(part in command for command in later.values()), part
    whole = commands(BUILD_DIR)
    assert {name: whole[name] for name in later} == later
