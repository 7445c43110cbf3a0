// Taking messages of libtiff; see tiff_log.h.
#include "runtime/native/formats/tiff/tiff_log.h"

#include <cstdarg>
#include <cstdio>
#include <new>

namespace zelmor::imagework {
namespace {

std::string text_of(const char* format, va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

}  // namespace

// The first error is the cause, later ones follow from it. The module, which names a function, is left out.
int TiffLog::take_error(TIFF*, void* log, const char*, const char* format, va_list arguments) {
    auto& self = *static_cast<TiffLog*>(log);
    if (self.m_error.empty()) {
        self.m_error = text_of(format, arguments);
        if (self.m_error.empty()) {
            self.m_error = "an error without a text";
        }
    }
    return 1;  // handled: the library's common handler, which prints, is not called
}

// The decoders of faxes and of JPEG fill up what is missing and say "Premature EOL" or "Premature end of JPEG file".
int TiffLog::take_warning(TIFF*, void* log, const char*, const char* format, va_list arguments) {
    if (text_of(format, arguments).find("Premature") != std::string::npos) {
        static_cast<TiffLog*>(log)->m_data_ended = true;
    }
    return 1;
}

std::unique_ptr<TIFFOpenOptions, TiffLog::FreeOptions> TiffLog::open_options(tmsize_t most) {
    std::unique_ptr<TIFFOpenOptions, FreeOptions> options(TIFFOpenOptionsAlloc());
    if (options == nullptr) {
        throw std::bad_alloc();
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &take_error, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &take_warning, this);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), most);
    return options;
}

}  // namespace zelmor::imagework
