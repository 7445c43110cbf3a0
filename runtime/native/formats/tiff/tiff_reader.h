// Reading the pages of TIFF files.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_READER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_READER_H

#include <cstdint>
#include <memory>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// Opens the page whose directory lies at that offset, 0 for the first page; tiff_directories() finds the offsets.
// Only the page's directory is read, and its pixels are when rows are asked for.
//
// Of damaged pixels `options` say what becomes of them. kNone and kConsistent: PictureError(kDamaged) at the first row
// that cannot be decoded. kMaximal: lost() tells of such rows, and reading goes on behind them.
// PictureError(kUnsupported) names a form that is not read, PictureError(kTooLarge) a piece that is no sensible size.
std::unique_ptr<RowReader> open_tiff_page(SharedSource source, uint64_t directory, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_READER_H
