// EPS in the API: its classes, and what a file says of its picture.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.Consts.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Eps.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/eps/eps_image.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::embed {

using namespace imagework;
using EpsType = api::FileFormats::Eps::Consts::EpsType;

namespace {

namespace classes = api::FileFormats::Eps;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kEps, Format::kEps, "Eps", classes::EpsImage::kType, classes::EpsOptions::kType, nullptr, false,
     api::ImageOptions::EpsRasterizationOptions::kType},
};

Ref<ImageBase> load(const SharedSource& file, const FileFacts&, const Record* load_options) {
    auto image = eps_image(all_bytes(*file));
    if (load_options != nullptr && has_property(*load_options, "PreviewExportFormat")) {
        static_cast<EpsDrawing&>(*image->drawing()).shown =
            static_cast<EpsPreviewFormat>(property_int(*load_options, "PreviewExportFormat"));
    }
    return Ref<ImageBase>(image);
}

void write(std::span<const DrawnPage> pages, const Record* options, const std::string&, ByteSink& out) {
    const DrawnPage& page = pages.front();
    const bool binary =
        options != nullptr && property_int(*options, "SubType") == static_cast<int64_t>(EpsType::kBinary);
    const auto* own = dynamic_cast<const EpsDrawing*>(page.drawing.get());
    if (own != nullptr && page.is_unchanged()) {
        out.write(options == nullptr ? own->file() : binary ? eps_as_binary(*own) : eps_as_interchange(*own));
    } else {
        // As in PDF: options mean 96 pixels to the inch, and a save by the extension the resolution of a picture.
        out.write(eps_of_page(page, options == nullptr ? page.resolution : kDefaultResolution, binary));
    }
}

// ---- Members. An image that was disposed of has no drawing.

EpsDrawing& drawing_of(VectorImageObject& image) {
    image.require_live();
    auto* drawing = dynamic_cast<EpsDrawing*>(image.drawing().get());
    if (drawing == nullptr) {
        throw_invalid_operation("The image has no EPS file.");
    }
    return *drawing;
}

EpsType eps_type(VectorImageObject& self) {
    return drawing_of(self).parts().has_header ? EpsType::kBinary : EpsType::kInterchange;
}

bool has_raster_preview(VectorImageObject& self) {
    const EpsDrawing& drawing = drawing_of(self);
    return drawing.parts().has_header ? !drawing.parts().tiff.empty() : eps_preview(drawing.text()).has_value();
}

// Previews are decoded when a program first asks for them.
template <class Make>
Ref<ManagedObject> kept(VectorImageObject& self, const char* property_name, Make&& make) {
    if (is_null(property(self, property_name))) {
        if (Ref<ImageBase> made = make()) {
            set_property(self, property_name, Ref<ManagedObject>(std::move(made)));
        } else {
            return nullptr;
        }
    }
    return property_object(self, property_name);
}
Ref<ManagedObject> tiff_preview(VectorImageObject& self) {
    return kept(self, "TiffPreview", [&] { return drawing_of(self).tiff_preview(); });
}
Ref<ManagedObject> wmf_preview(VectorImageObject& self) {
    return kept(self, "WmfPreview", [&] { return drawing_of(self).wmf_preview(); });
}
Ref<ManagedObject> raster_preview(VectorImageObject& self) {
    return kept(self, "RasterPreview", [&] { return drawing_of(self).text_preview(); });
}
Ref<ManagedObject> photoshop_thumbnail(VectorImageObject& self) {
    return kept(self, "PhotoshopThumbnail", [&] { return drawing_of(self).thumbnail(); });
}
int32_t preview_width(VectorImageObject& self) {
    const auto preview = eps_preview(drawing_of(self).text());
    return preview ? preview->width : 0;
}
int32_t preview_height(VectorImageObject& self) {
    const auto preview = eps_preview(drawing_of(self).text());
    return preview ? preview->height : 0;
}

EpsPreviewFormat get_preview_to_export(VectorImageObject& self) {
    return drawing_of(self).shown;
}
void set_preview_to_export(VectorImageObject& self, EpsPreviewFormat value) {
    drawing_of(self).shown = value;
}

std::optional<std::u16string> text(const std::optional<std::string>& value) {
    return value ? std::optional(to_utf16(*value)) : std::nullopt;
}
std::optional<std::u16string> post_script_version(VectorImageObject& self) {
    return to_utf16(drawing_of(self).comments().version);
}
std::optional<std::u16string> title(VectorImageObject& self) {
    return text(drawing_of(self).comments().title);
}
std::optional<std::u16string> creator(VectorImageObject& self) {
    return text(drawing_of(self).comments().creator);
}
std::optional<std::u16string> creation_date_string(VectorImageObject& self) {
    return text(drawing_of(self).comments().creation_date);
}
std::optional<std::u16string> bounding_box_string(VectorImageObject& self) {
    return text(drawing_of(self).comments().box_text);
}

