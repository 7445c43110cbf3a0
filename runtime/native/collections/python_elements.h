// Elements of a Python list or sequence that stands in for a typed collection.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_ELEMENTS_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_ELEMENTS_H

#include "exchange/wire/records.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/callbacks.h"

namespace zelmor::embed {

// Reads the elements one after the other through the typed callbacks of the element, or the variant ones where it has
// none. The Python object is borrowed for the reader's life.
class PythonElements {
 public:
    // One element, without a look at the length: the callback judges the index.
    static Value read_one(const VariantArg& arg, const ElementType& element, size_t index);
    // `arg` has the tag of a Python list or of another sequence.
    PythonElements(const VariantArg& arg, const ElementType& element);
    size_t size() const { return m_size; }
    // The element as a value, unless read_into reads it. A failure in Python becomes a PythonException.
    Value read(size_t index) const;
    // The elements of a list of numbers straight from the typed callback, into one of the same element. False where
    // there is none for the element.
    bool read_into(ManagedList& list) const;

 private:
    struct Unmeasured {};
    PythonElements(const VariantArg& arg, const ElementType& element, Unmeasured);
    template <class T>
    PyHeld fetch(size_t index, T* out) const;
    template <class T>
    T read_number(size_t index) const;
    template <class T>
    void fill(ManagedList& list) const;
    Value read_bytes_element(size_t index) const;
    Value read_variant_element(size_t index) const;

    PyObject* m_object;
    const ElementType* m_element;
    bool m_is_list;
    void* m_typed = nullptr;  // the one slot of the element's table, or null
    size_t m_size = 0;
};

// The managed exception of a callback that answered -2 (an index failure) or -1 (any other).
[[noreturn]] void throw_failed_access(int status, std::string_view doing_what);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_PYTHON_ELEMENTS_H
