// The settings that PDF files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ENCODING_H

#include <cstdint>
#include <string>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Of the pictures on the pages.
enum class PdfCompression : uint8_t {
    kAuto,  // Group 4 for black and white, JPEG for a picture from a JPEG file, otherwise Flate
    kNone,
    kRunLength,
    kFlate,
    kLzw,           // of the differences between neighbors
    kLzwOptimized,  // of the differences that are the least for each row
    kJpeg,
    kGroup3,
    kGroup4,
};

// What a document promises: nothing, or to be one for archives, with a structure (A) or as it looks alone (B).
enum class PdfCompliance : uint8_t { kNone, kA1a, kA1b };

// What a document tells about itself; UTF-8, empty for nothing.
struct PdfInfo {
    std::string title, author, subject, keywords;
};

struct PdfEncoding {
    static constexpr Format kFormat = Format::kPdf;

    PdfCompression compression = PdfCompression::kAuto;
    int jpeg_quality = 75;  // 1 to 100
    bool from_jpeg = false;
    // Of the pages, in points; 0: as large as the picture.
    double page_width = 0, page_height = 0;
    // A picture has the size that its resolution gives it; otherwise 96 of its pixels make an inch.
    bool own_resolution = true;
    PdfInfo info = {};
    PdfCompliance compliance = PdfCompliance::kNone;
    bool is_archive() const { return compliance != PdfCompliance::kNone; }
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PDF_ENCODING_H
