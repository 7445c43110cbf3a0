// Results of many bytes, made in the memory of the Python object that they become.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_FILLED_BYTES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_FILLED_BYTES_H

#include <cstddef>
#include <functional>
#include <span>

#include "runtime/native/core/callbacks.h"

namespace zelmor::embed {

// As py_bytes(), for data that is made in place, in memory that was not written before. `fill` writes all of it; what
// it throws goes on to the caller.
PyObject* py_bytes_filled(size_t size, const std::function<void(std::span<std::byte>)>& fill);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_FILLED_BYTES_H
