// The internal modules "_wrpgen", "_interop" and "_generic". Compiled into each module under that module's name.
#include <cassert>
#include <span>

#include "collections/interop.h"
#include "collections/typed_types.h"
#include "pyshell/modules.h"
#include "pyshell/py_ref.h"

using zelmor::PyRef;

namespace {

PyMethodDef no_functions[] = {{nullptr, nullptr, 0, nullptr}};

#define ZELMOR_MODULE_DEFINITION(name) \
    { PyModuleDef_HEAD_INIT, ZELMOR_MODULE_NAME name, nullptr, -1, no_functions, nullptr, nullptr, nullptr, nullptr }
PyModuleDef wrpPye_mlds_FFFFFFFF_wrpgen = ZELMOR_MODULE_DEFINITION("._wrpgen");
PyModuleDef wrpPye_mlds_FFFFFFFF_interop = ZELMOR_MODULE_DEFINITION("._wrpgen._interop");
PyModuleDef wrpPygn_mlds_FFFFFFFF_generic = ZELMOR_MODULE_DEFINITION("._wrpgen._generic");
#undef ZELMOR_MODULE_DEFINITION

// The interfaces that a kind implements, both as an argument and as a result.
PyTypeObject* const kAlsoIterable[] = {&wrpPye_tyds_FFFFFFFF_IterableWrapper};
PyTypeObject* const kAlsoCollection[] = {&wrpPye_tyds_FFFFFFFF_IterableWrapper, &wrpPye_tyds_FFFFFFFF_IColWrapper};
PyTypeObject* const kAlsoList[] = {&wrpPye_tyds_FFFFFFFF_IterableWrapper, &wrpPye_tyds_FFFFFFFF_IColWrapper,
                                   &wrpPye_tyds_FFFFFFFF_IListWrapper};
PyTypeObject* const kAlsoDisposable[] = {&wrpPye_tyds_FFFFFFFF_IDisposableWrapper};

struct InteropType {
    PyTypeObject* type;
    const char* name;
    std::span<PyTypeObject* const> interfaces;
};

// In order of building. Later kinds name earlier ones in their markers.
const InteropType kCollectionTypes[] = {
    {&wrpPye_tyds_FFFFFFFF_IDisposableWrapper, "_IDisposableWrapper", {}},
    {&wrpPye_tyds_FFFFFFFF_IterWrapper, "_IterWrapper", {}},
    {&wrpPye_tyds_FFFFFFFF_IterableWrapper, "_IterableWrapper", {}},
    {&wrpPye_tyds_FFFFFFFF_IColWrapper, "_IColWrapper", kAlsoIterable},
    {&wrpPye_tyds_FFFFFFFF_IListWrapper, "_IListWrapper", kAlsoCollection},
    {&wrpPye_tyds_FFFFFFFF_RoColBaseWrapper, "_RoColBaseWrapper", kAlsoCollection},
    {&wrpPye_tyds_FFFFFFFF_ColBaseWrapper, "_ColBaseWrapper", kAlsoList},
    {&wrpPye_tyds_FFFFFFFF_ArrayWrapper, "_ArrayWrapper", kAlsoList},
    {&wrpPye_tyds_FFFFFFFF_ArrListWrapper, "_ArrListWrapper", kAlsoList},
};

int add_interop_type(PyObject* module, const InteropType& entry) {
    if (zelmor::mark_wrapper_type(entry.type, zelmor::WrapperKind::kClass, entry.interfaces) < 0) {
        return -1;
    }
    return zelmor::add_ready_type(module, entry.name, entry.type);
}

}  // namespace

PyObject* wrpPye_mlit_FFFFFFFF_interop_wrappers() {
    PyRef module = PyRef::steal(zelmor::create_module(&wrpPye_mlds_FFFFFFFF_interop));
    if (!module) {
        return nullptr;
    }
    for (const InteropType& entry : kCollectionTypes) {
        if (zelmor::ready_type(entry.type) < 0) {
            return nullptr;
        }
    }
    for (const InteropType& entry : kCollectionTypes) {
        if (add_interop_type(module.get(), entry) < 0) {
            return nullptr;
        }
    }
    if (PyShModule_AddType(module.get(), &wrpPye_tyds_FFFFFFFF_ShlBufferView, "_ShlBufferView") < 0) {
        return nullptr;
    }
    if (zelmor::ready_type(&wrpPye_tyds_FFFFFFFF_StreamWrapper) < 0 ||
        add_interop_type(module.get(), {&wrpPye_tyds_FFFFFFFF_StreamWrapper, "_StreamWrapper", kAlsoDisposable}) < 0) {
        return nullptr;
    }
    return module.release();
}

// All types are readied before any is marked, since the markers name other types of the module.
PyObject* wrpPygn_mlit_FFFFFFFF_generic_wrappers() {
    PyRef module = PyRef::steal(zelmor::create_module(&wrpPygn_mlds_FFFFFFFF_generic));
    if (!module) {
        return nullptr;
    }
    for (const zelmor::TypedType& entry : zelmor::typed_types()) {
        if (zelmor::ready_type(entry.type) < 0) {
            return nullptr;
        }
    }
    for (const zelmor::TypedType& entry : zelmor::typed_types()) {
        if (zelmor::mark_wrapper_type(entry.type, zelmor::WrapperKind::kClass, entry.interfaces) < 0 ||
            zelmor::add_ready_type(module.get(), entry.name, entry.type) < 0) {
            return nullptr;
        }
    }
    return module.release();
}

PyObject* wrpPye_mlit_FFFFFFFF_common_wrappers(PyObject* root) {
    assert(PyModule_Check(root));
    PyObject* module = zelmor::create_module(&wrpPye_mlds_FFFFFFFF_wrpgen);
    // From here on the root owns the module.
    if (module == nullptr || zelmor::add_child_module(root, "_wrpgen", module) < 0) {
        return nullptr;
    }
    if (zelmor::add_child_module(module, "_interop", wrpPye_mlit_FFFFFFFF_interop_wrappers()) < 0 ||
        zelmor::add_child_module(module, "_generic", wrpPygn_mlit_FFFFFFFF_generic_wrappers()) < 0) {
        return nullptr;
    }
    return Py_NewRef(module);
}
