// The wiring of the exchange boundary, done once while a module is imported.
#ifndef ZELMOR_EXCHANGE_START_UP_H
#define ZELMOR_EXCHANGE_START_UP_H

#include <string>

// Starts or joins the runtime, binds the service hosts to `assembly` and hands over all callbacks. 0 on success, -1
// with a Python error set. A runtime that cannot be started at all ends the process: host exceptions are not caught.
int initialize_clr_host(std::string version, const char* assembly, bool debug, std::string suffix, std::string product);

#endif  // ZELMOR_EXCHANGE_START_UP_H
