"""The model accepts a catalogue that holds together and refuses one that does not, with file and line."""

from __future__ import annotations

from collections.abc import Callable

import pytest

from tools.generator.entry_points import entry_points
from tools.generator.errors import CatalogueError
from tools.generator.model import Model

Build = Callable[..., Model]

BASE = """
class Base
    method save Save ()
    method save Save (path: string)
    method save Save (path: string, over_write: bool)
"""


def refusal(build: Build, text: str, **files: str) -> tuple[int, str]:
    """The line number in the file and the reason of a refusal."""
    with pytest.raises(CatalogueError) as caught:
        build(text, **files)
    return caught.value.place.line, caught.value.reason


def test_own_overloads_come_first_then_the_inherited_ones(build: Build) -> None:
    model = build(BASE + """
class Derived : Base
    method save Save (path: string)
    method save Save () from Base
    method save Save (path: string, over_write: bool) from Base
""")
    method = model.types[1].method("save")
    assert method is not None
    assert [overload.owner.name for overload in method.overloads] == ["Derived", "Base", "Base"]
    assert [overload.entry for overload in method.overloads] == ["call_000_Save", "call_000_Save", "call_002_Save"]
    assert [overload.published for overload in method.overloads] == [None, 0, 1]


def test_an_inherited_overload_that_is_missing_is_refused(build: Build) -> None:
    line, reason = refusal(build, BASE + """
class Derived : Base
    method save Save (path: string)
    method save Save () from Base
""")
    assert line == 9
    assert reason == ("behind its own overloads Derived.save inherits "
                      "() from Base; (string, bool) from Base")


def test_inherited_overloads_in_another_order_are_refused(build: Build) -> None:
    _, reason = refusal(build, BASE + """
class Derived : Base
    method save Save (path: string)
    method save Save (path: string, over_write: bool) from Base
    method save Save () from Base
""")
    assert reason.startswith("behind its own overloads Derived.save inherits () from Base;")


def test_an_inherited_overload_in_front_of_an_own_one_is_refused(build: Build) -> None:
    _, reason = refusal(build, BASE + """
class Derived : Base
    method save Save () from Base
    method save Save (path: string)
    method save Save (path: string, over_write: bool) from Base
""")
    assert reason.startswith("behind its own overloads Derived.save inherits")


def test_inheriting_what_nobody_declares_is_refused(build: Build) -> None:
    line, reason = refusal(build, BASE + """
class Derived : Base
    method save Save (count: int32) from Base
""")
    assert (line, reason) == (9, "Base declares no such overload of save")


@pytest.mark.parametrize(("text", "line", "reason"), [
    ("\nclass A\n    get bits BitsPerPixel int32\n", 4, "BitsPerPixel is bits_per_pixel by the rules"),
    ("\nclass A\n    get width Width int32 exception\n", 4, "Width follows the rules and is no exception"),
    ("\nclass A\n    get width Width Missing\n", 4, "there is no type Missing"),
    ("\nclass A : B\n", 3, "there is no type B"),
    ("\nclass A\nclass A\n", 4, "Acme.Pictures.A is there already"),
    ("\nclass A\nstruct B : A\n", 4, "only a class derives, and only from a class"),
    ("\nclass A : B\nclass B : A\n", 4, "B derives from itself"),
    ("\nclass A disposable\nclass B : A\n", 4, "A is disposable, and so is what derives from it"),
    ("\nclass A\nclass B implements A\n", 4, "A is no interface"),
    ("\nclass A\nclass B stands for A\n", 4, "A is no interface"),
    ("\ninterface I\nclass A implements I stands for I\n", 4, "A has I twice"),
    ("\ninterface I\n    ctor ()\n", 3, "only classes and structs have constructors"),
    ("\nclass A\n    ctor (x: int32)\n    ctor (y: int32)\n", 5, "two constructors take the same types"),
    ("\nclass A\n    method go Go (x: int32)\n    method go Go (y: int32)\n", 5,
     "two overloads of go take the same types"),
    ("\nclass A\n    method go Go (x: int32)\n    static go Go ()\n", 5,
     "static and instance overloads share a name in a mixed method only"),
    ("\nclass A\n    mixed go Go ()\n", 3, "go is mixed and has only one of its two sides"),
    ("\nclass A\n    method go Go (x: int32, x: int32)\n", 4, "a keyword stands twice in one parameter list"),
    ("\nclass A\n    method go Go (x)\n", 4, "'x' is no parameter; write 'keyword: type'"),
    ("\nclass A\n    method go Go (x: ref string)\n", 4, "only scalars cross by reference"),
    ("\nclass A\n    method go Go (x: out string)\n", 4, "only bytes and typed arrays are written to in place"),
    ("\nclass A\n    nothing go Go\n", 4, "'nothing' is no kind of member"),
    ("\nclass A\n    method go\n", 4, "cannot read this method line"),
    ("\nenum E : int32\n    A 1\n    A 2\n", 3, "a member of E stands twice"),
    ("\nenum E : uint8\n    A 256\n", 3, "A does not fit uint8"),
    ("\nenum E : int128\n    A 1\n", 3,
     "the width of an enumeration is one of uint8, int16, uint16, int32, uint32, uint64"),
    ("\nenum E : int32\n", 3, "E has no members"),
    ("\nenum E : int32\n    A one\n", 4, "a member of an enumeration is a name and an integer"),
    ("\nstatic class S\nclass A\n    method go Go (x: S)\n", 5, "Acme.Pictures.S has no instances"),
])
def test_a_line_that_does_not_fit_is_refused_with_its_place(build: Build, text: str, line: int, reason: str) -> None:
    assert refusal(build, text) == (line, reason)


