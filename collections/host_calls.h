// The calls that the hosts of collections share: those of an array and of a growing list, for any element.
//
// Each group is a table of delegates in binding order and a host with the thunks over it. The interop hosts and the
// typed hosts put their casts behind the same groups.
#ifndef ZELMOR_COLLECTIONS_HOST_CALLS_H
#define ZELMOR_COLLECTIONS_HOST_CALLS_H

#include "collections/element_policies.h"
#include "exchange/type_host.h"
#include "pyshell/casts.h"

namespace zelmor {

// `Delegates` is the table of function pointers, in the order of `Host::kMethods`.
template <class Host, class Delegates>
class CollectionHost : public TypeHost<Host> {
 public:
    // Whether the managed type is a class, and not an interface.
    static constexpr bool kIsClass = requires(const Delegates& delegates) { delegates.casts.btp_ReInterpretObj; };

    CastServices casts() const { return cast_services_of(m_delegates.casts); }

 protected:
    CollectionHost() {
        static_assert(sizeof(Delegates) == Host::kMethods.size() * sizeof(void*));
        this->bind(Host::kMethods, reinterpret_cast<void**>(&m_delegates));
    }

    Delegates m_delegates = {};
};

// "SqLength" to "CountOf" of an array.
template <class Element>
struct ArrayCalls {
    using Arg = typename Element::Arg;
    using Out = typename Element::Out;
    int (*sq_length)(void*);
    int (*sq_contains)(void*, Arg);
    int (*sq_item)(void*, int, Out*);
    typename UncheckedRead<Element>::Delegate sq_item_nocheck;
    int (*sq_ssitem)(void*, int, Arg);
    void (*sq_ssitem_nocheck)(void*, int, Arg);
    int (*mp_subscript)(void*, const VariantArg*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, Arg);
    int (*count_of)(void*, Arg);
};

// "SqLength" to "EnsureCapacity" of an array list or a typed list.
template <class Element>
struct ArrListCalls {
    using Arg = typename Element::Arg;
    using Out = typename Element::Out;
    int (*sq_length)(void*);
    void (*add)(void*, Arg);
    int (*remove)(void*, Arg);
    void (*clear)(void*);
    int (*sq_contains)(void*, Arg);
    int (*sq_item)(void*, int, Out*);
    typename UncheckedRead<Element>::Delegate sq_item_nocheck;
    int (*sq_ssitem)(void*, int, Arg);
    void (*sq_ssitem_nocheck)(void*, int, Arg);
    void (*insert)(void*, int, Arg);
    int (*remove_at)(void*, int);
    int (*pop)(void*, int has_index, int index, Out*);
    int (*sq_inplace_concat)(void*, const VariantArg*);
    void (*sq_inplace_repeat)(void*, int);
    int (*mp_subscript)(void*, const VariantArg*, int start, int count, int step);
    void (*mp_remove)(void*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, Arg);
    int (*count_of)(void*, Arg);
    void (*ensure_capacity)(void*, int);
};

// "SqItem" to "CountOf" of a typed list known by its interface.
template <class Element>
struct IListCalls {
    using Arg = typename Element::Arg;
    using Out = typename Element::Out;
    int (*sq_item)(void*, int, Out*);
    typename UncheckedRead<Element>::Delegate sq_item_nocheck;
    int (*sq_ssitem)(void*, int, Arg);
    void (*sq_ssitem_nocheck)(void*, int, Arg);
    void (*insert)(void*, int, Arg);
    int (*remove_at)(void*, int);
    int (*pop)(void*, int has_index, int index, Out*);
    int (*sq_inplace_concat)(void*, const VariantArg*);
    void (*sq_inplace_repeat)(void*, int);
    int (*mp_subscript)(void*, const VariantArg*, int start, int count, int step);
    void (*mp_remove)(void*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, Arg);
    int (*count_of)(void*, Arg);
};

// The thunks over the calls that all groups have. `Delegates` holds the group as `calls`.
template <class Host, class Delegates, class Element>
class ItemsHost : public CollectionHost<Host, Delegates> {
 public:
    using Arg = typename Element::Arg;
    using Out = typename Element::Out;

    int sq_item(void* handle, int index, Out* out) const { return calls().sq_item(handle, index, out); }
    Out sq_item_nocheck(void* handle, int index) const {
        return UncheckedRead<Element>::call(calls().sq_item_nocheck, handle, index);
    }
    int sq_ssitem(void* handle, int index, Arg value) const { return calls().sq_ssitem(handle, index, value); }
    void sq_ssitem_nocheck(void* handle, int index, Arg value) const {
        calls().sq_ssitem_nocheck(handle, index, value);
    }
    int mp_subscript(void* handle, const VariantArg* source, int start, int count, int step) const {
        return calls().mp_subscript(handle, source, start, count, step);
    }
    void reverse(void* handle) const { calls().reverse(handle); }
    void sort(void* handle, int reverse) const { calls().sort(handle, reverse); }
    int index_by(void* handle, int has_start, int start, int has_stop, int stop, Arg value) const {
        return calls().index_by(handle, has_start, start, has_stop, stop, value);
    }
    int count_of(void* handle, Arg value) const { return calls().count_of(handle, value); }

 protected:
    const auto& calls() const { return this->m_delegates.calls; }
};

// The thunks of a kind whose items, count and search are served by one host.
template <class Host, class Delegates, class Element>
class ArrayHost : public ItemsHost<Host, Delegates, Element> {
 public:
    using Arg = typename Element::Arg;

    int sq_length(void* handle) const { return this->calls().sq_length(handle); }
    int sq_contains(void* handle, Arg value) const { return this->calls().sq_contains(handle, value); }
};

// The thunks of a kind that grows, on top of the host of its items.
template <class Items>
class GrowingHost : public Items {
 public:
    using Arg = typename Items::Arg;
    using Out = typename Items::Out;

    void insert(void* handle, int index, Arg value) const { this->calls().insert(handle, index, value); }
    int remove_at(void* handle, int index) const { return this->calls().remove_at(handle, index); }
    int pop(void* handle, int has_index, int index, Out* out) const {
        return this->calls().pop(handle, has_index, index, out);
    }
    int sq_inplace_concat(void* handle, const VariantArg* source) const {
        return this->calls().sq_inplace_concat(handle, source);
    }
    void sq_inplace_repeat(void* handle, int count) const { this->calls().sq_inplace_repeat(handle, count); }
    void mp_remove(void* handle, int start, int count, int step) const {
        this->calls().mp_remove(handle, start, count, step);
    }
};

template <class Host, class Delegates, class Element>
class ArrListHost : public GrowingHost<ArrayHost<Host, Delegates, Element>> {
 public:
    using Arg = typename Element::Arg;

    void add(void* handle, Arg value) const { this->calls().add(handle, value); }
    int remove(void* handle, Arg value) const { return this->calls().remove(handle, value); }
    void clear(void* handle) const { this->calls().clear(handle); }
    void ensure_capacity(void* handle, int count) const { this->calls().ensure_capacity(handle, count); }
};

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_HOST_CALLS_H
