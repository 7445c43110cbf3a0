// The pixels of one frame of a GIF file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DECODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DECODER_H

#include <cstdint>
#include <functional>

#include "runtime/native/formats/gif/gif_structure.h"

namespace zelmor::imagework {

// Gets the indices of a row of the frame, whose number is that from its top. An interlaced frame has them in four
// passes.
using GifRowFunction = std::function<void(int32_t row, const uint8_t* indices)>;

// Decodes the rows above `rows`; those below are not looked at.
// PictureError(kDamaged) where the data is not what the format says; the rows before were given.
void decode_gif_frame(SourceBytes& bytes, const GifFramePlace& frame, int32_t rows, const GifRowFunction& take);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_GIF_GIF_DECODER_H
