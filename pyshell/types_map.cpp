// The registry from managed types to Python types.
#include "pyshell/types_map.h"

#include "exchange/exchange_host.h"
#include "exchange/u16_buffer.h"
#include "pyshell/wrapped_object.h"

namespace {

// Asks the managed side for the run-time type's name and looks that up; null in `out` for an unregistered name. False
// if no name came.
bool find_by_managed_name(void* handle, PyTypeObject*& out) {
    out = nullptr;
    void* holder = ExchangeHost::get_instance().get_type_name(handle);
    if (holder == nullptr) {
        return false;
    }
    PyWrpTypesMap::get_instance()->find(zelmor::take_u16_buffer(holder), out);
    return true;
}

// Gives back a handle for which no type was found. True if the managed side failed to tell the type's name, with its
// error pending, rather than tell one that is not registered.
bool drop_untyped(void* handle) {
    const bool failed = PyErr_Occurred() != nullptr;
    ExchangeHost::get_instance().free_instance(handle);
    return failed;
}

}  // namespace

PyWrpTypesMap* PyWrpTypesMap::get_instance() {
    static PyWrpTypesMap map;
    return &map;
}

bool PyWrpTypesMap::find(long id, PyTypeObject*& out) {
    std::lock_guard lock(by_id_mutex);
    const auto entry = by_id.find(id);
    if (entry == by_id.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

void PyWrpTypesMap::add(long id, PyTypeObject* type) {
    std::lock_guard lock(by_id_mutex);
    by_id.insert_or_assign(id, type);
}

bool PyWrpTypesMap::find_weak(long id, PyTypeObject*& out) {
    std::lock_guard lock(weak_by_id_mutex);
    const auto entry = weak_by_id.find(id);
    if (entry == weak_by_id.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

void PyWrpTypesMap::add_weak(long id, PyTypeObject* type) {
    std::lock_guard lock(weak_by_id_mutex);
    weak_by_id.insert_or_assign(id, type);
}

bool PyWrpTypesMap::find(const std::u16string& name, PyTypeObject*& out) {
    const auto entry = by_name.find(name);
    if (entry == by_name.end()) {
        return false;
    }
    out = entry->second;
    return true;
}

void PyWrpTypesMap::add(const std::u16string& name, PyTypeObject* type) {
    by_name[name] = type;
}

void PyWrpTypesMap::reserve(int count) {
    by_name.reserve(static_cast<size_t>(count));
    std::lock_guard lock(by_id_mutex);
    by_id.reserve(static_cast<size_t>(count));
}

PyTypeObject* get_py_type_object_by_obj(void* handle, long type_id) {
    PyWrpTypesMap* map = PyWrpTypesMap::get_instance();
    PyTypeObject* type = nullptr;
    if (map->find(type_id, type)) {
        return type;
    }
    if (!find_by_managed_name(handle, type) || type == nullptr) {
        return nullptr;
    }
    map->add(type_id, type);
    return type;
}

namespace zelmor {

bool find_type_weakly(void* handle, long type_id, PyTypeObject*& out) {
    PyWrpTypesMap* map = PyWrpTypesMap::get_instance();
    if (map->find_weak(type_id, out)) {
        return true;
    }
    if (!find_by_managed_name(handle, out) && PyErr_Occurred() != nullptr) {
        return false;  // not an answer, so that nothing is remembered
    }
    map->add_weak(type_id, out);
    return true;
}

}  // namespace zelmor

PyObject* fn_write_py_tpo(void* handle, long type_id) {
    PyTypeObject* type = get_py_type_object_by_obj(handle, type_id);
    if (type == nullptr) {
        return drop_untyped(handle) ? nullptr : PyErr_Format(PyExc_TypeError, "unknown wrapper type");
    }
    return fn_py_clr_type_generic_new(handle, type);
}

int fn_try_write_py_tpo(void* handle, long type_id, PyObject** out) {
    PyTypeObject* type = get_py_type_object_by_obj(handle, type_id);
    if (type == nullptr) {
        return drop_untyped(handle) ? -1 : 0;
    }
    *out = fn_py_clr_type_generic_new(handle, type);
    return *out == nullptr ? -1 : 1;
}
