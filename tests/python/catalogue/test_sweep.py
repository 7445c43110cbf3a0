"""The built module compared with the model that it was generated from, type by type and member by member."""

from __future__ import annotations

import enum
import functools
import types

import pytest
import zelmor.imaging

from support import module_tree
from support.module_tree import MODEL

from tools.generator.model import Method, Overload, Property, Type
from tools.generator.wires import Wire
from tools.generator.writers.cpp.words import SHAPES

WRAPPERS = [entry for entry in MODEL.types if not entry.is_enum]
ENUMS = [entry for entry in MODEL.types if entry.is_enum]
CAST_FAMILY = ["_type_of", "_cast_to", "_cast_from", "_reinterpret_obj", "_cast_as", "_is_assignable"]


def resolve(dotted: str) -> object:
    """The object with a dotted name, found by attributes below the root module."""
    return functools.reduce(getattr, dotted.split(".")[2:], zelmor.imaging)


def of(entry: Type) -> type:
    """The Python type of an entry of the model."""
    found = resolve(entry.dotted)
    assert isinstance(found, type)
    return found


def marker(item: Type | str) -> type:
    """The Python type that a set of markers contains for an interface."""
    if isinstance(item, str):
        found = getattr(zelmor.imaging._wrpgen._interop, item)
        assert isinstance(found, type)
        return found
    return of(item)


def by_name(entry: Type) -> str:
    return entry.full_name


def method_names(entry: Type) -> list[str]:
    """The names of the method table, in its order."""
    listed = [method for method in entry.methods if method.overloads and not method.mixed]
    names = ["__enter__", "__exit__"] if entry.disposable else []
    names += [method.python for method in sorted(listed, key=lambda method: not method.is_group)]
    names += [name for name in entry.shared if name != "length"]
    writers = [f"set_{prop.python}" for prop in entry.static_writers]
    return [*names, "get_type", *writers, *CAST_FAMILY]


def has_no_constructor(found: type) -> bool:
    try:
        found()
    except TypeError as refused:
        return str(refused) == "type has no available constructor"
    return False


def test_the_known_totals_are_reached() -> None:
    assert len(module_tree.MODULES) == 116
    assert len(module_tree.API_WRAPPERS) == 891
    assert len(module_tree.ENUMS) == 255
    assert len([found for found in module_tree.ENUMS if issubclass(found, enum.IntFlag)]) == 23
    assert len([found for found in module_tree.WRAPPERS if found.__module__.endswith("._generic")]) == 155
    assert len([found for found in module_tree.API_WRAPPERS if has_no_constructor(found)]) == 186
    assert len([found for found in module_tree.WRAPPERS if has_no_constructor(found)]) == 351


@pytest.mark.parametrize("module", MODEL.modules, ids=lambda module: module.name)
def test_every_module_of_the_tree_is_an_attribute_of_its_parent(module) -> None:
    found = resolve(module.name)
    assert isinstance(found, types.ModuleType)
    assert found.__name__ == module.name


@pytest.mark.parametrize("module", MODEL.modules, ids=lambda module: module.name)
def test_a_module_publishes_its_types_and_nothing_else(module) -> None:
    children = {child.last for child in module.children}
    published = {entry.name for entry in module.types}
    names = {name for name in vars(resolve(module.name)) if not name.startswith("_")}
    extra = {"VERSION"} if module is MODEL.root else set()
    assert names == children | published | extra


@pytest.mark.parametrize("entry", WRAPPERS, ids=by_name)
def test_name_module_and_base(entry: Type) -> None:
    found = of(entry)
    assert (found.__name__, found.__module__) == (entry.name, entry.module)
    assert found.__base__ is (of(entry.base) if entry.base else object)
    assert found.__doc__ is None
    assert found.__basicsize__ == 24 and found.__dictoffset__ == 0 and found.__weakrefoffset__ == 0


@pytest.mark.parametrize("entry", WRAPPERS, ids=by_name)
def test_no_python_class_derives_from_a_wrapper(entry: Type) -> None:
    with pytest.raises(TypeError, match="is not an acceptable base type"):
        type("Derived", (of(entry),), {})


@pytest.mark.parametrize("entry", WRAPPERS, ids=by_name)
def test_markers(entry: Type) -> None:
    found = of(entry)
    assert vars(found)["_zelmor_clr_host"] is (Ellipsis if entry.kind == "struct" else None)
    assert vars(found)["_zelmor_clr_castable_obj"] is None
    assert "_external_ancestor" not in vars(found)
    expected = {marker(item) for item in entry.markers}
    for key in ("_additional_interfaces", "_implicit_interfaces"):
        assert vars(found).get(key, set()) == expected
        assert (key in vars(found)) == bool(expected)


@pytest.mark.parametrize("entry", WRAPPERS, ids=by_name)
def test_the_method_table_is_in_order(entry: Type) -> None:
    wanted = method_names(entry)
    found = [name for name, value in vars(of(entry)).items() if name in wanted and callable(value)]
    assert [name for name in found if name in wanted] == wanted


