"""The module's own version, and the versions of the sibling modules that it requires at its import."""

from __future__ import annotations

import json
from typing import Any

import pytest

from support.made_up_siblings import CAPSULES, MAKE_UP, SIBLINGS, import_over, made_up, run_child

CODES = dict.fromkeys(SIBLINGS, -1009) | {"zelmor.pygc": -1008}
ALL_CAPSULES = [(module, capsule) for module, capsules in CAPSULES.items() for capsule in capsules]


def failure(module: str) -> list[str]:
    """The outermost exception of an import that failed at this sibling."""
    return ["ImportError", f"One or more errors occurred while loading the module 'zelmor.imaging' ({CODES[module]})"]


def refusal(module: str, reason: str) -> list[str]:
    """The exception with the reason why a sibling was refused."""
    prefix = f"Unable to import module dependencies. Cannot import the {module} module. "
    return ["ImportError", prefix + reason]


def fnv1a(numbers: list[int]) -> int:
    """The FNV-1a hash over the little-endian bytes of 32-bit numbers, as a signed 32-bit value."""
    value = 2166136261
    for byte in b"".join(number.to_bytes(4, "little", signed=True) for number in numbers):
        value = (value ^ byte) * 16777619 % 2**32
    return value - 2**32 if value >= 2**31 else value


class TestRefusedSiblings:
    """Each way in which one sibling can be unsuitable, for each sibling."""

    @pytest.fixture
    def siblings(self) -> dict[str, Any]:
        return made_up()

    @pytest.mark.parametrize("module", SIBLINGS)
    def test_older_than_required(self, siblings: dict[str, Any], module: str) -> None:
        siblings[module]["VERSION"] = [[23, 4, 0, 0], "23.4.0.0"]
        reason = (
            f"The {module} module found has a version ('23.4.0.0') that is lower than the referenced version of that "
            "module ('23.5.0.0')."
        )
        assert import_over(siblings) == [failure(module), refusal(module, reason)]

    @pytest.mark.parametrize("module", SIBLINGS)
    def test_dropped_the_required_version(self, siblings: dict[str, Any], module: str) -> None:
        siblings[module]["VERSION"] = [[24, 0, 0, 0], "24.0.0.0"]
        siblings[module]["_BACKWARD_COMPATIBILITY_THRESHOLD"] = [[23, 6, 0, 0], "23.6.0.0"]
        reason = (
            "The installed version of the module ('24.0.0.0') is not compatible with the referenced vesion of the "
            "module ('23.5.0.0'). The installed version of the module is not compatible with the module versions < "
            "'23.6.0.0'. Update dendend module 'zelmor.imaging' to a latest version."
        )
        assert import_over(siblings) == [failure(module), refusal(module, reason)]

    def test_shows_the_text_of_the_sibling_and_not_its_numbers(self, siblings: dict[str, Any]) -> None:
        siblings["zelmor.pyio"]["VERSION"] = [[23, 4, 9, 9], "twenty-three pre"]
        assert "has a version ('twenty-three pre') that is lower" in import_over(siblings)[1][1]

    @pytest.mark.parametrize("module", SIBLINGS)
    def test_without_version(self, siblings: dict[str, Any], module: str) -> None:
        siblings[module]["VERSION"] = None
        reason = f"The {module} module found does not have 'VERSION' attribute to check version compatibility."
        assert import_over(siblings) == [failure(module), refusal(module, reason)]

    @pytest.mark.parametrize("module", SIBLINGS)
    def test_without_threshold(self, siblings: dict[str, Any], module: str) -> None:
        siblings[module]["_BACKWARD_COMPATIBILITY_THRESHOLD"] = None
        reason = (
            f"The {module} module found does not have 'BACKWARD_COMPATIBILITY_THRESHOLD' attribute to check version "
            "compatibility."
        )
        assert import_over(siblings) == [failure(module), refusal(module, reason)]

    @pytest.mark.parametrize("module", SIBLINGS)
    def test_missing(self, siblings: dict[str, Any], module: str) -> None:
        siblings[module] = None
        assert import_over(siblings) == [
            failure(module),
            refusal(module, "The module not found or errors occurred while initializing it."),
            ["ModuleNotFoundError", f"import of {module} halted; None in sys.modules"],
        ]

    @pytest.mark.parametrize(("module", "capsule"), ALL_CAPSULES)
    def test_without_a_capsule(self, siblings: dict[str, Any], module: str, capsule: str) -> None:
        siblings[module]["capsules"].remove(capsule)
        chain = import_over(siblings)
        assert chain[:2] == [failure(module), ["ImportError", f"can't import capsule '{capsule}'"]]
        assert len(chain) == 3  # the interpreter's own message
        assert chain[2][0] in ("AttributeError", "ImportError")

    @pytest.mark.parametrize("module", ["zelmor.pydrawing", "zelmor.pyreflection", "zelmor.pyio"])
    def test_they_are_imported_in_order(self, siblings: dict[str, Any], module: str) -> None:
        for later in SIBLINGS:
            if SIBLINGS.index(later) >= SIBLINGS.index(module):
                siblings[later]["VERSION"] = None
        reason = f"The {module} module found does not have 'VERSION' attribute to check version compatibility."
        assert import_over(siblings) == [failure(module), refusal(module, reason)]

    def test_a_retry_reports_anew(self, siblings: dict[str, Any]) -> None:
        siblings["zelmor.pyio"] = None
        code = MAKE_UP + "\n".join([
            "found = []",
            "for _ in range(2):",
            "    try:",
            "        import zelmor.imaging",
            "    except ImportError as error:",
            "        found.append(str(error))",
            "print(json.dumps(found))",
        ])
        assert run_child(code, json.dumps(siblings)) == [failure("zelmor.pyio")[1]] * 2


