// The one message for an entry point that the managed assembly does not have.
#ifndef ZELMOR_EXCHANGE_MISSING_METHOD_H
#define ZELMOR_EXCHANGE_MISSING_METHOD_H

#include <string>

// The text that names the managed type, its assembly, the method, and the status of the lookup.
std::string missing_method_error_message(const char* assembly, const char* type, const char* method, int code);

#endif  // ZELMOR_EXCHANGE_MISSING_METHOD_H
