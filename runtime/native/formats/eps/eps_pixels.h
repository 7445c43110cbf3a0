// The pixels of a picture as text in a PostScript program.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_PIXELS_H

#include <string>

#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// Lines of letters that the filters ASCII85Decode and RunLengthDecode make samples of 8 bits of: gray or RGB, row by
// row. What is transparent shows the paper.
std::string eps_pixels(const imagework::Picture& picture, bool gray, imagework::Argb paper);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_EPS_PIXELS_H
