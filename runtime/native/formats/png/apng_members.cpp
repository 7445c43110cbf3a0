// PNG images whose frames follow each other in time.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Apng.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;
using imagework::Variant;

namespace {

using ApngFrameApi = api::FileFormats::Apng::ApngFrame;
using ApngImageApi = api::FileFormats::Apng::ApngImage;

Ref<ImageObject> apng_of_size(Record* options, int32_t width, int32_t height) {
    required_options(options);
    require_positive(width, "width");
    require_positive(height, "height");
    auto picture = image_backend().create(width, height, true, false, 0);
    FileFacts facts = facts_of_picture(Format::kPng, *picture, 32);
    facts.variant = Variant::kApng;
    facts.encoding = encoding_of_options(*options).format;
    auto image = make_ref<ImageObject>(std::move(picture), std::move(facts));
    set_property(*image, "NumPlays", property_int(*options, "NumPlays"));
    set_property(*image, "DefaultFrameTime", property_int(*options, "DefaultFrameTime"));
    return image;
}
Ref<ImageObject> apng_frame(ImageObject& self, std::unique_ptr<imagework::Picture> picture, int64_t time) {
    FileFacts facts = self.facts();
    Ref<ImageObject> frame = self.make_frame(std::move(picture), std::move(facts));
    frame->duration = static_cast<int32_t>(std::min<int64_t>(time, INT32_MAX));
    return frame;
}
std::unique_ptr<imagework::Picture> blank_canvas(ImageObject& self) {
    return image_backend().create(static_cast<int32_t>(self.facts().width), static_cast<int32_t>(self.facts().height),
                                  true, false, 0);
}
Ref<ImageObject> insert_blank_frame(ImageObject& self, int32_t index) {
    const size_t at = checked_index(self, index, "index", true);
    Ref<ImageObject> frame = apng_frame(self, blank_canvas(self), usual_duration(self, nullptr));
    self.insert_frame(at, frame);
    return frame;
}
void insert_timed_image(ImageObject& self, int32_t index, ImageObject* frame_image, uint32_t frame_time) {
    const size_t at = checked_index(self, index, "index", true);
    auto picture = required_image(frame_image, "frame_image").picture().copy();
    self.insert_frame(at, apng_frame(self, std::move(picture), frame_time));
}
void insert_image(ImageObject& self, int32_t index, ImageObject* frame_image) {
    insert_timed_image(self, index, frame_image, static_cast<uint32_t>(usual_duration(self, nullptr)));
}
int32_t behind_last(ImageObject& self) {
    return static_cast<int32_t>(self.frames().size());
}
Ref<ImageObject> add_blank_frame(ImageObject& self) {
    return insert_blank_frame(self, behind_last(self));
}
void add_image(ImageObject& self, ImageObject* frame_image) {
    insert_image(self, behind_last(self), frame_image);
}
void add_timed_image(ImageObject& self, ImageObject* frame_image, uint32_t frame_time) {
    insert_timed_image(self, behind_last(self), frame_image, frame_time);
}
Ref<ImageObject> pop_frame_at(ImageObject& self, int32_t index) {
    return self.take_frame(checked_index(self, index, "index"));
}
void remove_frame_at(ImageObject& self, int32_t index) {
    self.take_frame(checked_index(self, index, "index"));
}
// The picture that programs show which know no animations; it is no frame.
void set_default_image(ImageObject& self, ImageObject* image) {
    const ImageObject& given = required_image(image, "image");
    if (given.image_width() != self.image_width() || given.image_height() != self.image_height()) {
        throw_argument("The default image has " + size_text(given.image_width(), given.image_height()) +
                       " pixels; the animation has " + size_text(self.image_width(), self.image_height()) +
                       ". (Parameter 'image')");
    }
    self.set_still(given.picture().copy());
}
void reset_default_image(ImageObject& self) {
    self.set_still(nullptr);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&frame_duration, ApngFrameApi::get_FrameTime>(),
    behavior<&set_frame_duration, ApngFrameApi::set_FrameTime>(),
    behavior<&frame_left, ApngFrameApi::get_FrameLeft>(),
    behavior<&frame_top, ApngFrameApi::get_FrameTop>(),
    behavior<&full_frame, ApngFrameApi::call_000_GetFullFrame>(),
    behavior<&clear_frames, ApngImageApi::call_000_RemoveAllFrames>(),
    behavior<&frame_disposal_method, ApngFrameApi::get_DisposalMethod>(),
    behavior<&apng_of_size, ApngImageApi::ctor_000_ApngImage>(),
    behavior<&add_blank_frame, ApngImageApi::call_000_AddFrame>(),
    behavior<&add_image, ApngImageApi::call_001_AddFrame, ApngImageApi::call_000_AddPage>(),
    behavior<&add_timed_image, ApngImageApi::call_002_AddFrame>(),
    behavior<&insert_blank_frame, ApngImageApi::call_000_InsertFrame>(),
    behavior<&insert_image, ApngImageApi::call_001_InsertFrame>(),
    behavior<&insert_timed_image, ApngImageApi::call_002_InsertFrame>(),
    behavior<&set_default_image, ApngImageApi::call_000_SetDefaultImage>(),
    behavior<&reset_default_image, ApngImageApi::call_000_ResetDefaultImage>(),
    behavior<&pop_frame_at, ApngImageApi::call_000_PopFrameAt>(),
    behavior<&remove_frame_at, ApngImageApi::call_000_RemoveFrameAt>(),
});

}  // namespace

}  // namespace zelmor::embed
