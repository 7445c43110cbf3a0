"""Type hosts are bound at the first use of a type, by name and in order. A missing entry point makes its type, and
the types that refer to it, unusable, and no others. A process binds a host once, so that each case has a process of
its own."""

from __future__ import annotations

import pytest

from support.control import IMAGING
from support.host_process import run
from support.module_tree import MODEL

from tools.generator.entry_points import entry_points
from tools.generator.model import Type


def entry(name: str) -> Type:
    return next(entry for entry in MODEL.types if entry.full_name == f"Zelmor.Imaging.{name}")


def missing_message(host_class: str, method: str) -> str:
    return (f"While initializing the host for the '{host_class} (Assembly={IMAGING})' type, an error occurred - "
            f"Method '{method}' not found (error=-2146233069)")


def test_an_import_binds_no_type() -> None:
    hosts = {entry.host_class for entry in MODEL.types}
    asked = run("result = [entry.get('type') for entry in control.order()]")
    assert not hosts & set(asked)


def test_the_first_use_binds_the_type_and_what_it_refers_to_once() -> None:
    hosts = [entry(name).host_class for name in ("DataStreamSupporter", "DisposableObject", "Image", "LoadOptions")]
    before, first, second = run(f"""
hosts = {hosts!r}
def count():
    return [len(requests(host)) for host in hosts]
result = [count()]
for _ in range(2):
    imaging.Image.can_load({__file__!r})
    result.append(count())
""")
    expected = [len(entry_points(entry(name))) for name in ("DataStreamSupporter", "DisposableObject", "Image")]
    assert before == [0, 0, 0, 0]
    assert first == second == [*expected, 0]


@pytest.mark.parametrize("name", ["Size", "Image", "GraphicsUnit", "IColorPalette", "ColorPaletteHelper", "Cache"])
def test_entry_points_are_asked_for_in_binding_order(name: str) -> None:
    found = run(f"imaging.{name}._type_of()\nresult = requests({entry(name).host_class!r})")
    assert found == [point.name for point in entry_points(entry(name))]


def test_the_entry_points_of_a_size_are_these() -> None:
    found = run(f"imaging.Size()\nresult = requests({entry('Size').host_class!r})")
    assert found == ["ctor_000_Size", "ctor_001_Size", "ctor_002_Size", "call_000_Add", "call_000_Ceiling",
                     "call_000_Subtract", "call_000_Truncate", "call_000_Round", "get_IsEmpty", "get_Width",
                     "set_Width", "get_Height", "set_Height", "getsa_Empty", "btp_TypeOf", "btp_CastTo", "btp_CastFrom",
                     "btp_ReInterpretObj", "btp_CastAs", "btp_IsAssignable"]


def test_the_entry_points_of_an_enumeration_are_these() -> None:
    found = run(f"imaging.GraphicsUnit._type_of()\nresult = requests({entry('GraphicsUnit').host_class!r})")
    assert entry("GraphicsUnit").host_class == "WrpNs_Zelmor.WrpNs_Imaging.WrpCs_Graphics_77BC8503"
    assert found == ["btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_AsUniEnum", "btp_CastAs",
                     "btp_IsAssignable", "btp_GetType"]


def test_binding_stops_at_the_first_entry_point_that_is_missing() -> None:
    found = run(f"refusal(imaging.Size)\nresult = requests({entry('Size').host_class!r})",
                missing="Zelmor.Imaging.Size::ctor_002_Size")
    assert found == ["ctor_000_Size", "ctor_001_Size", "ctor_002_Size"]


def test_a_missing_entry_point_spoils_its_type_and_no_other() -> None:
    found = run("result = [refusal(imaging.Size), refusal(imaging.Point), refusal(imaging.LoadOptions)]",
                missing="Zelmor.Imaging.Size::call_000_Round")
    assert found == [[["TypeError", missing_message(entry("Size").host_class, "call_000_Round")]], None, None]


def test_the_second_use_repeats_the_message_without_a_second_look_up() -> None:
    first, second, asked = run(f"""
result = [refusal(imaging.Size), refusal(lambda: imaging.Size.empty)]
result.append(requests({entry('Size').host_class!r}).count("ctor_000_Size"))
""", missing="Zelmor.Imaging.Size::ctor_000_Size")
    assert first == second == [["TypeError", missing_message(entry("Size").host_class, "ctor_000_Size")]]
    assert asked == 1


