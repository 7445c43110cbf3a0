// OpenDocument drawings in the API: their classes.
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/formats/opendocument/od_image.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace classes = api::FileFormats::OpenDocument;

constexpr FormatClasses kOdgClasses[] = {
    {FileFormat::kOdg, Format::kOdg, "Odg", classes::OdgImage::kType, nullptr, nullptr, false,
     api::ImageOptions::OdgRasterizationOptions::kType},
    {FileFormat::kFOdg, Format::kOdg, "FOdg", classes::OdgImage::kType, nullptr, nullptr, false,
     api::ImageOptions::OdgRasterizationOptions::kType},
};

}  // namespace

extern const FormatMembers kOdgMembers;
const FormatMembers kOdgMembers{
    .format = Format::kOdg,
    .classes = kOdgClasses,
    .has_pages = true,
    .load_drawing = &load_od_image,
};

}  // namespace zelmor::embed
