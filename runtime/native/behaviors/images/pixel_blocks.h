// Blocks of an image's pixels, as the members read and write them: premultiplied if the image says so.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PIXEL_BLOCKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PIXEL_BLOCKS_H

#include <vector>

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// How many pixels an area has, for an array of elements of that size; OutOfMemoryException for one that a managed array
// cannot hold. The picture refuses an area that is not inside of it; for one whose size alone does not fit, this is 0,
// so that no memory is taken before.
size_t pixels_to_read(const imagework::Picture& picture, const imagework::Rect& area, size_t element_size);

std::vector<imagework::Argb> read_block(const ImageObject& self, const imagework::Rect& area);
// ArgumentException where there are fewer pixels than the area has.
void write_block(ImageObject& self, const imagework::Rect& area, std::vector<imagework::Argb> pixels);

inline imagework::Rect rect_of(const RectangleValue& value) {
    return {value.x, value.y, value.width, value.height};
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PIXEL_BLOCKS_H
