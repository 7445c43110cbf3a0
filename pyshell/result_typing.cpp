// Result readers that look at the run-time type of what came back.
#include "pyshell/result_typing.h"

#include "exchange/exchange_host.h"
#include "exchange/wire/tags.h"
#include "pyshell/markers.h"
#include "pyshell/types_map.h"

namespace {

// The managed side failed to tell the type of what it returned; its error stands.
PyObject* drop_untold(void* handle) {
    zelmor::free_unwrapped_handle(handle);
    return nullptr;
}

}  // namespace

PyObject* fn_conv_clr_ifcimpl_to_py_ifcimpl(const PyObjectOutArg& result, PyTypeObject* declared) {
    if (result.handle == nullptr) {
        Py_RETURN_NONE;
    }
    PyTypeObject* found = nullptr;
    if (!zelmor::find_type_weakly(result.handle, result.type_id, found)) {
        return drop_untold(result.handle);
    }
    // Otherwise the run-time type is internal to the library, or does not list the interface.
    const bool applies = found != nullptr && fn_contains_implicit_ifc_markattr(found, declared);
    return fn_py_clr_type_generic_new(result.handle, applies ? found : declared);
}

PyObject* fn_conv_clr_ifcimpl_to_py_ifcimpl_wps(const PyCollectionArg& result, PyTypeObject* declared) {
    if (result.value == nullptr) {
        Py_RETURN_NONE;
    }
    if (result.kind == kCollectionPyObject) {
        return Py_NewRef(static_cast<PyObject*>(result.value));
    }
    PyTypeObject* found = nullptr;
    if (!zelmor::find_type_weakly(result.value, result.type_id, found)) {
        return drop_untold(result.value);
    }
    if (found != nullptr && fn_contains_implicit_ifc_markattr(found, declared)) {
        return fn_py_clr_type_generic_new(result.value, found);
    }
    if (result.kind != kCollectionStruct) {
        return fn_py_clr_type_generic_new(result.value, declared);
    }
    // An interface wrapper can show a struct only as a boxed object. With the box the struct's handle changes hands; a
    // struct that could not be boxed still has it.
    void* boxed = ExchangeHost::get_instance().box_stc_target(result.value);
    if (PyErr_Occurred() != nullptr) {
        ExchangeHost::get_instance().free_struct(result.value);
        return nullptr;
    }
    return fn_py_clr_type_generic_new(boxed, declared);
}

PyObject* fn_conv_clr_absobj_to_py_absobj(const PyCollectionArg& result, PyTypeObject* declared) {
    if (result.value == nullptr) {
        Py_RETURN_NONE;
    }
    if (result.kind == kCollectionPyObject) {
        return Py_NewRef(static_cast<PyObject*>(result.value));
    }
    PyTypeObject* found = nullptr;
    if (!zelmor::find_type_weakly(result.value, result.type_id, found)) {
        return drop_untold(result.value);
    }
    return fn_py_clr_type_generic_new(result.value, found != nullptr ? found : declared);
}

PyObject* fn_conv_clr_btpobj_to_py_btpobj(const PyCollectionArg& result, PyTypeObject* declared) {
    if (result.value == nullptr) {
        Py_RETURN_NONE;
    }
    PyTypeObject* found = nullptr;
    if (result.kind == kCollectionStruct && !zelmor::find_type_weakly(result.value, result.type_id, found)) {
        return drop_untold(result.value);
    }
    return fn_py_clr_type_generic_new(result.value, found != nullptr ? found : declared);
}
