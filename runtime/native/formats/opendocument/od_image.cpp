// Loading, pages, and the objects of elements; see od_image.h.
#include "runtime/native/formats/opendocument/od_image.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/opendocument/od_objects.h"
#include "runtime/native/formats/opendocument/od_page_drawing.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::RectD;

namespace {

namespace classes = api::FileFormats::OpenDocument;

OdPageDrawing* drawing_of(VectorImageObject& image) {
    image.require_live();
    return dynamic_cast<OdPageDrawing*>(image.shown_pages().front()->drawing().get());
}

// The objects are made when a program first looks at them; they belong to the image, and changes of them stay.
Collection records(VectorImageObject& self) {
    OdPageDrawing* drawing = drawing_of(self);
    if (is_null(property(self, "Records"))) {
        std::vector<Value> pages;
        if (drawing != nullptr) {
            pages = od_pages(drawing->document(), drawing->patterns());
        }
        set_property(
            self, "Records",
            Ref<ManagedObject>(make_ref<ValueList>(
                ListShape::kArray, element_of(Wire::kClass, classes::OdObject::kType.name), std::move(pages))));
    }
    return {property(self, "Records")};
}

Ref<ManagedObject> metadata(VectorImageObject& self) {
    OdPageDrawing* drawing = drawing_of(self);
    if (drawing != nullptr && is_null(property(self, "Metadata"))) {
        set_property(self, "Metadata", od_metadata(drawing->document()));
    }
    return property_object(self, "Metadata");
}

Ref<ImageBase> of_class(Ref<ImageBase> image, const TypeName& type) {
    if (!is_assignable(require_type(type.name), image->type())) {
        throw ManagedException("ImageLoadException",
                               std::string("Cannot load the image from the stream: it is no ") +
                                   std::string(type.name).substr(std::string(type.name).rfind('.') + 1) + ".");
    }
    return image;
}
Ref<ImageBase> odg(StreamContainerObject& stream_container, Record* options) {
    return of_class(any_image_of_stream(stream_container.stream(), options), classes::OdgImage::kType);
}
Ref<ImageBase> odg_alone(StreamContainerObject& stream_container) {
    return odg(stream_container, nullptr);
}
Ref<ImageBase> otg(StreamContainerObject& stream_container, Record* load_options) {
    return of_class(any_image_of_stream(stream_container.stream(), load_options), classes::OtgImage::kType);
}
Ref<ImageBase> otg_alone(StreamContainerObject& stream_container) {
    return otg(stream_container, nullptr);
}

using OdImageApi = classes::OdImage;
using OdgImageApi = classes::OdgImage;
using OtgImageApi = classes::OtgImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&records, OdImageApi::get_Records>(),
    behavior<&metadata, OdImageApi::get_Metadata>(),
    behavior<&odg, OdgImageApi::ctor_000_OdgImage>(),
    behavior<&odg_alone, OdgImageApi::ctor_001_OdgImage>(),
    behavior<&otg, OtgImageApi::ctor_000_OtgImage>(),
    behavior<&otg_alone, OtgImageApi::ctor_001_OtgImage>(),
});

}  // namespace

Ref<ImageBase> load_od_image(const SharedSource& file, const FileFacts& facts, const Record* options) {
    const auto document = std::make_shared<const OdDocument>(all_bytes(*file));
    const TypeName& type = facts.format == Format::kOtg ? classes::OtgImage::kType : classes::OdgImage::kType;
    auto image = make_ref<VectorImageObject>(require_type(type.name));
    const auto budget = std::make_shared<MemoryBudget>(decoded_memory_limit(options));
    for (size_t i = 0; i < document->pages().size(); i++) {
        auto drawing = std::make_shared<OdPageDrawing>(document, i, budget);
        const RectD size = drawing->bounds();
        auto page = make_ref<VectorImageObject>(require_type(type.name), std::move(drawing), size.width, size.height);
        page->title = document->pages()[i]->get("draw:name");
        image->add_page(std::move(page));
    }
    if (facts.variant == Variant::kFOdg) {
        image->set_image_format(FileFormat::kFOdg);
    }
    return Ref<ImageBase>(image);
}

}  // namespace zelmor::embed
