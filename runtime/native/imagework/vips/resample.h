// Resampling of images by kernels; which, says resampling_weights.cpp.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H

#include "runtime/native/imagework/resampling.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// An image of real samples of any format, whose last band is an alpha or not, in the size given.
vips::VImage resampled(const vips::VImage& image, int width, int height, Resampling resampling, bool alpha);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H
