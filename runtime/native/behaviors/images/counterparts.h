// Values of the API's enumerations that say how a file is written, and their counterparts in the runtime.
//
// A table of counterparts stands in the room of its format and has the values that can be written. Where two rows have
// the same value of the runtime, the first is the one that it is read back as.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COUNTERPARTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COUNTERPARTS_H

#include <cstddef>
#include <optional>

namespace zelmor::embed {

template <class Api, class Backend>
struct Counterpart {
    Api api;
    Backend backend;
};

// Nothing for a value that has no counterpart in the table.
template <class Api, class Backend, size_t N>
constexpr std::optional<Backend> backend_value(const Counterpart<Api, Backend> (&table)[N], Api value) {
    for (const auto& row : table) {
        if (row.api == value) {
            return row.backend;
        }
    }
    return std::nullopt;
}
template <class Api, class Backend, size_t N>
constexpr std::optional<Api> api_value(const Counterpart<Api, Backend> (&table)[N], Backend value) {
    for (const auto& row : table) {
        if (row.backend == value) {
            return row.api;
        }
    }
    return std::nullopt;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_COUNTERPARTS_H
