// The wiring of the exchange boundary, done once while a module is imported.
#pragma once

#include <string>

// Starts or joins the runtime, binds the service hosts to `assembly` and hands over all callbacks. 0 on success, -1
// with a Python error set. A runtime that cannot be started at all ends the process: host exceptions are not caught.
int initialize_clr_host(std::string version, const char* assembly, bool debug, std::string suffix, std::string product);
