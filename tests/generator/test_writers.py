"""What the writers print: the shape of each construct, on a catalogue small enough to read."""

from __future__ import annotations

import re
from collections.abc import Callable
from pathlib import Path

import pytest

from tools.generator.__main__ import main
from tools.generator.errors import CatalogueError
from tools.generator.model import Model
from tools.generator.reports import count_by_module, summary
from tools.generator.writers.cpp.enumeration import write_enumeration
from tools.generator.writers.cpp.header import write_header
from tools.generator.writers.cpp.module_tree import write_module_tree
from tools.generator.writers.cpp.wrapper import write_wrapper
from tools.generator.writers.runtime.tables import Tables
from tools.generator.writers.text import write_if_changed

Build = Callable[..., Model]

CATALOGUE = """
class Base disposable
    get width Width int32
class Picture : Base disposable
    ctor (path: string)
    ctor (data: bytes, mode: Mode)
    method turn Turn (angle: float, fill: Size)
    method turn Turn ()
    method split Split (packed: int64, x: ref int32, y: ref int32) -> int32
    static load Load (path: string) -> Picture
    getset mode Mode Mode
    get owner Owner IOwner
    static_getset limit Limit int32
interface IOwner
    get name Name object because "a name is whatever its owner likes"
struct Size
    mixed_static grow Grow (size: Size, by: int32) -> Size
    mixed grow Grow (by: int32)
static class Helper
    static stop Stop ()
    static fill Fill (data: out bytes, source: bytes)
enum flags Mode : uint8
    NONE 0
    FAST 0x1
"""


@pytest.fixture
def texts(build: Build) -> dict[str, str]:
    """The printed source of each type, by simple name."""
    model = build(CATALOGUE)
    return {entry.name: "\n".join((write_enumeration if entry.is_enum else write_wrapper)(entry, "pictures"))
            for entry in model.types}


def body(text: str, function: str) -> list[str]:
    """The lines of a function, without indentation."""
    match = re.search(rf"\b\w*{function}\([^{{]*\) \{{\n(.*?)\n\}}", text, re.DOTALL)
    assert match is not None, function
    return [line.strip() for line in match[1].split("\n")]


def test_a_getter_calls_tests_for_an_error_and_converts(texts: dict[str, str]) -> None:
    lines = body(texts["Base"], "_Base_000_get_width")
    assert re.fullmatch(r"int result = PyHost_cs_\w+_Base::get_instance\(\)"
                        r"->get_Width\(zelmor::handle_of\(self\)\);", lines[0])
    assert lines[1:] == ["if (PyErr_Occurred()) {", "return nullptr;", "}", "return PyLong_FromLong(result);"]


def test_an_instance_overload_has_no_guard_and_a_static_method_has_one(texts: dict[str, str]) -> None:
    assert body(texts["Picture"], "_Picture_000_load")[0].endswith("_Picture_invalidate() != 0) {")
    assert "invalidate" not in "".join(body(texts["Picture"], "_Picture_000_turn"))


def test_a_group_inherits_what_is_the_only_overload_of_the_base(build: Build) -> None:
    model = build("""
class Base
    method turn Turn (angle: float)
class Picture : Base
    method turn Turn ()
    method turn Turn (angle: float) from Base
""")
    base, picture = ("\n".join(write_wrapper(entry, "pictures")) for entry in model.types)
    name = f"wrpPy_htgn_{model.types[0].symbol}_000_turn"
    assert f"PyObject* {name}(" in base and f"&{name}" in picture
    assert f"PyObject* {name}(" in "\n".join(write_header(model, "pictures"))


def test_slots_are_reset_for_every_attempt_and_a_failed_parse_is_kept(texts: dict[str, str]) -> None:
    lines = body(texts["Picture"], "wrpPy_mgov_[0-9A-F]{8}_Picture_000_turn")
    assert lines[:2] == ["float angle_{};", "VariantArg fill_{};"]
    assert 'static const char* const kKeywords[] = {"angle", "fill", nullptr};' in lines
    assert "zelmor::reader(&fn_conv_py_float_to_clr_float, &angle_)," in lines
    parse = lines.index("if (!zelmor::parse_overload(args, kwargs, kKeywords, readers, error_slot)) {")
    assert lines[parse + 1] == "return nullptr;"


