"""Failed starts: failures of the runtime that end the process, and failures that become a chained ImportError."""

from __future__ import annotations

import ctypes
import os
import signal
import subprocess
from pathlib import Path

import pytest

from support.service_hosts import BOUND, EXCHANGE_HOST, HANDED_OVER
from support.startup_process import ASSEMBLY, ASSEMBLY_DIR, EXE, EXE_DIR, NETCORE_DIR, WRAPPER, Start

#: COR_E_MISSINGMETHOD, as the fake wrapper library returns it and as the message prints it.
MISSING_METHOD = ctypes.c_int32(0x80131513).value

IMPORT = "import zelmor.imaging"
#: The same in an installation without the embedded runtime, where only the user can name a runtime.
IMPORT_ALONE = f"from zelmor import _runtime_choice\n_runtime_choice._RUNTIME_DIR = '/absent'\n{IMPORT}"
#: Siblings import each other too, so a test that breaks one of them imports all of them first.
IMPORT_SIBLINGS = "import zelmor.pydrawing, zelmor.pyreflection, zelmor.pyio, zelmor.pygc"
#: The siblings start with the ordinary runtime; then the module finds and starts the runtime of the test.
IMPORT_AFTER_SIBLINGS = f"""
{IMPORT_SIBLINGS}
import os
os.environ["NETCORE_WRAPPER_NETCORE_DIR_zelmor"] = os.environ["SECOND_ROOT"]
import zelmor.imaging
"""


@pytest.fixture
def start(tmp_path: Path) -> Start:
    start = Start(tmp_path)
    start.runtime_root.mkdir()
    start.assembly_root.mkdir()
    return start


def bound_for(calls: list[str]) -> list[tuple[str, str]]:
    """The type and entry point of every delegate that was requested in the module's own assembly."""
    requests = [call.split(" ")[1:] for call in calls]
    return [(managed_type, entry) for assembly, managed_type, entry in requests if assembly == ASSEMBLY]


def handed_over(calls: list[str]) -> list[str]:
    """The hand-over calls of the module's own assembly."""
    return [call.split(" ")[2] for call in calls if call.split(" ")[1] == ASSEMBLY]


def assert_terminated(result: subprocess.CompletedProcess[str], exception: str, text: str) -> None:
    """Expects that std::terminate ended the process because of this exception, and that no Python exception was
    raised."""
    assert result.returncode == -signal.SIGABRT, result.stderr
    assert "terminate called after throwing an instance of" in result.stderr
    assert exception in result.stderr
    assert f"what():  {text}\n" in result.stderr
    assert "ImportError" not in result.stderr


class TestFatal:
    """Without a runtime the process is terminated."""

    @pytest.mark.parametrize("module", ["zelmor.imaging", "zelmor.pydrawing", "zelmor.pygc"])
    def test_absent_wrapper_library(self, start: Start, module: str) -> None:
        result = start.run(f"try:\n    import {module}\nexcept BaseException:\n    print('caught')")
        assert_terminated(result, "std::runtime_error", "DynamicLibrary::load")
        assert result.stdout == ""

    @pytest.mark.parametrize("symbol", ["load", "initialize", "create_delegate", "shutdown", "is_domain_initialized"])
    def test_wrapper_library_without_a_symbol(self, start: Start, symbol: str) -> None:
        start.install(f"fake_wrapper_without_{symbol}")
        assert_terminated(start.run(IMPORT), "std::runtime_error", f"No such symbol: coreclr_wrap_{symbol}")
        assert start.calls() == []

    def test_failed_load_of_the_runtime(self, start: Start) -> None:
        directory = start.install()
        assert_terminated(start.run(IMPORT, FAKE_WRAP_LOAD="0"), "std::runtime_error", "init coreclr wap")
        assert start.calls() == [f"load {directory}/libcoreclr.so"]

    def test_absent_runtime_library(self, start: Start) -> None:
        (start.install() / "libcoreclr.so").unlink()
        assert_terminated(start.run(IMPORT), "std::runtime_error", "init coreclr wap")

    @pytest.mark.parametrize("status", ["0x80070002", "0x1"])
    def test_status_of_the_initialization(self, start: Start, status: str) -> None:
        start.install()
        result = start.run(IMPORT, FAKE_WRAP_INITIALIZE=status)
        assert_terminated(result, "HostException", f"coreclr_initialize failed - status:{status}")
        assert start.calls("delegate", "shutdown") == []

    def test_version_number_beyond_the_range(self, start: Start) -> None:
        start.install()
        (start.runtime_root / "netcore99999999999.1").mkdir()
        assert_terminated(start.run(IMPORT), "std::out_of_range", "stoi")

    def test_start_by_the_imaging_module_itself(self, start: Start) -> None:
        start.install()
        second = start.root / "second"
        second.mkdir()
        result = start.run(IMPORT_AFTER_SIBLINGS, SECOND_ROOT=str(second))
        assert_terminated(result, "std::runtime_error", "DynamicLibrary::load")
        start.install("fake_wrapper_without_shutdown", root=second)
        result = start.run(IMPORT_AFTER_SIBLINGS, SECOND_ROOT=str(second))
        assert_terminated(result, "std::runtime_error", "No such symbol: coreclr_wrap_shutdown")


