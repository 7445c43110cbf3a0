// Refusing SVG documents whose filters take too long, by drawing them in a process that ends in time.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_REHEARSAL_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_REHEARSAL_H

#include <cstdint>
#include <span>

namespace zelmor::embed {

// Whether so many nanoseconds for each pixel of a page may be longer than a drawing may take.
bool needs_rehearsal(double filtering, double width, double height);

// Draws the document once (rehearse_svg.cpp). PictureError(kDamaged) if that takes longer than it may, (kInternal) if
// the program cannot be started.
void rehearse(std::span<const uint8_t> document, double width, double height);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_REHEARSAL_H
