// Resolving entry points: service classes first, then the catalogue, where a behavior goes before a table entry.
#include "runtime/native/delegates/resolve.h"

#include <new>
#include <string>
#include <unordered_map>

#include "exchange/wire/entry_points.h"
#include "runtime/native/collections/services.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/hosts/host_entries.h"
#include "runtime/native/table_entries/table_entry.h"

namespace zelmor::embed {

namespace {

Delegate failure(int status, const char* full_name = nullptr) {
    return {status, nullptr, nullptr, full_name};
}

Delegate from_host(std::span<const HostEntry> entries, std::string_view method) {
    for (const HostEntry& entry : entries) {
        if (method == entry.name) {
            return {kOk, entry.point.address, entry.point.signature, nullptr};
        }
    }
    return failure(kMethodNotFound);
}

Delegate from_service(const ServiceClass& service, std::string_view method, Assembly assembly) {
    const EntryPoint point = make_service_delegate(service, method, assembly);
    return point.address != nullptr ? Delegate{kOk, point.address, point.signature, nullptr} : failure(kMethodNotFound);
}

Delegate from_catalogue(const TypeInfo& type, const char* method) {
    for (const EntryInfo& info : type.entries) {
        if (std::string_view(info.name) != method) {
            continue;
        }
        const EntryPoint point = find_behavior(type.full_name, info.name);
        if (point.address != nullptr) {
            return {kOk, point.address, point.signature, type.full_name};
        }
        return {kOk, make_table_delegate(type, info), info.signature, type.full_name};
    }
    return failure(kMethodNotFound, type.full_name);
}

Delegate resolve(Assembly assembly, const char* type, const char* method) {
    if (std::string_view(type) == kExchangeHostType) {
        return from_host(exchange_host_entries(assembly), method);
    }
    if (std::string_view(type) == kObjectHostType) {
        return from_host(object_host_entries(assembly), method);
    }
    if (const auto service = find_service_class(type)) {
        return from_service(*service, method, assembly);
    }
    const TypeInfo* info = find_host_class(type);
    if (info == nullptr || std::string_view(info->assembly) != assembly_name(assembly)) {
        return failure(kTypeNotFound);
    }
    return from_catalogue(*info, method);
}

Delegate resolve_once(const char* assembly_name, const char* type, const char* method) {
    const auto assembly = find_assembly(assembly_name);
    if (!assembly) {
        return failure(kAssemblyNotFound);
    }
    // Shared by all threads: making a delegate calls nothing of Python, so that the map is whole whenever one comes in.
    static auto& known = *new std::unordered_map<std::string, Delegate>;
    const std::string key = std::string(assembly_name) + '\n' + type + '\n' + method;
    if (const auto found = known.find(key); found != known.end()) {
        return found->second;
    }
    const Delegate made = resolve(*assembly, type, method);
    if (made.status == kOk) {
        known.emplace(key, made);
    }
    return made;
}

}  // namespace

Delegate resolve_delegate(const char* assembly, const char* type, const char* method) noexcept {
    try {
        return resolve_once(assembly, type, method);
    } catch (const std::bad_alloc&) {
        return failure(kOutOfMemory);
    } catch (const std::exception&) {
        // Nobody hears a text here: the hosting interface has a status and nothing else.
        return failure(kFailed);
    }
}

}  // namespace zelmor::embed
