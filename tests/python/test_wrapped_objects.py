"""What all wrappers have in common: their record, text, hash, comparison, type, and what they refuse."""

from __future__ import annotations

import gc
import sys
import weakref
from typing import Any

import pytest
from module_tree import API_WRAPPERS, WRAPPERS, dotted

import zelmor.imaging as imaging
from zelmor.imaging import LoadOptions, Size, SizeF
from zelmor.imaging.imageoptions import PngOptions

HAVE_GC = 1 << 14
BASETYPE = 1 << 10


@pytest.fixture(params=["struct", "class"])
def instance(request: pytest.FixtureRequest) -> Any:
    """A wrapper of each kind."""
    return Size(3, 4) if request.param == "struct" else LoadOptions()


class TestEveryType:
    """The static record, for each of the wrapper types."""

    @pytest.mark.parametrize("kind", WRAPPERS, ids=dotted)
    def test_record(self, kind: Any) -> None:
        # A stream alone has a field behind its handle.
        size = 32 if kind.__name__ == "_StreamWrapper" else 24
        assert (kind.__basicsize__, kind.__itemsize__) == (size, 0)
        assert (kind.__dictoffset__, kind.__weakrefoffset__) == (0, 0)
        assert kind.__flags__ & (HAVE_GC | BASETYPE) == 0

    @pytest.mark.parametrize("kind", WRAPPERS, ids=dotted)
    def test_python_cannot_derive_from_it(self, kind: Any) -> None:
        with pytest.raises(TypeError, match=f"^type '{dotted(kind)}' is not an acceptable base type$"):
            type("Derived", (kind,), {})

    def test_names_are_dotted(self) -> None:
        assert imaging.Image.__module__ == "zelmor.imaging"
        assert repr(imaging.Image) == "<class 'zelmor.imaging.Image'>"
        assert [type_ for type_ in API_WRAPPERS if not type_.__module__.startswith("zelmor.imaging")] == []


class TestText:
    """`str` and `repr` are the managed text."""

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


class TestComparison:
    """Equality is the managed one, and there is no order."""

    def test_an_object_equals_itself(self, instance: Any) -> None:
        same = instance
        assert instance == same
        assert not instance != same

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

    def test_with_none(self, instance: Any) -> None:
        assert instance.__eq__(None) is False
        assert instance.__ne__(None) is True

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
    """The hash is the managed one."""

    def test_equal_values_hash_alike(self) -> None:
        assert hash(Size(3, 4)) == hash(Size(3, 4))
        assert len({Size(3, 4), Size(3, 4), Size(4, 3)}) == 2

    def test_fits_a_managed_hash_code(self, instance: Any) -> None:
        assert hash(instance) == hash(instance)
        assert -(2**31) <= hash(instance) < 2**31
        assert hash(instance) != -1


class TestGetType:
    """`get_type` gives the run-time managed type."""

    def test_equals_the_type_of_the_class(self, instance: Any) -> None:
        assert instance.get_type() == type(instance)._type_of()
        assert dotted(type(instance.get_type())) == "zelmor.pyreflection.Type"

    def test_differs_between_types(self) -> None:
        assert Size(1, 2).get_type() != SizeF(1, 2).get_type()

    def test_is_that_of_the_instance_and_not_of_the_wrapper(self) -> None:
        as_base = imaging.ImageOptionsBase._cast_to(PngOptions()).value
        assert type(as_base) is imaging.ImageOptionsBase
        assert as_base.get_type() == PngOptions._type_of()

    def test_takes_no_arguments(self, instance: Any) -> None:
        with pytest.raises(TypeError):
            instance.get_type(1)


class TestWhatIsRefused:
    """A wrapper has no room for anything of Python's."""

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
    """Types with and without constructor, and half-made objects."""

    @pytest.mark.parametrize(
        "kind", [imaging.Image, imaging.IColorPalette, imaging.ImageOptionsBase, imaging.Cache], ids=dotted
    )
    @pytest.mark.parametrize("arguments", [(), (1, 2)])
    def test_a_type_without_constructor(self, kind: Any, arguments: tuple[int, ...]) -> None:
        with pytest.raises(TypeError, match="^type has no available constructor$"):
            kind(*arguments)

    def test_they_are_351(self) -> None:
        def refuses(kind: Any) -> bool:
            try:
                kind.__init__(kind.__new__(kind))
            except TypeError as error:
                return str(error) == "type has no available constructor"
            except RuntimeError:
                pass
            return False

        assert sum(map(refuses, API_WRAPPERS)) == 351

    def test_a_second_init_replaces_what_is_held(self) -> None:
        size = Size(1, 2)
        size.__init__(3, 4)
        assert (size.width, size.height) == (3, 4)

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