def test_an_overload_without_parameters_refuses_any(texts: dict[str, str]) -> None:
    assert any("zelmor::parse_no_arguments(args, kwargs, error_slot)" in line
               for line in body(texts["Picture"], "wrpPy_mgov_[0-9A-F]{8}_Picture_001_turn"))


def test_bytes_are_held_by_a_builder_and_an_enumeration_by_its_integer(texts: dict[str, str]) -> None:
    lines = body(texts["Picture"], "wrpPy_ctfn_[0-9A-F]{8}_Picture_001_ctor")
    assert lines[:2] == ["PyBytesArgBuilder data_;", "unsigned char mode_{};"]
    assert any("data_.get_info(), mode_" in line for line in lines)


def test_memory_that_is_written_to_takes_no_read_only_buffer(texts: dict[str, str]) -> None:
    assert "zelmor::reader(&fn_conv_py_bytes_to_clr_out_bytes, &data" in texts["Helper"]
    assert "zelmor::reader(&fn_conv_py_bytes_to_clr_bytes, &source" in texts["Helper"]


def test_by_reference_values_are_built_first_and_pushed_in_order(texts: dict[str, str]) -> None:
    lines = body(texts["Picture"], "_Picture_000_split")
    built = [index for index, line in enumerate(lines) if line.startswith("out_values[")]
    pushed = [index for index, line in enumerate(lines) if "fn_push_parbyref_outvalue" in line]
    assert len(built) == len(pushed) == 2 and max(built) < min(pushed)
    assert any("packed_, x_, &x_out, y_, &y_out" in line for line in lines)


def test_an_interface_result_leaves_through_an_out_record(texts: dict[str, str]) -> None:
    lines = body(texts["Picture"], "_Picture_000_get_owner")
    assert lines[0] == "PyObjectOutArg result{};"
    assert lines[-1].startswith("return wrpPy_conv_clr_to_py_") and lines[-1].endswith("_IOwner(result);")


def test_the_method_table_is_in_the_stated_order(texts: dict[str, str]) -> None:
    rows = re.search(r"PyMethodDef wrpPy_tymd_\w+\[\] = \{(.*?)\n\};", texts["Picture"], re.DOTALL)
    assert rows is not None
    assert re.findall(r'\{"(\w+)", .*?, (METH_[A-Z_| ]+), nullptr\}', rows[1]) == [
        ("__enter__", "METH_NOARGS"), ("__exit__", "METH_VARARGS"), ("turn", "METH_VARARGS | METH_KEYWORDS"),
        ("split", "METH_VARARGS | METH_KEYWORDS"), ("load", "METH_VARARGS | METH_KEYWORDS | METH_STATIC"),
        ("get_type", "METH_NOARGS"), ("set_limit", "METH_O | METH_STATIC"), ("_type_of", "METH_NOARGS | METH_STATIC"),
        ("_cast_to", "METH_O | METH_STATIC"), ("_cast_from", "METH_O"), ("_reinterpret_obj", "METH_O | METH_STATIC"),
        ("_cast_as", "METH_O | METH_STATIC"), ("_is_assignable", "METH_O | METH_STATIC")]


def test_validity_rests_on_the_base_and_the_disposable_wrapper(texts: dict[str, str]) -> None:
    state = "".join(body(texts["Picture"], "_Picture_get_aggregate_host_state"))
    assert re.search(r"\{&wrpPy_bltp_\w+_Base_is_not_valid, &wrpPye_bltp_idisposable_is_not_valid\}", state)


def test_a_struct_converter_refuses_none_and_an_interface_takes_it(texts: dict[str, str]) -> None:
    assert "Py_None" not in "".join(body(texts["Size"], "wrpPy_conv_py_to_clr_[0-9A-F]{8}_Size"))
    assert "Py_None" in "".join(body(texts["IOwner"], "wrpPy_conv_py_to_clr_[0-9A-F]{8}_IOwner"))


def test_a_static_class_has_stubs_and_no_converters(texts: dict[str, str]) -> None:
    assert "wrpPy_conv_" not in texts["Helper"]
    assert "zelmor::kStaticClassCasts};" in texts["Helper"]
    assert '{"_cast_from", &zelmor::cast_stub, METH_O, nullptr}' in texts["Helper"]


def test_the_two_sides_of_a_mixed_method(texts: dict[str, str]) -> None:
    entries = re.findall(r"PyMethodDef wrpPy_mxml_\w+?_(\d+)_grow = .*?(METH_[A-Z_| ]+), nullptr", texts["Size"])
    assert entries == [("000", "METH_VARARGS | METH_KEYWORDS"), ("001", "METH_VARARGS | METH_KEYWORDS | METH_STATIC")]


