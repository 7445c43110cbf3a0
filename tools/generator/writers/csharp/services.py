"""Prints the services of collections and streams: what Python does with a list, an array or an enumerator of .NET.

The classes are those of elements of any type and, for each row of typed collections, those of its element type. What
an operation does stands in Sequences, once.
"""

from __future__ import annotations

from dataclasses import dataclass

from ...model import Model
from ...wires import (PLAIN_WIRES, AnyCollection, Collection, Enumeration, Instance, Interface, Scalar, SiblingClass,
                      SiblingRecord, Struct, TypedCollection, Wire)
from .hosts import entry_point, static_class
from .words import element_reader, element_type, net_type, read, record_type, write

_FOUR_CASTS = ("btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs")
_FIVE_CASTS = ("btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs")
_FROM_SEQUENCE = ("CreateInstanceFromPyList", "CreateInstanceFromPySequence")
_ARRAY = ("SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems",
          "Reverse", "Sort", "IndexBy", "CountOf")
_LIST = ("SqLength", "Add", "Remove", "Clear", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem",
         "SqSetItemNoChek", "Insert", "RemoveAt", "Pop", "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems",
         "MpRemoveItems", "Reverse", "Sort", "IndexBy", "CountOf", "EnsureCapacity")
_CHANGES = ("SqSetItem", "SqSetItemNoCheck", "SqSetItemNoChek", "Add", "Insert", "Remove", "RemoveAt", "Pop", "Clear",
            "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort")
_STREAM = ("CanRead", "CanSeek", "CanWrite", "Length", "Position", "Close", "Flush", "Read", "Seek", "SetLength",
           "Write")

