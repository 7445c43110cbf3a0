// The service channel of the bridge itself: hands the callbacks to the managed side, gives back handles, names a
// handle's type.
//
// The operations are inline and call their delegate without a check: they are used only after `initialize` has
// succeeded, and `free_instance` runs whenever a wrapper dies. No managed exception leaves a delegate; it arrives as a
// pending Python error.
#ifndef ZELMOR_EXCHANGE_EXCHANGE_HOST_H
#define ZELMOR_EXCHANGE_EXCHANGE_HOST_H

#include <string>

#include "exchange/wire/records.h"

class HostEnvironment;

class ExchangeHost {
 public:
    ExchangeHost(const ExchangeHost&) = delete;
    ExchangeHost& operator=(const ExchangeHost&) = delete;

    static ExchangeHost& get_instance() {
        static ExchangeHost host;  // delegates of the process, made once under the interpreter lock
        return host;
    }

    // Binds all delegates to the entry points of `assembly`, whose characters must outlive the host. On the first
    // that is missing the answer is false and `error_msg` tells which. May be repeated after a failure.
    bool initialize(const char* assembly);
    const char* get_assembly_name() const { return m_assembly_name; }
    const std::string& error_msg() const { return m_error_msg; }
    bool set_method_ptr(const HostEnvironment& environment, const char* method, void** slot);

    // The answer is a holder built by `fn_create_u16_buffer`; read it with `zelmor::take_u16_buffer`.
    void* get_type_name(void* handle) const { return m_get_type_name(handle); }

    void set_exception_callback(void* callback) const { m_set_exception_callback(callback); }
    void set_catch_and_clear_error_callback(void* callback) const { m_set_catch_and_clear_error_callback(callback); }
    void set_u16_bytes_builder_callback(void* callback) const { m_set_u16_bytes_builder_callback(callback); }
    void set_py_str_builder_callback(void* callback) const { m_set_py_str_builder_callback(callback); }
    void set_py_unraisable_str_builder(void* callback) const { m_set_py_unraisable_str_builder(callback); }
    void set_py_bytes_builder_callback(void* callback) const { m_set_py_bytes_builder_callback(callback); }
    void set_py_obj_api_callbacks(void** table) const { m_set_py_obj_api_callbacks(table); }
    void set_py_static_callbacks(void*** table_of_tables) const { m_set_py_static_callbacks(table_of_tables); }
    void set_py_generic_callbacks(void*** table_of_tables) const { m_set_py_generic_callbacks(table_of_tables); }
    void free_pending_args(VariantArg* args, int count) const { m_free_pending_args(args, count); }
    void free_instance(void* handle) const { m_free_instance(handle); }
    void free_struct(void* handle) const { m_free_struct(handle); }
    void init_services() const { m_init_services(); }
    void* box_stc_target(void* handle) const { return m_box_stc_target(handle); }

 private:
    ExchangeHost() = default;
    ~ExchangeHost() = default;

    template <class Delegate>
    bool bind(const HostEnvironment& environment, const char* method, Delegate& delegate);

    void* (*m_get_type_name)(void*) = nullptr;
    void (*m_set_exception_callback)(void*) = nullptr;
    void (*m_set_catch_and_clear_error_callback)(void*) = nullptr;
    void (*m_set_u16_bytes_builder_callback)(void*) = nullptr;
    void (*m_set_py_str_builder_callback)(void*) = nullptr;
    void (*m_set_py_unraisable_str_builder)(void*) = nullptr;
    void (*m_set_py_bytes_builder_callback)(void*) = nullptr;
    void (*m_set_py_obj_api_callbacks)(void**) = nullptr;
    void (*m_set_py_static_callbacks)(void***) = nullptr;
    void (*m_set_py_generic_callbacks)(void***) = nullptr;
    void (*m_free_pending_args)(VariantArg*, int) = nullptr;
    void (*m_free_instance)(void*) = nullptr;
    void (*m_free_struct)(void*) = nullptr;
    void (*m_init_services)() = nullptr;
    void* (*m_box_stc_target)(void*) = nullptr;
    const char* m_assembly_name = nullptr;
    std::string m_error_msg;
};

#endif  // ZELMOR_EXCHANGE_EXCHANGE_HOST_H
