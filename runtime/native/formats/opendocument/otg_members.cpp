// OpenDocument templates of drawings in the API: their classes.
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/formats/opendocument/od_image.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace classes = api::FileFormats::OpenDocument;

constexpr FormatClasses kOtgClasses[] = {
    {FileFormat::kOtg, Format::kOtg, "Otg", classes::OtgImage::kType, nullptr, nullptr, false,
     api::ImageOptions::OtgRasterizationOptions::kType},
};

}  // namespace

extern const FormatMembers kOtgMembers;
const FormatMembers kOtgMembers{
    .format = Format::kOtg,
    .classes = kOtgClasses,
    .has_pages = true,
    .load_drawing = &load_od_image,
};

}  // namespace zelmor::embed
