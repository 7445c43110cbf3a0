// The service channel of the bridge: the hand-over of the callbacks, giving handles back, names of types.
#include <array>

#include "runtime/native/hosts/host_entries.h"

namespace zelmor::embed {

namespace {

// UTF-16 holder of the run-time type's name; the reader frees the holder.
Handle get_type_name(Handle handle) {
    const ManagedObject& object = require_object(handle);
    const std::u16string name = to_utf16(object.type().full_name);
    const auto build = callbacks().u16_buffer;
    if (build == nullptr) {
        throw_invalid_operation("The UTF-16 builder was not handed over.");
    }
    return build(name.data(), static_cast<int>(name.size()));
}

void free_instance(Handle handle) {
    free_handle(handle);
}

// Gives the handles among pending arguments back; other tags hold borrowed Python objects.
void free_pending_args(const VariantArg* args, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        if (args[i].tag == kHandleObject || args[i].tag == kHandleStruct) {
            free_handle(args[i].value);
        }
    }
}

// A struct handle names a box already. The reader asks for this in place of the handle that it has and never gives
// that one back, so that it is the same handle that leaves.
Handle box_stc_target(Handle handle) {
    require_object(handle);
    return handle;
}

template <Assembly A>
struct ExchangeHost {
    static void set_exception(Handle function) {
        callbacks_of(A).exception = reinterpret_cast<ExceptionCallback>(function);
    }
    static void set_catch_and_clear_error(Handle function) {
        callbacks_of(A).catch_and_clear_error = reinterpret_cast<CatchAndClearErrorCallback>(function);
    }
    static void set_u16_builder(Handle function) {
        callbacks_of(A).u16_buffer = reinterpret_cast<U16BufferBuilder>(function);
    }
    static void set_py_builder(Handle function) {
        callbacks_of(A).py_string = reinterpret_cast<PyStringBuilder>(function);
    }
    static void set_unraisable_builder(Handle function) {
        callbacks_of(A).py_unraisable_string = reinterpret_cast<PyStringBuilder>(function);
    }
    static void set_bytes_builder(Handle function) {
        callbacks_of(A).py_bytes = reinterpret_cast<PyBytesBuilder>(function);
    }
    static void set_obj_api(Handle* table) {
        callbacks_of(A).objects = reinterpret_cast<const PyObjApiCallbacks*>(table);
    }
    static void set_static_tables(Handle** tables) {
        callbacks_of(A).tables = reinterpret_cast<const PyStaticCallbacks*>(tables);
    }
    static void set_generic_tables(Handle** tables) { callbacks_of(A).generic = tables; }

    // Everything was handed over by now; a gap would only show in the middle of some later call.
    static void init_services() {
        const Callbacks& own = callbacks_of(A);
        const bool complete = own.exception != nullptr && own.catch_and_clear_error != nullptr &&
                              own.u16_buffer != nullptr && own.py_string != nullptr &&
                              own.py_unraisable_string != nullptr && own.py_bytes != nullptr &&
                              own.objects != nullptr && own.tables != nullptr && own.generic != nullptr;
        if (!complete) {
            throw_invalid_operation(std::string("Not all callbacks of ") + assembly_name(A) + " were handed over.");
        }
    }

    static std::span<const HostEntry> entries() {
        static const std::array<HostEntry, 14> table = {{
            {"GetTypeName", entry<&get_type_name, A>()},
            {"SetExceptionCallback", entry<&set_exception, A>()},
            {"SetCatchAndClearErrorCallback", entry<&set_catch_and_clear_error, A>()},
            {"SetU16StrBuilderCallback", entry<&set_u16_builder, A>()},
            {"SetPyStrBuilderCallback", entry<&set_py_builder, A>()},
            {"SetPyUnraisableStrBuilderCallback", entry<&set_unraisable_builder, A>()},
            {"SetPyBytesBuilderCallback", entry<&set_bytes_builder, A>()},
            {"SetPyObjApiCallbacks", entry<&set_obj_api, A>()},
            {"SetPyStaticCallbacks", entry<&set_static_tables, A>()},
            {"SetPyGenericCallbacks", entry<&set_generic_tables, A>()},
            {"FreePendingArgs", entry<&free_pending_args, A>()},
            {"FreeInstance", entry<&free_instance, A>()},
            {"InitServices", entry<&init_services, A>()},
            {"BoxStcTarget", entry<&box_stc_target, A>()},
        }};
        return table;
    }
};

}  // namespace

std::span<const HostEntry> exchange_host_entries(Assembly assembly) {
    return entries_of<ExchangeHost>(assembly);
}

}  // namespace zelmor::embed
