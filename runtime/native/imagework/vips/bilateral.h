// Smoothing that keeps edges.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_BILATERAL_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_BILATERAL_H

#include "runtime/native/imagework/filters.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The area of an image without alpha, of samples of any real format. Places outside the image do not count. The time
// for a pixel grows with the square's number of pixels, but only as far as their weight by distance is at least 2^-24.
vips::VImage smoothed_bilaterally(const vips::VImage& image, const Bilateral& filter, const Rect& area);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_BILATERAL_H
