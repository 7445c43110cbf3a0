// The managed exceptions that several places raise, each with its wording in one place.
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

void throw_null_reference(const std::string& what) {
    throw ManagedException("NullReferenceException", what);
}

void throw_argument_null(const std::string& parameter) {
    throw ManagedException("ArgumentNullException", "Value cannot be null. (Parameter '" + parameter + "')");
}

void throw_argument(const std::string& detail) {
    throw ManagedException("ArgumentException", detail);
}

void throw_out_of_range(const std::string& parameter, const std::string& detail) {
    throw ManagedException("ArgumentOutOfRangeException", detail + " (Parameter '" + parameter + "')");
}

void throw_invalid_operation(const std::string& detail) {
    throw ManagedException("InvalidOperationException", detail);
}

void throw_invalid_cast(const std::string& from, const std::string& to) {
    throw ManagedException("InvalidCastException",
                           "Unable to cast object of type '" + from + "' to type '" + to + "'.");
}

void throw_disposed(const std::string& type_name) {
    throw ManagedException("ObjectDisposedException",
                           "Cannot access a disposed object. Object name: '" + type_name + "'.");
}

void throw_not_supported(const std::string& member) {
    throw ManagedException("NotSupportedException", member + " is not supported by the embedded runtime.");
}

}  // namespace zelmor::embed
