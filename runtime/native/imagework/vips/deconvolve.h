// Undoing a blur as well as noise allows (Wiener).
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECONVOLVE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECONVOLVE_H

#include "runtime/native/imagework/filters.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// The area of an image without alpha, in its format; the filter's choice of gray is the caller's matter. Outside the
// image it goes on mirrored. Samples differ by rounding, and by less than 0.05 of 255 where the filter is cut off,
// from what a transform of the whole mirrored image gives.
vips::VImage deconvolved(const vips::VImage& image, const Deconvolution& filter, const Rect& area);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DECONVOLVE_H