USES = {
    "static method": f"imaging.Image.can_load({__file__!r})",
    "_type_of": "imaging.Image._type_of()",
    "_cast_to": "imaging.Image._cast_to(None)",
    "_cast_as": "imaging.Image._cast_as(None)",
    "_is_assignable": "imaging.Image._is_assignable(None)",
    "_reinterpret_obj": "imaging.Image._reinterpret_obj(None)",
    "tp_new": "imaging.Image.__new__(imaging.Image)",
    "constructor": "imaging.Image()",
}


@pytest.mark.parametrize("use", USES.values(), ids=USES)
def test_whatever_is_reached_without_an_instance_is_guarded(use: str) -> None:
    found = run(f"result = refusal(lambda: {use})", missing="Zelmor.Imaging.Image::get_Width")
    assert found == [["TypeError", missing_message(entry("Image").host_class, "get_Width")]]


@pytest.mark.parametrize("use", ["imaging.Size.empty", "imaging.Size.add(None, None)", "imaging.Size()"])
def test_a_struct_is_guarded_alike(use: str) -> None:
    found = run(f"result = refusal(lambda: {use})", missing="Zelmor.Imaging.Size::btp_IsAssignable")
    assert found == [["TypeError", missing_message(entry("Size").host_class, "btp_IsAssignable")]]


def test_the_writer_of_a_static_property_is_guarded() -> None:
    found = run("result = refusal(lambda: imaging.Cache.set_exact_reallocate_only(5))",
                missing="Zelmor.Imaging.Cache::getsa_CacheType")
    assert found == [["TypeError", missing_message(entry("Cache").host_class, "getsa_CacheType")]]


def test_a_base_that_failed_is_the_cause_of_a_chained_error() -> None:
    plain, chained, further = run("""
kinds = (imaging.DataStreamSupporter, imaging.Image, imaging.RasterImage)
result = [refusal(lambda: kind._type_of()) for kind in kinds]
""", missing="Zelmor.Imaging.DataStreamSupporter::get_IsCached")
    reason = ["TypeError", missing_message(entry("DataStreamSupporter").host_class, "get_IsCached")]
    referenced = ["TypeError", "one or more refereced type is not initialized"]
    assert plain == [reason]
    assert chained == further == [referenced, reason]


def test_the_disposable_wrapper_is_asked_as_well() -> None:
    host = "Zelmor.WrpGen.Interop.SiApiDisposable"
    found = run("result = refusal(lambda: imaging.Image._type_of())", missing=f"{host}::btp_CastAs")
    assert found == [["TypeError", "one or more refereced type is not initialized"],
                     ["TypeError", missing_message(host, "btp_CastAs")]]


def test_an_interface_asks_the_interface_whose_members_it_lists() -> None:
    found = run("result = refusal(lambda: imaging.IImageLoaderDescriptor._type_of())",
                missing="Zelmor.Imaging.IImageDescriptor::get_SupportedFormat")
    assert found == [["TypeError", "one or more refereced type is not initialized"],
                     ["TypeError", missing_message(entry("IImageDescriptor").host_class, "get_SupportedFormat")]]


def test_an_argument_of_a_spoiled_type_is_refused_on_the_slow_path_alone() -> None:
    """None needs no host; for a wrapper of another type the converter needs the host, so that the guard runs."""
    found = run("""
options = imaging.imageoptions.PngOptions()
result = [refusal(lambda: imaging.ColorPaletteHelper.get_uniform_color_palette(value))[0] for value in (None, options)]
""", missing="Zelmor.Imaging.RasterImage::get_HasAlpha")
    assert found[0][0] == "RuntimeError"
    assert found[1] == ["TypeError", missing_message(entry("RasterImage").host_class, "get_HasAlpha")]


def test_an_enumeration_that_failed_answers_with_the_plain_message() -> None:
    found = run("result = [refusal(imaging.ResizeType._type_of), refusal(imaging.ResizeType.NONE.get_type)]",
                missing="Zelmor.Imaging.ResizeType::btp_GetType")
    assert found == [[["TypeError", missing_message(entry("ResizeType").host_class, "btp_GetType")]]] * 2
