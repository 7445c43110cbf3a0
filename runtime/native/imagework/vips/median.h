// The middle one of the samples in a square around each pixel.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_MEDIAN_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_MEDIAN_H

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The area of the image with each sample replaced by the median of the square of `size` by `size` pixels around it,
// band by band; `size` is odd. Outside the image its edge goes on. Exact for samples of all real formats.
vips::VImage median_filtered(const vips::VImage& image, int size, const Rect& area);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_MEDIAN_H
