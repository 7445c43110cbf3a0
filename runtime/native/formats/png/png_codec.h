// PNG files of one picture, read and written by libpng as rows of samples.
//
// All forms of the format are kept: gray of 1 to 16 bits, indices with their palette, gray and RGB of 8 and 16 bits
// with and without alpha. A color that the file takes out as transparent (tRNS of gray and RGB) comes as alpha.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CODEC_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

struct PngReading {
    // Takes what there is of damaged data: a file that is cut off has the rows up to there, and damage behind the
    // pixels does not count.
    bool lenient = false;
    // Goes on behind a wrong checksum, and an interlaced picture has what its passes gave so far.
    bool careless = false;
    // Has room for the rows of an interlaced picture, which come all at once; null where nothing is counted.
    SharedBudget memory = {};
};

// Reads the header. PictureError: kDamaged, or kTooLarge for an interlaced picture that has no room in memory; of the
// budget the latter when rows are read.
std::unique_ptr<RowReader> open_png(const SharedSource& source, const PngReading& reading = {});

// Whether a picture of rows with alpha is one without, whose pixels of the key's color alone are transparent. Only then
// a file can tell them by a tRNS chunk instead of an alpha channel.
bool has_png_key(const PngKey& key, const RowsHeader& header, std::span<const uint8_t> rows);

// Writes the rows in the form that the header has: `encoding.color` and `encoding.bit_depth` are no wishes here. With
// `encoding.key` the rows have alpha, fulfill has_png_key(), and the file tells the key instead.
// PictureError(kEncoding) for a form that PNG does not have. The file goes to `out` piece by piece.
std::unique_ptr<RowWriter> make_png_writer(const RowsHeader& header, const PngEncoding& encoding, ByteSink& out);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CODEC_H
