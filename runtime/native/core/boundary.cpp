// From a C++ exception in flight to the exception callback.
#include "runtime/native/core/boundary.h"

#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include "runtime/native/core/callbacks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

const ExceptionTranslator*& translators() {
    static const ExceptionTranslator* first = nullptr;  // complete once the library is loaded
    return first;
}

// Texts of an exception are built by the builder that never leaves an error of its own behind. A null result means
// that it could not be built; the callback has words for that.
PyObject* unraisable_string(const Callbacks& to, const char* text) noexcept {
    if (to.py_unraisable_string == nullptr) {
        return nullptr;
    }
    try {
        const std::u16string wide = to_utf16(text);
        return to.py_unraisable_string(wide.data(), static_cast<int>(wide.size()));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void report(const char* name, const char* detail) noexcept {
    const Callbacks& to = callbacks();
    // Before the hand-over there is nobody to tell; the zero result is all that the caller gets.
    if (to.exception != nullptr) {
        to.exception(unraisable_string(to, name), unraisable_string(to, detail));
    }
}

}  // namespace

ExceptionTranslator::ExceptionTranslator(void (*translate)()) : m_translate(translate), m_next(translators()) {
    translators() = this;
}

void ExceptionTranslator::translate_current() {
    for (const ExceptionTranslator* t = translators(); t != nullptr; t = t->m_next) {
        t->m_translate();
    }
}

void report_current_exception() noexcept {
    try {
        ExceptionTranslator::translate_current();
        throw;
    } catch (const PythonErrorPending&) {
        return;
    } catch (const ManagedException& e) {
        report(e.name().c_str(), e.detail().c_str());
    } catch (const std::bad_alloc&) {
        report("OutOfMemoryException", "There is not enough memory for the operation.");
    } catch (const std::length_error& e) {
        report("OutOfMemoryException", e.what());
    } catch (const std::filesystem::filesystem_error& e) {
        report("IOException", e.what());
    } catch (const std::out_of_range& e) {
        report("IndexOutOfRangeException", e.what());
    } catch (const std::invalid_argument& e) {
        report("ArgumentException", e.what());
    } catch (const std::exception& e) {
        report("SystemException", e.what());
    } catch (...) {
        report("SystemException", "A failure of unknown kind was raised in the embedded runtime.");
    }
}

}  // namespace zelmor::embed
