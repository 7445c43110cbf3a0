"""The type stubs and the built modules have the same contents: every module, class, member, overload and value."""

from __future__ import annotations

import enum
import importlib
import types
from typing import Any

import pytest

from support.places import BUILD_DIR
from support.stub_files import Class, Member, Module, read_package

STUBS = read_package(BUILD_DIR / "python" / "zelmor-stubs")
BY_NAME = {module.name: module for module in STUBS}
IMAGING = [module for module in STUBS if module.name.startswith("zelmor.imaging")]

# Attributes that every class has from `object`, and those that the bridge and pickling look up.
UNMENTIONED = {
    "__new__", "__init__", "__repr__", "__str__", "__hash__", "__eq__", "__ne__", "__lt__", "__le__", "__gt__",
    "__ge__", "__doc__", "__module__", "__dict__", "__weakref__", "__reduce__", "__setstate__", "__sizeof__",
    "_zelmor_clr_host", "_zelmor_clr_castable_obj", "_additional_interfaces", "_implicit_interfaces"}


class Unfit:
    """An object that no parameter accepts."""


def name_of(module: Module) -> str:
    return module.name


def plain(module: Module) -> list[Class]:
    """The classes that are not enumerations; the types of descriptors are included if a program can reach them."""
    return [entry for entry in module.classes.values() if not entry.is_enum and not entry.name.endswith("DescrType")]


def wrappers(module: Module) -> list[Class]:
    """The classes whose instances hold managed objects."""
    return [entry for entry in plain(module) if entry.name not in ("_ModuleVersionType", "_ShlBufferView")]


def resolve(module: Module) -> types.ModuleType:
    return importlib.import_module(module.name)


def of(module: Module, entry: Class) -> type:
    found = vars(resolve(module)).get(entry.name)
    if found is None:  # the one type that modules do not publish
        found = type(resolve(module).VERSION)
    assert isinstance(found, type)
    return found


def test_every_module_of_the_tree_has_a_stub() -> None:
    from support.module_tree import MODULES

    tree = {module.__name__ for module in MODULES}
    assert tree <= set(BY_NAME)
    siblings = {"zelmor", *(f"zelmor.{name}" for name in ("pycore", "pydrawing", "pygc", "pyio", "pyreflection")),
                "zelmor.pydrawing.drawing2d", "zelmor.pydrawing.imaging"}
    assert set(BY_NAME) == tree | siblings
    assert len(tree) == 116


@pytest.mark.parametrize("module", [m for m in STUBS if m.name != "zelmor"], ids=name_of)
def test_a_module_holds_what_its_stub_names(module: Module) -> None:
    found = {name for name in vars(resolve(module)) if not name.startswith(("__", "_C_API"))}
    assert set(module.classes) | module.values | module.children == found | ({"_ModuleVersionType"} & set(
        module.classes))
    for child in module.children:
        assert f"{module.name}.{child}" in BY_NAME
        assert isinstance(getattr(resolve(module), child), types.ModuleType)


def inherited(module: Module, entry: Class) -> set[str]:
    """Members of the base classes in the stub."""
    names: set[str] = set()
    for base in of(module, entry).__mro__[1:-1]:
        names |= set(BY_NAME[base.__module__].classes[base.__name__].members)
    return names


@pytest.mark.parametrize("module", STUBS, ids=name_of)
def test_a_class_has_the_members_of_its_stub_and_no_other(module: Module) -> None:
    for entry in plain(module):
        found = of(module, entry)
        assert [base.__name__ for base in found.__bases__ if base is not object] == [
            base for base in entry.bases if base not in ("Generic", "Protocol")]
        own = set(vars(found)) - UNMENTIONED
        stated = set(entry.members) - UNMENTIONED
        if entry.name == "CastResult":
            stated.remove("__iter__")  # iterable through the sequence protocol
        if "_ArrayWrapper" in entry.name:
            own.discard("__delitem__")  # the slot exists and refuses: the length of an array is fixed
        assert stated <= own
        # A collection that derives from another repeats all members of a collection.
        assert own - stated <= (inherited(module, entry) if "__len__" in own else set())


