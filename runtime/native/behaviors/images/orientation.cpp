// Turning a picture upright, as its EXIF data say.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"

namespace zelmor::embed {

namespace {

// What a clockwise turn by quarters and a mirroring behind it make of each orientation from 2 on.
struct Upright {
    int orientation;
    int quarters;
    bool mirror_x;
    bool mirror_y;
};
constexpr Upright kUpright[] = {
    {2, 0, true, false},  {3, 2, false, false}, {4, 0, false, true},  {5, 1, true, false},
    {6, 1, false, false}, {7, 1, false, true},  {8, 3, false, false},
};

void auto_rotate(ImageObject& self) {
    self.require_live();
    const int orientation = exif_orientation(self);
    for (const Upright& turn : kUpright) {
        if (turn.orientation == orientation) {
            self.change(
                [&](imagework::Picture& picture) { picture.rotate_flip(turn.quarters, turn.mirror_x, turn.mirror_y); });
        }
    }
    reset_orientation(self);
}

using JpegImageApi = api::FileFormats::Jpeg::JpegImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&auto_rotate, JpegImageApi::call_000_AutoRotate>(),
});

}  // namespace

}  // namespace zelmor::embed
