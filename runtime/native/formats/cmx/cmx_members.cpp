// CMX drawings in the API: their classes, loading, pages, and the document of their commands.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/streams/stream_container.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/cdr/converted_drawing.h"
#include "runtime/native/formats/cmx/cmx_objects.h"
#include "runtime/native/formats/opendocument/od_page_drawing.h"

namespace zelmor::embed {

using namespace imagework;
using drawwork::RectD;

namespace {

namespace classes = api::FileFormats::Cmx;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kCmx, Format::kCmx, "Cmx", classes::CmxImage::kType, nullptr, &classes::CmxImagePage::kType, false,
     api::ImageOptions::CmxRasterizationOptions::kType},
};

Ref<ImageBase> load(const SharedSource& file, const FileFacts&, const Record*) {
    const std::vector<uint8_t> bytes = all_bytes(*file);
    const auto document = std::make_shared<const OdDocument>(converted_drawing(bytes, true));
    auto image = make_ref<VectorImageObject>(require_type(classes::CmxImage::kType.name));
    const Ref<ManagedObject> commands = cmx_document(bytes);
    set_property(*image, "Document", Ref<ManagedObject>(commands));
    const auto& described = cast_object<ManagedList>(*property_object(*commands, "Pages"));
    for (size_t i = 0; i < document->pages().size(); i++) {
        auto drawing = std::make_shared<OdPageDrawing>(document, i);
        const RectD size = drawing->bounds();
        auto page = make_ref<VectorImageObject>(require_type(classes::CmxImagePage::kType.name), std::move(drawing),
                                                size.width, size.height);
        if (i < described.size()) {
            set_property(*page, "CmxPage", described.get(i));
        }
        image->add_page(std::move(page));
    }
    if (described.size() > 0) {
        set_property(*image, "CmxPage", described.get(0));
    }
    return Ref<ImageBase>(image);
}

Ref<ImageBase> from_stream(StreamContainerObject& stream_container, Record* load_options) {
    Ref<ImageBase> image = any_image_of_stream(stream_container.stream(), load_options);
    if (!is_assignable(require_type(classes::CmxImage::kType.name), image->type())) {
        throw ManagedException("ImageLoadException", "Cannot load the image from the stream: it is no CmxImage.");
    }
    return image;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&from_stream, classes::CmxImage::ctor_000_CmxImage>(),
});

}  // namespace

extern const FormatMembers kCmxMembers;
const FormatMembers kCmxMembers{
    .format = Format::kCmx,
    .classes = kClasses,
    .has_pages = true,
    .load_drawing = &load,
};

}  // namespace zelmor::embed
