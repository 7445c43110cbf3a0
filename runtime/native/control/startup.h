// What the runtime was started with.
#pragma once

#include <string>

namespace zelmor::embed::control {

// A JSON object: exe_path, domain_name and the properties as pairs. Empty before the start.
std::string startup_text();

}  // namespace zelmor::embed::control
