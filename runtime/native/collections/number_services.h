// The services of collections of numbers as typed functions.
//
// A list of numbers keeps them as they are, so that an element goes from memory to the caller without a value in
// between and without a call interface made at run time. What is rare, or costs more than its call, has the general
// form of list_services.h alone.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_NUMBER_SERVICES_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_NUMBER_SERVICES_H

#include <string_view>

#include "runtime/native/collections/services.h"

namespace zelmor::embed {

// The typed function of an entry point; a null address where there is none.
EntryPoint number_service(const ServiceClass& service, std::string_view entry);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_NUMBER_SERVICES_H
