"""Prints the closed generic collections: thin instances of the templates in collections/, one file for each element.

What an operation does stands in those templates, once. Here each function, slot and table of an instance gets its name.
"""

from __future__ import annotations

from ...model import Model
from ...wires import Collection
from ..cpp_text import function, guarded, quoted, table
from . import casts
from .words import element_policy

# Kind in the table -> kind in symbols.
_SYMBOL_KINDS = {"array": "array", "list": "list", "ilist": "ilist", "iterable": "iterable", "iterator": "iter"}
# Kind in the table -> wrapper name and managed class, both without the element.
WRAPPERS = {"array": "ArrayWrapper", "list": "ListWrapper", "ilist": "IListWrapper", "iterable": "IterableWrapper",
            "iterator": "IterWrapper"}

# Operation -> signature behind the name, arguments behind `self`.
_OBJECT = "PyObject* {}(PyObject* self, PyObject* value)"
_NO_ARGUMENTS = "PyObject* {}(PyObject* self, PyObject*)"
_SIGNATURES = {
    "sq_length": ("Py_ssize_t {}(PyObject* self)", "sequence_length", ""),
    "sq_concat": (_OBJECT, "sequence_concat", "value"),
    "sq_repeat": ("PyObject* {}(PyObject* self, Py_ssize_t count)", "sequence_repeat", "count"),
    "sq_item": ("PyObject* {}(PyObject* self, Py_ssize_t index)", "sequence_item", "index"),
    "sq_ssitem": ("int {}(PyObject* self, Py_ssize_t index, PyObject* value)", "sequence_assign_item", "index, value"),
    "sq_contains": ("int {}(PyObject* self, PyObject* value)", "sequence_contains_test", "value"),
    "sq_inplace_concat": (_OBJECT, "sequence_inplace_concat", "value"),
    "sq_inplace_repeat": ("PyObject* {}(PyObject* self, Py_ssize_t count)", "sequence_inplace_repeat", "count"),
    "mp_subscript": ("PyObject* {}(PyObject* self, PyObject* key)", "sequence_subscript", "key"),
    "mp_ssubscript": ("int {}(PyObject* self, PyObject* key, PyObject* value)", "sequence_assign_subscript",
                      "key, value"),
    "get_length": ("PyObject* {}(PyObject* self, void*)", "sequence_length_property", ""),
    "extend": (_OBJECT, "sequence_extend", "value"),
    "append": (_OBJECT, "sequence_append", "value"),
    "insert": (_OBJECT, "sequence_insert", "value"),
    "remove": (_OBJECT, "sequence_remove", "value"),
    "pop": (_OBJECT, "sequence_pop", "value"),
    "clear": (_NO_ARGUMENTS, "sequence_clear", ""),
    "index": (_OBJECT, "sequence_index", "value"),
    "count": (_OBJECT, "sequence_count", "value"),
    "sort": ("PyObject* {}(PyObject* self, PyObject* args, PyObject* kwargs)", "sequence_sort", "args, kwargs"),
    "reverse": (_NO_ARGUMENTS, "sequence_reverse", ""),
    "copy": (_NO_ARGUMENTS, "sequence_copy", ""),
    "contains": (_OBJECT, "sequence_contains", "value"),
}
_FLAGS = {"insert": "METH_VARARGS", "pop": "METH_VARARGS", "index": "METH_VARARGS",
          "sort": "METH_VARARGS | METH_KEYWORDS", "clear": "METH_NOARGS", "reverse": "METH_NOARGS",
          "copy": "METH_NOARGS"}

_ARRAY_SLOTS = ("sq_length", "sq_concat", "sq_repeat", "sq_item", "sq_ssitem", "sq_contains")
_LIST_SLOTS = (*_ARRAY_SLOTS, "sq_inplace_concat", "sq_inplace_repeat")
_SLOT_NAMES = {"sq_ssitem": "sq_ass_item"}
# Methods of each kind, in the order of its table.
_METHODS = {
    "array": ("index", "count", "sort", "reverse", "copy", "contains"),
    "list": ("extend", "append", "insert", "remove", "pop", "clear", "index", "count", "sort", "reverse", "copy",
             "contains"),
    "ilist": ("extend", "insert", "pop", "index", "count", "sort", "reverse", "copy", "append", "remove", "clear",
              "contains"),
}
# What a typed `IList` inherits from its collection host, whose name the functions then carry.
_OF_COLLECTION = ("append", "remove", "clear", "contains", "get_length", "sq_length", "sq_contains")

