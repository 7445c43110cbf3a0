// The class of a type host, from the list of its entry points.
//
// A list of entry points is a macro that calls another macro for each of them, in binding order:
//
//     entry(int, get_Width, (void* handle))
//
// The names by which a host binds its delegates and the fields that hold these both come from the list, so that a name
// is written once and the two cannot differ. A delegate is called as `Host::get_instance()->get_Width(handle)`.
#ifndef ZELMOR_PYSHELL_HOST_CLASS_H
#define ZELMOR_PYSHELL_HOST_CLASS_H

#include "exchange/type_host.h"
#include "pyshell/casts.h"

#define ZELMOR_DELEGATE_FIELD(result, name, arguments) result(*name) arguments;
#define ZELMOR_DELEGATE_NAME(result, name, arguments) #name,

// Defines the class `host` for the managed class of that name; `entries` is the macro that lists the entry points.
#define ZELMOR_TYPE_HOST(host, managed_class, entries)                                                \
    class host final : public zelmor::TypeHost<host> {                                                \
     public:                                                                                          \
        static constexpr const char* kManagedClass = managed_class;                                   \
                                                                                                      \
        struct Delegates {                                                                            \
            entries(ZELMOR_DELEGATE_FIELD)                                                            \
        };                                                                                            \
                                                                                                      \
        host() {                                                                                      \
            bind(kEntryPoints, reinterpret_cast<void**>(&m_delegates));                               \
        }                                                                                             \
        const Delegates* operator->() const {                                                         \
            return &m_delegates;                                                                      \
        }                                                                                             \
        zelmor::CastServices casts() const {                                                          \
            return zelmor::cast_services_of(m_delegates);                                             \
        }                                                                                             \
                                                                                                      \
     private:                                                                                         \
        static constexpr const char* kEntryPoints[] = {entries(ZELMOR_DELEGATE_NAME)};                \
        static_assert(sizeof(Delegates) == sizeof(kEntryPoints), "one pointer for each entry point"); \
                                                                                                      \
        Delegates m_delegates{};                                                                      \
    }

#endif  // ZELMOR_PYSHELL_HOST_CLASS_H
