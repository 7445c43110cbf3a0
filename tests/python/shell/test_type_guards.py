"""The guard of a type runs before every operation that needs no instance, except operations that never need a host.

Every host lacks its first entry point here, so that an operation with a guard fails with the name of its host. The
hosts of the collection wrappers are in no table; a separate process finds them out.
"""

from __future__ import annotations

import json
from typing import Any

import pytest

from support.control import IMAGING
from support.host_process import run
from support.module_tree import API_WRAPPERS, ENUMS, MODEL, WRAPPERS

CODE = """
import json
from support.module_tree import API_WRAPPERS, ENUMS, WRAPPERS, dotted
"""

HOSTS_OF_COLLECTIONS = CODE + """
result = {}
collections = [kind for kind in WRAPPERS if kind not in API_WRAPPERS]
for kind in sorted(collections, key=lambda kind: "Iterable" not in kind.__name__):  # which others refer to
    before = len(control.order())
    kind._type_of()
    result[dotted(kind)] = next((entry["type"] for entry in control.order()[before:] if "type" in entry), None)
"""

SWEEP = CODE + """
hosts = json.load(open({path!r}))
for host in hosts.values():
    control._call("settings_add", f"missing={{host}}::#1")
result = {{}}
for kind in (*WRAPPERS, *ENUMS):
    uses = {{name: lambda name=name: getattr(kind, name)(5)
            for name in ("_cast_to", "_cast_as", "_is_assignable", "_reinterpret_obj")}}
    uses["_type_of"] = kind._type_of
    for name, member in vars(kind).items():
        if kind not in ENUMS and isinstance(member, staticmethod) and name not in uses:
            uses["static " + name] = lambda name=name: getattr(kind, name)(*[object()] * (name[4:] in vars(kind)))
        elif type(member).__name__ in ("_FieldDescrType", "_MixMethodDescrType"):
            uses["static " + name] = lambda name=name: (lambda got: got() if callable(got) else got)(
                getattr(kind, name))
    if kind not in ENUMS:
        uses["static __new__"] = lambda: kind.__new__(kind, object())
    result[dotted(kind)] = {{name: refusal(use) for name, use in uses.items()}}
"""

KINDS = {entry.dotted: entry.kind for entry in MODEL.types}


@pytest.fixture(scope="module")
def hosts() -> dict[str, str]:
    """The host class of every wrapper and enumeration."""
    collections = run(HOSTS_OF_COLLECTIONS)
    # Nothing is requested for a kind whose host another kind has bound already.
    assert [name for name, host in collections.items() if host is None] == []
    return {**{entry.dotted: entry.host_class for entry in MODEL.types}, **collections}


@pytest.fixture(scope="module")
def answers(hosts: dict[str, str], tmp_path_factory: pytest.TempPathFactory) -> dict[str, dict[str, Any]]:
    """The outcome of each operation of each type with a broken host."""
    path = tmp_path_factory.mktemp("guards") / "hosts.json"
    path.write_text(json.dumps(hosts))
    return run(SWEEP.format(path=str(path)))


def about(host: str) -> str:
    """The beginning of the message of a guard."""
    return f"While initializing the host for the '{host} (Assembly={IMAGING})' type, an error occurred - "


def is_interface(name: str) -> bool:
    """Whether the managed type is an interface; an interface has no objects of its own."""
    last = name.rpartition(".")[2]
    interop = last.strip("_") in ("IDisposableWrapper", "IterWrapper", "IterableWrapper", "IColWrapper", "IListWrapper")
    return KINDS.get(name) == "interface" or interop or "._generic." in name and last.startswith(("_I", "I"))


def test_every_wrapper_and_enumeration_is_looked_at(answers: dict[str, dict[str, Any]]) -> None:
    assert len(answers) == len(WRAPPERS) + len(ENUMS)
    assert len(API_WRAPPERS) + len(ENUMS) == len(KINDS)


@pytest.mark.parametrize("operation", ["_type_of", "_cast_to", "_cast_as", "_is_assignable", "_reinterpret_obj"])
def test_the_guard_comes_first(operation: str, hosts: dict[str, str], answers: dict[str, dict[str, Any]]) -> None:
    unguarded = {}
    for name, found in answers.items():
        refused = found[operation]
        if refused is None or len(refused) != 1 or not refused[0][1].startswith(about(hosts[name])):
            unguarded[name] = refused
    static = {name: None for name, kind in KINDS.items() if kind == "static class"}
    expected: dict[str, Any] = {}
    if operation == "_is_assignable":
        expected = static
    elif operation == "_reinterpret_obj":
        names = [*static, *(name for name in answers if is_interface(name))]
        expected = {name: [["TypeError", f"cannot convert from  'int' to '{name}'"]] for name in names}
    assert unguarded == expected


def test_static_members_and_allocation_are_guarded_before_they_look_at_an_argument(
    hosts: dict[str, str], answers: dict[str, dict[str, Any]]
) -> None:
    uses = {(name, use): refused for name, found in answers.items() for use, refused in found.items()
            if use.startswith("static ")}
    methods = sum(method.static or method.mixed for entry in MODEL.types for method in entry.methods)
    properties = sum(prop.static for entry in MODEL.types for prop in entry.properties)
    assert len(uses) >= methods + properties + len(WRAPPERS)
    unguarded = {key: refused for key, refused in uses.items()
                 if refused is None or len(refused) != 1 or not refused[0][1].startswith(about(hosts[key[0]]))}
    assert unguarded == {}
