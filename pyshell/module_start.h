// The start of a module on the bridge: the steps of its entry point, in order, each with the code that its failure
// reports. The imaging module and its siblings differ only in the facts that they hand over.
#ifndef ZELMOR_PYSHELL_MODULE_START_H
#define ZELMOR_PYSHELL_MODULE_START_H

#include <string>

#include "pyshell/python.h"

namespace zelmor {

// The facts of one module. A step that the module does not need is null.
struct ModuleFacts {
    const char* name;  // dotted

    // Takes over the converters of other modules. 0, or -1 with an error.
    int (*import_siblings)(const char* own_name) = nullptr;

    // Takes over the function that makes the result of a cast; null where no type of the module has casts. 0, or -1
    // with an error.
    int (*import_cast_result)(const char* own_name) = nullptr;

    // Starts or joins the runtime: `initialize_clr_host`. Null where nothing managed stands behind the module, which
    // then does not link the exchange at all.
    int (*start_runtime)(std::string version, const char* assembly, bool debug, std::string suffix,
                         std::string product) = nullptr;
    const char* assembly = nullptr;  // the managed assembly behind the module
    const char* product = nullptr;   // the module's name among the products of the family

    // The module with everything that is generated for it. A new reference, or null with an error.
    PyObject* (*build)() = nullptr;

    // Adds what is written by hand, and the capsules. 0, or -1 with an error.
    int (*complete)(PyObject* module) = nullptr;

    // Adds the internal module "_wrpgen". A new reference to it, or null with an error.
    PyObject* (*add_wrappers)(PyObject* module) = nullptr;
};

// The work of a module's entry point: a new reference to the module, or null with ImportError. A runtime that cannot
// be started at all ends the process: the exceptions of the host are not caught.
PyObject* start_module(const ModuleFacts& facts);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_MODULE_START_H