def test_an_enumeration_reads_and_makes_by_its_width(texts: dict[str, str]) -> None:
    assert "zelmor::EnumMember<unsigned char>" in texts["Mode"]
    assert 'make_enum_class("Mode", true,' in texts["Mode"]


def test_header_and_tree_name_every_type(build: Build) -> None:
    model = build(CATALOGUE)
    header, tree = ("\n".join(write(model, "pictures")) for write in (write_header, write_module_tree))
    for entry in model.types:
        assert f"wrpPy_tyds_{entry.symbol};" in header
        assert ("wrpPy_eypi_" if entry.is_enum else "wrpPy_tyds_") + entry.symbol in tree
    assert '{"Base", ' not in tree and '"Base", u"Acme.Pictures.Base"' in tree


def test_runtime_tables_state_signatures(build: Build) -> None:
    text = "\n".join(Tables([build(CATALOGUE)]).write())
    signatures = dict(re.findall(r'\{"(\w+)", "\w+", EntryRole::\w+, Wire::\w+, \w+, \{\w*\}, -?\d+, "(\w+)"', text))
    assert signatures["ctor_000_Picture"] == "pT"
    assert signatures["ctor_001_Picture"] == "pBC"
    assert signatures["call_000_Turn"] == "vpfV"
    assert signatures["call_000_Split"] == "iplirir"
    assert signatures["call_000_Load"] == "pT"
    assert signatures["set_Mode"] == "vpC"
    assert signatures["get_Owner"] == "vpo"
    assert signatures["setsa_Limit"] == "vi"
    assert signatures["get_Name"] == "Op"


DATES = """
class Moment
    ctor (made: datetime, kept: UUID, price: decimal, lasts: timedelta)
    method shift Shift (by: timedelta, to: datetimeoffset) -> datetime
    getset stamp Stamp datetime?
    getset price Price decimal
    getset lasts Lasts timedelta
    get kept Kept UUID
"""


def test_dates_decimals_and_identifiers_cross_in_their_words(build: Build) -> None:
    model = build(DATES)
    text = "\n".join(write_wrapper(model.types[0], "pictures"))
    assert ("entry(void*, ctor_000_Moment, (long made_, const unsigned char* kept_, const unsigned int* price_, "
            "long lasts_))") in text
    assert "entry(void, call_000_Shift, (void* handle, long by_, const long* to_, long* result))" in text
    assert "entry(long, get_Lasts, (void* handle))" in text
    assert "entry(void, get_Price, (void* handle, unsigned int* result))" in text
    assert "entry(void, get_Kept, (void* handle, unsigned char* result))" in text
    assert body(text, "_Moment_000_get_price")[0] == "unsigned int result[4]{};"
    assert body(text, "_Moment_000_get_price")[-1] == "return fn_conv_clr_decimal_to_py_decimal(result);"
    assert "long result[2]{};" in body(text, "_Moment_000_shift")
    lines = body(text, "_Moment_000_set_price")
    assert "unsigned int slot[4]{};" in lines
    assert "if (!fn_conv_py_decimal_to_clr_decimal(value, slot)) {" in lines


def test_a_nullable_date_crosses_as_two_arguments_and_two_out_slots(build: Build) -> None:
    text = "\n".join(write_wrapper(build(DATES).types[0], "pictures"))
    assert "entry(void, get_Stamp, (void* handle, int* present, long* result))" in text
    assert "entry(void, set_Stamp, (void* handle, int valuepresent, long value))" in text
    lines = body(text, "_Moment_000_set_stamp")
    assert ("long slotvalue{}; PyNullableArg slot{0, zelmor::as_arg_converter(&fn_conv_py_datetime_to_clr_datetime), "
            "&slotvalue};") in lines
    assert "if (!fn_conv_py_nullable_to_clr_nullable(value, &slot)) {" in lines
    assert any(line.endswith("set_Stamp(zelmor::handle_of(self), slot.has_value, slotvalue);") for line in lines)
    lines = body(text, "_Moment_000_get_stamp")
    assert lines[:2] == ["int present = 0;", "long result[2]{};"]
    assert lines[-1] == "return present != 0 ? fn_conv_clr_datetime_to_py_datetime(result) : fn_py_return_none();"


