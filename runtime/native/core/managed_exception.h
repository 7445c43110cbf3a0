// The exception of the managed side: a short .NET name and a text for a person.
//
// Thrown anywhere inside the embedded runtime; the boundary of an entry point turns it into the exception callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H
#define ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H

#include <exception>
#include <string>
#include <utility>

namespace zelmor::embed {

class ManagedException : public std::exception {
 public:
    // `name` is the short .NET type name ("ArgumentOutOfRangeException"); `detail` is UTF-8.
    ManagedException(std::string name, std::string detail) : m_name(std::move(name)), detail_(std::move(detail)) {}

    const std::string& name() const noexcept { return m_name; }
    const std::string& detail() const noexcept { return detail_; }
    const char* what() const noexcept override { return detail_.c_str(); }

 private:
    std::string m_name;
    std::string detail_;
};

// A Python error is already pending and has to stay as it is: the entry point returns its zero value and reports
// nothing. Thrown when a builder callback (str, bytearray, wrapper) answered null.
class PythonErrorPending : public std::exception {
 public:
    const char* what() const noexcept override { return "a Python error is pending"; }
};

[[noreturn]] void throw_null_reference(const std::string& what);      // NullReferenceException
[[noreturn]] void throw_argument_null(const std::string& parameter);  // ArgumentNullException
[[noreturn]] void throw_argument(const std::string& detail);          // ArgumentException
[[noreturn]] void throw_out_of_range(const std::string& parameter, const std::string& detail);  // ArgumentOutOfRange...
[[noreturn]] void throw_invalid_operation(const std::string& detail);                  // InvalidOperationException
[[noreturn]] void throw_invalid_cast(const std::string& from, const std::string& to);  // InvalidCastException
[[noreturn]] void throw_disposed(const std::string& type_name);                        // ObjectDisposedException
[[noreturn]] void throw_not_supported(const std::string& member);                      // NotSupportedException

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_MANAGED_EXCEPTION_H
