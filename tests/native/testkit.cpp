// The extension module `zelmor_testkit`: functions for tests that modify or fake the sibling modules of the bridge, as
// far as Python cannot do this itself. It does not use the bridge.
#include <cstring>
#include <memory>

#include "pyshell/module_version.h"
#include "pyshell/py_ref.h"
#include "pyshell/python.h"

using zelmor::PyRef;

namespace {

PyShVersionObject* as_version(PyObject* object) {
    return reinterpret_cast<PyShVersionObject*>(object);
}

void version_dealloc(PyObject* self) {
    Py_XDECREF(as_version(self)->view);
    Py_TYPE(self)->tp_free(self);
}

// A version object as a sibling publishes it: the shared layout, with a type of another module.
PyTypeObject version_type = [] {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = "zelmor_testkit.Version";
    type.tp_basicsize = sizeof(PyShVersionObject);
    type.tp_dealloc = version_dealloc;
    return type;
}();

PyObject* make_version(PyObject*, PyObject* args) {
    int numbers[4];
    PyObject* view;
    if (!PyArg_ParseTuple(args, "iiiiU:make_version", &numbers[0], &numbers[1], &numbers[2], &numbers[3], &view)) {
        return nullptr;
    }
    PyObject* version = PyType_GenericAlloc(&version_type, 0);
    if (version != nullptr) {
        as_version(version)->major = numbers[0];
        as_version(version)->minor = numbers[1];
        as_version(version)->patch = numbers[2];
        as_version(version)->sub = numbers[3];
        as_version(version)->view = Py_NewRef(view);
    }
    return version;
}

// The data that a capsule of this module owns.
struct Table {
    std::unique_ptr<void*[]> entries;
    std::unique_ptr<char[]> name;
};

void free_table(PyObject* capsule) {
    delete static_cast<Table*>(PyCapsule_GetContext(capsule));
}

PyObject* make_capsule(PyObject*, PyObject* args) {
    const char* name;
    PyObject* sequence;
    if (!PyArg_ParseTuple(args, "sO:make_capsule", &name, &sequence)) {
        return nullptr;
    }
    const PyRef items = PyRef::steal(PySequence_Fast(sequence, "entries have to be a sequence of addresses"));
    if (!items) {
        return nullptr;
    }
    const Py_ssize_t count = PySequence_Fast_GET_SIZE(items.get());
    auto table = std::make_unique<Table>();
    table->entries = std::make_unique<void*[]>(static_cast<size_t>(count) + 1);
    for (Py_ssize_t i = 0; i < count; ++i) {
        PyObject* item = PySequence_Fast_GET_ITEM(items.get(), i);
        if (item != Py_None) {
            table->entries[i] = PyLong_AsVoidPtr(item);
            if (PyErr_Occurred() != nullptr) {
                return nullptr;
            }
        }
    }
    const size_t length = std::strlen(name) + 1;
    table->name = std::make_unique<char[]>(length);
    std::memcpy(table->name.get(), name, length);

    PyRef capsule = PyRef::steal(PyCapsule_New(table->entries.get(), table->name.get(), free_table));
    if (!capsule) {
        return nullptr;
    }
    PyCapsule_SetContext(capsule.get(), table.release());
    return capsule.release();
}

PyObject* read_capsule(PyObject*, PyObject* args) {
    PyObject* capsule;
    Py_ssize_t count;
    if (!PyArg_ParseTuple(args, "O!n:read_capsule", &PyCapsule_Type, &capsule, &count)) {
        return nullptr;
    }
    auto entries = static_cast<void**>(PyCapsule_GetPointer(capsule, PyCapsule_GetName(capsule)));
    PyRef addresses = PyRef::steal(PyList_New(0));
    if (entries == nullptr || !addresses) {
        return nullptr;
    }
    for (Py_ssize_t i = 0; i < count; ++i) {
        const PyRef address = PyRef::steal(PyLong_FromVoidPtr(entries[i]));
        if (!address || PyList_Append(addresses.get(), address.get()) < 0) {
            return nullptr;
        }
    }
    return addresses.release();
}

PyMethodDef functions[] = {
    {"make_version", make_version, METH_VARARGS,
     "make_version(major, minor, patch, sub, text)\n\nA version object as a sibling module publishes it."},
    {"make_capsule", make_capsule, METH_VARARGS,
     "make_capsule(name, entries)\n\nA capsule over an array of addresses; None is a null entry."},
    {"read_capsule", read_capsule, METH_VARARGS,
     "read_capsule(capsule, count)\n\nThe first entries of the array that a capsule points at, as addresses."},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                          "zelmor_testkit",
                          "Makes up parts of sibling modules for tests.",
                          -1,
                          functions,
                          nullptr,
                          nullptr,
                          nullptr,
                          nullptr};

}  // namespace

PyMODINIT_FUNC PyInit_zelmor_testkit() {
    return PyType_Ready(&version_type) < 0 ? nullptr : PyModule_Create(&definition);
}
