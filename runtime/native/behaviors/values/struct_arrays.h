// Arrays of a value type as arguments and results.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_STRUCT_ARRAYS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_STRUCT_ARRAYS_H

#include <vector>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

template <StructValue V>
const ElementType& struct_element() {
    static const ElementType& element = element_of(Wire::kStruct, StructTraits<V>::kName);
    return element;
}

// The values of an array argument; ArgumentNullException naming the parameter for None.
template <StructValue V>
std::vector<V> read_structs(const VariantArg* arg, const char* parameter) {
    std::vector<V> values;
    for (const Value& item : read_elements(arg, struct_element<V>(), parameter)) {
        values.push_back(unbox<V>(*std::get<Ref<ManagedObject>>(item)));
    }
    return values;
}

// An array of boxed values.
template <StructValue V>
Ref<ManagedList> struct_array(std::vector<Value> items) {
    return make_ref<ValueList>(ListShape::kArray, struct_element<V>(), std::move(items));
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_STRUCT_ARRAYS_H
