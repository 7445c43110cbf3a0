// The parts that the generated typed collections are put together from.
#ifndef ZELMOR_COLLECTIONS_TYPED_MEMBERS_H
#define ZELMOR_COLLECTIONS_TYPED_MEMBERS_H

#include "collections/access_calls.h"
#include "collections/interop.h"
#include "collections/interop_operations.h"
#include "collections/kinds.h"
#include "collections/parameter_steps.h"
#include "collections/sequence.h"
#include "collections/typed_callbacks.h"
#include "collections/typed_hosts.h"
#include "collections/typed_types.h"
#include "pyshell/casts.h"

namespace zelmor {

template <class Host>
int assignable_to(void* handle) {
    return Host::get_instance().casts().is_assignable(handle);
}

template <class Host>
int enumerator_of(void* handle, PyObjectOutArg* out) {
    return Host::get_instance().get_enumerator(handle, out);
}

template <class Host>
PyHostState typed_host_state(std::initializer_list<ValidityProbe> referenced) {
    const Host& host = Host::get_instance();
    return aggregate_host_state(host.is_not_valid(), host.error_msg(), referenced);
}

// `next(it)` of a typed enumerator.
template <class Host, class Element>
PyObject* next_element(PyObject* self) {
    typename Element::Out element{};
    const int status = Host::get_instance().move_next(handle_of(self), &element);
    if (status != kDelivered || PyErr_Occurred() != nullptr) {
        return sequence_no_next(status);
    }
    return Element::show(element);
}

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_TYPED_MEMBERS_H
