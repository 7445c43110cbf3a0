// The type hosts behind the interop wrappers: which entry points each managed class has, and their signatures.
//
// Names and binding order are the managed classes' own, the two spellings of the unchecked item setter included. The
// factories from Python collections are bound because a class without them is not the right one; nothing here calls
// them.
#pragma once

#include <array>
#include <cstddef>

#include "exchange/type_host.h"
#include "exchange/wire/records.h"

namespace zelmor {

using ElementArg = const VariantArg*;

// `Delegates` is the table of function pointers, in the order of `Host::kMethods`.
template <class Host, class Delegates>
class InteropHost : public TypeHost<Host> {
 protected:
    InteropHost() {
        static_assert(sizeof(Delegates) == Host::kMethods.size() * sizeof(void*));
        this->bind(Host::kMethods, reinterpret_cast<void**>(&m_delegates));
    }

    Delegates m_delegates = {};
};

// The cast services of an interface: any managed instance may implement it, so that they take a tagged handle.
struct InterfaceCasts {
    int (*is_assignable)(const VariantArg*);
    int (*type_of)(void**);
    int (*cast_to)(const VariantArg*, void**);
    int (*cast_as)(const VariantArg*, void**);
};

// The cast services of a class: only a class instance can be one.
struct ClassCasts {
    int (*is_assignable)(void*);
    int (*type_of)(void**);
    int (*cast_to)(const VariantArg*, void**);
    int (*reinterpret_obj)(void*, void**);
    int (*cast_as)(const VariantArg*, void**);
};

// Not called from this side.
using Factory = void (*)();

}  // namespace zelmor