def collection_slots(entry: Type) -> set[str]:
    """The interpreter's attributes for the slots of a class that is a collection."""
    names = {"__iter__"} if entry.kind == "class" and "_IterableWrapper" in entry.interfaces else set()
    if entry.items is not None:
        return names | {"__len__", "__getitem__"}
    if entry.shared:
        names |= {"__len__", "__contains__", "__add__", "__mul__", "__rmul__"}
    if entry.shared and "_IListWrapper" in entry.interfaces:
        names |= {"__getitem__", "__setitem__", "__delitem__", "__iadd__", "__imul__"}
    return names


def test_which_classes_are_collections_themselves() -> None:
    assert len([entry for entry in WRAPPERS if "__iter__" in collection_slots(entry)]) == 14
    assert {entry.name for entry in WRAPPERS if "__len__" in collection_slots(entry)} == {
        "NonGenericDictionary", "MetaObjectList", "MaskingResult", "NonGenericList"}


@pytest.mark.parametrize("entry", WRAPPERS, ids=by_name)
def test_a_type_has_no_members_beyond_its_own(entry: Type) -> None:
    own = set(method_names(entry))
    own |= {prop.python for prop in entry.properties}
    own |= {method.python for method in entry.methods if method.mixed and method.overloads}
    own |= set(entry.shared) | collection_slots(entry)
    markers = {"_zelmor_clr_host", "_zelmor_clr_castable_obj", "_additional_interfaces", "_implicit_interfaces"}
    slots = {"__repr__", "__hash__", "__lt__", "__le__", "__eq__", "__ne__", "__gt__", "__ge__", "__init__", "__new__",
             "__doc__", "__module__"}
    assert set(vars(of(entry))) - markers - slots == own


PROPERTIES = [prop for entry in WRAPPERS for prop in entry.properties]


@pytest.mark.parametrize("prop", PROPERTIES, ids=lambda prop: f"{prop.owner.full_name}.{prop.python}")
def test_properties_are_descriptors_of_the_right_kind(prop: Property) -> None:
    descriptor = vars(of(prop.owner))[prop.python]
    if prop.static:
        assert type(descriptor).__name__ == "_FieldDescrType"
        assert repr(descriptor) == f"<attribute '{prop.python}' of '{prop.owner.dotted}' objects>"
    else:
        assert isinstance(descriptor, types.GetSetDescriptorType)
    assert descriptor.__doc__ is None


def read_only_message(prop: Property) -> str:
    return f"attribute '{prop.python}' of '{prop.owner.dotted}' objects is not writable"


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.kind in ("class", "struct") and e.constructors],
                         ids=by_name)
def test_read_only_properties_refuse_and_no_property_can_be_deleted(entry: Type) -> None:
    empty = of(entry).__new__(of(entry))
    for prop in entry.properties:
        if prop.static:
            continue
        with pytest.raises(AttributeError) as assigned:
            if prop.writable:
                delattr(empty, prop.python)
            else:
                setattr(empty, prop.python, None)
        expected = f"can't delete attribute '{prop.python}'" if prop.writable else read_only_message(prop)
        assert str(assigned.value) == expected


METHODS = [method for entry in WRAPPERS for method in entry.methods if method.overloads and not method.mixed]


def call_target(method: Method):
    """The function behind a name, called without a usable instance: its arguments are refused before any delegate is
    called."""
    found = of(method.owner)
    if method.static:
        return getattr(found, method.python)
    return functools.partial(vars(found)[method.python], found.__new__(found))


def refusals(method: Method, *args: object, **kwargs: object) -> list[str]:
    """The messages of a call whose arguments fit no overload, one for each overload that can be called."""
    with pytest.raises(TypeError) as refused:
        call_target(method)(*args, **kwargs)
    value = refused.value.args[0]
    return value if method.is_group else [value]


TAKES_ARGUMENTS = [m for m in METHODS if m.is_group or m.overloads[0].params]


@pytest.mark.parametrize("method", TAKES_ARGUMENTS, ids=lambda m: f"{m.owner.full_name}.{m.python}")
def test_a_failed_dispatch_names_a_reason_for_each_overload(method: Method) -> None:
    messages = refusals(method, *[object()] * 12)
    assert isinstance(messages, list) and len(messages) == len(method.overloads)
    for overload, message in zip(method.overloads, messages):
        count = len(overload.params)
        assert message == f"function takes at most {count} argument{'' if count == 1 else 's'} (12 given)"


@pytest.mark.parametrize("method", TAKES_ARGUMENTS, ids=lambda m: f"{m.owner.full_name}.{m.python}")
def test_keywords_are_the_stated_ones_and_no_other(method: Method) -> None:
    """With an unsuitable value under every correct keyword, no overload reports an unknown keyword."""
    for index, overload in enumerate(method.overloads):
        if not overload.params:
            continue
        right = refusals(method, **{param.name: _Unfit() for param in overload.params})[index]
        assert "keyword argument" not in right and "required argument" not in right
        wrong = refusals(method, **{f"no_{param.name}": _Unfit() for param in overload.params})[index]
        assert wrong == f"function missing required argument '{overload.params[0].name}' (pos 1)"


