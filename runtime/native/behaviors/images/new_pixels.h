// The pixels that a new image of a format gets.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NEW_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NEW_PIXELS_H

#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::embed {

struct NewPixels {
    imagework::PixelForm form;
    int bits;  // of a pixel in the file
};

// Integers of 8 or 16 bits.
inline imagework::PixelForm pixel_form(imagework::ColorModel color, bool alpha, int depth = 8) {
    imagework::PixelForm form;
    form.color = color;
    form.alpha = alpha;
    form.sample = depth == 16 ? imagework::SampleType::kUint16 : imagework::SampleType::kUint8;
    form.bits = depth;
    return form;
}
// Of such a form, as the file has them.
inline NewPixels pixels_of(imagework::ColorModel color, bool alpha, int depth = 8) {
    const imagework::PixelForm form = pixel_form(color, alpha, depth);
    return {form, form.bits * form.bands()};
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_NEW_PIXELS_H
