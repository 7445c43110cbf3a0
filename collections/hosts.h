// The type hosts behind the interop wrappers: which entry points each managed class has, and their signatures.
//
// The names and the binding order are those of the managed classes, including the two spellings of the unchecked item
// setter. The factories from Python collections are bound as a check that this is the right class; they are never
// called.
#ifndef ZELMOR_COLLECTIONS_HOSTS_H
#define ZELMOR_COLLECTIONS_HOSTS_H

#include <array>
#include <cstddef>

#include "collections/host_calls.h"
#include "exchange/wire/records.h"

namespace zelmor {

// The cast services of an interface. They take a tagged handle, since a class or a struct can implement it.
struct InterfaceCasts {
    int (*btp_IsAssignable)(const VariantArg*);
    int (*btp_TypeOf)(void**);
    int (*btp_CastTo)(const VariantArg*, void**);
    int (*btp_CastAs)(const VariantArg*, void**);
};

// The cast services of a class: only a class instance can be one.
struct ClassCasts {
    int (*btp_IsAssignable)(void*);
    int (*btp_TypeOf)(void**);
    int (*btp_CastTo)(const VariantArg*, void**);
    int (*btp_ReInterpretObj)(void*, void**);
    int (*btp_CastAs)(const VariantArg*, void**);
};

// Not called from this side.
using Factory = void (*)();

}  // namespace zelmor

