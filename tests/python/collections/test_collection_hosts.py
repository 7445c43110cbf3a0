"""The hosts of collections: the entry points that each binds, their order, and the effect of a missing one.

A process binds a host once, so that each case has a process of its own.
"""

from __future__ import annotations

from typing import Any

import pytest

from support import host_process
from support.control import IMAGING

PREPARE = """
from support.collections import GENERIC, INTEROP, make_interop, make_typed, new_object, typed
"""
INTEROP = "Zelmor.WrpGen.Interop.SiApi"
GENERIC = "Zelmor.WrpGen.Generic.SiApi"
INTERFACE_CASTS = ["btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable"]
CLASS_CASTS = ["btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs", "btp_IsAssignable"]
ARRAY = ["SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems",
         "Reverse", "Sort", "IndexBy", "CountOf"]
LIST = ["SqLength", "Add", "Remove", "Clear", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem",
        "SqSetItemNoChek", "Insert", "RemoveAt", "Pop", "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems",
        "MpRemoveItems", "Reverse", "Sort", "IndexBy", "CountOf", "EnsureCapacity"]
ILIST = ["SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "Insert", "RemoveAt", "Pop",
         "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort", "IndexBy", "CountOf"]
ICOL = ["SqLength", "Add", "Remove", "Clear", "SqInplaceConcat", "SqInplaceRepeat", "SqContains", "CountOf"]
REFERENCED = ["TypeError", "one or more refereced type is not initialized"]


def run(code: str, missing: str | None = None) -> Any:
    """The value that `code` assigns to `result`, in a process in which one entry point is unavailable."""
    return host_process.run(PREPARE + code, missing)


def missing_message(managed_class: str, method: str) -> str:
    return (f"While initializing the host for the '{managed_class} (Assembly={IMAGING})' type, an error occurred - "
            f"Method '{method}' not found (error=-2146233069)")


def test_an_import_binds_no_collection() -> None:
    asked = run("result = [entry.get('type', '') for entry in control.order()]")
    assert [name for name in asked if ".SiApi" in name] == []


def test_typed_hosts_bind_their_entry_points_in_order() -> None:
    asked = run("""
iter(make_typed("A4A29720", "array", [1])); iter(make_typed("A4A29720", "list"))
GENERIC._IterableWrapper_A4A29720._type_of(); iter(make_typed("156DD088", "ilist"))
prefix = "Zelmor.WrpGen.Generic.SiApi"
result = {name: requests(prefix + name) for name in (
    "Array_A4A29720", "List_A4A29720", "Enumerable_A4A29720", "Enumerator_A4A29720", "CntList_156DD088",
    "CntCollection_156DD088", "Enumerable_156DD088")}
""")
    assert asked == {"Array_A4A29720": ARRAY + CLASS_CASTS, "List_A4A29720": LIST + CLASS_CASTS,
                     "Enumerable_A4A29720": ["GetEnumerator", *INTERFACE_CASTS],
                     "Enumerator_A4A29720": ["MoveNext", *INTERFACE_CASTS],
                     "CntList_156DD088": ILIST + INTERFACE_CASTS, "CntCollection_156DD088": ICOL,
                     "Enumerable_156DD088": ["GetEnumerator"]}


@pytest.mark.parametrize(("identifier", "use"), [
    ("70438DFB", "zelmor.imaging.imageoptions.MultiPageOptions(value)"),
    ("AD4C5CC9", "new_object('Zelmor.Imaging.ImageOptions.TiffOptions').remove_tags(value)"),
    ("AD9D9BA5", "zelmor.imaging.extensions.ColorMapExtensions.to_gdi_color_maps(value)"),
    ("F372CE9B", "zelmor.imaging.fileformats.png.PngImage(2, 2).get_default_options(value)"),
])
def test_an_array_without_a_python_type_binds_its_test_alone(identifier: str, use: str) -> None:
    asked, refused = run(f"""
import zelmor.imaging.extensions, zelmor.imaging.fileformats.png, zelmor.imaging.imageoptions
value = make_interop("arrlist", [])
why = refusal(lambda: {use})
result = requests("Zelmor.WrpGen.Generic.SiApiArray_{identifier}"), why[0]
""")
    assert asked == ["btp_IsAssignable"]
    assert refused[0] == "TypeError"
    assert "can't build Array value from 'zelmor.imaging._wrpgen._interop._ArrListWrapper'" in refused[1]


