// What libtiff says about one open file: kept with that file, never printed, never shared.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_LOG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_LOG_H

#include <tiffio.h>

#include <exception>
#include <memory>
#include <string>
#include <utility>

namespace zelmor::imagework {

class TiffLog {
 public:
    // Forgets the messages of earlier steps.
    void start_step() {
        m_error.clear();
        m_data_ended = false;
    }

    // An error was told since then. Some decoders tell of damage and go on.
    bool has_error() const { return !m_error.empty(); }
    // A warning told that compressed data end before their pixels do.
    bool data_ended() const { return m_data_ended; }
    // The first error, or the words given.
    std::string error_or(const char* words) const { return m_error.empty() ? words : m_error; }

    // An exception cannot pass through the library's functions: it waits here until they have returned.
    void keep_exception() { m_exception = std::current_exception(); }
    void rethrow() {
        if (m_exception != nullptr) {
            std::rethrow_exception(std::exchange(m_exception, nullptr));
        }
    }

    // Options for opening a file whose messages come to this log; no single allocation is larger than `most` bytes.
    struct FreeOptions {
        void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
    };
    std::unique_ptr<TIFFOpenOptions, FreeOptions> open_options(tmsize_t most);

 private:
    static int take_error(TIFF* tiff, void* log, const char* module, const char* format, va_list arguments);
    static int take_warning(TIFF* tiff, void* log, const char* module, const char* format, va_list arguments);

    std::string m_error;
    bool m_data_ended = false;
    std::exception_ptr m_exception;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_LOG_H