class _Unfit:
    """A value that no converter accepts."""


SCALAR_NAMES = {"int8": "SByte", "int16": "Int16", "int32": "Int32", "int64": "Int64", "uint8": "Byte",
                "uint16": "UInt16", "uint32": "UInt32", "uint64": "UInt64", "float": "Single", "double": "Double"}
KIND_MESSAGES = {"string": "can't build String from '_Unfit'", "bytes": "can't build byte[] from '_Unfit'",
                 "out bytes": "can't build byte[] from '_Unfit'", "object": "unknown variant type",
                 "bool": "can't build bool from '_Unfit'", "stream": "can't build Stream from '_Unfit'",
                 "datetime": "can't build DateTime from '_Unfit'", "datetime?": "can't build DateTime from '_Unfit'",
                 "timedelta": "can't build TimeSpan from '_Unfit'", "UUID": "can't build Guid from '_Unfit'",
                 "decimal": "can't build Decimal from '_Unfit'", "char": "can't build Char from '_Unfit'",
                 "io.FileMode": "can't build FileMode value from '_Unfit'"}
COLLECTION_NAMES = {"array": "Array", "list": "List", "arrlist": "ArrayList", "ilist": "List", "icollection": "List",
                    "iterable": "IEnumerable", "iter": "IEnumerator"}


def unfit_wire(wire: Wire) -> str:
    """The message of the converter of a kind of value for a value that it does not accept."""
    if wire.type is not None:
        return f"can't build {wire.type.name} value from '_Unfit'"
    if wire.shape is not None:
        return f"can't build {COLLECTION_NAMES[SHAPES[wire.shape].converter]} value from '_Unfit'"
    return KIND_MESSAGES.get(wire.name) or f"can't build '{SCALAR_NAMES[wire.name]}' from '_Unfit'"


def unfit_message(overload: Overload) -> str:
    if overload.params[0].by_ref:
        return "argument should be empty list or list contains default value, not '_Unfit'"
    return unfit_wire(overload.params[0].wire)


@pytest.mark.parametrize("method", TAKES_ARGUMENTS, ids=lambda m: f"{m.owner.full_name}.{m.python}")
def test_every_converter_refuses_the_wrong_kind_with_its_message(method: Method) -> None:
    for index, overload in enumerate(method.overloads):
        if overload.params:
            messages = refusals(method, *[_Unfit()] * len(overload.params))
            assert messages[index] == unfit_message(overload)


WRITABLE = [prop for prop in PROPERTIES if prop.writable and not prop.static and prop.owner.kind in ("class", "struct")]


@pytest.mark.parametrize("prop", WRITABLE, ids=lambda prop: f"{prop.owner.full_name}.{prop.python}")
def test_a_setter_refuses_the_wrong_kind_without_a_call(prop: Property) -> None:
    found = of(prop.owner)
    with pytest.raises(TypeError) as refused:
        setattr(found.__new__(found), prop.python, _Unfit())
    assert str(refused.value) == unfit_wire(prop.wire)


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if not e.constructors], ids=by_name)
def test_types_without_a_public_constructor_say_so(entry: Type) -> None:
    with pytest.raises(TypeError) as refused:
        of(entry)()
    assert str(refused.value) == "type has no available constructor"


@pytest.mark.parametrize("entry", [e for e in WRAPPERS if e.constructors], ids=by_name)
def test_constructors_refuse_arguments_that_fit_no_overload(entry: Type) -> None:
    with pytest.raises(TypeError) as refused:
        of(entry)(*[object()] * 12)
    value = refused.value.args[0]
    messages = value if len(entry.constructors) > 1 else [value]
    assert isinstance(messages, list) and len(messages) == len(entry.constructors)


@pytest.mark.parametrize("entry", ENUMS, ids=by_name)
def test_enumerations_are_real_ones_with_all_members(entry: Type) -> None:
    found = of(entry)
    assert issubclass(found, enum.IntFlag if entry.flags else enum.IntEnum)
    assert found.__name__ == entry.name
    assert [(name, member.value) for name, member in found.__members__.items()] == entry.values
    assert vars(found)["_zelmor_clr_castable_obj"] is Ellipsis
    assert "_zelmor_clr_host" not in vars(found)


@pytest.mark.parametrize("entry", ENUMS, ids=by_name)
def test_enumerations_carry_the_cast_family(entry: Type) -> None:
    kinds = {"_type_of": "Static", "_cast_to": "Static", "_cast_from": "Instance", "_reinterpret_obj": "Static",
             "_as_uni_enum": "Instance", "_cast_as": "Static", "_is_assignable": "Static", "get_type": "Instance"}
    found = [(name, type(value).__name__) for name, value in vars(of(entry)).items() if name in kinds]
    assert found == [(name, f"_{kind}MethodDescrType") for name, kind in kinds.items()]


@pytest.mark.parametrize("entry", MODEL.types, ids=by_name)
def test_the_managed_type_bears_the_full_name(entry: Type) -> None:
    """Every host binds all its entry points, and the managed side has a type with its name."""
    assert str(of(entry)._type_of()) == entry.full_name
