"""Common features of all wrappers: their record, text, hash, comparison, type, and unsupported operations."""

from __future__ import annotations

import gc
import sys
import weakref
from typing import Any

import pytest

import zelmor.imaging as imaging
from zelmor.imaging import LoadOptions, Size, SizeF
from zelmor.imaging.imageoptions import PngOptions

from support.control import Call, Control
from support.module_tree import API_WRAPPERS, MODEL, WRAPPERS, dotted

HAVE_GC = 1 << 14
BASETYPE = 1 << 10
EXCHANGE_HOST = "Zelmor.WrpGen.Interop.ExchangeHost"
OBJECT_HOST = "Zelmor.WrpGen.Interop.ObjectHost"


@pytest.fixture(params=["struct", "class"])
def instance(request: pytest.FixtureRequest) -> Any:
    """A wrapper of each kind."""
    return Size(3, 4) if request.param == "struct" else LoadOptions()


@pytest.fixture
def services(instance: Any) -> dict[str, str]:
    """The object services for the kind of the instance, by purpose."""
    suffix = "Stc" if isinstance(instance, Size) else "Obj"
    return {name: f"{prefix}Of{suffix}" for name, prefix in
            [("text", "ToString"), ("hash", "GetHash"), ("equals", "IsEquals")]} | {"type": f"Get{suffix}Type"}


def methods(calls: list[Call], host: str) -> list[str]:
    """The entry points of a service class that were called."""
    return [call.method for call in calls if call.type == host]


class TestRelease:
    """Every handle is released exactly once."""

    def test_at_the_end_of_the_wrapper(self, control: Control, instance: Any) -> None:
        made = type(instance)()
        with control.journal() as calls:
            del made
        assert methods(calls, EXCHANGE_HOST) == ["FreeInstance"]

    def test_two_wrappers_of_one_object_hold_a_handle_each(self, control: Control) -> None:
        with control.journal() as calls:
            options = LoadOptions()
            other = LoadOptions._cast_to(options).value
            assert options is not other
            del options, other
        freed = [call.arguments[0] for call in calls if call.method == "FreeInstance"]
        assert len(freed) == len(set(freed)) == 2

    def test_nothing_of_an_empty_wrapper(self, control: Control, instance: Any) -> None:
        kind: Any = type(instance)
        empty = kind.__new__(kind)
        with control.journal() as calls:
            del empty
        assert calls == []

    def test_with_an_exception_on_its_way(self, instance: Any) -> None:
        def fails() -> None:
            kept = type(instance)()
            raise ValueError(str(kept))

        with pytest.raises(ValueError, match=".+"):
            fails()


class TestEveryType:
    """The static record of each of the wrapper types."""

    def test_size(self) -> None:
        # Only a stream has a field after its handle.
        odd = {dotted(kind): kind.__basicsize__ for kind in WRAPPERS if kind.__basicsize__ != 24}
        assert odd == {"zelmor.imaging._wrpgen._interop._StreamWrapper": 32}
        assert [kind for kind in WRAPPERS if kind.__itemsize__ != 0] == []

    def test_no_dictionary_weak_references_or_collector(self) -> None:
        assert [kind for kind in WRAPPERS if (kind.__dictoffset__, kind.__weakrefoffset__) != (0, 0)] == []
        assert [kind for kind in WRAPPERS if kind.__flags__ & HAVE_GC] == []

    def test_python_cannot_derive_from_it(self) -> None:
        for kind in WRAPPERS:
            assert kind.__flags__ & BASETYPE == 0
            with pytest.raises(TypeError, match=f"^type '{dotted(kind)}' is not an acceptable base type$"):
                type("Derived", (kind,), {})

    def test_names_are_dotted(self) -> None:
        assert imaging.Image.__module__ == "zelmor.imaging"
        assert repr(imaging.Image) == "<class 'zelmor.imaging.Image'>"
        assert [type_ for type_ in API_WRAPPERS if not type_.__module__.startswith("zelmor.imaging")] == []


