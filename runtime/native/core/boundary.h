// The last step before a C++ exception would leave an entry point: it becomes the exception callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H
#define ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H

namespace zelmor::embed {

// Called inside a catch handler. Reports the exception in flight through the exception callback: a ManagedException
// with its own name and detail, std::bad_alloc as OutOfMemoryException, any other as the managed exception nearest to
// it. PythonErrorPending reports nothing. The entry point then returns zero.
void report_current_exception() noexcept;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H
