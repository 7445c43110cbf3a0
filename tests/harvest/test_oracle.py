"""The reader of metadata beside the framework's: every type, member, signature and attribute of assemblies."""

from __future__ import annotations

import os
from collections.abc import Iterator
from pathlib import Path

import pytest

from tools.generator.builder import load
from tools.harvest.metadata import Assembly, Method

from .model_writer import write_assemblies
from .sdk import RUNTIME, compile_sources, needs_sdk, run_program

pytestmark = needs_sdk
HERE = Path(__file__).parent
# Assemblies of the framework: generic types, pointers, nested types, many attributes; and one that only forwards types.
FRAMEWORK = ["System.Collections", "System.Reflection.Metadata", "System.Runtime", "System.Runtime.InteropServices",
             "System.Memory"]
if os.environ.get("HYPOTHESIS_PROFILE") == "fuzz":
    FRAMEWORK += ["System.Private.CoreLib", "System.Private.Xml", "System.Linq.Expressions"]
SAMPLE = """
using System;
using System.Collections.Generic;
namespace Sample
{
    [AttributeUsage(AttributeTargets.All)] public sealed class Mark<T> : Attribute { }
    public enum Tiny : sbyte { Low = -128, High = 127 }
    public enum Huge : ulong { All = ulong.MaxValue }
    public static class Varying { public static void Call(int first, __arglist) { } }
    public unsafe class Forms<T, U> where T : struct
    {
        public const char Letter = 'x';
        public const string Text = "text";
        public const double Real = 1.5;
        public delegate* unmanaged[Cdecl]<int, void*, byte> Plain;
        public delegate*<T, ref int, string> Managed;
        public int[,,]? Cube;
        public volatile int Changing;
        public T?[][]? Jagged;
        [Mark<int>] public static void Call(in int first, out long second, ref U third, params object?[] rest)
        {
            second = first;
        }
        public V Generic<V, W>(Dictionary<V, List<W[]>> map) where V : notnull => default!;
        public int this[string key, Tiny tiny] { get => 0; set { } }
        public static Huge Own { get; private set; }
        public class Inner { public class Deep<V> { public (T, U, V) Triple; } }
        public static nint Native(nuint other, TypedReference reference) => 0;
    }
}
"""


def _method(method: Method | None) -> str:
    if method is None:
        return "None"
    return (f"{method.name} {method.signature} {method.is_public} {method.is_static} ({','.join(method.parameters)}) "
            f"[{','.join(method.attributes)}]")


def _lines(assembly: Assembly) -> Iterator[str]:
    yield assembly.name
    yield from (f"reference {name}" for name in assembly.references)
    for name, definition in assembly.types.items():
        yield f"type {name} : {definition.base} [{','.join(definition.attributes)}]"
        yield from (f"  field {field.name} {field.type} {field.is_static} {field.value}"
                    for field in definition.fields)
        yield from (f"  method {_method(method)}" for method in definition.methods)
        yield from (f"  property {prop.name} {prop.type} | {_method(prop.getter)} | {_method(prop.setter)}"
                    for prop in definition.properties)


@pytest.fixture(scope="module")
def oracle(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """The compiled program."""
    return compile_sources([HERE / "Oracle.cs"], tmp_path_factory.mktemp("oracle") / "Oracle.dll", program=True)


def _compare(oracle: Path, assembly: Path, tmp_path: Path, least: int) -> None:
    run_program(oracle, assembly, tmp_path / "types.txt")
    wanted = (tmp_path / "types.txt").read_text().splitlines()
    found = list(_lines(Assembly.read(assembly)))
    assert len(wanted) >= least
    assert [pair for pair in zip(found, wanted) if pair[0] != pair[1]][:5] == [] and len(found) == len(wanted)


@pytest.mark.parametrize("name", FRAMEWORK)
def test_assemblies_of_the_framework(oracle: Path, tmp_path: Path, name: str) -> None:
    assert RUNTIME is not None
    _compare(oracle, RUNTIME / f"{name}.dll", tmp_path, 3)


def test_every_form_of_signature(oracle: Path, tmp_path: Path) -> None:
    source = tmp_path / "Sample.cs"
    source.write_text(SAMPLE)
    _compare(oracle, compile_sources([source], tmp_path / "Sample.dll"), tmp_path, 35)


def test_assemblies_of_the_tests_own_writer(oracle: Path, catalogue: Path, tmp_path: Path) -> None:
    """What the framework reads in them is what the other tests mean to write."""
    assembly = write_assemblies(load(catalogue), tmp_path / "assembly")
    _compare(oracle, assembly, tmp_path, 150)
    _compare(oracle, assembly.with_name("Acme.Pictures.Library.dll"), tmp_path, 60)
