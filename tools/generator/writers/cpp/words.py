"""The C++ words for the kinds of wires: types of slots, converters, and the variables that converters fill."""

from __future__ import annotations

from dataclasses import dataclass

from ...wires import (AnyCollection, Enumeration, Form, Instance, Interface, Nullable, Passing, Scalar, Shape,
                      SiblingClass, SiblingEnumeration, SiblingRecord, Slot, Struct, TypedCollection, Wire, Words)

# The C++ type of each form.
FORMS = {Form.NOTHING: "void", Form.BOOL: "bool", Form.INT8: "signed char", Form.UINT8: "unsigned char",
         Form.INT16: "short", Form.UINT16: "unsigned short", Form.INT32: "int", Form.UINT32: "unsigned int",
         Form.INT64: "long", Form.UINT64: "unsigned long", Form.SINGLE: "float", Form.DOUBLE: "double",
         Form.HANDLE: "void*", Form.OBJECT: "PyObject*", Form.TEXT: "PyStringArg", Form.BYTES: "PyBytesArg",
         Form.VARIANT: "VariantArg", Form.INSTANCE: "PyObjectOutArg", Form.COLLECTION: "PyCollectionArg",
         Form.DATE: "long", Form.DECIMAL: "unsigned int", Form.UUID: "unsigned char"}
# The value records of the sibling modules.
RECORDS = {"System.Drawing.PointF": "ShlPointFObject", "System.Drawing.Color": "ShlColorObject"}


@dataclass(frozen=True)
class ShapeWords:
    """The words for a kind of collection."""

    record: str  # the end of the wrapper's static record
    converter: str = ""  # from Python; empty where no member takes one


SHAPES = {Shape.SYSTEM_ARRAY: ShapeWords("ArrayWrapper", "array"),
          Shape.ARRAY_LIST: ShapeWords("ArrListWrapper", "arrlist"),
          Shape.ANY_LIST: ShapeWords("IListWrapper", "ilist"),
          Shape.ANY_COLLECTION: ShapeWords("IColWrapper", "icollection"),
          Shape.ANY_ENUMERABLE: ShapeWords("IterableWrapper", "iterable"),
          Shape.ANY_ENUMERATOR: ShapeWords("IterWrapper", "iter"),
          Shape.ARRAY: ShapeWords("ArrayWrapper", "array"), Shape.LIST: ShapeWords("ListWrapper", "list"),
          Shape.LIST_INTERFACE: ShapeWords("IListWrapper"), Shape.ENUMERABLE: ShapeWords("IterableWrapper"),
          Shape.ENUMERATOR: ShapeWords("IterWrapper")}


@dataclass(frozen=True)
class WireWords:
    """The words for a kind of wire, as templates: {name} is a variable, {value} a result, {wire} the wire itself, {cpp}
    the C++ type of its form, {record} a sibling's value record, {shape} the words for the kind of collection, and
    {reader} the function that makes such a collection's wrapper."""

    converter: str  # the function that fills a variable from a Python value
    builder: str  # the expression that makes a Python reference of a result
    variable: str = "VariantArg {name}{{}};"  # the declaration of what the converter fills, in its empty state
    target: str = "&{name}"  # the pointer that the converter gets
    passed: str = "&{name}"  # the expression that hands the variable to an entry point
    element: str = ""  # the policy of typed collections with such an element


def _scalar(converter: str, builder: str, element: str = "") -> WireWords:
    return WireWords(f"fn_conv_py_{converter}", builder + "({value})", "{cpp} {name}{{}};", passed="{name}",
                     element=element and f"zelmor::{element}Element")


def _words(taken: int, converter: str, builder: str) -> WireWords:
    number, target = (f"[{taken}]", "{name}") if taken > 1 else ("", "&{name}")
    return WireWords(f"fn_conv_py_{converter}", f"fn_conv_clr_{builder}({{value}})",
                     f"{{cpp}} {{name}}{number}{{{{}}}};", target, "{name}")


