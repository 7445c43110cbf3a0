// The five functions of the wrapper library, the only interface of a bridge module to start a runtime. The library
// stores the handles of the public CoreCLR hosting interface, so that several modules in one process share one runtime
// without passing handles to each other. It works with any libcoreclr.so that has this interface.
#ifndef ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H
#define ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H

#include "runtime/wrapper/status.h"

#define ZELMOR_WRAP_API extern "C" [[gnu::visibility("default")]]

/// Loads the runtime library. Returns nonzero on success, also if the same library is loaded already.
ZELMOR_WRAP_API int coreclr_wrap_load(const char* libcoreclr_path);

/// Starts the runtime with one domain. Returns 0 on success, otherwise a status code.
ZELMOR_WRAP_API int coreclr_wrap_initialize(const char* exe_path, const char* domain_name, int property_count,
                                            const char** property_keys, const char** property_values);

/// Creates a native entry point of a managed method. Returns 0 on success, otherwise a status code and a null delegate.
ZELMOR_WRAP_API int coreclr_wrap_create_delegate(const char* assembly_name, const char* type_name,
                                                 const char* method_name, void** delegate);

/// Ends the domain and the runtime; a process cannot start it again. Returns 0 on success, otherwise a status code.
ZELMOR_WRAP_API int coreclr_wrap_shutdown();

/// Returns nonzero while a domain is running.
ZELMOR_WRAP_API int coreclr_wrap_is_domain_initialized();

#endif  // ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H
