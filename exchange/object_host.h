// The services that every wrapped object has, whatever its class: text, hash, equality, type, disposal.
//
// The delegates are bound once, at the first `get_instance()`, to the assembly that ExchangeHost was initialized
// with. A binding that failed stays failed for the life of the process, and the import is refused because of it.
#ifndef ZELMOR_EXCHANGE_OBJECT_HOST_H
#define ZELMOR_EXCHANGE_OBJECT_HOST_H

#include <string>

#include "exchange/wire/records.h"

class HostEnvironment;

class ObjectHost {
 public:
    ObjectHost(const ObjectHost&) = delete;
    ObjectHost& operator=(const ObjectHost&) = delete;

    static ObjectHost& get_instance() {
        static ObjectHost host;  // delegates of the process, made once under the interpreter lock
        return host;
    }

    bool is_not_valid() const { return m_is_not_valid; }
    const std::string& error_msg() const { return m_error_msg; }
    bool set_method_ptr(const HostEnvironment& environment, const char* method, void** slot);

    // Both answer kToStringDelivered when `*out` holds a new `str` reference.
    int to_string_of_obj(void* handle, void** out) const { return m_to_string_of_obj(handle, out); }
    int to_string_of_stc(void* handle, void** out) const { return m_to_string_of_stc(handle, out); }
    int get_hash_code_of_obj(void* handle) const { return m_get_hash_code_of_obj(handle); }
    int get_hash_code_of_stc(void* handle) const { return m_get_hash_code_of_stc(handle); }
    int equals_of_obj(void* handle, VariantArg* other) const { return m_equals_of_obj(handle, other); }
    int equals_of_stc(void* handle, VariantArg* other) const { return m_equals_of_stc(handle, other); }
    int is_type_of(void* handle, VariantArg* type) const { return m_is_type_of(handle, type); }
    int get_type_name(VariantArg* object, void** out) const { return m_get_type_name(object, out); }
    // `*out` is a type handle.
    int get_obj_type(void* handle, void** out) const { return m_get_obj_type(handle, out); }
    int get_stc_type(void* handle, void** out) const { return m_get_stc_type(handle, out); }
    void dispose(void* handle) const { m_dispose(handle); }

 private:
    ObjectHost();
    ~ObjectHost() = default;

    template <class Delegate>
    bool bind(const HostEnvironment& environment, const char* method, Delegate& delegate);

    int (*m_to_string_of_obj)(void*, void**) = nullptr;
    int (*m_to_string_of_stc)(void*, void**) = nullptr;
    int (*m_get_hash_code_of_obj)(void*) = nullptr;
    int (*m_get_hash_code_of_stc)(void*) = nullptr;
    int (*m_equals_of_obj)(void*, VariantArg*) = nullptr;
    int (*m_equals_of_stc)(void*, VariantArg*) = nullptr;
    int (*m_is_type_of)(void*, VariantArg*) = nullptr;
    int (*m_get_type_name)(VariantArg*, void**) = nullptr;
    int (*m_get_obj_type)(void*, void**) = nullptr;
    int (*m_get_stc_type)(void*, void**) = nullptr;
    void (*m_dispose)(void*) = nullptr;
    const char* m_assembly_name = nullptr;
    bool m_is_not_valid = false;
    std::string m_error_msg;
};

#endif  // ZELMOR_EXCHANGE_OBJECT_HOST_H
