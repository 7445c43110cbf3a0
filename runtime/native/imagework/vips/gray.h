// Gray of colors, by the weights of ITU-R BT.601: 0.299 R + 0.587 G + 0.114 B, rounded, a half up.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_GRAY_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_GRAY_H

#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// One band in the format of the image, which is gray or RGB, with or without alpha; its alpha does not count.
vips::VImage gray_of(const vips::VImage& image);

// The same in 8 bits, in memory.
vips::VImage gray_8_bit(const vips::VImage& image);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_GRAY_H
