// The pattern of a series of enumerations, and the classes that follow it.
//
// A class by the pattern is made of the steps of `EnumType.__new__` whose outcome differs from class to class. All the
// others were run for the pattern, whose dictionary holds their outcome. It is checked entry by entry: an interpreter
// whose enumerations have an entry that is not known here makes every class itself.
#include "pyshell/enum_series.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <string_view>

#include "pyshell/identifiers.h"
#include "pyshell/imports.h"

namespace zelmor {
namespace {

EnumSeries* series_under_way = nullptr;  // guarded by the interpreter lock

// The entries that each class has of its own.
constexpr const char* kModule = "__module__";
constexpr const char* kMemberNames = "_member_names_";        // list: names in order, without aliases
constexpr const char* kMemberMap = "_member_map_";            // dictionary: name to member, with aliases
constexpr const char* kMemberOfValue = "_value2member_map_";  // dictionary: value to member
constexpr const char* kUnhashable = "_unhashable_values_";    // list; no integer gets into it

// The known entries: those before the members, and those that are set behind them.
constexpr std::string_view kHead[] = {
    "_generate_next_value_", kModule,     "_new_member_",  "_use_args_",   kMemberNames, kMemberMap,
    kMemberOfValue,          kUnhashable, "_member_type_", "_value_repr_", "__doc__"};
constexpr std::string_view kTail[] = {"__repr__", "__str__", "__format__", "__reduce_ex__", "__new__"};

// The attributes of a member, in the order in which it gets them.
constexpr const char* kValue = "_value_";
constexpr const char* kName = "_name_";
constexpr const char* kClass = "__objclass__";
constexpr const char* kSortOrder = "_sort_order_";
constexpr std::string_view kMemberAttributes[] = {kValue, kName, kClass, kSortOrder};

PyTypeObject* as_type(PyObject* object) {
    return reinterpret_cast<PyTypeObject*>(object);
}

bool is_ascii(PyObject* object) {
    return PyUnicode_Check(object) && PyUnicode_IS_COMPACT_ASCII(object);
}

std::string_view ascii_text(PyObject* text) {
    assert(is_ascii(text));
    return {reinterpret_cast<const char*>(PyUnicode_1BYTE_DATA(text)), static_cast<size_t>(PyUnicode_GET_LENGTH(text))};
}

template <size_t N>
bool is_one_of(const std::string_view (&known)[N], PyObject* key) {
    return is_ascii(key) && std::find(std::begin(known), std::end(known), ascii_text(key)) != std::end(known);
}

// An entry of a dictionary, borrowed. Null if there is none, or with an exception set.
PyObject* entry_of(PyObject* dictionary, const char* name) {
    const PyRef key = PyRef::steal(PyUnicode_InternFromString(name));
    return key ? PyDict_GetItemWithError(dictionary, key.get()) : nullptr;
}

bool set_attribute(PyObject* object, const char* name, PyObject* value) {
    const PyRef key = PyRef::steal(PyUnicode_InternFromString(name));
    return key && value != nullptr && PyObject_SetAttr(object, key.get(), value) == 0;
}

// Replaces an entry, which keeps its place in the order.
bool replace_entry(PyObject* dictionary, const char* name, PyObject* value) {
    const PyRef key = PyRef::steal(PyUnicode_InternFromString(name));
    return key && value != nullptr && PyDict_SetItem(dictionary, key.get(), value) == 0;
}

// Splits a class dictionary at its members. False if it has an entry that is not known, if the members do not stand one
// behind the other, or with an exception set.
bool split_dictionary(PyObject* dictionary, PyObject* member_map, PyObject* head, PyObject* tail) {
    PyObject *key = nullptr, *value = nullptr;
    Py_ssize_t place = 0, members_seen = 0;
    while (PyDict_Next(dictionary, &place, &key, &value) != 0) {
        const int is_member = PyDict_Contains(member_map, key);
        if (is_member < 0) {
            return false;
        }
        if (is_member != 0) {
            ++members_seen;
        } else if (members_seen == 0) {
            if (!is_one_of(kHead, key) || PyDict_SetItem(head, key, value) != 0) {
                return false;
            }
        } else if (members_seen != PyDict_GET_SIZE(member_map) || !is_one_of(kTail, key) ||
                   PyDict_SetItem(tail, key, value) != 0) {
            return false;
        }
    }
    return PyDict_GET_SIZE(head) == Py_ssize_t{std::size(kHead)};
}

// Whether a member is what `int.__new__` makes, with the known attributes in the known order and with no other.
bool is_plain_member(PyObject* member) {
    const PyRef attributes = PyRef::steal(PyObject_GenericGetDict(member, nullptr));
    if (!attributes || PyDict_GET_SIZE(attributes.get()) != Py_ssize_t{std::size(kMemberAttributes)}) {
        return false;
    }
    PyObject *key = nullptr, *value = nullptr;
    Py_ssize_t place = 0;
    for (const std::string_view expected : kMemberAttributes) {
        if (PyDict_Next(attributes.get(), &place, &key, &value) == 0 || !is_ascii(key) || ascii_text(key) != expected) {
            return false;
        }
    }
    return true;
}

bool has_plain_members(PyObject* dictionary, PyObject* member_map) {
    PyObject *name = nullptr, *member = nullptr;
    Py_ssize_t place = 0;
    return entry_of(dictionary, "_new_member_") == entry_of(PyLong_Type.tp_dict, "__new__") &&
           entry_of(dictionary, "_member_type_") == reinterpret_cast<PyObject*>(&PyLong_Type) &&
           entry_of(dictionary, "_use_args_") == Py_True && PyDict_Next(member_map, &place, &name, &member) != 0 &&
           is_plain_member(member);
}

// The name of a member for which the enum module has no rule of its own, and which hides nothing that is inherited.
bool is_plain_name(PyTypeObject* base, PyObject* name) {
    if (!is_ascii(name)) {
        return false;
    }
    const std::string_view text = ascii_text(name);
    const bool begins_with_letter =
        !text.empty() && ((text[0] >= 'A' && text[0] <= 'Z') || (text[0] >= 'a' && text[0] <= 'z'));
    return begins_with_letter && text != "mro" && _PyType_Lookup(base, name) == nullptr;
}

// The name of the module whose code runs, as the enum module finds it: borrowed, or null.
PyObject* calling_module() {
    PyObject* globals = PyEval_GetGlobals();
    return globals != nullptr ? entry_of(globals, "__name__") : nullptr;
}

PyRef make_member(PyObject* enum_class, PyObject* name, PyObject* value, Py_ssize_t sort_order) {
    const PyRef arguments = PyRef::steal(PyTuple_Pack(1, value));
    PyRef member =
        PyRef::steal(arguments ? PyLong_Type.tp_new(as_type(enum_class), arguments.get(), nullptr) : nullptr);
    const PyRef order = PyRef::steal(PyLong_FromSsize_t(sort_order));
    if (!member || !set_attribute(member.get(), kValue, value) || !set_attribute(member.get(), kName, name) ||
        !set_attribute(member.get(), kClass, enum_class) || !set_attribute(member.get(), kSortOrder, order.get())) {
        return {};
    }
    return member;
}

// What a class knows of its members.
struct MemberTables {
    PyRef names = PyRef::steal(PyList_New(0));
    PyRef by_name = PyRef::steal(PyDict_New());
    PyRef by_value = PyRef::steal(PyDict_New());

