// The hosting interface of the library that stands between the wrapper library and .NET in tests.
//
// The bridge loads this library as libcoreclr.so; it loads the runtime itself, "libcoreclr.real.so" beside it, and
// passes every call on. The control interface can therefore record calls, replace them and make them fail without any
// change of the assemblies: those that the tests use are those of the product. What a call crosses with tells
// Zelmor.WrpGen.Control, an assembly that only the tests have.
#include <dlfcn.h>

#include <cstdio>
#include <set>
#include <string>

#include "runtime/native/control/control.h"

#define ZELMOR_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using namespace zelmor::embed;

constexpr const char* kControlAssembly = "Zelmor.WrpGen.Control";
constexpr const char* kControlType = "Zelmor.WrpGen.Control.Exports";

struct Runtime {
    int (*initialize)(const char*, const char*, int, const char**, const char**, void**, unsigned int*) = nullptr;
    int (*create_delegate)(void*, unsigned int, const char*, const char*, const char*, void**) = nullptr;
    int (*shutdown)(void*, unsigned int, int*) = nullptr;
    void* host = nullptr;
    unsigned int domain = 0;
};

template <class Function>
void find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
}

// The runtime behind this library; without functions where it cannot be loaded.
Runtime open_runtime() {
    Dl_info own{};
    dladdr(reinterpret_cast<const void*>(&open_runtime), &own);
    std::string path = own.dli_fname;
    path = path.substr(0, path.rfind('/') + 1) + "libcoreclr.real.so";
    Runtime opened;
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        std::fprintf(stderr, "the control interface finds no .NET runtime: %s\n", dlerror());
        return opened;
    }
    find(library, "coreclr_initialize", opened.initialize);
    find(library, "coreclr_create_delegate", opened.create_delegate);
    find(library, "coreclr_shutdown_2", opened.shutdown);
    return opened;
}

Runtime& runtime() {
    static Runtime instance = open_runtime();  // complete after the start, before which nothing is asked for
    return instance;
}

// A function of the assembly of the tests; null where the assembly was not laid out.
template <class Function>
Function* control_function(const char* name) {
    void* address = nullptr;
    const Runtime& of = runtime();
    const int status = of.create_delegate(of.host, of.domain, kControlAssembly, kControlType, name, &address);
    return status == kOk ? reinterpret_cast<Function*>(address) : nullptr;
}

// Writes the signature of an entry point, "" where there is none, and behind a line break the managed type of its host
// class, "" for a service class. Returns the size of the text with its end.
using Describe = size_t(const char* assembly, const char* type, const char* method, char* buffer, size_t size);

// A text that lives as long as the process.
const char* kept(const std::string& text) {
    static auto& all = *new std::set<std::string>;  // under the interpreter lock
    return all.insert(text).first->c_str();
}

void describe(const char* assembly, const char* type, const char* method, Delegate& made) {
    static Describe* const ask = control_function<Describe>("Describe");
    if (ask == nullptr) {
        return;
    }
    char text[256];
    ask(assembly, type, method, text, sizeof text);
    const std::string both = text;
    const size_t end = both.find('\n');
    if (end == std::string::npos) {
        return;
    }
    made.signature = end > 0 ? kept(both.substr(0, end)) : nullptr;
    made.full_name = end + 1 < both.size() ? kept(both.substr(end + 1)) : nullptr;
}

}  // namespace

Delegate zelmor::embed::resolve_delegate(const char* assembly, const char* type, const char* method) noexcept {
    const Runtime& of = runtime();
    Delegate made;
    made.status = of.create_delegate(of.host, of.domain, assembly, type, method, &made.address);
    if (std::string(assembly) != kControlAssembly) {
        describe(assembly, type, method, made);
    }
    return made;
}

void zelmor::embed::control::collect_garbage() {
    static auto* const collect = control_function<size_t()>("Collect");
    if (collect != nullptr) {
        collect();
    }
}

ZELMOR_EXPORT int coreclr_initialize(const char* exe_path, const char* domain_name, int property_count,
                                     const char** property_keys, const char** property_values, void** host_handle,
                                     unsigned int* domain_id) {
    const int refusal = control::on_initialize(exe_path, domain_name, property_count, property_keys, property_values);
    if (refusal != kOk) {
        return refusal;
    }
    Runtime& of = runtime();
    if (of.initialize == nullptr) {
        return kFailed;
    }
    const int status =
        of.initialize(exe_path, domain_name, property_count, property_keys, property_values, host_handle, domain_id);
    if (status == kOk) {
        of.host = *host_handle;
        of.domain = *domain_id;
    }
    return status;
}

ZELMOR_EXPORT int coreclr_create_delegate(void*, unsigned int, const char* assembly_name, const char* type_name,
                                          const char* method_name, void** delegate) {
    const Delegate made = control::on_create_delegate(assembly_name, type_name, method_name);
    if (made.status == kOk) {
        *delegate = made.address;
    }
    return made.status;
}

ZELMOR_EXPORT int coreclr_shutdown_2(void* host_handle, unsigned int domain_id, int* latched_exit_code) {
    return runtime().shutdown(host_handle, domain_id, latched_exit_code);
}
