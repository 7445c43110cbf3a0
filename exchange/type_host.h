// What every type host has in common: the singleton table of delegates to one managed class.
//
// A host looks up all its entry points by name when it is first asked for, stops at the first that is missing, and
// keeps the message for the life of the process. Its thunks call the slots without a check: a thunk is called behind
// the guard of its type, or on an instance, and only a valid type has instances.
#ifndef ZELMOR_EXCHANGE_TYPE_HOST_H
#define ZELMOR_EXCHANGE_TYPE_HOST_H

#include <cstddef>
#include <span>
#include <string>

class HostEnvironment;

namespace zelmor {

// Binds one entry point of `managed_class`, also for the two service hosts; on failure fills `error` with the
// missing-method message.
bool bind_type_delegate(const HostEnvironment& environment, const char* assembly, const char* managed_class,
                        const char* method, void** slot, std::string& error);

// The running environment, and the assembly that this module's hosts bind to.
const HostEnvironment& running_environment();
const char* bound_assembly();

// `Host` supplies `kManagedClass` and calls `bind` from its constructor.
template <class Host>
class TypeHost {
 public:
    TypeHost(const TypeHost&) = delete;
    TypeHost& operator=(const TypeHost&) = delete;

    // Runs on every call of a wrapper, so that only the test is inline: one load and one branch.
    static Host& get_instance() {
        if (s_instance != nullptr) [[likely]] {
            return *s_instance;
        }
        return make_instance();
    }

    bool is_not_valid() const { return m_is_not_valid; }
    const std::string& error_msg() const { return m_error_msg; }

    bool set_method_ptr(const HostEnvironment& environment, const char* method, void** slot) {
        if (bind_type_delegate(environment, m_assembly_name, Host::kManagedClass, method, slot, m_error_msg)) {
            return true;
        }
        m_is_not_valid = true;
        return false;
    }

 protected:
    TypeHost() : m_assembly_name(bound_assembly()) {}
    ~TypeHost() = default;

    // `slots` is the host's table of delegates, one pointer for each name, in this order.
    [[gnu::noinline]] void bind(std::span<const char* const> methods, void** slots) {
        const HostEnvironment& environment = running_environment();
        for (const char* method : methods) {
            if (!set_method_ptr(environment, method, slots++)) {
                return;
            }
        }
    }

 private:
    [[gnu::noinline, gnu::cold]] static Host& make_instance() {
        static Host host;  // filled in once, under the interpreter lock
        s_instance = &host;
        return host;
    }

    static inline Host* s_instance = nullptr;  // one per process, made by the first use, without a callback

    const char* m_assembly_name;
    bool m_is_not_valid = false;
    std::string m_error_msg;
};

}  // namespace zelmor

#endif  // ZELMOR_EXCHANGE_TYPE_HOST_H
