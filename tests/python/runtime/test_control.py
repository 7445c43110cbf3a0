"""The control interface itself, on which the other tests rely."""

from __future__ import annotations

import ctypes
import os
import subprocess
import sys
from typing import Any

import pytest
from support.control import IMAGING, Control
from support.places import BUILD_DIR, TESTS
from support.records import PyStringArg, VariantArg

from zelmor.imaging import Color, LoadOptions, Size
from zelmor.imaging.imageoptions import PngOptions

SIZE = "Zelmor.Imaging.Size"
COLOR = "Zelmor.Imaging.Color"


class TestJournal:
    def test_calls_are_recorded_with_their_argument_words(self, control: Control) -> None:
        with control.journal() as calls:
            value = Size(5, -6)
            assert value.height == -6
        made, read = calls
        assert (made.name, made.method, made.signature) == (SIZE, "ctor_001_Size", "pii")
        assert made.arguments == [5, 2**32 - 6]
        assert (read.method, read.result & 0xFFFFFFFF) == ("get_Height", 2**32 - 6)
        assert read.arguments == [made.result]

    def test_records_are_recorded_byte_for_byte(self, control: Control) -> None:
        with control.journal() as calls:
            Color.from_name("\u20acuro")
        (call,) = (call for call in calls if call.method == "call_000_FromName")
        view = PyStringArg.from_buffer_copy(call.records[0])
        assert (view.length, view.char_size) == (4, 2)
        assert call.contents == ["\u20acuro".encode("utf-16-le")]

    def test_out_slots_are_seen_before_and_after(self, control: Control) -> None:
        value = Size(1, 2)
        with control.journal() as calls:
            assert str(value) == "{Width=1, Height=2}"
        (call,) = (call for call in calls if call.method == "ToStringOfStc")
        assert call.records[1] == bytes(8) and call.after[1] != bytes(8)

    def test_nothing_is_recorded_outside(self, control: Control) -> None:
        with control.journal():
            pass
        Size(1, 2)
        assert control.recorded() == []

    def test_struct_arguments_carry_their_tag(self, control: Control) -> None:
        value = Size(1, 2)
        with control.journal() as calls:
            Size.add(value, value)
        (call,) = (call for call in calls if call.method == "call_000_Add")
        first = VariantArg.from_buffer_copy(call.records[0])
        assert first.tag == 1 and call.records[0] == call.records[1]


class TestScripts:
    def test_an_exception(self, control: Control) -> None:
        value = Size(1, 2)
        control.raise_next(SIZE, "get_Width", "MadeUpException", "of no reason")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(MadeUpException\): of no reason$"):
            value.width  # noqa: B018
        assert value.width == 1

    def test_an_exception_without_text(self, control: Control) -> None:
        value = Size(1, 2)
        control.raise_next(SIZE, "get_Width", None, None)
        with pytest.raises(RuntimeError, match=r"^Proxy error\(<unknown>\): <unknown>$"):
            value.width  # noqa: B018

    def test_a_result(self, control: Control) -> None:
        value = Size(1, 2)
        control.return_next(SIZE, "get_Width", -7)
        control.return_next(SIZE, "get_Width", 8)
        assert [value.width, value.width, value.width] == [-7, 8, 1]

    def test_a_hook(self, control: Control) -> None:
        value = Size(1, 2)
        seen: list[int] = []

        def width(arguments: Any, result: int) -> None:
            seen.append(ctypes.cast(arguments[0], ctypes.POINTER(ctypes.c_uint64))[0])
            ctypes.c_int64.from_address(result).value = 99

        control.run_next(SIZE, "get_Width", width)
        with control.journal() as calls:
            assert value.width == 99
        assert seen == calls[0].arguments

    def test_what_a_hook_raises_is_not_lost(self, control: Control) -> None:
        def fail(arguments: Any, result: int) -> None:
            raise ValueError("in the hook")

        control.run_next(SIZE, "get_Width", fail)
        assert Size(1, 2).width == 0
        with pytest.raises(ValueError, match="in the hook"):
            control.check()


class TestHandles:
    def test_they_are_counted_by_kind(self, control: Control) -> None:
        counts = [control.live(kind) for kind in ("any", "object", "struct", "type")]
        kept = [Size(1, 2), Size(3, 4), LoadOptions(), Size._type_of()]
        assert [control.live(kind) for kind in ("any", "object", "struct", "type")] == [
            counts[0] + 4, counts[1] + 1, counts[2] + 2, counts[3] + 1]
        assert control.live_by_type()[SIZE] >= 2
        del kept
        assert control.live() == counts[0]

    @pytest.mark.keeps_handles(1)
    def test_a_second_init_leaks_the_first_handle(self) -> None:
        value = Size(1, 2)
        value.__init__(3, 4)  # the first handle is not released: specified behavior
        assert value.width == 3


