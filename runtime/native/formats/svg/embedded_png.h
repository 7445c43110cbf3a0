// Pictures as data URIs with PNG files, for documents that hold the pictures which they show.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PNG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PNG_H

#include <cstdint>
#include <span>
#include <string>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// The pixels row by row. PictureError where they cannot be written.
std::string png_address(std::span<const drawwork::Argb> pixels, int32_t width, int32_t height);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PNG_H
