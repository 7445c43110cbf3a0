// The kinds of interop wrapper: the host of each, the other hosts that must be valid for it, and its Python type.
#ifndef ZELMOR_COLLECTIONS_KINDS_H
#define ZELMOR_COLLECTIONS_KINDS_H

#include <string>

#include "collections/hosts.h"
#include "collections/interop.h"
#include "pyshell/class_recipe.h"

namespace zelmor {

// Whether one host could not bind; the probe of aggregate validity.
template <class Host>
bool host_is_not_valid(std::string& message) {
    const Host& host = Host::get_instance();
    if (host.is_not_valid()) {
        message = host.error_msg();
    }
    return host.is_not_valid();
}

// `Referenced` are the hosts tested after the kind's own, in order.
template <class OwnHost, PyTypeObject* Type, class... Referenced>
struct InteropKind {
    using Host = OwnHost;
    static constexpr PyTypeObject* type = Type;

    static const PyHostState& state() {
        static const PyHostState state = aggregate_host_state(
            Host::get_instance().is_not_valid(), Host::get_instance().error_msg(), {host_is_not_valid<Referenced>...});
        return state;
    }
    static int guard() { return guard_type<&InteropKind::state>(); }
};

using DisposableKind = InteropKind<PyHost_ph_Disposable, &wrpPye_tyds_FFFFFFFF_IDisposableWrapper>;
using IterKind = InteropKind<PyHost_ph_Iter, &wrpPye_tyds_FFFFFFFF_IterWrapper>;
using IterableKind = InteropKind<PyHost_ph_Iterable, &wrpPye_tyds_FFFFFFFF_IterableWrapper>;
using IColKind = InteropKind<PyHost_ph_ICol, &wrpPye_tyds_FFFFFFFF_IColWrapper, PyHost_ph_Iterable>;
using IListKind = InteropKind<PyHost_ph_IList, &wrpPye_tyds_FFFFFFFF_IListWrapper, PyHost_ph_ICol, PyHost_ph_Iterable>;
using ArrayKind = InteropKind<PyHost_ph_Array, &wrpPye_tyds_FFFFFFFF_ArrayWrapper, PyHost_ph_Iterable>;
using ArrListKind = InteropKind<PyHost_ph_ArrList, &wrpPye_tyds_FFFFFFFF_ArrListWrapper, PyHost_ph_Iterable>;
using ColBaseKind = InteropKind<PyHost_ph_ColBase, &wrpPye_tyds_FFFFFFFF_ColBaseWrapper, PyHost_ph_IList,
                                PyHost_ph_ICol, PyHost_ph_Iterable>;
using RoColBaseKind =
    InteropKind<PyHost_ph_RoColBase, &wrpPye_tyds_FFFFFFFF_RoColBaseWrapper, PyHost_ph_ICol, PyHost_ph_Iterable>;
using StreamKind = InteropKind<PyHost_ph_Stream, &wrpPye_tyds_FFFFFFFF_StreamWrapper>;

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_KINDS_H