_NONE_IF_NULL = "zelmor::none_if_null({value})"  # the result is a Python object already
_TO_CLR, _TO_PY = "wrpPy_conv_py_to_clr_{wire.type.symbol}", "wrpPy_conv_clr_to_py_{wire.type.symbol}"
_SIBLING = "wrpPyl_convcaps_py_to_clr_{wire.symbol}"
_SIBLING_PAIR = f"&{_SIBLING}, &wrpPyl_convcaps_clr_to_py_{{wire.symbol}}"

# By the name of a wire that needs no catalogue, or else by its class.
WIRES: dict[str | type[Wire], WireWords] = {
    "bool": _scalar("bool_to_clr_bool", "PyBool_FromLong"),
    "int8": _scalar("long_to_clr_int8", "PyLong_FromLong", "Int8"),
    "uint8": _scalar("ulong_to_clr_uint8", "PyLong_FromUnsignedLong"),
    "int16": _scalar("long_to_clr_int16", "PyLong_FromLong", "Int16"),
    "uint16": _scalar("ulong_to_clr_uint16", "PyLong_FromUnsignedLong", "UInt16"),
    "int32": _scalar("long_to_clr_int32", "PyLong_FromLong", "Int32"),
    "uint32": _scalar("ulong_to_clr_uint32", "PyLong_FromUnsignedLong", "UInt32"),
    "int64": _scalar("long_to_clr_int64", "PyLong_FromLongLong", "Int64"),
    "uint64": _scalar("ulong_to_clr_uint64", "PyLong_FromUnsignedLongLong", "UInt64"),
    "float": _scalar("float_to_clr_float", "PyFloat_FromDouble", "Float"),
    "double": _scalar("float_to_clr_double", "PyFloat_FromDouble", "Double"),
    "char": _scalar("string_to_clr_char", "fn_conv_clr_char_to_py_string"),
    "timedelta": _scalar("datetimedelta_to_clr_timespan", "fn_conv_clr_timespan_to_py_datetimedelta"),
    "datetime": _words(1, "datetime_to_clr_datetime", "datetime_to_py_datetime"),
    "datetimeoffset": _words(2, "datetime_to_clr_datetimeoffset", "datetimeoffset_to_py_datetime"),
    "decimal": _words(4, "decimal_to_clr_decimal", "decimal_to_py_decimal"),
    "UUID": _words(16, "uuid_to_clr_guid", "guid_to_py_uuid"),
    "string": WireWords("fn_conv_py_string_to_clr_string", _NONE_IF_NULL, "PyStringArg {name}{{-1, 0, nullptr}};",
                        element="zelmor::StringElement"),
    "bytes": WireWords("fn_conv_py_bytes_to_clr_bytes", _NONE_IF_NULL, "PyBytesArgBuilder {name};",
                       passed="{name}.get_info()", element="zelmor::BytesElement"),
    "object": WireWords("fn_conv_py_variant_to_clr_variant", _NONE_IF_NULL, element="zelmor::VariantElement"),
    "stream": WireWords("wrpPye_conv_py_to_clr_stream",
                        "fn_conv_clr_absobj_to_py_absobj({value}, &wrpPye_tyds_FFFFFFFF_StreamWrapper)"),
    Enumeration: WireWords(_TO_CLR, _TO_PY + "({value})", "{cpp} {name}{{}};", passed="{name}",
                           element=f"zelmor::EnumElement<{{cpp}}, &{_TO_CLR}, &{_TO_PY}>"),
    Instance: WireWords(_TO_CLR, _TO_PY + "({value})", "void* {name} = nullptr;", passed="{name}",
                        element=f"zelmor::ClassElement<&{_TO_CLR}, &{_TO_PY}>"),
    Struct: WireWords(_TO_CLR, _TO_PY + "({value})", element=f"zelmor::StructElement<&{_TO_CLR}, &{_TO_PY}>"),
    Interface: WireWords(_TO_CLR, _TO_PY + "({value})", element=f"zelmor::InterfaceElement<&{_TO_CLR}, &{_TO_PY}>"),
    AnyCollection: WireWords("wrpPye_conv_py_to_clr_{shape.converter}",
                             "{reader}({value}, &wrpPye_tyds_FFFFFFFF_{shape.record})"),
    TypedCollection: WireWords("wrpPygn_conv_py_to_clr_{shape.converter}_{wire.collection.identifier}",
                               "{reader}({value}, &wrpPygn_tyds_{wire.collection.identifier}_{shape.record})",
                               element="zelmor::ArrayElement<"
                                       "&wrpPygn_conv_py_to_clr_array_{wire.collection.identifier}, "
                                       "&wrpPygn_tyds_{wire.collection.identifier}_ArrayWrapper>"),
    SiblingClass: WireWords(f"*{_SIBLING}", "", "void* {name} = nullptr;", passed="{name}",
                            element=f"zelmor::SiblingClassElement<{_SIBLING_PAIR}>"),
    SiblingRecord: WireWords(f"*{_SIBLING}", "", "{record} {name}{{}};",
                             element=f"zelmor::SiblingRecordElement<{{record}}, {_SIBLING_PAIR}>"),
    SiblingEnumeration: WireWords(f"*{_SIBLING}", "", "int {name} = 0;", passed="{name}"),
}


