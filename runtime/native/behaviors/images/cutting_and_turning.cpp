// Crop, rotate, and rotate with flip.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/edge_shifts.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/marks.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using api::RotateFlipType;

void crop(ImageObject& self, const RectangleValue& rectangle) {
    const auto step = [&](imagework::Picture& picture) {
        picture.crop({rectangle.x, rectangle.y, rectangle.width, rectangle.height});
    };
    change_places(self, step, moved_by(-rectangle.x, -rectangle.y));
}

// Takes the given number of pixels off each side.
void crop_by_shifts(ImageObject& self, int32_t left_shift, int32_t right_shift, int32_t top_shift,
                    int32_t bottom_shift) {
    self.require_live();
    const EdgeShifts shifts = {left_shift, right_shift, top_shift, bottom_shift};
    shifts.require_valid();
    const auto step = [&](imagework::Picture& picture) {
        const RectangleValue rest = shifts.rest_of(picture.width(), picture.height());
        picture.crop({rest.x, rest.y, rest.width, rest.height});
    };
    change_places(self, step, moved_by(-left_shift, -top_shift));
}

// Clockwise by an angle in degrees. The canvas grows to hold all of the turned picture, or stays as it is.
void rotate(ImageObject& self, float angle, bool resize_proportionally, const ColorValue& background_color) {
    self.require_live();
    if (!std::isfinite(angle)) {
        throw_out_of_range("angle", "The value " + to_utf8(number_text(angle)) + " is no angle.");
    }
    const auto step = [&](imagework::Picture& picture) {
        picture.rotate(angle, resize_proportionally, background_color.argb);
    };
    change_places(self, step, around_middles(drawwork::Affine::rotation(angle)));
}
void rotate_on_own_background(ImageObject& self, float angle) {
    rotate(self, angle, true, ColorValue::from_argb(self.canvas_background()));
}

// A clockwise turn by quarters, then a mirroring.
struct Turn {
    RotateFlipType type;
    int quarters;
    bool mirror_x;
    bool mirror_y;
};
constexpr Turn kTurns[] = {
    {RotateFlipType::kRotateNoneFlipNone, 0, false, false}, {RotateFlipType::kRotate90FlipNone, 1, false, false},
    {RotateFlipType::kRotate180FlipNone, 2, false, false},  {RotateFlipType::kRotate270FlipNone, 3, false, false},
    {RotateFlipType::kRotateNoneFlipX, 0, true, false},     {RotateFlipType::kRotate90FlipX, 1, true, false},
    {RotateFlipType::kRotate180FlipX, 2, true, false},      {RotateFlipType::kRotate270FlipX, 3, true, false},
    {RotateFlipType::kRotateNoneFlipY, 0, false, true},     {RotateFlipType::kRotate90FlipY, 1, false, true},
    {RotateFlipType::kRotate180FlipY, 2, false, true},      {RotateFlipType::kRotate270FlipY, 3, false, true},
    {RotateFlipType::kRotateNoneFlipXy, 0, true, true},     {RotateFlipType::kRotate90FlipXy, 1, true, true},
    {RotateFlipType::kRotate180FlipXy, 2, true, true},      {RotateFlipType::kRotate270FlipXy, 3, true, true},
};

void rotate_flip(ImageBase& self, RotateFlipType rotate_flip_type) {
    self.require_live();
    const auto* turn = std::find_if(std::begin(kTurns), std::end(kTurns),
                                    [&](const Turn& known) { return known.type == rotate_flip_type; });
    if (turn == std::end(kTurns)) {
        throw_out_of_range("rotate_flip_type", "The value " + std::to_string(number_of(rotate_flip_type)) +
                                                   " is not one of RotateFlipType.");
    }
    self.turn_image(turn->quarters, turn->mirror_x, turn->mirror_y);
}

}  // namespace

void ImageObject::turn_image(int quarter_turns, bool mirror_x, bool mirror_y) {
    const auto step = [&](imagework::Picture& picture) { picture.rotate_flip(quarter_turns, mirror_x, mirror_y); };
    const auto mirrored = drawwork::Affine::scaling(mirror_x ? -1 : 1, mirror_y ? -1 : 1);
    change_places(*this, step, around_middles(drawwork::Affine::rotation(90 * quarter_turns).then(mirrored)));
}

namespace {

using ImageApi = api::Image;
using RasterCachedMultipageImageApi = api::RasterCachedMultipageImage;
using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&crop, RasterImageApi::call_000_Crop>(),
    behavior<&crop_by_shifts, RasterImageApi::call_001_Crop>(),
    behavior<&rotate, RasterImageApi::call_000_Rotate>(),
    behavior<&rotate_on_own_background, RasterImageApi::call_001_Rotate>(),
    behavior<&rotate_flip, ImageApi::call_000_RotateFlip, RasterCachedMultipageImageApi::call_000_RotateFlipAll>(),
});

}  // namespace

}  // namespace zelmor::embed
