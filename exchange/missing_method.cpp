// The message about a missing entry point, which all hosts report.
#include "exchange/missing_method.h"

#include <cassert>

std::string missing_method_error_message(const char* assembly, const char* type, const char* method, int code) {
    assert(assembly != nullptr && type != nullptr && method != nullptr);
    std::string text = "While initializing the host for the '";
    text.append(type).append(" (Assembly=").append(assembly).append(")' type, an error occurred - Method '");
    text.append(method).append("' not found (error=").append(std::to_string(code)).append(")");
    return text;
}
