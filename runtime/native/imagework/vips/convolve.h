// Weighted sums of the pixels around each pixel.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_CONVOLVE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_CONVOLVE_H

#include "runtime/native/imagework/filters.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The area of the image after the convolution. Pixels around the area count; outside the image its edge goes on.
// Computed in single precision (integers of 32 bits and doubles in double) and rounded once: a sample of 8 bits differs
// from the exact sum by at most 0.501, one of 16 bits by at most 0.6.
//
// With `alpha` the last band is one. Where the filter has neither factor nor bias, colors are weighed by their alpha,
// and the alpha is filtered too; otherwise it stays.
vips::VImage convolved(const vips::VImage& image, const Convolution& filter, const Rect& area, bool alpha);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_CONVOLVE_H
