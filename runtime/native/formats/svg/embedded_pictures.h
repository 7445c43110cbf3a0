// The pictures of pixels that stand in an SVG document.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PICTURES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PICTURES_H

#include <span>
#include <vector>

#include "runtime/native/formats/svg/svg_library.h"

namespace zelmor::imagework {

// PictureError(kDamaged) for a document that is no XML.
std::vector<SvgEmbedded> embedded_pictures(std::span<const uint8_t> document);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_EMBEDDED_PICTURES_H
