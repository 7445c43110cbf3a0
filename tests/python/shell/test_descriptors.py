"""Descriptors: static properties, names with static and instance overloads, and the members of enumerations."""

from __future__ import annotations

from typing import Any

import pytest

import zelmor.imaging as imaging
from zelmor.imaging import FileFormat, PointF, Rectangle, RectangleF, Size, SizeF
from zelmor.imaging.xmp import XmpArrayType

from support.module_tree import ENUMS, WRAPPERS, dotted

STATIC_ENTRIES = ["_type_of", "_cast_to", "_reinterpret_obj", "_cast_as", "_is_assignable"]
INSTANCE_ENTRIES = ["_cast_from", "_as_uni_enum", "get_type"]


def type_of(kind: Any) -> Any:
    """The managed type of a class."""
    return kind._type_of()


def refusal(name: str, owner: str, given: str) -> str:
    """The interpreter's message for an object that a descriptor does not apply to."""
    return f"descriptor '{name}' for '{owner}' objects doesn't apply to a '{given}' object"


class TestStaticProperties:
    """A static property works on the class and on an instance alike."""

    def test_by_class_and_by_instance(self) -> None:
        assert Size.empty == Size(1, 2).empty == Size(0, 0)
        assert Size.empty is not Size.empty

    def test_every_struct_that_has_one(self) -> None:
        for kind in (Size, SizeF, Rectangle, RectangleF, imaging.Point, PointF):
            assert type(kind.empty) is kind
            assert kind.empty.is_empty

    def test_repr(self) -> None:
        assert repr(Size.__dict__["empty"]) == "<attribute 'empty' of 'zelmor.imaging.Size' objects>"

    def test_doc(self) -> None:
        assert Size.__dict__["empty"].__doc__ is None

    def test_needs_a_type(self) -> None:
        with pytest.raises(TypeError, match="^descriptor 'empty' needs a type, not 'int', as arg 2$"):
            Size.__dict__["empty"].__get__(None, 5)

    def test_is_read_only_as_a_descriptor(self) -> None:
        descriptor = Size.__dict__["empty"]
        assert not hasattr(descriptor, "__set__")
        assert type(descriptor) is imaging._FieldDescrType
        with pytest.raises(TypeError, match="^cannot set 'empty' attribute of immutable type 'zelmor.imaging.Size'$"):
            Size.empty = Size(1, 2)
        with pytest.raises(AttributeError):
            Size(1, 2).empty = Size(1, 2)

    def test_each_in_the_tree_answers(self) -> None:
        found = 0
        for kind in WRAPPERS:
            for name, member in vars(kind).items():
                if type(member) is imaging._FieldDescrType:
                    found += 1
                    assert repr(member) == f"<attribute '{name}' of '{dotted(kind)}' objects>"
        assert found > 0


class TestMixedMethods:
    """One name with two meanings: the static overload on the class, the instance overloads on an object."""

    @pytest.mark.parametrize(
        ("kind", "name"),
        [(Rectangle, "inflate"), (Rectangle, "intersect"), (RectangleF, "inflate"), (RectangleF, "intersect")],
    )
    def test_are_these_four(self, kind: Any, name: str) -> None:
        assert type(kind.__dict__[name]) is imaging._MixMethodDescrType
        assert repr(kind.__dict__[name]) == f"<method '{name}' of '{dotted(kind)}' objects>"
        assert kind.__dict__[name].__doc__ is None

    def test_no_other(self) -> None:
        found = {
            f"{kind.__name__}.{name}"
            for kind in WRAPPERS
            for name, member in vars(kind).items()
            if type(member) is imaging._MixMethodDescrType
        }
        assert found == {"Rectangle.inflate", "Rectangle.intersect", "RectangleF.inflate", "RectangleF.intersect"}

    def test_static_on_the_class(self) -> None:
        rectangle = Rectangle(10, 20, 30, 40)
        inflated = Rectangle.inflate(rectangle, 1, 2)
        assert inflated == Rectangle(9, 18, 32, 44)
        assert rectangle == Rectangle(10, 20, 30, 40)

    def test_instance_group_on_an_object(self) -> None:
        rectangle = Rectangle(10, 20, 30, 40)
        assert rectangle.inflate(1, 2) is None
        assert rectangle == Rectangle(9, 18, 32, 44)
        assert rectangle.inflate(Size(1, 1)) is None
        assert rectangle == Rectangle(8, 17, 34, 46)

    def test_the_static_overload_is_not_reached_from_an_object(self) -> None:
        rectangle = Rectangle(10, 20, 30, 40)
        with pytest.raises(TypeError) as caught:
            rectangle.inflate(rectangle, 1, 2)
        assert len(caught.value.args[0]) == 2

    def test_needs_a_type(self) -> None:
        with pytest.raises(TypeError, match="^descriptor 'inflate' needs a type, not 'int', as arg 2$"):
            Rectangle.__dict__["inflate"].__get__(None, 5)

    def test_does_not_apply_to_another_type(self) -> None:
        with pytest.raises(TypeError) as caught:
            Rectangle.__dict__["inflate"].__get__(Size(), Size)
        assert str(caught.value) == refusal("inflate", "zelmor.imaging.Rectangle", "zelmor.imaging.Size")

    def test_bound_methods_compare_by_object_and_entry(self) -> None:
        rectangle, twin = Rectangle(1, 2, 3, 4), Rectangle(1, 2, 3, 4)
        assert rectangle.inflate == rectangle.inflate
        assert hash(rectangle.inflate) == hash(rectangle.inflate)
        assert rectangle.inflate is not rectangle.inflate
        assert rectangle.inflate != rectangle.intersect
        assert rectangle.inflate != twin.inflate
        assert rectangle.inflate.__eq__(5) is NotImplemented

    def test_the_static_one_is_a_single_object(self) -> None:
        is_one = Rectangle.inflate is Rectangle.inflate
        assert is_one

    def test_repr_of_a_bound_method(self) -> None:
        rectangle = Rectangle(1, 2, 3, 4)
        assert repr(rectangle.inflate) == (
            f"<extension method inflate of zelmor.imaging.Rectangle object at 0x{id(rectangle):x}>"
        )