class TestDirectories:
    """Where the bridge looks for the runtime and the assemblies."""

    def trace_of_failed_start(self, start: Start, code: str, **variables: str) -> str:
        # Unbuffered, since an abort does not flush the part of the trace that is still in the stream.
        result = start.run(code, "-u", COREHOST_TRACE="1", **variables)
        assert_terminated(result, "std::runtime_error", "DynamicLibrary::load")
        return result.stdout

    def test_no_suitable_subdirectory_means_the_executables_directory(self, start: Start) -> None:
        (start.runtime_root / "netcore3.1").mkdir()
        (start.runtime_root / "netcore6.0").touch()
        trace = self.trace_of_failed_start(start, IMPORT)
        assert f"NETCORE_DIR: '{EXE_DIR}'\r\n" in trace
        assert f"No: '{EXE_DIR}/{WRAPPER}'\r\n" in trace

    def test_unset_variable_means_the_executables_directory(self, start: Start) -> None:
        trace = self.trace_of_failed_start(start, IMPORT_ALONE, **{NETCORE_DIR: ""})
        assert f"NETCORE_DIR: '{EXE_DIR}'\r\n" in trace

    def test_root_that_is_absent_means_the_executables_directory(self, start: Start) -> None:
        trace = self.trace_of_failed_start(start, IMPORT, **{NETCORE_DIR: str(start.root / "absent")})
        assert f"NETCORE_DIR: '{EXE_DIR}'\r\n" in trace

    def test_highest_version_with_the_library_is_loaded(self, start: Start) -> None:
        start.install(version="netcore3.1")
        directory = start.install(version="netcore10.0")
        start.install(version="netcore9.0")
        (start.runtime_root / "netcore12.0").mkdir()
        result = start.run(IMPORT)
        assert result.returncode == 0, result.stderr
        assert start.calls("load") == [f"load {directory}/libcoreclr.so"]

    def test_properties_of_the_domain(self, start: Start) -> None:
        directory = start.install()
        for name in ("imaging", "pydrawing", "pyio"):
            (start.assembly_root / name).mkdir()
        result = start.run(IMPORT)
        assert result.returncode == 0, result.stderr
        others = [str(start.assembly_root / name) for name in os.listdir(start.assembly_root) if name != "pydrawing"]
        paths = ":".join([*reversed(others), str(start.assembly_root / "pydrawing"), str(directory)])
        assert start.calls("initialize") == [f"initialize {EXE} ZelmorCLRHostDomain 5"]
        assert list(start.properties().items()) == [
            ("TRUSTED_PLATFORM_ASSEMBLIES", ""),
            ("APP_PATHS", paths),
            ("APP_NI_PATHS", paths),
            ("NATIVE_DLL_SEARCH_DIRECTORIES", paths),
            ("AppDomainCompatSwitch", "UseLatestBehaviorWhenTFMNotSpecified"),
        ]

    def test_unset_assembly_variable_means_the_executables_directory(self, start: Start) -> None:
        directory = start.install()
        result = start.run(IMPORT_ALONE, **{ASSEMBLY_DIR: ""})
        assert result.returncode == 0, result.stderr
        assert start.properties()["APP_PATHS"] == f"{EXE_DIR}:{directory}"

    def test_runtime_directory_appears_once(self, start: Start) -> None:
        directory = start.install()
        result = start.run(IMPORT, **{ASSEMBLY_DIR: str(start.runtime_root)})
        assert result.returncode == 0, result.stderr
        assert start.properties()["APP_PATHS"] == str(directory)


