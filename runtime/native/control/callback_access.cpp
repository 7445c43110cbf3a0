// Keeping the callbacks of modules, and finding one by the name of its table and its slot.
#include "runtime/native/control/callback_access.h"

#include <iterator>
#include <map>
#include <string_view>

namespace zelmor::embed::control {

namespace {

template <class Function>
void* address(Function function) {
    return reinterpret_cast<void*>(function);
}

template <class Table>
void* slot_of(const Table* table, int slot) {
    constexpr int kCount = sizeof(Table) / sizeof(void*);
    if (table == nullptr || slot < 0 || slot >= kCount) {
        return nullptr;
    }
    return reinterpret_cast<void* const*>(table)[slot];
}

// The callbacks that are no part of a table, in the order in which the tests number them.
void* single(const Callbacks& of, int slot) {
    void* const slots[] = {address(of.exception), address(of.catch_and_clear_error), address(of.u16_buffer),
                           address(of.py_string), address(of.py_unraisable_string),  address(of.py_bytes)};
    return slot >= 0 && slot < static_cast<int>(std::size(slots)) ? slots[slot] : nullptr;
}

// Modules are imported and their tests run under the interpreter lock.
std::map<std::string, Callbacks>& all() {
    static auto& instance = *new std::map<std::string, Callbacks>;
    return instance;
}

template <class Function>
void keep(Function*& field, void* handed) {
    field = reinterpret_cast<Function*>(handed);
}

}  // namespace

void keep_callback(const std::string& assembly, const std::string& method, void* handed) {
    Callbacks& of = all()[assembly];
    if (method == "SetExceptionCallback") {
        keep(of.exception, handed);
    } else if (method == "SetCatchAndClearErrorCallback") {
        keep(of.catch_and_clear_error, handed);
    } else if (method == "SetU16StrBuilderCallback") {
        keep(of.u16_buffer, handed);
    } else if (method == "SetPyStrBuilderCallback") {
        keep(of.py_string, handed);
    } else if (method == "SetPyUnraisableStrBuilderCallback") {
        keep(of.py_unraisable_string, handed);
    } else if (method == "SetPyBytesBuilderCallback") {
        keep(of.py_bytes, handed);
    } else if (method == "SetPyObjApiCallbacks") {
        keep(of.objects, handed);
    } else if (method == "SetPyStaticCallbacks") {
        keep(of.tables, handed);
    } else if (method == "SetPyGenericCallbacks") {
        keep(of.generic, handed);
    }
}

const Callbacks& handed_over(const std::string& assembly) {
    return all()[assembly];
}

void* find_callback(const Callbacks& of, const char* table, int slot) {
    const std::string_view name = table;
    if (name == "single") {
        return single(of, slot);
    }
    if (name == "obj_api") {
        return slot_of(of.objects, slot);
    }
    if (name == "generic") {
        if (of.generic == nullptr || slot < 0 || slot >= static_cast<int>(kGenericCallbackCount)) {
            return nullptr;
        }
        return of.generic[slot] != nullptr ? *of.generic[slot] : nullptr;
    }
    if (of.tables == nullptr) {
        return nullptr;
    }
    const PyStaticCallbacks& all = *of.tables;
    if (name == "read") {
        return slot_of(all.read, slot);
    }
    if (name == "write") {
        return slot_of(all.write, slot);
    }
    if (name == "buffer") {
        return slot_of(all.buffer, slot);
    }
    if (name == "tpo_api") {
        return slot_of(all.tpo_api, slot);
    }
    if (name == "iter") {
        return slot_of(all.iter, slot);
    }
    if (name == "ucol") {
        return slot_of(all.ucol, slot);
    }
    if (name == "olist") {
        return slot_of(all.olist, slot);
    }
    if (name == "oseq") {
        return slot_of(all.oseq, slot);
    }
    if (name == "rawio") {
        return slot_of(all.rawio, slot);
    }
    return nullptr;
}

}  // namespace zelmor::embed::control
