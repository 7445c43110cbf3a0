// The scripted services of the managed side, handed out by name.
#include "fake_managed.h"

#include <cstring>
#include <new>

#include "exchange/u16_buffer.h"
#include "exchange/wire/entry_points.h"
#include "scripted_runtime.h"

FakeManaged managed;

namespace {

// True if the script has the service fail, with the error set as the exception callback sets it.
bool fails(const char* service) {
    managed.services.emplace_back(service);
    if (managed.raises.empty()) {
        return false;
    }
    PyErr_SetString(PyExc_RuntimeError, managed.raises.c_str());
    return true;
}

void* get_type_name(void* handle) {
    managed.asked_for_name.push_back(handle);
    const auto name = managed.type_names.find(handle);
    if (fails("GetTypeName") || name == managed.type_names.end()) {
        return nullptr;
    }
    return fn_create_u16_buffer(name->second.data(), static_cast<int>(name->second.size()));
}

void free_instance(void* handle) {
    managed.freed_objects.push_back(handle);
}
void free_struct(void* handle) {
    managed.freed_structs.push_back(handle);
}

void* box_stc_target(void* handle) {
    managed.boxed.push_back(handle);
    return box_of(handle);
}

int to_string(const char* service, void** out) {
    if (fails(service)) {
        return 0;
    }
    *out = PyUnicode_FromString(managed.text.c_str());
    if (managed.text_status != 1) {
        Py_CLEAR(*reinterpret_cast<PyObject**>(out));
    }
    return managed.text_status;
}

int to_string_of_obj(void*, void** out) {
    return to_string("ToStringOfObj", out);
}
int to_string_of_stc(void*, void** out) {
    return to_string("ToStringOfStc", out);
}

int get_hash_of_obj(void*) {
    return fails("GetHashOfObj") ? 0 : managed.hash;
}
int get_hash_of_stc(void*) {
    return fails("GetHashOfStc") ? 0 : managed.hash;
}

int equals(const char* service, VariantArg* other) {
    managed.compared_with = *other;
    return fails(service) ? 0 : managed.equals;
}

int is_equals_of_obj(void*, VariantArg* other) {
    return equals("IsEqualsOfObj", other);
}
int is_equals_of_stc(void*, VariantArg* other) {
    return equals("IsEqualsOfStc", other);
}

int get_type(const char* service, void* handle, void** out) {
    if (fails(service)) {
        return 0;
    }
    *out = type_handle_of(handle);
    return managed.type_status;
}

int get_obj_type(void* handle, void** out) {
    return get_type("GetObjType", handle, out);
}
int get_stc_type(void* handle, void** out) {
    return get_type("GetStcType", handle, out);
}

// Bound as every entry point has to be, and not called by anything under test.
void unused_service() {
    std::abort();
}

template <class Function>
void* entry(Function* function) {
    return reinterpret_cast<void*>(function);
}

void* find_entry(const std::string& type, const char* method) {
    static const std::map<std::string, void*> exchange = {
        {"GetTypeName", entry(get_type_name)},
        {"BoxStcTarget", entry(box_stc_target)},
    };
    static const std::map<std::string, void*> object = {
        {"ToStringOfObj", entry(to_string_of_obj)}, {"ToStringOfStc", entry(to_string_of_stc)},
        {"GetHashOfObj", entry(get_hash_of_obj)},   {"GetHashOfStc", entry(get_hash_of_stc)},
        {"IsEqualsOfObj", entry(is_equals_of_obj)}, {"IsEqualsOfStc", entry(is_equals_of_stc)},
        {"GetObjType", entry(get_obj_type)},        {"GetStcType", entry(get_stc_type)},
    };
    if (type == kExchangeHostType && std::strcmp(method, "FreeInstance") == 0) {
        // One managed method behind two delegates: bound for object handles first, then for struct handles.
        static int asked = 0;
        return asked++ % 2 == 0 ? entry(free_instance) : entry(free_struct);
    }
    const auto& table = type == kExchangeHostType ? exchange : object;
    const auto found = table.find(method);
    return found != table.end() ? found->second : entry(unused_service);
}

}  // namespace

void serve_managed() {
    runtime.services = [](const std::string& type, const std::string& method) {
        return find_entry(type, method.c_str());
    };
}