class TestAcceptedSiblings:
    """Suitable siblings are accepted; the module then works as far as it needs no converter."""

    def test_exactly_the_required_version(self) -> None:
        assert import_over(made_up()) == []

    @pytest.mark.parametrize("version", [[23, 5, 0, 1], [23, 6, 0, 0], [25, 0, 0, 0]])
    @pytest.mark.parametrize("threshold", [[23, 5, 0, 0], [22, 6, 0, 0], [0, 0, 0, 0]])
    def test_newer_with_a_threshold_that_reaches_back(self, version: list[int], threshold: list[int]) -> None:
        siblings = made_up()
        for sibling in siblings.values():
            sibling["VERSION"] = [version, "new"]
            sibling["_BACKWARD_COMPATIBILITY_THRESHOLD"] = [threshold, "old"]
        assert import_over(siblings) == []


#: Capsules over functions of the test, which record the entry that is used.
RECORDING = """
import ctypes, json, sys
import zelmor.pydrawing, zelmor.pyreflection, zelmor.pyio, zelmor.pygc
import zelmor_testkit
log = []
keep = []

def replace(capsule, index, answer):
    # The entry of the real capsule, in a copy in which one other entry records that it was called.
    holder, _, attribute = capsule.rpartition(".")
    module = sys.modules[holder] if holder in sys.modules else eval(holder)
    real = getattr(module, attribute)
    entries = zelmor_testkit.read_capsule(real, 1 if capsule.endswith("_C_APIF") else 3)
    keep.append(real)
    function = answer(entries[index])
    keep.append(function)
    entries[index] = ctypes.cast(function, ctypes.c_void_p).value
    setattr(module, attribute, zelmor_testkit.make_capsule(capsule, entries))

def to_python(name):
    kind = ctypes.PYFUNCTYPE(ctypes.py_object, ctypes.c_void_p)
    def answer(address):
        real = kind(address)
        return kind(lambda value: (log.append(name), real(value))[1])
    return answer

def from_python(name):
    kind = ctypes.PYFUNCTYPE(ctypes.c_int, ctypes.py_object, ctypes.c_void_p)
    def answer(address):
        real = kind(address)
        return kind(lambda value, out: (log.append(name), real(value, out))[1])
    return answer

def cast_result(name):
    kind = ctypes.PYFUNCTYPE(ctypes.py_object, ctypes.c_int, ctypes.c_void_p)
    def answer(address):
        real = kind(address)
        return kind(lambda status, value: (log.append(name), real(status, value))[1])
    return answer
"""