# The services of elements of any type: the end of the class's name, the .NET type, and the entry points.
INTEROP_SERVICES: tuple[tuple[str, str, tuple[str, ...]], ...] = (
    ("Disposable", "System.IDisposable", _FOUR_CASTS),
    ("Enumerator", "System.Collections.IEnumerator", ("MoveNext", *_FOUR_CASTS)),
    ("Enumerable", "System.Collections.IEnumerable", ("GetEnumerator", "CreateInstanceFromPyIterable", *_FOUR_CASTS)),
    ("CntCollection", "System.Collections.ICollection",
     ("SqLength", "SqContains", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPyIterable", *_FOUR_CASTS)),
    ("CntList", "System.Collections.IList",
     ("SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoCheck", "Add", "Insert", "Remove", "RemoveAt", "Pop",
      "Clear", "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort", "IndexBy",
      "SqContains", "CountOf", *_FROM_SEQUENCE, *_FOUR_CASTS)),
    ("Array", "System.Array", (*_ARRAY, *_FROM_SEQUENCE, *_FIVE_CASTS)),
    ("ArrayList", "System.Collections.ArrayList", (*_LIST, *_FROM_SEQUENCE, *_FIVE_CASTS)),
    ("CollectionBase", "System.Collections.CollectionBase", (*_FROM_SEQUENCE, *_FIVE_CASTS)),
    ("ReadOnlyCollectionBase", "System.Collections.ReadOnlyCollectionBase", (*_FROM_SEQUENCE, *_FIVE_CASTS)),
    ("Stream", "System.IO.Stream", (*_STREAM, *_FIVE_CASTS)),
)

_GENERIC = "System.Collections.Generic"
# The services of elements of one type, in the same way; {} is the element.
_ENUMERATOR = ("Enumerator", f"{_GENERIC}.IEnumerator<{{}}>",
               ("MoveNext", "btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable"))
_TYPED_FIVE = ("btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs", "btp_IsAssignable")
_TYPED: dict[str, tuple[tuple[str, str, tuple[str, ...]], ...]] = {
    "array": (("Array", "{}[]", (*_ARRAY, *_TYPED_FIVE)),),
    "list": (("List", f"{_GENERIC}.List<{{}}>", (*_LIST, *_TYPED_FIVE)),),
    "ilist": (("CntList", f"{_GENERIC}.IList<{{}}>",
               ("SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "Insert", "RemoveAt", "Pop",
                "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort", "IndexBy",
                "CountOf", "btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable")),
              ("CntCollection", f"{_GENERIC}.ICollection<{{}}>",
               ("SqLength", "Add", "Remove", "Clear", "SqInplaceConcat", "SqInplaceRepeat", "SqContains", "CountOf"))),
}


@dataclass(frozen=True)
class _Element:
    """How the elements of a collection cross."""

    wire: Wire
    argument: str  # the type of the slot for an element that comes in
    reader: str  # the expression that reads it
    slot: str  # the type of the slot that an element goes out by
    returned: str  # the type by which the unchecked read returns it, or nothing where it fills a slot

    @property
    def net(self) -> str:
        return element_type(self.wire)

    def stored(self, item: str) -> str:
        """The statement that fills a slot."""
        if not self.returned:
            return f"{write(self.wire, item)};"
        return f"*result = {self.written(item)};"

    def written(self, item: str) -> str:
        """The expression that is returned."""
        if isinstance(self.wire, Enumeration):
            return f"(int){item}"
        if isinstance(self.wire, TypedCollection):
            return f"Handles.Make({item})"
        return write(self.wire, item)


def _element(wire: Wire) -> _Element:
    if isinstance(wire, Enumeration):  # 32 bits whatever its width is
        return _Element(wire, "int", f"({net_type(wire)})value", "int", "int")
    if isinstance(wire, Scalar):
        number = net_type(wire)
        return _Element(wire, number, read(wire, "value"), number, number)
    if isinstance(wire, SiblingRecord):
        record = record_type(wire)
        return _Element(wire, f"{record}*", read(wire, "value"), record, "")
    slots = {"string": ("PyStringArg*", "nint", "nint"), "bytes": ("PyBytesArg*", "nint", "nint"),
             "object": ("VariantArg*", "nint", "nint")}
    kinds: dict[type[Wire], tuple[str, str, str]] = {
        Instance: ("nint", "nint", "nint"), SiblingClass: ("nint", "nint", "nint"),
        Struct: ("VariantArg*", "nint", "nint"), Interface: ("VariantArg*", "PyObjectOutArg", ""),
        TypedCollection: ("VariantArg*", "nint", "nint")}
    argument, slot, returned = slots.get(wire.name) or kinds[type(wire)]
    reader = read(wire, "value")
    if wire.name != "object" and not isinstance(wire, Struct):
        reader += "!"  # None is an element like any other
    return _Element(wire, argument, reader, slot, returned)


@dataclass(frozen=True)
class _Service:
    """One class of services."""

    end: str  # of its name
    net: str  # the .NET type that it serves
    element: _Element
    typed: bool

    @property
    def _is_interface(self) -> bool:
        return self.end in ("Disposable", "Enumerator", "Enumerable", "CntCollection", "CntList")

    @property
    def _target(self) -> str:
        return f"Handles.Get<{self.net}>(handle)"

    @property
    def _list(self) -> str:
        """The instance as a list of its elements."""
        return f"(IList<{self.element.net}>){self._target}" if self.typed else f"new AnyList({self._target})"

    def _operation(self, name: str) -> tuple[str, str, list[str]]:
        """The return type, the arguments and the body of an entry point that is no cast."""
        element, value = self.element, f"{self.element.argument} value"
        item = element.reader
        source = "Handles.Find(source->Value)"
        if not self.typed:
            source = f"{source} is System.Collections.IList other ? new AnyList(other) : null"
        of = element.net
        status = ["if (status == ElementStatus.Delivered)", "{", f"    {element.stored('item')}", "}", "return status;"]
        no_check = f"Sequences.GetNoCheck<{of}>({self._list}, index)"
        length = "Length" if self.end == "Array" else "Count"
        whole = self._target if self.end == "CntCollection" and self.typed else self._list
        if self.end == "CntCollection" and not self.typed:
            whole = f"new AnyCollection({self._target})"
        contains = (f"Sequences.Contains<{of}>({whole}, {item})" if element.wire.name == "bytes" else
                    f"({whole}).Contains({item})")
        operations: dict[str, tuple[str, str, list[str]]] = {
            "SqLength": ("int", "nint handle", [f"return {self._target}.{length};"]),
            "SqContains": ("int", f"nint handle, {value}", [f"return {contains} ? 1 : 0;"]),
            "CountOf": ("int", f"nint handle, {value}", [f"return Sequences.CountOf<{of}>({whole}, {item});"]),
            "SqGetItem": ("int", f"nint handle, int index, {element.slot}* result",
                          [f"var status = Sequences.Get<{of}>({self._list}, index, out var item);", *status]),
            "SqGetItemNoCheck": (
                (element.returned, "nint handle, int index", [f"return {element.written(no_check)};"])
                if element.returned else
                ("void", f"nint handle, int index, {element.slot}* result", [element.stored(no_check)])),
            "SqSetItem": ("int", f"nint handle, int index, {value}",
                          [f"return Sequences.Set<{of}>({self._list}, index, {item});"]),
            "SqSetItemNoCheck": ("void", f"nint handle, int index, {value}",
                                 [f"Sequences.SetNoCheck<{of}>({self._list}, index, {item});"]),
            "Add": ("void", f"nint handle, {value}", [f"({whole}).Add({item});"]),
            "Insert": ("void", f"nint handle, int index, {value}",
                       [f"Sequences.Insert<{of}>({self._list}, index, {item});"]),
            "Remove": ("int", f"nint handle, {value}", [f"return ({whole}).Remove({item}) ? 1 : 0;"]),
            "RemoveAt": ("int", "nint handle, int index", [f"return Sequences.RemoveAt<{of}>({self._list}, index);"]),
            "Pop": ("int", f"nint handle, byte hasIndex, int index, {element.slot}* result",
                    [f"var status = Sequences.Pop<{of}>({self._list}, hasIndex != 0, index, out var item);", *status]),
            "Clear": ("void", "nint handle", [f"({whole}).Clear();"]),
            "SqInplaceConcat": ("int", "nint handle, VariantArg* source",
                                [f"object? added = {source};",
                                 f"return Sequences.Concat<{of}>({whole}, added) ? 1 : 0;"]),
            "SqInplaceRepeat": ("void", "nint handle, int count", [f"Sequences.Repeat<{of}>({whole}, count);"]),
            "MpSetItems": ("int", "nint handle, VariantArg* source, int start, int count, int step",
                           [f"object? items = {source};",
                            f"return Sequences.SetItems<{of}>({self._list}, items, start, count, step) ? 1 : 0;"]),
            "MpRemoveItems": ("void", "nint handle, int start, int count, int step",
                              [f"Sequences.RemoveItems<{of}>({self._list}, start, count, step, lowestFirst: "
                               f"{'true' if self.end in ('List', 'ArrayList') else 'false'});"]),
            "Reverse": ("void", "nint handle", [f"Sequences.Reverse<{of}>({self._list});"]),
            "Sort": ("void", "nint handle, byte descending",
                     [f"Sequences.Sort<{of}>({self._list}, descending != 0);"]),
            "IndexBy": ("int", f"nint handle, byte hasStart, int start, byte hasStop, int stop, {value}",
                        [f"return Sequences.IndexBy<{of}>({self._list}, hasStart != 0, start, hasStop != 0, stop, "
                         f"{item});"]),
            "EnsureCapacity": ("void", "nint handle, int more",
                               [f"Sequences.EnsureCapacity({self._target}, more);"]),
            "GetEnumerator": ("int", "nint handle, PyObjectOutArg* result",
                              [f"Results.Instance({self._target}.GetEnumerator(), result);", "return 1;"]),
            "MoveNext": ("int", f"nint handle, {element.slot}* result",
                         [f"var walk = {self._target};", "if (!walk.MoveNext())", "{",
                          "    return ElementStatus.Empty;", "}", element.stored("walk.Current"),
                          "return ElementStatus.Delivered;"]),
            "CreateInstanceFromPyList": ("nint", "nint list", [self._created("HandleTag.PyObject", "list")]),
            "CreateInstanceFromPySequence": ("nint", "nint sequence",
                                             [self._created("HandleTag.PySequence", "sequence")]),
            "CreateInstanceFromPyIterable": ("nint", "nint iterable",
                                             [self._created("HandleTag.PyObject", "iterable")]),
        }
        operations["SqSetItemNoChek"] = operations["SqSetItemNoCheck"]
        returned, arguments, body = operations[name]
        if name in _CHANGES:
            index = "index" if name in ("SqSetItem", "SqSetItemNoCheck", "SqSetItemNoChek") else "-1"
            body = [f"using var change = new ListChange(handle, {index});", *body]
        return returned, arguments, body

    def _created(self, tag: str, item: str) -> str:
        reader = {"Array": "AnyArray", "ArrayList": "AnyArrayList", "CntList": "AnyList",
                  "CntCollection": "AnyCollection", "Enumerable": "AnyEnumerable"}.get(self.end)
        if reader is None:
            return f'throw new NotSupportedException("A {self.net} cannot be made from a Python object.");'
        module = "" if self.end in ("Array", "ArrayList") else ", Bridge.Module, ref lent"
        return (f"var argument = new VariantArg {{ Tag = {tag}, Value = {item} }}; "
                f"return Handles.Make(Arguments.{reader}(&argument{module}));")

    def _stream(self, name: str) -> tuple[str, str, list[str]]:
        of = self._target
        operations = {
            "CanRead": ("byte", "nint handle", [f"return (byte)({of}.CanRead ? 1 : 0);"]),
            "CanSeek": ("byte", "nint handle", [f"return (byte)({of}.CanSeek ? 1 : 0);"]),
            "CanWrite": ("byte", "nint handle", [f"return (byte)({of}.CanWrite ? 1 : 0);"]),
            "Length": ("long", "nint handle", [f"return {of}.Length;"]),
            "Position": ("long", "nint handle", [f"return {of}.Position;"]),
            "Close": ("void", "nint handle", [f"{of}.Close();"]),
            "Flush": ("void", "nint handle", [f"{of}.Flush();"]),
            "Read": ("int", "nint handle, void* data, int count",
                     [f"return {of}.Read(new Span<byte>(data, count));"]),
            "Seek": ("long", "nint handle, long offset, int origin",
                     [f"return {of}.Seek(offset, (System.IO.SeekOrigin)origin);"]),
            "SetLength": ("long", "nint handle, int atPosition, long length",
                          [f"var stream = {of};", "var wanted = atPosition != 0 ? stream.Position : length;",
                           "stream.SetLength(wanted);", "return wanted;"]),
            "Write": ("void", "nint handle, void* data, int count",
                      [f"{of}.Write(new ReadOnlySpan<byte>(data, count));"])}
        return operations[name]

    def _cast(self, name: str) -> tuple[str, str, list[str]]:
        tested = "VariantArg*" if self._is_interface else "nint"
        bare = self.typed and not self._is_interface
        operations = {
            "btp_TypeOf": ("int", "nint* result", [f"return Casts.TypeOf(typeof({self.net}), result);"]),
            "btp_CastTo": ("int", "VariantArg* source, nint* result",
                           [f"return Casts.To<{self.net}>(source, result);"]),
            "btp_ReInterpretObj": ("int", "nint item, nint* result",
                                   [f"return Casts.Reinterpret<{self.net}>(item, result);"]),
            "btp_CastAs": ("int", f"{'nint' if bare else 'VariantArg*'} source, nint* result",
                           [f"return Casts.As<{self.net}>(source, result);"]),
            "btp_IsAssignable": ("int", f"{tested} value", [f"return Casts.Is<{self.net}>(value);"])}
        return operations[name]

    def write(self, name: str, names: tuple[str, ...], what: str) -> list[str]:
        """The file of the class."""
        methods = []
        for entry in names:
            make = self._cast if entry.startswith("btp_") else self._stream if entry in _STREAM else self._operation
            returned, arguments, body = make(entry)
            failed = "return Errors.ReportFailedCast(e);" if entry in ("btp_CastTo", "btp_CastAs") else ""
            methods.append(entry_point(entry, returned, arguments, body, failed))
        lines = static_class(name, what, self.net if self.typed else "", methods)
        lines.insert(lines.index("using System;") + 1, "using System.Collections.Generic;")
        return lines


def _reader_type(wire: Wire) -> str:
    """The expression that makes the reader of elements, without its module and slot."""
    if isinstance(wire, Enumeration):
        return f"EnumElement<{net_type(wire)}>"
    if isinstance(wire, Scalar):
        return f"NumberElement<{net_type(wire)}>"
    if wire.name in ("string", "bytes"):
        return {"string": "TextElement", "bytes": "BytesElement"}[wire.name]
    kinds: dict[type[Wire], str] = {Instance: "InstanceElement", SiblingClass: "InstanceElement",
                                    Struct: "StructElement", Interface: "InterfaceElement"}
    return f"{kinds[type(wire)]}<{net_type(wire)}>"


def _elements(model: Model) -> list[str]:
    """The readers of the elements that Python lists can hold for a parameter."""
    rows = sorted((row for row in model.collections if row.slot is not None),
                  key=lambda row: isinstance(row.element, AnyCollection))  # arrays of arrays behind their elements
    lines = []
    for row in rows:
        name = element_reader(row.identifier).partition(".")[2]
        head = f"    public static readonly Element<{element_type(row.element)}> {name}"
        if row.element.name == "object":
            lines += [f"{head} = Element.Anything;", "    [System.Runtime.CompilerServices.ModuleInitializer]",
                      f"    internal static void ReadAnything() => Element.ReadAnythingBy(Bridge.Module, {row.slot});"]
        elif isinstance(row.element, TypedCollection):
            inner = row.element.row
            made = f"ArrayElement<{element_type(inner.element)}>"
            lines.append(f"{head} = new {made}(Bridge.Module, {row.slot}, {element_reader(inner.identifier)});")
        else:
            lines.append(f"{head} = new {_reader_type(row.element)}(Bridge.Module, {row.slot});")
    return ["// How elements of typed collections are read. Written by the generator.", "#nullable enable",
            "using Zelmor.WrpGen.Core;", "using Zelmor.WrpGen.Interop;", "", "internal static class Elements", "{",
            *lines, "}"]


def services_of(row: Collection) -> list[tuple[str, str, tuple[str, ...]]]:
    services: list[tuple[str, str, tuple[str, ...]]] = []
    if "iterator" in row.kinds:
        shown = _ENUMERATOR[2][1:] if "iterable" in row.kinds else ()
        services += [_ENUMERATOR, ("Enumerable", f"{_GENERIC}.IEnumerable<{{}}>", ("GetEnumerator", *shown))]
    for kind in ("array", "list", "ilist"):
        if kind in row.kinds:
            services += _TYPED[kind]
    if "array" not in row.kinds and "array-argument" in row.kinds:
        services.append(("Array", "{}[]", ("btp_IsAssignable",)))
    return services


def write_interop_services() -> dict[str, list[str]]:
    """The services of elements of any type, by the names of their files."""
    anything = _element(PLAIN_WIRES["object"])
    files = {}
    for end, net, names in INTEROP_SERVICES:
        name = f"Zelmor.WrpGen.Interop.SiApi{end}"
        files[f"{name}.cs"] = _Service(end, net, anything, typed=False).write(
            name, names, f"What Python does with a {net}. Written by the generator.")
    return files


def write_services(model: Model) -> dict[str, list[str]]:
    """All services of an assembly, by the names of their files."""
    files = write_interop_services()
    for row in model.collections:
        element = _element(row.element)
        for end, net, names in services_of(row):
            name = f"Zelmor.WrpGen.Generic.SiApi{end}_{row.identifier}"
            of = net.format(element.net)
            files[f"{name}.cs"] = _Service(end, of, element, typed=True).write(
                name, names, f"What Python does with a {of}. Written by the generator.")
    if model.collections:
        files["Elements.cs"] = _elements(model)
    return files
