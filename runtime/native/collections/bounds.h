// Indices, bounds and runs as the services of collections read them, and the codes by which element access answers.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_BOUNDS_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_BOUNDS_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

enum ElementStatus : int32_t { kDelivered = 0, kEmpty = 1, kOutOfRange = 2 };
// Answers of a bulk operation.
constexpr int32_t kDone = 1;
constexpr int32_t kDeclined = 0;

// Lists are never longer than an index can say.
template <class List>
int32_t size_of(const List& list) {
    return static_cast<int32_t>(list.size());
}

template <class List>
bool in_range(const List& list, int32_t index) {
    return index >= 0 && index < size_of(list);
}

inline size_t position(int32_t index) {
    return static_cast<size_t>(index);
}

// The same bound as in a Python slice.
inline int32_t clamped(int32_t bound, int32_t size) {
    return std::clamp(bound < 0 ? bound + size : bound, 0, size);
}

[[noreturn]] inline void throw_outside(int32_t index, size_t size) {
    throw_out_of_range("index", "The index " + std::to_string(index) + " is outside a collection of " +
                                    std::to_string(size) + " elements.");
}

template <class List>
void require_in_range(const List& list, int32_t index) {
    if (!in_range(list, index)) {
        throw_outside(index, list.size());
    }
}

// start, start + step, ...: `count` indices, all of which have to lie in the list.
inline void require_run(const ManagedList& list, int32_t start, int32_t count, int32_t step) {
    if (count <= 0) {
        return;
    }
    const int64_t last = start + static_cast<int64_t>(count - 1) * step;
    if (!in_range(list, start) || last < 0 || last >= size_of(list)) {
        throw_out_of_range("start", "The run from " + std::to_string(start) + " of " + std::to_string(count) +
                                        " elements by " + std::to_string(step) + " leaves a collection of " +
                                        std::to_string(list.size()) + " elements.");
    }
}

template <class List>
List& require_growing(List& list) {
    if (list.fixed_size()) {
        throw ManagedException("NotSupportedException", "Collection was of a fixed size.");
    }
    return list;
}

// The list in a handle argument of a bulk operation; empty where it is something else, and the caller goes on alone.
inline Ref<ManagedList> bulk_source(const VariantArg* arg) {
    if (arg->tag != kHandleObject) {
        return {};
    }
    return Ref<ManagedList>(dynamic_cast<ManagedList*>(object_of(arg->value)));
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_BOUNDS_H