def test_a_simple_name_that_is_not_unique_has_to_be_written_in_full(build: Build) -> None:
    modules = "Acme.Pictures.One acme.pictures.one 0000000B\nAcme.Pictures.Two acme.pictures.two 0000000C\n"
    text = """
class A
    get mode Mode {}
namespace Acme.Pictures.One
enum Mode : int32
    X 0
namespace Acme.Pictures.Two
enum Mode : int32
    Y 0
"""
    _, reason = refusal(build, text.format("Mode"), modules=modules)
    assert reason == "Mode is one of several types; write its full name"
    model = build(text.format("Acme.Pictures.Two.Mode"), modules=modules)
    wire_type = model.types[0].properties[0].wire.type
    assert wire_type is not None and wire_type.full_name == "Acme.Pictures.Two.Mode"


def test_entry_points_are_bound_in_order(build: Build) -> None:
    model = build("""
struct Size
    ctor (width: int32)
    ctor ()
    static add Add (a: Size, b: Size) -> Size
    method grow Grow (by: int32)
    get is_empty IsEmpty bool
    getset width Width int32
    static_get empty Empty Size
    static_getset unit Unit int32
""")
    assert [point.name for point in entry_points(model.types[0])] == [
        "ctor_000_Size", "ctor_001_Size", "call_000_Add", "call_000_Grow", "get_IsEmpty", "get_Width", "set_Width",
        "getsa_Empty", "getsa_Unit", "setsa_Unit", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs",
        "btp_IsAssignable"]


@pytest.mark.parametrize(("kind", "services"), [
    ("class", ["TypeOf", "CastTo", "ReInterpretObj", "CastAs", "IsAssignable"]),
    ("struct", ["TypeOf", "CastTo", "ReInterpretObj", "CastAs", "IsAssignable"]),
    ("interface", ["TypeOf", "CastTo", "CastAs", "IsAssignable"]),
    ("static class", ["TypeOf"]),
])
def test_services_follow_from_the_kind(build: Build, kind: str, services: list[str]) -> None:
    assert build(f"\n{kind} A\n").types[0].services == [f"btp_{name}" for name in services]


def test_an_enumeration_has_seven_services(build: Build) -> None:
    model = build("\nenum flags E : uint64\n    NONE 0\n    BIG 0x8000000000000000\n")
    assert model.types[0].services == ["btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_AsUniEnum", "btp_CastAs",
                                       "btp_IsAssignable", "btp_GetType"]
    assert model.types[0].flags and model.types[0].values[1] == ("BIG", 1 << 63)


def test_an_interface_takes_inherited_members_from_the_interface_that_declares_them(build: Build) -> None:
    model = build("""
interface IBase
    method run Run (count: int32)
    get width Width int32
interface IDerived implements IBase
    method stop Stop ()
    method run Run (count: int32) from IBase
    get width Width int32 from IBase
""")
    derived = model.types[1]
    assert [point.name for point in entry_points(derived)][:2] == ["call_000_Stop", "btp_TypeOf"]
    assert derived.referenced() == [model.types[0]]
    assert derived.properties[0].declared_by is model.types[0]


INTERFACES = """
interface IBase
    method run Run (count: int32) -> bool
    method run Run ()
    get width Width int32
    getset height Height int32
"""
RUN = "    method run Run (count: int32) -> bool from IBase\n    method run Run () from IBase\n"
SIZES = "    get width Width int32 from IBase\n    getset height Height int32 from IBase\n"
EXTENDS = INTERFACES + "interface IDerived implements IBase\n"