struct DisposableDelegates {
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Disposable final : public zelmor::CollectionHost<PyHost_ph_Disposable, DisposableDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiDisposable";
    static constexpr auto kMethods =
        std::to_array<const char*>({"btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});
};

struct IterDelegates {
    int (*move_next)(void*, PyObject**);
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Iter final : public zelmor::CollectionHost<PyHost_ph_Iter, IterDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiEnumerator";
    static constexpr auto kMethods =
        std::to_array<const char*>({"MoveNext", "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});

    int move_next(void* handle, PyObject** out) const { return m_delegates.move_next(handle, out); }
};

struct IterableDelegates {
    int (*get_enumerator)(void*, PyObjectOutArg*);
    zelmor::Factory create_from_iterable;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Iterable final : public zelmor::CollectionHost<PyHost_ph_Iterable, IterableDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiEnumerable";
    static constexpr auto kMethods =
        std::to_array<const char*>({"GetEnumerator", "CreateInstanceFromPyIterable", "btp_IsAssignable", "btp_TypeOf",
                                    "btp_CastTo", "btp_CastAs"});

    int get_enumerator(void* handle, PyObjectOutArg* out) const { return m_delegates.get_enumerator(handle, out); }
};

struct IColDelegates {
    int (*sq_length)(void*);
    int (*sq_contains)(void*, const VariantArg*);
    int (*count_of)(void*, const VariantArg*);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_iterable;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_ICol final : public zelmor::CollectionHost<PyHost_ph_ICol, IColDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiCntCollection";
    static constexpr auto kMethods = std::to_array<const char*>(
        {"SqLength", "SqContains", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPyIterable",
         "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});

    int sq_length(void* handle) const { return m_delegates.sq_length(handle); }
    int sq_contains(void* handle, const VariantArg* value) const { return m_delegates.sq_contains(handle, value); }
    int count_of(void* handle, const VariantArg* value) const { return m_delegates.count_of(handle, value); }
};

struct IListDelegates {
    int (*sq_getitem)(void*, int, PyObject**);
    PyObject* (*sq_getitem_nocheck)(void*, int);
    int (*sq_setitem)(void*, int, const VariantArg*);
    void (*sq_setitem_nocheck)(void*, int, const VariantArg*);
    void (*add)(void*, const VariantArg*);
    void (*insert)(void*, int, const VariantArg*);
    int (*remove)(void*, const VariantArg*);
    int (*remove_at)(void*, int);
    int (*pop)(void*, int has_index, int index, PyObject**);
    void (*clear)(void*);
    int (*sq_inplaceconcat)(void*, const VariantArg*);
    void (*sq_inplacerepeat)(void*, int);
    int (*mp_set_items)(void*, const VariantArg*, int start, int count, int step);
    void (*mp_remove_items)(void*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, const VariantArg*);
    int (*sq_contains)(void*, const VariantArg*);
    int (*count_of)(void*, const VariantArg*);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_IList final : public zelmor::CollectionHost<PyHost_ph_IList, IListDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiCntList";
    static constexpr auto kMethods = std::to_array<const char*>({"SqGetItem",
                                                                 "SqGetItemNoCheck",
                                                                 "SqSetItem",
                                                                 "SqSetItemNoCheck",
                                                                 "Add",
                                                                 "Insert",
                                                                 "Remove",
                                                                 "RemoveAt",
                                                                 "Pop",
                                                                 "Clear",
                                                                 "SqInplaceConcat",
                                                                 "SqInplaceRepeat",
                                                                 "MpSetItems",
                                                                 "MpRemoveItems",
                                                                 "Reverse",
                                                                 "Sort",
                                                                 "IndexBy",
                                                                 "SqContains",
                                                                 "CountOf",
                                                                 "CreateInstanceFromPyList",
                                                                 "CreateInstanceFromPySequence",
                                                                 "btp_IsAssignable",
                                                                 "btp_TypeOf",
                                                                 "btp_CastTo",
                                                                 "btp_CastAs"});

    int sq_getitem(void* handle, int index, PyObject** out) const { return m_delegates.sq_getitem(handle, index, out); }
    PyObject* sq_getitem_nocheck(void* handle, int index) const {
        return m_delegates.sq_getitem_nocheck(handle, index);
    }
    int sq_setitem(void* handle, int index, const VariantArg* value) const {
        return m_delegates.sq_setitem(handle, index, value);
    }
    void sq_setitem_nocheck(void* handle, int index, const VariantArg* value) const {
        m_delegates.sq_setitem_nocheck(handle, index, value);
    }
    void add(void* handle, const VariantArg* value) const { m_delegates.add(handle, value); }
    void insert(void* handle, int index, const VariantArg* value) const { m_delegates.insert(handle, index, value); }
    int remove(void* handle, const VariantArg* value) const { return m_delegates.remove(handle, value); }
    int remove_at(void* handle, int index) const { return m_delegates.remove_at(handle, index); }
    int pop(void* handle, int has_index, int index, PyObject** out) const {
        return m_delegates.pop(handle, has_index, index, out);
    }
    void clear(void* handle) const { m_delegates.clear(handle); }
    int sq_inplaceconcat(void* handle, const VariantArg* source) const {
        return m_delegates.sq_inplaceconcat(handle, source);
    }
    void sq_inplacerepeat(void* handle, int count) const { m_delegates.sq_inplacerepeat(handle, count); }
    int mp_set_items(void* handle, const VariantArg* source, int start, int count, int step) const {
        return m_delegates.mp_set_items(handle, source, start, count, step);
    }
    void mp_remove_items(void* handle, int start, int count, int step) const {
        m_delegates.mp_remove_items(handle, start, count, step);
    }
    void reverse(void* handle) const { m_delegates.reverse(handle); }
    void sort(void* handle, int reverse) const { m_delegates.sort(handle, reverse); }
    int index_by(void* handle, int has_start, int start, int has_stop, int stop, const VariantArg* value) const {
        return m_delegates.index_by(handle, has_start, start, has_stop, stop, value);
    }
    int sq_contains(void* handle, const VariantArg* value) const { return m_delegates.sq_contains(handle, value); }
    int count_of(void* handle, const VariantArg* value) const { return m_delegates.count_of(handle, value); }
};

struct ArrayDelegates {
    zelmor::ArrayCalls<zelmor::VariantElement> calls;
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_Array final : public zelmor::ArrayHost<PyHost_ph_Array, ArrayDelegates, zelmor::VariantElement> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiArray";
    static constexpr auto kMethods = std::to_array<const char*>(
        {"SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems",
         "Reverse", "Sort", "IndexBy", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPySequence",
         "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"});
};

struct ArrListDelegates {
    zelmor::ArrListCalls<zelmor::VariantElement> calls;
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_ArrList final
    : public zelmor::ArrListHost<PyHost_ph_ArrList, ArrListDelegates, zelmor::VariantElement> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiArrayList";
    static constexpr auto kMethods = std::to_array<const char*>({"SqLength",
                                                                 "Add",
                                                                 "Remove",
                                                                 "Clear",
                                                                 "SqContains",
                                                                 "SqGetItem",
                                                                 "SqGetItemNoCheck",
                                                                 "SqSetItem",
                                                                 "SqSetItemNoChek",
                                                                 "Insert",
                                                                 "RemoveAt",
                                                                 "Pop",
                                                                 "SqInplaceConcat",
                                                                 "SqInplaceRepeat",
                                                                 "MpSetItems",
                                                                 "MpRemoveItems",
                                                                 "Reverse",
                                                                 "Sort",
                                                                 "IndexBy",
                                                                 "CountOf",
                                                                 "EnsureCapacity",
                                                                 "CreateInstanceFromPyList",
                                                                 "CreateInstanceFromPySequence",
                                                                 "btp_IsAssignable",
                                                                 "btp_TypeOf",
                                                                 "btp_CastTo",
                                                                 "btp_ReInterpretObj",
                                                                 "btp_CastAs"});
};

// Driven through the IList host and the ICol host; these two serve the casts alone.
struct ColBaseDelegates {
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_ColBase final : public zelmor::CollectionHost<PyHost_ph_ColBase, ColBaseDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiCollectionBase";
    static constexpr auto kMethods =
        std::to_array<const char*>({"CreateInstanceFromPyList", "CreateInstanceFromPySequence", "btp_IsAssignable",
                                    "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"});
};

class PyHost_ph_RoColBase final : public zelmor::CollectionHost<PyHost_ph_RoColBase, ColBaseDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiReadOnlyCollectionBase";
    static constexpr auto kMethods = PyHost_ph_ColBase::kMethods;
};

struct StreamDelegates {
    bool (*can_read)(void*);
    bool (*can_seek)(void*);
    bool (*can_write)(void*);
    long (*length)(void*);
    long (*position)(void*);
    void (*close)(void*);
    void (*flush)(void*);
    int (*read)(void*, void* buffer, int count);
    long (*seek)(void*, long offset, int origin);
    long (*set_length)(void*, int use_current_position, long size);
    void (*write)(void*, void* buffer, int count);
    zelmor::ClassCasts casts;
};

class PyHost_ph_Stream final : public zelmor::CollectionHost<PyHost_ph_Stream, StreamDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiStream";
    static constexpr auto kMethods = std::to_array<const char*>(
        {"CanRead", "CanSeek", "CanWrite", "Length", "Position", "Close", "Flush", "Read", "Seek", "SetLength", "Write",
         "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"});

    bool can_read(void* handle) const { return m_delegates.can_read(handle); }
    bool can_seek(void* handle) const { return m_delegates.can_seek(handle); }
    bool can_write(void* handle) const { return m_delegates.can_write(handle); }
    long length(void* handle) const { return m_delegates.length(handle); }
    long position(void* handle) const { return m_delegates.position(handle); }
    void close(void* handle) const { m_delegates.close(handle); }
    void flush(void* handle) const { m_delegates.flush(handle); }
    int read(void* handle, void* buffer, int count) const { return m_delegates.read(handle, buffer, count); }
    long seek(void* handle, long offset, int origin) const { return m_delegates.seek(handle, offset, origin); }
    long set_length(void* handle, int use_current_position, long size) const {
        return m_delegates.set_length(handle, use_current_position, size);
    }
    void write(void* handle, void* buffer, int count) const { m_delegates.write(handle, buffer, count); }
};

#endif  // ZELMOR_COLLECTIONS_HOSTS_H
