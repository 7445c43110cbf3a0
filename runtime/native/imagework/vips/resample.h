// Resampling of images by kernels; which, says resampling_weights.cpp.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H

#include <memory>

#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/resampling.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// An image of real samples of any format, whose last band is an alpha or not, in the size given.
vips::VImage resampled(const vips::VImage& image, int width, int height, Resampling resampling, bool alpha);

// The same of rows, as they come: `header` has the new size and the form of both. The old sides may be a part of a
// pixel less than the pixels that there are; where they are more, each side becomes at most half. One size differs, and
// kAdaptive only reduces.
std::unique_ptr<RowReader> resampled_rows(std::unique_ptr<RowReader> before, const ReducedSides& sides,
                                          const RowsHeader& header, Resampling resampling);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLE_H
