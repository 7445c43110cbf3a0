// The scripted managed classes of the interop tests, and what stands in for the sibling modules.
#include "interop_runtime.h"

#include <cstdlib>
#include <map>

#include "collections/interop.h"
#include "exchange/exchange_host.h"
#include "exchange/object_host.h"
#include "pyshell/markers.h"
#include "pyshell/modules.h"
#include "pyshell/sibling_converters.h"

using zelmor::PyRef;

InteropScript script;

namespace {

// True if the script has the call fail.
bool called(const char* method) {
    script.calls.emplace_back(method);
    if (script.raises.empty()) {
        return false;
    }
    PyErr_SetString(PyExc_RuntimeError, script.raises.c_str());
    return true;
}

int type_of(void** out) {
    called("btp_TypeOf");
    *out = script.out;
    return script.status;
}

int cast_to(const VariantArg* value, void** out) {
    called("btp_CastTo");
    script.value = *value;
    *out = script.out;
    return script.status;
}

int cast_as(const VariantArg* value, void** out) {
    called("btp_CastAs");
    script.value = *value;
    *out = script.out;
    return script.status;
}

int reinterpret_obj(void* object, void** out) {
    called("btp_ReInterpretObj");
    script.handle = object;
    *out = script.out;
    return script.status;
}

int class_is_assignable(void* handle) {
    called("btp_IsAssignable");
    script.handle = handle;
    return script.assignable;
}

int interface_is_assignable(const VariantArg* value) {
    called("btp_IsAssignable");
    script.value = *value;
    return script.assignable;
}

// Bound as every entry point has to be, and not called by anything under test.
void unused_entry() {
    std::abort();
}

template <class Function>
void* entry(Function* function) {
    return reinterpret_cast<void*>(function);
}

bool is_interface(const std::string& type) {
    for (const char* name :
         {"SiApiDisposable", "SiApiEnumerator", "SiApiEnumerable", "SiApiCntCollection", "SiApiCntList"}) {
        if (type.ends_with(name)) {
            return true;
        }
    }
    return false;
}

void* interop_entry(const std::string& type, const std::string& method) {
    static const std::map<std::string, void*> services = {
        {"btp_TypeOf", entry(type_of)},
        {"btp_CastTo", entry(cast_to)},
        {"btp_CastAs", entry(cast_as)},
        {"btp_ReInterpretObj", entry(reinterpret_obj)},
    };
    if (method == "btp_IsAssignable") {
        return is_interface(type) ? entry(interface_is_assignable) : entry(class_is_assignable);
    }
    const auto found = services.find(method);
    return found != services.end() ? found->second : entry(unused_entry);
}

// The reflection module and the cast result, as small as they can be.

PyObject* show_type(void* handle) {
    return PyLong_FromVoidPtr(handle);
}

PyObject* show_cast(int status, PyObject* value) {
    return Py_BuildValue("(iO)", status, value != nullptr ? value : Py_Ellipsis);
}

int read_object(PyObject* object, void** out) {
    if (!PyTuple_Check(object)) {
        return 0;
    }
    *out = PyLong_AsVoidPtr(PyTuple_GET_ITEM(object, 0));
    return 1;
}

PyObject* empty_wrapper(PyTypeObject* type, PyObject* args, PyObject* kwargs) {
    return PyType_GenericNew(type, args, kwargs);
}

PyTypeObject wrapper_record(const char* name, PyTypeObject* base = nullptr) {
    PyTypeObject type = {};
    type.ob_base = {PyObject_HEAD_INIT(nullptr) 0};
    type.tp_name = name;
    type.tp_basicsize = sizeof(PyClrObject);
    type.tp_dealloc = reinterpret_cast<destructor>(wrapClrObject_tp_dealloc);
    type.tp_base = base;
    type.tp_new = empty_wrapper;
    return type;
}

PyTypeObject struct_record(const char* name) {
    PyTypeObject type = wrapper_record(name);
    type.tp_dealloc = reinterpret_cast<destructor>(wrapClrStruct_tp_dealloc);
    return type;
}

void mark(PyTypeObject* type, zelmor::WrapperKind kind, std::span<PyTypeObject* const> interfaces = {}) {
    require(zelmor::ready_type(type) == 0 && zelmor::mark_wrapper_type(type, kind, interfaces) == 0, type->tp_name);
}

PyModuleDef root_definition = {
    PyModuleDef_HEAD_INIT, "zelmor.imaging", nullptr, -1, nullptr, nullptr, nullptr, nullptr, nullptr};

void build_modules() {
    const PyRef root = PyRef::steal(zelmor::create_module(&root_definition));
    require(static_cast<bool>(root), "root module");
    const PyRef wrappers = PyRef::steal(wrpPye_mlit_FFFFFFFF_common_wrappers(root.get()));
    require(static_cast<bool>(wrappers), "internal modules");
    PyDict_SetItemString(PyImport_GetModuleDict(), "zelmor_test_root", root.get());
    static PyTypeObject* const implemented[] = {
        &wrpPye_tyds_FFFFFFFF_IDisposableWrapper, &wrpPye_tyds_FFFFFFFF_IterWrapper,
        &wrpPye_tyds_FFFFFFFF_IterableWrapper, &wrpPye_tyds_FFFFFFFF_IColWrapper, &wrpPye_tyds_FFFFFFFF_IListWrapper};
    mark(&other_class_type, zelmor::WrapperKind::kClass);
    mark(&other_struct_type, zelmor::WrapperKind::kStruct);
    mark(&disposable_class_type, zelmor::WrapperKind::kClass, implemented);
    mark(&array_subtype, zelmor::WrapperKind::kClass);
}

}  // namespace

PyTypeObject other_class_type = wrapper_record("zelmor.imaging.Thing");
PyTypeObject other_struct_type = struct_record("zelmor.imaging.Pair");
PyTypeObject disposable_class_type = wrapper_record("zelmor.imaging.Implementing");
PyTypeObject array_subtype =
    wrapper_record("zelmor.imaging._wrpgen._generic._Array", &wrpPye_tyds_FFFFFFFF_ArrayWrapper);

void prepare_interop() {
    runtime.renew();
    runtime.other_types = interop_entry;
    script = {};
    static const bool prepared = [] {
        wrpPyl_convcaps_clr_to_py_C08ECFAB_Type = show_type;
        wrpPyl_trancaps_py_to_clr_359C4ED8_Object = read_object;
        PyShCastOpResult_New = show_cast;
        require(ExchangeHost::get_instance().initialize("WrpInterop.Zelmor.Imaging"), "exchange host");
        require(!ObjectHost::get_instance().is_not_valid(), "object host");
        build_modules();
        return true;
    }();
    require(prepared, "interop");
    runtime.lookups.clear();
    runtime.calls.clear();
}

void InteropTest::SetUp() {
    BridgeTest::SetUp();
    prepare_interop();
}

void InteropTest::TearDown() {
    BridgeTest::TearDown();
}

PyRef evaluate_on(const char* expression, PyTypeObject* type, PyObject* x) {
    return evaluate(expression, {{"T", as_object(type)}, {"x", x}});
}

std::string outcome(const char* expression, PyTypeObject* type, PyObject* x) {
    const PyRef value = evaluate_on(expression, type, x);
    if (!value) {
        const PyRef error = take_error();
        return std::string(Py_TYPE(error.get())->tp_name) + ": " + text_of(error.get());
    }
    const PyRef text = PyRef::steal(PyObject_Repr(value.get()));
    return text_of(text.get());
}