class TestText:
    """`str` and `repr` are the text that the managed side returns."""

    def test_both_are_the_same(self, instance: Any) -> None:
        assert str(instance) == repr(instance) == f"{instance}"
        assert str(instance)

    def test_is_that_of_the_value(self) -> None:
        assert str(Size(3, 4)) == str(Size(3, 4))
        assert "3" in str(Size(3, 4))
        assert str(Size(3, 4)) != str(Size(4, 3))

    def test_inside_an_except_block_leaves_the_handled_exception_alone(self, instance: Any) -> None:
        try:
            raise ValueError("handled")
        except ValueError as error:
            text = repr(instance)
            assert sys.exc_info()[1] is error
            assert error.__context__ is None
        assert text == repr(instance)

    @pytest.mark.parametrize("status", [0, 2])
    def test_falls_back_on_the_type_name(
        self, control: Control, instance: Any, services: dict[str, str], status: int
    ) -> None:
        control.return_next(OBJECT_HOST, services["text"], status)
        assert repr(instance) == f"<{dotted(type(instance))} object at 0x{id(instance):x}>"

    def test_failure_propagates(self, control: Control, instance: Any, services: dict[str, str]) -> None:
        control.raise_next(OBJECT_HOST, services["text"], "NoText", "none at all")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NoText\): none at all$"):
            str(instance)


class TestComparison:
    """The managed side decides on equality; there is no order."""

    def test_an_object_equals_itself_without_a_managed_call(self, control: Control, instance: Any) -> None:
        same = instance
        with control.journal() as calls:
            assert instance == same
            assert not instance != same
        assert calls == []

    def test_is_the_result_of_the_managed_side(
        self, control: Control, instance: Any, services: dict[str, str]
    ) -> None:
        other = type(instance)()
        for answer, equal in [(0, False), (1, True), (0x100, False)]:
            control.return_next(OBJECT_HOST, services["equals"], answer)
            assert (instance == other) is equal
            control.return_next(OBJECT_HOST, services["equals"], answer)
            assert (instance != other) is not equal

    def test_failure_propagates(self, control: Control, instance: Any, services: dict[str, str]) -> None:
        control.raise_next(OBJECT_HOST, services["equals"], "NotComparable", "with that")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NotComparable\): with that$"):
            _ = instance == Size(9, 9)

    def test_two_wrappers_of_equal_values(self) -> None:
        assert Size(3, 4) == Size(3, 4)
        assert Size(3, 4) is not Size(3, 4)
        assert Size(3, 4) != Size(4, 3)
        assert not Size(3, 4) == Size(4, 3)

    def test_two_wrappers_of_one_managed_object(self) -> None:
        image_options = PngOptions()
        other = PngOptions._cast_to(image_options).value
        assert other is not image_options
        assert other == image_options
        assert hash(other) == hash(image_options)

    @pytest.mark.parametrize("other", [5, "text", 2.5, object(), Size, [], ...])
    def test_with_something_else(self, instance: Any, other: Any) -> None:
        assert not instance == other
        assert instance != other
        assert instance.__eq__(other) is NotImplemented
        assert instance.__ne__(other) is NotImplemented

    def test_with_something_else_makes_no_managed_call(self, control: Control, instance: Any) -> None:
        with control.journal() as calls:
            assert instance != 5
        assert calls == []

    def test_with_none_reaches_the_managed_side_as_null(
        self, control: Control, instance: Any, services: dict[str, str]
    ) -> None:
        with control.journal() as calls:
            assert instance.__eq__(None) is False
            assert instance.__ne__(None) is True
        assert methods(calls, OBJECT_HOST) == [services["equals"]] * 2
        assert {call.records[1] for call in calls} == {bytes(16)}

    def test_of_a_class_with_a_struct(self) -> None:
        assert LoadOptions().__eq__(Size(1, 2)) is False
        assert Size(1, 2).__eq__(LoadOptions()) is False

    @pytest.mark.parametrize("operator", ["__lt__", "__le__", "__gt__", "__ge__"])
    def test_there_is_no_order(self, instance: Any, operator: str) -> None:
        assert getattr(instance, operator)(instance) is NotImplemented
        with pytest.raises(TypeError, match="^'<' not supported between instances of"):
            _ = instance < instance

    def test_the_reflected_comparison_of_the_other_operand_runs(self, instance: Any) -> None:
        class Equal:
            def __eq__(self, other: object) -> bool:
                return True

            __hash__ = None  # type: ignore[assignment]

        assert instance == Equal()


class TestHash:
    """The hash is the one that the managed side computes."""

    def test_equal_values_hash_alike(self) -> None:
        assert hash(Size(3, 4)) == hash(Size(3, 4))
        assert len({Size(3, 4), Size(3, 4), Size(4, 3)}) == 2

    def test_fits_a_managed_hash_code(self, instance: Any) -> None:
        assert hash(instance) == hash(instance)
        assert -(2**31) <= hash(instance) < 2**31
        assert hash(instance) != -1

    @pytest.mark.parametrize(
        ("managed", "expected"), [(0, 0), (7, 7), (2**31 - 1, 2**31 - 1), (-(2**31), -(2**31)), (-2, -2), (-1, -2)]
    )
    def test_is_sign_extended_and_never_minus_one(
        self, control: Control, instance: Any, services: dict[str, str], managed: int, expected: int
    ) -> None:
        control.return_next(OBJECT_HOST, services["hash"], managed)
        assert hash(instance) == expected

    def test_failure_propagates(self, control: Control, instance: Any, services: dict[str, str]) -> None:
        control.raise_next(OBJECT_HOST, services["hash"], "NoHash", "none at all")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NoHash\): none at all$"):
            hash(instance)