class TestCapsuleEntries:
    """The purpose of each entry of a capsule."""

    @pytest.mark.parametrize(
        ("capsule", "index", "kind", "use"),
        [
            ("zelmor.pyreflection._C_APIT_Type", 1, "to_python", "imaging.Size._type_of()"),
            ("zelmor.pyreflection._C_APIT_Type", 1, "to_python", "imaging.Size(1, 2).get_type()"),
            ("zelmor.pyreflection._C_APIT_Type", 2, "from_python",
             "imaging.Size(1, 2)._cast_from(imaging.SizeF._type_of())"),
            ("zelmor.pyreflection._C_APIT_Enum", 1, "to_python", "imaging.FileFormat.BMP._as_uni_enum()"),
            ("zelmor.pygc._C_APIF", 0, "cast_result", "imaging.Size._cast_to(5)"),
        ],
    )
    def test_is_used(self, capsule: str, index: int, kind: str, use: str) -> None:
        code = "\n".join([
            RECORDING,
            f"replace({capsule!r}, {index}, {kind}('called'))",
            "import zelmor.imaging as imaging",
            "before = list(log)",
            "try:",
            f"    {use}",
            "except RuntimeError:",
            "    pass",
            "print(json.dumps([before, log]))",
        ])
        before, after = run_child(code)
        assert before == []
        assert after == ["called"]


class TestOwnVersion:
    """`VERSION` and `_BACKWARD_COMPATIBILITY_THRESHOLD` of the module itself."""

    @pytest.fixture(scope="class")
    def imaging(self) -> Any:
        import zelmor.imaging

        return zelmor.imaging

    def test_numbers_and_texts(self, imaging: Any) -> None:
        version, threshold = imaging.VERSION, imaging._BACKWARD_COMPATIBILITY_THRESHOLD
        assert (version.major, version.minor, version.patch, version.sub, version.view) == (23, 6, 0, 0, "23.6.0.0")
        assert (threshold.major, threshold.minor, threshold.patch, threshold.sub) == (22, 6, 0, 0)
        assert str(version) == "23.6.0.0"
        assert str(threshold) == "22.6.0.0"
        assert repr(version) == "<zelmor.imaging._ModuleVersionType: 23.6.0.0>"

    def test_order(self, imaging: Any) -> None:
        version, threshold = imaging.VERSION, imaging._BACKWARD_COMPATIBILITY_THRESHOLD
        assert version > threshold
        assert version >= threshold
        assert threshold < version
        assert version != threshold
        assert version == imaging.VERSION

    def test_is_not_its_text(self, imaging: Any) -> None:
        assert not imaging.VERSION == "23.6.0.0"
        assert imaging.VERSION.__eq__("23.6.0.0") is NotImplemented
        with pytest.raises(TypeError):
            _ = imaging.VERSION < "23.7.0.0"

    def test_is_not_a_siblings_version(self, imaging: Any) -> None:
        import zelmor.pyio

        assert not isinstance(zelmor.pyio.VERSION, imaging._ModuleVersionType)
        assert imaging.VERSION.__eq__(zelmor.pyio.VERSION) is NotImplemented

    def test_hash(self, imaging: Any) -> None:
        assert hash(imaging.VERSION) == fnv1a([23, 6, 0, 0])
        assert hash(imaging._BACKWARD_COMPATIBILITY_THRESHOLD) == fnv1a([22, 6, 0, 0])

    @pytest.mark.parametrize("attribute", ["major", "minor", "patch", "sub", "view"])
    def test_is_read_only(self, imaging: Any, attribute: str) -> None:
        with pytest.raises(AttributeError):
            setattr(imaging.VERSION, attribute, 1)
        with pytest.raises(AttributeError):
            delattr(imaging.VERSION, attribute)

    def test_type(self, imaging: Any) -> None:
        assert imaging.VERSION.__class__ is imaging._ModuleVersionType
        with pytest.raises(TypeError, match=r"^cannot create 'zelmor\.imaging\._ModuleVersionType' instances$"):
            imaging._ModuleVersionType(1, 2, 3, 4)