def kind_of(value: object) -> str:
    """The kind of stub declaration for an entry of a type's dictionary."""
    kinds = {"getset_descriptor": "property", "member_descriptor": "property", "staticmethod": "static method",
             "_FieldDescrType": "static property", "_MixMethodDescrType": "mixed",
             "method_descriptor": "method", "wrapper_descriptor": "method"}
    return kinds.get(type(value).__name__, "value")


@pytest.mark.parametrize("module", STUBS, ids=name_of)
def test_members_are_of_the_kind_that_the_stub_says(module: Module) -> None:
    for entry in plain(module):
        found = vars(of(module, entry))
        stated = {name: member.kind for name, member in entry.members.items()
                  if name in found and name not in UNMENTIONED}
        if entry.name == "_ModuleVersionType":
            stated = {name: "property" if kind == "static property" else kind for name, kind in stated.items()}
        assert stated == {name: kind_of(found[name]) for name in stated}


def empty(found: type) -> Any:
    return found.__new__(found)


@pytest.mark.parametrize("module", IMAGING, ids=name_of)
def test_properties_are_writable_where_the_stub_says_so(module: Module) -> None:
    for entry in wrappers(module):
        found = of(module, entry)
        instance = empty(found)
        for name, member in entry.members.items():
            if member.kind != "property":
                continue
            with pytest.raises((AttributeError, TypeError)) as refused:
                setattr(instance, name, Unfit())
            assert member.writable == (refused.type is TypeError), name
            if not member.writable:
                assert str(refused.value).endswith("is not writable")


def attempts(function: Any, **keywords: object) -> list[str]:
    """The messages of a call that fits no overload."""
    with pytest.raises(TypeError) as refused:
        function(**keywords)
    value = refused.value.args[0]
    return list(value) if isinstance(value, list) else [value]


def check_overloads(name: str, function: Any, member: Member) -> None:
    """There is one attempt for each overload, and each accepts its own keywords only."""
    assert len(attempts(function, no_such_keyword=None)) == len(member.overloads), name
    for number, keywords in enumerate(member.overloads):
        if not keywords:
            continue
        message = attempts(function, **dict.fromkeys(keywords, Unfit()))[number]
        # The first converter is called only if the number of arguments and the first keyword fit.
        assert "Unfit" in message or message == "unknown variant type", f"{name}: {message}"


@pytest.mark.parametrize("module", [module for module in IMAGING if "._wrpgen." not in module.name], ids=name_of)
def test_overloads_and_keywords(module: Module) -> None:
    for entry in wrappers(module):
        found = of(module, entry)
        instance = empty(found)
        for name, member in entry.members.items():
            if name == "__init__" and member.overloads != [["type_has_no_available_constructor"]]:
                check_overloads(name, found, member)
            public = member.kind in ("method", "static method") and not name.startswith("_")
            if public and name not in ("get_type", "sort") and any(member.overloads):
                check_overloads(name, getattr(instance, name), member)


@pytest.mark.parametrize("module", IMAGING, ids=name_of)
def test_what_the_stub_lets_nobody_construct_cannot_be_constructed(module: Module) -> None:
    for entry in wrappers(module):
        stated = entry.members["__init__"].overloads == [["type_has_no_available_constructor"]]
        try:
            of(module, entry)(*[Unfit()] * 30)
        except TypeError as refused:
            assert stated == (refused.args[0] == "type has no available constructor")


@pytest.mark.parametrize("module", STUBS, ids=name_of)
def test_enumerations(module: Module) -> None:
    for entry in [entry for entry in module.classes.values() if entry.is_enum]:
        found = of(module, entry)
        assert issubclass(found, getattr(enum, entry.bases[0]))
        assert [(name, member.value) for name, member in found.__members__.items()] == list(entry.values.items())
        assert {name for name, member in entry.members.items()} == {
            name for name, value in vars(found).items() if type(value).__name__.endswith("MethodDescrType")}
        for name, member in entry.members.items():
            assert type(vars(found)[name]).__name__ == (
                "_StaticMethodDescrType" if member.kind == "static method" else "_InstanceMethodDescrType")


def test_the_shared_names_have_no_module_at_run_time() -> None:
    assert (BUILD_DIR / "python" / "zelmor-stubs" / "_typing.pyi").exists()
    with pytest.raises(ModuleNotFoundError):
        importlib.import_module("zelmor._typing")
