// The scripted runtime: the environment's two members that the bridge calls, and the entry points behind them.
#include "scripted_runtime.h"

#include <utility>

#include "exchange/wire/entry_points.h"
#include "exchange/wire/records.h"
#include "host/host_environment.h"

ScriptedRuntime runtime;

namespace {

// The name of an entry point as a template argument, so that each gets a function of its own.
template <size_t Size>
struct EntryName {
    constexpr EntryName(const char (&text)[Size]) {
        for (size_t i = 0; i < Size; ++i) {
            chars[i] = text[i];
        }
    }
    char chars[Size];
};

void note(const char* name, void* argument) {
    runtime.calls.emplace_back(name);
    runtime.received[name] = argument;
}

template <EntryName Name>
void take_pointer(void* argument) {
    note(Name.chars, argument);
}

// Answers its argument, one further on.
template <EntryName Name>
void* transform_pointer(void* argument) {
    note(Name.chars, argument);
    return static_cast<char*>(argument) + 1;
}

void free_pending_args(VariantArg* args, int count) {
    note("FreePendingArgs", args);
    runtime.received_count = count;
}

void init_services() {
    note("InitServices", nullptr);
    if (runtime.during_init_services) {
        runtime.during_init_services();
    }
}

// Answers the handle's number, and the number of the entry point through the out pointer where there is one.
template <EntryName Name>
int one_handle(void* handle) {
    note(Name.chars, handle);
    return static_cast<int>(reinterpret_cast<intptr_t>(handle));
}

template <EntryName Name>
int handle_and_out(void* handle, void** out) {
    note(Name.chars, handle);
    *out = handle;
    return 1;
}

template <EntryName Name>
int handle_and_variant(void* handle, VariantArg* other) {
    note(Name.chars, handle);
    return other->tag;
}

int type_name_of_variant(VariantArg* object, void** out) {
    note("ObjectHost.GetTypeName", object);
    *out = object->value;
    return 1;
}

void dispose(void* handle) {
    note("Dispose", handle);
    if (runtime.during_dispose) {
        runtime.during_dispose();
    }
}

template <class Function>
void* entry(Function* function) {
    return reinterpret_cast<void*>(function);
}

void* exchange_entry(const std::string& method) {
    static const std::map<std::string, void*> table = {
        {"GetTypeName", entry(transform_pointer<"GetTypeName">)},
        {"SetExceptionCallback", entry(take_pointer<"SetExceptionCallback">)},
        {"SetCatchAndClearErrorCallback", entry(take_pointer<"SetCatchAndClearErrorCallback">)},
        {"SetU16StrBuilderCallback", entry(take_pointer<"SetU16StrBuilderCallback">)},
        {"SetPyUnraisableStrBuilderCallback", entry(take_pointer<"SetPyUnraisableStrBuilderCallback">)},
        {"SetPyStrBuilderCallback", entry(take_pointer<"SetPyStrBuilderCallback">)},
        {"SetPyBytesBuilderCallback", entry(take_pointer<"SetPyBytesBuilderCallback">)},
        {"SetPyObjApiCallbacks", entry(take_pointer<"SetPyObjApiCallbacks">)},
        {"SetPyStaticCallbacks", entry(take_pointer<"SetPyStaticCallbacks">)},
        {"SetPyGenericCallbacks", entry(take_pointer<"SetPyGenericCallbacks">)},
        {"FreePendingArgs", entry(free_pending_args)},
        {"InitServices", entry(init_services)},
        {"BoxStcTarget", entry(transform_pointer<"BoxStcTarget">)},
    };
    if (method == "FreeInstance") {
        // One managed method, asked for twice: the first time for object handles, the second time for struct handles.
        const auto& asked = methods_looked_up(kExchangeHostType);
        return asked.size() % kExchangeHostEntryPoints.size() == 12 ? entry(take_pointer<"FreeInstance of objects">)
                                                                    : entry(take_pointer<"FreeInstance of structs">);
    }
    return table.at(method);
}

void* object_entry(const std::string& method) {
    static const std::map<std::string, void*> table = {
        {"ToStringOfObj", entry(handle_and_out<"ToStringOfObj">)},
        {"ToStringOfStc", entry(handle_and_out<"ToStringOfStc">)},
        {"GetHashOfObj", entry(one_handle<"GetHashOfObj">)},
        {"GetHashOfStc", entry(one_handle<"GetHashOfStc">)},
        {"IsEqualsOfObj", entry(handle_and_variant<"IsEqualsOfObj">)},
        {"IsEqualsOfStc", entry(handle_and_variant<"IsEqualsOfStc">)},
        {"IsTypeOf", entry(handle_and_variant<"IsTypeOf">)},
        {"GetTypeName", entry(type_name_of_variant)},
        {"GetObjType", entry(handle_and_out<"GetObjType">)},
        {"GetStcType", entry(handle_and_out<"GetStcType">)},
        {"Dispose", entry(dispose)},
    };
    return table.at(method);
}

alignas(HostEnvironment) char environment[sizeof(HostEnvironment)];

}  // namespace

std::vector<std::string> methods_looked_up(const std::string& type) {
    std::vector<std::string> methods;
    for (const std::string& lookup : runtime.lookups) {
        const size_t type_start = lookup.find('|') + 1;
        const size_t method_start = lookup.find('|', type_start) + 1;
        if (lookup.substr(type_start, method_start - type_start - 1) == type) {
            methods.push_back(lookup.substr(method_start));
        }
    }
    return methods;
}

// In place of the real environment, which the linker then leaves out. Its data is never touched.
HostEnvironment& HostEnvironment::instance(const char* version, bool debug, const char* suffix, const char* product,
                                           const char* netcore_dir, const char* assembly_dir) {
    if (version != nullptr) {
        runtime.started_with = {version,
                                debug ? "debug" : "release",
                                suffix,
                                product,
                                netcore_dir != nullptr ? netcore_dir : "(null)",
                                assembly_dir != nullptr ? assembly_dir : "(null)"};
    }
    return *reinterpret_cast<HostEnvironment*>(environment);
}

int HostEnvironment::try_create_delegate(const char* assembly, const char* type, const char* method,
                                         void** delegate) const {
    runtime.lookups.push_back(std::string(assembly) + "|" + type + "|" + method);
    const auto left_out = runtime.missing.find(method);
    if (left_out != runtime.missing.end()) {
        return left_out->second;
    }
    const std::string name = type;
    if (runtime.services && (name == kExchangeHostType || name == kObjectHostType)) {
        *delegate = runtime.services(name, method);
    } else if (name == kExchangeHostType) {
        *delegate = exchange_entry(method);
    } else if (name == kObjectHostType) {
        *delegate = object_entry(method);
    } else {
        *delegate = runtime.other_types(name, method);
    }
    return 0;
}
