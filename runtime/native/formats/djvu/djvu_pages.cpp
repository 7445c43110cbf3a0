// DjvuImage and its pages: the layers of a page, and the text that lies under it.
#include <atomic>
#include <memory>
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Djvu.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/djvu/djvu_codec.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/pixels/single_frame.h"

namespace zelmor::embed {

using imagework::DjvuFrames;
using imagework::DjvuLayer;
using imagework::FileFacts;
using imagework::Format;

namespace {

using DjvuImageApi = api::FileFormats::Djvu::DjvuImage;
using DjvuPageApi = api::FileFormats::Djvu::DjvuPage;
using DjvuRasterApi = api::FileFormats::Djvu::DjvuRaster;

// ---- Documents

Ref<ImageObject> document(const VariantArg* stream, Record* load_options) {
    Ref<ImageObject> image = image_of_stream(read_stream(stream), load_options);
    if (image->facts().format != Format::kDjvu) {
        throw ManagedException("ImageLoadException",
                               std::string("Cannot load the image from the stream: the data is ") +
                                   imagework::format_name(image->facts().format) + ", not DjVu.");
    }
    return image;
}
Ref<ImageObject> document_alone(const VariantArg* stream) {
    return document(stream, nullptr);
}

// Tells the documents of the process apart: they are numbered from 1 when they are first asked. A file has no number.
int32_t identifier(ImageObject& self) {
    static std::atomic<int32_t> last = 0;
    self.require_live();
    if (property_int(self, "Identifier") == 0) {
        set_property(self, "Identifier", int64_t{++last});
    }
    return static_cast<int32_t>(property_int(self, "Identifier"));
}

Collection djvu_pages(ImageObject& self) {
    return frame_array(self, DjvuPageApi::kType);
}
// Null where there is no such page.
Ref<ImageObject> page_at(ImageObject& self, int64_t index) {
    const FrameRange pages = self.frames();
    return index >= 0 && static_cast<uint64_t>(index) < pages.size() ? pages[static_cast<size_t>(index)] : nullptr;
}
Ref<ImageObject> first_page(ImageObject& self) {
    return page_at(self, 0);
}
Ref<ImageObject> last_page(ImageObject& self) {
    return page_at(self, static_cast<int64_t>(self.frames().size()) - 1);
}
// Beside the active page.
Ref<ImageObject> next_page(ImageObject& self) {
    return page_at(self, static_cast<int64_t>(self.active_index()) + 1);
}
Ref<ImageObject> previous_page(ImageObject& self) {
    return page_at(self, static_cast<int64_t>(self.active_index()) - 1);
}

// ---- Pages

// The file that a page comes from; pages that came from elsewhere have no layers and no text.
std::shared_ptr<const DjvuFrames> djvu_file(const ImageObject& page) {
    page.require_live();
    const bool of_file = page.facts().format == Format::kDjvu && page.file_frame().source != nullptr;
    return of_file ? std::static_pointer_cast<const DjvuFrames>(page.file_frame().source) : nullptr;
}

Ref<ImageObject> raster_of(std::unique_ptr<imagework::Picture> picture) {
    const imagework::PixelForm& form = picture->form();
    FileFacts facts = facts_of_picture(Format::kDjvu, *picture, form.bits * form.bands());
    return make_ref<ImageObject>(require_type(DjvuRasterApi::kType.name), std::move(picture), std::move(facts));
}

// A layer as it is in the file. Null where the page has no such layer.
Ref<ImageObject> layer_of(ImageObject& page, DjvuLayer layer, int32_t subsample) {
    const auto file = djvu_file(page);
    const size_t index = page.file_frame().index;
    if (file == nullptr) {
        return nullptr;
    }
    const auto reader = file->open_layer(index, layer, subsample);
    if (reader == nullptr) {
        return nullptr;
    }
    FileFacts facts = page.facts();
    facts.width = reader->header().width;
    facts.height = reader->header().height;
    const auto frames = std::make_shared<const imagework::SingleFrame>(
        facts, [=] { return file->open_layer(index, layer, subsample); });
    auto picture = image_backend().decode_frame(frames, 0, {});
    picture->decode();
    return raster_of(std::move(picture));
}
Ref<ImageObject> foreground_image(ImageObject& self, int32_t subsample) {
    return layer_of(self, DjvuLayer::kForeground, subsample);
}
Ref<ImageObject> text_image(ImageObject& self, int32_t subsample) {
    return layer_of(self, DjvuLayer::kMask, subsample);
}
Ref<ImageObject> background_image(ImageObject& self) {
    return layer_of(self, DjvuLayer::kBackground, 1);
}
// The small picture of the page that the file has, or null. The page keeps it as its ThumbnailImage.
Ref<ImageObject> thumbnail_image(ImageObject& self) {
    const auto file = djvu_file(self);
    std::vector<uint8_t> bytes = file != nullptr ? file->thumbnail(self.file_frame().index) : std::vector<uint8_t>();
    if (bytes.empty()) {
        return nullptr;
    }
    const Ref<ImageBase> image = any_decoded_image(std::move(bytes), nullptr, "Cannot read the thumbnail of the page");
    Ref<ImageObject> raster = raster_of(dynamic_cast<ImageObject&>(*image).picture().copy());
    set_property(self, "ThumbnailImage", Value(Ref<ManagedObject>(raster)));
    return raster;
}
// The page as it is now.
Ref<ImageObject> page_image(ImageObject& self) {
    return raster_of(self.picture().copy());
}

std::optional<std::u16string> text_for_location(ImageObject& self, const RectangleValue& rect) {
    const auto file = djvu_file(self);
    if (file == nullptr) {
        return std::u16string();
    }
    const auto words = file->words(self.file_frame().index);
    return to_utf16(imagework::djvu_text(words, {rect.x, rect.y, rect.width, rect.height}));
}

Ref<ImageObject> parent_image(ImageObject& self) {
    self.require_live();
    return Ref<ImageObject>(self.container());
}
// Counted from 1; 0 of a page that belongs to no image.
int32_t page_number(ImageObject& self) {
    self.require_live();
    ImageObject* const image = self.container();
    const auto index = image != nullptr ? image->index_of(self) : std::nullopt;
    return index ? static_cast<int32_t>(*index) + 1 : 0;
}
bool is_color(ImageObject& self) {
    return !self.picture().is_gray();
}

// Bytes of the samples, each row from a byte of its own.
int32_t raster_length(ImageObject& self) {
    const imagework::Picture& picture = self.picture();
    const imagework::PixelForm& form = picture.form();
    const int64_t row = (int64_t{picture.width()} * form.bits * form.bands() + 7) / 8;
    return static_cast<int32_t>(std::min<int64_t>(INT32_MAX, row * picture.height()));
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&document_alone, DjvuImageApi::ctor_000_DjvuImage, DjvuImageApi::call_000_LoadDocument>(),
    behavior<&document, DjvuImageApi::ctor_001_DjvuImage, DjvuImageApi::call_001_LoadDocument>(),
    behavior<&identifier, DjvuImageApi::get_Identifier>(),
    behavior<&djvu_pages, DjvuImageApi::get_DjvuPages>(),
    property<&active_frame_of, &set_active_frame_of, DjvuImageApi::property_ActivePage>(),
    behavior<&first_page, DjvuImageApi::get_FirstPage>(),
    behavior<&last_page, DjvuImageApi::get_LastPage>(),
    behavior<&next_page, DjvuImageApi::get_NextPage>(),
    behavior<&previous_page, DjvuImageApi::get_PreviousPage>(),
    behavior<&foreground_image, DjvuPageApi::call_000_GetForegroundImage>(),
    behavior<&text_image, DjvuPageApi::call_000_GetTextImage>(),
    behavior<&background_image, DjvuPageApi::call_000_GetBackgroundImage>(),
    behavior<&thumbnail_image, DjvuPageApi::call_000_ExtractThumbnailImage>(),
    behavior<&page_image, DjvuPageApi::get_Image>(),
    behavior<&text_for_location, DjvuPageApi::call_000_GetTextForLocation>(),
    behavior<&parent_image, DjvuPageApi::get_ParentImage>(),
    behavior<&page_number, DjvuPageApi::get_PageNumber>(),
    behavior<&is_color, DjvuPageApi::get_IsColor>(),
    behavior<&raster_length, DjvuRasterApi::get_Length>(),
});

}  // namespace

}  // namespace zelmor::embed
