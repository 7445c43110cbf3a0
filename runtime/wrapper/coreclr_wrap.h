// The five functions of the wrapper library: what a module on the bridge knows of a runtime. The library keeps the
// handles of the public CoreCLR hosting interface to itself, so that several modules in one process can share one
// runtime without passing handles around. It serves any libcoreclr.so that offers that interface.
#ifndef ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H
#define ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H

#include "runtime/wrapper/status.h"

#define ZELMOR_WRAP_API extern "C" [[gnu::visibility("default")]]

/// Opens the runtime library. Not 0 on success, also if this very library is open already.
ZELMOR_WRAP_API int coreclr_wrap_load(const char* libcoreclr_path);

/// Starts the runtime with one domain. 0 on success, else a status code.
ZELMOR_WRAP_API int coreclr_wrap_initialize(const char* exe_path, const char* domain_name, int property_count,
                                            const char** property_keys, const char** property_values);

/// Creates a native entry to a managed method. 0 on success, else a status code and a null delegate.
ZELMOR_WRAP_API int coreclr_wrap_create_delegate(const char* assembly_name, const char* type_name,
                                                 const char* method_name, void** delegate);

/// Ends the domain and the runtime with it; a process cannot start it again. 0 on success, else a status code.
ZELMOR_WRAP_API int coreclr_wrap_shutdown();

/// Not 0 while a domain is up.
ZELMOR_WRAP_API int coreclr_wrap_is_domain_initialized();

#endif  // ZELMOR_RUNTIME_WRAPPER_CORECLR_WRAP_H