@pytest.mark.parametrize(("missing", "use", "own"), [
    ("Array_A4A29720::SqGetItem", "_ArrayWrapper_A4A29720", True),
    ("Array_A4A29720::btp_IsAssignable", "_ArrayWrapper_A4A29720", True),
    ("Enumerable_A4A29720::GetEnumerator", "_ArrayWrapper_A4A29720", False),
    ("List_A4A29720::SqSetItemNoChek", "_ListWrapper_A4A29720", True),
    ("Enumerable_A4A29720::btp_CastTo", "_ListWrapper_A4A29720", False),
    ("CntList_156DD088::Pop", "_IListWrapper_156DD088", True),
    ("CntCollection_156DD088::Add", "_IListWrapper_156DD088", False),
    ("Enumerable_156DD088::GetEnumerator", "_IListWrapper_156DD088", False),
    ("Enumerator_A4A29720::MoveNext", "_IterWrapper_A4A29720", True),
    ("Enumerable_A4A29720::GetEnumerator", "_IterableWrapper_A4A29720", True),
])
def test_a_missing_entry_point_spoils_the_types_that_rest_on_it(missing: str, use: str, own: bool) -> None:
    managed_class, method = missing.split("::")
    found = run(f"""
type_ = GENERIC.{use}
result = [refusal(type_._type_of), refusal(type_), refusal(lambda: type_._cast_to(None)),
          refusal(lambda: type_._cast_as(None)), refusal(lambda: type_._is_assignable(None)),
          refusal(lambda: GENERIC._ArrayWrapper_FCB07591._type_of())]
""", GENERIC + missing)
    expected = [["TypeError", missing_message(GENERIC + managed_class, method)]]
    assert found == [expected if own else [REFERENCED, *expected]] * 5 + [None]


def test_a_typed_array_rests_on_the_untyped_one_and_an_enumerator_on_the_disposable() -> None:
    found = run("result = [refusal(GENERIC._ArrayWrapper_A4A29720._type_of), refusal("
                "GENERIC._ListWrapper_A4A29720._type_of)]", INTEROP + "Array::Sort")
    assert found == [[REFERENCED, ["TypeError", missing_message(INTEROP + "Array", "Sort")]], None]
    found = run("result = refusal(GENERIC._IterWrapper_A4A29720._type_of)", INTEROP + "Disposable::btp_CastAs")
    assert found == [REFERENCED, ["TypeError", missing_message(INTEROP + "Disposable", "btp_CastAs")]]


@pytest.mark.parametrize(("missing", "spoiled"), [
    ("Enumerable::GetEnumerator", {"_IterableWrapper": True, "_IColWrapper": False, "_IListWrapper": False,
                                   "_ArrayWrapper": False, "_ArrListWrapper": False, "_ColBaseWrapper": False,
                                   "_RoColBaseWrapper": False}),
    ("CntCollection::CountOf", {"_IColWrapper": True, "_IListWrapper": False, "_ColBaseWrapper": False,
                                "_RoColBaseWrapper": False}),
    ("CntList::SqSetItemNoCheck", {"_IListWrapper": True, "_ColBaseWrapper": False}),
    ("Array::SqSetItemNoChek", {"_ArrayWrapper": True}),
    ("ArrayList::CreateInstanceFromPyList", {"_ArrListWrapper": True}),
    ("Enumerator::MoveNext", {"_IterWrapper": True}),
])
def test_a_missing_entry_point_spoils_the_interop_kinds_that_rest_on_it(missing: str, spoiled: dict[str, bool]) -> None:
    managed_class, method = missing.split("::")
    found = run("""
names = ["_IDisposableWrapper", "_IterWrapper", "_IterableWrapper", "_IColWrapper", "_IListWrapper",
         "_RoColBaseWrapper", "_ColBaseWrapper", "_ArrayWrapper", "_ArrListWrapper"]
result = {name: why for name in names if (why := refusal(getattr(INTEROP, name)._type_of)) is not None}
""", INTEROP + missing)
    message = ["TypeError", missing_message(INTEROP + managed_class, method)]
    assert found == {name: [message] if own else [REFERENCED, message] for name, own in spoiled.items()}
