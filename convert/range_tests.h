// Tests whether an integer fits a managed integer type, with the two messages that say that it does not.
//
// The source is the result of the interpreter's reading call, `long` or `unsigned long`. A test whose source is not
// wider than its target is always false. The caller names the exception: OverflowError for a value, IndexError for an
// index.
#ifndef ZELMOR_CONVERT_RANGE_TESTS_H
#define ZELMOR_CONVERT_RANGE_TESTS_H

#include <limits>
#include <type_traits>

#include "pyshell/python.h"

// What the message calls the number.
struct ValueSubjTrait {
    static constexpr const char* name = "value";
};
struct IndexSubjTrait {
    static constexpr const char* name = "index";
};
struct CountSubjTrait {
    static constexpr const char* name = "count";
};

// What the message calls the target.
template <class T>
struct clr_int_type_name;
template <>
struct clr_int_type_name<signed char> {
    static constexpr const char* name = "SByte";
};
template <>
struct clr_int_type_name<short> {
    static constexpr const char* name = "Int16";
};
template <>
struct clr_int_type_name<int> {
    static constexpr const char* name = "Int32";
};
template <>
struct clr_int_type_name<long> {
    static constexpr const char* name = "Int64";
};
template <>
struct clr_int_type_name<unsigned char> {
    static constexpr const char* name = "Byte";
};
template <>
struct clr_int_type_name<unsigned short> {
    static constexpr const char* name = "UInt16";
};
template <>
struct clr_int_type_name<unsigned int> {
    static constexpr const char* name = "UInt32";
};
template <>
struct clr_int_type_name<unsigned long> {
    static constexpr const char* name = "UInt64";
};

namespace zelmor {

inline bool raise_too_small(PyObject* exception, const char* subject, const char* target) {
    PyErr_Format(exception, "%s too small to convert to '%s'", subject, target);
    return true;
}

inline bool raise_too_big(PyObject* exception, const char* subject, const char* target) {
    PyErr_Format(exception, "%s too big to convert to '%s'", subject, target);
    return true;
}

}  // namespace zelmor

// True, with `exception` raised, when a signed `value` does not fit the signed `Target`.
template <class Subject, class Target, class Source, class Name = clr_int_type_name<Target>>
inline bool is_clong_value_out_of_clr_range(Source value, PyObject* exception) {
    static_assert(std::is_signed_v<Source> && std::is_signed_v<Target>);
    if constexpr (sizeof(Source) > sizeof(Target)) {
        if (value < std::numeric_limits<Target>::min()) {
            return zelmor::raise_too_small(exception, Subject::name, Name::name);
        }
        if (value > std::numeric_limits<Target>::max()) {
            return zelmor::raise_too_big(exception, Subject::name, Name::name);
        }
    }
    return false;
}

// True, with `exception` raised, when an unsigned `value` does not fit the unsigned `Target`.
template <class Subject, class Target, class Source, class Name = clr_int_type_name<Target>>
inline bool is_uclong_value_out_of_clr_range(Source value, PyObject* exception) {
    static_assert(std::is_unsigned_v<Source> && std::is_unsigned_v<Target>);
    if constexpr (sizeof(Source) > sizeof(Target)) {
        if (value > std::numeric_limits<Target>::max()) {
            return zelmor::raise_too_big(exception, Subject::name, Name::name);
        }
    }
    return false;
}

// True, with `exception` raised, when a signed `value` is meant for the unsigned `Target` and is below zero.
template <class Subject, class Target, class Source, class Name = clr_int_type_name<Target>>
inline bool is_uclong_value_negative(Source value, PyObject* exception) {
    static_assert(std::is_unsigned_v<Target>);
    if constexpr (std::is_signed_v<Source>) {
        if (value < 0) {
            return zelmor::raise_too_small(exception, Subject::name, Name::name);
        }
    }
    return false;
}

#endif  // ZELMOR_CONVERT_RANGE_TESTS_H
