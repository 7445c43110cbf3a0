// The compressions of PDF streams, as rows of bytes go through them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_FILTERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_FILTERS_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "runtime/native/formats/pdf/pdf_encoding.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {

// Rows of packed samples.
struct PackedRows {
    int32_t width = 0;
    int samples = 1;  // of a pixel
    int bits = 8;     // of a sample: 1, 2, 4, 8 or 16
    size_t size() const { return (static_cast<size_t>(width) * static_cast<size_t>(samples * bits) + 7) / 8; }
    // The distance between the bytes that predictors compare.
    size_t pixel_size() const { return static_cast<size_t>(samples * bits >= 8 ? samples * bits / 8 : 1); }
};

class RowFilter {
 public:
    virtual ~RowFilter() = default;
    virtual void write(std::span<const uint8_t> row) = 0;
    virtual void finish() = 0;
    // What the dictionary of the stream says: " /Filter /FlateDecode"; empty for none.
    virtual std::string entries() const = 0;
};

// kNone, kRunLength, kFlate, kLzw or kLzwOptimized. `plain`: the numbers of neighbors have nothing to do with each
// other, as indices of a palette.
std::unique_ptr<RowFilter> make_row_filter(PdfCompression compression, const PackedRows& rows, bool plain,
                                           ByteSink& out);

// What a dictionary says of rows that begin with the number of a predictor of PNG.
std::string png_predictor_entries(const PackedRows& rows);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_FILTERS_H
