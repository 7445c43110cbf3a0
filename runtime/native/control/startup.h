// The arguments of the start of the runtime.
#ifndef ZELMOR_RUNTIME_NATIVE_CONTROL_STARTUP_H
#define ZELMOR_RUNTIME_NATIVE_CONTROL_STARTUP_H

#include <string>

namespace zelmor::embed::control {

// A JSON object: exe_path, domain_name and the properties as pairs. Empty before the start.
std::string startup_text();

}  // namespace zelmor::embed::control

#endif  // ZELMOR_RUNTIME_NATIVE_CONTROL_STARTUP_H
