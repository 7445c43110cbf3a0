// The service classes of the managed side: their entry points, for each assembly.
#ifndef ZELMOR_RUNTIME_NATIVE_HOSTS_HOST_ENTRIES_H
#define ZELMOR_RUNTIME_NATIVE_HOSTS_HOST_ENTRIES_H

#include <span>
#include <string_view>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

struct HostEntry {
    const char* name;
    EntryPoint point;
};

// "Zelmor.WrpGen.Interop.ExchangeHost" and "...ObjectHost", bound to the callbacks of one assembly.
std::span<const HostEntry> exchange_host_entries(Assembly assembly);
std::span<const HostEntry> object_host_entries(Assembly assembly);

// Builds one table per assembly from a template over the assembly.
template <template <Assembly> class Table>
std::span<const HostEntry> entries_of(Assembly assembly) {
    switch (assembly) {
        case Assembly::kPyGc:
            return Table<Assembly::kPyGc>::entries();
        case Assembly::kPyCore:
            return Table<Assembly::kPyCore>::entries();
        case Assembly::kPyReflection:
            return Table<Assembly::kPyReflection>::entries();
        case Assembly::kPyIo:
            return Table<Assembly::kPyIo>::entries();
        case Assembly::kPyDrawing:
            return Table<Assembly::kPyDrawing>::entries();
        case Assembly::kImaging:
            return Table<Assembly::kImaging>::entries();
    }
    return {};
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_HOSTS_HOST_ENTRIES_H
