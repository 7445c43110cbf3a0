// The text of a missing entry point, put together in one place for all hosts.
#include "exchange/missing_method.h"

std::string missing_method_error_message(const char* assembly, const char* type, const char* method, int code) {
    std::string text = "While initializing the host for the '";
    text.append(type).append(" (Assembly=").append(assembly).append(")' type, an error occurred - Method '");
    text.append(method).append("' not found (error=").append(std::to_string(code)).append(")");
    return text;
}
