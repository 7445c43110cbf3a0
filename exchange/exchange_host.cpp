// Binding of the service channel to the managed class behind it.
#include "exchange/exchange_host.h"

#include <cassert>

#include "exchange/type_host.h"
#include "exchange/wire/entry_points.h"

template <class Delegate>
bool ExchangeHost::bind(const HostEnvironment& environment, const char* method, Delegate& delegate) {
    void* slot = nullptr;
    if (!set_method_ptr(environment, method, &slot)) {
        return false;
    }
    delegate = reinterpret_cast<Delegate>(slot);
    return true;
}

bool ExchangeHost::initialize(const char* assembly) {
    assert(assembly != nullptr);
    m_assembly_name = assembly;
    const HostEnvironment& env = zelmor::running_environment();
    const auto& names = kExchangeHostEntryPoints;
    // The two string builders are bound in another order than their fields stand in.
    return bind(env, names[0], m_get_type_name) && bind(env, names[1], m_set_exception_callback) &&
           bind(env, names[2], m_set_catch_and_clear_error_callback) &&
           bind(env, names[3], m_set_u16_bytes_builder_callback) &&
           bind(env, names[4], m_set_py_unraisable_str_builder) && bind(env, names[5], m_set_py_str_builder_callback) &&
           bind(env, names[6], m_set_py_bytes_builder_callback) && bind(env, names[7], m_set_py_obj_api_callbacks) &&
           bind(env, names[8], m_set_py_static_callbacks) && bind(env, names[9], m_set_py_generic_callbacks) &&
           bind(env, names[10], m_free_pending_args) && bind(env, names[11], m_free_instance) &&
           bind(env, names[12], m_free_struct) && bind(env, names[13], m_init_services) &&
           bind(env, names[14], m_box_stc_target);
}

bool ExchangeHost::set_method_ptr(const HostEnvironment& environment, const char* method, void** slot) {
    return zelmor::bind_type_delegate(environment, m_assembly_name, kExchangeHostType, method, slot, m_error_msg);
}
