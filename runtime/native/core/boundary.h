// The last step before a C++ exception would leave an entry point: it becomes the exception callback.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H
#define ZELMOR_RUNTIME_NATIVE_CORE_BOUNDARY_H

namespace zelmor::embed {

// Translates the exceptions of a library into managed ones. Defined at namespace scope. The function runs inside a
// catch handler: it rethrows the current exception, throws a ManagedException in its place if the exception is of the
// library's kind, and otherwise catches it and returns.
class ExceptionTranslator {
 public:
    explicit ExceptionTranslator(void (*translate)());
    // Inside a catch handler: throws the translation of the current exception, or returns if no translator knows it.
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
