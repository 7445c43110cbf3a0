"""Several bridge modules in one process: the first one starts the runtime, the others attach to it."""

from __future__ import annotations

from pathlib import Path

import pytest

from support.runtimes import embedded_only
from support.startup_process import Start

SIBLINGS = ["zelmor.pygc", "zelmor.pydrawing", "zelmor.pyio", "zelmor.pyreflection", "zelmor.pycore"]
ORDERS = [
    ["zelmor.imaging"],
    ["zelmor.imaging", *SIBLINGS],
    [*SIBLINGS, "zelmor.imaging"],
    [*reversed(SIBLINGS), "zelmor.imaging"],
    *([sibling, "zelmor.imaging"] for sibling in SIBLINGS),
    *(["zelmor.imaging", sibling] for sibling in SIBLINGS),
]


@pytest.fixture
def start(tmp_path: Path) -> Start:
    start = Start(tmp_path)
    start.install()
    start.assembly_root.mkdir()
    return start


def lifecycle(start: Start) -> list[str]:
    """The names of the calls that start, attach to and stop the runtime, in order."""
    return [call.split(" ")[0] for call in start.calls("load", "initialize", "is_domain_initialized", "shutdown")]


@pytest.mark.parametrize("modules", ORDERS, ids=lambda modules: "-".join(name.split(".")[1] for name in modules))
def test_runtime_starts_and_stops_once_in_any_order(start: Start, modules: list[str]) -> None:
    result = start.run("".join(f"import {module}\n" for module in modules) + "print('up', flush=True)")
    assert (result.returncode, result.stdout, result.stderr) == (0, "up\n", "")
    calls = lifecycle(start)
    assert calls[:2] == ["load", "initialize"]
    assert calls[-1] == "shutdown"
    attached = calls[2:-1]
    assert attached and set(attached) == {"is_domain_initialized"}


def test_every_module_asks_for_delegates_of_its_own_assembly(start: Start) -> None:
    result = start.run("import zelmor.imaging")
    assert result.returncode == 0, result.stderr
    assemblies = {call.split(" ")[1] for call in start.calls("delegate")}
    assert {
        "WrpInterop.Zelmor.Imaging",
        "WrpInterop.Zelmor.PyDrawing",
        "WrpInterop.Zelmor.PyReflection",
        "WrpInterop.Zelmor.PyIo",
        "WrpInterop.Zelmor.PyGc",
    } <= assemblies


def test_module_alone_starts_and_stops_the_runtime(start: Start) -> None:
    for module in SIBLINGS[:4]:
        start.log_file.unlink(missing_ok=True)
        result = start.run(f"import {module}")
        assert result.returncode == 0, result.stderr
        calls = lifecycle(start)
        assert calls[:2] == ["load", "initialize"] and calls[-1] == "shutdown", module


def test_joining_a_process_without_a_domain_is_no_failure_by_itself(start: Start) -> None:
    # The import succeeds because the delegates are there; the flag alone does not prevent it.
    result = start.run("import zelmor.imaging", FAKE_WRAP_IS_DOMAIN="0")
    assert result.returncode == 0, result.stderr
    assert lifecycle(start)[-1] == "shutdown"


def test_failed_import_leaves_the_runtime_up(start: Start) -> None:
    result = start.run(
        """
import zelmor.pygc
try:
    import zelmor.imaging
except ImportError as error:
    print(str(error)[-7:])
import zelmor.pydrawing
""",
        FAKE_WRAP_NO_DELEGATE="WrpInterop.Zelmor.Imaging,0",
    )
    assert (result.returncode, result.stdout) == (0, "(-1007)\n"), result.stderr
    calls = lifecycle(start)
    assert calls.count("load") == calls.count("initialize") == calls.count("shutdown") == 1
    assert calls[-1] == "shutdown"


def test_runtime_outlives_the_interpreter(start: Start) -> None:
    # Functions registered with atexit can still use the runtime; it is shut down later, by exit handlers of the
    # process.
    result = start.run(
        """
import atexit, os, zelmor.imaging
def late():
    calls = open(os.environ["FAKE_WRAP_LOG"]).read()
    print("shutdown" in calls)
atexit.register(late)
"""
    )
    assert (result.returncode, result.stdout) == (0, "False\n"), result.stderr
    assert lifecycle(start)[-1] == "shutdown"


def test_hard_exit_shuts_nothing_down(start: Start) -> None:
    result = start.run("import os, zelmor.imaging\nos._exit(0)")
    assert result.returncode == 0, result.stderr
    assert "shutdown" not in lifecycle(start)


def test_a_forked_child_leaves_the_runtime_to_its_parent(start: Start) -> None:
    # The child ends like any program, with all exit handlers; then the parent uses a type for the first time.
    assert child_and_parent(start, "print(1)") == "1\nFalse 3\n"


@embedded_only("a forked child of a process with .NET must not call it")
def test_a_forked_child_uses_the_runtime_and_leaves_it_to_its_parent(start: Start) -> None:
    assert child_and_parent(start, "print(zelmor.imaging.Size(1, 2).width)") == "1\nFalse 3\n"


def child_and_parent(start: Start, code: str) -> str:
    """The output of a forked child that runs the code, and of its parent after that."""
    result = start.run(
        f"""
import os, sys, zelmor.imaging
if os.fork() == 0:
    {code}
    sys.exit(0)
assert os.wait()[1] == 0
print("shutdown" in open(os.environ["FAKE_WRAP_LOG"]).read(), zelmor.imaging.Point(3, 4).x)
"""
    )
    assert result.returncode == 0, result.stderr
    assert lifecycle(start).count("shutdown") == 1
    return result.stdout


@embedded_only("a forked child of a process with .NET must not call it")
def test_the_runtime_itself_does_not_take_its_end_from_a_forked_child(start: Start) -> None:
    result = start.run(
        """
import ctypes, os, sys, zelmor.imaging
wrapper = ctypes.CDLL(os.environ["FAKE_WRAP_REAL"])
if os.fork() == 0:
    os._exit(wrapper.coreclr_wrap_shutdown() & 0xFF)
refused = os.waitstatus_to_exitcode(os.wait()[1])
print(refused != 0, wrapper.coreclr_wrap_shutdown(), flush=True)
os._exit(0)
"""
    )
    assert (result.returncode, result.stdout) == (0, "True 0\n"), result.stderr


def test_modules_of_one_process_keep_their_symbols_apart(start: Start) -> None:
    # Each module has its own variable for the domain name and exports no other data symbol.
    result = start.run(
        """
import ctypes, zelmor.imaging, zelmor.pydrawing
addresses = set()
for module in (zelmor.imaging, zelmor.pydrawing):
    variable = ctypes.c_char_p.in_dll(ctypes.PyDLL(module.__file__), "ZelmorDomainName")
    assert variable.value == b"ZelmorCLRHostDomain"
    addresses.add(ctypes.addressof(variable))
print(len(addresses))
"""
    )
    assert (result.returncode, result.stdout) == (0, "2\n"), result.stderr
