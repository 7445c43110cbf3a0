// The operations behind the service classes: what each does, by entry point name.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_LIST_SERVICES_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_LIST_SERVICES_H

#include <span>

#include "runtime/native/collections/services.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

// One operation. In its signature E stands for an element argument and N for a returned element.
struct ServiceOperation {
    const char* name;
    const char* signature;
    void (*run)(ServiceCall& call);
};

std::span<const ServiceOperation> list_operations();    // collections and enumerators
std::span<const ServiceOperation> stream_operations();  // managed streams
std::span<const ServiceOperation> cast_operations();    // the casts that all kinds have

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_LIST_SERVICES_H