# Kind -> calls policy, table maker and casts.
_ACCESS = {"array": ("zelmor::HostCalls<PyHost_gn_Array_{0}>", "array_access"),
           "list": ("zelmor::HostCalls<PyHost_gn_List_{0}>", "list_access"),
           "ilist": ("zelmor::TypedIListCalls<PyHost_gn_IList_{0}, PyHost_gn_ICol_{0}>", "list_interface_access")}


def _record(row: Collection, kind: str) -> str:
    return f"wrpPygn_tyds_{row.identifier}_{WRAPPERS[kind]}"


def _types(model: Model) -> list[tuple[Collection, str]]:
    """All Python types, by name."""
    pairs = [(row, kind) for row in model.collections for kind in row.kinds if kind in WRAPPERS]
    return sorted(pairs, key=lambda pair: f"_{WRAPPERS[pair[1]]}_{pair[0].identifier}")


def write_declarations(model: Model) -> list[str]:
    """What members of other types name of the typed collections."""
    lines = []
    for row in model.collections:
        lines.append(f"// Collections of {row.element.name}.")
        lines += [f"extern PyTypeObject {_record(row, kind)};" for kind in row.kinds if kind in WRAPPERS]
        lines += [f"bool wrpPygn_bltp_{row.identifier}_{_SYMBOL_KINDS[kind]}_is_not_valid(std::string& message);"
                  for kind in row.kinds if kind in WRAPPERS]
        lines += [f"int wrpPygn_conv_py_to_clr_{kind}_{row.identifier}(PyObject* object, VariantArg* out);"
                  for kind in ("array", "list") if f"{kind}-argument" in row.kinds]
        if "iterator" in row.kinds:
            lines.append(f"PyObject* wrpPygn_bltp_{row.identifier}_iterable_iter(PyObject* self);")
        lines.append("")
    return lines


def write_elements(model: Model, product: str) -> list[str]:
    """The header of element policies."""
    includes = ['#include "collections/typed_members.h"', f'#include "generated/{product}/{product}.h"']
    aliases = [f"using wrpPygn_elmt_{row.identifier} = {element_policy(row.element)};" for row in model.collections]
    return ["// How the elements of the typed collections cross. Written by the generator.",
            *guarded(f"ZELMOR_GENERATED_{product.upper()}_ELEMENTS_H", [*includes, "", *aliases])]