class TestGetType:
    """`get_type` returns the run-time managed type."""

    def test_equals_the_type_of_the_class(self, instance: Any) -> None:
        assert instance.get_type() == type(instance)._type_of()
        assert dotted(type(instance.get_type())) == "zelmor.pyreflection.Type"

    def test_differs_between_types(self) -> None:
        assert Size(1, 2).get_type() != SizeF(1, 2).get_type()

    def test_is_that_of_the_instance_and_not_of_the_wrapper(self) -> None:
        as_base = imaging.ImageOptionsBase._cast_to(PngOptions()).value
        assert type(as_base) is imaging.ImageOptionsBase
        assert as_base.get_type() == PngOptions._type_of()

    def test_failure_propagates(self, control: Control, instance: Any, services: dict[str, str]) -> None:
        control.raise_next(OBJECT_HOST, services["type"], "NoType", "none at all")
        with pytest.raises(RuntimeError, match=r"^Proxy error\(NoType\): none at all$"):
            instance.get_type()

    def test_takes_no_arguments(self, instance: Any) -> None:
        with pytest.raises(TypeError):
            instance.get_type(1)


class TestWhatIsRefused:
    """A wrapper cannot store attributes of Python."""

    def test_attributes_of_its_own(self, instance: Any) -> None:
        with pytest.raises(AttributeError, match=f"^'{dotted(type(instance))}' object has no attribute 'foo'$"):
            instance.foo = 1
        assert not hasattr(instance, "__dict__")

    def test_weak_references(self, instance: Any) -> None:
        with pytest.raises(TypeError, match="^cannot create weak reference to"):
            weakref.ref(instance)

    def test_the_collector(self, instance: Any) -> None:
        assert not gc.is_tracked(instance)


class TestConstruction:
    """Types with and without a constructor, and objects without a handle."""

    @pytest.mark.parametrize(
        "kind", [imaging.Image, imaging.IColorPalette, imaging.ImageOptionsBase, imaging.Cache], ids=dotted
    )
    @pytest.mark.parametrize("arguments", [(), (1, 2)])
    def test_a_type_without_constructor(self, kind: Any, arguments: tuple[int, ...]) -> None:
        with pytest.raises(TypeError, match="^type has no available constructor$"):
            kind(*arguments)

    def test_they_are_those_of_the_catalogue(self) -> None:
        def refuses(kind: Any) -> bool:
            try:
                kind.__init__(kind.__new__(kind))
            except TypeError as error:
                return str(error) == "type has no available constructor"
            except RuntimeError:
                pass
            return False

        expected = {entry.dotted for entry in MODEL.types if not entry.is_enum and not entry.constructors}
        found = {dotted(kind) for kind in API_WRAPPERS if refuses(kind)}
        assert found == expected

    @pytest.mark.keeps_handles(1)
    def test_a_second_init_replaces_what_is_held(self) -> None:
        size = Size(1, 2)
        size.__init__(3, 4)
        assert (size.width, size.height) == (3, 4)  # and the first handle is never released

    def test_new_alone_makes_an_empty_wrapper(self) -> None:
        empty = LoadOptions.__new__(LoadOptions)
        with pytest.raises(RuntimeError, match=r"^Proxy error\("):
            _ = empty.buffer_size_hint
        with pytest.raises(RuntimeError, match=r"^Proxy error\("):
            empty.get_type()

    def test_an_empty_wrapper_passes_as_a_null_argument(self) -> None:
        empty = imaging.ImageOptionsBase.__new__(imaging.ImageOptionsBase)
        casted = PngOptions._cast_to(empty)
        assert casted.value is None

    def test_a_failed_init_leaves_an_empty_wrapper(self) -> None:
        with pytest.raises(TypeError):
            Size("a")
        empty = Size.__new__(Size)
        with pytest.raises(TypeError):
            empty.__init__("a")
        with pytest.raises(RuntimeError, match=r"^Proxy error\("):
            _ = empty.width

    def test_references_are_balanced(self) -> None:
        before = sys.getrefcount(Size)
        sizes = [Size(n, n) for n in range(100)]
        assert {size.width for size in sizes} == set(range(100))
        del sizes
        assert sys.getrefcount(Size) == before
