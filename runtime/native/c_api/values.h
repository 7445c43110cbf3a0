// Values of the C interface from and to those of the runtime.
#ifndef ZELMOR_RUNTIME_NATIVE_C_API_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_C_API_VALUES_H

#include "runtime/native/c_api/pictures.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/value.h"

namespace zelmor::embed {

// A value of the caller. `element` is that of a list's items; of a list for a parameter of any type it is any value.
Value value_of(const zelmor_pictures_value& given, const ElementType& element);

// The bytes of an element in a list of numbers.
int width_of(Wire wire);

// What the result of a call is, or points to, until the thread's next call.
void give_value(const Value& value, zelmor_pictures_value& out);
void give_object(Ref<ManagedObject> object, zelmor_pictures_value& out);
// What a behavior made for Python; its reference is taken over.
void give_made(PyObject* made, zelmor_pictures_value& out);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_C_API_VALUES_H