class Instance:
    """Prints one Python type of a row: its functions, its tables and its record."""

    def __init__(self, row: Collection, kind: str, module: str) -> None:
        self._id = row.identifier
        self._table_kind = kind
        self._kind = _SYMBOL_KINDS[kind]
        self._module = module
        self._element = f"wrpPygn_elmt_{self._id}"
        self._record = _record(row, kind)
        self._is_class = kind in ("array", "list")

    def _symbol(self, operation: str) -> str:
        kind = "icol" if self._kind == "ilist" and operation in _OF_COLLECTION else self._kind
        return f"wrpPygn_bltp_{self._id}_{kind}_{operation}"

    def _host(self) -> str:
        return f"PyHost_gn_{self._name()}_{self._id}"

    def _name(self) -> str:
        return {"array": "Array", "list": "List", "ilist": "IList", "iterable": "Iterable", "iter": "Iter"}[self._kind]

    def _probes(self) -> list[str]:
        enumerable = f"&zelmor::host_is_not_valid<PyHost_gn_Iterable_{self._id}>"
        probes: dict[str, list[str]] = {
            "array": ["&wrpPye_bltp_array_is_not_valid", enumerable], "list": [enumerable],
            "ilist": [f"&zelmor::host_is_not_valid<PyHost_gn_ICol_{self._id}>", enumerable],
            "iter": ["&wrpPye_bltp_idisposable_is_not_valid"], "iterable": []}
        return probes[self._kind]

    def _validity(self) -> list[str]:
        state = f"wrpPygn_uafn_{self._id}_{self._kind}_get_aggregate_host_state"
        guard = f"wrpPygn_uafn_{self._id}_{self._kind}_invalidate"
        return [*function(f"[[gnu::noinline]] static const PyHostState& {state}()", [
            f"static const PyHostState state = zelmor::typed_host_state<{self._host()}>"
            f"({{{', '.join(self._probes())}}});", "return state;"]),
            *function(f"static int {guard}()", [f"return zelmor::guard_type<&{state}>();"]),
            *function(f"bool {self._symbol('is_not_valid')}(std::string& message)",
                      [f"return zelmor::report_validity({state}(), message);"]),
            *function(f"static PyObject* wrpPygn_tpsb_{self._id}_{self._kind}_tp_new(PyTypeObject* type, "
                      "PyObject*, PyObject*)",
                      [f"return {guard}() != 0 ? nullptr : zelmor::make_empty_wrapper(type);"])]

    def _casts(self) -> list[str]:
        shape = "kClassCasts" if self._is_class else "kInterfaceCasts"
        of = f"wrpPygn_cast_{self._id}_{self._kind}"
        lines = [f"static constexpr zelmor::CastFamily {of} = {{&{self._record}, "
                 f"&wrpPygn_uafn_{self._id}_{self._kind}_invalidate, "
                 f"&zelmor::casts_of<{self._host()}>, zelmor::{shape}}};", ""]
        own = [name for name, _ in casts.OPERATIONS if name != "_cast_from"]
        lines += [*casts.entries(of, f"wrpPygn_bltp_{self._id}_{self._kind}", own), ""]
        return lines

    def _operations(self) -> list[str]:
        if self._kind == "iter":
            return [*function(f"static PyObject* {self._symbol('iter')}(PyObject* self)", ["return Py_NewRef(self);"]),
                    *function(f"static PyObject* {self._symbol('iternext')}(PyObject* self)",
                              [f"return zelmor::next_element<{self._host()}, {self._element}>(self);"])]
        if self._kind == "iterable":
            return []
        calls, maker = _ACCESS[self._kind]
        access = f"wrpPygn_accs_{self._id}_{self._kind}"
        lines = [f"static constexpr zelmor::SequenceAccess {access} = "
                 f"zelmor::{maker}<{calls.format(self._id)}, {self._element}>();", ""]
        operations = [*(_ARRAY_SLOTS if self._kind == "array" else _LIST_SLOTS), "mp_subscript", "mp_ssubscript",
                      "get_length", *_METHODS[self._kind]]
        for operation in operations:
            signature, algorithm, arguments = _SIGNATURES[operation]
            passed = ", ".join(filter(None, [access, "self", arguments]))
            lines += function("static " + signature.format(self._symbol(operation)),
                              [f"return zelmor::{algorithm}({passed});"])
        return [*lines, *function(f"static PyObject* {self._symbol('iter')}(PyObject* self)",
                                  [f"return wrpPygn_bltp_{self._id}_iterable_iter(self);"])]

    def _method_table(self) -> list[str]:
        rows = []
        for name, flags in casts.OPERATIONS:
            target = "zelmor::cast_stub" if name == "_cast_from" else self._symbol(name.lstrip("_"))
            rows.append(f"{{{quoted(name)}, &{target}, {flags}, nullptr}}")
        for name in _METHODS.get(self._kind, ()):
            symbol = f"&{self._symbol(name)}"
            target = f"ZELMOR_KEYWORD_METHOD({symbol})" if name == "sort" else symbol
            rows.append(f"{{{quoted(name)}, {target}, {_FLAGS.get(name, 'METH_O')}, nullptr}}")
        if self._kind == "iter":
            rows += ['{"__enter__", &wrpPye_bltp_idisposable_enter, METH_NOARGS, nullptr}',
                     '{"__exit__", &wrpPye_bltp_idisposable_exit, METH_VARARGS, nullptr}']
        rows += ['{"get_type", ZELMOR_SELF_METHOD(&wrapClrObject_get_type), METH_NOARGS, nullptr}',
                 "{nullptr, nullptr, 0, nullptr}"]
        return table(f"static PyMethodDef wrpPygn_tymd_{self._id}_{self._kind}[]", rows)

    def _tables(self) -> list[str]:
        lines = self._method_table()
        if self._kind not in _METHODS:
            return lines
        slots = _ARRAY_SLOTS if self._kind == "array" else _LIST_SLOTS
        rows = [f".{_SLOT_NAMES.get(slot, slot)} = &{self._symbol(slot)}" for slot in slots]
        length = f"{{\"length\", &{self._symbol('get_length')}, nullptr, nullptr, nullptr}}"
        return [*lines, *table(f"static PySequenceMethods wrpPygn_tysd_{self._id}_{self._kind}", rows),
                *table(f"static PyMappingMethods wrpPygn_tygd_{self._id}_{self._kind}",
                       [f"&{self._symbol(name)}" for name in ("sq_length", "mp_subscript", "mp_ssubscript")]),
                *table(f"static PyGetSetDef wrpPygn_typd_{self._id}_{self._kind}[]",
                       [length, "{nullptr, nullptr, nullptr, nullptr, nullptr}"])]

    def _type(self) -> list[str]:
        indexed = self._kind in _METHODS
        end = f"{self._id}_{self._kind}"
        rows = [".ob_base = {PyObject_HEAD_INIT(nullptr) 0}",
                f".tp_name = {quoted(f'{self._module}._{WRAPPERS[self._table_kind]}_{self._id}')}",
                ".tp_basicsize = sizeof(PyClrObject)",
                ".tp_dealloc = reinterpret_cast<destructor>(&wrapClrObject_tp_dealloc)",
                ".tp_repr = reinterpret_cast<reprfunc>(&wrapClrObject_str)"]
        if indexed:
            rows += [f".tp_as_sequence = &wrpPygn_tysd_{end}", f".tp_as_mapping = &wrpPygn_tygd_{end}"]
        rows += [".tp_hash = reinterpret_cast<hashfunc>(&wrapClrObject_hash)",
                 ".tp_richcompare = &wrapClrObject_tp_richcompare",
                 f".tp_iter = &{self._symbol('iter')}"]
        if self._kind == "iter":
            rows.append(f".tp_iternext = &{self._symbol('iternext')}")
        rows.append(f".tp_methods = wrpPygn_tymd_{end}")
        if indexed:
            rows.append(f".tp_getset = wrpPygn_typd_{end}")
        if self._kind == "array":
            rows.append(".tp_base = &wrpPye_tyds_FFFFFFFF_ArrayWrapper")
        rows += [".tp_init = &wrapClrObject_tp_init_fault", ".tp_alloc = &PyType_GenericAlloc",
                 f".tp_new = &wrpPygn_tpsb_{end}_tp_new"]
        return table(f"PyTypeObject {self._record}", rows)

    def write(self) -> list[str]:
        """Everything of the type."""
        return [*self._validity(), *self._operations(), *self._casts(), *self._tables(), *self._type()]


