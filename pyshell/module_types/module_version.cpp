// The version type and its objects. Compiled into each module under that module's name.
#include "pyshell/module_version.h"

#include <structmember.h>

#include <cassert>
#include <compare>
#include <tuple>

namespace {

PyShVersionObject* as_version(PyObject* object) {
    return reinterpret_cast<PyShVersionObject*>(object);
}

auto numbers(const PyShVersionObject* version) {
    return std::tie(version->major, version->minor, version->patch, version->sub);
}

// An ordering as the sign of a difference: -1, 0 or 1.
int sign_of(std::strong_ordering order) {
    if (std::is_lt(order)) {
        return -1;
    }
    return std::is_gt(order) ? 1 : 0;
}

void version_dealloc(PyObject* self) {
    Py_XDECREF(as_version(self)->view);
    Py_TYPE(self)->tp_free(self);
}

PyObject* version_repr(PyObject* self) {
    return PyUnicode_FromFormat("<%s: %U>", Py_TYPE(self)->tp_name, as_version(self)->view);
}

PyObject* version_str(PyObject* self) {
    return Py_NewRef(as_version(self)->view);
}

// FNV-1a over the four numbers as they lie in memory; the text takes no part. -1 is left as it comes out.
Py_hash_t version_hash(PyObject* self) {
    const PyShVersionObject* version = as_version(self);
    const int32_t parts[4] = {version->major, version->minor, version->patch, version->sub};
    uint32_t hash = 0x811C9DC5u;
    for (int32_t part : parts) {
        for (int shift = 0; shift < 32; shift += 8) {
            hash = (hash ^ (static_cast<uint32_t>(part) >> shift & 0xFFu)) * 16777619u;
        }
    }
    return static_cast<int32_t>(hash);
}

// The version type of a sibling module is another type, hence not comparable.
PyObject* version_richcompare(PyObject* left, PyObject* right, int operation) {
    if (!Py_IS_TYPE(left, &wrpPye_tyds_FFFFFFFF_ModuleVersion) ||
        !Py_IS_TYPE(right, &wrpPye_tyds_FFFFFFFF_ModuleVersion)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const auto order = numbers(as_version(left)) <=> numbers(as_version(right));
    // NOLINTNEXTLINE(bugprone-branch-clone): the branches of the macro
    Py_RETURN_RICHCOMPARE(sign_of(order), 0, operation);
}

PyMemberDef version_members[] = {
    {"major", T_INT, offsetof(PyShVersionObject, major), READONLY, nullptr},
    {"minor", T_INT, offsetof(PyShVersionObject, minor), READONLY, nullptr},
    {"patch", T_INT, offsetof(PyShVersionObject, patch), READONLY, nullptr},
    {"sub", T_INT, offsetof(PyShVersionObject, sub), READONLY, nullptr},
    {"view", T_OBJECT_EX, offsetof(PyShVersionObject, view), READONLY, nullptr},
    {nullptr, 0, 0, 0, nullptr},
};

constexpr PyTypeObject version_type() {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = ZELMOR_MODULE_NAME "._ModuleVersionType";
    type.tp_basicsize = sizeof(PyShVersionObject);
    type.tp_dealloc = version_dealloc;
    type.tp_repr = version_repr;
    type.tp_hash = version_hash;
    type.tp_str = version_str;
    type.tp_flags = 0;
    type.tp_richcompare = version_richcompare;
    type.tp_members = version_members;
    return type;
}

}  // namespace

// Without `tp_new`: Python cannot make a version.
constinit PyTypeObject wrpPye_tyds_FFFFFFFF_ModuleVersion = version_type();

PyObject* PyShVersionAttr_Create(int major, int minor, int patch, int sub, const char* text) {
    assert(PyType_HasFeature(&wrpPye_tyds_FFFFFFFF_ModuleVersion, Py_TPFLAGS_READY) && text != nullptr);
    PyObject* version = PyType_GenericNew(&wrpPye_tyds_FFFFFFFF_ModuleVersion, nullptr, nullptr);
    if (version == nullptr) {
        return nullptr;
    }
    PyShVersionObject* fields = as_version(version);
    fields->major = major;
    fields->minor = minor;
    fields->patch = patch;
    fields->sub = sub;
    fields->view = PyUnicode_FromString(text);
    if (fields->view == nullptr) {
        Py_CLEAR(version);
    }
    return version;
}

int PyShVersionAttr_Compare(const int* reference, PyObject* version) {
    assert(reference != nullptr && version != nullptr);
    const auto order =
        std::tie(reference[0], reference[1], reference[2], reference[3]) <=> numbers(as_version(version));
    return sign_of(order);
}

PyObject* PyShVersionAttr_GetView(PyObject* version) {
    assert(version != nullptr);
    return as_version(version)->view;
}
