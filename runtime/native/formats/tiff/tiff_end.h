// The end of a TIFF file in a stream.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_END_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_END_H

#include <memory>

#include "runtime/native/imagework/probe/picture_end.h"

namespace zelmor::imagework {

std::unique_ptr<PictureEnd> tiff_end(const FileFacts& facts);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_END_H