def _host(row: Collection, kind: str, managed: str, base: str) -> list[str]:
    name = f"PyHost_gn_{kind}_{row.identifier}"
    return [f"class {name} final : public zelmor::{base.format(name, f'wrpPygn_elmt_{row.identifier}')} {{",
            "   public:", f"    static constexpr const char* kManagedClass = "
            f"{quoted(f'Zelmor.WrpGen.Generic.SiApi{managed}_{row.identifier}')};", "};", ""]


def _hosts(row: Collection) -> list[str]:
    lines: list[str] = []
    if "iterator" in row.kinds:
        lines += _host(row, "Iterable", "Enumerable",
                       "ShownIterableHost<{0}>" if "iterable" in row.kinds else "TypedIterableHost<{0}>")
        lines += _host(row, "Iter", "Enumerator", "TypedIterHost<{0}, {1}>")
    if "array" in row.kinds:
        lines += _host(row, "Array", "Array", "TypedArrayHost<{0}, {1}>")
    elif "array-argument" in row.kinds:
        lines += _host(row, "Array", "Array", "ArgumentHost<{0}>")
    if "list" in row.kinds:
        lines += _host(row, "List", "List", "TypedListHost<{0}, {1}>")
    if "ilist" in row.kinds:
        lines += _host(row, "IList", "CntList", "TypedIListHost<{0}, {1}>")
        lines += _host(row, "ICol", "CntCollection", "TypedIColHost<{0}, {1}>")
    return lines


def _argument(row: Collection, kind: str) -> list[str]:
    host = f"PyHost_gn_{kind.capitalize()}_{row.identifier}"
    lines: list[str] = []
    if kind in row.kinds:
        record, guard = f"&{_record(row, kind)}", f"&wrpPygn_uafn_{row.identifier}_{kind}_invalidate"
    else:
        record, guard = "nullptr", f"&wrpPygn_uafn_{row.identifier}_{kind}_invalidate"
        lines += function(f"static int wrpPygn_uafn_{row.identifier}_{kind}_invalidate()", [
            f"static const PyHostState state = zelmor::typed_host_state<{host}>({{}});",
            "return zelmor::guard_type(state);"])
    return lines + function(f"int wrpPygn_conv_py_to_clr_{kind}_{row.identifier}(PyObject* object, VariantArg* out)", [
        f"return zelmor::convert_class_parameter(object, out, {{{quoted(kind.capitalize())}, {record}, {guard}, "
        f"&zelmor::assignable_to<{host}>}});"])


