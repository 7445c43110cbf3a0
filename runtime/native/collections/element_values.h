// One element of a collection on the wire: by value, handle, record or Python object, as its type has it.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_ELEMENT_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_ELEMENT_VALUES_H

#include "runtime/native/collections/collection.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

// Signature codes of an element as an argument and as a returned value. An interface and a value record leave through
// a trailing out record: their result code is 'v', and the trailing code that of the record, 0 for other elements.
char element_argument_code(const ElementType& element);
char element_result_code(const ElementType& element);
char element_trailing_code(const ElementType& element);

Value read_element(CallFrame& frame, size_t index, const ElementType& element);
// Stores the element through an out slot of the element's own form.
void store_element(const Value& value, const ElementType& element, void* out);
// Returns the element as the call's result.
void return_element(CallFrame& frame, const Value& value, const ElementType& element);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_ELEMENT_VALUES_H
