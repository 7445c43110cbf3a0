// The last step before a C++ exception would leave an entry point: it becomes the exception callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H
#define ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H

namespace zelmor::embed {

// What makes a library's exceptions managed ones. Defined at namespace scope; the function runs inside a catch handler,
// rethrows what is in flight, and throws a ManagedException in place of its own kind. It catches all others.
class ExceptionTranslator {
 public:
    explicit ExceptionTranslator(void (*translate)());
    // Inside a catch handler: throws in place of an exception that somebody translates, and returns otherwise.
    static void translate_current();

 private:
    void (*m_translate)();
    const ExceptionTranslator* m_next;
};

// Called inside a catch handler. Reports the exception in flight through the exception callback: a ManagedException
// with its own name and detail, std::bad_alloc as OutOfMemoryException, any other as the managed exception nearest to
// it. PythonErrorPending reports nothing. The entry point then returns zero.
void report_current_exception() noexcept;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H
