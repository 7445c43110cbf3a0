// Making images of icons, and their pages: pictures of any size up to 256 by 256.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Ico.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/ico/ico_encoding.h"

namespace zelmor::embed {

using imagework::FileFacts;
using imagework::Format;
using imagework::IcoEncoding;

namespace {

IcoEncoding settings_of(const Record& options) {
    const imagework::Encoding encoding = encoding_of_options(options);
    const auto* ico = encoding.format.as<IcoEncoding>();
    if (ico == nullptr) {
        throw_invalid_cast(options.type().full_name, "Zelmor.Imaging.ImageOptions.IcoOptions");
    }
    return *ico;
}

// A page with the picture of another image; without options it keeps the settings that it has, if it is from an icon.
Ref<ImageObject> page_of(const ImageObject& image, ImageObject& source, const Record* options) {
    Ref<ImageObject> page = frame_copy(image, source);
    const auto* own = settings_as<IcoEncoding>(page->facts());
    IcoEncoding ico = own != nullptr ? *own : IcoEncoding{};
    if (options != nullptr) {
        ico.entry = settings_of(*options).entry;
    }
    if (own == nullptr || options != nullptr) {
        page->facts() = facts_of_picture(Format::kIco, page->picture(), ico.entry.bits_per_pixel);
    }
    page->facts().encoding = ico;
    return page;
}

Ref<ImageObject> ico_of_size(int32_t width, int32_t height, Record* options) {
    required_options(options);
    settings_of(*options);
    return create_image(options, width, height);
}

Ref<ImageObject> ico_of_image(ImageObject* image, Record* ico_options) {
    ImageObject& source = required_image(image, "image");
    required_options(ico_options, "ico_options");
    FileFacts facts = facts_of_picture(Format::kIco, source.picture(), 0);
    const IcoEncoding ico = settings_of(*ico_options);
    facts.bits_per_pixel = ico.entry.bits_per_pixel;
    facts.encoding = ico;
    auto result =
        make_ref<ImageObject>(require_type(api::FileFormats::Ico::IcoImage::kType.name), nullptr, std::move(facts));
    result->make_container();
    for (const Ref<ImageObject>& page : source.frames()) {
        append_frame(*result, page_of(*result, *page, ico_options));
    }
    result->set_active_index(0);
    return result;
}

void add_page(ImageObject& self, ImageObject* page) {
    ImageObject& source = required_image(page, "page");
    append_frame(self, page_of(self, source, nullptr));
}
void add_page_with(ImageObject& self, ImageObject* page, Record* ico_options) {
    ImageObject& source = required_image(page, "page");
    append_frame(self, page_of(self, source, &required_options(ico_options, "ico_options")));
}
void remove_page(ImageObject& self, int32_t index) {
    self.take_frame(checked_index(self, index, "index"));
}

using IcoImageApi = api::FileFormats::Ico::IcoImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&ico_of_size, IcoImageApi::ctor_000_IcoImage>(),
    behavior<&ico_of_image, IcoImageApi::ctor_001_IcoImage>(),
    behavior<&add_page, IcoImageApi::call_000_AddPage, IcoImageApi::call_001_AddPage,
             IcoImageApi::call_000_AddRasterPage>(),
    behavior<&add_page_with, IcoImageApi::call_002_AddPage>(),
    behavior<&remove_page, IcoImageApi::call_000_RemovePage>(),
});

}  // namespace

}  // namespace zelmor::embed
