// Python objects behind managed collections. An element handed to a callback belongs to the callback.
#include "runtime/native/collections/python_proxies.h"

#include <climits>

#include "runtime/native/collections/python_elements.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"

namespace zelmor::embed {

namespace {

const TypeInfo& proxy_type(const char* name) {
    return intern_type(name);
}

Ref<ManagedEnumerator> enumerate(PyObject* object) {
    PyHeld iterator = PyHeld::steal(tables().ucol->get_enumerator(object));
    if (!iterator) {
        throw_python_error("Iterating");
    }
    return make_ref<PythonEnumerator>(std::move(iterator));
}

size_t checked_size(int64_t size) {
    if (size < 0) {
        throw_python_error("Reading the length");
    }
    if (size > INT_MAX) {
        throw ManagedException("OverflowException", "The collection has too many elements.");
    }
    return static_cast<size_t>(size);
}

int position(size_t index) {
    return static_cast<int>(index);
}

}  // namespace

PythonEnumerator::PythonEnumerator(PyHeld iterator)
    : ManagedEnumerator(intern_disposable_type("Zelmor.WrpGen.Interop.PyEnumerator")),
      m_iterator(std::move(iterator)) {}

bool PythonEnumerator::move_next(Value& element) {
    require_live();
    PyObject* owner = nullptr;
    VariantArg arg{};
    const int status = tables().iter->next(m_iterator.get(), &owner, &arg);
    // Letting the element before it go may run Python code that moves this very enumerator on: the new one is held
    // here, too, until it is read.
    const PyHeld delivered = PyHeld::steal(status == 0 ? owner : nullptr);
    m_current = delivered;
    if (status == 1) {
        return false;
    }
    if (status != 0) {
        throw_python_error("Reading the next element");
    }
    element = read_variant(&arg);
    return true;
}

PythonEnumerable::PythonEnumerable(PyHeld object)
    : ManagedEnumerable(proxy_type("Zelmor.WrpGen.Interop.PyEnumerable")), m_object(std::move(object)) {}

Ref<ManagedEnumerator> PythonEnumerable::enumerator() {
    return enumerate(m_object.get());
}

PythonCollection::PythonCollection(PyHeld object)
    : ManagedCollection(proxy_type("Zelmor.WrpGen.Interop.PyCollection")), m_object(std::move(object)) {}

size_t PythonCollection::size() const {
    return checked_size(tables().ucol->object_length(m_object.get()));
}

Ref<ManagedEnumerator> PythonCollection::enumerator() {
    return enumerate(m_object.get());
}

PythonList::PythonList(PyHeld object, bool is_list)
    : ManagedList(proxy_type(is_list ? "Zelmor.WrpGen.Interop.PyList" : "Zelmor.WrpGen.Interop.PySequence"),
                  variant_element()),
      m_object(std::move(object)),
      m_is_list(is_list) {}

VariantArg PythonList::argument() const {
    return {m_is_list ? kHandlePyObject : kHandlePySequence, m_object.get()};
}

void PythonList::require_list() const {
    if (!m_is_list) {
        throw ManagedException("NotSupportedException", "Collection is read-only.");
    }
}

size_t PythonList::size() const {
    const PyUcolCallbacks& ucol = *tables().ucol;
    return checked_size((m_is_list ? ucol.list_longlength : ucol.sequence_longlength)(m_object.get()));
}

Value PythonList::get(size_t index) const {
    return PythonElements::read_one(argument(), variant_element(), index);
}

int64_t PythonList::find(const Value& value, size_t first, size_t end) const {
    // Python compares only over the whole; a part is compared here.
    if (first != 0 || end < size()) {
        return ManagedList::find(value, first, end);
    }
    const auto index_of = m_is_list ? tables().olist->index_of : tables().oseq->index_of;
    const int found = index_of(m_object.get(), write_value(value));
    if (found < -1) {
        throw_failed_access(-1, "Looking for an element");
    }
    // A length or a comparison that raised does not show in a sequence's result.
    if (!m_is_list) {
        throw_if_python_failed("Looking for an element");
    }
    return found;
}

bool PythonList::contains(const Value& value) {
    const auto contains = m_is_list ? tables().olist->contains : tables().oseq->contains;
    const int found = contains(m_object.get(), write_value(value));
    if (found < 0) {
        throw_failed_access(found, "Looking for an element");
    }
    if (!m_is_list) {
        throw_if_python_failed("Looking for an element");
    }
    return found != 0;
}

void PythonList::resize(size_t) {
    throw_not_supported("Changing the size of a Python collection at once");
}

Ref<ManagedEnumerator> PythonList::enumerator() {
    return enumerate(m_object.get());
}

void PythonList::store(size_t index, const Value& value) {
    require_list();
    PyObject* element = write_value(value);
    // A store that fails takes two references, one that succeeds a single one.
    PyHeld second = PyHeld::borrow(element);
    const int status = tables().olist->set_item(m_object.get(), position(index), element);
    if (status >= 0) {
        return;
    }
    (void)second.detach();
    throw_failed_access(status, "Storing an element");
}

void PythonList::store_new(size_t index, const Value& value) {
    require_list();
    PyObject* element = write_value(value);
    if (index >= size()) {
        if (tables().olist->add(m_object.get(), element) < 0) {
            throw_python_error("Adding an element");
        }
        return;
    }
    const int status = tables().olist->insert(m_object.get(), position(index), element);
    if (status < 0) {
        throw_failed_access(status, "Inserting an element");
    }
}

void PythonList::take_out(size_t first, size_t count) {
    require_list();
    if (first == 0 && count > 0 && count == size()) {
        if (tables().ucol->clear(m_object.get()) < 0) {
            throw_python_error("Clearing the list");
        }
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        const int status = tables().ucol->remove_at(m_object.get(), position(first));
        if (status < 0) {
            throw_failed_access(status, "Removing an element");
        }
    }
}

bool PythonList::take_out_equal(const Value& value) {
    require_list();
    // A missing element is an error of Python's `remove`, and none here.
    if (!contains(value)) {
        return false;
    }
    if (tables().olist->remove(m_object.get(), write_value(value)) < 0) {
        throw_python_error("Removing an element");
    }
    return true;
}

void PythonList::turn() {
    require_list();
    for (size_t low = 0, high = size(); low + 1 < high; ++low) {
        const Value first = get(low);
        const Value last = get(--high);
        store(low, last);
        store(high, first);
    }
}

void PythonList::order(bool descending) {
    require_list();
    auto sorted = make_list(ListShape::kArrayList, variant_element());
    const size_t count = size();
    for (size_t i = 0; i < count; ++i) {
        sorted->append(get(i));
    }
    sorted->sort(descending);
    for (size_t i = 0; i < count; ++i) {
        store(i, sorted->get(i));
    }
}

}  // namespace zelmor::embed