def write_row(row: Collection, product: str, module: str) -> list[str]:
    """The source file of an element."""
    lines = [f"// Collections of {row.element.name}: written by the generator from {row.place.path.name}.",
             f'#include "generated/{product}/collection_elements.h"', "", *_hosts(row)]
    if "iterator" in row.kinds:
        lines += function(f"PyObject* wrpPygn_bltp_{row.identifier}_iterable_iter(PyObject* self)", [
            f"return zelmor::sequence_iterate(&zelmor::enumerator_of<PyHost_gn_Iterable_{row.identifier}>, self, "
            f"&{_record(row, 'iterator')});"])
    for kind in WRAPPERS:
        if kind in row.kinds:
            lines += Instance(row, kind, module).write()
    for kind in ("array", "list"):
        if f"{kind}-argument" in row.kinds:
            lines += _argument(row, kind)
    return lines


def _callback(row: Collection, sequence: bool) -> list[str]:
    role, owner = ("pyseq", ", PyObject** owner") if sequence else ("pylist", "")
    name, source = f"fn_clbk_{role}_{row.identifier}_get_item", "sequence" if sequence else "list"
    arguments = f"{source}, index, {'owner, ' if sequence else ''}out"
    if row.element.kind == "bytes":
        slot, state = "PyBytesArg*", ", Py_buffer* state"
        body = f"return zelmor::{source}_get_bytes({arguments}, state);"
    else:
        slot, state = f"wrpPygn_elmt_{row.identifier}::Slot*", ""
        body = f"return zelmor::{source}_get_item<wrpPygn_elmt_{row.identifier}>({arguments});"
    types = f"PyObject*, int{', PyObject**' if sequence else ''}, {slot}{', Py_buffer*' if state else ''}"
    return [*function(f"static int {name}(PyObject* {source}, int index{owner}, {slot} out{state})", [body]),
            f"static int (*const m_pygn_{role}_{row.identifier}_callbacks[])({types}) = {{{name}}};", ""]


def _interfaces(row: Collection, kind: str) -> list[str]:
    """What a type also counts as."""
    typed = [f"&{_record(row, 'iterable')}"] if "iterable" in row.kinds else []
    interop = {name: f"&wrpPye_tyds_FFFFFFFF_{name}Wrapper" for name in ("IList", "ICol", "Iterable", "IDisposable",
                                                                         "Iter")}
    return {"array": [interop["IList"], interop["ICol"], interop["Iterable"], *typed],
            "list": [*typed, interop["Iterable"], interop["IList"], interop["ICol"]],
            "ilist": [interop["Iterable"]], "iterable": [interop["Iterable"]],
            "iterator": [interop["IDisposable"], interop["Iter"]]}[kind]


def write_tables(model: Model, product: str) -> list[str]:
    """The source file of the typed callbacks and of the list of types."""
    lines = ["// The typed callbacks and the typed collections of the module: written by the generator.",
             "#include <algorithm>", "#include <iterator>", "#include <string_view>", "",
             '#include "exchange/callbacks.h"', f'#include "generated/{product}/collection_elements.h"', ""]
    slots = [row for row in model.collections if row.slot is not None]
    for row in slots:
        lines += [*_callback(row, False), *_callback(row, True)]
    lines += table("static constexpr std::string_view kSlots[]", [quoted(row.identifier) for row in slots])
    lines += ["// The managed side indexes the slots by position.",
              "static_assert(std::equal(std::begin(kSlots), std::end(kSlots), std::begin(kGenericElements), "
              "std::end(kGenericElements)));", ""]
    slots_of = [f"&m_pygn_{role}_{row.identifier}_callbacks" for role in ("pylist", "pyseq") for row in slots]
    lines += ["const PyGenericCallbacks m_all_py_generic_callbacks = {{", *(f"    {slot}," for slot in slots_of), "}};",
              ""]
    names: dict[tuple[str, ...], str] = {}
    rows = []
    for row, kind in _types(model):
        interfaces = tuple(_interfaces(row, kind))
        if interfaces not in names:
            names[interfaces] = f"kInterfaces{len(names)}"
            lines += table(f"static PyTypeObject* const {names[interfaces]}[]", interfaces)
        rows.append(f"{{&{_record(row, kind)}, {quoted(f'_{WRAPPERS[kind]}_{row.identifier}')}, {names[interfaces]}}}")
    lines += table("static const zelmor::TypedType kTypes[]", rows)
    return lines + function("std::span<const zelmor::TypedType> zelmor::typed_types()", ["return kTypes;"])


def write_collections(model: Model, product: str) -> dict[str, list[str]]:
    """All files by name; none for a catalogue without typed collections."""
    if not model.collections:
        return {}
    module = f"{model.root.name}._wrpgen._generic"
    files = {"collection_elements.h": write_elements(model, product), "collections.cpp": write_tables(model, product)}
    for row in model.collections:
        files[f"collections_{row.identifier}.cpp"] = write_row(row, product, module)
    return files
