// Managed collections that stand for Python objects: nothing is copied, each operation calls into Python.
//
// They are what a parameter of interface type (IList, ICollection, IEnumerable, IEnumerator) gets for a Python object.
// A result of such a type shows the Python object itself again.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_PROXIES_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_PROXIES_H

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/callbacks.h"

namespace zelmor::embed {

// An iterator.
class PythonEnumerator final : public ManagedEnumerator {
 public:
    explicit PythonEnumerator(PyHeld iterator);
    const ElementType& element() const override { return variant_element(); }
    bool move_next(Value& element) override;
    PyObject* python_object() const override { return m_iterator.get(); }

 private:
    PyHeld m_iterator;
    PyHeld m_current;  // the element that was delivered last lives until the next
};

// An object with an iterator.
class PythonEnumerable final : public ManagedEnumerable {
 public:
    explicit PythonEnumerable(PyHeld object);
    const ElementType& element() const override { return variant_element(); }
    Ref<ManagedEnumerator> enumerator() override;
    PyObject* python_object() const override { return m_object.get(); }

 private:
    PyHeld m_object;
};

// An object with a length and an iterator.
class PythonCollection final : public ManagedCollection {
 public:
    explicit PythonCollection(PyHeld object);
    const ElementType& element() const override { return variant_element(); }
    size_t size() const override;
    Ref<ManagedEnumerator> enumerator() override;
    PyObject* python_object() const override { return m_object.get(); }

 private:
    PyHeld m_object;
};

// A list, or another sequence, which cannot be changed from here.
class PythonList final : public ManagedList {
 public:
    PythonList(PyHeld object, bool is_list);
    size_t size() const override;
    bool fixed_size() const override { return !m_is_list; }
    Value get(size_t index) const override;
    int64_t find(const Value& value, size_t first, size_t end) const override;
    bool contains(const Value& value) override;
    void resize(size_t count) override;
    Ref<ManagedEnumerator> enumerator() override;
    PyObject* python_object() const override { return m_object.get(); }

 protected:
    void store(size_t index, const Value& value) override;
    void store_new(size_t index, const Value& value) override;
    void take_out(size_t first, size_t count) override;
    bool take_out_equal(const Value& value) override;
    void turn() override;
    void order(bool descending) override;

 private:
    void require_list() const;
    VariantArg argument() const;

    PyHeld m_object;
    bool m_is_list;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_PROXIES_H
