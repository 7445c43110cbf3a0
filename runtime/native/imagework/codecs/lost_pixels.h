// The pixels that a decoder made up where the data of a picture end too early.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_LOST_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_LOST_PIXELS_H

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

// Gives the made up pixels the background color: decoders fill the end of a picture with one tone, from the place of
// the damage on to the last pixel. Rows before `intact_rows` are known to be the file's.
void fill_lost_pixels(Picture& picture, int32_t intact_rows, Argb background);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_LOST_PIXELS_H
