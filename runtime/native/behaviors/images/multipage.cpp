// Pages of any image that can have several, and the making of an image from others.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/frame_array.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/behaviors/vector/page_layout.h"
#include "runtime/native/behaviors/vector/rasterize.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

size_t checked_index(ImageObject& image, int32_t index, const char* parameter, bool behind_last) {
    const size_t count = image.frames().size();
    if (index < 0 || static_cast<size_t>(index) >= count + (behind_last ? 1 : 0)) {
        throw_out_of_range(parameter, "The value " + std::to_string(index) +
                                          " is not the index of one of the image's " + std::to_string(count) +
                                          " frames.");
    }
    return static_cast<size_t>(index);
}

Ref<ImageObject> frame_copy(const ImageObject& container, ImageObject& source) {
    Ref<ImageObject> frame = container.make_frame(source.picture().copy(), source.facts());
    frame->offer_palette(source.offered_palette());
    frame->duration = source.duration;
    carry_metadata(source, *frame);
    return frame;
}

Collection frame_array(ImageObject& image, const TypeName& element, Wire wire) {
    const Ref<FrameStore>& store = image.frame_store();
    return {Ref<ManagedObject>(make_ref<FrameArray>(element_of(wire, element.name), store, store->slots()))};
}

Ref<ImageObject> make_container(const TypeName& type, imagework::FileFacts facts, Ref<ImageObject> first) {
    auto image = make_ref<ImageObject>(require_type(type.name), nullptr, std::move(facts));
    image->make_container();
    image->insert_frame(0, std::move(first));
    return image;
}

void append_frame(ImageObject& image, Ref<ImageObject> frame) {
    image.insert_frame(image.frames().size(), std::move(frame));
}

namespace {

int32_t page_count(ImageObject& self) {
    return static_cast<int32_t>(self.frame_count());
}
Collection pages(ImageObject& self) {
    return frame_array(self, api::Image::kType);
}

// The format that takes pages of any size and form.
const FormatMembers& members_of_pages() {
    for (const FormatMembers* members : format_members()) {
        if (members->takes_any_pages) {
            return *members;
        }
    }
    throw_not_supported("An image of pages");
}

// Pages of any kind make an image of such a format.
Ref<ImageObject> create_from_images_disposing(const VariantArg* images, bool dispose_images) {
    static const ElementType& element = element_of(Wire::kClass, api::Image::kType.name);
    std::vector<Ref<ImageBase>> images_given;
    std::vector<Ref<ImageObject>> sources;  // those, or what vector images look like
    const auto drawn_pixels = std::make_shared<imagework::MemoryBudget>(decoded_memory_limit(nullptr));
    for (const Value& value : read_elements(images, element, "images")) {
        if (is_null(value)) {
            throw_argument_null("images");
        }
        auto& source = cast_object<ImageBase>(*std::get<Ref<ManagedObject>>(value));
        source.require_live();
        images_given.emplace_back(&source);
        if (auto* vector = dynamic_cast<VectorImageObject*>(&source)) {
            for (const Ref<VectorImageObject>& page : vector->shown_pages()) {
                sources.push_back(raster_of(laid_out(*page, nullptr), drawn_pixels));
                sources.back()->picture().decode();  // the vector image may change from now on
            }
            continue;
        }
        sources.emplace_back(&dynamic_cast<ImageObject&>(source));
    }
    if (sources.empty()) {
        throw_argument("There is no image to make one from. (Parameter 'images')");
    }
    const FormatMembers& members = members_of_pages();
    const imagework::FormatEncoding settings = imagework::default_encoding(members.format).format;
    imagework::FileFacts facts;
    facts.format = members.format;
    facts.readable = true;
    facts.bits_per_pixel = sources[0]->facts().bits_per_pixel;
    facts.encoding = settings;
    auto image = make_ref<ImageObject>(require_type(members.classes[0].image.name), nullptr, facts);
    image->make_container();
    for (const Ref<ImageObject>& source : sources) {
        for (size_t i = 0; i < source->frame_count(); ++i) {
            const Ref<ImageObject> page = source->frame_count() == 1 ? source : source->frames()[i];
            Ref<ImageObject> frame = frame_copy(*image, *page);
            if (frame->facts().format != members.format) {
                frame->facts().encoding = settings;
            }
            frame->facts().format = members.format;
            append_frame(*image, std::move(frame));
        }
    }
    image->set_active_index(0);
    if (dispose_images) {
        for (const Ref<ImageBase>& image_given : images_given) {
            image_given->dispose();
        }
    }
    return image;
}
Ref<ImageObject> create_from_images(const VariantArg* images) {
    return create_from_images_disposing(images, false);
}

using ImageApi = api::Image;
using RasterCachedMultipageImageApi = api::RasterCachedMultipageImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&create_from_images, ImageApi::call_001_Create>(),
    behavior<&create_from_images_disposing, ImageApi::call_002_Create>(),
    behavior<&page_count, RasterCachedMultipageImageApi::get_PageCount>(),
    behavior<&pages, RasterCachedMultipageImageApi::get_Pages>(),
});

}  // namespace

}  // namespace zelmor::embed
