// PixelDataFormat: how the samples of a pixel are laid out.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_COLORS_PIXEL_DATA_FORMAT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_COLORS_PIXEL_DATA_FORMAT_H

#include <string_view>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// Which channels a pixel has, in which order.
using PixelLayout = api::PixelFormat;

// Formats are equal when their layouts and the bits of their channels are. `bits_per_pixel` 0 stands for the sum of the
// channels' bits.
Ref<ManagedObject> make_pixel_data_format(std::string_view caption, PixelLayout layout, std::vector<int32_t> bits,
                                          int32_t bits_per_pixel = 0);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_COLORS_PIXEL_DATA_FORMAT_H
