// CDR drawings in the API: their classes, loading, pages, and the document of their chunks.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/formats/cdr/cdr_objects.h"
#include "runtime/native/formats/cdr/converted_drawing.h"
#include "runtime/native/formats/opendocument/od_page_drawing.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::RectD;

namespace {

namespace classes = api::FileFormats::Cdr;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kCdr, Format::kCdr, "Cdr", classes::CdrImage::kType, nullptr, &classes::CdrImagePage::kType, false,
     api::ImageOptions::CdrRasterizationOptions::kType},
};

Ref<ImageBase> load(const SharedSource& file, const FileFacts&, const Record*) {
    const std::vector<uint8_t> bytes = all_bytes(*file);
    const auto document = std::make_shared<const OdDocument>(converted_drawing(bytes, false));
    auto image = make_ref<VectorImageObject>(require_type(classes::CdrImage::kType.name));
    const Ref<ManagedObject> chunks = cdr_document(bytes);
    set_property(*image, "CdrDocument", Ref<ManagedObject>(chunks));
    for (size_t i = 0; i < document->pages().size(); i++) {
        auto drawing = std::make_shared<OdPageDrawing>(document, i);
        const RectD size = drawing->bounds();
        auto page = make_ref<VectorImageObject>(require_type(classes::CdrImagePage::kType.name), std::move(drawing),
                                                size.width, size.height);
        set_property(*page, "CdrDocument", Ref<ManagedObject>(chunks));
        set_property(*page, "PageNumber", static_cast<int32_t>(i) + 1);
        image->add_page(std::move(page));
    }
    return Ref<ImageBase>(image);
}

Ref<ImageBase> from_stream(const VariantArg* stream, Record* load_options) {
    Ref<ImageBase> image = any_image_of_stream(read_stream(stream), load_options);
    if (!is_assignable(require_type(classes::CdrImage::kType.name), image->type())) {
        throw ManagedException("ImageLoadException", "Cannot load the image from the stream: it is no CdrImage.");
    }
    return image;
}

Ref<ImageBase> parent_image(VectorImageObject& self) {
    self.require_live();
    return Ref<ImageBase>(self.image_container());
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_stream, classes::CdrImage::ctor_000_CdrImage>(),
    behavior<&parent_image, classes::CdrImagePage::get_ParentImage>(),
});

}  // namespace

extern const FormatMembers kCdrMembers;
const FormatMembers kCdrMembers{
    .format = Format::kCdr,
    .classes = kClasses,
    .has_pages = true,
    .load_drawing = &load,
};

}  // namespace zelmor::embed
