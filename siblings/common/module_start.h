// The start-up that the sibling modules have in common, in the order and with the codes of the imaging module's.
//
// A sibling says what differs: its names, what it takes from other siblings, what it is made of.
#ifndef ZELMOR_SIBLINGS_COMMON_MODULE_START_H
#define ZELMOR_SIBLINGS_COMMON_MODULE_START_H

#include "pyshell/python.h"

namespace zelmor::siblings {

struct SiblingModule {
    const char* name;  // dotted

    // Takes over the converters of other siblings; null where there are none. 0, or -1 with an error.
    int (*import_siblings)(const char* own_name);

    // Takes over the cast result; null where no type of the module has casts. 0, or -1 with an error.
    int (*import_cast_result)(const char* own_name);

    // Starts or joins the runtime for the module's managed assembly; null where nothing managed stands behind the
    // module, which then does not link the exchange at all. 0, or -1 with an error.
    int (*start_runtime)();

    // The module with what is generated for it. A new reference, or null with an error.
    PyObject* (*build)();

    // Adds what is written by hand, and the capsules. 0, or -1 with an error.
    int (*complete)(PyObject* module);
};

// The work of a module's entry point: the module, or null with ImportError.
PyObject* start_module(const SiblingModule& sibling);

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_COMMON_MODULE_START_H