struct DisposableDelegates {
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Disposable final : public zelmor::InteropHost<PyHost_ph_Disposable, DisposableDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiDisposable";
    static constexpr auto kMethods =
        std::to_array<const char*>({"btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});

    const zelmor::InterfaceCasts& casts() const { return m_delegates.casts; }
};

struct IterDelegates {
    int (*move_next)(void*, PyObject**);
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Iter final : public zelmor::InteropHost<PyHost_ph_Iter, IterDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiEnumerator";
    static constexpr auto kMethods =
        std::to_array<const char*>({"MoveNext", "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});

    int move_next(void* handle, PyObject** out) const { return m_delegates.move_next(handle, out); }
    const zelmor::InterfaceCasts& casts() const { return m_delegates.casts; }
};

struct IterableDelegates {
    int (*get_enumerator)(void*, PyObjectOutArg*);
    zelmor::Factory create_from_iterable;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_Iterable final : public zelmor::InteropHost<PyHost_ph_Iterable, IterableDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiEnumerable";
    static constexpr auto kMethods =
        std::to_array<const char*>({"GetEnumerator", "CreateInstanceFromPyIterable", "btp_IsAssignable", "btp_TypeOf",
                                    "btp_CastTo", "btp_CastAs"});

    int get_enumerator(void* handle, PyObjectOutArg* out) const { return m_delegates.get_enumerator(handle, out); }
    const zelmor::InterfaceCasts& casts() const { return m_delegates.casts; }
};

struct IColDelegates {
    int (*sq_length)(void*);
    int (*sq_contains)(void*, zelmor::ElementArg);
    int (*count_of)(void*, zelmor::ElementArg);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_iterable;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_ICol final : public zelmor::InteropHost<PyHost_ph_ICol, IColDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiCntCollection";
    static constexpr auto kMethods = std::to_array<const char*>(
        {"SqLength", "SqContains", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPyIterable",
         "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"});

    const zelmor::InterfaceCasts& casts() const { return m_delegates.casts; }
};

struct IListDelegates {
    int (*sq_getitem)(void*, int, PyObject**);
    PyObject* (*sq_getitem_nocheck)(void*, int);
    int (*sq_setitem)(void*, int, zelmor::ElementArg);
    void (*sq_setitem_nocheck)(void*, int, zelmor::ElementArg);
    void (*add)(void*, zelmor::ElementArg);
    void (*insert)(void*, int, zelmor::ElementArg);
    int (*remove)(void*, zelmor::ElementArg);
    int (*remove_at)(void*, int);
    int (*pop)(void*, int has_index, int index, PyObject**);
    void (*clear)(void*);
    int (*sq_inplaceconcat)(void*, zelmor::ElementArg);
    void (*sq_inplacerepeat)(void*, int);
    int (*mp_set_items)(void*, zelmor::ElementArg, int start, int count, int step);
    void (*mp_remove_items)(void*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, zelmor::ElementArg);
    int (*sq_contains)(void*, zelmor::ElementArg);
    int (*count_of)(void*, zelmor::ElementArg);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::InterfaceCasts casts;
};

class PyHost_ph_IList final : public zelmor::InteropHost<PyHost_ph_IList, IListDelegates> {
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

    const zelmor::InterfaceCasts& casts() const { return m_delegates.casts; }
};

struct ArrayDelegates {
    int (*sq_length)(void*);
    int (*sq_contains)(void*, zelmor::ElementArg);
    int (*sq_item)(void*, int, PyObject**);
    PyObject* (*sq_item_nocheck)(void*, int);
    int (*sq_ssitem)(void*, int, zelmor::ElementArg);
    void (*sq_ssitem_nocheck)(void*, int, zelmor::ElementArg);
    int (*mp_subscript)(void*, zelmor::ElementArg, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, zelmor::ElementArg);
    int (*count_of)(void*, zelmor::ElementArg);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_Array final : public zelmor::InteropHost<PyHost_ph_Array, ArrayDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiArray";
    static constexpr auto kMethods = std::to_array<const char*>(
        {"SqLength", "SqContains", "SqGetItem", "SqGetItemNoCheck", "SqSetItem", "SqSetItemNoChek", "MpSetItems",
         "Reverse", "Sort", "IndexBy", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPySequence",
         "btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"});

    const zelmor::ClassCasts& casts() const { return m_delegates.casts; }
};

struct ArrListDelegates {
    int (*sq_length)(void*);
    void (*add)(void*, zelmor::ElementArg);
    int (*remove)(void*, zelmor::ElementArg);
    void (*clear)(void*);
    int (*sq_contains)(void*, zelmor::ElementArg);
    int (*sq_item)(void*, int, PyObject**);
    PyObject* (*sq_item_nocheck)(void*, int);
    int (*sq_ssitem)(void*, int, zelmor::ElementArg);
    void (*sq_ssitem_nocheck)(void*, int, zelmor::ElementArg);
    void (*insert)(void*, int, zelmor::ElementArg);
    int (*remove_at)(void*, int);
    int (*pop)(void*, int has_index, int index, PyObject**);
    int (*sq_inplace_concat)(void*, zelmor::ElementArg);
    void (*sq_inplace_repeat)(void*, int);
    int (*mp_subscript)(void*, zelmor::ElementArg, int start, int count, int step);
    void (*mp_remove)(void*, int start, int count, int step);
    void (*reverse)(void*);
    void (*sort)(void*, int reverse);
    int (*index_by)(void*, int has_start, int start, int has_stop, int stop, zelmor::ElementArg);
    int (*count_of)(void*, zelmor::ElementArg);
    void (*ensure_capacity)(void*, int);
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_ArrList final : public zelmor::InteropHost<PyHost_ph_ArrList, ArrListDelegates> {
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

    const zelmor::ClassCasts& casts() const { return m_delegates.casts; }
};

// Driven through the IList host and the ICol host; these two serve the casts alone.
struct ColBaseDelegates {
    zelmor::Factory create_from_list;
    zelmor::Factory create_from_sequence;
    zelmor::ClassCasts casts;
};

class PyHost_ph_ColBase final : public zelmor::InteropHost<PyHost_ph_ColBase, ColBaseDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiCollectionBase";
    static constexpr auto kMethods =
        std::to_array<const char*>({"CreateInstanceFromPyList", "CreateInstanceFromPySequence", "btp_IsAssignable",
                                    "btp_TypeOf", "btp_CastTo", "btp_ReInterpretObj", "btp_CastAs"});

    const zelmor::ClassCasts& casts() const { return m_delegates.casts; }
};

class PyHost_ph_RoColBase final : public zelmor::InteropHost<PyHost_ph_RoColBase, ColBaseDelegates> {
 public:
    static constexpr const char* kManagedClass = "Zelmor.WrpGen.Interop.SiApiReadOnlyCollectionBase";
    static constexpr auto kMethods = PyHost_ph_ColBase::kMethods;

    const zelmor::ClassCasts& casts() const { return m_delegates.casts; }
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

class PyHost_ph_Stream final : public zelmor::InteropHost<PyHost_ph_Stream, StreamDelegates> {
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
    const zelmor::ClassCasts& casts() const { return m_delegates.casts; }
};