    // Puts itself in the place of the pattern's.
    bool enter(PyObject* body) const {
        const PyRef unhashable = PyRef::steal(PyList_New(0));
        return replace_entry(body, kMemberNames, names.get()) && replace_entry(body, kMemberMap, by_name.get()) &&
               replace_entry(body, kMemberOfValue, by_value.get()) &&
               replace_entry(body, kUnhashable, unhashable.get());
    }

    // Adds a member to the class and to the tables; another name of the same value is the same member.
    bool add(PyObject* enum_class, PyObject* name, PyObject* value) const {
        PyRef member = PyRef::borrow(PyDict_GetItemWithError(by_value.get(), value));
        if (!member) {
            if (PyErr_Occurred() != nullptr) {
                return false;
            }
            member = make_member(enum_class, name, value, PyList_GET_SIZE(names.get()));
            if (!member || PyList_Append(names.get(), name) != 0 ||
                PyDict_SetItem(by_value.get(), value, member.get()) != 0) {
                return false;
            }
        }
        return PyDict_SetItem(as_type(enum_class)->tp_dict, name, member.get()) == 0 &&
               PyDict_SetItem(by_name.get(), name, member.get()) == 0;
    }
};

bool set_attributes(PyObject* enum_class, PyObject* attributes) {
    PyObject *key = nullptr, *value = nullptr;
    Py_ssize_t place = 0;
    while (PyDict_Next(attributes, &place, &key, &value) != 0) {
        // That of `type`: what `EnumType` adds to it refuses members, and none of these is one.
        if (PyType_Type.tp_setattro(enum_class, key, value) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

EnumSeries::EnumSeries() {
    assert(series_under_way == nullptr);
    series_under_way = this;
}

EnumSeries::~EnumSeries() {
    series_under_way = nullptr;
}

EnumSeries* EnumSeries::current() {
    return series_under_way;
}

PyObject* EnumSeries::make(bool flags, PyObject* name, PyObject* members) {
    assert(PyTuple_CheckExact(members));
    PyRef& base = flags ? m_int_flag : m_int_enum;
    if (!base) {
        base = PyRef::steal(PyShImport_ImportType("enum", flags ? PyWrpIdTypeName_IntFlag : PyWrpIdTypeName_IntEnum));
        if (!base) {
            return nullptr;
        }
    }
    if (!flags && fits_pattern(members)) {
        if (PyObject* module = calling_module(); module != nullptr) {
            return make_by_pattern(module, name, members);
        }
        if (PyErr_Occurred() != nullptr) {
            return nullptr;
        }
    }
    PyRef made = PyRef::steal(PyObject_CallFunctionObjArgs(base.get(), name, members, nullptr));
    if (made && !flags && !m_pattern_sought && PyTuple_GET_SIZE(members) != 0 && !take_pattern(made.get())) {
        return nullptr;
    }
    return made.release();
}

// Keeps of a class what those that follow have in common with it. False with an exception set.
bool EnumSeries::take_pattern(PyObject* made) {
    m_pattern_sought = true;
    PyObject* dictionary = as_type(made)->tp_dict;
    PyObject* member_map = entry_of(dictionary, kMemberMap);
    PyRef head = PyRef::steal(PyDict_New());
    PyRef tail = PyRef::steal(PyDict_New());
    if (head && tail && member_map != nullptr && PyDict_CheckExact(member_map) &&
        split_dictionary(dictionary, member_map, head.get(), tail.get()) && has_plain_members(dictionary, member_map)) {
        m_head = std::move(head);
        m_tail = std::move(tail);
    }
    return PyErr_Occurred() == nullptr;
}

bool EnumSeries::fits_pattern(PyObject* members) const {
    if (!m_head) {
        return false;
    }
    PyTypeObject* base = as_type(m_int_enum.get());
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(members); ++i) {
        PyObject* pair = PyTuple_GET_ITEM(members, i);
        assert(PyTuple_CheckExact(pair) && PyTuple_GET_SIZE(pair) == 2 && PyLong_CheckExact(PyTuple_GET_ITEM(pair, 1)));
        if (!is_plain_name(base, PyTuple_GET_ITEM(pair, 0))) {
            return false;
        }
    }
    return true;
}

PyObject* EnumSeries::make_by_pattern(PyObject* module, PyObject* name, PyObject* members) const {
    const MemberTables tables;
    const PyRef body = PyRef::steal(PyDict_Copy(m_head.get()));
    const PyRef bases = PyRef::steal(PyTuple_Pack(1, m_int_enum.get()));
    if (!tables.names || !tables.by_name || !tables.by_value || !body || !bases || !tables.enter(body.get()) ||
        !replace_entry(body.get(), kModule, module)) {
        return nullptr;
    }
    const PyRef arguments = PyRef::steal(PyTuple_Pack(3, name, bases.get(), body.get()));
    PyRef made =
        PyRef::steal(arguments ? PyType_Type.tp_new(Py_TYPE(m_int_enum.get()), arguments.get(), nullptr) : nullptr);
    if (!made) {
        return nullptr;
    }
    for (Py_ssize_t i = 0; i < PyTuple_GET_SIZE(members); ++i) {
        PyObject* pair = PyTuple_GET_ITEM(members, i);
        PyObject* member_name = PyTuple_GET_ITEM(pair, 0);
        const int is_taken = PyDict_Contains(tables.by_name.get(), member_name);
        if (is_taken != 0) {
            // A name twice is refused in the words of the enum module.
            return is_taken < 0 ? nullptr : PyObject_CallFunctionObjArgs(m_int_enum.get(), name, members, nullptr);
        }
        if (!tables.add(made.get(), member_name, PyTuple_GET_ITEM(pair, 1))) {
            return nullptr;
        }
    }
    PyType_Modified(as_type(made.get()));
    return set_attributes(made.get(), m_tail.get()) ? made.release() : nullptr;
}

}  // namespace zelmor
