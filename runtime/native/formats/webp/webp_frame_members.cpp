// WebP images and their frames.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Webp.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using api::AnimationDisposalMethods;
using imagework::FileFacts;
using imagework::Format;
using imagework::FrameDisposal;

namespace {

using Path = std::optional<std::u16string>;

using WebPFrameBlockApi = api::FileFormats::Webp::WebPFrameBlock;
using WebPImageApi = api::FileFormats::Webp::WebPImage;
using api::FileFormats::Webp::IFrame;

Ref<ImageObject> webp_frame(std::unique_ptr<imagework::Picture> picture) {
    FileFacts facts = facts_of_picture(Format::kWebp, *picture, picture->has_alpha() ? 32 : 24);
    auto frame =
        make_ref<ImageObject>(require_type(WebPFrameBlockApi::kType.name), std::move(picture), std::move(facts));
    frame->duration = 100;
    frame->blends = true;
    return frame;
}
Ref<ImageObject> webp_frame_of_image(ImageObject* raster_image) {
    return webp_frame(required_image(raster_image, "raster_image").picture().copy());
}
Ref<ImageObject> webp_frame_of_size(int32_t width, int32_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    return webp_frame(image_backend().create(width, height, true, false, 0));
}
void add_webp_page(ImageObject& self, ImageObject* page) {
    Ref<ImageObject> frame = webp_frame(required_image(page, "page").picture().copy());
    // A page as large as the canvas is all that is seen.
    frame->blends = frame->image_width() < self.image_width() || frame->image_height() < self.image_height();
    append_frame(self, frame);
}

// A frame of a file is all that is seen: it has in it what is left of those before it.
bool blends(ImageObject& self) {
    self.require_live();
    return self.blends.value_or(false);
}
void set_blends(ImageObject& self, bool value) {
    self.require_live();
    self.blends = value;
}

AnimationDisposalMethods disposal_method(ImageObject& self) {
    self.require_live();
    switch (self.disposal) {
        case FrameDisposal::kClear:
            return AnimationDisposalMethods::kBackground;
        case FrameDisposal::kRestore:
            return AnimationDisposalMethods::kPrevious;
        default:
            return AnimationDisposalMethods::kPreserve;
    }
}
void set_disposal_method(ImageObject& self, AnimationDisposalMethods value) {
    self.require_live();
    switch (value) {
        case AnimationDisposalMethods::kPreserve:
            self.disposal = FrameDisposal::kLeave;
            return;
        case AnimationDisposalMethods::kBackground:
            self.disposal = FrameDisposal::kClear;
            return;
        case AnimationDisposalMethods::kPrevious:
            self.disposal = FrameDisposal::kRestore;
            return;
    }
    throw_out_of_range("value",
                       "The value " + std::to_string(number_of(value)) + " is not one of AnimationDisposalMethods.");
}

void add_webp_block(ImageObject& self, const VariantArg* block) {
    append_frame(self, frame_argument(block, IFrame::kType));
}
void insert_webp_block(ImageObject& self, int32_t index, const VariantArg* block) {
    insert_block_frame(self, index, frame_argument(block, IFrame::kType));
}
void remove_webp_block(ImageObject& self, const VariantArg* block) {
    remove_block_frame(self, *frame_argument(block, IFrame::kType));
}

// A file of any format becomes a WebP image; one that is a WebP file keeps its settings and frames.
Ref<ImageObject> as_webp(const Ref<ImageObject>& image) {
    if (image->facts().format == Format::kWebp) {
        return image;
    }
    auto picture = image->picture().copy();
    FileFacts facts = facts_of_picture(Format::kWebp, *picture, picture->has_alpha() ? 32 : 24);
    imagework::WebpEncoding lossless;
    lossless.lossless = true;
    facts.encoding = lossless;
    return make_ref<ImageObject>(std::move(picture), std::move(facts));
}
Ref<ImageObject> webp_of_stream_with(Ref<ManagedStream> stream, Record* load_options) {
    return as_webp(image_of_stream(stream, load_options));
}
Ref<ImageObject> webp_of_stream(Ref<ManagedStream> stream) {
    return webp_of_stream_with(std::move(stream), nullptr);
}
Ref<ImageObject> webp_of_path_with(const Path& path, Record* load_options) {
    return as_webp(image_of_file(path, load_options, "path"));
}
Ref<ImageObject> webp_of_path(const Path& path) {
    return webp_of_path_with(path, nullptr);
}
Ref<ImageObject> webp_of_image(ImageObject* raster_image) {
    ImageObject& source = required_image(raster_image, "raster_image");
    auto copy = make_ref<ImageObject>(require_type(api::RasterCachedImage::kType.name), source.picture().copy(),
                                      facts_of_picture(Format::kUnknown, source.picture(), 0));
    return as_webp(copy);
}
Ref<ImageObject> webp_of_image_with(ImageObject* raster_image, Record*) {
    return webp_of_image(raster_image);
}
Ref<ImageObject> webp_of_size(int32_t width, int32_t height, Record* options) {
    required_options(options);
    require_positive(width, "width");
    require_positive(height, "height");
    auto picture = image_backend().create(width, height, true, false, 0);
    FileFacts facts = facts_of_picture(Format::kWebp, *picture, 32);
    facts.encoding = encoding_of_options(*options).format;
    auto image = make_ref<ImageObject>(std::move(picture), std::move(facts));
    set_property(*image, "Options", Ref<ManagedObject>(options));
    return image;
}
// The options that the image was made with, or those of its file.
Ref<ManagedObject> webp_options(ImageObject& self) {
    self.require_live();
    const Value& given = property(self, "Options");
    return is_null(given) ? original_options(self) : std::get<Ref<ManagedObject>>(given);
}
Ref<ImageObject> webp_of_size_with(int32_t width, int32_t height, Record* options, Record*) {
    return webp_of_size(width, height, options);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&webp_frame_of_image, WebPFrameBlockApi::ctor_000_WebPFrameBlock>(),
    behavior<&webp_frame_of_size, WebPFrameBlockApi::ctor_001_WebPFrameBlock>(),
    behavior<&frame_duration, WebPFrameBlockApi::get_Duration, WebPFrameBlockApi::get_FrameTime>(),
    behavior<&set_frame_duration, WebPFrameBlockApi::set_Duration>(),
    behavior<&frame_left, WebPFrameBlockApi::get_Left, WebPFrameBlockApi::get_FrameLeft>(),
    behavior<&set_frame_left, WebPFrameBlockApi::set_Left>(),
    behavior<&frame_top, WebPFrameBlockApi::get_Top, WebPFrameBlockApi::get_FrameTop>(),
    behavior<&set_frame_top, WebPFrameBlockApi::set_Top>(),
    property<&disposal_method, &set_disposal_method, WebPFrameBlockApi::property_DisposalMethod>(),
    property<&blends, &set_blends, WebPFrameBlockApi::property_UseAlphaBlending>(),
    behavior<&full_frame, WebPFrameBlockApi::call_000_GetFullFrame>(),
    behavior<&webp_of_stream, WebPImageApi::ctor_000_WebPImage>(),
    behavior<&webp_of_stream_with, WebPImageApi::ctor_001_WebPImage>(),
    behavior<&webp_of_path, WebPImageApi::ctor_002_WebPImage>(),
    behavior<&webp_of_path_with, WebPImageApi::ctor_003_WebPImage>(),
    behavior<&webp_of_image, WebPImageApi::ctor_004_WebPImage>(),
    behavior<&webp_of_image_with, WebPImageApi::ctor_005_WebPImage>(),
    behavior<&webp_of_size, WebPImageApi::ctor_006_WebPImage>(),
    behavior<&webp_of_size_with, WebPImageApi::ctor_007_WebPImage>(),
    behavior<&webp_options, WebPImageApi::get_Options>(),
    behavior<&add_webp_page, WebPImageApi::call_000_AddPage>(),
    behavior<&add_webp_block, WebPImageApi::call_000_AddBlock>(),
    behavior<&insert_webp_block, WebPImageApi::call_000_InsertBlock>(),
    behavior<&remove_webp_block, WebPImageApi::call_000_RemoveBlock>(),
    behavior<&clear_frames, WebPImageApi::call_000_ClearBlocks>(),
});

}  // namespace

}  // namespace zelmor::embed
