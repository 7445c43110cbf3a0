// What the header of a JPEG file says of its picture, in the terms of rows.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_HEADER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_HEADER_H

#include "runtime/native/formats/jpeg/jpeg_input.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// After the header was read and a scale was chosen: the size is that of the decoded picture.
// PictureError(kUnsupported) for colors that are none of gray, RGB and CMYK.
RowsHeader rows_header_of(JpegInput& input);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_HEADER_H
