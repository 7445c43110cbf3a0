// The type hosts behind the closed generic collections, as templates over the element's policy.
//
// The host of one element type derives from the host of its kind and adds the name of its managed class. The names and
// the binding order are those of the managed classes. The enumerable host of an element binds casts only where the
// enumerable has a Python type.
#ifndef ZELMOR_COLLECTIONS_TYPED_HOSTS_H
#define ZELMOR_COLLECTIONS_TYPED_HOSTS_H

#include <array>

#include "collections/host_calls.h"

namespace zelmor {

// The casts of a typed array or list.
struct TypedClassCasts {
    int (*btp_TypeOf)(void**);
    int (*btp_CastTo)(const VariantArg*, void**);
    int (*btp_ReInterpretObj)(void*, void**);
    int (*btp_CastAs)(void*, void**);
    int (*btp_IsAssignable)(void*);
};

// The casts of a typed interface.
struct TypedInterfaceCasts {
    int (*btp_TypeOf)(void**);
    int (*btp_CastTo)(const VariantArg*, void**);
    int (*btp_CastAs)(const VariantArg*, void**);
    int (*btp_IsAssignable)(const VariantArg*);
};

template <class Element>
struct TypedArrayDelegates {
    ArrayCalls<Element> calls;
    TypedClassCasts casts;
};

// clang-format off
inline constexpr auto kTypedArrayMethods = std::to_array<const char*>({
    "SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems", "Reverse",
    "Sort", "IndexBy", "CountOf", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs", "btp_IsAssignable"});

inline constexpr auto kTypedListMethods = std::to_array<const char*>({
    "SqLength", "Add", "Remove", "Clear", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek",
    "Insert", "RemoveAt", "Pop", "SqInplaceConcat", "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort",
    "IndexBy", "CountOf", "EnsureCapacity", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs",
    "btp_IsAssignable"});

inline constexpr auto kTypedIListMethods = std::to_array<const char*>({
    "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "Insert", "RemoveAt", "Pop", "SqInplaceConcat",
    "SqInplaceRepeat", "MpSetItems", "MpRemoveItems", "Reverse", "Sort", "IndexBy", "CountOf", "btp_TypeOf",
    "btp_CastTo", "btp_CastAs", "btp_IsAssignable"});

inline constexpr auto kTypedIColMethods = std::to_array<const char*>({
    "SqLength", "Add", "Remove", "Clear", "SqInplaceConcat", "SqInplaceRepeat", "SqContains", "CountOf"});

inline constexpr auto kTypedIterMethods = std::to_array<const char*>({
    "MoveNext", "btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable"});

inline constexpr auto kTypedIterableMethods = std::to_array<const char*>({"GetEnumerator"});

inline constexpr auto kShownIterableMethods = std::to_array<const char*>({
    "GetEnumerator", "btp_TypeOf", "btp_CastTo", "btp_CastAs", "btp_IsAssignable"});

inline constexpr auto kArgumentMethods = std::to_array<const char*>({"btp_IsAssignable"});
// clang-format on

template <class Host, class Element>
class TypedArrayHost : public ArrayHost<Host, TypedArrayDelegates<Element>, Element> {
 public:
    static constexpr const auto& kMethods = kTypedArrayMethods;
};

template <class Element>
struct TypedListDelegates {
    ArrListCalls<Element> calls;
    TypedClassCasts casts;
};

template <class Host, class Element>
class TypedListHost : public ArrListHost<Host, TypedListDelegates<Element>, Element> {
 public:
    static constexpr const auto& kMethods = kTypedListMethods;
};

template <class Element>
struct TypedIListDelegates {
    IListCalls<Element> calls;
    TypedInterfaceCasts casts;
};

template <class Host, class Element>
class TypedIListHost : public GrowingHost<ItemsHost<Host, TypedIListDelegates<Element>, Element>> {
 public:
    static constexpr const auto& kMethods = kTypedIListMethods;
};

template <class Element>
struct TypedIColDelegates {
    using Arg = typename Element::Arg;
    int (*sq_length)(void*);
    void (*add)(void*, Arg);
    int (*remove)(void*, Arg);
    void (*clear)(void*);
    int (*sq_inplace_concat)(void*, const VariantArg*);
    void (*sq_inplace_repeat)(void*, int);
    int (*sq_contains)(void*, Arg);
    int (*count_of)(void*, Arg);
};

// The bulk operations and the count are bound too, but a list uses those of its list host.
template <class Host, class Element>
class TypedIColHost : public CollectionHost<Host, TypedIColDelegates<Element>> {
 public:
    using Arg = typename Element::Arg;
    static constexpr const auto& kMethods = kTypedIColMethods;

    int sq_length(void* handle) const { return this->m_delegates.sq_length(handle); }
    void add(void* handle, Arg value) const { this->m_delegates.add(handle, value); }
    int remove(void* handle, Arg value) const { return this->m_delegates.remove(handle, value); }
    void clear(void* handle) const { this->m_delegates.clear(handle); }
    int sq_inplace_concat(void* handle, const VariantArg* source) const {
        return this->m_delegates.sq_inplace_concat(handle, source);
    }
    void sq_inplace_repeat(void* handle, int count) const { this->m_delegates.sq_inplace_repeat(handle, count); }
    int sq_contains(void* handle, Arg value) const { return this->m_delegates.sq_contains(handle, value); }
    int count_of(void* handle, Arg value) const { return this->m_delegates.count_of(handle, value); }
};

template <class Element>
struct TypedIterDelegates {
    int (*move_next)(void*, typename Element::Out*);
    TypedInterfaceCasts casts;
};

template <class Host, class Element>
class TypedIterHost : public CollectionHost<Host, TypedIterDelegates<Element>> {
 public:
    static constexpr const auto& kMethods = kTypedIterMethods;
    int move_next(void* handle, typename Element::Out* out) const { return this->m_delegates.move_next(handle, out); }
};

struct TypedIterableDelegates {
    int (*get_enumerator)(void*, PyObjectOutArg*);
};

template <class Host>
class TypedIterableHost : public CollectionHost<Host, TypedIterableDelegates> {
 public:
    static constexpr const auto& kMethods = kTypedIterableMethods;
    int get_enumerator(void* handle, PyObjectOutArg* out) const {
        return this->m_delegates.get_enumerator(handle, out);
    }
};

struct ShownIterableDelegates {
    int (*get_enumerator)(void*, PyObjectOutArg*);
    TypedInterfaceCasts casts;
};

template <class Host>
class ShownIterableHost : public CollectionHost<Host, ShownIterableDelegates> {
 public:
    static constexpr const auto& kMethods = kShownIterableMethods;
    int get_enumerator(void* handle, PyObjectOutArg* out) const {
        return this->m_delegates.get_enumerator(handle, out);
    }
};

struct ArgumentCasts {
    int (*btp_IsAssignable)(void*);
};

struct ArgumentDelegates {
    ArgumentCasts casts;
};

// The host of an array that managed code only accepts. It has no Python type; only the test of assignability is needed.
template <class Host>
class ArgumentHost : public CollectionHost<Host, ArgumentDelegates> {
 public:
    static constexpr const auto& kMethods = kArgumentMethods;
};

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_TYPED_HOSTS_H