class TestEnumerationMembers:
    """The cast family of a class that the enum module builds."""

    def test_are_on_every_enumeration(self) -> None:
        for kind in ENUMS:
            for name in STATIC_ENTRIES:
                assert type(vars(kind)[name]).__name__ == "_StaticMethodDescrType"
                assert repr(vars(kind)[name]) == f"<method '{name}' of '{kind.__name__}' objects>"
            for name in INSTANCE_ENTRIES:
                assert type(vars(kind)[name]).__name__ == "_InstanceMethodDescrType"
                assert repr(vars(kind)[name]) == f"<method '{name}' of '{kind.__name__}' objects>"

    def test_are_no_members(self) -> None:
        assert [member.name for member in XmpArrayType] == ["UNORDERED", "ORDERED", "ALTERNATIVE"]

    def test_get_type_of_a_member(self) -> None:
        of_array_type, of_file_format = type_of(XmpArrayType), type_of(FileFormat)
        of_member = XmpArrayType.ORDERED.get_type()
        assert of_member == of_array_type
        assert dotted(type(of_member)) == "zelmor.pyreflection.Type"
        of_member = FileFormat.BMP.get_type()
        assert of_member == of_file_format
        assert of_member != of_array_type

    def test_as_uni_enum_of_a_member(self) -> None:
        uni_enum = FileFormat.BMP._as_uni_enum()
        assert dotted(type(uni_enum)) == "zelmor.pyreflection.Enum"

    def test_an_unbound_call_takes_the_member(self) -> None:
        of_type, of_member = type_of(XmpArrayType), XmpArrayType.get_type(XmpArrayType.ORDERED)
        assert of_member == of_type

    def test_cast_from_always_answers_no(self) -> None:
        answer = XmpArrayType.ORDERED._cast_from(5)
        assert answer.value is None
        assert not answer

    @pytest.mark.parametrize(
        ("call", "message"),
        [
            (lambda: FileFormat.BMP.get_type(1), "get_type() takes no arguments (1 given)"),
            (lambda: FileFormat.BMP.get_type(key=1), "get_type() takes no keyword arguments"),
            (lambda: FileFormat.get_type(), "unbound method get_type() needs a 'self' argument"),
            (lambda: FileFormat.get_type(5), refusal("get_type", "FileFormat", "int")),
            (lambda: FileFormat.get_type(XmpArrayType.ORDERED), refusal("get_type", "FileFormat", "XmpArrayType")),
            (lambda: FileFormat.get_type(FileFormat.BMP, 1), "get_type() takes no arguments (1 given)"),
            (lambda: FileFormat.get_type(FileFormat.BMP, key=1), "get_type() takes no keyword arguments"),
            (lambda: FileFormat._type_of(1), "_type_of() takes no arguments (1 given)"),
            (lambda: FileFormat._type_of(key=1), "_type_of() takes no keyword arguments"),
            (lambda: FileFormat._cast_to(), "_cast_to() takes exactly one argument (0 given)"),
            (lambda: FileFormat._cast_to(1, key=1), "_cast_to() takes no keyword arguments"),
            (lambda: FileFormat._cast_to(1, 2, key=1), "_cast_to() takes exactly one argument (2 given)"),
            (lambda: FileFormat._cast_from(FileFormat.BMP), "_cast_from() takes exactly one argument (0 given)"),
            (lambda: FileFormat._cast_from(FileFormat.BMP, 1, 2), "_cast_from() takes exactly one argument (2 given)"),
            (lambda: FileFormat.BMP._cast_from(), "_cast_from() takes exactly one argument (0 given)"),
        ],
    )
    def test_what_calls_refuse(self, call: Any, message: str) -> None:
        with pytest.raises(TypeError) as caught:
            call()
        assert str(caught.value) == message

    def test_one_method_object_serves_all_lookups_of_a_static_entry(self) -> None:
        is_one = FileFormat._type_of is FileFormat._type_of is FileFormat.BMP._type_of
        assert is_one

    def test_needs_a_type(self) -> None:
        for name in ("_type_of", "get_type"):
            with pytest.raises(TypeError, match=f"^descriptor '{name}' needs a type, not 'int', as arg 2$"):
                vars(FileFormat)[name].__get__(None, 5)


class TestTheTypes:
    """The descriptor types that are published, and those that are not."""

    def test_two_are_attributes_of_the_root(self) -> None:
        assert imaging._FieldDescrType.__module__ == "zelmor.imaging"
        assert imaging._MixMethodDescrType.__qualname__ == "_MixMethodDescrType"

    @pytest.mark.parametrize("name", ["_MethodObjectType", "_InstanceMethodDescrType", "_StaticMethodDescrType"])
    def test_three_are_not(self, name: str) -> None:
        assert not hasattr(imaging, name)

    def test_none_can_be_instantiated(self) -> None:
        members = [Size.__dict__["empty"], Rectangle.__dict__["inflate"], Rectangle.inflate,
                   vars(FileFormat)["_type_of"], vars(FileFormat)["get_type"]]
        for member in members:
            with pytest.raises(TypeError, match="^cannot create 'zelmor.imaging._[A-Za-z]+Type' instances$"):
                type(member)()
