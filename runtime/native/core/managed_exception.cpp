// The managed exceptions that several places raise, each with its wording in one place.
#include "runtime/native/core/managed_exception.h"

#include <initializer_list>

namespace zelmor::embed {

namespace {

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text += part;
    }
    return text;
}

}  // namespace

void throw_null_reference(std::string_view what) {
    throw ManagedException("NullReferenceException", std::string(what));
}

void throw_argument_null(std::string_view parameter) {
    throw ManagedException("ArgumentNullException", joined({"Value cannot be null. (Parameter '", parameter, "')"}));
}

void throw_argument(std::string_view detail) {
    throw ManagedException("ArgumentException", std::string(detail));
}

void throw_out_of_range(std::string_view parameter, std::string_view detail) {
    throw ManagedException("ArgumentOutOfRangeException", joined({detail, " (Parameter '", parameter, "')"}));
}

void throw_invalid_operation(std::string_view detail) {
    throw ManagedException("InvalidOperationException", std::string(detail));
}

void throw_invalid_cast(std::string_view from, std::string_view to) {
    throw ManagedException("InvalidCastException",
                           joined({"Unable to cast object of type '", from, "' to type '", to, "'."}));
}

void throw_disposed(std::string_view type_name) {
    throw ManagedException("ObjectDisposedException",
                           joined({"Cannot access a disposed object. Object name: '", type_name, "'."}));
}

void throw_not_supported(std::string_view member) {
    throw ManagedException("NotSupportedException", joined({member, " is not supported by the embedded runtime."}));
}

}  // namespace zelmor::embed
