// Points that a file marks in its pictures, such as the hot spot of a cursor: they go where the pixels go.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MARKS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MARKS_H

#include <functional>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/drawwork/geometry.h"

namespace zelmor::embed {

// Where the pixel of a frame of one size lies in a frame of another. The middle of a pixel has whole numbers.
struct FrameSizes {
    int32_t width, height;
    int32_t new_width, new_height;
};
using MarkMap = std::function<drawwork::PointD(drawwork::PointD pixel, const FrameSizes& sizes)>;

// ImageObject::change() with a step that moves pixels, and their marks with them.
void change_places(ImageObject& image, const PictureChange& step, const MarkMap& map);

// The map around the middles of the frames, such as a turn.
MarkMap around_middles(const drawwork::Affine& map);
MarkMap moved_by(double x, double y);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_MARKS_H
