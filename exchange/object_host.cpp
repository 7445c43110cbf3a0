// Binding of the object services to the managed class behind them.
#include "exchange/object_host.h"

#include "exchange/exchange_host.h"
#include "exchange/type_host.h"
#include "exchange/wire/entry_points.h"

template <class Delegate>
bool ObjectHost::bind(const HostEnvironment& environment, const char* method, Delegate& delegate) {
    void* slot = nullptr;
    if (!set_method_ptr(environment, method, &slot)) {
        return false;
    }
    delegate = reinterpret_cast<Delegate>(slot);
    return true;
}

ObjectHost::ObjectHost() : m_assembly_name(ExchangeHost::get_instance().get_assembly_name()) {
    const HostEnvironment& env = zelmor::running_environment();
    const auto& names = kObjectHostEntryPoints;
    // Stops at the first that is missing. The slots behind it stay empty and are never called, since the import fails.
    const bool all_bound = bind(env, names[0], m_to_string_of_obj) && bind(env, names[1], m_to_string_of_stc) &&
                           bind(env, names[2], m_get_hash_code_of_obj) && bind(env, names[3], m_get_hash_code_of_stc) &&
                           bind(env, names[4], m_equals_of_obj) && bind(env, names[5], m_equals_of_stc) &&
                           bind(env, names[6], m_is_type_of) && bind(env, names[7], m_get_type_name) &&
                           bind(env, names[8], m_get_obj_type) && bind(env, names[9], m_get_stc_type) &&
                           bind(env, names[10], m_dispose);
    m_is_not_valid = !all_bound;
}

bool ObjectHost::set_method_ptr(const HostEnvironment& environment, const char* method, void** slot) {
    if (zelmor::bind_type_delegate(environment, m_assembly_name, kObjectHostType, method, slot, m_error_msg)) {
        return true;
    }
    m_is_not_valid = true;
    return false;
}
