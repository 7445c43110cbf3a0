// Work on a picture in strips of rows, by the threads of the image library.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_STRIPS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_STRIPS_H

#include <cstddef>
#include <functional>

#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

// A new image in memory with the metadata and the resolution of another. Its samples are to be written.
vips::VImage raster_like(const vips::VImage& like, int width, int height, int bands, VipsBandFormat format);

// The same in the size and the form of the other.
inline vips::VImage raster_like(const vips::VImage& like) {
    return raster_like(like, like.width(), like.height(), like.bands(), like.format());
}

// Calls work(begin, end) for strips of the raster's rows, in several threads at the same time where the raster is
// large. An exception of one of them is thrown again.
void for_strips(const vips::VImage& raster, int rows_per_strip, const std::function<void(int, int)>& work);

// Calls work(begin, end) for blocks of so many pixels that lie one behind the other, in the same way. It is meant for
// work that takes long for each pixel.
void for_blocks(size_t pixels, size_t block, const std::function<void(size_t, size_t)>& work);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_STRIPS_H
