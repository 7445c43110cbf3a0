// Makes a file for archives (PDF/A-1) of a PDF file that the drawing library wrote.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ARCHIVE_COPY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ARCHIVE_COPY_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "runtime/native/formats/pdf/pdf_encoding.h"

namespace zelmor::imagework {

// `file` has a plain table of its objects. Nothing where the pages need what PDF/A-1 does
// not have: transparency, or a font that is no TrueType font.
std::optional<std::string> archive_copy(std::span<const uint8_t> file, const PdfInfo& info, PdfCompliance compliance);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ARCHIVE_COPY_H
