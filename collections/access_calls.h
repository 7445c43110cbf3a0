// Makes the table of a collection type (sequence_access.h) from its host's thunks and its element's policy.
//
// A calls policy gives the thunks of all hosts the same names. It also joins the two hosts that some kinds need.
#ifndef ZELMOR_COLLECTIONS_ACCESS_CALLS_H
#define ZELMOR_COLLECTIONS_ACCESS_CALLS_H

#include <cassert>

#include "collections/element_policies.h"
#include "collections/hosts.h"
#include "collections/sequence_access.h"
#include "collections/sequence_support.h"

namespace zelmor {

// The calls of a kind with one host.
template <class Host>
struct HostCalls {
    static const Host& host() { return Host::get_instance(); }
    static int length(void* h) { return host().sq_length(h); }
    static int get_item(void* h, int index, auto* out) { return host().sq_item(h, index, out); }
    static auto get_item_unchecked(void* h, int index) { return host().sq_item_nocheck(h, index); }
    static int set_item(void* h, int index, auto value) { return host().sq_ssitem(h, index, value); }
    static void set_item_unchecked(void* h, int index, auto value) { host().sq_ssitem_nocheck(h, index, value); }
    static int set_run(void* h, const VariantArg* source, int start, int count, int step) {
        return host().mp_subscript(h, source, start, count, step);
    }
    static void reverse(void* h) { host().reverse(h); }
    static void sort(void* h, int descending) { host().sort(h, descending); }
    static int index_by(void* h, int has_start, int start, int has_stop, int stop, auto value) {
        return host().index_by(h, has_start, start, has_stop, stop, value);
    }
    static int contains(void* h, auto value) { return host().sq_contains(h, value); }
    static int count_of(void* h, auto value) { return host().count_of(h, value); }
    static void add(void* h, auto value) { host().add(h, value); }
    static void insert(void* h, int index, auto value) { host().insert(h, index, value); }
    static int remove(void* h, auto value) { return host().remove(h, value); }
    static int remove_at(void* h, int index) { return host().remove_at(h, index); }
    static int pop(void* h, int has_index, int index, auto* out) { return host().pop(h, has_index, index, out); }
    static void clear(void* h) { host().clear(h); }
    static int inplace_concat(void* h, const VariantArg* source) { return host().sq_inplace_concat(h, source); }
    static void inplace_repeat(void* h, int count) { host().sq_inplace_repeat(h, count); }
    static void remove_run(void* h, int start, int count, int step) { host().mp_remove(h, start, count, step); }
    static void ensure_capacity(void* h, int count) { host().ensure_capacity(h, count); }
};

// An interop `IList`: its host has names of its own, and no length.
struct InteropIListCalls : HostCalls<PyHost_ph_IList> {
    static int length(void* h) { return PyHost_ph_ICol::get_instance().sq_length(h); }
    static int get_item(void* h, int index, PyObject** out) { return host().sq_getitem(h, index, out); }
    static PyObject* get_item_unchecked(void* h, int index) { return host().sq_getitem_nocheck(h, index); }
    static int set_item(void* h, int index, const VariantArg* value) { return host().sq_setitem(h, index, value); }
    static void set_item_unchecked(void* h, int index, const VariantArg* value) {
        host().sq_setitem_nocheck(h, index, value);
    }
    static int set_run(void* h, const VariantArg* source, int start, int count, int step) {
        return host().mp_set_items(h, source, start, count, step);
    }
    static int inplace_concat(void* h, const VariantArg* source) { return host().sq_inplaceconcat(h, source); }
    static void inplace_repeat(void* h, int count) { host().sq_inplacerepeat(h, count); }
    static void remove_run(void* h, int start, int count, int step) { host().mp_remove_items(h, start, count, step); }
};

// A typed `IList`: on the managed side it inherits the members that the host of its collection serves.
template <class ListHost, class ColHost>
struct TypedIListCalls : HostCalls<ListHost> {
    static int length(void* h) { return ColHost::get_instance().sq_length(h); }
    static int contains(void* h, auto value) { return ColHost::get_instance().sq_contains(h, value); }
    static void add(void* h, auto value) { ColHost::get_instance().add(h, value); }
    static int remove(void* h, auto value) { return ColHost::get_instance().remove(h, value); }
    static void clear(void* h) { ColHost::get_instance().clear(h); }
};

// The calls of a table: each converts its element and tests for a pending error.
template <class Calls, class Element>
struct AccessCalls {
    using Slot = typename Element::Slot;
    using Out = typename Element::Out;

    static int deliver(int status, Out& element, PyObject** out) {
        assert(out != nullptr);
        if (status != kDelivered || PyErr_Occurred() != nullptr) {
            return status;
        }
        *out = Element::show(element);
        return *out != nullptr ? kDelivered : kAccessFailed;
    }

