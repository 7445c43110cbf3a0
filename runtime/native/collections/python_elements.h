// Elements of a Python list or sequence that stands in for a typed collection.
#pragma once

#include "exchange/wire/records.h"
#include "runtime/native/core/collection.h"

namespace zelmor::embed {

// Reads the elements one after the other through the typed callbacks of the element, or the variant ones where it has
// none. The Python object is borrowed for the reader's life.
class PythonElements {
 public:
    // `arg` has the tag of a Python list or of another sequence.
    PythonElements(const VariantArg& arg, const ElementType& element);
    size_t size() const { return size_; }
    // The element as a value. A failure in Python becomes a PythonException.
    Value read(size_t index) const;
    // A number straight from the typed callback, where there is one for T's element.
    template <class T>
    T read_scalar(size_t index) const;

 private:
    template <class T>
    PyObject* fetch(size_t index, T* out) const;
    Value read_variant_element(size_t index) const;

    PyObject* object_;
    const ElementType* element_;
    bool is_list_;
    void* typed_ = nullptr;  // the one slot of the element's table, or null
    size_t size_ = 0;
};

}  // namespace zelmor::embed