@pytest.mark.parametrize(("members", "line", "reason"), [
    (RUN.replace(" -> bool from IBase", " -> bool") + SIZES, 9,
     "IDerived lists as its own run, which it inherits: write `from IBase`"),
    (RUN + SIZES.replace(" from IBase", "", 1), 11,
     "IDerived lists as its own width, which it inherits: write `from IBase`"),
    (RUN + "    get width Width int32 from IBase\n", 8,
     "IDerived does not list height, which it inherits: write `from IBase`"),
    (RUN.splitlines(keepends=True)[0] + SIZES, 8,
     "IDerived does not list run, which it inherits: write `from IBase`"),
    (SIZES, 8, "IDerived does not list run, which it inherits: write `from IBase`"),
    (RUN + SIZES.replace("width Width", "wide Wide"), 11, "IBase declares no property wide"),
    (RUN + SIZES.replace("width Width int32", "width Width int64"), 11, "IBase declares get width Width int32"),
    (RUN + SIZES.replace("getset", "get"), 12, "IBase declares getset height Height int32"),
    (RUN.replace("-> bool", "-> int32") + SIZES, 9, "run of IBase gives bool"),
    (RUN.replace("run Run (", "run RUN (") + SIZES, 9, "run of IBase is Run"),
    (RUN.replace("method run Run ()", "static run Run ()") + SIZES, 10,
     "run is static here or in IBase, not in both"),
    (RUN.replace("from IBase", "from IOther") + SIZES, 9, "there is no type IOther"),
])
def test_an_interface_that_states_otherwise_what_it_inherits_is_refused(
        build: Build, members: str, line: int, reason: str) -> None:
    assert refusal(build, EXTENDS + members) == (line, reason)


def test_an_interface_inherits_from_all_that_it_extends(build: Build) -> None:
    last = "interface ILast implements IDerived\n    method stop Stop () from IDerived\n"
    derived = EXTENDS + "    method stop Stop ()\n" + RUN + SIZES
    model = build(derived + last + RUN + SIZES)
    assert {prop.declared_by.name for prop in model.types[2].properties} == {"IBase"}
    assert [point.name for point in entry_points(model.types[2])][:1] == ["btp_TypeOf"]
    _, reason = refusal(build, derived + last + RUN)
    assert reason == "ILast does not list width, which it inherits: write `from IBase`"
    _, reason = refusal(build, derived + last + RUN + SIZES.replace("from IBase", "from IDerived"))
    assert reason == "IDerived declares no property width"


@pytest.mark.parametrize(("text", "line", "reason"), [
    ("\nclass A\n    get width Width int32\nclass B : A\n    get width Width int32 from A\n", 6,
     "a class has the properties of its base, and lists none of them"),
    ("\nclass A\n    ctor ()\nclass B : A\n    ctor () from A\n", 6, "a constructor is not inherited"),
    ("\nclass A\n    method go Go ()\n    method go GO (x: int32)\n", 5, "go is Go on another line"),
    ("\nclass A\n    method go Go ()\n    get go Go int32\n", 5, "go is there already"),
    ("\nclass A\n    get go Go int32\n    method go Go ()\n", 5, "go is there already"),
    (BASE + "class Derived : Base\n    method save SAVE () from Base\n", 8, "save of Base is Save"),
    (BASE + "class Derived : Base\n    method save Save () -> int32 from Base\n", 8, "save of Base gives void"),
])
def test_a_name_that_is_inherited_or_shared_wrongly_is_refused(
        build: Build, text: str, line: int, reason: str) -> None:
    assert refusal(build, text) == (line, reason)


def test_a_stands_for_interface_is_implemented_but_gets_no_marker(build: Build) -> None:
    model = build("\ninterface I\ninterface J\nclass A : B implements I stands for J\nclass B\n")
    entry = model.types[2]
    assert [interface.name for interface in entry.implemented] == ["I", "J"]
    assert entry.markers == [model.types[0]] and model.types[1] not in entry.referenced()


def test_the_tree_follows_the_ordinal_order_of_managed_names(build: Build) -> None:
    model = build("", modules="Acme.Pictures.Shapes acme.pictures.shapes 0000000B\n"
                              "Acme.Pictures.ShapeSegments acme.pictures.shapesegments 0000000C\n")
    assert [module.last for module in model.root.children] == ["shapesegments", "shapes"]


def test_a_module_without_a_parent_is_refused(build: Build) -> None:
    _, reason = refusal(build, "", modules="Acme.Pictures.A.B acme.pictures.a.b 0000000B\n")
    assert reason == "acme.pictures.a.b has no parent module"


WRITERS = """
static class Settings
    static_get count Count int32
    static_getset first First int32
    static_getset second Second int32
"""


def test_the_writers_of_static_properties_stand_as_the_properties_do_or_as_stated(build: Build) -> None:
    as_listed, stated = (build(WRITERS + order).types[0].static_writers for order in ("", """
    writer second
    writer first
"""))
    assert [prop.python for prop in as_listed] == ["first", "second"]
    assert [prop.python for prop in stated] == ["second", "first"]


@pytest.mark.parametrize(("order", "line", "reason"), [
    ("    writer count\n", 7, "Settings writes no static property count above this line"),
    ("    writer third\n", 7, "Settings writes no static property third above this line"),
    ("    writer first\n    writer first\n", 8, "the writer of first stands twice"),
    ("    writer first\n", 3, "the writers of Settings lack second"),
    ("    writer first second\n", 7, "a line of writer is one name"),
])
def test_an_invalid_order_of_writers_is_refused(build: Build, order: str, line: int, reason: str) -> None:
    assert refusal(build, WRITERS + order) == (line, reason)
