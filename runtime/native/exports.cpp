// The public hosting interface of the runtime: what the wrapper library calls, and nothing else.
//
// One domain per process, as every other runtime behind this interface has. Starting costs nothing: the catalogue is
// indexed when the first delegate is asked for.
#include <unistd.h>

#include <atomic>

#include "runtime/native/control/control.h"
#include "runtime/native/delegates/resolve.h"

#define ZELMOR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using namespace zelmor::embed;

constexpr unsigned int kDomainId = 1;
std::atomic<bool> domain_is_up = false;  // the one state that a start and an end in different threads share
pid_t starting_process = 0;              // set at the start, before there are calls
int host;                                // its address is the host handle

bool is_ours(void* host_handle, unsigned int domain_id) {
    return host_handle == &host && domain_id == kDomainId;
}

// A forked child may use the domain of its parent, and leaves its end to it.
int shut_down(void* host_handle, unsigned int domain_id) {
    if (!is_ours(host_handle, domain_id) || starting_process != getpid()) {
        return kInvalidOperation;
    }
    if (!domain_is_up.exchange(false)) {
        return kInvalidOperation;
    }
    return kOk;
}

}  // namespace

ZELMOR_EXPORT int coreclr_initialize(const char* exe_path, const char* domain_name, int property_count,
                                     const char** property_keys, const char** property_values, void** host_handle,
                                     unsigned int* domain_id) {
    const int refusal = control::on_initialize(exe_path, domain_name, property_count, property_keys, property_values);
    if (refusal != kOk) {
        return refusal;
    }
    if (domain_is_up.exchange(true)) {
        return kInvalidOperation;
    }
    starting_process = getpid();
    *host_handle = &host;
    *domain_id = kDomainId;
    return kOk;
}

ZELMOR_EXPORT int coreclr_create_delegate(void* host_handle, unsigned int domain_id, const char* assembly_name,
                                          const char* type_name, const char* method_name, void** delegate) {
    if (!is_ours(host_handle, domain_id) || !domain_is_up) {
        return kInvalidOperation;
    }
    Delegate made = control::on_create_delegate(assembly_name, type_name, method_name);
    if (made.status == kOk) {
        *delegate = made.address;
    }
    return made.status;
}

ZELMOR_EXPORT int coreclr_shutdown_2(void* host_handle, unsigned int domain_id, int* latched_exit_code) {
    const int status = shut_down(host_handle, domain_id);
    if (status == kOk && latched_exit_code != nullptr) {
        *latched_exit_code = 0;
    }
    return status;
}

ZELMOR_EXPORT int coreclr_shutdown(void* host_handle, unsigned int domain_id) {
    return shut_down(host_handle, domain_id);
}