class TestManagedSide:
    def test_callbacks_can_be_called(self, control: Control) -> None:
        assert control.callback("write", "int32")(-5) == -5
        text = "a\U0001F600".encode("utf-16-le")
        assert control.callback("single", "py_string")(text, len(text) // 2) == "a\U0001F600"
        record = PyStringArg()
        assert control.callback("read", "string")("abc", ctypes.byref(record)) == 1
        assert record.text() == "abc"

    def test_a_failing_callback_raises_its_error(self, control: Control) -> None:
        with pytest.raises(TypeError, match="has no len"):
            control.callback("ucol", "sequence_length")(5)

    def test_every_callback_was_handed_over(self, control: Control) -> None:
        from support.callbacks import TABLES

        for table, entries in TABLES.items():
            for entry in entries:
                assert control.callback(table, entry[0])
            for slot in (-1, len(entries)):
                assert not control._call("callback", IMAGING, table, slot), table
        with pytest.raises(LookupError):
            control.callback("read", "string", assembly="Some.Other")

    def test_entry_points_can_be_called(self, control: Control) -> None:
        with control.journal() as calls:
            host = type(PngOptions()).__name__
        assert host == "PngOptions"
        size = control.delegate(calls[0].type, "get_BitDepth", ctypes.c_int, ctypes.c_void_p)
        handle = control.new_object("Zelmor.Imaging.ImageOptions.PngOptions")
        assert size(handle) == 8
        control.delegate("Zelmor.WrpGen.Interop.ExchangeHost", "FreeInstance", None, ctypes.c_void_p)(handle)

    def test_type_ids(self, control: Control) -> None:
        assert control.type_id(SIZE) > 0
        assert control.type_id(SIZE) != control.type_id(COLOR)


class TestStart:
    def test_the_start_is_recorded(self, control: Control) -> None:
        started = control.startup()
        assert started["domain_name"] == "ZelmorCLRHostDomain"
        assert [key for key, _ in started["properties"]] == [
            "TRUSTED_PLATFORM_ASSEMBLIES", "APP_PATHS", "APP_NI_PATHS", "NATIVE_DLL_SEARCH_DIRECTORIES",
            "AppDomainCompatSwitch"]

    def test_requests_and_hand_overs_are_in_order(self, control: Control) -> None:
        ours = [entry for entry in control.order() if entry["assembly"] == "WrpInterop.Zelmor.Imaging"]
        assert (ours[0]["event"], ours[0]["method"]) == ("create_delegate", "GetTypeName")
        methods = [entry["method"] for entry in ours if entry["event"] == "call"]
        assert methods[-1] == "InitServices" and len(methods) == 10


def child(code: str, **environment: str) -> subprocess.CompletedProcess[str]:
    """Runs code in a process of its own."""
    return subprocess.run([sys.executable, "-c", code], env={**os.environ, "PYTHONPATH": str(BUILD_DIR / "python"),
                                                             **environment},
                          cwd=TESTS, capture_output=True, text=True, check=False)


class TestEnvironment:
    def test_a_missing_entry_point(self) -> None:
        done = child("from zelmor.imaging import Size\ntry:\n    Size()\nexcept TypeError as e:\n    print(e)",
                     ZELMOR_EMBED_CONTROL=f"missing={SIZE}::get_Width")
        assert "Method 'get_Width' not found (error=-2146233069)" in done.stdout, done.stderr

    def test_a_failing_start(self) -> None:
        done = child("import zelmor.imaging", ZELMOR_EMBED_CONTROL="init_status=0x80070002")
        assert done.returncode < 0
        assert "coreclr_initialize failed - status:0x80070002" in done.stderr

    def test_the_journal_from_the_start(self) -> None:
        done = child("import zelmor.imaging\nfrom support.control import control\n"
                     "print([call.method for call in control.recorded()][:3])", ZELMOR_EMBED_CONTROL="journal=1")
        assert "SetExceptionCallback" in done.stdout, done.stderr

    def test_a_typo_ends_the_process(self) -> None:
        done = child("import zelmor.imaging", ZELMOR_EMBED_CONTROL="mising=A::B")
        assert done.returncode < 0
        assert "ZELMOR_EMBED_CONTROL: there is no setting 'mising'" in done.stderr
