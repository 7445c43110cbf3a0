// The boxes before the codestream of a file that is written.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_BOXES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_BOXES_H

#include <cstdint>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// All boxes up to the header of the one that the codestream is the content of. That one goes to the end of the file.
// `bits` and `is_signed` tell of the samples.
std::vector<uint8_t> jpeg2000_boxes(const RowsHeader& header, const Jpeg2000Encoding& encoding, int bits,
                                    bool is_signed);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_BOXES_H