// The first moment of the calendar where the file has no date, or one in words that nobody knows.
DateTimeValue creation_date(VectorImageObject& self) {
    const auto& words = drawing_of(self).comments().creation_date;
    const auto date = words ? eps_date(*words) : std::nullopt;
    if (!date) {
        return {};
    }
    int64_t days = 0;
    const int64_t before = date->year - 1;
    days += before * 365 + before / 4 - before / 100 + before / 400;
    constexpr int kDaysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const bool leap = date->year % 4 == 0 && (date->year % 100 != 0 || date->year % 400 == 0);
    days += kDaysBefore[date->month - 1] + (leap && date->month > 2 ? 1 : 0) + date->day - 1;
    const int64_t seconds = ((days * 24 + date->hour) * 60 + date->minute) * 60 + date->second;
    constexpr int64_t kTicksOfSecond = 10'000'000;
    return DateTimeValue{static_cast<uint64_t>(seconds * kTicksOfSecond)};
}

PointValue bottom_left(VectorImageObject& self) {
    const EpsBox box = drawing_of(self).comments().box.value_or(EpsBox{});
    return {static_cast<int32_t>(std::floor(box.left)), static_cast<int32_t>(std::floor(box.bottom))};
}
PointValue top_right(VectorImageObject& self) {
    const EpsBox box = drawing_of(self).comments().box.value_or(EpsBox{});
    return {static_cast<int32_t>(std::ceil(box.right)), static_cast<int32_t>(std::ceil(box.top))};
}
int32_t pages_count(VectorImageObject& self) {
    return drawing_of(self).comments().pages;
}
int32_t page_number(VectorImageObject& self) {
    return drawing_of(self).comments().page;
}

Ref<VectorImageObject> convert_to_interchange(VectorImageObject& self) {
    return eps_image(eps_as_interchange(drawing_of(self)));
}
Ref<VectorImageObject> convert_to_binary(VectorImageObject& self) {
    return eps_image(eps_as_binary(drawing_of(self)));
}

using EpsBinaryImageApi = classes::EpsBinaryImage;
using EpsImageApi = classes::EpsImage;
using EpsInterchangeImageApi = classes::EpsInterchangeImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&eps_type, EpsImageApi::get_EpsType, EpsBinaryImageApi::get_EpsType,
             EpsInterchangeImageApi::get_EpsType>(),
    behavior<&has_raster_preview, EpsImageApi::get_HasRasterPreview, EpsBinaryImageApi::get_HasRasterPreview,
             EpsInterchangeImageApi::get_HasRasterPreview>(),
    behavior<&tiff_preview, EpsBinaryImageApi::get_TiffPreview>(),
    behavior<&wmf_preview, EpsBinaryImageApi::get_WmfPreview>(),
    behavior<&raster_preview, EpsInterchangeImageApi::get_RasterPreview>(),
    behavior<&photoshop_thumbnail, EpsImageApi::get_PhotoshopThumbnail>(),
    behavior<&preview_width, EpsInterchangeImageApi::get_PreviewWidth>(),
    behavior<&preview_height, EpsInterchangeImageApi::get_PreviewHeight>(),
    {behavior<&get_preview_to_export, EpsImageApi::get_PreviewToExport>(),
     behavior<&set_preview_to_export, EpsImageApi::set_PreviewToExport>()},
    behavior<&post_script_version, EpsImageApi::get_PostScriptVersion>(),
    behavior<&title, EpsImageApi::get_Title>(),
    behavior<&creator, EpsImageApi::get_Creator>(),
    behavior<&creation_date_string, EpsImageApi::get_CreationDateString>(),
    behavior<&creation_date, EpsImageApi::get_CreationDate>(),
    behavior<&bounding_box_string, EpsImageApi::get_BoundingBoxString>(),
    behavior<&bottom_left, EpsImageApi::get_BoundingBoxBottomLeft>(),
    behavior<&top_right, EpsImageApi::get_BoundingBoxTopRight>(),
    behavior<&pages_count, EpsImageApi::get_PagesCount>(),
    behavior<&page_number, EpsImageApi::get_PageNumber>(),
    behavior<&convert_to_interchange, EpsBinaryImageApi::call_000_ConvertToInterchange>(),
    behavior<&convert_to_binary, EpsInterchangeImageApi::call_000_ConvertToBinary>(),
});

}  // namespace

extern const FormatMembers kEpsMembers;
const FormatMembers kEpsMembers{
    .format = Format::kEps,
    .classes = kClasses,
    .load_drawing = &load,
    .write_drawing = &write,
};

}  // namespace zelmor::embed
