// The cast family: the operations "_type_of", "_cast_to", "_cast_as", "_is_assignable" and "_reinterpret_obj" of every
// wrapper type, as functions over a record that says how a type does them.
//
// A type brings its record and one line for each entry of its method table. A service of the managed side tells of a
// failure by the pending error alone: that is asked for first, whatever the status says.
#ifndef ZELMOR_PYSHELL_CASTS_H
#define ZELMOR_PYSHELL_CASTS_H

#include "exchange/wire/records.h"
#include "pyshell/python.h"
#include "pyshell/sibling_converters.h"

namespace zelmor {

// The services of a managed type. What is passed is a handle or a tagged handle, and what comes back a handle or an
// enumeration's integer; all of them cross as pointers. A service that the type does not have is null.
struct CastServices {
    int (*type_of)(void** type_handle);
    int (*cast_to)(const void* from, void* out);
    int (*reinterpret_obj)(void* object, void* out);
    int (*cast_as)(const void* from, void* out);
    int (*is_assignable)(const void* value);
};

// Takes over a service that names other types behind its pointers.
template <class... To, class... From>
void take_service(int (*&into)(To*...), int (*service)(From*...)) {
    static_assert(sizeof...(To) == sizeof...(From));
    into = reinterpret_cast<int (*)(To*...)>(service);
}

// The services in a host's table, whose fields have the names of the entry points behind them. A static class has no
// casts, and nothing can be viewed as an interface.
template <class Table>
CastServices cast_services_of(const Table& table) {
    CastServices services{};
    if constexpr (requires { table.btp_TypeOf; }) {
        services.type_of = table.btp_TypeOf;
    }
    if constexpr (requires { table.btp_CastTo; }) {
        take_service(services.cast_to, table.btp_CastTo);
        take_service(services.cast_as, table.btp_CastAs);
    }
    if constexpr (requires { table.btp_ReInterpretObj; }) {
        take_service(services.reinterpret_obj, table.btp_ReInterpretObj);
    }
    if constexpr (requires { table.btp_IsAssignable; }) {
        take_service(services.is_assignable, table.btp_IsAssignable);
    }
    return services;
}

// Which arguments an operation hands to the managed side; others are answered here.
enum class CastArgument {
    kNothing,    // there are no objects of the type
    kClass,      // wrappers of classes, as handles
    kAny,        // wrappers of classes and structs, as tagged handles
    kAnyOrNone,  // the same, and None as a null value
};

// How a kind of type does the operations.
struct CastShape {
    CastArgument cast_to;
    CastArgument cast_as;
    CastArgument is_assignable;
    bool reinterprets;  // an object can be viewed as the type
};

inline constexpr CastShape kClassCasts = {CastArgument::kAnyOrNone, CastArgument::kClass, CastArgument::kClass, true};
inline constexpr CastShape kStructCasts = {CastArgument::kAnyOrNone, CastArgument::kAny, CastArgument::kAny, true};
inline constexpr CastShape kInterfaceCasts = {CastArgument::kAnyOrNone, CastArgument::kAny, CastArgument::kAny, false};
inline constexpr CastShape kStaticClassCasts = {CastArgument::kNothing, CastArgument::kNothing, CastArgument::kNothing,
                                                false};
// Wrappers of collections without an element type read both casts alike.
inline constexpr CastShape kInteropClassCasts = {CastArgument::kAnyOrNone, CastArgument::kAnyOrNone,
                                                 CastArgument::kClass, true};
inline constexpr CastShape kInteropInterfaceCasts = {CastArgument::kAnyOrNone, CastArgument::kAnyOrNone,
                                                     CastArgument::kAny, false};

// What a type brings to its operations.
struct CastFamily {
    PyTypeObject* type;
    int (*guard)();
    CastServices (*services)();  // asked behind the guard: the host may not exist before
    const CastShape& shape;
};

PyObject* cast_type_of(const CastFamily& of);
PyObject* cast_to(const CastFamily& of, PyObject* argument);
PyObject* cast_as(const CastFamily& of, PyObject* argument);
PyObject* cast_is_assignable(const CastFamily& of, PyObject* argument);
PyObject* cast_reinterpret_obj(const CastFamily& of, PyObject* argument);

// "_cast_from" of types that have no such service.
PyObject* cast_stub(PyObject* self, PyObject* argument);

// The services of a generated type's host, as its record asks for them.
template <class Host>
CastServices casts_of() {
    return Host::get_instance().casts();
}

// -- parts of the operations, for those that are not written here --------------------------------------------------

// An argument as a service takes it.
class CastSource {
 public:
    // False if the argument is none that `kind` hands over; no error is set.
    bool read(CastArgument kind, PyObject* argument);
    const void* passed() const { return m_passed; }

 private:
    VariantArg m_value{};
    void* m_handle = nullptr;
    const void* m_passed = nullptr;
};

// The uniform answer that no such cast exists.
inline PyObject* no_cast() {
    return PyShCastOpResult_New(0, nullptr);
}

// "_type_of" and "get_type": the System.Type of `type_handle`, or null if the service failed.
PyObject* finish_type_of(void* type_handle);

// A cast whose value is already built (`wrapped` may be null, with or without an exception pending).
PyObject* finish_cast_with(int status, PyObject* wrapped);

// "_cast_from": `out` becomes a System.Object whatever the target was.
PyObject* finish_cast_from(int status, void* out);

// "_is_assignable".
PyObject* finish_is_assignable(bool assignable);

// Reads the System.Type argument of "_cast_from"; 0 with TypeError if it is none.
int read_cast_target(PyObject* argument, void** type_handle);

// Reads the System.Object argument of "_reinterpret_obj"; 0 with TypeError if it is none.
int read_reinterpreted(PyObject* argument, void** object_handle);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_CASTS_H
