// Run-length coded indices of BMP files.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_RUNS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_RUNS_H

#include <cstdint>
#include <vector>

#include "runtime/native/formats/bmp/bmp_header.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

// The indices of all rows in the order of the file. Pixels that the data skips have the index 0, and so do, if
// `lenient`, those that it has not; otherwise PictureError(kDamaged).
std::vector<uint8_t> decode_bmp_runs(SourceBytes& bytes, const BmpHeader& header, bool lenient);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_RUNS_H