def slot_type(slot: Slot) -> str:
    """The C++ type of an argument or of a return value."""
    name = RECORDS[slot.record] if slot.form is Form.RECORD else FORMS[slot.form]
    return {Passing.VALUE: name, Passing.IN: f"const {name}*", Passing.OUT: f"{name}*"}[slot.passing]


def _words_of(wire: Wire) -> WireWords:
    return WIRES.get(wire.name) or WIRES[type(wire)]


def _printed(template: str, wire: Wire, **words: str) -> str:
    """A template with its words put in."""
    return template.format(
        wire=wire, cpp=FORMS[wire.form] if isinstance(wire, (Scalar, Words)) else "",
        record=RECORDS[wire.sibling] if isinstance(wire, SiblingRecord) else "",
        shape=SHAPES[wire.shape] if wire.shape is not None else None,
        reader="fn_conv_clr_ifcimpl_to_py_ifcimpl_wps" if wire.shape is not None and wire.shape.interface else
        "fn_conv_clr_btpobj_to_py_btpobj", **words)


def variable(wire: Wire, name: str) -> str:
    """The declaration of the variable that a converter fills, in its empty state."""
    if isinstance(wire, Nullable):
        value = f"{name}value"
        convert = f"zelmor::as_arg_converter(&{converter(wire.inner)})"
        return f"{variable(wire.inner, value)} PyNullableArg {name}{{0, {convert}, {target(wire.inner, value)}}};"
    return _printed(_words_of(wire).variable, wire, name=name)


def converter(wire: Wire) -> str:
    """The function that fills the variable from a Python value."""
    if isinstance(wire, Nullable):
        return "fn_conv_py_nullable_to_clr_nullable"
    return _printed(_words_of(wire).converter, wire)


def target(wire: Wire, name: str) -> str:
    """The pointer that the converter gets."""
    return f"&{name}" if isinstance(wire, Nullable) else _words_of(wire).target.format(name=name)


def passed(wire: Wire, name: str) -> str:
    """The expression that hands the variable to an entry point."""
    if isinstance(wire, Nullable):
        return f"{name}.has_value, {passed(wire.inner, f'{name}value')}"
    return _words_of(wire).passed.format(name=name)


def to_python(wire: Wire, value: str) -> str:
    """The expression that turns a result into a new Python reference."""
    if isinstance(wire, Nullable):
        return f"present != 0 ? {to_python(wire.inner, value)} : fn_py_return_none()"
    return _printed(_words_of(wire).builder, wire, value=value)


def element_policy(wire: Wire) -> str:
    """The policy of typed collections with such an element."""
    return _printed(_words_of(wire).element, wire)
