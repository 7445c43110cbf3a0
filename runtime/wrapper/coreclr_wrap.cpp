// The wrapper library over the public CoreCLR hosting interface. A call in the wrong order or with a missing argument
// returns a status of this library; all other results are those of the runtime, unchanged.
//
// The state is never destroyed, on purpose: the module that started the runtime shuts it down in its exit handlers,
// after static objects of this library may have been destroyed.
#include "runtime/wrapper/coreclr_wrap.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <type_traits>

namespace {

using InitializeFunction = int(const char* exe_path, const char* domain_name, int property_count, const char** keys,
                               const char** values, void** host_handle, unsigned int* domain_id);
using CreateDelegateFunction = int(void* host_handle, unsigned int domain_id, const char* assembly_name,
                                   const char* type_name, const char* method_name, void** delegate);
using ShutdownFunction = int(void* host_handle, unsigned int domain_id, int* latched_exit_code);

struct Runtime {
    void* library;
    InitializeFunction* initialize;
    CreateDelegateFunction* create_delegate;
    ShutdownFunction* shutdown;
};

enum class Phase { kUnloaded, kLoaded, kRunning, kDown };

struct Domain {
    void* host_handle;
    unsigned int id;
};

// The state of the one runtime of the process; the mutex guards it.
std::mutex g_mutex;
Phase g_phase = Phase::kUnloaded;
Runtime g_runtime;
Domain g_domain;

static_assert(std::is_trivially_destructible_v<std::mutex> && std::is_trivially_destructible_v<Runtime>);

// The caller gets no reason for the failure. The trace of the start-up shows the message of the dynamic loader.
void report_load_failure() {
    const char* switch_text = std::getenv("COREHOST_TRACE");
    if (switch_text == nullptr || std::strtol(switch_text, nullptr, 10) < 1) {
        return;
    }
    const char* reason = dlerror();
    std::fprintf(stderr, "coreclr_wrap_load: %s\r\n", reason != nullptr ? reason : "unknown loader failure");
}

template <typename Function>
bool resolve(void* library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    return function != nullptr;
}

bool open_runtime(const char* path, Runtime& runtime) {
    runtime.library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (runtime.library == nullptr) {
        report_load_failure();
        return false;
    }
    if (!resolve(runtime.library, "coreclr_initialize", runtime.initialize) ||
        !resolve(runtime.library, "coreclr_create_delegate", runtime.create_delegate) ||
        !resolve(runtime.library, "coreclr_shutdown_2", runtime.shutdown)) {
        report_load_failure();
        dlclose(runtime.library);
        return false;
    }
    return true;
}

// Compares the files, like the dynamic loader; their paths may differ.
bool is_the_open_runtime(const char* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        return false;
    }
    dlclose(library);
    return library == g_runtime.library;
}

}  // namespace

int coreclr_wrap_load(const char* libcoreclr_path) {
    if (libcoreclr_path == nullptr) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    // A process has one runtime. Loading the same library again succeeds, loading another one fails.
    if (g_phase != Phase::kUnloaded) {
        return is_the_open_runtime(libcoreclr_path) ? 1 : 0;
    }
    Runtime runtime{};
    if (!open_runtime(libcoreclr_path, runtime)) {
        return 0;
    }
    g_runtime = runtime;
    g_phase = Phase::kLoaded;
    return 1;
}

int coreclr_wrap_initialize(const char* exe_path, const char* domain_name, int property_count,
                            const char** property_keys, const char** property_values) {
    if (property_count < 0) {
        return kStatusInvalidArgument;
    }
    if (exe_path == nullptr || domain_name == nullptr ||
        (property_count > 0 && (property_keys == nullptr || property_values == nullptr))) {
        return kStatusNullArgument;
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_phase == Phase::kUnloaded) {
        return kStatusNoRuntime;
    }
    if (g_phase != Phase::kLoaded) {
        return kStatusWrongState;
    }
    Domain domain{};
    const int status = g_runtime.initialize(exe_path, domain_name, property_count, property_keys, property_values,
                                            &domain.host_handle, &domain.id);
    if (status == kStatusOk) {
        g_domain = domain;
        g_phase = Phase::kRunning;
    }
    return status;
}

int coreclr_wrap_create_delegate(const char* assembly_name, const char* type_name, const char* method_name,
                                 void** delegate) {
    if (delegate == nullptr) {
        return kStatusNullArgument;
    }
    *delegate = nullptr;
    if (assembly_name == nullptr || type_name == nullptr || method_name == nullptr) {
        return kStatusNullArgument;
    }
    Domain domain;
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        if (g_phase != Phase::kRunning) {
            return kStatusNoRuntime;
        }
        domain = g_domain;
    }
    // Without holding the lock, since managed static constructors may run here for any time.
    const int status =
        g_runtime.create_delegate(domain.host_handle, domain.id, assembly_name, type_name, method_name, delegate);
    if (status != kStatusOk) {
        *delegate = nullptr;
    }
    return status;
}

int coreclr_wrap_shutdown() {
    Domain domain;
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        if (g_phase != Phase::kRunning) {
            return kStatusNoRuntime;
        }
        domain = g_domain;
        g_phase = Phase::kDown;
    }
    int latched_exit_code = 0;
    return g_runtime.shutdown(domain.host_handle, domain.id, &latched_exit_code);
}

int coreclr_wrap_is_domain_initialized() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_phase == Phase::kRunning ? 1 : 0;
}
