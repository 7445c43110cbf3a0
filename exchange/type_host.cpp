// Binding of type hosts to the running environment.
#include "exchange/type_host.h"

#include <cassert>

#include "exchange/exchange_host.h"
#include "exchange/missing_method.h"
#include "host/host_environment.h"

namespace zelmor {

bool bind_type_delegate(const HostEnvironment& environment, const char* assembly, const char* managed_class,
                        const char* method, void** slot, std::string& error) {
    assert(assembly != nullptr && managed_class != nullptr);
    assert(method != nullptr && slot != nullptr);
    const int status = environment.try_create_delegate(assembly, managed_class, method, slot);
    if (status == 0) {
        return true;
    }
    error = missing_method_error_message(assembly, managed_class, method, status);
    return false;
}

const HostEnvironment& running_environment() {
    return HostEnvironment::instance(nullptr, false, nullptr, nullptr, nullptr, nullptr);
}

const char* bound_assembly() {
    const char* assembly = ExchangeHost::get_instance().get_assembly_name();
    assert(assembly != nullptr);  // the boundary came up before any type host
    return assembly;
}

}  // namespace zelmor
