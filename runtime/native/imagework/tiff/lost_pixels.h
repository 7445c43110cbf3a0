// What stands where pixels of a damaged file are lost.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_TIFF_LOST_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_TIFF_LOST_PIXELS_H

#include <cstdint>
#include <vector>

#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// One pixel of the picture's form in the color given, or the nearest that the form has.
std::vector<uint8_t> pixel_of_color(const RowsHeader& header, Argb color);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_TIFF_LOST_PIXELS_H