class TestTrace:
    """The trace on standard output."""

    def test_nothing_is_printed_without_the_switch(self, start: Start) -> None:
        start.install()
        assert self.streams(start.run(IMPORT)) == (0, "", "")
        for value in ("", "0", "-1", "on"):
            assert self.streams(start.run(IMPORT, COREHOST_TRACE=value)) == (0, "", "")

    @staticmethod
    def streams(result: subprocess.CompletedProcess[str]) -> tuple[int, str, str]:
        """Everything that a process printed, and its exit status."""
        return result.returncode, result.stdout, result.stderr

    def test_lines_follow_the_steps(self, start: Start) -> None:
        directory = start.install()
        result = start.run(IMPORT, COREHOST_TRACE="1", FAKE_WRAP_SHUTDOWN="-7")
        assert result.returncode == 0, result.stderr
        before = [
            "Initializing .NET Core host...",
            f"NETCORE_DIR: '{directory}'",
            f"PRODUCT_ASSEMBLY_DIR: '{directory}'",
            f"Loading: '{directory}/{WRAPPER}'",
            "Try get module...",
        ]
        first = [
            *before,
            "No existed module...",
            "wrap dll loaded",
            f"Loading2: '{directory}/libcoreclr.so'",
            ".NET Core host ready.",
            "Creating default AppDomain...",
            f"APP_PATH: '{directory}'",
            f"APP_NI_PATHS: '{directory}'",
            f"NATIVE_DLL_SEARCH_DIRECTORIES: '{directory}'",
            "Default AppDomain ready.",
        ]
        attached = [*before, "Using existed module...", "wrap dll loaded", ".NET Core host ready."]
        end = ["Shutdowning .NET Core host...", ".NET Core host is down: -7"]
        nothing, *sections = result.stdout.split("CLR host tracing enabled\r\n")
        assert nothing == ""
        sections[-1], separator, last = sections[-1].partition(end[0])
        assert [separator + last] == ["\r\n".join([*end, ""])]
        assert sections[0] == "\r\n".join([*first, ""])
        assert len(sections) >= 2
        assert sections[1:] == ["\r\n".join([*attached, ""])] * (len(sections) - 1)


class TestDelegates:
    """Binding of the service delegates and the hand-over of callbacks."""

    def test_orders_of_binding_and_hand_over(self, start: Start) -> None:
        start.install()
        assert start.run_reporting("print(json.dumps(attempt()))") == []
        assert bound_for(start.calls("delegate")) == BOUND
        assert handed_over(start.calls("call")) == HANDED_OVER
        # The callbacks are handed over after the last binding of one host and before the first of the other.
        own = [call for call in start.calls("delegate", "call") if call.split(" ")[1] == ASSEMBLY]
        kinds = [call.split(" ")[0] for call in own]
        assert kinds == ["delegate"] * 15 + ["call"] * 10 + ["delegate"] * 11

    @pytest.mark.parametrize("number", range(len(BOUND)), ids=lambda number: f"{number}-{BOUND[number][1]}")
    def test_missing_delegate_fails_the_import(self, start: Start, number: int) -> None:
        start.install()
        chain = start.run_reporting("print(json.dumps(attempt()))", FAKE_WRAP_NO_DELEGATE=f"{ASSEMBLY},{number}")
        managed_type, entry = BOUND[number]
        assert chain == [
            ["ImportError", "One or more errors occurred while loading the module 'zelmor.imaging' (-1007)"],
            [
                "TypeError",
                f"While initializing the host for the '{managed_type} (Assembly={ASSEMBLY})' type, an error occurred"
                f" - Method '{entry}' not found (error={MISSING_METHOD})",
            ],
        ]
        # Nothing is requested after the failure, and no callback is called while the tables are incomplete.
        assert bound_for(start.calls("delegate")) == BOUND[: number + 1]
        assert handed_over(start.calls("call")) == ([] if managed_type == EXCHANGE_HOST else HANDED_OVER)
        # The runtime keeps running and is shut down at exit as usual.
        assert len(start.calls("shutdown")) == 1

    def test_import_succeeds_once_the_exchange_host_is_complete(self, start: Start) -> None:
        start.install()
        first, second = start.run_reporting(
            "print(json.dumps([attempt(), attempt()]))", FAKE_WRAP_NO_DELEGATE=f"{ASSEMBLY},4"
        )
        assert first[1][0] == "TypeError"
        assert second == []
        assert bound_for(start.calls("delegate")) == BOUND[:5] + BOUND
        assert len(start.calls("load")) == len(start.calls("initialize")) == 1

    def test_incomplete_object_host_stays_so(self, start: Start) -> None:
        start.install()
        first, second = start.run_reporting(
            "print(json.dumps([attempt(), attempt()]))", FAKE_WRAP_NO_DELEGATE=f"{ASSEMBLY},24"
        )
        assert "'GetStcType' not found" in first[1][1]
        assert second == first
        assert bound_for(start.calls("delegate")) == BOUND[:25] + BOUND[:15]
        assert handed_over(start.calls("call")) == HANDED_OVER * 2


