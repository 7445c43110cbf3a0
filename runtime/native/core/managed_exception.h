// The exception of the managed side: a short .NET name and a text for a person.
//
// Thrown anywhere inside the embedded runtime; the boundary of an entry point turns it into the exception callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H
#define ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace zelmor::embed {

class ManagedException : public std::exception {
 public:
    // `name` is the short .NET type name ("ArgumentOutOfRangeException"); `detail` is UTF-8.
    ManagedException(std::string name, std::string detail) : m_name(std::move(name)), m_detail(std::move(detail)) {}

    const std::string& name() const noexcept { return m_name; }
    const std::string& detail() const noexcept { return m_detail; }
    const char* what() const noexcept override { return m_detail.c_str(); }

 private:
    std::string m_name;
    std::string m_detail;
};

// A Python error is already pending and has to stay as it is: the entry point returns its zero value and reports
// nothing. Thrown when a builder callback (str, bytearray, wrapper) answered null.
class PythonErrorPending : public std::exception {
 public:
    const char* what() const noexcept override { return "a Python error is pending"; }
};

// They take views, so that the many places that throw a literal text need not make a string of it.
[[noreturn]] void throw_null_reference(std::string_view what);                              // NullReferenceException
[[noreturn]] void throw_argument_null(std::string_view parameter);                          // ArgumentNullException
[[noreturn]] void throw_argument(std::string_view detail);                                  // ArgumentException
[[noreturn]] void throw_out_of_range(std::string_view parameter, std::string_view detail);  // ArgumentOutOfRange...
[[noreturn]] void throw_invalid_operation(std::string_view detail);                         // InvalidOperationException
[[noreturn]] void throw_invalid_cast(std::string_view from, std::string_view to);           // InvalidCastException
[[noreturn]] void throw_disposed(std::string_view type_name);                               // ObjectDisposedException
[[noreturn]] void throw_not_supported(std::string_view member);                             // NotSupportedException

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H
