// Turning pictures by right angles.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUARTER_TURNS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUARTER_TURNS_H

#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The image turned clockwise by so many quarters, 0 to 3; its pixels are in memory. Samples of any kind.
vips::VImage quarter_turned(const vips::VImage& image, int quarters);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUARTER_TURNS_H