class TestSiblingModules:
    """An unsuitable sibling makes the import fail, with the reason as the cause."""

    @pytest.mark.parametrize(
        ("module", "code"),
        [("pydrawing", -1009), ("pyreflection", -1009), ("pyio", -1009), ("pygc", -1008)],
    )
    def test_sibling_is_missing(self, start: Start, module: str, code: int) -> None:
        start.install()
        chain = start.run_reporting(f"""
{IMPORT_SIBLINGS}
sys.modules["zelmor.{module}"] = None
print(json.dumps(attempt()))
""")
        assert chain[0] == ["ImportError", self.outermost(code)]
        assert chain[1] == [
            "ImportError",
            f"Unable to import module dependencies. Cannot import the zelmor.{module} module. The module not found or"
            " errors occurred while initializing it.",
        ]
        assert chain[2][0] == "ModuleNotFoundError"
        assert len(chain) == 3

    @pytest.mark.parametrize(
        ("module", "code"),
        [("pydrawing", -1009), ("pyreflection", -1009), ("pyio", -1009), ("pygc", -1008)],
    )
    def test_sibling_is_too_old(self, start: Start, module: str, code: int) -> None:
        start.install()
        # The version view is a text of its own, so the message still shows the version that the sibling was built as.
        view, chain = start.run_reporting(f"""
{IMPORT_SIBLINGS}
import ctypes
version = zelmor.{module}.VERSION
ctypes.c_int32.from_address(id(version) + object.__basicsize__ + 4).value = 4
print(json.dumps([version.view, attempt()]))
""")
        assert chain == [
            ["ImportError", self.outermost(code)],
            [
                "ImportError",
                f"Unable to import module dependencies. Cannot import the zelmor.{module} module. The"
                f" zelmor.{module} module found has a version ('{view}') that is lower than the referenced version of"
                " that module ('23.5.0.0').",
            ],
        ]

    @pytest.mark.parametrize(
        ("capsule", "code"),
        [
            ("zelmor.pydrawing._C_APIT_Image", -1009),
            ("zelmor.pydrawing._C_APIT_Pen", -1009),
            ("zelmor.pydrawing.imaging._C_APIT_ColorMap", -1009),
            ("zelmor.pyreflection._C_APIT_Type", -1009),
            ("zelmor.pyio._C_APIT_FileMode", -1009),
            ("zelmor.pygc._C_APIF", -1008),
        ],
    )
    def test_sibling_lacks_a_capsule(self, start: Start, capsule: str, code: int) -> None:
        start.install()
        chain = start.run_reporting(f"""
{IMPORT_SIBLINGS}
del {capsule}
print(json.dumps(attempt()))
""")
        assert chain[0] == ["ImportError", self.outermost(code)]
        assert chain[1] == ["ImportError", f"can't import capsule '{capsule}'"]
        assert chain[2][0] == "AttributeError"
        assert bound_for(start.calls("delegate")) == []

    @staticmethod
    def outermost(code: int) -> str:
        """The message that names the module and the place of the failure."""
        return f"One or more errors occurred while loading the module 'zelmor.imaging' ({code})"
