// Binds the service hosts to the scripted managed side, and readies the test types.
#include <gtest/gtest.h>

#include "exchange/exchange_host.h"
#include "exchange/object_host.h"
#include "fixture.h"
#include "pyshell/markers.h"
#include "pyshell/module_version.h"
#include "pyshell/modules.h"
#include "pyshell/sibling_converters.h"

namespace {

PyObject* wrapper_new(PyTypeObject* type, PyObject* args, PyObject* kwargs) {
    PyObject* self = PyType_GenericNew(type, args, kwargs);
    if (self != nullptr) {
        reinterpret_cast<PyClrObject*>(self)->handle = nullptr;
    }
    return self;
}

PyObject* refusing_new(PyTypeObject*, PyObject*, PyObject*) {
    PyErr_SetString(PyExc_RuntimeError, "refused");
    return nullptr;
}

PyMethodDef class_methods[] = {
    {"get_type", reinterpret_cast<PyCFunction>(wrapClrObject_get_type), METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyMethodDef struct_methods[] = {
    {"get_type", reinterpret_cast<PyCFunction>(wrapClrStruct_get_type), METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

PyTypeObject class_record(const char* name) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(PyClrObject);
    type.tp_dealloc = reinterpret_cast<destructor>(wrapClrObject_tp_dealloc);
    type.tp_repr = reinterpret_cast<reprfunc>(wrapClrObject_str);
    type.tp_hash = reinterpret_cast<hashfunc>(wrapClrObject_hash);
    type.tp_richcompare = wrapClrObject_tp_richcompare;
    type.tp_methods = class_methods;
    type.tp_init = wrapClrObject_tp_init_fault;
    type.tp_alloc = PyType_GenericAlloc;
    type.tp_new = wrapper_new;
    return type;
}

PyTypeObject struct_record(const char* name) {
    PyTypeObject type = class_record(name);
    type.tp_dealloc = reinterpret_cast<destructor>(wrapClrStruct_tp_dealloc);
    type.tp_repr = reinterpret_cast<reprfunc>(wrapClrStruct_str);
    type.tp_hash = reinterpret_cast<hashfunc>(wrapClrStruct_hash);
    type.tp_richcompare = wrapClrStruct_tp_richcompare;
    type.tp_methods = struct_methods;
    return type;
}

// A sibling's wrappers die by a function of their own.
void sibling_dealloc(PyObject* self) {
    wrapClrObject_tp_dealloc(reinterpret_cast<PyClrObject*>(self));
}

PyTypeObject sibling_record(const char* name) {
    PyTypeObject type = class_record(name);
    type.tp_dealloc = sibling_dealloc;
    return type;
}

// A wrapper with a field of its own behind the handle, as a stream has.
PyTypeObject longer_record(const char* name) {
    PyTypeObject type = class_record(name);
    type.tp_basicsize = sizeof(PyClrObject) + sizeof(void*);
    return type;
}

PyTypeObject refusing_record(const char* name) {
    PyTypeObject type = class_record(name);
    type.tp_new = refusing_new;
    return type;
}

PyTypeObject derived_record(const char* name, PyTypeObject* base) {
    PyTypeObject type = class_record(name);
    type.tp_base = base;
    return type;
}

PyObject* show_type_handle(void* handle) {
    return PyLong_FromVoidPtr(handle);
}

void mark(PyTypeObject* type, zelmor::WrapperKind kind, std::span<PyTypeObject* const> interfaces = {}) {
    require(zelmor::ready_type(type) == 0 && zelmor::mark_wrapper_type(type, kind, interfaces) == 0, type->tp_name);
}

// Set up once for the program, behind the start of the interpreter.
class PyShellTypes : public ::testing::Environment {
    void SetUp() override;
};

void PyShellTypes::SetUp() {
    serve_managed();
    wrpPyl_convcaps_clr_to_py_C08ECFAB_Type = show_type_handle;
    require(ExchangeHost::get_instance().initialize("WrpInterop.Zelmor.Imaging"), "exchange host");
    require(!ObjectHost::get_instance().is_not_valid(), "object host");
    require(PyType_Ready(&wrpPye_tyds_FFFFFFFF_ModuleVersion) == 0, "version type");
    PyTypeObject* const listed[] = {&test_interface_type};
    mark(&test_class_type, zelmor::WrapperKind::kClass);
    mark(&test_derived_type, zelmor::WrapperKind::kClass);
    mark(&test_struct_type, zelmor::WrapperKind::kStruct);
    mark(&test_interface_type, zelmor::WrapperKind::kClass);
    mark(&test_implementing_type, zelmor::WrapperKind::kClass, listed);
    mark(&test_refusing_type, zelmor::WrapperKind::kClass);
    mark(&test_sibling_type, zelmor::WrapperKind::kClass);
    mark(&test_longer_type, zelmor::WrapperKind::kClass);
}

}  // namespace

PyTypeObject test_class_type = class_record("zelmor.imaging.Thing");
PyTypeObject test_derived_type = derived_record("zelmor.imaging.DerivedThing", &test_class_type);
PyTypeObject test_struct_type = struct_record("zelmor.imaging.Pair");
PyTypeObject test_interface_type = class_record("zelmor.imaging.IThing");
PyTypeObject test_implementing_type = class_record("zelmor.imaging.Implementing");
PyTypeObject test_refusing_type = refusing_record("zelmor.imaging.Refusing");
PyTypeObject test_longer_type = longer_record("zelmor.imaging.Longer");
PyTypeObject test_sibling_type = sibling_record("zelmor.pydrawing.Pen");

// The framework owns it.
static ::testing::Environment* const types = ::testing::AddGlobalTestEnvironment(new PyShellTypes);