def test_runtime_tables_state_the_signatures_of_dates(build: Build) -> None:
    text = "\n".join(Tables([build(DATES)]).write())
    signatures = {name: re.findall(rf'"{name}".*?"([a-zA-Z]+)", (?:params|{{)', text)[0]
                  for name in ("ctor_000_Moment", "call_000_Shift", "get_Stamp", "set_Stamp", "get_Price", "set_Price",
                               "get_Lasts", "get_Kept")}
    assert signatures == {"ctor_000_Moment": "plGDl", "call_000_Shift": "vpltt", "get_Stamp": "vprt",
                          "set_Stamp": "vpil", "get_Price": "vpD", "set_Price": "vpD", "get_Lasts": "lp",
                          "get_Kept": "vpG"}


def test_only_values_that_the_runtime_knows_are_nullable(build: Build) -> None:
    with pytest.raises(CatalogueError, match="int32 does not cross as nullable"):
        build("\nclass A\n    get width Width int32?\n")


def test_entry_points_are_counted_by_role(build: Build) -> None:
    model = build(CATALOGUE)
    rows = [[cell.strip() for cell in row.strip("|").split("|")] for row in count_by_module(model)]
    assert rows[0] == ["module", "classes", "enumerations", "get_", "set_", "call_", "ctor_", "getsa_", "setsa_"]
    assert rows[-1] == ["all", "5", "1", "4", "1", "8", "2", "1", "1"]
    assert rows[2][1:] == rows[-1][1:]


def test_a_file_is_written_only_when_it_changes(tmp_path: Path) -> None:
    path = tmp_path / "deep" / "file.cpp"
    assert write_if_changed(path, ["one"]) is True
    stamp = path.stat().st_mtime_ns
    assert write_if_changed(path, ["one"]) is False
    assert path.stat().st_mtime_ns == stamp
    assert write_if_changed(path, ["two"]) is True


def test_the_command_writes_sources_and_removes_those_of_types_that_are_gone(
        build: Build, tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    model = build(CATALOGUE)
    out = tmp_path / "out" / "pictures"
    assert main(["module", str(tmp_path), str(out)]) == 0
    assert capsys.readouterr().out == summary(model) + "\n"
    assert (out / "Acme.Pictures.Helper.cpp").exists()
    build(CATALOGUE.replace("static class Helper\n    static stop Stop ()\n", ""))
    assert main(["module", str(tmp_path), str(out)]) == 0
    assert not (out / "Acme.Pictures.Helper.cpp").exists()
    assert "Helper" not in (out / "sources.txt").read_text()


def test_the_command_names_file_and_line_of_a_refusal(
        build: Build, tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    build("\nclass A\n")
    path = tmp_path / "Acme.Pictures.cat"
    path.write_text(path.read_text() + "    get bits BitsPerPixel int32\n")
    assert main(["module", str(tmp_path), str(tmp_path / "out")]) == 1
    assert capsys.readouterr().err == f"{path}:4: BitsPerPixel is bits_per_pixel by the rules\n"


def test_the_writers_of_a_type_stand_in_their_stated_order(build: Build) -> None:
    model = build("""
static class Settings
    static_getset first First int32
    static_getset second Second int32
    writer second
    writer first
""")
    text = "\n".join(write_wrapper(model.types[0], "pictures"))
    table = text[text.index("static PyMethodDef"):]
    assert re.findall(r'\{"(\w+)"', table)[:4] == ["get_type", "set_second", "set_first", "_type_of"]


def test_types_that_markers_name_are_ready_first_as_they_come_up(build: Build) -> None:
    model = build("""
class Alpha disposable
    ctor ()
class Beta implements IFar, _IColWrapper, _IterableWrapper
    ctor ()
class Gamma implements IFar, _IListWrapper, _IColWrapper
    ctor ()
""", modules="Acme.Pictures.Far acme.pictures.far 0000000B\n", Far="interface IFar\n")
    tree = "\n".join(write_module_tree(model, "pictures"))
    ready = tree[tree.index("wrpPy_mlrd_0000000A_pictures[]"):]
    assert re.findall(r"&wrpPye?_tyds_[0-9A-F]{8}_(\w+)", ready)[:8] == [
        "IDisposableWrapper", "IColWrapper", "IterableWrapper", "IListWrapper", "IFar", "Alpha", "Beta", "Gamma"]