    static int get_item(void* handle, int index, PyObject** out) {
        Out element{};
        const int status = Calls::get_item(handle, index, &element);
        return deliver(status, element, out);
    }
    static PyObject* get_item_unchecked(void* handle, int index) {
        Out element = Calls::get_item_unchecked(handle, index);
        return PyErr_Occurred() != nullptr ? nullptr : Element::show(element);
    }
    static int set_item(void* handle, int index, PyObject* value) {
        Slot slot{};
        return Element::read(value, slot) ? Calls::set_item(handle, index, Element::pass(slot)) : kAccessFailed;
    }
    static bool set_item_unchecked(void* handle, int index, PyObject* value) {
        Slot slot{};
        if (!Element::read(value, slot)) {
            return false;
        }
        Calls::set_item_unchecked(handle, index, Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }

    static int read_argument(PyObject* value, void* slot) { return Element::read(value, *static_cast<Slot*>(slot)); }

    static bool index_by(void* handle, PyObject* args, int* out) {
        Slot slot{};
        Py_ssize_t start = 0;
        Py_ssize_t stop = 0;
        if (!PyArg_ParseTuple(args, "O&|nn", &read_argument, &slot, &start, &stop)) {
            return false;
        }
        const Py_ssize_t given = PyTuple_GET_SIZE(args);
        *out = Calls::index_by(handle, given >= 2, to_wire_index(start), given >= 3, to_wire_index(stop),
                               Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }
    static bool contains(void* handle, PyObject* value, int* out) {
        Slot slot{};
        if (!Element::read(value, slot)) {
            return false;
        }
        *out = Calls::contains(handle, Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }
    static bool count_of(void* handle, PyObject* value, int* out) {
        Slot slot{};
        if (!Element::read(value, slot)) {
            return false;
        }
        *out = Calls::count_of(handle, Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }

    static bool add(void* handle, PyObject* value) {
        Slot slot{};
        if (!Element::read(value, slot)) {
            return false;
        }
        Calls::add(handle, Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }
    static bool insert(void* handle, PyObject* args) {
        Slot slot{};
        Py_ssize_t index = 0;
        if (!PyArg_ParseTuple(args, "nO&", &index, &read_argument, &slot)) {
            return false;
        }
        Calls::insert(handle, to_wire_index(index), Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }
    static bool remove(void* handle, PyObject* value, int* found) {
        Slot slot{};
        if (!Element::read(value, slot)) {
            return false;
        }
        *found = Calls::remove(handle, Element::pass(slot));
        return PyErr_Occurred() == nullptr;
    }
    static int pop(void* handle, int has_index, int index, PyObject** out) {
        Out element{};
        const int status = Calls::pop(handle, has_index, index, &element);
        return deliver(status, element, out);
    }
};

// A kind that can be counted, searched and iterated, but has no index.
template <class Calls, class Element>
constexpr SequenceAccess collection_access() {
    using Access = AccessCalls<Calls, Element>;
    SequenceAccess access = {};
    access.length = &Calls::length;
    access.contains = &Access::contains;
    access.count_of = &Access::count_of;
    return access;
}

// A kind of fixed size.
template <class Calls, class Element>
constexpr SequenceAccess array_access() {
    using Access = AccessCalls<Calls, Element>;
    SequenceAccess access = collection_access<Calls, Element>();
    access.get_item = &Access::get_item;
    access.get_item_unchecked = &Access::get_item_unchecked;
    access.set_item = &Access::set_item;
    access.set_item_unchecked = &Access::set_item_unchecked;
    access.set_run = &Calls::set_run;
    access.reverse = &Calls::reverse;
    access.sort = &Calls::sort;
    access.index_by = &Access::index_by;
    return access;
}

// A kind that grows and is an interface.
template <class Calls, class Element>
constexpr SequenceAccess list_interface_access() {
    using Access = AccessCalls<Calls, Element>;
    SequenceAccess access = array_access<Calls, Element>();
    access.add = &Access::add;
    access.insert = &Access::insert;
    access.remove = &Access::remove;
    access.remove_at = &Calls::remove_at;
    access.pop = &Access::pop;
    access.clear = &Calls::clear;
    access.inplace_concat = &Calls::inplace_concat;
    access.inplace_repeat = &Calls::inplace_repeat;
    access.remove_run = &Calls::remove_run;
    return access;
}

// A kind that grows and is a class: its capacity can be set, and a run of neighbors is deleted from its lowest index.
template <class Calls, class Element>
constexpr SequenceAccess list_access() {
    SequenceAccess access = list_interface_access<Calls, Element>();
    access.ensure_capacity = &Calls::ensure_capacity;
    access.neighbors_from_lowest = true;
    return access;
}

}  // namespace zelmor

#endif  // ZELMOR_COLLECTIONS_ACCESS_CALLS_H
